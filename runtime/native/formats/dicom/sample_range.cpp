// The range of samples; see sample_range.h.
#include "runtime/native/formats/dicom/sample_range.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {
namespace {

template <class Sample>
constexpr uint64_t top_of() {
    return static_cast<Sample>(~Sample{0});
}

}  // namespace

SampleRange::SampleRange(int bits, const PixelForm& form)
    : m_top(static_cast<uint32_t>((uint64_t{1} << bits) - 1)), m_size(sample_size(form.sample)) {
    assert(bits >= 1 && bits <= 32 && m_size <= 4);
    m_as_it_is = bits == static_cast<int>(8 * m_size);
    if (form.sample == SampleType::kInt8 || form.sample == SampleType::kInt16 || form.sample == SampleType::kInt32) {
        m_sign = uint32_t{1} << (8 * m_size - 1);
    }
}

template <class Sample>
void SampleRange::put_as(std::span<const uint32_t> samples, uint8_t* row) const {
    auto* to = reinterpret_cast<Sample*>(row);
    const auto sign = static_cast<Sample>(m_sign);
    for (const uint32_t sample : samples) {
        const uint64_t value = std::min(sample, m_top);
        const uint64_t wide = m_as_it_is ? value : (value * top_of<Sample>() + m_top / 2) / m_top;
        *to++ = static_cast<Sample>(static_cast<Sample>(wide) ^ sign);
    }
}

template <class Sample>
void SampleRange::take_as(const uint8_t* row, std::span<uint32_t> samples) const {
    const auto* from = reinterpret_cast<const Sample*>(row);
    const auto sign = static_cast<Sample>(m_sign);
    for (uint32_t& sample : samples) {
        const uint64_t wide = static_cast<Sample>(*from++ ^ sign);
        sample = static_cast<uint32_t>(m_as_it_is ? wide : (wide * m_top + top_of<Sample>() / 2) / top_of<Sample>());
    }
}

void SampleRange::put(std::span<const uint32_t> samples, std::span<uint8_t> row) const {
    assert(row.size() == samples.size() * m_size);
    m_size == 1   ? put_as<uint8_t>(samples, row.data())
    : m_size == 2 ? put_as<uint16_t>(samples, row.data())
                  : put_as<uint32_t>(samples, row.data());
}

void SampleRange::take(std::span<const uint8_t> row, std::span<uint32_t> samples) const {
    assert(row.size() == samples.size() * m_size);
    m_size == 1   ? take_as<uint8_t>(row.data(), samples)
    : m_size == 2 ? take_as<uint16_t>(row.data(), samples)
                  : take_as<uint32_t>(row.data(), samples);
}

}  // namespace zelmor::imagework
