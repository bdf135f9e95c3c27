// Inputs found by fuzzing that once broke the support types, kept so they stay fixed.

#include "support/PropertyList.h"

#include <gtest/gtest.h>
#include <string>

namespace windlark {
namespace {

// A reply's containers are printed as JSON, which only holds UTF-8. A string that is not
// UTF-8 (cut off mid-character, or plain bytes) used to make the printer throw and end
// the diagnostic command; it now prints with the bad bytes replaced.
TEST(PropertyListFuzzRegression, ContainersWithNonUTF8StringsStillPrint) {
    const std::string truncated = "caf\xC3";
    const std::string stray = "\xFF\xFE ok";
    const struct {
        PropertyList value;
        std::string expected;
    } cases[] = {
        {PropertyArray{truncated}, "[\"caf\xEF\xBF\xBD\"]"},
        {PropertyDictionary{{"error", stray}}, "{\"error\":\"\xEF\xBF\xBD\xEF\xBF\xBD ok\"}"},
        {PropertyDictionary{{stray, 1}}, "{\"\xEF\xBF\xBD\xEF\xBF\xBD ok\":1}"},
        {PropertyArray{PropertyDictionary{{"nested", PropertyArray{truncated, true}}}},
         "[{\"nested\":[\"caf\xEF\xBF\xBD\",true]}]"},
    };
    for (const auto& item : cases) {
        std::string printed;
        EXPECT_NO_THROW(printed = item.value.text());
        EXPECT_EQ(printed, item.expected);
    }
    // A plain string prints as it is, bytes and all.
    EXPECT_EQ(PropertyList(stray).text(), stray);
}

} // namespace
} // namespace windlark
