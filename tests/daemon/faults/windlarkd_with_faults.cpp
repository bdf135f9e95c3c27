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

class FaultInjectingSysfs final : public SysfsAccess {
public:
    SysfsValue read(const std::string& path) override {
        if (faultOf(path) == "write-only") {
            return {std::nullopt, EACCES};
        }
        return sysfs_.read(path);
    }

    int write(const std::string& path, std::int64_t value) override {
        const std::string fault = faultOf(path);
        if (const auto error = errnoNames.find(fault); error != errnoNames.end()) {
            return error->second;
        }
        if (fault == "ignore") {
            return 0;
        }
        const int error = sysfs_.write(path, value);
        if (error == 0 && std::getenv("WINDLARKD_WRITE_LOG") != nullptr) {
            std::ofstream(std::getenv("WINDLARKD_WRITE_LOG"), std::ios::app)
                << attributeName(path) << ' ' << value << '\n';
        }
        return error;
    }

private:
    static inline const std::map<std::string, int> errnoNames = {
        {"EBUSY", EBUSY}, {"EINVAL", EINVAL}, {"EIO", EIO}};

    static std::string attributeName(const std::string& path) {
        return path.substr(path.find_last_of('/') + 1);
    }

    static std::string faultOf(const std::string& path) {
        const char* faults = std::getenv("WINDLARKD_FAULTS");
        if (faults == nullptr) {
            return {};
        }
        std::istringstream lines(readBoundedFile(faults).contents.value_or(""));
        std::string attribute;
        std::string fault;
        while (lines >> attribute >> fault) {
            if (attribute == attributeName(path)) {
                return fault;
            }
        }
        return {};
    }

    LinuxSysfs sysfs_;
};

} // namespace
} // namespace windlark

int main(int argc, char** argv) {
    windlark::FaultInjectingSysfs sysfs;
    return windlark::windlarkdMain(argc, argv, sysfs);
}
