// JPEG-LS files, read by a decoder of our own and written by CharLS: gray and RGB of 2 to 16 bits, without loss or with
// a stated greatest error.
//
// A JPEG-LS file has the markers of JPEG around data of another coding. The API counts it as a JPEG file; the codec of
// JPEG hands it over to this one.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_CODEC_H

#include <memory>

#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The samples of up to 8 bits are spread over a byte, those of more over 16 bits, so that a file of the same depth
// gives every sample back. The picture is decoded as a whole when its first row is asked for. PictureError: kDamaged,
// kTooLarge, or kUnsupported for other components than one of gray or three of RGB.
SharedFrames open_jpegls(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options);

// Takes rows of gray or RGB, of bytes for up to 8 bits and of 16 bits for more. The file is made in memory.
// PictureError(kEncoding), with the name of the option, for settings that the format does not allow.
std::unique_ptr<RowWriter> make_jpegls_writer(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEGLS_JPEGLS_CODEC_H
