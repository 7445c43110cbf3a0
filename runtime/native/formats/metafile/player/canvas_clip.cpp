// The clip that records set on a canvas.
#include "runtime/native/formats/metafile/player/canvas_clip.h"

#include <algorithm>

#include "runtime/native/behaviors/drawing/graphics.h"

namespace zelmor::embed::metafile {

CanvasClip::CanvasClip(drawwork::Canvas& canvas, const DeviceSpace& space, bool smooth)
    : m_canvas(canvas), m_space(space), m_smooth(smooth) {
    m_canvas.save();
}
CanvasClip::~CanvasClip() {
    m_canvas.restore();
}

void CanvasClip::use(std::vector<RegionTree> regions) {
    std::erase_if(regions, [](const RegionTree& region) { return region->kind == RegionNode::Kind::kInfinite; });
    if (regions == m_regions) {
        return;
    }
    m_canvas.restore();
    m_canvas.save();
    m_regions = std::move(regions);
    for (const RegionTree& region : m_regions) {
        const RegionOutline cut = outline_of(region, around_picture(m_space));
        m_canvas.clip(transformed(cut.outline, m_space.to_canvas), cut.rule, m_smooth);
    }
}

RectD around_picture(const DeviceSpace& space) {
    const RectD& bounds = space.bounds;
    const double around = std::max({bounds.width, bounds.height, 1000.0});
    return {bounds.x - around, bounds.y - around, bounds.width + 2 * around, bounds.height + 2 * around};
}

}  // namespace zelmor::embed::metafile
