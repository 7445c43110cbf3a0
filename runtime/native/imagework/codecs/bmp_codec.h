// BMP read and written by ourselves: the image library would hand it to a much larger one, without a say in the number
// of bits, the compression, or in what becomes of a damaged file.
//
// Rasters in, rasters out, 8 bits per channel; no other image work.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_BMP_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_BMP_CODEC_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

struct Raster {
    int32_t width = 0;
    int32_t height = 0;
    int bands = 3;  // 1 gray, 3 RGB, 4 RGBA
    std::vector<uint8_t> pixels;
    std::optional<Resolution> resolution;
};

// Throws PictureError: kDamaged, kUnsupported or kTooLarge.
Raster decode_bmp(std::span<const uint8_t> data, const DecodeOptions& options);

// Refuses bits and compressions that BMP does not have together; throws PictureError(kEncoding).
void check_bmp_encoding(const BmpEncoding& encoding);

// The raster must fit the encoding: at most 2^bits colors for 1, 4 and 8 bits per pixel, bands 3 or 4. A palette that
// is given has to have all the colors, and is written as it is.
std::vector<uint8_t> encode_bmp(std::span<const uint8_t> pixels, int32_t width, int32_t height, int bands,
                                const BmpEncoding& encoding, Resolution resolution, std::span<const Argb> palette = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_BMP_CODEC_H
