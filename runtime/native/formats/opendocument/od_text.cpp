// Breaking text into lines, and drawing it; see od_text.h.
#include "runtime/native/formats/opendocument/od_text.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_values.h"

namespace zelmor::embed {

using drawwork::TextLayout;

namespace {

constexpr const char* kText = "style:text-properties";
constexpr const char* kParagraph = "style:paragraph-properties";
constexpr const char* kGraphic = "style:graphic-properties";

constexpr int kMostSpaces = 1000;  // of one text:s
constexpr int kMostListLevels = 10;
constexpr double kLowered = 0.58;  // the size of raised and lowered text that states none

struct Run {
    enum class Kind { kText, kTab, kBreak };
    Kind kind = Kind::kText;
    std::string text;
    OdTextStyle style;
};

enum class Align { kStart, kCenter, kEnd, kJustify };

struct Paragraph {
    std::vector<Run> runs;
    OdTextStyle style;  // of an empty paragraph
    Align align = Align::kStart;
    double left = 0, right = 0, above = 0, below = 0, indent = 0;
    double line_height = 1;   // times the usual one
    double fixed_height = 0;  // instead; 0 for none
    std::string label;        // of a list item
    OdTextStyle label_style;
    double label_at = 0;
};

// A piece of a line in one style.
struct Piece {
    std::string text;
    OdTextStyle style;
    double x = 0, width = 0;
    bool is_space = false;
    bool is_tab = false;  // a space that is wider than its text
};

struct Line {
    std::vector<Piece> pieces;
    double left = 0;   // of the room for the line
    double room = 0;   // its width
    double width = 0;  // of the pieces, without spaces at the end
    double above = 0;  // the baseline
    double height = 0;
    double gap = 0;  // above the line
    Align align = Align::kStart;
    bool is_last = false;
    const Paragraph* labeled = nullptr;
};

// ---- Styles

Align align_of(std::string_view text) {
    return text == "center"                   ? Align::kCenter
           : text == "end" || text == "right" ? Align::kEnd
           : text == "justify"                ? Align::kJustify
                                              : Align::kStart;
}

// ---- Paragraphs

class Collector {
 public:
    Collector(OdCanvas& target, const OdTextPlace& place) : m_document(target.document), m_place(place) {}

    std::vector<Paragraph> collect(const OdNode& element) {
        children(element, 0, nullptr);
        return std::move(m_paragraphs);
    }

 private:
    // What a style of text leaves open: the style of the shape's text, and that of the shape.
    OdStyle with_shape(OdStyle style) const {
        style.inherit(m_document.style(m_place.scope, "paragraph", m_place.paragraph_style, false));
        if (m_place.shape != nullptr) {
            style.inherit(*m_place.shape);
        }
        return style;
    }

    void children(const OdNode& element, int level, const OdNode* list_style) {
        for (const OdNode& each : element.children) {
            if (each.is("text:p") || each.is("text:h")) {
                paragraph(each);
            } else if (each.is("text:list") && level < kMostListLevels) {
                list(each, level + 1, list_style);
            }
        }
    }

    void list(const OdNode& element, int level, const OdNode* list_style) {
        if (const std::string* name = element.find("text:style-name")) {
            if (const OdNode* own = m_document.list_style(m_place.scope, *name)) {
                list_style = own;
            }
        }
        const OdNode* format = level_style(list_style, level);
        int64_t number = format != nullptr ? static_cast<int64_t>(od_number(format->get("text:start-value"), 1)) : 1;
        for (const OdNode& item : element.children) {
            const bool has_label = item.is("text:list-item");
            if (!has_label && !item.is("text:list-header")) {
                continue;
            }
            if (const std::string* start = item.find("text:start-value")) {
                number = static_cast<int64_t>(od_number(*start, static_cast<double>(number)));
            }
            const size_t first = m_paragraphs.size();
            bool labeled = !has_label || format == nullptr;
            for (const OdNode& each : item.children) {
                if (each.is("text:p") || each.is("text:h")) {
                    paragraph(each);
                    Paragraph& added = m_paragraphs.back();
                    indent(added, format);
                    if (!labeled) {
                        label(added, *format, number);
                        labeled = true;
                    }
                } else if (each.is("text:list") && level < kMostListLevels) {
                    list(each, level + 1, list_style);
                }
            }
            if (has_label && m_paragraphs.size() > first) {
                number++;
            }
        }
    }

    static const OdNode* level_style(const OdNode* list_style, int level) {
        if (list_style == nullptr) {
            return nullptr;
        }
        for (const OdNode& each : list_style->children) {
            if (od_number(each.get("text:level"), 0) == level) {
                return &each;
            }
        }
        return nullptr;
    }

    static void indent(Paragraph& paragraph, const OdNode* format) {
        const OdNode* properties = format != nullptr ? format->child("style:list-level-properties") : nullptr;
        if (properties != nullptr) {
            paragraph.label_at = od_length(properties->get("text:space-before"), 0);
            paragraph.left += paragraph.label_at + od_length(properties->get("text:min-label-width"), 0);
        }
    }

    void label(Paragraph& paragraph, const OdNode& format, int64_t number) const {
        paragraph.label_style = paragraph.runs.empty() ? paragraph.style : paragraph.runs.front().style;
        paragraph.label_style.underline = paragraph.label_style.strikeout = false;
        if (format.is("text:list-level-style-bullet")) {
            paragraph.label = format.get("text:bullet-char");
        } else if (format.is("text:list-level-style-number")) {
            paragraph.label = std::string(format.get("style:num-prefix")) +
                              written(number, format.get("style:num-format")) +
                              std::string(format.get("style:num-suffix"));
        }
        if (const OdNode* properties = format.child(kText)) {
            const std::string_view size = properties->get("fo:font-size");
            paragraph.label_style.size = od_percent(size) ? paragraph.label_style.size * *od_percent(size)
                                                          : od_length(size, paragraph.label_style.size);
            paragraph.label_style.color = od_color(properties->get("fo:color")).value_or(paragraph.label_style.color);
        }
    }

    static std::string written(int64_t number, std::string_view format) {
        if (format == "a" || format == "A") {
            std::string letters;
            for (int64_t rest = number; rest > 0; rest = (rest - 1) / 26) {
                letters.insert(letters.begin(), static_cast<char>(format[0] + (rest - 1) % 26));
            }
            return letters;
        }
        if ((format == "i" || format == "I") && number > 0 && number < 4000) {
            struct Numeral {
                int64_t value;
                const char* letters;
            };
            constexpr Numeral kNumerals[] = {{1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"}, {100, "c"},
                                             {90, "xc"},  {50, "l"},   {40, "xl"}, {10, "x"},   {9, "ix"},
                                             {5, "v"},    {4, "iv"},   {1, "i"}};
            std::string text;
            for (const Numeral& each : kNumerals) {
                for (; number >= each.value; number -= each.value) {
                    text += each.letters;
                }
            }
            if (format == "I") {
                std::transform(text.begin(), text.end(), text.begin(),
                               [](char c) { return static_cast<char>(c - 'a' + 'A'); });
            }
            return text;
        }
        return format.empty() ? std::string() : std::to_string(number);
    }

    void paragraph(const OdNode& element) {
        const OdStyle style =
            with_shape(m_document.style(m_place.scope, "paragraph", element.get("text:style-name"), false));
        Paragraph& paragraph = m_paragraphs.emplace_back();
        paragraph.style = od_text_style(m_document, style);
        paragraph.align = align_of(style.get(kParagraph, "fo:text-align"));
        const auto margin = [&](const char* side) {
            const std::string* own = style.find(kParagraph, side);
            return od_length(own != nullptr ? std::string_view(*own) : style.get(kParagraph, "fo:margin"), 0);
        };
        paragraph.left = margin("fo:margin-left");
        paragraph.right = margin("fo:margin-right");
        paragraph.above = margin("fo:margin-top");
        paragraph.below = margin("fo:margin-bottom");
        paragraph.indent = od_length(style.get(kParagraph, "fo:text-indent"), 0);
        const std::string_view height = style.get(kParagraph, "fo:line-height");
        if (const auto part = od_percent(height)) {
            paragraph.line_height = std::clamp(*part, 0.01, 100.0);
        } else {
            paragraph.fixed_height = od_length(height, 0);
        }
        m_space = true;
        inside(element, style, paragraph);
        // A space at the end is as none.
        if (!paragraph.runs.empty() && m_space && paragraph.runs.back().kind == Run::Kind::kText &&
            paragraph.runs.back().text.ends_with(' ')) {
            paragraph.runs.back().text.pop_back();
        }
    }

    void inside(const OdNode& element, const OdStyle& style, Paragraph& paragraph) {
        const OdTextStyle characters = od_text_style(m_document, style);
        const auto add = [&](Run::Kind kind, std::string text) {
            if (kind == Run::Kind::kText && !paragraph.runs.empty() && paragraph.runs.back().kind == kind &&
                paragraph.runs.back().style == characters) {
                paragraph.runs.back().text += text;
            } else {
                paragraph.runs.push_back({kind, std::move(text), characters});
            }
        };
        for (const OdNode& each : element.children) {
            if (each.name.empty()) {
                if (std::string text = collapsed(each.text); !text.empty()) {
                    add(Run::Kind::kText, std::move(text));
                }
            } else if (each.is("text:span") || each.is("text:a")) {
                OdStyle inner = m_document.style(m_place.scope, "text", each.get("text:style-name"), false);
                inner.inherit(style);
                inside(each, inner, paragraph);
            } else if (each.is("text:s")) {
                const double count = std::clamp(od_number(each.get("text:c"), 1), 0.0, double{kMostSpaces});
                add(Run::Kind::kText, std::string(static_cast<size_t>(count), ' '));
                m_space = false;
            } else if (each.is("text:tab")) {
                add(Run::Kind::kTab, {});
                m_space = false;
            } else if (each.is("text:line-break")) {
                add(Run::Kind::kBreak, {});
                m_space = true;
            } else if (each.is("text:page-number")) {
                add(Run::Kind::kText, std::to_string(m_place.page_number));
                m_space = false;
            } else if (each.is("text:page-count")) {
                add(Run::Kind::kText, std::to_string(m_document.pages().size()));
                m_space = false;
            } else if (!each.is("office:annotation") && !each.is("text:note")) {
                inside(each, style, paragraph);  // fields and marks hold the text that they show
            }
        }
    }

    // White space in a row is one space, and none at the beginning of a line.
    std::string collapsed(std::string_view text) {
        std::string result;
        for (const char c : text) {
            const bool space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
            if (!space || !m_space) {
                result += space ? ' ' : c;
            }
            m_space = space;
        }
        return result;
    }

    const OdDocument& m_document;
    const OdTextPlace& m_place;
    std::vector<Paragraph> m_paragraphs;
    bool m_space = true;  // the text so far ends with white space
};

// ---- Lines

class LineBreaker {
 public:
    LineBreaker(OdCanvas& target, double width) : m_target(target), m_width(width) {}

    std::vector<Line> lines;

    void add(const Paragraph& paragraph, bool first) {
        m_paragraph = &paragraph;
        m_gap = first ? 0 : std::max(paragraph.above, m_below);
        m_below = paragraph.below;
        begin_line(true);
        for (const Run& run : paragraph.runs) {
            if (run.kind == Run::Kind::kBreak) {
                m_break_style = run.style;
                end_line(true);
                begin_line(false);
            } else if (run.kind == Run::Kind::kTab) {
                tab(run.style);
            } else {
                words(run);
            }
        }
        end_line(true);
    }

    TextLayout layout(const std::string& text, const OdTextStyle& style) const {
        TextLayout layout;
        layout.text = text;
        layout.family = style.family;
        layout.size = style.size;
        layout.bold = style.bold;
        layout.italic = style.italic;
        layout.underline = style.underline;
        layout.strikeout = style.strikeout;
        layout.smooth = m_target.smooth_text;
        layout.hinted = m_target.hinted;
        layout.wrap = false;
        return layout;
    }

    struct FontHeight {
        double above = 0, height = 0;
    };
    // The baseline of a font, and the height of its lines.
    const FontHeight& font_height(const OdTextStyle& style) {
        const auto [found, is_new] = m_heights.try_emplace({style.family, style.size, style.bold, style.italic});
        if (is_new) {
            OdTextStyle plain = style;
            plain.underline = plain.strikeout = false;
            const TextLayout capital = layout("H", plain);
            found->second.height = m_target.services.measure(capital).height;
            // A capital H stands on the baseline.
            const RectD box = bounds_of(m_target.services.outline_of(capital));
            found->second.above = box.height > 0 ? box.bottom() : found->second.height * 0.8;
        }
        return found->second;
    }

    double width_of(const std::string& text, const OdTextStyle& style) {
        const auto [found, is_new] = m_widths.try_emplace({style.family, style.size, style.bold, style.italic, text});
        if (is_new) {
            found->second = m_target.services.measure(layout(text, style)).width;
        }
        return found->second;
    }

 private:
    void begin_line(bool first_of_paragraph) {
        Line line;
        const double indent = first_of_paragraph ? m_paragraph->indent : 0;
        line.left = m_paragraph->left + indent;
        line.room = m_width < 0 ? -1 : std::max(0.0, m_width - line.left - m_paragraph->right);
        line.align = m_paragraph->align;
        line.gap = first_of_paragraph ? m_gap : 0;
        if (first_of_paragraph && !m_paragraph->label.empty()) {
            line.labeled = m_paragraph;
        }
        m_line = std::move(line);
        m_x = 0;
    }

    void end_line(bool is_last) {
        Line& line = m_line;
        line.is_last = is_last;
        while (!is_last && !line.pieces.empty() && line.pieces.back().is_space) {
            line.pieces.pop_back();
        }
        line.width = line.pieces.empty() ? 0 : line.pieces.back().x + line.pieces.back().width;
        double below = 0;
        const auto take = [&](const OdTextStyle& style) {
            const FontHeight& font = font_height(style);
            line.above = std::max(line.above, font.above + style.rise);
            below = std::max(below, font.height - font.above - style.rise);
        };
        if (line.pieces.empty()) {
            take(m_break_style.value_or(m_paragraph->style));
        }
        for (const Piece& piece : line.pieces) {
            take(piece.style);
        }
        line.height = line.above + below;
        double wanted = line.height * m_paragraph->line_height;
        if (m_paragraph->fixed_height > 0) {
            wanted = m_paragraph->fixed_height;
        } else if (lines.empty() && wanted > line.height) {
            wanted = line.height;  // the room between lines begins with the second
        }
        line.above += wanted - line.height;
        line.height = wanted;
        lines.push_back(std::move(line));
        m_break_style.reset();
    }

    void tab(const OdTextStyle& style) {
        constexpr double kStop = 12.5 * kPixelsOfMillimeter;
        const double to = (std::floor((m_x + 1e-6) / kStop) + 1) * kStop;
        place({" ", style, m_x, to - m_x, true, true});
    }

    void place(Piece piece) {
        piece.x = m_x;
        m_x += piece.width;
        m_line.pieces.push_back(std::move(piece));
    }

    bool fits(double width) const { return m_line.room < 0 || m_x + width <= m_line.room + 1e-6; }

    void words(const Run& run) {
        size_t at = 0;
        while (at < run.text.size()) {
            const bool space = run.text[at] == ' ';
            size_t end = at;
            while (end < run.text.size() && (run.text[end] == ' ') == space) {
                end++;
            }
            word(run.text.substr(at, end - at), run.style, space);
            at = end;
        }
    }

    void word(const std::string& text, const OdTextStyle& style, bool space) {
        const double width = width_of(text, style);
        if (space || fits(width)) {
            place({text, style, 0, width, space});
            return;
        }
        const bool has_word =
            std::any_of(m_line.pieces.begin(), m_line.pieces.end(), [](const Piece& p) { return !p.is_space; });
        if (has_word) {
            // A word that goes on in another style moves to the next line as a whole.
            std::vector<Piece> moved;
            const bool any_space =
                std::any_of(m_line.pieces.begin(), m_line.pieces.end(), [](const Piece& p) { return p.is_space; });
            while (any_space && !m_line.pieces.back().is_space) {
                moved.insert(moved.begin(), m_line.pieces.back());
                m_line.pieces.pop_back();
            }
            end_line(false);
            begin_line(false);
            for (Piece& piece : moved) {
                place(std::move(piece));
            }
            if (fits(width)) {
                place({text, style, 0, width, false});
                return;
            }
        }
        letters(text, style);
    }

    // A word that is longer than a line is broken anywhere.
    void letters(const std::string& text, const OdTextStyle& style) {
        size_t at = 0;
        while (at < text.size()) {
            size_t end = at + 1;
            while (end < text.size() && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) {
                end++;
            }
            const std::string letter = text.substr(at, end - at);
            const double width = width_of(letter, style);
            if (!fits(width) && !m_line.pieces.empty()) {
                end_line(false);
                begin_line(false);
            }
            place({letter, style, 0, width, false});
            at = end;
        }
    }

    OdCanvas& m_target;
    double m_width;  // negative for no limit
    const Paragraph* m_paragraph = nullptr;
    Line m_line;
    double m_x = 0;
    double m_gap = 0;
    double m_below = 0;
    std::optional<OdTextStyle> m_break_style;
    std::map<std::tuple<std::string, double, bool, bool>, FontHeight> m_heights;
    std::map<std::tuple<std::string, double, bool, bool, std::string>, double> m_widths;
};

// ---- Drawing

void draw_piece(OdCanvas& target, LineBreaker& breaker, const Piece& piece, double x, double baseline,
                const Affine& placing) {
    if ((piece.style.background >> 24) != 0) {
        const LineBreaker::FontHeight& font = breaker.font_height(piece.style);
        drawwork::Paint behind;
        behind.color = piece.style.background;
        const Contour box = rectangle_contour({x, baseline - font.above, piece.width, font.height});
        target.canvas.fill(transformed({box}, placing), FillRule::kAlternate, behind, target.smooth);
    }
    const bool shows =
        piece.text.find_first_not_of(' ') != std::string::npos || piece.style.underline || piece.style.strikeout;
    if (!shows) {
        return;
    }
    drawwork::Paint paint;
    paint.color = piece.style.color;
    const double top = baseline - piece.style.rise - breaker.font_height(piece.style).above;
    target.canvas.text(breaker.layout(piece.text, piece.style), Affine::translation(x, top).then(placing), paint);
}

void draw_line(OdCanvas& target, LineBreaker& breaker, const Line& line, double left, double room, double top,
               const Affine& placing) {
    const double free = room - line.left - line.width;
    double x = left + line.left;
    if (line.align == Align::kCenter) {
        x += free / 2;
    } else if (line.align == Align::kEnd) {
        x += free;
    }
    const double baseline = top + line.above;
    if (line.labeled != nullptr) {
        const Paragraph& paragraph = *line.labeled;
        const double width = breaker.width_of(paragraph.label, paragraph.label_style);
        const double at = line.align == Align::kStart || line.align == Align::kJustify
                              ? left + paragraph.label_at
                              : x - (line.left - paragraph.label_at);
        draw_piece(target, breaker, {paragraph.label, paragraph.label_style, 0, width, false}, at, baseline, placing);
    }
    const auto spaces =
        std::count_if(line.pieces.begin(), line.pieces.end(), [](const Piece& p) { return p.is_space; });
    const bool justified = line.align == Align::kJustify && !line.is_last && spaces > 0 && free > 0;
    if (justified) {
        const double more = free / static_cast<double>(spaces);
        double shift = 0;
        for (const Piece& piece : line.pieces) {
            draw_piece(target, breaker, piece, x + piece.x + shift, baseline, placing);
            shift += piece.is_space ? more : 0;
        }
        return;
    }
    // Pieces of one style are drawn together, so that their letters join as they do in a text.
    for (size_t i = 0; i < line.pieces.size();) {
        Piece whole = line.pieces[i];
        size_t next = i + 1;
        while (!whole.is_tab && next < line.pieces.size() && !line.pieces[next].is_tab &&
               line.pieces[next].style == whole.style) {
            whole.text += line.pieces[next].text;
            whole.width += line.pieces[next].width;
            next++;
        }
        draw_piece(target, breaker, whole, x + whole.x, baseline, placing);
        i = next;
    }
}

}  // namespace

OdTextStyle od_text_style(const OdDocument& document, const OdStyle& style) {
    OdTextStyle result;
    if (const auto [attribute, name] = style.nearest(kText, {"style:font-name", "fo:font-family"}); name != nullptr) {
        result.family = attribute == "style:font-name" ? document.font_family(*name) : *name;
        std::erase(result.family, '\'');
        std::erase(result.family, '"');
    }
    result.size = od_length(style.get(kText, "fo:font-size"), result.size);
    result.size = std::clamp(result.size, 0.1, 10000.0);
    const std::string_view weight = style.get(kText, "fo:font-weight");
    result.bold = weight == "bold" || od_number(weight, 400) >= 600;
    const std::string_view slope = style.get(kText, "fo:font-style");
    result.italic = slope == "italic" || slope == "oblique";
    const auto has_line = [&](const char* attribute) {
        const std::string_view line = style.get(kText, attribute);
        return !line.empty() && line != "none";
    };
    result.underline = has_line("style:text-underline-style");
    result.strikeout = has_line("style:text-line-through-style");
    // A color that is left to the program is black, whatever opacity stands beside it: programs write 0 there.
    const auto [colored, color] = style.nearest(kText, {"style:use-window-font-color", "fo:color"});
    const bool automatic = colored == "style:use-window-font-color" && od_bool(*color, false);
    result.color = automatic ? result.color : od_color(style.get(kText, "fo:color")).value_or(result.color);
    if (const auto opacity = od_percent(style.get(kText, "loext:opacity")); opacity && !automatic) {
        result.color = (result.color & 0xFFFFFF) |
                       static_cast<drawwork::Argb>(std::lround(255 * std::clamp(*opacity, 0.0, 1.0))) << 24;
    }
    result.background = od_color(style.get(kText, "fo:background-color")).value_or(0);
    // "super", "-33% 58%": how high, and how large.
    if (const std::string* position = style.find(kText, "style:text-position")) {
        OdScanner scanner(*position);
        double rise = 0;
        if (const std::string_view word = scanner.word(); !word.empty()) {
            rise = word == "super" ? 0.33 : word == "sub" ? -0.33 : 0;
        } else {
            rise = scanner.number().value_or(0) / 100;
            scanner.take();
        }
        const double part = scanner.number().value_or(rise != 0 ? 100 * kLowered : 100) / 100;
        result.rise = rise * result.size;
        result.size = std::clamp(result.size * part, 0.1, 10000.0);
    }
    return result;
}

namespace {

// The text of a shape, broken into lines for its area.
class LaidText {
 public:
    LaidText(OdCanvas& target, const OdNode& element, const OdTextPlace& place)
        : m_place(place),
          m_area(inner_area(place)),
          m_wraps(breaks_lines(element) && m_area.width > 0),
          m_paragraphs(Collector(target, place).collect(element)),
          m_breaker(target, m_wraps ? m_area.width : -1) {
        const bool any = std::any_of(m_paragraphs.begin(), m_paragraphs.end(),
                                     [](const Paragraph& each) { return !each.runs.empty() || !each.label.empty(); });
        if (!any) {
            return;
        }
        for (const Paragraph& each : m_paragraphs) {
            m_breaker.add(each, &each == &m_paragraphs.front());
        }
        for (const Line& line : m_breaker.lines) {
            m_height += line.gap + line.height;
            m_widest = std::max(m_widest, line.left + line.width);
        }
    }

    // With the room that stays free above and below.
    double height() const {
        return m_breaker.lines.empty()
                   ? 0
                   : m_height + padding(m_place, "fo:padding-top") + padding(m_place, "fo:padding-bottom");
    }

    void draw(OdCanvas& target) {
        double left = m_area.x;
        double room = m_area.width;
        const std::string_view across = get("draw:textarea-horizontal-align");
        if (!m_wraps || across == "left" || across == "center" || across == "right") {
            room = m_widest;
            const double free = m_area.width - m_widest;
            const bool in_middle = across == "center" || across == "justify" || across.empty();
            left += across == "left" ? 0 : across == "right" ? free : in_middle ? free / 2 : 0;
        }
        double top = m_area.y;
        const std::string_view down = get("draw:textarea-vertical-align");
        if (down == "middle" || down == "bottom") {
            top += (m_area.height - m_height) * (down == "middle" ? 0.5 : 1);
        }
        for (const Line& line : m_breaker.lines) {
            top += line.gap;
            draw_line(target, m_breaker, line, left, room, top, m_place.placing);
            top += line.height;
        }
    }

 private:
    static std::string_view get(const OdTextPlace& place, const char* attribute) {
        return place.shape != nullptr ? place.shape->get(kGraphic, attribute) : std::string_view();
    }
    std::string_view get(const char* attribute) const { return get(m_place, attribute); }
    // The option is for text in shapes: programs write it for boxes too, and break their text all the same.
    bool breaks_lines(const OdNode& element) const {
        const bool boxed = element.is("draw:text-box") || element.is("table:table-cell");
        return (boxed || get("fo:wrap-option") != "no-wrap") && !od_bool(get("draw:auto-grow-width"), false);
    }
    static double padding(const OdTextPlace& place, const char* side) {
        return od_length(get(place, side), od_length(get(place, "fo:padding"), 0));
    }
    static RectD inner_area(const OdTextPlace& place) {
        const double left = padding(place, "fo:padding-left"), top = padding(place, "fo:padding-top");
        return {place.area.x + left, place.area.y + top,
                std::max(0.0, place.area.width - left - padding(place, "fo:padding-right")),
                std::max(0.0, place.area.height - top - padding(place, "fo:padding-bottom"))};
    }

    const OdTextPlace& m_place;
    RectD m_area;
    bool m_wraps;
    std::vector<Paragraph> m_paragraphs;
    LineBreaker m_breaker;
    double m_height = 0, m_widest = 0;
};

}  // namespace

void draw_od_text(OdCanvas& target, const OdNode& element, const OdTextPlace& place) {
    LaidText(target, element, place).draw(target);
}

double od_text_height(OdCanvas& target, const OdNode& element, const OdTextPlace& place) {
    return LaidText(target, element, place).height();
}

}  // namespace zelmor::embed
