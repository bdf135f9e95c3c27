#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The rights one authorisation asks for before an install: blessing the new helper, and
// modifying system daemons, which removing the old helper's job needs.
// (kSMRightBlessPrivilegedHelper and kSMRightModifySystemDaemons.)
inline constexpr std::array<std::string_view, 2> helperInstallRights{
    "com.apple.ServiceManagement.blesshelper", "com.apple.ServiceManagement.daemons.modify"};

// An error as the service-management layer reports it: where it comes from, a numeric
// code and its text.
struct ServiceManagementError {
    // Codes mean different things in different domains: 6 is "no such job" only in the
    // service-management framework's own domain, and something else entirely among
    // launchd's POSIX codes.
    enum class Domain { serviceManagement, launchd, other };

    // The framework's "no such job" (kSMErrorJobNotFound): removing a helper that was never
    // installed is the normal first install, not a failure.
    static constexpr std::int64_t jobNotFoundCode = 6;

    std::int64_t code = 0;
    std::string description;
    Domain domain = Domain::other;

    [[nodiscard]] bool isJobNotFound() const {
        return domain == Domain::serviceManagement && code == jobNotFoundCode;
    }

    bool operator==(const ServiceManagementError&) const = default;
};

struct ServiceManagementOutcome {
    bool isSuccess = false;
    std::optional<ServiceManagementError> error; // may be missing even on failure

    bool operator==(const ServiceManagementOutcome&) const = default;
};

// An administrator authorisation holding the right to install helpers. Destroying it frees
// the authorisation, so every path out of an install releases it.
class HelperAuthorization {
public:
    virtual ~HelperAuthorization() = default;

    // Removes the launchd job `label` from the system domain and waits for completion.
    [[nodiscard]] virtual ServiceManagementOutcome removeJob(std::string_view label) = 0;
    // Installs the bundled helper `label` as a system launchd daemon.
    [[nodiscard]] virtual ServiceManagementOutcome blessJob(std::string_view label) = 0;
};

enum class HelperAuthorizationStep {
    create,     // creating an empty authorisation
    copyRights, // obtaining the install right (this is where the user may cancel)
};

struct HelperAuthorizationAttempt {
    std::unique_ptr<HelperAuthorization> authorization; // empty on failure
    HelperAuthorizationStep failedStep = HelperAuthorizationStep::create;
    std::int32_t status = 0; // the platform's result code of the failed step
};

// Seam to the platform's authorisation and service-management installer.
class HelperInstaller {
public:
    virtual ~HelperInstaller() = default;
    [[nodiscard]] virtual HelperAuthorizationAttempt authorize() = 0;
};

} // namespace windlark
