// Managed text.
#include "runtime/native/core/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zelmor::embed {
namespace {

TEST(TextTest, Utf8AndUtf16AreTheSameText) {
    for (const char* text : {"", "plain", "\xC3\xA4\xC3\xB6", "\xE2\x82\xAC", "\xF0\x9F\x98\x80 x"}) {
        EXPECT_EQ(to_utf8(to_utf16(text)), text);
    }
    EXPECT_EQ(to_utf16("\xF0\x9F\x98\x80"), u"\U0001F600");
}

TEST(TextTest, InvalidUtf8BecomesTheReplacementCharacter) {
    EXPECT_EQ(to_utf16("a\xFFz"), u"a\uFFFDz");
    EXPECT_EQ(to_utf16("\xC0\x80"), u"\uFFFD\uFFFD");            // too long a form
    EXPECT_EQ(to_utf16("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");  // a surrogate
    EXPECT_EQ(to_utf16("\xE2\x82"), u"\uFFFD\uFFFD");            // cut off
    EXPECT_EQ(to_utf8(u"\xD800x"), "\xEF\xBF\xBDx");
    EXPECT_EQ(to_utf8(u"\xDC00"), "\xEF\xBF\xBD");
}

TEST(TextTest, StringsAreReadInEachStorageKind) {
    const uint8_t latin[] = {'a', 0xE4};
    const char16_t ucs2[] = {0x20AC, 'b'};
    const char32_t ucs4[] = {0x1F600, 'c'};
    EXPECT_EQ(read_string({2, 1, latin}), u"a\u00E4");
    EXPECT_EQ(read_string({2, 2, ucs2}), u"\u20ACb");
    EXPECT_EQ(read_string({2, 4, ucs4}), u"\U0001F600c");
    EXPECT_EQ(read_string({0, 1, ""}), u"");
    EXPECT_EQ(read_string({-1, 0, nullptr}), std::nullopt);
}

TEST(TextTest, NumbersAreTheShortestThatReadBack) {
    EXPECT_EQ(number_text(0.1f), u"0.1");
    EXPECT_EQ(number_text(1.0f), u"1");
    EXPECT_EQ(number_text(-2.5f), u"-2.5");
    EXPECT_EQ(number_text(123456.0f), u"123456");
    EXPECT_EQ(number_text(12345678.0f), u"12345678");
    EXPECT_EQ(number_text(-123456789.0f), u"-123456790");
    EXPECT_EQ(number_text(1e8f), u"100000000");
    EXPECT_EQ(number_text(1e9f), u"1E+09");
    EXPECT_EQ(number_text(1234.5f), u"1234.5");
    EXPECT_EQ(number_text(-0.0f), u"-0");
    EXPECT_EQ(number_text(0.00012f), u"0.00012");
    EXPECT_EQ(number_text(1e-5), u"1E-05");
    EXPECT_EQ(number_text(0.0001), u"0.0001");
    EXPECT_EQ(number_text(1e15), u"1000000000000000");
    EXPECT_EQ(number_text(1e17), u"1E+17");
    EXPECT_EQ(number_text(1e100), u"1E+100");
    EXPECT_EQ(number_text(std::numeric_limits<double>::quiet_NaN()), u"NaN");
    EXPECT_EQ(number_text(-std::numeric_limits<double>::infinity()), u"-Infinity");
    EXPECT_EQ(number_text(int64_t{-7}), u"-7");
}

}  // namespace
}  // namespace zelmor::embed
