#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <string>
#include <umockdev.h>

namespace windlark {

// A mocked /sys for the duration of a test or benchmark (failures throw): what the process sees
// under /sys comes from the umockdev records loaded into it.
class UmockdevTestbed {
public:
    UmockdevTestbed()
        : testbed_(umockdev_testbed_new()) {}
    ~UmockdevTestbed() { g_object_unref(testbed_); }
    UmockdevTestbed(const UmockdevTestbed&) = delete;
    UmockdevTestbed& operator=(const UmockdevTestbed&) = delete;

    void add(const std::string& record) {
        GError* error = nullptr;
        if (!umockdev_testbed_add_from_string(testbed_, record.c_str(), &error)) {
            const std::string why = error != nullptr ? error->message : "unknown error";
            g_clear_error(&error);
            throw std::runtime_error("umockdev refused the record: " + why);
        }
    }
    void remove(const std::string& sysPath) {
        umockdev_testbed_remove_device(testbed_, sysPath.c_str());
    }
    void setAttribute(const std::string& sysPath, const std::string& name,
                      const std::string& value) {
        umockdev_testbed_set_attribute(testbed_, sysPath.c_str(), name.c_str(), value.c_str());
    }
    // Where the mocked /sys really lives, for files umockdev cannot describe.
    [[nodiscard]] std::filesystem::path sysDirectory() const {
        gchar* directory = umockdev_testbed_get_sys_dir(testbed_);
        std::filesystem::path path(directory);
        g_free(directory);
        return path;
    }

private:
    UMockdevTestbed* testbed_;
};

// A record from tests/fixtures/hwmon.
inline std::string hwmonFixture(const std::string& name) {
    std::ifstream stream(std::string(WINDLARK_SOURCE_DIR) + "/tests/fixtures/hwmon/" + name +
                         ".umockdev");
    if (!stream) {
        throw std::runtime_error("no hwmon fixture " + name);
    }
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

// The same machine after another boot: every hwmonN number moved by `shift`.
inline std::string withHwmonNumbersShifted(const std::string& record, int shift) {
    std::string result;
    const std::regex number("hwmon([0-9]+)");
    auto position = std::sregex_iterator(record.begin(), record.end(), number);
    std::size_t last = 0;
    for (; position != std::sregex_iterator(); ++position) {
        result.append(record, last, static_cast<std::size_t>(position->position()) - last);
        result += "hwmon" + std::to_string(std::stoi((*position)[1]) * 7 % 11 + shift);
        last = static_cast<std::size_t>(position->position() + position->length());
    }
    result.append(record, last);
    return result;
}

} // namespace windlark
