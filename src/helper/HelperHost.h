#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace windlark {

// Seam to where this program lives on disk and to launchd's view of the helper daemon.
class HelperHost {
public:
    virtual ~HelperHost() = default;

    // The application bundle ("/Applications/Windlark Mac.app"), when running from one.
    [[nodiscard]] virtual std::optional<std::string> mainBundlePath() const = 0;
    [[nodiscard]] virtual std::optional<std::string> mainExecutablePath() const = 0;

    [[nodiscard]] virtual bool isExecutableFile(const std::string& path) const = 0;
    [[nodiscard]] virtual bool fileExists(const std::string& path) const = 0;

    // The raw status of the daemon registered under `plistName`, as the service-management
    // layer numbers it (0 not registered, 1 enabled, 2 requires approval, 3 not found).
    [[nodiscard]] virtual std::int64_t daemonServiceStatus(const std::string& plistName) const = 0;
};

} // namespace windlark
