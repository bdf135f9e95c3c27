#include "platform/posix/PosixInstallFileOperations.h"

#include "support/Uuid.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sys/statvfs.h>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace windlark {
namespace {

std::optional<std::string> described(const std::error_code& error, const std::string& path) {
    if (!error) {
        return std::nullopt;
    }
    return error.message() + ": " + path;
}

// Trash info files hold the original path percent-encoded, as URIs do.
std::string percentEncoded(const std::string& path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char raw : path) {
        const auto character = static_cast<unsigned char>(raw);
        const bool isPlain =
            (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
            (character >= '0' && character <= '9') || character == '/' || character == '-' ||
            character == '_' || character == '.' || character == '~';
        if (isPlain) {
            encoded += static_cast<char>(character);
        } else {
            encoded += '%';
            encoded += kHex[character >> 4];
            encoded += kHex[character & 0x0F];
        }
    }
    return encoded;
}

// Whether anything, a dangling link included, lies at `path`. `problem` is set when the
// system cannot tell (a name too long, a folder that may not be searched).
bool isOccupied(const fs::path& path, std::error_code& problem) {
    const fs::file_status status = fs::symlink_status(path, problem);
    if (status.type() == fs::file_type::not_found) {
        problem.clear();
    }
    return !problem && fs::exists(status);
}

std::string localTimestamp() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32] = {};
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    return text;
}

} // namespace

PosixInstallFileOperations::PosixInstallFileOperations(std::string temporaryDirectory,
                                                       std::string trashDirectory)
    : temporaryDirectory_(std::move(temporaryDirectory))
    , trashDirectory_(std::move(trashDirectory)) {}

std::optional<bool> PosixInstallFileOperations::isOnReadOnlyVolume(const std::string& path) const {
    struct statvfs volume {};
    if (::statvfs(path.c_str(), &volume) != 0) {
        return std::nullopt;
    }
    return (volume.f_flag & ST_RDONLY) != 0;
}

bool PosixInstallFileOperations::exists(const std::string& path) const {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

std::string PosixInstallFileOperations::temporaryDirectory() const {
    return temporaryDirectory_;
}

std::optional<std::string> PosixInstallFileOperations::remove(const std::string& path) {
    std::error_code error;
    fs::remove_all(path, error);
    return described(error, path);
}

std::optional<std::string> PosixInstallFileOperations::copy(const std::string& from,
                                                            const std::string& to) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(to, error))) {
        return described(std::make_error_code(std::errc::file_exists), to);
    }
    // Symbolic links inside a bundle (frameworks' Versions/Current) stay links.
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    return described(error, from);
}

std::optional<std::string> PosixInstallFileOperations::move(const std::string& from,
                                                            const std::string& to) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(to, error))) {
        return described(std::make_error_code(std::errc::file_exists), to);
    }
    fs::rename(from, to, error);
    if (error != std::errc::cross_device_link) {
        return described(error, from);
    }
    // Across volumes a rename is impossible. Copy next to the destination under a hidden
    // name, then rename within that volume, so that the final name only ever holds a
    // complete copy.
    const fs::path destination(to);
    const fs::path partial = destination.parent_path() / ("." + destination.filename().string() +
                                                          "." + Uuid::random().string());
    error.clear();
    fs::copy(from, partial, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    if (!error) {
        fs::rename(partial, destination, error);
    }
    if (error) {
        std::error_code ignored;
        fs::remove_all(partial, ignored);
        return described(error, to);
    }
    fs::remove_all(from, error);
    return std::nullopt;
}

std::optional<std::string> PosixInstallFileOperations::moveToTrash(const std::string& path) {
    const fs::path trash(trashDirectory_);
    std::error_code error;
    fs::create_directories(trash / "files", error);
    if (!error) {
        fs::create_directories(trash / "info", error);
    }
    if (error) {
        return described(error, trashDirectory_);
    }
    const fs::path original = fs::absolute(path, error);
    if (error) {
        return described(error, path);
    }
    const std::string name = original.filename().string();
    // An earlier version of the same name may already lie in the Trash; number this one.
    std::string trashedName = name;
    for (int number = 2;
         isOccupied(trash / "files" / trashedName, error) ||
         (!error && isOccupied(trash / "info" / (trashedName + ".trashinfo"), error));
         ++number) {
        trashedName = name + "." + std::to_string(number);
    }
    if (error) {
        return described(error, path);
    }
    const fs::path info = trash / "info" / (trashedName + ".trashinfo");
    {
        std::ofstream stream(info, std::ios::trunc);
        stream << "[Trash Info]\nPath=" << percentEncoded(original.string())
               << "\nDeletionDate=" << localTimestamp() << "\n";
        if (!stream.flush()) {
            fs::remove(info, error);
            return "Could not write the Trash information file: " + info.string();
        }
    }
    fs::rename(path, trash / "files" / trashedName, error);
    if (error) {
        std::error_code ignored;
        fs::remove(info, ignored);
        return described(error, path);
    }
    return std::nullopt;
}

} // namespace windlark
