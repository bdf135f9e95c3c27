#pragma once

#include <cstdint>
#include <string_view>

namespace windlark {

// Identity of the privileged helper and of the XPC contract both programs compile in.
// Changing any of these breaks every installed helper, so they are fixed at build time.
struct WindlarkPrivilegedHelperXPC {
    WindlarkPrivilegedHelperXPC() = delete;

    // Also the helper's launchd label and its signing identifier.
    static constexpr std::string_view serviceName = "com.quillmoor.WindlarkMac.Helper";
    static constexpr std::string_view interfaceName = "WindlarkPrivilegedHelperXPCProtocol";
    static constexpr std::int64_t protocolVersion = 2;
    // The app-side "compile-time lock": a build with this off never opens a connection.
    static constexpr bool connectionEnabled = true;
    static constexpr std::string_view listenerStatus = "launchd-mach-service";
    static constexpr std::string_view connectionStatus = "enabled";
    static constexpr bool fanWritesEnabled = true;
    static constexpr std::int64_t requestTimeoutSeconds = 2;
    // A reset must get the fans back to the system before it answers, so it is given
    // four times the ordinary request time.
    static constexpr std::int64_t resetTimeoutSeconds = 8;

    // Reasons a lease request carries, so the helper can log who asked.
    static constexpr std::string_view curveRenewalReason = "app-curve-renewal";
    static constexpr std::string_view appManualTargetLeaseReason = "app-manual-target-lease";
    static constexpr std::string_view manualTargetLeaseReason = "manual-target-lease";
};

static_assert(WindlarkPrivilegedHelperXPC::resetTimeoutSeconds ==
                  4 * WindlarkPrivilegedHelperXPC::requestTimeoutSeconds,
              "a reset gets four times the time of an ordinary request");

} // namespace windlark
