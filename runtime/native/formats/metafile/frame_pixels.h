// Lengths in the frame of an enhanced metafile, which are whole hundredths of a millimeter, as pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_FRAME_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_FRAME_PIXELS_H

#include <cmath>

namespace zelmor::embed::metafile {

// A number of pixels that a rounded length may stand for is meant: 2646 hundredths are 100 pixels of 1/96 inch, though
// they measure 100.006.
inline double frame_pixels(double hundredths, double pixels_per_mm) {
    const double pixels = hundredths / 100 * pixels_per_mm, whole = std::round(pixels);
    const double rounding = 0.5 / 100 * std::abs(pixels_per_mm) + 1e-9;
    return std::abs(pixels - whole) <= rounding ? whole : pixels;
}

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_FRAME_PIXELS_H
