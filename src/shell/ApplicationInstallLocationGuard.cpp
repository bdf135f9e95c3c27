#include "shell/ApplicationInstallLocationGuard.h"

#include "shell/InstallLocationText.h"
#include "support/Uuid.h"

#include <filesystem>
#include <utility>

namespace windlark {
namespace {

constexpr std::string_view kApplicationsPrefix = "/Applications/";

std::string joined(const std::string& directory, std::string_view name) {
    return (std::filesystem::path(directory) / name).string();
}

} // namespace

ApplicationInstallLocationGuard::ApplicationInstallLocationGuard(
    std::string bundlePath, std::string bundleIdentifier, InstallFileOperations& files,
    InstallWorkspace& workspace, AppLanguage language, std::string applicationsDirectory)
    : bundlePath_(std::move(bundlePath))
    , bundleIdentifier_(bundleIdentifier.empty() ? std::string(kDefaultBundleIdentifier)
                                                 : std::move(bundleIdentifier))
    , files_(&files)
    , workspace_(&workspace)
    , language_(language)
    , applicationsDirectory_(std::move(applicationsDirectory))
    , destinationPath_(joined(applicationsDirectory_, kApplicationName)) {}

std::string ApplicationInstallLocationGuard::standardizedPath(std::string_view path) {
    std::string normal = std::filesystem::path(path).lexically_normal().string();
    while (normal.size() > 1 && normal.ends_with('/')) {
        normal.pop_back();
    }
    return normal;
}

bool ApplicationInstallLocationGuard::requiresApplicationsMove(std::string_view bundlePath) {
    const std::string path = standardizedPath(bundlePath);
    if (path.starts_with(kApplicationsPrefix)) {
        return false;
    }
    if (path.starts_with("/Volumes/")) {
        return true;
    }
    // Gatekeeper runs quarantined applications from a random read-only location.
    return path.find("/AppTranslocation/") != std::string::npos;
}

bool ApplicationInstallLocationGuard::isRunningFromReadOnlyVolume(
    std::string_view bundlePath, const InstallFileOperations& volumes) {
    // A failed query counts as writable: it must never block start-up.
    const std::optional<bool> isReadOnly = volumes.isOnReadOnlyVolume(std::string(bundlePath));
    if (!isReadOnly.value_or(false)) {
        return false;
    }
    return !standardizedPath(bundlePath).starts_with(kApplicationsPrefix);
}

bool ApplicationInstallLocationGuard::shouldHandleLaunch(std::string_view bundlePath,
                                                         const ProcessEnvironment& environment,
                                                         const InstallFileOperations& volumes) {
    if (environmentValue(environment, kAllowRunFromDiskImageKey) == "1") {
        return false;
    }
    return requiresApplicationsMove(bundlePath) || isRunningFromReadOnlyVolume(bundlePath, volumes);
}

bool ApplicationInstallLocationGuard::shouldHandleLaunch(
    const ProcessEnvironment& environment) const {
    return workspace_->hasApplicationBundles() &&
           shouldHandleLaunch(bundlePath_, environment, *files_);
}

void ApplicationInstallLocationGuard::handleDiskImageLaunchIfNeeded(
    const ProcessEnvironment& environment, MainLoop& mainLoop) const {
    if (!shouldHandleLaunch(environment)) {
        return;
    }
    mainLoop.post([guard = *this]() mutable { guard.showMovePrompt(); });
}

InstallAlert ApplicationInstallLocationGuard::movePrompt() const {
    return {InstallAlert::Style::informational,
            std::string(localizedText(InstallLocationText::title, language_)),
            std::string(localizedText(InstallLocationText::message, language_)),
            {std::string(localizedText(InstallLocationText::moveButton, language_)),
             std::string(localizedText(InstallLocationText::quitButton, language_))}};
}

InstallAlert
ApplicationInstallLocationGuard::failureAlert(std::string_view errorDescription) const {
    return {InstallAlert::Style::warning,
            std::string(localizedText(InstallLocationText::failureTitle, language_)),
            localizedFailureMessage(language_, errorDescription),
            {std::string(localizedText(InstallLocationText::quitButton, language_))}};
}

void ApplicationInstallLocationGuard::showMovePrompt() {
    workspace_->bringThisApplicationForward();
    if (workspace_->runModalAlert(movePrompt()) == InstallAlert::kFirstButtonResponse) {
        moveAndRelaunch();
        return;
    }
    workspace_->terminate();
}

void ApplicationInstallLocationGuard::moveAndRelaunch() {
    if (const auto installed = runningInstalledApplication()) {
        workspace_->activate(installed->processIdentifier);
        workspace_->terminate();
        return;
    }
    const InstallResult result = installCurrentBundle();
    std::optional<std::string> failure = result.errorDescription;
    if (!failure && result.installedPath) {
        failure = relaunchApplication(*result.installedPath);
    }
    if (failure) {
        (void)workspace_->runModalAlert(failureAlert(*failure));
        // Let the user drag the application in by hand.
        workspace_->openFileViewer(applicationsDirectory_);
    }
    workspace_->terminate();
}

std::optional<RunningApplication>
ApplicationInstallLocationGuard::runningInstalledApplication() const {
    const int ownIdentifier = workspace_->currentProcessIdentifier();
    const std::string destination = standardizedPath(destinationPath_);
    for (const RunningApplication& application :
         workspace_->runningApplications(bundleIdentifier_)) {
        if (application.processIdentifier != ownIdentifier && application.bundlePath &&
            standardizedPath(*application.bundlePath) == destination) {
            return application;
        }
    }
    return std::nullopt;
}

ApplicationInstallLocationGuard::InstallResult
ApplicationInstallLocationGuard::installCurrentBundle() {
    // Copy to a staging place first and move afterwards, so that the installed location
    // is always wholly old or wholly new, never a half-finished copy.
    const std::string staging =
        joined(files_->temporaryDirectory(), "Windlark Mac-" + Uuid::random().string() + ".app");
    auto failed = [this, &staging](std::string description, bool isStagingToRemove) {
        if (isStagingToRemove && files_->exists(staging)) {
            (void)files_->remove(staging);
        }
        return InstallResult{std::nullopt, std::move(description)};
    };

    if (files_->exists(staging)) {
        if (auto error = files_->remove(staging)) {
            return failed(std::move(*error), false);
        }
    }
    if (auto error = files_->copy(bundlePath_, staging)) {
        // A copy that broke off part-way leaves a partial bundle; it must not linger.
        return failed(std::move(*error), true);
    }
    if (files_->exists(destinationPath_)) {
        // To the Trash rather than deleted, so that an older version can be recovered.
        if (auto error = files_->moveToTrash(destinationPath_)) {
            return failed(std::move(*error), true);
        }
    }
    if (auto error = files_->move(staging, destinationPath_)) {
        return failed(std::move(*error), true);
    }
    return InstallResult{destinationPath_, std::nullopt};
}

std::optional<std::string>
ApplicationInstallLocationGuard::relaunchApplication(const std::string& installedPath) {
    return workspace_->launchDetached(std::string(kRelaunchTool), {installedPath});
}

} // namespace windlark
