// A canvas on which flood fills can be worked out: it passes everything on to another canvas, and keeps the picture
// that comes about in pixels without smoothing.
//
// A flood fill depends on the pixels that are there. A canvas of lines and text has none, one over pixels may be a
// part of the page only, and smoothed lines have no color that a fill could stop at.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_PAPER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_PAPER_H

#include <functional>
#include <memory>

#include "runtime/native/drawwork/copying_canvas.h"
#include "runtime/native/formats/metafile/player/canvas_clip.h"

namespace zelmor::embed::metafile {

enum class FloodLimit { kBorder, kSurface };  // by the numbers that files have: up to a color, or as far as it reaches

class FloodPaper final : public drawwork::Canvas, public drawwork::CopyingCanvas {
 public:
    // The paper is white and covers the picture.
    FloodPaper(drawwork::Canvas& target, const DeviceSpace& space);

    // Calls the function with outlines on the canvas, which together are the area around a place on the canvas that a
    // flood fill covers within the regions. MetafileError for a file whose fills take too long to work out.
    void flood(PointD at, drawwork::Argb color, FloodLimit limit, const std::vector<RegionTree>& clip,
               const std::function<void(const drawwork::Outline&)>& use);

    void save() override;
    void restore() override;
    void unclip() override;
    void clip(const drawwork::Outline& outline, drawwork::FillRule rule, bool smooth) override;
    void fill(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& paint,
              bool smooth) override;
    void stroke(const drawwork::Outline& outline, const drawwork::Stroke& stroke, const drawwork::Paint& paint,
                bool smooth) override;
    void clear(drawwork::Argb color) override;
    void text(const drawwork::TextLayout& layout, const Affine& placing, const drawwork::Paint& paint) override;
    void begin_group() override;
    void end_group(double opacity, drawwork::Blend blend) override;
    bool combine(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& pattern,
                 const drawwork::Paint& source, uint8_t operation) override;
    void set_copying(bool copies) override;
    bool is_screen() const override { return m_target.is_screen(); }

 private:
    drawwork::Paint on_paper(const drawwork::Paint& paint) const;

    drawwork::Canvas& m_target;
    DeviceSpace m_space;
    Affine m_to_paper;  // from the other canvas
    drawwork::PixelArea m_area;
    std::unique_ptr<drawwork::PixelCanvas> m_paper;
    uint64_t m_looked_at = 0;  // pixels
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_PAPER_H
