#pragma once

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "support/RawValue.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

struct PrivilegedHelperHealth;

enum class PrivilegedHelperXPCActivationState {
    unavailable,
    contractMismatch,
    metadataRequired,
    installRequired,
    provenanceRequired,
    compileTimeLocked,
    activationAllowed,
};

[[nodiscard]] std::string_view rawValue(PrivilegedHelperXPCActivationState state);

template <>
inline constexpr std::array<PrivilegedHelperXPCActivationState, 7>
    allCases<PrivilegedHelperXPCActivationState> = {
        PrivilegedHelperXPCActivationState::unavailable,
        PrivilegedHelperXPCActivationState::contractMismatch,
        PrivilegedHelperXPCActivationState::metadataRequired,
        PrivilegedHelperXPCActivationState::installRequired,
        PrivilegedHelperXPCActivationState::provenanceRequired,
        PrivilegedHelperXPCActivationState::compileTimeLocked,
        PrivilegedHelperXPCActivationState::activationAllowed,
};

struct PrivilegedHelperXPCActivationRequirement {
    std::string title;
    bool isSatisfied = false;

    bool operator==(const PrivilegedHelperXPCActivationRequirement&) const = default;
};

// Whether the app may even try to open an XPC connection to the helper, and what stands in
// the way. A pure function of the health record and the build's connection switch.
struct PrivilegedHelperXPCActivationPolicy {
    PrivilegedHelperXPCActivationState state = PrivilegedHelperXPCActivationState::unavailable;
    bool isContractReady = false;
    bool isActivationAllowed = false;
    std::vector<PrivilegedHelperXPCActivationRequirement> requirements; // always nine
    std::string detail;

    // `connectionEnabled` is the build-time lock; it is a parameter only so that the
    // locked build can be exercised.
    [[nodiscard]] static PrivilegedHelperXPCActivationPolicy
    evaluate(const PrivilegedHelperHealth& health,
             bool connectionEnabled = WindlarkPrivilegedHelperXPC::connectionEnabled);

    // Titles of the unsatisfied requirements in list order, joined with ", ".
    [[nodiscard]] std::string blockerText() const;

    bool operator==(const PrivilegedHelperXPCActivationPolicy&) const = default;
};

} // namespace windlark
