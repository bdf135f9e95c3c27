#pragma once

#include "hardware/HwmonBus.h"

#include <map>
#include <string>
#include <vector>

namespace windlark {

// Hardware monitors from plain lists: the chips to enumerate and the file contents by
// path. A path that is not in `files` reads as gone, like a file of an unplugged chip.
class FakeHwmonBus final : public HwmonBus {
public:
    std::vector<HwmonChip> chips;
    std::map<std::string, HwmonAttributeRead> files;
    int enumerations = 0;
    int reads = 0;

    std::vector<HwmonChip> enumerateChips() override {
        ++enumerations;
        return chips;
    }
    HwmonAttributeRead readAttribute(const std::string& path) override {
        ++reads;
        const auto found = files.find(path);
        return found == files.end() ? HwmonAttributeRead::failed(HwmonReadFailure::missing)
                                    : found->second;
    }

    // Adds a temperature channel with its value in millidegrees, under the chip's folder.
    void addTemperature(HwmonChip& chip, const std::string& channel, const std::string& label,
                        const std::string& millidegrees) {
        const std::string input = chip.hwmonPath + "/" + channel + "_input";
        chip.temperatures.push_back({channel, label, label, input});
        files[input] = HwmonAttributeRead::text(millidegrees + "\n");
    }
    void addFan(HwmonChip& chip, const std::string& channel, const std::string& rpm) {
        const std::string input = chip.hwmonPath + "/" + channel + "_input";
        HwmonFanChannel& fan = chip.fans.emplace_back();
        fan.channel = fan.label = channel;
        fan.inputPath = input;
        files[input] = HwmonAttributeRead::text(rpm + "\n");
    }
};

} // namespace windlark
