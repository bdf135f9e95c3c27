#include "hardware/SMCReadOnlyClient.h"

#include "fakes/FakeSMCBus.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

using namespace std::string_literals;

std::shared_ptr<FakeSMCBus> busWithFans() {
    auto bus = std::make_shared<FakeSMCBus>();
    bus->keys["FNum"] = {"ui8 ", {0x02}};
    bus->keys["F0Mn"] = {"flt ", {0x00, 0x00, 0x7A, 0x44}}; // 1000
    bus->keys["F0Mx"] = {"flt ", {0x00, 0x20, 0x99, 0x45}}; // 4900
    bus->keys["F0Ac"] = {"fpe2", {0x17, 0x70}};             // 1500
    bus->keys["F1Mn"] = {"ui16", {0x04, 0xB0}};             // 1200
    return bus;
}

TEST(SMCReadOnlyClient, KeyCodesPackFirstCharacterHigh) {
    EXPECT_EQ(SMCReadOnlyClient::smcKeyCode("FNum"), 0x464E756DU);
    EXPECT_EQ(SMCReadOnlyClient::fourCharacterString(0x464E756DU), "FNum");
    EXPECT_EQ(SMCReadOnlyClient::displayKey("FS! "), "FS!<space>");
    // Each byte is one character, also past ASCII, so that reports stay valid UTF-8
    // (the administrator probe's reader drops output that is not).
    EXPECT_EQ(SMCReadOnlyClient::fourCharacterString(0x666C74B0U), "flt\u00B0");
    EXPECT_EQ(SMCReadOnlyClient::fourCharacterString(0xFF7F8041U), "\u00FF\x7F\u0080A"s);
    // Kernel results print by name where one is known.
    EXPECT_EQ(SMCReadOnlyClient::kernelResultText(KernelResult::badArgument),
              "badArgument(-536870206)");
    EXPECT_EQ(SMCReadOnlyClient::kernelResultText(5), "kern(5)");
}

TEST(SMCReadOnlyClient, OpensTheEndpointFirstAndClosesOnDestruction) {
    auto bus = busWithFans();
    bus->services = {{"AppleSMC", "AppleSMC", {}}, {"AppleSMCKeysEndpoint", "x", {}}};
    {
        auto client = SMCReadOnlyClient::open(bus);
        ASSERT_TRUE(client);
        EXPECT_EQ(client->serviceClassName(), "AppleSMCKeysEndpoint");
        EXPECT_EQ(bus->releasedServices, 1);
    }
    EXPECT_TRUE(bus->openConnections.empty());

    // The endpoint refuses to open: fall back to the classic service.
    bus->services = {{"AppleSMCKeysEndpoint", "x", {{0, KernelResult::notPrivileged}}},
                     {"AppleSMC", "AppleSMC", {}}};
    EXPECT_EQ(SMCReadOnlyClient::open(bus)->serviceClassName(), "AppleSMC");

    bus->services.clear();
    EXPECT_FALSE(SMCReadOnlyClient::open(bus));
}

TEST(SMCReadOnlyClient, ReadsKeysWithTwoCalls) {
    auto bus = busWithFans();
    bus->keys["LONG"] = {"ch8*", std::vector<std::uint8_t>(40, 0x61)};
    auto client = SMCReadOnlyClient::open(bus);
    auto value = client->readValue("LONG");
    ASSERT_TRUE(value);
    EXPECT_EQ(value->dataSize, 32);
    EXPECT_EQ(value->bytes.size(), 32U);
    EXPECT_EQ(value->dataType, "ch8*");

    // The info request carries the key and the command and nothing else (the driver reads
    // every byte); the read asks for the size the info call reported.
    ASSERT_EQ(bus->requests.size(), 2U);
    SMCKeyData info{};
    info.key = 0x4C4F4E47U;
    info.data8 = 9;
    EXPECT_EQ(bus->requests[0], info);
    EXPECT_EQ(bus->requests[1].data8, 5);
    EXPECT_EQ(bus->requests[1].keyInfo.dataSize, 40U);

    EXPECT_FALSE(client->readValue("NONE"));
    bus->readResultFailures["F0Mn"] = 0x85;
    EXPECT_FALSE(client->readValue("F0Mn"));
    bus->readKernelFailures["F0Mx"] = KernelResult::notPermitted;
    EXPECT_FALSE(client->readValue("F0Mx"));
}

TEST(SMCReadOnlyClient, DecodesRPMByType) {
    struct Case {
        const char* type;
        std::vector<std::uint8_t> bytes;
        std::optional<double> expected;
    };
    const Case cases[] = {
        {"fpe2", {0x5D, 0xC0}, 6000.0},
        {"flt ", {0x00, 0x00, 0xBB, 0x44}, 1496.0},
        {"flt\n", {0x00, 0x00, 0xBB, 0x44}, 1496.0},
        {"flt ", {0x00, 0x00, 0xBB}, std::nullopt},
        {"ui16", {0x05, 0xDC}, 1500.0},
        {"sp78", {0x05, 0xDC, 0xFF}, 1500.0},
        {"ui8 ", {0x05}, std::nullopt},
        {"fpe2", {}, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(SMCReadOnlyClient::decodeRPM(c.type, c.bytes), c.expected) << c.type;
    }
}

TEST(SMCReadOnlyClient, FanCountAndCapabilities) {
    auto bus = busWithFans();
    bus->keys["FNum"] = {"ui16", {0x00, 0x02}};
    auto client = SMCReadOnlyClient::open(bus);
    EXPECT_EQ(client->readFanCount(), 2);

    // A fan whose keys are missing is kept, with those values absent.
    const std::string source = "AppleSMCKeysEndpoint read-only";
    const std::vector<FanHardwareFan> fans{
        {0, "Fan 0", 1000.0, 4900.0, 1500.0, source},
        {1, "Fan 1", 1200.0, std::nullopt, std::nullopt, source}};
    EXPECT_EQ(client->readCapabilities(),
              (FanHardwareCapabilities{2, 1000.0, 4900.0, 1500.0, source, fans,
                                       FanHardwareSupportStatus::supported}));

    bus->keys["FNum"] = {"ui8 ", {0x00, 0x00}};
    const auto none = client->readCapabilities();
    EXPECT_EQ(none.supportStatus, FanHardwareSupportStatus::unsupportedNoFan);
    EXPECT_EQ(none.source, "No fan reported by AppleSMCKeysEndpoint");
    bus->keys.erase("FNum");
    const auto unreadable = client->readCapabilities();
    EXPECT_EQ(unreadable.supportStatus, FanHardwareSupportStatus::unavailable);
    EXPECT_EQ(unreadable.source, "FNum unavailable from AppleSMCKeysEndpoint");
}

TEST(SMCReadOnlyClient, DebugLinesReportEveryStep) {
    auto bus = busWithFans();
    bus->infoKernelFailures["F0Tg"] = KernelResult::notPrivileged;
    auto client = SMCReadOnlyClient::open(bus);
    EXPECT_EQ(client->debugLine("F0Ac"), "F0Ac: info=success result=0 type=fpe2 size=2 "
                                         "read=success readResult=0 inputSize=80 bytes=[17 70]");
    // An unknown key: the SMC's result byte shows, and the type is four zero characters.
    EXPECT_EQ(client->debugLine("FS! "),
              "FS!<space>: info=success result=132 type=" + std::string(4, '\0') +
                  " size=0 read=success readResult=132 inputSize=80 "
                  "bytes=[]");
    EXPECT_EQ(client->debugLine("F0Tg"), "F0Tg: info=notPrivileged(-536870207) inputSize=80");

    const auto fanKeys = client->debugFanKeyReport();
    ASSERT_EQ(fanKeys.size(), 9U);
    EXPECT_EQ(fanKeys[0], "smcService=AppleSMCKeysEndpoint");
    EXPECT_EQ(fanKeys[1], "smcStructSize=80");
    EXPECT_TRUE(fanKeys[8].starts_with("F1Ac: "));
    const auto controlKeys = client->debugPotentialFanControlKeyReport();
    ASSERT_EQ(controlKeys.size(), 10U);
    EXPECT_TRUE(controlKeys[5].starts_with("FS!<space>: "));
    // Nothing but info and read commands ever went out.
    for (const SMCKeyData& request : bus->requests) {
        EXPECT_TRUE(request.data8 == 9 || request.data8 == 5);
    }
}

TEST(SMCReadOnlyClient, ConnectionMatrix) {
    FakeSMCBus bus;
    bus.keys["FNum"] = {"ui8 ", {0x01}};
    bus.services = {{"AppleSMC", std::nullopt, {{1, KernelResult::unsupported}}}};
    const auto lines = SMCReadOnlyClient::debugConnectionMatrix(bus);
    ASSERT_EQ(lines.size(), 13U);
    EXPECT_EQ(lines[0], "AppleSMC[0] class=unknown");
    EXPECT_EQ(lines[1], "  type=0 open=success selector=2 FNum.info=success result=0 "
                        "type=ui8  size=1 inputSize=80");
    EXPECT_EQ(lines[2], "  type=1 open=unsupported(-536870201)");
    EXPECT_EQ(lines[11], "AppleSMCKeysEndpoint: no matches");
    EXPECT_EQ(lines[12], "AppleSMCSensorDispatcher: no matches");
    EXPECT_TRUE(bus.openConnections.empty());

    bus.matchFailure = KernelResult::notPermitted;
    EXPECT_EQ(SMCReadOnlyClient::debugConnectionMatrix(bus)[0],
              "AppleSMC: match=notPermitted(-536870174)");
}

} // namespace
} // namespace windlark
