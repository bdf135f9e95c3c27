#include "hardware/MacHardwareModel.h"

#include "fakes/FakeRegistryReader.h"
#include "hardware/KnownMacFanCatalog.h"
#include "hardware/ReportText.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

std::vector<std::uint8_t> bytes(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(MacHardwareModel, ReadsNamesFromTheRegistry) {
    FakeRegistryReader registry;
    EXPECT_EQ(MacHardwareModel::current(registry), MacHardwareModel{});

    // Bytes with their terminating zero; text trimmed of control characters; the platform
    // expert only when the device tree has nothing usable.
    registry.properties[{RegistryEntry::deviceTreeRoot, "model"}] =
        bytes(std::string_view("Mac17,2\0junk", 12));
    registry.properties[{RegistryEntry::deviceTreeRoot, "product-name"}] = std::monostate{};
    registry.properties[{RegistryEntry::platformExpert, "product-name"}] =
        std::string("\n\tMacBook Pro\x7f");
    registry.properties[{RegistryEntry::platformExpert, "model"}] = std::string("ignored");
    const MacHardwareModel model = MacHardwareModel::current(registry);
    EXPECT_EQ(model.identifier, "Mac17,2");
    EXPECT_EQ(model.productName, "MacBook Pro");

    EXPECT_EQ(MacHardwareModel::registryString(RegistryProperty(bytes("\xff\xfe"))), std::nullopt);
    EXPECT_EQ(MacHardwareModel::registryString(RegistryProperty(bytes("Caf\xc3\xa9"))), "Café");
    EXPECT_EQ(MacHardwareModel::registryString(RegistryProperty(std::string("\xc2\x85x \xc2\x9f"))),
              "x ");
    EXPECT_EQ(MacHardwareModel::registryString(RegistryProperty(std::string("\n\x7f"))), "");
    // Only C1 controls go: a euro sign or a no-break space at either end is text.
    for (const std::string kept : {"\xE2\x82\xAC 1", "\xC2\xA0x\xC2\xA0"}) {
        EXPECT_EQ(MacHardwareModel::registryString(RegistryProperty(kept)), kept);
    }
}

// Text from the registry and from child processes is shown and written on; only
// well-formed UTF-8 gets through.
TEST(ReportText, AcceptsOnlyWellFormedUTF8) {
    const struct {
        std::string_view text;
        bool expected;
    } cases[] = {
        {"", true},
        {"plain", true},
        {"\xC2\x80 \xDF\xBF", true},                      // two bytes, both ends
        {"\xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80", true}, // three, around the surrogates
        {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", true},      // four, up to U+10FFFF
        {"\x80", false},                                  // lone continuation byte
        {"a\xBF", false},
        {"\xC0\xAF", false}, // overlong "/"
        {"\xC1\xBF", false},
        {"\xE0\x9F\xBF", false},
        {"\xF0\x8F\xBF\xBF", false},
        {"\xED\xA0\x80", false}, // surrogates
        {"\xED\xBF\xBF", false},
        {"\xF4\x90\x80\x80", false}, // beyond U+10FFFF
        {"\xC2", false},             // truncated
        {"\xE2\x82", false},
        {"x\xF0\x9F\x98", false},
        {"\xC2\x41", false}, // continuation missing
        {"\xE2\x28\xA1", false},
        {"\xF8\x88\x80\x80\x80", false}, // five-byte and invalid lead bytes
        {"\xFF", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isValidUTF8(c.text), c.expected) << ::testing::PrintToString(c.text);
    }
    // A path must also name something: empty is the working directory, and a NUL would
    // cut it short.
    EXPECT_TRUE(isUsableFilePath("/Applications/Caf\xC3\xA9.app"));
    for (const std::string_view path : {std::string_view(""), std::string_view("/tmp/a\0b", 8),
                                        std::string_view("/tmp/\xC0\xAF")}) {
        EXPECT_FALSE(isUsableFilePath(path)) << ::testing::PrintToString(path);
    }
}

TEST(KnownMacFanCatalog, RowsInOrder) {
    FanHardwareCapabilities fanless;
    fanless.source = "MacBook Air models are treated as fanless and unsupported.";
    fanless.supportStatus = FanHardwareSupportStatus::unsupportedNoFan;
    for (const MacHardwareModel& air : {MacHardwareModel{"MacBookAir10,1", "Mac mini"},
                                        {std::nullopt, "Apple macbook air (M2)"},
                                        {"Mac17,2", "MacBook Air"}}) { // the Air row comes first
        EXPECT_EQ(KnownMacFanCatalog::fallbackCapabilities(air), fanless);
    }

    // The preset: one fan with the range and no live speed.
    EXPECT_EQ(KnownMacFanCatalog::fallbackCapabilities({"Mac17,2", std::nullopt}),
              FanHardwareCapabilities::make(1, 2500.0, 6550.0, std::nullopt,
                                            "Mac17,2 built-in fan preset", {},
                                            FanHardwareSupportStatus::supported));
    EXPECT_FALSE(KnownMacFanCatalog::fallbackCapabilities({"Mac17,20", "MacBook Pro"}));
    EXPECT_FALSE(KnownMacFanCatalog::fallbackCapabilities({}));
}

} // namespace
} // namespace windlark
