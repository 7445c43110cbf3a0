// Palettes: finding them, bringing pixels down to them, files that have them.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
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

// The quantizer makes 2, 4, 16 or 256 colors. Of more than are asked for, the later one of the two nearest goes.
TEST(PaletteTest, ColorsTooManyJoinTheirNearest) {
    const auto picture = noise(50, 40, false);
    const std::pair<int, std::vector<int>> kWanted[] = {
        {2, {1, 2}}, {4, {3, 4}}, {16, {5, 15, 16}}, {256, {17, 100, 254, 255, 256}}};
    for (const auto& [made, wanted] : kWanted) {
        std::vector<Argb> left = picture->close_palette(made, false);
        ASSERT_EQ(left.size(), static_cast<size_t>(made));
        for (auto most = wanted.rbegin(); most != wanted.rend(); ++most) {
            while (left.size() > static_cast<size_t>(*most)) {
                std::pair<uint32_t, size_t> nearest{0xFFFFFFFF, 0};
                for (size_t later = 0; later < left.size(); later++) {
                    for (size_t i = 0; i < later; i++) {
                        nearest = std::min(nearest, {color_distance(left[i], left[later]), later});
                    }
                }
                left.erase(left.begin() + static_cast<std::ptrdiff_t>(nearest.second));
            }
            EXPECT_EQ(picture->close_palette(*most, false), left) << *most;
        }
    }
}

TEST(PaletteTest, GroupsOfColorsHaveAnEntryEach) {
    const std::vector<Argb> centers = {0x40E02060, 0xC01080D0, 0x90507010, 0xFFF0F0A0};
    std::vector<Argb> pixels;
    for (Argb i = 0; i < 400; i++) {  // colors around each center, two levels away at most
        const Argb around = (i / 4 % 5) << 16 | (i / 20 % 5) << 8 | (i / 100 % 5);
        pixels.push_back(centers[i % 4] - 0x020202 + around);
    }
    const auto picture = picture_of(20, 20, true, pixels);
    for (const bool keep_alpha : {false, true}) {
        std::vector<Argb> found = picture->close_palette(4, keep_alpha);
        ASSERT_EQ(found.size(), 4U);
        for (const Argb center : centers) {
            const Argb wanted = keep_alpha ? center : center | 0xFF000000;
            EXPECT_TRUE(std::any_of(found.begin(), found.end(),
                                    [&](Argb color) {
                                        return std::all_of(
                                            std::begin({24, 16, 8, 0}), std::end({24, 16, 8, 0}), [&](int shift) {
                                                return std::abs(static_cast<int>(color >> shift & 255) -
                                                                static_cast<int>(wanted >> shift & 255)) <= 4;
                                            });
                                    }))
                << std::hex << wanted;
        }
    }
}

// What stands for a large picture: colors that agree in their upper bits are one, and of each there are as many pixels
// of the mean as there are of all, divided by the same number and rounded up.
std::vector<Argb> condensed(const std::vector<Argb>& pixels, bool alpha) {
    constexpr size_t kWanted = size_t{1} << 18;
    const size_t unit = (pixels.size() + kWanted - 1) / kWanted;
    std::map<std::array<Argb, 4>, std::vector<Argb>> groups;  // by alpha, red, green and blue
    for (const Argb pixel : pixels) {
        const Argb seen = pixel >> 24 == 0 ? 0 : pixel;
        const Argb red = seen >> 16 & 255, green = seen >> 8 & 255, blue = seen & 255;
        groups[alpha ? std::array{seen >> 28, red >> 3, green >> 3, blue >> 4}
                     : std::array{Argb{0}, red >> 2, green >> 2, blue >> 2}]
            .push_back(seen);
    }
    std::vector<Argb> result;
    for (const auto& [key, colors] : groups) {
        Argb mean = 0;
        for (const int shift : {24, 16, 8, 0}) {
            double sum = 0;
            for (const Argb color : colors) {
                sum += color >> shift & 255;
            }
            mean |= static_cast<Argb>(std::lround(sum / static_cast<double>(colors.size()))) << shift;
        }
        result.insert(result.end(), (colors.size() + unit - 1) / unit, mean);
    }
    return result;
}

TEST(PaletteTest, ALargePictureIsLookedAtByGroupsOfItsColors) {
    // 2 to the 18th pixels are not large yet.
    constexpr std::pair<bool, int> kPictures[] = {{false, 512}, {false, 513}, {true, 513}};
    for (const auto& [alpha, height] : kPictures) {
        std::mt19937 random(7);
        std::vector<Argb> pixels;
        for (int y = 0; y < height; y++) {
            for (int x = 0; x < 512; x++) {
                const auto some = static_cast<Argb>(random());
                const auto red = static_cast<Argb>(x / 3), green = static_cast<Argb>(y / 4);
                const Argb level = some % 7 == 0 ? 0 : 0x50 + (some & 0x1F);
                pixels.push_back((alpha ? level : 0xFF) << 24 | red << 16 | green << 8 | (some >> 8 & 0x17));
            }
        }
        pixels[5] = 0xFF10FFFF;  // no color is too rare
        const std::vector<Argb> few = condensed(pixels, alpha);
        ASSERT_LE(few.size(), size_t{1} << 18);
        const auto row = picture_of(static_cast<int32_t>(few.size()), 1, alpha, few);
        const std::vector<Argb> found = picture_of(512, height, alpha, pixels)->close_palette(16, alpha);
        EXPECT_EQ(found == row->close_palette(16, alpha), height == 513) << alpha;
    }
}

TEST(PaletteTest, TheMostFrequentColorsInTheOrderOfTheirNumbers) {
    for (const bool alpha : {false, true}) {
        std::vector<Argb> pixels = pixels_of(*noise(60, 50, alpha));
        std::map<Argb, int> counts;
        for (Argb& pixel : pixels) {
            pixel &= 0xFF030107;
            counts[pixel | 0xFF000000]--;  // alpha does not count
        }
        std::vector<std::pair<int, Argb>> order;
        for (const auto& [color, count] : counts) {
            order.emplace_back(count, color);
        }
        std::sort(order.begin(), order.end());
        ASSERT_EQ(order.size(), 64U);
        const auto picture = picture_of(60, 50, alpha, pixels);
        for (const int most : {1, 2, 63, 64, 65, 256}) {
            std::vector<Argb> expected;
            for (size_t i = 0; i < std::min<size_t>(order.size(), static_cast<size_t>(most)); i++) {
                expected.push_back(order[i].second);
            }
            EXPECT_EQ(picture->frequent_palette(most), expected) << most;
        }
    }
    for (const int most : {-1, 0, 257}) {
        const auto picture = noise(5, 4, false);
        const std::string reason = "a palette has 1 to 256 colors, not " + std::to_string(most);
        EXPECT_EQ(failure_of([&] { (void)picture->frequent_palette(most); }).what(), reason);
        EXPECT_EQ(failure_of([&] { (void)picture->close_palette(most, true); }).what(), reason);
    }
}

TEST(PaletteTest, WhetherAPaletteHasAllColors) {
    const auto with_alpha = picture_of(3, 1, true, {0x00123456, 0x80FF0000, 0xFF0000FF});
    EXPECT_TRUE(with_alpha->has_only(std::vector<Argb>{0xFF0000FF, 0x80FF0000, 0x00FFFFFF}));  // clear is clear
    EXPECT_FALSE(with_alpha->has_only(std::vector<Argb>{0xFF0000FF, 0x81FF0000, 0x00FFFFFF}));
    EXPECT_FALSE(with_alpha->has_only(std::vector<Argb>{0xFF0000FF, 0x80FF0000, 0x01FFFFFF}));
    EXPECT_FALSE(with_alpha->has_only(std::vector<Argb>{0xFF0000FE, 0x80FF0000, 0x00FFFFFF}));
    EXPECT_FALSE(with_alpha->has_only({}));
    const auto opaque = picture_of(2, 1, false, {0xFF123456, 0xFF0000FF});
    EXPECT_TRUE(opaque->has_only(std::vector<Argb>{0x00123456, 0x800000FF, 0xFFFFFFFF}));  // it has no alpha
    EXPECT_FALSE(opaque->has_only(std::vector<Argb>{0x00123457, 0x800000FF, 0xFFFFFFFF}));
}

TEST(PaletteTest, IndicesOfThePicturesOwnPaletteAreKept) {
    const std::vector<Argb> own = {0xFF000000, 0xFFFF0000, 0xFF000000, 0xFFFF0000};
    const std::vector<uint8_t> places = {3, 2, 1, 0, 2, 2};
    auto picture = picture_of(3, 2, false, std::vector<Argb>(6, 0xFF00FF00));
    picture->paint(places, own);
    EXPECT_EQ(pixels_of(*picture), (std::vector<Argb>{own[1], own[0], own[1], own[0], own[0], own[0]}));
    for (const bool diffuse : {false, true}) {
        EXPECT_EQ(picture->indices(own, diffuse), places);
        EXPECT_EQ(picture->indices(std::span(own).first(3), diffuse), (std::vector<uint8_t>{1, 0, 1, 0, 0, 0}));
        EXPECT_EQ(picture->indices(std::vector<Argb>{0xFFFF0000, 0xFF000000, 0xFF000000, 0xFFFF0000}, diffuse),
                  (std::vector<uint8_t>{0, 1, 0, 1, 1, 1}));
    }
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
