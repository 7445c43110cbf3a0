// What the chunks of a WebP file say, field by field, and where its frames and its end are. The files are made by hand
// and have no pixels behind the headers of their pictures.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/formats/webp/webp_structure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

void add(Bytes& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++) {
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
    Bytes out(type.begin(), type.end());
    add(out, content.size(), 4);
    out.insert(out.end(), content.begin(), content.end());
    out.resize((out.size() + 1) / 2 * 2);
    return out;
}
Bytes riff(const Bytes& chunks) {
    Bytes out{'R', 'I', 'F', 'F'};
    add(out, chunks.size() + 4, 4);
    return joined({out, {'W', 'E', 'B', 'P'}, chunks});
}
Bytes extended(uint8_t flags, uint32_t width, uint32_t height) {
    Bytes content{flags, 0, 0, 0};
    add(content, width - 1, 3);
    add(content, height - 1, 3);
    return chunk("VP8X", content);
}
Bytes lossy(uint32_t width, uint32_t height, size_t more = 0) {
    Bytes content{0, 1, 2, 0x9D, 1, 0x2A};
    add(content, width, 2);
    add(content, height, 2);
    content.resize(content.size() + more);
    return chunk("VP8 ", content);
}
Bytes lossless(uint32_t width, uint32_t height, bool alpha, size_t more = 0) {
    Bytes content{0x2F};
    add(content, (width - 1) | (height - 1) << 14 | (alpha ? 1U << 28 : 0), 4);
    content.resize(content.size() + more);
    return chunk("VP8L", content);
}
struct Place {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 6;
    uint32_t height = 4;
    uint32_t duration = 0;
    uint8_t flags = 0;
};
Bytes frame(const Place& place, const Bytes& chunks) {
    Bytes content;
    for (const uint32_t value : {place.x / 2, place.y / 2, place.width - 1, place.height - 1, place.duration}) {
        add(content, value, 3);
    }
    content.push_back(place.flags);
    return chunk("ANMF", joined({content, chunks}));
}

WebpStructure structure(const Bytes& file, bool lenient = false) {
    SourceBytes bytes(memory_source(file));
    return webp_structure(bytes, lenient);
}
std::string damage(const Bytes& file, bool lenient = false) {
    const PictureError error = failure_of([&] { structure(file, lenient); });
    EXPECT_EQ(error.kind(), Failure::kDamaged);
    return error.what();
}
WebpEncoding settings(const FileFacts& facts) {
    return facts.encoding ? facts.encoding->get<WebpEncoding>() : WebpEncoding();
}

// ---- The facts.

TEST(WebpHeader, TheMark) {
    const Bytes file = riff(lossy(3, 3));
    EXPECT_EQ(sniff(file), Format::kWebp);
    for (size_t at = 0; at < 12; at++) {
        Bytes other = file;
        other[at] ^= 1;
        EXPECT_EQ(sniff(other) == Format::kWebp, at >= 4 && at < 8);
    }
}

TEST(WebpHeader, SidesOfEachKindOfPicture) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {0x1234U, 0x0567U}, {0x3FFFU, 1U}, {1U, 0x3FFFU}}) {
        FileFacts facts = probe(riff(lossy(width, height)));
        EXPECT_TRUE(facts.readable);
        EXPECT_EQ(facts.width, width);
        EXPECT_EQ(facts.height, height);
        EXPECT_EQ(facts.bits_per_pixel, 24);
        EXPECT_FALSE(facts.has_alpha);
        EXPECT_FALSE(settings(facts).lossless);
        // The upper bits are a scale, which decoders leave to the reader.
        facts = probe(riff(lossy(width | 0xC000, height | 0x4000)));
        EXPECT_EQ(facts.width, width);
        EXPECT_EQ(facts.height, height);
        for (const bool alpha : {false, true}) {
            facts = probe(riff(lossless(width + 1, height + 1, alpha)));
            EXPECT_TRUE(facts.readable);
            EXPECT_EQ(facts.width, width + 1);
            EXPECT_EQ(facts.height, height + 1);
            EXPECT_EQ(facts.has_alpha, alpha);
            EXPECT_EQ(facts.bits_per_pixel, alpha ? 32 : 24);
            EXPECT_TRUE(settings(facts).lossless);
        }
    }
    const FileFacts wide = probe(riff(joined({extended(0, 0x010203, 0x040506), lossy(3, 3)})));
    EXPECT_EQ(wide.width, 0x010203);
    EXPECT_EQ(wide.height, 0x040506);
    EXPECT_FALSE(probe(riff(lossy(0, 3))).readable);
    EXPECT_FALSE(probe(riff(lossy(3, 0))).readable);
    EXPECT_FALSE(probe(riff(chunk("VP8M", Bytes(20)))).readable);
    for (const Bytes& file : {riff(lossy(3, 3)), riff(lossless(3, 3, false)), riff(extended(0, 3, 3))}) {
        EXPECT_TRUE(probe(file).readable);
        const size_t least = file[15] == ' ' ? 30 : file[15] == 'L' ? 25 : 30;
        for (size_t size = 12; size < least; size++) {
            EXPECT_FALSE(probe(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))).readable) << size;
        }
        EXPECT_TRUE(probe(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(least))).readable);
    }
}

TEST(WebpHeader, TheExtendedHeader) {
    for (int flags = 0; flags < 256; flags++) {
        const FileFacts facts = probe(riff(joined({extended(static_cast<uint8_t>(flags), 5, 4), lossy(5, 4)})));
        EXPECT_EQ(facts.has_alpha, (flags & 0x10) != 0);
        EXPECT_EQ(facts.has_resolution, (flags & 8) != 0);
        EXPECT_EQ(facts.bits_per_pixel, (flags & 0x10) != 0 ? 32 : 24);
    }
    const Bytes animation = chunk("ANIM", {1, 2, 3, 4, 5, 6});
    const auto found = [](const Bytes& chunks) { return settings(probe(riff(joined({extended(2, 6, 4), chunks})))); };
    EXPECT_TRUE(found(lossless(6, 4, false)).lossless);
    EXPECT_FALSE(found(lossy(6, 4)).lossless);
    EXPECT_TRUE(found(frame({}, lossless(6, 4, false))).lossless);
    EXPECT_FALSE(found(frame({}, lossy(6, 4))).lossless);
    EXPECT_FALSE(found(joined({chunk("ALPH", {0}), lossless(6, 4, false)})).lossless) << "of a lossy picture";
    EXPECT_FALSE(found(joined({lossy(6, 4), lossless(6, 4, false)})).lossless) << "the first one counts";
    EXPECT_TRUE(found(joined({chunk("ICCP", {1, 2, 3}), animation, frame({}, lossless(6, 4, false))})).lossless);
    const WebpEncoding own = found(joined({animation, frame({}, lossy(6, 4))}));
    EXPECT_EQ(own.background, 0x04030201U);
    EXPECT_EQ(own.loops, 0x0605);
    const WebpEncoding plain = found(joined({chunk("ANIM", Bytes(6)), frame({}, lossy(6, 4))}));
    EXPECT_EQ(plain.background, WebpEncoding().background);
    EXPECT_EQ(plain.loops, 0);
    EXPECT_EQ(found(joined({frame({}, lossy(6, 4)), animation})).loops, WebpEncoding().loops);
    // The head of a chunk tells its kind, even where the file ends behind it; less than a head tells nothing.
    const Bytes whole = riff(joined({extended(0, 6, 4), lossless(6, 4, false)}));
    for (size_t size = 30; size <= whole.size(); size++) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(settings(probe(cut)).lossless, size >= 30 + 8) << size;
    }
}

TEST(WebpEnd, WhereTheHeaderSays) {
    const Bytes file =
        riff(joined({extended(2, 6, 4), chunk("XMP ", Bytes(5)), frame({}, lossy(6, 4, 3)), frame({}, lossy(6, 4))}));
    const Bytes more = joined({file, Bytes(40, 'x')});
    EXPECT_EQ(picture_end(probe(file))->needed(more), file.size());
    for (size_t come = 0; come < file.size(); come++) {
        const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(come));
        // The header of the file, those of its four chunks, and all of it.
        size_t expected = come < 12 ? 12 : file.size();
        for (const size_t at : {size_t{90}, size_t{44}, size_t{30}, size_t{12}}) {
            expected = come >= 12 && come < at + 8 ? at + 8 : expected;
        }
        EXPECT_EQ(picture_end(probe(file))->needed(part), expected) << come;
    }
    // Each frame may need as much as the picture of the header.
    const auto end = picture_end(probe(file));
    const uint64_t one = end->limit() - limits::kTextBytes;
    end->needed(file);
    EXPECT_EQ(end->limit(), limits::kTextBytes + 3 * one);
    for (const auto& [letter, goes_on] : {std::pair{' ', true}, {'~', true}, {'\x1F', false}, {'\x7F', false}}) {
        for (size_t i = 0; i < 4; i++) {
            Bytes other = file;
            other[30 + i] = static_cast<uint8_t>(letter);
            EXPECT_EQ(picture_end(probe(other))->needed(other), goes_on ? other.size() : 30) << i;
        }
    }
    Bytes odd = riff(lossy(3, 3, 1));
    odd[4]--;  // without the padding of its last chunk, which the file has all the same
    EXPECT_EQ(picture_end(probe(odd))->needed(odd), odd.size());
}

// ---- The structure.

TEST(WebpStructures, TheFramesOfAnAnimation) {
    const Bytes first = joined({chunk("ALPH", {1, 2, 3}), lossy(4, 2, 3)});
    const Bytes second = lossless(0x102, 0x203, true, 2);
    const Bytes file =
        riff(joined({extended(0x12, 0x012346, 0x020406), chunk("ICCP", {1, 2, 3}), chunk("ANIM", Bytes(6)),
                     frame({0x1230, 0x0456, 4, 2, 0x123456, 0}, first), frame({2, 4, 0x102, 0x203, 7, 3}, second),
                     chunk("EXIF", {4, 5}), chunk("ICCP", {9}), chunk("EXIF", {9})}));
    const WebpStructure found = structure(file);
    EXPECT_EQ(found.width, 0x012346);
    EXPECT_EQ(found.height, 0x020406);
    EXPECT_TRUE(found.animated);
    EXPECT_TRUE(found.claims_alpha);
    EXPECT_EQ(found.profile.at, 30U + 8);
    EXPECT_EQ(found.profile.size, 3U);
    ASSERT_EQ(found.frames.size(), 2U);
    const WebpFramePlace& one = found.frames[0];
    EXPECT_EQ(one.area, (Rect{0x1230, 0x0456, 4, 2}));
    EXPECT_EQ(one.duration, 0x123456);
    EXPECT_EQ(one.disposal, FrameDisposal::kLeave);
    EXPECT_TRUE(one.over);
    EXPECT_TRUE(one.alpha);
    EXPECT_FALSE(one.lossless);
    EXPECT_EQ(one.data.at, 30U + 12 + 14 + 24);
    EXPECT_EQ(one.data.size, first.size() - 1);
    const WebpFramePlace& two = found.frames[1];
    EXPECT_EQ(two.area, (Rect{2, 4, 0x102, 0x203}));
    EXPECT_EQ(two.duration, 7);
    EXPECT_EQ(two.disposal, FrameDisposal::kClear);
    EXPECT_FALSE(two.over);
    EXPECT_TRUE(two.alpha);
    EXPECT_TRUE(two.lossless);
    EXPECT_EQ(two.data.at, one.data.at + first.size() + 24);
    EXPECT_EQ(found.exif.at, two.data.at + second.size() + 8);
    EXPECT_EQ(found.exif.size, 2U);
    for (uint8_t flags = 0; flags < 8; flags++) {
        const WebpFramePlace own =
            structure(riff(joined({extended(2, 6, 4), frame({0, 0, 6, 4, 0, flags}, lossy(6, 4))}))).frames[0];
        EXPECT_EQ(own.disposal, flags % 2 == 1 ? FrameDisposal::kClear : FrameDisposal::kLeave);
        EXPECT_EQ(own.over, flags / 2 % 2 == 0);
        EXPECT_FALSE(own.alpha);
    }
}

TEST(WebpStructures, TheFlagsOfTheHeader) {
    for (int flags = 0; flags < 256; flags++) {
        const bool animated = (flags & 2) != 0;
        const Bytes picture = animated ? frame({}, lossy(6, 4)) : lossy(6, 4);
        const WebpStructure found = structure(riff(joined({extended(static_cast<uint8_t>(flags), 6, 4), picture})));
        EXPECT_EQ(found.animated, animated);
        EXPECT_EQ(found.claims_alpha, (flags & 0x10) != 0);
    }
}

TEST(WebpStructures, StillPictures) {
    for (const bool alpha : {false, true}) {
        const Bytes picture = lossless(9, 7, alpha);
        const WebpStructure found = structure(riff(picture));
        EXPECT_EQ(found.width, 9);
        EXPECT_EQ(found.height, 7);
        EXPECT_FALSE(found.animated || found.claims_alpha);
        ASSERT_EQ(found.frames.size(), 1U);
        EXPECT_EQ(found.frames[0].alpha, alpha);
        EXPECT_TRUE(found.frames[0].lossless);
        EXPECT_EQ(found.frames[0].data.at, 12U);
        EXPECT_EQ(found.frames[0].data.size, 13U);
    }
    const WebpStructure largest = structure(riff(lossless(0x4000, 0x3FFF, false)));
    EXPECT_EQ(largest.width, 0x4000);
    EXPECT_EQ(largest.height, 0x3FFF);
    const Bytes alpha = chunk("ALPH", {1, 2, 3});
    WebpStructure found = structure(riff(joined({extended(0x10, 9, 7), alpha, lossy(9, 7)})));
    EXPECT_TRUE(found.frames[0].alpha);
    EXPECT_EQ(found.frames[0].data.at, 30U);
    EXPECT_EQ(found.frames[0].data.size, alpha.size() + 18);
    found = structure(riff(joined({extended(0x10, 9, 7), alpha, lossless(9, 7, false)})));
    EXPECT_FALSE(found.frames[0].alpha) << "it is that of a lossy picture";
    EXPECT_EQ(found.frames[0].data.at, 30U + alpha.size());
    found = structure(riff(joined({extended(0, 9, 7), lossy(9, 7), lossy(3, 3)})));
    EXPECT_EQ(found.frames.size(), 1U) << "the first one counts";
    found = structure(riff(joined({extended(0, 9, 7), frame({}, lossy(6, 4)), lossy(9, 7)})));
    EXPECT_EQ(found.frames.size(), 1U) << "frames of what is no animation";
    EXPECT_EQ(found.frames[0].area, (Rect{0, 0, 9, 7}));
    EXPECT_EQ(damage(riff(joined({extended(0, 9, 8), lossy(9, 7)}))),
              "the picture has another size than the header tells");
    EXPECT_EQ(damage(riff(joined({extended(0, 8, 7), lossy(9, 7)}))),
              "the picture has another size than the header tells");
    EXPECT_EQ(damage(riff(joined({extended(0, 9, 7), chunk("EXIF", {1})}))), "there is no picture");
    EXPECT_EQ(damage(riff(joined({extended(2, 9, 7), lossy(9, 7)}))), "there is no frame");
}

TEST(WebpStructures, HeadersThatMakeNoSense) {
    EXPECT_EQ(damage(Bytes(40)), "there is no RIFF header");
    for (const size_t at : {size_t{0}, size_t{3}, size_t{8}, size_t{11}}) {
        Bytes other = riff(lossy(3, 3));
        other[at] ^= 1;
        EXPECT_EQ(damage(other), "there is no RIFF header");
    }
    EXPECT_EQ(damage(riff({})), "there is no chunk");
    EXPECT_EQ(damage(riff(Bytes(7))), "there is no chunk");
    EXPECT_EQ(damage(riff(chunk("ALPH", Bytes(20)))), "the first chunk is none that a file begins with");
    for (size_t size = 0; size < 10; size++) {
        EXPECT_EQ(damage(riff(chunk("VP8X", Bytes(size)))), "the header is incomplete") << size;
    }
    EXPECT_EQ(damage(riff(chunk("VP8X", Bytes(10)))), "there is no picture");
    const std::string none = "a picture has no header";
    for (size_t size = 0; size < 10; size++) {
        Bytes content{0, 1, 2, 0x9D, 1, 0x2A, 3, 0, 3, 0};
        content.resize(size);
        EXPECT_EQ(damage(riff(chunk("VP8 ", content))), none) << size;
    }
    for (size_t size = 0; size < 5; size++) {
        Bytes content{0x2F, 2, 0, 0, 0};
        content.resize(size);
        EXPECT_EQ(damage(riff(chunk("VP8L", content))), none) << size;
    }
    for (const size_t at : {size_t{20}, size_t{23}, size_t{24}, size_t{25}}) {
        Bytes other = riff(lossy(3, 3));
        other[at] ^= 1;  // no key frame, or no mark
        EXPECT_EQ(damage(other), none);
    }
    Bytes other = riff(lossy(3, 3));
    other[20] = 0xFE;
    EXPECT_NO_THROW(structure(other));
    other = riff(lossless(3, 3, false));
    other[20] = 0x2E;
    EXPECT_EQ(damage(other), none);
    EXPECT_EQ(damage(riff(lossy(0x4000, 3))), "a picture has no size");
    EXPECT_EQ(damage(riff(lossy(3, 0x8000))), "a picture has no size");
    EXPECT_EQ(structure(riff(lossy(0x7FFF, 0xFFFF))).width, 0x3FFF);
}

TEST(WebpStructures, FramesThatMakeNoSense) {
    const auto file = [](const Bytes& frames) { return riff(joined({extended(2, 6, 4), frames})); };
    for (size_t size = 0; size < 16; size++) {
        EXPECT_EQ(damage(file(chunk("ANMF", Bytes(size)))), "a frame has no header") << size;
    }
    EXPECT_EQ(damage(file(chunk("ANMF", Bytes(16)))), "a frame has no picture");
    EXPECT_EQ(damage(file(frame({}, chunk("ALPH", Bytes(9))))), "a frame has no picture");
    EXPECT_EQ(damage(file(frame({}, Bytes(7)))), "a frame has no picture");
    EXPECT_EQ(damage(file(frame({}, chunk("VP8 ", {})))), "a picture has no header");
    const Bytes second = file(joined({frame({}, lossy(6, 4)), frame({}, lossy(5, 4))}));
    EXPECT_EQ(damage(second), "a frame does not fit its canvas");
    EXPECT_EQ(structure(second, true).frames.size(), 1U);
    EXPECT_EQ(damage(file(frame({}, lossy(5, 4))), true), "a frame does not fit its canvas");
    struct Case {
        Place place;
        uint32_t width;
        uint32_t height;
        bool fits;
    };
    for (const Case& one :
         {Case{{0, 0, 6, 4}, 6, 4, true}, Case{{2, 2, 4, 2}, 4, 2, true}, Case{{2, 0, 5, 4}, 5, 4, false},
          Case{{0, 2, 6, 3}, 6, 3, false}, Case{{0, 0, 7, 4}, 7, 4, false}, Case{{0, 0, 6, 5}, 6, 5, false},
          Case{{0, 0, 6, 4}, 5, 4, false}, Case{{0, 0, 6, 4}, 6, 3, false}, Case{{0x1FFFFFE, 0, 6, 4}, 6, 4, false},
          Case{{0, 0x1FFFFFE, 6, 4}, 6, 4, false}}) {
        const Bytes made = file(frame(one.place, lossy(one.width, one.height)));
        if (one.fits) {
            EXPECT_EQ(structure(made).frames.size(), 1U);
        } else {
            EXPECT_EQ(damage(made), "a frame does not fit its canvas");
        }
    }
}

TEST(WebpStructures, WhatIsCutOff) {
    const Bytes two = joined({frame({}, lossy(6, 4, 40)), frame({0, 0, 6, 4, 9}, lossy(6, 4, 40))});
    const Bytes file = riff(joined({extended(2, 6, 4), two}));
    for (size_t size = 12; size < file.size(); size++) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(damage(cut),
                  "the data ends after " + std::to_string(size) + " of " + std::to_string(file.size()) + " bytes");
        const size_t first = 30 + 8 + 16 + 8 + 10;
        const size_t second = first + 40 + 8 + 16 + 8 + 10;
        if (size < first) {
            failure_of([&] { structure(cut, true); });
            continue;
        }
        const WebpStructure found = structure(cut, true);
        ASSERT_EQ(found.frames.size(), size < second ? 1U : 2U) << size;
        const WebpFramePlace& last = found.frames.back();
        EXPECT_LE(last.data.at + last.data.size, size);
        EXPECT_EQ(last.duration, size < second ? 0 : 9);
    }
    Bytes longer = file;
    longer[30 + 4]++;  // the first frame reaches into the second one
    longer[30 + 5] = 1;
    EXPECT_EQ(damage(longer), "a chunk is longer than what is left of the data");
    Bytes inner = file;
    inner[30 + 8 + 16 + 4]++;
    EXPECT_EQ(damage(inner), "a chunk is longer than what is left of the data");
    EXPECT_EQ(structure(inner, true).frames.size(), 2U);
    // What stands behind the end that the header tells is not the file's.
    EXPECT_EQ(structure(joined({riff(joined({extended(2, 6, 4), frame({}, lossy(6, 4))})), frame({}, lossy(6, 4))}))
                  .frames.size(),
              1U);
    // Of a profile that is cut off nothing is taken.
    Bytes profile = riff(joined({lossy(6, 4), chunk("ICCP", Bytes(20))}));
    profile.resize(profile.size() - 4);
    EXPECT_EQ(structure(profile, true).profile.size, 0U);
}

}  // namespace
}  // namespace zelmor::imagework
