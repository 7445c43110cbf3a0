// The drawing backend on cairo and the one symbol of its shared object.
#include <vector>

#include "runtime/native/drawwork/cairo_document.h"
#include "runtime/native/drawwork/cairo_drawing.h"
#include "runtime/native/drawwork/cairo_text.h"
#include "runtime/native/drawwork/copying_canvas.h"

namespace zelmor::drawwork {
namespace {

class CairoPixels final : public CairoDrawing<PixelCanvas>, public CopyingCanvas {
 public:
    CairoPixels(const PixelArea& area, std::span<const Argb> pixels)
        : m_area(area),
          m_before(pixels.begin(), pixels.end()),
          m_surface(make_surface(area.width, area.height, pixels)) {
        cairo_surface_set_device_offset(m_surface.get(), -area.x, -area.y);
        draw_on(m_surface.get(), "the picture cannot be drawn on");
    }

    CairoPixels(const PixelArea& area, Argb color)
        : m_area(area),
          m_color(color),
          m_surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, area.width, area.height)) {
        check(cairo_surface_status(m_surface.get()), "the picture cannot be drawn on");
        cairo_surface_set_device_offset(m_surface.get(), -area.x, -area.y);
        draw_on(m_surface.get(), "the picture cannot be drawn on");
        if (color >> 24 != 0) {
            clear(color);
        }
    }

    bool combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                 uint8_t operation) override {
        combine_pixels(cairo(), outline, rule, pattern, source, operation);
        return true;
    }

    void set_copying(bool copies) override { m_copies = copies; }

    std::vector<Argb> pixels() override {
        std::vector<Argb> result = m_before;
        result.resize(static_cast<size_t>(m_area.width) * static_cast<size_t>(m_area.height), m_color);
        for (int32_t y = 0; y < m_area.height; ++y) {
            const Argb* from = row(y);
            Argb* out = result.data() + static_cast<size_t>(y) * static_cast<size_t>(m_area.width);
            for (int32_t x = 0; x < m_area.width; ++x) {
                if (from[x] != premultiplied(out[x])) {
                    out[x] = straight(from[x]);
                }
            }
        }
        return result;
    }

    void read(bool alpha, size_t row_size, uint8_t* out) const override {
        for (int32_t y = 0; y < m_area.height; ++y) {
            const Argb* from = row(y);
            uint8_t* to = out + static_cast<size_t>(y) * row_size;
            for (int32_t x = 0; x < m_area.width; ++x) {
                const Argb color = from[x] >> 24 == 0xFF ? from[x] : straight(from[x]);
                *to++ = static_cast<uint8_t>(color >> 16);
                *to++ = static_cast<uint8_t>(color >> 8);
                *to++ = static_cast<uint8_t>(color);
                if (alpha) {
                    *to++ = static_cast<uint8_t>(color >> 24);
                }
            }
        }
    }

 private:
    // As the drawing library has them, multiplied by their alpha.
    const Argb* row(int32_t y) const {
        cairo_surface_flush(m_surface.get());
        const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(m_surface.get()));
        return reinterpret_cast<const Argb*>(cairo_image_surface_get_data(m_surface.get()) +
                                             static_cast<size_t>(y) * stride);
    }

    PixelArea m_area;
    std::vector<Argb> m_before;  // empty: all pixels had one color
    Argb m_color = 0;
    Surface m_surface;
};

class CairoInk final : public CairoDrawing<InkCanvas> {
 public:
    explicit CairoInk(const RectD& bounds) {
        const cairo_rectangle_t extents{bounds.x, bounds.y, bounds.width, bounds.height};
        m_surface.reset(cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, &extents));
        draw_on(m_surface.get(), "the drawing cannot be measured");
    }

    RectD ink() override {
        RectD result;
        cairo_recording_surface_ink_extents(m_surface.get(), &result.x, &result.y, &result.width, &result.height);
        return result;
    }

 private:
    Surface m_surface;
};

class CairoBackend final : public Backend {
 public:
    std::unique_ptr<PixelCanvas> canvas(const PixelArea& area, std::span<const Argb> pixels) override {
        return std::make_unique<CairoPixels>(area, pixels);
    }
    std::unique_ptr<PixelCanvas> canvas(const PixelArea& area, Argb color) override {
        return std::make_unique<CairoPixels>(area, color);
    }
    std::unique_ptr<InkCanvas> ink_canvas(const RectD& bounds) override { return std::make_unique<CairoInk>(bounds); }
    std::unique_ptr<Document> pdf(const DocumentSettings& settings, imagework::ByteSink& out) override {
        return make_pdf(settings, out);
    }
    TextExtent measure(const TextLayout& layout) override { return measure_text(layout); }
    Outline outline_of(const TextLayout& layout) override { return text_outline(layout); }
    std::vector<TextLine> lines_of(const TextLayout& layout) override { return text_lines(layout); }
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
