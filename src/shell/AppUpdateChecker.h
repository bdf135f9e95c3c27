#pragma once

#include "shell/AppUpdateCheckResult.h"
#include "shell/AppUpdateChecking.h"
#include "shell/ApplicationBundleInfo.h"
#include "shell/HttpLoader.h"
#include "shell/ProcessEnvironment.h"
#include "support/MainLoop.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Asks a configured HTTPS address for a small JSON document naming the latest release
// and compares it with the running version. It never downloads or installs anything.
//
// The version and the address are worked out once, at construction; a check only reads
// them, so checks run on their own threads without locks. A check's result reaches the
// caller through the main loop. Destroying the checker while a check runs is safe: the
// check finishes on its own (the loader's time-outs bound it) and its result is dropped.
class AppUpdateChecker final : public AppUpdateChecking {
public:
    static constexpr std::string_view kEnvironmentKey = "WINDLARK_UPDATE_CHECK_URL";
    static constexpr std::string_view kBundleKey = "WindlarkUpdateCheckURL";

    AppUpdateChecker(const ApplicationBundleInfo& bundle, const ProcessEnvironment& environment,
                     std::shared_ptr<HttpLoader> loader, MainLoop& mainLoop);
    ~AppUpdateChecker() override;
    AppUpdateChecker(const AppUpdateChecker&) = delete;
    AppUpdateChecker& operator=(const AppUpdateChecker&) = delete;

    void checkForUpdates(Completion completion) override;

    // The whole check on the calling thread, blocking while the document loads.
    [[nodiscard]] AppUpdateCheckResult checkNow() const;

    [[nodiscard]] const std::string& currentVersion() const;
    [[nodiscard]] const std::optional<std::string>& updateURL() const;

    // "CFBundleShortVersionString", else "CFBundleVersion" (each only when non-empty),
    // else "development".
    [[nodiscard]] static std::string currentVersion(const ApplicationBundleInfo& bundle);
    // The environment variable when set, even to nothing, else the bundle's entry; trimmed
    // and put through the HTTPS rule. A set but unusable variable is final.
    [[nodiscard]] static std::optional<std::string>
    updateURL(const ApplicationBundleInfo& bundle, const ProcessEnvironment& environment);
    // The verdict on a fetched document.
    [[nodiscard]] static AppUpdateCheckResult resultForDocument(const std::string& localVersion,
                                                                std::string_view document);

private:
    struct Configuration;
    struct Link;

    static AppUpdateCheckResult perform(const Configuration& configuration);

    std::shared_ptr<const Configuration> configuration_;
    std::shared_ptr<Link> link_;
};

} // namespace windlark
