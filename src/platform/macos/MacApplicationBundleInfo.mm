#include "platform/macos/MacApplicationBundleInfo.h"

#import <Foundation/Foundation.h>

namespace windlark {
namespace {

std::string stringFrom(NSString* text) {
    const char* bytes = text != nil ? text.UTF8String : nullptr;
    return bytes != nullptr ? std::string(bytes) : std::string();
}

} // namespace

std::optional<std::string> MacApplicationBundleInfo::stringValue(std::string_view key) const {
    @autoreleasepool {
        NSString* name = [[NSString alloc] initWithBytes:key.data()
                                                  length:key.size()
                                                encoding:NSUTF8StringEncoding];
        if (name == nil) {
            return std::nullopt;
        }
        id value = [NSBundle.mainBundle objectForInfoDictionaryKey:name];
        if (![value isKindOfClass:[NSString class]]) {
            return std::nullopt;
        }
        return stringFrom(static_cast<NSString*>(value));
    }
}

std::string MacApplicationBundleInfo::bundlePath() {
    @autoreleasepool {
        return stringFrom(NSBundle.mainBundle.bundleURL.path);
    }
}

std::string MacApplicationBundleInfo::bundleIdentifier() {
    @autoreleasepool {
        return stringFrom(NSBundle.mainBundle.bundleIdentifier);
    }
}

} // namespace windlark
