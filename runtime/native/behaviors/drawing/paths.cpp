// GraphicsPath: its figures, hit tests, and the steps that turn it into polygons.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::FillMode;
using api::WarpMode;

namespace {

constexpr float kFlatness = 0.25F;

Ref<PathObject> from_figures(const VariantArg* figures) {
    auto path = make_ref<PathObject>();
    path->figures = read_objects<FigureObject>(figures, "figures");
    return path;
}
Ref<PathObject> from_figures_and_mode(const VariantArg* figures, FillMode fill_mode) {
    auto path = from_figures(figures);
    set_property(*path, "FillMode", fill_mode);
    return path;
}

// ---- Figures

Collection figures(PathObject& self) {
    return {Ref<ManagedObject>(object_array(api::Figure::kType, self.figures))};
}
void add_figure(PathObject& self, FigureObject* figure) {
    self.figures.emplace_back(&required(figure, "figure"));
}
void add_figures(PathObject& self, const VariantArg* figures) {
    for (auto& figure : read_objects<FigureObject>(figures, "figures")) {
        self.figures.push_back(std::move(figure));
    }
}
void remove(PathObject& self, const FigureObject& figure) {
    const auto found =
        std::find_if(self.figures.begin(), self.figures.end(), [&](const auto& held) { return held.get() == &figure; });
    if (found != self.figures.end()) {
        self.figures.erase(found);
    }
}
void remove_figure(PathObject& self, FigureObject* figure) {
    remove(self, required(figure, "figure"));
}
void remove_figures(PathObject& self, const VariantArg* figures) {
    for (const auto& figure : read_objects<FigureObject>(figures, "figures")) {
        remove(self, *figure);
    }
}

// Connecting adds the shapes of the other path's first figure to the last figure of this path, unless that is closed.
void add_connected_path(PathObject& self, PathObject* other, bool connect) {
    std::vector<Ref<FigureObject>> added = required(other, "adding_path").figures;
    if (connect && !added.empty() && !self.figures.empty() && !property_bool(*self.figures.back(), "IsClosed")) {
        auto& last = self.figures.back()->shapes;
        const auto shapes = added.front()->shapes;
        last.insert(last.end(), shapes.begin(), shapes.end());
        added.erase(added.begin());
    }
    self.figures.insert(self.figures.end(), added.begin(), added.end());
}
void add_path(PathObject& self, PathObject* other) {
    add_connected_path(self, other, false);
}

void reset_path(PathObject& self) {
    self.figures.clear();
    set_property(self, "FillMode", FillMode::kAlternate);
}
void reverse(PathObject& self) {
    std::reverse(self.figures.begin(), self.figures.end());
    for (const auto& figure : self.figures) {
        figure->reverse();
    }
}
Ref<ManagedObject> copy_path(PathObject& self) {
    return self.copy();
}

// ---- Into polygons

void flatten_to(PathObject& self, MatrixObject* matrix, float flatness) {
    self.become(flattened(transformed(self.outline(), map_of(matrix)), flatness));
}
void flatten_under(PathObject& self, MatrixObject* matrix) {
    flatten_to(self, matrix, kFlatness);
}
void flatten(PathObject& self) {
    flatten_to(self, nullptr, kFlatness);
}

void widen_to(PathObject& self, Record* pen, MatrixObject* matrix, float flatness) {
    self.become(widened(transformed(self.outline(), map_of(matrix)), pen_shape(required(pen, "pen")), flatness));
    set_property(self, "FillMode", FillMode::kWinding);  // the polygons overlap
}
void widen_under(PathObject& self, Record* pen, MatrixObject* matrix) {
    widen_to(self, pen, matrix, kFlatness);
}
void widen(PathObject& self, Record* pen) {
    widen_to(self, pen, nullptr, kFlatness);
}

// Where the point (u, v) of the unit square goes.
class Warping {
 public:
    Warping(std::vector<PointD> to, bool perspective) : m_to(std::move(to)) {
        if (m_to.size() == 3) {
            m_to.push_back(m_to[1] + m_to[2] - m_to[0]);
        }
        if (m_to.size() != 4) {
            throw_argument("A path is warped to three or four points. (Parameter 'dest_points')");
        }
        if (!perspective) {
            return;
        }
        const PointD a = m_to[1] - m_to[3], b = m_to[2] - m_to[3], s = m_to[0] - m_to[1] - m_to[2] + m_to[3];
        const double det = a.x * b.y - b.x * a.y;
        if (det == 0) {
            throw_argument("The points to warp to lie in one line. (Parameter 'dest_points')");
        }
        m_g = (s.x * b.y - b.x * s.y) / det;
        m_h = (a.x * s.y - s.x * a.y) / det;
        m_perspective = true;
    }
    PointD operator()(double u, double v) const {
        if (!m_perspective) {
            return m_to[0] * ((1 - u) * (1 - v)) + m_to[1] * (u * (1 - v)) + m_to[2] * ((1 - u) * v) +
                   m_to[3] * (u * v);
        }
        const PointD p = m_to[0] + (m_to[1] - m_to[0] + m_to[1] * m_g) * u + (m_to[2] - m_to[0] + m_to[2] * m_h) * v;
        return p * (1 / (m_g * u + m_h * v + 1));
    }

 private:
    std::vector<PointD> m_to;  // left top, right top, left bottom, right bottom
    bool m_perspective = false;
    double m_g = 0, m_h = 0;
};

// Long lines bend under a warping, so that they are cut into short ones first.
Outline warped(const Outline& lines, const Warping& warping, const RectD& from) {
    constexpr int kPieces = 16;
    Outline result;
    for (const Contour& contour : lines) {
        std::vector<PointD> points;
        const auto add = [&](PointD p) {
            points.push_back(warping((p.x - from.x) / from.width, (p.y - from.y) / from.height));
        };
        add(contour.start);
        PointD at = contour.start;
        const auto line_to = [&](PointD end) {
            for (int i = 1; i <= kPieces; ++i) {
                add(at + (end - at) * (static_cast<double>(i) / kPieces));
            }
            at = end;
        };
        for (const Segment& segment : contour.segments) {
            line_to(segment.end);
        }
        if (contour.closed && at != contour.start) {
            line_to(contour.start);
        }
        result.push_back(polygon_contour(points, contour.closed));
    }
    return result;
}

void warp_flat(PathObject& self, PointsArg to, RectArg from, MatrixObject* matrix, WarpMode mode, float flatness) {
    if (from.width == 0 || from.height == 0) {
        throw_argument("The rectangle to warp from is empty. (Parameter 'src_rect')");
    }
    const Outline lines = flattened(self.outline(), flatness);
    self.become(
        transformed(warped(lines, Warping(std::move(to.items), mode == WarpMode::kPerspective), from), map_of(matrix)));
}
void warp_by(PathObject& self, PointsArg to, RectArg from, MatrixObject* matrix, WarpMode mode) {
    warp_flat(self, std::move(to), from, matrix, mode, kFlatness);
}
void warp_under(PathObject& self, PointsArg to, RectArg from, MatrixObject* matrix) {
    warp_flat(self, std::move(to), from, matrix, WarpMode::kPerspective, kFlatness);
}
void warp(PathObject& self, PointsArg to, RectArg from) {
    warp_flat(self, std::move(to), from, nullptr, WarpMode::kPerspective, kFlatness);
}

// ---- Hit tests. The graphics is ignored: points and paths are both in world coordinates.

bool hits(PathObject& self, PointD point) {
    return contains(self.outline(), self.fill_rule(), point);
}
bool hits_outline(PathObject& self, PointD point, const Record* pen) {
    const PenShape shape = pen_shape(required(pen, "pen"));
    return contains(widened(self.outline(), shape, kFlatness / 10), FillRule::kWinding, point);
}
template <class N>
bool is_visible_xy(PathObject& self, N x, N y) {
    return hits(self, {double(x), double(y)});
}
bool is_visible(PathObject& self, PointArg point) {
    return hits(self, point);
}
template <class N>
bool is_visible_xy_in(PathObject& self, N x, N y, Record*) {
    return hits(self, {double(x), double(y)});
}
bool is_visible_in(PathObject& self, PointArg point, Record*) {
    return hits(self, point);
}
template <class N>
bool is_outline_visible_xy(PathObject& self, N x, N y, Record* pen) {
    return hits_outline(self, {double(x), double(y)}, pen);
}
bool is_outline_visible(PathObject& self, PointArg point, Record* pen) {
    return hits_outline(self, point, pen);
}
template <class N>
bool is_outline_visible_xy_in(PathObject& self, N x, N y, Record* pen, Record*) {
    return hits_outline(self, {double(x), double(y)}, pen);
}
bool is_outline_visible_in(PathObject& self, PointArg point, Record* pen, Record*) {
    return hits_outline(self, point, pen);
}

using PathApi = api::GraphicsPath;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_figures, PathApi::ctor_001_GraphicsPath>(),
    behavior<&from_figures_and_mode, PathApi::ctor_002_GraphicsPath>(),
    behavior<&figures, PathApi::get_Figures>(),
    behavior<&add_figure, PathApi::call_000_AddFigure>(),
    behavior<&add_figures, PathApi::call_000_AddFigures>(),
    behavior<&remove_figure, PathApi::call_000_RemoveFigure>(),
    behavior<&remove_figures, PathApi::call_000_RemoveFigures>(),
    behavior<&add_path, PathApi::call_000_AddPath>(),
    behavior<&add_connected_path, PathApi::call_001_AddPath>(),
    behavior<&reset_path, PathApi::call_000_Reset>(),
    behavior<&reverse, PathApi::call_000_Reverse>(),
    behavior<&copy_path, PathApi::call_000_DeepClone>(),
    behavior<&flatten, PathApi::call_000_Flatten>(),
    behavior<&flatten_under, PathApi::call_001_Flatten>(),
    behavior<&flatten_to, PathApi::call_002_Flatten>(),
    behavior<&widen, PathApi::call_000_Widen>(),
    behavior<&widen_under, PathApi::call_001_Widen>(),
    behavior<&widen_to, PathApi::call_002_Widen>(),
    behavior<&warp, PathApi::call_000_Warp>(),
    behavior<&warp_under, PathApi::call_001_Warp>(),
    behavior<&warp_by, PathApi::call_002_Warp>(),
    behavior<&warp_flat, PathApi::call_003_Warp>(),
    behavior<&is_visible_xy<float>, PathApi::call_000_IsVisible, PathApi::call_000_IsVisibleXyf>(),
    behavior<&is_visible, PathApi::call_001_IsVisible, PathApi::call_003_IsVisible, PathApi::call_000_IsVisiblePointF,
             PathApi::call_000_IsVisiblePoint>(),
    behavior<&is_visible_xy<int32_t>, PathApi::call_002_IsVisible, PathApi::call_000_IsVisibleXy>(),
    behavior<&is_visible_xy_in<float>, PathApi::call_004_IsVisible, PathApi::call_000_IsVisibleXyfGraphics>(),
    behavior<&is_visible_in, PathApi::call_005_IsVisible, PathApi::call_007_IsVisible,
             PathApi::call_000_IsVisiblePointFGraphics, PathApi::call_000_IsVisiblePointGraphics>(),
    behavior<&is_visible_xy_in<int32_t>, PathApi::call_006_IsVisible, PathApi::call_000_IsVisibleXyGraphics>(),
    behavior<&is_outline_visible_xy<float>, PathApi::call_000_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisibleXyf>(),
    behavior<&is_outline_visible, PathApi::call_001_IsOutlineVisible, PathApi::call_005_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisiblePointF, PathApi::call_000_IsOutlineVisiblePoint>(),
    behavior<&is_outline_visible_xy_in<float>, PathApi::call_002_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisibleXyfGraphics>(),
    behavior<&is_outline_visible_in, PathApi::call_003_IsOutlineVisible, PathApi::call_007_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisiblePointFGraphics, PathApi::call_000_IsOutlineVisiblePointGraphics>(),
    behavior<&is_outline_visible_xy<int32_t>, PathApi::call_004_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisibleXy>(),
    behavior<&is_outline_visible_xy_in<int32_t>, PathApi::call_006_IsOutlineVisible,
             PathApi::call_000_IsOutlineVisibleXyGraphics>(),
});

const FactoryRegistration ZELMOR_UNNAMED(PathObject::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<PathObject>(type);
});

}  // namespace

}  // namespace zelmor::embed
