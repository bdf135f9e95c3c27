#include "platform/macos/MacHelperInstaller.h"

#include "platform/macos/MacCFString.h"

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Authorization.h>
#include <ServiceManagement/ServiceManagement.h>
#include <iterator>
#include <string>
#include <string_view>

namespace windlark {

static_assert(ServiceManagementError::jobNotFoundCode == kSMErrorJobNotFound);
static_assert(helperInstallRights[0] == std::string_view(kSMRightBlessPrivilegedHelper));
static_assert(helperInstallRights[1] == std::string_view(kSMRightModifySystemDaemons));

namespace {

// SMJobBless and SMJobRemove are deprecated in favour of SMAppService, which cannot install
// a privileged helper tool; they remain the way to do exactly that.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

CFStringRef createLabel(std::string_view label) {
    return CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(label.data()),
        static_cast<CFIndex>(label.size()), kCFStringEncodingUTF8, false);
}

ServiceManagementError::Domain domainOf(CFErrorRef error) {
    // Borrowed (a "Get" function): not released here.
    CFStringRef domain = CFErrorGetDomain(error);
    if (domain == nullptr) {
        return ServiceManagementError::Domain::other;
    }
    if (CFEqual(domain, kSMErrorDomainFramework)) {
        return ServiceManagementError::Domain::serviceManagement;
    }
    if (CFEqual(domain, kSMErrorDomainLaunchd)) {
        return ServiceManagementError::Domain::launchd;
    }
    return ServiceManagementError::Domain::other;
}

// Takes ownership of `error` (which may be null) and releases it.
ServiceManagementOutcome outcome(bool succeeded, CFErrorRef error) {
    ServiceManagementOutcome result;
    result.isSuccess = succeeded;
    if (error != nullptr) {
        if (!succeeded) {
            ServiceManagementError described;
            described.code = static_cast<std::int64_t>(CFErrorGetCode(error));
            described.domain = domainOf(error);
            const MacCF::Owned<CFStringRef> description(CFErrorCopyDescription(error));
            if (description) {
                described.description = MacCF::utf8(description.get()).value_or("");
            }
            result.error = described;
        }
        CFRelease(error);
    }
    return result;
}

class MacHelperAuthorization final : public HelperAuthorization {
public:
    explicit MacHelperAuthorization(AuthorizationRef authorization)
        : authorization_(authorization) {}
    MacHelperAuthorization(const MacHelperAuthorization&) = delete;
    MacHelperAuthorization& operator=(const MacHelperAuthorization&) = delete;
    ~MacHelperAuthorization() override {
        AuthorizationFree(authorization_, kAuthorizationFlagDefaults);
    }

    ServiceManagementOutcome removeJob(std::string_view label) override {
        CFStringRef cfLabel = createLabel(label);
        if (cfLabel == nullptr) {
            return {false, std::nullopt};
        }
        CFErrorRef error = nullptr;
        // `true`: wait until launchd has removed the job, so the bless that follows does
        // not race the old helper.
        const Boolean removed =
            SMJobRemove(kSMDomainSystemLaunchd, cfLabel, authorization_, true, &error);
        CFRelease(cfLabel);
        return outcome(removed, error);
    }

    ServiceManagementOutcome blessJob(std::string_view label) override {
        CFStringRef cfLabel = createLabel(label);
        if (cfLabel == nullptr) {
            return {false, std::nullopt};
        }
        CFErrorRef error = nullptr;
        const Boolean blessed = SMJobBless(kSMDomainSystemLaunchd, cfLabel, authorization_, &error);
        CFRelease(cfLabel);
        return outcome(blessed, error);
    }

private:
    AuthorizationRef authorization_;
};

#pragma clang diagnostic pop

} // namespace

HelperAuthorizationAttempt MacHelperInstaller::authorize() {
    AuthorizationRef reference = nullptr;
    OSStatus status = AuthorizationCreate(nullptr, kAuthorizationEmptyEnvironment,
                                          kAuthorizationFlagDefaults, &reference);
    if (status != errAuthorizationSuccess || reference == nullptr) {
        if (reference != nullptr) {
            AuthorizationFree(reference, kAuthorizationFlagDefaults);
        }
        return {nullptr, HelperAuthorizationStep::create, status};
    }
    // From here the authorisation is owned and freed on every path.
    auto authorization = std::make_unique<MacHelperAuthorization>(reference);

    // Both rights in one request, so the user is asked once: blessing needs the first,
    // removing the old job (SMJobRemove) the second.
    AuthorizationItem items[] = {
        {kSMRightBlessPrivilegedHelper, 0, nullptr, 0},
        {kSMRightModifySystemDaemons, 0, nullptr, 0},
    };
    AuthorizationRights rights = {static_cast<UInt32>(std::size(items)), items};
    const AuthorizationFlags flags = kAuthorizationFlagInteractionAllowed |
                                     kAuthorizationFlagExtendRights |
                                     kAuthorizationFlagPreAuthorize;
    status =
        AuthorizationCopyRights(reference, &rights, kAuthorizationEmptyEnvironment, flags, nullptr);
    if (status != errAuthorizationSuccess) {
        return {nullptr, HelperAuthorizationStep::copyRights, status};
    }
    return {std::move(authorization), HelperAuthorizationStep::create, 0};
}

} // namespace windlark
