#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace windlark {

// Every file this program reads from outside (a machine file, the defaults file, the
// autostart entry) is small. Whoever controls one may hand us a FIFO, a device or a huge
// file instead, so each is read through here: only regular files, and only up to a limit.
inline constexpr std::size_t kInputFileSizeLimit = std::size_t{1} << 20; // 1 MiB

struct BoundedFileRead {
    std::optional<std::string> contents; // absent when the file was refused or unreadable
    std::string error;                   // why, when there are no contents
    bool isMissing = false;              // nothing exists at the path
};

// Reads the whole file. Never blocks on a FIFO or device: it is opened without waiting
// and refused once its type is known. Files longer than `limit` are refused unread.
[[nodiscard]] BoundedFileRead readBoundedFile(const std::filesystem::path& path,
                                              std::size_t limit = kInputFileSizeLimit);

} // namespace windlark
