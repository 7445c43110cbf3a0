// WebP files, read and written by libwebp.
//
// Pictures have the form of the decoder: RGB of 8 bits, with alpha where the data or the header of the file has it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_CODEC_H

#include <cstdint>
#include <memory>

#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// A still picture, or the frames of an animation, found by their headers. A still lossy picture without alpha can be
// decoded smaller, by divisors of both of its sides. With a recovery mode, damaged data has the frames before the
// damage; rows that the damage took are missing in a still picture, and show the canvas before it in an animation.
SharedFrames open_webp(const SharedSource& source, Recovery recovery, SharedBudget budget = {});

// Pixels to a side.
constexpr int32_t kWebpSide = 16383;

// Writes rows of RGB, with or without alpha, of 8 bits; PictureError(kEncoding) for another form or size. The library
// needs all rows before it gives the first bytes: `out` has the file when the writer has finished. Colors that nobody
// can see may become others. The file has the header's profile, but no resolution: that has its place among the EXIF
// data.
std::unique_ptr<RowWriter> make_webp_writer(const RowsHeader& header, const WebpEncoding& encoding, ByteSink& out);

// Writes an animation. Frames that are like the one before them become one with it.
class WebpAnimationWriter {
 public:
    virtual ~WebpAnimationWriter() = default;
    // The writer of the next frame, whose rows are as those of make_webp_writer(), all of one size; it is finished
    // before the next call. Its profile does not count.
    virtual std::unique_ptr<RowWriter> frame(const RowsHeader& header, int duration) = 0;
    // The file is in `out`.
    virtual void finish() = 0;
};

std::unique_ptr<WebpAnimationWriter> make_webp_animation_writer(int32_t width, int32_t height,
                                                                const WebpEncoding& encoding, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_CODEC_H
