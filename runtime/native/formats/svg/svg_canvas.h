// A canvas that writes an SVG document.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_CANVAS_H

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/drawwork/texture_tile.h"
#include "runtime/native/drawwork/written_canvas.h"

namespace zelmor::embed {

// A picture as the document refers to it: the address of a file, or a data URI that holds it.
using PictureAddress =
    std::function<std::string(std::span<const drawwork::Argb> pixels, int32_t width, int32_t height)>;

struct SvgCanvasSettings {
    double width = 0, height = 0;  // of the picture, in pixels
    bool text_as_shapes = false;
    bool gray = false;  // all colors become gray
    PictureAddress address_of;
    std::string name_prefix = {};  // of what is defined, for a document that becomes a part of another
};

class SvgCanvas final : public drawwork::WrittenCanvas {
 public:
    SvgCanvas(drawwork::Backend& backend, SvgCanvasSettings settings);

    void fill(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& paint,
              bool smooth) override;
    void stroke(const drawwork::Outline& outline, const drawwork::Stroke& stroke, const drawwork::Paint& paint,
                bool smooth) override;
    void clear(drawwork::Argb color) override;
    void text(const drawwork::TextLayout& layout, const drawwork::Affine& placing,
              const drawwork::Paint& paint) override;

    // The document. Nothing is drawn afterwards.
    std::string finish();

 private:
    void open_clip(const Clip& clip) override;
    void close_clip() override;
    void open_group() override;
    void close_group(double opacity, drawwork::Blend blend) override;

    drawwork::Argb shown(drawwork::Argb color) const;
    std::string stops_of(const drawwork::Paint& paint, bool backwards) const;
    std::string define(const std::string& prefix, const std::string& name, const std::string& rest);
    std::string gradient(const drawwork::Paint& paint);
    std::string pattern(const drawwork::Paint& paint, const drawwork::RectD& reach);
    std::string image(const drawwork::TextureTile& tile, drawwork::Sampling sampling);
    // The attributes of the paint for "fill" or "stroke".
    std::string painted(const char* key, const drawwork::Paint& paint, const drawwork::RectD& reach);
    void fill_with_picture(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::TextureTile& tile,
                           const drawwork::Paint& paint, bool smooth);

    drawwork::Backend& m_backend;
    SvgCanvasSettings m_settings;
    std::string m_definitions, m_body;
    std::map<std::string, std::string> m_names;  // of definitions, by their text
    std::vector<size_t> m_groups;                // where the attributes of open groups belong
};

// Path data of the outline, for SVG.
std::string path_data(const drawwork::Outline& outline);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_CANVAS_H
