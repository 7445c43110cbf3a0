// Samples of every depth as samples of a picture, beside the exact quotients; the colors of luminance and differences,
// and of pixels that were multiplied by their opacity.
#include <gtest/gtest.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "runtime/native/formats/jpeg2000/sample_spread.h"

namespace zelmor::imagework {
namespace {

PixelForm form_of(SampleType type, ColorModel color = ColorModel::kGray, bool alpha = false) {
    PixelForm form;
    form.color = color;
    form.sample = type;
    form.bits = static_cast<int>(8 * sample_size(type));
    form.alpha = alpha;
    return form;
}

// Some of all values, the least and the greatest and their neighbors among them.
std::vector<int64_t> some_values(int bits) {
    const int64_t top = (int64_t{1} << bits) - 1;
    std::vector<int64_t> values{0, 1, top / 2, top / 2 + 1, top - 1, top};
    std::mt19937 random(static_cast<unsigned>(bits));
    for (int i = 0; i < 300; i++) {
        values.push_back(bits <= 8 ? i % (top + 1) : static_cast<int64_t>(random()) & top);
    }
    for (int64_t& value : values) {
        value = std::clamp<int64_t>(value, 0, top);
    }
    return values;
}

int64_t sample_at(const std::vector<uint8_t>& row, size_t size, size_t index) {
    uint32_t value = 0;
    std::memcpy(&value, row.data() + size * index, size);
    return value;
}

TEST(SampleSpread, EveryDepthInEveryType) {
    using enum SampleType;
    for (const SampleType type : {kUint8, kInt8, kUint16, kInt16, kUint32, kInt32}) {
        const size_t size = sample_size(type);
        const bool turned = type == kInt8 || type == kInt16 || type == kInt32;
        const auto wide_top = static_cast<long double>((uint64_t{1} << 8 * size) - 1);
        for (int bits = 1; bits <= 24; bits++) {
            for (const bool is_signed : {false, true}) {
                const SampleSpread spread(bits, is_signed, form_of(type));
                const int64_t top = (int64_t{1} << bits) - 1;
                const int64_t offset = is_signed ? int64_t{1} << (bits - 1) : 0;
                EXPECT_EQ(spread.bits(), bits);
                EXPECT_EQ(spread.top(), top);
                EXPECT_EQ(spread.offset(), offset);
                const std::vector<int64_t> values = some_values(bits);
                std::vector<int32_t> samples;
                for (const int64_t value : values) {
                    samples.push_back(static_cast<int32_t>(value - offset));
                }
                // The second of three bands; the others stay as they are.
                std::vector<uint8_t> row(3 * size * samples.size(), 0x5A);
                spread.put(samples, row.data(), 1, 3);
                const std::vector<uint8_t> other(size, 0x5A);
                for (size_t i = 0; i < samples.size(); i++) {
                    const auto exact = static_cast<long double>(values[i]) * wide_top / static_cast<long double>(top);
                    auto found = sample_at(row, size, 3 * i + 1);
                    found ^= turned ? int64_t{1} << (8 * size - 1) : 0;
                    ASSERT_LE(std::abs(static_cast<long double>(found) - exact), 0.5L)
                        << bits << " " << size << " " << values[i];
                    ASSERT_EQ(sample_at(row, size, 3 * i), sample_at(other, size, 0));
                    ASSERT_EQ(sample_at(row, size, 3 * i + 2), sample_at(other, size, 0));
                }
                if (bits > static_cast<int>(8 * size)) {
                    continue;
                }
                std::vector<int32_t> back(samples.size());
                spread.take(row.data(), 1, 3, back);
                EXPECT_EQ(back, samples) << bits << " " << size;
                // Any samples go to the nearest of the depth.
                std::mt19937 random(5);
                for (uint8_t& byte : row) {
                    byte = static_cast<uint8_t>(random());
                }
                spread.take(row.data(), 0, 3, back);
                for (size_t i = 0; i < back.size(); i++) {
                    auto wide = sample_at(row, size, 3 * i);
                    wide ^= turned ? int64_t{1} << (8 * size - 1) : 0;
                    const auto exact = static_cast<long double>(wide) * static_cast<long double>(top) / wide_top;
                    ASSERT_LE(std::abs(static_cast<long double>(back[i] + offset) - exact), 0.5L);
                }
            }
        }
    }
}

TEST(SampleSpread, WhatIsBeyondTheDepthIsClipped) {
    for (const int bits : {1, 5, 8, 12, 16, 20, 24}) {
        for (const bool is_signed : {false, true}) {
            for (const SampleType type : {SampleType::kUint8, SampleType::kUint16, SampleType::kUint32}) {
                const SampleSpread spread(bits, is_signed, form_of(type));
                const auto least = static_cast<int32_t>(-spread.offset());
                const auto most = static_cast<int32_t>(spread.top() - spread.offset());
                const std::vector<int32_t> samples{least - 1, INT32_MIN, most + 1, INT32_MAX};
                std::vector<uint8_t> row(samples.size() * sample_size(type));
                spread.put(samples, row.data(), 0, 1);
                std::vector<uint8_t> expected(row.size());
                std::fill(expected.begin() + static_cast<std::ptrdiff_t>(row.size() / 2), expected.end(), 0xFF);
                EXPECT_EQ(row, expected) << bits;
            }
        }
    }
}

TEST(SampleSpread, IndicesStayAsTheyAre) {
    for (int bits = 1; bits <= 8; bits++) {
        const SampleSpread spread(bits, false, form_of(SampleType::kUint8, ColorModel::kIndexed));
        std::vector<int32_t> samples;
        for (int32_t i = 0; i < 1 << bits; i++) {
            samples.push_back(i);
        }
        std::vector<uint8_t> row(samples.size());
        spread.put(samples, row.data(), 0, 1);
        for (size_t i = 0; i < row.size(); i++) {
            EXPECT_EQ(row[i], i);
        }
        std::vector<int32_t> back(samples.size());
        spread.take(row.data(), 0, 1, back);
        EXPECT_EQ(back, samples);
    }
}

// The formulas of ITU-R BT.601 for the whole range.
TEST(SampleSpread, LuminanceAndDifferencesBecomeColors) {
    for (const auto& [bits, second, third] :
         {std::tuple{8, 8, 8}, {8, 7, 8}, {8, 8, 6}, {12, 12, 12}, {12, 8, 8}, {8, 12, 10}, {16, 16, 16}}) {
        for (const bool is_signed : {false, true}) {
            for (const bool signed_differences : {false, true}) {
                const PixelForm form = form_of(SampleType::kUint16, ColorModel::kRgb);
                const SampleSpread luminance(bits, is_signed, form);
                const SampleSpread blue(second, signed_differences, form);
                const SampleSpread red(third, signed_differences, form);
                std::mt19937 random(9);
                std::vector<std::vector<int32_t>> samples(3);
                for (int i = 0; i < 500; i++) {
                    const auto one = [&](const SampleSpread& spread) {
                        return static_cast<int32_t>((static_cast<int64_t>(random()) & spread.top()) - spread.offset());
                    };
                    samples[0].push_back(one(luminance));
                    samples[1].push_back(one(blue));
                    samples[2].push_back(one(red));
                }
                const auto before = samples;
                ycc_to_rgb(luminance, blue, red, samples);
                const double top = static_cast<double>(luminance.top());
                const auto difference = [&](const SampleSpread& spread, int32_t sample) {
                    const double half = std::ldexp(1.0, spread.bits() - 1);
                    return (static_cast<double>(sample + spread.offset()) - half) / (2 * half) * (top + 1);
                };
                for (size_t i = 0; i < before[0].size(); i++) {
                    const double y = static_cast<double>(before[0][i] + luminance.offset());
                    const double cb = difference(blue, before[1][i]);
                    const double cr = difference(red, before[2][i]);
                    const double expected[] = {y + 1.402 * cr, y - 0.344136 * cb - 0.714136 * cr, y + 1.772 * cb};
                    const SampleSpread* const spreads[] = {&luminance, &blue, &red};
                    for (size_t band = 0; band < 3; band++) {
                        // Rounded at the depth of the luminance, and once more at that of the band.
                        const double scale = static_cast<double>(spreads[band]->top()) / top;
                        const double exact = std::clamp(expected[band], 0.0, top) * scale;
                        const double found = static_cast<double>(samples[band][i] + spreads[band]->offset());
                        ASSERT_LE(std::abs(found - exact), band == 0 || scale == 1 ? 0.5001 : 0.5001 + 0.5 * scale)
                            << bits << " " << second << " " << band;
                    }
                }
            }
        }
    }
}

template <class Sample>
void check_unmultiplied(SampleType type, size_t bands) {
    constexpr auto kTop = static_cast<long double>(static_cast<Sample>(~Sample{0}));
    const PixelForm form = form_of(type, bands == 2 ? ColorModel::kGray : ColorModel::kRgb, true);
    std::mt19937 random(4);
    std::vector<Sample> pixels;
    for (size_t i = 0; i < 400 * bands; i++) {
        pixels.push_back(static_cast<Sample>(random()));
    }
    for (size_t i = 0; i < bands; i++) {
        pixels[i] = static_cast<Sample>(i == bands - 1 ? 0 : 7);  // clear
        pixels[bands + i] = static_cast<Sample>(i == bands - 1 ? ~Sample{0} : 7);
    }
    const std::vector<Sample> before = pixels;
    assert(bands > 0);
    unmultiply(form, reinterpret_cast<uint8_t*>(pixels.data()), pixels.size() / bands);
    for (size_t i = 0; i < pixels.size(); i++) {
        const Sample alpha = before[i / bands * bands + bands - 1];
        if (i % bands == bands - 1) {
            ASSERT_EQ(pixels[i], alpha);
        } else if (alpha == 0) {
            ASSERT_EQ(pixels[i], 0);
        } else {
            const long double exact = std::min(kTop, static_cast<long double>(before[i]) * kTop / alpha);
            ASSERT_LE(std::abs(static_cast<long double>(pixels[i]) - exact), 0.5L);
        }
    }
}

TEST(SampleSpread, ColorsAreDividedByTheirOpacity) {
    for (const size_t bands : {size_t{2}, size_t{4}}) {
        check_unmultiplied<uint8_t>(SampleType::kUint8, bands);
        check_unmultiplied<uint16_t>(SampleType::kUint16, bands);
        check_unmultiplied<uint32_t>(SampleType::kUint32, bands);
    }
}

}  // namespace
}  // namespace zelmor::imagework
