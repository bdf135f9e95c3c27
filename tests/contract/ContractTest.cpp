#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "contract/WindlarkManualTargetLeaseResponse.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"
#include "contract/WindlarkPrivilegedHelperXPC.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

std::vector<std::string> keysOf(const PropertyDictionary& dictionary) {
    std::vector<std::string> keys;
    for (const auto& entry : dictionary.entries()) {
        keys.push_back(entry.first);
    }
    return keys;
}

TEST(WindlarkPrivilegedHelperStatus, DefaultStatusHasTenFieldsInWireOrder) {
    const WindlarkPrivilegedHelperStatus status;
    const std::vector<std::string> expected = {
        "helperLabel=com.quillmoor.WindlarkMac.Helper",
        "helperProtocol=2",
        "helperXPCServiceName=com.quillmoor.WindlarkMac.Helper",
        "helperXPCInterfaceName=WindlarkPrivilegedHelperXPCProtocol",
        "helperXPCListener=launchd-mach-service",
        "helperXPCConnection=enabled",
        "helperXPCRequestTimeoutSeconds=2",
        "helperXPCResetTimeoutSeconds=8",
        "helperPrivilege=not-installed",
        "fanWrites=disabled",
    };
    EXPECT_EQ(status.lines(), expected);

    const PropertyDictionary dictionary = status.dictionary();
    ASSERT_EQ(dictionary.size(), 10U);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto& [key, value] = dictionary.entries()[i];
        ASSERT_NE(value.asString(), nullptr) << key << " must travel as a string";
        EXPECT_EQ(key + "=" + *value.asString(), expected[i]);
    }
}

TEST(WindlarkPrivilegedHelperStatus, FactoriesSetOnlyTheirOwnField) {
    WindlarkPrivilegedHelperStatus live = WindlarkPrivilegedHelperStatus::status();
    EXPECT_EQ(live.heartbeat, "ok");
    live.heartbeat.reset();
    EXPECT_EQ(live, WindlarkPrivilegedHelperStatus{});

    EXPECT_EQ(WindlarkPrivilegedHelperStatus::resetAccepted(true).resetToSystem, "accepted");
    const auto noop = WindlarkPrivilegedHelperStatus::resetAccepted(false);
    EXPECT_EQ(noop.resetToSystem, "noop");
    EXPECT_EQ(noop.dictionary().size(), 11U);
    EXPECT_EQ(*noop.dictionary().string("resetToSystem"), "noop");

    auto everything = WindlarkPrivilegedHelperStatus::unsupportedCommand();
    EXPECT_EQ(everything.error, "unsupported command");
    everything.heartbeat = "ok";
    everything.resetToSystem = "accepted";
    const auto keys = keysOf(everything.dictionary());
    ASSERT_EQ(keys.size(), 13U);
    EXPECT_EQ(std::vector<std::string>(keys.begin() + 10, keys.end()),
              (std::vector<std::string>{"heartbeat", "resetToSystem", "error"}));
    EXPECT_EQ(everything.lines().back(), "error=unsupported command");
}

TEST(WindlarkManualTargetLeaseRequest, DictionaryRoundTripAndFailableDecoding) {
    const WindlarkManualTargetLeaseRequest request{1, 2400.5, 15, "app-curve-renewal"};
    const PropertyDictionary dictionary = request.dictionary();
    EXPECT_EQ(keysOf(dictionary),
              (std::vector<std::string>{"fanIndex", "targetRPM", "holdSeconds", "reason"}));
    EXPECT_EQ(WindlarkManualTargetLeaseRequest::fromDictionary(dictionary), request);

    // Out-of-range values pass: bounds are the helper's business, not the decoder's.
    const WindlarkManualTargetLeaseRequest odd{-3, -1.0, 0, ""};
    EXPECT_EQ(WindlarkManualTargetLeaseRequest::fromDictionary(odd.dictionary()), odd);

    // Each field must carry its own type; the first wrong or missing one fails the decode.
    const auto with = [&dictionary](const char* key, PropertyList value) {
        PropertyDictionary changed = dictionary;
        changed.set(key, std::move(value));
        return changed;
    };
    for (const PropertyDictionary& broken :
         {with("fanIndex", "0"), with("fanIndex", 0.0), with("targetRPM", 2400),
          with("holdSeconds", true), with("reason", 1), PropertyDictionary{}}) {
        EXPECT_FALSE(WindlarkManualTargetLeaseRequest::fromDictionary(broken))
            << PropertyList(broken).text();
    }
}

TEST(WindlarkManualTargetLeaseRequest, CurveRenewalIsExactAndCaseSensitive) {
    WindlarkManualTargetLeaseRequest request{0, 2000.0, 15, "app-curve-renewal"};
    EXPECT_TRUE(request.isCurveRenewal());
    for (const char* other : {"App-Curve-Renewal", "APP-CURVE-RENEWAL", "app-curve-renewal ",
                              "app-manual-target-lease", "manual-target-lease", ""}) {
        request.reason = other;
        EXPECT_FALSE(request.isCurveRenewal()) << other;
    }
}

TEST(WindlarkManualTargetLeaseResponse, KeyOrderAndRejection) {
    const WindlarkManualTargetLeaseResponse bare{true, false, false, 0, {}, {}, {}, {}};
    const PropertyDictionary bareDictionary = bare.dictionary();
    EXPECT_EQ(keysOf(bareDictionary),
              (std::vector<std::string>{"accepted", "targetReached", "resetAccepted", "fanIndex"}));
    EXPECT_EQ(bareDictionary.boolean("accepted"), true);
    EXPECT_EQ(bareDictionary.integer("fanIndex"), 0);

    const WindlarkManualTargetLeaseResponse full{true,   true,   false,  1,
                                                 2400.0, 2350.0, 2344.0, "late"};
    const PropertyDictionary fullDictionary = full.dictionary();
    EXPECT_EQ(keysOf(fullDictionary),
              (std::vector<std::string>{"accepted", "targetReached", "resetAccepted", "fanIndex",
                                        "requestedTargetRPM", "appliedTargetRPM", "finalActualRPM",
                                        "error"}));
    EXPECT_EQ(fullDictionary.real("appliedTargetRPM"), 2350.0);

    const auto rejected = WindlarkManualTargetLeaseResponse::rejected("fan out of range", 3);
    EXPECT_EQ(rejected,
              (WindlarkManualTargetLeaseResponse{false, false, true, 3, std::nullopt, std::nullopt,
                                                 std::nullopt, "fan out of range"}));
    EXPECT_EQ(rejected.dictionary().size(), 5U);
    EXPECT_EQ(rejected.dictionary().boolean("resetAccepted"), true);
}

} // namespace
} // namespace windlark
