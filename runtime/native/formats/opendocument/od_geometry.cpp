// Formulas and commands of enhanced paths; see od_geometry.h.
#include "runtime/native/formats/opendocument/od_geometry.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_values.h"

namespace zelmor::embed {

using drawwork::RectD;

namespace {

// Formulas that refer to each other, and brackets: far below the depth that would use up the stack.
constexpr int kMostDepth = 64;

double finite(double value) {
    return std::isfinite(value) && std::abs(value) < 1e12 ? value : 0;
}

constexpr double kDegrees = 180 / M_PI;

}  // namespace

// Computes a formula by recursive descent: sums of products of signed terms.
class OdGeometry::Formula {
 public:
    Formula(const OdGeometry& shape, std::string_view text, int depth) : m_shape(shape), m_in(text), m_depth(depth) {}

    double sum() {
        if (m_depth > kMostDepth) {
            return 0;
        }
        double value = product();
        while (sign() == '+' || sign() == '-') {
            const bool plus = m_in.take() == '+';
            const double other = product();
            value = finite(plus ? value + other : value - other);
        }
        return value;
    }

 private:
    // The next character. A comma ends an argument, so that it is none to pass over here.
    char sign() const {
        const std::string_view rest = m_in.rest();
        const size_t at = rest.find_first_not_of(" \t\r\n");
        return at == std::string_view::npos ? '\0' : rest[at];
    }

    double product() {
        double value = term();
        while (sign() == '*' || sign() == '/') {
            const bool times = m_in.take() == '*';
            const double other = term();
            value = finite(times ? value * other : other != 0 ? value / other : 0);
        }
        return value;
    }

    double term() {
        bool negative = false;
        while (m_in.peek() == '-' || m_in.peek() == '+') {
            negative = negative != (m_in.take() == '-');
        }
        const double value = atom();
        return negative ? -value : value;
    }

    double atom() {
        const char next = m_in.peek();
        if (next == '(') {
            m_in.take();
            const double value = inner();
            if (m_in.peek() == ')') {
                m_in.take();
            }
            return value;
        }
        if (next == '$' || next == '?') {
            std::string name(1, m_in.take());
            // Names of formulas may hold any letters and digits.
            const std::string_view rest = m_in.rest();
            size_t size = 0;
            while (size < rest.size() &&
                   (std::isalnum(static_cast<unsigned char>(rest[size])) != 0 || rest[size] == '_')) {
                size++;
            }
            name += rest.substr(0, size);
            m_in = OdScanner(rest.substr(size));
            return m_shape.value(name, m_depth + 1);
        }
        if (const std::string_view word = m_in.word(); !word.empty()) {
            return m_in.peek() == '(' ? function(word) : m_shape.variable(word);
        }
        const auto number = m_in.number();
        if (!number) {
            m_in.take();  // something unknown
        }
        return number.value_or(0);
    }

    double inner() {
        m_depth++;
        const double value = sum();
        m_depth--;
        return value;
    }

    double function(std::string_view name) {
        std::vector<double> arguments;
        m_in.take();
        // The scanner passes over the commas between the arguments.
        while (!m_in.at_end() && m_in.peek() != ')' && arguments.size() < 8) {
            arguments.push_back(inner());
        }
        m_in.take();
        const auto argument = [&](size_t i) { return i < arguments.size() ? arguments[i] : 0; };
        const double x = argument(0);
        const double y = argument(1);
        double value = 0;
        if (name == "abs") {
            value = std::abs(x);
        } else if (name == "sqrt") {
            value = std::sqrt(std::max(0.0, x));
        } else if (name == "sin") {
            value = std::sin(x);
        } else if (name == "cos") {
            value = std::cos(x);
        } else if (name == "tan") {
            value = std::tan(x);
        } else if (name == "atan") {
            value = std::atan(x);
        } else if (name == "atan2") {
            value = std::atan2(x, y);
        } else if (name == "min") {
            value = std::min(x, y);
        } else if (name == "max") {
            value = std::max(x, y);
        } else if (name == "if") {
            value = x > 0 ? y : argument(2);
        }
        return finite(value);
    }

    const OdGeometry& m_shape;
    OdScanner m_in;
    int m_depth;
};

OdGeometry::OdGeometry(const OdNode& element, double width, double height)
    : m_element(element), m_width(width), m_height(height) {
    m_view_box = od_view_box(element.get("svg:viewBox")).value_or(RectD{0, 0, width, height});
    OdScanner modifiers(element.get("draw:modifiers"));
    while (const auto modifier = modifiers.number()) {
        m_modifiers.push_back(*modifier);
    }
    for (const OdNode& each : element.children) {
        if (each.is("draw:equation")) {
            m_formulas.try_emplace(std::string(each.get("draw:name")), each.get("draw:formula"));
        }
    }
}

double OdGeometry::variable(std::string_view name) const {
    if (name == "pi") {
        return M_PI;
    }
    if (name == "left") {
        return m_view_box.x;
    }
    if (name == "top") {
        return m_view_box.y;
    }
    if (name == "right") {
        return m_view_box.right();
    }
    if (name == "bottom") {
        return m_view_box.bottom();
    }
    if (name == "xstretch") {
        return od_number(m_element.get("draw:path-stretchpoint-x"), 0);
    }
    if (name == "ystretch") {
        return od_number(m_element.get("draw:path-stretchpoint-y"), 0);
    }
    if (name == "hasstroke" || name == "hasfill") {
        return 1;
    }
    if (name == "width") {
        return m_view_box.width;
    }
    if (name == "height") {
        return m_view_box.height;
    }
    // The shape itself, in hundredths of a millimeter.
    if (name == "logwidth") {
        return m_width / kPixelsOfMillimeter * 100;
    }
    return name == "logheight" ? m_height / kPixelsOfMillimeter * 100 : 0;
}

double OdGeometry::equation(const std::string& name, int depth) const {
    if (const auto known = m_values.find(name); known != m_values.end()) {
        return known->second;
    }
    const auto formula = m_formulas.find(name);
    if (formula == m_formulas.end() || depth > kMostDepth) {
        return 0;
    }
    m_values[name] = 0;  // for a formula that refers to itself
    const double value = Formula(*this, formula->second, depth).sum();
    m_values[name] = value;
    return value;
}

double OdGeometry::value(std::string_view text, int depth) const {
    if (text.starts_with('$')) {
        const double index = od_number(text.substr(1), -1);
        return index >= 0 && index < static_cast<double>(m_modifiers.size()) ? m_modifiers[static_cast<size_t>(index)]
                                                                             : 0;
    }
    if (text.starts_with('?')) {
        return equation(std::string(text.substr(1)), depth);
    }
    const bool is_word = !text.empty() && std::isalpha(static_cast<unsigned char>(text[0])) != 0;
    return is_word ? variable(text) : od_number(text, 0);
}

std::vector<OdCommand> OdGeometry::commands() const {
    std::vector<OdCommand> commands;
    std::string_view rest = m_element.get("draw:enhanced-path");
    while (true) {
        const size_t begin = rest.find_first_not_of(" \t\r\n,");
        if (begin == std::string_view::npos) {
            return commands;
        }
        rest.remove_prefix(begin);
        if (std::isalpha(static_cast<unsigned char>(rest[0])) != 0) {
            // Commands are single letters, but words are variables ("left").
            size_t size = 1;
            while (size < rest.size() && std::islower(static_cast<unsigned char>(rest[size])) != 0 &&
                   std::islower(static_cast<unsigned char>(rest[0])) != 0) {
                size++;
            }
            if (size == 1) {
                commands.push_back({rest[0], {}});
            } else if (!commands.empty()) {
                commands.back().arguments.push_back(variable(rest.substr(0, size)));
            }
            rest.remove_prefix(size);
            continue;
        }
        size_t size = 1;  // of a number or a reference
        const bool is_reference = rest[0] == '?' || rest[0] == '$';
        while (size < rest.size()) {
            const auto c = static_cast<unsigned char>(rest[size]);
            const bool goes_on = is_reference ? std::isalnum(c) != 0 || c == '_' : std::isdigit(c) != 0 || c == '.';
            if (!goes_on) {
                break;
            }
            size++;
        }
        if (!commands.empty()) {
            commands.back().arguments.push_back(value(rest.substr(0, size), 0));
        }
        rest.remove_prefix(size);
    }
}

namespace {

// Builds outlines from commands.
class SubshapeBuilder {
 public:
    void add(const OdCommand& command) {
        const std::vector<double>& a = command.arguments;
        switch (command.name) {
            case 'M':
                each(a, 2, [&](size_t i) {
                    if (i == 0) {
                        move({a[0], a[1]});
                    } else {
                        line({a[i], a[i + 1]});
                    }
                });
                break;
            case 'L':
                each(a, 2, [&](size_t i) { line({a[i], a[i + 1]}); });
                break;
            case 'C':
                each(a, 6, [&](size_t i) { curve({a[i], a[i + 1]}, {a[i + 2], a[i + 3]}, {a[i + 4], a[i + 5]}); });
                break;
            case 'Q':
                each(a, 4, [&](size_t i) {
                    const PointD control{a[i], a[i + 1]}, to{a[i + 2], a[i + 3]};
                    curve(at() + (control - at()) * (2.0 / 3), to + (control - to) * (2.0 / 3), to);
                });
                break;
            case 'Z':
                if (!m_now.outline.empty()) {
                    m_now.outline.back().closed = true;
                }
                break;
            case 'N':
                end();
                break;
            case 'F':
                m_now.filled = false;
                break;
            case 'S':
                m_now.stroked = false;
                break;
            case 'T':
            case 'U':
                each(a, 6, [&](size_t i) {
                    double sweep = a[i + 5] - a[i + 4];
                    if (sweep < 0) {
                        sweep += 360 * std::ceil(-sweep / 360);
                    }
                    arc({a[i] - a[i + 2], a[i + 1] - a[i + 3], 2 * a[i + 2], 2 * a[i + 3]}, a[i + 4],
                        std::min(sweep, 360.0), command.name == 'U');
                });
                break;
            case 'A':
            case 'B':
            case 'W':
            case 'V':
                each(a, 8, [&](size_t i) { arc_between(&a[i], command.name); });
                break;
            case 'G':
                each(a, 4, [&](size_t i) {
                    // The current point lies on the ellipse at the first angle.
                    const double angle = a[i + 2] / kDegrees;
                    const PointD middle{at().x - a[i] * std::cos(angle), at().y - a[i + 1] * std::sin(angle)};
                    arc({middle.x - a[i], middle.y - a[i + 1], 2 * a[i], 2 * a[i + 1]}, a[i + 2], a[i + 3], false);
                });
                break;
            case 'X':
            case 'Y': {
                bool along_x = command.name == 'X';
                each(a, 2, [&](size_t i) {
                    quadrant({a[i], a[i + 1]}, along_x);
                    along_x = !along_x;
                });
                break;
            }
            default:
                break;  // lighter and darker parts, and commands of later versions
        }
    }

    std::vector<OdSubshape> take() {
        end();
        return std::move(m_done);
    }

 private:
    template <class Step>
    static void each(const std::vector<double>& arguments, size_t count, Step&& step) {
        for (size_t i = 0; i + count <= arguments.size(); i += count) {
            step(i);
        }
    }

    PointD at() const { return m_now.outline.empty() ? PointD{} : m_now.outline.back().end(); }
    void move(PointD to) { m_now.outline.push_back({to, {}, false}); }
    // The contour that goes on here.
    Contour& contour() {
        if (m_now.outline.empty()) {
            move({});
        } else if (m_now.outline.back().closed) {
            move(m_now.outline.back().start);
        }
        return m_now.outline.back();
    }
    void line(PointD to) { contour().line_to(to); }
    void curve(PointD a, PointD b, PointD to) { contour().curve_to(a, b, to); }

    void arc(const RectD& ellipse, double start, double sweep, bool begins) {
        const Contour piece = arc_contour(ellipse, start, sweep, false);
        if (begins || m_now.outline.empty()) {
            move(piece.start);
        } else if (at() != piece.start) {
            line(piece.start);
        }
        Contour& open = contour();
        open.segments.insert(open.segments.end(), piece.segments.begin(), piece.segments.end());
    }

    // An ellipse in a rectangle, from the direction of one point to that of another.
    void arc_between(const double* a, char command) {
        const RectD ellipse{std::min(a[0], a[2]), std::min(a[1], a[3]), std::abs(a[2] - a[0]), std::abs(a[3] - a[1])};
        if (ellipse.width == 0 || ellipse.height == 0) {
            return;
        }
        const PointD middle = ellipse.center();
        const auto angle = [&](double x, double y) {
            return std::atan2((y - middle.y) / ellipse.height, (x - middle.x) / ellipse.width) * kDegrees;
        };
        const double start = angle(a[4], a[5]);
        double sweep = angle(a[6], a[7]) - start;
        const bool clockwise = command == 'W' || command == 'V';
        if (clockwise && sweep <= 0) {
            sweep += 360;
        } else if (!clockwise && sweep >= 0) {
            sweep -= 360;
        }
        arc(ellipse, start, sweep, command == 'B' || command == 'V');
    }

    // A quarter of an ellipse whose first direction is that of an axis.
    void quadrant(PointD to, bool along_x) {
        constexpr double kCircle = 0.5522847498307936;  // of a curve that is nearly a quarter of a circle
        const PointD from = at();
        const PointD corner = along_x ? PointD{to.x, from.y} : PointD{from.x, to.y};
        curve(from + (corner - from) * kCircle, to + (corner - to) * kCircle, to);
    }

    void end() {
        if (!m_now.outline.empty()) {
            m_done.push_back(std::move(m_now));
        }
        m_now = {};
    }

    OdSubshape m_now;
    std::vector<OdSubshape> m_done;
};

}  // namespace

std::vector<OdSubshape> OdGeometry::subshapes() const {
    SubshapeBuilder builder;
    for (const OdCommand& command : commands()) {
        builder.add(command);
    }
    return builder.take();
}

std::optional<RectD> OdGeometry::text_area() const {
    // The first of several areas.
    std::vector<double> values;
    std::string_view rest = m_element.get("draw:text-areas");
    while (values.size() < 4) {
        const size_t begin = rest.find_first_not_of(" \t\r\n,");
        if (begin == std::string_view::npos) {
            return std::nullopt;
        }
        const size_t end = std::min(rest.find_first_of(" \t\r\n,", begin), rest.size());
        values.push_back(value(rest.substr(begin, end - begin), 0));
        rest.remove_prefix(end);
    }
    return RectD{std::min(values[0], values[2]), std::min(values[1], values[3]), std::abs(values[2] - values[0]),
                 std::abs(values[3] - values[1])};
}

Affine OdGeometry::placing() const {
    Affine map = Affine::translation(-m_view_box.x, -m_view_box.y)
                     .then(Affine::scaling(m_view_box.width != 0 ? m_width / m_view_box.width : 1,
                                           m_view_box.height != 0 ? m_height / m_view_box.height : 1));
    if (od_bool(m_element.get("draw:mirror-horizontal"), false)) {
        map = map.then({-1, 0, 0, 1, m_width, 0});
    }
    if (od_bool(m_element.get("draw:mirror-vertical"), false)) {
        map = map.then({1, 0, 0, -1, 0, m_height});
    }
    return map;
}

}  // namespace zelmor::embed
