#pragma once

#include "curve/DefaultsStore.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace windlark {

// A defaults database that lives in memory, with a count of writes so that tests can
// tell "nothing was written" from "the same value was written again".
class InMemoryDefaultsStore final : public DefaultsStore {
public:
    using Value = std::variant<DefaultsData, std::string>;

    [[nodiscard]] std::optional<DefaultsData> data(std::string_view key) const override {
        const auto found = values_.find(key);
        if (found == values_.end()) {
            return std::nullopt;
        }
        if (const auto* bytes = std::get_if<DefaultsData>(&found->second)) {
            return *bytes;
        }
        return std::nullopt;
    }

    void setData(std::string_view key, const DefaultsData& value) override {
        values_.insert_or_assign(std::string(key), Value(value));
        ++writeCount_;
    }

    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override {
        const auto found = values_.find(key);
        if (found == values_.end()) {
            return std::nullopt;
        }
        if (const auto* text = std::get_if<std::string>(&found->second)) {
            return *text;
        }
        return std::nullopt;
    }

    void setString(std::string_view key, std::string_view value) override {
        values_.insert_or_assign(std::string(key), Value(std::string(value)));
        ++writeCount_;
    }

    // Test conveniences: store raw text as data, and read data back as text.
    void setDataText(std::string_view key, std::string_view text) {
        setData(key, DefaultsData(text.begin(), text.end()));
    }
    [[nodiscard]] std::optional<std::string> dataText(std::string_view key) const {
        const auto bytes = data(key);
        if (!bytes) {
            return std::nullopt;
        }
        return std::string(bytes->begin(), bytes->end());
    }

    [[nodiscard]] std::size_t writeCount() const { return writeCount_; }

private:
    std::map<std::string, Value, std::less<>> values_;
    std::size_t writeCount_ = 0;
};

} // namespace windlark
