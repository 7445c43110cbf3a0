// Cairo's objects with an owner, and paths and paints as cairo has them.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_SUPPORT_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_SUPPORT_H

#include <cairo.h>

#include <memory>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::drawwork {

template <auto kFree>
struct Freeing {
    template <class T>
    void operator()(T* object) const {
        kFree(object);
    }
};
using Context = std::unique_ptr<cairo_t, Freeing<cairo_destroy>>;
using Surface = std::unique_ptr<cairo_surface_t, Freeing<cairo_surface_destroy>>;
using Pattern = std::unique_ptr<cairo_pattern_t, Freeing<cairo_pattern_destroy>>;

// Throws DrawError if cairo reports a failure.
void check(cairo_status_t status, const char* what);

Argb premultiplied(Argb color);
Argb straight(Argb color);

// An image surface with these pixels.
Surface make_surface(int32_t width, int32_t height, std::span<const Argb> pixels);

inline cairo_matrix_t to_cairo(const Affine& map) {
    return {map.m11, map.m12, map.m21, map.m22, map.dx, map.dy};
}

// Adds the outline to the current path.
void add_path(cairo_t* context, const Outline& outline);
// Makes the paint the source, without its opacity. False if the paint is invisible.
bool set_source(cairo_t* context, const Paint& paint);

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_SUPPORT_H
