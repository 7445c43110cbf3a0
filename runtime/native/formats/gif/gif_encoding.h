// The settings that GIF files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODING_H

#include <cstdint>
#include <optional>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

struct GifEncoding {
    static constexpr Format kFormat = Format::kGif;

    int palette_bits = 8;  // 1 to 8: there are at most so many colors
    bool interlaced = false;
    std::optional<int> loops = {};  // times that an animation is shown; 0: for ever; absent: the file does not tell
    int color_resolution = 8;       // bits of a primary color of the original, 1 to 8; the file only tells it
    bool sorted_palette = false;    // the same
    uint8_t background_index = 0;   // the same, of the color behind the frames
    uint8_t aspect_ratio = 0;       // of a pixel: this and 15, by 64; 0 does not tell
    bool trailer = true;            // the byte that ends a file
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_ENCODING_H
