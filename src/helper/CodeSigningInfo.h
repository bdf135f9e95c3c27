#pragma once

#include "support/PropertyList.h"

#include <optional>
#include <string>

namespace windlark {

// What the helper client concludes from one file's signature.
struct CodeSigningInfo {
    bool isValid = false;
    std::optional<std::string> identifier;
    std::optional<std::string> teamIdentifier;
    std::optional<PropertyDictionary> infoPlist;
    std::string status; // "signature valid", "signature invalid (<code>)", ...

    bool operator==(const CodeSigningInfo&) const = default;
};

} // namespace windlark
