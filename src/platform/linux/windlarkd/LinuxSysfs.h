#pragma once

#include "daemon/DaemonFan.h"
#include "daemon/SavedFanState.h"
#include "daemon/SysfsAccess.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// Attribute files under /sys, one short read or write each. Sysfs attributes report a
// size of a page whatever they hold, so reads stop at a few dozen bytes instead.
class LinuxSysfs final : public SysfsAccess {
public:
    SysfsValue read(const std::string& path) override;
    int write(const std::string& path, std::int64_t value) override;
};

// Every hwmon directory under `<sysfsRoot>/class/hwmon`. Device paths are given as if the
// root were /sys, so a fan's stable id is the same under a test's scratch tree.
[[nodiscard]] std::vector<HwmonChipListing> listHwmonChips(const std::filesystem::path& sysfsRoot);

// The fans of every chip, with their calibration maps from `calibrationFile` when present.
[[nodiscard]] std::vector<DaemonFan> discoverFans(const std::filesystem::path& sysfsRoot,
                                                  const std::filesystem::path& calibrationFile);

// A file replaced by writing a temporary beside it, syncing and renaming.
class AtomicFileStore final : public SavedStateStore {
public:
    // `mode` of the replacement: the saved state is the daemon's alone (0600); the
    // calibration maps may be read by anyone (0644).
    explicit AtomicFileStore(std::filesystem::path path, unsigned mode = 0600)
        : path_(std::move(path))
        , mode_(mode) {}

    std::optional<std::string> read() override;
    int replace(const std::string& text) override;
    void remove() override;

private:
    std::filesystem::path path_;
    unsigned mode_;
};

} // namespace windlark
