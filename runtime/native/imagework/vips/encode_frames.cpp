// One file of several pictures; see encode_frames.h.
#include "runtime/native/imagework/vips/encode_frames.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {
namespace {

void require_one_size(std::span<const FrameToWrite> frames) {
    for (const FrameToWrite& frame : frames) {
        if (frame.picture->width() != frames[0].picture->width() ||
            frame.picture->height() != frames[0].picture->height()) {
            throw PictureError(Failure::kEncoding, "the frames of an animation have to be of one size");
        }
    }
}

}  // namespace

void encode_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    assert(!frames.empty());
    const Encoding& encoding = *frames[0].encoding;
    const Format format = format_of(encoding);
    const std::string what = std::string("the frames could not be written as ") + format_name(format);
    guarded(Failure::kEncoding, what.c_str(), [&] {
        const FormatCodec* codec = codec_of(format);
        if (codec == nullptr || codec->encode_frames == nullptr) {
            throw PictureError(Failure::kUnsupported,
                               std::string(format_name(format)) + " holds one picture, not several");
        }
        if (frames.size() > 1 && codec->has_one_size) {
            require_one_size(frames);
        }
        codec->encode_frames(frames, out);
    });
}

}  // namespace zelmor::imagework
