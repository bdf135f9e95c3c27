#include "hardware/FanHardwareFan.h"

#include "text/Formatters.h"

#include <algorithm>

namespace windlark {

bool FanHardwareFan::hasRPMAxis() const {
    return minimumRPM && maximumRPM && *minimumRPM < *maximumRPM;
}

std::string FanHardwareFan::rangeText() const {
    if (!minimumRPM || !maximumRPM) {
        return "Unavailable";
    }
    return Formatters::rpm(*minimumRPM) + " - " + Formatters::rpm(*maximumRPM);
}

std::string FanHardwareFan::detailText() const {
    std::string text = displayName + ": " + rangeText();
    if (currentRPM) {
        text += ", " + Formatters::rpm(*currentRPM) + " now";
    }
    return text;
}

std::optional<double> FanHardwareFan::targetRPM(double linkedPercent) const {
    if (!minimumRPM || !maximumRPM || *maximumRPM <= *minimumRPM) {
        return std::nullopt;
    }
    return *minimumRPM + std::clamp(linkedPercent, 0.0, 1.0) * (*maximumRPM - *minimumRPM);
}

} // namespace windlark
