// One DNG file in LibRaw: what it tells of the file, and its picture.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_DECODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_DECODER_H

#include <cstdint>
#include <memory>
#include <span>

#include "runtime/native/formats/dng/dng_codec.h"
#include "runtime/native/formats/dng/dng_structure.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

class RawDecoder {
 public:
    // Reads the header. PictureError(kDamaged), or (kUnsupported) where the library takes another picture of the file
    // for the raw one than `structure` tells.
    RawDecoder(const SharedSource& source, const DngStructure& structure, const DecodeOptions& options);
    ~RawDecoder();
    RawDecoder(const RawDecoder&) = delete;
    RawDecoder& operator=(const RawDecoder&) = delete;

    DngReport report() const;

    // Bytes that decode() takes at the most.
    uint64_t cost() const;
    // Makes the picture. PictureError(kDamaged).
    void decode();
    // Four numbers for each pixel of the active area, row by row, in light: red, green, blue and nothing, or gray in
    // the first of them. Stays until the decoder goes.
    std::span<const uint16_t> pixels() const;

 private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_DECODER_H
