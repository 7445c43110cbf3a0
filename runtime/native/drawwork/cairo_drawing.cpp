// Checks of outlines, blend modes and raster operations on a cairo context.
#include "runtime/native/drawwork/cairo_drawing.h"

#include <array>
#include <cmath>

namespace zelmor::drawwork {
namespace {

constexpr double kFarthest = 1 << 22;  // beyond it cairo's own numbers overflow

// Outlines with coordinates that cairo cannot take are kept out of it.
bool drawable(const Outline& outline) {
    const auto sound = [](PointD p) { return std::abs(p.x) < kFarthest && std::abs(p.y) < kFarthest; };
    return std::all_of(outline.begin(), outline.end(), [&](const Contour& contour) {
        return sound(contour.start) &&
               std::all_of(contour.segments.begin(), contour.segments.end(), [&](const auto& s) {
                   return sound(s.end) && (!s.curved || (sound(s.control1) && sound(s.control2)));
               });
    });
}

// Clips a context to the pixels that an outline may touch, as long as the object lives: groups are as large as the
// clip, so that a small shape on a large page does not cost what the page does.
class OutlineClip {
 public:
    OutlineClip(cairo_t* context, const Outline& outline) : m_context(context) {
        cairo_save(context);
        cairo_matrix_t matrix;
        cairo_get_matrix(context, &matrix);
        cairo_new_path(context);
        add_path(context, outline);
        cairo_identity_matrix(context);
        double left = 0, top = 0, right = 0, bottom = 0;
        cairo_path_extents(context, &left, &top, &right, &bottom);
        cairo_new_path(context);
        left = std::floor(left) - 1;
        top = std::floor(top) - 1;
        cairo_rectangle(context, left, top, std::ceil(right) + 1 - left, std::ceil(bottom) + 1 - top);
        cairo_clip(context);
        cairo_clip_extents(context, &left, &top, &right, &bottom);
        m_empty = right <= left || bottom <= top;
        cairo_set_matrix(context, &matrix);
    }
    OutlineClip(const OutlineClip&) = delete;
    OutlineClip& operator=(const OutlineClip&) = delete;
    ~OutlineClip() { cairo_restore(m_context); }

    bool empty() const { return m_empty; }

 private:
    cairo_t* m_context;
    bool m_empty = false;
};

// What a shape painted alone looks like, over the part of the surface that the clip leaves.
class Layer {
 public:
    Layer(cairo_t* context, const Outline& outline, FillRule rule, const Paint& paint) {
        cairo_push_group(context);
        if (set_source(context, paint)) {
            cairo_set_fill_rule(context,
                                rule == FillRule::kWinding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
            cairo_set_antialias(context, CAIRO_ANTIALIAS_NONE);
            cairo_new_path(context);
            add_path(context, outline);
            cairo_fill(context);
        }
        m_pattern.reset(cairo_pop_group(context));
        check(cairo_status(context), "drawing failed");
        check(cairo_pattern_get_surface(m_pattern.get(), &m_surface), "drawing failed");
        cairo_surface_flush(m_surface);
        double x = 0, y = 0;
        cairo_surface_get_device_offset(m_surface, &x, &y);
        m_x = static_cast<int32_t>(std::lround(-x));
        m_y = static_cast<int32_t>(std::lround(-y));
    }

    int32_t left() const { return m_x; }
    int32_t top() const { return m_y; }
    int32_t width() const { return cairo_image_surface_get_width(m_surface); }
    int32_t height() const { return cairo_image_surface_get_height(m_surface); }
    const Argb* row(int32_t y) const {
        const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(m_surface));
        return reinterpret_cast<const Argb*>(cairo_image_surface_get_data(m_surface) + static_cast<size_t>(y) * stride);
    }

 private:
    Pattern m_pattern;
    cairo_surface_t* m_surface = nullptr;  // of the pattern
    int32_t m_x = 0, m_y = 0;
};

// The operation on all bits at once: a term for each bit of it that is set.
Argb combined(Argb pattern, Argb source, Argb destination, uint8_t operation) {
    Argb result = 0;
    for (unsigned term = 0; term < 8; ++term) {
        if ((operation >> term & 1U) != 0) {
            result |= ((term & 4U) != 0 ? pattern : ~pattern) & ((term & 2U) != 0 ? source : ~source) &
                      ((term & 1U) != 0 ? destination : ~destination);
        }
    }
    return result;
}

}  // namespace

void require_drawable(const Outline& outline) {
    if (!drawable(outline)) {
        throw DrawError("there are coordinates too far from the image to draw with");
    }
}

cairo_operator_t operator_of(Blend blend) {
    constexpr std::array kOperators{
        CAIRO_OPERATOR_OVER,       CAIRO_OPERATOR_MULTIPLY,   CAIRO_OPERATOR_SCREEN,      CAIRO_OPERATOR_OVERLAY,
        CAIRO_OPERATOR_DARKEN,     CAIRO_OPERATOR_LIGHTEN,    CAIRO_OPERATOR_COLOR_DODGE, CAIRO_OPERATOR_COLOR_BURN,
        CAIRO_OPERATOR_HARD_LIGHT, CAIRO_OPERATOR_SOFT_LIGHT, CAIRO_OPERATOR_DIFFERENCE,  CAIRO_OPERATOR_EXCLUSION,
    };
    static_assert(kOperators.size() == static_cast<size_t>(Blend::kExclusion) + 1);
    return kOperators[static_cast<size_t>(blend)];
}

void combine_pixels(cairo_t* context, const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                    uint8_t operation) {
    require_drawable(outline);
    cairo_surface_t* target = cairo_get_group_target(context);
    assert(cairo_surface_get_type(target) == CAIRO_SURFACE_TYPE_IMAGE);
    const OutlineClip clip(context, outline);
    if (clip.empty()) {
        return;
    }
    Paint everything;
    everything.color = 0xFFFFFFFF;
    const Layer shape(context, outline, rule, everything);
    const Layer pattern_layer(context, outline, rule, pattern);
    const Layer source_layer(context, outline, rule, source);
    cairo_surface_flush(target);
    double offset_x = 0, offset_y = 0;
    cairo_surface_get_device_offset(target, &offset_x, &offset_y);
    unsigned char* data = cairo_image_surface_get_data(target);
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(target));
    const int32_t left = shape.left() + static_cast<int32_t>(std::lround(offset_x));
    const int32_t top = shape.top() + static_cast<int32_t>(std::lround(offset_y));
    assert(left >= 0 && left + shape.width() <= cairo_image_surface_get_width(target));
    assert(top >= 0 && top + shape.height() <= cairo_image_surface_get_height(target));
    const int32_t width = shape.width(), height = shape.height();
    for (int32_t y = 0; y < height; ++y) {
        auto* out = reinterpret_cast<Argb*>(data + static_cast<size_t>(top + y) * stride) + left;
        const Argb* inside = shape.row(y);
        const Argb* pattern_row = pattern_layer.row(y);
        const Argb* source_row = source_layer.row(y);
        for (int32_t x = 0; x < width; ++x) {
            if (inside[x] != 0) {
                const Argb color =
                    combined(straight(pattern_row[x]), straight(source_row[x]), straight(out[x]), operation);
                out[x] = 0xFF000000U | color;
            }
        }
    }
    cairo_surface_mark_dirty(target);
}

}  // namespace zelmor::drawwork
