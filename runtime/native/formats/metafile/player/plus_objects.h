// The objects of EMF+ as the drawing classes of the API have them: brushes, pens, paths, regions, images, fonts.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_OBJECTS_H

#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/formats/metafile/player/dib_pixels.h"

namespace zelmor::embed::metafile {

using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;

// A brush of the API, or a texture: the API's own has an image, a file only pixels.
struct PlusBrush {
    Ref<ManagedObject> brush;
    Pixels texture;
    api::WrapMode wrap = api::WrapMode::kTile;
    Affine transform;
};

struct PlusPen {
    Ref<ManagedObject> pen;
    PlusBrush brush;
    int64_t unit = 0;  // of the width
    double width = 1;
};

struct PlusImage {
    Pixels pixels;
    FileBytes metafile;  // where the image is one
};

PlusBrush plus_color(Argb color);
PlusBrush plus_brush(const ManagedObject& brush);
PlusPen plus_pen(const ManagedObject& pen);
Outline plus_path(const ManagedObject& path);
FillRule plus_rule(const ManagedObject& path);
RegionTree plus_region(const ManagedObject& region);
PlusImage plus_image(const ManagedObject& image);
Ref<ManagedObject> plus_font(const ManagedObject& font);
Ref<ManagedObject> plus_format(const ManagedObject& format);

// The paint of a brush; nothing for one that cannot paint, such as a texture without pixels.
std::optional<Paint> plus_paint(const PlusBrush& brush, const PaintPlace& place);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_OBJECTS_H
