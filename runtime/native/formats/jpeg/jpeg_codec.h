// JPEG files, read and written by libjpeg as rows of 8-bit samples: gray, RGB (in the file mostly as YCbCr) and CMYK
// (in the file also as YCCK). Lossless files of 2 to 16 bits, and those of 12 bits, are read by a decoder of our own;
// lossless ones are written by an encoder of our own.
//
// The samples of a CMYK picture are amounts of ink, 255 for full ink. Files have them inverted, as Adobe's programs
// write them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_CODEC_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The picture of a file as a source of one frame. Its readers read the header when they are made; they decode while
// rows are asked for and keep a few rows, but of a file with several scans they keep the coefficients of the whole
// picture, for which the memory budget has to be large enough.
//
// Of damaged data `recovery` says what becomes of them. kNone: data that end too early are an error, even behind the
// last pixel. kConsistent: the rows before the end are given. kMaximal: the end of the data is no error, and lost()
// tells which pixels are missing.
// PictureError(kUnsupported) names a coding that libjpeg does not read, such as 12 bits per sample; kTooLarge refuses a
// file of more scans than make sense.
// `facts` are those that a probe of the source finds.
SharedFrames open_jpeg(SharedSource source, const FileFacts& facts, Recovery recovery, SharedBudget memory);
SharedFrames open_jpeg(const SharedSource& source, Recovery recovery = Recovery::kNone, SharedBudget memory = {});

// The picture of a lossless file, or of one of 12 bits, whose samples are spread over a byte, or over 16 bits where
// there are more than 8. It is decoded as a whole when its first row is asked for. What a recovery keeps are whole
// rows. PictureError(kUnsupported) for progressive and arithmetic codings.
SharedFrames open_coded_jpeg(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options);

// The file behind the frames, where they are those of a JPEG file that was opened without a recovery; otherwise null.
SharedSource jpeg_file_of(const FrameSource& frames);

// Writes gray, RGB and CMYK rows of 8 bits without alpha; `encoding.color` is no wish here. Gray and RGB files have a
// JFIF header with the resolution, CMYK files Adobe's mark. Below quality 90 the colors of an RGB picture have half of
// its width and height.
// PictureError(kEncoding) for a form, a comment or a profile that a JPEG file does not hold. The file goes to
// `out` in pieces of 64 KiB.
std::unique_ptr<RowWriter> make_jpeg_writer(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out);

// Writes a lossless file of gray, RGB or CMYK rows, of bytes for up to 8 bits of a sample and of 16 bits for more.
// Colors are stored as they are. Gray files have a JFIF header with the resolution, others Adobe's mark.
// PictureError(kEncoding) for a depth, a comment or a profile that the format does not hold.
std::unique_ptr<RowWriter> make_lossless_jpeg_writer(const RowsHeader& header, const JpegEncoding& encoding,
                                                     ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_CODEC_H
