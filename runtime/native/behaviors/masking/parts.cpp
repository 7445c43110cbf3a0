// Connected parts and soft edges of masks; see parts.h.
#include "runtime/native/behaviors/masking/parts.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace zelmor::embed {

int32_t number_parts(Labels& labels, int32_t width, int32_t height) {
    assert(labels.size() == static_cast<size_t>(width) * static_cast<size_t>(height));
    // Numbers that are given already are negative until the end.
    int32_t count = 0;
    std::vector<size_t> waiting;
    const auto columns = static_cast<size_t>(width);
    for (size_t start = 0; start < labels.size(); ++start) {
        const int32_t object = labels[start];
        if (object <= 0) {
            continue;
        }
        ++count;
        labels[start] = -count;
        waiting.push_back(start);
        while (!waiting.empty()) {
            const size_t at = waiting.back();
            waiting.pop_back();
            const auto x = static_cast<int32_t>(at % columns), y = static_cast<int32_t>(at / columns);
            for (int32_t ny = std::max(0, y - 1); ny <= std::min(height - 1, y + 1); ++ny) {
                for (int32_t nx = std::max(0, x - 1); nx <= std::min(width - 1, x + 1); ++nx) {
                    const size_t next = static_cast<size_t>(ny) * columns + static_cast<size_t>(nx);
                    if (labels[next] == object) {
                        labels[next] = -count;
                        waiting.push_back(next);
                    }
                }
            }
        }
    }
    for (int32_t& label : labels) {
        label = -label;
    }
    return count;
}

namespace {

std::vector<float> weights_of(int32_t radius) {
    std::vector<float> weights;
    const double deviation = radius / 2.0;
    double sum = 0;
    for (int32_t i = -radius; i <= radius; ++i) {
        sum += std::exp(-double(i) * i / (2 * deviation * deviation));
    }
    for (int32_t i = -radius; i <= radius; ++i) {
        weights.push_back(static_cast<float>(std::exp(-double(i) * i / (2 * deviation * deviation)) / sum));
    }
    return weights;
}

// Means over a row of values; where all values of a window are equal, it is that value.
void blur_line(const float* from, float* to, size_t count, const std::vector<float>& weights) {
    const auto radius = static_cast<int64_t>(weights.size() / 2);
    const auto last = static_cast<int64_t>(count) - 1;
    int64_t equal_from = 0;  // the first of the equal values that end at `reached`
    int64_t reached = 0;
    const auto value = [&](int64_t i) { return from[static_cast<size_t>(std::clamp<int64_t>(i, 0, last))]; };
    for (int64_t i = 0; i <= last; ++i) {
        while (reached < std::min(last, i + radius)) {
            ++reached;
            if (value(reached) != value(reached - 1)) {
                equal_from = reached;
            }
        }
        float mean = value(i);
        if (equal_from > std::max<int64_t>(0, i - radius)) {
            mean = 0;
            int64_t at = i - radius;
            for (const float weight : weights) {
                mean += value(at++) * weight;
            }
        }
        to[static_cast<size_t>(i)] = mean;
    }
}

}  // namespace

std::vector<uint8_t> feathered(std::vector<uint8_t> mask, int32_t width, int32_t height, int32_t radius) {
    assert(radius >= 0 && radius <= kMostFeathering);
    if (radius == 0 || mask.empty()) {
        return mask;
    }
    const auto columns = static_cast<size_t>(width), rows = static_cast<size_t>(height);
    assert(mask.size() == columns * rows);
    const std::vector<float> weights = weights_of(radius);
    std::vector<float> across(mask.size());
    std::vector<float> line(columns);
    for (size_t y = 0; y < rows; ++y) {
        std::copy_n(mask.begin() + static_cast<std::ptrdiff_t>(y * columns), columns, line.begin());
        blur_line(line.data(), &across[y * columns], columns, weights);
    }
    std::vector<float> down(rows), blurred(rows);
    for (size_t x = 0; x < columns; ++x) {
        for (size_t y = 0; y < rows; ++y) {
            down[y] = across[y * columns + x];
        }
        blur_line(down.data(), blurred.data(), rows, weights);
        for (size_t y = 0; y < rows; ++y) {
            mask[y * columns + x] = static_cast<uint8_t>(std::clamp(std::lround(blurred[y]), 0L, 255L));
        }
    }
    return mask;
}

}  // namespace zelmor::embed
