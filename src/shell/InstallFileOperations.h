#pragma once

#include <optional>
#include <string>

namespace windlark {

// The file system as the install-location guard needs it. Each changing call yields the
// system's description of what went wrong, or nothing on success.
class InstallFileOperations {
public:
    virtual ~InstallFileOperations() = default;

    // Whether the volume holding `path` is mounted read-only; absent when the system
    // cannot say.
    [[nodiscard]] virtual std::optional<bool> isOnReadOnlyVolume(const std::string& path) const = 0;
    [[nodiscard]] virtual bool exists(const std::string& path) const = 0;
    // The user's temporary folder, where staging copies are made.
    [[nodiscard]] virtual std::string temporaryDirectory() const = 0;

    // Removes a file or a whole folder.
    [[nodiscard]] virtual std::optional<std::string> remove(const std::string& path) = 0;
    // Copies a file or a whole folder (an application bundle) to a path that does not exist.
    [[nodiscard]] virtual std::optional<std::string> copy(const std::string& from,
                                                          const std::string& to) = 0;
    // Moves to a path that does not exist; the result is either complete or absent.
    [[nodiscard]] virtual std::optional<std::string> move(const std::string& from,
                                                          const std::string& to) = 0;
    [[nodiscard]] virtual std::optional<std::string> moveToTrash(const std::string& path) = 0;
};

} // namespace windlark
