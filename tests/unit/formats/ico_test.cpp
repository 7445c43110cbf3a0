// ICO and CUR files: entries made by hand in every depth, with masks and alpha, what is written, and damaged files.
#include <array>

#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/png/png_codec.h"
#include "tests/unit/formats/ico_files.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

std::shared_ptr<const IcoFrames> opened(const Bytes& file, Recovery recovery = Recovery::kNone) {
    DecodeOptions options;
    options.recovery = recovery;
    return open_ico(memory_source(file), options);
}

// The picture as colors; all that is transparent is 0.
std::vector<Argb> colors_of(RowReader& reader) {
    const RowsHeader header = reader.header();
    const auto rows = all_rows(reader, 2);
    std::vector<Argb> colors;
    const auto bands = static_cast<size_t>(header.form.bands());
    for (size_t at = 0; at < rows.size(); at += bands) {
        Argb color = kBlack;
        if (header.form.color == ColorModel::kIndexed) {
            color = header.palette.at(rows[at]);
        } else {
            for (size_t i = 0; i < 3; i++) {
                const size_t band = header.form.color == ColorModel::kGray ? 0 : i;
                color |= static_cast<Argb>(rows[at + band]) << (16 - 8 * i);
            }
            if (header.form.alpha) {
                color = (color & 0xFFFFFF) | static_cast<Argb>(rows[at + bands - 1]) << 24;
            }
        }
        colors.push_back(color >> 24 == 0 ? 0 : color);
    }
    return colors;
}

std::vector<Argb> colors_of(const Bytes& file, size_t index = 0) {
    return colors_of(*opened(file)->open(index));
}

constexpr std::pair<int, int> kSizes[] = {{1, 1}, {5, 3}, {31, 7}, {32, 32}, {33, 9}, {256, 2}, {3, 256}};

TEST(IcoTest, IndicesOfEveryDepth) {
    for (const int bits : {1, 4, 8}) {
        for (const auto& [width, height] : kSizes) {
            for (const bool masked : {false, true}) {
                for (const uint32_t header : {40U, 12U, 108U}) {
                    for (const bool top_down : {false, true}) {
                        if (top_down && header == 12) {
                            continue;
                        }
                        Bitmap made;
                        made.width = width;
                        made.height = height;
                        made.bits = bits;
                        made.header = header;
                        made.top_down = top_down;
                        const auto count = static_cast<size_t>(width * height);
                        made.palette = random_numbers(size_t{1} << bits, 0xFFFFFF, 5);
                        made.pixels = random_numbers(count, (1U << bits) - 1);
                        made.mask = masked ? random_mask(count) : std::vector<bool>();
                        std::vector<Argb> expected;
                        for (size_t i = 0; i < count; i++) {
                            expected.push_back(masked && made.mask[i] ? 0 : kBlack | made.palette[made.pixels[i]]);
                        }
                        const Bytes file = file_of(made);
                        EXPECT_EQ(colors_of(file), expected) << bits << " " << width << " by " << height;
                        EXPECT_EQ(opened(file)->encoding(0), (IcoEntryEncoding{IcoEntryFormat::kBmp, bits}));
                        EXPECT_EQ(opened(file)->header(0).facts.width, width);
                        EXPECT_EQ(opened(file)->header(0).facts.height, height);
                        EXPECT_EQ(opened(file)->header(0).facts.bits_per_pixel, bits);
                    }
                }
            }
        }
    }
}

TEST(IcoTest, ColorsOfEveryDepth) {
    for (const int bits : {16, 24, 32}) {
        for (const auto& [width, height] : kSizes) {
            for (const bool masked : {false, true}) {
                Bitmap made;
                made.width = width;
                made.height = height;
                made.bits = bits;
                const auto count = static_cast<size_t>(width * height);
                made.pixels = random_numbers(count, bits == 16 ? 0x7FFF : 0xFFFFFF);  // of 32 bits: without alpha
                made.mask = masked ? random_mask(count) : std::vector<bool>();
                std::vector<Argb> expected;
                bool any = false;
                for (size_t i = 0; i < count; i++) {
                    Argb color = made.pixels[i];
                    if (bits == 16) {
                        const auto wide = [&](int shift) { return ((color >> shift & 31) * 255 + 15) / 31; };
                        color = wide(10) << 16 | wide(5) << 8 | wide(0);
                    }
                    any = any || (masked && made.mask[i]);
                    expected.push_back(masked && made.mask[i] ? 0 : kBlack | color);
                }
                const auto reader = opened(file_of(made))->open(0);
                EXPECT_EQ(reader->header().form, any ? kRgba : kRgb);
                EXPECT_EQ(colors_of(*reader), expected) << bits << " " << width << " by " << height;
            }
        }
    }
}

TEST(IcoTest, AlphaCountsMoreThanTheMask) {
    Bitmap made;
    made.bits = 32;
    made.pixels = random_numbers(15, 0xFFFFFFFF);
    made.pixels[4] = 0x00123456;
    made.mask = std::vector<bool>(15, true);
    std::vector<Argb> expected = made.pixels;
    expected[4] = 0;
    EXPECT_EQ(colors_of(file_of(made)), expected);
    made.has_mask = false;
    EXPECT_EQ(colors_of(file_of(made)), expected);
    // The channel of bit fields.
    made.header = 108;
    made.storage = 3;
    made.fields = {0xFF000000, 0x00FF0000, 0x0000FF00, 0x000000FF};
    const auto colors = colors_of(file_of(made));
    for (size_t i = 0; i < colors.size(); i++) {
        const Argb turned = made.pixels[i] >> 8 | made.pixels[i] << 24;
        EXPECT_EQ(colors[i], turned >> 24 == 0 ? 0 : turned);
    }
    // Of a plain header with fields, there is none.
    made.header = 40;
    made.fields = {0xFF0000, 0xFF00, 0xFF};
    made.mask = {};
    made.has_mask = true;
    EXPECT_EQ(colors_of(file_of(made))[4], 0xFF123456);
    EXPECT_EQ(opened(file_of(made))->open(0)->header().form, kRgb);
    // Nothing but zeros, and no mask: all of it is transparent.
    made = {};
    made.bits = 32;
    made.pixels = std::vector<uint32_t>(15, 0x123456);
    made.has_mask = false;
    EXPECT_EQ(colors_of(file_of(made)), std::vector<Argb>(15, 0));
}

TEST(IcoTest, TransparencyIsAnIndexWhereThereIsOne) {
    Bitmap made;
    made.width = 16;
    made.height = 16;
    made.bits = 8;
    made.mask = std::vector<bool>(256, false);
    made.mask[7] = true;
    for (uint32_t i = 0; i < 256; i++) {
        made.palette.push_back(i * 0x010203);
        made.pixels.push_back(i);
    }
    // Index 7 is seen nowhere, though the file has it.
    auto reader = opened(file_of(made))->open(0);
    EXPECT_EQ(reader->header().form, indices(8));
    EXPECT_EQ(reader->header().palette[7], 0U);
    EXPECT_EQ(reader->header().palette[8], 0xFF000000 | 8 * 0x010203);
    EXPECT_EQ(all_rows(*reader)[7], 7);
    // Every index is seen: colors.
    made.pixels[0] = 7;
    made.pixels[7] = 0;
    made.width = 17;
    made.pixels.resize(272, 0);
    made.mask.resize(272, false);
    reader = opened(file_of(made))->open(0);
    EXPECT_EQ(reader->header().form, kRgba);
    EXPECT_EQ(colors_of(*reader)[7], 0U);
    // A palette with room gets an entry more.
    made = {};
    made.bits = 1;
    made.palette = {0, 0xFFFFFF};
    made.pixels = std::vector<uint32_t>(15, 1);
    made.mask = std::vector<bool>(15, false);
    made.mask[2] = true;
    reader = opened(file_of(made))->open(0);
    EXPECT_EQ(reader->header().form, indices(2));
    EXPECT_EQ(reader->header().palette, (std::vector<Argb>{kBlack, kWhite, 0}));
}

TEST(IcoTest, TheHeightMayBeThatOfThePictureAlone) {
    Bitmap made;
    made.height = 4;
    made.doubled = false;
    made.pixels = random_numbers(20, 0xFFFFFF);
    made.mask = std::vector<bool>(20, false);
    made.mask[3] = true;
    const auto colors = colors_of(file_of(made));
    ASSERT_EQ(colors.size(), 20U);
    EXPECT_EQ(colors[3], 0U);
    EXPECT_EQ(colors[19], kBlack | made.pixels[19]);
}

TEST(IcoTest, RunsAndOtherHeadersAreRefused) {
    Bitmap made;
    made.bits = 8;
    made.palette.resize(256);
    made.pixels.resize(15);
    made.storage = 1;
    PictureError error = failure_of([&] { colors_of(file_of(made)); });
    EXPECT_EQ(error.kind(), Failure::kUnsupported);
    EXPECT_STREQ(error.what(), "an icon with run-length coded pixels is not supported");
    made.storage = 0;
    made.header = 41;
    made.bits = 7;
    EXPECT_EQ(failure_of([&] { colors_of(file_of(made)); }).kind(), Failure::kDamaged);
    Bytes file = file_of(made);
    file[22] = 30;  // the length of the header
    error = failure_of([&] { colors_of(file); });
    EXPECT_STREQ(error.what(), "the header length 30 belongs to no kind of BMP");
}

Bytes png_of(const RowsHeader& header, const Bytes& rows) {
    MemorySink out;
    const auto writer = make_png_writer(header, {}, out);
    write_all(*writer, header, rows, 3);
    const EncodedBytes file = out.take();
    return {file.bytes().begin(), file.bytes().end()};
}

TEST(IcoTest, EntriesOfPngKeepTheirForm) {
    const PixelForm forms[] = {kRgb,
                               kRgba,
                               indices(1),
                               indices(4),
                               indices(8),
                               {ColorModel::kGray, SampleType::kUint8, 8, false},
                               {ColorModel::kRgb, SampleType::kUint16, 16, true}};
    std::vector<Place> places;
    for (const PixelForm& form : forms) {
        const RowsHeader header = header_of(256, 20, form);
        places.push_back({256, 20, png_of(header, random_rows(header))});
    }
    Bitmap last;
    last.pixels = random_numbers(15, 0xFFFFFF);
    places.push_back({5, 3, last.entry()});
    const Bytes file = file_of(places);
    const auto frames = opened(file);
    ASSERT_EQ(frames->count(), 8U);
    for (size_t i = 0; i < 7; i++) {
        const auto reader = frames->open(i);
        EXPECT_EQ(reader->header().form, forms[i]);
        EXPECT_EQ(all_rows(*reader, 7), random_rows(header_of(256, 20, forms[i])));
        EXPECT_EQ(frames->encoding(i).format, IcoEntryFormat::kPng);
        EXPECT_EQ(frames->header(i).facts.width, 256);
        EXPECT_EQ(frames->entry(i).width, 256);
        EXPECT_EQ(frames->bytes(i), places[i].bytes);
    }
    EXPECT_EQ(frames->encoding(6).bits_per_pixel, 64);
    EXPECT_EQ(colors_of(*frames->open(7))[0], kBlack | last.pixels[0]);
}

// --- Writing --------------------------------------------------------------------------------------------------------

TEST(IcoTest, EveryEntryFormatComesBack) {
    struct Kind {
        IcoEntryEncoding encoding;
        PixelForm form;
    };
    constexpr auto kBmp = IcoEntryFormat::kBmp;
    constexpr auto kPng = IcoEntryFormat::kPng;
    const Kind kinds[] = {{{kBmp, 1}, indices(1)},
                          {{kBmp, 4}, indices(4)},
                          {{kBmp, 8}, indices(8)},
                          {{kBmp, 24}, kRgb},
                          {{kBmp, 32}, kRgb},
                          {{kBmp, 32}, kRgba},
                          {{kPng, 1}, indices(1)},
                          {{kPng, 8}, indices(8)},
                          {{kPng, 8}, {ColorModel::kGray, SampleType::kUint8, 8, false}},
                          {{kPng, 16}, {ColorModel::kGray, SampleType::kUint8, 8, true}},
                          {{kPng, 24}, kRgb},
                          {{kPng, 32}, kRgba},
                          {{kPng, 48}, {ColorModel::kRgb, SampleType::kUint16, 16, false}},
                          {{kPng, 64}, {ColorModel::kRgb, SampleType::kUint16, 16, true}}};
    Bytes out;
    IcoWriter icons(IcoKind::kCursor, out);
    uint16_t number = 0;
    for (const Kind& kind : kinds) {
        for (const auto& [width, height] : kSizes) {
            const RowsHeader header = header_of(width, height, kind.form);
            Bytes rows = random_rows(header);
            rows.back() |= 1;  // alpha is not zero everywhere
            const auto writer = icons.start(header, kind.encoding, {number, 7});
            write_all(*writer, header, rows, 3);
            number++;
        }
    }
    icons.finish();
    const auto frames = opened(out);
    EXPECT_EQ(frames->kind(), IcoKind::kCursor);
    ASSERT_EQ(frames->count(), number);
    size_t index = 0;
    for (const Kind& kind : kinds) {
        for (const auto& [width, height] : kSizes) {
            const RowsHeader header = header_of(width, height, kind.form);
            Bytes rows = random_rows(header);
            rows.back() |= 1;
            EXPECT_EQ(frames->entry(index).width, width);
            EXPECT_EQ(frames->entry(index).height, height);
            EXPECT_EQ(frames->entry(index).hot_spot, (IcoHotSpot{static_cast<uint16_t>(index), 7}));
            EXPECT_EQ(frames->encoding(index), kind.encoding);
            const auto reader = frames->open(index);
            const PixelForm& found = reader->header().form;
            const bool filled = kind.encoding == IcoEntryEncoding{kBmp, 32} && !kind.form.alpha;
            EXPECT_EQ(found, filled ? kRgba : kind.form);
            if (!filled) {
                EXPECT_EQ(all_rows(*reader, 5), rows) << kind.encoding.bits_per_pixel << " " << width;
            }
            index++;
        }
    }
    // The same file again, entry by entry, as a file of icons.
    Bytes copied;
    IcoWriter copies(IcoKind::kIcon, copied);
    for (size_t i = 0; i < frames->count(); i++) {
        copies.copy(*frames, i);
    }
    copies.finish();
    const auto again = opened(copied);
    EXPECT_EQ(again->kind(), IcoKind::kIcon);
    ASSERT_EQ(again->count(), frames->count());
    for (size_t i = 0; i < frames->count(); i++) {
        EXPECT_EQ(again->bytes(i), frames->bytes(i));
        EXPECT_EQ(again->entry(i).bits_per_pixel, frames->encoding(i).bits_per_pixel);
    }
}

TEST(IcoTest, TransparencyBecomesTheMask) {
    // A palette entry that is nearly transparent, and pixels below the mask are black: they are combined with the
    // screen.
    RowsHeader header = header_of(3, 1, indices(4));
    header.palette[2] = 0x10FFFFFF;
    header.palette[3] = 0x90FFFFFF;
    Bytes out;
    {
        IcoWriter icons(IcoKind::kIcon, out);
        const auto writer = icons.start(header, {IcoEntryFormat::kBmp, 4});
        write_all(*writer, header, Bytes{1, 2, 3}, 1);
        icons.finish();
    }
    EXPECT_EQ(colors_of(out), (std::vector<Argb>{header.palette[1], 0, kWhite}));
    const size_t palette = 22 + 40;
    EXPECT_EQ((Bytes{out.begin() + palette + 8, out.begin() + palette + 12}), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(out[out.size() - 4], 0x40);  // the mask
    for (const int bits : {16, 24}) {
        const RowsHeader colors = header_of(3, 1, kRgba);
        IcoWriter icons(IcoKind::kIcon, out);
        const auto writer = icons.start(colors, {IcoEntryFormat::kBmp, bits});
        write_all(*writer, colors, Bytes{255, 0, 0, 255, 0, 255, 0, 127, 0, 0, 255, 128}, 1);
        icons.finish();
        EXPECT_EQ(colors_of(out), (std::vector<Argb>{0xFFFF0000, 0, 0xFF0000FF}));
        const auto step = static_cast<size_t>(bits / 8);
        for (size_t i = 0; i < step; i++) {
            EXPECT_EQ(out[22 + 40 + step + i], 0);
        }
    }
    // With an alpha channel the mask has what is wholly transparent.
    const RowsHeader alpha = header_of(3, 1, kRgba);
    IcoWriter icons(IcoKind::kIcon, out);
    const auto writer = icons.start(alpha, {IcoEntryFormat::kBmp, 32});
    write_all(*writer, alpha, Bytes{255, 0, 0, 255, 0, 255, 0, 0, 0, 0, 255, 1}, 1);
    icons.finish();
    EXPECT_EQ(colors_of(out), (std::vector<Argb>{0xFFFF0000, 0, 0x010000FF}));
    EXPECT_EQ(out[out.size() - 4], 0x40);
}

TEST(IcoTest, TheDirectoryStatesTheEntries) {
    Bytes out;
    IcoWriter icons(IcoKind::kIcon, out);
    for (const int side : {256, 16}) {
        const RowsHeader header = header_of(side, side, indices(4));
        write_all(*icons.start(header, {IcoEntryFormat::kBmp, 4}), header, random_rows(header), 16);
    }
    icons.finish();
    const size_t first = 40 + 64 + 256 * 128 + 256 * 32;
    Bytes expected{0, 0, 1, 0, 2, 0};
    put(expected, Bytes{0, 0, 16, 0, 1, 0, 4, 0});
    put(expected, first, 4);
    put(expected, 38, 4);
    put(expected, Bytes{16, 16, 16, 0, 1, 0, 4, 0});
    put(expected, 40 + 64 + 16 * 8 + 16 * 4, 4);
    put(expected, 38 + first, 4);
    EXPECT_EQ((Bytes{out.begin(), out.begin() + 38}), expected);
    const ByteReader in(out);
    EXPECT_EQ(in.u32(38 + 4), 256U);
    EXPECT_EQ(in.u32(38 + 8), 512U);
    EXPECT_EQ(in.u32(38 + 20), 256U * 128 + 256 * 32);
}

TEST(IcoTest, FormsFollowTheEncoding) {
    for (const IcoEntryFormat format : {IcoEntryFormat::kBmp, IcoEntryFormat::kPng}) {
        for (const int bits : {1, 2, 4, 8, 16, 24, 32, 48, 64}) {
            for (const bool alpha : {false, true}) {
                const IcoEntryEncoding encoding{format, bits};
                Bytes out;
                IcoWriter icons(IcoKind::kIcon, out);
                if (format == IcoEntryFormat::kBmp && (bits == 2 || bits > 32)) {
                    EXPECT_EQ(failure_of([&] { form_of_ico_entry(encoding, alpha); }).kind(), Failure::kEncoding);
                    continue;
                }
                const RowsHeader header = header_of(4, 4, form_of_ico_entry(encoding, alpha));
                write_all(*icons.start(header, encoding), header, random_rows(header), 4);
                icons.finish();
                EXPECT_EQ(opened(out)->encoding(0), encoding);
            }
        }
    }
}

TEST(IcoTest, WhatTheFormatDoesNotHaveIsRefused) {
    Bytes out;
    IcoWriter icons(IcoKind::kIcon, out);
    const auto refused = [&](const RowsHeader& header, const IcoEntryEncoding& encoding) {
        const PictureError error = failure_of([&] { icons.start(header, encoding); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    constexpr auto kBmp = IcoEntryFormat::kBmp;
    constexpr auto kPng = IcoEntryFormat::kPng;
    EXPECT_EQ(refused(header_of(257, 1, kRgba), {kPng, 32}),
              "an icon has at most 256 pixels to a side; the picture has 257 by 1");
    EXPECT_EQ(refused(header_of(1, 1, kRgba), {kBmp, 7}), "a BMP entry of an icon has no form of 7 bits per pixel");
    EXPECT_EQ(refused(header_of(1, 1, kRgba), {kPng, 7}), "a PNG entry of an icon has no form of 7 bits per pixel");
    refused(header_of(1, 1, kRgba), {kPng, 24});
    refused(header_of(1, 1, kRgba), {kBmp, 8});
    refused(header_of(1, 1, indices(8)), {kBmp, 4});
    refused(header_of(1, 1, {ColorModel::kGray}), {kBmp, 8});
    refused(header_of(1, 1, {ColorModel::kRgb, SampleType::kUint16, 16, true}), {kBmp, 32});
    EXPECT_EQ(failure_of([&] { icons.finish(); }).kind(), Failure::kEncoding);  // no entry
}

// --- Recognizing and damage -----------------------------------------------------------------------------------------

TEST(IcoTest, AFileIsRecognizedByItsDirectory) {
    Bitmap made;
    made.pixels = random_numbers(15, 0xFFFFFF);
    Bytes file = file_of({{256, 3, made.entry(), 3, 4}, {5, 3, made.entry()}}, 2);
    FileFacts facts = probe(file);
    EXPECT_EQ(facts.format, Format::kIco);
    EXPECT_TRUE(facts.readable);
    EXPECT_EQ(facts.encoding->get<IcoEncoding>().kind, IcoKind::kCursor);
    EXPECT_EQ(facts.width, 256);
    EXPECT_EQ(facts.frame_count, 2);
    file.resize(37);
    facts = probe(file);
    EXPECT_EQ(facts.format, Format::kIco);
    EXPECT_FALSE(facts.readable);
    const Bytes whole = file_of(made);
    for (const auto& [at, value] :
         {std::pair<size_t, uint8_t>{0, 1}, {1, 1}, {2, 0}, {2, 3}, {3, 1}, {4, 0}, {9, 1}, {18, 21}}) {
        Bytes other = whole;
        other[at] = value;
        EXPECT_NE(sniff(other), Format::kIco) << at;
        EXPECT_EQ(failure_of([&] { opened(other); }).kind(), Failure::kDamaged);
    }
    Bytes other = whole;
    other[9] = 255;  // of a reserved byte
    EXPECT_EQ(colors_of(other), colors_of(whole));
    EXPECT_EQ(sniff(Bytes(100)), Format::kUnknown);
    EXPECT_EQ(sniff(Bytes()), Format::kUnknown);
}

void look_at(const Bytes& file, Recovery recovery) {
    probe(file);
    try {
        const auto frames = opened(file, recovery);
        for (size_t i = 0; i < std::min<size_t>(frames->count(), 5); i++) {
            try {
                const FileFacts facts = frames->header(i).facts;
                frames->encoding(i);
                if (facts.width * facts.height < 1 << 16) {
                    const auto reader = frames->open(i);
                    const auto rows = all_rows(*reader);
                    if (reader->header().form.color == ColorModel::kIndexed) {
                        for (const uint8_t index : rows) {
                            ASSERT_LT(index, reader->header().palette.size());
                        }
                    }
                }
            } catch (const PictureError& error) {
                ASSERT_TRUE(error.kind() == Failure::kDamaged || error.kind() == Failure::kUnsupported ||
                            error.kind() == Failure::kTooLarge)
                    << error.what();
            }
        }
    } catch (const PictureError& error) {
        ASSERT_EQ(error.kind(), Failure::kDamaged) << error.what();
    }
}

std::vector<Bytes> some_files() {
    std::vector<Bytes> files;
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        Bitmap made;
        made.bits = bits;
        made.palette = random_numbers(bits <= 8 ? size_t{1} << bits : 0, 0xFFFFFF);
        made.pixels = random_numbers(15, bits == 32 ? 0xFFFFFFFF : (1U << bits) - 1);
        made.mask = random_mask(15);
        files.push_back(file_of(made));
    }
    const RowsHeader header = header_of(7, 5, kRgba);
    files.push_back(file_of({{7, 5, png_of(header, random_rows(header))}}));
    return files;
}

TEST(IcoTest, EveryCut) {
    for (const Bytes& file : some_files()) {
        for (size_t length = 0; length < file.size(); length++) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(failure_of([&] { opened(cut); }).kind(), Failure::kDamaged) << length;
            look_at(cut, Recovery::kConsistent);
            look_at(cut, Recovery::kMaximal);
        }
    }
}

TEST(IcoTest, ALostMaskMakesNothingTransparent) {
    Bitmap made;
    made.pixels = random_numbers(15, 0xFFFFFF);
    made.mask = std::vector<bool>(15, true);
    const Bytes file = file_of(made);
    const Bytes cut(file.begin(), file.end() - 5);
    const auto colors = colors_of(*opened(cut, Recovery::kConsistent)->open(0));
    EXPECT_EQ(colors[0], kBlack | made.pixels[0]);
    made.has_mask = false;
    const PictureError error = failure_of([&] { colors_of(file_of(made)); });
    EXPECT_STREQ(error.what(), "the mask of the entry is incomplete");
}

TEST(IcoTest, AlterationsAreAnErrorOrAPicture) {
    std::mt19937 random(12);
    for (const Bytes& file : some_files()) {
        for (int trial = 0; trial < 1000; trial++) {
            Bytes altered = file;
            for (unsigned times = 1 + static_cast<unsigned>(random() % 3); times > 0; times--) {
                const size_t at = random() % 4 == 0 ? random() % altered.size() : random() % 62;
                altered[at] = static_cast<uint8_t>(random());
            }
            look_at(altered, trial % 2 == 0 ? Recovery::kNone : Recovery::kMaximal);
        }
    }
}

TEST(IcoTest, ClaimsTakeNoTimeAndNoMemory) {
    Bitmap made;
    made.bits = 1;
    made.palette = {0, 0xFFFFFF};
    made.width = 3000;
    made.height = 1;
    made.pixels.resize(3000);
    Bytes entry = made.entry();
    entry[8] = 0x80;  // 10 million rows
    entry[9] = 0x96;
    entry[10] = 0x98;
    const Bytes file = file_of({{0, 0, entry}});
    EXPECT_EQ(failure_of([&] { opened(file)->open(0); }).kind(), Failure::kDamaged);
    EXPECT_EQ(failure_of([&] { opened(file, Recovery::kMaximal)->open(0); }).kind(), Failure::kDamaged);
    // A directory of more entries than the file has.
    Bytes many = file_of(made);
    many[4] = many[5] = 0xFF;
    EXPECT_EQ(failure_of([&] { opened(many); }).kind(), Failure::kDamaged);
    EXPECT_GE(opened(many, Recovery::kMaximal)->count(), 1U);
}

TEST(IcoTest, FilesAreReadAsMemoryIs) {
    for (const Bytes& file : some_files()) {
        EXPECT_EQ(colors_of(*open_ico(std::make_shared<FarSource>(file), {})->open(0)), colors_of(file));
    }
}

}  // namespace
}  // namespace zelmor::imagework
