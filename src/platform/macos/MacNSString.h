#pragma once

#import <Foundation/Foundation.h>
#include <optional>
#include <string>
#include <string_view>

// Conversions between this program's UTF-8 texts and Foundation's strings, for the
// Objective-C++ adapters.
namespace windlark::MacNS {

// `text` as an NSString; the empty string when `text` is not valid UTF-8.
inline NSString* nsString(std::string_view text) {
    NSString* converted = [[NSString alloc] initWithBytes:text.data()
                                                   length:text.size()
                                                 encoding:NSUTF8StringEncoding];
    return converted != nil ? converted : @"";
}

// The UTF-8 form of `text`; `fallback` when `text` is nil or has no UTF-8 form.
inline std::string utf8String(NSString* text, std::string_view fallback = {}) {
    const char* bytes = text != nil ? text.UTF8String : nullptr;
    return bytes != nullptr ? std::string(bytes) : std::string(fallback);
}

// The UTF-8 form of `text`; absent when `text` is nil or has no UTF-8 form.
inline std::optional<std::string> optionalUtf8String(NSString* text) {
    const char* bytes = text != nil ? text.UTF8String : nullptr;
    return bytes != nullptr ? std::optional<std::string>(bytes) : std::nullopt;
}

} // namespace windlark::MacNS
