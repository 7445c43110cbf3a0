// Points and maps in three dimensions, as the attributes of OpenDocument scenes have them.
//
// A unit is a hundredth of a millimeter, the unit of coordinates that are written without one.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SPACE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SPACE_H

#include <cmath>
#include <string_view>

namespace zelmor::embed {

struct Point3 {
    double x = 0, y = 0, z = 0;
    Point3 operator+(const Point3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    Point3 operator-(const Point3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    Point3 operator*(double factor) const { return {x * factor, y * factor, z * factor}; }
    double dot(const Point3& o) const { return x * o.x + y * o.y + z * o.z; }
    Point3 cross(const Point3& o) const { return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x}; }
    double length() const { return std::sqrt(dot(*this)); }
    // Itself where it has no direction.
    Point3 normalized() const {
        const double size = length();
        return size > 0 && std::isfinite(size) ? *this * (1 / size) : *this;
    }
};

// Maps p to x * p.x + y * p.y + z * p.z + move.
struct Map3 {
    Point3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1}, move;
    Point3 apply_vector(const Point3& p) const { return x * p.x + y * p.y + z * p.z; }
    Point3 apply(const Point3& p) const { return apply_vector(p) + move; }
    // First this map, then the other.
    Map3 then(const Map3& next) const {
        return {next.apply_vector(x), next.apply_vector(y), next.apply_vector(z), next.apply(move)};
    }
};

// "(1 2 3)".
Point3 od_point3(std::string_view text, const Point3& otherwise);
// A length with a unit, or a number of units.
double od_length3(std::string_view text, double otherwise);
// A list such as "rotatex(0.5) translate(1cm 2cm 0cm)", applied from left to right.
Map3 od_transform3(std::string_view text);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SPACE_H
