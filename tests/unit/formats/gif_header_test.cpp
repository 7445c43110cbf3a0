// What the first bytes of a GIF file say, field by field, and where the picture ends in a stream. The files are made by
// hand and have no pixels.
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes joined(std::initializer_list<Bytes> pieces) {
    Bytes out;
    for (const Bytes& piece : pieces) {
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}
Bytes text(std::string_view letters) {
    return {letters.begin(), letters.end()};
}
// Colors that tell their numbers.
Bytes colors(int count, uint8_t first) {
    Bytes out;
    for (int i = 0; i < count; i++) {
        for (int band = 0; band < 3; band++) {
            out.push_back(static_cast<uint8_t>(first + 3 * i + band));
        }
    }
    return out;
}
std::vector<Argb> as_palette(const Bytes& bytes) {
    std::vector<Argb> palette;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        palette.push_back(0xFF000000 | Argb{bytes[i]} << 16 | Argb{bytes[i + 1]} << 8 | bytes[i + 2]);
    }
    return palette;
}

const Bytes kData{2, 3, 1, 2, 3, 0};  // the bits of a code, a sub-block, and the end
Bytes screen(uint8_t flags, uint8_t background = 0, uint8_t aspect = 0) {
    return joined({text("GIF89a"), {0x34, 0x12, 0x02, 0x01, flags, background, aspect}});
}
Bytes frame(uint8_t flags = 0) {
    return {0x2C, 1, 0, 2, 0, 5, 0, 6, 0, flags};
}
Bytes control(uint8_t flags, uint8_t index, uint8_t size = 4) {
    return {0x21, 0xF9, size, flags, 7, 0, index, 0};
}
Bytes loops(uint8_t low, uint8_t high, std::string_view name = "NETSCAPE2.0", uint8_t kind = 1) {
    return joined({{0x21, 0xFF, 11}, text(name), {3, kind, low, high, 0}});
}

struct Found {
    FileFacts facts;
    GifEncoding encoding;
};
Found found(const Bytes& file) {
    FileFacts facts = probe(file);
    EXPECT_EQ(facts.format, Format::kGif);
    const auto* encoding = settings_as<GifEncoding>(facts);
    return {facts, encoding != nullptr ? *encoding : GifEncoding()};
}

TEST(GifHeader, TheMark) {
    EXPECT_EQ(sniff(text("GIF87a1234567")), Format::kGif);
    EXPECT_EQ(sniff(text("GIF89a1234567")), Format::kGif);
    for (size_t at = 0; at < 6; at++) {
        Bytes other = text("GIF89a1234567");
        other[at] ^= 1;
        EXPECT_NE(sniff(other), Format::kGif);
    }
}

TEST(GifHeader, TheScreen) {
    for (int flags = 0; flags < 128; flags++) {
        const Found one = found(joined({screen(static_cast<uint8_t>(flags), 0x5A, 0x31), frame()}));
        EXPECT_TRUE(one.facts.readable);
        EXPECT_EQ(one.facts.width, 0x1234);
        EXPECT_EQ(one.facts.height, 0x0102);
        EXPECT_EQ(one.facts.bits_per_pixel, 8);
        EXPECT_EQ(one.encoding.color_resolution, flags / 16 + 1);
        EXPECT_EQ(one.encoding.sorted_palette, flags / 8 % 2 == 1);
        EXPECT_EQ(one.encoding.background_index, 0x5A);
        EXPECT_EQ(one.encoding.aspect_ratio, 0x31);
        EXPECT_EQ(one.encoding.palette_bits, flags % 8 + 1);
        EXPECT_EQ(one.encoding.loops, 1);
        EXPECT_FALSE(one.encoding.interlaced);
        EXPECT_FALSE(one.facts.has_alpha);
        EXPECT_EQ(one.facts.transparent_color, std::nullopt);
    }
    for (size_t size = 6; size < 23; size++) {
        Bytes cut = joined({screen(0), frame()});
        cut.resize(size);
        EXPECT_FALSE(found(cut).facts.readable) << size;
    }
    for (const size_t at : {size_t{6}, size_t{8}}) {
        Bytes empty = joined({screen(0), frame()});
        empty[at] = empty[at + 1] = 0;
        EXPECT_FALSE(found(empty).facts.readable);
        empty[at + 1] = 1;
        EXPECT_TRUE(found(empty).facts.readable);
    }
}

TEST(GifHeader, ThePaletteOfTheScreenAndOfTheFirstFrame) {
    for (uint8_t bits = 0; bits < 8; bits++) {
        const int count = 2 << bits;
        const Bytes global = colors(count, 10);
        Found one = found(joined({screen(static_cast<uint8_t>(0x80 | bits)), global, frame(), kData}));
        EXPECT_EQ(one.facts.palette, as_palette(global)) << int{bits};
        EXPECT_EQ(one.encoding.palette_bits, bits + 1);
        EXPECT_TRUE(one.facts.readable);
        const Bytes own = colors(count, 90);
        const auto own_flags = static_cast<uint8_t>(0x80 | bits);
        one = found(joined({screen(0x83), colors(16, 10), frame(own_flags), own, kData}));
        EXPECT_EQ(one.facts.palette, as_palette(own)) << int{bits};
        EXPECT_EQ(one.encoding.palette_bits, bits + 1);
        // One that is cut off.
        Bytes cut = joined({screen(0x83), colors(16, 10), frame(own_flags), own});
        cut.pop_back();
        EXPECT_TRUE(found(cut).facts.palette.empty());
    }
    // Where there is none, the format leaves the colors to the reader.
    for (const Bytes& block : {Bytes(), control(1, 1), control(1, 2)}) {
        const Found none = found(joined({screen(7), block, frame(7), kData, Bytes(1000, 9)}));
        const bool clear = !block.empty() && block[6] == 1;
        EXPECT_EQ(none.facts.palette, (std::vector<Argb>{kBlack, clear ? 0x00FFFFFF : kWhite}));
        EXPECT_EQ(none.facts.transparent_color, clear ? std::optional<Argb>(kWhite) : std::nullopt);
    }
    EXPECT_TRUE(found(joined({screen(0), frame(0x40)})).encoding.interlaced);
    EXPECT_FALSE(found(joined({screen(0), frame(0x3F)})).encoding.interlaced);
}

TEST(GifHeader, TheTransparentIndex) {
    const Bytes global = colors(4, 10);
    const auto with = [&](const Bytes& block) { return found(joined({screen(0x81), global, block, frame(), kData})); };
    for (uint8_t index = 0; index < 4; index++) {
        const Found one = with(control(1, index));
        std::vector<Argb> palette = as_palette(global);
        EXPECT_TRUE(one.facts.has_alpha);
        EXPECT_EQ(one.facts.transparent_color, palette[index]);
        palette[index] &= 0xFFFFFF;
        EXPECT_EQ(one.facts.palette, palette);
    }
    for (const uint8_t index : {4, 5, 255}) {
        const Found one = with(control(1, index));
        EXPECT_TRUE(one.facts.has_alpha) << "pixels may have it all the same";
        EXPECT_EQ(one.facts.transparent_color, std::nullopt);
        EXPECT_EQ(one.facts.palette, as_palette(global));
    }
    EXPECT_FALSE(with(control(0xFE, 1)).facts.has_alpha);
    EXPECT_FALSE(with({}).facts.has_alpha);
    EXPECT_FALSE(with({0x21, 0xF9, 3, 1, 7, 1, 0}).facts.has_alpha) << "too short";
    EXPECT_FALSE(with({0x21, 0xFE, 4, 1, 7, 0, 1, 0}).facts.has_alpha) << "a comment";
    EXPECT_TRUE(with({0x21, 0xF9, 5, 1, 7, 0, 1, 9, 0}).facts.has_alpha) << "longer";
    const Found last = with(joined({control(1, 2), control(1, 3)}));
    EXPECT_EQ(last.facts.transparent_color, as_palette(global)[3]);
    EXPECT_FALSE(found(joined({screen(0x81), global, frame(), kData, control(1, 1), frame(), kData})).facts.has_alpha)
        << "of the first frame";
}

TEST(GifHeader, HowOftenItIsShown) {
    const auto with = [](const Bytes& block) {
        return found(joined({screen(0), block, frame(), kData})).encoding.loops;
    };
    EXPECT_EQ(with(loops(0, 0)), 0);
    EXPECT_EQ(with(loops(1, 0)), 2);
    EXPECT_EQ(with(loops(0x34, 0x12)), 0x1235);
    EXPECT_EQ(with(loops(0xFF, 0xFF)), 0x10000);
    EXPECT_EQ(with(loops(5, 0, "NETSCAPE2.1")), 1);
    EXPECT_EQ(with(loops(5, 0, "NETSCAPE2.0", 2)), 1);
    Bytes other = loops(5, 0);
    other[1] = 0xFE;
    EXPECT_EQ(with(other), 1);
    // Blocks of several pieces before it, and what is no block.
    const Bytes comment{0x21, 0xFE, 3, 'a', 'b', 'c', 1, 'd', 2, 'e', 'f', 0};
    EXPECT_EQ(with(joined({comment, loops(4, 0)})), 5);
    EXPECT_EQ(with(joined({{0x00}, loops(4, 0)})), 1);
    EXPECT_FALSE(found(joined({screen(0), {0x3B}, frame()})).facts.readable);
    EXPECT_TRUE(found(joined({screen(0), comment, comment, frame()})).facts.readable);
}

TEST(GifEnd, BehindTheTrailer) {
    const Bytes comment{0x21, 0xFE, 3, 'a', ';', 'c', 1, ';', 0};
    for (const uint8_t bits : {0, 3, 7}) {
        const auto flags = static_cast<uint8_t>(0x80 | bits);
        const Bytes file = joined({screen(flags),
                                   colors(2 << bits, 0x3B),
                                   comment,
                                   frame(flags),
                                   colors(2 << bits, 0x3B),
                                   kData,
                                   control(1, 0),
                                   frame(),
                                   kData,
                                   {0x3B}});
        const Bytes more = joined({file, Bytes(50, 0x3B)});
        const auto end = picture_end(probe(file));
        const uint64_t one = end->limit() - limits::kTextBytes;
        EXPECT_EQ(end->needed(more), file.size());
        EXPECT_EQ(end->limit(), limits::kTextBytes + 3 * one) << "each frame may need as much as the screen";
        for (size_t come = 0; come < file.size(); come++) {
            const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(come));
            const uint64_t needed = picture_end(probe(file))->needed(part);
            EXPECT_GT(needed, come);
            EXPECT_LE(needed, file.size());
            const size_t place = 13 + (size_t{6} << bits) + comment.size();  // of the first frame
            if (come < 13 || (come > place && come < place + 10)) {
                EXPECT_EQ(needed, come < 13 ? 13 : place + 10) << come;
            }
        }
    }
    const Bytes plain = joined({screen(0x70), frame(0x47), kData, {0x3B}});
    EXPECT_EQ(picture_end(probe(plain))->needed(plain), plain.size());
    for (const uint8_t other : {0x00, 0x3A, 0x3C, 0x20, 0x22, 0x2B, 0x2D, 0xFF}) {
        const Bytes file = joined({screen(0), frame(), kData, {other}});
        EXPECT_EQ(picture_end(probe(file))->needed(file), PictureEnd::kUnknown);
    }
}

}  // namespace
}  // namespace zelmor::imagework
