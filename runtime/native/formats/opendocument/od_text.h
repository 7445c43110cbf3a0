// Text in OpenDocument shapes: paragraphs and lists, broken into lines.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TEXT_H

#include <cstddef>

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

// Where the text of a shape stands.
struct OdTextPlace {
    OdScope scope = OdScope::kContent;
    const OdStyle* shape = nullptr;    // the graphic style of the shape
    std::string_view paragraph_style;  // draw:text-style-name
    drawwork::RectD area;              // of the shape, before padding
    drawwork::Affine placing;          // from the area's space to the canvas
    size_t page_number = 1;            // for fields
};

// Draws the paragraphs and lists among the children of the element.
void draw_od_text(OdCanvas& target, const OdNode& element, const OdTextPlace& place);
// How high the area has to be for them; 0 where there is no text.
double od_text_height(OdCanvas& target, const OdNode& element, const OdTextPlace& place);

// The properties of characters.
struct OdTextStyle {
    std::string family = "sans-serif";
    double size = 24;  // 18 points
    bool bold = false, italic = false, underline = false, strikeout = false;
    drawwork::Argb color = 0xFF000000;
    drawwork::Argb background = 0;  // transparent
    double rise = 0;                // of the baseline
    bool operator==(const OdTextStyle&) const = default;
};
OdTextStyle od_text_style(const OdDocument& document, const OdStyle& style);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_TEXT_H
