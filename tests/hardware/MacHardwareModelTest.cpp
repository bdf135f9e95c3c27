#include "hardware/MacHardwareModel.h"

#include "fakes/FakeRegistryReader.h"
#include "hardware/KnownMacFanCatalog.h"

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
}

TEST(KnownMacFanCatalog, RowsInOrder) {
    const auto fanless = [](const MacHardwareModel& model) {
        const auto answer = KnownMacFanCatalog::fallbackCapabilities(model);
        return answer && answer->isUnsupported() &&
               answer->source == "MacBook Air models are treated as fanless and unsupported.";
    };
    EXPECT_TRUE(fanless({"MacBookAir10,1", "Mac mini"}));
    EXPECT_TRUE(fanless({std::nullopt, "Apple macbook air (M2)"}));
    EXPECT_TRUE(fanless({"Mac17,2", "MacBook Air"})); // the Air row comes first

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
