#pragma once

#include "hardware/SimulatedMachine.h"
#include "helper/BundledPrivilegedHelperClient.h"

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// How a simulated privileged helper looks and behaves. By default it is everything a real
// one should be: bundled, installed, signed by the app's team, alive, with its write gate
// open. Each switch breaks one of those things so the app's reaction can be watched.
struct SimulatedHelperConfiguration {
    bool isBundled = true;
    bool isInstalled = true;
    bool isSignatureValid = true;
    std::string signingIdentifier{WindlarkPrivilegedHelperXPC::serviceName};
    std::optional<std::string> teamIdentifier = std::string("SIMULATED01");
    std::optional<std::string> appTeamIdentifier = std::string("SIMULATED01");
    bool hasBlessMetadata = true;
    bool hasHeartbeat = true;       // false: answers status reads without "heartbeat"
    bool isFanWriteGateOpen = true; // "fanWrites" = "enabled" / "disabled"
    bool hangs = false;             // never answers anything
    bool refusesLeases = false;     // answers every lease with a rejection
    std::int64_t maximumLeaseSeconds = 60;
    std::int64_t daemonStatus = 1; // as launchd numbers it: 1 = enabled
    // How long a one-off hold may wait for the fan to approach its target before answering.
    double holdSettleSeconds = 3.0;
    double renewalSettleSeconds = 1.0;

    bool operator==(const SimulatedHelperConfiguration&) const = default;
};

struct SimulatedHelperParseResult {
    std::optional<SimulatedHelperConfiguration> configuration;
    std::string error; // set when the section is malformed
};

// Reads the optional "helper" section of a machine document:
//   "helper": { "bundled": true, "installed": true, "signatureValid": true,
//               "signingIdentifier": "...", "teamIdentifier": "...",
//               "appTeamIdentifier": "...", "blessMetadata": true, "heartbeat": true,
//               "fanWrites": "enabled", "hangs": false, "refusesLeases": false,
//               "maximumLeaseSeconds": 60, "daemonStatus": 1, "holdSettleSeconds": 3,
//               "renewalSettleSeconds": 1 }
// Every key is optional; a team of null means signed by no team. The lease limit runs from
// 1 to 86400 seconds and each settle time from 0 to 60. Without the section there is no
// configuration; a key of the wrong type or out of its range is an error naming the key.
[[nodiscard]] SimulatedHelperParseResult parseSimulatedHelper(const nlohmann::json& document);

// A privileged helper that exists only in this process. It answers the three contract
// operations with the contract's dictionaries and holds leases on the simulated machine's
// fans, which move toward the target while a lease runs and back when it lapses.
class SimulatedHelper {
public:
    static constexpr std::string_view bundlePath = "/Applications/Windlark Mac.app";

    SimulatedHelper(SimulatedHelperConfiguration configuration,
                    std::shared_ptr<SimulatedMachine> machine);

    // The seams of a machine on which this helper is bundled (and perhaps installed).
    [[nodiscard]] PrivilegedHelperServices services() const;

    // The helper side of the contract, answering at once.
    [[nodiscard]] PropertyDictionary readStatus() const;
    [[nodiscard]] PropertyDictionary resetToSystem();
    [[nodiscard]] PropertyDictionary holdManualTargetLease(const PropertyDictionary& request);

    [[nodiscard]] const SimulatedHelperConfiguration& configuration() const;

    struct State; // shared by the seams, which may outlive this object

private:
    std::shared_ptr<State> state_;
};

} // namespace windlark
