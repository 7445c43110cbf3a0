// Samples of any depth as the samples of a picture, whose least and greatest values are those of their type.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_SAMPLE_SPREAD_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_SAMPLE_SPREAD_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// Of one band.
class SampleSpread {
 public:
    // `bits` and `is_signed` tell of the samples in the file.
    SampleSpread(int bits, bool is_signed, const PixelForm& form);

    int bits() const { return m_bits; }
    int64_t offset() const { return m_offset; }  // what makes the least sample 0
    int64_t top() const { return m_top; }        // the greatest sample then

    // Writes the samples of a row into one of `bands` bands. Those beyond the depth are clipped.
    void put(std::span<const int32_t> samples, uint8_t* row, size_t band, size_t bands) const;
    // The way back.
    void take(const uint8_t* row, size_t band, size_t bands, std::span<int32_t> samples) const;

 private:
    template <class Sample>
    void put_as(std::span<const int32_t> samples, uint8_t* row, size_t band, size_t bands) const;
    template <class Sample>
    void take_as(const uint8_t* row, size_t band, size_t bands, std::span<int32_t> samples) const;

    int m_bits;
    int64_t m_offset;
    int64_t m_top;
    SampleType m_type;
    bool m_indices;
    uint32_t m_sign;                // the bit that signed samples of the picture have turned
    std::vector<uint16_t> m_table;  // of up to 16 bits that are not those of the type
};

// The first three bands of a row, from luminance and differences to red, green and blue. Each band keeps its depth.
void ycc_to_rgb(const SampleSpread& luminance, const SampleSpread& blue, const SampleSpread& red,
                std::vector<std::vector<int32_t>>& samples);

// Divides the colors of pixels by their opacity, the last band. Of unsigned samples.
void unmultiply(const PixelForm& form, uint8_t* pixels, size_t count);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_SAMPLE_SPREAD_H
