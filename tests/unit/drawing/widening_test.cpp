// The area that a pen covers: ends, corners, and what is near to a line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

#include "runtime/native/behaviors/drawing/outlines.h"

namespace zelmor::embed {
namespace {

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

double distance_to_line(PointD p, PointD a, PointD b) {
    const PointD d = b - a;
    const double t = std::clamp(((p.x - a.x) * d.x + (p.y - a.y) * d.y) / (d.x * d.x + d.y * d.y), 0.0, 1.0);
    return (p - a - d * t).length();
}

// All parts turn the same way, so that none takes away from another where they overlap.
void expect_one_turn(const Outline& area) {
    for (const Contour& part : area) {
        EXPECT_TRUE(part.closed);
        const std::vector<PointD> points = flattened(part, 1);
        double twice = 0;
        for (size_t i = 0; i < points.size(); ++i) {
            const PointD a = points[i], b = points[(i + 1) % points.size()];
            twice += a.x * b.y - b.x * a.y;
        }
        EXPECT_GT(twice, 0);
    }
}

// With round ends and joins a pen covers what is no farther from the lines than half its width.
TEST(WideningTest, ARoundPenCoversWhatIsNear) {
    std::mt19937 draw(11);
    std::uniform_real_distribution<double> number(10, 40);
    for (const bool closed : {false, true}) {
        for (int i = 0; i < 12; ++i) {
            std::vector<PointD> points;
            for (int j = 0; j < 2 + i % 4; ++j) {
                points.push_back({number(draw), number(draw)});
            }
            std::vector<PointD> given = points;
            given.push_back(given.back());  // a point that repeats changes nothing
            if (closed && i % 2 == 0) {
                given.push_back(given.front());
            }
            PenShape pen;
            pen.width = 7;
            pen.start_cap = pen.end_cap = EndCap::kRound;
            pen.join = Join::kRound;
            const Outline area = widened({polygon_contour(given, closed)}, pen, 0.001);
            // A quadrilateral for each line, a disc for each join and for each end.
            EXPECT_EQ(area.size(), closed ? 2 * points.size() : 2 * points.size() - 1);
            expect_one_turn(area);
            for (int j = 0; j < 300; ++j) {
                const PointD p{number(draw) * 2 - 25, number(draw) * 2 - 25};
                double distance = 1e9;
                for (size_t k = 0; k + (closed ? 0 : 1) < points.size(); ++k) {
                    distance = std::min(distance, distance_to_line(p, points[k], points[(k + 1) % points.size()]));
                }
                if (std::abs(distance - 3.5) > 0.01) {
                    ASSERT_EQ(contains(area, FillRule::kWinding, p), distance < 3.5) << i << ' ' << distance;
                }
            }
        }
    }
}

// How far a pen reaches beyond a corner of so many degrees, along the line that halves it outside.
double reach_beyond(double degrees, PenShape pen, bool left) {
    const double half = degrees * M_PI / 360;
    const PointD arm{-100 * std::cos(half), 100 * std::sin(half)};
    std::vector<PointD> points{{arm.x, arm.y}, {0, 0}, {arm.x, -arm.y}};
    if (left) {
        std::swap(points.front(), points.back());
    }
    // In some direction, and turned back.
    const double direction = 7 * degrees + (left ? 100 : 0);
    const Outline turned = transformed({polygon_contour(points, false)}, Affine::rotation(direction));
    const Outline area = transformed(widened(turned, pen, 0.001), Affine::rotation(-direction));
    double reach = 0;
    for (double x = 0; x < 36; x += 0.01) {
        if (contains(area, FillRule::kWinding, {x, 1e-7})) {
            reach = x;
        }
    }
    return reach;
}

TEST(WideningTest, CornersReachAsFarAsTheirJoinSays) {
    for (const double degrees : {10.0, 25.0, 60.0, 90.0, 130.0, 170.0}) {
        const double sine = std::sin(degrees * M_PI / 360);
        for (const bool left : {false, true}) {
            PenShape pen;
            pen.width = 6;
            pen.join = Join::kBevel;
            EXPECT_NEAR(reach_beyond(degrees, pen, left), 3 * sine, 0.02) << degrees;
            pen.join = Join::kRound;
            EXPECT_NEAR(reach_beyond(degrees, pen, left), 3, 0.02) << degrees;
            for (const Join join : {Join::kMiter, Join::kMiterClipped}) {
                pen.join = join;
                for (const double part : {0.999, 1.001}) {  // of the limit that the corner needs
                    pen.miter_limit = part / sine;
                    EXPECT_NEAR(reach_beyond(degrees, pen, left), part > 1 ? 3 / sine : 3 * sine, 0.02) << degrees;
                }
            }
        }
    }
    // A line that turns back has no corner to be sharp at.
    PenShape pen;
    pen.width = 6;
    EXPECT_NEAR(
        bounds_of(widened({polygon_contour(std::vector<PointD>{{0, 0}, {20, 0}, {5, 0}}, false)}, pen, 0.01)).right(),
        20, 1e-9);
}

TEST(WideningTest, OnlyCornersBetweenLinesHaveJoins) {
    // Down, to the right and up again: nothing is above the ends, and square ends stand upright.
    const Contour cup = polygon_contour(std::vector<PointD>{{10, 0}, {10, 30}, {40, 30}, {40, 5}}, false);
    PenShape pen;
    pen.width = 4;
    for (const Join join : {Join::kMiter, Join::kBevel}) {
        pen.join = join;
        for (const EndCap cap : {EndCap::kFlat, EndCap::kSquare}) {
            pen.start_cap = pen.end_cap = cap;
            const Outline area = widened({cup}, pen, 0.01);
            expect_one_turn(area);
            EXPECT_EQ(area.size(), cap == EndCap::kFlat ? 5U : 7U);
            const double more = cap == EndCap::kFlat ? 0 : 2;
            const RectD bounds = bounds_of(area);
            EXPECT_NEAR(bounds.x, 8, 1e-9);
            EXPECT_NEAR(bounds.right(), 42, 1e-9);
            EXPECT_NEAR(bounds.y, -more, 1e-9);
            EXPECT_NEAR(bounds.bottom(), 32, 1e-9);
            EXPECT_EQ(contains(area, FillRule::kWinding, {40, 4}), cap == EndCap::kSquare);
            EXPECT_FALSE(contains(area, FillRule::kWinding, {40, 2.9}));
            EXPECT_FALSE(contains(area, FillRule::kWinding, {25, 10}));
        }
    }
    // A closed one has a join at each corner, and no ends.
    pen.join = Join::kMiter;
    pen.start_cap = pen.end_cap = EndCap::kSquare;
    const Outline frame = widened({rectangle_contour({10, 20, 30, 40})}, pen, 0.01);
    EXPECT_EQ(frame.size(), 8U);
    for (const PointD corner : {PointD{8.1, 18.1}, {41.9, 18.1}, {41.9, 61.9}, {8.1, 61.9}}) {
        EXPECT_TRUE(contains(frame, FillRule::kWinding, corner));
    }
    // Lines that go straight on have no corner, as short as they are.
    pen.width = 1;
    pen.start_cap = pen.end_cap = EndCap::kFlat;
    const Outline straight = widened({polygon_contour(std::vector<PointD>{{0, 0}, {1, 0}, {3, 0}}, false)}, pen, 0.01);
    EXPECT_EQ(straight.size(), 2U);
    // Nor has a size a part in which way they turn.
    pen.width = 0.5;
    for (const PointD end : {PointD{1, 0}, PointD{-1, 0}, PointD{0, 1}, PointD{0.25, -0.25}, PointD{-0.01, 0.02}}) {
        const Outline small = widened({polygon_contour(std::vector<PointD>{{0, 0}, end}, false)}, pen, 0.01);
        EXPECT_EQ(small.size(), 1U);
        expect_one_turn(small);
        for (const Join join : {Join::kMiter, Join::kBevel, Join::kRound}) {
            for (const EndCap cap : {EndCap::kFlat, EndCap::kSquare, EndCap::kTriangle, EndCap::kRound}) {
                pen.join = join;
                pen.start_cap = pen.end_cap = cap;
                const std::vector<PointD> bent{{0, 0}, end, {end.x + 0.3, end.y + 0.4}};
                const Outline corner = widened({polygon_contour(bent, false)}, pen, 0.01);
                EXPECT_EQ(corner.size(), cap == EndCap::kFlat ? 3U : 5U);
                expect_one_turn(corner);
            }
        }
        pen = {};
        pen.width = 0.5;
    }
}

TEST(WideningTest, EndsHaveTheShapeOfTheirCap) {
    const Contour line = polygon_contour(std::vector<PointD>{{10, 20}, {40, 20}}, false);
    // What the cap reaches beyond the end at a height beside the line.
    const auto expected = [](EndCap cap, double aside) {
        switch (cap) {
            case EndCap::kSquare:
                return 4.0;
            case EndCap::kRound:
                return std::sqrt(16 - aside * aside);
            case EndCap::kTriangle:
                return 4 - aside;
            case EndCap::kFlat:
                break;
        }
        return 0.0;
    };
    constexpr std::pair<EndCap, EndCap> kCaps[] = {{EndCap::kFlat, EndCap::kSquare},
                                                   {EndCap::kSquare, EndCap::kRound},
                                                   {EndCap::kRound, EndCap::kTriangle},
                                                   {EndCap::kTriangle, EndCap::kFlat}};
    for (const auto& [start, end] : kCaps) {
        PenShape pen;
        pen.width = 8;
        pen.start_cap = start;
        pen.end_cap = end;
        const Outline area = widened({line}, pen, 0.001);
        for (const double aside : {0.01, 1.0, 2.5, 3.9}) {
            for (const double y : {20 - aside, 20 + aside}) {
                double left = 100, right = 0;
                for (double x = 0; x<50; x += x> 14 && x < 36 ? 1 : 0.02) {
                    if (contains(area, FillRule::kWinding, {x, y})) {
                        left = std::min(left, x);
                        right = std::max(right, x);
                    }
                }
                EXPECT_NEAR(10 - left, expected(start, aside), 0.03);
                EXPECT_NEAR(right - 40, expected(end, aside), 0.03);
            }
        }
        EXPECT_FALSE(contains(area, FillRule::kWinding, {25, 24.01}));
        EXPECT_TRUE(contains(area, FillRule::kWinding, {25, 23.99}));
    }
}

TEST(WideningTest, ALineWithoutLengthIsADotOfItsCap) {
    PenShape pen;
    pen.width = 6;
    std::vector<PointD> dot{{10, 20}, {10, 20}};
    pen.end_cap = EndCap::kSquare;  // it begins, and does not end
    EXPECT_TRUE(widened({polygon_contour(dot, false)}, pen, 0.01).empty());
    pen.start_cap = EndCap::kTriangle;
    EXPECT_TRUE(widened({polygon_contour(dot, false)}, pen, 0.01).empty());
    for (const bool closed : {false, true}) {
        for (const EndCap cap : {EndCap::kRound, EndCap::kSquare}) {
            pen.start_cap = cap;
            dot.resize(cap == EndCap::kRound ? 2 : 1, {10, 20});
            const Outline area = widened({polygon_contour(dot, closed)}, pen, 0.001);
            const RectD bounds = bounds_of(area);
            EXPECT_NEAR(bounds.x, 7, 1e-6);
            EXPECT_NEAR(bounds.y, 17, 1e-6);
            EXPECT_NEAR(bounds.width, 6, 1e-6);
            EXPECT_NEAR(bounds.height, 6, 1e-6);
            EXPECT_EQ(contains(area, FillRule::kWinding, {12.9, 22.9}), closed || cap == EndCap::kSquare);
        }
    }
}

TEST(WideningTest, TheNibStretchesThePen) {
    PenShape pen;
    pen.width = 2;
    pen.nib = Affine{1, 0, 0, 5, 0, 0};  // five times as high as it is wide
    const Contour across = polygon_contour(std::vector<PointD>{{10, 20}, {40, 20}}, false);
    const Contour down = polygon_contour(std::vector<PointD>{{10, 20}, {10, 50}}, false);
    const RectD flat = bounds_of(widened({across}, pen, 0.001)), upright = bounds_of(widened({down}, pen, 0.001));
    EXPECT_NEAR(flat.height, 10, 1e-9);
    EXPECT_NEAR(flat.width, 30, 1e-9);
    EXPECT_NEAR(upright.width, 2, 1e-9);
    EXPECT_NEAR(upright.height, 30, 1e-9);
    pen.nib = Affine{1, 1, 1, 1, 0, 0};  // without an area it counts for nothing
    EXPECT_NEAR(bounds_of(widened({across}, pen, 0.001)).height, 2, 1e-9);
}

TEST(WideningTest, AnEmptyOutlineHasNoStroke) {
    EXPECT_TRUE(widened({}, {}, 0.1).empty());
    const Contour dot = polygon_contour(std::vector<PointD>{{3, 3}, {3, 3}}, false);
    EXPECT_TRUE(widened({dot}, {}, 0.1).empty());
}

}  // namespace
}  // namespace zelmor::embed
