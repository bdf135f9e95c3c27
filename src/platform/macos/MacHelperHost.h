#pragma once

#include "helper/HelperHost.h"

namespace windlark {

// The main bundle and file checks through Foundation; the daemon's status through
// SMAppService (macOS 13 and later; earlier systems report an unknown status).
class MacHelperHost final : public HelperHost {
public:
    [[nodiscard]] std::optional<std::string> mainBundlePath() const override;
    [[nodiscard]] std::optional<std::string> mainExecutablePath() const override;
    [[nodiscard]] bool isExecutableFile(const std::string& path) const override;
    [[nodiscard]] bool fileExists(const std::string& path) const override;
    [[nodiscard]] std::int64_t daemonServiceStatus(const std::string& plistName) const override;
};

} // namespace windlark
