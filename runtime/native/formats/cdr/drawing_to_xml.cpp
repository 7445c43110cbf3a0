// Elements and styles from lists of properties; see drawing_to_xml.h.
#include "runtime/native/formats/cdr/drawing_to_xml.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "runtime/native/formats/escaped_xml.h"

namespace zelmor::embed {

using librevenge::RVNGProperty;
using librevenge::RVNGPropertyListVector;

namespace {

// Groups nest so deep; what is deeper is drawn in the group around it.
constexpr size_t kMostDepth = 100;

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    "<office:document xmlns:office=\"urn:oasis:names:tc:opendocument:xmlns:office:1.0\""
    " xmlns:draw=\"urn:oasis:names:tc:opendocument:xmlns:drawing:1.0\""
    " xmlns:svg=\"urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0\""
    " xmlns:fo=\"urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0\""
    " xmlns:style=\"urn:oasis:names:tc:opendocument:xmlns:style:1.0\""
    " xmlns:text=\"urn:oasis:names:tc:opendocument:xmlns:text:1.0\""
    " xmlns:loext=\"urn:org:documentfoundation:names:experimental:office:xmlns:loext:1.0\""
    " office:mimetype=\"application/vnd.oasis.opendocument.graphics\">";

std::string number(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.6g", std::isfinite(value) ? value : 0);
    return text;
}

std::string value_of(const RVNGProperty* property) {
    return property != nullptr ? property->getStr().cstr() : "";
}
double number_of(const DrawingToXml::Properties& properties, const char* name) {
    const RVNGProperty* property = properties[name];
    return property != nullptr ? property->getDouble() : 0;
}

std::string attribute(const char* name, const std::string& value) {
    return value.empty() ? std::string() : " " + std::string(name) + "=\"" + escaped_xml(value) + "\"";
}

// Properties with a prefix of the format's own attributes.
bool is_attribute(std::string_view name) {
    for (const char* prefix : {"draw:", "svg:", "fo:", "style:", "text:"}) {
        if (name.starts_with(prefix)) {
            return true;
        }
    }
    return false;
}

std::string attributes_of(const DrawingToXml::Properties& properties) {
    std::string result;
    DrawingToXml::Properties::Iter each(properties);
    for (each.rewind(); each.next();) {
        if (is_attribute(each.key()) && each.child() == nullptr && std::strcmp(each.key(), "draw:fill-image") != 0) {
            result += attribute(each.key(), value_of(each()));
        }
    }
    return result;
}

}  // namespace

std::string DrawingToXml::take() const {
    if (m_pages == 0) {
        return {};
    }
    return kHead + ("<office:automatic-styles>" + m_styles + "</office:automatic-styles><office:master-styles>" +
                    m_masters + "</office:master-styles><office:body><office:drawing>" + m_body +
                    "</office:drawing></office:body></office:document>");
}

void DrawingToXml::open(const char* element) {
    if (m_depth++ < kMostDepth) {
        m_body += element;
    }
}
void DrawingToXml::close(const char* element) {
    if (m_depth > 0 && --m_depth < kMostDepth) {
        m_body += element;
    }
}

void DrawingToXml::startPage(const Properties& properties) {
    const std::string name = "p" + std::to_string(m_pages++);
    m_styles += "<style:page-layout style:name=\"" + name + "\"><style:page-layout-properties" +
                attribute("fo:page-width", value_of(properties["svg:width"])) +
                attribute("fo:page-height", value_of(properties["svg:height"])) + "/></style:page-layout>";
    m_masters += "<style:master-page style:name=\"" + name + "\" style:page-layout-name=\"" + name + "\"/>";
    m_body += "<draw:page draw:master-page-name=\"" + name + "\"" +
              attribute("draw:name", value_of(properties["draw:name"])) + ">";
}

void DrawingToXml::endPage() {
    while (m_depth > 0) {
        close("</draw:g>");
    }
    m_body += "</draw:page>";
}

// Shapes of a master page belong to all pages; the parsers here repeat them on each.
void DrawingToXml::startMasterPage(const Properties&) {}
void DrawingToXml::endMasterPage() {}

void DrawingToXml::setStyle(const Properties& properties) {
    m_style = properties;
}

void DrawingToXml::definitions(const Properties& properties, std::string& attributes) {
    const std::string name = "d" + std::to_string(m_names++);
    const std::string fill = value_of(properties["draw:fill"]);
    if (fill == "gradient") {
        std::string stops;
        std::string kind = value_of(properties["draw:style"]);
        for (const char* list : {"svg:linearGradient", "svg:radialGradient"}) {
            const RVNGPropertyListVector* steps = properties.child(list);
            if (steps == nullptr) {
                continue;
            }
            const bool radial = std::strcmp(list, "svg:radialGradient") == 0;
            if (kind.empty()) {
                kind = radial ? "radial" : "linear";
            }
            // Radial ones begin in the middle, and here at the outside.
            const bool inside_first = kind != "linear";
            for (unsigned long i = 0; i < steps->count(); i++) {
                const auto& step = (*steps)[inside_first ? steps->count() - 1 - i : i];
                const double offset = number_of(step, "svg:offset");
                stops += "<loext:gradient-stop svg:offset=\"" + number(inside_first ? 1 - offset : offset) + "\"" +
                         attribute("loext:color-value", value_of(step["svg:stop-color"])) + "/>";
            }
        }
        m_styles += "<draw:gradient draw:name=\"" + name + "\"" + attribute("draw:style", kind);
        for (const char* each :
             {"draw:start-color", "draw:end-color", "draw:border", "draw:start-intensity", "draw:end-intensity"}) {
            m_styles += attribute(each, value_of(properties[each]));
        }
        for (const auto& [from, to] : {std::pair("svg:cx", "draw:cx"), std::pair("svg:cy", "draw:cy")}) {
            m_styles += attribute(to, value_of(properties[from]));
        }
        m_styles +=
            " draw:angle=\"" + number(number_of(properties, "draw:angle")) + "deg\">" + stops + "</draw:gradient>";
        attributes += " draw:fill-gradient-name=\"" + name + "\"";
    }
    if (fill == "bitmap" && properties["draw:fill-image"] != nullptr) {
        m_styles += "<draw:fill-image draw:name=\"" + name + "\"><office:binary-data>" +
                    value_of(properties["draw:fill-image"]) + "</office:binary-data></draw:fill-image>";
        attributes += " draw:fill-image-name=\"" + name + "\"";
    }
    if (value_of(properties["draw:stroke"]) == "dash") {
        m_styles += "<draw:stroke-dash draw:name=\"" + name + "\"";
        for (const char* each :
             {"draw:dots1", "draw:dots1-length", "draw:dots2", "draw:dots2-length", "draw:distance"}) {
            m_styles += attribute(each, value_of(properties[each]));
        }
        m_styles += "/>";
        attributes += " draw:stroke-dash=\"" + name + "\"";
    }
    for (const std::string end : {"start", "end"}) {
        const std::string marker = "draw:marker-" + end;
        const RVNGProperty* shape = properties[(marker + "-path").c_str()];
        if (shape != nullptr) {
            m_styles.append("<draw:marker").append(attribute("draw:name", name + end));
            m_styles.append(attribute("svg:d", value_of(shape)));
            m_styles.append(attribute("svg:viewBox", value_of(properties[(marker + "-viewbox").c_str()]))).append("/>");
            attributes.append(attribute(marker.c_str(), name + end));
        }
    }
}

std::string DrawingToXml::style(const char* family, const char* element, const Properties& properties) {
    std::string name = "s" + std::to_string(m_names++);
    std::string attributes;
    Properties rest(properties);
    if (std::strcmp(family, "graphic") == 0) {
        definitions(properties, attributes);
        // What became an element of its own.
        for (const char* each : {"draw:style", "draw:stroke-dash", "draw:fill-image-name", "draw:fill-gradient-name"}) {
            rest.remove(each);
        }
    }
    attributes += attributes_of(rest);
    m_styles += "<style:style style:name=\"" + name + "\" style:family=\"" + family + "\"><" + element + attributes +
                "/></style:style>";
    return name;
}

std::string DrawingToXml::place(const Properties& properties) const {
    std::string result;
    for (const char* each : {"svg:x", "svg:y", "svg:width", "svg:height", "svg:rx", "svg:ry"}) {
        result += attribute(each, value_of(properties[each]));
    }
    // A turn around the middle.
    const double turn = number_of(properties, "librevenge:rotate");
    if (turn != 0) {
        const std::string x = number(number_of(properties, "svg:x") + number_of(properties, "svg:width") / 2);
        const std::string y = number(number_of(properties, "svg:y") + number_of(properties, "svg:height") / 2);
        result += " draw:transform=\"translate(-" + x + "in -" + y + "in) rotate(" + number(-turn) + "deg) translate(" +
                  x + "in " + y + "in)\"";
        // Two signs are none.
        for (size_t at = result.find("--"); at != std::string::npos; at = result.find("--")) {
            result.erase(at, 2);
        }
    }
    return result;
}

void DrawingToXml::drawRectangle(const Properties& properties) {
    m_body += "<draw:rect draw:style-name=\"" + style("graphic", "style:graphic-properties", m_style) + "\"" +
              place(properties) + "/>";
}

void DrawingToXml::drawEllipse(const Properties& properties) {
    const double rx = number_of(properties, "svg:rx");
    const double ry = number_of(properties, "svg:ry");
    Properties box(properties);
    box.insert("svg:x", number_of(properties, "svg:cx") - rx);
    box.insert("svg:y", number_of(properties, "svg:cy") - ry);
    box.insert("svg:width", 2 * rx);
    box.insert("svg:height", 2 * ry);
    box.remove("svg:rx");
    box.remove("svg:ry");
    m_body += "<draw:ellipse draw:style-name=\"" + style("graphic", "style:graphic-properties", m_style) + "\"" +
              place(box) + "/>";
}

namespace {

// Coordinates are inches, and the view box of 100 inches makes a unit of each.
constexpr const char* kInches =
    " svg:x=\"0in\" svg:y=\"0in\" svg:width=\"100in\" svg:height=\"100in\" svg:viewBox=\"0 0 100 100\"";

std::string point(const DrawingToXml::Properties& step, const char* x, const char* y) {
    return number(number_of(step, x)) + " " + number(number_of(step, y)) + " ";
}

}  // namespace

void DrawingToXml::points(const Properties& properties, bool closed) {
    const RVNGPropertyListVector* corners = properties.child("svg:points");
    if (corners == nullptr || corners->count() < 2) {
        return;
    }
    std::string data;
    for (unsigned long i = 0; i < corners->count(); i++) {
        data += (i == 0 ? "M" : "L") + point((*corners)[i], "svg:x", "svg:y");
    }
    m_body += "<draw:path draw:style-name=\"" + style("graphic", "style:graphic-properties", m_style) + "\"" + kInches +
              " svg:d=\"" + data + (closed ? "Z" : "") + "\"/>";
}
void DrawingToXml::drawPolygon(const Properties& properties) {
    points(properties, true);
}
void DrawingToXml::drawPolyline(const Properties& properties) {
    points(properties, false);
}

void DrawingToXml::path(const RVNGPropertyListVector& steps) {
    std::string data;
    for (unsigned long i = 0; i < steps.count(); i++) {
        const Properties& step = steps[i];
        const std::string action = value_of(step["librevenge:path-action"]);
        if (action == "H" || action == "V") {
            data += action + number(number_of(step, action == "H" ? "svg:x" : "svg:y")) + " ";
        } else if (action == "C") {
            data +=
                "C" + point(step, "svg:x1", "svg:y1") + point(step, "svg:x2", "svg:y2") + point(step, "svg:x", "svg:y");
        } else if (action == "Q" || action == "S") {
            data += action + point(step, "svg:x1", "svg:y1") + point(step, "svg:x", "svg:y");
        } else if (action == "A") {
            data += "A" + point(step, "svg:rx", "svg:ry") + number(number_of(step, "librevenge:rotate")) + " " +
                    (number_of(step, "librevenge:large-arc") != 0 ? "1 " : "0 ") +
                    (number_of(step, "librevenge:sweep") != 0 ? "1 " : "0 ") + point(step, "svg:x", "svg:y");
        } else if (action == "Z") {
            data += "Z";
        } else if (action == "M" || action == "L" || action == "T") {
            data += action + point(step, "svg:x", "svg:y");
        }
    }
    m_body += "<draw:path draw:style-name=\"" + style("graphic", "style:graphic-properties", m_style) + "\"" + kInches +
              " svg:d=\"" + data + "\"/>";
}

void DrawingToXml::drawPath(const Properties& properties) {
    if (const RVNGPropertyListVector* steps = properties.child("svg:d"); steps != nullptr && steps->count() > 1) {
        path(*steps);
    }
}

void DrawingToXml::drawConnector(const Properties& properties) {
    drawPath(properties);
}

void DrawingToXml::drawGraphicObject(const Properties& properties) {
    const RVNGProperty* data = properties["office:binary-data"];
    if (data == nullptr) {
        return;
    }
    m_body += "<draw:frame draw:style-name=\"" + style("graphic", "style:graphic-properties", m_style) + "\"" +
              place(properties) + "><draw:image><office:binary-data>" + value_of(data) +
              "</office:binary-data></draw:image></draw:frame>";
}

void DrawingToXml::startTextObject(const Properties& properties) {
    Properties box(properties);
    box.insert("draw:fill", "none");
    box.insert("draw:stroke", "none");
    // A place without a size is where the text begins.
    if (number_of(properties, "svg:width") <= 0) {
        box.insert("draw:auto-grow-width", "true");
        box.insert("draw:textarea-horizontal-align", "left");
    }
    m_body += "<draw:frame draw:style-name=\"" + style("graphic", "style:graphic-properties", box) + "\"" +
              place(properties) + "><draw:text-box>";
}
void DrawingToXml::endTextObject() {
    m_body += "</draw:text-box></draw:frame>";
}

void DrawingToXml::openParagraph(const Properties& properties) {
    m_body += "<text:p text:style-name=\"" + style("paragraph", "style:paragraph-properties", properties) + "\">";
}
void DrawingToXml::openSpan(const Properties& properties) {
    m_body += "<text:span text:style-name=\"" + style("text", "style:text-properties", properties) + "\">";
}
void DrawingToXml::insertText(const librevenge::RVNGString& text) {
    m_body += escaped_xml(text.cstr());
}

}  // namespace zelmor::embed
