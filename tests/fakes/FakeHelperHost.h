#pragma once

#include "helper/HelperHost.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace windlark {

class FakeHelperHost final : public HelperHost {
public:
    std::optional<std::string> bundlePath;
    std::optional<std::string> executablePath;
    std::set<std::string> executableFiles; // also count as existing files
    std::set<std::string> otherFiles;
    std::int64_t daemonStatus = 3;
    mutable std::optional<std::string> lastDaemonPlistName;

    std::optional<std::string> mainBundlePath() const override { return bundlePath; }
    std::optional<std::string> mainExecutablePath() const override { return executablePath; }
    bool isExecutableFile(const std::string& path) const override {
        return executableFiles.count(path) != 0;
    }
    bool fileExists(const std::string& path) const override {
        return executableFiles.count(path) != 0 || otherFiles.count(path) != 0;
    }
    std::int64_t daemonServiceStatus(const std::string& plistName) const override {
        lastDaemonPlistName = plistName;
        return daemonStatus;
    }
};

} // namespace windlark
