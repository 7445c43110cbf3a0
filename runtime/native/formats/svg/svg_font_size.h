// Sizes of fonts in SVG attributes and style sheets, read for how large they can be.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FONT_SIZE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FONT_SIZE_H

#include <string>
#include <string_view>

namespace zelmor::imagework {

// What a value can make of the size of the font around it: at most so many pixels, or so many times that size. Zero
// where the value has no number of the kind.
struct SvgFontSize {
    double pixels = 0;
    double factor = 0;
};

// Of a value of `font-size` or `font`.
SvgFontSize svg_font_size(std::string_view value);

// Of all declarations of a style sheet, or of a `style` attribute, that can be about fonts. A name that is written with
// escapes can be any name.
SvgFontSize svg_font_size_in(std::string_view declarations);

// The text of a style sheet without its comments.
std::string without_comments(std::string_view style_sheet);

// Whether a style sheet reads another one that stands in a data URI.
bool imports_data(std::string_view style_sheet);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FONT_SIZE_H
