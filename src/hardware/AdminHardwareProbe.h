#pragma once

#include "hardware/ChildProcessRunner.h"
#include "hardware/FanHardwareCapabilities.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// The outcome of a probe run: the captured report, or why there is none.
struct AdminHardwareProbeResult {
    enum class Kind { success, failure };

    Kind kind = Kind::failure;
    std::string text; // the output on success, the message on failure

    [[nodiscard]] static AdminHardwareProbeResult success(std::string output) {
        return {Kind::success, std::move(output)};
    }
    [[nodiscard]] static AdminHardwareProbeResult failure(std::string message) {
        return {Kind::failure, std::move(message)};
    }
    [[nodiscard]] bool isSuccess() const { return kind == Kind::success; }

    bool operator==(const AdminHardwareProbeResult&) const = default;
};

// Some machines reveal their fan range only to an administrator. The probe re-runs this
// executable with "--print-hardware" through osascript's "do shell script ... with
// administrator privileges" and hands back the printed report; the same report format is
// written here.
namespace AdminHardwareProbe {

inline constexpr std::string_view osascriptPath = "/usr/bin/osascript";
inline constexpr std::string_view smcDiagnosePath = "/usr/libexec/smcDiagnose";
// smcDiagnose answers within a second or two; one that hangs must not hang the report.
inline constexpr std::chrono::seconds smcDiagnoseTimeLimit{10};

// Runs `executablePath --print-hardware --smc-debug --smc-diagnose-fallback` as
// administrator (the system shows its authentication dialog).
[[nodiscard]] AdminHardwareProbeResult run(ChildProcessRunner& runner,
                                           const std::string& executablePath);
// Runs the system's smcDiagnose tool without elevation, for at most smcDiagnoseTimeLimit.
[[nodiscard]] AdminHardwareProbeResult runSMCDiagnoseDirect(ChildProcessRunner& runner);
// Success with standard output on exit status 0; otherwise the trimmed standard error, or
// the trimmed standard output when the error stream is empty. A child that outlives
// `timeLimit` is ended and is a failure that says so.
[[nodiscard]] AdminHardwareProbeResult
runProcess(ChildProcessRunner& runner, const std::string& executablePath,
           const std::vector<std::string>& arguments,
           ChildProcessRunner::TimeLimit timeLimit = std::nullopt);

// One word for a POSIX shell: 'it'\''s'.
[[nodiscard]] std::string shellQuote(std::string_view text);
// An AppleScript string literal: backslashes doubled first, then quotes escaped.
[[nodiscard]] std::string appleScriptStringLiteral(std::string_view text);

// "nil" when absent (or not printable as a whole number); else rounded half away from zero.
[[nodiscard]] std::string probeValue(std::optional<double> value);
// Line breaks become spaces; white space at the ends goes.
[[nodiscard]] std::string singleLine(std::string_view text);

// The "--print-hardware" report lines, in the order the parser reads them back.
[[nodiscard]] std::vector<std::string>
probeReportLines(const FanHardwareCapabilities& capabilities,
                 const std::optional<std::string>& fallbackStatus);

} // namespace AdminHardwareProbe

} // namespace windlark
