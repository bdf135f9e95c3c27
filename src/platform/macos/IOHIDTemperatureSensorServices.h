#pragma once

#include "hardware/TemperatureSensorServices.h"

namespace windlark {

// The temperature sensors of the HID event system: services on the vendor usage page
// 0xFF00 with usage 5, each with its current temperature event.
class IOHIDTemperatureSensorServices final : public TemperatureSensorServices {
public:
    [[nodiscard]] std::vector<std::optional<TemperatureSensorService>> copyServices() override;
};

} // namespace windlark
