// The widths of letters as fonts of metafiles give them: on average of the letters of the Latin alphabet.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H

#include <cstdint>

#include "runtime/native/behaviors/drawing/text_scale.h"
#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed::metafile {

// Of a font that is not stretched, whose em square has this size.
double average_letter_width(const drawwork::TextLayout& font, double size);

// The width that a font says for letters of this scale, in units: 0 where they are as wide as usual, but for rounding.
int64_t letter_width(const drawwork::TextLayout& layout, const TextScale& scale);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H
