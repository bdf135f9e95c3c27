#pragma once

#include <filesystem>
#include <string>

namespace windlark {

class SysfsAccess;

struct WindlarkdOptions {
    std::filesystem::path sysfsRoot = "/sys";
    std::filesystem::path socketPath = "/run/windlark.sock";
    std::filesystem::path runtimeDirectory = "/run/windlarkd";   // saved.json
    std::filesystem::path stateDirectory = "/var/lib/windlarkd"; // calibration.json
    std::string group = "windlark";
    // Hold a logind sleep inhibitor (off where there is no system bus to ask).
    bool useLogind = true;

    [[nodiscard]] std::filesystem::path savedFile() const {
        return runtimeDirectory / "saved.json";
    }
    [[nodiscard]] std::filesystem::path calibrationFile() const {
        return stateDirectory / "calibration.json";
    }
};

// Serves the socket until SIGTERM or SIGINT, handing every fan back before it returns.
// The exit status: 0 after a clean hand-back, 1 when a fan could not be restored, 2 when
// the socket could not be set up.
[[nodiscard]] int runWindlarkd(const WindlarkdOptions& options, SysfsAccess& sysfs);

// Puts back whatever a saved file left over describes, without a socket: the service's
// stop step, run after the daemon ended however it ended. Doing it twice is harmless.
[[nodiscard]] int restoreLeftoverFans(const WindlarkdOptions& options, SysfsAccess& sysfs);

// The whole command line (options, environment, the three modes) over `sysfs`, so that a
// build for tests can put its own layer between the daemon and /sys.
[[nodiscard]] int windlarkdMain(int argc, char** argv, SysfsAccess& sysfs);

} // namespace windlark
