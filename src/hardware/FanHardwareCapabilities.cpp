#include "hardware/FanHardwareCapabilities.h"

#include "hardware/ReportText.h"
#include "support/NumberText.h"
#include "text/Formatters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <system_error>
#include <utility>

namespace windlark {

namespace {

// The probe report comes from our own executable; anything claiming more fans than this
// did not. Rejecting it keeps a corrupt report from synthesising millions of fans.
constexpr long long kLargestPlausibleFanCount = 1024;

std::vector<FanHardwareFan> legacyFans(int fanCount, std::optional<double> minimumRPM,
                                       std::optional<double> maximumRPM,
                                       std::optional<double> currentRPM,
                                       const std::string& source) {
    std::vector<FanHardwareFan> fans;
    if (fanCount <= 0) {
        return fans;
    }
    fans.reserve(static_cast<std::size_t>(fanCount));
    for (int index = 0; index < fanCount; ++index) {
        fans.push_back(FanHardwareFan{
            .index = index,
            .displayName = "Fan " + std::to_string(index),
            .minimumRPM = minimumRPM,
            .maximumRPM = maximumRPM,
            .currentRPM = index == 0 ? currentRPM : std::nullopt,
            .source = source,
        });
    }
    return fans;
}

std::optional<double> parseOptionalRPM(std::optional<std::string_view> value) {
    if (!value || *value == "nil") {
        return std::nullopt;
    }
    return parseDouble(*value);
}

// The probe report's entries in order of appearance. Lookups search from the back so that
// a later line with the same key wins, without building a map.
class ProbeFields {
public:
    explicit ProbeFields(std::string_view text) {
        std::size_t start = 0;
        while (start <= text.size()) {
            // A carriage return ends a line too: "do shell script" turns the report's line
            // feeds into carriage returns before osascript prints it. Report values never
            // hold either (they pass through singleLine).
            std::size_t end = text.find_first_of("\r\n", start);
            if (end == std::string_view::npos) {
                end = text.size();
            }
            std::string_view line = text.substr(start, end - start);
            std::size_t equals = line.find('=');
            if (equals != std::string_view::npos && equals > 0 && equals + 1 < line.size()) {
                entries_.emplace_back(line.substr(0, equals), line.substr(equals + 1));
            }
            start = end + 1;
        }
    }

    [[nodiscard]] std::optional<std::string_view> value(std::string_view key) const {
        for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
            if (it->first == key) {
                return it->second;
            }
        }
        return std::nullopt;
    }

    // One more than the largest index i of a key "fan<i>..." (0 when there is none), so the
    // fan loop never walks indices that cannot have keys.
    [[nodiscard]] long long fanIndexLimit() const {
        long long limit = 0;
        for (const auto& [key, ignored] : entries_) {
            if (key.size() < 4 || key.substr(0, 3) != "fan") {
                continue;
            }
            long long index = 0;
            const char* begin = key.data() + 3;
            auto [ptr, ec] = std::from_chars(begin, key.data() + key.size(), index);
            // Capped before adding one: a key may carry the largest long long, and no
            // index beyond the plausible fan count is ever looked at anyway.
            if (ec == std::errc{} && ptr != begin && index >= 0) {
                limit = std::max(limit, std::min(index, kLargestPlausibleFanCount) + 1);
            }
        }
        return limit;
    }

private:
    std::vector<std::pair<std::string_view, std::string_view>> entries_;
};

std::vector<FanHardwareFan> parseFans(const ProbeFields& fields, long long fanCount) {
    std::vector<FanHardwareFan> fans;
    const long long limit = std::min(fanCount, fields.fanIndexLimit());
    std::array<char, 48> key{};
    for (long long index = 0; index < limit; ++index) {
        // A plain variable, not a structured binding: clang before 16 cannot capture
        // those in the lambda below. The buffer always has room for a long long.
        char* const prefixEnd = std::to_chars(key.data() + 3, key.data() + 24, index).ptr;
        key[0] = 'f';
        key[1] = 'a';
        key[2] = 'n';
        const auto lookup = [&](std::string_view suffix) {
            std::copy(suffix.begin(), suffix.end(), prefixEnd);
            return fields.value(std::string_view(
                key.data(), static_cast<std::size_t>(prefixEnd - key.data()) + suffix.size()));
        };
        const auto name = lookup("Name");
        const auto minimum = lookup("MinimumRPM");
        const auto maximum = lookup("MaximumRPM");
        const auto current = lookup("CurrentRPM");
        if (!name && !minimum && !maximum && !current) {
            continue;
        }
        auto source = lookup("Source");
        if (!source) {
            source = fields.value("source");
        }
        fans.push_back(FanHardwareFan{
            .index = static_cast<int>(index),
            .displayName = name ? std::string(*name) : "Fan " + std::to_string(index),
            .minimumRPM = parseOptionalRPM(minimum),
            .maximumRPM = parseOptionalRPM(maximum),
            .currentRPM = parseOptionalRPM(current),
            .source = source ? std::string(*source) : std::string("Hardware probe"),
        });
    }
    return fans;
}

// The smcDiagnose report as key -> number. Lines are "key,value" or "key=value"; only the
// first word of the value counts so that units after the number do not matter.
class SMCDiagnoseFields {
public:
    explicit SMCDiagnoseFields(std::string_view text) {
        std::size_t start = 0;
        while (start <= text.size()) {
            const std::size_t end = text.find_first_of("\r\n", start);
            const std::size_t stop = end == std::string_view::npos ? text.size() : end;
            addLine(text.substr(start, stop - start));
            start = stop + 1;
        }
    }

    // The first key of `keys` that the report has, with its value.
    template <std::size_t N>
    [[nodiscard]] std::optional<std::pair<std::string_view, double>>
    first(const std::array<std::string_view, N>& keys) const {
        for (std::string_view key : keys) {
            if (auto found = value(key)) {
                return std::pair{key, *found};
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] std::optional<double> value(std::string_view key) const {
        for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
            if (it->first == key) {
                return it->second;
            }
        }
        return std::nullopt;
    }

private:
    void addLine(std::string_view line) {
        const char separator = line.find(',') != std::string_view::npos ? ',' : '=';
        const std::size_t at = line.find(separator);
        if (at == std::string_view::npos || at == 0 || at + 1 >= line.size()) {
            return;
        }
        const std::string_view key = trimmedWhitespace(line.substr(0, at));
        std::string_view value = trimmedWhitespace(line.substr(at + 1));
        value = value.substr(0, value.find_first_of(" \t\n\r\v\f"));
        if (key.empty() || value.empty()) {
            return;
        }
        if (auto number = parseDouble(value)) {
            entries_.emplace_back(key, *number);
        }
    }

    std::vector<std::pair<std::string_view, double>> entries_;
};

} // namespace

FanHardwareCapabilities
FanHardwareCapabilities::make(int fanCount, std::optional<double> minimumRPM,
                              std::optional<double> maximumRPM, std::optional<double> currentRPM,
                              std::string source, std::vector<FanHardwareFan> fans,
                              std::optional<FanHardwareSupportStatus> supportStatus) {
    FanHardwareCapabilities result;
    result.fans = fans.empty() ? legacyFans(fanCount, minimumRPM, maximumRPM, currentRPM, source)
                               : std::move(fans);
    const int listed = static_cast<int>(result.fans.size());
    result.fanCount = fanCount != 0 ? std::max(fanCount, listed) : listed;

    result.minimumRPM = minimumRPM;
    result.maximumRPM = maximumRPM;
    result.currentRPM = currentRPM;
    for (const FanHardwareFan& fan : result.fans) {
        if (!minimumRPM && fan.minimumRPM &&
            (!result.minimumRPM || *fan.minimumRPM < *result.minimumRPM)) {
            result.minimumRPM = fan.minimumRPM;
        }
        if (!maximumRPM && fan.maximumRPM &&
            (!result.maximumRPM || *fan.maximumRPM > *result.maximumRPM)) {
            result.maximumRPM = fan.maximumRPM;
        }
        if (!result.currentRPM && fan.currentRPM) {
            result.currentRPM = fan.currentRPM;
        }
    }
    result.source = std::move(source);
    result.supportStatus =
        supportStatus.value_or(result.fanCount != 0 ? FanHardwareSupportStatus::supported
                                                    : FanHardwareSupportStatus::unavailable);
    return result;
}

FanHardwareCapabilities FanHardwareCapabilities::unavailable() {
    return make(0, std::nullopt, std::nullopt, std::nullopt, "Hardware range unavailable", {},
                FanHardwareSupportStatus::unavailable);
}

bool FanHardwareCapabilities::hasRPMAxis() const {
    if (!fans.empty()) {
        return std::all_of(fans.begin(), fans.end(),
                           [](const FanHardwareFan& fan) { return fan.hasRPMAxis(); });
    }
    return minimumRPM && maximumRPM && supportStatus == FanHardwareSupportStatus::supported &&
           fanCount > 0 && *minimumRPM < *maximumRPM;
}

bool FanHardwareCapabilities::hasLiveRPMReadback() const {
    if (!fans.empty()) {
        return std::all_of(fans.begin(), fans.end(),
                           [](const FanHardwareFan& fan) { return fan.currentRPM.has_value(); });
    }
    return currentRPM.has_value();
}

std::string FanHardwareCapabilities::rangeText() const {
    if (isUnsupported()) {
        return "Unsupported";
    }
    if (!minimumRPM || !maximumRPM) {
        return "Unavailable";
    }
    const std::string aggregate =
        Formatters::rpm(*minimumRPM) + " - " + Formatters::rpm(*maximumRPM);
    if (fans.size() < 2) {
        return aggregate;
    }
    const std::string first = fans.front().rangeText();
    const bool allSame = std::all_of(fans.begin() + 1, fans.end(), [&](const FanHardwareFan& fan) {
        return fan.rangeText() == first;
    });
    if (allSame) {
        return first + " each";
    }
    return aggregate + " aggregate";
}

std::string FanHardwareCapabilities::detailText() const {
    if (isUnsupported()) {
        return "This Mac has no controllable fan.";
    }
    if (supportStatus == FanHardwareSupportStatus::unavailable || fanCount == 0) {
        return source;
    }
    if (fans.size() < 2) {
        const std::string count =
            fanCount == 1 ? std::string("1 fan") : std::to_string(fanCount) + " fans";
        if (!currentRPM) {
            return count + ", " + source;
        }
        return count + ", " + Formatters::rpm(*currentRPM) + " now";
    }
    std::string text;
    for (const FanHardwareFan& fan : fans) {
        if (!text.empty()) {
            text += '\n';
        }
        text += fan.detailText();
    }
    return text;
}

std::string FanHardwareCapabilities::linkedTargetText(double percent) const {
    if (supportStatus != FanHardwareSupportStatus::supported || fans.empty()) {
        return {};
    }
    std::string text;
    for (const FanHardwareFan& fan : fans) {
        if (auto target = fan.targetRPM(percent)) {
            if (!text.empty()) {
                text += " / ";
            }
            text += fan.displayName + " " + Formatters::rpm(*target);
        }
    }
    return text;
}

std::optional<FanHardwareCapabilities>
FanHardwareCapabilities::fromProbeOutput(std::string_view text) {
    const ProbeFields fields(text);
    const auto countText = fields.value("fanCount");
    const auto count = countText ? parseInteger(*countText) : std::nullopt;
    if (!count || *count > kLargestPlausibleFanCount) {
        return std::nullopt;
    }
    // Every negative count means "no fans" alike; -1 stands for all of them, so that even
    // the most negative 64-bit count fits the initialiser's int.
    const auto fanCount = static_cast<int>(std::max<long long>(*count, -1));
    std::optional<FanHardwareSupportStatus> status;
    if (auto statusText = fields.value("supportStatus")) {
        status = fromRawValue<FanHardwareSupportStatus>(*statusText);
    }
    auto source = fields.value("source");
    if (!source) {
        source = fields.value("detail");
    }
    return make(fanCount, parseOptionalRPM(fields.value("minimumRPM")),
                parseOptionalRPM(fields.value("maximumRPM")),
                parseOptionalRPM(fields.value("currentRPM")),
                source ? std::string(*source) : std::string("Hardware probe"),
                parseFans(fields, fanCount), status);
}

std::optional<FanHardwareCapabilities>
FanHardwareCapabilities::fromSMCDiagnoseOutput(std::string_view text) {
    const SMCDiagnoseFields fields(text);
    constexpr std::array<std::string_view, 3> minimumKeys{"fRMN", "iaFl", "mrFL"};
    constexpr std::array<std::string_view, 2> maximumKeys{"fRMX", "iaFh"};
    const auto minimum = fields.first(minimumKeys);
    const auto maximum = fields.first(maximumKeys);
    if (!minimum || !maximum || !(minimum->second < maximum->second)) {
        return std::nullopt;
    }
    const double reportedCount = fields.value("FNum").value_or(1.0);
    // A count that is not a number, or does not fit, is a report we cannot trust.
    if (!std::isfinite(reportedCount) ||
        std::trunc(reportedCount) > static_cast<double>(std::numeric_limits<int>::max()) ||
        std::trunc(reportedCount) < static_cast<double>(std::numeric_limits<int>::min())) {
        return std::nullopt;
    }
    const int fanCount = static_cast<int>(std::trunc(reportedCount));
    const std::optional<double> current = fields.value("F0Ac");
    std::string source = "smcDiagnose ";
    source.append(minimum->first).append("/").append(maximum->first).append(" read-only");
    FanHardwareFan fan{
        .index = 0,
        .displayName = "Fan 0",
        .minimumRPM = minimum->second,
        .maximumRPM = maximum->second,
        .currentRPM = current,
        .source = source,
    };
    return make(fanCount, minimum->second, maximum->second, current, std::move(source),
                {std::move(fan)}, FanHardwareSupportStatus::supported);
}

} // namespace windlark
