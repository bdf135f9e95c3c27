#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// A snapshot of environment variables, name to value. Taken once by the platform layer
// and passed in, so that decisions that depend on it stay pure.
using ProcessEnvironment = std::map<std::string, std::string, std::less<>>;

// The variable's value when it is set, even when set to the empty text.
[[nodiscard]] inline std::optional<std::string>
environmentValue(const ProcessEnvironment& environment, std::string_view name) {
    if (const auto found = environment.find(name); found != environment.end()) {
        return found->second;
    }
    return std::nullopt;
}

} // namespace windlark
