#pragma once

#include "shell/InstallFileOperations.h"

#include <optional>
#include <string>

namespace windlark {

// The install guard's file operations on a POSIX system: std::filesystem for copies and
// moves, statvfs for the read-only flag, and the freedesktop.org Trash (files/ and info/
// under `trashDirectory`).
class PosixInstallFileOperations final : public InstallFileOperations {
public:
    PosixInstallFileOperations(std::string temporaryDirectory, std::string trashDirectory);

    [[nodiscard]] std::optional<bool> isOnReadOnlyVolume(const std::string& path) const override;
    [[nodiscard]] bool exists(const std::string& path) const override;
    [[nodiscard]] std::string temporaryDirectory() const override;

    [[nodiscard]] std::optional<std::string> remove(const std::string& path) override;
    [[nodiscard]] std::optional<std::string> copy(const std::string& from,
                                                  const std::string& to) override;
    [[nodiscard]] std::optional<std::string> move(const std::string& from,
                                                  const std::string& to) override;
    [[nodiscard]] std::optional<std::string> moveToTrash(const std::string& path) override;

private:
    std::string temporaryDirectory_;
    std::string trashDirectory_;
};

} // namespace windlark
