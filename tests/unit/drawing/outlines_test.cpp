// Outlines: maps, arcs, splines, bounds, flattening, hits and widening.
#include <gtest/gtest.h>

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
