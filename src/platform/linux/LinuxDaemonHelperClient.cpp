#include "platform/linux/LinuxDaemonHelperClient.h"

#include "contract/WindlarkPrivilegedHelperStatus.h"
#include "helper/CodeSigningInfo.h"

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace windlark {
namespace {

bool isRootLocked(const std::filesystem::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_uid == 0 &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// The requests go through the contract's own client logic; it only needs a connector.
class NoHost final : public HelperHost {
public:
    std::optional<std::string> mainBundlePath() const override { return std::nullopt; }
    std::optional<std::string> mainExecutablePath() const override { return std::nullopt; }
    bool isExecutableFile(const std::string&) const override { return false; }
    bool fileExists(const std::string&) const override { return false; }
    std::int64_t daemonServiceStatus(const std::string&) const override { return 3; }
};

class NoCodeSigning final : public CodeSigningService {
public:
    std::optional<StaticCodeSignature> readStaticCode(const std::string&) const override {
        return std::nullopt;
    }
    bool compilesRequirement(const std::string&) const override { return false; }
};

// Sends one request and waits for its answer, at most the contract's request time-out.
std::optional<HelperReply> await(const std::function<void(HelperReplyHandler)>& request) {
    struct Slot {
        std::mutex mutex;
        std::condition_variable arrived;
        std::optional<HelperReply> reply;
    };
    auto slot = std::make_shared<Slot>();
    request([slot](HelperReply reply) {
        const std::lock_guard lock(slot->mutex);
        slot->reply = std::move(reply);
        slot->arrived.notify_all();
    });
    std::unique_lock lock(slot->mutex);
    if (!slot->arrived.wait_for(
            lock, std::chrono::seconds(WindlarkPrivilegedHelperXPC::requestTimeoutSeconds),
            [&slot] { return slot->reply.has_value(); })) {
        return std::nullopt;
    }
    return std::move(slot->reply);
}

std::optional<HelperReply> readStatus(HelperConnector& connector) {
    HelperSessionOpening opening = connector.openSession();
    if (!opening.session) {
        return std::nullopt;
    }
    return await(
        [&opening](HelperReplyHandler reply) { opening.session->readStatus(std::move(reply)); });
}

bool stringIs(const PropertyDictionary& dictionary, std::string_view key, std::string_view value) {
    const std::string* found = dictionary.string(key);
    return found != nullptr && *found == value;
}

} // namespace

PrivilegedHelperHealth linuxDaemonHealth(const LinuxDaemonFacts& facts,
                                         const LinuxDaemonProbe& probe) {
    if (!facts.executablePath) {
        PrivilegedHelperHealth health = PrivilegedHelperHealth::unavailable();
        health.detail = "windlarkd is not installed.";
        health.remedy = "Install the package that provides windlarkd.";
        return health;
    }
    PrivilegedHelperHealth health;
    health.label = PrivilegedHelperHealth::expectedLabel;
    health.executablePath = facts.executablePath;
    health.isBundled = true;
    health.isSignatureValid = facts.isExecutableRootLocked;
    health.signingIdentifier =
        facts.isExecutableRootLocked
            ? std::optional(std::string(PrivilegedHelperHealth::expectedLabel))
            : std::nullopt;
    health.hasBlessMetadata = facts.areUnitsInstalled;
    health.serviceManagementStatus = facts.isSocketPresent ? "enabled" : "notRegistered";
    health.xpcListenerStatus = "unix-seqpacket";
    health.isPrivilegedInstallVerified =
        facts.isExecutableRootLocked && facts.areUnitsInstalled && facts.isPeerRoot;
    health.hasTrustedProvenance = health.isPrivilegedInstallVerified;
    // Only a daemon we can vouch for is believed.
    const bool isTrusted = health.hasTrustedProvenance;
    health.hasHeartbeat = isTrusted && probe.heartbeat;
    health.resetCommandAccepted = health.hasHeartbeat && probe.resetAccepted;
    health.fanWritesEnabled = health.hasHeartbeat && probe.fanWritesEnabled;
    if (!facts.isSocketPresent) {
        // Installed but never enabled: "Install Helper" does it, or these commands do.
        health.remedy = "Use Install Helper, or run as administrator: " +
                        linuxDaemonInstallCommands(*facts.executablePath);
    } else if (isTrusted && !probe.heartbeat) {
        // Only a root daemon's refusal is passed on: its advice is to run a command with
        // sudo.
        health.remedy = probe.refusal;
    }
    CodeSigningInfo signature;
    signature.isValid = facts.isExecutableRootLocked;
    signature.status =
        facts.isExecutableRootLocked ? "signature valid" : "daemon executable writable by others";
    health.detail = PrivilegedHelperHealth::detailText(
        signature, health.hasBlessMetadata, health.isXPCConnectionEnabled,
        health.isPrivilegedInstallVerified, health.hasTrustedProvenance, health.hasHeartbeat,
        health.resetCommandAccepted);
    return health;
}

std::string linuxDaemonInstallCommands(const std::string& executablePath) {
    return "sudo " + executablePath + " --install";
}

LinuxDaemonHelperClient::LinuxDaemonHelperClient(std::shared_ptr<DaemonSocketConnector> connector,
                                                 std::shared_ptr<ChildProcessRunner> processes,
                                                 LinuxDaemonLocations locations)
    : connector_(std::move(connector))
    , processes_(std::move(processes))
    , locations_(std::move(locations))
    , requests_(PrivilegedHelperServices{std::make_shared<NoHost>(),
                                         std::make_shared<NoCodeSigning>(), connector_, nullptr}) {}

LinuxDaemonFacts LinuxDaemonHelperClient::readFacts() const {
    LinuxDaemonFacts facts;
    for (const std::string& candidate : locations_.executables) {
        if (::access(candidate.c_str(), X_OK) == 0) {
            facts.executablePath = candidate;
            const std::filesystem::path path(candidate);
            facts.isExecutableRootLocked = isRootLocked(path) && isRootLocked(path.parent_path());
            break;
        }
    }
    for (const std::string& folder : locations_.unitFolders) {
        const std::filesystem::path base(folder);
        std::error_code error;
        if (std::filesystem::exists(base / "windlarkd.socket", error) &&
            std::filesystem::exists(base / "windlarkd.service", error)) {
            facts.areUnitsInstalled = true;
        }
    }
    std::error_code error;
    facts.isSocketPresent = std::filesystem::exists(connector_->socketPath(), error);
    facts.isPeerRoot = facts.isSocketPresent && connector_->peerUserId() == 0U;
    return facts;
}

PrivilegedHelperHealth LinuxDaemonHelperClient::readHealth() {
    const LinuxDaemonFacts facts = readFacts();
    LinuxDaemonProbe probe;
    if (facts.isPeerRoot) {
        const std::optional<HelperReply> reply = readStatus(*connector_);
        if (reply && !reply->dictionary && reply->error.starts_with("not-permitted")) {
            probe.refusal = reply->error;
        }
        if (const auto* status = reply ? &reply->dictionary : nullptr; status && *status) {
            probe.heartbeat =
                stringIs(**status, WindlarkPrivilegedHelperStatus::heartbeatKey, "ok");
            probe.fanWritesEnabled =
                stringIs(**status, WindlarkPrivilegedHelperStatus::fanWritesKey, "enabled");
            // Proven by using it, as on every platform.
            probe.resetAccepted = probe.heartbeat && requests_.resetToSystem().isSuccess;
        }
    }
    return linuxDaemonHealth(facts, probe);
}

FanWriteSafetyPlan LinuxDaemonHelperClient::inOwnTerms(FanWriteSafetyPlan plan) const {
    // The same facts in the same order, named by what can be checked on this computer.
    static const std::map<std::string, std::string, std::less<>> titles = {
        {"signed privileged helper", "windlarkd owned by root and writable by no one else"},
        {"ServiceManagement helper metadata", "windlarkd's systemd units installed"},
        {"privileged helper install verified", "windlarkd serving its socket as root"},
        {"trusted helper provenance", "trusted windlarkd install"},
        {"helper heartbeat", "windlarkd heartbeat"},
        {"helper fan writes enabled", "windlarkd fan writes enabled"},
        {"macOS-control reset path", "hand-back to the system's own fan control"},
    };
    for (FanWriteRequirement& requirement : plan.requirements) {
        if (const auto title = titles.find(requirement.title); title != titles.end()) {
            requirement.title = title->second;
        }
    }
    switch (plan.status) {
    case FanWriteSafetyStatus::unsupported:
        plan.detail = "This computer has no fan Windlark Mac can control.";
        break;
    case FanWriteSafetyStatus::helperRequired:
        plan.detail = "windlarkd must be installed, owned by root and serving its socket "
                      "before writes.";
        break;
    case FanWriteSafetyStatus::writeGateRequired:
        plan.detail = "windlarkd is reachable, but no fan of this computer has a known speed "
                      "range yet.";
        break;
    case FanWriteSafetyStatus::resetRequired:
        plan.detail = "windlarkd must prove it can hand the fans back to the system before "
                      "writes.";
        break;
    default:
        break;
    }
    return plan;
}

PrivilegedHelperActionResult LinuxDaemonHelperClient::installPrivilegedHelper() {
    const LinuxDaemonFacts facts = readFacts();
    const std::string executable = facts.executablePath.value_or("/usr/sbin/windlarkd");
    if (!facts.executablePath) {
        return PrivilegedHelperActionResult::failure(
            "windlarkd is not installed; install the package that provides it.");
    }
    if (::access(locations_.pkexec.c_str(), X_OK) != 0 || !processes_) {
        return PrivilegedHelperActionResult::failure("Run as administrator: " +
                                                     linuxDaemonInstallCommands(executable));
    }
    // The desktop's authentication agent asks for the password; no time limit.
    const ChildProcessOutcome outcome =
        processes_->run(locations_.pkexec, {executable, "--install"}, std::nullopt);
    if (outcome.launchError || outcome.exitStatus != 0) {
        return PrivilegedHelperActionResult::failure(
            "windlarkd --install failed (" +
            outcome.launchError.value_or("exit status " + std::to_string(outcome.exitStatus)) +
            "). Run as administrator: " + linuxDaemonInstallCommands(executable));
    }
    return PrivilegedHelperActionResult{true, "Privileged helper installed.", std::nullopt};
}

PrivilegedHelperActionResult LinuxDaemonHelperClient::resetToSystem() {
    return requests_.resetToSystem();
}

PrivilegedHelperActionResult
LinuxDaemonHelperClient::holdManualTargetLease(double targetRPM, std::int64_t holdSeconds) {
    return requests_.holdManualTargetLease(targetRPM, holdSeconds);
}

PrivilegedHelperActionResult
LinuxDaemonHelperClient::renewCurveTargetLease(double targetRPM, std::int64_t leaseSeconds) {
    return requests_.renewCurveTargetLease(targetRPM, leaseSeconds);
}

std::optional<std::string> LinuxDaemonHelperClient::takeLeaseEnd() {
    return connector_->takeLeaseEnd();
}

std::optional<HelperCalibrationStatus> LinuxDaemonHelperClient::readCalibration() {
    const std::optional<HelperReply> reply = readStatus(*connector_);
    if (!reply || !reply->dictionary) {
        return std::nullopt;
    }
    HelperCalibrationStatus status;
    status.uncalibratedFans = reply->dictionary->integer("uncalibratedFans").value_or(0);
    if (const std::string* progress = reply->dictionary->string("calibration")) {
        status.progress = *progress;
    }
    return status;
}

PrivilegedHelperActionResult LinuxDaemonHelperClient::calibrateFans() {
    return calibrationRequest(DaemonOperation::calibrateFans, "Calibration started.");
}

PrivilegedHelperActionResult LinuxDaemonHelperClient::cancelCalibration() {
    return calibrationRequest(DaemonOperation::cancelCalibration, "Calibration cancelled.");
}

PrivilegedHelperActionResult LinuxDaemonHelperClient::calibrationRequest(DaemonOperation operation,
                                                                         const std::string& done) {
    const std::optional<HelperReply> reply = await([this, operation](HelperReplyHandler handler) {
        connector_->send(operation, std::move(handler));
    });
    if (!reply) {
        return PrivilegedHelperActionResult::failure("The fan daemon did not answer.");
    }
    if (!reply->dictionary) {
        return PrivilegedHelperActionResult::failure(reply->error);
    }
    // A started run answers with the status, whose error may well be "no fan has a known
    // speed range": only the refusal codes mean it did not start.
    if (const std::string* error = reply->dictionary->string("error");
        error != nullptr && (*error == "busy" || *error == "unknown-fan")) {
        return {false, "The fan daemon refused to calibrate: " + *error, reply->dictionary};
    }
    return {true, done, reply->dictionary};
}

} // namespace windlark
