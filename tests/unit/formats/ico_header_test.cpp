// The fields of the directory and of the entries of ICO and CUR files, with the bounds that the format sets, and the
// bytes that are written.
#include <map>
#include <string>

#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/ico/ico_piece.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "tests/unit/formats/ico_files.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

std::shared_ptr<const IcoFrames> frames_of(const Bytes& file, Recovery recovery = Recovery::kNone) {
    DecodeOptions options;
    options.recovery = recovery;
    return open_ico(memory_source(file), options);
}
std::string damage(const Bytes& file, size_t index = 0, Recovery recovery = Recovery::kNone) {
    const PictureError error = failure_of([&] { all_rows(*frames_of(file, recovery)->open(index)); });
    EXPECT_EQ(error.kind(), Failure::kDamaged) << error.what();
    return error.what();
}
Bytes first_of(const Bytes& bytes, size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}
Bytes behind(const Bytes& bytes, size_t at) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end()};
}
Bytes png(const PixelForm& form, int width = 4, int height = 3) {
    const RowsHeader header = header_of(width, height, form);
    MemorySink out;
    write_all(*make_png_writer(header, {}, out), header, random_rows(header), 1);
    return bytes_in(out);
}
Bitmap bitmap_of(int bits, int width = 5, int height = 3) {
    Bitmap made;
    made.bits = bits;
    made.width = width;
    made.height = height;
    const auto count = static_cast<size_t>(width * height);
    made.palette = random_numbers(bits <= 8 ? size_t{1} << bits : 0, 0xFFFFFF, 5);
    made.pixels = random_numbers(count, bits == 32 ? 0xFFFFFFFF : (1U << bits) - 1);
    made.mask = random_mask(count);
    return made;
}
// The picture that the entry shows: clear pixels are 0.
std::vector<Argb> shown(const Bitmap& made) {
    std::vector<Argb> colors;
    for (size_t i = 0; i < made.pixels.size(); i++) {
        const Argb color = made.bits <= 8 ? made.palette[made.pixels[i]] : made.pixels[i];
        colors.push_back(made.mask[i] ? 0 : kBlack | color);
    }
    return colors;
}
std::vector<Argb> colors_of(RowReader& reader) {
    const RowsHeader header = reader.header();
    const auto rows = all_rows(reader, 2);
    const auto bands = static_cast<size_t>(header.form.bands());
    std::vector<Argb> colors;
    for (size_t at = 0; at < rows.size(); at += bands) {
        Argb color = kBlack;
        if (header.form.color == ColorModel::kIndexed) {
            color = header.palette.at(rows[at]);
        } else {
            color = Argb{header.form.alpha ? rows[at + 3] : uint8_t{255}} << 24 | Argb{rows[at]} << 16 |
                    Argb{rows[at + 1]} << 8 | rows[at + 2];
        }
        colors.push_back(color >> 24 == 0 ? 0 : color);
    }
    return colors;
}

// ---- The directory.

TEST(IcoDirectory, TheFieldsOfItsEntries) {
    const Bytes file{0,    0,    2,    0, 2,    0,                                                              //
                     0x11, 0x22, 0x33, 0, 0x44, 0x55, 0x66, 0x77, 0x0D, 0,    0,    0,    38,   0,    0,    0,  //
                     0,    0,    5,    6, 1,    2,    3,    4,    0x78, 0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x89};
    const ByteReader in(file);
    ASSERT_TRUE(is_ico(in));
    IcoDirectory directory = read_ico_directory(in);
    EXPECT_EQ(directory.kind, IcoKind::kCursor);
    EXPECT_EQ(directory.count, 2);
    IcoEntry entry = read_ico_entry(in, directory, 0);
    EXPECT_EQ(entry.width, 0x11);
    EXPECT_EQ(entry.height, 0x22);
    EXPECT_EQ(entry.hot_spot, (IcoHotSpot{0x5544, 0x7766}));
    EXPECT_EQ(entry.bits_per_pixel, 0);
    EXPECT_EQ(entry.size, 13U);
    EXPECT_EQ(entry.at, 38U);
    directory.kind = IcoKind::kIcon;
    entry = read_ico_entry(in, directory, 1);
    EXPECT_EQ(entry.width, 256);
    EXPECT_EQ(entry.height, 256);
    EXPECT_EQ(entry.hot_spot, IcoHotSpot());
    EXPECT_EQ(entry.bits_per_pixel, 0x0403);
    EXPECT_EQ(entry.size, 0x12345678U);
    EXPECT_EQ(entry.at, 0x89ABCDEFU);
}

TEST(IcoDirectory, WhatIsOne) {
    const Bytes file{0, 0, 1, 0, 1, 0, 16, 16, 0, 0, 1, 0, 32, 0, 13, 0, 0, 0, 22, 0, 0, 0};
    ASSERT_TRUE(is_ico(ByteReader(file)));
    const auto with = [&](size_t at, uint8_t value) {
        Bytes other = file;
        other[at] = value;
        return is_ico(ByteReader(other));
    };
    for (int value = 0; value < 256; value++) {
        const auto byte = static_cast<uint8_t>(value);
        EXPECT_EQ(with(0, byte), value == 0);
        EXPECT_EQ(with(1, byte), value == 0);
        EXPECT_EQ(with(2, byte), value == 1 || value == 2);
        EXPECT_EQ(with(3, byte), value == 0);
        EXPECT_EQ(with(4, byte), value != 0) << "an entry at least";
        EXPECT_TRUE(with(5, byte));
        EXPECT_TRUE(with(6, byte) && with(7, byte) && with(8, byte)) << "sides and colors may be any";
        EXPECT_EQ(with(9, byte), value == 0 || value == 255) << "reserved";
        EXPECT_TRUE(with(10, byte) && with(12, byte));
        EXPECT_EQ(with(14, byte), value >= 13) << "the least of a picture";
        EXPECT_EQ(with(18, byte), value >= 22) << "behind the entry of the directory";
    }
    Bytes many = file;
    many[4] = 0;
    many[5] = 1;
    EXPECT_TRUE(is_ico(ByteReader(many))) << "256 entries";
    for (size_t size = 0; size < file.size(); size++) {
        EXPECT_FALSE(is_ico(ByteReader(first_of(file, size))));
    }
}

TEST(IcoDirectory, WhichEntriesArePng) {
    Bytes file(50);
    const Bytes mark{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::copy(mark.begin(), mark.end(), file.begin() + 20);
    IcoEntry entry;
    entry.at = 20;
    for (const uint32_t size : {0U, 7U, 8U, 9U, 30U}) {
        entry.size = size;
        EXPECT_EQ(is_png_entry(ByteReader(file), entry), size >= 8);
    }
    for (size_t i = 0; i < 8; i++) {
        Bytes other = file;
        other[20 + i] ^= 1;
        EXPECT_FALSE(is_png_entry(ByteReader(other), entry));
    }
}

TEST(IcoDirectory, EntriesThatAreNotThere) {
    const Bytes entry = bitmap_of(24).entry();
    const Bytes file = file_of({{5, 3, entry}, {5, 3, entry}, {5, 3, entry}});
    Bytes cut = first_of(file, 37);
    EXPECT_EQ(damage(cut), "entry 0 of the directory does not lie within the file");
    cut[14] = 13;
    cut[15] = 0;
    cut[18] = 22;
    EXPECT_EQ(damage(cut), "the directory ends after 1 of 3 entries");
    Bytes outside = file;
    outside[6 + 16 * 2 + 8] += 1;  // a byte longer than the file
    EXPECT_EQ(damage(outside), "entry 2 of the directory does not lie within the file");
    const auto lenient = frames_of(outside, Recovery::kConsistent);
    ASSERT_EQ(lenient->count(), 3U);
    EXPECT_EQ(lenient->entry(2).size, entry.size());
    EXPECT_EQ(lenient->bytes(2), entry);
    // One that begins at the end of the file is not there at all; one before it has a byte.
    for (const uint32_t back : {0U, 1U}) {
        Bytes other = file;
        const auto at = static_cast<uint32_t>(file.size()) - back;
        for (size_t i = 0; i < 4; i++) {
            other[6 + 16 + 12 + i] = static_cast<uint8_t>(at >> 8 * i);
        }
        const auto some = frames_of(other, Recovery::kMaximal);
        ASSERT_EQ(some->count(), 2U + back);
        if (back == 1) {
            EXPECT_EQ(some->entry(1).size, 1U);
        }
    }
    Bytes none = file_of({{5, 3, entry}});
    none[18] = 0xFF;
    none[19] = 0xFF;
    for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal}) {
        EXPECT_EQ(damage(none, 0, recovery), "no entry of the directory lies within the file");
    }
    Bytes wrong = file;
    wrong[2] = 3;
    EXPECT_EQ(damage(wrong), "the data does not begin with the directory of icons or cursors");
}

TEST(IcoDirectory, WhatAFrameSaysOfItself) {
    Bytes animated = png(kRgba);
    const Bytes control{0, 0, 0, 8, 'a', 'c', 'T', 'L', 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0};
    animated.insert(animated.begin() + 33, control.begin(), control.end());
    Bitmap plain = bitmap_of(24, 9, 2);
    Bitmap deep = bitmap_of(32, 7, 6);
    deep.has_mask = false;
    Bitmap bare = bitmap_of(32, 3, 3);
    const std::vector<Place> places{{9, 2, plain.entry(), 3, 4},
                                    {4, 3, animated, 5, 6},
                                    {7, 6, deep.entry(), 7, 8},
                                    {3, 3, bare.entry(), 9, 10},
                                    {4, 3, png(kRgb), 11, 12}};
    const auto frames = frames_of(file_of(places, 2));
    ASSERT_EQ(frames->count(), places.size());
    const int bits[] = {24, 32, 32, 32, 24};
    for (size_t i = 0; i < places.size(); i++) {
        const FrameHeader header = frames->header(i);
        EXPECT_EQ(header.facts.format, Format::kIco);
        EXPECT_TRUE(header.facts.readable);
        EXPECT_EQ(header.facts.width, places[i].width);
        EXPECT_EQ(header.facts.height, places[i].height);
        EXPECT_EQ(header.facts.bits_per_pixel, bits[i]);
        EXPECT_EQ(header.facts.has_alpha, i != 4) << i;
        EXPECT_EQ(header.facts.frame_count, 1);
        EXPECT_FALSE(header.facts.has_still);
        EXPECT_EQ(header.facts.variant, Variant::kUsual);
        EXPECT_EQ(header.area, (Rect{0, 0, places[i].width, places[i].height}));
        const auto encoding = header.facts.encoding->get<IcoEncoding>();
        EXPECT_EQ(encoding.kind, IcoKind::kCursor);
        EXPECT_EQ(encoding.hot_spot, (IcoHotSpot{places[i].x, places[i].y}));
        EXPECT_EQ(encoding.entry,
                  (IcoEntryEncoding{i == 1 || i == 4 ? IcoEntryFormat::kPng : IcoEntryFormat::kBmp, bits[i]}));
    }
    Bitmap unmasked = bitmap_of(24);
    unmasked.has_mask = false;
    EXPECT_FALSE(frames_of(file_of(unmasked))->header(0).facts.has_alpha);
    const auto cut = frames_of(file_of({{4, 3, first_of(png(kRgb), 25)}}));
    EXPECT_STREQ(failure_of([&] { cut->header(0); }).what(), "the PNG header of entry 0 is incomplete");
}

TEST(IcoDirectory, RecoveryReachesThePictures) {
    Bytes entry = png(kRgba, 40, 40);
    entry[entry.size() - 16] ^= 1;  // the checksum of the data
    const Bytes file = file_of({{40, 40, entry}});
    const auto read = [&](Recovery recovery) { return all_rows(*frames_of(file, recovery)->open(0)); };
    EXPECT_EQ(failure_of([&] { read(Recovery::kNone); }).kind(), Failure::kDamaged);
    const RowsHeader header = header_of(40, 40, kRgba);
    EXPECT_EQ(read(Recovery::kMaximal), random_rows(header));
    // Without its end, rows before it are there.
    const Bytes cut = file_of({{40, 40, first_of(entry, entry.size() - 400)}});
    for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal}) {
        const auto reader = frames_of(cut, recovery)->open(0);
        Bytes row(row_size(header));
        reader->read(1, row);
        EXPECT_EQ(row, first_of(random_rows(header), row.size()));
    }
}

TEST(IcoEnd, BehindTheLastByteOfAnyEntry) {
    const Bytes entry = bitmap_of(24).entry();
    Bytes file = file_of({{5, 3, entry}, {5, 3, entry}});
    std::swap_ranges(file.begin() + 18, file.begin() + 22, file.begin() + 34);  // the later one comes first
    const auto needed = [&](size_t come) { return picture_end(probe(file))->needed(first_of(file, come)); };
    for (size_t come = 0; come <= file.size(); come++) {
        EXPECT_EQ(needed(come), come < 6 ? 6 : come < 38 ? 38 : file.size()) << come;
    }
}

TEST(IcoPieces, BytesInFrontAndAPartOfASource) {
    const Bytes bytes = [] {
        Bytes all;
        for (int i = 0; i < 100; i++) {
            all.push_back(static_cast<uint8_t>(i));
        }
        return all;
    }();
    for (const bool far : {false, true}) {
        const SharedSource source = far ? std::make_shared<FarSource>(bytes) : memory_source(bytes);
        for (const size_t before : {size_t{0}, size_t{1}, size_t{9}}) {
            for (const auto& [at, size] : {std::pair<size_t, size_t>{0, 100}, {0, 0}, {30, 20}, {99, 1}, {100, 0}}) {
                const SharedSource piece = piece_of(source, at, size, Bytes(before, 0xEE));
                Bytes whole(before, 0xEE);
                whole.insert(whole.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at),
                             bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
                ASSERT_EQ(piece->size(), whole.size());
                for (size_t from = 0; from < whole.size() + 3; from++) {
                    for (const size_t wanted : {size_t{0}, size_t{1}, size_t{2}, size_t{10}, size_t{200}}) {
                        Bytes out(wanted, 0x77);
                        const size_t expected = from < whole.size() ? std::min(wanted, whole.size() - from) : 0;
                        ASSERT_EQ(piece->read_at(from, out), expected);
                        EXPECT_TRUE(
                            std::equal(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(expected),
                                       whole.begin() + static_cast<std::ptrdiff_t>(std::min(from, whole.size()))));
                        EXPECT_EQ(Bytes(wanted - expected, 0x77), behind(out, expected));
                    }
                }
                const auto held = piece->in_memory();
                EXPECT_EQ(Bytes(held.begin(), held.end()), far || before > 0 ? Bytes() : whole);
            }
        }
    }
}

// ---- Entries of BMP pixels.

TEST(IcoBitmaps, HeadersHaveBounds) {
    Bitmap made = bitmap_of(24);
    for (const uint32_t size : {40U, 41U, 108U, 1023U, 1024U}) {
        made.header = size;
        EXPECT_EQ(colors_of(*frames_of(file_of(made))->open(0)), shown(made)) << size;
    }
    for (const uint32_t size : {0U, 11U, 13U, 39U, 1025U, 0x10000U}) {
        made.header = 1025;
        Bytes file = file_of(made);
        for (size_t i = 0; i < 4; i++) {
            file[22 + i] = static_cast<uint8_t>(size >> 8 * i);
        }
        EXPECT_EQ(damage(file), "the header length " + std::to_string(size) + " belongs to no kind of BMP");
    }
    for (const uint32_t header : {12U, 40U}) {
        made = bitmap_of(8);
        made.header = header;
        const Bytes entry = made.entry();
        const size_t colors = header + 256 * (header == 12 ? 3 : 4);
        for (size_t size = 13; size < colors + 1; size++) {
            const std::string text = damage(file_of({{5, 3, first_of(entry, size)}}));
            if (size < 36 && header == 40) {
                EXPECT_EQ(text, "the header of the entry is incomplete") << size;
            } else if (size < colors) {
                EXPECT_EQ(text, "the entry ends before its pixels") << size;
            } else {
                EXPECT_EQ(text, "the data ends in row 0 of 3") << size;
            }
        }
    }
}

TEST(IcoBitmaps, TheNumberOfColors) {
    for (const int bits : {1, 4, 8}) {
        for (size_t count = 1; count <= size_t{1} << bits; count = count < 5 ? count + 1 : count * 2 - 3) {
            Bitmap made = bitmap_of(bits);
            made.palette.resize(count);
            for (uint32_t& pixel : made.pixels) {
                pixel %= static_cast<uint32_t>(count);
            }
            EXPECT_EQ(colors_of(*frames_of(file_of(made))->open(0)), shown(made)) << bits << " " << count;
        }
    }
    // Beside true colors a palette only tells which suit them.
    for (const int bits : {16, 24, 32}) {
        for (const size_t count : {size_t{1}, size_t{5}, size_t{256}}) {
            Bitmap made = bitmap_of(bits);
            if (bits == 16) {
                made.pixels.assign(15, 0x7FFF);
            } else {
                for (uint32_t& pixel : made.pixels) {
                    pixel &= 0xFFFFFF;
                }
            }
            std::vector<Argb> expected = shown(made);
            for (Argb& color : expected) {
                color = bits == 16 && color != 0 ? kWhite : color;
            }
            made.palette.assign(count, 0x123456);
            EXPECT_EQ(colors_of(*frames_of(file_of(made))->open(0)), expected) << bits << " " << count;
        }
        Bitmap made = bitmap_of(bits);
        made.palette.assign(257, 0);
        EXPECT_EQ(damage(file_of(made)), "a palette of 257 colors belongs to no icon");
    }
}

TEST(IcoBitmaps, FieldsBehindAPlainHeader) {
    Bitmap made = bitmap_of(32);
    made.mask.assign(15, false);
    made.storage = 6;  // with a field for alpha
    made.fields = {0xFF, 0xFF00, 0xFF0000, 0xFF000000};
    std::vector<Argb> expected;
    for (const uint32_t pixel : made.pixels) {
        const Argb color = (pixel & 0xFF00FF00) | (pixel & 0xFF) << 16 | (pixel >> 16 & 0xFF);
        expected.push_back(color >> 24 == 0 ? 0 : color);
    }
    EXPECT_EQ(colors_of(*frames_of(file_of(made))->open(0)), expected);
    made.storage = 3;
    made.fields.pop_back();
    for (Argb& color : expected) {
        color |= kBlack;
    }
    const auto colors = colors_of(*frames_of(file_of(made))->open(0));
    for (size_t i = 0; i < colors.size(); i++) {
        EXPECT_EQ(colors[i] & 0xFFFFFF, expected[i] == kBlack ? 0 : expected[i] & 0xFFFFFF);
        EXPECT_EQ(colors[i] >> 24, 0xFFU);
    }
    for (const uint32_t runs : {1U, 2U}) {
        made = bitmap_of(8);
        made.storage = runs;
        const PictureError error = failure_of([&] { frames_of(file_of(made))->open(0); });
        EXPECT_EQ(error.kind(), Failure::kUnsupported);
        EXPECT_STREQ(error.what(), "an icon with run-length coded pixels is not supported");
    }
}

// A height that is the directory's is that of the picture alone, if the width is the directory's, too.
TEST(IcoBitmaps, TheHeightWithAndWithoutTheMask) {
    for (const uint32_t header : {12U, 40U}) {
        for (const bool top_down : {false, true}) {
            if (header == 12 && top_down) {
                continue;
            }
            for (const auto& [width, height, rows] :
                 {std::tuple{5, 6, 6}, {5, 3, 3}, {5, 5, 3}, {5, 7, 3}, {4, 6, 3}, {6, 6, 3}, {4, 3, 3}}) {
                Bitmap made = bitmap_of(24, 5, 6);
                made.header = header;
                made.top_down = top_down;
                made.doubled = false;
                if (rows == 3) {
                    made = bitmap_of(24, 5, 3);
                    made.header = header;
                    made.top_down = top_down;
                }
                const auto frames = frames_of(file_of({{width, height, made.entry()}}));
                EXPECT_EQ(frames->header(0).facts.height, rows) << header << " " << width << " " << height;
                EXPECT_EQ(frames->header(0).facts.width, 5);
                EXPECT_EQ(colors_of(*frames->open(0)), shown(made));
            }
        }
    }
}

TEST(IcoBitmaps, TheLastRowOfTheMaskMayLackItsPadding) {
    for (const int width : {1, 7, 8, 9, 31, 32, 33}) {
        const Bitmap made = bitmap_of(24, width, 3);
        Bytes entry = made.entry();
        const auto row = static_cast<size_t>(width + 7) / 8;
        const size_t padding = (row + 3) / 4 * 4 - row;
        entry.resize(entry.size() - padding);
        EXPECT_EQ(colors_of(*frames_of(file_of({{width, 3, entry}}))->open(0)), shown(made)) << width;
        entry.pop_back();
        EXPECT_EQ(damage(file_of({{width, 3, entry}})), "the mask of the entry is incomplete");
        const auto frames = frames_of(file_of({{width, 3, entry}}), Recovery::kConsistent);
        EXPECT_EQ(frames->open(0)->header().form, kRgb);
    }
}

TEST(IcoBitmaps, IndicesThatAreAllSeenBecomeColors) {
    Bitmap made = bitmap_of(8, 20, 13);
    for (uint32_t i = 0; i < made.pixels.size(); i++) {
        made.pixels[i] = i % 256;
    }
    made.mask.assign(made.pixels.size(), false);
    made.mask[258] = true;
    const auto reader = frames_of(file_of(made))->open(0);
    EXPECT_EQ(reader->header().form, kRgba);
    EXPECT_TRUE(reader->header().palette.empty());
    EXPECT_EQ(colors_of(*reader), shown(made));
    // The last index alone is not seen.
    made.mask[255] = true;
    const auto indexed = frames_of(file_of(made))->open(0);
    EXPECT_EQ(indexed->header().form, indices(8));
    EXPECT_EQ(indexed->header().palette[255], 0U);
    EXPECT_EQ(colors_of(*indexed), shown(made));
}

TEST(IcoBitmaps, FewBytesClaimNoEndlessRows) {
    Bitmap made = bitmap_of(1, 4096, 1);
    const auto claiming = [&](uint32_t height) {
        Bytes entry = made.entry();
        for (size_t i = 0; i < 4; i++) {
            entry[8 + i] = static_cast<uint8_t>(2 * height >> 8 * i);
        }
        return file_of({{1, 1, entry}});
    };
    EXPECT_EQ(damage(claiming(4097), 0, Recovery::kMaximal), "the entry has few of the pixels that it states");
    EXPECT_NO_THROW(frames_of(claiming(4096), Recovery::kMaximal)->open(0));
}

// ---- Writing.

struct Written {
    Bytes file;
    Bytes entry() const { return behind(file, 22); }
};
Written written(const RowsHeader& header, const Bytes& rows, const IcoEntryEncoding& encoding,
                IcoKind kind = IcoKind::kIcon, IcoHotSpot spot = {}) {
    Written made;
    IcoWriter icons(kind, made.file);
    write_all(*icons.start(header, encoding, spot), header, rows, 2);
    icons.finish();
    return made;
}

// The entry as it is made by hand, but for the size of the pixels, which others leave zero.
TEST(IcoWriting, EntriesAreThoseOfTheFormat) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {8, 2}, {9, 4}, {33, 5}, {256, 2}, {2, 256}}) {
            Bitmap made = bitmap_of(bits, width, height);
            const bool masked = bits > 8;
            const PixelForm form = bits <= 8 ? indices(bits) : kRgba;
            RowsHeader header = header_of(width, height, form);
            header.palette.clear();
            for (const uint32_t color : made.palette) {
                header.palette.push_back(kBlack | color);
            }
            Bytes rows;
            for (size_t i = 0; i < made.pixels.size(); i++) {
                made.mask[i] = masked && made.mask[i];
                const uint32_t pixel = made.pixels[i];
                if (bits <= 8) {
                    rows.push_back(static_cast<uint8_t>(pixel));
                    continue;
                }
                const bool half = i % 3 == 0;  // where one bit holds the opacity, half of it is the bound
                const uint32_t alpha = made.mask[i] ? (bits == 24 && half ? 127 : 0) : bits == 24 && half ? 128 : 255;
                rows.insert(rows.end(), {static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8),
                                         static_cast<uint8_t>(pixel), static_cast<uint8_t>(alpha)});
                if (bits == 32) {
                    made.pixels[i] = (pixel & 0xFFFFFF) | alpha << 24;
                } else if (made.mask[i]) {
                    made.pixels[i] = 0;  // black below the mask
                }
            }
            const Written found = written(header, rows, {IcoEntryFormat::kBmp, bits});
            Bytes expected = made.entry();
            const size_t pixels_at = 40 + (bits <= 8 ? size_t{4} << bits : 0);
            const size_t size = expected.size() - pixels_at;
            for (size_t i = 0; i < 4; i++) {
                expected[20 + i] = static_cast<uint8_t>(size >> 8 * i);
            }
            EXPECT_EQ(found.entry(), expected) << bits << " " << width << " by " << height;
        }
    }
}

TEST(IcoWriting, ClearColorsOfAPaletteBecomeTheMask) {
    Bitmap made = bitmap_of(4, 19, 5);
    RowsHeader header = header_of(19, 5, indices(4));
    header.palette.clear();
    for (uint32_t i = 0; i < 11; i++) {
        const bool clear = i % 3 == 1;
        header.palette.push_back((clear ? 0x7F000000 : 0x80000000) | made.palette[i]);
        made.palette[i] = clear ? 0 : made.palette[i];
    }
    Bytes rows;
    for (size_t i = 0; i < made.pixels.size(); i++) {
        made.pixels[i] %= 11;
        made.mask[i] = made.pixels[i] % 3 == 1;
        rows.push_back(static_cast<uint8_t>(made.pixels[i]));
    }
    std::fill(made.palette.begin() + 11, made.palette.end(), 0);  // all that the indices tell apart
    EXPECT_EQ(behind(written(header, rows, {IcoEntryFormat::kBmp, 4}).entry(), 40), behind(made.entry(), 40));
}

TEST(IcoWriting, TheDirectoryOfEveryDepth) {
    using Format = IcoEntryFormat;
    const std::map<int, int> colors{{1, 2}, {2, 4}, {4, 16}};
    for (const Format format : {Format::kBmp, Format::kPng}) {
        for (const int bits : {1, 2, 4, 8, 16, 24, 32, 48, 64}) {
            if (format == Format::kBmp && (bits == 2 || bits > 32)) {
                continue;
            }
            const IcoEntryEncoding encoding{format, bits};
            const RowsHeader header = header_of(7, 3, form_of_ico_entry(encoding, true));
            for (const IcoKind kind : {IcoKind::kIcon, IcoKind::kCursor}) {
                const Written found = written(header, random_rows(header), encoding, kind, {0x1234, 0x5678});
                Bytes expected{0, 0, static_cast<uint8_t>(kind), 0, 1, 0, 7, 3};
                put(expected, static_cast<uint64_t>(colors.contains(bits) ? colors.at(bits) : 0), 1);
                put(expected, 0, 1);
                if (kind == IcoKind::kCursor) {
                    put(expected, Bytes{0x34, 0x12, 0x78, 0x56});
                } else {
                    put(expected, Bytes{1, 0, static_cast<uint8_t>(bits), 0});
                }
                put(expected, found.file.size() - 22, 4);
                put(expected, 22, 4);
                EXPECT_EQ(first_of(found.file, 22), expected) << bits;
                // The same when the entry is copied.
                Bytes copied;
                IcoWriter icons(kind, copied);
                icons.copy(*frames_of(found.file), 0);
                icons.finish();
                EXPECT_EQ(copied, found.file) << bits;
            }
        }
    }
}

TEST(IcoWriting, WhatIsRefusedByName) {
    Bytes out;
    IcoWriter icons(IcoKind::kIcon, out);
    const auto refused = [&](const PixelForm& form, const IcoEntryEncoding& encoding) {
        const PictureError error = failure_of([&] { icons.start(header_of(2, 2, form), encoding); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    constexpr auto kBmp = IcoEntryFormat::kBmp;
    const PixelForm deep{ColorModel::kRgb, SampleType::kUint16, 16, false};
    const PixelForm gray{ColorModel::kGray, SampleType::kUint8, 8, false};
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        const std::string text = "a BMP entry of " + std::to_string(bits) + " bits per pixel does not hold such pixels";
        EXPECT_EQ(refused(deep, {kBmp, bits}), text);
        EXPECT_EQ(refused(gray, {kBmp, bits}), text);
        EXPECT_EQ(refused(bits <= 8 ? kRgb : indices(8), {kBmp, bits}), text);
    }
    for (const int bits : {1, 2, 4, 8, 16, 24, 48, 64}) {
        EXPECT_EQ(refused(kRgba, {IcoEntryFormat::kPng, bits}),
                  "a PNG entry of " + std::to_string(bits) + " bits per pixel does not hold such pixels");
    }
    EXPECT_EQ(failure_of([&] { icons.start(header_of(3, 257, kRgba), {}); }).what(),
              std::string("an icon has at most 256 pixels to a side; the picture has 3 by 257"));
    EXPECT_STREQ(failure_of([&] { icons.finish(); }).what(), "a file of icons has at least one");
    const auto frames = frames_of(file_of(bitmap_of(1, 1, 1)));
    for (int i = 0; i < 65535; i++) {
        icons.put(1, 1, 1, 2, {}, {7});
    }
    EXPECT_STREQ(failure_of([&] { icons.copy(*frames, 0); }).what(), "a file of icons has at most 65535 entries");
    icons.finish();
    EXPECT_EQ(out.size(), 6U + 65535 * 17);
    EXPECT_EQ((Bytes{out[4], out[5]}), (Bytes{255, 255}));
    EXPECT_STREQ(failure_of([&] { icons.finish(); }).what(), "a file of icons has at least one") << "they are gone";
}

}  // namespace
}  // namespace zelmor::imagework
