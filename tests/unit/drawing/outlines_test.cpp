// Outlines: maps, the points that contours are made of, splines, reversing, and hits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

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

TEST(OutlineTest, ContoursHaveThePointsThatTheyAreMadeOf) {
    const Contour rectangle = rectangle_contour({1, 2, 10, 20});
    EXPECT_TRUE(rectangle.closed);
    EXPECT_EQ(flattened(rectangle, 1), (std::vector<PointD>{{1, 2}, {11, 2}, {11, 22}, {1, 22}}));
    for (const bool closed : {false, true}) {
        for (const auto& make : {polygon_contour, bezier_contour}) {
            EXPECT_EQ(make({}, closed).closed, closed);
            EXPECT_TRUE(make({}, closed).segments.empty());
            const std::vector<PointD> one{{4, 5}};
            EXPECT_EQ(make(one, closed).start, one[0]);
            EXPECT_TRUE(make(one, closed).segments.empty());
        }
    }
    const std::vector<PointD> points{{7, 3}, {1, 5}, {2, 6}, {3, 0}, {4, 9}, {5, 7}, {6, 1}, {8, 8}, {9, 2}};
    for (const size_t count : {7U, 8U, 9U}) {  // the points behind the last curve begin no other
        const Contour curves = bezier_contour(std::span(points).first(count), true);
        ASSERT_EQ(curves.segments.size(), 2U);
        EXPECT_EQ(curves.segments[1].control1, points[4]);
        EXPECT_EQ(curves.segments[1].control2, points[5]);
        EXPECT_EQ(curves.segments[1].end, points[6]);
        EXPECT_TRUE(curves.segments[1].curved);
    }
    // Parts of a spline are those of the whole one.
    const Contour whole = spline_contour(points, 0.5, false);
    for (size_t first = 0; first < points.size(); ++first) {
        for (size_t count = 0; first + count < points.size(); ++count) {
            const Contour part = spline_contour(points, 0.5, first, count);
            EXPECT_EQ(part.start, points[first]);
            EXPECT_FALSE(part.closed);
            ASSERT_EQ(part.segments.size(), count);
            for (size_t i = 0; i < count; ++i) {
                EXPECT_EQ(part.segments[i].control1, whole.segments[first + i].control1);
                EXPECT_EQ(part.segments[i].control2, whole.segments[first + i].control2);
                EXPECT_EQ(part.segments[i].end, points[first + i + 1]);
            }
        }
    }
    EXPECT_TRUE(spline_contour({}, 0.5, 0, 0).segments.empty());
}

TEST(OutlineTest, MapsMoveEveryPoint) {
    const Contour arc = arc_contour({0, 0, 30, 20}, 10, 100, true);
    const Affine map{2, 1, -1, 3, 5, -7};
    const Outline moved = transformed({arc}, map);
    ASSERT_EQ(moved.size(), 1U);
    EXPECT_TRUE(moved[0].closed);
    const std::vector<PointD> before = flattened(arc, 1e9), after = flattened(moved[0], 1e9);
    ASSERT_EQ(before.size(), after.size());
    EXPECT_EQ(moved[0].start, map.apply(arc.start));
    for (size_t i = 0; i < arc.segments.size(); ++i) {
        EXPECT_EQ(moved[0].segments[i].control1, map.apply(arc.segments[i].control1));
        EXPECT_EQ(moved[0].segments[i].control2, map.apply(arc.segments[i].control2));
        EXPECT_EQ(moved[0].segments[i].end, map.apply(arc.segments[i].end));
        EXPECT_EQ(moved[0].segments[i].curved, arc.segments[i].curved);
    }
}

TEST(OutlineTest, AReversedCurveHasTheSamePointsFromItsEnd) {
    for (const bool closed : {false, true}) {
        Contour contour = arc_contour({0, 0, 30, 20}, 10, 200, closed);
        contour.line_to({50, 60});
        const Contour back = reversed(contour);
        EXPECT_EQ(back.closed, closed);
        EXPECT_EQ(back.start, contour.end());
        EXPECT_EQ(back.end(), contour.start);
        std::vector<PointD> points = flattened(back, 0.01);
        std::reverse(points.begin(), points.end());
        const std::vector<PointD> expected = flattened(contour, 0.01);
        ASSERT_EQ(points.size(), expected.size());
        for (size_t i = 0; i < points.size(); ++i) {
            EXPECT_NEAR(points[i].x, expected[i].x, 1e-9);
            EXPECT_NEAR(points[i].y, expected[i].y, 1e-9);
        }
    }
}

// A cardinal spline: the curve passes each point in parallel to the line between the two neighbors of that point.
TEST(OutlineTest, ASplineHasItsTangentsFromTheNeighbors) {
    const std::vector<PointD> all{{12, 3}, {30, 0}, {40, 20}, {5, 35}, {-4, 20}};
    constexpr double kTension = 0.75;
    struct Row {
        int number;
        bool closed;
    };
    for (const Row& row : {Row{3, true}, {4, false}, {4, true}, {5, true}}) {
        const std::vector<PointD> points(all.begin(), all.begin() + row.number);
        const int n = row.number;
        const bool closed = row.closed;
        const Contour spline = spline_contour(points, kTension, closed);
        EXPECT_EQ(spline.closed, closed);
        EXPECT_EQ(spline.start, points[0]);
        ASSERT_EQ(spline.segments.size(), points.size() - (closed ? 0 : 1));
        const auto point = [&](int i) {
            return points[static_cast<size_t>(closed ? (i + n) % n : std::clamp(i, 0, n - 1))];
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
    EXPECT_TRUE(spline_contour({}, kTension, false).segments.empty());
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

TEST(OutlineTest, LeftAndUpperEdgesAreInside) {
    const Outline area{rectangle_contour({0, 0, 10, 8})};
    for (const FillRule rule : {FillRule::kAlternate, FillRule::kWinding}) {
        for (double at = 0.25; at < 8; at += 0.5) {
            EXPECT_TRUE(contains(area, rule, {0, at}));
            EXPECT_FALSE(contains(area, rule, {10, at}));
            EXPECT_TRUE(contains(area, rule, {at, 0}));
            EXPECT_FALSE(contains(area, rule, {at, 8}));
        }
        EXPECT_TRUE(contains(area, rule, {0, 0}));
        EXPECT_FALSE(contains(area, rule, {10, 8}));
        EXPECT_FALSE(contains({}, rule, {0, 0}));
    }
}

// By the angles under which the edges of a polygon are seen: their sum is the number of turns around the point.
int turns_around(const std::vector<PointD>& points, PointD p) {
    double sum = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        const PointD a = points[i] - p, b = points[(i + 1) % points.size()] - p;
        sum += std::atan2(a.x * b.y - a.y * b.x, a.x * b.x + a.y * b.y);
    }
    return static_cast<int>(std::lround(sum / (2 * M_PI)));
}

TEST(OutlineTest, HitsCountTheTurnsAroundAPoint) {
    std::mt19937 draw(9);
    std::uniform_real_distribution<double> number(0, 30);
    for (int i = 0; i < 40; ++i) {
        Outline outline;
        std::vector<std::vector<PointD>> polygons;
        for (int j = 0; j < 1 + i % 3; ++j) {
            std::vector<PointD> points;
            for (int k = 0; k < 3 + i % 5; ++k) {
                points.push_back({number(draw), number(draw)});
            }
            outline.push_back(polygon_contour(points, j % 2 == 0));  // hits take all contours as closed
            polygons.push_back(points);
        }
        for (int j = 0; j < 100; ++j) {
            const PointD p{number(draw), number(draw)};
            int turns = 0;
            for (const std::vector<PointD>& points : polygons) {
                turns += turns_around(points, p);
            }
            EXPECT_EQ(contains(outline, FillRule::kWinding, p), turns != 0);
            EXPECT_EQ(contains(outline, FillRule::kAlternate, p), turns % 2 != 0);
        }
    }
    const Outline circle{ellipse_contour({-10, -10, 20, 20})};
    for (double angle = 0; angle < 360; angle += 7) {
        const PointD way{std::cos(angle * M_PI / 180), std::sin(angle * M_PI / 180)};
        EXPECT_TRUE(contains(circle, FillRule::kWinding, way * 9.97)) << angle;
        EXPECT_FALSE(contains(circle, FillRule::kWinding, way * 10.02)) << angle;
    }
}

}  // namespace
}  // namespace zelmor::embed
