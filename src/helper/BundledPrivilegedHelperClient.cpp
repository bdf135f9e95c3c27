#include "helper/BundledPrivilegedHelperClient.h"

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"
#include "helper/CodeSigningInspector.h"

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <utility>

namespace windlark {
namespace {

// The reply's landing place. The waiter and the reply handler own it jointly, so a reply
// that arrives after the waiter gave up writes into memory that is still alive and is then
// simply dropped with the last reference.
struct ReplySlot {
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<HelperReply> reply;
};

// The reply, a transport failure, or nothing when the time-out came first.
template <typename Send>
std::optional<HelperReply> waitForReply(Send&& send, std::chrono::milliseconds timeout) {
    auto slot = std::make_shared<ReplySlot>();
    send([slot](HelperReply reply) {
        const std::lock_guard lock(slot->mutex);
        if (!slot->reply) {
            slot->reply = std::move(reply);
        }
        slot->arrived.notify_all();
    });
    std::unique_lock lock(slot->mutex);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    if (!slot->arrived.wait_until(lock, deadline, [&slot] { return slot->reply.has_value(); })) {
        return std::nullopt;
    }
    return std::move(slot->reply);
}

bool equalPresent(const std::optional<std::string>& lhs, const std::optional<std::string>& rhs) {
    return lhs.has_value() && rhs.has_value() && *lhs == *rhs;
}

bool equalPresent(const std::optional<std::string>& lhs, const std::string& rhs) {
    return lhs.has_value() && *lhs == rhs;
}

bool stringValueIs(const PropertyDictionary& dictionary, std::string_view key,
                   std::string_view expected) {
    const std::string* value = dictionary.string(key);
    return value != nullptr && *value == expected;
}

PrivilegedHelperActionResult noSession(const HelperSessionOpening& opening) {
    return PrivilegedHelperActionResult::failure(
        opening.error.value_or("Could not create XPC connection."));
}

} // namespace

BundledPrivilegedHelperClient::BundledPrivilegedHelperClient(
    PrivilegedHelperServices services, BundledPrivilegedHelperConfiguration configuration)
    : services_(std::move(services))
    , configuration_(std::move(configuration)) {
    if (!configuration_.appCodePath) {
        configuration_.appCodePath = services_.host->mainBundlePath();
    }
}

std::optional<std::string> BundledPrivilegedHelperClient::resolveHelperPath() const {
    const HelperHost& host = *services_.host;
    if (const auto bundle = host.mainBundlePath()) {
        const std::filesystem::path candidate = std::filesystem::path(*bundle) / "Contents" /
                                                "Library" / "LaunchServices" /
                                                configuration_.helperExecutableName;
        if (host.isExecutableFile(candidate.string())) {
            return candidate.string();
        }
    }
    if (const auto executable = host.mainExecutablePath()) {
        const std::filesystem::path candidate =
            std::filesystem::path(*executable).parent_path() / configuration_.helperExecutableName;
        if (host.isExecutableFile(candidate.string())) {
            return candidate.string();
        }
    }
    return std::nullopt;
}

std::optional<std::string> BundledPrivilegedHelperClient::installedHelperPath() const {
    const std::filesystem::path path =
        std::filesystem::path(privilegedToolsDirectory) / configuration_.helperExecutableName;
    if (!services_.host->fileExists(path.string())) {
        return std::nullopt;
    }
    return path.string();
}

std::string BundledPrivilegedHelperClient::daemonStatusWord(std::int64_t status) {
    switch (status) {
    case 0:
        return "notRegistered";
    case 1:
        return "enabled";
    case 2:
        return "requiresApproval";
    case 3:
        return "notFound";
    default:
        return "unknown";
    }
}

std::string BundledPrivilegedHelperClient::readDaemonServiceStatus() const {
    return daemonStatusWord(services_.host->daemonServiceStatus(configuration_.daemonPlistName));
}

PrivilegedHelperHealth BundledPrivilegedHelperClient::readHealth() {
    const std::optional<std::string> helperPath = resolveHelperPath();
    if (!helperPath) {
        PrivilegedHelperHealth health = PrivilegedHelperHealth::unavailable();
        health.isXPCConnectionEnabled = configuration_.isConnectionEnabled;
        return health;
    }

    const CodeSigningInspector inspector(*services_.codeSigning);
    const CodeSigningInfo bundled = inspector.inspect(*helperPath);
    const std::optional<std::string> installedPath = installedHelperPath();
    const std::optional<CodeSigningInfo> installed =
        installedPath ? std::optional(inspector.inspect(*installedPath)) : std::nullopt;
    const std::optional<CodeSigningInfo> app =
        configuration_.appCodePath ? std::optional(inspector.inspect(*configuration_.appCodePath))
                                   : std::nullopt;
    // What runs is the installed copy, so that is the one whose signature counts.
    const CodeSigningInfo& effective = installed ? *installed : bundled;

    PrivilegedHelperHealth health;
    health.label = configuration_.expectedLabel;
    health.executablePath = helperPath;
    health.isBundled = true;
    health.isSignatureValid = effective.isValid;
    health.signingIdentifier = effective.identifier;
    health.teamIdentifier = effective.teamIdentifier;
    health.appHelperRequirement = CodeSigningInspector::appHelperRequirement(
        app ? app->infoPlist : std::nullopt, configuration_.expectedLabel);
    health.helperClientRequirement =
        CodeSigningInspector::helperClientRequirement(effective.infoPlist);
    health.hasBlessMetadata = inspector.requirementCompiles(health.appHelperRequirement) &&
                              inspector.requirementCompiles(health.helperClientRequirement);
    health.serviceManagementStatus = readDaemonServiceStatus();

    // Exact comparisons only; a missing identifier or team never matches anything.
    health.isPrivilegedInstallVerified =
        installed.has_value() && installed->isValid &&
        equalPresent(installed->identifier, configuration_.expectedLabel);
    health.hasTrustedProvenance =
        health.isPrivilegedInstallVerified &&
        equalPresent(effective.identifier, configuration_.expectedLabel) &&
        equalPresent(effective.teamIdentifier, app ? app->teamIdentifier : std::nullopt);

    const ProbeResult probe =
        readXPCProbeIfAllowed(health.isPrivilegedInstallVerified, health.hasTrustedProvenance);
    health.hasHeartbeat = probe.heartbeat;
    health.resetCommandAccepted = probe.resetAccepted;
    health.fanWritesEnabled =
        probe.fanWritesEnabled && WindlarkPrivilegedHelperXPC::fanWritesEnabled;
    health.isXPCConnectionEnabled = configuration_.isConnectionEnabled;
    health.detail = PrivilegedHelperHealth::detailText(
        effective, health.hasBlessMetadata, health.isXPCConnectionEnabled,
        health.isPrivilegedInstallVerified, health.hasTrustedProvenance, probe.heartbeat,
        probe.resetAccepted);
    return health;
}

BundledPrivilegedHelperClient::ProbeResult
BundledPrivilegedHelperClient::readXPCProbeIfAllowed(bool isPrivilegedInstallVerified,
                                                     bool hasTrustedProvenance) {
    // Never talk to a helper we cannot vouch for.
    if (!configuration_.isConnectionEnabled || !isPrivilegedInstallVerified ||
        !hasTrustedProvenance) {
        return {};
    }
    std::optional<HelperReply> status;
    {
        HelperSessionOpening opening = makeRemoteSession();
        if (!opening.session) {
            return {};
        }
        HelperSession& session = *opening.session;
        status = waitForReply([&session](HelperReplyHandler reply) { session.readStatus(reply); },
                              configuration_.timeouts.statusRead);
    }
    if (!status || !status->dictionary) {
        return {};
    }
    const PropertyDictionary& statusDictionary = *status->dictionary;
    ProbeResult result;
    result.heartbeat =
        stringValueIs(statusDictionary, WindlarkPrivilegedHelperStatus::heartbeatKey, "ok");
    if (result.heartbeat) {
        // The reset path is proven by using it, not assumed from the helper's word.
        result.resetAccepted = resetToSystem().isSuccess;
        result.fanWritesEnabled = stringValueIs(
            statusDictionary, WindlarkPrivilegedHelperStatus::fanWritesKey, "enabled");
    }
    return result;
}

HelperSessionOpening BundledPrivilegedHelperClient::makeRemoteSession() {
    if (!configuration_.isConnectionEnabled) {
        return {nullptr, std::string("XPC connection is disabled.")};
    }
    if (!services_.connector) {
        return {};
    }
    return services_.connector->openSession();
}

PrivilegedHelperActionResult BundledPrivilegedHelperClient::resetToSystem() {
    HelperSessionOpening opening = makeRemoteSession();
    if (!opening.session) {
        return noSession(opening);
    }
    HelperSession& session = *opening.session;
    std::optional<HelperReply> answer =
        waitForReply([&session](HelperReplyHandler handler) { session.resetToSystem(handler); },
                     configuration_.timeouts.reset);
    if (!answer) {
        return PrivilegedHelperActionResult::failure("Timed out waiting for helper reset.");
    }
    if (!answer->dictionary) {
        return PrivilegedHelperActionResult::failure(std::move(answer->error));
    }
    std::optional<PropertyDictionary> reply = std::move(answer->dictionary);
    const bool accepted =
        stringValueIs(*reply, WindlarkPrivilegedHelperStatus::resetToSystemKey, "accepted") ||
        stringValueIs(*reply, WindlarkPrivilegedHelperStatus::resetToSystemKey, "noop");
    return PrivilegedHelperActionResult{
        accepted, accepted ? "Helper reset accepted." : "Helper reset failed.", std::move(reply)};
}

PrivilegedHelperActionResult
BundledPrivilegedHelperClient::holdManualTargetLease(double targetRPM, std::int64_t holdSeconds) {
    return sendManualTargetLease(targetRPM, holdSeconds,
                                 WindlarkPrivilegedHelperXPC::appManualTargetLeaseReason,
                                 configuration_.timeouts.manualHold);
}

PrivilegedHelperActionResult
BundledPrivilegedHelperClient::renewCurveTargetLease(double targetRPM, std::int64_t leaseSeconds) {
    return sendManualTargetLease(targetRPM, leaseSeconds,
                                 WindlarkPrivilegedHelperXPC::curveRenewalReason,
                                 configuration_.timeouts.curveRenewal);
}

PrivilegedHelperActionResult
BundledPrivilegedHelperClient::sendManualTargetLease(double targetRPM, std::int64_t seconds,
                                                     std::string_view reason,
                                                     std::chrono::milliseconds timeout) {
    HelperSessionOpening opening = makeRemoteSession();
    if (!opening.session) {
        return noSession(opening);
    }
    // The app only ever drives the first fan.
    const WindlarkManualTargetLeaseRequest request{0, targetRPM, seconds, std::string(reason)};
    const PropertyDictionary requestDictionary = request.dictionary();
    HelperSession& session = *opening.session;
    std::optional<HelperReply> answer = waitForReply(
        [&session, &requestDictionary](HelperReplyHandler handler) {
            session.holdManualTargetLease(requestDictionary, handler);
        },
        timeout);
    if (!answer) {
        return PrivilegedHelperActionResult::failure("Timed out waiting for helper fan lease.");
    }
    if (!answer->dictionary) {
        return PrivilegedHelperActionResult::failure(std::move(answer->error));
    }
    std::optional<PropertyDictionary> reply = std::move(answer->dictionary);
    // Only a real boolean true counts; "true" as text or 1 as a number is a malformed reply.
    const bool accepted = reply->boolean("accepted").value_or(false);
    return PrivilegedHelperActionResult{
        accepted, accepted ? "Helper fan lease accepted." : "Helper fan lease rejected.",
        std::move(reply)};
}

PrivilegedHelperActionResult BundledPrivilegedHelperClient::installPrivilegedHelper() {
    if (!services_.installer) {
        return PrivilegedHelperClient::installPrivilegedHelper();
    }
    HelperAuthorizationAttempt attempt = services_.installer->authorize();
    if (!attempt.authorization) {
        const char* prefix = attempt.failedStep == HelperAuthorizationStep::create
                                 ? "AuthorizationCreate failed: "
                                 : "AuthorizationCopyRights failed: ";
        return PrivilegedHelperActionResult::failure(prefix + std::to_string(attempt.status));
    }
    // `attempt.authorization` is freed when this function returns, on every path.
    HelperAuthorization& authorization = *attempt.authorization;

    // An older helper must go first; there being none is the normal first install.
    const ServiceManagementOutcome removal = authorization.removeJob(configuration_.expectedLabel);
    if (!removal.isSuccess && !(removal.error && removal.error->isJobNotFound())) {
        return PrivilegedHelperActionResult::failure(
            removal.error ? removal.error->description
                          : std::string("SMJobRemove failed without an error."));
    }
    const ServiceManagementOutcome bless = authorization.blessJob(configuration_.expectedLabel);
    if (!bless.isSuccess) {
        return PrivilegedHelperActionResult::failure(
            bless.error ? bless.error->description
                        : std::string("SMJobBless failed without an error."));
    }
    return PrivilegedHelperActionResult{true, "Privileged helper installed.", std::nullopt};
}

} // namespace windlark
