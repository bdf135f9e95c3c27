#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// What a fan was doing before the daemon first wrote to it: the values restore puts back.
// Kept on disk so that a daemon that dies mid-lease can still hand the fans back.
struct SavedFanState {
    std::string id; // the fan's stable id: restore finds the fan by it, never by hwmonN
    std::optional<std::int64_t> enable;   // pwmN_enable, or fanN_manual
    std::optional<std::int64_t> duty;     // pwmN, or fanN_output
    std::optional<std::int64_t> watchdog; // thinkpad's fan_watchdog seconds

    bool operator==(const SavedFanState&) const = default;
};

// {"fans": [{"id": ..., "enable": 5, "duty": 120, "watchdog": 0}, ...]}
[[nodiscard]] std::string savedFileText(const std::vector<SavedFanState>& states);
// Absent when the text is not such a document; entries with an unusable field are dropped
// alone, so one damaged entry does not cost the others their restore.
[[nodiscard]] std::optional<std::vector<SavedFanState>> parseSavedFile(std::string_view text);

// Where the saved states live (/run/windlarkd/saved.json). Replacing must be atomic: a
// daemon killed halfway leaves the old file or the new one, never half of each.
class SavedStateStore {
public:
    virtual ~SavedStateStore() = default;
    [[nodiscard]] virtual std::optional<std::string> read() = 0;
    // 0 on success, else the errno of the failed step.
    [[nodiscard]] virtual int replace(const std::string& text) = 0;
    virtual void remove() = 0;
};

} // namespace windlark
