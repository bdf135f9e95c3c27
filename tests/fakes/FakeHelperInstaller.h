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
    std::optional<HelperAuthorizationAttempt> refusal; // when set, authorising fails so
    ServiceManagementOutcome removeOutcome{true, std::nullopt};
    ServiceManagementOutcome blessOutcome{true, std::nullopt};
    std::vector<std::string> steps;
    int authorizationsFreed = 0;

    HelperAuthorizationAttempt authorize() override {
        steps.emplace_back("authorize");
        if (refusal) {
            return {nullptr, refusal->failedStep, refusal->status};
        }
        return {std::make_unique<Authorization>(*this), HelperAuthorizationStep::create, 0};
    }

private:
    struct Authorization final : HelperAuthorization {
        explicit Authorization(FakeHelperInstaller& installer)
            : owner(installer) {}
        ~Authorization() override { ++owner.authorizationsFreed; }
        ServiceManagementOutcome removeJob(std::string_view label) override {
            owner.steps.push_back("remove " + std::string(label));
            return owner.removeOutcome;
        }
        ServiceManagementOutcome blessJob(std::string_view label) override {
            owner.steps.push_back("bless " + std::string(label));
            return owner.blessOutcome;
        }
        FakeHelperInstaller& owner;
    };
};

} // namespace windlark
