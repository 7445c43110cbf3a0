// Walking over a document for the cost of its strokes; see svg_strokes.h.
#include "runtime/native/formats/svg/svg_strokes.h"

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

struct Element {
    size_t parent = 0;
    double scale = 1;                     // of its own transformation and view box
    double reach = 1;                     // the greatest product of scales from here inwards
    std::vector<std::string> references;  // identifiers
};

// What elements inherit from those around them.
struct Inherited {
    double scale = 1;  // from the root
    double dash = 0;   // the length of one run of dashes and gaps; 0: the line is solid
};

class Walk {
 public:
    void begin(const XML_Char* name, const XML_Char** attributes) {
        Element element;
        element.parent = m_open.empty() ? m_elements.size() : m_open.back();
        Inherited here = m_inherited.empty() ? Inherited{} : m_inherited.back();
        m_dash.reset();
        m_values.clear();
        for (size_t i = 0; attributes[i] != nullptr; i += 2) {
            const std::string_view key = attributes[i];
            const std::string_view value = attributes[i + 1];
            if (key == "style") {
                read_rules(value, element);
            } else if (key == "id") {
                m_by_id.emplace(value, m_elements.size());
            } else {
                read(key, value, element);
            }
        }
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

    SvgStrokes strokes() {
        for (size_t at = 0; (at = m_style_sheet.find("stroke-width", at)) != std::string::npos; at++) {
            const size_t value = m_style_sheet.find(':', at);
            if (value != std::string::npos) {
                m_widest =
                    std::max(m_widest, svg_number(std::string_view(m_style_sheet).substr(value + 1)).value_or(0));
            }
        }
        for (int pass = 0; pass < kPasses && reach_inwards(); pass++) {
        }
        return {m_elements.empty() ? 0 : m_elements.front().reach * m_widest, m_dashes};
    }

 private:
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
        } else if (const size_t url = value.find("url(#"); url != std::string_view::npos) {
            const std::string_view name = value.substr(url + 5);
            element.references.emplace_back(name.substr(0, name.find(')')));
        } else {
            m_values.emplace_back(key, value);
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
        m_dashes += length / here.dash;
    }

    // Carries products of scales one reference further; whether any of them grew.
    bool reach_inwards() {
        std::vector<double> inside(m_elements.size(), 1.0);
        bool grew = false;
        for (size_t i = m_elements.size(); i-- > 0;) {
            Element& element = m_elements[i];
            for (const std::string& name : element.references) {
                const auto target = m_by_id.find(name);
                if (target != m_by_id.end() && target->second != i) {
                    inside[i] = std::max(inside[i], m_elements[target->second].reach);
                }
            }
            const double reach = std::max(1.0, element.scale * inside[i]);
            grew = grew || reach > element.reach;
            element.reach = reach;
            if (element.parent != i) {
                inside[element.parent] = std::max(inside[element.parent], reach);
            }
        }
        return grew;
    }

    std::vector<Element> m_elements;
    std::vector<size_t> m_open;
    std::vector<Inherited> m_inherited;
    std::unordered_map<std::string, size_t> m_by_id;
    std::vector<std::pair<std::string_view, std::string_view>> m_values;  // of the element that begins
    std::optional<double> m_dash;                                         // of the element that begins
    std::string m_style_sheet;
    bool m_in_style = false;
    double m_widest = 1;  // strokes are that wide if nothing says so
    double m_dashes = 0;
};

void on_begin(void* data, const XML_Char* name, const XML_Char** attributes) {
    static_cast<Walk*>(data)->begin(name, attributes);
}
void on_end(void* data, const XML_Char*) {
    static_cast<Walk*>(data)->end();
}
void on_text(void* data, const XML_Char* text, int size) {
    static_cast<Walk*>(data)->text({text, static_cast<size_t>(size)});
}

}  // namespace

SvgStrokes svg_strokes(std::span<const uint8_t> document) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                              &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Walk walk;
    XML_SetUserData(parser.get(), &walk);
    XML_SetElementHandler(parser.get(), &on_begin, &on_end);
    XML_SetCharacterDataHandler(parser.get(), &on_text);
    const auto* text = reinterpret_cast<const char*>(document.data());
    if (document.size() > INT32_MAX ||
        XML_Parse(parser.get(), text, static_cast<int>(document.size()), XML_TRUE) != XML_STATUS_OK) {
        return {};
    }
    return walk.strokes();
}

void check_svg_strokes(const SvgStrokes& strokes, double enlarged) {
    if (!(strokes.widest * enlarged <= limits::kStrokeWidth)) {
        throw PictureError(Failure::kTooLarge, "a stroke would be more than " +
                                                   std::to_string(static_cast<int64_t>(limits::kStrokeWidth)) +
                                                   " pixels wide");
    }
    if (!(strokes.dashes <= limits::kDashes)) {
        throw PictureError(Failure::kTooLarge, "its strokes have more than " +
                                                   std::to_string(static_cast<int64_t>(limits::kDashes)) + " dashes");
    }
}

}  // namespace zelmor::imagework
