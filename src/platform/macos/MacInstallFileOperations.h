#pragma once

#include "shell/InstallFileOperations.h"

namespace windlark {

// The install guard's file operations through NSFileManager, which keeps extended
// attributes, permissions and the code signature's files intact when copying a bundle,
// and moves items to the user's Trash the way the Finder does. A copy loses only
// Gatekeeper's quarantine mark. Paths that are empty or not valid UTF-8 are refused.
class MacInstallFileOperations final : public InstallFileOperations {
public:
    [[nodiscard]] std::optional<bool> isOnReadOnlyVolume(const std::string& path) const override;
    [[nodiscard]] bool exists(const std::string& path) const override;
    [[nodiscard]] std::string temporaryDirectory() const override;

    [[nodiscard]] std::optional<std::string> remove(const std::string& path) override;
    [[nodiscard]] std::optional<std::string> copy(const std::string& from,
                                                  const std::string& to) override;
    [[nodiscard]] std::optional<std::string> move(const std::string& from,
                                                  const std::string& to) override;
    [[nodiscard]] std::optional<std::string> moveToTrash(const std::string& path) override;
};

} // namespace windlark
