// A canvas that writes a script for the canvas element of HTML.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_HTML5CANVAS_SCRIPT_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_HTML5CANVAS_SCRIPT_CANVAS_H

#include <functional>
#include <string>
#include <vector>

#include "runtime/native/drawwork/texture_tile.h"
#include "runtime/native/drawwork/written_canvas.h"

namespace zelmor::embed {

struct ScriptSettings {
    double width = 0, height = 0;  // of the picture, in pixels
    std::string element_id;        // of the canvas element
    // The data URI of a picture.
    std::function<std::string(std::span<const drawwork::Argb> pixels, int32_t width, int32_t height)> address_of;
};

// The script draws with one context, `c`, whose space is that of the canvas element. Pictures are loaded first, as the
// elements of `images`.
class ScriptCanvas final : public drawwork::WrittenCanvas {
 public:
    ScriptCanvas(drawwork::Backend& backend, ScriptSettings settings);

    void fill(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& paint,
              bool smooth) override;
    void stroke(const drawwork::Outline& outline, const drawwork::Stroke& stroke, const drawwork::Paint& paint,
                bool smooth) override;
    void clear(drawwork::Argb color) override;
    void text(const drawwork::TextLayout& layout, const drawwork::Affine& placing,
              const drawwork::Paint& paint) override;

    // The canvas element and the script, in ASCII. Nothing is drawn afterwards.
    std::string finish();

 private:
    void open_clip(const Clip& clip) override;
    void close_clip() override;
    void open_group() override;
    void close_group(double opacity, drawwork::Blend blend) override;

    void path(const drawwork::Outline& outline);
    size_t image(const drawwork::TextureTile& tile);
    // Makes the paint, which is in the space that the context has, its "fillStyle" or "strokeStyle".
    void set_style(const char* style, const drawwork::Paint& paint, const drawwork::RectD& reach);
    void draw_image(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::TextureTile& tile,
                    const drawwork::Paint& paint);
    void transform(const drawwork::Affine& map);

    drawwork::Backend& m_backend;
    ScriptSettings m_settings;
    std::string m_script;
    std::vector<std::string> m_images;
};

// The text, in UTF-8, as a literal of the script; it has the characters of ASCII alone and may stand in HTML.
std::string script_literal(const std::string& text);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_HTML5CANVAS_SCRIPT_CANVAS_H
