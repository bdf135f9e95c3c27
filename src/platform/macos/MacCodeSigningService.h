#pragma once

#include "helper/CodeSigningService.h"

namespace windlark {

// Static code signatures and requirements through the Security framework. Never prompts.
class MacCodeSigningService final : public CodeSigningService {
public:
    [[nodiscard]] std::optional<StaticCodeSignature>
    readStaticCode(const std::string& path) const override;
    [[nodiscard]] bool compilesRequirement(const std::string& requirement) const override;
};

} // namespace windlark
