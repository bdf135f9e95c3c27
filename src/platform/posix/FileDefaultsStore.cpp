#include "platform/posix/FileDefaultsStore.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace windlark {

namespace {

using nlohmann::json;

constexpr std::string_view kDataField = "data";
constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64Encode(const DefaultsData& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const std::uint32_t group =
            (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        text.push_back(kBase64Alphabet[(group >> 18) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 12) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 6) & 0x3F]);
        text.push_back(kBase64Alphabet[group & 0x3F]);
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t group = std::uint32_t{bytes[i]} << 16;
        if (rest == 2) {
            group |= std::uint32_t{bytes[i + 1]} << 8;
        }
        text.push_back(kBase64Alphabet[(group >> 18) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 12) & 0x3F]);
        text.push_back(rest == 2 ? kBase64Alphabet[(group >> 6) & 0x3F] : '=');
        text.push_back('=');
    }
    return text;
}

int base64Value(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return -1;
}

// Strict: padded groups of four, padding only at the end. Anything else is a damaged
// value, which reads as absent.
std::optional<DefaultsData> base64Decode(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    DefaultsData bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        const bool isLast = i + 4 == text.size();
        std::size_t padding = 0;
        if (isLast && text[i + 3] == '=') {
            padding = text[i + 2] == '=' ? 2 : 1;
        }
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            int value = 0;
            if (j < 4 - padding) {
                value = base64Value(text[i + j]);
                if (value < 0) {
                    return std::nullopt;
                }
            }
            group = (group << 6) | static_cast<std::uint32_t>(value);
        }
        bytes.push_back(static_cast<std::uint8_t>(group >> 16));
        if (padding < 2) {
            bytes.push_back(static_cast<std::uint8_t>(group >> 8));
        }
        if (padding < 1) {
            bytes.push_back(static_cast<std::uint8_t>(group));
        }
    }
    return bytes;
}

// The file's top-level object; an empty object when the file is missing, unreadable or
// not a JSON object.
json readDocument(const std::filesystem::path& file) {
    if (file.empty()) {
        return json::object();
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        return json::object();
    }
    const std::string text((std::istreambuf_iterator<char>(stream)),
                           std::istreambuf_iterator<char>());
    if (stream.bad()) {
        return json::object();
    }
    json document = json::parse(text, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return json::object();
    }
    return document;
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

// Reads the file, lets `change` edit its object and writes the result back.
template <typename Change>
void updateDocument(const std::filesystem::path& file, Change&& change) {
    if (file.empty()) {
        return;
    }
    try {
        json document = readDocument(file);
        std::forward<Change>(change)(document);
        // Strict: text that is not UTF-8 cannot go into JSON; the write is skipped.
        const std::string contents =
            document.dump(2, ' ', false, json::error_handler_t::strict) + "\n";
        (void)replaceFileAtomically(file, contents);
    } catch (const std::exception&) {
        // Writes are best effort by contract; the previous file stays in place.
    }
}

} // namespace

FileDefaultsStore::FileDefaultsStore(std::filesystem::path file)
    : file_(std::move(file)) {}

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
        const json document = readDocument(file_);
        const auto found = document.find(key);
        if (found == document.end() || !found->is_object()) {
            return std::nullopt;
        }
        const auto encoded = found->find(kDataField);
        if (encoded == found->end() || !encoded->is_string()) {
            return std::nullopt;
        }
        return base64Decode(encoded->get_ref<const std::string&>());
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void FileDefaultsStore::setData(std::string_view key, const DefaultsData& value) {
    updateDocument(file_, [&](json& document) {
        document[std::string(key)] = json{{kDataField, base64Encode(value)}};
    });
}

std::optional<std::string> FileDefaultsStore::string(std::string_view key) const {
    try {
        const json document = readDocument(file_);
        const auto found = document.find(key);
        if (found == document.end() || !found->is_string()) {
            return std::nullopt;
        }
        return found->get<std::string>();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void FileDefaultsStore::setString(std::string_view key, std::string_view value) {
    updateDocument(file_, [&](json& document) { document[std::string(key)] = std::string(value); });
}

} // namespace windlark
