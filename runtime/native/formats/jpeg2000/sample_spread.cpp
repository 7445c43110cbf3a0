// Depths of samples; see sample_spread.h.
#include "runtime/native/formats/jpeg2000/sample_spread.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace zelmor::imagework {
namespace {

template <class Sample>
constexpr uint64_t top_of() {
    return static_cast<Sample>(~Sample{0});
}

template <class Sample>
void unmultiply_as(Sample* pixel, size_t bands, size_t count) {
    for (size_t i = 0; i < count; i++, pixel += bands) {
        const uint64_t alpha = pixel[bands - 1];
        for (size_t band = 0; band + 1 < bands; band++) {
            const uint64_t value = pixel[band];
            pixel[band] = alpha == 0 ? Sample{0}
                                     : static_cast<Sample>(std::min<uint64_t>(
                                           top_of<Sample>(), (value * top_of<Sample>() + alpha / 2) / alpha));
        }
    }
}

int32_t clipped(double value, int64_t top) {
    return static_cast<int32_t>(std::clamp(std::floor(value + 0.5), 0.0, static_cast<double>(top)));
}

}  // namespace

SampleSpread::SampleSpread(int bits, bool is_signed, const PixelForm& form)
    : m_bits(bits),
      m_offset(is_signed ? int64_t{1} << (bits - 1) : 0),
      m_top((int64_t{1} << bits) - 1),
      m_type(form.sample),
      m_indices(form.color == ColorModel::kIndexed),
      m_sign(0) {
    assert(bits >= 1 && bits <= 24);
    const size_t size = sample_size(form.sample);
    if (form.sample == SampleType::kInt8 || form.sample == SampleType::kInt16 || form.sample == SampleType::kInt32) {
        m_sign = uint32_t{1} << (8 * size - 1);
    }
    if (size <= 2 && bits < static_cast<int>(8 * size) && !m_indices) {
        const uint32_t top = size == 1 ? 0xFF : 0xFFFF;
        m_table.resize(size_t{1} << bits);
        for (size_t i = 0; i < m_table.size(); i++) {
            m_table[i] =
                static_cast<uint16_t>((i * top + static_cast<uint64_t>(m_top) / 2) / static_cast<uint64_t>(m_top));
        }
    }
}

template <class Sample>
void SampleSpread::put_as(std::span<const int32_t> samples, uint8_t* row, size_t band, size_t bands) const {
    auto* to = reinterpret_cast<Sample*>(row) + band;
    const auto sign = static_cast<Sample>(m_sign);
    const auto top = static_cast<uint64_t>(m_top);
    for (const int32_t sample : samples) {
        const auto value = static_cast<uint64_t>(std::clamp<int64_t>(sample + m_offset, 0, m_top));
        uint64_t wide = value;
        if (!m_table.empty()) {
            wide = m_table[value];
        } else if (!m_indices && top != top_of<Sample>()) {
            wide = (value * top_of<Sample>() + top / 2) / top;
        }
        *to = static_cast<Sample>(wide) ^ sign;
        to += bands;
    }
}

template <class Sample>
void SampleSpread::take_as(const uint8_t* row, size_t band, size_t bands, std::span<int32_t> samples) const {
    const auto* from = reinterpret_cast<const Sample*>(row) + band;
    const auto sign = static_cast<Sample>(m_sign);
    const auto top = static_cast<uint64_t>(m_top);
    for (int32_t& sample : samples) {
        const auto wide = static_cast<Sample>(*from ^ sign);
        const uint64_t value =
            m_indices || top == top_of<Sample>() ? wide : (wide * top + top_of<Sample>() / 2) / top_of<Sample>();
        sample = static_cast<int32_t>(static_cast<int64_t>(value) - m_offset);
        from += bands;
    }
}

void SampleSpread::put(std::span<const int32_t> samples, uint8_t* row, size_t band, size_t bands) const {
    switch (sample_size(m_type)) {
        case 1:
            return put_as<uint8_t>(samples, row, band, bands);
        case 2:
            return put_as<uint16_t>(samples, row, band, bands);
        default:
            assert(sample_size(m_type) == 4);
            return put_as<uint32_t>(samples, row, band, bands);
    }
}

void SampleSpread::take(const uint8_t* row, size_t band, size_t bands, std::span<int32_t> samples) const {
    switch (sample_size(m_type)) {
        case 1:
            return take_as<uint8_t>(row, band, bands, samples);
        case 2:
            return take_as<uint16_t>(row, band, bands, samples);
        default:
            assert(sample_size(m_type) == 4);
            return take_as<uint32_t>(row, band, bands, samples);
    }
}

void ycc_to_rgb(const SampleSpread& luminance, const SampleSpread& blue, const SampleSpread& red,
                std::vector<std::vector<int32_t>>& samples) {
    assert(samples.size() >= 3);
    const auto top = static_cast<double>(luminance.top());
    // Differences of another depth count by the range of the luminance. Their middle is no difference.
    const auto difference = [&](const SampleSpread& spread, int32_t value) {
        const double middle = static_cast<double>(int64_t{1} << (spread.bits() - 1));
        return (static_cast<double>(value + spread.offset()) - middle) * (top + 1) /
               static_cast<double>(spread.top() + 1);
    };
    // What the spreads take away again.
    const auto back = [](const SampleSpread& spread, const SampleSpread& like, int32_t value) {
        const double scaled =
            static_cast<double>(value) * static_cast<double>(spread.top()) / static_cast<double>(like.top());
        // NOLINTNEXTLINE(bugprone-incorrect-roundings)
        return static_cast<int32_t>(static_cast<int64_t>(scaled + 0.5) - spread.offset());
    };
    auto second = samples[1].begin();
    auto third = samples[2].begin();
    for (int32_t& first : samples[0]) {
        const auto y = static_cast<double>(first + luminance.offset());
        const double cb = difference(blue, *second);
        const double cr = difference(red, *third);
        first = static_cast<int32_t>(clipped(y + 1.402 * cr, luminance.top()) - luminance.offset());
        *second++ = back(blue, luminance, clipped(y - 0.344136 * cb - 0.714136 * cr, luminance.top()));
        *third++ = back(red, luminance, clipped(y + 1.772 * cb, luminance.top()));
    }
}

void unmultiply(const PixelForm& form, uint8_t* pixels, size_t count) {
    assert(form.alpha);
    const auto bands = static_cast<size_t>(form.bands());
    switch (sample_size(form.sample)) {
        case 1:
            return unmultiply_as(pixels, bands, count);
        case 2:
            return unmultiply_as(reinterpret_cast<uint16_t*>(pixels), bands, count);
        default:
            assert(sample_size(form.sample) == 4);
            return unmultiply_as(reinterpret_cast<uint32_t*>(pixels), bands, count);
    }
}

}  // namespace zelmor::imagework
