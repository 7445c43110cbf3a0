// The drawing backend on cairo and the one symbol of its shared object.
#include <vector>

#include "runtime/native/drawwork/cairo_drawing.h"
#include "runtime/native/drawwork/cairo_text.h"

namespace zelmor::drawwork {
namespace {

class CairoPixels final : public CairoDrawing<PixelCanvas> {
 public:
    CairoPixels(const PixelArea& area, std::span<const Argb> pixels)
        : m_area(area),
          m_before(pixels.begin(), pixels.end()),
          m_surface(make_surface(area.width, area.height, pixels)) {
        cairo_surface_set_device_offset(m_surface.get(), -area.x, -area.y);
        draw_on(m_surface.get(), "the picture cannot be drawn on");
    }

    bool combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                 uint8_t operation) override {
        combine_pixels(cairo(), outline, rule, pattern, source, operation);
        return true;
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
    PixelArea m_area;
    std::vector<Argb> m_before;
    Surface m_surface;
};

class CairoBackend final : public Backend {
 public:
    std::unique_ptr<PixelCanvas> canvas(const PixelArea& area, std::span<const Argb> pixels) override {
        return std::make_unique<CairoPixels>(area, pixels);
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
