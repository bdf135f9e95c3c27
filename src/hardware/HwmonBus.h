#pragma once

#include "hardware/HwmonChip.h"

#include <string>
#include <vector>

namespace windlark {

// The kernel's hardware monitors as the hardware layer reaches them: a list of chips with
// their channels and files, and bounded reads of single files. Implementations never
// write and never wait on a file that does not answer at once.
class HwmonBus {
public:
    virtual ~HwmonBus() = default;

    // Every chip the system shows now, with what its driver and the user's sensors.conf
    // make of it. Chips that cannot be read at all are left out.
    [[nodiscard]] virtual std::vector<HwmonChip> enumerateChips() = 0;
    // One attribute file, at most kHwmonAttributeSizeLimit bytes.
    [[nodiscard]] virtual HwmonAttributeRead readAttribute(const std::string& path) = 0;
};

} // namespace windlark
