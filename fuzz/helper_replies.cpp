// The helper is a separate program that may be older, newer or broken: its reply
// dictionaries can hold any keys with any types. Here the status, reset and lease replies
// (and a lease request, as the helper side decodes it) are built from the input as
// property lists: mostly the contract's own keys with values of random types, sometimes
// unknown keys and nested containers. The client must judge every reply without
// trusting it, and the diagnostics must print every reply.

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "fakes/FakeCodeSigningService.h"
#include "fakes/FakeHelperConnector.h"
#include "fakes/FakeHelperHost.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "helper/HelperDiagnostics.h"
#include "support/PropertyList.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using namespace windlark;

constexpr std::array<std::string_view, 22> kContractKeys = {"helperLabel",
                                                            "helperProtocol",
                                                            "helperXPCServiceName",
                                                            "helperXPCInterfaceName",
                                                            "helperXPCListener",
                                                            "helperXPCConnection",
                                                            "helperXPCRequestTimeoutSeconds",
                                                            "helperXPCResetTimeoutSeconds",
                                                            "helperPrivilege",
                                                            "fanWrites",
                                                            "heartbeat",
                                                            "resetToSystem",
                                                            "error",
                                                            "accepted",
                                                            "targetReached",
                                                            "resetAccepted",
                                                            "fanIndex",
                                                            "requestedTargetRPM",
                                                            "appliedTargetRPM",
                                                            "finalActualRPM",
                                                            "targetRPM",
                                                            "holdSeconds"};
constexpr std::array<std::string_view, 8> kContractWords = {
    "ok", "enabled", "disabled", "accepted", "noop", "rejected", "app-curve-renewal", "root"};

PropertyDictionary makeDictionary(FuzzedDataProvider& input, int depth);

PropertyList makeValue(FuzzedDataProvider& input, int depth) {
    switch (input.ConsumeIntegralInRange<int>(0, depth > 0 ? 6 : 4)) {
    case 0:
        return input.ConsumeBool();
    case 1:
        return input.ConsumeIntegral<std::int64_t>();
    case 2:
        return input.ConsumeFloatingPoint<double>();
    case 3:
        return input.ConsumeBool() ? std::string(input.PickValueInArray(kContractWords))
                                   : input.ConsumeRandomLengthString(24);
    case 4:
        return input.ConsumeProbability<double>() * 8000.0;
    case 5: {
        PropertyArray array;
        const int count = input.ConsumeIntegralInRange<int>(0, 3);
        for (int i = 0; i < count; ++i) {
            array.push_back(makeValue(input, depth - 1));
        }
        return array;
    }
    default:
        return makeDictionary(input, depth - 1);
    }
}

PropertyDictionary makeDictionary(FuzzedDataProvider& input, int depth) {
    PropertyDictionary dictionary;
    const int count = input.ConsumeIntegralInRange<int>(0, 14);
    for (int i = 0; i < count && input.remaining_bytes() > 0; ++i) {
        std::string key = input.ConsumeIntegralInRange<int>(0, 7) != 0
                              ? std::string(input.PickValueInArray(kContractKeys))
                              : input.ConsumeRandomLengthString(16);
        dictionary.set(std::move(key), makeValue(input, depth));
    }
    return dictionary;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

constexpr const char* kLabel = "com.quillmoor.WindlarkMac.Helper";
constexpr const char* kBundle = "/Applications/Windlark Mac.app";
constexpr const char* kBundledHelper =
    "/Applications/Windlark Mac.app/Contents/Library/LaunchServices/"
    "com.quillmoor.WindlarkMac.Helper";
constexpr const char* kInstalledHelper =
    "/Library/PrivilegedHelperTools/com.quillmoor.WindlarkMac.Helper";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    using Script = FakeHelperConnector::Script;

    // A helper the client trusts, so that it reads the status and proves the reset.
    auto host = std::make_shared<FakeHelperHost>();
    auto signing = std::make_shared<FakeCodeSigningService>();
    auto connector = std::make_shared<FakeHelperConnector>();
    host->bundlePath = kBundle;
    host->executablePath = std::string(kBundle) + "/Contents/MacOS/Windlark Mac";
    host->executableFiles = {kBundledHelper, kInstalledHelper};
    host->daemonStatus = 1;
    const PropertyDictionary helperPlist{{"SMAuthorizedClients", PropertyArray{"clientReq"}}};
    signing->signatures[kBundledHelper] = {0, kLabel, "TEAM1", helperPlist};
    signing->signatures[kInstalledHelper] = {0, kLabel, "TEAM1", helperPlist};
    signing->signatures[kBundle] = {
        0, "com.quillmoor.WindlarkMac", "TEAM1",
        PropertyDictionary{{"SMPrivilegedExecutables", PropertyDictionary{{kLabel, "appReq"}}}}};

    const PropertyDictionary status = makeDictionary(input, 2);
    const PropertyDictionary reset = makeDictionary(input, 2);
    const PropertyDictionary lease = makeDictionary(input, 2);
    const PropertyDictionary request = makeDictionary(input, 1);
    connector->statusScript = Script::now(status);
    connector->resetScript = Script::now(reset);
    connector->leaseScript = Script::now(lease);

    BundledPrivilegedHelperConfiguration configuration;
    configuration.timeouts = {std::chrono::milliseconds(50), std::chrono::milliseconds(50),
                              std::chrono::milliseconds(50), std::chrono::milliseconds(50)};
    BundledPrivilegedHelperClient client({host, signing, connector, nullptr}, configuration);

    std::ostringstream out;
    const PrivilegedHelperHealth health = client.readHealth();
    for (const std::string& line : HelperDiagnostics::preflightLines(health)) {
        out << line << '\n';
    }
    HelperDiagnostics::printActionResult(client.resetToSystem(), out);
    const PrivilegedHelperActionResult renewal = client.renewCurveTargetLease(2400.0, 15);
    // Only a real boolean true is an accepted lease.
    require(renewal.isSuccess == (lease.boolean("accepted") == std::optional<bool>(true)));
    HelperDiagnostics::printActionResult(renewal, out);
    HelperDiagnostics::printActionResult(client.holdManualTargetLease(3000.0, 8), out);

    // The helper's side: a request decodes to a request or to none, and a decoded request
    // encodes back to a dictionary that decodes to the same request.
    if (const auto decoded = WindlarkManualTargetLeaseRequest::fromDictionary(request)) {
        const auto again = WindlarkManualTargetLeaseRequest::fromDictionary(decoded->dictionary());
        require(again.has_value() &&
                (*again == *decoded || decoded->targetRPM != decoded->targetRPM));
    }
    // Off macOS, dictionaries travel as JSON; finite ones make the trip unchanged.
    for (const PropertyDictionary* dictionary : {&status, &reset, &lease, &request}) {
        (void)PropertyList(*dictionary).text();
        const nlohmann::json json = toJson(*dictionary);
        (void)propertyDictionaryFromJson(json);
    }
    return 0;
}
