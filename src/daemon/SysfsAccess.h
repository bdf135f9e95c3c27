#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace windlark {

// One integer attribute as read: the value, or the errno that stopped the read (ENOENT for
// a missing file, EACCES for a write-only one, ENODEV for an unplugged chip).
struct SysfsValue {
    std::optional<std::int64_t> value;
    int error = 0;

    bool operator==(const SysfsValue&) const = default;
};

// The daemon's only way to the hardware: integer attributes of the kernel's hardware
// monitors, by absolute path. Kept this small so that a fake can misbehave in every way
// a real driver does.
class SysfsAccess {
public:
    virtual ~SysfsAccess() = default;

    [[nodiscard]] virtual SysfsValue read(const std::string& path) = 0;
    // 0 when the driver took the value, else its errno.
    [[nodiscard]] virtual int write(const std::string& path, std::int64_t value) = 0;
};

} // namespace windlark
