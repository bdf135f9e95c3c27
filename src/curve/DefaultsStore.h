#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

using DefaultsData = std::vector<std::uint8_t>;

// The user's small per-user key-value database of settings. A key holds one value,
// either binary data or a string; writing either kind replaces whatever was there.
// Reads of a missing key, or of a key holding the other kind, yield nothing. Writes are
// best effort: a store that cannot write forgets silently, because settings must never
// stand in the way of controlling the fans.
class DefaultsStore {
public:
    virtual ~DefaultsStore() = default;

    [[nodiscard]] virtual std::optional<DefaultsData> data(std::string_view key) const = 0;
    virtual void setData(std::string_view key, const DefaultsData& value) = 0;

    [[nodiscard]] virtual std::optional<std::string> string(std::string_view key) const = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;
};

} // namespace windlark
