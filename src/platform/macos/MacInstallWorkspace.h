#pragma once

#include "platform/posix/PosixInstallWorkspace.h"
#include "shell/InstallWorkspace.h"

namespace windlark {

// The install guard's session through AppKit: running applications, the modal alert, the
// Finder window and quitting. Main thread only, like all of AppKit.
class MacInstallWorkspace final : public InstallWorkspace {
public:
    [[nodiscard]] bool hasApplicationBundles() const override { return true; }
    [[nodiscard]] int currentProcessIdentifier() const override;
    [[nodiscard]] std::vector<RunningApplication>
    runningApplications(std::string_view bundleIdentifier) const override;
    void activate(int processIdentifier) override;
    void bringThisApplicationForward() override;
    [[nodiscard]] int runModalAlert(const InstallAlert& alert) override;
    [[nodiscard]] std::optional<std::string>
    launchDetached(const std::string& tool, const std::vector<std::string>& arguments) override;
    void openFileViewer(const std::string& directory) override;
    void terminate() override;

private:
    PosixInstallWorkspace processes_;
};

} // namespace windlark
