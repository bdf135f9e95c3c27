#pragma once

#include "hardware/ChildProcessRunner.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "platform/linux/DaemonSocketConnector.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// What the app can check for itself about windlarkd, the Linux stand-ins for the helper's
// bundle, signature, metadata and verified install.
struct LinuxDaemonFacts {
    std::optional<std::string> executablePath; // the installed daemon, when found
    // Owned by root and writable by no one else, nor is its folder: nobody but an
    // administrator can have changed what runs as root.
    bool isExecutableRootLocked = false;
    bool areUnitsInstalled = false;
    bool isSocketPresent = false;
    bool isPeerRoot = false; // the process on the socket runs as root (SO_PEERCRED)

    bool operator==(const LinuxDaemonFacts&) const = default;
};

struct LinuxDaemonProbe {
    bool heartbeat = false;
    bool resetAccepted = false;
    bool fanWritesEnabled = false;
    // The daemon's own words when it turned this user away (`not-permitted`): they say how
    // to join its group.
    std::optional<std::string> refusal;
};

// The helper health the safety plan reads, from those facts: the same requirements, each
// met by the Linux fact that carries its meaning.
[[nodiscard]] PrivilegedHelperHealth linuxDaemonHealth(const LinuxDaemonFacts& facts,
                                                       const LinuxDaemonProbe& probe);

// The exact commands that install and enable the daemon, for when pkexec is missing.
[[nodiscard]] std::string linuxDaemonInstallCommands(const std::string& executablePath);

// Where the installed daemon and its units are looked for, first match first.
struct LinuxDaemonLocations {
    std::vector<std::string> executables{"/usr/sbin/windlarkd", "/usr/local/sbin/windlarkd"};
    std::vector<std::string> unitFolders{"/etc/systemd/system", "/usr/lib/systemd/system",
                                         "/lib/systemd/system", "/usr/local/lib/systemd/system"};
    std::string pkexec = "/usr/bin/pkexec";
};

// The app's helper client on Linux: windlarkd over its socket, one connection for life.
class LinuxDaemonHelperClient final : public PrivilegedHelperClient {
public:
    LinuxDaemonHelperClient(std::shared_ptr<DaemonSocketConnector> connector,
                            std::shared_ptr<ChildProcessRunner> processes,
                            LinuxDaemonLocations locations = {});

    [[nodiscard]] PrivilegedHelperHealth readHealth() override;
    [[nodiscard]] PrivilegedHelperActionResult installPrivilegedHelper() override;
    [[nodiscard]] PrivilegedHelperActionResult resetToSystem() override;
    [[nodiscard]] PrivilegedHelperActionResult
    holdManualTargetLease(double targetRPM, std::int64_t holdSeconds) override;
    [[nodiscard]] PrivilegedHelperActionResult
    renewCurveTargetLease(double targetRPM, std::int64_t leaseSeconds) override;
    [[nodiscard]] std::optional<std::string> takeLeaseEnd() override;
    [[nodiscard]] FanWriteSafetyPlan inOwnTerms(FanWriteSafetyPlan plan) const override;
    [[nodiscard]] std::optional<HelperCalibrationStatus> readCalibration() override;
    [[nodiscard]] PrivilegedHelperActionResult calibrateFans() override;
    [[nodiscard]] PrivilegedHelperActionResult cancelCalibration() override;

    [[nodiscard]] LinuxDaemonFacts readFacts() const;

private:
    [[nodiscard]] PrivilegedHelperActionResult calibrationRequest(DaemonOperation operation,
                                                                  const std::string& done);

    std::shared_ptr<DaemonSocketConnector> connector_;
    std::shared_ptr<ChildProcessRunner> processes_;
    LinuxDaemonLocations locations_;
    BundledPrivilegedHelperClient requests_;
};

} // namespace windlark
