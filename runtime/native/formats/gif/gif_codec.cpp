// The codec of GIF in the image backend.

#include "runtime/native/formats/gif/gif_codec.h"
#include "runtime/native/formats/gif/gif_encode.h"
#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_gif(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_gif(source, options.recovery != Recovery::kNone, options.memory);
}

}  // namespace

extern const FormatCodec kGifCodec;
const FormatCodec kGifCodec{
    .format = Format::kGif,
    .open = &open_gif,
    .control_tells_transparency = true,
    .longest_side = 65535,
    .is_indexed = true,
    .encode = &encode_gif,
    .encode_frames = &encode_gif_frames,
    .has_one_size = false,
};

}  // namespace zelmor::imagework
