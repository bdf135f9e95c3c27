#pragma once

#include "support/PropertyList.h"

#include <CoreFoundation/CoreFoundation.h>
#include <optional>
#include <string>

namespace windlark::CFPropertyListConversion {

// A CFString as UTF-8; absent for anything else.
[[nodiscard]] std::optional<std::string> string(CFTypeRef value);

// Strings, booleans, numbers (integer or floating, kept apart), arrays and string-keyed
// dictionaries. Anything else (data, dates, non-string keys), also nested, gives nothing.
[[nodiscard]] std::optional<PropertyList> propertyList(CFTypeRef value);

// A dictionary whose convertible entries are kept and the others left out: an Info.plist
// carries dates and data this program never reads, which must not hide the entries it does.
[[nodiscard]] std::optional<PropertyDictionary> lenientDictionary(CFTypeRef value);

// A new CFDictionary (owned by the caller, who releases it); null when out of memory.
[[nodiscard]] CFDictionaryRef createDictionary(const PropertyDictionary& dictionary);

} // namespace windlark::CFPropertyListConversion
