// The angle of lines of text. Dark pixels are projected onto upright axes of many slopes; where lines and the gaps
// between them fall together, the projection has its sharpest steps.
#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kWorkingSide = 1000;      // larger pictures are scaled down to it
constexpr size_t kMostPoints = 120000;  // what has more is looked at in part
constexpr double kMostDegrees = 30.0;

struct Point {
    float x, y;
};

std::vector<Point> dark_points(const VImage& picture) {
    VImage gray = as_8_bit(luma(picture));
    const int side = std::max(gray.width(), gray.height());
    if (side > kWorkingSide) {
        gray = gray.resize(static_cast<double>(kWorkingSide) / side);
    }
    // Half way between paper and ink, wherever these lie.
    const double paper = gray.max();
    const double ink = gray.min();
    const VImage dark = (gray < (paper + ink) / 2).copy_memory();
    const auto* pixel = static_cast<const uint8_t*>(dark.data());
    std::vector<Point> points;
    for (int y = 0; y < dark.height(); y++) {
        for (int x = 0; x < dark.width(); x++) {
            if (*pixel++ != 0) {
                points.push_back({static_cast<float>(x), static_cast<float>(y)});
            }
        }
    }
    if (points.size() <= kMostPoints) {
        return points;
    }
    // Whole pixels apart by a step that no width has as its divisor for long.
    const size_t step = points.size() / kMostPoints + 1;
    std::vector<Point> some;
    for (size_t i = 0; i < points.size(); i += step) {
        some.push_back(points[i]);
    }
    return some;
}

double sharpness(const std::vector<Point>& points, double degrees, std::vector<int>& rows) {
    const double angle = degrees * std::acos(-1.0) / 180.0;
    const auto sine = static_cast<float>(std::sin(angle));
    const auto cosine = static_cast<float>(std::cos(angle));
    std::fill(rows.begin(), rows.end(), 0);
    const auto middle = static_cast<float>(rows.size()) / 2;
    for (const Point& point : points) {
        const auto row = static_cast<size_t>(point.y * cosine - point.x * sine + middle);
        if (row < rows.size()) {
            rows[row]++;
        }
    }
    double result = 0;
    for (size_t i = 1; i < rows.size(); i++) {
        const double step = rows[i] - rows[i - 1];
        result += step * step;
    }
    return result;
}

// The best of the angles around one, by steps.
double best_angle(const std::vector<Point>& points, double around, double reach, double step) {
    std::vector<int> rows(4 * kWorkingSide);
    double best = around;
    double most = -1;
    const int steps = static_cast<int>(std::lround(reach / step));
    for (int i = -steps; i <= steps; i++) {
        const double degrees = around + i * step;
        const double value = sharpness(points, degrees, rows);
        if (value > most || (value == most && std::fabs(degrees) < std::fabs(best))) {
            most = value;
            best = degrees;
        }
    }
    return best;
}

}  // namespace

double VipsPicture::skew_angle() const {
    VipsPicture page(*this, Shared{});
    page.flatten(kWhite);
    return guarded(Failure::kInternal, "the lines of the image could not be looked for", [&] {
        const std::vector<Point> points = dark_points(page.colors());
        if (points.empty()) {
            return 0.0;
        }
        const double coarse = best_angle(points, 0.0, kMostDegrees, 0.5);
        return best_angle(points, coarse, 0.5, 0.05);
    });
}

}  // namespace zelmor::imagework
