// The forms that pages of TIFF files have in memory, tag by tag; the refusals of others, by their words; and which
// claims about strips and tiles are believed.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "failure_of.h"
#include "runtime/native/formats/tiff/page_layout.h"
#include "runtime/native/formats/tiff/piece_sizes.h"
#include "runtime/native/formats/tiff/tiff_input.h"
#include "runtime/native/imagework/limits.h"
#include "tests/unit/imagework/tiff_bytes.h"

namespace zelmor::imagework {
namespace {

using Values = std::vector<TiffValue>;
using P = TiffPhotometric;
using S = SampleType;
using Color = ColorModel;

// A page of 9 by 7 gray samples in one strip, with other tags or without some.
SharedSource page(const Values& other, std::vector<uint16_t> without = {}) {
    Values values = {{256, 3, {9}},   {257, 3, {7}}, {258, 3, {8}}, {259, 3, {1}}, {262, 3, {1}},
                     {273, 4, {900}}, {277, 3, {1}}, {278, 3, {7}}, {279, 4, {63}}};
    for (const TiffValue& value : other) {
        without.push_back(value.tag);
    }
    std::erase_if(values, [&](const TiffValue& value) {
        return std::find(without.begin(), without.end(), value.tag) != without.end();
    });
    values.insert(values.end(), other.begin(), other.end());
    std::sort(values.begin(), values.end(), [](const auto& a, const auto& b) { return a.tag < b.tag; });
    TiffBytes file;
    file.page(values);
    file.bytes.resize(std::max<size_t>(2000, file.bytes.size()));
    return memory_source(file.bytes);
}

PageLayout layout(const Values& other, const std::vector<uint16_t>& without = {}) {
    TiffInput input(page(other, without), 0);
    return read_layout(input);
}
RowsHeader header(const Values& other) {
    TiffInput input(page(other), 0);
    return header_of(input, read_layout(input));
}
std::string refusal(const Values& other, const std::vector<uint16_t>& without = {}) {
    return failure_of([&] { layout(other, without); }).what();
}

Values colors(P photometric, uint64_t samples, uint64_t bits, uint64_t format = 1) {
    Values values = {{258, 3, std::vector<uint64_t>(samples, bits)},
                     {262, 3, {static_cast<uint64_t>(photometric)}},
                     {277, 3, {samples}},
                     {339, 3, std::vector<uint64_t>(samples, format)}};
    // The library takes a palette without colors for gray.
    if (photometric == P::kPalette && bits <= 16) {
        values.push_back({320, 3, std::vector<uint64_t>(size_t{3} << bits, 7)});
    }
    return values;
}
Values with(Values values, const Values& more) {
    values.insert(values.end(), more.begin(), more.end());
    return values;
}

TEST(TiffLayoutTest, TheNumbersOfAPage) {
    const PageLayout plain = layout({});
    EXPECT_EQ(plain.width, 9U);
    EXPECT_EQ(plain.height, 7U);
    EXPECT_EQ(plain.bits, 8);
    EXPECT_EQ(plain.samples, 1);
    EXPECT_EQ(plain.compression, TiffCompression::kNone);
    EXPECT_EQ(plain.photometric, P::kMinIsBlack);
    EXPECT_EQ(plain.rows_per_strip, 7U);
    EXPECT_FALSE(plain.separate || plain.tiled || plain.converted || plain.colors.differ());
    EXPECT_EQ(plain.form, (PixelForm{Color::kGray, S::kUint8, 8, false}));
    for (const auto& [rows, expected] :
         {std::pair{0U, 1U}, {1U, 1U}, {6U, 6U}, {7U, 7U}, {8U, 7U}, {0xFFFFFFFFU, 7U}}) {
        if (rows != 0) {  // the library makes another number of it
            EXPECT_EQ(layout({{278, 4, {rows}}}).rows_per_strip, expected) << rows;
        }
    }
    const PageLayout tiled =
        layout({{322, 3, {16}}, {323, 3, {32}}, {324, 4, {900}}, {325, 4, {100}}}, {273, 278, 279});
    EXPECT_TRUE(tiled.tiled);
    EXPECT_EQ(tiled.tile_width, 16U);
    EXPECT_EQ(tiled.tile_height, 32U);
    // Planes of their own are those of several samples.
    const Values two = {{273, 4, {900, 963}}, {279, 4, {63, 63}}, {284, 3, {2}}};
    EXPECT_TRUE(layout(with(colors(P::kMinIsBlack, 2, 8), two)).separate);
    EXPECT_EQ(layout(with(colors(P::kMinIsBlack, 2, 8), two)).planes(), 2);
    EXPECT_FALSE(layout({{284, 3, {2}}}).separate);
    EXPECT_FALSE(layout(with(colors(P::kMinIsBlack, 2, 8), {{284, 3, {1}}})).separate);
}

TEST(TiffLayoutTest, SamplesOfEveryTypeAndDepth) {
    for (uint64_t format = 1; format <= 5; format++) {
        for (uint64_t bits = 1; bits <= 64; bits++) {
            SCOPED_TRACE(std::to_string(format) + ", " + std::to_string(bits));
            const Values values = colors(P::kMinIsBlack, 1, bits, format);
            std::optional<S> expected;
            std::string text = "unsigned samples of ";
            if (format == 1 || format == 4) {
                expected = bits == 1 || bits == 2 || bits == 4 || bits == 8 ? std::optional(S::kUint8)
                           : bits == 16                                     ? std::optional(S::kUint16)
                           : bits == 32                                     ? std::optional(S::kUint32)
                                                                            : std::nullopt;
            } else if (format == 2) {
                text = "signed samples of ";
                expected = bits == 8    ? std::optional(S::kInt8)
                           : bits == 16 ? std::optional(S::kInt16)
                           : bits == 32 ? std::optional(S::kInt32)
                                        : std::nullopt;
            } else if (format == 3) {
                text = "floating-point samples of ";
                expected = bits == 16 || bits == 32 ? std::optional(S::kFloat)
                           : bits == 64             ? std::optional(S::kDouble)
                                                    : std::nullopt;
            }
            if (expected) {
                EXPECT_EQ(layout(values).form, (PixelForm{Color::kGray, *expected, static_cast<int>(bits), false}));
            } else {
                EXPECT_EQ(refusal(values), "TIFF data with " + (format == 5 ? "samples of the format 5"
                                                                            : text + std::to_string(bits) + " bits"));
            }
        }
    }
}

TEST(TiffLayoutTest, Colors) {
    const auto color = [](P photometric, uint64_t samples, const Values& more = {}) {
        return layout(with(colors(photometric, samples, 8), more)).form.color;
    };
    EXPECT_EQ(color(P::kMinIsWhite, 1), Color::kGray);
    EXPECT_EQ(color(P::kMinIsBlack, 1), Color::kGray);
    EXPECT_EQ(color(P::kMask, 1), Color::kGray);
    EXPECT_EQ(color(P::kRgb, 3), Color::kRgb);
    EXPECT_EQ(color(P::kYcbcr, 3), Color::kRgb);
    EXPECT_EQ(color(P::kPalette, 1), Color::kIndexed);
    EXPECT_EQ(color(P::kSeparated, 4), Color::kCmyk);
    EXPECT_EQ(color(P::kSeparated, 4, {{332, 3, {1}}}), Color::kCmyk);
    EXPECT_EQ(refusal(with(colors(P::kSeparated, 4, 8), {{332, 3, {2}}})), "TIFF data with inks other than CMYK");
    EXPECT_EQ(color(P::kCieLab, 3), Color::kLab);
    EXPECT_EQ(color(P::kIccLab, 3), Color::kLab);
    for (const int other : {7, 10, 32803, 65535}) {
        EXPECT_EQ(refusal(colors(static_cast<P>(other), 3, 8)),
                  "TIFF data with the photometric interpretation " + std::to_string(other));
    }
    for (const P photometric : {P::kMinIsWhite, P::kMinIsBlack, P::kMask}) {
        EXPECT_EQ(layout(colors(photometric, 1, 8)).colors.white_is_least, photometric == P::kMinIsWhite);
    }
    EXPECT_FALSE(layout(colors(P::kCieLab, 3, 8)).colors.lab_offsets);
    EXPECT_TRUE(layout(colors(P::kIccLab, 3, 8)).colors.lab_offsets);
}

TEST(TiffLayoutTest, LabOfEveryForm) {
    const auto form = [](uint64_t bits, uint64_t format, P photometric = P::kCieLab) {
        return layout(colors(photometric, 3, bits, format)).form;
    };
    // a* and b* have a sign, whatever the file says of the numbers.
    for (const uint64_t format : {1, 2}) {
        for (const P photometric : {P::kCieLab, P::kIccLab}) {
            EXPECT_EQ(form(8, format, photometric), (PixelForm{Color::kLab, S::kUint8, 8, false}));
            EXPECT_EQ(form(16, format, photometric), (PixelForm{Color::kLab, S::kUint16, 16, false}));
        }
        EXPECT_EQ(refusal(colors(P::kCieLab, 3, 32, format)), "TIFF data with L*a*b* colors and samples of 32 bits");
    }
    EXPECT_EQ(form(16, 3), (PixelForm{Color::kLab, S::kFloat, 16, false}));
    EXPECT_EQ(form(32, 3), (PixelForm{Color::kLab, S::kFloat, 32, false}));
    for (const uint64_t bits : {1, 2, 4}) {
        EXPECT_EQ(refusal(colors(P::kCieLab, 3, bits)),
                  "TIFF data with L*a*b* colors and samples of " + std::to_string(bits) + " bits");
    }
    EXPECT_EQ(refusal(colors(P::kCieLab, 3, 64, 3)), "TIFF data with L*a*b* colors and samples of 64 bits");
    EXPECT_EQ(refusal(colors(P::kIccLab, 3, 32, 3)),
              "TIFF data with L*a*b* colors with offsets and floating-point samples");
    EXPECT_EQ(refusal(colors(P::kIccLab, 3, 64, 3)), "TIFF data with L*a*b* colors and samples of 64 bits");
}

TEST(TiffLayoutTest, SamplesBesidesTheColors) {
    const auto of = [](P photometric, uint64_t samples, uint64_t bits, uint64_t format, int kind) {
        return with(colors(photometric, samples, bits, format),
                    kind < 0 ? Values{} : Values{{338, 3, {static_cast<uint64_t>(kind)}}});
    };
    struct Row {
        P photometric;
        uint64_t samples;
    };
    for (const auto& [photometric, samples] :
         {Row{P::kMinIsBlack, 2}, Row{P::kRgb, 4}, Row{P::kSeparated, 5}, Row{P::kCieLab, 4}}) {
        for (const int kind : {-1, 0, 1, 2}) {
            SCOPED_TRACE(std::to_string(static_cast<int>(photometric)) + " " + std::to_string(kind));
            if (kind == 1 && photometric == P::kCieLab) {
                EXPECT_EQ(refusal(of(photometric, samples, 8, 1, kind)),
                          "TIFF data with premultiplied alpha of L*a*b* colors");
                continue;
            }
            const PageLayout found = layout(of(photometric, samples, 8, 1, kind));
            EXPECT_TRUE(found.form.alpha);
            EXPECT_EQ(found.colors.premultiplied, kind == 1);
            EXPECT_EQ(found.samples, static_cast<int>(samples));
        }
        EXPECT_FALSE(layout(of(photometric, samples - 1, 8, 1, -1)).form.alpha);
        EXPECT_EQ(refusal(of(photometric, samples + 1, 8, 1, -1)),
                  "TIFF data with 2 samples a pixel besides its colors");
    }
    EXPECT_EQ(refusal(of(P::kPalette, 2, 8, 1, -1)), "TIFF data with 1 samples a pixel besides its colors");
    EXPECT_EQ(refusal(of(P::kRgb, 2, 8, 1, -1)), "TIFF data with 2 samples a pixel, of which its colors take 3");
    EXPECT_EQ(refusal(of(P::kSeparated, 3, 8, 1, -1)), "TIFF data with 3 samples a pixel, of which its colors take 4");
    // Colors that are multiplied by alpha need a type that can be divided again.
    const std::string premultiplied = "TIFF data with premultiplied alpha of ";
    for (const uint64_t bits : {8, 16, 32}) {
        EXPECT_EQ(refusal(of(P::kRgb, 4, bits, 2, 1)), premultiplied + "signed samples") << bits;
        EXPECT_FALSE(layout(of(P::kRgb, 4, bits, 2, 2)).colors.premultiplied);
        EXPECT_TRUE(layout(of(P::kRgb, 4, bits, 1, 1)).colors.premultiplied);
    }
    for (const uint64_t bits : {1, 2, 4}) {
        EXPECT_EQ(refusal(of(P::kMinIsBlack, 2, bits, 1, 1)), premultiplied + "samples of fewer than 8 bits") << bits;
        EXPECT_FALSE(layout(of(P::kMinIsBlack, 2, bits, 1, 0)).colors.premultiplied);
    }
    for (const uint64_t bits : {16, 32, 64}) {
        EXPECT_TRUE(layout(of(P::kRgb, 4, bits, 3, 1)).colors.premultiplied) << bits;
    }
}

TEST(TiffLayoutTest, FormsOfPalettes) {
    for (const uint64_t bits : {1, 2, 4, 8}) {
        EXPECT_EQ(layout(colors(P::kPalette, 1, bits)).form,
                  (PixelForm{Color::kIndexed, S::kUint8, static_cast<int>(bits), false}));
    }
    EXPECT_EQ(refusal(colors(P::kPalette, 1, 16)), "TIFF data with a palette and samples of 16 bits");
    EXPECT_EQ(refusal(colors(P::kPalette, 1, 8, 2)), "TIFF data with a palette and samples of 8 bits");
}

TEST(TiffLayoutTest, ColorsThatTheLibraryConverts) {
    const auto compressed = [](uint64_t compression, P photometric, uint64_t samples, uint64_t bits,
                               const Values& more = {}) {
        return with(colors(photometric, samples, bits), with({{259, 3, {compression}}}, more));
    };
    const Values planes = {{273, 4, {900, 963, 1026}}, {279, 4, {63, 63, 63}}, {284, 3, {2}}};
    EXPECT_TRUE(layout(compressed(1, P::kYcbcr, 3, 8)).converted);
    EXPECT_TRUE(layout(compressed(5, P::kYcbcr, 3, 8)).converted);
    EXPECT_FALSE(layout(compressed(7, P::kYcbcr, 3, 8)).converted);
    EXPECT_TRUE(layout(compressed(7, P::kYcbcr, 3, 8, planes)).converted);
    EXPECT_FALSE(layout(compressed(7, P::kRgb, 3, 8)).converted);
    EXPECT_FALSE(layout(compressed(5, P::kRgb, 3, 8)).converted);
    const std::string form = "TIFF data with YCbCr colors in another form than 8 bits without alpha";
    EXPECT_EQ(refusal(compressed(1, P::kYcbcr, 3, 16)), form);
    EXPECT_EQ(refusal(compressed(5, P::kYcbcr, 4, 8,
                                 {{273, 4, {900, 963, 1026, 1089}}, {279, 4, {63, 63, 63, 63}}, {284, 3, {2}}})),
              form);
    EXPECT_EQ(refusal(with(colors(P::kYcbcr, 3, 8, 2), {})), form);
    // Logarithms are read as samples of 8 bits.
    const std::string logarithms = "TIFF data with logarithmic colors without their compression";
    for (const P photometric : {P::kLogL, P::kLogLuv}) {
        const uint64_t samples = photometric == P::kLogL ? 1 : 3;
        EXPECT_EQ(refusal(compressed(1, photometric, samples, 16)), logarithms);
        EXPECT_EQ(refusal(compressed(5, photometric, samples, 16)), logarithms);
        const PageLayout found = layout(compressed(34676, photometric, samples, 16));
        EXPECT_EQ(found.form, (PixelForm{photometric == P::kLogL ? Color::kGray : Color::kRgb, S::kUint8, 8, false}));
        EXPECT_FALSE(found.converted);
    }
    EXPECT_EQ(layout(compressed(34677, P::kLogLuv, 3, 16)).form.bits, 8);
}

TEST(TiffLayoutTest, PagesThatAreNoPictures) {
    const auto failure = [](const Values& other, const std::vector<uint16_t>& without = {}) {
        return failure_of([&] { layout(other, without); });
    };
    const auto photometric = failure({}, {262});
    EXPECT_EQ(photometric.kind(), Failure::kDamaged);
    EXPECT_STREQ(photometric.what(), "the page does not tell its photometric interpretation");
    const auto compression = failure({{259, 3, {34712}}});
    EXPECT_EQ(compression.kind(), Failure::kUnsupported);
    EXPECT_STREQ(compression.what(), "TIFF data with the compression 34712");
    const auto wide = failure({{256, 4, {10000001}}});
    EXPECT_EQ(wide.kind(), Failure::kTooLarge);
    EXPECT_STREQ(wide.what(), "the page is 10000001 by 7 pixels, of which a side has at most 10000000");
    EXPECT_STREQ(failure({{257, 4, {10000001}}, {278, 4, {10000001}}}).what(),
                 "the page is 9 by 10000001 pixels, of which a side has at most 10000000");
    EXPECT_EQ(layout({{256, 4, {10000000}}}).width, 10000000U);
    EXPECT_EQ(layout({{257, 4, {10000000}}, {278, 4, {10000000}}}).height, 10000000U);
    EXPECT_EQ(failure({{256, 3, {0}}}).kind(), Failure::kDamaged);
    EXPECT_EQ(failure({{257, 3, {0}}}).kind(), Failure::kDamaged);
}

// ---- What goes with the rows

TEST(TiffRowsHeaderTest, Palettes) {
    const auto palette = [](const std::vector<uint64_t>& map) {
        Values values = colors(P::kPalette, 1, 1);
        values.back().numbers = map;
        return header(values);
    };
    // Repeated bytes, entries of 8 bits, and such that need all 16.
    const RowsHeader repeated = palette({0x0101, 0xFFFF, 0x0202, 0, 0x0303, 0x8080});
    EXPECT_EQ(repeated.palette, (std::vector<Argb>{0xFF010203, 0xFFFF0080}));
    EXPECT_TRUE(repeated.deep_palette.empty());
    const RowsHeader small = palette({1, 255, 2, 0, 3, 0x80});
    EXPECT_EQ(small.palette, repeated.palette);
    EXPECT_TRUE(small.deep_palette.empty());
    const RowsHeader deep = palette({0x0102, 0xFFFF, 0x0203, 0, 0x0304, 0x8000});
    EXPECT_EQ(deep.palette, (std::vector<Argb>{0xFF010203, 0xFFFF0080}));
    EXPECT_EQ(deep.deep_palette, (std::vector<uint64_t>{0xFFFF010202030304, 0xFFFFFFFF00008000}));
    // One entry that is larger is enough, in any color.
    for (size_t i = 0; i < 6; i++) {
        std::vector<uint64_t> map(6, 255);
        map[i] = 256;
        EXPECT_EQ(palette(map).deep_palette.size(), 2U) << i;
        EXPECT_EQ(palette(map).palette[i % 2], 0xFF000000 | 1U << (16 - 8 * static_cast<int>(i / 2)));
    }
    EXPECT_EQ(header(colors(P::kPalette, 1, 4)).palette, std::vector<Argb>(16, 0xFF070707));
}

TEST(TiffRowsHeaderTest, SizesFormsAndProfiles) {
    const RowsHeader plain = header({});
    EXPECT_EQ(plain.width, 9);
    EXPECT_EQ(plain.height, 7);
    EXPECT_EQ(plain.form, (PixelForm{Color::kGray, S::kUint8, 8, false}));
    EXPECT_EQ(plain.profile, nullptr);
    EXPECT_TRUE(plain.palette.empty());
    const RowsHeader with_profile = header({{34675, 7, {1, 2, 3, 4, 5}}});
    ASSERT_NE(with_profile.profile, nullptr);
    EXPECT_EQ(*with_profile.profile, (std::vector<uint8_t>{1, 2, 3, 4, 5}));
}

TEST(TiffRowsHeaderTest, Resolutions) {
    const auto resolution = [](std::vector<uint64_t> x, std::vector<uint64_t> y, std::optional<uint64_t> unit) {
        Values values;
        if (!x.empty()) {
            values.push_back({282, 5, std::move(x)});
        }
        if (!y.empty()) {
            values.push_back({283, 5, std::move(y)});
        }
        if (unit) {
            values.push_back({296, 3, {*unit}});
        }
        return header(values).resolution;
    };
    EXPECT_EQ(resolution({300, 2}, {100, 4}, {}), (Resolution{150, 25}));
    EXPECT_EQ(resolution({300, 2}, {100, 4}, 2), (Resolution{150, 25}));
    EXPECT_EQ(resolution({300, 2}, {100, 4}, 3), (Resolution{150 * 2.54, 25 * 2.54}));
    EXPECT_FALSE(resolution({300, 2}, {100, 4}, 1));
    EXPECT_FALSE(resolution({}, {100, 4}, 2));
    EXPECT_FALSE(resolution({300, 2}, {}, 2));
    EXPECT_FALSE(resolution({0, 2}, {100, 4}, 2));
    EXPECT_FALSE(resolution({300, 2}, {0, 4}, 2));
}

// ---- Strips and tiles

// The layout of a page with so many bytes, as far as its size is judged.
PageLayout claimed(TiffCompression compression, uint32_t width, uint32_t height, int bits = 8, int samples = 1) {
    PageLayout layout;
    layout.compression = compression;
    layout.width = width;
    layout.height = height;
    layout.bits = bits;
    layout.samples = samples;
    return layout;
}

TEST(TiffPiecesTest, HowMuchACompressionCanMakeOfAByte) {
    using C = TiffCompression;
    TiffInput input(page({{273, 4, {900, 930}}, {278, 3, {4}}, {279, 4, {30, 33}}}), 0);
    constexpr uint32_t kSlack = 4096;
    const auto fits = [&](const PageLayout& layout) {
        try {
            require_enough_bytes(input, layout);
            return true;
        } catch (const PictureError& error) {
            EXPECT_EQ(error.kind(), Failure::kDamaged);
            EXPECT_EQ(error.what(), "63 bytes cannot hold " + std::to_string(layout.width) + " by " +
                                        std::to_string(layout.height) + " pixels");
            return false;
        }
    };
    for (const auto& [compression, factor] : {std::pair{C::kNone, 1U},
                                              {C::kPackBits, 64U},
                                              {C::kDeflate, 1040U},
                                              {C::kOldDeflate, 1040U},
                                              {C::kLzw, 4096U}}) {
        SCOPED_TRACE(static_cast<int>(compression));
        const uint32_t most = 63 * factor + kSlack;
        EXPECT_TRUE(fits(claimed(compression, most, 1)));
        EXPECT_FALSE(fits(claimed(compression, most + 1, 1)));
        EXPECT_TRUE(fits(claimed(compression, 1, most)));
        EXPECT_FALSE(fits(claimed(compression, 1, most + 1)));
        // Rows of several samples, and of bits that share bytes.
        EXPECT_TRUE(fits(claimed(compression, 8 * most, 1, 1)));
        EXPECT_FALSE(fits(claimed(compression, 8 * most + 1, 1, 1)));
        EXPECT_TRUE(fits(claimed(compression, most / 6, 1, 16, 3)));
        EXPECT_FALSE(fits(claimed(compression, most / 6 + 1, 1, 16, 3)));
        EXPECT_FALSE(fits(claimed(compression, UINT32_MAX, UINT32_MAX, 64, 64)));
    }
    // A bit of a fax is a row at least.
    for (const C fax : {C::kFax3, C::kFax4}) {
        EXPECT_TRUE(fits(claimed(fax, 1000000, 63 * 8, 1)));
        EXPECT_FALSE(fits(claimed(fax, 1000000, 63 * 8 + 1, 1)));
    }
    // Of others nothing is known, nor of what the library converts.
    for (const C other :
         {C::kCcittRle, C::kOldJpeg, C::kJpeg, C::kCcittRleWords, C::kJbig, C::kZstd, C::kWebp, C::kLzma}) {
        EXPECT_TRUE(fits(claimed(other, 10000000, 10000000)));
    }
    PageLayout converted = claimed(C::kNone, 10000000, 10000000);
    converted.converted = true;
    EXPECT_TRUE(fits(converted));
}

TEST(TiffPiecesTest, NoPieceHasMoreThanTheFile) {
    TiffInput input(page({{273, 4, {900, 930}}, {278, 3, {4}}, {279, 4, {30, 0xFFFFFFFF}}}), 0);
    const uint32_t most = 30 + 2000 + 4096;
    EXPECT_NO_THROW(require_enough_bytes(input, claimed(TiffCompression::kNone, most, 1)));
    EXPECT_THROW(require_enough_bytes(input, claimed(TiffCompression::kNone, most + 1, 1)), PictureError);
    TiffInput tiles(page({{322, 3, {16}}, {323, 3, {16}}, {324, 4, {900}}, {325, 4, {100}}}, {273, 278, 279}), 0);
    EXPECT_NO_THROW(require_enough_bytes(tiles, claimed(TiffCompression::kNone, 100 + 4096, 1)));
    EXPECT_THROW(require_enough_bytes(tiles, claimed(TiffCompression::kNone, 101 + 4096, 1)), PictureError);
}

TEST(TiffPiecesTest, WhetherAllPiecesAreThere) {
    const auto all_there = [](uint64_t first, uint64_t second, uint64_t first_size, uint64_t second_size) {
        TiffInput input(page({{273, 4, {first, second}}, {278, 3, {4}}, {279, 4, {first_size, second_size}}}), 0);
        return has_all_pieces(input);
    };
    EXPECT_TRUE(all_there(900, 930, 30, 33));
    EXPECT_TRUE(all_there(1970, 930, 30, 33));
    EXPECT_TRUE(all_there(900, 1967, 30, 33));
    EXPECT_FALSE(all_there(1971, 930, 30, 33));
    EXPECT_FALSE(all_there(900, 1968, 30, 33));
    EXPECT_TRUE(all_there(900, 1999, 30, 1));
    EXPECT_FALSE(all_there(900, 2000, 30, 1));
    EXPECT_FALSE(all_there(900, 3000, 30, 1));
    EXPECT_FALSE(all_there(900, 930, 0, 33));
    EXPECT_FALSE(all_there(900, 930, 30, 0));
}

TEST(TiffPiecesTest, PiecesThatAreDecodedAsAWhole) {
    const auto refused = [](bool tiled, uint32_t width, uint32_t height, int bits = 8) -> std::string {
        PageLayout layout = claimed(TiffCompression::kJpeg, 10, 10, bits);
        layout.tiled = tiled;
        layout.form = {Color::kGray, bits == 8 ? S::kUint8 : S::kUint32, bits, false};
        try {
            require_sensible_pieces(layout, width, height);
        } catch (const PictureError& error) {
            EXPECT_EQ(error.kind(), Failure::kTooLarge);
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(refused(true, 32768, 8192), "");
    EXPECT_EQ(refused(true, 8192, 32768), "");
    EXPECT_EQ(refused(true, 32769, 16), "the TIFF data has tiles of 32769 by 16 pixels");
    EXPECT_EQ(refused(true, 16, 32769), "the TIFF data has tiles of 16 by 32769 pixels");
    EXPECT_EQ(refused(true, 32768, 8193), "the TIFF data has tiles of 32768 by 8193 pixels");
    EXPECT_EQ(refused(true, 8192, 8192, 32), "");
    EXPECT_EQ(refused(true, 8192, 8193, 32), "the TIFF data has tiles of 8192 by 8193 pixels");
    EXPECT_EQ(refused(false, 32769, 16), "");
    EXPECT_EQ(refused(false, 1 << 28, 1), "");
    EXPECT_EQ(refused(false, 1 << 28, 2), "the TIFF data has strips of 268435456 by 2 pixels");
    EXPECT_EQ(refused(false, 0xFFFFFFFF, 0xFFFFFFFF), "the TIFF data has strips of 4294967295 by 4294967295 pixels");
}

}  // namespace
}  // namespace zelmor::imagework
