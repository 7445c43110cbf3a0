// Paths: outlines that are gathered between two records, and then drawn or made a clip.
#include <algorithm>

#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

namespace {

constexpr double kPathFlatness = 0.05;

RegionOperation operation_of(RegionMode mode) {
    switch (mode) {
        case RegionMode::kOr:
            return RegionOperation::kUnion;
        case RegionMode::kXor:
            return RegionOperation::kXor;
        case RegionMode::kDiff:
            return RegionOperation::kExclude;
        default:
            return RegionOperation::kIntersect;
    }
}

}  // namespace

void Device::begin_path() {
    m_path.clear();
    m_path_open = true;
    m_contour_open = false;
}
void Device::end_path() {
    m_path_open = false;
    m_contour_open = false;
}
void Device::abort_path() {
    m_path.clear();
    end_path();
}

void Device::close_figure() {
    if (!m_path_open || m_path.empty()) {
        return;
    }
    m_path.back().closed = true;
    m_contour_open = false;
    if (const auto back = map().inverse()) {
        state.position = back->apply(m_path.back().start);
    }
}

void Device::flatten_path() {
    m_path = flattened(m_path, kPathFlatness);
}

void Device::widen_path() {
    const Affine map = this->map();
    PenShape pen;
    pen.nib = map;
    pen.nib.dx = pen.nib.dy = 0;
    const double scale = pen.nib.mean_scale();
    const double least = scale > 0 ? 1 / scale : 1;
    pen.width = state.pen.cosmetic ? least : std::max(state.pen.width, least);
    pen.join = state.pen.join == drawwork::StrokeJoin::kRound   ? Join::kRound
               : state.pen.join == drawwork::StrokeJoin::kBevel ? Join::kBevel
                                                                : Join::kMiter;
    pen.start_cap = pen.end_cap = state.pen.cap == drawwork::StrokeCap::kRound    ? EndCap::kRound
                                  : state.pen.cap == drawwork::StrokeCap::kSquare ? EndCap::kSquare
                                                                                  : EndCap::kFlat;
    pen.miter_limit = state.miter_limit;
    m_path = widened(m_path, pen, kPathFlatness);
}

void Device::draw_path(bool fills, bool strokes) {
    end_path();
    const Outline path = std::exchange(m_path, {});
    if (fills) {
        fill(path, state.rule, state.brush);
    }
    if (strokes) {
        Outline lines = path;
        if (fills) {
            for (Contour& contour : lines) {
                contour.closed = true;
            }
        }
        stroke(lines, state.pen);
    }
}

void Device::clip_to_path(RegionMode mode) {
    end_path();
    Outline path = std::exchange(m_path, {});
    for (Contour& contour : path) {
        contour.closed = true;
    }
    const RegionTree region = region_of(std::move(path), state.rule);
    state.clip = mode == RegionMode::kCopy ? region : changed_clip(state.clip, region, operation_of(mode));
}

void Device::select_region(const std::vector<RectD>* rects, RegionMode mode) {
    RegionTree region = infinite_region();
    if (rects != nullptr) {
        Outline outline;
        for (const RectD& rect : *rects) {
            if (rect.width > 0 && rect.height > 0) {
                outline.push_back(rectangle_contour(rect));
            }
        }
        region = outline.empty() ? empty_region() : region_of(std::move(outline), FillRule::kWinding);
    } else if (mode != RegionMode::kCopy) {
        return;
    }
    state.clip = mode == RegionMode::kCopy ? region : changed_clip(state.clip, region, operation_of(mode));
}

}  // namespace zelmor::embed::metafile
