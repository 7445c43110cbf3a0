// Text by Pango: laid out, measured, shown on a cairo context or as outlines.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_TEXT_H

#include <cairo.h>

#include <memory>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

TextExtent measure_text(const TextLayout& layout);
Outline text_outline(const TextLayout& layout);
std::vector<TextLine> text_lines(const TextLayout& layout);
// Draws with the context's source; the layout's corner is the origin of the context's space.
void show_text(cairo_t* context, const TextLayout& layout);
bool has_font_family(const std::string& name, const std::vector<std::string>& folders);

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_TEXT_H
