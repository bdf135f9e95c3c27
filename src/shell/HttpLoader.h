#pragma once

#include <optional>
#include <string>
#include <utility>

namespace windlark {

// The bytes of a response, or why there are none.
struct HttpLoadResult {
    std::string data;
    // The transport's own description of the failure; absent on success.
    std::optional<std::string> errorDescription;

    static HttpLoadResult success(std::string bytes) { return {std::move(bytes), std::nullopt}; }
    static HttpLoadResult failure(std::string description) { return {{}, std::move(description)}; }
    [[nodiscard]] bool isSuccess() const { return !errorDescription.has_value(); }

    bool operator==(const HttpLoadResult&) const = default;
};

// Fetches an address with a plain GET. Blocking; called off the main thread, possibly
// from several threads at once, so implementations keep no per-request state in members.
class HttpLoader {
public:
    virtual ~HttpLoader() = default;
    [[nodiscard]] virtual HttpLoadResult load(const std::string& url) = 0;
};

} // namespace windlark
