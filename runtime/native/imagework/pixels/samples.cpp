// Rows of samples; see samples.h. The loops know the number of bands when they are compiled, so that the compiler can
// make them quick.
#include "runtime/native/imagework/pixels/samples.h"

#include <algorithm>
#include <cstring>

namespace zelmor::imagework {
namespace {

// Calls the step with the number of bands of a gray or RGB form as a constant.
template <class Step>
void with_bands(const PixelForm& form, Step&& step) {
    assert(form.color == ColorModel::kGray || form.color == ColorModel::kRgb);
    switch (form.bands()) {
        case 1:
            return step(std::integral_constant<int, 1>{});
        case 2:
            return step(std::integral_constant<int, 2>{});
        case 3:
            return step(std::integral_constant<int, 3>{});
        default:
            return step(std::integral_constant<int, 4>{});
    }
}

template <class Step>
void with_pixels(const PixelForm& form, Step&& step) {
    with_storage(storage_of(form.sample), [&](auto sample) {
        with_bands(form, [&](auto bands) { step(sample, bands); });
    });
}

// Colors of 8 or 16 bits a channel, in a word of four channels.
template <class Channel, class Word, class Sample, int kBands>
void to_words(const Sample* from, std::span<Word> out) {
    constexpr int kShift = 8 * sizeof(Channel);
    constexpr bool kAlpha = kBands % 2 == 0;
    for (Word& color : out) {
        const Word alpha = kAlpha ? sample_as<Channel>(from[kBands - 1]) : static_cast<Channel>(~uint64_t{0});
        const Word red = sample_as<Channel>(from[0]);
        const Word green = kBands < 3 ? red : sample_as<Channel>(from[kBands < 3 ? 0 : 1]);
        const Word blue = kBands < 3 ? red : sample_as<Channel>(from[kBands < 3 ? 0 : 2]);
        color = alpha << (3 * kShift) | red << (2 * kShift) | green << kShift | blue;
        from += kBands;
    }
}

template <class Channel, class Word, class Sample, int kBands>
void from_words(std::span<const Word> colors, Sample* to) {
    constexpr int kShift = 8 * sizeof(Channel);
    for (const Word color : colors) {
        to[0] = sample_as<Sample>(static_cast<Channel>(color >> (2 * kShift)));
        if constexpr (kBands >= 3) {
            to[1] = sample_as<Sample>(static_cast<Channel>(color >> kShift));
            to[2] = sample_as<Sample>(static_cast<Channel>(color));
        }
        if constexpr (kBands % 2 == 0) {
            to[kBands - 1] = sample_as<Sample>(static_cast<Channel>(color >> (3 * kShift)));
        }
        to += kBands;
    }
}

// Turns the sign bits of the bands from the first given on.
template <class Sample>
void turn(std::span<uint8_t> samples, size_t bands, size_t first, size_t last) {
    auto* at = reinterpret_cast<Sample*>(samples.data());
    constexpr auto kSign = static_cast<Sample>(uint64_t{1} << (8 * sizeof(Sample) - 1));
    const size_t count = samples.size() / sizeof(Sample);
    if (first == 0 && last == bands) {
        for (size_t i = 0; i < count; i++) {
            at[i] ^= kSign;
        }
        return;
    }
    for (size_t i = 0; i + bands <= count; i += bands) {
        for (size_t band = first; band < last; band++) {
            at[i + band] ^= kSign;
        }
    }
}

}  // namespace

bool has_signs(const PixelForm& form) {
    const bool is_signed = form.sample == SampleType::kInt8 || form.sample == SampleType::kInt16 ||
                           form.sample == SampleType::kInt32;
    return is_signed || (form.color == ColorModel::kLab && form.is_integer());
}

void turn_signs(const PixelForm& form, std::span<uint8_t> samples) {
    if (!has_signs(form)) {
        return;
    }
    const bool all = form.color != ColorModel::kLab;
    const auto bands = static_cast<size_t>(form.bands());
    const size_t first = all ? 0 : 1;
    const size_t last = all ? bands : 3;
    switch (storage_of(form.sample)) {
        case Storage::kByte:
            return turn<uint8_t>(samples, bands, first, last);
        case Storage::kWord:
            return turn<uint16_t>(samples, bands, first, last);
        default:
            return turn<uint32_t>(samples, bands, first, last);
    }
}

void change_depth(Storage from, const void* samples, Storage to, void* out, size_t count) {
    with_storage(from, [&](auto source) {
        with_storage(to, [&](auto target) {
            using Source = decltype(source);
            using Target = decltype(target);
            const auto* in = static_cast<const Source*>(samples);
            auto* result = static_cast<Target*>(out);
            if constexpr (std::is_same_v<Source, Target>) {
                std::memcpy(result, in, count * sizeof(Source));
            } else {
                std::transform(in, in + count, result, [](Source value) { return sample_as<Target>(value); });
            }
        });
    });
}

bool in_range(Storage storage, const void* samples, size_t count) {
    return with_storage(storage, [&](auto sample) {
        using Sample = decltype(sample);
        if constexpr (std::is_floating_point_v<Sample>) {
            const auto* in = static_cast<const Sample*>(samples);
            return std::all_of(in, in + count, [](Sample value) { return value >= 0 && value <= 1; });
        } else {
            return true;
        }
    });
}

void to_argb(const PixelForm& form, const void* samples, std::span<Argb> out) {
    with_pixels(form, [&](auto sample, auto bands) {
        using Sample = decltype(sample);
        to_words<uint8_t, Argb, Sample, decltype(bands)::value>(static_cast<const Sample*>(samples), out);
    });
}

void to_argb64(const PixelForm& form, const void* samples, std::span<uint64_t> out) {
    with_pixels(form, [&](auto sample, auto bands) {
        using Sample = decltype(sample);
        to_words<uint16_t, uint64_t, Sample, decltype(bands)::value>(static_cast<const Sample*>(samples), out);
    });
}

void from_argb(const PixelForm& form, std::span<const Argb> colors, void* samples) {
    with_pixels(form, [&](auto sample, auto bands) {
        using Sample = decltype(sample);
        from_words<uint8_t, Argb, Sample, decltype(bands)::value>(colors, static_cast<Sample*>(samples));
    });
}

void from_argb64(const PixelForm& form, std::span<const uint64_t> colors, void* samples) {
    with_pixels(form, [&](auto sample, auto bands) {
        using Sample = decltype(sample);
        from_words<uint16_t, uint64_t, Sample, decltype(bands)::value>(colors, static_cast<Sample*>(samples));
    });
}

}  // namespace zelmor::imagework
