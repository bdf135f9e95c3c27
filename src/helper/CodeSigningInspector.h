#pragma once

#include "helper/CodeSigningInfo.h"
#include "helper/CodeSigningService.h"
#include "support/PropertyList.h"

#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Reads signatures through the platform seam and folds every failure into a status text;
// it never throws and never asks the user anything.
class CodeSigningInspector {
public:
    explicit CodeSigningInspector(const CodeSigningService& service);

    [[nodiscard]] CodeSigningInfo inspect(const std::string& path) const;

    // The designated requirement that the application's Info.plist states for the helper:
    // "SMPrivilegedExecutables" must be a dictionary of strings, keyed by the helper label.
    [[nodiscard]] static std::optional<std::string>
    appHelperRequirement(const std::optional<PropertyDictionary>& appInfoPlist,
                         std::string_view helperLabel);

    // The first entry of the helper's "SMAuthorizedClients", which must be a list of strings.
    [[nodiscard]] static std::optional<std::string>
    helperClientRequirement(const std::optional<PropertyDictionary>& helperInfoPlist);

    // False for an absent requirement, else whether the platform compiles it.
    [[nodiscard]] bool requirementCompiles(const std::optional<std::string>& requirement) const;

private:
    const CodeSigningService& service_;
};

} // namespace windlark
