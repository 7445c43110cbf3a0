// BMP files, read and written as rows of samples.
//
// Files of up to 8 bits a pixel come as indices with their palette, others as RGB of 8 bits a channel, with alpha where
// the file tells which bits it has.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_CODEC_H

#include <cstdint>
#include <memory>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The file of one picture as a source of one frame. Rows are read from the file as they are asked for; of run-length
// data all are decoded with the first. A recovery mode gives rows that are lost the background color. PictureError:
// kDamaged, kUnsupported or kTooLarge.
SharedFrames open_bmp(const SharedSource& source, const DecodeOptions& options);

// Refuses bits and compressions that BMP does not have together; throws PictureError(kEncoding).
void check_bmp_encoding(const BmpEncoding& encoding);

// Writes indices (1, 4 and 8 bits a pixel; the palette has at most 2^bits colors, whose alpha does not count) or RGB
// with or without alpha (16, 24 and 32 bits). PictureError(kEncoding) for another form, and for a file of more than 4
// GiB. `out` is empty; rows go to their places in it as they come, and run-length data when the writer finishes.
std::unique_ptr<RowWriter> make_bmp_writer(const RowsHeader& header, const BmpEncoding& encoding, EditableFile& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_CODEC_H
