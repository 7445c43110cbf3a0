// Managed text.
#include "runtime/native/core/text.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace zelmor::embed {
namespace {

// The C library's own conversion: nothing for what is malformed or cut off.
template <class To>
class Conversion {
 public:
    Conversion(const char* to, const char* from) : m_state(iconv_open(to, from)) {}
    ~Conversion() { iconv_close(m_state); }
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;

    template <class From>
    std::optional<To> operator()(const From& text) const {
        iconv(m_state, nullptr, nullptr, nullptr, nullptr);
        To made(4 * text.size(), 0);
        auto* in = const_cast<char*>(reinterpret_cast<const char*>(text.data()));
        auto* out = reinterpret_cast<char*>(made.data());
        size_t in_left = text.size() * sizeof text[0];
        size_t out_left = made.size() * sizeof made[0];
        if (iconv(m_state, &in, &in_left, &out, &out_left) == static_cast<size_t>(-1)) {
            return std::nullopt;
        }
        made.resize(made.size() - out_left / sizeof made[0]);
        return made;
    }

 private:
    iconv_t m_state;
};

// Reads the text by pieces of one unit and more, as far as they are well-formed, and replaces each unit that begins
// none.
template <class To, class From>
To by_pieces(const Conversion<To>& conversion, const From& text, size_t longest, const To& replacement) {
    To made;
    for (size_t i = 0; i < text.size();) {
        size_t length = 1;
        std::optional<To> piece;
        while (length <= longest && i + length <= text.size() && !(piece = conversion(text.substr(i, length)))) {
            length++;
        }
        made += piece.value_or(replacement);
        i += piece ? length : 1;
    }
    return made;
}

TEST(TextTest, EveryCodePointIsThatOfTheCLibrary) {
    std::u32string all;
    for (char32_t code = 0; code < 0x110000; code++) {
        if (code < 0xD800 || code > 0xDFFF) {
            all += code;
        }
    }
    const std::string utf8 = Conversion<std::string>("UTF-8", "UTF-32LE")(all).value();
    const std::u16string utf16 = Conversion<std::u16string>("UTF-16LE", "UTF-32LE")(all).value();
    EXPECT_TRUE(to_utf16(utf8) == utf16);
    EXPECT_TRUE(to_utf8(utf16) == utf8);
    EXPECT_TRUE(read_string({static_cast<int32_t>(all.size()), 4, all.data()}) == utf16);
    EXPECT_TRUE(read_string_utf8({static_cast<int32_t>(all.size()), 4, all.data()}) == utf8);
}

TEST(TextTest, MalformedTextIsReplacedUnitByUnit) {
    const Conversion<std::u16string> from_utf8("UTF-16LE", "UTF-8");
    const std::string_view seconds("\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xF5", 10), others("\x41\x80\xBF\xC2", 4);
    for (int lead = 0; lead < 256; lead++) {
        for (const char second : seconds) {
            for (const char third : others) {
                for (const char fourth : others) {
                    const std::string text{static_cast<char>(lead), second, third, fourth};
                    for (size_t size = 1; size <= text.size(); size++) {
                        const std::string part = text.substr(0, size);
                        ASSERT_EQ(to_utf16(part), by_pieces(from_utf8, part, 4, std::u16string(u"\uFFFD")))
                            << lead << ' ' << int{second} << ' ' << int{third} << ' ' << int{fourth};
                    }
                }
            }
        }
    }
    const Conversion<std::string> from_utf16("UTF-8", "UTF-16LE");
    const std::u16string units{0x41,   0x7F,   0x80,   0x7FF,  0x800,  0xD7FF, 0xD800,
                               0xD801, 0xDBFF, 0xDC00, 0xDC01, 0xDFFF, 0xE000, 0xFFFF};
    for (const char16_t first : units) {
        for (const char16_t second : units) {
            const std::u16string text{first, second};
            ASSERT_EQ(to_utf8(text), by_pieces(from_utf16, text, 2, std::string("\xEF\xBF\xBD")))
                << std::hex << int{first} << ' ' << int{second};
        }
    }
}

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

TEST(TextTest, AnExponentStandsWhereDigitsDoNotSuffice) {
    const auto zeros = [](int count) { return std::string(static_cast<size_t>(count), '0'); };
    const auto two_digits = [](int number) { return (number < 10 ? "0" : "") + std::to_string(number); };
    for (int power = -40; power <= 38; power++) {
        const std::string written = power < 0 ? "1.25E-" + two_digits(-power) : "1.25E+" + two_digits(power);
        const std::string plain = power < 0    ? "0." + zeros(-power - 1) + "125"
                                  : power == 0 ? "1.25"
                                  : power == 1 ? "12.5"
                                               : "125" + zeros(power - 2);
        for (const bool negative : {false, true}) {
            const std::string sign = negative ? "-" : "";
            const double number = std::stod(sign + written);
            EXPECT_EQ(to_utf8(number_text(number)), sign + (power < -4 || power > 16 ? written : plain));
            if (power >= -37) {  // one of full precision
                EXPECT_EQ(to_utf8(number_text(static_cast<float>(number))),
                          sign + (power < -4 || power > 8 ? written : plain));
            }
        }
    }
    EXPECT_EQ(number_text(1.25e-99), u"1.25E-99");
    EXPECT_EQ(number_text(1.25e-100), u"1.25E-100");
    EXPECT_EQ(number_text(1.25e99), u"1.25E+99");
    EXPECT_EQ(number_text(std::numeric_limits<double>::infinity()), u"Infinity");
    EXPECT_EQ(number_text(std::numeric_limits<float>::infinity()), u"Infinity");
    EXPECT_EQ(number_text(-std::numeric_limits<float>::infinity()), u"-Infinity");
    EXPECT_EQ(number_text(std::numeric_limits<float>::quiet_NaN()), u"NaN");
    EXPECT_EQ(number_text(0.0), u"0");
    EXPECT_EQ(number_text(std::numeric_limits<int64_t>::min()), u"-9223372036854775808");
}

}  // namespace
}  // namespace zelmor::embed
