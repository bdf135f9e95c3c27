#pragma once

#include "daemon/SavedFanState.h"
#include "daemon/SysfsAccess.h"

#include <cerrno>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace windlark {

// Attribute files in memory that misbehave the way drivers do: refusing a value with an
// errno, taking a write but keeping the old value, being write-only, vanishing with the
// chip. Every successful write is logged in order.
class FakeSysfs final : public SysfsAccess {
public:
    struct Attribute {
        std::int64_t value = 0;
        int readError = 0;  // EACCES for a write-only attribute
        int writeError = 0; // EINVAL, EBUSY, ...
        bool ignoresWrites = false;
    };

    std::map<std::string, Attribute> files;
    std::vector<std::pair<std::string, std::int64_t>> writes;

    void set(const std::string& path, std::int64_t value) { files[path].value = value; }
    [[nodiscard]] std::int64_t value(const std::string& path) const { return files.at(path).value; }
    // The chip is gone: everything under `prefix` answers ENODEV.
    void unplug(const std::string& prefix) {
        for (auto& [path, attribute] : files) {
            if (path.starts_with(prefix)) {
                attribute.readError = attribute.writeError = ENODEV;
            }
        }
    }

    SysfsValue read(const std::string& path) override {
        const auto found = files.find(path);
        const int error = found == files.end() ? ENOENT : found->second.readError;
        return error != 0 ? SysfsValue{std::nullopt, error} : SysfsValue{found->second.value, 0};
    }

    int write(const std::string& path, std::int64_t value) override {
        const auto found = files.find(path);
        const int error = found == files.end() ? ENOENT : found->second.writeError;
        if (error == 0) {
            writes.emplace_back(path, value);
            if (!found->second.ignoresWrites) {
                found->second.value = value;
            }
        }
        return error;
    }
};

class InMemorySavedStore final : public SavedStateStore {
public:
    std::optional<std::string> text;
    int replaceError = 0;
    // How many sysfs writes had happened when the file was last replaced.
    const FakeSysfs* sysfs = nullptr;
    std::size_t writesBeforeReplace = 0;

    std::optional<std::string> read() override { return text; }
    int replace(const std::string& contents) override {
        if (replaceError != 0) {
            return replaceError;
        }
        text = contents;
        writesBeforeReplace = sysfs != nullptr ? sysfs->writes.size() : 0;
        return 0;
    }
    void remove() override { text.reset(); }
};

} // namespace windlark
