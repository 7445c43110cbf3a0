// Finding strokes; see strokes.h.
#include "runtime/native/behaviors/masking/strokes.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "runtime/native/behaviors/masking/clusters.h"

namespace zelmor::embed {

namespace {

constexpr size_t kMostPoints = 256;      // of a stroke
constexpr size_t kBackgroundColors = 4;  // that the background is described by
constexpr size_t kLevels = 442;          // whole distances between two colors: the root of 3 * 255 * 255, and zero

bool contains(const RectangleValue& rectangle, int32_t x, int32_t y) {
    return x >= rectangle.x && y >= rectangle.y && x - rectangle.x < rectangle.width &&
           y - rectangle.y < rectangle.height;
}

// The part of a rectangle where its object is most likely.
RectangleValue core_of(const RectangleValue& bounds, DetectedObjectType type) {
    const int32_t aside = type == DetectedObjectType::kHuman ? bounds.width / 4 : bounds.width / 8;
    const int32_t above = bounds.height / 8;
    return {bounds.x + aside, bounds.y + above, bounds.width - 2 * aside, bounds.height - 2 * above};
}

std::vector<AssumedObject> objects_to_look_for(const AreaPixels& pixels, const std::vector<AssumedObject>& assumed) {
    if (!assumed.empty()) {
        return assumed;
    }
    const int32_t shorter = std::min(pixels.width, pixels.height);
    const int32_t margin = shorter < 3 ? 0 : std::max(1, shorter / 20);
    return {{DetectedObjectType::kOther, {margin, margin, pixels.width - 2 * margin, pixels.height - 2 * margin}}};
}

// The edge of the area, clockwise from its corner; without the pixels inside the rectangles, if others are left.
std::vector<PointValue> edge_of(const AreaPixels& pixels, const std::vector<AssumedObject>& objects) {
    std::vector<PointValue> all;
    const int32_t right = pixels.width - 1, bottom = pixels.height - 1;
    for (int32_t x = 0; x <= right; ++x) {
        all.push_back({x, 0});
    }
    for (int32_t y = 1; y <= bottom; ++y) {
        all.push_back({right, y});
    }
    for (int32_t x = right - 1; x >= 0 && bottom > 0; --x) {
        all.push_back({x, bottom});
    }
    for (int32_t y = bottom - 1; y > 0 && right > 0; --y) {
        all.push_back({0, y});
    }
    std::vector<PointValue> outside;
    std::copy_if(all.begin(), all.end(), std::back_inserter(outside), [&](PointValue point) {
        return std::none_of(objects.begin(), objects.end(),
                            [&](const AssumedObject& object) { return contains(object.bounds, point.x, point.y); });
    });
    return outside.empty() ? all : outside;
}

// So many of the points that they are no more than a stroke has, at equal distances.
std::vector<PointValue> thinned(const std::vector<PointValue>& points) {
    const size_t step = (points.size() + kMostPoints - 1) / kMostPoints;
    std::vector<PointValue> result;
    for (size_t i = 0; i < points.size(); i += std::max<size_t>(1, step)) {
        result.push_back(points[i]);
    }
    return result;
}

// The level that divides the values into two groups that differ most (Otsu's method); those above it are the second.
size_t dividing_level(const std::array<uint64_t, kLevels>& counts) {
    double total = 0, weighted = 0;
    for (size_t i = 0; i < kLevels; ++i) {
        total += static_cast<double>(counts[i]);
        weighted += static_cast<double>(counts[i]) * static_cast<double>(i);
    }
    double below = 0, weighted_below = 0, best = -1;
    size_t level = 0;
    for (size_t i = 0; i + 1 < kLevels; ++i) {
        below += static_cast<double>(counts[i]);
        weighted_below += static_cast<double>(counts[i]) * static_cast<double>(i);
        const double above = total - below;
        if (below == 0 || above == 0) {
            continue;
        }
        const double difference = weighted_below / below - (weighted - weighted_below) / above;
        const double between = below * above * difference * difference;
        if (between > best) {
            best = between;
            level = i;
        }
    }
    return level;
}

}  // namespace

FoundStrokes find_strokes(const AreaPixels& pixels, const std::vector<AssumedObject>& assumed,
                          const Checkpoint& checkpoint) {
    const std::vector<AssumedObject> objects = objects_to_look_for(pixels, assumed);
    const std::vector<PointValue> edge = edge_of(pixels, objects);
    std::vector<uint32_t> edge_colors;
    for (const PointValue point : edge) {
        edge_colors.push_back(pixels.argb[pixels.at(point)]);
    }
    const ColorCounts counts(edge_colors);
    std::vector<ColorPoint> centers = first_centers(counts, kBackgroundColors, {});
    k_means(counts, centers, {1, 20}, checkpoint);

    FoundStrokes found;
    found.strokes.background = thinned(edge);
    found.stands_out.assign(pixels.size(), 0);
    std::vector<uint16_t> contrast(pixels.size());
    for (size_t i = 0; i < contrast.size(); ++i) {
        const ColorPoint color = color_point(pixels.argb[i]);
        contrast[i] =
            static_cast<uint16_t>(std::sqrt(squared_distance(centers[nearest_center(centers, color)], color)));
    }
    checkpoint();
    for (const AssumedObject& object : objects) {
        const RectangleValue& bounds = object.bounds;
        found.strokes.rectangles.push_back(bounds);
        std::array<uint64_t, kLevels> levels{};
        const auto for_each = [&](const RectangleValue& area, const auto& use) {
            for (int32_t y = area.y; y < area.y + area.height; ++y) {
                for (int32_t x = area.x; x < area.x + area.width; ++x) {
                    use(PointValue{x, y}, pixels.at({x, y}));
                }
            }
        };
        for_each(bounds, [&](PointValue, size_t at) { ++levels[contrast[at]]; });
        const size_t level = dividing_level(levels);
        for_each(bounds, [&](PointValue, size_t at) {
            found.stands_out[at] = found.stands_out[at] != 0 || contrast[at] > level ? 1 : 0;
        });
        std::vector<PointValue> places;
        for (const RectangleValue& where : {core_of(bounds, object.type), bounds}) {
            if (places.empty()) {
                for_each(where, [&](PointValue point, size_t at) {
                    if (contrast[at] > level) {
                        places.push_back(point);
                    }
                });
            }
        }
        const std::vector<PointValue> some = thinned(places);
        found.strokes.foreground.insert(found.strokes.foreground.end(), some.begin(), some.end());
    }
    return found;
}

}  // namespace zelmor::embed
