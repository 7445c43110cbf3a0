// From samples of any number of bits to those of a picture, whose least and greatest values are those of their type,
// and back without a loss.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_SAMPLE_RANGE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_SAMPLE_RANGE_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

class SampleRange {
 public:
    SampleRange() = default;
    // `bits` of the file's samples; the form is that of the picture.
    SampleRange(int bits, const PixelForm& form);

    uint32_t top() const { return m_top; }  // the greatest sample of the file

    // Samples counted from the least one; greater ones are cut down.
    void put(std::span<const uint32_t> samples, std::span<uint8_t> row) const;
    void take(std::span<const uint8_t> row, std::span<uint32_t> samples) const;

 private:
    template <class Sample>
    void put_as(std::span<const uint32_t> samples, uint8_t* row) const;
    template <class Sample>
    void take_as(const uint8_t* row, std::span<uint32_t> samples) const;

    uint32_t m_top = 255;
    size_t m_size = 1;        // bytes of a sample of the picture
    uint32_t m_sign = 0;      // the bit that the picture's signed samples have turned
    bool m_as_it_is = false;  // samples that have the whole range already
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_SAMPLE_RANGE_H
