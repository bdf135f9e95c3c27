#pragma once

#include "shell/InstallWorkspace.h"

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// A session that records what the guard asks of it and answers every alert alike.
class FakeInstallWorkspace final : public InstallWorkspace {
public:
    [[nodiscard]] bool hasApplicationBundles() const override { return hasBundles; }
    // The tests list this process as 500 among the running applications.
    [[nodiscard]] int currentProcessIdentifier() const override { return 500; }
    [[nodiscard]] std::vector<RunningApplication>
    runningApplications(std::string_view bundleIdentifier) const override {
        askedBundleIdentifiers.emplace_back(bundleIdentifier);
        return running;
    }
    void activate(int processIdentifier) override { activated.push_back(processIdentifier); }
    void bringThisApplicationForward() override { ++forwardCount; }
    int runModalAlert(const InstallAlert& alert) override {
        alerts.push_back(alert);
        return response;
    }
    std::optional<std::string> launchDetached(const std::string& tool,
                                              const std::vector<std::string>& arguments) override {
        std::string line = tool;
        for (const std::string& argument : arguments) {
            line += " " + argument;
        }
        launches.push_back(line);
        return launchError;
    }
    void openFileViewer(const std::string& directory) override { viewers.push_back(directory); }
    void terminate() override { ++terminateCount; }

    bool hasBundles = true;
    std::vector<RunningApplication> running;
    int response = InstallAlert::kFirstButtonResponse;
    std::optional<std::string> launchError;

    mutable std::vector<std::string> askedBundleIdentifiers;
    std::vector<int> activated;
    std::vector<InstallAlert> alerts;
    std::vector<std::string> launches;
    std::vector<std::string> viewers;
    int forwardCount = 0;
    int terminateCount = 0;
};

} // namespace windlark
