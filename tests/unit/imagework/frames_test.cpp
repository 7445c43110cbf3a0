// Files of several pictures: TIFF pages, and the frames of GIF, PNG and WebP animations.
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

struct Written {
    std::unique_ptr<Picture> picture;
    int duration;
    Encoding encoding;
};

std::vector<uint8_t> written(const std::vector<Written>& frames) {
    std::vector<FrameToWrite> list;
    for (const Written& frame : frames) {
        list.push_back({frame.picture.get(), frame.duration, &frame.encoding});
    }
    const EncodedBytes bytes = backend().encode_frames(list);
    return {bytes.data.get(), bytes.data.get() + bytes.size};
}

std::vector<Written> animation(const FormatEncoding& format, int count, bool alpha) {
    std::vector<Written> frames;
    for (int i = 0; i < count; i++) {
        Encoding encoding;
        encoding.format = format;
        // Few colors, so that a palette of 256 keeps them all.
        std::vector<Argb> pixels;
        for (Argb p = 0; p < 7 * 5; p++) {
            pixels.push_back((alpha && p % 5 == 0 ? 0 : 0xFF000000) |
                             (p % 5 == 0 && alpha ? 0 : (p * 7 + 40 * i) << 8));
        }
        frames.push_back({picture_of(7, 5, alpha, pixels), 50 * (i + 1), encoding});
    }
    return frames;
}

// The pixels; what is clear has no color that counts.
std::vector<Argb> seen(const Picture& picture) {
    std::vector<Argb> pixels = pixels_of(picture);
    for (Argb& pixel : pixels) {
        if (pixel >> 24 == 0) {
            pixel = 0;
        }
    }
    return pixels;
}

TEST(FramesTest, TiffPagesKeepTheirSizeAndCompression) {
    std::vector<Written> pages;
    pages.push_back({noise(30, 20, false, 1), 0, {}});
    pages.push_back({noise(7, 41, true, 2), 0, {}});
    pages.push_back({noise(50, 3, false, 3), 0, {}});
    TiffEncoding tiff;
    pages[0].encoding.format = tiff;
    tiff.compression = TiffCompression::kDeflate;
    tiff.predictor = TiffDifferencing::kHorizontal;
    pages[1].encoding.format = tiff;
    tiff.compression = TiffCompression::kNone;
    tiff.predictor = TiffDifferencing::kNone;
    pages[2].encoding.format = tiff;
    for (const bool big_tiff : {false, true}) {
        for (const bool big_endian : {false, true}) {
            auto& first = pages[0].encoding.format.get<TiffEncoding>();
            first.big_tiff = big_tiff;
            first.big_endian = big_endian;
            const auto file = written(pages);
            const SharedFrames found = opened(file);
            ASSERT_EQ(found->count(), 3U);
            std::vector<FileFacts> facts;
            for (size_t i = 0; i < 3; i++) {
                facts.push_back(found->header(i).facts);
            }
            EXPECT_EQ(facts[1].width, 7);
            EXPECT_EQ(facts[2].variant, big_tiff ? Variant::kBigTiff : Variant::kUsual);
            EXPECT_EQ(file[0], big_endian ? 'M' : 'I');
            EXPECT_EQ(facts[0].encoding->get<TiffEncoding>().compression, TiffCompression::kLzw);
            EXPECT_EQ(facts[1].encoding->get<TiffEncoding>().compression, TiffCompression::kDeflate);
            EXPECT_EQ(facts[2].encoding->get<TiffEncoding>().compression, TiffCompression::kNone);
            const auto read = frames_of(file);
            ASSERT_EQ(read.size(), 3U);
            for (size_t i = 0; i < 3; i++) {
                EXPECT_EQ(pixels_of(*read[i].picture), pixels_of(*pages[i].picture)) << i;
            }
        }
    }
}

TEST(FramesTest, TiledTiffPagesAreJoined) {
    std::vector<Written> pages;
    TiffEncoding tiff;
    tiff.tile_width = tiff.tile_height = 16;
    for (uint32_t i = 0; i < 3; i++) {
        pages.push_back({noise(40, 40, false, i), 0, {}});
        pages[i].encoding.format = tiff;
    }
    const auto read = frames_of(written(pages));
    ASSERT_EQ(read.size(), 3U);
    EXPECT_EQ(pixels_of(*read[2].picture), pixels_of(*pages[2].picture));
}

TEST(FramesTest, AnimationsKeepFramesAndTimes) {
    WebpEncoding webp;
    webp.lossless = true;
    for (const FormatEncoding& format :
         {FormatEncoding(GifEncoding{}), FormatEncoding(PngEncoding{}), FormatEncoding(webp)}) {
        for (const bool alpha : {false, true}) {
            const auto frames = animation(format, 4, alpha);
            const auto read = frames_of(written(frames));
            ASSERT_EQ(read.size(), 4U) << format_name(format.format());
            for (size_t i = 0; i < 4; i++) {
                EXPECT_EQ(seen(*read[i].picture), seen(*frames[i].picture))
                    << format_name(format.format()) << alpha << i;
                EXPECT_EQ(read[i].duration, frames[i].duration) << format_name(format.format());
            }
        }
    }
}

// A GIF has frames of any size on one canvas.
TEST(FramesTest, FramesOfDifferentSizesAreNoAnimation) {
    std::vector<Written> frames = animation(WebpEncoding{}, 2, false);
    frames[1].picture->resize(3, 3, Resampling::kNearest);
    EXPECT_EQ(failure_of([&] { written(frames); }).kind(), Failure::kEncoding);
}

TEST(FramesTest, OtherFormatsHoldOne) {
    std::vector<Written> frames = animation(JpegEncoding{}, 2, false);
    EXPECT_EQ(failure_of([&] { written(frames); }).kind(), Failure::kUnsupported);
}

TEST(FramesTest, WebpCarriesLoopsAndBackground) {
    WebpEncoding webp;
    webp.loops = 5;
    webp.background = 0x80112233;
    const auto file = written(animation(webp, 2, true));
    const std::string text(file.begin(), file.end());
    const size_t at = text.find("ANIM");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ((std::vector<uint8_t>(file.begin() + static_cast<std::ptrdiff_t>(at) + 8,
                                    file.begin() + static_cast<std::ptrdiff_t>(at) + 14)),
              (std::vector<uint8_t>{0x33, 0x22, 0x11, 0x80, 5, 0}));
}

TEST(FramesTest, ADamagedPageIsAnError) {
    std::vector<Written> pages;
    for (uint32_t i = 0; i < 2; i++) {
        pages.push_back({noise(40, 40, false, i), 0, {}});
        pages[i].encoding.format = TiffEncoding{};
    }
    auto file = written(pages);
    file.resize(file.size() * 3 / 4);
    EXPECT_EQ(failure_of([&] { frames_of(file); }).kind(), Failure::kDamaged);
}

TEST(FramesTest, PixelsThatWereReadForAFileAloneGo) {
    for (const FormatEncoding& format :
         {FormatEncoding(GifEncoding()), FormatEncoding(PngEncoding()), FormatEncoding(WebpEncoding())}) {
        const SharedFrames source = opened(written(animation(GifEncoding(), 3, false)));
        std::vector<Written> frames;
        for (size_t i = 0; i < 3; i++) {
            Encoding encoding;
            encoding.format = format;
            frames.push_back({backend().decode_frame(source, i, {}), 50, encoding});
            EXPECT_FALSE(frames[i].picture->is_decoded());
        }
        frames[1].picture->decode();
        EXPECT_EQ(opened(written(frames))->count(), 3U);
        for (size_t i = 0; i < 3; i++) {
            EXPECT_EQ(frames[i].picture->is_decoded(), i == 1) << format_name(format.format()) << ' ' << i;
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
