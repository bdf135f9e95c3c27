#include "platform/macos/MacApplicationBundleInfo.h"

#include "platform/macos/MacNSString.h"

#import <Foundation/Foundation.h>

namespace windlark {

std::optional<std::string> MacApplicationBundleInfo::stringValue(std::string_view key) const {
    @autoreleasepool {
        NSString* nsKey = MacNS::nsString(key);
        if (nsKey == nil) {
            return std::nullopt;
        }
        id value = [NSBundle.mainBundle objectForInfoDictionaryKey:nsKey];
        if (![value isKindOfClass:[NSString class]]) {
            return std::nullopt;
        }
        return MacNS::utf8String(static_cast<NSString*>(value));
    }
}

std::string MacApplicationBundleInfo::bundlePath() {
    @autoreleasepool {
        return MacNS::utf8String(NSBundle.mainBundle.bundleURL.path);
    }
}

std::string MacApplicationBundleInfo::bundleIdentifier() {
    @autoreleasepool {
        return MacNS::utf8String(NSBundle.mainBundle.bundleIdentifier);
    }
}

} // namespace windlark
