#pragma once

#include "curve/DefaultsStore.h"

#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The application's own preferences domain (its bundle identifier) through
// CFPreferences: the same database the system's defaults tool reads and writes. Data
// values are stored as CFData, strings as CFString; every write is synchronised to disk
// at once, since the profile is saved only on a user's change.
class CFPreferencesDefaultsStore final : public DefaultsStore {
public:
    [[nodiscard]] std::optional<DefaultsData> data(std::string_view key) const override;
    void setData(std::string_view key, const DefaultsData& value) override;

    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
    void setString(std::string_view key, std::string_view value) override;
};

} // namespace windlark
