#include "shell/SystemLoginItemController.h"

#include "fakes/InMemoryLoginItemService.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace windlark {
namespace {

TEST(SystemLoginItemController, MapsPlatformStatusAndReadsItAfreshEachTime) {
    auto service = std::make_shared<InMemoryLoginItemService>();
    const SystemLoginItemController controller(service);
    const std::vector<std::pair<int, LoginItemStatus>> cases = {
        {0, LoginItemStatus::disabled},         {1, LoginItemStatus::enabled},
        {2, LoginItemStatus::requiresApproval}, {3, LoginItemStatus::disabled},
        {4, LoginItemStatus::disabled},         {-1, LoginItemStatus::disabled},
    };
    for (const auto& [code, expected] : cases) {
        service->code = code; // changed behind the controller's back, as in System Settings
        EXPECT_EQ(controller.status(), expected) << code;
    }
}

TEST(LoginItemStatus, RawValuesAreTheReportedTokens) {
    std::string tokens;
    for (const LoginItemStatus status : allCases<LoginItemStatus>) {
        tokens.append(rawValue(status)).append(" ");
    }
    EXPECT_EQ(tokens, "disabled enabled requiresApproval ");
}

TEST(SystemLoginItemController, SwitchesOnlyWhenTheStateDiffers) {
    // The registration before, the switch asked for, the calls made, the status after.
    const std::tuple<int, bool, std::vector<std::string>, LoginItemStatus> cases[] = {
        {LoginItemService::kNotRegistered, true, {"register"}, LoginItemStatus::enabled},
        {LoginItemService::kRequiresApproval, true, {"register"}, LoginItemStatus::enabled},
        {LoginItemService::kEnabled, true, {}, LoginItemStatus::enabled},
        {LoginItemService::kEnabled, false, {"unregister"}, LoginItemStatus::disabled},
        // A pending approval request is withdrawn.
        {LoginItemService::kRequiresApproval, false, {"unregister"}, LoginItemStatus::disabled},
        {LoginItemService::kNotRegistered, false, {}, LoginItemStatus::disabled},
    };
    for (const auto& [before, isEnabling, calls, after] : cases) {
        auto service = std::make_shared<InMemoryLoginItemService>();
        service->code = before;
        SystemLoginItemController controller(service);
        EXPECT_EQ(controller.setEnabled(isEnabling), std::nullopt);
        EXPECT_EQ(service->calls, calls) << before << " " << isEnabling;
        EXPECT_EQ(controller.status(), after) << before << " " << isEnabling;
    }
}

TEST(SystemLoginItemController, PassesPlatformErrorsAndApprovalStateThrough) {
    auto service = std::make_shared<InMemoryLoginItemService>();
    SystemLoginItemController controller(service);

    service->statusAfterRegister = LoginItemService::kRequiresApproval;
    EXPECT_EQ(controller.setEnabled(true), std::nullopt);
    EXPECT_EQ(controller.status(), LoginItemStatus::requiresApproval);

    service->unregisterError = LoginItemError{"Operation not permitted"};
    EXPECT_EQ(controller.setEnabled(false), LoginItemError{"Operation not permitted"});
    EXPECT_EQ(controller.status(), LoginItemStatus::requiresApproval);

    service->code = LoginItemService::kNotRegistered;
    service->registerError = LoginItemError{"The operation couldn't be completed."};
    EXPECT_EQ(controller.setEnabled(true), LoginItemError{"The operation couldn't be completed."});
    EXPECT_EQ(controller.status(), LoginItemStatus::disabled);
    EXPECT_EQ(service->calls, (std::vector<std::string>{"register", "unregister", "register"}));
}

} // namespace
} // namespace windlark
