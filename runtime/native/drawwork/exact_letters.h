// Letters at fractions of pixels. Cairo moves each to a whole pixel of an image, which is seen in text whose letters
// are set one by one.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_EXACT_LETTERS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_EXACT_LETTERS_H

#include <pango/pangocairo.h>

namespace zelmor::drawwork {

// Shows the layout with its corner at the origin of the context's space. False, with nothing drawn, where cairo has to
// do it: on other targets than images, and for letters that are pictures or signs of missing characters.
bool show_exact_letters(cairo_t* context, PangoLayout* layout);

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_EXACT_LETTERS_H
