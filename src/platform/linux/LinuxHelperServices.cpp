#include "platform/linux/LinuxHelperServices.h"

#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace windlark {
namespace {

class LinuxHelperHost final : public HelperHost {
public:
    std::optional<std::string> mainBundlePath() const override { return std::nullopt; }

    std::optional<std::string> mainExecutablePath() const override {
        std::array<char, 4096> buffer{};
        const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
        if (length <= 0) {
            return std::nullopt;
        }
        return std::string(buffer.data(), static_cast<std::size_t>(length));
    }

    bool isExecutableFile(const std::string& path) const override {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
               ::access(path.c_str(), X_OK) == 0;
    }

    bool fileExists(const std::string& path) const override {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0;
    }

    std::int64_t daemonServiceStatus(const std::string&) const override {
        return 3; // not found: there is no launchd here
    }
};

class UnsignedCodeSigning final : public CodeSigningService {
public:
    std::optional<StaticCodeSignature> readStaticCode(const std::string&) const override {
        return std::nullopt;
    }
    bool compilesRequirement(const std::string&) const override { return false; }
};

} // namespace

PrivilegedHelperServices makeLinuxHelperServices() {
    return {std::make_shared<LinuxHelperHost>(), std::make_shared<UnsignedCodeSigning>(), nullptr,
            nullptr};
}

} // namespace windlark
