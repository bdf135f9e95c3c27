#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The running application's information property list.
class ApplicationBundleInfo {
public:
    virtual ~ApplicationBundleInfo() = default;

    // The entry's text when the entry exists and holds a string; absent otherwise.
    [[nodiscard]] virtual std::optional<std::string> stringValue(std::string_view key) const = 0;
};

} // namespace windlark
