#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "contract/WindlarkManualTargetLeaseResponse.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"
#include "contract/WindlarkPrivilegedHelperXPC.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

using Lines = std::vector<std::string>;

// "key=value" for each entry, in the dictionary's order.
Lines linesOf(const PropertyDictionary& dictionary) {
    Lines lines;
    for (const auto& [key, value] : dictionary.entries()) {
        lines.push_back(key + "=" + value.text());
    }
    return lines;
}

TEST(WindlarkPrivilegedHelperStatus, FieldsInWireOrderAndFactoriesSetOnlyTheirOwn) {
    const WindlarkPrivilegedHelperStatus status;
    const Lines expected = {
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
    EXPECT_EQ(linesOf(dictionary), expected);
    for (const auto& [key, value] : dictionary.entries()) {
        EXPECT_NE(value.asString(), nullptr) << key << " must travel as a string";
    }

    WindlarkPrivilegedHelperStatus live = WindlarkPrivilegedHelperStatus::status();
    EXPECT_EQ(live.heartbeat, "ok");
    live.heartbeat.reset();
    EXPECT_EQ(live, WindlarkPrivilegedHelperStatus{});
    EXPECT_EQ(WindlarkPrivilegedHelperStatus::resetAccepted(true).resetToSystem, "accepted");
    Lines noop = expected;
    noop.emplace_back("resetToSystem=noop");
    EXPECT_EQ(linesOf(WindlarkPrivilegedHelperStatus::resetAccepted(false).dictionary()), noop);

    // The optional fields follow the fixed ten in their own order.
    auto everything = WindlarkPrivilegedHelperStatus::unsupportedCommand();
    everything.heartbeat = "ok";
    everything.resetToSystem = "accepted";
    Lines all = expected;
    all.insert(all.end(), {"heartbeat=ok", "resetToSystem=accepted", "error=unsupported command"});
    EXPECT_EQ(linesOf(everything.dictionary()), all);
    EXPECT_EQ(everything.lines(), all);
}

TEST(WindlarkManualTargetLeaseRequest, DictionaryRoundTripAndFailableDecoding) {
    const WindlarkManualTargetLeaseRequest request{1, 2400.5, 15, "app-curve-renewal"};
    const PropertyDictionary dictionary = request.dictionary();
    EXPECT_EQ(linesOf(dictionary), (Lines{"fanIndex=1", "targetRPM=2400.5", "holdSeconds=15",
                                          "reason=app-curve-renewal"}));
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
    EXPECT_EQ(linesOf(bare.dictionary()),
              (Lines{"accepted=true", "targetReached=false", "resetAccepted=false", "fanIndex=0"}));
    EXPECT_EQ(bare.dictionary().integer("fanIndex"), 0);

    const WindlarkManualTargetLeaseResponse full{true, true, false, 1, 2400, 2350.5, 2344, "late"};
    EXPECT_EQ(linesOf(full.dictionary()),
              (Lines{"accepted=true", "targetReached=true", "resetAccepted=false", "fanIndex=1",
                     "requestedTargetRPM=2400", "appliedTargetRPM=2350.5", "finalActualRPM=2344",
                     "error=late"}));
    EXPECT_EQ(full.dictionary().real("appliedTargetRPM"), 2350.5);

    const auto rejected = WindlarkManualTargetLeaseResponse::rejected("fan out of range", 3);
    EXPECT_EQ(rejected,
              (WindlarkManualTargetLeaseResponse{false, false, true, 3, std::nullopt, std::nullopt,
                                                 std::nullopt, "fan out of range"}));
    EXPECT_EQ(linesOf(rejected.dictionary()),
              (Lines{"accepted=false", "targetReached=false", "resetAccepted=true", "fanIndex=3",
                     "error=fan out of range"}));
}

} // namespace
} // namespace windlark
