#pragma once

#include "shell/InstallFileOperations.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// A file system of whole items (a path and a text standing for its contents). Any
// operation can be made to fail; a failing copy can leave a partial item behind, as a
// copy that breaks off part-way does.
class FakeInstallFileOperations final : public InstallFileOperations {
public:
    [[nodiscard]] std::optional<bool> isOnReadOnlyVolume(const std::string& path) const override {
        if (const auto found = readOnly.find(path); found != readOnly.end()) {
            return found->second;
        }
        return false;
    }
    [[nodiscard]] bool exists(const std::string& path) const override {
        return items.contains(path);
    }
    [[nodiscard]] std::string temporaryDirectory() const override { return "/tmp/user"; }

    std::optional<std::string> remove(const std::string& path) override {
        if (auto error = step("remove", path)) {
            return error;
        }
        items.erase(path);
        return std::nullopt;
    }
    std::optional<std::string> copy(const std::string& from, const std::string& to) override {
        if (auto error = step("copy", from + " -> " + to)) {
            if (isFailingCopyPartial) {
                items[to] = "partial";
            }
            return error;
        }
        if (!items.contains(from) || items.contains(to)) {
            return "copy: bad paths";
        }
        items[to] = items[from];
        return std::nullopt;
    }
    std::optional<std::string> move(const std::string& from, const std::string& to) override {
        if (auto error = step("move", from + " -> " + to)) {
            return error;
        }
        if (!items.contains(from) || items.contains(to)) {
            return "move: bad paths";
        }
        items[to] = std::move(items[from]);
        items.erase(from);
        return std::nullopt;
    }
    std::optional<std::string> moveToTrash(const std::string& path) override {
        if (auto error = step("trash", path)) {
            return error;
        }
        trash.push_back(items[path]);
        items.erase(path);
        return std::nullopt;
    }

    // Path to contents.
    std::map<std::string, std::string> items;
    std::map<std::string, std::optional<bool>> readOnly;
    // Operation name ("remove", "copy", "move", "trash") to the error it fails with.
    std::map<std::string, std::string> failures;
    bool isFailingCopyPartial = false;
    std::vector<std::string> trash;
    std::vector<std::string> log;

private:
    // Logs the operation; the error it is set to fail with, if any.
    std::optional<std::string> step(const std::string& operation, const std::string& operands) {
        log.push_back(operation + " " + operands);
        const auto found = failures.find(operation);
        return found == failures.end() ? std::nullopt : std::optional(found->second);
    }
};

} // namespace windlark
