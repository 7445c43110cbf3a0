// Pictures of each form, with samples that a test knows as numbers.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_FORMS_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_FORMS_H

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "runtime/native/imagework/pixels/samples.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework::forms {

constexpr int32_t kWidth = 7, kHeight = 5;
constexpr Rect kAll{0, 0, kWidth, kHeight};

// Samples as what part of their range they are, in steps of the storage.
using Numbers = std::vector<double>;

inline double top_of(const PixelForm& form) {
    return sample_top(storage_of(form.sample));
}

inline bool is_signed(SampleType sample) {
    return sample == SampleType::kInt8 || sample == SampleType::kInt16 || sample == SampleType::kInt32;
}

// As a file has them: signed ones count from the middle of their range.
inline std::vector<uint8_t> bytes_of(const PixelForm& form, const Numbers& numbers) {
    std::vector<uint8_t> bytes(numbers.size() * sample_size(form.sample));
    with_storage(storage_of(form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        for (size_t i = 0; i < numbers.size(); i++) {
            auto value = static_cast<Sample>(numbers[i]);
            if (is_signed(form.sample)) {
                value = static_cast<Sample>(numbers[i] - (top_of(form) + 1) / 2 +
                                            (numbers[i] * 2 < top_of(form) ? top_of(form) + 1 : 0));
            }
            std::memcpy(&bytes[i * sizeof value], &value, sizeof value);
        }
    });
    return bytes;
}

inline Numbers noise_of(const PixelForm& form, uint32_t seed) {
    std::mt19937_64 random(seed);
    Numbers numbers(static_cast<size_t>(kWidth * kHeight * form.bands()));
    for (double& number : numbers) {
        const auto drawn = static_cast<double>(random() >> 11) / 0x1p53;
        if (!form.is_integer()) {
            number = static_cast<float>(drawn);
        } else if (form.bits < 8) {
            const int levels = (1 << form.bits) - 1;
            number = std::floor(drawn * (levels + 1)) * 255 / levels;
        } else {
            number = std::floor(drawn * (top_of(form) + 1));
        }
    }
    return numbers;
}

// A sample in another depth: of 16 bits the upper byte, otherwise the nearest.
inline double in_depth(double number, double top, double other) {
    if (top == other || other == 1) {
        return other == 1 ? number / top : number;
    }
    if (top == 65535 && other == 255) {
        return std::floor(number / 256);
    }
    return std::floor(number / top * other + 0.5);
}

inline std::unique_ptr<Picture> picture_with(const PixelForm& form, const Numbers& numbers) {
    auto picture = backend().create(kWidth, kHeight, form, kBlack, {});
    picture->write_samples(kAll, form.pixel_size() * kWidth, bytes_of(form, numbers));
    return picture;
}

inline std::vector<uint8_t> samples_of(const Picture& picture, const Rect& area, size_t gap = 0) {
    const size_t row = picture.form().pixel_size() * static_cast<size_t>(area.width) + gap;
    std::vector<uint8_t> bytes(row * static_cast<size_t>(area.height), 0xA5);
    picture.read_samples(area, row, bytes);
    return bytes;
}

inline std::vector<PixelForm> all_forms(bool few_bits) {
    std::vector<PixelForm> found;
    for (const ColorModel color : {ColorModel::kGray, ColorModel::kRgb}) {
        for (const SampleType sample :
             {SampleType::kUint8, SampleType::kInt8, SampleType::kUint16, SampleType::kInt16, SampleType::kUint32,
              SampleType::kInt32, SampleType::kFloat, SampleType::kDouble}) {
            for (const bool alpha : {false, true}) {
                found.push_back({color, sample, static_cast<int>(8 * sample_size(sample)), alpha});
            }
        }
    }
    for (int bits = 1; few_bits && bits < 8; bits *= 2) {
        found.push_back({ColorModel::kGray, SampleType::kUint8, bits, false});
    }
    return found;
}

inline std::string name_of(const PixelForm& form) {
    return (form.color == ColorModel::kGray ? "gray " : "rgb ") + std::to_string(static_cast<int>(form.sample)) + ' ' +
           std::to_string(form.bits) + (form.alpha ? " with alpha" : "");
}

// Red, green, blue and alpha of a pixel.
inline std::array<double, 4> color_at(const PixelForm& form, const Numbers& numbers, int32_t x, int32_t y) {
    const auto bands = static_cast<size_t>(form.bands());
    const double* pixel = &numbers[static_cast<size_t>(y * kWidth + x) * bands];
    const bool gray = form.color == ColorModel::kGray;
    return {pixel[0], pixel[gray ? 0 : 1], pixel[gray ? 0 : 2], form.alpha ? pixel[bands - 1] : top_of(form)};
}

}  // namespace zelmor::imagework::forms

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_FORMS_H
