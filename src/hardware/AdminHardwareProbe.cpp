#include "hardware/AdminHardwareProbe.h"

#include "hardware/ReportText.h"

#include <cmath>

namespace windlark::AdminHardwareProbe {

namespace {

std::string replacingAll(std::string_view text, char target, std::string_view replacement) {
    std::string result;
    result.reserve(text.size() + 8);
    for (char character : text) {
        if (character == target) {
            result += replacement;
        } else {
            result += character;
        }
    }
    return result;
}

// Output that is not UTF-8 counts as no output at all.
std::string decoded(std::string bytes) {
    return isValidUTF8(bytes) ? std::move(bytes) : std::string();
}

} // namespace

AdminHardwareProbeResult runProcess(ChildProcessRunner& runner, const std::string& executablePath,
                                    const std::vector<std::string>& arguments,
                                    ChildProcessRunner::TimeLimit timeLimit) {
    ChildProcessOutcome outcome = runner.run(executablePath, arguments, timeLimit);
    if (outcome.launchError) {
        return AdminHardwareProbeResult::failure(*outcome.launchError);
    }
    if (outcome.isTimedOut) {
        const auto limit = timeLimit.value_or(std::chrono::milliseconds{0});
        return AdminHardwareProbeResult::failure(
            executablePath + " did not finish within " +
            std::to_string(std::chrono::ceil<std::chrono::seconds>(limit).count()) +
            " s and was stopped");
    }
    std::string output = decoded(std::move(outcome.standardOutput));
    if (outcome.exitStatus == 0) {
        return AdminHardwareProbeResult::success(std::move(output));
    }
    std::string message(trimmedWhitespace(decoded(std::move(outcome.standardError))));
    if (message.empty()) {
        message = trimmedWhitespace(output);
    }
    return AdminHardwareProbeResult::failure(std::move(message));
}

AdminHardwareProbeResult run(ChildProcessRunner& runner, const std::string& executablePath) {
    const std::string command =
        shellQuote(executablePath) + " --print-hardware --smc-debug --smc-diagnose-fallback";
    const std::string script =
        "do shell script " + appleScriptStringLiteral(command) + " with administrator privileges";
    return runProcess(runner, std::string(osascriptPath), {"-e", script});
}

AdminHardwareProbeResult runSMCDiagnoseDirect(ChildProcessRunner& runner) {
    return runProcess(runner, std::string(smcDiagnosePath), {}, smcDiagnoseTimeLimit);
}

std::string shellQuote(std::string_view text) {
    return "'" + replacingAll(text, '\'', "'\\''") + "'";
}

std::string appleScriptStringLiteral(std::string_view text) {
    // Backslashes first: escaping the quotes first would double the escapes' backslashes.
    const std::string escapedBackslashes = replacingAll(text, '\\', "\\\\");
    return "\"" + replacingAll(escapedBackslashes, '"', "\\\"") + "\"";
}

std::string probeValue(std::optional<double> value) {
    if (!value) {
        return "nil";
    }
    const double rounded = std::round(*value);
    // 2^63 is the first double past the 64-bit range; such a reading cannot be printed.
    if (!std::isfinite(rounded) || rounded >= 9223372036854775808.0 ||
        rounded < -9223372036854775808.0) {
        return "nil";
    }
    return std::to_string(static_cast<long long>(rounded));
}

std::string singleLine(std::string_view text) {
    std::string line(text);
    for (char& character : line) {
        if (character == '\r' || character == '\n') {
            character = ' ';
        }
    }
    return std::string(trimmedWhitespace(line));
}

std::vector<std::string> probeReportLines(const FanHardwareCapabilities& capabilities,
                                          const std::optional<std::string>& fallbackStatus) {
    std::vector<std::string> lines;
    lines.reserve(9 + capabilities.fans.size() * 5);
    lines.push_back("fanCount=" + std::to_string(capabilities.fanCount));
    lines.push_back("minimumRPM=" + probeValue(capabilities.minimumRPM));
    lines.push_back("maximumRPM=" + probeValue(capabilities.maximumRPM));
    lines.push_back("currentRPM=" + probeValue(capabilities.currentRPM));
    lines.push_back("range=" + singleLine(capabilities.rangeText()));
    lines.push_back("detail=" + singleLine(capabilities.detailText()));
    lines.push_back("source=" + singleLine(capabilities.source));
    lines.push_back("supportStatus=" + std::string(rawValue(capabilities.supportStatus)));
    for (const FanHardwareFan& fan : capabilities.fans) {
        const std::string prefix = "fan" + std::to_string(fan.index);
        lines.push_back(prefix + "Name=" + singleLine(fan.displayName));
        lines.push_back(prefix + "MinimumRPM=" + probeValue(fan.minimumRPM));
        lines.push_back(prefix + "MaximumRPM=" + probeValue(fan.maximumRPM));
        lines.push_back(prefix + "CurrentRPM=" + probeValue(fan.currentRPM));
        lines.push_back(prefix + "Source=" + singleLine(fan.source));
    }
    if (fallbackStatus) {
        lines.push_back("fallback=" + singleLine(*fallbackStatus));
    }
    return lines;
}

} // namespace windlark::AdminHardwareProbe
