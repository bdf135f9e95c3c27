#pragma once

#include "fakes/StoreRig.h"
#include "hardware/HardwareDiagnostics.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "helper/SimulatedHelper.h"
#include "store/WindlarkStore.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace windlark {

// A store over a simulated one-fan Mac mini with a healthy simulated helper, running in
// virtual time: the interface's tests, pictures and benchmarks all see the same machine.
// The processor temperature swings between about 40 and 66 C over 25 minutes, so an hour
// of history fills a good part of the temperature axis.
class SimulatedEditorStore {
public:
    static constexpr const char* machineDocument = R"({
      "model": "Mac16,10", "productName": "Mac mini", "smcService": "AppleSMCKeysEndpoint",
      "smc": {
        "FNum": {"type": "ui8", "value": 1},
        "F0Mn": {"type": "flt", "value": 1000}, "F0Mx": {"type": "flt", "value": 4900},
        "F0Ac": {"type": "flt", "value": 1650}, "F0Tg": {"type": "flt", "value": 1650},
        "F0Md": {"type": "ui8", "value": 0}
      },
      "sensors": [
        {"name": "PMU tdie1", "temperatureC": 53, "waveAmplitudeC": 13, "wavePeriodSeconds": 1500},
        {"name": "NAND CH0 temp", "temperatureC": 38}
      ]
    })";

    // In virtual time: `run` moves the clock and fires the 2-second tick.
    explicit SimulatedEditorStore(WindlarkStoreOptions options = {})
        : clock(std::make_shared<ManualClock>())
        , mainLoop(std::make_shared<ManualMainLoop>(clock.get())) {
        start(clock, mainLoop, std::move(options));
    }

    // On a real clock and main loop, as the running application has them.
    SimulatedEditorStore(std::shared_ptr<const Clock> liveClock, std::shared_ptr<MainLoop> liveLoop,
                         WindlarkStoreOptions options = {}) {
        start(std::move(liveClock), std::move(liveLoop), std::move(options));
    }

    // Runs the control loop for `seconds` of virtual time, a tick every 2 s.
    void run(double seconds) { mainLoop->advance(seconds); }

    std::shared_ptr<ManualClock> clock;       // absent on a real clock
    std::shared_ptr<ManualMainLoop> mainLoop; // absent on a real main loop
    std::shared_ptr<ManualSerialQueue> leaseQueue = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> backgroundQueue = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<FakeLoginItems> loginItem = std::make_shared<FakeLoginItems>();
    std::shared_ptr<SimulatedMachine> machine;
    std::unique_ptr<WindlarkStore> store;

private:
    void start(std::shared_ptr<const Clock> storeClock, std::shared_ptr<MainLoop> loop,
               WindlarkStoreOptions options) {
        SimulatedMachine::ParseResult parsed = SimulatedMachine::parse(machineDocument, storeClock);
        if (!parsed.machine) {
            throw std::runtime_error(parsed.error);
        }
        machine = parsed.machine;
        const HardwareEnvironment environment =
            HardwareEnvironment::simulated(machine, nullptr, storeClock);
        const SimulatedHelper helper(SimulatedHelperConfiguration{}, machine);

        WindlarkStoreServices services;
        services.controller = HardwareDiagnostics::makeSMCFanHardwareController(environment);
        services.helperClient = std::make_shared<BundledPrivilegedHelperClient>(helper.services());
        services.loginItemController = loginItem;
        services.updateChecker = std::make_shared<FakeUpdateChecker>(); // never answers
        services.clock = std::move(storeClock);
        services.mainLoop = std::move(loop);
        services.curveLeaseQueue = leaseQueue;
        services.backgroundQueue = backgroundQueue;
        services.isSimulatedMachine = true;
        store = std::make_unique<WindlarkStore>(std::move(services), std::move(options));
    }
};

} // namespace windlark
