// Reading sizes of fonts; see svg_font_size.h.
#include "runtime/native/formats/svg/svg_font_size.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "runtime/native/formats/svg/svg_numbers.h"
#include "runtime/native/formats/svg/svg_units.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

bool begins_number(char c) {
    return (c >= '0' && c <= '9') || c == '.';
}
bool is_of_unit(char c) {
    return ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '%' || c == '\\';
}

// A quarter of a millimeter is a unit of CSS, and none of SVG.
std::optional<double> pixels_of_font_unit(std::string_view unit) {
    return unit == "q" ? 96 / (4 * kMillimetersPerInch) : pixels_of_svg_unit(unit);
}

void take(SvgFontSize& size, double number, std::string_view unit) {
    if (const std::optional<double> pixels = pixels_of_font_unit(unit)) {
        size.pixels = std::max(size.pixels, number * *pixels);
    } else if (unit == "%") {
        size.factor = std::max(size.factor, number / 100);
    } else {  // of the font around it or of the first one, or of the page, or unknown
        size.factor = std::max(size.factor, number);
        size.pixels = std::max(size.pixels, number * 96);
    }
}

}  // namespace

SvgFontSize svg_font_size(std::string_view value) {
    SvgFontSize size;
    const std::string text = lower_case(value);
    std::string_view rest = text;
    if (text.find("larger") != std::string::npos) {
        size.factor = 1.2;
    }
    while (!rest.empty()) {
        if (!begins_number(rest.front())) {
            rest.remove_prefix(1);
            continue;
        }
        double number = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (error == std::errc::invalid_argument) {
            rest.remove_prefix(1);
            continue;
        }
        rest.remove_prefix(static_cast<size_t>(end - rest.data()));
        const auto unit_end = std::find_if_not(rest.begin(), rest.end(), is_of_unit);
        const std::string_view unit = rest.substr(0, static_cast<size_t>(unit_end - rest.begin()));
        // A number out of range is infinite, or next to nothing.
        take(size, error == std::errc() ? number : 1e300, unit);
        rest.remove_prefix(unit.size());
    }
    return size;
}

SvgFontSize svg_font_size_in(std::string_view declarations) {
    SvgFontSize all;
    while (!declarations.empty()) {
        const std::string_view one = declarations.substr(0, declarations.find_first_of(";{}"));
        declarations.remove_prefix(std::min(one.size() + 1, declarations.size()));
        const size_t colon = one.find(':');
        if (colon == std::string_view::npos) {
            continue;
        }
        const std::string name = lower_case(one.substr(0, colon));
        if (name.find("font") != std::string::npos || name.find('\\') != std::string::npos) {
            const SvgFontSize size = svg_font_size(one.substr(colon + 1));
            all = {std::max(all.pixels, size.pixels), std::max(all.factor, size.factor)};
        }
    }
    return all;
}

std::string without_comments(std::string_view style_sheet) {
    std::string text;
    while (!style_sheet.empty()) {
        const size_t begin = std::min(style_sheet.find("/*"), style_sheet.size());
        text += style_sheet.substr(0, begin);
        style_sheet.remove_prefix(begin);
        const size_t end = style_sheet.size() > 2 ? style_sheet.find("*/", 2) : std::string_view::npos;
        style_sheet.remove_prefix(end == std::string_view::npos ? style_sheet.size() : end + 2);
    }
    return text;
}

bool imports_data(std::string_view style_sheet) {
    const std::string text = lower_case(style_sheet);
    for (size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at + 1)) {
        const std::string_view rule = std::string_view(text).substr(at + 1, text.find_first_of(";{", at) - at - 1);
        const bool imports = rule.starts_with("import") || rule.starts_with('\\');
        if (imports && (rule.find("data") != std::string_view::npos || rule.find('\\') != std::string_view::npos)) {
            return true;
        }
    }
    return false;
}

}  // namespace zelmor::imagework
