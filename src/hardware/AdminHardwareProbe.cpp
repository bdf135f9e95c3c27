#include "hardware/AdminHardwareProbe.h"

#include <cmath>

namespace windlark::AdminHardwareProbe {

namespace {

constexpr std::string_view kWhitespace = " \t\n\r\v\f";

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kWhitespace);
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(kWhitespace) - first + 1));
}

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

// Output that is not UTF-8 is treated as no output at all, as the platform's decoder does.
bool isValidUTF8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        std::size_t length = 0;
        unsigned codePoint = 0;
        if (lead < 0x80) {
            ++at;
            continue;
        }
        if ((lead & 0xE0U) == 0xC0U) {
            length = 2;
            codePoint = lead & 0x1FU;
        } else if ((lead & 0xF0U) == 0xE0U) {
            length = 3;
            codePoint = lead & 0x0FU;
        } else if ((lead & 0xF8U) == 0xF0U) {
            length = 4;
            codePoint = lead & 0x07U;
        } else {
            return false;
        }
        if (at + length > text.size()) {
            return false;
        }
        for (std::size_t i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0U) != 0x80U) {
                return false;
            }
            codePoint = (codePoint << 6) | (next & 0x3FU);
        }
        if ((length == 2 && codePoint < 0x80) || (length == 3 && codePoint < 0x800) ||
            (length == 4 && codePoint < 0x10000) || (codePoint >= 0xD800 && codePoint <= 0xDFFF) ||
            codePoint > 0x10FFFF) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string decoded(std::string bytes) {
    return isValidUTF8(bytes) ? std::move(bytes) : std::string();
}

} // namespace

AdminHardwareProbeResult runProcess(ChildProcessRunner& runner, const std::string& executablePath,
                                    const std::vector<std::string>& arguments) {
    ChildProcessOutcome outcome = runner.run(executablePath, arguments);
    if (outcome.launchError) {
        return AdminHardwareProbeResult::failure(*outcome.launchError);
    }
    std::string output = decoded(std::move(outcome.standardOutput));
    if (outcome.exitStatus == 0) {
        return AdminHardwareProbeResult::success(std::move(output));
    }
    std::string message = trimmed(decoded(std::move(outcome.standardError)));
    if (message.empty()) {
        message = trimmed(output);
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
    return runProcess(runner, std::string(smcDiagnosePath), {});
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
    return trimmed(line);
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
