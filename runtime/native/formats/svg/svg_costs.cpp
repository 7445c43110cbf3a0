// Walking over a document for what it costs to draw; see svg_costs.h.
#include "runtime/native/formats/svg/svg_costs.h"

#include <expat.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/native/formats/svg/svg_filtering.h"
#include "runtime/native/formats/svg/svg_font_size.h"
#include "runtime/native/formats/svg/svg_links.h"
#include "runtime/native/formats/svg/svg_numbers.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// A viewport without a size of its own is as large as the one around it, which is not looked up.
constexpr double kSomeViewport = 1e4;
// Shorter dashes are drawn as a paler line, in pixels.
constexpr double kShortestDash = 0.1;
// Passes over the references of a document: each sees one level of nesting more.
constexpr int kPasses = 64;
// Of a text for which nothing says another size, in pixels.
constexpr double kUsualFont = 16;
// The library keeps no more numbers of a convolution's kernel, and does not compare so many with its sides.
constexpr size_t kKernel = 400;

struct Element {
    size_t parent = 0;
    double scale = 1;                     // of its own transformation and view box
    double reach = 1;                     // the greatest product of scales from here inwards
    SvgFontSize font;                     // as the element says it
    double font_reach = 1;                // the greatest product of the factors of fonts from here inwards
    double largest_font = 0;              // of those that begin here or inside, in pixels
    std::vector<std::string> references;  // identifiers
    double filtering = 0;                 // nanoseconds for a pixel, of a step of a filter or of a mask
    bool referred_to = false;             // drawn by references alone
};

// What elements inherit from those around them.
struct Inherited {
    double scale = 1;  // from the root
    double dash = 0;   // the length of one run of dashes and gaps; 0: the line is solid
};

class Walk {
 public:
    // `at` is the place of the start tag in the document.
    void begin(size_t at, const XML_Char* name, const XML_Char** attributes) {
        Element element;
        element.parent = m_open.empty() ? m_elements.size() : m_open.back();
        m_costs.has_groups = m_costs.has_groups || may_make_group(name);
        Inherited here = m_inherited.empty() ? Inherited{} : m_inherited.back();
        m_dash.reset();
        m_values.clear();
        for (size_t i = 0; attributes[i] != nullptr; i += 2) {
            const std::string_view key = attributes[i];
            const std::string_view value = attributes[i + 1];
            m_costs.has_groups = m_costs.has_groups || may_make_group(key) || (key == "style" && may_make_group(value));
            if (key.ends_with("href") && (std::string_view(name) == "a" || std::string_view(name).ends_with(":a"))) {
                m_costs.links.push_back(at);
            }
            if (key == "style") {
                m_rules = without_comments(value);
                read_rules(m_rules, element);
                take_font(element, svg_font_size_in(m_rules));
            } else if (key == "id") {
                m_by_id.emplace(value, m_elements.size());
            } else {
                read(key, value, element);
            }
        }
        m_costs.octaves = std::max(m_costs.octaves, number("numOctaves"));
        m_costs.has_wide_kernel = m_costs.has_wide_kernel || has_wide_kernel();
        element.filtering = svg_filtering(name, m_values);
        element.referred_to = is_referred_to(name);
        m_filters = m_filters || element.filtering > 0;
        element.scale *= view_scale();
        here.scale *= element.scale;
        here.dash = m_dash.value_or(here.dash);
        count_dashes(name, here);
        m_in_style = std::string_view(name).ends_with("style");
        m_open.push_back(m_elements.size());
        m_elements.push_back(std::move(element));
        m_inherited.push_back(here);
    }

    void end() {
        m_in_style = false;
        m_open.pop_back();
        m_inherited.pop_back();
    }

    void text(std::string_view text) {
        if (m_in_style) {
            m_style_sheet += text;
        }
    }

    void instruction(std::string_view target, std::string_view data) {
        // A reference to a character can be any letter.
        const std::string text = lower_case(data);
        const bool may_be_data = text.find("data") != std::string::npos || text.find('&') != std::string::npos;
        if (target == "xml-stylesheet" && may_be_data) {
            m_costs.hides_styles = true;
        }
    }

    SvgCosts costs() {
        const std::string styles = without_comments(m_style_sheet);
        for (size_t at = 0; (at = styles.find("stroke-width", at)) != std::string::npos; at++) {
            const size_t value = styles.find(':', at);
            if (value != std::string::npos) {
                m_widest = std::max(m_widest, svg_number(std::string_view(styles).substr(value + 1)).value_or(0));
            }
        }
        if (imports_data(styles)) {
            m_costs.hides_styles = true;
        }
        m_costs.has_groups = m_costs.has_groups || may_make_group(styles);
        m_styled_font = svg_font_size_in(styles);
        for (int pass = 0; pass < kPasses && reach_inwards(); pass++) {
        }
        if (m_filters) {
            m_costs.filtering = filtering(styles);
        }
        if (!m_elements.empty()) {
            const Element& root = m_elements.front();
            m_costs.widest_stroke = root.reach * m_widest;
            m_costs.largest_font =
                std::max(root.largest_font, std::max(kUsualFont, m_styled_font.pixels) * root.font_reach);
        }
        return m_costs;
    }

 private:
    static void take_font(Element& element, const SvgFontSize& size) {
        element.font = {std::max(element.font.pixels, size.pixels), std::max(element.font.factor, size.factor)};
    }

    bool has_wide_kernel() const {
        const std::string_view numbers = value("kernelMatrix");
        return numbers.size() + 1 >= 2 * kKernel &&
               (svg_numbers(numbers).size() >= kKernel ||
                numbers.find_first_not_of("0123456789+-.eE, \t\r\n") != std::string_view::npos);
    }

    void read_rules(std::string_view style, Element& element) {
        while (!style.empty()) {
            std::string_view rule = style.substr(0, style.find(';'));
            style.remove_prefix(std::min(rule.size() + 1, style.size()));
            rule.remove_prefix(std::min(rule.find_first_not_of(" \t\r\n"), rule.size()));
            const size_t colon = rule.find(':');
            if (colon != std::string_view::npos) {
                std::string_view key = rule.substr(0, colon);
                key = key.substr(0, key.find_last_not_of(" \t\r\n") + 1);
                read(key, rule.substr(colon + 1), element);
            }
        }
    }

    void read(std::string_view key, std::string_view value, Element& element) {
        if (key.ends_with("ransform")) {  // of an element, a gradient or a pattern
            element.scale *= svg_transform_scale(value);
        } else if (key == "font-size" || key == "font") {
            take_font(element, svg_font_size(without_comments(value)));
        } else if (key == "stroke-width") {
            m_widest = std::max(m_widest, svg_number(value).value_or(0));
        } else if (key == "stroke-dasharray") {
            m_dash = 0;
            for (const double dash : svg_numbers(value)) {
                *m_dash += std::abs(dash);
            }
        } else if (key.ends_with("href")) {
            value.remove_prefix(std::min(value.find('#'), value.size()));
            if (!value.empty()) {
                element.references.emplace_back(value.substr(1));
            }
        } else if (value.find("url(") != std::string_view::npos) {
            add_references(value, element);
        } else {
            m_values.emplace_back(key, value);
        }
    }

    // All of url(#name), url("#name") and the like in a value.
    static void add_references(std::string_view value, Element& element) {
        while (true) {
            value.remove_prefix(std::min(value.find("url("), value.size()));
            value.remove_prefix(std::min(value.find('#'), value.size()));
            if (value.empty()) {
                return;
            }
            const std::string_view name = value.substr(1, value.find_first_of("\"') \t\r\n", 1) - 1);
            element.references.emplace_back(name);
            value.remove_prefix(1 + name.size());
        }
    }

    std::string_view value(std::string_view key) const {
        const auto found =
            std::find_if(m_values.begin(), m_values.end(), [&](const auto& v) { return v.first == key; });
        return found != m_values.end() ? found->second : std::string_view();
    }
    double number(std::string_view key, double otherwise = 0) const {
        return svg_number(value(key)).value_or(otherwise);
    }

    double view_scale() const {
        const std::vector<double> box = svg_numbers(value("viewBox"));
        if (box.size() != 4 || !(box[2] > 0) || !(box[3] > 0)) {
            return 1;
        }
        const auto side = [&](std::string_view key) {
            return value(key).ends_with('%') ? kSomeViewport : number(key, kSomeViewport);
        };
        return std::max(side("width") / box[2], side("height") / box[3]);
    }

    void count_dashes(std::string_view name, const Inherited& here) {
        if (!(here.dash * here.scale > kShortestDash)) {
            return;
        }
        constexpr double kRound = 2 * std::numbers::pi;
        double length = 0;
        if (name.ends_with("path")) {
            length = svg_path_length(value("d"));
        } else if (name.ends_with("polyline") || name.ends_with("polygon")) {
            length = svg_path_length("M" + std::string(value("points")));
        } else if (name.ends_with("line")) {
            length = std::hypot(number("x2") - number("x1"), number("y2") - number("y1"));
        } else if (name.ends_with("rect")) {
            length = 2 * (std::abs(number("width")) + std::abs(number("height")));
        } else if (name.ends_with("circle")) {
            length = kRound * std::abs(number("r"));
        } else if (name.ends_with("ellipse")) {
            length = kRound * std::max(std::abs(number("rx")), std::abs(number("ry")));
        }
        m_costs.dashes += length / here.dash;
    }

    double filtering(std::string_view styles) const {
        std::vector<SvgNode> nodes(m_elements.size());
        for (size_t i = 0; i < nodes.size(); i++) {
            nodes[i].parent = m_elements[i].parent;
            nodes[i].work = m_elements[i].filtering;
            nodes[i].referred_to = m_elements[i].referred_to;
            for (const std::string& name : m_elements[i].references) {
                if (const auto target = m_by_id.find(name); target != m_by_id.end()) {
                    nodes[i].references.push_back(target->second);
                }
            }
        }
        const double work = svg_work(nodes);
        // A rule of a style sheet may put its filters and masks on every element.
        if (styles.find("url(") == std::string_view::npos) {
            return work;
        }
        double all = 0;
        for (SvgNode& node : nodes) {
            all += node.work;
            node.work = 1;
        }
        return work + all * svg_work(nodes);
    }

    // What elements inside of one, and those that it refers to, come to.
    struct Inside {
        double reach = 1;
        double font_reach = 1;
        double largest_font = 0;

        void take(const Element& element) {
            reach = std::max(reach, element.reach);
            font_reach = std::max(font_reach, element.font_reach);
            largest_font = std::max(largest_font, element.largest_font);
        }
    };

    // Carries products of scales and of fonts one reference further; whether any of them grew.
    bool reach_inwards() {
        std::vector<Inside> inside(m_elements.size());
        bool grew = false;
        for (size_t i = m_elements.size(); i-- > 0;) {
            Element& element = m_elements[i];
            for (const std::string& name : element.references) {
                const auto target = m_by_id.find(name);
                if (target != m_by_id.end() && target->second != i) {
                    inside[i].take(m_elements[target->second]);
                }
            }
            const double reach = std::max(1.0, element.scale * inside[i].reach);
            const double factor = std::max({1.0, element.font.factor, m_styled_font.factor});
            const double font_reach = factor * inside[i].font_reach;
            const double font = std::max(element.font.pixels * inside[i].font_reach, inside[i].largest_font);
            grew = grew || reach > element.reach || font_reach > element.font_reach || font > element.largest_font;
            element.reach = reach;
            element.font_reach = font_reach;
            element.largest_font = font;
            if (element.parent != i) {
                inside[element.parent].take(element);
            }
        }
        return grew;
    }

    std::vector<Element> m_elements;
    std::vector<size_t> m_open;
    std::vector<Inherited> m_inherited;
    std::unordered_map<std::string, size_t> m_by_id;
    std::string m_rules;                                                  // the style of the element that begins
    std::vector<std::pair<std::string_view, std::string_view>> m_values;  // of the element that begins
    std::optional<double> m_dash;                                         // of the element that begins
    std::string m_style_sheet;
    bool m_in_style = false;
    bool m_filters = false;     // whether any element has work for each pixel
    SvgFontSize m_styled_font;  // by a rule of a style sheet, for any element
    double m_widest = 1;        // strokes are that wide if nothing says so
    SvgCosts m_costs;
};

struct Walking {
    Walk walk;
    XML_Parser parser;
};

void on_begin(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& walking = *static_cast<Walking*>(data);
    walking.walk.begin(static_cast<size_t>(XML_GetCurrentByteIndex(walking.parser)), name, attributes);
}
void on_end(void* data, const XML_Char*) {
    static_cast<Walking*>(data)->walk.end();
}
void on_text(void* data, const XML_Char* text, int size) {
    static_cast<Walking*>(data)->walk.text({text, static_cast<size_t>(size)});
}
void on_instruction(void* data, const XML_Char* target, const XML_Char* text) {
    static_cast<Walking*>(data)->walk.instruction(target, text);
}
// Of an encoding that the parser does not know, but the library may, letters beyond ASCII are all the same here.
int on_encoding(void*, const XML_Char*, XML_Encoding* encoding) {
    constexpr int kReplacement = 0xFFFD;
    for (int byte = 0; byte < 256; byte++) {
        encoding->map[byte] = byte < 128 ? byte : kReplacement;
    }
    encoding->data = nullptr;
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return XML_STATUS_OK;
}

}  // namespace

SvgCosts svg_costs(std::span<const uint8_t> document) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                              &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Walking walking{{}, parser.get()};
    XML_SetUserData(parser.get(), &walking);
    XML_SetElementHandler(parser.get(), &on_begin, &on_end);
    XML_SetCharacterDataHandler(parser.get(), &on_text);
    XML_SetProcessingInstructionHandler(parser.get(), &on_instruction);
    XML_SetUnknownEncodingHandler(parser.get(), &on_encoding, nullptr);
    const auto* text = reinterpret_cast<const char*>(document.data());
    SvgCosts costs;
    if (document.size() > INT32_MAX) {
        costs.unreadable = "it is too large";
    } else if (XML_Parse(parser.get(), text, static_cast<int>(document.size()), XML_TRUE) != XML_STATUS_OK) {
        costs.unreadable = std::string(XML_ErrorString(XML_GetErrorCode(parser.get()))) + " in line " +
                           std::to_string(XML_GetCurrentLineNumber(parser.get()));
    } else {
        costs = walking.walk.costs();
    }
    return costs;
}

namespace {

// `what` ends with the word before the limit, `unit` follows it.
void require_at_most(double value, double limit, const char* what, const char* unit) {
    if (!(value <= limit)) {
        throw PictureError(Failure::kTooLarge, what + std::to_string(static_cast<int64_t>(limit)) + unit);
    }
}

}  // namespace

void check_svg_costs(const SvgCosts& costs, double enlarged) {
    if (!costs.unreadable.empty()) {
        throw PictureError(Failure::kDamaged, "the SVG document cannot be read: " + costs.unreadable);
    }
    if (costs.hides_styles) {
        throw PictureError(Failure::kUnsupported, "a style sheet stands in a data URI, which is not supported");
    }
    require_at_most(costs.widest_stroke * enlarged, limits::kStrokeWidth, "a stroke would be more than ",
                    " pixels wide");
    require_at_most(costs.dashes, limits::kDashes, "its strokes have more than ", " dashes");
    require_at_most(costs.largest_font, limits::kFontSize, "a font would be more than ", " pixels high");
    require_at_most(costs.octaves, limits::kOctaves, "a turbulence has more than ", " octaves");
    if (costs.has_wide_kernel) {
        throw PictureError(Failure::kTooLarge, "a convolution has " + std::to_string(kKernel) + " numbers or more");
    }
}

}  // namespace zelmor::imagework
