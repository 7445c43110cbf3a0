// The drawing backend on cairo and the one symbol of its shared object.
#include <algorithm>

#include "runtime/native/drawwork/cairo_support.h"
#include "runtime/native/drawwork/cairo_text.h"

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

void require_drawable(const Outline& outline) {
    if (!drawable(outline)) {
        throw DrawError("there are coordinates too far from the image to draw with");
    }
}

class CairoCanvas final : public Canvas {
 public:
    CairoCanvas(const PixelArea& area, std::span<const Argb> pixels)
        : m_area(area),
          m_before(pixels.begin(), pixels.end()),
          m_surface(make_surface(area.width, area.height, pixels)) {
        cairo_surface_set_device_offset(m_surface.get(), -area.x, -area.y);
        m_context.reset(cairo_create(m_surface.get()));
        check(cairo_status(m_context.get()), "the picture cannot be drawn on");
        cairo_set_tolerance(m_context.get(), 0.05);
    }

    void unclip() override { cairo_reset_clip(context()); }

    void clip(const Outline& outline, FillRule rule, bool smooth) override {
        require_drawable(outline);
        prepare(rule, smooth);
        cairo_new_path(context());
        add_path(context(), outline);
        cairo_clip(context());
        check_state();
    }

    void fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) override {
        require_drawable(outline);
        painted(paint, [&] {
            prepare(rule, smooth);
            cairo_new_path(context());
            add_path(context(), outline);
            cairo_fill(context());
        });
    }

    void stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) override {
        require_drawable(outline);
        if (!stroke.nib.inverse()) {
            return;
        }
        painted(paint, [&] {
            prepare(FillRule::kWinding, smooth);
            constexpr cairo_line_cap_t kCaps[] = {CAIRO_LINE_CAP_BUTT, CAIRO_LINE_CAP_SQUARE, CAIRO_LINE_CAP_ROUND};
            constexpr cairo_line_join_t kJoins[] = {CAIRO_LINE_JOIN_MITER, CAIRO_LINE_JOIN_BEVEL,
                                                    CAIRO_LINE_JOIN_ROUND};
            cairo_set_line_cap(context(), kCaps[static_cast<size_t>(stroke.cap)]);
            cairo_set_line_join(context(), kJoins[static_cast<size_t>(stroke.join)]);
            cairo_set_miter_limit(context(), std::max(stroke.miter_limit, 1.0));
            cairo_set_line_width(context(), stroke.width);
            cairo_set_dash(context(), stroke.dashes.data(), static_cast<int>(stroke.dashes.size()), stroke.dash_offset);
            cairo_new_path(context());
            add_path(context(), outline);
            cairo_save(context());
            const cairo_matrix_t nib = to_cairo(stroke.nib);
            cairo_transform(context(), &nib);
            cairo_stroke(context());
            cairo_restore(context());
        });
    }

    void clear(Argb color) override {
        Paint paint;
        paint.color = color;
        set_source(context(), paint);
        cairo_set_operator(context(), CAIRO_OPERATOR_SOURCE);
        cairo_paint(context());
        cairo_set_operator(context(), CAIRO_OPERATOR_OVER);
        check_state();
    }

    void text(const TextLayout& layout, const Affine& placing, const Paint& paint) override {
        if (!placing.inverse()) {
            return;
        }
        painted(paint, [&] {
            cairo_save(context());
            const cairo_matrix_t matrix = to_cairo(placing);
            // The source keeps its own place: it was set before, in the space of the image.
            cairo_transform(context(), &matrix);
            show_text(context(), layout);
            cairo_restore(context());
        });
    }

    std::vector<Argb> pixels() override {
        cairo_surface_flush(m_surface.get());
        const unsigned char* data = cairo_image_surface_get_data(m_surface.get());
        const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(m_surface.get()));
        std::vector<Argb> result = m_before;
        for (int32_t y = 0; y < m_area.height; ++y) {
            const auto* row = reinterpret_cast<const Argb*>(data + static_cast<size_t>(y) * stride);
            Argb* out = result.data() + static_cast<size_t>(y) * static_cast<size_t>(m_area.width);
            for (int32_t x = 0; x < m_area.width; ++x) {
                if (row[x] != premultiplied(out[x])) {
                    out[x] = straight(row[x]);
                }
            }
        }
        return result;
    }

 private:
    cairo_t* context() const { return m_context.get(); }
    void check_state() const { check(cairo_status(m_context.get()), "drawing failed"); }
    void prepare(FillRule rule, bool smooth) {
        cairo_set_fill_rule(context(), rule == FillRule::kWinding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
        cairo_set_antialias(context(), smooth ? CAIRO_ANTIALIAS_GOOD : CAIRO_ANTIALIAS_NONE);
    }
    // Runs the drawing with the paint as its source; with an opacity, on a layer of its own.
    template <class Draw>
    void painted(const Paint& paint, Draw&& draw) {
        if (!(paint.opacity > 0)) {
            return;
        }
        const bool layered = paint.opacity < 1;
        if (layered) {
            cairo_push_group(context());
        }
        const bool visible = set_source(context(), paint);
        if (visible) {
            draw();
        }
        if (layered) {
            cairo_pop_group_to_source(context());
            cairo_paint_with_alpha(context(), paint.opacity);
        }
        check_state();
    }

    PixelArea m_area;
    std::vector<Argb> m_before;
    Surface m_surface;
    Context m_context;
};

class CairoBackend final : public Backend {
 public:
    std::unique_ptr<Canvas> canvas(const PixelArea& area, std::span<const Argb> pixels) override {
        return std::make_unique<CairoCanvas>(area, pixels);
    }
    TextExtent measure(const TextLayout& layout) override { return measure_text(layout); }
    Outline outline_of(const TextLayout& layout) override { return text_outline(layout); }
    bool has_family(const std::string& name, const std::vector<std::string>& folders) override {
        return has_font_family(name, folders);
    }
};

}  // namespace
}  // namespace zelmor::drawwork

extern "C" __attribute__((visibility("default"))) zelmor::drawwork::Backend* zelmor_drawwork_backend() {
    // Never destroyed: the runtime may draw until the process ends.
    static auto* backend = new zelmor::drawwork::CairoBackend;
    return backend;
}
