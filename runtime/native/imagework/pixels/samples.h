// Arithmetic on rows of samples: depths, signs, and colors. It needs no library.
//
// A picture in memory holds samples of five kinds, its *storage*. Signed integers, and the a* and b* of integer Lab,
// are held with their sign bit turned, so that every sample counts up from its least value and resampling or comparing
// needs to know of no signs; the sign bits are turned where rows come from a file and go to one.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SAMPLES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SAMPLES_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

enum class Storage : uint8_t { kByte, kWord, kLong, kFloat, kDouble };

constexpr Storage storage_of(SampleType type) {
    switch (type) {
        case SampleType::kUint8:
        case SampleType::kInt8:
            return Storage::kByte;
        case SampleType::kUint16:
        case SampleType::kInt16:
            return Storage::kWord;
        case SampleType::kUint32:
        case SampleType::kInt32:
            return Storage::kLong;
        case SampleType::kFloat:
            return Storage::kFloat;
        case SampleType::kDouble:
            break;
    }
    return Storage::kDouble;
}

// Calls the step with a value of the C++ type of the storage.
template <class Step>
decltype(auto) with_storage(Storage storage, Step&& step) {
    switch (storage) {
        case Storage::kByte:
            return step(uint8_t{});
        case Storage::kWord:
            return step(uint16_t{});
        case Storage::kLong:
            return step(uint32_t{});
        case Storage::kFloat:
            return step(float{});
        case Storage::kDouble:
            break;
    }
    return step(double{});
}

// The value of a sample that stands for all of its range: 255, 65535, 4294967295, or 1.
template <class Sample>
constexpr double sample_top() {
    return std::is_floating_point_v<Sample> ? 1.0 : static_cast<double>(static_cast<Sample>(~uint64_t{0}));
}
constexpr double sample_top(Storage storage) {
    constexpr double kTops[] = {255.0, 65535.0, 4294967295.0, 1.0, 1.0};
    return kTops[static_cast<size_t>(storage)];
}

// One sample in another depth. Of 16 bits the upper byte is taken, as the pictures' colors are read; longer integers
// and floating samples are rounded and clipped; not-a-number becomes 0.
template <class To, class From>
constexpr To sample_as(From value) {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_floating_point_v<To>) {
        return static_cast<To>(std::is_floating_point_v<From> ? static_cast<double>(value)
                                                              : static_cast<double>(value) / sample_top<From>());
    } else if constexpr (std::is_floating_point_v<From>) {
        const double scaled = static_cast<double>(value) * sample_top<To>();
        // Of a positive number this is right, and unlike lround() it can be done in vectors.
        // NOLINTNEXTLINE(bugprone-incorrect-roundings)
        return scaled > 0 ? scaled < sample_top<To>() ? static_cast<To>(scaled + 0.5) : static_cast<To>(~uint64_t{0})
                          : To{0};
    } else if constexpr (sizeof(From) < sizeof(To)) {
        return static_cast<To>(value * (static_cast<To>(~uint64_t{0}) / static_cast<From>(~uint64_t{0})));
    } else if constexpr (sizeof(From) == 2) {
        return static_cast<To>(value >> 8);
    } else {
        constexpr uint64_t kStep = 0xFFFFFFFFU / static_cast<To>(~uint64_t{0});
        return static_cast<To>((uint64_t{value} + kStep / 2) / kStep);
    }
}

// Turns the sign bits of those samples of whole pixels that are signed in a file. It is its own inverse.
void turn_signs(const PixelForm& form, std::span<uint8_t> samples);
bool has_signs(const PixelForm& form);

// So many samples in another depth.
void change_depth(Storage from, const void* samples, Storage to, void* out, size_t count);
// Whether all samples lie in the range that integers stand for, and none is not-a-number.
bool in_range(Storage storage, const void* samples, size_t count);

// Pixels of a gray or RGB form as colors of 8 or of 16 bits a channel (0xAAAARRRRGGGGBBBB), and back. A gray form takes
// the red channel.
void to_argb(const PixelForm& form, const void* samples, std::span<Argb> out);
void to_argb64(const PixelForm& form, const void* samples, std::span<uint64_t> out);
void from_argb(const PixelForm& form, std::span<const Argb> colors, void* samples);
void from_argb64(const PixelForm& form, std::span<const uint64_t> colors, void* samples);

// The depth of indices into a palette of so many colors.
constexpr int index_bits(size_t colors) {
    return colors <= 2 ? 1 : colors <= 4 ? 2 : colors <= 16 ? 4 : 8;
}

// A color with 16 bits a channel, and the nearest with 8.
constexpr uint64_t widened(Argb color) {
    return (uint64_t{color >> 24} << 48 | uint64_t{color >> 16 & 0xFF} << 32 | uint64_t{color >> 8 & 0xFF} << 16 |
            uint64_t{color & 0xFF}) *
           257;
}
constexpr bool is_gray_color(Argb color) {
    return (color >> 16 & 0xFF) == (color & 0xFF) && (color >> 8 & 0xFF) == (color & 0xFF);
}
constexpr bool is_gray_color64(uint64_t color) {
    return (color >> 32 & 0xFFFF) == (color & 0xFFFF) && (color >> 16 & 0xFFFF) == (color & 0xFFFF);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SAMPLES_H
