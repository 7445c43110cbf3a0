// TGA files, read and written as rows of samples.
//
// Files of indices into at most 256 colors come as indices with their palette; others as gray or RGB of 8 bits a
// channel, with alpha where the file tells that it has some. Everything that a file says besides its pixels is in its
// settings.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_CODEC_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

// The file of one picture as a source of one frame.
class TgaFrames : public FrameSource {
 public:
    // All that the file says, and so the settings that write it as it was.
    virtual const TgaEncoding& settings() const = 0;
    // Whether the file has a color map, used or not.
    virtual bool has_color_map() const = 0;
};

// Rows are read from the file as they are asked for. A recovery mode gives rows that are lost the background color, and
// a pixel without a color of the map the first color of it. PictureError: kDamaged or kUnsupported.
std::shared_ptr<const TgaFrames> open_tga(const SharedSource& source, const DecodeOptions& options);

// The settings of a file, for a picture that may have become another: those that do not go with its form are replaced
// by what does, so that make_tga_writer() takes them.
TgaEncoding fitting_tga(const TgaEncoding& settings, const RowsHeader& header);

// Writes gray with or without alpha, RGB with or without alpha, and indices of 8 bits. PictureError(kEncoding) for
// another form, for settings that do not go with it, and for sides beyond 65535. The file is in `out` when the writer
// has finished.
std::unique_ptr<RowWriter> make_tga_writer(const RowsHeader& header, const TgaEncoding& encoding,
                                           std::vector<uint8_t>& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_CODEC_H
