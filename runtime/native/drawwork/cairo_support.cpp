// Paths, paints and pixels as cairo has them.
#include "runtime/native/drawwork/cairo_support.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>

namespace zelmor::drawwork {

void check(cairo_status_t status, const char* what) {
    if (status == CAIRO_STATUS_SUCCESS) {
        return;
    }
    throw DrawError(std::string(what) + ": " + cairo_status_to_string(status));
}

Argb premultiplied(Argb color) {
    const Argb alpha = color >> 24;
    if (alpha == 255) {
        return color;
    }
    const auto scaled = [&](int shift) { return ((color >> shift & 0xFF) * alpha + 127) / 255 << shift; };
    return alpha << 24 | scaled(16) | scaled(8) | scaled(0);
}

Argb straight(Argb color) {
    const Argb alpha = color >> 24;
    if (alpha == 255) {
        return color;
    }
    if (alpha == 0) {
        return 0;
    }
    const auto scaled = [&](int shift) {
        return std::min<Argb>(255, ((color >> shift & 0xFF) * 255 + alpha / 2) / alpha) << shift;
    };
    return alpha << 24 | scaled(16) | scaled(8) | scaled(0);
}

Surface make_surface(int32_t width, int32_t height, std::span<const Argb> pixels) {
    assert(pixels.size() == static_cast<size_t>(width) * static_cast<size_t>(height));
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    check(cairo_surface_status(surface.get()), "the picture cannot be drawn on");
    unsigned char* data = cairo_image_surface_get_data(surface.get());
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(surface.get()));
    for (int32_t y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<Argb*>(data + static_cast<size_t>(y) * stride);
        const Argb* from = pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
        std::transform(from, from + width, row, premultiplied);
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

void add_path(cairo_t* context, const Outline& outline) {
    for (const Contour& contour : outline) {
        cairo_move_to(context, contour.start.x, contour.start.y);
        for (const Segment& s : contour.segments) {
            if (s.curved) {
                cairo_curve_to(context, s.control1.x, s.control1.y, s.control2.x, s.control2.y, s.end.x, s.end.y);
            } else {
                cairo_line_to(context, s.end.x, s.end.y);
            }
        }
        if (contour.closed) {
            cairo_close_path(context);
        }
    }
}

namespace {

void add_stop(cairo_pattern_t* pattern, const GradientStop& stop) {
    const auto part = [&](int shift) { return (stop.color >> shift & 0xFF) / 255.0; };
    cairo_pattern_add_color_stop_rgba(pattern, stop.at, part(16), part(8), part(0), part(24));
}

cairo_extend_t extend_of(Extend extend) {
    switch (extend) {
        case Extend::kNone:
            return CAIRO_EXTEND_NONE;
        case Extend::kPad:
            return CAIRO_EXTEND_PAD;
        case Extend::kRepeat:
            return CAIRO_EXTEND_REPEAT;
        case Extend::kReflect:
            break;
    }
    return CAIRO_EXTEND_REFLECT;
}

cairo_filter_t filter_of(Sampling sampling) {
    switch (sampling) {
        case Sampling::kNearest:
            return CAIRO_FILTER_NEAREST;
        case Sampling::kGood:
            return CAIRO_FILTER_GOOD;  // bilinear, with averaging for a picture that is made smaller
        case Sampling::kBest:
            break;
    }
    return CAIRO_FILTER_BEST;
}

}  // namespace

bool set_source(cairo_t* context, const Paint& paint) {
    if (paint.kind == Paint::Kind::kSolid) {
        const auto part = [&](int shift) { return (paint.color >> shift & 0xFF) / 255.0; };
        cairo_set_source_rgba(context, part(16), part(8), part(0), part(24));
        return true;
    }
    const auto back = paint.placing.inverse();
    if (!back) {
        return false;
    }
    Pattern pattern;
    if (paint.kind == Paint::Kind::kLinear || paint.kind == Paint::Kind::kRadial) {
        pattern.reset(paint.kind == Paint::Kind::kLinear
                          ? cairo_pattern_create_linear(paint.from.x, paint.from.y, paint.to.x, paint.to.y)
                          : cairo_pattern_create_radial(paint.from.x, paint.from.y, paint.from_radius, paint.to.x,
                                                        paint.to.y, paint.to_radius));
        for (const GradientStop& stop : paint.stops) {
            add_stop(pattern.get(), stop);
        }
    } else {
        if (paint.width <= 0 || paint.height <= 0) {
            return false;
        }
        const Surface surface = make_surface(paint.width, paint.height, paint.pixels);
        pattern.reset(cairo_pattern_create_for_surface(surface.get()));
        cairo_pattern_set_filter(pattern.get(), filter_of(paint.sampling));
    }
    cairo_pattern_set_extend(pattern.get(), extend_of(paint.extend));
    const cairo_matrix_t matrix = to_cairo(*back);
    cairo_pattern_set_matrix(pattern.get(), &matrix);
    check(cairo_pattern_status(pattern.get()), "the brush cannot be used");
    cairo_set_source(context, pattern.get());
    return true;
}

}  // namespace zelmor::drawwork
