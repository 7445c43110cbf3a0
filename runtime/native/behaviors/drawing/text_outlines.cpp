// Laying out text with fonts and formats, and the outlines of text shapes.
#include <algorithm>

#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed {

using drawwork::TextLayout;
using drawwork::TextTrimming;

namespace {

constexpr int64_t kRightToLeft = 0x1, kVertical = 0x2, kNoWrap = 0x1000, kNoClip = 0x4000;

// Marks of hotkeys: "&x" underlines x or just drops the mark, "&&" is one of it.
std::u16string without_marks(const std::u16string& text, std::optional<size_t>& marked) {
    std::u16string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'&' && i + 1 < text.size()) {
            ++i;
            if (text[i] != u'&' && !marked) {
                marked = result.size();
            }
        }
        result += text[i];
    }
    return result;
}

std::string family_of(const ManagedObject& font, const FontChoice& choice) {
    std::string name = to_utf8(property_string(font, "Name").value_or(u""));
    if (choice.default_name.empty() && !choice.may_replace && !drawing_backend().has_family(name, choice.folders)) {
        throw_argument("There is no font '" + name + "', and no other may stand in for it.");
    }
    return choice.default_name.empty() ? name : name + "," + choice.default_name;
}

void set_format(TextLayout& layout, const ManagedObject& format, const std::u16string& text) {
    const int64_t flags = property_int(format, "FormatFlags");
    if (flags & kVertical) {
        throw_not_supported("Drawing vertical text (StringFormatFlags.DIRECTION_VERTICAL)");
    }
    layout.right_to_left = (flags & kRightToLeft) != 0;
    layout.wrap = (flags & kNoWrap) == 0;
    layout.alignment = static_cast<int>(property_int(format, "Alignment"));
    const int64_t trimming = property_int(format, "Trimming");
    if (trimming == 3 || trimming == 4) {
        layout.trimming = TextTrimming::kEnd;
    }
    if (trimming == 5) {
        layout.trimming = TextTrimming::kMiddle;
    }
    double tab = property_double(format, "FirstTabOffset");
    for (const double stop : numbers_of(property(format, "TabStops"))) {
        layout.tabs.push_back(tab += stop);
    }
    const int64_t hotkeys = property_int(format, "HotkeyPrefix");
    if (hotkeys != 1 && hotkeys != 2) {
        return;
    }
    std::optional<size_t> marked;
    const std::u16string shown = without_marks(text, marked);
    layout.text = to_utf8(shown);
    if (hotkeys == 1 && marked) {
        layout.mnemonic = static_cast<int32_t>(to_utf8(shown.substr(0, *marked)).size());
    }
}

}  // namespace

PlacedText place_text(const std::u16string& text, const ManagedObject* font, const ManagedObject* format, double width,
                      double height, double font_scale) {
    if (!font) {
        throw_argument_null("font");
    }
    if (format) {
        format->require_live();
    }
    PlacedText placed;
    TextLayout& layout = placed.layout;
    const FontChoice choice = font_choice();
    const int64_t style = property_int(*font, "Style");
    layout.text = to_utf8(text);
    layout.family = family_of(*font, choice);
    layout.folders = choice.folders;
    layout.size = property_double(*font, "Size") * font_scale;
    layout.bold = style & 1;
    layout.italic = style & 2;
    layout.underline = style & 4;
    layout.strikeout = style & 8;
    if (width > 0) {
        layout.width = width;
    }
    if (height > 0) {
        layout.height = height;
    }
    int64_t line_alignment = 0, flags = 0;
    if (format) {
        set_format(layout, *format, text);
        line_alignment = property_int(*format, "LineAlignment");
        flags = property_int(*format, "FormatFlags");
    }
    if (!(layout.size > 0)) {
        placed.layout.text.clear();
        return placed;
    }
    constexpr double kLargest = 32'000;
    if (layout.size > kLargest) {
        throw_argument("The font is too large to be drawn.");
    }
    std::replace(layout.text.begin(), layout.text.end(), '\0', ' ');  // text ends there for the library
    placed.extent = drawing_backend().measure(layout);
    const auto part = [](int64_t alignment) { return alignment == 1 ? 0.5 : alignment == 2 ? 1.0 : 0.0; };
    // Lines without a frame to be aligned in are aligned at the point.
    const bool framed = width > 0 && layout.wrap;
    const double room = framed ? 0 : (width > 0 ? width : 0) - placed.extent.width;
    placed.offset.x = framed ? 0 : room * part(layout.alignment);
    placed.offset.y = ((height > 0 ? height : 0) - placed.extent.height) * part(line_alignment);
    placed.clipped = width > 0 && height > 0 && (flags & kNoClip) == 0;
    return placed;
}

// The outline in its place. A font of a TextShape that is measured in other units than pixels is as large as on an
// image of 96 dots per inch.
Outline text_outline(const FramedShape& shape) {
    const auto text = property_string(shape, "Text");
    const auto font = property_object(shape, "Font");
    if (!text || text->empty() || !font) {
        return {};
    }
    constexpr double kDpi = 96;
    constexpr double kScales[] = {1, 1, 1, kDpi / 72, kDpi, kDpi / 300, kDpi / 25.4};
    const int64_t unit = property_int(*font, "Unit");
    const double scale = unit >= 0 && unit <= 6 ? kScales[unit] : 1;
    const RectD frame = shape.size();
    try {
        const PlacedText placed =
            place_text(*text, font.get(), property_object(shape, "TextFormat").get(), frame.width, frame.height, scale);
        if (placed.layout.text.empty()) {
            return {};
        }
        const Affine place = Affine::translation(placed.offset.x, placed.offset.y).then(shape.placing());
        return transformed(drawing_backend().outline_of(placed.layout), place);
    } catch (const drawwork::DrawError& error) {
        throw_invalid_operation(std::string("The text has no outline: ") + error.what() + ".");
    }
}

}  // namespace zelmor::embed
