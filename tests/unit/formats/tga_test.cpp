// TGA files: every kind, depth, origin and compression against files made by hand, and what is written comes back.
#include <cmath>

#include "runtime/native/formats/tga/tga_areas.h"
#include "tests/unit/formats/tga_files.h"

namespace zelmor::imagework {
namespace {

constexpr PixelForm kRgb{};
constexpr PixelForm kRgba{ColorModel::kRgb, SampleType::kUint8, 8, true};
constexpr PixelForm kGray{ColorModel::kGray, SampleType::kUint8, 8, false};
constexpr PixelForm kGrayAlpha{ColorModel::kGray, SampleType::kUint8, 8, true};
constexpr PixelForm kIndices{ColorModel::kIndexed, SampleType::kUint8, 8, false};

// What a stored number stands for, said once more in other words than the codec's.
Argb color_of(uint32_t stored, int bits, bool alpha) {
    if (bits > 16) {
        return bits == 32 && alpha ? stored : stored | kBlack;
    }
    const auto channel = [&](int shift) {
        return static_cast<Argb>(std::lround((stored >> shift & 31) * 255.0 / 31.0));
    };
    const Argb color = channel(10) << 16 | channel(5) << 8 | channel(0);
    return alpha && (stored & 0x8000) == 0 ? color : color | kBlack;
}

struct Depth {
    int bits;
    int attribute_bits;
};
constexpr Depth kColorDepths[] = {{15, 0}, {16, 0}, {16, 1}, {24, 0}, {32, 0}, {32, 8}};

// Random numbers of so many bits, with neighbors that are equal.
std::vector<uint32_t> random_pixels(size_t count, int bits, uint32_t below = 0) {
    std::mt19937 random(static_cast<unsigned>(count) * 40 + static_cast<unsigned>(bits));
    std::vector<uint32_t> pixels;
    while (pixels.size() < count) {
        uint32_t pixel =
            bits == 32 ? static_cast<uint32_t>(random()) : static_cast<uint32_t>(random()) & ((1U << bits) - 1);
        pixel = below != 0 ? pixel % below : pixel;
        for (unsigned times = random() % 4 == 0 ? static_cast<unsigned>(random() % 9) : 1; times > 0; times--) {
            pixels.push_back(pixel);
        }
    }
    pixels.resize(count);
    return pixels;
}

// Calls the step with each layout of a file in turn.
template <class Step>
void for_each_layout(TgaMade made, Step&& step) {
    const int plain = made.image_type;
    for (const auto& [width, height] : {std::pair{1, 1}, {5, 4}, {4, 7}, {131, 3}, {300, 2}}) {
        made.width = width;
        made.height = height;
        for (made.origin = 0; made.origin < 4; made.origin++) {
            for (made.interleave = 0; made.interleave < 3; made.interleave++) {
                for (const int packet : {0, 1, 3, 128}) {
                    made.image_type = packet == 0 ? plain : plain + 8;
                    made.packet = packet;
                    made.pixels = {};
                    step(made);
                }
            }
        }
    }
}

TEST(TgaTest, EveryKindOfColors) {
    for (const Depth& depth : kColorDepths) {
        TgaMade kind;
        kind.depth = depth.bits;
        kind.attribute_bits = depth.attribute_bits;
        for_each_layout(kind, [&](TgaMade& made) {
            made.pixels = random_pixels(static_cast<size_t>(made.width * made.height), depth.bits);
            std::vector<Argb> expected;
            for (const uint32_t pixel : made.pixels) {
                expected.push_back(color_of(pixel, depth.bits, depth.attribute_bits != 0));
            }
            const auto reader = opened_tga(made.file())->open(0);
            EXPECT_EQ(reader->header().form, depth.attribute_bits != 0 ? kRgba : kRgb);
            EXPECT_EQ(colors_of(*reader), expected) << depth.bits << " origin " << made.origin << " interleave "
                                                    << made.interleave << " packet " << made.packet;
        });
    }
}

TEST(TgaTest, EveryKindOfGray) {
    for (const Depth& depth : {Depth{8, 0}, {16, 0}, {16, 8}}) {
        TgaMade kind;
        kind.image_type = 3;
        kind.depth = depth.bits;
        kind.attribute_bits = depth.attribute_bits;
        for_each_layout(kind, [&](TgaMade& made) {
            made.pixels = random_pixels(static_cast<size_t>(made.width * made.height), depth.bits);
            std::vector<Argb> expected;
            for (const uint32_t pixel : made.pixels) {
                const Argb alpha = depth.attribute_bits != 0 ? pixel >> 8 : 0xFF;
                expected.push_back(alpha << 24 | (pixel & 0xFF) * 0x010101);
            }
            const auto reader = opened_tga(made.file())->open(0);
            EXPECT_EQ(reader->header().form, depth.attribute_bits != 0 ? kGrayAlpha : kGray);
            EXPECT_EQ(colors_of(*reader), expected) << depth.bits << " origin " << made.origin;
        });
    }
}

TEST(TgaTest, EveryKindOfColorMap) {
    for (const Depth& depth : kColorDepths) {
        for (const int index_bits : {8, 16}) {
            for (const int first : {0, 3}) {
                TgaMade kind;
                kind.image_type = 1;
                kind.depth = index_bits;
                kind.attribute_bits = depth.attribute_bits;
                kind.map_type = 1;
                kind.map_first = first;
                kind.map_bits = depth.bits;
                kind.map = random_pixels(17, depth.bits);
                kind.id = {1, 2, 3};
                for_each_layout(kind, [&](TgaMade& made) {
                    made.pixels = random_pixels(static_cast<size_t>(made.width * made.height), index_bits, 17);
                    std::vector<Argb> expected;
                    for (uint32_t& pixel : made.pixels) {
                        expected.push_back(color_of(made.map[pixel], depth.bits, depth.attribute_bits != 0));
                        pixel += static_cast<uint32_t>(first);
                    }
                    const auto frames = opened_tga(made.file());
                    const auto reader = frames->open(0);
                    EXPECT_EQ(reader->header().form, kIndices);
                    EXPECT_EQ(reader->header().palette.size(), static_cast<size_t>(17 + first));
                    EXPECT_EQ(frames->header(0).facts.palette, reader->header().palette);
                    EXPECT_EQ(colors_of(*reader), expected) << depth.bits << " " << index_bits << " " << first;
                });
            }
        }
    }
}

TEST(TgaTest, MoreColorsThanIndicesOfOneByteReachComeAsColors) {
    TgaMade made;
    made.image_type = 1;
    made.depth = 16;
    made.map_type = 1;
    made.map_bits = 24;
    made.map = random_pixels(1000, 24);
    made.pixels = random_pixels(20, 16, 1000);
    const auto frames = opened_tga(made.file());
    const auto reader = frames->open(0);
    EXPECT_EQ(reader->header().form, kRgb);
    const auto colors = colors_of(*reader);
    for (size_t i = 0; i < colors.size(); i++) {
        EXPECT_EQ(colors[i], made.map[made.pixels[i]] | kBlack);
    }
    EXPECT_EQ(frames->settings().bits_per_pixel, 24);  // which a writer takes for such rows
    // Indices of one byte reach 256 of them.
    made.depth = 8;
    made.pixels = random_pixels(20, 8);
    EXPECT_EQ(opened_tga(made.file())->open(0)->header().palette.size(), 256U);
    made.map_first = 256;
    EXPECT_EQ(failure_of([&] { opened_tga(made.file()); }).kind(), Failure::kDamaged);
}

TEST(TgaTest, AnIndexThatTheMapDoesNotHaveIsDamage) {
    TgaMade made;
    made.image_type = 1;
    made.width = 4;
    made.height = 1;
    made.depth = 8;
    made.map_type = 1;
    made.map_first = 2;
    made.map_bits = 24;
    made.map = {0x112233, 0x445566};
    for (const uint32_t bad : {0U, 1U, 4U, 255U}) {
        made.pixels = {2, 3, bad, 2};
        const PictureError error = failure_of([&] { colors_of(*opened_tga(made.file())->open(0)); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_EQ(std::string(error.what()),
                  "a pixel has the index " + std::to_string(bad) + ", which the color map does not have");
        EXPECT_EQ(colors_of(*opened_tga(made.file(), Recovery::kConsistent)->open(0)),
                  (std::vector<Argb>{0xFF112233, 0xFF445566, 0xFF112233, 0xFF112233}));
    }
}

// A file of one pixel with an extension area that says so of its alpha.
Bytes pixel_with_attributes(uint32_t pixel, int depth, int attribute_bits, uint8_t attributes) {
    TgaMade made;
    made.width = made.height = 1;
    made.depth = depth;
    made.attribute_bits = attribute_bits;
    made.pixels = {pixel};
    Bytes file = made.file();
    TgaExtension extension;
    extension.set_attributes(TgaAttributes{attributes});
    const auto at = static_cast<uint32_t>(file.size());
    put(file, extension.bytes());
    return with_footer(file, at);
}

TEST(TgaTest, TheExtensionAreaSaysWhatAlphaMeans) {
    const auto color = [](uint32_t pixel, int depth, int attribute_bits, uint8_t attributes) {
        return colors_of(*opened_tga(pixel_with_attributes(pixel, depth, attribute_bits, attributes))->open(0))[0];
    };
    EXPECT_EQ(color(0x80402010, 32, 8, 0), 0xFF402010);
    EXPECT_EQ(color(0x80402010, 32, 8, 1), 0xFF402010);
    EXPECT_EQ(color(0x80402010, 32, 8, 2), 0x80402010);
    EXPECT_EQ(color(0x80402010, 32, 8, 3), 0x80402010);
    EXPECT_EQ(color(0x80402010, 32, 0, 3), 0x80402010);
    EXPECT_EQ(color(0x80402010, 32, 8, 4), 0x80804020);
    EXPECT_EQ(color(0x00402010, 32, 8, 4), 0x00000000U);
    EXPECT_EQ(color(0x10402010, 32, 8, 4), 0x10FFFFFF);   // more than alpha allows
    EXPECT_EQ(color(0x80402010, 32, 8, 77), 0x80402010);  // the format does not define it: the header counts
    EXPECT_EQ(color(0x80402010, 32, 0, 77), 0xFF402010);
    EXPECT_EQ(color(0x7FFF, 16, 1, 3), 0x00FFFFFFU);
    EXPECT_EQ(color(0x7FFF, 16, 1, 0), 0xFFFFFFFF);
    EXPECT_EQ(color(0x402010, 24, 0, 3), 0xFF402010);
}

// --- Writing --------------------------------------------------------------------------------------------------------

struct Written {
    PixelForm form;
    int bits;
};
constexpr Written kWritten[] = {{kGray, 8}, {kGray, 16}, {kGrayAlpha, 16}, {kRgb, 24},
                                {kRgb, 32}, {kRgba, 32}, {kIndices, 8},    {kIndices, 16}};

// Rows with runs.
Bytes rows_with_runs(const RowsHeader& header) {
    Bytes rows = random_rows(header, 5);
    const auto step = static_cast<size_t>(header.form.bands());
    for (size_t at = step; at < rows.size(); at += step) {
        if (at / step % 7 > 2 || (at / step > 200 && at / step < 420)) {
            std::copy_n(rows.begin() + static_cast<std::ptrdiff_t>(at - step), step,
                        rows.begin() + static_cast<std::ptrdiff_t>(at));
        }
    }
    return rows;
}

TEST(TgaTest, EveryFormComesBack) {
    for (const Written& kind : kWritten) {
        for (const auto& [width, height] : {std::pair{1, 1}, {9, 5}, {500, 3}}) {
            for (int layout = 0; layout < 8; layout++) {
                const RowsHeader header = header_of(width, height, kind.form);
                const Bytes rows = rows_with_runs(header);
                TgaEncoding encoding;
                encoding.bits_per_pixel = kind.bits;
                encoding.run_length = (layout & 1) != 0;
                encoding.from_top = (layout & 2) != 0;
                encoding.from_right = (layout & 4) != 0;
                const Bytes file = written_tga(header, rows, encoding);
                const auto frames = opened_tga(file);
                const auto reader = frames->open(0);
                EXPECT_EQ(reader->header().form, kind.form);
                EXPECT_EQ(reader->header().palette, header.palette);
                EXPECT_EQ(all_rows(*reader, 2), rows) << kind.bits << " layout " << layout;
                // The settings of the file write it again.
                EXPECT_EQ(written_tga(header, rows, frames->settings()), file);
                EXPECT_EQ(fitting_tga(frames->settings(), header), frames->settings());
            }
        }
    }
}

TEST(TgaTest, NoBitsAreTheFewestThatHoldTheForm) {
    for (const Written& kind : {Written{kGray, 8}, {kGrayAlpha, 16}, {kRgb, 24}, {kRgba, 32}, {kIndices, 8}}) {
        const RowsHeader header = header_of(3, 3, kind.form);
        EXPECT_EQ(written_tga(header, random_rows(header), {})[16], kind.bits);
    }
    RowsHeader header = header_of(1, 1, kIndices);
    EXPECT_EQ(written_tga(header, {0}, {})[7], 24);
    header.palette[3] = 0x80102030;
    const Bytes file = written_tga(header, {3}, {});
    EXPECT_EQ(file[7], 32);
    EXPECT_EQ(opened_tga(file)->open(0)->header().palette, header.palette);
}

TEST(TgaTest, FifteenAndSixteenBitsAreRounded) {
    for (const Written& kind : {Written{kRgb, 15}, {kRgb, 16}, {kRgba, 16}}) {
        const RowsHeader header = header_of(33, 7, kind.form);
        const Bytes rows = random_rows(header);
        TgaEncoding encoding;
        encoding.bits_per_pixel = kind.bits;
        const auto reader = opened_tga(written_tga(header, rows, encoding))->open(0);
        ASSERT_EQ(reader->header().form, kind.form);
        const Bytes read = all_rows(*reader);
        const auto bands = static_cast<size_t>(kind.form.bands());
        for (size_t i = 0; i < rows.size(); i++) {
            const double level = std::lround(rows[i] * 31 / 255.0);
            const long expected = i % bands == 3 ? (rows[i] >= 128 ? 255 : 0) : std::lround(level * 255 / 31);
            ASSERT_EQ(read[i], expected);
        }
    }
}

TEST(TgaTest, TheColorMapBeginsWithItsFirstEntry) {
    RowsHeader header = header_of(4, 1, kIndices);
    header.palette.resize(9);
    for (const int bits : {15, 16, 24, 32}) {
        TgaEncoding encoding;
        encoding.map_first = 5;
        encoding.map_entry_bits = bits;
        const Bytes file = written_tga(header, {5, 6, 7, 8}, encoding);
        EXPECT_EQ(file[3], 5);
        EXPECT_EQ(file[5], 4);
        EXPECT_EQ(file.size(), 18U + 4 * static_cast<size_t>((bits + 7) / 8) + 4 + 26);
        const auto frames = opened_tga(file);
        EXPECT_EQ(all_rows(*frames->open(0)), (Bytes{5, 6, 7, 8}));
        EXPECT_EQ(frames->settings(), [&] {
            TgaEncoding same = encoding;
            same.bits_per_pixel = 8;
            same.bits_of = ColorModel::kIndexed;
            return same;
        }());
    }
}

TEST(TgaTest, EntriesBeforeTheFirstAreWrittenIfPixelsHaveThem) {
    RowsHeader header = header_of(4, 2, kIndices);
    header.palette.resize(9);
    const Bytes rows{5, 6, 7, 8, 8, 2, 8, 8};
    for (int layout = 0; layout < 4; layout++) {
        TgaEncoding encoding;
        encoding.map_first = 5;
        encoding.image_id = {1, 2, 3};
        encoding.run_length = (layout & 1) != 0;
        encoding.from_top = (layout & 2) != 0;
        encoding.extension.emplace();
        encoding.scan_lines = true;
        const Bytes file = written_tga(header, rows, encoding, 1);
        const auto reader = opened_tga(file)->open(0);
        EXPECT_EQ(reader->header().palette, header.palette);
        EXPECT_EQ(all_rows(*reader), rows);
        EXPECT_EQ(opened_tga(file)->settings().map_first, 0);
        const ByteReader in(file);
        EXPECT_EQ(in.u32(opened_tga(file)->settings().extension->scan_lines_at()), 18U + 3 + 27);
    }
}

TEST(TgaTest, RunsStayInTheirRow) {
    const RowsHeader header = header_of(300, 3, kGray);
    TgaEncoding encoding;
    encoding.run_length = true;
    encoding.footer = false;
    const Bytes file = written_tga(header, Bytes(900, 7), encoding);
    // 128, 128 and 44 pixels a row.
    EXPECT_EQ(file.size(), 18U + 3 * 6);
    EXPECT_EQ((Bytes{file.begin() + 18, file.begin() + 24}), (Bytes{0xFF, 7, 0xFF, 7, 0x80 | 43, 7}));
}

TgaExtension full_extension() {
    TgaExtension extension;
    extension.set_author("Ada");
    extension.set_comments("first line\n\nthird line");
    extension.set_job("job 7");
    extension.set_software("a program");
    extension.set_date({12, 31, 1999, 23, 59, 58});
    extension.set_job_time({1000, 59, 1});
    extension.set_version_number(417);
    extension.set_version_letter('b');
    extension.set_key_color(0x80112233);
    extension.set_pixel_aspect({4, 3});
    extension.set_gamma({22, 10});
    extension.set_attributes(TgaAttributes::kAlpha);
    return extension;
}

TgaEncoding full_encoding() {
    TgaEncoding encoding;
    encoding.bits_per_pixel = 32;
    encoding.bits_of = ColorModel::kRgb;
    encoding.x_origin = 11;
    encoding.y_origin = 65535;
    encoding.image_id = {'n', 'o', 0, '1'};
    encoding.unused_map = TgaUnusedMap{4, 2, 16, {1, 2, 3, 4}};
    encoding.extension = full_extension();
    encoding.correction_table.resize(2048, 9);
    encoding.stamp = TgaStamp{2, 1, {1, 2, 3, 4, 5, 6, 7, 8}};
    encoding.scan_lines = true;
    encoding.developer = {{1, {1, 2, 3}}, {40000, {}}, {1, {9}}};
    return encoding;
}

TEST(TgaTest, AllThatAFileSaysComesBack) {
    const RowsHeader header = header_of(7, 5, kRgba);
    const Bytes rows = random_rows(header);
    for (const bool runs : {false, true}) {
        TgaEncoding encoding = full_encoding();
        encoding.run_length = runs;
        const Bytes file = written_tga(header, rows, encoding);
        const auto frames = opened_tga(file);
        TgaEncoding read = frames->settings();
        EXPECT_TRUE(frames->has_color_map());
        ASSERT_TRUE(read.extension);
        EXPECT_NE(read.extension->correction_at(), 0U);
        read.extension->set_places(0, 0, 0);  // the one thing that differs
        EXPECT_EQ(read, encoding);
        EXPECT_EQ(all_rows(*frames->open(0)), rows);
        EXPECT_EQ(written_tga(header, rows, frames->settings()), file);
    }
}

TEST(TgaTest, TheFieldsStandWhereTheFormatHasThem) {
    const TgaExtension extension = full_extension();
    const Bytes& bytes = extension.bytes();
    ASSERT_EQ(bytes.size(), 495U);
    const auto text = [&](size_t at) { return std::string(reinterpret_cast<const char*>(&bytes[at])); };
    const auto number = [&](size_t at) { return bytes[at] | bytes[at + 1] << 8; };
    EXPECT_EQ(number(0), 495);
    EXPECT_EQ(text(2), "Ada");
    EXPECT_EQ(text(43), "first line");
    EXPECT_EQ(text(43 + 81), "");
    EXPECT_EQ(text(43 + 162), "third line");
    EXPECT_EQ(number(367), 12);
    EXPECT_EQ(number(371), 1999);
    EXPECT_EQ(number(377), 58);
    EXPECT_EQ(text(379), "job 7");
    EXPECT_EQ(number(420), 1000);
    EXPECT_EQ(number(424), 1);
    EXPECT_EQ(text(426), "a program");
    EXPECT_EQ(number(467), 417);
    EXPECT_EQ(bytes[469], 'b');
    EXPECT_EQ((Bytes{bytes.begin() + 470, bytes.begin() + 474}), (Bytes{0x33, 0x22, 0x11, 0x80}));
    EXPECT_EQ(number(474), 4);
    EXPECT_EQ(number(480), 10);
    EXPECT_EQ(bytes[494], 3);
    EXPECT_EQ(extension.comments(), "first line\n\nthird line");
    EXPECT_EQ(extension.date(), (TgaDate{12, 31, 1999, 23, 59, 58}));
    EXPECT_EQ(extension.job_time(), (TgaTime{1000, 59, 1}));
    EXPECT_EQ(extension.gamma(), (TgaRatio{22, 10}));
}

TEST(TgaTest, BytesBehindATextStayUntilItChanges) {
    Bytes bytes = full_extension().bytes();
    bytes.push_back(77);  // of a later version of the format
    bytes[0] = 0xF0;
    bytes[10] = 'x';
    TgaExtension extension(bytes);
    extension.set_author("Ada");
    extension.set_comments(extension.comments());
    EXPECT_EQ(extension.bytes(), bytes);
    extension.set_author("Bea");
    EXPECT_EQ(extension.bytes()[10], 0);
    EXPECT_EQ(extension.bytes().back(), 77);
    EXPECT_EQ(extension.author(), "Bea");
}

TEST(TgaTest, TextsWithoutRoomAreRefused) {
    TgaExtension extension = full_extension();
    const Bytes before = extension.bytes();
    extension.set_author(std::string(40, 'a'));
    EXPECT_EQ(extension.author(), std::string(40, 'a'));
    extension.set_author("Ada");
    const auto refused = [&](auto step, const char* property) {
        const PictureError error = failure_of(step);
        EXPECT_EQ(error.kind(), Failure::kArgument);
        EXPECT_EQ(error.parameter(), property);
        EXPECT_EQ(extension.bytes(), before);
    };
    const std::string name(41, 'a');
    refused([&] { extension.set_author(name); }, "AuthorName");
    refused([&] { extension.set_job(name); }, "JobNameOrId");
    refused([&] { extension.set_software(name); }, "SoftwareId");
    refused([&] { extension.set_author(std::string_view("a\0b", 3)); }, "AuthorName");
    refused([&] { extension.set_comments("1\n2\n3\n4\n5"); }, "AuthorComments");
    refused([&] { extension.set_comments("1\n" + std::string(81, 'c')); }, "AuthorComments");
    extension.set_comments("1\n2\n3\n" + std::string(80, 'c'));
    EXPECT_EQ(extension.comments(), "1\n2\n3\n" + std::string(80, 'c'));
}

TEST(TgaTest, TheScanLineTableLeadsToTheStoredRows) {
    const RowsHeader header = header_of(40, 6, kGray);
    const Bytes rows = rows_with_runs(header);
    for (const bool runs : {false, true}) {
        TgaEncoding encoding;
        encoding.run_length = runs;
        encoding.extension.emplace();
        encoding.scan_lines = true;
        const Bytes file = written_tga(header, rows, encoding);
        const uint32_t table = opened_tga(file)->settings().extension->scan_lines_at();
        const ByteReader in(file);
        for (int32_t i = 0; i < 6; i++) {
            // A file of that row alone.
            Bytes row(file.begin(), file.begin() + 18);
            row[14] = 1;
            row.insert(row.end(), file.begin() + in.u32(table + 4 * static_cast<uint32_t>(i)), file.end());
            const auto expected = rows.begin() + (5 - i) * 40;
            EXPECT_EQ(all_rows(*opened_tga(row)->open(0)), (Bytes{expected, expected + 40}));
        }
    }
}

TEST(TgaTest, AStampIsMadeOfThePicture) {
    RowsHeader header = header_of(10, 6, kGray);
    Bytes rows;
    for (int y = 0; y < 6; y++) {
        for (int x = 0; x < 10; x++) {
            rows.push_back(static_cast<uint8_t>(y * 10 + x));
        }
    }
    TgaEncoding encoding;
    encoding.extension.emplace();
    encoding.stamp = TgaStamp{5, 2};
    encoding.from_top = true;
    const auto stamp = [&] { return opened_tga(written_tga(header, rows, encoding))->settings().stamp->pixels; };
    EXPECT_EQ(stamp(), (Bytes{11, 13, 15, 17, 19, 41, 43, 45, 47, 49}));
    encoding.from_top = false;
    EXPECT_EQ(stamp(), (Bytes{41, 43, 45, 47, 49, 11, 13, 15, 17, 19}));
    // One of another depth is made anew.
    encoding.stamp->pixels = Bytes(30);
    const TgaEncoding fitting = fitting_tga(encoding, header);
    EXPECT_TRUE(fitting.stamp->pixels.empty());
    EXPECT_EQ(written_tga(header, rows, fitting), [&] {
        encoding.stamp->pixels.clear();
        return written_tga(header, rows, encoding);
    }());
}

TEST(TgaTest, AlphaIsWrittenAsTheExtensionAreaSays) {
    const RowsHeader header = header_of(1, 1, kRgba);
    const Bytes row{0x80, 0x40, 0x20, 0x80};
    TgaEncoding encoding;
    encoding.extension.emplace();
    const auto said = [&](uint8_t attributes) {
        encoding.extension->set_attributes(TgaAttributes{attributes});
        const Bytes file = written_tga(header, row, encoding);
        EXPECT_EQ(all_rows(*opened_tga(file)->open(0)), row);
        return std::pair(file[18], static_cast<int>(opened_tga(file)->settings().extension->attributes()));
    };
    EXPECT_EQ(said(3), std::pair(uint8_t{0x20}, 3));
    EXPECT_EQ(said(0), std::pair(uint8_t{0x20}, 3));
    EXPECT_EQ(said(2), std::pair(uint8_t{0x20}, 2));
    EXPECT_EQ(said(4), std::pair(uint8_t{0x10}, 4));
    EXPECT_EQ(said(77), std::pair(uint8_t{0x20}, 77));
    // Bits without a meaning stay so, and otherwise there are none without alpha.
    const RowsHeader opaque = header_of(1, 1, kRgb);
    encoding.bits_per_pixel = 32;
    encoding.extension->set_attributes(TgaAttributes::kIgnored);
    Bytes file = written_tga(opaque, {1, 2, 3}, encoding);
    EXPECT_EQ(file[17], 8);
    EXPECT_EQ(opened_tga(file)->open(0)->header().form, kRgb);
    EXPECT_EQ(opened_tga(file)->settings().extension->attributes(), TgaAttributes::kIgnored);
    encoding.extension->set_attributes(TgaAttributes::kAlpha);
    file = written_tga(opaque, {1, 2, 3}, encoding);
    EXPECT_EQ(file[17], 0);
    EXPECT_EQ(opened_tga(file)->settings().extension->attributes(), TgaAttributes::kNone);
}

TEST(TgaTest, SettingsFollowTheForm) {
    for (const Written& from : kWritten) {
        for (const Written& to : kWritten) {
            const RowsHeader before = header_of(6, 4, from.form);
            TgaEncoding encoding;
            encoding.bits_per_pixel = from.bits;
            encoding.extension = full_extension();
            encoding.stamp = TgaStamp{2, 2};
            encoding.map_first = from.form.color == ColorModel::kIndexed ? 3 : 0;
            const auto frames = opened_tga(written_tga(before, random_rows(before), encoding));
            const RowsHeader after = header_of(6, 4, to.form);
            const Bytes rows = [&] {
                Bytes made = random_rows(after);
                for (uint8_t& byte : made) {
                    byte = std::max<uint8_t>(byte, 3);
                }
                return made;
            }();
            const auto reader = opened_tga(written_tga(after, rows, fitting_tga(frames->settings(), after)))->open(0);
            EXPECT_EQ(reader->header().form, to.form);
            EXPECT_EQ(all_rows(*reader), rows);
        }
    }
}

TEST(TgaTest, WhatTheFormatDoesNotHaveIsRefused) {
    const auto refused = [](const RowsHeader& header, const TgaEncoding& encoding) {
        Bytes out;
        const PictureError error = failure_of([&] { make_tga_writer(header, encoding, out); });
        EXPECT_EQ(error.kind(), Failure::kEncoding);
        return std::string(error.what());
    };
    const auto bits = [](int number) {
        TgaEncoding encoding;
        encoding.bits_per_pixel = number;
        return encoding;
    };
    EXPECT_EQ(refused(header_of(1, 1, {ColorModel::kRgb, SampleType::kUint16, 16, false}), {}),
              "TGA has 8 bits a channel of gray or RGB, or indices; the picture has another form");
    refused(header_of(1, 1, {ColorModel::kCmyk}), {});
    EXPECT_EQ(refused(header_of(1, 1, kRgba), bits(24)), "TGA of 24 bits per pixel does not hold such pixels");
    refused(header_of(1, 1, kRgba), bits(15));
    refused(header_of(1, 1, kRgb), bits(8));
    refused(header_of(1, 1, kRgb), bits(17));
    refused(header_of(1, 1, kGrayAlpha), bits(8));
    refused(header_of(1, 1, kIndices), bits(24));
    EXPECT_EQ(refused(header_of(65536, 1, kRgb), {}),
              "a TGA file has at most 65535 pixels to a side; the picture has 65536 by 1");
    TgaEncoding encoding;
    encoding.image_id.resize(256);
    refused(header_of(1, 1, kRgb), encoding);
    encoding = {};
    encoding.scan_lines = true;
    refused(header_of(1, 1, kRgb), encoding);
    encoding.extension.emplace();
    encoding.correction_table.resize(2047);
    refused(header_of(1, 1, kRgb), encoding);
    encoding.correction_table.clear();
    encoding.stamp = TgaStamp{1, 1, {1, 2}};
    refused(header_of(1, 1, kRgb), encoding);
    encoding = {};
    encoding.map_first = 256;
    refused(header_of(1, 1, kIndices), encoding);
    encoding = {};
    encoding.unused_map = TgaUnusedMap{0, 2, 24, {1}};
    refused(header_of(1, 1, kRgb), encoding);
}

// --- Recognizing ----------------------------------------------------------------------------------------------------

bool is_tga(const Bytes& file) {
    return sniff(file) == Format::kTga;
}

TEST(TgaTest, AFileIsRecognizedByItsHeader) {
    TgaMade made;
    made.depth = 32;
    made.attribute_bits = 8;
    made.pixels.resize(20);
    const FileFacts facts = probe(made.file());
    EXPECT_EQ(facts.format, Format::kTga);
    EXPECT_TRUE(facts.readable);
    EXPECT_EQ(facts.width, 5);
    EXPECT_EQ(facts.height, 4);
    EXPECT_EQ(facts.bits_per_pixel, 32);
    EXPECT_TRUE(facts.has_alpha);
    // Each of these is no header of a TGA.
    const auto with = [&](size_t at, uint8_t value) {
        Bytes file = made.file();
        file[at] = value;
        EXPECT_FALSE(is_tga(file)) << at;
    };
    with(1, 2);  // a type of color map
    with(2, 4);  // an image type
    with(2, 1);  // indices without a map
    with(3, 1);  // a map that is not there
    with(5, 1);
    with(7, 7);
    with(12, 0);  // no width
    with(14, 0);
    with(16, 7);     // a depth
    with(17, 9);     // attribute bits
    with(17, 0xC0);  // the order of rows
    EXPECT_FALSE(is_tga(Bytes(18)));
    EXPECT_FALSE(is_tga(made.header()));  // no pixel
    EXPECT_FALSE(is_tga(Bytes(17)));
    for (const char* text : {"\x89PNG\r\n\x1A\n........................", "GIF89a........................",
                             "BM............................", "II*.................................",
                             "%PDF-1.7......................", "<?xml version=\"1.0\"?><svg></svg>"}) {
        const std::string found = text;
        EXPECT_FALSE(is_tga({found.begin(), found.end()})) << text;
    }
}

TEST(TgaTest, AKnownFileThatCannotBeReadSaysWhy) {
    const auto reason = [](const TgaMade& made, Failure kind) {
        const Bytes file = with_footer(made.file());
        const PictureError error = failure_of([&] { opened_tga(file, Recovery::kMaximal); });
        EXPECT_EQ(error.kind(), kind);
        const FileFacts facts = probe(file);
        EXPECT_FALSE(facts.readable);
        if (facts.format == Format::kTga) {
            EXPECT_EQ(error.what(), facts.obstacle);
        }
        return std::string(error.what());
    };
    TgaMade made;
    made.pixels.resize(20);
    made.image_type = 0;
    EXPECT_EQ(reason(made, Failure::kUnsupported), "this is a TGA file without a picture (image type 0)");
    made.image_type = 32;
    made.depth = 8;
    EXPECT_EQ(reason(made, Failure::kUnsupported),
              "this is a TGA file with Huffman-coded data (image type 32), which are not supported");
    made.image_type = 33;
    reason(made, Failure::kUnsupported);
    made.map_type = 1;
    made.map_bits = 24;
    made.map = {1, 2};
    EXPECT_TRUE(is_tga(made.file()));
    EXPECT_EQ(reason(made, Failure::kUnsupported), probe(made.file()).obstacle);
    made.image_type = 50;
    EXPECT_EQ(reason(made, Failure::kUnsupported),
              "this is a TGA file of the image type 50, which the format does not define");
    made.image_type = 3;
    made.depth = 24;
    EXPECT_EQ(reason(made, Failure::kUnsupported),
              "this is a TGA file of 24 bits per pixel with the image type 3, which do not go together");
    made.image_type = 2;
    made.interleave = 3;
    reason(made, Failure::kUnsupported);
    made.interleave = 0;
    made.map_type = 3;
    EXPECT_EQ(reason(made, Failure::kDamaged), "there is no color map of the type 3");
    made.map_type = 1;
    made.image_type = 1;
    made.depth = 8;
    made.map_bits = 12;
    EXPECT_EQ(reason(made, Failure::kDamaged), "there is no color map of 12 bits per entry");
    made.map = {};
    EXPECT_EQ(reason(made, Failure::kDamaged), "the pixels are indices, and there is no color map");
    made.map_bits = 24;
    made.map = {1, 2};
    made.width = 0;
    EXPECT_EQ(reason(made, Failure::kDamaged), "the size 0 by 4 is not one of a picture");
}

}  // namespace
}  // namespace zelmor::imagework
