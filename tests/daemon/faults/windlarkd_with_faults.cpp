// windlarkd with a layer between it and /sys that misbehaves the way drivers do and a
// mocked /sys cannot: a write refused with an errno, a write taken but ignored, an
// attribute that can be written but not read.
//
// The faults come from the file WINDLARKD_FAULTS names, read again at every access so
// that a test can change them while a lease runs: one "<attribute> <fault>" per line, the
// fault an errno name (EBUSY, EINVAL, EIO), "ignore" or "write-only". Every write that
// reached /sys is appended to WINDLARKD_WRITE_LOG as "<attribute> <value>", so a test
// can check the order of writes.

#include "platform/linux/windlarkd/LinuxSysfs.h"
#include "platform/linux/windlarkd/WindlarkdServer.h"
#include "platform/posix/BoundedFile.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace windlark {
namespace {

std::string attributeName(const std::string& path) {
    return path.substr(path.find_last_of('/') + 1);
}

std::string faultOf(const std::string& path) {
    const char* faults = std::getenv("WINDLARKD_FAULTS");
    std::istringstream lines(faults != nullptr ? readBoundedFile(faults).contents.value_or("")
                                               : "");
    for (std::string attribute, fault; lines >> attribute >> fault;) {
        if (attribute == attributeName(path)) {
            return fault;
        }
    }
    return {};
}

class FaultInjectingSysfs final : public SysfsAccess {
public:
    SysfsValue read(const std::string& path) override {
        return faultOf(path) == "write-only" ? SysfsValue{std::nullopt, EACCES} : sysfs_.read(path);
    }

    int write(const std::string& path, std::int64_t value) override {
        // What the driver answers instead of writing: an errno, or 0 for "ignore".
        static const std::map<std::string, int> answers{
            {"EBUSY", EBUSY}, {"EINVAL", EINVAL}, {"EIO", EIO}, {"ignore", 0}};
        if (const auto fault = answers.find(faultOf(path)); fault != answers.end()) {
            return fault->second;
        }
        const int error = sysfs_.write(path, value);
        if (const char* log = std::getenv("WINDLARKD_WRITE_LOG"); error == 0 && log != nullptr) {
            std::ofstream(log, std::ios::app) << attributeName(path) << ' ' << value << '\n';
        }
        return error;
    }

private:
    LinuxSysfs sysfs_;
};

} // namespace
} // namespace windlark

int main(int argc, char** argv) {
    windlark::FaultInjectingSysfs sysfs;
    return windlark::windlarkdMain(argc, argv, sysfs);
}
