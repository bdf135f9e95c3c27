#include "platform/linux/LibsensorsHwmonBus.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <sensors/error.h>
#include <sensors/sensors.h>
#include <sys/stat.h>
#include <unistd.h>

namespace windlark {

namespace {

std::mutex& libsensorsMutex() {
    static std::mutex mutex;
    return mutex;
}

// libsensors reports configuration errors through these hooks, by default straight to
// stderr. They keep the first message so that a refused file makes one warning, not one
// line per error.
std::string& firstParseError() {
    static std::string message;
    return message;
}

void keepParseError(const char* error, int line) {
    if (firstParseError().empty()) {
        firstParseError() = "line " + std::to_string(line) + ": " + (error ? error : "");
    }
}

void keepParseErrorWithFile(const char* error, const char* file, int line) {
    if (firstParseError().empty()) {
        firstParseError() = std::string(file ? file : "sensors.conf") + ", line " +
                            std::to_string(line) + ": " + (error ? error : "");
    }
}

HwmonReadFailure failureFor(int error) {
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case ENOTDIR:
        return HwmonReadFailure::missing;
    case EIO:
        return HwmonReadFailure::ioError;
    case ENODATA:
        return HwmonReadFailure::noData;
    case EAGAIN:
        return HwmonReadFailure::tryAgain;
    default:
        return HwmonReadFailure::other;
    }
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::optional<std::string> resolvedPath(const std::string& path) {
    std::array<char, PATH_MAX> buffer{};
    if (::realpath(path.c_str(), buffer.data()) == nullptr) {
        return std::nullopt;
    }
    return std::string(buffer.data());
}

bool isHwmonDirectoryName(std::string_view name) {
    constexpr std::string_view prefix = "hwmon";
    return name.size() > prefix.size() && name.substr(0, prefix.size()) == prefix &&
           name.find_first_not_of("0123456789", prefix.size()) == std::string_view::npos;
}

// The device a chip belongs to, by its resolved path: the same across boots, unlike the
// hwmonN directory. Chips without a device (registered as virtual) are named by the folder
// of virtual devices; same-named ones are told apart afterwards.
std::string devicePath(const std::string& chipPath) {
    const auto resolved = resolvedPath(chipPath);
    if (!resolved) {
        return "/sys/devices/virtual";
    }
    // Some drivers keep their attributes on the device itself; libsensors then hands out
    // the device's own folder.
    const std::string_view last = std::string_view(*resolved).substr(resolved->rfind('/') + 1);
    if (!isHwmonDirectoryName(last)) {
        return *resolved;
    }
    if (auto device = resolvedPath(chipPath + "/device")) {
        return *device;
    }
    return "/sys/devices/virtual";
}

std::string trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\t')) {
        text.pop_back();
    }
    return text;
}

// Some drivers pad their labels ("Left side  "); the padding is not part of the name.
std::string labelOf(const sensors_chip_name* chip, const sensors_feature* feature) {
    std::unique_ptr<char, decltype(&std::free)> label(sensors_get_label(chip, feature), &std::free);
    std::string text = trimmed(label ? std::string(label.get()) : std::string());
    const auto start = text.find_first_not_of(" \t");
    text.erase(0, start == std::string::npos ? text.size() : start);
    return text.empty() ? std::string(feature->name) : text;
}

struct Closer {
    int descriptor;
    ~Closer() { (void)::close(descriptor); }
};

} // namespace

LibsensorsHwmonBus::LibsensorsHwmonBus(std::ostream& diagnostics,
                                       std::optional<std::string> configPath)
    : diagnostics_(diagnostics)
    , configPath_(std::move(configPath)) {}

LibsensorsHwmonBus::~LibsensorsHwmonBus() {
    const std::lock_guard lock(libsensorsMutex());
    sensors_cleanup();
}

bool LibsensorsHwmonBus::initialise() {
    sensors_cleanup();
    sensors_parse_error = &keepParseError;
    sensors_parse_error_wfn = &keepParseErrorWithFile;
    firstParseError().clear();

    int result = 0;
    if (!isConfigRefused_) {
        if (configPath_) {
            std::FILE* file = std::fopen(configPath_->c_str(), "r");
            if (file == nullptr) {
                result = -SENSORS_ERR_PARSE;
                firstParseError() = "cannot be opened";
            } else {
                result = sensors_init(file);
                std::fclose(file);
            }
        } else {
            result = sensors_init(nullptr);
        }
        // libsensors skips the lines it cannot parse and goes on; a file it half
        // understood may ignore or rename the wrong channels, so any error refuses it.
        if (result == 0 && firstParseError().empty()) {
            return true;
        }
        isConfigRefused_ = true;
        diagnostics_ << "windlark-mac: ignoring the sensors configuration "
                     << (configPath_ ? *configPath_ : std::string("(system default)")) << ": "
                     << (firstParseError().empty() ? sensors_strerror(result) : firstParseError())
                     << '\n';
        sensors_cleanup();
        firstParseError().clear();
    }
    // An empty configuration: the chips and their drivers' own labels.
    static char empty[] = "\n";
    std::FILE* file = ::fmemopen(empty, 1, "r");
    if (file == nullptr) {
        return false;
    }
    result = sensors_init(file);
    std::fclose(file);
    return result == 0;
}

std::vector<HwmonChip> LibsensorsHwmonBus::enumerateChips() {
    const std::lock_guard lock(libsensorsMutex());
    if (!initialise()) {
        return {};
    }
    std::vector<HwmonChip> chips;
    const sensors_chip_name* chip = nullptr;
    int chipNumber = 0;
    while ((chip = sensors_get_detected_chips(nullptr, &chipNumber)) != nullptr) {
        if (chip->prefix == nullptr || chip->path == nullptr) {
            continue;
        }
        HwmonChip found;
        found.driver = chip->prefix;
        found.hwmonPath = chip->path;
        found.devicePath = devicePath(found.hwmonPath);
        const std::string& directory = found.hwmonPath;
        const std::string deviceDirectory = directory + "/device";
        // The first of the chip's own folder and its device folder that has the file.
        const auto beside = [&](const std::string& name) {
            for (const std::string* folder : {&directory, &deviceDirectory}) {
                std::string path = *folder + "/" + name;
                if (exists(path)) {
                    return path;
                }
            }
            return std::string();
        };

        const sensors_feature* feature = nullptr;
        int featureNumber = 0;
        while ((feature = sensors_get_features(chip, &featureNumber)) != nullptr) {
            const std::string name = feature->name;
            if (feature->type == SENSORS_FEATURE_TEMP) {
                const sensors_subfeature* input =
                    sensors_get_subfeature(chip, feature, SENSORS_SUBFEATURE_TEMP_INPUT);
                if (input == nullptr) {
                    continue;
                }
                const HwmonAttributeRead kernelLabel =
                    readAttribute(directory + "/" + name + "_label");
                found.temperatures.push_back(
                    {name, labelOf(chip, feature),
                     kernelLabel.failure ? std::string() : trimmed(kernelLabel.contents),
                     directory + "/" + input->name});
            } else if (feature->type == SENSORS_FEATURE_FAN) {
                const sensors_subfeature* input =
                    sensors_get_subfeature(chip, feature, SENSORS_SUBFEATURE_FAN_INPUT);
                if (input == nullptr) {
                    continue;
                }
                const std::string number = name.substr(3); // "fan2" -> "2"
                found.fans.push_back({name, labelOf(chip, feature), directory + "/" + input->name,
                                      beside(name + "_min"), beside(name + "_max"),
                                      beside(name + "_target"), beside(name + "_output"),
                                      beside(name + "_manual"), beside("pwm" + number),
                                      beside("pwm" + number + "_enable")});
            }
        }
        chips.push_back(std::move(found));
    }

    // Chips without a device of their own share a path; number the repeats so that every
    // id is unique within one boot at least.
    std::map<std::string, int> seen;
    for (HwmonChip& found : chips) {
        const int count = ++seen[found.id()];
        if (count > 1) {
            found.devicePath += "/" + std::to_string(count);
        }
    }
    return chips;
}

HwmonAttributeRead LibsensorsHwmonBus::readAttribute(const std::string& path) {
    // O_NONBLOCK: a FIFO planted where an attribute should be must not stall the reading.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        return HwmonAttributeRead::failed(failureFor(errno));
    }
    const Closer closer{descriptor};
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return HwmonAttributeRead::failed(HwmonReadFailure::other);
    }
    // sysfs reports a size of 4096 for every attribute, so only reading tells the length;
    // one byte past the limit is enough to refuse.
    std::array<char, kHwmonAttributeSizeLimit + 1> buffer{};
    std::size_t length = 0;
    while (length < buffer.size()) {
        const ssize_t count = ::read(descriptor, buffer.data() + length, buffer.size() - length);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return HwmonAttributeRead::failed(failureFor(errno));
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    if (length > kHwmonAttributeSizeLimit) {
        return HwmonAttributeRead::failed(HwmonReadFailure::tooLong);
    }
    return HwmonAttributeRead::text(std::string(buffer.data(), length));
}

} // namespace windlark
