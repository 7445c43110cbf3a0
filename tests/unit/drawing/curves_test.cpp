// Curves: arcs, bounds, and flattening, beside points that are computed by other formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>

#include "runtime/native/behaviors/drawing/outlines.h"

namespace zelmor::embed {
namespace {

TEST(CurveTest, BoundsAreThoseOfTheCurveNotOfItsHandles) {
    const std::vector<PointD> points{{0, 0}, {0, 10}, {10, 10}, {10, 0}};
    const RectD bounds = bounds_of(Outline{bezier_contour(points, false)});
    EXPECT_DOUBLE_EQ(bounds.height, 7.5);
    EXPECT_DOUBLE_EQ(bounds.width, 10);
    EXPECT_EQ(bounds_of(Outline{}).width, 0);
}

TEST(CurveTest, FlatteningStaysWithinItsTolerance) {
    const Contour circle = ellipse_contour({-100, -100, 200, 200});
    for (const double flatness : {1.0, 0.1, 0.01}) {
        const std::vector<PointD> points = flattened(circle, flatness);
        for (size_t i = 0; i + 1 < points.size(); ++i) {
            const double middle = ((points[i] + points[i + 1]) * 0.5).length();
            EXPECT_NEAR(middle, 100, flatness + 0.03);
        }
    }
}

// The point of a contour's segment at t, by repeated division of its control polygon.
PointD divided(PointD from, const Segment& s, double t) {
    std::vector<PointD> points{from, s.control1, s.control2, s.end};
    while (points.size() > 1) {
        for (size_t i = 0; i + 1 < points.size(); ++i) {
            points[i] = points[i] * (1 - t) + points[i + 1] * t;
        }
        points.pop_back();
    }
    return points[0];
}

// Curves of all kinds: drawn at random, with a coordinate that goes straight or by a parabola, and with loops.
std::vector<Contour> some_curves() {
    std::mt19937 draw(5);
    std::uniform_real_distribution<double> number(-40, 60);
    std::vector<Contour> curves;
    for (int i = 0; i < 200; ++i) {
        std::vector<PointD> points;
        for (int j = 0; j < 4; ++j) {
            points.push_back({number(draw), number(draw)});
        }
        const PointD way = points[3] - points[0];
        if (i % 4 == 1) {  // x goes straight
            points[1].x = points[0].x + way.x / 3;
            points[2].x = points[0].x + way.x * 2 / 3;
        } else if (i % 4 == 2) {  // y is a parabola
            const double top = number(draw);
            points[1].y = points[0].y + (top - points[0].y) * 2 / 3;
            points[2].y = points[3].y + (top - points[3].y) * 2 / 3;
        } else if (i % 4 == 3) {  // x does not change
            points[1].x = points[2].x = points[3].x = points[0].x;
        }
        curves.push_back(bezier_contour(points, false));
    }
    return curves;
}

TEST(CurveTest, BoundsAreThoseOfManyPointsOnTheCurve) {
    std::vector<Contour> curves = some_curves();
    const size_t count = curves.size();
    for (size_t i = 0; i < count; i += 4) {  // small ones, whose third differences are small as well
        for (const double scale : {0.1, 0.01, 0.001}) {
            curves.push_back(transformed({curves[i]}, Affine::scaling(scale, scale))[0]);
        }
    }
    // A parabola from 0 to 0 whose second difference is one.
    curves.push_back(bezier_contour(std::vector<PointD>{{0, 0}, {1, -0.5}, {2, -0.5}, {3, 0}}, false));
    for (const Contour& curve : curves) {
        const RectD bounds = bounds_of(Outline{curve});
        double x1 = 1e9, y1 = 1e9, x2 = -1e9, y2 = -1e9;
        for (int i = 0; i <= 2000; ++i) {
            const PointD p = divided(curve.start, curve.segments[0], i / 2000.0);
            x1 = std::min(x1, p.x);
            y1 = std::min(y1, p.y);
            x2 = std::max(x2, p.x);
            y2 = std::max(y2, p.y);
        }
        const double least = 1e-5 * (x2 - x1 + y2 - y1);
        EXPECT_NEAR(bounds.x, x1, least);
        EXPECT_NEAR(bounds.y, y1, least);
        EXPECT_NEAR(bounds.right(), x2, least);
        EXPECT_NEAR(bounds.bottom(), y2, least);
    }
}

TEST(CurveTest, BoundsAreThoseOfAllParts) {
    const std::vector<Contour> curves = some_curves();
    for (size_t i = 0; i + 3 < curves.size(); i += 3) {
        // Two curves that are joined, a third one beside them, and the corners of their bounds as points.
        Contour joined = curves[i];
        joined.segments.push_back(curves[i + 1].segments[0]);
        Contour second = curves[i + 1];
        second.start = joined.segments[0].end;
        std::vector<PointD> corners;
        for (const Contour& part : {curves[i], second, curves[i + 2]}) {
            const RectD bounds = bounds_of(Outline{part});
            corners.push_back({bounds.x, bounds.y});
            corners.push_back({bounds.right(), bounds.bottom()});
        }
        const RectD all = bounds_of(Outline{joined, curves[i + 2]}), expected = bounds_of(corners);
        EXPECT_NEAR(all.x, expected.x, 1e-9);
        EXPECT_NEAR(all.y, expected.y, 1e-9);
        EXPECT_NEAR(all.width, expected.width, 1e-9);
        EXPECT_NEAR(all.height, expected.height, 1e-9);
        EXPECT_GT(expected.width, 0);
    }
    const RectD two = bounds_of(std::vector<PointD>{{5, -7}, {-3, 20}});
    EXPECT_EQ(std::make_pair(two.x, two.y), std::make_pair(-3.0, -7.0));
    EXPECT_EQ(std::make_pair(two.width, two.height), std::make_pair(8.0, 27.0));
    EXPECT_EQ(bounds_of(std::vector<PointD>{}).width, 0);
}

TEST(CurveTest, FlatteningTakesPointsOfTheCurveAtEqualDistancesOfItsParameter) {
    for (const Contour& curve : some_curves()) {
        const Segment& s = curve.segments[0];
        for (const double flatness : {5.0, 0.5, 0.02}) {
            const std::vector<PointD> points = flattened(curve, flatness);
            const auto parts = static_cast<double>(points.size() - 1);
            for (size_t i = 0; i < points.size(); ++i) {
                const PointD expected = divided(curve.start, s, static_cast<double>(i) / parts);
                ASSERT_NEAR(points[i].x, expected.x, 1e-9);
                ASSERT_NEAR(points[i].y, expected.y, 1e-9);
            }
            // The distance from a chord is at most an eighth of the second derivative, which is six second differences.
            const double bend = std::max((curve.start - s.control1 * 2 + s.control2).length(),
                                         (s.control1 - s.control2 * 2 + s.end).length());
            EXPECT_EQ(parts, std::max(1.0, std::ceil(std::sqrt(6 * bend / 8 / flatness))));
        }
    }
}

TEST(CurveTest, FlatteningIsBounded) {
    const Contour curve = bezier_contour(std::vector<PointD>{{0, 0}, {1e6, 1e7}, {-1e7, 1e6}, {5, 5}}, false);
    EXPECT_EQ(flattened(curve, 0).size(), 1001U);
    const double nowhere = std::numeric_limits<double>::quiet_NaN();
    for (const double far : {nowhere, std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(flattened(bezier_contour(std::vector<PointD>{{0, 0}, {far, 1}, {2, 2}, {3, 3}}, false), 1).size(),
                  2U);
    }
    // A small curve without a tolerance has the parts that one of a millionth needs.
    const Contour small = bezier_contour(std::vector<PointD>{{0, 0}, {0, 0}, {0, 0.001}, {0, 0.001}}, false);
    EXPECT_EQ(flattened(small, 0).size(), flattened(small, 1e-6).size());
    EXPECT_EQ(flattened(small, 1e-6).size(), 29U);  // the root of 750, and one point more
    // Straight lines have their ends only, whatever curves are beside them.
    const Outline both{polygon_contour(std::vector<PointD>{{0, 0}, {9, 9}, {9, 0}}, true), curve};
    const Outline flat = flattened(both, 1e9);
    ASSERT_EQ(flat.size(), 2U);
    EXPECT_TRUE(flat[0].closed);
    EXPECT_FALSE(flat[1].closed);
    EXPECT_EQ(flat[0].segments.size(), 2U);
    EXPECT_EQ(flat[1].segments.size(), 1U);
}

// Degrees from the center of a rectangle to a point, clockwise, in the turn that begins at `least`.
double seen_from_center(const RectD& rect, PointD p, double least) {
    const PointD d = p - rect.center();
    const double degrees = std::atan2(d.y, d.x) * 180 / M_PI;
    return degrees + 360 * std::ceil((least - degrees) / 360 - 1e-9);
}

TEST(CurveTest, ArcsGoFromAngleToAngleOnTheEllipse) {
    for (const RectD& rect : {RectD{0, 0, 20, 20}, RectD{-5, 7, 60, 20}, RectD{3, -9, 10, 45}}) {
        for (double start = -450; start <= 450; start += 37.5) {
            for (const double sweep :
                 {-359.0, -270.0, -91.0, -90.0, -30.0, 10.0, 45.0, 90.0, 135.0, 180.0, 200.0, 300.0}) {
                const Contour arc = arc_contour(rect, start, sweep, sweep > 0);
                EXPECT_EQ(arc.closed, sweep > 0);
                const PointD ends[] = {arc.start, arc.end()};
                const double angles[] = {start, start + sweep};
                for (int i = 0; i < 2; ++i) {
                    EXPECT_NEAR(seen_from_center(rect, ends[i], angles[i] - 1), angles[i], 1e-6)
                        << start << ' ' << sweep;
                }
                double before = start, turned = 0;
                const std::vector<PointD> points = flattened(arc, 0.001);
                for (const PointD& p : points) {
                    const PointD d = p - rect.center();
                    EXPECT_NEAR(std::hypot(d.x / (rect.width / 2), d.y / (rect.height / 2)), 1, 4e-4);
                    const double now = seen_from_center(rect, p, before - 180);
                    EXPECT_TRUE((now - before) * sweep >= -1e-6);
                    turned += now - before;
                    before = now;
                }
                EXPECT_NEAR(turned, sweep, 1e-6);
            }
        }
    }
    // No part is longer than a quarter, and none is made where a quarter is enough.
    const RectD circle{0, 0, 10, 10};
    for (const auto& [sweep, parts] :
         {std::pair{1.0, 1U}, {90.0, 1U}, {90.1, 2U}, {180.0, 2U}, {-270.0, 3U}, {271.0, 4U}}) {
        EXPECT_EQ(arc_contour(circle, 30, sweep, false).segments.size(), parts) << sweep;
    }
    EXPECT_EQ(arc_contour(circle, 30, 0, false).segments.size(), 1U);
}

TEST(CurveTest, AWholeTurnIsClosed) {
    const RectD rect{10, 20, 30, 50};
    const Contour ellipse = ellipse_contour(rect);
    EXPECT_EQ(ellipse.start, (PointD{40, 45}));
    EXPECT_EQ(ellipse.end(), ellipse.start);
    EXPECT_TRUE(ellipse.closed);
    EXPECT_EQ(ellipse.segments.size(), 4U);
    for (const double sweep : {360.0, 500.0, -360.0, -1000.0}) {
        for (const Contour& arc : {arc_contour(rect, 90, sweep, false), pie_contour(rect, 90, sweep)}) {
            EXPECT_TRUE(arc.closed);
            EXPECT_EQ(arc.end(), arc.start);
            ASSERT_EQ(arc.segments.size(), 4U);
            EXPECT_NEAR(arc.start.y, 70, 1e-9);
            EXPECT_NEAR(arc.segments[0].end.x, sweep > 0 ? 10 : 40, 1e-9);  // the first quarter
        }
    }
    EXPECT_EQ(pie_contour(rect, 0, 359.5).start, rect.center());
    EXPECT_EQ(pie_contour(rect, 0, -359.5).start, rect.center());
    const Contour pie = pie_contour(rect, 0, 90);
    EXPECT_TRUE(pie.closed);
    EXPECT_EQ(pie.start, rect.center());
    ASSERT_EQ(pie.segments.size(), 2U);
    EXPECT_FALSE(pie.segments[0].curved);
    EXPECT_NEAR(pie.segments[0].end.x, 40, 1e-9);
    EXPECT_TRUE(pie.segments[1].curved);
    EXPECT_NEAR(pie.end().y, 70, 1e-9);
}

}  // namespace
}  // namespace zelmor::embed
