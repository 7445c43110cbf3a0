// Drawing on a cairo context: what canvases over pixels and those over the pages of a document have in common.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DRAWING_H

#include <algorithm>
#include <cassert>

#include "runtime/native/drawwork/cairo_support.h"
#include "runtime/native/drawwork/cairo_text.h"

namespace zelmor::drawwork {

// DrawError for an outline with coordinates that cairo cannot take.
void require_drawable(const Outline& outline);

// Draws a shape with the raster operation (Canvas::combine) on the image surface behind the context.
void combine_pixels(cairo_t* context, const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                    uint8_t operation);

cairo_operator_t operator_of(Blend blend);

// `Interface` is Canvas or derives from it.
template <class Interface>
class CairoDrawing : public Interface {
 public:
    void save() override { cairo_save(cairo()); }
    void restore() override { cairo_restore(cairo()); }
    void unclip() override { cairo_reset_clip(cairo()); }

    void clip(const Outline& outline, FillRule rule, bool smooth) override {
        require_drawable(outline);
        prepare(rule, smooth);
        cairo_new_path(cairo());
        add_path(cairo(), outline);
        cairo_clip(cairo());
        check_state();
    }

    void fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) override {
        require_drawable(outline);
        painted(paint, [&] {
            prepare(rule, smooth);
            cairo_new_path(cairo());
            add_path(cairo(), outline);
            cairo_fill(cairo());
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
            cairo_set_line_cap(cairo(), kCaps[static_cast<size_t>(stroke.cap)]);
            cairo_set_line_join(cairo(), kJoins[static_cast<size_t>(stroke.join)]);
            cairo_set_miter_limit(cairo(), std::max(stroke.miter_limit, 1.0));
            cairo_set_line_width(cairo(), stroke.width);
            cairo_set_dash(cairo(), stroke.dashes.data(), static_cast<int>(stroke.dashes.size()), stroke.dash_offset);
            cairo_new_path(cairo());
            add_path(cairo(), outline);
            cairo_save(cairo());
            const cairo_matrix_t nib = to_cairo(stroke.nib);
            cairo_transform(cairo(), &nib);
            cairo_stroke(cairo());
            cairo_restore(cairo());
        });
    }

    void clear(Argb color) override {
        Paint paint;
        paint.color = color;
        set_source(cairo(), paint);
        cairo_set_operator(cairo(), CAIRO_OPERATOR_SOURCE);
        cairo_paint(cairo());
        cairo_set_operator(cairo(), CAIRO_OPERATOR_OVER);
        check_state();
    }

    void text(const TextLayout& layout, const Affine& placing, const Paint& paint) override {
        if (!placing.inverse()) {
            return;
        }
        painted(paint, [&] {
            cairo_save(cairo());
            const cairo_matrix_t matrix = to_cairo(placing);
            // The source keeps its own place: it was set before, in the space of the canvas.
            cairo_transform(cairo(), &matrix);
            show_text(cairo(), layout);
            cairo_restore(cairo());
        });
    }

    void begin_group() override {
        cairo_push_group(cairo());
        cairo_reset_clip(cairo());
        check_state();
    }

    void end_group(double opacity, Blend blend) override {
        cairo_pop_group_to_source(cairo());
        cairo_set_operator(cairo(), operator_of(blend));
        cairo_paint_with_alpha(cairo(), opacity);
        cairo_set_operator(cairo(), CAIRO_OPERATOR_OVER);
        check_state();
    }

    void* context() override { return cairo(); }

 protected:
    // Makes the context; to be called before anything is drawn.
    void draw_on(cairo_surface_t* surface, const char* failure) {
        m_context.reset(cairo_create(surface));
        check(cairo_status(cairo()), failure);
        cairo_set_tolerance(cairo(), 0.05);
    }
    void end_context() { m_context.reset(); }
    cairo_t* cairo() const {
        assert(m_context != nullptr);
        return m_context.get();
    }
    void check_state() const { check(cairo_status(cairo()), "drawing failed"); }

 private:
    void prepare(FillRule rule, bool smooth) {
        cairo_set_fill_rule(cairo(), rule == FillRule::kWinding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
        cairo_set_antialias(cairo(), smooth ? CAIRO_ANTIALIAS_GOOD : CAIRO_ANTIALIAS_NONE);
    }
    // Runs the drawing with the paint as its source; with an opacity, on a layer of its own.
    template <class Draw>
    void painted(const Paint& paint, Draw&& draw) {
        if (!(paint.opacity > 0)) {
            return;
        }
        const bool layered = paint.opacity < 1;
        if (layered) {
            cairo_push_group(cairo());
        }
        const bool visible = set_source(cairo(), paint);
        if (visible) {
            cairo_set_operator(cairo(), m_copies ? CAIRO_OPERATOR_SOURCE : CAIRO_OPERATOR_OVER);
            draw();
            cairo_set_operator(cairo(), CAIRO_OPERATOR_OVER);
        }
        if (layered) {
            cairo_pop_group_to_source(cairo());
            cairo_paint_with_alpha(cairo(), paint.opacity);
        }
        check_state();
    }

    Context m_context;

 protected:
    bool m_copies = false;  // see CopyingCanvas
};

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CAIRO_DRAWING_H
