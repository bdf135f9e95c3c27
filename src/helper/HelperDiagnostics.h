#pragma once

#include "hardware/FanHardwareController.h"
#include "helper/PrivilegedHelperActionResult.h"
#include "helper/PrivilegedHelperClient.h"
#include "helper/PrivilegedHelperHealth.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// The helper's command-line commands. Each prints key=value lines so that scripts and
// support staff can read what the helper link sees.
enum class HelperCommand {
    installHelper,       // "--install-helper"
    xpcReset,            // "--xpc-reset"
    xpcManualTargetHold, // "--xpc-manual-target-hold"
    xpcCurveRenewal,     // "--xpc-curve-renewal"
    helperPreflight,     // "--helper-preflight"
};

namespace HelperDiagnostics {

// The value of one environment variable, if set. Passed in so that the commands never
// read the process environment themselves.
using EnvironmentLookup = std::function<std::optional<std::string>(std::string_view name)>;

inline constexpr std::string_view targetRPMOption = "--target-rpm";
inline constexpr std::string_view targetDeltaOption = "--target-delta";
inline constexpr std::string_view holdSecondsOption = "--hold-seconds";
inline constexpr std::string_view leaseSecondsOption = "--lease-seconds";
inline constexpr std::string_view targetRPMVariable = "WINDLARK_SMC_TARGET_RPM";
inline constexpr std::string_view targetDeltaVariable = "WINDLARK_SMC_TARGET_DELTA";
inline constexpr std::string_view holdSecondsVariable = "WINDLARK_SMC_HOLD_SECONDS";
inline constexpr std::string_view leaseSecondsVariable = "WINDLARK_SMC_LEASE_SECONDS";
inline constexpr double defaultTargetDelta = 300.0;
inline constexpr std::int64_t defaultHoldSeconds = 5;
inline constexpr std::int64_t defaultLeaseSeconds = 15;
inline constexpr std::string_view missingTargetMessage =
    "requires --target-rpm, --target-delta, WINDLARK_SMC_TARGET_RPM, or live current RPM";
// The exit status of a hold or renewal that had no target to ask for.
inline constexpr int missingTargetExitStatus = 2;

// The command an option names, if it is one of the helper's.
[[nodiscard]] std::optional<HelperCommand> commandForOption(std::string_view option);

// The argument right after the first occurrence of `name`; absent when the name is
// missing or last.
[[nodiscard]] std::optional<std::string> valueArgument(std::string_view name,
                                                       const std::vector<std::string>& arguments);
// That value as a whole decimal number / a finite decimal number; anything else is absent.
[[nodiscard]] std::optional<std::int64_t> intArgument(std::string_view name,
                                                      const std::vector<std::string>& arguments);
[[nodiscard]] std::optional<double> doubleArgument(std::string_view name,
                                                   const std::vector<std::string>& arguments);

// The target to ask the helper for: "--target-rpm" as given, else the current RPM plus
// "--target-delta" (300 by default); each option falls back to its environment variable.
// Giving both an RPM and a delta is refused: the two ways are mutually exclusive.
[[nodiscard]] std::optional<double> requestedTargetRPM(const std::vector<std::string>& arguments,
                                                       const EnvironmentLookup& environment,
                                                       std::optional<double> currentRPM);

// The option's whole-number value, else the variable's, else `fallback`.
[[nodiscard]] std::int64_t secondsValue(const std::vector<std::string>& arguments,
                                        std::string_view option,
                                        const EnvironmentLookup& environment,
                                        std::string_view variable, std::int64_t fallback);

// The 28 lines of the preflight report, in their fixed order.
[[nodiscard]] std::vector<std::string> preflightLines(const PrivilegedHelperHealth& health);

void printActionResult(const PrivilegedHelperActionResult& result, std::ostream& out);

struct CommandContext {
    PrivilegedHelperClient& client;
    // Reads the machine's fans (the SMC controller with its fallback).
    FanHardwareController& hardware;
    EnvironmentLookup environment;
};

// Runs one command, printing its report to `out`; returns the process's exit status.
[[nodiscard]] int run(HelperCommand command, const std::vector<std::string>& arguments,
                      const CommandContext& context, std::ostream& out);

} // namespace HelperDiagnostics

} // namespace windlark
