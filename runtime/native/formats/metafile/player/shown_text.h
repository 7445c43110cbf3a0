// Text on a canvas in any size.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_SHOWN_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_SHOWN_TEXT_H

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed::metafile {

// Draws the text if it can be seen. Libraries of fonts fail with letters of thousands of pixels, which a file can ask
// for: such text is drawn by the outlines of smaller letters.
void show_text(drawwork::Canvas& canvas, const drawwork::TextLayout& layout, const drawwork::Affine& placing,
               const drawwork::Paint& paint, bool smooth);

// Whether a layout has a size that can be measured.
bool is_measurable(double size);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_SHOWN_TEXT_H
