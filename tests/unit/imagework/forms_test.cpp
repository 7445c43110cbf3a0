// Pictures of each form: their samples, their colors, and what they become in another form, beside plain arithmetic.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>

#include "tests/unit/imagework/forms.h"

namespace zelmor::imagework {
namespace {

using namespace forms;

constexpr Rect kAreas[] = {kAll, {0, 0, 1, 1}, {2, 1, 4, 3}, {0, 2, kWidth, 2}, {6, 0, 1, kHeight}};

uint64_t packed(const std::array<double, 4>& color, double from, int bits) {
    const double top = bits == 8 ? 255 : 65535;
    uint64_t word = 0;
    for (const size_t channel : {3, 0, 1, 2}) {
        word = word << bits | static_cast<uint64_t>(in_depth(color[channel], from, top));
    }
    return word;
}

TEST(FormTest, SamplesAndColorsOfEachArea) {
    for (const PixelForm& form : all_forms(true)) {
        const Numbers numbers = noise_of(form, 3);
        const auto picture = picture_with(form, numbers);
        ASSERT_EQ(picture->form(), form) << name_of(form);
        const std::vector<uint8_t> all = bytes_of(form, numbers);
        for (const Rect& area : kAreas) {
            const size_t row = form.pixel_size() * static_cast<size_t>(area.width);
            for (const size_t gap : {0, 3}) {
                std::vector<uint8_t> expected((row + gap) * static_cast<size_t>(area.height), 0xA5);
                for (int32_t y = 0; y < area.height; y++) {
                    const auto from = static_cast<size_t>((area.y + y) * kWidth + area.x) * form.pixel_size();
                    std::copy_n(&all[from], row, &expected[static_cast<size_t>(y) * (row + gap)]);
                }
                EXPECT_EQ(samples_of(*picture, area, gap), expected) << name_of(form) << ' ' << area.x << ' ' << gap;
            }
            std::vector<Argb> narrow, narrow_expected;
            std::vector<uint64_t> wide, wide_expected;
            for (int32_t y = area.y; y < area.y + area.height; y++) {
                for (int32_t x = area.x; x < area.x + area.width; x++) {
                    const auto color = color_at(form, numbers, x, y);
                    narrow_expected.push_back(static_cast<Argb>(packed(color, top_of(form), 8)));
                    wide_expected.push_back(packed(color, top_of(form), 16));
                }
            }
            narrow.resize(narrow_expected.size());
            wide.resize(wide_expected.size());
            picture->read_argb(area, narrow);
            picture->read_argb64(area, wide);
            EXPECT_EQ(narrow, narrow_expected) << name_of(form) << ' ' << area.x;
            EXPECT_EQ(wide, wide_expected) << name_of(form) << ' ' << area.x;
        }
    }
}

// Into an area; the other pixels stay.
TEST(FormTest, SamplesAreWrittenIntoAnArea) {
    for (const PixelForm& form : all_forms(true)) {
        const Numbers before = noise_of(form, 3), other = noise_of(form, 4);
        for (const Rect& area : kAreas) {
            for (const size_t gap : {0, 3}) {
                const auto picture = picture_with(form, before);
                const size_t row = form.pixel_size() * static_cast<size_t>(area.width);
                const std::vector<uint8_t> samples = bytes_of(form, other);
                std::vector<uint8_t> given((row + gap) * static_cast<size_t>(area.height), 0x5A);
                std::vector<uint8_t> expected = bytes_of(form, before);
                for (int32_t y = 0; y < area.height; y++) {
                    const auto to = static_cast<size_t>((area.y + y) * kWidth + area.x) * form.pixel_size();
                    const uint8_t* from = &samples[static_cast<size_t>(y) * row];
                    std::copy_n(from, row, &given[static_cast<size_t>(y) * (row + gap)]);
                    std::copy_n(from, row, &expected[to]);
                }
                const auto kept = picture->copy();
                picture->write_samples(area, row + gap, given);
                EXPECT_EQ(samples_of(*picture, kAll), expected) << name_of(form) << ' ' << area.x << ' ' << gap;
                EXPECT_EQ(picture->form(), form) << name_of(form);
                EXPECT_GT(picture->changed_at(), kept->changed_at());
                EXPECT_EQ(samples_of(*kept, kAll), bytes_of(form, before));
            }
        }
    }
}

// Colors of 8 and of 16 bits: a gray form becomes RGB when it is given one, and alpha counts where there is any.
TEST(FormTest, ColorsAreWrittenIntoAnArea) {
    std::mt19937_64 random(6);
    for (const PixelForm& form : all_forms(false)) {
        const Numbers before = noise_of(form, 3);
        for (const bool gray : {false, true}) {
            for (const int bits : {8, 16}) {
                for (const Rect& area : kAreas) {
                    const auto count = static_cast<size_t>(area.width * area.height);
                    std::vector<Argb> narrow(count);
                    std::vector<uint64_t> wide(count);
                    const double top = bits == 8 ? 255 : 65535;
                    for (size_t i = 0; i < count; i++) {
                        narrow[i] = static_cast<Argb>(random());
                        narrow[i] = gray ? (narrow[i] & 0xFF0000FF) | (narrow[i] & 255) * 0x010100 : narrow[i];
                        wide[i] = random();
                        wide[i] = gray ? (wide[i] & 0xFFFF00000000FFFF) | (wide[i] & 65535) * 0x100010000 : wide[i];
                    }
                    const auto picture = picture_with(form, before);
                    bits == 8 ? picture->write_argb(area, narrow) : picture->write_argb64(area, wide);
                    PixelForm after = form;
                    if (form.color == ColorModel::kGray && !gray) {
                        after.color = ColorModel::kRgb;
                        after.sample = is_signed(form.sample)
                                           ? static_cast<SampleType>(static_cast<int>(form.sample) - 1)
                                           : form.sample;
                    }
                    ASSERT_EQ(picture->form(), after) << name_of(form);
                    Numbers expected;
                    for (int32_t y = 0; y < kHeight; y++) {
                        for (int32_t x = 0; x < kWidth; x++) {
                            auto color = color_at(form, before, x, y);
                            const int32_t dx = x - area.x, dy = y - area.y;
                            if (dx >= 0 && dy >= 0 && dx < area.width && dy < area.height) {
                                const auto i = static_cast<size_t>(dy * area.width + dx);
                                const uint64_t word = bits == 8 ? narrow[i] : wide[i];
                                const uint64_t mask = bits == 8 ? 0xFF : 0xFFFF;
                                for (const size_t channel : {0, 1, 2, 3}) {
                                    const auto place = static_cast<int>((6 - channel) % 4) * bits;
                                    const auto value = static_cast<double>(word >> place & mask);
                                    color[channel] = form.is_integer() || form.sample == SampleType::kDouble
                                                         ? in_depth(value, top, top_of(form))
                                                         : static_cast<float>(value / top);
                                }
                            }
                            expected.insert(expected.end(), color.begin(),
                                            color.begin() + (after.color == ColorModel::kGray ? 1 : 3));
                            if (form.alpha) {
                                expected.push_back(color[3]);
                            }
                        }
                    }
                    EXPECT_EQ(samples_of(*picture, kAll), bytes_of(after, expected))
                        << name_of(form) << ' ' << gray << bits << ' ' << area.x;
                }
            }
        }
    }
}

// Colors are converted in the greater of the two depths; gray is the luma of ITU-R BT.601.
TEST(FormTest, EachFormBecomesEachOther) {
    for (const PixelForm& from : all_forms(true)) {
        const Numbers before = noise_of(from, 5);
        for (const PixelForm& to : all_forms(true)) {
            if (from.alpha && !to.alpha) {
                continue;  // it is laid over a color
            }
            const auto picture = picture_with(from, before);
            picture->take_form(to, kWhite);
            ASSERT_EQ(picture->form(), to) << name_of(from) << " to " << name_of(to);
            const bool widens = sample_size(to.sample) > sample_size(from.sample);
            const double working = top_of(widens ? to : from), top = top_of(to);
            const auto narrowed = [&](double number, const PixelForm& form) {
                return form.sample == SampleType::kFloat ? static_cast<float>(number) : number;
            };
            Numbers expected;
            for (int32_t y = 0; y < kHeight; y++) {
                for (int32_t x = 0; x < kWidth; x++) {
                    auto color = color_at(from, before, x, y);
                    for (double& channel : color) {
                        channel = narrowed(in_depth(channel, top_of(from), working), widens ? to : from);
                    }
                    if (to.color == ColorModel::kGray && from.color == ColorModel::kRgb) {
                        const double luma = 0.299 * color[0] + 0.587 * color[1] + 0.114 * color[2];
                        color[0] = working == 1 ? narrowed(luma, widens ? to : from) : std::floor(luma + 0.5);
                    }
                    for (double& channel : color) {
                        channel = narrowed(in_depth(channel, working, top), to);
                    }
                    if (to.bits < 8) {
                        const int levels = (1 << to.bits) - 1;
                        color[0] = std::round(color[0] * levels / 255) * 255 / levels;
                    }
                    expected.insert(expected.end(), color.begin(),
                                    color.begin() + (to.color == ColorModel::kGray ? 1 : 3));
                    if (to.alpha) {
                        expected.push_back(color[3]);
                    }
                }
            }
            EXPECT_EQ(samples_of(*picture, kAll), bytes_of(to, expected)) << name_of(from) << " to " << name_of(to);
        }
    }
}

TEST(FormTest, FloatsOutOfRangeAreNoIntegers) {
    const PixelForm form{ColorModel::kRgb, SampleType::kFloat, 32, false};
    for (const double wrong : {-0.001, 1.001, std::nan("")}) {
        for (const size_t at : {size_t{0}, static_cast<size_t>(kWidth * kHeight * 3 - 1)}) {
            Numbers numbers = noise_of(form, 2);
            numbers[at] = wrong;
            const auto picture = picture_with(form, numbers);
            for (const PixelForm& to : all_forms(true)) {
                if (to.is_integer()) {
                    const auto copy = picture->copy();
                    const PictureError error = failure_of([&] { copy->take_form(to, kWhite); });
                    EXPECT_EQ(error.kind(), Failure::kEncoding);
                    EXPECT_NE(std::string(error.what()).find(" " + std::to_string(to.bits) + " bits"),
                              std::string::npos);
                } else {
                    picture->copy()->take_form(to, kWhite);
                }
            }
        }
    }
}

TEST(FormTest, ThereAreNoIndicesWithoutAPalette) {
    const auto picture = noise(3, 2, false);
    EXPECT_EQ(failure_of([&] {
                  picture->take_form({ColorModel::kIndexed, SampleType::kUint8, 8, false}, kWhite);
              }).kind(),
              Failure::kEncoding);
}

// ---- Areas and levels

TEST(FormTest, AreasOutsideAreRefused) {
    const PixelForm rgb;
    for (const Rect& area : {Rect{-1, 0, 2, 2},
                             {0, -1, 2, 2},
                             {0, 0, 0, 2},
                             {0, 0, 2, 0},
                             {6, 0, 2, 1},
                             {0, 4, 1, 2},
                             {7, 0, 1, 1},
                             {0, 5, 1, 1},
                             {0, 0, 8, 1},
                             {0, 0, 1, 6},
                             {INT32_MAX, 0, 2, 1},
                             {1, 0, INT32_MAX, 1},
                             {0, 1, 1, INT32_MAX}}) {
        const auto picture = picture_with(rgb, noise_of(rgb, 1));
        std::vector<Argb> narrow(99);
        std::vector<uint64_t> wide(99);
        std::vector<uint8_t> bytes(999);
        const std::function<void()> uses[] = {
            [&] { picture->read_argb(area, narrow); },       [&] { picture->write_argb(area, narrow); },
            [&] { picture->read_argb64(area, wide); },       [&] { picture->write_argb64(area, wide); },
            [&] { picture->read_samples(area, 50, bytes); }, [&] { picture->write_samples(area, 50, bytes); }};
        for (const auto& use : uses) {
            const PictureError error = failure_of(use);
            EXPECT_EQ(error.kind(), Failure::kArgument);
            EXPECT_EQ(error.parameter(), "rectangle");
            EXPECT_EQ(std::string(error.what()),
                      "the rectangle {X=" + std::to_string(area.x) + ", Y=" + std::to_string(area.y) +
                          ", Width=" + std::to_string(area.width) + ", Height=" + std::to_string(area.height) +
                          "} does not lie inside the image of 7 by 5 pixels");
        }
        EXPECT_EQ(samples_of(*picture, kAll), bytes_of(rgb, noise_of(rgb, 1)));
    }
}

TEST(FormTest, ANewPictureHasItsColorWhereNothingIsWritten) {
    for (const PixelForm& form : all_forms(false)) {
        for (const Rect& area : kAreas) {
            auto picture = backend().create(kWidth, kHeight, form, 0x80606060, {});
            const std::vector<Argb> given(static_cast<size_t>(area.width * area.height), 0xFF202020);
            picture->write_argb(area, given);
            std::vector<Argb> expected(kWidth * kHeight, form.alpha ? 0x80606060 : 0xFF606060);
            for (int32_t y = area.y; y < area.y + area.height; y++) {
                std::fill_n(&expected[static_cast<size_t>(y * kWidth + area.x)], area.width, 0xFF202020);
            }
            EXPECT_EQ(pixels_of(*picture), expected) << name_of(form) << ' ' << area.x;
        }
    }
}

TEST(FormTest, SamplesBetweenTheLevelsOfFewBitsNeedEight) {
    for (const int bits : {1, 2, 4}) {
        const PixelForm form{ColorModel::kGray, SampleType::kUint8, bits, false};
        for (int level = 0; level < 256; level++) {
            auto picture = backend().create(2, 1, form, kBlack, {});
            picture->write_samples({0, 0, 2, 1}, 2, {{0, static_cast<uint8_t>(level)}});
            EXPECT_EQ(picture->form().bits, level % (255 / ((1 << bits) - 1)) == 0 ? bits : 8) << bits << ' ' << level;
            EXPECT_EQ(samples_of(*picture, {0, 0, 2, 1}), (std::vector<uint8_t>{0, static_cast<uint8_t>(level)}));
        }
    }
}

// ---- Indices

std::unique_ptr<Picture> indexed(const std::vector<uint8_t>& indices, const std::vector<Argb>& palette) {
    auto picture = backend().create(static_cast<int32_t>(indices.size()), 1, true, false, 0);
    picture->paint(indices, palette);
    return picture;
}

// The indices once the colors are written over the first pixels, or none if it is not an indexed picture any more.
std::vector<uint8_t> indices_with(const std::vector<Argb>& palette, const std::vector<Argb>& colors, bool wide) {
    const auto picture = indexed({0, 1, 2, 1}, palette);
    const Rect area{0, 0, static_cast<int32_t>(colors.size()), 1};
    if (wide) {
        std::vector<uint64_t> words;
        std::transform(colors.begin(), colors.end(), std::back_inserter(words), widened);
        picture->write_argb64(area, words);
    } else {
        picture->write_argb(area, colors);
    }
    const bool alpha = std::any_of(palette.begin(), palette.end(), [](Argb color) { return color >> 24 != 255; });
    std::vector<Argb> expected{palette[0], palette[1], palette[2], palette[1]};
    for (size_t i = 0; i < colors.size(); i++) {
        expected[i] = alpha ? colors[i] : colors[i] | kBlack;
    }
    if (picture->form().color == ColorModel::kIndexed) {
        const auto indices = samples_of(*picture, {0, 0, 4, 1});
        const std::vector<Argb> seen = pixels_of(*picture);
        for (size_t i = 0; i < 4; i++) {
            EXPECT_EQ(seen[i], palette[indices[i]]);
        }
        return indices;
    }
    EXPECT_EQ(picture->form(), (PixelForm{ColorModel::kRgb, SampleType::kUint8, 8, alpha}));
    EXPECT_EQ(pixels_of(*picture), expected);
    EXPECT_TRUE(picture->palette().empty());
    return {};
}

TEST(FormTest, ColorsOfThePaletteKeepIt) {
    using Indices = std::vector<uint8_t>;
    const std::vector<Argb> opaque{0xFF000000, 0xFFFF0000, 0xFFFF0000, 0xFF123456};
    const std::vector<Argb> clear{0xFF000000, 0x00112233, 0x80FF0000, 0x00445566};
    for (const bool wide : {false, true}) {
        EXPECT_EQ(indices_with(opaque, {0xFF123456, 0xFFFF0000}, wide), (Indices{3, 1, 2, 1}));  // the first counts
        EXPECT_EQ(indices_with(opaque, {0x80123456, 0x00FF0000}, wide), (Indices{3, 1, 2, 1}));  // without its alpha
        EXPECT_EQ(indices_with(opaque, {0xFF123456, 0xFF123457}, wide), Indices{});
        EXPECT_EQ(indices_with(opaque, {0xFF123457, 0xFF123456}, wide), Indices{});
        EXPECT_EQ(indices_with(clear, {0x80FF0000, 0x00445566, 0x00112233}, wide), (Indices{2, 3, 1, 1}));
        EXPECT_EQ(indices_with(clear, {0x00ABCDEF, 0x00ABCDEE}, wide), (Indices{1, 1, 2, 1}));  // as clear as others
        EXPECT_EQ(indices_with(clear, {0x01ABCDEF}, wide), Indices{});
        EXPECT_EQ(indices_with(clear, {0x81FF0000}, wide), Indices{});
        EXPECT_EQ(indices_with(opaque, {0xFF123456, 0xFF123456, 0xFF123456, 0xFF123456}, wide), (Indices{3, 3, 3, 3}));
        // Without an invisible entry an invisible color is one that the palette has not.
        EXPECT_EQ(indices_with({0xFF000000, 0x80FF0000, 0xFF123456}, {0x00ABCDEF}, wide), Indices{});
    }
    const auto picture = indexed({0, 1, 2, 1}, opaque);
    picture->write_argb64({1, 0, 1, 1}, {{0xFFFF'1212'3434'5657}});  // between the colors of 8 bits
    EXPECT_EQ(picture->form().color, ColorModel::kRgb);
}

TEST(FormTest, IndicesThatThePaletteHasNotAreRefused) {
    const std::vector<uint8_t> before{0, 1, 2, 1};
    const auto picture = indexed(before, {0xFF000000, 0xFFFF0000, 0xFF00FF00});
    for (const std::vector<uint8_t>& wrong : {std::vector<uint8_t>{3, 0}, {0, 3}, {0, 255}}) {
        const PictureError error = failure_of([&] { picture->write_samples({1, 0, 2, 1}, 2, wrong); });
        EXPECT_EQ(error.kind(), Failure::kArgument);
        EXPECT_EQ(error.parameter(), "data");
        EXPECT_EQ(std::string(error.what()), "The data has the index " +
                                                 std::to_string(*std::max_element(wrong.begin(), wrong.end())) +
                                                 ", the palette 3 colors.");
        EXPECT_EQ(samples_of(*picture, {0, 0, 4, 1}), before);
    }
    picture->write_samples({1, 0, 2, 1}, 2, {{2, 0}});
    EXPECT_EQ(samples_of(*picture, {0, 0, 4, 1}), (std::vector<uint8_t>{0, 2, 0, 1}));
}

TEST(FormTest, IndicesBecomeTheColorsOfThePalette) {
    for (const bool alpha : {false, true}) {
        const std::vector<Argb> palette{0xFF102030, alpha ? 0x80405060 : 0xFF405060, 0xFF708090};
        const auto picture = indexed({2, 1, 0, 1}, palette);
        EXPECT_EQ(picture->has_alpha(), alpha);
        EXPECT_EQ(std::vector<Argb>(picture->palette().begin(), picture->palette().end()), palette);
        picture->drop_palette();
        EXPECT_EQ(picture->form(), (PixelForm{ColorModel::kRgb, SampleType::kUint8, 8, alpha}));
        EXPECT_TRUE(picture->palette().empty());
        EXPECT_EQ(pixels_of(*picture), (std::vector<Argb>{palette[2], palette[1], palette[0], palette[1]}));
    }
    const PixelForm few{ColorModel::kGray, SampleType::kUint8, 1, false};
    const auto gray = backend().create(2, 1, few, kBlack, {});
    gray->drop_palette();
    EXPECT_EQ(gray->form(), few);
}

}  // namespace
}  // namespace zelmor::imagework
