#include "platform/macos/SMAppServiceLoginItemService.h"

#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>
#include <string>

namespace windlark {
namespace {

constexpr const char* kUnsupportedText = "Launch at login needs macOS 13 or later.";

LoginItemError errorFrom(NSError* error) {
    return LoginItemError{
        MacNS::utf8String(error.localizedDescription, "The login item could not be changed.")};
}

} // namespace

int SMAppServiceLoginItemService::statusCode() const {
    if (@available(macOS 13.0, *)) {
        // The raw status is handed on as it is; the controller maps its numbers.
        static_assert(SMAppServiceStatusNotRegistered == kNotRegistered);
        static_assert(SMAppServiceStatusEnabled == kEnabled);
        static_assert(SMAppServiceStatusRequiresApproval == kRequiresApproval);
        static_assert(SMAppServiceStatusNotFound == kNotFound);
        @autoreleasepool {
            return static_cast<int>(SMAppService.mainAppService.status);
        }
    }
    return kNotFound;
}

std::optional<LoginItemError> SMAppServiceLoginItemService::registerApplication() {
    if (@available(macOS 13.0, *)) {
        @autoreleasepool {
            NSError* error = nil;
            if (![SMAppService.mainAppService registerAndReturnError:&error]) {
                return errorFrom(error);
            }
            return std::nullopt;
        }
    }
    return LoginItemError{kUnsupportedText};
}

std::optional<LoginItemError> SMAppServiceLoginItemService::unregisterApplication() {
    if (@available(macOS 13.0, *)) {
        @autoreleasepool {
            NSError* error = nil;
            if (![SMAppService.mainAppService unregisterAndReturnError:&error]) {
                return errorFrom(error);
            }
            return std::nullopt;
        }
    }
    return LoginItemError{kUnsupportedText};
}

} // namespace windlark
