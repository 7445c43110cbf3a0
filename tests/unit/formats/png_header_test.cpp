// What the chunks of a PNG file say before its pixels, field by field, and where the picture ends in a stream. The
// files are made by hand and have no pixels; checksums are those of the pixels' decoder and not looked at here.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

void add(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes; i-- > 0;) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
Bytes joined(std::initializer_list<Bytes> pieces) {
    Bytes out;
    for (const Bytes& piece : pieces) {
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}
Bytes chunk(std::string_view type, const Bytes& content) {
    Bytes out;
    add(out, content.size(), 4);
    out.insert(out.end(), type.begin(), type.end());
    out.insert(out.end(), content.begin(), content.end());
    add(out, 0, 4);
    return out;
}
Bytes words(std::initializer_list<uint32_t> values) {
    Bytes out;
    for (const uint32_t value : values) {
        add(out, value, 4);
    }
    return out;
}

const Bytes kMark{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
Bytes header(uint8_t depth, uint8_t color, uint8_t interlace = 0, uint32_t width = 0x01020304,
             uint32_t height = 0x00050607) {
    return chunk("IHDR", joined({words({width, height}), {depth, color, 0, 0, interlace}}));
}
const Bytes kEnd = joined({chunk("IDAT", {1, 2, 3}), chunk("IEND", {})});

struct Found {
    FileFacts facts;
    PngEncoding encoding;
};
Found found(const Bytes& start, const Bytes& chunks = {}) {
    FileFacts facts = probe(joined({kMark, start, chunks, kEnd}));
    EXPECT_EQ(facts.format, Format::kPng);
    const auto* encoding = settings_as<PngEncoding>(facts);
    return {facts, encoding != nullptr ? *encoding : PngEncoding()};
}

TEST(PngHeader, TheMark) {
    EXPECT_EQ(sniff(kMark), Format::kPng);
    for (size_t at = 0; at < kMark.size(); at++) {
        Bytes other = kMark;
        other[at] ^= 1;
        EXPECT_NE(sniff(other), Format::kPng);
    }
}

TEST(PngHeader, EveryColorTypeAndDepth) {
    constexpr std::array<int, 7> kChannels{1, 0, 3, 1, 2, 0, 4};
    for (unsigned color = 0; color < 256; color++) {
        for (const unsigned depth : {0U, 1U, 2U, 3U, 4U, 5U, 8U, 12U, 15U, 16U, 17U, 32U, 64U, 128U, 255U}) {
            const Found one = found(header(static_cast<uint8_t>(depth), static_cast<uint8_t>(color)));
            const int channels = color < 7 ? kChannels[color] : 0;
            const bool sound = channels > 0 && (depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16);
            ASSERT_EQ(one.facts.readable, sound) << color << " " << depth;
            if (!sound) {
                continue;
            }
            EXPECT_EQ(one.facts.width, 0x01020304);
            EXPECT_EQ(one.facts.height, 0x00050607);
            EXPECT_EQ(one.facts.bits_per_pixel, static_cast<int>(depth) * channels);
            EXPECT_EQ(one.facts.has_alpha, color == 4 || color == 6);
            EXPECT_EQ(static_cast<unsigned>(one.encoding.color), color);
            EXPECT_EQ(static_cast<unsigned>(one.encoding.notes_color), color);
            EXPECT_EQ(one.encoding.bit_depth, static_cast<int>(depth));
            EXPECT_EQ(one.encoding.notes_depth, static_cast<int>(depth));
            EXPECT_FALSE(one.encoding.interlaced);
            EXPECT_EQ(one.facts.variant, Variant::kUsual);
        }
    }
    EXPECT_TRUE(found(header(8, 2, 1)).encoding.interlaced);
    EXPECT_FALSE(found(header(8, 2, 2)).encoding.interlaced);
    EXPECT_FALSE(found(header(8, 2, 0, 0)).facts.readable);
    EXPECT_FALSE(found(header(8, 2, 0, 1, 0)).facts.readable);
    EXPECT_TRUE(found(header(8, 2, 0, 1, 1)).facts.readable);
    EXPECT_FALSE(found(chunk("IHDS", Bytes(13, 1))).facts.readable);
    const Bytes whole = joined({kMark, header(8, 2)});
    for (size_t size = 8; size < 29; size++) {
        EXPECT_FALSE(probe(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size))).readable) << size;
    }
    EXPECT_TRUE(probe(whole).readable);
}

TEST(PngHeader, ThePaletteAndItsOpacities) {
    Bytes colors;
    std::vector<Argb> palette;
    for (Argb i = 0; i < 256; i++) {
        add(colors, i << 16 | (255 - i) << 8 | (i ^ 0x3C), 3);
        palette.push_back(0xFF000000 | i << 16 | (255 - i) << 8 | (i ^ 0x3C));
    }
    for (const size_t count : {size_t{1}, size_t{2}, size_t{17}, size_t{255}, size_t{256}}) {
        const Bytes some(colors.begin(), colors.begin() + static_cast<std::ptrdiff_t>(3 * count));
        const std::vector<Argb> expected(palette.begin(), palette.begin() + static_cast<std::ptrdiff_t>(count));
        EXPECT_EQ(found(header(8, 3), chunk("PLTE", some)).facts.palette, expected);
        EXPECT_TRUE(found(header(8, 2), chunk("PLTE", some)).facts.palette.empty()) << "a proposal";
    }
    EXPECT_EQ(found(header(8, 3), chunk("PLTE", joined({colors, {1, 2, 3}}))).facts.palette, palette);
    EXPECT_EQ(found(header(8, 3), chunk("PLTE", {1, 2, 3, 4, 5})).facts.palette, std::vector<Argb>{0xFF010203});
    EXPECT_EQ(found(header(8, 3), joined({chunk("PLTE", {1, 2, 3}), chunk("PLTE", {4, 5, 6})})).facts.palette,
              std::vector<Argb>{0xFF010203});
    const Bytes three = chunk("PLTE", {1, 2, 3, 4, 5, 6, 7, 8, 9});
    const Found clear = found(header(8, 3), joined({three, chunk("tRNS", {0x80, 0})}));
    EXPECT_EQ(clear.facts.palette, (std::vector<Argb>{0x80010203, 0x00040506, 0xFF070809}));
    EXPECT_TRUE(clear.facts.has_alpha);
    EXPECT_EQ(clear.facts.transparent_color, std::nullopt);
    EXPECT_EQ(clear.encoding.key, std::nullopt);
    EXPECT_EQ(found(header(8, 3), joined({three, chunk("tRNS", Bytes(9, 7))})).facts.palette,
              (std::vector<Argb>{0x07010203, 0x07040506, 0x07070809}));
}

TEST(PngHeader, TheTransparentColor) {
    for (const uint8_t depth : {1, 2, 4, 8, 16}) {
        const uint32_t top = (1U << depth) - 1;
        for (const uint32_t sample : {0U, 1U, top / 2, top - 1, top, 0xFFFFU}) {
            Bytes content;
            add(content, sample, 2);
            const Found one = found(header(depth, 0), chunk("tRNS", content));
            const uint32_t byte = depth == 16 ? sample / 256 : std::min(sample, top) * 255 / top;
            EXPECT_EQ(one.facts.transparent_color, 0xFF000000 | byte * 0x010101) << int{depth} << " " << sample;
            EXPECT_TRUE(one.facts.has_alpha);
            EXPECT_EQ(one.encoding.key, (PngKey{depth, {static_cast<uint16_t>(sample & top)}}));
        }
    }
    EXPECT_EQ(found(header(8, 0), chunk("tRNS", {1})).facts.transparent_color, std::nullopt);
    EXPECT_EQ(found(header(8, 0), chunk("tRNS", {1})).encoding.key, std::nullopt);
    const Bytes rgb{0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    const Found deep = found(header(16, 2), chunk("tRNS", rgb));
    EXPECT_EQ(deep.facts.transparent_color, 0xFF12569AU);
    EXPECT_EQ(deep.encoding.key, (PngKey{16, {0x1234, 0x5678, 0x9ABC}}));
    const Found narrow = found(header(8, 2), chunk("tRNS", {0, 1, 0, 2, 0, 3}));
    EXPECT_EQ(narrow.facts.transparent_color, 0xFF010203U);
    EXPECT_EQ(narrow.encoding.key, (PngKey{8, {1, 2, 3}}));
    const Found cut = found(header(16, 2), chunk("tRNS", {1, 2, 3, 4, 5}));
    EXPECT_EQ(cut.facts.transparent_color, std::nullopt);
    EXPECT_EQ(cut.encoding.key, std::nullopt);
    for (const uint8_t color : {4, 6}) {
        EXPECT_EQ(found(header(8, color), chunk("tRNS", rgb)).facts.transparent_color, std::nullopt);
        EXPECT_EQ(found(header(8, color), chunk("tRNS", rgb)).encoding.key, std::nullopt);
    }
}

TEST(PngHeader, OtherChunks) {
    const auto with = [](const Bytes& chunks) { return found(header(8, 2), chunks); };
    EXPECT_TRUE(with(chunk("pHYs", joined({words({1, 2}), {1}}))).facts.has_resolution);
    for (const uint8_t unit : {0, 2}) {
        const Found one = with(chunk("pHYs", joined({words({0x01020304, 0x05060708}), {unit}})));
        EXPECT_FALSE(one.facts.has_resolution);
        EXPECT_EQ(one.encoding.aspect,
                  unit == 0 ? (std::array<uint32_t, 2>{0x01020304, 0x05060708}) : (std::array<uint32_t, 2>{}));
    }
    EXPECT_EQ(with(chunk("pHYs", joined({words({1, 2}), {0, 0}}))).encoding.aspect, (std::array<uint32_t, 2>{}));
    for (const auto& [count, frames] : {std::pair{0U, 1},
                                        {1U, 1},
                                        {2U, 2},
                                        {0x7FFFFFFFU, 0x7FFFFFFF},
                                        {0x80000000U, 0x7FFFFFFF},
                                        {0xFFFFFFFFU, 0x7FFFFFFF}}) {
        const Found one = with(chunk("acTL", words({count, 0x80000005})));
        EXPECT_EQ(one.facts.variant, Variant::kApng);
        EXPECT_TRUE(one.facts.has_still);
        EXPECT_EQ(one.facts.frame_count, frames);
        EXPECT_EQ(one.encoding.plays, 5);
    }
    EXPECT_EQ(with(chunk("acTL", words({1, 0x7FFFFFFF}))).encoding.plays, 0x7FFFFFFF);
    const Found plain = with({});
    EXPECT_FALSE(plain.facts.has_still || plain.facts.has_resolution || plain.facts.has_alpha);
    EXPECT_EQ(plain.facts.frame_count, 1);
    EXPECT_EQ(plain.encoding.srgb_intent, std::nullopt);
    for (int intent = 0; intent < 4; intent++) {
        EXPECT_EQ(with(chunk("sRGB", {static_cast<uint8_t>(intent)})).encoding.srgb_intent, intent);
    }
    EXPECT_EQ(with(chunk("sRGB", {4})).encoding.srgb_intent, 3);
    EXPECT_EQ(with(chunk("sRGB", {200})).encoding.srgb_intent, 3);
    EXPECT_EQ(with(chunk("sRGB", {1, 1})).encoding.srgb_intent, std::nullopt);
    for (const size_t size : {size_t{3}, size_t{4}, size_t{5}, size_t{31}, size_t{32}, size_t{33}}) {
        EXPECT_EQ(with(chunk("gAMA", Bytes(size))).encoding.srgb_gamma, size == 4);
        EXPECT_EQ(with(chunk("cHRM", Bytes(size))).encoding.srgb_chromaticities, size == 32);
    }
    // What stands behind the first data says nothing here.
    const Found late = found(header(8, 2), joined({chunk("IDAT", {}), chunk("sRGB", {1})}));
    EXPECT_EQ(late.encoding.srgb_intent, std::nullopt);
    EXPECT_EQ(found(header(8, 2), joined({chunk("IEND", {}), chunk("sRGB", {1})})).encoding.srgb_intent, std::nullopt);
    EXPECT_EQ(found(header(8, 2), joined({chunk("teSt", Bytes(7)), chunk("sRGB", {1})})).encoding.srgb_intent, 1);
}

TEST(PngHeader, ChunksThatAreKeptAsTheyAre) {
    using About = PngNote::About;
    for (const auto& [type, about] : std::vector<std::pair<std::string, About>>{{"cICP", About::kColors},
                                                                                {"mDCV", About::kColors},
                                                                                {"mDCv", About::kColors},
                                                                                {"cLLI", About::kColors},
                                                                                {"cLLi", About::kColors},
                                                                                {"sBIT", About::kForm},
                                                                                {"bKGD", About::kForm},
                                                                                {"hIST", About::kUntouched},
                                                                                {"oFFs", About::kUntouched},
                                                                                {"pCAL", About::kUntouched},
                                                                                {"sCAL", About::kUntouched},
                                                                                {"sTER", About::kUntouched}}) {
        for (const size_t size : {size_t{0}, size_t{3}, size_t{4096}, size_t{4097}}) {
            Bytes content(size, 5);
            if (size > 0) {
                content.back() = 9;
            }
            const Found one = found(header(8, 2), joined({chunk(type, content), chunk(type, {1})}));
            ASSERT_EQ(one.encoding.notes.size(), 1U) << type << " " << size;
            const PngNote& note = one.encoding.notes[0];
            EXPECT_EQ(note.about, about) << type;
            EXPECT_EQ(std::string(note.type.data()), type);
            EXPECT_EQ(note.content, size > 4096 ? Bytes{1} : content) << "the first that is not too long";
        }
    }
    for (const std::string_view type : {"tEXt", "tIME", "iCCP", "eXIf", "sPLT"}) {
        EXPECT_TRUE(found(header(8, 2), chunk(type, {1, 2})).encoding.notes.empty());
    }
    Bytes cut = joined({kMark, header(8, 2), chunk("sBIT", {1, 2, 3})});
    cut.resize(cut.size() - 5);
    const FileFacts facts = probe(cut);
    EXPECT_TRUE(settings_as<PngEncoding>(facts)->notes.empty());
}

TEST(PngEnd, EachFrameMayNeedAsMuchAsThePicture) {
    const auto room = [](const Bytes& chunks) {
        return picture_end(probe(joined({kMark, header(8, 2, 0, 3, 3), chunks})))->limit() - limits::kTextBytes;
    };
    const uint64_t one = room({});
    EXPECT_GT(one, 0U);
    for (const uint32_t count : {1U, 2U, 3U, 9U}) {
        EXPECT_EQ(room(chunk("acTL", words({count, 0}))), count * one);
    }
    const auto most = static_cast<uint32_t>(limits::kFrames);
    EXPECT_EQ(room(chunk("acTL", words({most + 1, 0}))), room(chunk("acTL", words({most, 0}))));
}

TEST(PngEnd, BehindTheEndChunk) {
    const Bytes file = joined({kMark, header(8, 2), chunk("teSt", Bytes(40)), kEnd});
    const Bytes more = joined({file, Bytes(50, 1)});
    EXPECT_EQ(picture_end(probe(file))->needed(more), file.size());
    for (size_t come = 0; come < file.size(); come++) {
        const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(come));
        const uint64_t needed = picture_end(probe(file))->needed(part);
        EXPECT_GT(needed, come);
        EXPECT_LE(needed, file.size());
    }
    // Where a decoder stops, too: names are letters, and lengths have 31 bits.
    for (const auto& [letter, goes_on] : std::vector<std::pair<char, bool>>{{'@', false},
                                                                            {'A', true},
                                                                            {'Z', true},
                                                                            {'[', false},
                                                                            {'`', false},
                                                                            {'a', true},
                                                                            {'z', true},
                                                                            {'{', false}}) {
        for (size_t i = 0; i < 4; i++) {
            std::string name = "teSt";
            name[i] = letter;
            const Bytes strange = joined({kMark, header(8, 2), chunk(name, Bytes(40)), kEnd});
            EXPECT_EQ(picture_end(probe(strange))->needed(strange), goes_on ? strange.size() : 33U + 12) << name;
        }
    }
    Bytes longest = file;
    longest[33] = 0x7F;
    EXPECT_GT(picture_end(probe(longest))->needed(longest), uint64_t{0x7F000000});
    longest[33] = 0x80;
    EXPECT_EQ(picture_end(probe(longest))->needed(longest), 33U + 12);
}

}  // namespace
}  // namespace zelmor::imagework
