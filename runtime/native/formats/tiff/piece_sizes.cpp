// The most that each compression can make of a byte; see piece_sizes.h.
#include "runtime/native/formats/tiff/piece_sizes.h"

#include <algorithm>
#include <string>

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Bytes of pixels that one byte of compressed data holds at most; 0 where the format sets no such limit.
uint64_t most_of_a_byte(TiffCompression compression) {
    switch (compression) {
        case TiffCompression::kNone:
            return 1;
        case TiffCompression::kPackBits:
            return 64;  // two bytes give 128
        case TiffCompression::kDeflate:
        case TiffCompression::kOldDeflate:
            return 1040;  // two bits give 258 bytes, and the bytes around them
        case TiffCompression::kLzw:
            return 4096;  // a code of at least 9 bits gives at most 4094 bytes
        default:
            return 0;
    }
}

uint32_t count_of_pieces(TiffInput& input) {
    return TIFFIsTiled(input.get()) != 0 ? TIFFNumberOfTiles(input.get()) : TIFFNumberOfStrips(input.get());
}

uint64_t compressed_bytes(TiffInput& input) {
    const uint64_t size = input.source().size();
    const uint32_t pieces = count_of_pieces(input);
    constexpr uint64_t kPlenty = uint64_t{1} << 48;
    uint64_t sum = 0;
    for (uint32_t i = 0; i < pieces && sum < kPlenty; i++) {
        sum += std::min({TIFFGetStrileByteCount(input.get(), i), size, kPlenty});
    }
    return sum;
}

bool are_enough(uint64_t bytes, const PageLayout& layout) {
    if (layout.compression == TiffCompression::kFax3 || layout.compression == TiffCompression::kFax4) {
        return bytes * 8 >= layout.height;  // a bit can stand for a row that is like the one above it
    }
    const uint64_t row = packed_size(uint64_t{layout.width} * static_cast<uint64_t>(layout.samples), layout.bits);
    constexpr uint64_t kSlack = 4096;  // of the first bytes, which may do more than the average
    uint64_t all = 0;
    return !__builtin_mul_overflow(row, layout.height, &all) &&
           all <= bytes * most_of_a_byte(layout.compression) + kSlack;
}

}  // namespace

void require_enough_bytes(TiffInput& input, const PageLayout& layout) {
    const bool is_fax = layout.compression == TiffCompression::kFax3 || layout.compression == TiffCompression::kFax4;
    if (layout.converted || (most_of_a_byte(layout.compression) == 0 && !is_fax)) {
        return;
    }
    const uint64_t bytes = compressed_bytes(input);
    if (!are_enough(bytes, layout)) {
        throw PictureError(Failure::kDamaged, std::to_string(bytes) + " bytes cannot hold " +
                                                  std::to_string(layout.width) + " by " +
                                                  std::to_string(layout.height) + " pixels");
    }
}

bool has_all_pieces(TiffInput& input) {
    const uint64_t end = input.source().size();
    const uint32_t pieces = count_of_pieces(input);
    bool all = true;
    for (uint32_t i = 0; i < pieces && all; i++) {
        const uint64_t at = TIFFGetStrileOffset(input.get(), i);
        const uint64_t size = TIFFGetStrileByteCount(input.get(), i);
        all = size > 0 && at < end && size <= end - at;
    }
    return all;
}

void require_sensible_pieces(const PageLayout& layout, uint32_t width, uint32_t height) {
    const uint64_t pixels = uint64_t{width} * height;
    const bool is_wide = layout.tiled && (width > limits::kTileSide || height > limits::kTileSide);
    if (is_wide || pixels > limits::kTileBytes || pixels * layout.pixel_size() > limits::kTileBytes) {
        throw PictureError(Failure::kTooLarge, std::string("the TIFF data has ") + (layout.tiled ? "tiles" : "strips") +
                                                   " of " + std::to_string(width) + " by " + std::to_string(height) +
                                                   " pixels");
    }
}

}  // namespace zelmor::imagework
