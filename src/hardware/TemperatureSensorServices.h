#pragma once

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// What the HID event system reports for one temperature sensor service, untouched.
struct TemperatureSensorService {
    std::optional<std::string> product; // the "Product" property when it is text
    // The level of the service's current temperature event; absent when it has no event.
    std::optional<double> eventTemperature;

    bool operator==(const TemperatureSensorService&) const = default;
};

// The HID event system's temperature sensor services (vendor page 0xFF00, usage 5), in the
// system's order. A null entry of the system's list stays as an empty slot so that the
// positions used to name unnamed sensors keep their meaning. No client or no services
// give an empty list.
class TemperatureSensorServices {
public:
    virtual ~TemperatureSensorServices() = default;
    [[nodiscard]] virtual std::vector<std::optional<TemperatureSensorService>> copyServices() = 0;
};

} // namespace windlark
