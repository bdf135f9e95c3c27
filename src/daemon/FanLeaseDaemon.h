#pragma once

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "daemon/DaemonError.h"
#include "daemon/DaemonFan.h"
#include "daemon/DaemonFrame.h"
#include "daemon/FanCalibration.h"
#include "daemon/FanWriter.h"
#include "daemon/RequestRateLimiter.h"
#include "daemon/SavedFanState.h"
#include "daemon/SysfsAccess.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace windlark {

using DaemonClientId = std::uint64_t;

struct FanLeaseDaemonConfiguration {
    // What the status reply says about the daemon's rights ("root" when it runs as root).
    std::string privilege = "root";
    // The group whose members may use the socket, named in the refusal so that a user
    // learns how to get in.
    std::string group = "windlark";
    std::chrono::seconds maximumHold{15};
    int requestsPerSecond = 10;
    // A fan that reads 0 RPM this long while its duty should spin it has stalled.
    std::chrono::seconds stallTime{3};
    // A fan whose speed stays this far from its target this long does not follow its
    // duty (a write the driver keeps but the fan ignores).
    double unresponsiveShare = 0.25;
    std::chrono::seconds unresponsiveTime{15};
    // The firmware watchdog is re-armed this often while a lease runs.
    std::chrono::seconds watchdogRearm{10};
    FanCalibrationSettings calibration;
};

// Each way a lease can end, for the log.
enum class LeaseEnd { released, expired, disconnected, fault, shutdown };

// The daemon's rules, free of sockets and timers: who holds the fans, what each request
// does to them, and how they are handed back. The caller feeds it frames, closed
// connections and a tick about once a second, each with the time on a monotonic clock,
// and sends back what it returns.
class FanLeaseDaemon {
public:
    // `calibrationStore` keeps the measured maps (calibration.json); without one, fans
    // cannot be calibrated.
    FanLeaseDaemon(SysfsAccess& sysfs, SavedStateStore& savedStore, std::vector<DaemonFan> fans,
                   FanLeaseDaemonConfiguration configuration = {},
                   SavedStateStore* calibrationStore = nullptr);

    struct FrameOutcome {
        std::optional<std::string> reply;
        bool closeClient = false;
    };

    // `isPermitted`: the peer passed the socket's access check (root, the group, or an
    // active local session).
    [[nodiscard]] FrameOutcome handleFrame(DaemonClientId client, bool isPermitted,
                                           std::string_view frame, MonotonicTime now);
    void clientClosed(DaemonClientId client);
    // Expiry, `pwmN_enable` changed behind our back, stalls, the slow speed correction.
    void tick(MonotonicTime now);
    // Ends any lease and puts back every fan that has a saved state (termination, sleep).
    // True when every fan read back as restored.
    bool handBackAll(LeaseEnd why);
    // Before the machine sleeps every fan goes back and stays back: a renewal arriving
    // between this and the suspend is refused as busy. After resume leases work again.
    bool prepareForSleep(bool isSleeping);
    // At start-up: a saved file left by a daemon that died mid-lease is restored, matched
    // to fans by their stable ids, then removed.
    bool restoreLeftovers();

    [[nodiscard]] std::optional<DaemonClientId> holder() const { return holder_; }
    [[nodiscard]] const std::vector<DaemonFan>& fans() const { return fans_; }
    [[nodiscard]] std::vector<const DaemonFan*> controllableFans() const;
    // Frames to push to clients unasked (a lease ended by a fault), and log lines.
    [[nodiscard]] std::vector<std::pair<DaemonClientId, std::string>> takeEvents();
    [[nodiscard]] std::vector<std::string> takeLog();

private:
    struct DrivenFan {
        std::int64_t value = 0; // the duty or RPM target last written
        double targetRPM = 0.0;
        std::optional<MonotonicTime> zeroSince;
        std::optional<MonotonicTime> offTargetSince;
    };

    [[nodiscard]] PropertyDictionary status() const;
    [[nodiscard]] PropertyDictionary calibrate(DaemonClientId client);
    // Puts the fan being measured back and keeps every old map.
    void cancelCalibration(std::string_view why);
    void finishCalibration();
    [[nodiscard]] PropertyDictionary reset(DaemonClientId client);
    [[nodiscard]] PropertyDictionary lease(DaemonClientId client,
                                           const WindlarkManualTargetLeaseRequest& request,
                                           MonotonicTime now);
    [[nodiscard]] std::optional<DaemonError>
    checkLease(const WindlarkManualTargetLeaseRequest& request) const;
    [[nodiscard]] std::optional<DaemonError> beginLease(MonotonicTime now);
    [[nodiscard]] std::optional<DaemonError> apply(const DaemonFan& reference, double targetRPM);
    [[nodiscard]] std::optional<DaemonError> supervise(const DaemonFan& fan, DrivenFan& driven,
                                                       MonotonicTime now);
    // Hands the fans back; `fault` is told to the holder and kept until it resets.
    bool endLease(LeaseEnd why, const std::optional<DaemonError>& fault = std::nullopt);
    bool restoreSaved();
    [[nodiscard]] const DaemonFan* fanById(std::string_view id) const;
    void log(std::string line) { log_.push_back(std::move(line)); }

    SysfsAccess& sysfs_;
    SavedStateStore& savedStore_;
    FanWriter writer_;
    std::vector<DaemonFan> fans_;
    FanLeaseDaemonConfiguration configuration_;

    std::optional<DaemonClientId> holder_;
    bool isSleeping_ = false;
    SavedStateStore* calibrationStore_;
    std::optional<FanCalibration> calibration_;
    std::string calibrationOutcome_; // the last run's, for the status
    MonotonicTime expiry_{};
    MonotonicTime lastWatchdogArm_{};
    std::vector<SavedFanState> saved_;
    std::map<std::string, DrivenFan> driven_;
    std::map<DaemonClientId, RequestRateLimiter> limiters_;
    std::map<DaemonClientId, DaemonError> faults_;
    std::vector<std::pair<DaemonClientId, std::string>> events_;
    std::vector<std::string> log_;
};

} // namespace windlark
