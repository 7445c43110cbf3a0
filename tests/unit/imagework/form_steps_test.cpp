// Steps that move, replace and weigh pixels, in each form: what they do not change keeps its samples to the bit.
#include <algorithm>
#include <cmath>

#include "tests/unit/imagework/forms.h"

namespace zelmor::imagework {
namespace {

using namespace forms;

// The samples of a picture whose pixels stand where `place` says, or are those of one color.
template <class Place>
std::vector<uint8_t> moved(const PixelForm& form, const Numbers& numbers, int32_t width, int32_t height,
                           const std::vector<uint8_t>& background, Place&& place) {
    const std::vector<uint8_t> all = bytes_of(form, numbers);
    const auto size = static_cast<std::ptrdiff_t>(form.pixel_size());
    std::vector<uint8_t> expected;
    for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
            const auto [sx, sy] = place(x, y);
            if (sx < 0 || sy < 0 || sx >= kWidth || sy >= kHeight) {
                expected.insert(expected.end(), background.begin(), background.end());
            } else {
                const auto from = all.begin() + (sy * kWidth + sx) * size;
                expected.insert(expected.end(), from, from + size);
            }
        }
    }
    return expected;
}

using Place = std::pair<int32_t, int32_t>;

TEST(FormStepTest, TurnedAndMirrored) {
    for (const PixelForm& form : all_forms(true)) {
        const Numbers numbers = noise_of(form, 8);
        for (int turns = 0; turns < 4; turns++) {
            for (int mirror = 0; mirror < 4; mirror++) {
                const auto picture = picture_with(form, numbers);
                const bool x_too = (mirror & 1) != 0, y_too = (mirror & 2) != 0;
                picture->rotate_flip(turns, x_too, y_too);
                const int32_t width = turns % 2 == 0 ? kWidth : kHeight, height = turns % 2 == 0 ? kHeight : kWidth;
                ASSERT_EQ(Place(picture->width(), picture->height()), Place(width, height));
                EXPECT_EQ(picture->form(), form) << name_of(form);
                const auto place = [&](int32_t x, int32_t y) {
                    const int32_t mx = x_too ? width - 1 - x : x, my = y_too ? height - 1 - y : y;
                    const Place places[] = {
                        {mx, my}, {my, kHeight - 1 - mx}, {kWidth - 1 - mx, kHeight - 1 - my}, {kWidth - 1 - my, mx}};
                    return places[turns];
                };
                EXPECT_EQ(samples_of(*picture, {0, 0, width, height}), moved(form, numbers, width, height, {}, place))
                    << name_of(form) << ' ' << turns << ' ' << mirror;
            }
        }
    }
}

TEST(FormStepTest, CutAndPlaced) {
    for (const PixelForm& form : all_forms(false)) {
        const Numbers numbers = noise_of(form, 8);
        for (const Rect& area : {Rect{0, 0, 1, 1}, {2, 1, 4, 3}, {0, 2, kWidth, 2}, {6, 0, 1, kHeight}}) {
            const auto picture = picture_with(form, numbers);
            picture->crop(area);
            EXPECT_EQ(picture->form(), form);
            EXPECT_EQ(samples_of(*picture, {0, 0, area.width, area.height}),
                      moved(form, numbers, area.width, area.height, {},
                            [&](int32_t x, int32_t y) { return Place(x + area.x, y + area.y); }))
                << name_of(form);
        }
        // The image library takes the color as floats of 32 bits.
        const auto level = static_cast<float>(in_depth(0x40, 255, top_of(form)));
        Numbers fill(static_cast<size_t>(form.color_bands()), level);
        if (form.alpha) {
            fill.push_back(top_of(form));
        }
        for (const Rect& at : {Rect{3, 4, 20, 15}, {-4, -1, 5, 5}, {0, 8, 9, 30}, {50, 0, 6, 6}, {0, -50, 6, 6}}) {
            const auto picture = picture_with(form, numbers);
            picture->place(at.width, at.height, at.x, at.y, 0xFF404040);
            EXPECT_EQ(picture->form(), form);
            EXPECT_EQ(samples_of(*picture, {0, 0, at.width, at.height}),
                      moved(form, numbers, at.width, at.height, bytes_of(form, fill),
                            [&](int32_t x, int32_t y) { return Place(x - at.x, y - at.y); }))
                << name_of(form) << ' ' << at.x;
        }
    }
}

// ---- Colors replaced

// Each channel may be as many levels off as the tolerance says, in the depth of the picture.
TEST(FormStepTest, ColorsThatAreNearEnoughAreReplaced) {
    for (const PixelForm& form : all_forms(false)) {
        const double unit = top_of(form) / 255, step = form.is_integer() ? 1 : 1e-4;
        const auto bands = static_cast<size_t>(form.bands());
        for (const int tolerance : {0, 3}) {
            for (const bool finds : {false, true}) {
                // In one channel after the other; the others are those of the color.
                Numbers numbers(static_cast<size_t>(kWidth * kHeight) * bands, 0), expected;
                std::vector<bool> matches;
                for (size_t pixel = 0; pixel < static_cast<size_t>(kWidth * kHeight); pixel++) {
                    for (size_t band = 0; band < bands; band++) {
                        const bool is_alpha = form.alpha && band + 1 == bands;
                        numbers[pixel * bands + band] = (is_alpha ? 0xC0 : 0x40) * unit;
                    }
                    const double offs[] = {-tolerance * unit - step, -tolerance * unit, tolerance * unit,
                                           tolerance * unit + step};
                    const double off = offs[finds ? pixel % 4 : pixel % 2 * 3];
                    numbers[pixel * bands + pixel / 4 % bands] += off;
                    matches.push_back(finds && (pixel % 4 == 1 || pixel % 4 == 2));
                }
                if (!form.is_integer()) {
                    for (double& number : numbers) {  // of which 64/255 has no exact value
                        number = form.sample == SampleType::kFloat ? static_cast<float>(number) : number;
                    }
                }
                const auto picture = picture_with(form, numbers);
                const Argb old_color = form.alpha ? 0xC0404040 : 0xFF404040;
                picture->replace_color(old_color, static_cast<uint8_t>(tolerance),
                                       form.alpha ? 0x80909090 : 0xFF909090);
                if (!form.is_integer() && tolerance > 0) {
                    continue;  // the very bound is one of rounding
                }
                for (size_t pixel = 0; pixel < matches.size(); pixel++) {
                    for (size_t band = 0; band < bands; band++) {
                        const bool is_alpha = form.alpha && band + 1 == bands;
                        expected.push_back(matches[pixel] ? (is_alpha ? 0x80 : 0x90) * unit
                                                          : numbers[pixel * bands + band]);
                    }
                }
                EXPECT_EQ(picture->form(), form);
                EXPECT_EQ(samples_of(*picture, kAll), bytes_of(form, expected)) << name_of(form) << ' ' << tolerance;
            }
        }
    }
}

TEST(FormStepTest, AllColorsAreReplacedAndAlphaIsKept) {
    for (const PixelForm& form : all_forms(false)) {
        for (const Argb color : {0xFF909090U, 0xFF904020U}) {
            const Numbers before = noise_of(form, 9);
            const auto picture = picture_with(form, before);
            picture->replace_rgb(color);
            const bool becomes_rgb = color == 0xFF904020U;
            ASSERT_EQ(picture->form().color == ColorModel::kRgb, becomes_rgb || form.color == ColorModel::kRgb);
            Numbers expected;
            for (int32_t y = 0; y < kHeight; y++) {
                for (int32_t x = 0; x < kWidth; x++) {
                    for (int band = 0; band < picture->form().color_bands(); band++) {
                        const double level = color >> (16 - 8 * band) & 255;
                        const double value = level * (top_of(form) / 255);
                        expected.push_back(form.sample == SampleType::kFloat ? static_cast<float>(value) : value);
                    }
                    if (form.alpha) {
                        expected.push_back(color_at(form, before, x, y)[3]);
                    }
                }
            }
            EXPECT_EQ(samples_of(*picture, kAll), bytes_of(picture->form(), expected)) << name_of(form);
        }
    }
}

TEST(FormStepTest, OpacityIsTheMeanOfWhatAlphaIsOfItsRange) {
    for (const PixelForm& form : all_forms(true)) {
        Numbers numbers = noise_of(form, 10);
        const auto bands = static_cast<size_t>(form.bands());
        double expected = form.alpha ? 0 : 1;
        if (form.alpha) {
            if (!form.is_integer()) {  // clipped, and what is no number is nothing
                numbers[bands - 1] = 1.5;
                numbers[2 * bands - 1] = -0.5;
                numbers[3 * bands - 1] = std::nan("");
            }
            for (size_t i = bands - 1; i < numbers.size(); i += bands) {
                const double share = numbers[i] / top_of(form);
                expected += share > 0 ? std::min(share, 1.0) : 0;
            }
            expected /= kWidth * kHeight;
        }
        EXPECT_NEAR(picture_with(form, numbers)->opacity(), expected, 1e-12) << name_of(form);
    }
}

}  // namespace
}  // namespace zelmor::imagework
