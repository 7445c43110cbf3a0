// GIF files: frames that are found without decoding, composed when they are asked for, and written block by block.
#include "runtime/native/formats/gif/gif_codec.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

const std::vector<Argb> kPalette{0xFF000000, 0xFFFF0000, 0xFF00FF00, 0xFF0000FF};

// A file of frames of one index each.
struct Patch {
    Rect area;
    uint8_t index;
    int disposal = 0;
    std::optional<uint8_t> transparent = {};
};

std::vector<uint8_t> file_of(int32_t width, int32_t height, const std::vector<Patch>& patches) {
    MemorySink out;
    GifWriter writer(width, height, kPalette, {}, out);
    for (const Patch& patch : patches) {
        GifFrameToWrite frame;
        frame.area = patch.area;
        frame.control = GifControl{4, false, patch.disposal, patch.transparent};
        const auto size = static_cast<size_t>(patch.area.width) * static_cast<size_t>(patch.area.height);
        writer.put_frame(frame, std::vector<uint8_t>(size, patch.index));
    }
    writer.finish();
    return bytes_in(out);
}

std::vector<uint8_t> frame_of(const std::vector<uint8_t>& file, size_t index, bool lenient = false) {
    return all_rows(*open_gif(memory_source(file), lenient)->open(index));
}

TEST(GifRowsTest, OnePaletteGivesIndices) {
    const auto file = file_of(3, 1, {{{0, 0, 3, 1}, 1}, {{1, 0, 1, 1}, 2}});
    const auto frames = open_gif(memory_source(file));
    EXPECT_EQ(frames->count(), 2U);
    EXPECT_EQ(frames->open(1)->header().palette, kPalette);
    EXPECT_EQ(frame_of(file, 0), (std::vector<uint8_t>{1, 1, 1}));
    EXPECT_EQ(frame_of(file, 1), (std::vector<uint8_t>{1, 2, 1}));
    EXPECT_EQ(frames->header(1).duration, 40);
    EXPECT_EQ(frames->header(1).area, (Rect{1, 0, 1, 1}));
}

TEST(GifRowsTest, WhatNoFrameCoversIsTransparent) {
    const auto frames = open_gif(memory_source(file_of(3, 1, {{{1, 0, 1, 1}, 2}})));
    const auto reader = frames->open(0);
    const RowsHeader& header = reader->header();
    ASSERT_EQ(header.form.color, ColorModel::kIndexed);
    const auto rows = all_rows(*reader);
    EXPECT_EQ(header.palette[rows[0]] >> 24, 0U);
    EXPECT_EQ(header.palette[rows[1]], kPalette[2]);
    EXPECT_EQ(header.palette[rows[2]] >> 24, 0U);
}

TEST(GifRowsTest, DisposalsBringBackAndClear) {
    const auto file = file_of(2, 1, {{{0, 0, 2, 1}, 1}, {{0, 0, 1, 1}, 2, 3}, {{1, 0, 1, 1}, 3, 2}, {{0, 0, 1, 1}, 1}});
    const auto frames = open_gif(memory_source(file));
    const auto color = [&](size_t frame, size_t pixel) {
        const auto reader = frames->open(frame);
        const auto rows = all_rows(*reader);
        const RowsHeader& header = reader->header();
        return header.form.color == ColorModel::kIndexed
                   ? header.palette[rows[pixel]]
                   : static_cast<Argb>(rows[4 * pixel + 3]) << 24 | static_cast<Argb>(rows[4 * pixel]) << 16 |
                         static_cast<Argb>(rows[4 * pixel + 1]) << 8 | rows[4 * pixel + 2];
    };
    EXPECT_EQ(color(3, 1) >> 24, 0U);  // asked for first: composed from the beginning
    EXPECT_EQ(color(1, 0), kPalette[2]);
    EXPECT_EQ(color(2, 0), kPalette[1]);
    EXPECT_EQ(color(2, 1), kPalette[3]);
    EXPECT_EQ(color(3, 0), kPalette[1]);
}

TEST(GifRowsTest, ADamagedFrameIsToldOrLeftAsItWas) {
    std::vector<uint8_t> file = file_of(9, 9, {{{0, 0, 9, 9}, 1}, {{0, 0, 9, 9}, 2}});
    file.resize(file.size() - 6);
    EXPECT_EQ(frame_of(file, 0), std::vector<uint8_t>(81, 1));
    EXPECT_EQ(failure_of([&] { frame_of(file, 1); }).kind(), Failure::kDamaged);
    const auto rows = frame_of(file, 1, true);
    ASSERT_EQ(rows.size(), 4U * 81);  // colors, so that missing pixels could be clear
    EXPECT_EQ(std::vector<uint8_t>(rows.end() - 4, rows.end()), (std::vector<uint8_t>{255, 0, 0, 255}));
}

TEST(GifRowsTest, NoFrameAndNoScreenAreDamage) {
    const auto file = file_of(4, 4, {{{0, 0, 4, 4}, 1}});
    for (size_t length = 0; length + 2 < file.size(); length++) {
        const std::vector<uint8_t> cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(failure_of([&] { frame_of(cut, 0); }).kind(), Failure::kDamaged) << length;
    }
}

TEST(GifRowsTest, TheBudgetIsAskedBeforeMemoryIsTaken) {
    const auto file = file_of(1000, 1000, {{{0, 0, 1, 1}, 1}});
    const auto budget = std::make_shared<MemoryBudget>(900'000);
    const auto frames = open_gif(memory_source(file), false, budget);
    EXPECT_EQ(failure_of([&] { frames->open(0); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(budget->used(), 0U);
}

TEST(GifRowsTest, AFullTargetEndsTheWriting) {
    const RowsHeader header = header_of(200, 150, {ColorModel::kIndexed, SampleType::kUint8, 8, false});
    const auto rows = random_rows(header);
    for (const bool interlaced : {false, true}) {
        GifEncoding encoding;
        encoding.interlaced = interlaced;
        MemorySink memory;
        const auto writer = make_gif_writer(header, encoding, memory);
        write_all(*writer, header, rows, 7);
        const auto file = bytes_in(memory);
        EXPECT_EQ(frame_of(file, 0), rows);
        for (const size_t room : {size_t{0}, size_t{20'000}, file.size() - 1}) {
            FullSink full(room);
            EXPECT_THROW(write_all(*make_gif_writer(header, encoding, full), header, rows, 150), FullSink::Full);
        }
    }
}

TEST(GifRowsTest, OtherFormsAreRefused) {
    MemorySink out;
    EXPECT_EQ(failure_of([&] { make_gif_writer(header_of(2, 2, {}), {}, out); }).kind(), Failure::kEncoding);
    EXPECT_EQ(failure_of([&] { GifWriter(70000, 1, kPalette, {}, out); }).kind(), Failure::kEncoding);
}

}  // namespace
}  // namespace zelmor::imagework
