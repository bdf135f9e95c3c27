#pragma once

#include "helper/CodeSigningService.h"

#include <map>
#include <set>
#include <string>

namespace windlark {

// Signatures by path; a path without an entry has no static code object. Requirements
// compile unless listed as broken (or empty).
class FakeCodeSigningService final : public CodeSigningService {
public:
    std::map<std::string, StaticCodeSignature> signatures;
    std::set<std::string> brokenRequirements;

    std::optional<StaticCodeSignature> readStaticCode(const std::string& path) const override {
        const auto found = signatures.find(path);
        if (found == signatures.end()) {
            return std::nullopt;
        }
        return found->second;
    }
    bool compilesRequirement(const std::string& requirement) const override {
        return !requirement.empty() && brokenRequirements.count(requirement) == 0;
    }
};

} // namespace windlark
