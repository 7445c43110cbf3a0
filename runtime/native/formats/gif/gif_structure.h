// The structure of a GIF file: its screen, its frames and its extensions, found by a walk over the blocks.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_STRUCTURE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

// Bytes of the file, from the introducer of a block to behind its end.
struct GifPart {
    uint64_t at = 0;
    uint64_t size = 0;
};

// Where a palette stands in the file, and how many bits its indices have; 0 for none.
struct GifPalettePlace {
    uint64_t at = 0;
    int bits = 0;
    bool sorted = false;
};

struct GifScreen {
    int32_t width = 0;
    int32_t height = 0;
    GifPalettePlace palette;
    int color_resolution = 8;
    uint8_t background_index = 0;
    uint8_t aspect_ratio = 0;
};

struct GifFramePlace {
    GifPart image;  // from the descriptor to the end of the pixels
    Rect area;
    bool interlaced = false;
    GifPalettePlace palette;  // its own; otherwise the screen's is used
    int code_bits = 0;        // of the first codes: indices are below two to the power of these
    std::optional<GifControl> control = {};
    uint32_t blocks_before = 0;  // how many of the file's other extensions stand before it
    bool whole = true;           // the file goes on behind it
};

struct GifStructure {
    GifScreen screen;
    std::vector<GifFramePlace> frames;
    // Besides graphics control blocks of frames, and what the settings and the metadata of a picture tell: how often
    // the animation is shown, and XMP.
    std::vector<GifPart> extensions;
    int loops = 1;  // 0: for ever
    bool trailer = false;
};

// PictureError: kDamaged where the file has no screen or no frame, kTooLarge for too many frames. A file that ends in
// the middle of a frame has the frames up to that one.
GifStructure gif_structure(SourceBytes& bytes);

FrameDisposal disposal_of(const GifFramePlace& frame);

// The entries of a palette, all opaque; of a file that ends before, those that there are.
std::vector<Argb> gif_palette(SourceBytes& bytes, const GifPalettePlace& place);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_STRUCTURE_H
