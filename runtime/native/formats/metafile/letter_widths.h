// The widths of letters as fonts of metafiles give them: on average of the letters of the Latin alphabet.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H

#include <cstdint>
#include <optional>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed::metafile {

// Of a font that is not stretched, whose em square has this size.
double average_letter_width(const drawwork::TextLayout& font, double size);

// How much larger text becomes along its lines and across them.
struct TextScale {
    double along = 1, across = 1;
};
// Nothing for text that is slanted or mirrored.
std::optional<TextScale> text_scale(const drawwork::Affine& placing);

// The width that a font says for letters of this scale, in units: 0 where they are as wide as usual, but for rounding.
int64_t letter_width(const drawwork::TextLayout& layout, const TextScale& scale);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_LETTER_WIDTHS_H
