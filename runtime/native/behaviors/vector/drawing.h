// Drawings: what vector images show, apart from the file that it came from.
//
// A room whose format consists of lines and text reads its files into a class of its own that derives from Drawing
// (FormatMembers::load_drawing). Everything else about a vector image is common: its size, its members, rasterizing,
// and saving in other formats, which draws it on the canvas of that format.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_H

#include <string>
#include <vector>

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// How a drawing is drawn, as VectorRasterizationOptions say it.
struct DrawSettings {
    bool smooth = true;                 // the edges of shapes
    bool smooth_text = true;            // the edges of characters
    bool hinted = false;                // characters are fitted to the grid of pixels
    drawwork::Argb color = 0xFF000000;  // of what has no color of its own
    // The options themselves, for what one format alone has (EmfRasterizationOptions.render_mode); of any class
    // that derives from VectorRasterizationOptions, or null.
    Ref<ManagedObject> options = {};
};

class Drawing {
 public:
    virtual ~Drawing() = default;

    // The part of the drawing's own space that the image shows, in the units of that space. Where it is empty, nothing
    // is drawn.
    virtual drawwork::RectD bounds() const = 0;

    // Draws everything; `placing` maps the drawing's own space to the canvas. A canvas may be a part of the picture,
    // so that a drawing is drawn several times for one picture, and on canvases of several kinds (canvas.h). The clip
    // is that of the image. Failures are PictureError, DrawError or ManagedException.
    virtual void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) = 0;

    // The pictures of pixels in the drawing, each as an image of its own, in the order in which they are drawn.
    virtual std::vector<Ref<ImageBase>> embedded_images() { return {}; }
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_H
