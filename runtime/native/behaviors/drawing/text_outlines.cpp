// Laying out text with fonts and formats, and the outlines of text shapes.
#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed {

using api::FontStyle;
using api::HotkeyPrefix;
using api::StringAlignment;
using api::StringFormatFlags;
using api::StringTrimming;
using drawwork::TextAlignment;
using drawwork::TextLayout;
using drawwork::TextTrimming;

namespace {

template <class Flag>
bool has_flag(int64_t flags, Flag flag) {
    return (flags & number_of(flag)) != 0;
}

// The text without the marks of hotkeys: "&x" marks the x, "&&" stands for one "&".
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

TextTrimming trimming_of(StringTrimming trimming) {
    switch (trimming) {
        case StringTrimming::kEllipsisCharacter:
        case StringTrimming::kEllipsisWord:
            return TextTrimming::kEnd;
        case StringTrimming::kEllipsisPath:
            return TextTrimming::kMiddle;
        default:
            return TextTrimming::kNone;
    }
}

// The text with each line cut where it reaches the width of the layout: at a character, or between words.
void cut_lines(TextLayout& layout, bool at_characters) {
    TextLayout one = layout;
    one.wrap = true;
    one.breaks_words = at_characters;
    one.mnemonic = -1;
    std::string cut;
    int32_t mnemonic = -1;
    for (size_t at = 0; at <= layout.text.size();) {
        const size_t end = std::min(layout.text.find('\n', at), layout.text.size());
        one.text = layout.text.substr(at, end - at);
        const std::string kept = drawing_backend().lines_of(one).front().text;
        const int64_t marked = layout.mnemonic - static_cast<int64_t>(at);
        if (marked >= 0 && marked < static_cast<int64_t>(kept.size())) {
            mnemonic = static_cast<int32_t>(static_cast<int64_t>(cut.size()) + marked);
        }
        cut += kept;
        if (end < layout.text.size()) {
            cut += '\n';
        }
        at = end + 1;
    }
    layout.text = std::move(cut);
    layout.mnemonic = mnemonic;
}

TextAlignment alignment_of(StringAlignment alignment) {
    switch (alignment) {
        case StringAlignment::kNear:
            return TextAlignment::kBegin;
        case StringAlignment::kCenter:
            return TextAlignment::kMiddle;
        case StringAlignment::kFar:
            return TextAlignment::kEnd;
    }
    return TextAlignment::kBegin;
}

// The part of the free room that comes before aligned text.
double room_before(TextAlignment alignment) {
    switch (alignment) {
        case TextAlignment::kBegin:
            return 0;
        case TextAlignment::kMiddle:
            return 0.5;
        case TextAlignment::kEnd:
            return 1;
    }
    return 0;
}

void set_format(TextLayout& layout, const ManagedObject& format, const std::u16string& text) {
    const int64_t flags = property_int(format, "FormatFlags");
    if (has_flag(flags, StringFormatFlags::kDirectionVertical)) {
        throw_not_supported("Drawing vertical text (StringFormatFlags.DIRECTION_VERTICAL)");
    }
    if (has_flag(flags, StringFormatFlags::kExactAlignment)) {
        throw_not_supported("Aligning text by its exact width (StringFormatFlags.EXACT_ALIGNMENT)");
    }
    layout.fallback = !has_flag(flags, StringFormatFlags::kNoFontFallback);
    layout.shows_controls = has_flag(flags, StringFormatFlags::kDisplayFormatControl);
    const Ref<ManagedObject> spacing = property_object(format, "CustomCharIdent");
    layout.letter_spacing = spacing ? unbox<PointFValue>(*spacing).x : 0;
    layout.right_to_left = has_flag(flags, StringFormatFlags::kDirectionRightToLeft);
    layout.wrap = !has_flag(flags, StringFormatFlags::kNoWrap);
    layout.alignment = alignment_of(property_enum<StringAlignment>(format, "Alignment"));
    layout.trimming = trimming_of(property_enum<StringTrimming>(format, "Trimming"));
    double tab = property_double(format, "FirstTabOffset");
    for (const double stop : numbers_of(property(format, "TabStops"))) {
        layout.tabs.push_back(tab += stop);
    }
    const auto hotkeys = property_enum<HotkeyPrefix>(format, "HotkeyPrefix");
    if (hotkeys != HotkeyPrefix::kShow && hotkeys != HotkeyPrefix::kHide) {
        return;
    }
    std::optional<size_t> marked;
    const std::u16string shown = without_marks(text, marked);
    layout.text = to_utf8(shown);
    if (hotkeys == HotkeyPrefix::kShow && marked) {
        layout.mnemonic = static_cast<int32_t>(to_utf8(shown.substr(0, *marked)).size());
    }
}

// Lowers the height to that of the whole lines that fit into a room; false where not even one does.
bool keep_whole_lines(PlacedText& placed, double room) {
    if (placed.extent.height <= room) {
        return true;
    }
    const auto count = static_cast<double>(drawing_backend().lines_of(placed.layout).size());
    const double line = placed.extent.height / count;
    const double whole = std::floor(room / line);
    placed.extent.height = whole * line;
    return whole > 0;
}

}  // namespace

PlacedText place_text(const std::u16string& text, const ManagedObject* font, const ManagedObject* format, double width,
                      double height, double font_scale, bool exact) {
    required(font, "font");
    if (format != nullptr) {
        format->require_live();
    }
    PlacedText placed;
    TextLayout& layout = placed.layout;
    const FontChoice choice = font_choice();
    // Text is Unicode, and any font may have its characters; those of a symbol font are no characters.
    if (const auto set = property_enum<api::CharacterSet>(*font, "CharacterSet"); set == api::CharacterSet::kSymbol) {
        throw_not_supported("The value " + std::to_string(number_of(set)) + " of Font.CharacterSet");
    }
    const int64_t style = property_int(*font, "Style");
    layout.text = to_utf8(text);
    layout.family = family_of(*font, choice);
    layout.folders = choice.folders;
    layout.size = property_double(*font, "Size") * font_scale;
    layout.exact = exact;
    layout.bold = has_flag(style, FontStyle::kBold);
    layout.italic = has_flag(style, FontStyle::kItalic);
    layout.underline = has_flag(style, FontStyle::kUnderline);
    layout.strikeout = has_flag(style, FontStyle::kStrikeout);
    if (width > 0) {
        layout.width = width;
    }
    if (height > 0) {
        layout.height = height;
    }
    auto line_alignment = TextAlignment::kBegin;
    int64_t flags = 0;
    if (format != nullptr) {
        set_format(layout, *format, text);
        line_alignment = alignment_of(property_enum<StringAlignment>(*format, "LineAlignment"));
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
    const bool limited = height > 0 && has_flag(flags, StringFormatFlags::kLineLimit);
    if (const auto trimming =
            format != nullptr ? property_enum<StringTrimming>(*format, "Trimming") : StringTrimming::kNone;
        !layout.wrap && width > 0 && (trimming == StringTrimming::kCharacter || trimming == StringTrimming::kWord)) {
        cut_lines(layout, trimming == StringTrimming::kCharacter);
    }
    placed.extent = drawing_backend().measure(layout);
    if (limited && !keep_whole_lines(placed, height)) {
        placed.layout.text.clear();
        placed.extent = {};
        return placed;
    }
    // Lines without a frame are aligned at the point.
    const bool framed = width > 0 && layout.wrap;
    const double room = framed ? 0 : (width > 0 ? width : 0) - placed.extent.width;
    placed.offset.x = framed ? 0 : room * room_before(layout.alignment);
    placed.offset.y = ((height > 0 ? height : 0) - placed.extent.height) * room_before(line_alignment);
    const bool clipped = width > 0 && height > 0 && !has_flag(flags, StringFormatFlags::kNoClip);
    if (clipped) {
        placed.clip = RectD{0, 0, width, height};
    }
    if (limited) {
        // Letters reach beyond the sides of their line, by less than that.
        const double side = clipped ? 0 : width + placed.extent.width + kLargest;
        const double top = std::max(placed.offset.y, clipped ? 0.0 : placed.offset.y);
        placed.clip = RectD{-side, top, (clipped ? width : 0) + 2 * side, placed.extent.height};
    }
    return placed;
}

// The outline in its place. The font of a TextShape has the size that it has on an image of 96 dots per inch.
Outline text_outline(const FramedShape& shape) {
    const auto text = property_string(shape, "Text");
    const auto font = property_object(shape, "Font");
    if (!text || text->empty() || !font) {
        return {};
    }
    constexpr double kDotsPerInch = 96;
    const double scale = pixels_in_unit(property_enum<api::GraphicsUnit>(*font, "Unit"), kDotsPerInch);
    const RectD frame = shape.size();
    try {
        const PlacedText placed =
            place_text(*text, font.get(), property_object(shape, "TextFormat").get(), frame.width, frame.height, scale);
        if (placed.layout.text.empty()) {
            return {};
        }
        const Affine place = Affine::translation(placed.offset.x, placed.offset.y).then(shape.placing());
        Outline outline = drawing_backend().outline_of(placed.layout);
        if (placed.clip) {
            // Of the lines that are not shown; a letter that is cut by a side stays whole.
            const double bottom = placed.clip->bottom() - placed.offset.y;
            std::erase_if(outline, [&](const Contour& contour) {
                const RectD box = bounds_of({contour});
                return box.y + box.height / 2 > bottom;
            });
        }
        return transformed(outline, place);
    } catch (const drawwork::DrawError& error) {
        throw_invalid_operation(std::string("The text has no outline: ") + error.what() + ".");
    }
}

}  // namespace zelmor::embed
