// Where pictures end: of what the backend wrote, given bit by bit and with something behind it.
#include <string>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

using File = std::vector<uint8_t>;

// The end as it is found when the file comes `step` bytes at a time, and what is asked for is not more than there is.
uint64_t found_end(const File& file, size_t step) {
    const auto end = picture_end(probe(file));
    for (size_t there = 0;; there = std::min(there + step, file.size())) {
        const uint64_t needed = end->needed(std::span(file).first(there));
        if (needed <= there) {
            return needed;
        }
        if (there == file.size()) {
            return needed;
        }
    }
}

FileFacts facts_of(Format format) {
    FileFacts facts;
    facts.format = format;
    return facts;
}

File with_tail(File file, uint8_t filler) {
    file.resize(file.size() + 3000, filler);
    return file;
}

File animated(const FormatEncoding& format, int count) {
    Encoding encoding;
    encoding.format = format;
    std::vector<std::unique_ptr<Picture>> pictures;
    std::vector<FrameToWrite> frames;
    for (int i = 0; i < count; i++) {
        pictures.push_back(noise(40, 30, false, static_cast<uint32_t>(i) + 1));
        frames.push_back({pictures.back().get(), 100, &encoding});
    }
    const EncodedBytes bytes = backend().encode_frames(frames);
    return {bytes.data.get(), bytes.data.get() + bytes.size};
}

std::vector<std::pair<std::string, File>> files() {
    std::vector<std::pair<std::string, File>> all;
    const auto picture = noise(45, 31, true);
    TiffEncoding tiled;
    tiled.tile_width = tiled.tile_height = 16;
    TiffEncoding big;
    big.big_tiff = true;
    TiffEncoding turned;
    turned.big_endian = true;
    for (const FormatEncoding& format :
         {FormatEncoding(BmpEncoding{1}), FormatEncoding(BmpEncoding{8}), FormatEncoding(BmpEncoding{24}),
          FormatEncoding(BmpEncoding{32, BmpCompression::kBitFields}), FormatEncoding(GifEncoding{}),
          FormatEncoding(JpegEncoding{}), FormatEncoding(JpegEncoding{90, true}), FormatEncoding(PngEncoding{}),
          FormatEncoding(TiffEncoding{}), FormatEncoding(tiled), FormatEncoding(big), FormatEncoding(turned),
          FormatEncoding(WebpEncoding{}), FormatEncoding(WebpEncoding{true})}) {
        File file = encoded(*picture, format);
        all.emplace_back(format_name(probe(file).format) + std::to_string(all.size()), std::move(file));
    }
    for (const FormatEncoding& format : {FormatEncoding(GifEncoding{}), FormatEncoding(PngEncoding{}),
                                         FormatEncoding(WebpEncoding{}), FormatEncoding(TiffEncoding{})}) {
        all.emplace_back("animated" + std::to_string(all.size()), animated(format, 5));
    }
    return all;
}

TEST(PictureEndTest, IsThatOfTheFileWhateverComesBehindIt) {
    for (const auto& [name, file] : files()) {
        for (const size_t step : {size_t{1}, size_t{7}, size_t{1000}, file.size() + 3000}) {
            for (const uint8_t filler : {0x00, 0xFF, 0x2C, 0x41}) {
                EXPECT_EQ(found_end(with_tail(file, filler), step), file.size()) << name << " by " << step;
            }
        }
    }
}

TEST(PictureEndTest, MoreIsNeededWhereTheFileIsCut) {
    for (const auto& [name, file] : files()) {
        const auto facts = probe(file);
        const File cut(file.begin(), file.end() - 1);
        EXPECT_GT(picture_end(facts)->needed(cut), cut.size()) << name;
    }
}

TEST(PictureEndTest, TheLimitGrowsWithWhatIsThere) {
    const File one = encoded(*noise(400, 300, false), PngEncoding{});
    EXPECT_GT(picture_end(probe(one))->limit(), uint64_t{400 * 300 * 3});
    const File five = animated(GifEncoding{}, 5);
    const auto end = picture_end(probe(five));
    const uint64_t before = end->limit();
    EXPECT_EQ(end->needed(five), five.size());
    EXPECT_GE(end->limit(), before + 5 * 4 * 40 * 30);
    FileFacts huge;
    huge.format = Format::kPng;
    huge.variant = Variant::kApng;
    huge.width = huge.height = INT64_MAX;
    huge.bits_per_pixel = huge.frame_count = INT32_MAX;
    EXPECT_GT(picture_end(huge)->limit(), uint64_t{1} << 60);
    EXPECT_LT(picture_end(huge)->limit(), PictureEnd::kUnknown);
}

TEST(PictureEndTest, WhatLeavesItsStructureEndsThereOrNowhere) {
    const File png = encoded(*noise(9, 9, false), PngEncoding{});
    File broken(png.begin(), png.begin() + 33);
    broken.resize(5000);
    EXPECT_LT(picture_end(probe(broken))->needed(broken), 100U);
    File gif = encoded(*noise(9, 9, false), GifEncoding{});
    gif.back() = 0;
    EXPECT_EQ(picture_end(probe(gif))->needed(gif), PictureEnd::kUnknown);
    File tiff = encoded(*noise(9, 9, false), TiffEncoding{});
    tiff.resize(16);
    const uint64_t needed = picture_end(facts_of(Format::kTiff))->needed(tiff);
    EXPECT_GT(needed, tiff.size());
}

TEST(PictureEndTest, DirectoriesInACircleAreWalkedOnce) {
    // Two directories of one entry each, which point to each other, and to a value far away.
    File file = {'I', 'I', 42, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (const uint8_t next : {34, 16}) {
        const uint8_t directory[] = {1, 0, 14, 1, 2, 0, 100, 0, 0, 0, 0, 1, 0, 0, next, 0, 0, 0};
        file.insert(file.end(), std::begin(directory), std::end(directory));
    }
    EXPECT_EQ(picture_end(facts_of(Format::kTiff))->needed(file), 356U);
}

}  // namespace
}  // namespace zelmor::imagework
