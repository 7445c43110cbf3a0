// Brushes as the drawing backend paints with them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PAINTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PAINTS_H

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/records.h"
#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// Where something is painted: how its coordinates become pixels, and the pixels that it can reach.
struct PaintPlace {
    drawwork::Affine map;
    drawwork::PixelArea area;
};

// ArgumentNullException for null, NotSupportedException for a brush of an unknown kind.
drawwork::Paint paint_of(const ManagedObject* brush, const PaintPlace& place);
drawwork::Paint solid_paint(const ColorValue& color, double opacity);
// The rows of eight pixels of a hatch, the leftmost in the highest bit.
std::span<const uint8_t, 8> hatch_rows(api::HatchStyle style);
// The colors of a path gradient, for each pixel of the area.
drawwork::Paint path_gradient_paint(const ManagedObject& brush, const PaintPlace& place);

// Whether a wrap mode mirrors every second tile of a row, of a column.
bool flips_sideways(api::WrapMode wrap);
bool flips_upright(api::WrapMode wrap);

// Adds mirror images to a texture, so that repeating the whole mirrors each tile.
void add_mirrored(drawwork::Paint& paint, bool sideways, bool upright);

// Colors at positions from 0 to 1.
using ColorStops = std::vector<drawwork::GradientStop>;
ColorStops stops_of(const ManagedObject& color_blend);
ColorStops blended_stops(const ManagedObject& blend, drawwork::Argb from, drawwork::Argb to);
drawwork::Argb mixed(drawwork::Argb from, drawwork::Argb to, double part);
drawwork::Argb color_at(const ColorStops& stops, double position);
drawwork::Argb argb_property(const ManagedObject& object, const char* name);

// The pixels of a part of an image as a texture. The wrap mode tells what surrounds it.
drawwork::Paint texture_of(const ImageObject& image, const drawwork::PixelArea& part, api::WrapMode wrap_mode);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PAINTS_H
