// The methods that tell objects from their background; see segmentation.h.
#include "runtime/native/behaviors/masking/segmentation.h"

#include <algorithm>
#include <cassert>
#include <set>
#include <utility>

#include "runtime/native/behaviors/masking/clusters.h"
#include "runtime/native/behaviors/masking/strokes.h"

namespace zelmor::embed {

using maskwork::Side;

void MaskingHints::add(const MaskingHints& other) {
    std::set<std::pair<int32_t, int32_t>> named;
    const auto name = [&](const std::vector<PointValue>& places) {
        for (const PointValue place : places) {
            named.insert({place.x, place.y});
        }
    };
    std::for_each(other.points.begin(), other.points.end(), name);
    name(other.orphans);
    const auto forget = [&](std::vector<PointValue>& places) {
        std::erase_if(places, [&](PointValue place) { return named.contains({place.x, place.y}); });
    };
    std::for_each(points.begin(), points.end(), forget);
    forget(orphans);
    if (points.size() < other.points.size()) {
        points.resize(other.points.size());
    }
    for (size_t i = 0; i < other.points.size(); ++i) {
        points[i].insert(points[i].end(), other.points[i].begin(), other.points[i].end());
    }
    rectangles.insert(rectangles.end(), other.rectangles.begin(), other.rectangles.end());
    orphans.insert(orphans.end(), other.orphans.begin(), other.orphans.end());
}

namespace {

template <class Use>
void for_each_pixel(const AreaPixels& pixels, const RectangleValue& area, Use&& use) {
    for (int32_t y = area.y; y < area.y + area.height; ++y) {
        for (int32_t x = area.x; x < area.x + area.width; ++x) {
            use(pixels.at({x, y}));
        }
    }
}

// ---- Graph cut

// The sides of the pixels that nothing is said of: that of the nearest color among the places that are known.
void side_with_similar(const AreaPixels& pixels, std::vector<Side>& sides, const std::vector<uint8_t>& known) {
    constexpr size_t kColors = 8;  // that each side is described by
    std::vector<uint32_t> samples[2];
    for (size_t i = 0; i < sides.size(); ++i) {
        if (known[i] != 0) {
            samples[is_object(sides[i]) ? 1 : 0].push_back(pixels.argb[i]);
        }
    }
    if (samples[0].empty() || samples[1].empty()) {
        return;
    }
    const std::vector<ColorPoint> background = first_centers(ColorCounts(samples[0]), kColors, {});
    const std::vector<ColorPoint> object = first_centers(ColorCounts(samples[1]), kColors, {});
    for (size_t i = 0; i < sides.size(); ++i) {
        if (known[i] == 0) {
            const ColorPoint color = color_point(pixels.argb[i]);
            const double to_background = squared_distance(background[nearest_center(background, color)], color);
            const double to_object = squared_distance(object[nearest_center(object, color)], color);
            sides[i] = to_object < to_background ? Side::kLikelyObject : Side::kLikelyBackground;
        }
    }
}

class CutSides {
 public:
    CutSides(const SegmentationTask& task, DefaultStrokes& strokes, const Checkpoint& checkpoint)
        : m_pixels(*task.pixels), m_sides(m_pixels.size(), Side::kLikelyBackground) {
        if (!task.before.empty()) {
            std::transform(task.before.begin(), task.before.end(), m_sides.begin(),
                           [](int32_t label) { return label != 0 ? Side::kLikelyObject : Side::kLikelyBackground; });
            mark_outside(task.hints.rectangles);
        } else if (task.find_strokes) {
            FoundStrokes found = find_strokes(m_pixels, task.assumed, checkpoint);
            std::transform(found.stands_out.begin(), found.stands_out.end(), m_sides.begin(), [](uint8_t stands_out) {
                return stands_out != 0 ? Side::kLikelyObject : Side::kLikelyBackground;
            });
            std::vector<RectangleValue> rectangles = found.strokes.rectangles;
            rectangles.insert(rectangles.end(), task.hints.rectangles.begin(), task.hints.rectangles.end());
            mark_outside(rectangles);
            mark(found.strokes.background, Side::kBackground);
            mark(found.strokes.foreground, Side::kObject);
            strokes = std::move(found.strokes);
        } else if (!task.hints.rectangles.empty()) {
            std::fill(m_sides.begin(), m_sides.end(), Side::kLikelyObject);
            mark_outside(task.hints.rectangles);
        } else {
            side_by_points(task.hints);
        }
        mark_points(task.hints);
    }
    std::vector<Side> take() { return std::move(m_sides); }

 private:
    void mark(const std::vector<PointValue>& points, Side side) {
        for (const PointValue point : points) {
            m_sides[m_pixels.at(point)] = side;
        }
    }
    void mark_points(const MaskingHints& hints) {
        for (size_t i = 0; i < hints.points.size(); ++i) {
            mark(hints.points[i], i == 0 ? Side::kBackground : Side::kObject);
        }
        mark(hints.orphans, Side::kBackground);
    }
    // Rectangles stand around all objects: nothing outside of them belongs to one.
    void mark_outside(const std::vector<RectangleValue>& rectangles) {
        if (rectangles.empty()) {
            return;
        }
        std::vector<uint8_t> inside(m_sides.size(), 0);
        for (const RectangleValue& rectangle : rectangles) {
            for_each_pixel(m_pixels, rectangle, [&](size_t at) { inside[at] = 1; });
        }
        for (size_t i = 0; i < m_sides.size(); ++i) {
            if (inside[i] == 0) {
                m_sides[i] = Side::kBackground;
            }
        }
    }
    // With points alone: each other pixel takes the side of the points that have the more similar colors. Where no
    // point says what is background, the edge of the area does.
    void side_by_points(const MaskingHints& hints) {
        std::vector<uint8_t> known(m_sides.size(), 0);
        const bool names_background = (!hints.points.empty() && !hints.points[0].empty()) || !hints.orphans.empty();
        if (!names_background) {
            const int32_t w = m_pixels.width, h = m_pixels.height;
            for (const RectangleValue& edge : {RectangleValue{0, 0, w, 1}, RectangleValue{0, h - 1, w, 1},
                                               RectangleValue{0, 0, 1, h}, RectangleValue{w - 1, 0, 1, h}}) {
                for_each_pixel(m_pixels, edge, [&](size_t at) { known[at] = 1; });
            }
        }
        mark_points(hints);
        for (size_t i = 0; i < m_sides.size(); ++i) {
            if (m_sides[i] == Side::kBackground || m_sides[i] == Side::kObject) {
                known[i] = 1;
            }
        }
        side_with_similar(m_pixels, m_sides, known);
    }

    const AreaPixels& m_pixels;
    std::vector<Side> m_sides;
};

Segmentation cut(const SegmentationTask& task, const Checkpoint& checkpoint) {
    Segmentation result;
    std::vector<Side> sides = CutSides(task, result.strokes, checkpoint).take();
    const auto label_all = [&](std::span<const Side> found) {
        std::transform(found.begin(), found.end(), std::back_inserter(result.labels),
                       [](Side side) { return is_object(side) ? 1 : 0; });
    };
    const bool undecided = std::any_of(sides.begin(), sides.end(), maskwork::is_object) &&
                           !std::all_of(sides.begin(), sides.end(), maskwork::is_object);
    if (!undecided) {
        label_all(sides);
        return result;
    }
    const AreaPixels& pixels = *task.pixels;
    const auto cutting = task.backend->graph_cut({pixels.width, pixels.height, pixels.argb}, std::move(sides));
    for (int32_t i = 0; i < task.iterations; ++i) {
        checkpoint();
        if (static_cast<double>(cutting->step()) * 100 <= task.precision * static_cast<double>(pixels.size())) {
            break;
        }
    }
    label_all(cutting->sides());
    return result;
}

// ---- Clusters

ColorPoint mean_color(const AreaPixels& pixels, const std::vector<size_t>& places) {
    ColorPoint mean;
    for (const size_t at : places) {
        const ColorPoint color = color_point(pixels.argb[at]);
        mean.red += color.red;
        mean.green += color.green;
        mean.blue += color.blue;
    }
    const auto count = static_cast<double>(places.size());
    return {mean.red / count, mean.green / count, mean.blue / count};
}

// The places that are known to belong to each object: its points; without points, the pixels of its rectangle.
std::vector<std::vector<size_t>> known_places(const SegmentationTask& task) {
    const AreaPixels& pixels = *task.pixels;
    std::vector<std::vector<size_t>> places(static_cast<size_t>(task.objects));
    for (size_t i = 0; i < task.hints.points.size(); ++i) {
        for (const PointValue point : task.hints.points[i]) {
            places[i].push_back(pixels.at(point));
        }
    }
    for (size_t i = 0; i < task.hints.rectangles.size(); ++i) {
        if (places[i + 1].empty()) {
            for_each_pixel(pixels, task.hints.rectangles[i], [&](size_t at) { places[i + 1].push_back(at); });
        }
    }
    for (const PointValue point : task.hints.orphans) {
        places[0].push_back(pixels.at(point));
    }
    return places;
}

// Without a word of the program the background is the cluster with the most pixels at the edge of the area; the others
// are counted by their first pixels.
void number_clusters(const AreaPixels& pixels, Labels& labels, size_t count) {
    std::vector<uint64_t> at_edge(count, 0);
    std::vector<size_t> first(count, labels.size());
    for (size_t i = 0; i < labels.size(); ++i) {
        const auto cluster = static_cast<size_t>(labels[i]);
        const size_t x = i % static_cast<size_t>(pixels.width), y = i / static_cast<size_t>(pixels.width);
        const bool edge = x == 0 || y == 0 || x + 1 == static_cast<size_t>(pixels.width) ||
                          y + 1 == static_cast<size_t>(pixels.height);
        at_edge[cluster] += edge ? 1 : 0;
        first[cluster] = std::min(first[cluster], i);
    }
    const auto background = static_cast<size_t>(std::max_element(at_edge.begin(), at_edge.end()) - at_edge.begin());
    std::vector<size_t> order;
    for (size_t i = 0; i < count; ++i) {
        if (i != background) {
            order.push_back(i);
        }
    }
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return first[a] < first[b]; });
    std::vector<int32_t> numbers(count, 0);
    for (size_t i = 0; i < order.size(); ++i) {
        numbers[order[i]] = static_cast<int32_t>(i) + 1;
    }
    for (int32_t& label : labels) {
        label = numbers[static_cast<size_t>(label)];
    }
}

Segmentation cluster(const SegmentationTask& task, const Checkpoint& checkpoint) {
    const AreaPixels& pixels = *task.pixels;
    const auto count = static_cast<size_t>(task.objects);
    const std::vector<std::vector<size_t>> places = known_places(task);
    std::vector<std::optional<ColorPoint>> given(count);
    bool any_given = false;
    for (size_t i = 0; i < count; ++i) {
        if (!places[i].empty()) {
            given[i] = mean_color(pixels, places[i]);
            any_given = true;
        }
    }
    if (!task.before.empty()) {
        std::vector<std::vector<size_t>> earlier(count);
        for (size_t i = 0; i < task.before.size(); ++i) {
            earlier[static_cast<size_t>(task.before[i]) % count].push_back(i);
        }
        for (size_t i = 0; i < count; ++i) {
            if (!given[i] && !earlier[i].empty()) {
                given[i] = mean_color(pixels, earlier[i]);
                any_given = true;
            }
        }
    }
    const ColorCounts colors(pixels.argb);
    std::vector<ColorPoint> centers = first_centers(colors, count, given);
    const ClusterWork work{task.precision, task.iterations};
    if (task.method == SegmentationMethod::kKMeans) {
        k_means(colors, centers, work, checkpoint);
    } else {
        fuzzy_c_means(colors, centers, work, checkpoint);
    }
    checkpoint();
    Segmentation result;
    std::vector<int32_t> nearest;
    for (const uint32_t color : colors.colors) {
        nearest.push_back(static_cast<int32_t>(nearest_center(centers, color_point(color))));
    }
    for (const uint32_t color : pixels.argb) {
        const auto found = std::lower_bound(colors.colors.begin(), colors.colors.end(), color);
        result.labels.push_back(nearest[static_cast<size_t>(found - colors.colors.begin())]);
    }
    if (!any_given) {
        number_clusters(pixels, result.labels, centers.size());
        return result;
    }
    for (size_t i = 0; i < task.hints.points.size(); ++i) {
        for (const PointValue point : task.hints.points[i]) {
            result.labels[pixels.at(point)] = static_cast<int32_t>(i);
        }
    }
    for (const PointValue point : task.hints.orphans) {
        result.labels[pixels.at(point)] = 0;
    }
    return result;
}

// ---- Watershed

// The flood starts at the points of each object; without points, at the pixel in the middle of its rectangle. What is
// outside of all rectangles is background.
Segmentation flood(const SegmentationTask& task, const Checkpoint& checkpoint) {
    const AreaPixels& pixels = *task.pixels;
    const MaskingHints& hints = task.hints;
    Segmentation result;
    Labels& labels = result.labels;
    labels.assign(pixels.size(), hints.rectangles.empty() ? -1 : 0);
    for (const RectangleValue& rectangle : hints.rectangles) {
        for_each_pixel(pixels, rectangle, [&](size_t at) { labels[at] = -1; });
    }
    for (size_t i = 0; i < hints.rectangles.size(); ++i) {
        if (i + 1 >= hints.points.size() || hints.points[i + 1].empty()) {
            const RectangleValue& r = hints.rectangles[i];
            labels[pixels.at({r.x + r.width / 2, r.y + r.height / 2})] = static_cast<int32_t>(i) + 1;
        }
    }
    for (size_t i = 0; i < hints.points.size(); ++i) {
        for (const PointValue point : hints.points[i]) {
            labels[pixels.at(point)] = static_cast<int32_t>(i);
        }
    }
    for (const PointValue point : hints.orphans) {
        labels[pixels.at(point)] = 0;
    }
    checkpoint();
    task.backend->watershed({pixels.width, pixels.height, pixels.argb}, labels);
    return result;
}

}  // namespace

Segmentation segment(const SegmentationTask& task, const Checkpoint& checkpoint) {
    assert(task.pixels != nullptr && !task.pixels->argb.empty());
    assert(task.before.empty() || task.before.size() == task.pixels->size());
    switch (task.method) {
        case SegmentationMethod::kGraphCut:
            return cut(task, checkpoint);
        case SegmentationMethod::kKMeans:
        case SegmentationMethod::kFuzzyCMeans:
            return cluster(task, checkpoint);
        case SegmentationMethod::kWatershed:
            return flood(task, checkpoint);
        case SegmentationMethod::kManual:
            break;
    }
    assert(false && "a mask by hand is drawn, not found");
    return {};
}

uint64_t segmentation_bytes(SegmentationMethod method) {
    constexpr uint64_t kLabelsAndPixels = 8;
    switch (method) {
        case SegmentationMethod::kGraphCut:
            return kLabelsAndPixels + maskwork::kGraphCutBytes;
        case SegmentationMethod::kKMeans:
        case SegmentationMethod::kFuzzyCMeans:
            return kLabelsAndPixels + 24;  // the colors in order, and the places of each object
        case SegmentationMethod::kWatershed:
            return kLabelsAndPixels + maskwork::kWatershedBytes;
        case SegmentationMethod::kManual:
            return kLabelsAndPixels;
    }
    return kLabelsAndPixels;
}

}  // namespace zelmor::embed
