#include "support/PropertyList.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace windlark {
namespace {

TEST(PropertyList, TypedReadsNeverConvertBetweenTypes) {
    const PropertyDictionary dictionary{
        {"flag", true}, {"count", 3}, {"rpm", 2400.0}, {"word", "true"}, {"wholeDouble", 2.0}};
    EXPECT_EQ(dictionary.boolean("flag"), true);
    EXPECT_EQ(dictionary.boolean("word"), std::nullopt); // the string "true" is no boolean
    EXPECT_EQ(dictionary.boolean("count"), std::nullopt);
    EXPECT_EQ(dictionary.integer("count"), 3);
    EXPECT_EQ(dictionary.integer("wholeDouble"), std::nullopt); // 2.0 is no integer
    EXPECT_EQ(dictionary.integer("flag"), std::nullopt);
    EXPECT_EQ(dictionary.real("rpm"), 2400.0);
    EXPECT_EQ(dictionary.real("count"), std::nullopt);
    ASSERT_NE(dictionary.string("word"), nullptr);
    EXPECT_EQ(*dictionary.string("word"), "true");
    EXPECT_EQ(dictionary.string("missing"), nullptr);
    EXPECT_EQ(dictionary.integer("missing"), std::nullopt);
}

TEST(PropertyList, SetKeepsFirstPositionAndEqualityIgnoresOrder) {
    PropertyDictionary first;
    first.set("b", 1);
    first.set("a", 2);
    first.set("b", 3);
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first.entries()[0].first, "b");
    EXPECT_EQ(first.integer("b"), 3);

    const PropertyDictionary second{{"a", 2}, {"b", 3}};
    EXPECT_EQ(first, second);
    EXPECT_NE(first, (PropertyDictionary{{"a", 2}, {"b", 3.0}}));
    EXPECT_NE(first, (PropertyDictionary{{"a", 2}}));
}

// Containers print as JSON, which holds only UTF-8: a string cut off mid-character or of
// plain bytes (found by fuzzing) once made the printer throw and end the diagnostic
// command; the bad bytes are now replaced. A plain string prints as it is, bytes and all.
TEST(PropertyList, TextRendering) {
    const std::string truncated = "caf\xC3";
    const std::string stray = "\xFF\xFE ok";
    const std::vector<std::pair<PropertyList, std::string>> cases = {
        {PropertyList(true), "true"},
        {PropertyList(false), "false"},
        {PropertyList(-12), "-12"},
        {PropertyList(2400.0), "2400"},
        {PropertyList(2400.5), "2400.5"},
        {PropertyList(stray), stray},
        {PropertyList(PropertyArray{1, "x"}), R"([1,"x"])"},
        {PropertyDictionary{{stray, 1}}, "{\"\xEF\xBF\xBD\xEF\xBF\xBD ok\":1}"},
        {PropertyArray{PropertyDictionary{{"nested", PropertyArray{truncated, true}}}},
         "[{\"nested\":[\"caf\xEF\xBF\xBD\",true]}]"},
    };
    for (const auto& [value, expected] : cases) {
        std::string printed;
        EXPECT_NO_THROW(printed = value.text());
        EXPECT_EQ(printed, expected);
    }
}

TEST(PropertyList, JsonRoundTripKeepsIntegerDoubleBooleanAndStringApart) {
    const PropertyDictionary original{
        {"accepted", true},
        {"fanIndex", 0},
        {"offset", -3}, // JSON keeps negative integers apart from unsigned ones
        {"targetRPM", 2400.0},
        {"reason", "app-curve-renewal"},
        {"nested", PropertyDictionary{{"list", PropertyArray{1, 2.5, false}}}}};
    const std::string wire = toJson(original).dump();
    const auto decoded = propertyDictionaryFromJson(nlohmann::json::parse(wire));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, original);
    EXPECT_EQ(decoded->real("targetRPM"), 2400.0); // "2400.0" stays a double on the wire
    EXPECT_EQ(decoded->integer("fanIndex"), 0);

    EXPECT_FALSE(propertyDictionaryFromJson(nlohmann::json::parse("[1]")).has_value());
    EXPECT_FALSE(propertyDictionaryFromJson(nlohmann::json::parse(R"({"a":null})")).has_value());
    EXPECT_FALSE(propertyListFromJson(nlohmann::json::parse("18446744073709551615")).has_value());
}

} // namespace
} // namespace windlark
