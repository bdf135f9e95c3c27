#pragma once

#include "helper/HelperInstaller.h"

#include <memory>
#include <string>
#include <vector>

namespace windlark {

// Scripted authorisation and job steps; records the order of the steps and whether the
// authorisation was freed.
class FakeHelperInstaller final : public HelperInstaller {
public:
    struct Log {
        std::vector<std::string> steps;
        int authorizationsFreed = 0;
    };

    bool authorizationSucceeds = true;
    HelperAuthorizationStep failingStep = HelperAuthorizationStep::copyRights;
    std::int32_t failureStatus = -60006;
    ServiceManagementOutcome removeOutcome{true, std::nullopt};
    ServiceManagementOutcome blessOutcome{true, std::nullopt};
    std::shared_ptr<Log> log = std::make_shared<Log>();

    HelperAuthorizationAttempt authorize() override {
        log->steps.emplace_back("authorize");
        if (!authorizationSucceeds) {
            return {nullptr, failingStep, failureStatus};
        }
        return {std::make_unique<Authorization>(*this), HelperAuthorizationStep::create, 0};
    }

private:
    class Authorization final : public HelperAuthorization {
    public:
        explicit Authorization(FakeHelperInstaller& owner)
            : owner_(owner) {}
        ~Authorization() override { ++owner_.log->authorizationsFreed; }
        ServiceManagementOutcome removeJob(std::string_view label) override {
            owner_.log->steps.push_back("remove " + std::string(label));
            return owner_.removeOutcome;
        }
        ServiceManagementOutcome blessJob(std::string_view label) override {
            owner_.log->steps.push_back("bless " + std::string(label));
            return owner_.blessOutcome;
        }

    private:
        FakeHelperInstaller& owner_;
    };
};

} // namespace windlark
