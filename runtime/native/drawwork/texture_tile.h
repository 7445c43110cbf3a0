// Textures as files of lines and text can hold them: one picture, which stands alone or is repeated.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_TEXTURE_TILE_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_TEXTURE_TILE_H

#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

struct TextureTile {
    std::vector<Argb> pixels;
    int32_t width = 0, height = 0;
    Affine placing;        // from the pixels of the tile to the canvas
    bool repeats = false;  // otherwise nothing is seen around it
};

// The tile of a texture that is painted with inside `reach`, an area of the canvas: a texture that goes on around its
// edge gets as large as that, a mirrored one twice as large.
TextureTile tile_of(const Paint& texture, const RectD& reach);

// What the paint shows inside of the area, drawn as a texture: for paints that a file has no place for.
Paint texture_of_paint(Backend& backend, const Paint& paint, const RectD& area);

// The area that a stroke of the outline can reach.
RectD reach_of_stroke(const Outline& outline, const Stroke& stroke);

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_TEXTURE_TILE_H
