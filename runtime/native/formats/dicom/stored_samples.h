// The samples of one frame as the file stores them, row by row, before they become those of a picture.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_STORED_SAMPLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_STORED_SAMPLES_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "runtime/native/formats/dicom/dicom_codec.h"

namespace zelmor::imagework {

class StoredSamples {
 public:
    virtual ~StoredSamples() = default;
    // The next row: the samples of each pixel one after the other. Each is counted from the least that it can be, so
    // that signed samples have no sign. PictureError(kDamaged) where they cannot be read.
    virtual void next(std::span<uint32_t> row) = 0;
    // Bits of a sample; the decoder of a compressed frame may know better than the header.
    int bits = 8;
    // The colors are RGB, whatever the header says of them.
    bool is_rgb = false;
};

// Of a frame that begins at a bit of the file.
std::unique_ptr<StoredSamples> raw_samples(const SharedSource& source, const DicomHeader& header, uint64_t bit);
// Of run-length coded segments.
std::unique_ptr<StoredSamples> rle_samples(const SharedSource& frame, const DicomHeader& header);
// Of one of the JPEG codings, which the first bytes tell.
std::unique_ptr<StoredSamples> jpeg_samples(const SharedSource& frame, const DicomHeader& header,
                                            const DecodeOptions& options, const DicomDecoders& decoders);

[[noreturn]] void dicom_damaged(const std::string& text);
[[noreturn]] void dicom_unsupported(const std::string& text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_STORED_SAMPLES_H
