// What the strokes of an SVG document cost: the library that draws it makes a polygon of each, with corners that grow
// with the width of the stroke, and a piece for each dash. A document of a few bytes can ask for more of both than
// there is memory and time for, so they are estimated before it is drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_STROKES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_STROKES_H

#include <cstdint>
#include <span>

namespace zelmor::imagework {

struct SvgStrokes {
    // No stroke is wider than this, in pixels of the picture in its own size. Transformations are multiplied along the
    // nesting of elements and of references, so that it is no less than the greatest width, and may be more.
    double widest = 0;
    // About how many dashes the outlines have whose dashes are long enough to be drawn one by one.
    double dashes = 0;
};

// Nothing of it for a text that is no XML, which the library refuses with its own words.
SvgStrokes svg_strokes(std::span<const uint8_t> document);

// PictureError(kTooLarge) where strokes or dashes exceed their limits in a picture that is enlarged by this factor.
void check_svg_strokes(const SvgStrokes& strokes, double enlarged);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_STROKES_H
