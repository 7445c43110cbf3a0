// Texts in ISO 8859-15 beside the conversions of the C library: every byte, and every character of the first plane.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/formats/jpeg2000/latin_text.h"

namespace zelmor::imagework {
namespace {

std::optional<std::string> converted(const char* to, const char* from, std::string text) {
    const iconv_t conversion = iconv_open(to, from);
    std::string out(4 * text.size() + 4, '\0');
    char* in_at = text.data();
    char* out_at = out.data();
    size_t in_left = text.size();
    size_t out_left = out.size();
    const bool done = iconv(conversion, &in_at, &in_left, &out_at, &out_left) == 0;
    iconv_close(conversion);
    out.resize(out.size() - out_left);
    return done ? std::optional(out) : std::nullopt;
}

std::optional<std::string> as_latin9(const std::string& text) {
    const auto bytes = to_latin9(text);
    return bytes ? std::optional(std::string(bytes->begin(), bytes->end())) : std::nullopt;
}

TEST(LatinText, EveryByte) {
    std::string all;
    for (int byte = 0; byte < 256; byte++) {
        all += static_cast<char>(byte);
        const auto one = static_cast<uint8_t>(byte);
        EXPECT_EQ(from_latin9({&one, 1}), converted("UTF-8", "ISO-8859-15", std::string(1, all.back()))) << byte;
    }
    const std::vector<uint8_t> bytes(all.begin(), all.end());
    EXPECT_EQ(from_latin9(bytes), converted("UTF-8", "ISO-8859-15", all));
    EXPECT_EQ(as_latin9(from_latin9(bytes)), all);
}

TEST(LatinText, EveryCharacter) {
    for (uint32_t character = 0; character < 0x10000; character++) {
        std::string text = "a";
        if (character < 0x80) {
            text += static_cast<char>(character);
        } else if (character < 0x800) {
            text += static_cast<char>(0xC0 + character / 64);
            text += static_cast<char>(0x80 + character % 64);
        } else {
            text += static_cast<char>(0xE0 + character / 4096);
            text += static_cast<char>(0x80 + character / 64 % 64);
            text += static_cast<char>(0x80 + character % 64);
        }
        text += "b";
        ASSERT_EQ(as_latin9(text), converted("ISO-8859-15", "UTF-8", text)) << character;
    }
}

TEST(LatinText, WhatIsNoText) {
    for (const char* text : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3",
                             "\xC3"
                             "a",
                             "\xC3\xC3", "\xE2", "\xE2\x82",
                             "\xE2\x82"
                             "a",
                             "\xE2"
                             "a\x80",
                             "\xE0\xA0", "\xF0\x9F\x98\x80", "\xFF"}) {
        EXPECT_EQ(to_latin9(text), std::nullopt) << text;
        EXPECT_EQ(to_latin9(std::string("a") + text), std::nullopt);
    }
    EXPECT_EQ(as_latin9(""), "");
}

}  // namespace
}  // namespace zelmor::imagework
