#include "daemon/SavedFanState.h"

#include <nlohmann/json.hpp>

namespace windlark {
namespace {

// A present field must be an integer; an absent or null one is simply not saved.
bool readField(const nlohmann::json& entry, const char* key, std::optional<std::int64_t>& out) {
    const auto value = entry.find(key);
    if (value == entry.end() || value->is_null()) {
        return true;
    }
    if (!value->is_number_integer()) {
        return false;
    }
    out = value->get<std::int64_t>();
    return true;
}

} // namespace

std::string savedFileText(const std::vector<SavedFanState>& states) {
    nlohmann::json fans = nlohmann::json::array();
    for (const SavedFanState& state : states) {
        nlohmann::json entry{{"id", state.id}};
        if (state.enable) {
            entry["enable"] = *state.enable;
        }
        if (state.duty) {
            entry["duty"] = *state.duty;
        }
        if (state.watchdog) {
            entry["watchdog"] = *state.watchdog;
        }
        fans.push_back(std::move(entry));
    }
    return nlohmann::json{{"fans", std::move(fans)}}.dump(
               1, ' ', false, nlohmann::json::error_handler_t::replace) +
           "\n";
}

std::optional<std::vector<SavedFanState>> parseSavedFile(std::string_view text) {
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    if (!document.is_object() || !document.contains("fans") || !document["fans"].is_array()) {
        return std::nullopt;
    }
    std::vector<SavedFanState> states;
    for (const nlohmann::json& entry : document["fans"]) {
        if (!entry.is_object() || !entry.contains("id") || !entry["id"].is_string()) {
            continue;
        }
        SavedFanState state;
        state.id = entry["id"].get<std::string>();
        if (readField(entry, "enable", state.enable) && readField(entry, "duty", state.duty) &&
            readField(entry, "watchdog", state.watchdog)) {
            states.push_back(std::move(state));
        }
    }
    return states;
}

} // namespace windlark
