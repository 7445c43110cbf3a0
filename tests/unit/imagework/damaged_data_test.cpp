// Data that is cut off, altered or of another kind: an error or a picture, never a crash.
#include <random>
#include <string>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

struct Kind {
    const char* name;
    FormatEncoding format;
};

class DamagedDataTest : public testing::TestWithParam<Kind> {};

TEST_P(DamagedDataTest, EveryCutIsAnError) {
    auto bytes = encoded(*noise(40, 30, false), GetParam().format);
    for (size_t length = 0; length < bytes.size(); length += 1 + length / 16) {
        std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(failure_of([&] { decoded(cut); }).kind(), Failure::kDamaged) << length << " of " << bytes.size();
    }
    EXPECT_EQ(decoded(bytes)->width(), 40);
}

TEST_P(DamagedDataTest, AnyAlteredByteGivesAnErrorOrAPicture) {
    auto bytes = encoded(*noise(24, 16, true), GetParam().format);
    std::mt19937 random(7);
    // An altered BMP header may well describe a picture of gigabytes, which takes its time.
    int rounds = GetParam().format.as<BmpEncoding>() != nullptr ? 60 : 400;
    for (int i = 0; i < rounds; i++) {
        auto altered = bytes;
        // Half of the changes in the header, where they do most.
        size_t range = i % 2 == 0 ? std::min<size_t>(64, altered.size()) : altered.size();
        altered[random() % range] = static_cast<uint8_t>(random());
        altered[random() % range] ^= static_cast<uint8_t>(1U << random() % 8);
        for (Recovery recovery : {Recovery::kNone, Recovery::kMaximal}) {
            try {
                auto picture = decoded(altered, recovery);
                EXPECT_GT(picture->width(), 0);
                picture->get_argb(picture->width() - 1, picture->height() - 1);
            } catch (const PictureError& error) {
                EXPECT_NE(std::string(error.what()), "");
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedDataTest,
                         testing::Values(Kind{"Bmp", BmpEncoding{}}, Kind{"Bmp32", BmpEncoding{32}},
                                         Kind{"BmpRle", BmpEncoding{8, BmpCompression::kRle8}},
                                         Kind{"Gif", GifEncoding{}}, Kind{"Jpeg", JpegEncoding{}},
                                         Kind{"JpegProgressive", JpegEncoding{75, true}}, Kind{"Png", PngEncoding{}},
                                         Kind{"Tiff", TiffEncoding{}}, Kind{"Webp", WebpEncoding{}}),
                         [](const auto& info) { return info.param.name; });

class RecoveryTest : public testing::TestWithParam<Kind> {};

TEST_P(RecoveryTest, RowsBeforeTheCutAreKeptAndTheRestIsBackground) {
    auto whole = decoded(encoded(*noise(64, 96, false), GetParam().format));
    auto bytes = encoded(*noise(64, 96, false), GetParam().format);
    bytes.resize(bytes.size() * 6 / 10);
    DecodeOptions options;
    options.recovery = Recovery::kConsistent;
    options.background = 0xFF00C0FF;
    auto picture = backend().decode(bytes, options);
    ASSERT_EQ(picture->width(), 64);
    ASSERT_EQ(picture->height(), 96);
    bool bottom_up = GetParam().format.as<BmpEncoding>() != nullptr;
    int32_t kept = bottom_up ? 95 : 0;
    int32_t lost = bottom_up ? 0 : 95;
    for (int32_t x = 0; x < 64; x++) {
        EXPECT_EQ(picture->get_argb(x, kept), whole->get_argb(x, kept));
        EXPECT_EQ(picture->get_argb(x, lost), 0xFF00C0FF);
    }
    EXPECT_EQ(decoded(bytes, Recovery::kMaximal)->get_argb(5, kept), whole->get_argb(5, kept));
}

INSTANTIATE_TEST_SUITE_P(Formats, RecoveryTest,
                         testing::Values(Kind{"Bmp", BmpEncoding{}}, Kind{"Jpeg", JpegEncoding{}},
                                         Kind{"Png", PngEncoding{}}),
                         [](const auto& info) { return info.param.name; });

TEST(ForeignDataTest, IsToldFromPictures) {
    for (std::string text :
         {"", "B", "hello, world", "%PDF-1.7", "PK\x03\x04", "BM and more text that is no picture at all"}) {
        std::vector<uint8_t> data(text.begin(), text.end());
        // A format that is known and not read is refused by its name.
        const Failure failure = text.starts_with("%PDF") ? Failure::kUnsupported : Failure::kDamaged;
        EXPECT_EQ(failure_of([&] { decoded(data); }).kind(), failure) << text;
        EXPECT_FALSE(probe(data).readable);
    }
}

TEST(HugeHeaderTest, IsRefusedBeforeMemoryIsTaken) {
    auto png = encoded(*noise(8, 8, false), PngEncoding{});
    png[16] = png[20] = 0x7F;
    EXPECT_NE(failure_of([&] { decoded(png); }).kind(), Failure::kInternal);
    auto bmp = encoded(*noise(8, 8, false), BmpEncoding{});
    bmp[20] = bmp[24] = 0x7F;
    const PictureError refused = failure_of([&] { decoded(bmp); });
    EXPECT_EQ(refused.kind(), Failure::kDamaged);
    EXPECT_STREQ(refused.what(), "the BMP data is damaged or incomplete: the data ends in row 0 of 8323080");
}

// A decoder may take memory for a row before it has seen one.
TEST(HugeHeaderTest, OfTooLongASideIsRefusedWhenTheFileIsOpened) {
    for (const size_t side : {16, 20}) {
        auto png = encoded(*noise(8, 8, true), PngEncoding{});
        std::fill_n(png.begin() + static_cast<std::ptrdiff_t>(side), 4, uint8_t{0x7F});
        png[29] = png[30] = png[31] = png[32] = 0;
        for (const Recovery recovery : {Recovery::kNone, Recovery::kMaximal}) {
            DecodeOptions options;
            options.recovery = recovery;
            const PictureError refused = failure_of([&] { opened(png, options); });
            EXPECT_EQ(refused.kind(), Failure::kTooLarge) << refused.what();
        }
    }
}

// The areas of the frames are compared with the canvas when they are found: a smaller canvas behind them would have no
// room for them.
TEST(AnimationTest, ASecondHeaderIsDamage) {
    const auto picture = noise(8, 8, true);
    Encoding encoding;
    encoding.format = PngEncoding{};
    const std::vector<FrameToWrite> frames(2, {picture.get(), 70, &encoding});
    const EncodedBytes encoded = backend().encode_frames(frames);
    std::vector<uint8_t> file(encoded.bytes().begin(), encoded.bytes().end());
    const std::string header("\0\0\0\x0DIHDR\0\0\0\x01\0\0\0\x01\x08\0\0\0\0\0\0\0\0", 25);
    file.insert(file.end() - 12, header.begin(), header.end());
    EXPECT_EQ(failure_of([&] { opened(file); }).kind(), Failure::kDamaged);
    DecodeOptions lenient;
    lenient.recovery = Recovery::kMaximal;
    const SharedFrames found = opened(file, lenient);
    ASSERT_EQ(found->count(), 2U);
    const auto last = backend().decode_frame(found, 1, lenient);
    EXPECT_EQ(last->width(), 8);
    EXPECT_EQ(pixels_of(*last), pixels_of(*picture));
}

}  // namespace
}  // namespace zelmor::imagework
