#pragma once

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "helper/CodeSigningService.h"
#include "helper/HelperConnection.h"
#include "helper/HelperHost.h"
#include "helper/HelperInstaller.h"
#include "helper/PrivilegedHelperClient.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// How long each request waits for the helper before giving up.
struct PrivilegedHelperTimeouts {
    std::chrono::milliseconds statusRead{
        std::chrono::seconds(WindlarkPrivilegedHelperXPC::requestTimeoutSeconds)};
    std::chrono::milliseconds reset{
        std::chrono::seconds(WindlarkPrivilegedHelperXPC::resetTimeoutSeconds)};
    // A one-off hold may make the helper spin the fan up before it answers.
    std::chrono::milliseconds manualHold{
        std::chrono::seconds(WindlarkPrivilegedHelperXPC::resetTimeoutSeconds)};
    // Renewals come every few seconds from the lease queue; a slow one must not pile up
    // behind the next.
    std::chrono::milliseconds curveRenewal{
        std::chrono::seconds(WindlarkPrivilegedHelperXPC::requestTimeoutSeconds + 3)};

    bool operator==(const PrivilegedHelperTimeouts&) const = default;
};

struct BundledPrivilegedHelperConfiguration {
    std::string helperExecutableName{WindlarkPrivilegedHelperXPC::serviceName};
    std::string expectedLabel{WindlarkPrivilegedHelperXPC::serviceName};
    std::string daemonPlistName = "com.quillmoor.WindlarkMac.Helper.plist";
    // The application whose team the helper must share; the main bundle when not given.
    std::optional<std::string> appCodePath;
    bool isConnectionEnabled = WindlarkPrivilegedHelperXPC::connectionEnabled;
    PrivilegedHelperTimeouts timeouts;
};

// The platform services the client works through. `connector` and `installer` may be
// empty on a platform that has no such thing.
struct PrivilegedHelperServices {
    std::shared_ptr<const HelperHost> host;
    std::shared_ptr<const CodeSigningService> codeSigning;
    std::shared_ptr<HelperConnector> connector;
    std::shared_ptr<HelperInstaller> installer;
};

// The application's only path to fan writes: finds, inspects and installs the helper
// bundled with the app and sends it requests. Every action blocks its calling thread until
// the reply or the time-out, so callers keep it off the main thread where that matters.
class BundledPrivilegedHelperClient final : public PrivilegedHelperClient {
public:
    static constexpr std::string_view privilegedToolsDirectory = "/Library/PrivilegedHelperTools";

    BundledPrivilegedHelperClient(PrivilegedHelperServices services,
                                  BundledPrivilegedHelperConfiguration configuration = {});

    [[nodiscard]] PrivilegedHelperHealth readHealth() override;
    [[nodiscard]] PrivilegedHelperActionResult installPrivilegedHelper() override;
    [[nodiscard]] PrivilegedHelperActionResult resetToSystem() override;
    [[nodiscard]] PrivilegedHelperActionResult
    holdManualTargetLease(double targetRPM, std::int64_t holdSeconds) override;
    [[nodiscard]] PrivilegedHelperActionResult
    renewCurveTargetLease(double targetRPM, std::int64_t leaseSeconds) override;

    [[nodiscard]] std::optional<std::string> resolveHelperPath() const;
    [[nodiscard]] std::optional<std::string> installedHelperPath() const;
    [[nodiscard]] std::string readDaemonServiceStatus() const;
    [[nodiscard]] const BundledPrivilegedHelperConfiguration& configuration() const {
        return configuration_;
    }

    // launchd's numeric daemon status as a word.
    [[nodiscard]] static std::string daemonStatusWord(std::int64_t status);

private:
    struct ProbeResult {
        bool heartbeat = false;
        bool resetAccepted = false;
        bool fanWritesEnabled = false;
    };

    [[nodiscard]] ProbeResult readXPCProbeIfAllowed(bool isPrivilegedInstallVerified,
                                                    bool hasTrustedProvenance);
    [[nodiscard]] HelperSessionOpening makeRemoteSession();
    [[nodiscard]] PrivilegedHelperActionResult
    sendManualTargetLease(double targetRPM, std::int64_t seconds, std::string_view reason,
                          std::chrono::milliseconds timeout);

    PrivilegedHelperServices services_;
    BundledPrivilegedHelperConfiguration configuration_;
};

} // namespace windlark
