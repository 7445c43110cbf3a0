// The structure of a WebP file: its RIFF chunks, found by their headers. No pixel is decoded, and no pixel data is
// read.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_STRUCTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

struct BytePlace {
    uint64_t at = 0;
    uint64_t size = 0;  // 0: the file has no such bytes
};

// The one picture of a file, or a frame of an animation.
struct WebpFramePlace {
    Rect area{};
    int duration = 0;  // milliseconds
    FrameDisposal disposal = FrameDisposal::kUnspecified;
    bool over = false;   // laid over the canvas, instead of replacing what is there
    bool alpha = false;  // its data has alpha
    bool lossless = false;
    BytePlace data;  // an alpha chunk, where there is one, and the picture chunk, with their headers
};

struct WebpStructure {
    int32_t width = 0;  // of the canvas
    int32_t height = 0;
    bool animated = false;
    bool claims_alpha = false;  // the header says so; the data may do without
    BytePlace profile;
    BytePlace exif;
    std::vector<WebpFramePlace> frames;  // at least one
};

// PictureError(kDamaged) for a file that is cut off or makes no sense. `lenient` takes the frames before the damage,
// and of the last one the data that there is; without a frame it is an error all the same.
WebpStructure webp_structure(SourceBytes& bytes, bool lenient);

[[noreturn]] void webp_damaged(const std::string& text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_STRUCTURE_H
