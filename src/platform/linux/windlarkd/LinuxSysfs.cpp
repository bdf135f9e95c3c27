#include "platform/linux/windlarkd/LinuxSysfs.h"

#include "daemon/CalibrationMap.h"
#include "platform/posix/BoundedFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <system_error>
#include <unistd.h>

namespace windlark {
namespace {

struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) {
            (void)::close(fd);
        }
    }
};

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\0')) {
        text.pop_back();
    }
    return text;
}

std::optional<std::string> resolved(const std::filesystem::path& path) {
    std::array<char, PATH_MAX> buffer{};
    if (::realpath(path.c_str(), buffer.data()) == nullptr) {
        return std::nullopt;
    }
    return std::string(buffer.data());
}

} // namespace

SysfsValue LinuxSysfs::read(const std::string& path) {
    // O_NONBLOCK: nothing under a hwmon directory should be a FIFO, but if one is, the
    // daemon must not hang on it.
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)};
    if (file.fd < 0) {
        return {std::nullopt, errno};
    }
    std::array<char, 64> buffer{};
    ssize_t length = -1;
    do {
        length = ::read(file.fd, buffer.data(), buffer.size() - 1);
    } while (length < 0 && errno == EINTR);
    if (length < 0) {
        return {std::nullopt, errno};
    }
    const std::string text = trimmed(std::string(buffer.data(), static_cast<std::size_t>(length)));
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return {std::nullopt, EINVAL};
    }
    return {value, 0};
}

int LinuxSysfs::write(const std::string& path, std::int64_t value) {
    const Descriptor file{::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOCTTY)};
    if (file.fd < 0) {
        return errno;
    }
    const std::string text = std::to_string(value) + "\n";
    ssize_t written = -1;
    do {
        written = ::write(file.fd, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0) {
        return errno;
    }
    return static_cast<std::size_t>(written) == text.size() ? 0 : EIO;
}

std::vector<HwmonChipListing> listHwmonChips(const std::filesystem::path& sysfsRoot) {
    std::vector<HwmonChipListing> chips;
    const std::string root = resolved(sysfsRoot).value_or(sysfsRoot.string());
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(sysfsRoot / "class" / "hwmon", error)) {
        const std::filesystem::path directory = entry.path();
        // Some drivers (applesmc among them) keep their attributes on the device and leave
        // the hwmon directory nothing but links; the sensors library reads those too.
        std::filesystem::path attributes = directory;
        BoundedFileRead name = readBoundedFile(directory / "name", 256);
        if (!name.contents) {
            attributes = directory / "device";
            name = readBoundedFile(attributes / "name", 256);
        }
        if (!name.contents) {
            continue;
        }
        HwmonChipListing chip;
        chip.driver = trimmed(*name.contents);
        chip.hwmonPath = attributes.string();
        chip.sysfsRoot = sysfsRoot.string();
        std::string device = resolved(directory / "device")
                                 .value_or(resolved(directory).value_or(directory.string()));
        if (device.starts_with(root)) {
            device = "/sys" + device.substr(root.size());
        }
        chip.devicePath = device;
        for (const auto& attribute : std::filesystem::directory_iterator(attributes, error)) {
            chip.attributes.push_back(attribute.path().filename().string());
        }
        chips.push_back(std::move(chip));
    }
    return chips;
}

std::vector<DaemonFan> discoverFans(const std::filesystem::path& sysfsRoot,
                                    const std::filesystem::path& calibrationFile) {
    const BoundedFileRead calibration = readBoundedFile(calibrationFile);
    const std::map<std::string, CalibrationMap> maps =
        calibration.contents ? parseCalibrationFile(*calibration.contents)
                             : std::map<std::string, CalibrationMap>{};
    std::vector<DaemonFan> fans;
    for (const HwmonChipListing& chip : listHwmonChips(sysfsRoot)) {
        for (DaemonFan& fan : describeFans(chip)) {
            if (const auto map = maps.find(fan.id); map != maps.end()) {
                fan.calibration = map->second;
            }
            fans.push_back(std::move(fan));
        }
    }
    return fans;
}

std::optional<std::string> AtomicFileStore::read() {
    return readBoundedFile(path_, 256 * 1024).contents;
}

int AtomicFileStore::replace(const std::string& text) {
    const std::filesystem::path temporary = path_.string() + ".new";
    {
        const Descriptor file{::open(temporary.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode_)};
        if (file.fd < 0) {
            return errno;
        }
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t written = ::write(file.fd, text.data() + done, text.size() - done);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                const int error = written < 0 ? errno : EIO;
                (void)::unlink(temporary.c_str());
                return error;
            }
            done += static_cast<std::size_t>(written);
        }
        if (::fsync(file.fd) != 0) {
            const int error = errno;
            (void)::unlink(temporary.c_str());
            return error;
        }
    }
    if (::rename(temporary.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        (void)::unlink(temporary.c_str());
        return error;
    }
    // The rename itself must reach the disk before the first fan is written.
    const Descriptor directory{
        ::open(path_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.fd >= 0) {
        (void)::fsync(directory.fd);
    }
    return 0;
}

void AtomicFileStore::remove() {
    (void)::unlink(path_.c_str());
}

} // namespace windlark
