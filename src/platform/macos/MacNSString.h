#pragma once

#include "hardware/ReportText.h"

#import <Foundation/Foundation.h>
#include <optional>
#include <string>
#include <string_view>

// Conversions between this program's UTF-8 texts and Foundation's strings, for the
// Objective-C++ adapters.
namespace windlark::MacNS {

// `text` as an NSString; nil when `text` is not valid UTF-8. Callers refuse nil: an
// empty string in its place would make a path name the working directory.
inline NSString* nsString(std::string_view text) {
    if (!isValidUTF8(text)) {
        return nil;
    }
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

// `path` as an NSString; nil unless it is a usable path (not empty, no NUL, valid UTF-8).
inline NSString* nsPath(std::string_view path) {
    return isUsableFilePath(path) ? nsString(path) : nil;
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
