#pragma once

#include "shell/InstallFileOperations.h"
#include "shell/InstallWorkspace.h"
#include "shell/ProcessEnvironment.h"
#include "support/MainLoop.h"
#include "text/AppLanguage.h"

#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Run from a disk image (or a translocated copy), the helper, the login item and the
// update checker would all point at a copy that vanishes when the image is ejected. This
// guard notices such a launch and offers once to move the application into the
// applications folder; every way out of the offer ends this process.
//
// A value built when needed; it keeps references to the platform services, which must
// outlive it.
class ApplicationInstallLocationGuard {
public:
    static constexpr std::string_view kApplicationsDirectory = "/Applications";
    static constexpr std::string_view kApplicationName = "Windlark Mac.app";
    static constexpr std::string_view kDefaultBundleIdentifier = "com.quillmoor.WindlarkMac";
    static constexpr std::string_view kRelaunchTool = "/usr/bin/open";
    // Set to exactly "1" for development runs from a mounted image.
    static constexpr std::string_view kAllowRunFromDiskImageKey = "WINDLARK_ALLOW_RUN_FROM_DMG";

    // The installed location, or the file system's description of why installing failed.
    struct InstallResult {
        std::optional<std::string> installedPath;
        std::optional<std::string> errorDescription;

        bool operator==(const InstallResult&) const = default;
    };

    // `applicationsDirectory` is "/Applications" except in tests, which install into a
    // temporary folder. `language` is the system's preferred one.
    ApplicationInstallLocationGuard(
        std::string bundlePath, std::string bundleIdentifier, InstallFileOperations& files,
        InstallWorkspace& workspace, AppLanguage language,
        std::string applicationsDirectory = std::string(kApplicationsDirectory));

    // The decisions. They look only at the path, the environment and the volume flag.
    [[nodiscard]] static bool shouldHandleLaunch(std::string_view bundlePath,
                                                 const ProcessEnvironment& environment,
                                                 const InstallFileOperations& volumes);
    [[nodiscard]] static bool requiresApplicationsMove(std::string_view bundlePath);
    [[nodiscard]] static bool isRunningFromReadOnlyVolume(std::string_view bundlePath,
                                                          const InstallFileOperations& volumes);
    // Lexically normalised: "." and ".." segments resolved, repeated and trailing
    // separators dropped.
    [[nodiscard]] static std::string standardizedPath(std::string_view path);

    // The decision for this launch; always no where there are no bundles to move.
    [[nodiscard]] bool shouldHandleLaunch(const ProcessEnvironment& environment) const;
    // When this launch must be handled, queues the offer on the main loop.
    void handleDiskImageLaunchIfNeeded(const ProcessEnvironment& environment,
                                       MainLoop& mainLoop) const;

    void showMovePrompt();
    [[nodiscard]] InstallAlert movePrompt() const;
    void moveAndRelaunch();
    [[nodiscard]] InstallResult installCurrentBundle();
    [[nodiscard]] std::optional<std::string> relaunchApplication(const std::string& installedPath);
    [[nodiscard]] std::optional<RunningApplication> runningInstalledApplication() const;
    [[nodiscard]] InstallAlert failureAlert(std::string_view errorDescription) const;

    [[nodiscard]] const std::string& destinationPath() const { return destinationPath_; }

private:
    std::string bundlePath_;
    std::string bundleIdentifier_;
    InstallFileOperations* files_;
    InstallWorkspace* workspace_;
    AppLanguage language_;
    std::string applicationsDirectory_;
    std::string destinationPath_;
};

} // namespace windlark
