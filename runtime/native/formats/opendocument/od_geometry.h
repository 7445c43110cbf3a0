// The outlines of custom shapes: paths whose points are computed by formulas.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_GEOMETRY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_GEOMETRY_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/formats/opendocument/od_node.h"

namespace zelmor::embed {

// A command of an enhanced path with the values of its arguments.
struct OdCommand {
    char name;
    std::vector<double> arguments;
};

// One part of a custom shape, which is filled and stroked by itself.
struct OdSubshape {
    drawwork::Outline outline;
    bool filled = true;
    bool stroked = true;
};

class OdGeometry {
 public:
    // Of a draw:enhanced-geometry element, for a shape of the size.
    OdGeometry(const OdNode& element, double width, double height);

    drawwork::RectD view_box() const { return m_view_box; }
    std::vector<OdCommand> commands() const;
    // In the space of the view box.
    std::vector<OdSubshape> subshapes() const;
    // The area of the text, in the space of the view box.
    std::optional<drawwork::RectD> text_area() const;
    // From the view box to the shape, which is mirrored first if it says so.
    drawwork::Affine placing() const;

 private:
    class Formula;
    // A number, "$0" or "?f1".
    double value(std::string_view text, int depth) const;
    double equation(const std::string& name, int depth) const;
    double variable(std::string_view name) const;

    const OdNode& m_element;
    double m_width, m_height;
    drawwork::RectD m_view_box;
    std::vector<double> m_modifiers;
    std::map<std::string, std::string, std::less<>> m_formulas;
    mutable std::map<std::string, double, std::less<>> m_values;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_GEOMETRY_H
