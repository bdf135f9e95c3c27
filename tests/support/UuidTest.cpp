#include "support/Uuid.h"

#include <gtest/gtest.h>
#include <set>

namespace windlark {
namespace {

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

} // namespace
} // namespace windlark
