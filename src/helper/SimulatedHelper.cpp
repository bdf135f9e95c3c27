#include "helper/SimulatedHelper.h"

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "contract/WindlarkManualTargetLeaseResponse.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <initializer_list>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace windlark {

struct SimulatedHelper::State {
    SimulatedHelperConfiguration configuration;
    std::shared_ptr<SimulatedMachine> machine;
    std::mutex mutex;
    bool isInstalled = false; // guarded: the installer may change it
    std::set<int> heldFans;   // guarded; every fan a lease was granted on since the last reset

    std::string bundledHelperPath() const {
        return std::string(bundlePath) + "/Contents/Library/LaunchServices/" +
               std::string(WindlarkPrivilegedHelperXPC::serviceName);
    }
    static std::string installedHelperPath() {
        return std::string(BundledPrivilegedHelperClient::privilegedToolsDirectory) + "/" +
               std::string(WindlarkPrivilegedHelperXPC::serviceName);
    }
};

namespace {

using State = SimulatedHelper::State;

// Closer than this counts as having reached the target.
constexpr double reachedToleranceRPM = 50.0;
// A day of lease and a minute of settling are far beyond any sensible simulation and far
// inside what the clocks can represent.
constexpr std::int64_t maximumLeaseSecondsLimit = 86'400;
constexpr double settleSecondsLimit = 60.0;

template <typename T>
bool readKey(const nlohmann::json& section, const char* key, T& target, std::string& error) {
    const auto found = section.find(key);
    if (found == section.end()) {
        return true;
    }
    try {
        // nlohmann converts between number kinds silently; insist on the declared kind.
        if constexpr (std::is_same_v<T, bool>) {
            if (!found->is_boolean()) {
                throw std::invalid_argument("a boolean");
            }
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
            if (!found->is_number_integer()) {
                throw std::invalid_argument("an integer");
            }
        } else if constexpr (std::is_same_v<T, double>) {
            if (!found->is_number()) {
                throw std::invalid_argument("a number");
            }
        } else {
            if (!found->is_string()) {
                throw std::invalid_argument("a string");
            }
        }
        target = found->get<T>();
        return true;
    } catch (const std::exception& failure) {
        error = std::string("helper.") + key + " must be " + failure.what();
        return false;
    }
}

bool readTeam(const nlohmann::json& section, const char* key, std::optional<std::string>& target,
              std::string& error) {
    const auto found = section.find(key);
    if (found == section.end()) {
        return true;
    }
    if (found->is_null()) {
        target.reset();
        return true;
    }
    if (!found->is_string()) {
        error = std::string("helper.") + key + " must be a string or null";
        return false;
    }
    target = found->get<std::string>();
    return true;
}

class SimulatedHost final : public HelperHost {
public:
    explicit SimulatedHost(std::shared_ptr<State> state)
        : state_(std::move(state)) {}

    std::optional<std::string> mainBundlePath() const override {
        return std::string(SimulatedHelper::bundlePath);
    }
    std::optional<std::string> mainExecutablePath() const override {
        return std::string(SimulatedHelper::bundlePath) + "/Contents/MacOS/Windlark Mac";
    }
    bool isExecutableFile(const std::string& path) const override {
        const std::lock_guard lock(state_->mutex);
        return (state_->configuration.isBundled && path == state_->bundledHelperPath()) ||
               (state_->isInstalled && path == State::installedHelperPath());
    }
    bool fileExists(const std::string& path) const override { return isExecutableFile(path); }
    std::int64_t daemonServiceStatus(const std::string&) const override {
        return state_->configuration.daemonStatus;
    }

private:
    std::shared_ptr<State> state_;
};

class SimulatedCodeSigning final : public CodeSigningService {
public:
    explicit SimulatedCodeSigning(std::shared_ptr<State> state)
        : state_(std::move(state)) {}

    std::optional<StaticCodeSignature> readStaticCode(const std::string& path) const override {
        const SimulatedHelperConfiguration& configuration = state_->configuration;
        if (path == SimulatedHelper::bundlePath) {
            PropertyDictionary executables;
            if (configuration.hasBlessMetadata) {
                executables.set(std::string(WindlarkPrivilegedHelperXPC::serviceName),
                                "identifier \"" +
                                    std::string(WindlarkPrivilegedHelperXPC::serviceName) + "\"");
            }
            return StaticCodeSignature{
                0, "com.quillmoor.WindlarkMac", configuration.appTeamIdentifier,
                PropertyDictionary{{"SMPrivilegedExecutables", std::move(executables)}}};
        }
        if (path == state_->bundledHelperPath() || path == State::installedHelperPath()) {
            PropertyArray clients;
            if (configuration.hasBlessMetadata) {
                clients.emplace_back("identifier \"com.quillmoor.WindlarkMac\"");
            }
            // -67061: the platform's "code failed to satisfy its signature" result.
            return StaticCodeSignature{
                configuration.isSignatureValid ? 0 : -67061, configuration.signingIdentifier,
                configuration.teamIdentifier,
                PropertyDictionary{{"SMAuthorizedClients", std::move(clients)}}};
        }
        return std::nullopt;
    }
    bool compilesRequirement(const std::string& requirement) const override {
        return !requirement.empty();
    }

private:
    std::shared_ptr<State> state_;
};

// Answers on a thread of its own, as the real helper answers on its connection's queue, so
// that the client's time-outs apply to a slow answer too. Finished threads are joined when
// the next request comes (an app renewing every few seconds would otherwise pile up a
// thread per renewal), the rest when the connector goes away.
class SimulatedConnector final : public HelperConnector {
public:
    explicit SimulatedConnector(std::shared_ptr<SimulatedHelper> helper)
        : helper_(std::move(helper)) {}
    SimulatedConnector(const SimulatedConnector&) = delete;
    SimulatedConnector& operator=(const SimulatedConnector&) = delete;
    ~SimulatedConnector() override {
        const std::lock_guard lock(mutex_);
        for (Worker& worker : workers_) {
            worker.thread.join();
        }
    }

    HelperSessionOpening openSession() override {
        return {std::make_unique<Session>(*this), std::nullopt};
    }

private:
    class Session final : public HelperSession {
    public:
        explicit Session(SimulatedConnector& owner)
            : owner_(owner) {}

        void readStatus(HelperReplyHandler reply) override {
            owner_.answer(std::move(reply),
                          [](SimulatedHelper& helper) { return helper.readStatus(); });
        }
        void resetToSystem(HelperReplyHandler reply) override {
            owner_.answer(std::move(reply),
                          [](SimulatedHelper& helper) { return helper.resetToSystem(); });
        }
        void holdManualTargetLease(const PropertyDictionary& request,
                                   HelperReplyHandler reply) override {
            owner_.answer(std::move(reply), [request](SimulatedHelper& helper) {
                return helper.holdManualTargetLease(request);
            });
        }

    private:
        SimulatedConnector& owner_;
    };

    template <typename Operation>
    void answer(HelperReplyHandler reply, Operation operation) {
        // A hanging helper simply never calls back; the client's time-out handles it.
        if (helper_->configuration().hangs) {
            return;
        }
        const std::lock_guard lock(mutex_);
        std::erase_if(workers_, [](Worker& worker) {
            if (!worker.isDone->load()) {
                return false;
            }
            worker.thread.join();
            return true;
        });
        auto isDone = std::make_shared<std::atomic<bool>>(false);
        std::thread thread([helper = helper_, reply = std::move(reply), operation, isDone] {
            reply(operation(*helper));
            isDone->store(true);
        });
        workers_.push_back({std::move(thread), std::move(isDone)});
    }

    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> isDone;
    };

    std::shared_ptr<SimulatedHelper> helper_;
    std::mutex mutex_;
    std::vector<Worker> workers_;
};

class SimulatedAuthorization final : public HelperAuthorization {
public:
    explicit SimulatedAuthorization(std::shared_ptr<State> state)
        : state_(std::move(state)) {}

    ServiceManagementOutcome removeJob(std::string_view) override {
        const std::lock_guard lock(state_->mutex);
        if (!state_->isInstalled) {
            return {false, ServiceManagementError{
                               ServiceManagementError::jobNotFoundCode, "The job was not found.",
                               ServiceManagementError::Domain::serviceManagement}};
        }
        state_->isInstalled = false;
        return {true, std::nullopt};
    }
    ServiceManagementOutcome blessJob(std::string_view) override {
        const std::lock_guard lock(state_->mutex);
        if (!state_->configuration.isBundled) {
            return {false, ServiceManagementError{2, "The helper tool is not in the bundle."}};
        }
        state_->isInstalled = true;
        return {true, std::nullopt};
    }

private:
    std::shared_ptr<State> state_;
};

class SimulatedInstaller final : public HelperInstaller {
public:
    explicit SimulatedInstaller(std::shared_ptr<State> state)
        : state_(std::move(state)) {}

    HelperAuthorizationAttempt authorize() override {
        return {std::make_unique<SimulatedAuthorization>(state_), HelperAuthorizationStep::create,
                0};
    }

private:
    std::shared_ptr<State> state_;
};

} // namespace

SimulatedHelperParseResult parseSimulatedHelper(const nlohmann::json& document) {
    SimulatedHelperParseResult result;
    if (!document.is_object()) {
        return result;
    }
    const auto found = document.find("helper");
    if (found == document.end()) {
        return result;
    }
    const nlohmann::json& section = *found;
    if (!section.is_object()) {
        result.error = "helper must be an object";
        return result;
    }
    SimulatedHelperConfiguration configuration;
    std::string fanWrites = "enabled";
    std::string& error = result.error;
    const bool ok =
        readKey(section, "bundled", configuration.isBundled, error) &&
        readKey(section, "installed", configuration.isInstalled, error) &&
        readKey(section, "signatureValid", configuration.isSignatureValid, error) &&
        readKey(section, "signingIdentifier", configuration.signingIdentifier, error) &&
        readTeam(section, "teamIdentifier", configuration.teamIdentifier, error) &&
        readTeam(section, "appTeamIdentifier", configuration.appTeamIdentifier, error) &&
        readKey(section, "blessMetadata", configuration.hasBlessMetadata, error) &&
        readKey(section, "heartbeat", configuration.hasHeartbeat, error) &&
        readKey(section, "fanWrites", fanWrites, error) &&
        readKey(section, "hangs", configuration.hangs, error) &&
        readKey(section, "refusesLeases", configuration.refusesLeases, error) &&
        readKey(section, "maximumLeaseSeconds", configuration.maximumLeaseSeconds, error) &&
        readKey(section, "daemonStatus", configuration.daemonStatus, error) &&
        readKey(section, "holdSettleSeconds", configuration.holdSettleSeconds, error) &&
        readKey(section, "renewalSettleSeconds", configuration.renewalSettleSeconds, error);
    if (!ok) {
        return result;
    }
    // These end up as points in time; out of these bounds they would overflow the clock.
    if (configuration.maximumLeaseSeconds < 1 ||
        configuration.maximumLeaseSeconds > maximumLeaseSecondsLimit) {
        result.error = "helper.maximumLeaseSeconds must be between 1 and " +
                       std::to_string(maximumLeaseSecondsLimit);
        return result;
    }
    for (const auto& [key, seconds] :
         {std::pair{"holdSettleSeconds", configuration.holdSettleSeconds},
          std::pair{"renewalSettleSeconds", configuration.renewalSettleSeconds}}) {
        if (!(seconds >= 0.0 && seconds <= settleSecondsLimit)) {
            result.error = std::string("helper.") + key + " must be between 0 and " +
                           std::to_string(static_cast<int>(settleSecondsLimit));
            return result;
        }
    }
    if (fanWrites != "enabled" && fanWrites != "disabled") {
        result.error = "helper.fanWrites must be \"enabled\" or \"disabled\"";
        return result;
    }
    configuration.isFanWriteGateOpen = fanWrites == "enabled";
    result.configuration = configuration;
    return result;
}

SimulatedHelper::SimulatedHelper(SimulatedHelperConfiguration configuration,
                                 std::shared_ptr<SimulatedMachine> machine)
    : state_(std::make_shared<State>()) {
    state_->configuration = std::move(configuration);
    state_->machine = std::move(machine);
    state_->isInstalled = state_->configuration.isInstalled;
}

const SimulatedHelperConfiguration& SimulatedHelper::configuration() const {
    return state_->configuration;
}

PrivilegedHelperServices SimulatedHelper::services() const {
    // The connector keeps its own helper sharing this state, so the seams stay valid
    // however long the client keeps them.
    auto helper = std::make_shared<SimulatedHelper>(*this);
    return {std::make_shared<SimulatedHost>(state_), std::make_shared<SimulatedCodeSigning>(state_),
            std::make_shared<SimulatedConnector>(std::move(helper)),
            std::make_shared<SimulatedInstaller>(state_)};
}

PropertyDictionary SimulatedHelper::readStatus() const {
    WindlarkPrivilegedHelperStatus status;
    status.privilege = "root";
    status.fanWrites = state_->configuration.isFanWriteGateOpen ? "enabled" : "disabled";
    if (state_->configuration.hasHeartbeat) {
        status.heartbeat = "ok";
    }
    return status.dictionary();
}

PropertyDictionary SimulatedHelper::resetToSystem() {
    std::set<int> heldFans;
    {
        const std::lock_guard lock(state_->mutex);
        heldFans.swap(state_->heldFans);
    }
    // A reset hands every fan back, not only the one the app drives.
    if (state_->machine) {
        for (const int fanIndex : heldFans) {
            state_->machine->releaseFan(fanIndex);
        }
    }
    WindlarkPrivilegedHelperStatus status =
        WindlarkPrivilegedHelperStatus::resetAccepted(!heldFans.empty());
    status.privilege = "root";
    status.fanWrites = state_->configuration.isFanWriteGateOpen ? "enabled" : "disabled";
    return status.dictionary();
}

PropertyDictionary SimulatedHelper::holdManualTargetLease(const PropertyDictionary& request) {
    const auto lease = WindlarkManualTargetLeaseRequest::fromDictionary(request);
    if (!lease) {
        return WindlarkManualTargetLeaseResponse::rejected("invalid lease request", 0).dictionary();
    }
    const SimulatedHelperConfiguration& configuration = state_->configuration;
    const auto reject = [&lease](const char* why) {
        return WindlarkManualTargetLeaseResponse::rejected(why, lease->fanIndex).dictionary();
    };
    if (configuration.refusesLeases) {
        return reject("lease refused");
    }
    if (!configuration.isFanWriteGateOpen) {
        return reject("fan writes disabled");
    }
    if (lease->holdSeconds <= 0 || lease->holdSeconds > configuration.maximumLeaseSeconds) {
        return reject("lease length out of range");
    }
    if (!std::isfinite(lease->targetRPM) || lease->targetRPM <= 0.0) {
        return reject("target RPM out of range");
    }
    if (!state_->machine || lease->fanIndex < 0 || lease->fanIndex > 64) {
        return reject("no such fan");
    }
    const int fanIndex = static_cast<int>(lease->fanIndex);
    SimulatedMachine& machine = *state_->machine;
    const Timestamp until =
        addingSeconds(machine.clock().now(), static_cast<double>(lease->holdSeconds));
    if (!machine.holdFanTarget(fanIndex, lease->targetRPM, until)) {
        return reject("no such fan");
    }
    {
        const std::lock_guard lock(state_->mutex);
        state_->heldFans.insert(fanIndex);
    }
    // The helper waits a little for the fan to spin toward the target before it reports,
    // as a real one does; a curve renewal waits less, well inside its shorter time-out.
    const double settleSeconds = lease->isCurveRenewal() ? configuration.renewalSettleSeconds
                                                         : configuration.holdSettleSeconds;
    if (settleSeconds > 0.0) {
        const auto settleDeadline =
            std::chrono::steady_clock::now() + std::chrono::duration<double>(settleSeconds);
        while (std::chrono::steady_clock::now() < settleDeadline) {
            const std::optional<double> speed = machine.fanSpeed(fanIndex);
            if (!speed || std::fabs(*speed - lease->targetRPM) < reachedToleranceRPM) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
    WindlarkManualTargetLeaseResponse response;
    response.accepted = true;
    response.fanIndex = lease->fanIndex;
    response.requestedTargetRPM = lease->targetRPM;
    response.appliedTargetRPM = lease->targetRPM;
    response.finalActualRPM = machine.fanSpeed(fanIndex);
    response.targetReached =
        response.finalActualRPM &&
        std::fabs(*response.finalActualRPM - lease->targetRPM) < reachedToleranceRPM;
    return response.dictionary();
}

} // namespace windlark
