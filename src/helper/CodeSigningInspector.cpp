#include "helper/CodeSigningInspector.h"

#include <algorithm>

namespace windlark {

CodeSigningInspector::CodeSigningInspector(const CodeSigningService& service)
    : service_(service) {}

CodeSigningInfo CodeSigningInspector::inspect(const std::string& path) const {
    const std::optional<StaticCodeSignature> signature = service_.readStaticCode(path);
    if (!signature) {
        return CodeSigningInfo{false, std::nullopt, std::nullopt, std::nullopt,
                               "signature object unavailable"};
    }
    CodeSigningInfo info;
    info.isValid = signature->validityStatus == 0;
    // An invalid signature still names its signer when the platform can tell; keep it so
    // the report says whose broken signature it is.
    info.identifier = signature->identifier;
    info.teamIdentifier = signature->teamIdentifier;
    info.infoPlist = signature->infoPlist;
    info.status = info.isValid
                      ? "signature valid"
                      : "signature invalid (" + std::to_string(signature->validityStatus) + ")";
    return info;
}

std::optional<std::string>
CodeSigningInspector::appHelperRequirement(const std::optional<PropertyDictionary>& appInfoPlist,
                                           std::string_view helperLabel) {
    if (!appInfoPlist) {
        return std::nullopt;
    }
    const PropertyList* executables = appInfoPlist->find("SMPrivilegedExecutables");
    if (executables == nullptr || executables->asDictionary() == nullptr) {
        return std::nullopt;
    }
    const PropertyDictionary& byLabel = *executables->asDictionary();
    // The whole entry must be a string-to-string map; a stray non-string value means the
    // plist was not written the way the bless machinery reads it.
    const bool allStrings =
        std::all_of(byLabel.entries().begin(), byLabel.entries().end(),
                    [](const auto& entry) { return entry.second.asString() != nullptr; });
    if (!allStrings) {
        return std::nullopt;
    }
    const std::string* requirement = byLabel.string(helperLabel);
    if (requirement == nullptr) {
        return std::nullopt;
    }
    return *requirement;
}

std::optional<std::string> CodeSigningInspector::helperClientRequirement(
    const std::optional<PropertyDictionary>& helperInfoPlist) {
    if (!helperInfoPlist) {
        return std::nullopt;
    }
    const PropertyList* clients = helperInfoPlist->find("SMAuthorizedClients");
    if (clients == nullptr || clients->asArray() == nullptr) {
        return std::nullopt;
    }
    const PropertyArray& list = *clients->asArray();
    const bool allStrings = std::all_of(list.begin(), list.end(), [](const PropertyList& item) {
        return item.asString() != nullptr;
    });
    if (!allStrings || list.empty()) {
        return std::nullopt;
    }
    return *list.front().asString();
}

bool CodeSigningInspector::requirementCompiles(
    const std::optional<std::string>& requirement) const {
    return requirement.has_value() && service_.compilesRequirement(*requirement);
}

} // namespace windlark
