#include "platform/linux/XdgAutostartLoginItemService.h"

#include "platform/posix/BoundedFile.h"
#include "support/Uuid.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace windlark {
namespace {

std::string errorText(int code) {
    return std::generic_category().message(code);
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

// Writes `contents` to `path` through a temporary file in the same folder, so that a
// crash never leaves a half-written entry for the session manager to trip over.
std::optional<LoginItemError> writeAtomically(const std::filesystem::path& path,
                                              const std::string& contents) {
    const std::filesystem::path temporary =
        path.parent_path() / ("." + path.filename().string() + "." + Uuid::random().string());
    const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        return LoginItemError{errorText(errno)};
    }
    std::size_t written = 0;
    int failure = 0;
    while (written < contents.size()) {
        const ssize_t count =
            ::write(descriptor, contents.data() + written, contents.size() - written);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            failure = errno;
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    if (failure == 0 && ::fsync(descriptor) != 0) {
        failure = errno;
    }
    if (::close(descriptor) != 0 && failure == 0) {
        failure = errno;
    }
    if (failure == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) {
        failure = errno;
    }
    if (failure != 0) {
        ::unlink(temporary.c_str());
        return LoginItemError{errorText(failure)};
    }
    return std::nullopt;
}

} // namespace

XdgAutostartLoginItemService::XdgAutostartLoginItemService(std::filesystem::path autostartDirectory,
                                                           std::filesystem::path executable)
    : directory_(std::move(autostartDirectory))
    , executable_(std::move(executable))
    , desktopFile_(directory_ / kFileName) {}

std::optional<std::filesystem::path>
XdgAutostartLoginItemService::defaultAutostartDirectory(const char* xdgConfigHome,
                                                        const char* home) {
    // Relative values of XDG_CONFIG_HOME are invalid and must be ignored.
    if (xdgConfigHome != nullptr && xdgConfigHome[0] == '/') {
        return std::filesystem::path(xdgConfigHome) / "autostart";
    }
    if (home != nullptr && home[0] != '\0') {
        return std::filesystem::path(home) / ".config" / "autostart";
    }
    return std::nullopt;
}

std::string XdgAutostartLoginItemService::execValue(std::string_view executable) {
    // Exec arguments with reserved characters are double-quoted, with `"`, '`', '$' and
    // '\' escaped inside the quotes; '%' starts a field code, so it is doubled. The value
    // as a whole is then a desktop-entry string, whose own escapes come last.
    std::string quoted = "\"";
    for (char character : executable) {
        if (character == '"' || character == '`' || character == '$' || character == '\\') {
            quoted += '\\';
        }
        if (character == '%') {
            quoted += '%';
        }
        quoted += character;
    }
    quoted += '"';
    std::string value;
    for (char character : quoted) {
        switch (character) {
        case '\\':
            value += "\\\\";
            break;
        case '\n':
            value += "\\n";
            break;
        case '\t':
            value += "\\t";
            break;
        case '\r':
            value += "\\r";
            break;
        default:
            value += character;
        }
    }
    return value;
}

std::string XdgAutostartLoginItemService::desktopEntry() const {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Windlark Mac\n"
           "Comment=Fan curve control\n"
           "Exec=" +
           execValue(executable_.string()) +
           "\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

bool XdgAutostartLoginItemService::isHiddenEntry(std::string_view entry) {
    bool isInMainGroup = false;
    while (!entry.empty()) {
        const auto end = entry.find('\n');
        const std::string_view line = trimmed(entry.substr(0, end));
        entry = end == std::string_view::npos ? std::string_view{} : entry.substr(end + 1);
        if (line.starts_with('[')) {
            isInMainGroup = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!isInMainGroup || line.starts_with('#') || equals == std::string_view::npos) {
            continue;
        }
        if (trimmed(line.substr(0, equals)) == "Hidden") {
            return trimmed(line.substr(equals + 1)) == "true";
        }
    }
    return false;
}

int XdgAutostartLoginItemService::statusCode() const {
    const BoundedFileRead file = readBoundedFile(desktopFile_);
    if (file.isMissing) {
        return kNotRegistered;
    }
    // Something is there that we cannot read (no permission, not a file, too large); the
    // session manager will try it, so say so rather than guess.
    return file.contents && isHiddenEntry(*file.contents) ? kNotRegistered : kEnabled;
}

std::optional<LoginItemError> XdgAutostartLoginItemService::registerApplication() {
    std::error_code error;
    std::filesystem::create_directories(directory_, error);
    if (error) {
        return LoginItemError{error.message()};
    }
    // Replacing a hidden entry is how the user's "on" wins over an earlier "off".
    return writeAtomically(desktopFile_, desktopEntry());
}

std::optional<LoginItemError> XdgAutostartLoginItemService::unregisterApplication() {
    std::error_code error;
    std::filesystem::remove(desktopFile_, error);
    if (error) {
        return LoginItemError{error.message()};
    }
    return std::nullopt;
}

} // namespace windlark
