#pragma once

#include "hardware/TemperatureSensorServices.h"

#include <optional>
#include <vector>

namespace windlark {

// The HID event system's temperature services as a test lists them.
class FakeTemperatureSensors final : public TemperatureSensorServices {
public:
    FakeTemperatureSensors() = default;
    explicit FakeTemperatureSensors(std::vector<std::optional<TemperatureSensorService>> list)
        : services(std::move(list)) {}

    std::vector<std::optional<TemperatureSensorService>> copyServices() override {
        return services;
    }

    std::vector<std::optional<TemperatureSensorService>> services;
};

} // namespace windlark
