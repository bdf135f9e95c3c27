#include "support/NumberText.h"
#include "support/PropertyList.h"
#include "support/Uuid.h"

#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>

namespace windlark {
namespace {

TEST(NumberText, ParsesWholeTextsOnly) {
    const std::pair<const char*, double> doubles[] = {
        {"2400", 2400.0}, {"-1.5", -1.5}, {"+12.25", 12.25}, {"1e3", 1000.0}, {".5", 0.5}};
    for (const auto& [text, expected] : doubles) {
        EXPECT_EQ(parseDouble(text), expected) << text;
    }
    for (const char* text : {" 2400", "2400 ", "2400rpm", "", "+", "+-3", "--3", "0x10", "1,5"}) {
        EXPECT_EQ(parseDouble(text), std::nullopt) << text;
    }
    EXPECT_TRUE(std::isnan(parseDouble("nan").value_or(0.0)));
    EXPECT_EQ(parseDouble("-inf"), -std::numeric_limits<double>::infinity());

    const std::pair<const char*, std::int64_t> integers[] = {
        {"9", 9}, {"-4", -4}, {"+4", 4}, {"9223372036854775807", INT64_MAX}};
    for (const auto& [text, expected] : integers) {
        EXPECT_EQ(parseInteger(text), expected) << text;
    }
    for (const char* text : {"9223372036854775808", "5.0", "x", "", "++4"}) {
        EXPECT_EQ(parseInteger(text), std::nullopt) << text;
    }

    // The shortest text reads back exactly.
    const std::pair<double, const char*> printed[] = {
        {2400.0, "2400"}, {0.1, "0.1"}, {-1.5, "-1.5"}, {1e300, "1e+300"}, {0.0, "0"}};
    for (const auto& [value, expected] : printed) {
        EXPECT_EQ(shortestDoubleText(value), expected);
        EXPECT_EQ(parseDouble(shortestDoubleText(value)), value);
    }
}

TEST(Uuid, RandomIdentifiersAreVersion4UpperCaseAndDistinct) {
    std::set<std::string> seen;
    std::set<char> afterVersion; // the fixed bits must leave the rest of their byte random
    for (int i = 0; i < 1000; ++i) {
        const std::string text = Uuid::random().string();
        ASSERT_EQ(text.size(), 36U);
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
        EXPECT_EQ(text.find_first_of("abcdef"), std::string::npos) << text;
        EXPECT_TRUE(seen.insert(text).second) << "duplicate " << text;
        afterVersion.insert(text[15]);
    }
    EXPECT_EQ(afterVersion.size(), 16U);
}

TEST(Uuid, ParsesAnyCaseRoundTripsToUpperCaseAndRejectsMalformedText) {
    const auto lower = Uuid::parse("0f1e2d3c-4b5a-4978-8a6b-5c4d3e2f1a0b");
    ASSERT_TRUE(lower.has_value());
    EXPECT_EQ(lower->string(), "0F1E2D3C-4B5A-4978-8A6B-5C4D3E2F1A0B");
    EXPECT_EQ(Uuid::parse(lower->string()), lower);
    EXPECT_EQ(lower->bytes()[0], 0x0F);
    EXPECT_EQ(lower->bytes()[15], 0x0B);
    for (const char* text :
         {"", "0F1E2D3C4B5A49788A6B5C4D3E2F1A0B", "0F1E2D3C-4B5A-4978-8A6B-5C4D3E2F1A0",
          "0F1E2D3C-4B5A-4978-8A6B-5C4D3E2F1A0BB", "0F1E2D3C_4B5A-4978-8A6B-5C4D3E2F1A0B",
          "0F1E2D3C-4B5A-4978-8A6B-5C4D3E2F1AGB", "{0F1E2D3C-4B5A-4978-8A6B-5C4D3E2F1A}"}) {
        EXPECT_FALSE(Uuid::parse(text).has_value()) << text;
    }
}

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
