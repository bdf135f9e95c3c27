#include "platform/posix/FileDefaultsStore.h"

#include "platform/posix/BoundedFile.h"
#include "platform/posix/DefaultsDocument.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace windlark {

namespace {

using nlohmann::json;

constexpr std::string_view kDataField = "data";

// What is at the file's place now.
struct StoredDocument {
    std::optional<json> document; // set when the file is missing (empty) or readable
    std::string problem;          // why the existing file cannot be used
};

StoredDocument readDocument(const std::filesystem::path& file) {
    if (file.empty()) {
        return {json::object(), {}};
    }
    const BoundedFileRead read = readBoundedFile(file);
    if (read.isMissing) {
        return {json::object(), {}};
    }
    if (!read.contents) {
        return {std::nullopt, read.error};
    }
    std::optional<json> document = DefaultsDocument::parse(*read.contents);
    if (!document) {
        return {std::nullopt, "it does not hold a settings object"};
    }
    return {std::move(document), {}};
}

// The file that a save replaces: a symbolic link's final target, so that the link stays
// a link (users keep their settings in a dotfiles repository this way).
std::filesystem::path replacedFile(const std::filesystem::path& file) {
    std::filesystem::path path = file;
    for (int hop = 0; hop < 40; ++hop) {
        std::error_code error;
        if (!std::filesystem::is_symlink(path, error)) {
            return path;
        }
        const std::filesystem::path target = std::filesystem::read_symlink(path, error);
        if (error) {
            return path;
        }
        path = target.is_absolute() ? target : path.parent_path() / target;
    }
    return path;
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Makes the rename itself durable; failure here only weakens that guarantee.
void syncDirectory(const std::filesystem::path& directory) {
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    (void)::fsync(descriptor);
    (void)::close(descriptor);
}

// Temporary files of saves that never reached their rename (the process was killed or the
// disk filled up) would otherwise pile up beside the file. Only old ones go: a young one
// may belong to a save that another process is making right now.
void removeAbandonedTemporaryFiles(const std::filesystem::path& directory,
                                   const std::filesystem::path& file) {
    constexpr auto kAbandonedAfter = std::chrono::minutes(10);
    const std::string prefix = "." + file.filename().string() + ".";
    const std::size_t temporaryNameLength = prefix.size() + 6; // mkstemp's "XXXXXX"
    std::error_code error;
    const auto now = std::filesystem::file_time_type::clock::now();
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (name.size() != temporaryNameLength || name.compare(0, prefix.size(), prefix) != 0) {
            continue;
        }
        std::error_code timeError;
        const auto modified = entry->last_write_time(timeError);
        if (!timeError && now - modified > kAbandonedAfter) {
            std::error_code removeError;
            std::filesystem::remove(entry->path(), removeError);
        }
    }
}

bool replaceFileAtomically(const std::filesystem::path& file, std::string_view contents) {
    // A bare file name lives in the working folder; an empty folder name would make
    // creating the folder fail and every write be lost.
    const std::filesystem::path directory = file.has_parent_path() ? file.parent_path() : ".";
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        return false;
    }
    // The temporary file lives in the same directory so that the rename cannot cross
    // file systems, which would make it a copy rather than an atomic replacement.
    std::string pattern = (directory / ("." + file.filename().string() + ".XXXXXX")).string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int descriptor = ::mkstemp(name.data());
    if (descriptor < 0) {
        return false;
    }
    const bool isWritten = writeAll(descriptor, contents) && ::fsync(descriptor) == 0;
    const bool isClosed = ::close(descriptor) == 0;
    if (!isWritten || !isClosed || ::rename(name.data(), file.c_str()) != 0) {
        (void)::unlink(name.data());
        return false;
    }
    syncDirectory(directory);
    removeAbandonedTemporaryFiles(directory, file);
    return true;
}

// Moves a file we cannot read out of the way of the next save, under a name that is not
// taken yet, so that no byte the user had is lost. Empty when it could not be moved.
std::filesystem::path moveAside(const std::filesystem::path& file) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::filesystem::path aside = file;
        aside +=
            attempt == 0 ? std::string(".unreadable") : ".unreadable." + std::to_string(attempt);
        std::error_code error;
        if (std::filesystem::exists(std::filesystem::symlink_status(aside, error))) {
            continue;
        }
        if (::rename(file.c_str(), aside.c_str()) == 0) {
            return aside;
        }
        return {};
    }
    return {};
}

} // namespace

void FileDefaultsStore::update(const std::function<void(json&)>& change) {
    if (file_.empty()) {
        return;
    }
    const std::filesystem::path target = replacedFile(file_);
    StoredDocument stored = readDocument(target);
    if (!stored.document) {
        const std::filesystem::path aside = moveAside(target);
        if (aside.empty()) {
            *diagnostics_ << "windlark-mac: settings not saved: " << target.string()
                          << " cannot be read (" << stored.problem
                          << ") and cannot be moved aside\n";
            return;
        }
        *diagnostics_ << "windlark-mac: " << target.string() << " cannot be read ("
                      << stored.problem << "); it was moved to " << aside.string()
                      << " and new settings are saved in its place\n";
        stored.document = json::object();
    }
    try {
        change(*stored.document);
        if (!replaceFileAtomically(target, DefaultsDocument::text(*stored.document))) {
            *diagnostics_ << "windlark-mac: settings not saved: " << target.string()
                          << " cannot be written\n";
        }
    } catch (const json::exception& error) {
        *diagnostics_ << "windlark-mac: settings not saved: " << error.what() << '\n';
    }
}

FileDefaultsStore::FileDefaultsStore(std::filesystem::path file)
    : FileDefaultsStore(std::move(file), std::cerr) {}

FileDefaultsStore::FileDefaultsStore(std::filesystem::path file, std::ostream& diagnostics)
    : file_(std::move(file))
    , diagnostics_(&diagnostics) {}

std::filesystem::path FileDefaultsStore::standardPath(std::string_view xdgConfigHome,
                                                      std::string_view home) {
    std::filesystem::path configHome;
    if (!xdgConfigHome.empty() && std::filesystem::path(xdgConfigHome).is_absolute()) {
        configHome = std::filesystem::path(xdgConfigHome);
    } else if (!home.empty() && std::filesystem::path(home).is_absolute()) {
        configHome = std::filesystem::path(home) / ".config";
    } else {
        return {};
    }
    return configHome / "windlark-mac" / "defaults.json";
}

std::optional<DefaultsData> FileDefaultsStore::data(std::string_view key) const {
    try {
        const std::optional<json> document = readDocument(file_).document;
        if (!document) {
            return std::nullopt;
        }
        const auto found = document->find(key);
        if (found == document->end() || !found->is_object()) {
            return std::nullopt;
        }
        const auto encoded = found->find(kDataField);
        if (encoded == found->end() || !encoded->is_string()) {
            return std::nullopt;
        }
        return DefaultsDocument::base64Decode(encoded->get_ref<const std::string&>());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void FileDefaultsStore::setData(std::string_view key, const DefaultsData& value) {
    update([&](json& document) {
        document[std::string(key)] = json{{kDataField, DefaultsDocument::base64Encode(value)}};
    });
}

std::optional<std::string> FileDefaultsStore::string(std::string_view key) const {
    try {
        const std::optional<json> document = readDocument(file_).document;
        if (!document) {
            return std::nullopt;
        }
        const auto found = document->find(key);
        if (found == document->end() || !found->is_string()) {
            return std::nullopt;
        }
        return found->get<std::string>();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void FileDefaultsStore::setString(std::string_view key, std::string_view value) {
    update([&](json& document) { document[std::string(key)] = std::string(value); });
}

} // namespace windlark
