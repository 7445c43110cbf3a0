// Values in the attributes of OpenDocument files: lengths, angles, colors, maps, lists of points, paths.
//
// Lengths become pixels of 96 to the inch. What cannot be read is nothing, or the value that stands beside it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed {

// Reads numbers, words and signs from the front of a text.
class OdScanner {
 public:
    explicit OdScanner(std::string_view text) : m_rest(text) {}
    bool at_end();  // behind white space and commas
    // The next number; nothing where something else stands.
    std::optional<double> number();
    // A number of one digit, as the flags of an arc.
    std::optional<bool> flag();
    // The next character, whatever it is; 0 at the end.
    char take();
    char peek();
    // Letters in a row; empty where there are none.
    std::string_view word();
    std::string_view rest() const { return m_rest; }

 private:
    void skip();
    std::string_view m_rest;
};

constexpr double kPixelsOfInch = 96;
constexpr double kPixelsOfMillimeter = kPixelsOfInch / kMillimetersPerInch;

std::optional<double> od_length(std::string_view text);
double od_length(std::string_view text, double otherwise);
// "50%" is 0.5.
std::optional<double> od_percent(std::string_view text);
double od_number(std::string_view text, double otherwise);
// Degrees. A number without a unit is in units of `degrees_each`.
double od_angle(std::string_view text, double degrees_each);
// "#rrggbb", opaque.
std::optional<uint32_t> od_color(std::string_view text);
bool od_bool(std::string_view text, bool otherwise);

// A list of maps such as "rotate(0.5) translate(1cm 2cm)", which are applied from left to right.
drawwork::Affine od_transform(std::string_view text);
// "0 0 100 200"; nothing for an empty area.
std::optional<drawwork::RectD> od_view_box(std::string_view text);
std::vector<drawwork::PointD> od_points(std::string_view text);

// A contour of a path in the syntax of SVG.
struct OdPathStep {
    enum class Kind { kMove, kLine, kCurve, kClose };
    Kind kind;
    drawwork::PointD points[3];
    bool is_short = false;  // of a curve: its first control point follows from the curve before
};
std::vector<OdPathStep> od_path_steps(std::string_view text);
drawwork::Outline od_outline(std::string_view path);

// An arc as in SVG from one point to another, as curves behind the end of the contour.
void add_svg_arc(drawwork::Contour& contour, drawwork::PointD radii, double turn, bool large, bool sweep,
                 drawwork::PointD to);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_VALUES_H
