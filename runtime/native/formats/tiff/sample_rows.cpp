// The two steps between the samples of a file and those in memory; see sample_rows.h.
#include "runtime/native/formats/tiff/sample_rows.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "runtime/native/formats/tiff/half.h"

namespace zelmor::imagework {
namespace {

// The factor that spreads samples of so many bits over a byte; those of a palette are no amounts.
uint8_t spread(const PixelForm& form) {
    return form.color == ColorModel::kIndexed ? 1 : static_cast<uint8_t>(255 / ((1 << form.bits) - 1));
}

// The eight samples of each byte of 1-bit samples, in the order of memory.
constexpr std::array<std::array<uint8_t, 8>, 256> kBits = [] {
    std::array<std::array<uint8_t, 8>, 256> table{};
    for (size_t byte = 0; byte < 256; byte++) {
        for (size_t i = 0; i < 8; i++) {
            table[byte][i] = static_cast<uint8_t>(byte >> (7 - i) & 1);
        }
    }
    return table;
}();

void unpack_bits(const uint8_t* packed, size_t samples, uint8_t factor, uint8_t* out) {
    size_t i = 0;
    for (; i + 8 <= samples; i += 8) {
        uint64_t eight = 0;
        std::memcpy(&eight, kBits[*packed++].data(), sizeof eight);
        eight *= factor;  // no byte of it carries into the next
        std::memcpy(out + i, &eight, sizeof eight);
    }
    for (size_t bit = 0; i < samples; i++, bit++) {
        out[i] = static_cast<uint8_t>(kBits[*packed][bit] * factor);
    }
}

template <class Number>
Number number_at(const uint8_t* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}
template <class Number>
void put_number(uint8_t* bytes, Number number) {
    std::memcpy(bytes, &number, sizeof number);
}

// Calls the step with a value of the samples' type.
template <class Step>
void with_type(SampleType type, Step&& step) {
    switch (type) {
        case SampleType::kUint8:
            return step(uint8_t{});
        case SampleType::kInt8:
            return step(int8_t{});
        case SampleType::kUint16:
            return step(uint16_t{});
        case SampleType::kInt16:
            return step(int16_t{});
        case SampleType::kUint32:
            return step(uint32_t{});
        case SampleType::kInt32:
            return step(int32_t{});
        case SampleType::kFloat:
            return step(float{});
        case SampleType::kDouble:
            return step(double{});
    }
}

template <class Number>
void invert(uint8_t* row, size_t pixels, size_t bands) {
    for (size_t i = 0; i < pixels; i++, row += bands * sizeof(Number)) {
        const auto number = number_at<Number>(row);
        if constexpr (std::is_floating_point_v<Number>) {
            put_number(row, Number{1} - number);
        } else {
            put_number(row, static_cast<Number>(~number));
        }
    }
}

// A color divided by its alpha. Multiplying it again gives the same number, so long as it was not above its alpha.
template <class Number>
Number unmultiplied(Number color, Number alpha) {
    if constexpr (std::is_floating_point_v<Number>) {
        return alpha == 0 ? Number{0} : color / alpha;
    } else {
        constexpr uint64_t kMost = std::numeric_limits<Number>::max();
        return alpha == 0 ? Number{0}
                          : static_cast<Number>(std::min<uint64_t>(kMost, (color * kMost + alpha / 2) / alpha));
    }
}
template <class Number>
Number multiplied(Number color, Number alpha) {
    if constexpr (std::is_floating_point_v<Number>) {
        return color * alpha;
    } else {
        constexpr uint64_t kMost = std::numeric_limits<Number>::max();
        return static_cast<Number>((uint64_t{color} * alpha + kMost / 2) / kMost);
    }
}

template <class Number, Number kStep(Number, Number)>
void with_alpha(uint8_t* row, size_t pixels, size_t bands) {
    for (size_t i = 0; i < pixels; i++, row += bands * sizeof(Number)) {
        const auto alpha = number_at<Number>(row + (bands - 1) * sizeof(Number));
        for (size_t band = 0; band + 1 < bands; band++) {
            uint8_t* at = row + band * sizeof(Number);
            put_number(at, kStep(number_at<Number>(at), alpha));
        }
    }
}

// In 16 bits an L* of 100 is 65280 there and 65535 here.
uint16_t lightness_from_icc(uint16_t number) {
    return static_cast<uint16_t>(std::min<uint32_t>(65535, (number * uint32_t{257} + 128) / 256));
}
uint16_t lightness_to_icc(uint16_t number) {
    return static_cast<uint16_t>((number * uint32_t{256} + 128) / 257);
}

void move_lab(const PixelForm& form, uint8_t* row, size_t pixels, uint16_t (&lightness)(uint16_t)) {
    for (size_t i = 0; i < pixels; i++, row += form.pixel_size()) {
        if (form.sample == SampleType::kUint8) {
            row[1] ^= 0x80;
            row[2] ^= 0x80;
        } else {
            put_number(row, lightness(number_at<uint16_t>(row)));
            for (size_t band : {1, 2}) {
                put_number(row + 2 * band, static_cast<uint16_t>(number_at<uint16_t>(row + 2 * band) ^ 0x8000));
            }
        }
    }
}

}  // namespace

void unpack_samples(const PixelForm& form, const uint8_t* packed, size_t samples, uint8_t* out) {
    if (!is_packed(form)) {
        std::memcpy(out, packed, samples * sample_size(form.sample));
    } else if (form.bits == 16) {
        for (size_t i = 0; i < samples; i++) {
            put_number(out + 4 * i, float_of_half(number_at<uint16_t>(packed + 2 * i)));
        }
    } else if (form.bits == 1) {
        unpack_bits(packed, samples, spread(form), out);
    } else {
        const auto in_byte = static_cast<size_t>(8 / form.bits);
        const int mask = (1 << form.bits) - 1;
        const uint8_t factor = spread(form);
        for (size_t i = 0; i < samples; i++) {
            const int shift = 8 - form.bits * static_cast<int>(i % in_byte + 1);
            out[i] = static_cast<uint8_t>((packed[i / in_byte] >> shift & mask) * factor);
        }
    }
}

void pack_samples(const PixelForm& form, const uint8_t* in, size_t samples, uint8_t* packed) {
    if (!is_packed(form)) {
        std::memcpy(packed, in, samples * sample_size(form.sample));
        return;
    }
    if (form.bits == 16) {
        for (size_t i = 0; i < samples; i++) {
            put_number(packed + 2 * i, half_of_float(number_at<float>(in + 4 * i)));
        }
        return;
    }
    const auto in_byte = static_cast<size_t>(8 / form.bits);
    const bool is_index = form.color == ColorModel::kIndexed;
    std::memset(packed, 0, packed_size(samples, form.bits));
    for (size_t i = 0; i < samples; i++) {
        const int shift = 8 - form.bits * static_cast<int>(i % in_byte + 1);
        const int value = is_index ? in[i] : in[i] >> (8 - form.bits);
        packed[i / in_byte] = static_cast<uint8_t>(packed[i / in_byte] | value << shift);
    }
}

void colors_from_file(const PixelForm& form, FileColors colors, uint8_t* row, size_t pixels) {
    const auto bands = static_cast<size_t>(form.bands());
    if (colors.premultiplied) {
        with_type(form.sample, [&](auto of_type) {
            using Number = decltype(of_type);
            if constexpr (std::is_floating_point_v<Number> || std::is_unsigned_v<Number>) {
                with_alpha<Number, unmultiplied<Number>>(row, pixels, bands);
            }
        });
    }
    if (colors.white_is_least) {
        with_type(form.sample, [&](auto of_type) { invert<decltype(of_type)>(row, pixels, bands); });
    }
    if (colors.lab_offsets) {
        move_lab(form, row, pixels, lightness_from_icc);
    }
}

void colors_to_file(const PixelForm& form, FileColors colors, uint8_t* row, size_t pixels) {
    const auto bands = static_cast<size_t>(form.bands());
    if (colors.lab_offsets) {
        move_lab(form, row, pixels, lightness_to_icc);
    }
    if (colors.white_is_least) {
        with_type(form.sample, [&](auto of_type) { invert<decltype(of_type)>(row, pixels, bands); });
    }
    if (colors.premultiplied) {
        with_type(form.sample, [&](auto of_type) {
            using Number = decltype(of_type);
            if constexpr (std::is_floating_point_v<Number> || std::is_unsigned_v<Number>) {
                with_alpha<Number, multiplied<Number>>(row, pixels, bands);
            }
        });
    }
}

}  // namespace zelmor::imagework
