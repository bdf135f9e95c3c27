// Anyone allowed on windlarkd's socket can send it any bytes, and the files it reads at
// start-up (the saved fan state, the calibration maps) may be damaged. The first byte
// picks the target: a frame handled by a daemon holding real-looking fans (over the
// in-memory sysfs), a reply frame as the app decodes it, a saved file, or a calibration
// file. Nothing may crash, and a request that decodes must encode back to itself.

#include "daemon/CalibrationMap.h"
#include "daemon/DaemonFrame.h"
#include "daemon/FakeSysfs.h"
#include "daemon/FanLeaseDaemon.h"
#include "daemon/SavedFanState.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace windlark;

void handleAsDaemon(std::string_view frame) {
    FakeSysfs sysfs;
    InMemorySavedStore store;
    const std::string hwmon = "/sys/class/hwmon/hwmon1";
    for (const char* name : {"/pwm1_enable", "/pwm1", "/fan1_input"}) {
        sysfs.set(hwmon + name, 2);
    }
    auto fans = describeFans(
        {"it8728", "/sys/devices/platform/it87.656", hwmon, {"pwm1", "pwm1_enable", "fan1_input"}});
    fans[0].calibration = CalibrationMap::fromPoints({{0, 0}, {50, 600}, {255, 2400}});
    FanLeaseDaemon daemon(sysfs, store, std::move(fans));
    const MonotonicTime start{};
    // Once from a stranger, twice from the same client (the second while it may hold the
    // fans), then the holder goes away: every path must leave the fans as they were.
    (void)daemon.handleFrame(1, false, frame, start);
    (void)daemon.handleFrame(2, true, frame, start);
    (void)daemon.handleFrame(2, true, frame, start + std::chrono::seconds(1));
    daemon.tick(start + std::chrono::seconds(2));
    daemon.clientClosed(2);
    if (daemon.holder() || sysfs.value(hwmon + "/pwm1_enable") != 2) {
        std::abort();
    }

    const DecodedRequest decoded = decodeRequestFrame(frame);
    if (decoded.request &&
        (!decoded.request->lease || std::isfinite(decoded.request->lease->targetRPM))) {
        const DecodedRequest again = decodeRequestFrame(encodeRequestFrame(*decoded.request));
        if (!again.request || *again.request != *decoded.request) {
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 4) {
    case 0:
        handleAsDaemon(input);
        break;
    case 1:
        (void)decodeReplyFrame(input);
        break;
    case 2:
        (void)parseSavedFile(input);
        break;
    default:
        for (const auto& [id, map] : parseCalibrationFile(input)) {
            (void)map.range();
            (void)map.dutyFor(1000.0);
        }
        break;
    }
    return 0;
}
