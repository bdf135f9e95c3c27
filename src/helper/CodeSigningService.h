#pragma once

#include "support/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string>

namespace windlark {

// The facts the operating system gives about one file's static code signature, before
// this program draws any conclusion from them.
struct StaticCodeSignature {
    // Result code of validating the signature with no extra requirement; 0 is success.
    std::int32_t validityStatus = 0;
    std::optional<std::string> identifier;
    std::optional<std::string> teamIdentifier;
    // The Info.plist sealed into the signature.
    std::optional<PropertyDictionary> infoPlist;

    bool operator==(const StaticCodeSignature&) const = default;
};

// Seam to the platform's code-signing services. Neither call may prompt the user.
class CodeSigningService {
public:
    virtual ~CodeSigningService() = default;

    // No value when no static code object can be made for the file (missing, unreadable).
    [[nodiscard]] virtual std::optional<StaticCodeSignature>
    readStaticCode(const std::string& path) const = 0;

    // Whether the platform accepts the text as a code requirement.
    [[nodiscard]] virtual bool compilesRequirement(const std::string& requirement) const = 0;
};

} // namespace windlark
