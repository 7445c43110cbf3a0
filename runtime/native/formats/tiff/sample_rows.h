// Samples as a TIFF file has them, to and from the form of pictures in memory.
//
// Two steps. Packing: samples of fewer than 8 bits share bytes, and floating-point numbers may have 16 bits. Colors:
// white may be the least value, colors may be multiplied by alpha, and a* and b* may have an offset.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_SAMPLE_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_SAMPLE_ROWS_H

#include <cstddef>
#include <cstdint>

#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// The bytes that so many samples take in a row of a file.
constexpr uint64_t packed_size(uint64_t samples, int bits) {
    return samples / 8 * static_cast<uint64_t>(bits) + (samples % 8 * static_cast<uint64_t>(bits) + 7) / 8;
}

// Whether the samples of the form are packed in a file; all others are stored as they are in memory.
constexpr bool is_packed(const PixelForm& form) {
    return form.bits < 8 || (form.sample == SampleType::kFloat && form.bits == 16);
}
void unpack_samples(const PixelForm& form, const uint8_t* packed, size_t samples, uint8_t* out);
void pack_samples(const PixelForm& form, const uint8_t* in, size_t samples, uint8_t* packed);

// How the colors of a file differ from those of the form.
struct FileColors {
    bool white_is_least = false;  // of gray
    bool premultiplied = false;
    bool lab_offsets = false;  // L*a*b* as ICC profiles have it

    bool differ() const { return white_is_least || premultiplied || lab_offsets; }
};
void colors_from_file(const PixelForm& form, FileColors colors, uint8_t* row, size_t pixels);
void colors_to_file(const PixelForm& form, FileColors colors, uint8_t* row, size_t pixels);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_SAMPLE_ROWS_H
