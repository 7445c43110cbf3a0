// Faces of three-dimensional scenes, and the directions that their corners face where a curved surface is meant.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SHADING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SHADING_H

#include <functional>
#include <span>
#include <vector>

#include "runtime/native/formats/opendocument/od_space.h"

namespace zelmor::embed {

// A part of a plane: an outline and its holes.
struct OdFace {
    std::vector<std::vector<Point3>> contours;
    Point3 normal;
    size_t surface = 0;
    double distance = 0;
    // Of the corners of a face with four of them; empty where the face has one color.
    std::vector<Point3> corner_normals;
};

// Gives a corner the mean normal of the faces of its surface that meet there, where they do so at less than 45 degrees:
// the sides of a cube stay apart, those of a ball become one. `smooth` tells which surfaces are meant.
void add_corner_normals(std::span<OdFace> faces, const std::function<bool(size_t surface)>& smooth);

// A small part of a face with corner normals: its corners, and the parts of the face's way from the first to the second
// corner and from the first to the last at which its middle lies.
struct OdFacet {
    Point3 corners[4];
    double across = 0, down = 0;
};

// Calls the function with the parts of a face, so many in each direction.
void for_facets(const OdFace& face, int steps, const std::function<void(const OdFacet&)>& use);

// Between the values of the four corners.
template <class Value>
Value between(const Value& a, const Value& b, const Value& c, const Value& d, double across, double down) {
    return (a * (1 - across) + b * across) * (1 - down) + (d * (1 - across) + c * across) * down;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SHADING_H
