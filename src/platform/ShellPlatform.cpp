#include "platform/ShellPlatform.h"

#include "platform/posix/CurlHttpLoader.h"

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#if defined(__APPLE__)
#include "platform/macos/MacApplicationBundleInfo.h"
#include "platform/macos/MacInstallFileOperations.h"
#include "platform/macos/MacInstallWorkspace.h"
#include "platform/macos/SMAppServiceLoginItemService.h"
#else
#include "platform/BuildVersion.h"
#include "platform/linux/XdgAutostartLoginItemService.h"
#include "platform/posix/PosixInstallFileOperations.h"
#include "platform/posix/PosixInstallWorkspace.h"
#endif

extern char** environ;

namespace windlark::ShellPlatform {
namespace {

#if !defined(__APPLE__)
// There is no information property list to read; the build's version takes the place
// of the bundle's, and nothing else is known.
class BuildBundleInfo final : public ApplicationBundleInfo {
public:
    [[nodiscard]] std::optional<std::string> stringValue(std::string_view key) const override {
        if (key == "CFBundleShortVersionString") {
            return std::string(kBuildVersion);
        }
        return std::nullopt;
    }
};

// Without a home folder there is nowhere to put an autostart entry.
class HomelessLoginItemService final : public LoginItemService {
public:
    [[nodiscard]] int statusCode() const override { return kNotFound; }
    [[nodiscard]] std::optional<LoginItemError> registerApplication() override {
        return LoginItemError{"Neither XDG_CONFIG_HOME nor HOME is set, so there is no "
                              "autostart folder."};
    }
    [[nodiscard]] std::optional<LoginItemError> unregisterApplication() override {
        return std::nullopt;
    }
};

std::string trashDirectory() {
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome != nullptr && dataHome[0] == '/') {
        return (std::filesystem::path(dataHome) / "Trash").string();
    }
    const char* home = std::getenv("HOME");
    return (std::filesystem::path(home != nullptr ? home : "/tmp") / ".local" / "share" / "Trash")
        .string();
}
#endif

} // namespace

ProcessEnvironment currentEnvironment() {
    ProcessEnvironment environment;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos) {
            // The first definition wins, as getenv sees it.
            environment.emplace(std::string(text.substr(0, equals)),
                                std::string(text.substr(equals + 1)));
        }
    }
    return environment;
}

std::unique_ptr<ApplicationBundleInfo> makeApplicationBundleInfo() {
#if defined(__APPLE__)
    return std::make_unique<MacApplicationBundleInfo>();
#else
    return std::make_unique<BuildBundleInfo>();
#endif
}

std::string currentBundlePath() {
#if defined(__APPLE__)
    return MacApplicationBundleInfo::bundlePath();
#else
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
#endif
}

std::string currentBundleIdentifier() {
#if defined(__APPLE__)
    return MacApplicationBundleInfo::bundleIdentifier();
#else
    return {};
#endif
}

std::shared_ptr<HttpLoader> makeHttpLoader() {
    return std::make_shared<CurlHttpLoader>();
}

std::shared_ptr<LoginItemService> makeLoginItemService() {
#if defined(__APPLE__)
    return std::make_shared<SMAppServiceLoginItemService>();
#else
    const auto directory = XdgAutostartLoginItemService::defaultAutostartDirectory(
        std::getenv("XDG_CONFIG_HOME"), std::getenv("HOME"));
    if (!directory) {
        return std::make_shared<HomelessLoginItemService>();
    }
    return std::make_shared<XdgAutostartLoginItemService>(*directory, currentBundlePath());
#endif
}

std::unique_ptr<InstallFileOperations> makeInstallFileOperations() {
#if defined(__APPLE__)
    return std::make_unique<MacInstallFileOperations>();
#else
    std::error_code error;
    std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
    if (error) {
        temporary = "/tmp";
    }
    return std::make_unique<PosixInstallFileOperations>(temporary.string(), trashDirectory());
#endif
}

std::unique_ptr<InstallWorkspace> makeInstallWorkspace() {
#if defined(__APPLE__)
    return std::make_unique<MacInstallWorkspace>();
#else
    return std::make_unique<PosixInstallWorkspace>();
#endif
}

} // namespace windlark::ShellPlatform
