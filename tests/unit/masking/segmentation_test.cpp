// The methods of masking: what they ask of the segmentation backend, and what they make of its answers.
#include "runtime/native/behaviors/masking/segmentation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "area_pixels.h"

namespace zelmor::embed {
namespace {

using maskwork::Side;

const Checkpoint kGoOn = [] {};
constexpr int32_t kWidth = 20, kHeight = 16;

// Keeps what it is asked, and answers as the test says.
class MadeUpBackend final : public maskwork::Backend {
 public:
    std::vector<size_t> changes;  // by the steps of a cut
    std::vector<Side> asked, answer;
    size_t steps = 0;
    Labels flooded;

    std::unique_ptr<maskwork::GraphCut> graph_cut(const maskwork::PictureView& picture,
                                                  std::vector<Side> sides) override {
        EXPECT_EQ(std::make_pair(picture.width, picture.height), std::make_pair(kWidth, kHeight));
        asked = std::move(sides);
        return std::make_unique<Cut>(*this);
    }
    void watershed(const maskwork::PictureView&, std::span<int32_t> labels) override {
        flooded.assign(labels.begin(), labels.end());
        std::replace(labels.begin(), labels.end(), -1, 0);
    }
    std::string library() const override { return "made up"; }

 private:
    class Cut final : public maskwork::GraphCut {
     public:
        explicit Cut(MadeUpBackend& owner) : m_owner(owner) {}
        size_t step() override { return m_owner.changes.at(m_owner.steps++); }
        std::span<const Side> sides() const override { return m_owner.answer.empty() ? m_owner.asked : m_owner.answer; }

     private:
        MadeUpBackend& m_owner;
    };
};

SegmentationTask task_of(SegmentationMethod method, AreaPixels pixels, MadeUpBackend& backend) {
    SegmentationTask task;
    task.method = method;
    task.pixels = std::make_shared<const AreaPixels>(std::move(pixels));
    task.backend = &backend;
    return task;
}

// What `side` says of each place.
template <class Value, class Say>
std::vector<Value> everywhere(Say&& say) {
    std::vector<Value> values;
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            values.push_back(say(x, y));
        }
    }
    return values;
}

bool is_at(const std::vector<PointValue>& points, int32_t x, int32_t y) {
    return std::any_of(points.begin(), points.end(), [&](PointValue p) { return p.x == x && p.y == y; });
}

AreaPixels left_and_right() {
    AreaPixels pixels = one_color(kWidth, kHeight, gray(30));
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = kWidth / 2; x < kWidth; ++x) {
            pixels.argb[pixels.at({x, y})] = gray(200);
        }
    }
    return pixels;
}

TEST(SegmentationTest, RectanglesStandAroundWhatMayBeTheObject) {
    MadeUpBackend backend;
    backend.changes = {0};
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, left_and_right(), backend);
    const RectangleValue first{2, 3, 5, 4}, second{10, 9, 6, 5};
    task.hints.rectangles = {first, second};
    task.hints.points = {{{3, 4}}, {{4, 4}, {1, 0}}, {{11, 10}}};
    task.hints.orphans = {{12, 10}};
    const Segmentation found = segment(task, kGoOn);
    EXPECT_EQ(backend.asked, everywhere<Side>([&](int32_t x, int32_t y) {
                  if (is_at({{4, 4}, {1, 0}, {11, 10}}, x, y)) {
                      return Side::kObject;
                  }
                  if (is_at({{3, 4}, {12, 10}}, x, y)) {
                      return Side::kBackground;
                  }
                  return is_inside(first, x, y) || is_inside(second, x, y) ? Side::kLikelyObject : Side::kBackground;
              }));
    EXPECT_EQ(found.labels, everywhere<int32_t>([&](int32_t x, int32_t y) {
                  return is_object(backend.asked[static_cast<size_t>(y * kWidth + x)]) ? 1 : 0;
              }));
    EXPECT_TRUE(found.strokes.empty());
}

TEST(SegmentationTest, PointsGiveTheirSideToSimilarColors) {
    for (const bool names_background : {false, true}) {
        MadeUpBackend backend;
        backend.changes = {0};
        AreaPixels pixels = left_and_right();
        for (int32_t x = 0; x < kWidth; ++x) {  // the edge is dark
            pixels.argb[pixels.at({x, 0})] = pixels.argb[pixels.at({x, kHeight - 1})] = gray(40);
        }
        for (int32_t y = 0; y < kHeight; ++y) {
            pixels.argb[pixels.at({0, y})] = pixels.argb[pixels.at({kWidth - 1, y})] = gray(40);
        }
        SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
        const std::vector<PointValue> background{{3, 3}}, object{{12, 5}, {13, 6}};
        task.hints.points = {{}, object};
        if (names_background) {
            task.hints.points[0] = background;
        }
        segment(task, kGoOn);
        EXPECT_EQ(backend.asked, everywhere<Side>([&](int32_t x, int32_t y) {
                      if (is_at(object, x, y)) {
                          return Side::kObject;
                      }
                      if (names_background && is_at(background, x, y)) {
                          return Side::kBackground;
                      }
                      const bool edge = x == 0 || y == 0 || x == kWidth - 1 || y == kHeight - 1;
                      return x >= kWidth / 2 && !edge ? Side::kLikelyObject : Side::kLikelyBackground;
                  }));
    }
}

TEST(SegmentationTest, ASideIsDescribedByEightColors) {
    MadeUpBackend backend;
    backend.changes = {0};
    AreaPixels pixels = one_color(kWidth, kHeight, gray(16));
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, {}, backend);
    task.hints.points = {{}, {}};
    const auto name = [&](size_t side, uint32_t color) {
        auto& points = task.hints.points[side];
        points.push_back({static_cast<int32_t>(2 + points.size()), static_cast<int32_t>(3 + side)});
        pixels.argb[pixels.at(points.back())] = color;
    };
    // The corners of the cube of colors, black twice, and one nearer to black than they are to each other.
    for (const uint32_t color : {0xFF101010U, 0xFF101010U, 0xFF1010F0U, 0xFF10F010U, 0xFF10F0F0U, 0xFFF01010U,
                                 0xFFF010F0U, 0xFFF0F010U, 0xFFF0F0F0U, 0xFF481010U}) {
        name(0, color);
    }
    name(1, 0xFF641010U);
    name(1, 0xFFF0F064U);
    const PointValue by_the_ninth{10, 10}, by_the_eighth{11, 10};
    pixels.argb[pixels.at(by_the_ninth)] = 0xFF501010U;
    pixels.argb[pixels.at(by_the_eighth)] = 0xFFF0F028U;
    task.pixels = std::make_shared<const AreaPixels>(pixels);
    segment(task, kGoOn);
    EXPECT_EQ(backend.asked[pixels.at(by_the_ninth)], Side::kLikelyObject);
    EXPECT_EQ(backend.asked[pixels.at(by_the_eighth)], Side::kLikelyBackground);
}

TEST(SegmentationTest, EachSideOfTheEdgeIsBackground) {
    const RectangleValue sides[] = {
        {0, 0, kWidth, 1}, {0, kHeight - 1, kWidth, 1}, {0, 0, 1, kHeight}, {kWidth - 1, 0, 1, kHeight}};
    for (const RectangleValue& side : sides) {
        for (const bool names_background : {false, true}) {
            // Something between both colors is at one side only, and a bit brighter once inside.
            MadeUpBackend backend;
            backend.changes = {0};
            AreaPixels pixels = one_color(kWidth, kHeight, gray(30));
            for (int32_t y = 0; y < kHeight; ++y) {
                for (int32_t x = 0; x < kWidth; ++x) {
                    if (is_inside(side, x, y)) {
                        pixels.argb[pixels.at({x, y})] = gray(120);
                    }
                }
            }
            pixels.argb[pixels.at({7, 7})] = gray(122);
            pixels.argb[pixels.at({12, 5})] = gray(200);
            SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
            task.hints.points = {{}, {{12, 5}}};
            if (names_background) {
                task.hints.points[0] = {{4, 4}};
            }
            segment(task, kGoOn);
            EXPECT_EQ(backend.asked[pixels.at({7, 7})],
                      names_background ? Side::kLikelyObject : Side::kLikelyBackground);
            for (const PointValue place :
                 {PointValue{side.x, side.y}, {side.x + side.width / 2, side.y + side.height / 2}}) {
                EXPECT_EQ(is_object(backend.asked[pixels.at(place)]), names_background);
            }
        }
    }
}

TEST(SegmentationTest, TheFirstPixelCountsAsOthersDo) {
    for (const bool is_named : {false, true}) {
        MadeUpBackend backend;
        backend.changes = {0};
        AreaPixels pixels = one_color(kWidth, kHeight, gray(30));
        pixels.argb[pixels.at({0, 0})] = gray(120);
        pixels.argb[pixels.at({7, 7})] = gray(122);
        pixels.argb[pixels.at({12, 5})] = gray(200);
        SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
        task.hints.points = {{{4, 4}}, {{12, 5}}};
        if (is_named) {
            task.hints.points[0].push_back({0, 0});
        }
        segment(task, kGoOn);
        EXPECT_EQ(backend.asked[pixels.at({0, 0})], is_named ? Side::kBackground : Side::kLikelyObject);
        EXPECT_EQ(backend.asked[pixels.at({7, 7})], is_named ? Side::kLikelyBackground : Side::kLikelyObject);
    }
}

TEST(SegmentationTest, OrphansAreBackgroundEnough) {
    MadeUpBackend backend;
    backend.changes = {0};
    AreaPixels pixels = left_and_right();
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
    task.hints.points = {{}, {{12, 5}}};
    task.hints.orphans = {{3, 3}};
    segment(task, kGoOn);
    // Bright pixels of the edge go with the object, since the edge stands for nothing then.
    EXPECT_EQ(backend.asked[pixels.at({kWidth - 1, 0})], Side::kLikelyObject);
    EXPECT_EQ(backend.asked[pixels.at({0, 0})], Side::kLikelyBackground);
    EXPECT_EQ(backend.asked[pixels.at({3, 3})], Side::kBackground);
}

TEST(SegmentationTest, FoundStrokesSayWhatStandsOut) {
    MadeUpBackend backend;
    backend.changes = {0};
    AreaPixels pixels = one_color(kWidth, kHeight, gray(30));
    const RectangleValue bright{4, 6, 8, 4};  // from the margin of the bounds on
    for (int32_t y = 6; y < 10; ++y) {
        for (int32_t x = 4; x < 12; ++x) {
            pixels.argb[pixels.at({x, y})] = gray(220);
        }
    }
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
    task.find_strokes = true;
    const RectangleValue bounds{4, 4, 12, 8}, more{2, 13, 3, 2};
    task.assumed = {{DetectedObjectType::kOther, bounds}};
    task.hints.rectangles = {more};
    task.hints.points = {{{9, 7}}};
    const Segmentation found = segment(task, kGoOn);
    EXPECT_EQ(found.strokes.rectangles, std::vector{bounds});
    EXPECT_EQ(found.strokes.foreground.size(), 28U);  // the first column is none of its core
    EXPECT_EQ(found.strokes.background.size(), static_cast<size_t>(2 * (kWidth + kHeight) - 4));
    EXPECT_EQ(backend.asked, everywhere<Side>([&](int32_t x, int32_t y) {
                  if (is_inside(bright, x, y)) {
                      return x == 9 && y == 7 ? Side::kBackground : x == 4 ? Side::kLikelyObject : Side::kObject;
                  }
                  return is_inside(bounds, x, y) || is_inside(more, x, y) ? Side::kLikelyBackground : Side::kBackground;
              }));
}

TEST(SegmentationTest, StrokesOfTheBackgroundStandInsideOfBoundsToo) {
    MadeUpBackend backend;
    backend.changes = {0};
    AreaPixels pixels = one_color(kWidth, kHeight, gray(30));
    pixels.argb[pixels.at({8, 8})] = gray(220);
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, pixels, backend);
    task.find_strokes = true;
    task.assumed = {{DetectedObjectType::kOther, {0, 0, kWidth, kHeight}}};
    segment(task, kGoOn);
    EXPECT_EQ(backend.asked, everywhere<Side>([&](int32_t x, int32_t y) {
                  const bool edge = x == 0 || y == 0 || x == kWidth - 1 || y == kHeight - 1;
                  return edge ? Side::kBackground : x == 8 && y == 8 ? Side::kObject : Side::kLikelyBackground;
              }));
}

TEST(SegmentationTest, AnImprovementBeginsWithTheSidesBefore) {
    MadeUpBackend backend;
    backend.changes = {0};
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, left_and_right(), backend);
    task.before = everywhere<int32_t>([](int32_t x, int32_t) { return x > 4 ? 1 : 0; });
    task.find_strokes = true;  // which there is no need of
    const RectangleValue inside{0, 0, 15, kHeight};
    task.hints.rectangles = {inside};
    task.hints.points = {{{10, 10}}};
    segment(task, kGoOn);
    EXPECT_EQ(backend.asked, everywhere<Side>([&](int32_t x, int32_t y) {
                  if (x >= 15 || (x == 10 && y == 10)) {
                      return Side::kBackground;
                  }
                  return x > 4 ? Side::kLikelyObject : Side::kLikelyBackground;
              }));
}

TEST(SegmentationTest, ACutStepsUntilFewPixelsChange) {
    const auto steps = [](double precision, int32_t iterations, std::vector<size_t> changes) {
        MadeUpBackend backend;
        backend.changes = std::move(changes);
        SegmentationTask task = task_of(SegmentationMethod::kGraphCut, left_and_right(), backend);
        task.hints.rectangles = {{2, 3, 5, 4}};
        task.precision = precision;
        task.iterations = iterations;
        int checkpoints = 0;
        segment(task, [&] { ++checkpoints; });
        EXPECT_EQ(checkpoints, static_cast<int>(backend.steps));
        return backend.steps;
    };
    static_assert(kWidth * kHeight == 320);
    EXPECT_EQ(steps(2.5, 50, {100, 9, 8, 7}), 3U);  // eight are 2.5 percent
    EXPECT_EQ(steps(2.49, 50, {100, 9, 8, 7}), 4U);
    EXPECT_EQ(steps(0, 50, {100, 9, 1, 0}), 4U);
    EXPECT_EQ(steps(100, 50, {320}), 1U);
    EXPECT_EQ(steps(0, 2, {100, 90}), 2U);
}

TEST(SegmentationTest, TheAnswerOfACutAreItsLabels) {
    MadeUpBackend backend;
    backend.changes = {0};
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, left_and_right(), backend);
    task.hints.rectangles = {{2, 3, 5, 4}};
    backend.answer = everywhere<Side>([](int32_t x, int32_t y) { return static_cast<Side>((x + 3 * y) % 4); });
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>([](int32_t x, int32_t y) { return (x + 3 * y) % 2; }));
}

TEST(SegmentationTest, WithOneSideAloneThereIsNothingToCut) {
    MadeUpBackend backend;  // which has no answer for a step
    SegmentationTask task = task_of(SegmentationMethod::kGraphCut, left_and_right(), backend);
    task.hints.rectangles = {{0, 0, kWidth, kHeight}};
    EXPECT_EQ(segment(task, kGoOn).labels, Labels(kWidth * kHeight, 1));
    task.hints = {};
    task.hints.points = {{{1, 1}}};
    EXPECT_EQ(segment(task, kGoOn).labels, Labels(kWidth * kHeight, 0));
    EXPECT_TRUE(backend.asked.empty());
}

// ---- Clusters

TEST(SegmentationTest, ClustersAreCountedFromTheEdgeInwards) {
    MadeUpBackend backend;
    // The background has most of the edge; of two others the lower one begins farther to the left.
    AreaPixels pixels = one_color(kWidth, kHeight, gray(10));
    const RectangleValue upper{12, 2, 4, 4}, lower{0, 8, 9, 8};
    const auto paint = [&](const RectangleValue& area, uint32_t color) {
        for (int32_t y = area.y; y < area.y + area.height; ++y) {
            for (int32_t x = area.x; x < area.x + area.width; ++x) {
                pixels.argb[pixels.at({x, y})] = color;
            }
        }
    };
    paint(upper, gray(120));
    paint(lower, gray(240));
    for (const auto method : {SegmentationMethod::kKMeans, SegmentationMethod::kFuzzyCMeans}) {
        SegmentationTask task = task_of(method, pixels, backend);
        task.objects = 3;
        EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>([&](int32_t x, int32_t y) {
                      return is_inside(upper, x, y) ? 1 : is_inside(lower, x, y) ? 2 : 0;
                  }));
    }
}

TEST(SegmentationTest, TheBackgroundHasTheMostPixelsOfTheEdge) {
    MadeUpBackend backend;
    // Along the edge stretches of five pixels each have their own color, but for one of six.
    std::vector<PointValue> edge;
    for (int32_t x = 0; x < kWidth; ++x) {
        edge.push_back({x, 0});
    }
    for (int32_t y = 1; y < kHeight; ++y) {
        edge.push_back({kWidth - 1, y});
    }
    for (int32_t x = kWidth - 2; x >= 0; --x) {
        edge.push_back({x, kHeight - 1});
    }
    for (int32_t y = kHeight - 2; y > 0; --y) {
        edge.push_back({0, y});
    }
    ASSERT_EQ(edge.size(), 68U);
    for (size_t longer = 0; longer < 13; ++longer) {
        AreaPixels pixels = one_color(kWidth, kHeight, gray(250));
        std::vector<int> stretch;  // of each place of the edge
        for (size_t at = 0, number = 0; at < edge.size(); ++number) {
            for (size_t i = 0; i < (number == longer ? 6U : 5U) && at < edge.size(); ++i, ++at) {
                pixels.argb[pixels.at(edge[at])] = gray(static_cast<uint32_t>(4 + 16 * number));
                stretch.push_back(static_cast<int>(number));
            }
        }
        SegmentationTask task = task_of(SegmentationMethod::kKMeans, pixels, backend);
        task.objects = 15;
        const Labels labels = segment(task, kGoOn).labels;
        for (size_t at = 0; at < edge.size(); ++at) {
            EXPECT_EQ(labels[pixels.at(edge[at])] == 0, stretch[at] == static_cast<int>(longer)) << longer << ' ' << at;
        }
        EXPECT_NE(labels[pixels.at({5, 5})], 0);
    }
}

TEST(SegmentationTest, NamedClustersKeepTheirNumbersAndPlaces) {
    MadeUpBackend backend;
    const AreaPixels pixels = left_and_right();
    SegmentationTask task = task_of(SegmentationMethod::kKMeans, pixels, backend);
    const auto bright_is = [&](int32_t object) {
        return [object](int32_t x, int32_t) { return (x >= kWidth / 2) == (object == 1) ? 1 : 0; };
    };
    task.hints.points = {{}, {{3, 3}}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(0)));
    task.hints.points = {{{3, 3}, {4, 3}}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(1)));
    task.hints = {};
    task.hints.rectangles = {{12, 5, 3, 3}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(1)));
    task.hints.rectangles = {{2, 5, 3, 3}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(0)));
    task.hints.points = {{}, {{15, 3}}};  // points say more than a rectangle
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(1)));
    task.hints = {};
    task.hints.orphans = {{15, 3}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>(bright_is(0)));
    // Places that are named belong where it was said, whatever color they have.
    task.hints.points = {{{2, 2}}, {{15, 3}, {1, 1}, {14, 3}, {13, 3}}};
    task.hints.orphans = {{16, 4}};
    EXPECT_EQ(segment(task, kGoOn).labels, everywhere<int32_t>([&](int32_t x, int32_t y) {
                  return is_at({{1, 1}}, x, y) ? 1 : is_at({{16, 4}}, x, y) ? 0 : x >= kWidth / 2 ? 1 : 0;
              }));
}

TEST(SegmentationTest, AnImprovementOfClustersBeginsAtTheirMeans) {
    MadeUpBackend backend;
    AreaPixels pixels = left_and_right();
    for (int32_t y = 0; y < kHeight; ++y) {  // more than a half is bright
        pixels.argb[pixels.at({kWidth / 2 - 1, y})] = gray(200);
    }
    SegmentationTask task = task_of(SegmentationMethod::kKMeans, pixels, backend);
    for (const bool bright_first : {false, true}) {
        // The dark part was object 1, and the bright one the background; or the other way round.
        task.before =
            everywhere<int32_t>([&](int32_t x, int32_t) { return (x >= kWidth / 2 - 1) == bright_first ? 1 : 0; });
        EXPECT_EQ(segment(task, kGoOn).labels, task.before);
        task.hints.points = {{}, {{kWidth - 1, 0}}};  // what is said now counts more
        EXPECT_EQ(segment(task, kGoOn).labels,
                  everywhere<int32_t>([](int32_t x, int32_t) { return x >= kWidth / 2 - 1 ? 1 : 0; }));
        task.hints = {};
    }
}

TEST(SegmentationTest, RoundsOfClustersAreThoseOfTheTask) {
    MadeUpBackend backend;
    const auto checkpoints = [&](double precision, int32_t iterations) {
        SegmentationTask task = task_of(SegmentationMethod::kKMeans, noisy(kWidth, kHeight, 5), backend);
        task.objects = 3;
        task.precision = precision;
        task.iterations = iterations;
        int count = 0;
        segment(task, [&] { ++count; });
        return count;
    };
    EXPECT_EQ(checkpoints(0, 1), 2);  // one before each round, and one behind them
    EXPECT_EQ(checkpoints(0, 3), 4);
    EXPECT_EQ(checkpoints(1000, 3), 2);
}

// ---- Watershed

TEST(SegmentationTest, AFloodStartsWhereObjectsAreNamed) {
    MadeUpBackend backend;
    SegmentationTask task = task_of(SegmentationMethod::kWatershed, left_and_right(), backend);
    task.objects = 4;
    task.hints.points = {{{0, 0}}, {}, {{9, 9}}};
    const RectangleValue first{2, 3, 5, 4}, second{8, 8, 6, 5}, third{0, 13, 3, 3};
    task.hints.rectangles = {first, second, third};
    task.hints.orphans = {{3, 3}};
    segment(task, kGoOn);
    EXPECT_EQ(backend.flooded, everywhere<int32_t>([&](int32_t x, int32_t y) {
                  if (is_at({{0, 0}, {3, 3}}, x, y)) {
                      return 0;
                  }
                  if (x == 9 && y == 9) {
                      return 2;
                  }
                  if (x == 4 && y == 5) {  // the middle of the first rectangle
                      return 1;
                  }
                  if (x == 1 && y == 14) {  // and of the third
                      return 3;
                  }
                  return is_inside(first, x, y) || is_inside(second, x, y) || is_inside(third, x, y) ? -1 : 0;
              }));
    task.hints.rectangles.clear();
    segment(task, kGoOn);
    EXPECT_EQ(std::count(backend.flooded.begin(), backend.flooded.end(), -1), kWidth * kHeight - 3);
    backend.flooded.clear();
    EXPECT_THROW(segment(task, [] { throw 1; }), int);
    EXPECT_TRUE(backend.flooded.empty());
}

TEST(SegmentationTest, WhatIsSaidLaterCounts) {
    MaskingHints hints, more;
    hints.points = {{{1, 1}, {2, 2}}, {{3, 3}}};
    hints.orphans = {{4, 4}, {5, 5}};
    hints.rectangles = {{0, 0, 1, 1}};
    more.points = {{{4, 4}}, {{1, 1}}, {{9, 9}}};
    more.orphans = {{3, 3}};
    more.rectangles = {{1, 1, 2, 2}};
    hints.add(more);
    EXPECT_EQ(hints.points, (std::vector<std::vector<PointValue>>{{{2, 2}, {4, 4}}, {{1, 1}}, {{9, 9}}}));
    EXPECT_EQ(hints.orphans, (std::vector<PointValue>{{5, 5}, {3, 3}}));
    EXPECT_EQ(hints.rectangles, (std::vector<RectangleValue>{{0, 0, 1, 1}, {1, 1, 2, 2}}));
    EXPECT_EQ(hints.named_objects(), 3U);
    hints.points.clear();
    EXPECT_EQ(hints.named_objects(), 3U);
    hints.rectangles.clear();
    EXPECT_EQ(hints.named_objects(), 0U);
    EXPECT_FALSE(hints.empty());
    hints.orphans.clear();
    EXPECT_TRUE(hints.empty());
}

TEST(SegmentationTest, BytesOfAPixelAreThoseThatAreDocumented) {
    EXPECT_EQ(segmentation_bytes(SegmentationMethod::kGraphCut), 328U);
    EXPECT_EQ(segmentation_bytes(SegmentationMethod::kWatershed), 32U);
    EXPECT_EQ(segmentation_bytes(SegmentationMethod::kKMeans), 32U);
    EXPECT_EQ(segmentation_bytes(SegmentationMethod::kFuzzyCMeans), 32U);
    EXPECT_EQ(segmentation_bytes(SegmentationMethod::kManual), 8U);
}

}  // namespace
}  // namespace zelmor::embed
