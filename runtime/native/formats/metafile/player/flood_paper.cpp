// Drawing on two canvases at once, and finding the areas of flood fills on one of them.
#include "runtime/native/formats/metafile/player/flood_paper.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/metafile_file.h"
#include "runtime/native/formats/metafile/player/flood_area.h"

namespace zelmor::embed::metafile {

namespace {

using drawwork::Argb;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;

constexpr double kMostPaperPixels = 16e6, kLongestPaper = 30'000;  // of the paper
constexpr uint64_t kMostLookedAt = 4'000'000'000;                  // pixels, by all flood fills of a picture
constexpr double kFiner = 2;                                       // pixels in a unit of a canvas without any

}  // namespace

FloodPaper::FloodPaper(drawwork::Canvas& target, const DeviceSpace& space) : m_target(target), m_space(space) {
    const std::vector<PointD> corners{space.to_canvas.apply({space.bounds.x, space.bounds.y}),
                                      space.to_canvas.apply({space.bounds.right(), space.bounds.y}),
                                      space.to_canvas.apply({space.bounds.x, space.bounds.bottom()}),
                                      space.to_canvas.apply({space.bounds.right(), space.bounds.bottom()})};
    const RectD box = bounds_of(corners);
    double scale = dynamic_cast<drawwork::PixelCanvas*>(&target) != nullptr ? 1 : kFiner;
    scale = std::min({scale, std::sqrt(kMostPaperPixels / std::max(box.width * box.height, 1.0)),
                      kLongestPaper / std::max({box.width, box.height, 1.0})});
    m_to_paper = Affine::scaling(scale, scale);
    const auto first = [&](double side) { return static_cast<int32_t>(std::floor(std::clamp(side, -1e6, 1e6))); };
    m_area.x = first(box.x * scale);
    m_area.y = first(box.y * scale);
    m_area.width = std::max(first(std::ceil(box.right() * scale)) - m_area.x, 1);
    m_area.height = std::max(first(std::ceil(box.bottom() * scale)) - m_area.y, 1);
    m_paper = drawing_backend().canvas(m_area, kWhite);
}

void FloodPaper::flood(PointD at, Argb color, FloodLimit limit, const std::vector<RegionTree>& clip,
                       const std::function<void(const Outline&)>& use) {
    constexpr Argb kColors = 0xFFFFFF;
    const auto size = static_cast<size_t>(m_area.width) * static_cast<size_t>(m_area.height);
    m_looked_at += size;
    if (m_looked_at > kMostLookedAt) {
        throw MetafileError("the flood fills of the file take too long to work out");
    }
    std::vector<uint8_t> open(size);
    {
        const std::vector<Argb> colors = m_paper->pixels();
        std::transform(colors.begin(), colors.end(), open.begin(), [&](Argb there) {
            return uint8_t(((there ^ color) & kColors) == 0) == uint8_t(limit == FloodLimit::kSurface);
        });
    }
    const bool cut = std::any_of(clip.begin(), clip.end(),
                                 [](const RegionTree& region) { return region->kind != RegionNode::Kind::kInfinite; });
    if (cut) {
        const auto shape = drawing_backend().canvas(m_area, 0);
        DeviceSpace space = m_space;
        space.to_canvas = space.to_canvas.then(m_to_paper);
        {
            CanvasClip cutting(*shape, space, false);
            cutting.use(clip);
            shape->clear(kWhite);
        }
        const std::vector<Argb> shown = shape->pixels();
        std::transform(open.begin(), open.end(), shown.begin(), open.begin(),
                       [](uint8_t is_open, Argb there) { return is_open != 0 && there != 0; });
    }
    const PointD start = m_to_paper.apply(at);
    const auto index = [](double place) { return static_cast<int32_t>(std::floor(std::clamp(place, -1e6, 1e6))); };
    const FloodArea area =
        FloodArea::reached(m_area.width, m_area.height, open, index(start.x) - m_area.x, index(start.y) - m_area.y);
    const auto back = Affine::translation(m_area.x, m_area.y).then(*m_to_paper.inverse());
    area.for_outlines([&](const Outline& outline) { use(transformed(outline, back)); });
}

Paint FloodPaper::on_paper(const Paint& paint) const {
    Paint placed = paint;
    placed.placing = placed.placing.then(m_to_paper);
    return placed;
}

void FloodPaper::save() {
    m_target.save();
    m_paper->save();
}
void FloodPaper::restore() {
    m_target.restore();
    m_paper->restore();
}
void FloodPaper::unclip() {
    m_target.unclip();
    m_paper->unclip();
}

void FloodPaper::clip(const Outline& outline, FillRule rule, bool smooth) {
    m_target.clip(outline, rule, smooth);
    m_paper->clip(transformed(outline, m_to_paper), rule, false);
}
void FloodPaper::fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) {
    m_target.fill(outline, rule, paint, smooth);
    m_paper->fill(transformed(outline, m_to_paper), rule, on_paper(paint), false);
}
void FloodPaper::stroke(const Outline& outline, const drawwork::Stroke& stroke, const Paint& paint, bool smooth) {
    m_target.stroke(outline, stroke, paint, smooth);
    drawwork::Stroke placed = stroke;
    placed.nib = placed.nib.then(m_to_paper);
    m_paper->stroke(transformed(outline, m_to_paper), placed, on_paper(paint), false);
}
void FloodPaper::clear(Argb color) {
    m_target.clear(color);
    m_paper->clear(color);
}
void FloodPaper::text(const drawwork::TextLayout& layout, const Affine& placing, const Paint& paint) {
    m_target.text(layout, placing, paint);
    drawwork::TextLayout sharp = layout;
    sharp.smooth = false;
    m_paper->text(sharp, placing.then(m_to_paper), on_paper(paint));
}

void FloodPaper::begin_group() {
    m_target.begin_group();
    m_paper->begin_group();
}
void FloodPaper::end_group(double opacity, drawwork::Blend blend) {
    m_target.end_group(opacity, blend);
    m_paper->end_group(opacity, blend);
}

bool FloodPaper::combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                         uint8_t operation) {
    if (!m_target.combine(outline, rule, pattern, source, operation)) {
        return false;  // the caller draws something else instead, here too
    }
    m_paper->combine(transformed(outline, m_to_paper), rule, on_paper(pattern), on_paper(source), operation);
    return true;
}

void FloodPaper::set_copying(bool copies) {
    for (drawwork::Canvas* canvas : {&m_target, static_cast<drawwork::Canvas*>(m_paper.get())}) {
        if (auto* copying = dynamic_cast<drawwork::CopyingCanvas*>(canvas)) {
            copying->set_copying(copies);
        }
    }
}

}  // namespace zelmor::embed::metafile
