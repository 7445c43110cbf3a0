// Reading values from text; see od_values.h.
#include "runtime/native/formats/opendocument/od_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"

namespace zelmor::embed {

using drawwork::Affine;
using drawwork::Contour;
using drawwork::Outline;
using drawwork::PointD;
using drawwork::RectD;

namespace {

constexpr bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
constexpr bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
// Greater numbers are taken as a fault of the file: their squares and products stay far from the end of a double.
constexpr double kMostNumber = 1e12;

struct LengthUnit {
    std::string_view name;
    double pixels;
};
constexpr LengthUnit kUnits[] = {{"cm", 10 * kPixelsOfMillimeter},
                                 {"mm", kPixelsOfMillimeter},
                                 {"in", kPixelsOfInch},
                                 {"inch", kPixelsOfInch},
                                 {"pt", kPixelsOfInch / 72},
                                 {"pc", kPixelsOfInch / 6},
                                 {"px", 1},
                                 {"", 1}};

}  // namespace

void OdScanner::skip() {
    size_t at = 0;
    while (at < m_rest.size() && (is_space(m_rest[at]) || m_rest[at] == ',')) {
        at++;
    }
    m_rest.remove_prefix(at);
}

bool OdScanner::at_end() {
    skip();
    return m_rest.empty();
}

std::optional<double> OdScanner::number() {
    skip();
    std::string_view text = m_rest;
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    // The library also reads "inf" and "nan", which are no numbers here.
    const bool is_word = !text.empty() && is_letter(text[text.starts_with('-') && text.size() > 1 ? 1 : 0]);
    if (is_word || error != std::errc() || !std::isfinite(value) || std::abs(value) > kMostNumber) {
        return std::nullopt;
    }
    // An "e" that begins a unit is no exponent; from_chars leaves it.
    m_rest.remove_prefix(static_cast<size_t>(end - m_rest.data()));
    return value;
}

std::optional<bool> OdScanner::flag() {
    const char next = peek();
    if (next != '0' && next != '1') {
        return std::nullopt;
    }
    return take() == '1';
}

char OdScanner::peek() {
    skip();
    return m_rest.empty() ? '\0' : m_rest.front();
}

char OdScanner::take() {
    const char next = peek();
    if (!m_rest.empty()) {
        m_rest.remove_prefix(1);
    }
    return next;
}

std::string_view OdScanner::word() {
    skip();
    size_t size = 0;
    while (size < m_rest.size() &&
           (is_letter(m_rest[size]) || (size > 0 && m_rest[size] >= '0' && m_rest[size] <= '9'))) {
        size++;
    }
    const std::string_view found = m_rest.substr(0, size);
    m_rest.remove_prefix(size);
    return found;
}

std::optional<double> od_length(std::string_view text) {
    OdScanner scanner(text);
    const auto value = scanner.number();
    if (!value) {
        return std::nullopt;
    }
    const std::string_view unit = scanner.word();
    for (const LengthUnit& each : kUnits) {
        if (each.name == unit && scanner.at_end()) {
            return *value * each.pixels;
        }
    }
    return std::nullopt;
}

double od_length(std::string_view text, double otherwise) {
    return od_length(text).value_or(otherwise);
}

std::optional<double> od_percent(std::string_view text) {
    OdScanner scanner(text);
    const auto value = scanner.number();
    if (!value || scanner.take() != '%') {
        return std::nullopt;
    }
    return *value / 100;
}

double od_number(std::string_view text, double otherwise) {
    return OdScanner(text).number().value_or(otherwise);
}

double od_angle(std::string_view text, double degrees_each) {
    OdScanner scanner(text);
    const double value = scanner.number().value_or(0);
    const std::string_view unit = scanner.word();
    if (unit == "deg") {
        return value;
    }
    if (unit == "rad") {
        return value * 180 / M_PI;
    }
    if (unit == "grad") {
        return value * 0.9;
    }
    return value * degrees_each;
}

std::optional<uint32_t> od_color(std::string_view text) {
    if (text.size() != 7 || text[0] != '#') {
        return std::nullopt;
    }
    uint32_t rgb = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), rgb, 16);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return 0xFF000000 | rgb;
}

bool od_bool(std::string_view text, bool otherwise) {
    return text == "true" ? true : text == "false" ? false : otherwise;
}

Affine od_transform(std::string_view text) {
    Affine all;
    OdScanner scanner(text);
    while (!scanner.at_end()) {
        const std::string_view name = scanner.word();
        if (name.empty() || scanner.take() != '(') {
            return all;
        }
        const size_t close = scanner.rest().find(')');
        if (close == std::string_view::npos) {
            return all;
        }
        // Each argument is a length or a number with a unit.
        std::vector<std::string_view> arguments;
        std::string_view inside = scanner.rest().substr(0, close);
        while (!inside.empty()) {
            const size_t begin = inside.find_first_not_of(" \t\r\n,");
            if (begin == std::string_view::npos) {
                break;
            }
            const size_t end = std::min(inside.find_first_of(" \t\r\n,", begin), inside.size());
            arguments.push_back(inside.substr(begin, end - begin));
            inside.remove_prefix(end);
        }
        scanner = OdScanner(scanner.rest().substr(close + 1));
        const auto argument = [&](size_t i) { return i < arguments.size() ? arguments[i] : std::string_view(); };
        Affine map;
        if (name == "rotate") {
            map = Affine::rotation(-od_angle(argument(0), 180 / M_PI));  // counterclockwise
        } else if (name == "translate") {
            map = Affine::translation(od_length(argument(0), 0), od_length(argument(1), 0));
        } else if (name == "scale") {
            const double x = od_number(argument(0), 1);
            map = Affine::scaling(x, od_number(argument(1), x));
        } else if (name == "skewX") {
            map.m21 = std::tan(od_angle(argument(0), 180 / M_PI) * M_PI / 180);
        } else if (name == "skewY") {
            map.m12 = std::tan(od_angle(argument(0), 180 / M_PI) * M_PI / 180);
        } else if (name == "matrix") {
            map = {od_number(argument(0), 1), od_number(argument(1), 0), od_number(argument(2), 0),
                   od_number(argument(3), 1), od_length(argument(4), 0), od_length(argument(5), 0)};
        }
        all = all.then(map);
    }
    return all;
}

std::optional<RectD> od_view_box(std::string_view text) {
    OdScanner scanner(text);
    double values[4];
    for (double& value : values) {
        const auto next = scanner.number();
        if (!next) {
            return std::nullopt;
        }
        value = *next;
    }
    if (values[2] < 0 || values[3] < 0) {
        return std::nullopt;
    }
    return RectD{values[0], values[1], values[2], values[3]};
}

std::vector<PointD> od_points(std::string_view text) {
    std::vector<PointD> points;
    OdScanner scanner(text);
    while (true) {
        const auto x = scanner.number();
        const auto y = x ? scanner.number() : std::nullopt;
        if (!y) {
            return points;
        }
        points.push_back({*x, *y});
    }
}

void add_svg_arc(Contour& contour, PointD radii, double turn, bool large, bool sweep, PointD to) {
    const PointD from = contour.end();
    double rx = std::abs(radii.x);
    double ry = std::abs(radii.y);
    if (from == to) {
        return;
    }
    if (rx == 0 || ry == 0) {
        contour.line_to(to);
        return;
    }
    // In the space where the ellipse stands upright, the middle between both points is the origin.
    const Affine upright = Affine::rotation(-turn);
    const PointD half = upright.apply_vector((from - to) * 0.5);
    const double spread = half.x * half.x / (rx * rx) + half.y * half.y / (ry * ry);
    if (spread > 1) {  // too small to reach both points
        rx *= std::sqrt(spread);
        ry *= std::sqrt(spread);
    }
    const double below = rx * rx * half.y * half.y + ry * ry * half.x * half.x;
    double factor = std::sqrt(std::max(0.0, rx * rx * ry * ry / below - 1));
    if (large == sweep) {
        factor = -factor;
    }
    const PointD middle{factor * rx * half.y / ry, -factor * ry * half.x / rx};
    const Affine back = Affine::scaling(rx, ry)
                            .then(Affine::translation(middle.x, middle.y))
                            .then(Affine::rotation(turn))
                            .then(Affine::translation((from.x + to.x) / 2, (from.y + to.y) / 2));
    const double first = std::atan2((half.y - middle.y) / ry, (half.x - middle.x) / rx) * 180 / M_PI;
    const double last = std::atan2((-half.y - middle.y) / ry, (-half.x - middle.x) / rx) * 180 / M_PI;
    double angle = last - first;
    if (sweep && angle < 0) {
        angle += 360;
    } else if (!sweep && angle > 0) {
        angle -= 360;
    }
    Outline arc = transformed({arc_contour({-1, -1, 2, 2}, first, angle, false)}, back);
    for (const drawwork::Segment& segment : arc.front().segments) {
        contour.segments.push_back(segment);
    }
    if (!contour.segments.empty()) {
        contour.segments.back().end = to;
    }
}

namespace {

// The commands of a path, one after the other.
class PathReader {
 public:
    explicit PathReader(std::string_view text) : m_in(text) {}

    std::vector<OdPathStep> read() {
        while (!m_in.at_end()) {
            const char next = m_in.peek();
            if (is_letter(next)) {
                m_command = m_in.take();
            } else if (m_command == 0 || m_command == 'z' || m_command == 'Z') {
                break;
            } else if (m_command == 'M') {
                m_command = 'L';
            } else if (m_command == 'm') {
                m_command = 'l';
            }
            if (!step()) {
                break;
            }
        }
        return std::move(m_steps);
    }

 private:
    using Kind = OdPathStep::Kind;

    std::optional<PointD> point() {
        const auto x = m_in.number();
        const auto y = x ? m_in.number() : std::nullopt;
        if (!y) {
            return std::nullopt;
        }
        return is_relative() ? m_at + PointD{*x, *y} : PointD{*x, *y};
    }
    bool is_relative() const { return m_command >= 'a'; }

    void line(PointD to) {
        m_steps.push_back({Kind::kLine, {to, {}, {}}});
        m_at = to;
    }
    void curve(PointD a, PointD b, PointD to) {
        m_steps.push_back({Kind::kCurve, {a, b, to}});
        m_at = to;
    }
    void quadratic(PointD control, PointD to) {
        curve(m_at + (control - m_at) * (2.0 / 3), to + (control - to) * (2.0 / 3), to);
        m_control = control;
    }

    // False where the path cannot go on.
    bool step() {
        const char kind = is_relative() ? static_cast<char>(m_command - 'a' + 'A') : m_command;
        const PointD mirrored = m_at + (m_at - m_control);
        const bool after_curve = m_before == 'C' || m_before == 'S';
        const bool after_quadratic = m_before == 'Q' || m_before == 'T';
        m_before = kind;
        switch (kind) {
            case 'M': {
                const auto to = point();
                if (!to) {
                    return false;
                }
                m_steps.push_back({Kind::kMove, {*to, {}, {}}});
                m_start = m_at = *to;
                return true;
            }
            case 'Z':
                m_steps.push_back({Kind::kClose, {}});
                m_at = m_start;
                return true;
            case 'L': {
                const auto to = point();
                if (!to) {
                    return false;
                }
                line(*to);
                return true;
            }
            case 'H':
            case 'V': {
                const auto value = m_in.number();
                if (!value) {
                    return false;
                }
                const PointD base = is_relative() ? m_at : PointD{};
                line(kind == 'H' ? PointD{base.x + *value, m_at.y} : PointD{m_at.x, base.y + *value});
                return true;
            }
            case 'C': {
                const auto a = point();
                const auto b = a ? point() : std::nullopt;
                const auto to = b ? point() : std::nullopt;
                if (!to) {
                    return false;
                }
                curve(*a, *b, *to);
                m_control = *b;
                return true;
            }
            case 'S': {
                const auto b = point();
                const auto to = b ? point() : std::nullopt;
                if (!to) {
                    return false;
                }
                curve(after_curve ? mirrored : m_at, *b, *to);
                m_steps.back().is_short = true;
                m_control = *b;
                return true;
            }
            case 'Q': {
                const auto control = point();
                const auto to = control ? point() : std::nullopt;
                if (!to) {
                    return false;
                }
                quadratic(*control, *to);
                return true;
            }
            case 'T': {
                const auto to = point();
                if (!to) {
                    return false;
                }
                quadratic(after_quadratic ? mirrored : m_at, *to);
                return true;
            }
            case 'A':
                return arc();
            default:
                return false;
        }
    }

    bool arc() {
        const auto rx = m_in.number();
        const auto ry = rx ? m_in.number() : std::nullopt;
        const auto turn = ry ? m_in.number() : std::nullopt;
        const auto large = turn ? m_in.flag() : std::nullopt;
        const auto sweep = large ? m_in.flag() : std::nullopt;
        const auto to = sweep ? point() : std::nullopt;
        if (!to) {
            return false;
        }
        Contour contour{m_at, {}, false};
        add_svg_arc(contour, {*rx, *ry}, *turn, *large, *sweep, *to);
        for (const drawwork::Segment& segment : contour.segments) {
            if (segment.curved) {
                curve(segment.control1, segment.control2, segment.end);
            } else {
                line(segment.end);
            }
        }
        return true;
    }

    OdScanner m_in;
    std::vector<OdPathStep> m_steps;
    char m_command = 0;
    char m_before = 0;
    PointD m_at, m_start, m_control;
};

}  // namespace

std::vector<OdPathStep> od_path_steps(std::string_view text) {
    return PathReader(text).read();
}

Outline od_outline(std::string_view path) {
    Outline outline;
    for (const OdPathStep& step : od_path_steps(path)) {
        using Kind = OdPathStep::Kind;
        if (step.kind == Kind::kMove) {
            outline.push_back({step.points[0], {}, false});
            continue;
        }
        if (outline.empty()) {
            return outline;  // a path begins with a place
        }
        if (outline.back().closed) {
            outline.push_back({outline.back().start, {}, false});
        }
        if (step.kind == Kind::kClose) {
            outline.back().closed = true;
        } else if (step.kind == Kind::kLine) {
            outline.back().line_to(step.points[0]);
        } else {
            outline.back().curve_to(step.points[0], step.points[1], step.points[2]);
        }
    }
    return outline;
}

}  // namespace zelmor::embed
