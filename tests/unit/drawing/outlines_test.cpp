// Outlines: maps, arcs, splines, bounds, flattening, hits and widening.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "runtime/native/behaviors/drawing/outlines.h"

namespace zelmor::embed {
namespace {

TEST(AffineTest, TheInverseUndoesATransformation) {
    std::mt19937 draw(1);
    std::uniform_real_distribution<double> number(-3, 3);
    for (int i = 0; i < 500; ++i) {
        const Affine map{number(draw), number(draw), number(draw), number(draw), number(draw), number(draw)};
        const auto back = map.inverse();
        if (std::abs(map.determinant()) < 1e-3) {
            continue;
        }
        ASSERT_TRUE(back);
        const PointD p{number(draw), number(draw)}, q = back->apply(map.apply(p));
        EXPECT_NEAR(q.x, p.x, 1e-6);
        EXPECT_NEAR(q.y, p.y, 1e-6);
    }
    EXPECT_FALSE((Affine{1, 2, 2, 4, 0, 0}).inverse());
}

TEST(AffineTest, QuarterTurnsAreExact) {
    EXPECT_EQ(Affine::rotation(90), (Affine{0, 1, -1, 0, 0, 0}));
    EXPECT_EQ(Affine::rotation(-270), Affine::rotation(90));
    EXPECT_EQ(Affine::rotation(720), Affine());
}

TEST(OutlineTest, BoundsAreThoseOfTheCurveNotOfItsHandles) {
    const std::vector<PointD> points{{0, 0}, {0, 10}, {10, 10}, {10, 0}};
    const RectD bounds = bounds_of(Outline{bezier_contour(points, false)});
    EXPECT_DOUBLE_EQ(bounds.height, 7.5);
    EXPECT_DOUBLE_EQ(bounds.width, 10);
    EXPECT_EQ(bounds_of(Outline{}).width, 0);
}

TEST(OutlineTest, FlatteningStaysWithinItsTolerance) {
    const Contour circle = ellipse_contour({-100, -100, 200, 200});
    for (const double flatness : {1.0, 0.1, 0.01}) {
        const std::vector<PointD> points = flattened(circle, flatness);
        for (size_t i = 0; i + 1 < points.size(); ++i) {
            const double middle = ((points[i] + points[i + 1]) * 0.5).length();
            EXPECT_NEAR(middle, 100, flatness + 0.03);
        }
    }
}

// A cardinal spline: the curve passes each point in parallel to the line between the two neighbors of that point.
TEST(OutlineTest, ASplineHasItsTangentsFromTheNeighbors) {
    const std::vector<PointD> points{{0, 0}, {30, 0}, {40, 20}, {5, 35}};
    constexpr double kTension = 0.75;
    for (const bool closed : {false, true}) {
        const Contour spline = spline_contour(points, kTension, closed);
        EXPECT_EQ(spline.closed, closed);
        EXPECT_EQ(spline.start, points[0]);
        ASSERT_EQ(spline.segments.size(), closed ? 4U : 3U);
        const auto point = [&](int i) {
            return points[static_cast<size_t>(closed ? (i + 4) % 4 : std::clamp(i, 0, 3))];
        };
        const auto expect_near = [](PointD seen, PointD expected) {
            EXPECT_NEAR(seen.x, expected.x, 1e-9);
            EXPECT_NEAR(seen.y, expected.y, 1e-9);
        };
        for (int i = 0; i < static_cast<int>(spline.segments.size()); ++i) {
            const auto& segment = spline.segments[static_cast<size_t>(i)];
            expect_near(segment.control1, point(i) + (point(i + 1) - point(i - 1)) * (kTension / 3));
            expect_near(segment.control2, point(i + 1) - (point(i + 2) - point(i)) * (kTension / 3));
            expect_near(segment.end, point(i + 1));
        }
    }
    // Two points have no neighbors on two sides: there and back on the line between them.
    const std::vector<PointD> two{{1, 2}, {9, 4}};
    const Contour line = spline_contour(two, kTension, true);
    EXPECT_TRUE(line.closed);
    const RectD bounds = bounds_of(Outline{line});
    EXPECT_EQ(flattened(line, 0.01).size(), flattened(polygon_contour(two, true), 0.01).size());
    EXPECT_EQ(std::make_pair(bounds.width, bounds.height), std::make_pair(8.0, 2.0));
    EXPECT_TRUE(spline_contour({}, kTension, true).segments.empty());
}

TEST(OutlineTest, ReversingTwiceGivesTheSameOutline) {
    const Contour arc = arc_contour({0, 0, 30, 20}, 10, 200, false);
    const Contour twice = reversed(reversed(arc));
    ASSERT_EQ(twice.segments.size(), arc.segments.size());
    EXPECT_EQ(twice.start, arc.start);
    for (size_t i = 0; i < arc.segments.size(); ++i) {
        EXPECT_EQ(twice.segments[i].end, arc.segments[i].end);
        EXPECT_EQ(twice.segments[i].control1, arc.segments[i].control1);
    }
}

TEST(OutlineTest, ASharedEdgeBelongsToOneOfTwoAreas) {
    const Outline left{rectangle_contour({0, 0, 10, 10})}, right{rectangle_contour({10, 0, 10, 10})};
    for (double y = 0; y < 10; y += 0.5) {
        EXPECT_NE(contains(left, FillRule::kAlternate, {10, y}), contains(right, FillRule::kAlternate, {10, y}));
    }
}

double covered_length(const Outline& outline, double y) {
    double sum = 0;
    for (double x = -50; x < 150; x += 0.25) {
        sum += contains(outline, FillRule::kWinding, {x, y}) ? 0.25 : 0;
    }
    return sum;
}

TEST(WideningTest, LinesGetTheirWidthAndCaps) {
    const Contour line = polygon_contour(std::vector<PointD>{{0, 0.1}, {100, 0.1}}, false);
    PenShape pen;
    pen.width = 10;
    EXPECT_NEAR(covered_length(widened({line}, pen, 0.01), 0), 100, 0.5);
    pen.end_cap = EndCap::kSquare;
    EXPECT_NEAR(covered_length(widened({line}, pen, 0.01), 4.9), 105, 0.5);
    pen.start_cap = EndCap::kRound;
    EXPECT_NEAR(covered_length(widened({line}, pen, 0.01), 0), 110, 0.5);
    EXPECT_NEAR(covered_length(widened({line}, pen, 0.01), 5.3), 0, 0.5);
}

TEST(WideningTest, SharpCornersAreCut) {
    const Contour corner = polygon_contour(std::vector<PointD>{{0, 0}, {50, 1}, {0, 2}}, false);
    PenShape pen;
    pen.width = 2;
    const double bevelled = bounds_of(widened({corner}, pen, 0.01)).right();
    EXPECT_LT(bevelled, 52);
    pen.miter_limit = 100;
    EXPECT_GT(bounds_of(widened({corner}, pen, 0.01)).right(), 70);
}

TEST(WideningTest, AnEmptyOutlineHasNoStroke) {
    EXPECT_TRUE(widened({}, {}, 0.1).empty());
    const Contour dot = polygon_contour(std::vector<PointD>{{3, 3}, {3, 3}}, false);
    EXPECT_TRUE(widened({dot}, {}, 0.1).empty());
}

}  // namespace
}  // namespace zelmor::embed
