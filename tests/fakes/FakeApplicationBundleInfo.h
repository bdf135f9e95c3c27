#pragma once

#include "shell/ApplicationBundleInfo.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// An information property list whose string entries the test lists.
class FakeApplicationBundleInfo final : public ApplicationBundleInfo {
public:
    FakeApplicationBundleInfo() = default;
    explicit FakeApplicationBundleInfo(std::map<std::string, std::string, std::less<>> entries)
        : entries_(std::move(entries)) {}

    [[nodiscard]] std::optional<std::string> stringValue(std::string_view key) const override {
        if (const auto found = entries_.find(key); found != entries_.end()) {
            return found->second;
        }
        return std::nullopt;
    }

    std::map<std::string, std::string, std::less<>> entries_;
};

} // namespace windlark
