// Regions: points of expressions, and the trapezoids and boundaries that stand for their areas.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <tuple>

#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/behaviors/drawing/regions.h"

namespace zelmor::embed {
namespace {

constexpr RegionOperation kOperations[] = {RegionOperation::kIntersect, RegionOperation::kUnion, RegionOperation::kXor,
                                           RegionOperation::kExclude, RegionOperation::kComplement};

bool by_sets(RegionOperation operation, bool left, bool right) {
    constexpr bool kTable[5][4] = {// by left and right: neither, right, left, both
                                   {false, false, false, true},
                                   {false, true, true, true},
                                   {false, true, true, false},
                                   {false, false, true, false},
                                   {false, true, false, false}};
    return kTable[static_cast<size_t>(operation)][(left ? 2 : 0) + (right ? 1 : 0)];
}

// A region beside what tells its points.
struct Known {
    RegionTree tree;
    std::function<bool(PointD)> has;
};

class Draw {
 public:
    explicit Draw(uint32_t seed) : m_random(seed) {}
    int whole(int most) { return static_cast<int>(m_random() % static_cast<unsigned>(most)); }
    double number(double least, double most) { return std::uniform_real_distribution<double>(least, most)(m_random); }
    Known shape() {
        const RectD box{number(0, 20), number(0, 20), number(2, 15), number(2, 15)};
        switch (whole(4)) {
            case 0:
                return {region_of({rectangle_contour(box)}, FillRule::kAlternate), [box](PointD p) {
                            return p.x >= box.x && p.x <= box.right() && p.y >= box.y && p.y <= box.bottom();
                        }};
            case 1:
                return {region_of({ellipse_contour(box)}, FillRule::kWinding), [box](PointD p) {
                            const PointD d = p - box.center();
                            return std::hypot(2 * d.x / box.width, 2 * d.y / box.height) <= 1;
                        }};
            case 2: {  // lies in the lower left half
                const std::vector<PointD> points{{box.x, box.y}, {box.right(), box.bottom()}, {box.x, box.bottom()}};
                return {region_of({polygon_contour(points, true)}, FillRule::kAlternate), [box](PointD p) {
                            return p.x >= box.x && p.y <= box.bottom() &&
                                   (p.x - box.x) / box.width <= (p.y - box.y) / box.height;
                        }};
            }
            default:  // two rectangles in one outline, of which the rule says what both of them cover
                const RectD other{box.x + box.width / 3, box.y + box.height / 3, box.width, box.height};
                const FillRule rule = whole(2) == 0 ? FillRule::kAlternate : FillRule::kWinding;
                return {region_of({rectangle_contour(box), rectangle_contour(other)}, rule), [=](PointD p) {
                            const auto in = [&](const RectD& r) {
                                return p.x >= r.x && p.x <= r.right() && p.y >= r.y && p.y <= r.bottom();
                            };
                            return rule == FillRule::kWinding ? in(box) || in(other) : in(box) != in(other);
                        }};
        }
    }
    Known expression(int depth) {
        if (depth == 0) {
            return shape();
        }
        const Known left = expression(depth - 1), right = expression(whole(2) == 0 ? 0 : depth - 1);
        const RegionOperation operation = kOperations[whole(5)];
        return {combined(left.tree, right.tree, operation),
                [=](PointD p) { return by_sets(operation, left.has(p), right.has(p)); }};
    }

 private:
    std::mt19937 m_random;
};

// Points that are not at an edge: those around are on the same side.
bool is_sure(const Known& region, PointD p) {
    for (const double x : {-0.03, 0.0, 0.03}) {
        for (const double y : {-0.03, 0.0, 0.03}) {
            if (region.has({p.x + x, p.y + y}) != region.has(p)) {
                return false;
            }
        }
    }
    return true;
}

bool covers(const Trapezoid& t, PointD p) {
    if (p.y < t.top || p.y >= t.bottom) {
        return false;
    }
    const double part = (p.y - t.top) / (t.bottom - t.top);
    return p.x >= t.left_top + (t.left_bottom - t.left_top) * part &&
           p.x < t.right_top + (t.right_bottom - t.right_top) * part;
}

TEST(RegionsTest, PointsAndTrapezoidsAgreeWithTheSets) {
    Draw draw(4);
    for (int round = 0; round < 60; ++round) {
        const Known region = draw.expression(1 + round % 3);
        const std::vector<Trapezoid> trapezoids = trapezoids_of(*region.tree);
        const Outline boundary = boundary_of(*region.tree);
        bool any = false;
        for (int i = 0; i < 200; ++i) {
            const PointD p{draw.number(-2, 40), draw.number(-2, 40)};
            if (!is_sure(region, p)) {
                continue;
            }
            any = any || region.has(p);
            EXPECT_EQ(region.tree->contains(p), region.has(p));
            EXPECT_EQ(
                std::count_if(trapezoids.begin(), trapezoids.end(), [&](const Trapezoid& t) { return covers(t, p); }),
                region.has(p) ? 1 : 0)
                << round;
            EXPECT_EQ(contains(boundary, FillRule::kAlternate, p), region.has(p)) << round;
        }
        if (any) {
            EXPECT_FALSE(is_empty(region.tree));
        }
        EXPECT_FALSE(is_infinite(region.tree));
    }
}

TEST(RegionsTest, TrapezoidsOfARectangleHaveItsEdges) {
    const std::vector<Trapezoid> found =
        trapezoids_of(*region_of({rectangle_contour({1, 2, 10, 20})}, FillRule::kAlternate));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].top, 2);
    EXPECT_EQ(found[0].bottom, 22);
    EXPECT_EQ(found[0].left_top, 1);
    EXPECT_EQ(found[0].left_bottom, 1);
    EXPECT_EQ(found[0].right_top, 11);
    EXPECT_EQ(found[0].right_bottom, 11);
    // Where edges cross, a band ends.
    const std::vector<PointD> bow{{0, 0}, {10, 10}, {10, 0}, {0, 10}};
    double area = 0;
    for (const Trapezoid& t : trapezoids_of(*region_of({polygon_contour(bow, true)}, FillRule::kAlternate))) {
        EXPECT_TRUE(t.bottom <= 5 + 1e-9 || t.top >= 5 - 1e-9);
        area += (t.bottom - t.top) * (t.right_top - t.left_top + t.right_bottom - t.left_bottom) / 2;
    }
    EXPECT_NEAR(area, 50, 1e-9);
}

TEST(RegionsTest, EmptyAndInfiniteRegions) {
    const RegionTree all = infinite_region(), none = empty_region();
    const RegionTree box = region_of({rectangle_contour({0, 0, 5, 5})}, FillRule::kAlternate);
    const RegionTree aside = region_of({rectangle_contour({9, 0, 5, 5})}, FillRule::kAlternate);
    const RegionTree flat = region_of({rectangle_contour({0, 0, 5, 0})}, FillRule::kAlternate);
    const struct {
        RegionTree region;
        bool empty, infinite;
    } kCases[] = {
        {all, false, true},
        {none, true, false},
        {box, false, false},
        {flat, true, false},
        {region_of({}, FillRule::kWinding), true, false},
        {combined(all, box, RegionOperation::kExclude), false, false},
        {combined(all, box, RegionOperation::kComplement), true, false},
        {combined(all, none, RegionOperation::kExclude), false, true},
        {combined(all, all, RegionOperation::kXor), true, false},
        {combined(none, all, RegionOperation::kXor), false, true},
        {combined(all, flat, RegionOperation::kExclude), false, true},
        {combined(box, box, RegionOperation::kExclude), true, false},
        {combined(box, aside, RegionOperation::kIntersect), true, false},
        {combined(box, aside, RegionOperation::kUnion), false, false},
        {combined(combined(all, box, RegionOperation::kExclude), box, RegionOperation::kUnion), false, true},
        {combined(combined(all, box, RegionOperation::kExclude), aside, RegionOperation::kUnion), false, false}};
    for (const auto& [region, empty, infinite] : kCases) {
        EXPECT_EQ(is_empty(region), empty) << &region - &kCases[0].region;
        EXPECT_EQ(is_infinite(region), infinite);
    }
    EXPECT_TRUE(all->contains({1e9, -1e9}));
    EXPECT_FALSE(none->contains({0, 0}));
}

TEST(RegionsTest, LongExpressionsAreWorkedOut) {
    for (const bool bounded : {true, false}) {
        Known region{bounded ? empty_region() : infinite_region(), [bounded](PointD) { return !bounded; }};
        size_t most = 0;
        for (int step = 0; step < 70; ++step) {
            const RectD box{double(step * 7 % 23), double(step * 5 % 17), 3, 4};
            const RegionOperation operation = step % 3 == 2 ? RegionOperation::kExclude : RegionOperation::kUnion;
            const auto before = region.has;
            region = {combined(region.tree, region_of({rectangle_contour(box)}, FillRule::kAlternate), operation),
                      [=](PointD p) {
                          const bool inside = p.x >= box.x && p.x < box.right() && p.y >= box.y && p.y < box.bottom();
                          return by_sets(operation, before(p), inside);
                      }};
            most = std::max(most, region.tree->terms);
        }
        EXPECT_EQ(most, 64U);
        for (double y = -1.5; y < 25; ++y) {
            for (double x = -1.5; x < 30; ++x) {
                EXPECT_EQ(region.tree->contains({x, y}), region.has({x, y})) << x << ' ' << y;
            }
        }
    }
}

size_t corners_of(const Outline& outline) {
    size_t corners = 0;
    for (const Contour& contour : outline) {
        corners += 1 + contour.segments.size();
    }
    return corners;
}

TEST(RegionsTest, ABoundaryHasTheCornersOfTheArea) {
    const RegionTree left = region_of({rectangle_contour({0, 0, 10, 10})}, FillRule::kAlternate);
    const RegionTree right = region_of({rectangle_contour({5, 5, 10, 10})}, FillRule::kAlternate);
    const RegionTree apart = region_of({rectangle_contour({20, 0, 2, 2})}, FillRule::kAlternate);
    const RegionTree beside = region_of({rectangle_contour({10, 0, 4, 10})}, FillRule::kAlternate);
    const struct {
        RegionTree region;
        size_t polygons, corners;
        RectD bounds;
    } kCases[] = {
        {combined(left, right, RegionOperation::kUnion), 1, 8, {0, 0, 15, 15}},
        {combined(left, right, RegionOperation::kIntersect), 1, 4, {5, 5, 5, 5}},
        {combined(left, right, RegionOperation::kExclude), 1, 6, {0, 0, 10, 10}},
        {combined(left, apart, RegionOperation::kUnion), 2, 8, {0, 0, 22, 10}},
        {combined(left, beside, RegionOperation::kUnion), 1, 4, {0, 0, 14, 10}},
        {combined(left, beside, RegionOperation::kIntersect), 0, 0, {}},
    };
    for (const auto& [region, polygons, corners, bounds] : kCases) {
        const Outline boundary = boundary_of(*region);
        EXPECT_EQ(boundary.size(), polygons) << &region - &kCases[0].region;
        EXPECT_LE(corners_of(boundary), corners + 2 * polygons);  // a level line may have a point within
        EXPECT_GE(corners_of(boundary), corners);
        const RectD around = bounds_of(boundary);
        EXPECT_EQ(std::tuple(around.x, around.y, around.width, around.height),
                  std::tuple(bounds.x, bounds.y, bounds.width, bounds.height));
    }
}

TEST(RegionsTest, ManyEllipsesStayFewCorners) {
    Draw draw(12);
    std::vector<std::pair<RectD, RegionOperation>> steps;
    RegionTree region = empty_region();
    for (int step = 0; step < 300; ++step) {
        const RectD box{draw.number(0, 90), draw.number(0, 90), draw.number(2, 25), draw.number(2, 25)};
        steps.emplace_back(box, step % 3 == 2 ? kOperations[draw.whole(5) == 0 ? 2 : 3] : RegionOperation::kUnion);
        region = combined(region, region_of({ellipse_contour(box)}, FillRule::kWinding), steps.back().second);
    }
    EXPECT_LT(corners_of(boundary_of(*region)), 20'000U);
    for (int i = 0; i < 2000; ++i) {
        const PointD p{draw.number(0, 100), draw.number(0, 100)};
        bool inside = false, sure = true;
        for (const auto& [box, operation] : steps) {
            const PointD d = p - box.center();
            const double far = std::hypot(2 * d.x / box.width, 2 * d.y / box.height);
            sure = sure && std::abs(far - 1) > 0.02;
            inside = by_sets(operation, inside, far <= 1);
        }
        if (sure) {
            EXPECT_EQ(region->contains(p), inside) << p.x << ' ' << p.y;
        }
    }
}

TEST(RegionsTest, ALimitEndsSweepsThatTakeTooLong) {
    // Two edges and one band: both are compared with themselves, one with the other, and both stand in the band.
    const RegionTree box = region_of({rectangle_contour({0, 0, 10, 10})}, FillRule::kAlternate);
    {
        SweepLimit limit(5);
        EXPECT_EQ(trapezoids_of(*box).size(), 1U);
        EXPECT_THROW(boundary_of(*box), SweepTooLong);
        {
            const SweepLimit inner(10);
            EXPECT_EQ(boundary_of(*box).size(), 1U);
            EXPECT_EQ(trapezoids_of(*box).size(), 1U);
            EXPECT_THROW(trapezoids_of(*box), SweepTooLong);
        }
        limit.take(0);
        EXPECT_THROW(limit.take(1), SweepTooLong);
    }
    EXPECT_EQ(boundary_of(*box).size(), 1U);
}

TEST(RegionsTest, ARegionAndItselfIsNoLongerExpression) {
    Draw draw(3);
    const RegionTree region = draw.expression(2).tree;
    EXPECT_EQ(combined(region, region, RegionOperation::kUnion), region);
    EXPECT_EQ(combined(region, region, RegionOperation::kIntersect), region);
    for (const RegionOperation operation :
         {RegionOperation::kXor, RegionOperation::kExclude, RegionOperation::kComplement}) {
        EXPECT_EQ(combined(region, region, operation), empty_region());
    }
}

TEST(RegionsTest, OutlinesThatAreNotFiniteHaveNoArea) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    const RegionTree box = region_of({rectangle_contour({0, 0, 5, 5})}, FillRule::kAlternate);
    for (const double number : {nan, infinity, -infinity, 1e101, -1e101}) {
        for (const PointD odd : {PointD{number, 3}, PointD{3, number}}) {
            const std::vector<PointD> points{{0, 0}, {5, 5}, odd};
            const RegionTree region = region_of({polygon_contour(points, true)}, FillRule::kAlternate);
            EXPECT_TRUE(trapezoids_of(*region).empty());
            EXPECT_EQ(trapezoids_of(*combined(box, region, RegionOperation::kUnion)).size(), 1U);
            EXPECT_EQ(corners_of(boundary_of(*combined(region, box, RegionOperation::kXor))), 4U);
        }
    }
}

TEST(RegionsTest, MapsMoveRegions) {
    Draw draw(9);
    const Affine map{0.5, 1, -2, 0.25, 7, -3};
    const Affine back = *map.inverse();
    for (int round = 0; round < 12; ++round) {
        const Known region = draw.expression(2);
        const RegionTree moved = transformed(region.tree, map);
        for (int i = 0; i < 100; ++i) {
            const PointD p{draw.number(-2, 40), draw.number(-2, 40)};
            if (is_sure(region, p)) {
                EXPECT_EQ(moved->contains(map.apply(p)), region.has(p));
                EXPECT_EQ(transformed(moved, back)->contains(p), region.has(p));
            }
        }
    }
    EXPECT_EQ(transformed(infinite_region(), map), infinite_region());
    EXPECT_EQ(transformed(empty_region(), map), empty_region());
}

}  // namespace
}  // namespace zelmor::embed
