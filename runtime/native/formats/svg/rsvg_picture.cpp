// SVG documents by librsvg, and the one symbol of the shared object; see svg_library.h.
#include <cairo-svg.h>
#include <librsvg/rsvg.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/formats/svg/embedded_pictures.h"
#include "runtime/native/formats/svg/flat_svg.h"
#include "runtime/native/formats/svg/rsvg_calls.h"
#include "runtime/native/formats/svg/svg_costs.h"
#include "runtime/native/formats/svg/svg_library.h"
#include "runtime/native/formats/svg/svg_links.h"
#include "runtime/native/formats/svg/svg_root.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using drawwork::RectD;

template <auto kFree>
struct Freeing {
    template <class T>
    void operator()(T* object) const {
        kFree(object);
    }
};
using Handle = std::unique_ptr<RsvgHandle, Freeing<g_object_unref>>;
using Input = std::unique_ptr<GInputStream, Freeing<g_object_unref>>;
using Surface = std::unique_ptr<cairo_surface_t, Freeing<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Freeing<cairo_destroy>>;
using ErrorText = std::unique_ptr<GError, Freeing<g_error_free>>;

constexpr double kDotsPerInch = 96;
// Pixels in which the few things are drawn that no canvas has, such as filters, for each pixel of the picture; of all
// of them together no more than the second number.
constexpr double kDetail = 2;
constexpr double kMostPixels = 16e6;

[[noreturn]] void throw_unreadable(const GError* error) {
    std::string reason = error != nullptr ? error->message : "no reason was given";
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    reason.erase(reason.find_last_not_of(" .") + 1);
    throw PictureError(Failure::kDamaged, "the SVG document cannot be read: " + reason);
}

// A document that has no address: what it refers to can only stand in itself.
Handle opened(std::span<const uint8_t> document, const std::string& style_sheet) {
    const Input input(
        g_memory_input_stream_new_from_data(document.data(), static_cast<gssize>(document.size()), nullptr));
    GError* error = nullptr;
    RsvgHandle* made = nullptr;
    bool styled = true;
    make_rsvg_calls([&] {
        made = rsvg_handle_new_from_stream_sync(input.get(), nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, &error);
        if (made != nullptr) {
            rsvg_handle_set_dpi(made, kDotsPerInch);
            styled = style_sheet.empty() ||
                     rsvg_handle_set_stylesheet(made, reinterpret_cast<const guint8*>(style_sheet.data()),
                                                style_sheet.size(), &error) != FALSE;
        }
    });
    Handle handle(made);
    const ErrorText text(error);
    if (handle == nullptr || !styled) {
        throw_unreadable(error);
    }
    return handle;
}

// Calls that work on a handle, which is never freed after a panic.
void make_calls_on(RsvgHandle* handle, const std::function<void()>& calls) {
    g_object_ref(handle);
    make_rsvg_calls(calls);
    g_object_unref(handle);
}

void render(RsvgHandle* handle, cairo_t* context, const RectD& area) {
    const RsvgRectangle viewport{area.x, area.y, area.width, area.height};
    GError* error = nullptr;
    bool drawn = false;
    make_calls_on(handle, [&] { drawn = rsvg_handle_render_document(handle, context, &viewport, &error) != FALSE; });
    const ErrorText text(error);
    if (!drawn) {
        throw_unreadable(error);
    }
    if (const cairo_status_t status = cairo_status(context); status != CAIRO_STATUS_SUCCESS) {
        throw drawwork::DrawError(std::string("the picture cannot be drawn: ") + cairo_status_to_string(status));
    }
}

// How many pixels stand for one of an area in the pictures of what no canvas has.
double detail_of(double width, double height) {
    return std::min(kDetail, std::sqrt(kMostPixels / std::max(1.0, width * height)));
}

cairo_status_t append(void* text, const unsigned char* data, unsigned int length) {
    static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

// A document as pixels that show an area of the page.
FlatPixels pixels_of(RsvgHandle* document, const RectD& area) {
    const double detail = detail_of(area.width, area.height);
    FlatPixels result;
    result.area = area;
    result.width = std::max(1, static_cast<int32_t>(std::lround(area.width * detail)));
    result.height = std::max(1, static_cast<int32_t>(std::lround(area.height * detail)));
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, result.width, result.height));
    const Context context(cairo_create(surface.get()));
    render(document, context.get(), {0, 0, double(result.width), double(result.height)});
    cairo_surface_flush(surface.get());
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(surface.get()));
    const uint8_t* data = cairo_image_surface_get_data(surface.get());
    result.pixels.reserve(static_cast<size_t>(result.width) * static_cast<size_t>(result.height));
    for (int32_t y = 0; y < result.height; ++y) {
        const auto* row = reinterpret_cast<const drawwork::Argb*>(data + static_cast<size_t>(y) * stride);
        for (int32_t x = 0; x < result.width; ++x) {
            result.pixels.push_back(straight_color(row[x]));
        }
    }
    return result;
}

// An area of a flat document, whose root has no size of its own and is given that of the area.
FlatPixels flat_pixels(const std::string& document, const RectD& area) {
    std::string text = document;
    const auto root = svg_root(text);
    if (!root) {
        throw PictureError(Failure::kInternal, "the drawing cannot be taken apart: it has no root");
    }
    const auto shown = [](double number) { return drawwork::decimal_text(number, 6); };
    std::string tag = "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\"";
    tag += " width=\"" + shown(area.width) + "\" height=\"" + shown(area.height) + "\" viewBox=\"" + shown(area.x) +
           " " + shown(area.y) + " " + shown(area.width) + " " + shown(area.height) +
           "\" preserveAspectRatio=\"none\">";
    text.replace(root->begin, root->tag_end - root->begin, tag);
    const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    return pixels_of(opened(bytes, {}).get(), area);
}

std::vector<uint8_t> gzip(std::span<const uint8_t> bytes) {
    constexpr int kGzipWindow = 15 + 16, kMemory = 8;  // the largest window, behind a header of gzip
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, Freeing<deflateEnd>> ending(&stream);
    if (bytes.size() > UINT32_MAX) {
        throw PictureError(Failure::kTooLarge, "the SVG document is too large to be packed");
    }
    std::vector<uint8_t> packed(deflateBound(&stream, bytes.size()));
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
        throw PictureError(Failure::kInternal, "the SVG document cannot be packed");
    }
    packed.resize(stream.total_out);
    return packed;
}

class RsvgPicture final : public SvgPicture {
 public:
    explicit RsvgPicture(std::span<const uint8_t> document)
        : m_document(document.begin(), document.end()), m_costs(svg_costs(document)) {
        check_svg_costs(m_costs, 1);
        if (m_costs.has_groups && !take_out_links(m_document, m_costs.links)) {
            throw PictureError(Failure::kUnsupported,
                               "the SVG document has links in entities, which are not supported");
        }
        const std::string text = svg_text(document);
        if (const auto root = svg_root(text)) {
            m_size = svg_size(*root);
        }
        handle(true, true);
    }

    RectD ink() override {
        const RsvgRectangle page{0, 0, 300, 150};  // what lengths in parts of the page refer to
        RsvgRectangle ink{}, logical{};
        GError* error = nullptr;
        bool known = false;
        RsvgHandle* const document = handle(true, true);
        make_calls_on(document, [&] {
            known = rsvg_handle_get_geometry_for_layer(document, nullptr, &page, &ink, &logical, &error) != FALSE;
        });
        const ErrorText text(error);
        if (!known) {
            throw_unreadable(error);
        }
        return {ink.x, ink.y, ink.width, ink.height};
    }

    double filtering() const override { return m_costs.filtering; }

    void draw(drawwork::Canvas& canvas, const SvgDrawing& drawing) override {
        RsvgHandle* const document = handle(drawing.smooth, drawing.smooth_text);
        const RectD area{0, 0, drawing.width, drawing.height};
        check_svg_costs(m_costs, enlargement(drawing));
        auto* const context = static_cast<cairo_t*>(canvas.context());
        if (context == nullptr) {
            return draw_apart(document, canvas, drawing, area);
        }
        const drawwork::Affine& map = drawing.placing;
        const cairo_matrix_t matrix{map.m11, map.m12, map.m21, map.m22, map.dx, map.dy};
        cairo_save(context);
        cairo_transform(context, &matrix);
        try {
            render(document, context, area);
        } catch (...) {
            cairo_restore(context);
            throw;
        }
        cairo_restore(context);
    }

 private:
    // How much larger than in its own size the document becomes, at least 1.
    double enlargement(const SvgDrawing& drawing) const {
        const double horizontal = m_size.width > 0 ? drawing.width / m_size.width : 1;
        const double vertical = m_size.height > 0 ? drawing.height / m_size.height : 1;
        return std::max(1.0, drawing.placing.largest_scale() * std::max(horizontal, vertical));
    }

    static void draw_apart(RsvgHandle* document, drawwork::Canvas& canvas, const SvgDrawing& drawing,
                           const RectD& area) {
        std::string flat;
        {
            const Surface surface(cairo_svg_surface_create_for_stream(&append, &flat, area.width, area.height));
            const double detail = 72 * detail_of(area.width, area.height);
            cairo_surface_set_fallback_resolution(surface.get(), detail, detail);
            const Context context(cairo_create(surface.get()));
            render(document, context.get(), area);
            cairo_surface_finish(surface.get());
            if (const cairo_status_t status = cairo_surface_status(surface.get()); status != CAIRO_STATUS_SUCCESS) {
                throw drawwork::DrawError(std::string("the picture cannot be drawn: ") +
                                          cairo_status_to_string(status));
            }
        }
        const FlatRenderer renderer{&flat_pixels, [&] { return pixels_of(document, area); }};
        draw_flat_svg(flat, canvas, drawing.placing, area.width, area.height, drawing.smooth, renderer);
    }

    // The document with or without smooth edges, which a style sheet says.
    RsvgHandle* handle(bool smooth, bool smooth_text) {
        Handle& kept = m_handles[{smooth, smooth_text}];
        if (kept == nullptr) {
            std::string style_sheet;
            style_sheet += smooth ? "" : "* { shape-rendering: crispEdges !important }\n";
            style_sheet += smooth_text ? "" : "* { text-rendering: optimizeSpeed !important }\n";
            kept = opened(m_document, style_sheet);
        }
        return kept.get();
    }

    std::vector<uint8_t> m_document;
    SvgCosts m_costs;
    SvgSize m_size;
    std::map<std::pair<bool, bool>, Handle> m_handles;
};

class Rsvg final : public SvgLibrary {
 public:
    std::unique_ptr<SvgPicture> open(std::span<const uint8_t> document) override {
        return std::make_unique<RsvgPicture>(document);
    }
    std::vector<SvgEmbedded> embedded(std::span<const uint8_t> document) override {
        return embedded_pictures(document);
    }
    std::vector<uint8_t> packed(std::span<const uint8_t> document) override { return gzip(document); }
};

}  // namespace
}  // namespace zelmor::imagework

extern "C" __attribute__((visibility("default"))) zelmor::imagework::SvgLibrary* zelmor_svg_library() {
    // Never destroyed: the runtime may draw until the process ends.
    static auto* library = new zelmor::imagework::Rsvg;
    return library;
}
