#include "daemon/CalibrationMap.h"
#include "daemon/DaemonFan.h"
#include "daemon/DaemonFrame.h"
#include "daemon/RequestRateLimiter.h"
#include "daemon/SavedFanState.h"

#include <cstring>
#include <gtest/gtest.h>

namespace windlark {
namespace {

TEST(DaemonFrame, DecodesRequestsAndRefusesEverythingElseAsMalformed) {
    const DaemonRequest lease{7, DaemonOperation::holdManualTargetLease,
                              WindlarkManualTargetLeaseRequest{0, 1500.0, 15, "app-curve-renewal"}};
    EXPECT_EQ(decodeRequestFrame(encodeRequestFrame(lease)).request, lease);
    EXPECT_EQ(decodeRequestFrame(R"({"id": -3, "op": "resetToSystem"})").request,
              (DaemonRequest{-3, DaemonOperation::resetToSystem, std::nullopt}));

    const struct {
        std::string frame;
        std::optional<std::int64_t> id;
    } cases[] = {
        {"", std::nullopt},
        {"{\"id\": 1, \"op\": ", std::nullopt},
        {"[1, 2]", std::nullopt},
        {R"({"id":1,"op":"readStatus","pad":")" + std::string(65536, 'x') + "\"}", std::nullopt},
        {R"({"id": "1", "op": "readStatus"})", std::nullopt},
        {R"({"id": 1.5, "op": "readStatus"})", std::nullopt},
        {R"({"id": 2, "op": 3})", 2},
        {R"({"id": 2, "op": "ReadStatus"})", 2},
        {R"({"id": 4, "op": "holdManualTargetLease"})", 4},
        {R"({"id": 4, "op": "holdManualTargetLease", "request": [1]})", 4},
        // The contract's types: an integer target is not a double, a text index no index.
        {R"({"id": 5, "op": "holdManualTargetLease", "request": {"fanIndex": 0,
            "targetRPM": 1500, "holdSeconds": 15, "reason": "r"}})",
         5},
        {R"({"id": 6, "op": "holdManualTargetLease", "request": {"fanIndex": "0",
            "targetRPM": 1500.0, "holdSeconds": 15, "reason": "r"}})",
         6},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.frame.substr(0, 80));
        const DecodedRequest refused = decodeRequestFrame(testCase.frame);
        EXPECT_FALSE(refused.request);
        ASSERT_TRUE(refused.error);
        EXPECT_EQ(refused.error->codeText(), "malformed");
        EXPECT_EQ(refused.id, testCase.id);
    }
}

// A reply frame's kind, id, error code and text.
auto fieldsOf(const std::string& frame) {
    const auto decoded = decodeReplyFrame(frame);
    return decoded ? std::optional(std::tuple(decoded->kind, decoded->id, decoded->errorCode,
                                              decoded->errorText))
                   : std::nullopt;
}

TEST(DaemonFrame, RepliesErrorsAndEventsReadBackAsSent) {
    using Kind = DaemonReplyFrame::Kind;
    const PropertyDictionary reply{{"accepted", true}, {"fanIndex", 0}};
    EXPECT_EQ(decodeReplyFrame(encodeReply(9, reply))->reply, reply);
    EXPECT_EQ(fieldsOf(encodeReply(9, reply)), std::tuple(Kind::reply, 9, "", ""));
    EXPECT_EQ(fieldsOf(encodeError(3, DaemonError::driverRefused(16, "pwm1"))),
              std::tuple(Kind::error, 3, "driver-refused: EBUSY", "pwm1"));
    // Invalid UTF-8 in a text does not cost the frame.
    EXPECT_EQ(fieldsOf(encodeLeaseEndedEvent({DaemonErrorCode::stalled, 0, "bad \xff byte"})),
              std::tuple(Kind::event, std::nullopt, "stalled", "bad \ufffd byte"));

    EXPECT_FALSE(decodeReplyFrame("{\"id\": 1, \"reply\": {")); // a torn frame, not a throw
    EXPECT_FALSE(decodeReplyFrame(R"({"reply": {}})"));         // a reply without its id
    EXPECT_FALSE(decodeReplyFrame(R"({"id": 1})"));
    EXPECT_FALSE(decodeReplyFrame(R"({"event": "lease-ended"})"));
    // An errno reads as its symbolic name, or as its number when no driver gives it.
    for (int error = 1; error < 4096; ++error) {
        const std::string name = errnoName(error);
        const char* symbol = strerrorname_np(error);
        EXPECT_TRUE(name == std::to_string(error) || (symbol != nullptr && name == symbol))
            << error;
    }
    for (const DaemonErrorCode code : allDaemonErrorCodes) {
        EXPECT_EQ(daemonErrorCodeFromRawValue(rawValue(code)), code);
    }
}

TEST(RequestRateLimiter, AdmitsTenAtOnceThenOneATenthOfASecond) {
    RequestRateLimiter limiter;
    for (int request = 0; request < 10; ++request) {
        EXPECT_TRUE(limiter.admit(std::chrono::seconds(5))) << request;
    }
    EXPECT_FALSE(limiter.admit(std::chrono::seconds(5)));
    EXPECT_TRUE(limiter.admit(std::chrono::milliseconds(5100)));
    EXPECT_FALSE(limiter.admit(std::chrono::milliseconds(5100)));
}

TEST(DriverProfile, KnowsManualAutomaticAndSafeStatesOfEachDriver) {
    const struct {
        const char* name;
        const char* profile;
        bool isWritable;
        FanControlKind kind;
        std::vector<std::int64_t> automatic;
        DriverSafeState safe;
    } cases[] = {
        {"nct6798", "nct6775", true, FanControlKind::duty, {2, 3, 4, 5}, {1, 255}},
        {"nct6116", "nct6775", true, FanControlKind::duty, {2, 3, 4, 5}, {1, 255}},
        {"nct6687", "unknown", false, FanControlKind::duty, {}, {}},
        {"it8728", "it87", true, FanControlKind::duty, {2}, {1, 255}},
        {"thinkpad", "thinkpad", true, FanControlKind::duty, {2}, {2, std::nullopt}},
        {"dell_smm", "dell_smm", true, FanControlKind::duty, {2}, {2, 255}},
        {"applesmc", "applesmc", true, FanControlKind::rpmTarget, {0}, {0, std::nullopt}},
        {"pwmfan", "pwmfan", true, FanControlKind::duty, {}, {1, 255}},
        {"max31785", "max31785", true, FanControlKind::duty, {3}, {1, 255}},
        {"macsmc_hwmon", "macsmc_hwmon", false, FanControlKind::duty, {}, {}},
        {"amdgpu", "unknown", false, FanControlKind::duty, {}, {}},
    };
    for (const auto& testCase : cases) {
        const DriverProfile profile = driverProfile(testCase.name);
        EXPECT_EQ(profile.name, testCase.profile) << testCase.name;
        EXPECT_EQ(profile.isWritable, testCase.isWritable) << testCase.name;
        EXPECT_EQ(profile.isWritable, profile.readOnlyReason.empty()) << testCase.name;
        EXPECT_EQ(profile.kind, testCase.kind) << testCase.name;
        EXPECT_EQ(profile.automaticModes, testCase.automatic) << testCase.name;
        EXPECT_EQ(profile.safeState, testCase.safe) << testCase.name;
    }
    EXPECT_TRUE(driverProfile("max31785").isAutomatic(3));
    EXPECT_FALSE(driverProfile("max31785").isAutomatic(2)); // its speed loop
    EXPECT_NE(driverProfile("amdgpu").readOnlyReason.find("amdgpu"), std::string::npos);
}

// A chip's fans, each as "fanN <mode attribute or no-enable>[ read-only][ <speed input>]".
std::vector<std::string> fansOf(const HwmonChipListing& chip) {
    std::vector<std::string> result;
    for (const DaemonFan& fan : describeFans(chip)) {
        result.push_back(fan.id.substr(fan.id.find('#') + 1) + " " +
                         (fan.hasEnable ? fan.modePath() : "no-enable") +
                         (fan.profile.isWritable ? "" : " read-only") +
                         (fan.hasInput ? " " + fan.inputPath() : ""));
    }
    return result;
}

TEST(DaemonFan, ListsEachChannelUnderItsStableId) {
    using Fans = std::vector<std::string>;
    HwmonChipListing nct{"nct6798",
                         "/sys/devices/platform/nct6775.656",
                         "/h",
                         {"name", "pwm1", "pwm1_enable", "fan1_input", "pwm2", "pwm10",
                          "pwm10_enable", "pwm01", "pwmx", "pwm3_mode"}};
    EXPECT_EQ(describeFans(nct).at(0).id, "nct6798@/sys/devices/platform/nct6775.656#fan1");
    // No enable on a driver that must have one: never written to.
    EXPECT_EQ(fansOf(nct), (Fans{"fan1 /h/pwm1_enable /h/fan1_input", "fan2 no-enable read-only",
                                 "fan10 /h/pwm10_enable"}));
    EXPECT_EQ(fansOf({"pwmfan", "/sys/devices/platform/pwm-fan", "/h", {"pwm1"}}),
              (Fans{"fan1 no-enable"}));
    // dell_smm's one enable serves every fan.
    EXPECT_EQ(fansOf({"dell_smm", "/d", "/h", {"pwm1_enable", "pwm1", "pwm2"}}),
              (Fans{"fan1 /h/pwm1_enable", "fan2 /h/pwm1_enable"}));
    // applesmc's fans are its targets beside a manual bit; fan2 has none.
    const HwmonChipListing smc{
        "applesmc", "/a", "/h", {"fan1_output", "fan1_manual", "fan2_output", "fan1_input"}};
    EXPECT_EQ(fansOf(smc), (Fans{"fan1 /h/fan1_manual /h/fan1_input"}));
    EXPECT_EQ(describeFans(smc)[0].targetPath(), "/h/fan1_output");

    HwmonChipListing thinkpad{"thinkpad", "/t", "/h", {"pwm1", "pwm1_enable"}, "/root/sys"};
    EXPECT_EQ(describeFans(thinkpad)[0].watchdogPath,
              "/root/sys/bus/platform/drivers/thinkpad_hwmon/fan_watchdog");
}

TEST(CalibrationMap, GivesRangeStopPointAndDutyForASpeed) {
    const CalibrationMap map = CalibrationMap::fromPoints(
        {{255, 2000}, {128, 1000}, {0, 0}, {60, 480}, {40, 0}, {60, 500}, {20, 300}});
    ASSERT_EQ(map.points.size(), 6U);
    EXPECT_EQ(map.points[3], (CalibrationPoint{60, 500})); // the later duplicate wins
    // A fan that restarts late reads 0 at 40 although it spun at 20 on the way down.
    EXPECT_EQ(map.stopDuty(), 40);
    EXPECT_EQ(map.range(), (FanRPMRange{500, 2000}));
    EXPECT_EQ(map.dutyFor(500), 60);
    EXPECT_EQ(map.dutyFor(400), 60); // nothing below the stop point
    EXPECT_EQ(map.dutyFor(1250), 160);
    EXPECT_EQ(map.dutyFor(2000), 255);
    EXPECT_EQ(map.dutyFor(9000), 255);
    EXPECT_FALSE(CalibrationMap::fromPoints({{0, 0}, {255, 0}}).range());
    EXPECT_FALSE(CalibrationMap::fromPoints({{0, 0}}).dutyFor(100));

    const auto maps = parseCalibrationFile(R"({"fans": {
        "a": [[255, 2000], [0, 0]], "b": [[256, 1]], "c": [[1, -5]], "d": "x", "e": [[1.5, 2]],
        "f": []}})");
    ASSERT_EQ(maps.size(), 1U);
    EXPECT_EQ(parseCalibrationFile(calibrationFileText(maps)), maps);
    EXPECT_TRUE(parseCalibrationFile("[]").empty());
}

TEST(SavedFanState, SurvivesTheFileAndDropsOnlyDamagedEntries) {
    const std::vector<SavedFanState> states{{"a@/d#fan1", 5, 120, std::nullopt},
                                            {"b@/d#fan2", std::nullopt, 2000, 0}};
    EXPECT_EQ(parseSavedFile(savedFileText(states)), states);
    const auto partial = parseSavedFile(
        R"({"fans": [{"id": "x", "enable": "5"}, {"duty": 3}, 7, {"id": "y", "duty": null}]})");
    ASSERT_TRUE(partial);
    EXPECT_EQ(*partial,
              (std::vector<SavedFanState>{{"y", std::nullopt, std::nullopt, std::nullopt}}));
    EXPECT_FALSE(parseSavedFile("{\"fans\": {}}"));
    EXPECT_FALSE(parseSavedFile("truncated {\"fa"));
}

} // namespace
} // namespace windlark
