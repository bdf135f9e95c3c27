#pragma once

#include "shell/InstallWorkspace.h"

namespace windlark {

// The install guard's session on a system without application bundles. The guard never
// takes over a launch here, so the alert and window calls only have to be harmless;
// launching and quitting are real.
class PosixInstallWorkspace final : public InstallWorkspace {
public:
    [[nodiscard]] bool hasApplicationBundles() const override { return false; }
    [[nodiscard]] int currentProcessIdentifier() const override;
    [[nodiscard]] std::vector<RunningApplication>
    runningApplications(std::string_view bundleIdentifier) const override;
    void activate(int processIdentifier) override;
    void bringThisApplicationForward() override {}
    // Without a window system to ask, the answer is the second button ("Quit").
    [[nodiscard]] int runModalAlert(const InstallAlert& alert) override;
    [[nodiscard]] std::optional<std::string>
    launchDetached(const std::string& tool, const std::vector<std::string>& arguments) override;
    void openFileViewer(const std::string& directory) override;
    void terminate() override;
};

} // namespace windlark
