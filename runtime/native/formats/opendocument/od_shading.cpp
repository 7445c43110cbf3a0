// Means of normals, and parts of faces; see od_shading.h.
#include "runtime/native/formats/opendocument/od_shading.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>

namespace zelmor::embed {

namespace {

constexpr double kLeastCosine = 0.7071;  // of the angle at which faces meet
constexpr double kSamePlace = 0.01;      // units; corners that are nearer are one
constexpr size_t kCornersOfFacets = 4;

using Place = std::array<int64_t, 4>;  // with the surface

Place place_of(const Point3& corner, size_t surface) {
    const auto whole = [](double value) {
        return static_cast<int64_t>(std::llround(std::clamp(value / kSamePlace, -1e15, 1e15)));
    };
    return {static_cast<int64_t>(surface), whole(corner.x), whole(corner.y), whole(corner.z)};
}

}  // namespace

void add_corner_normals(std::span<OdFace> faces, const std::function<bool(size_t)>& smooth) {
    std::map<Place, std::vector<size_t>> meeting;
    const auto is_meant = [&](const OdFace& face) { return face.contours.size() == 1 && smooth(face.surface); };
    for (size_t i = 0; i < faces.size(); ++i) {
        if (is_meant(faces[i])) {
            for (const Point3& corner : faces[i].contours[0]) {
                meeting[place_of(corner, faces[i].surface)].push_back(i);
            }
        }
    }
    constexpr size_t kMostMeeting = 1000;  // at a pole; the means of more take too long
    for (OdFace& face : faces) {
        if (!is_meant(face) || face.contours[0].size() != kCornersOfFacets) {
            continue;
        }
        bool curved = false;
        std::vector<Point3> normals;
        for (const Point3& corner : face.contours[0]) {
            Point3 sum = face.normal;
            const std::vector<size_t>& others = meeting[place_of(corner, face.surface)];
            for (size_t i = 0; i < others.size() && i < kMostMeeting; ++i) {
                const OdFace& other = faces[others[i]];
                const double cosine = other.normal.dot(face.normal);
                if (&other != &face && cosine > kLeastCosine) {
                    sum = sum + other.normal;
                    curved = curved || cosine < 0.9999;
                }
            }
            normals.push_back(sum.normalized());
        }
        if (curved) {
            face.corner_normals = std::move(normals);
        }
    }
}

void for_facets(const OdFace& face, int steps, const std::function<void(const OdFacet&)>& use) {
    const std::vector<Point3>& corners = face.contours[0];
    const auto at = [&](int i, int j) {
        return between(corners[0], corners[1], corners[2], corners[3], double(i) / steps, double(j) / steps);
    };
    for (int j = 0; j < steps; ++j) {
        for (int i = 0; i < steps; ++i) {
            use({{at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)}, (i + 0.5) / steps, (j + 0.5) / steps});
        }
    }
}

}  // namespace zelmor::embed
