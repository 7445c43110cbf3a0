// ColorTranslator: colors as HTML text and as the numbers of OLE and Windows, whose red is the lowest byte.
#include <charconv>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

[[noreturn]] void throw_not_a_color(const std::string& text) {
    throw_argument("'" + text + "' is neither the name of a color nor a number like '#1E90FF'.");
}

uint32_t hexadecimal(const std::string& text, size_t first) {
    uint32_t value = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + first, end, value, 16);
    if (read.ec != std::errc() || read.ptr != end) {
        throw_not_a_color(text);
    }
    return value;
}

// "#RRGGBB", "#RGB", or a name; None and the empty text are the empty color.
ColorValue from_html(const std::optional<std::string>& html) {
    if (!html || html->empty()) {
        return {};
    }
    if ((*html)[0] == '#') {
        const uint32_t value = hexadecimal(*html, 1);
        if (html->size() == 7) {
            return ColorValue::from_argb(0xFF000000u | value);
        }
        if (html->size() == 4) {
            const uint32_t r = value >> 8, g = value >> 4 & 0xF, b = value & 0xF;
            return ColorValue::from_argb(0xFF000000u | r * 0x110000u | g * 0x1100u | b * 0x11u);
        }
        throw_not_a_color(*html);
    }
    if (*html == "LightGrey" || *html == "lightgrey") {
        return find_color("LightGray");
    }
    ColorValue color = find_color(*html);
    if (color.state == 0) {
        throw_not_a_color(*html);
    }
    return color;
}

std::string to_html(const ColorValue& c) {
    if (c.state == 0) {
        return "";
    }
    if (c.state == ColorValue::kStateKnown) {
        const std::string name = known_color_name(c);
        return name == "LightGray" ? "LightGrey" : name;  // HTML spells only this one with an e
    }
    if (c.state == ColorValue::kStateName) {
        return to_utf8(c.name);
    }
    char text[8];
    std::snprintf(text, sizeof text, "#%06X", c.argb & 0xFFFFFF);
    return text;
}

ColorValue from_win32(int32_t number) {
    const auto word = static_cast<uint32_t>(number);
    return ColorValue::from_argb(0xFF000000u | (word & 0xFF) << 16 | (word & 0xFF00) | (word >> 16 & 0xFF));
}
int32_t to_win32(const ColorValue& c) {
    return c.r() | c.g() << 8 | c.b() << 16;
}

using TranslatorApi = api::ColorTranslator;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_html, TranslatorApi::call_000_FromHtml>(),
    behavior<&from_win32, TranslatorApi::call_000_FromOle, TranslatorApi::call_000_FromWin32>(),
    behavior<&to_html, TranslatorApi::call_000_ToHtml>(),
    behavior<&to_win32, TranslatorApi::call_000_ToOle, TranslatorApi::call_000_ToWin32>(),
});

}  // namespace

}  // namespace zelmor::embed
