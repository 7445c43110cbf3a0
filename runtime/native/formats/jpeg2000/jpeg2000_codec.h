// JPEG 2000 files, read and written by OpenJPEG.
//
// Samples keep their depth class: 1 to 8 bits become bytes, 9 to 16 bits words, 17 to 24 bits 32-bit numbers, spread
// over the whole range of these. Luminance with two differences becomes RGB; components with fewer samples than the
// picture has pixels repeat theirs.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_CODEC_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

struct Jpeg2000Reading {
    Recovery recovery = Recovery::kNone;
    SharedBudget memory = {};
    // Milliseconds that decoding may take; 0 for as long as it takes. Time is looked at between tiles and while their
    // data are read, so that the last tile may go beyond it.
    int64_t most_time = 0;
    int64_t most_time_of_tile = 0;
};

// The picture of a file as a source of one frame, which can be decoded smaller by the wavelet's levels. A row of tiles
// is decoded when its first row is asked for. With Recovery::kConsistent the rows before the first damaged tile come,
// and with kMaximal those of all tiles, whatever there is of them. PictureError: kDamaged, kUnsupported or kTooLarge;
// kInternal where decoding took too long.
SharedFrames open_jpeg2000(const SharedSource& source, const Jpeg2000Reading& reading);

// Refuses settings that no file can have; PictureError(kEncoding).
void check_jpeg2000_encoding(const Jpeg2000Encoding& encoding);

// A picture of more pixels is cut into tiles of this side, so that its rows need not all be in memory.
struct Jpeg2000Tiling {
    int64_t pixels_of_one_tile = int64_t{1} << 26;
    int32_t side = 2048;
};

// Writes gray, RGB or CMYK with or without alpha, of integers of 8, 16 or 32 bits, signed or not, and indexed pictures;
// the last of 32 bits lose all below 24. A bare codestream has no palette, inks, resolution, profile or metadata:
// pictures that need the first two are refused, as are settings with the last. PictureError(kEncoding). The file is in
// `out` when the writer has finished.
std::unique_ptr<RowWriter> make_jpeg2000_writer(const RowsHeader& header, const Jpeg2000Encoding& encoding,
                                                std::vector<uint8_t>& out, const Jpeg2000Tiling& tiling = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_CODEC_H
