// Palettes: finding them, bringing pixels down to them, files that have them.
#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/palette_search.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

const std::vector<Argb> kFour = {0xFF000000, 0xFFFFFFFF, 0xFFFF0000, 0xFF0000FF};

TEST(PaletteSearchTest, FindsTheNearest) {
    PaletteSearch search(kFour);
    EXPECT_EQ(search.nearest(0xFF101010), 0U);
    EXPECT_EQ(search.nearest(0xFFF0F0F0), 1U);
    EXPECT_EQ(search.nearest(0xFFD01010), 2U);
    EXPECT_EQ(search.nearest(0xFF2000E0), 3U);
    EXPECT_EQ(search.nearest(0xFF2000E0), 3U);  // remembered
}

TEST(PaletteSearchTest, ClearColorsAreAlike) {
    const std::vector<Argb> palette = {0xFF808080, 0x00FFFFFF};
    EXPECT_EQ(PaletteSearch(palette).nearest(0x00000000), 1U);
    EXPECT_EQ(PaletteSearch(palette).nearest(0xFFFFFFFF), 0U);
}

// The search by boxes finds what a look at all entries finds, the first of those that are equally near.
TEST(PaletteSearchTest, NoEntryIsNearer) {
    std::mt19937 random(5);
    const auto color = [&](bool opaque) {
        // Channels of few bits, so that many entries are equally near, and full ones.
        const Argb mask = random() % 2 == 0 ? 0xC0C0C0C0 : 0xFFFFFFFF;
        const Argb alpha = opaque || random() % 4 == 0 ? 0xFF000000 : random() % 4 == 0 ? 0 : random() & 0xFF000000;
        return (random() & mask & 0xFFFFFF) | alpha;
    };
    for (const size_t count : {1, 2, 16, 256}) {
        for (const bool opaque : {true, false}) {
            std::vector<Argb> palette;
            for (size_t i = 0; i < count; i++) {
                palette.push_back(color(opaque));
            }
            PaletteSearch search(palette);
            for (int i = 0; i < 3000; i++) {
                const Argb wanted = color(opaque && i % 2 == 0);
                const auto nearest = std::min_element(palette.begin(), palette.end(), [&](Argb a, Argb b) {
                    return color_distance(wanted, a) < color_distance(wanted, b);
                });
                ASSERT_EQ(search.nearest(wanted), static_cast<size_t>(nearest - palette.begin())) << std::hex << wanted;
            }
        }
    }
}

TEST(PaletteTest, FewColorsAreKeptInTheOrderOfTheirAppearance) {
    auto picture = picture_of(3, 2, false, {0xFF030303, 0xFF010101, 0xFF030303, 0xFF020202, 0xFF010101, 0xFF00FF00});
    EXPECT_EQ(picture->close_palette(4, false), (std::vector<Argb>{0xFF030303, 0xFF010101, 0xFF020202, 0xFF00FF00}));
}

TEST(PaletteTest, ManyColorsAreBroughtDown) {
    for (const int most : {2, 3, 16, 100, 256}) {
        const auto palette = noise(50, 40, false)->close_palette(most, false);
        EXPECT_LE(palette.size(), static_cast<size_t>(most));
        EXPECT_GT(palette.size(), static_cast<size_t>(most) / 4);
        EXPECT_EQ(std::set<Argb>(palette.begin(), palette.end()).size(), palette.size());
    }
    EXPECT_EQ(failure_of([&] { noise(5, 4, false)->close_palette(0, false); }).kind(), Failure::kArgument);
    EXPECT_EQ(failure_of([&] { noise(5, 4, false)->close_palette(257, false); }).kind(), Failure::kArgument);
}

TEST(PaletteTest, EachPixelGetsItsNearestColor) {
    auto picture = noise(31, 17, false);
    const auto before = pixels_of(*picture);
    const auto indices = picture->indices(kFour, false);
    picture->reduce(kFour, false);
    const auto after = pixels_of(*picture);
    for (size_t i = 0; i < before.size(); i++) {
        uint32_t least = 0xFFFFFFFF;
        for (const Argb color : kFour) {
            least = std::min(least, color_distance(color, before[i]));
        }
        EXPECT_EQ(color_distance(before[i], after[i]), least);
        EXPECT_EQ(after[i], kFour[indices[i]]);
    }
}

TEST(PaletteTest, DiffusionKeepsTheMean) {
    const std::vector<Argb> black_and_white = {0xFF000000, 0xFFFFFFFF};
    for (const Argb level : {0x20U, 0x60U, 0x80U, 0xD0U}) {
        auto picture = backend().create(64, 64, false, false, 0xFF000000 | level * 0x010101);
        const auto indices = picture->indices(black_and_white, true);
        const double mean = 255.0 * static_cast<double>(std::count(indices.begin(), indices.end(), 1)) / (64 * 64);
        EXPECT_NEAR(mean, level, 4.0);
    }
}

// Floyd and Steinberg's diffusion with a place for the error of each pixel: 7, 3, 5 and 1 sixteenths go to the right,
// below left, below and below right. What has arrived is rounded, halves away from zero.
std::vector<uint8_t> diffused(const std::vector<Argb>& pixels, int width, const std::vector<Argb>& palette,
                              bool with_alpha) {
    constexpr std::array<int, 3> kShares[] = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
    const int height = static_cast<int>(pixels.size()) / width;
    std::vector<std::array<int, 4>> sixteenths(pixels.size());
    std::vector<uint8_t> indices;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            const auto at = static_cast<size_t>(y * width + x);
            std::array<int, 4> wanted{};  // blue, green, red, alpha
            Argb color = with_alpha ? 0 : 0xFF000000;
            for (size_t i = 0; i < (with_alpha ? 4 : 3); i++) {
                const int due = static_cast<int>(std::lround(sixteenths[at][i] / 16.0));
                wanted[i] = std::clamp(static_cast<int>(pixels[at] >> 8 * i & 0xFF) + due, 0, 255);
                color += static_cast<Argb>(wanted[i]) << 8 * i;
            }
            const auto nearest = std::min_element(palette.begin(), palette.end(), [&](Argb a, Argb b) {
                return color_distance(a, color) < color_distance(b, color);
            });
            indices.push_back(static_cast<uint8_t>(nearest - palette.begin()));
            for (const auto& [dx, dy, weight] : kShares) {
                if (x + dx < 0 || x + dx >= width || y + dy >= height) {
                    continue;
                }
                for (size_t i = 0; i < (with_alpha ? 4 : 3); i++) {
                    const int error = wanted[i] - static_cast<int>(*nearest >> 8 * i & 0xFF);
                    sixteenths[static_cast<size_t>((y + dy) * width + x + dx)][i] += weight * error;
                }
            }
        }
    }
    return indices;
}

// Alpha is diffused where the picture or the palette has any.
TEST(PaletteTest, DiffusionPixelByPixel) {
    const std::vector<Argb> clear = {0x00000000, 0xFF000000, 0xFFFFFFFF, 0x80FF0000};
    const std::vector<Argb> many = [] {
        std::mt19937 draw(3);
        std::vector<Argb> colors(40);
        std::generate(colors.begin(), colors.end(), [&] { return static_cast<Argb>(draw()); });
        return colors;
    }();
    const std::vector<std::vector<Argb>> palettes = {
        kFour, clear, many, {0x40506070}, {0xFF000000, 0xFEFFFFFF}, {0x40506070, 0x80A0B0C0, 0xC0102030}};
    constexpr std::pair<int, int> kSizes[] = {{37, 23}, {1, 40}, {40, 1}, {2, 9}};
    for (const auto& palette : palettes) {
        const bool opaque = std::all_of(palette.begin(), palette.end(), [](Argb c) { return c >> 24 == 0xFF; });
        for (const bool alpha : {false, true}) {
            for (const auto& [width, height] : kSizes) {
                const auto picture = noise(width, height, alpha);
                const auto expected = diffused(pixels_of(*picture), width, palette, alpha || !opaque);
                EXPECT_EQ(picture->indices(palette, true), expected) << width << ' ' << palette.size() << ' ' << alpha;
            }
        }
    }
}

TEST(PaletteTest, NumbersOfColors) {
    const auto picture = noise(5, 4, true);
    for (const bool diffuse : {false, true}) {
        for (const size_t count : {1, 255, 256}) {
            EXPECT_EQ(picture->indices(std::vector<Argb>(count, kBlack), diffuse), std::vector<uint8_t>(20, 0));
        }
        for (const size_t count : {0, 257}) {
            const PictureError error =
                failure_of([&] { (void)picture->indices(std::vector<Argb>(count, kBlack), diffuse); });
            EXPECT_EQ(error.kind(), Failure::kArgument);
            EXPECT_EQ(std::string(error.what()),
                      "a palette of " + std::to_string(count) + " colors is not one of 1 to 256");
        }
    }
}

// A slope of one channel at a time, which a few entries have to stand for.
TEST(PaletteTest, DiffusionOfSlopes) {
    constexpr int kWidth = 64, kHeight = 16;
    for (const int shift : {0, 8, 16, 24}) {
        std::vector<Argb> pixels;
        for (int i = 0; i < kWidth * kHeight; i++) {
            const auto level = static_cast<Argb>(i % kWidth * 4);
            pixels.push_back((0x80808080 & ~(0xFFU << shift)) | level << shift);
        }
        const std::vector<Argb> palette = {0x80808080 & ~(0xFFU << shift), 0x80808080 | 0xFFU << shift, 0x80808080};
        const auto picture = picture_of(kWidth, kHeight, true, pixels);
        EXPECT_EQ(picture->indices(palette, true), diffused(pixels_of(*picture), kWidth, palette, true)) << shift;
    }
}

TEST(PaletteTest, IndexedFilesHaveThePaletteAsItWasGiven) {
    std::vector<Argb> palette = {0xFF808080, 0xFF00FF00, 0x00000000, 0xFF0000FF, 0xFFFF0000};
    std::vector<Argb> pixels;
    for (size_t i = 0; i < 11 * 5; i++) {
        pixels.push_back(palette[i * 7 % 5]);
    }
    auto picture = picture_of(11, 5, true, pixels);
    for (const int depth : {4, 8}) {
        Encoding encoding;
        PngEncoding png;
        png.color = PngColor::kIndexed;
        png.bit_depth = depth;
        encoding.format = png;
        encoding.palette = palette;
        const EncodedBytes bytes = picture->encode(encoding);
        const FileFacts facts = probe({bytes.data.get(), bytes.size});
        EXPECT_EQ(facts.palette, palette);
        EXPECT_EQ(facts.bits_per_pixel, depth);
        EXPECT_EQ(pixels_of(*backend().decode({bytes.data.get(), bytes.size}, {})), pixels);
    }
    Encoding encoding;
    encoding.format = BmpEncoding{8, BmpCompression::kRgb};
    encoding.palette = {0xFF112233, 0xFF445566, 0xFF000000};
    const EncodedBytes bytes = picture->encode(encoding);
    EXPECT_EQ(probe({bytes.data.get(), bytes.size}).palette, encoding.palette);
}

TEST(PaletteTest, AGifIsReducedToItsPalette) {
    Encoding encoding;
    encoding.format = GifEncoding{};
    encoding.palette = kFour;
    const EncodedBytes bytes = noise(20, 20, false)->encode(encoding);
    const auto colors = pixels_of(*backend().decode({bytes.data.get(), bytes.size}, {}));
    EXPECT_EQ(std::set<Argb>(colors.begin(), colors.end()), std::set<Argb>(kFour.begin(), kFour.end()));
}

TEST(PaletteTest, GrayPngOfFewBitsKeepsItsLevels) {
    const std::vector<Argb> levels = {0xFF000000, 0xFF555555, 0xFFAAAAAA, 0xFFFFFFFF};
    auto picture = picture_of(4, 1, false, levels);
    for (const int depth : {2, 4, 8}) {
        PngEncoding png;
        png.color = PngColor::kGray;
        png.bit_depth = depth;
        EXPECT_EQ(pixels_of(*decoded(encoded(*picture, png))), levels) << depth;
    }
}

TEST(PaletteTest, APaletteThatDoesNotFitIsRefused) {
    Encoding encoding;
    PngEncoding png;
    png.color = PngColor::kIndexed;
    png.bit_depth = 1;
    encoding.format = png;
    encoding.palette = kFour;
    EXPECT_EQ(failure_of([&] { noise(4, 4, false)->encode(encoding); }).kind(), Failure::kEncoding);
}

}  // namespace
}  // namespace zelmor::imagework
