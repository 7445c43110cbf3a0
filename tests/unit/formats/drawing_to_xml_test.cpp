// Drawings as the parser of CDR and CMX files reports them, as flat OpenDocument: each call, and each of the properties
// that become an attribute or an element of another name.
#include "runtime/native/formats/cdr/drawing_to_xml.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <regex>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace zelmor::embed {
namespace {

using Properties = DrawingToXml::Properties;
using Value = std::variant<double, const char*, int, bool>;
using List = std::initializer_list<std::pair<const char*, Value>>;

// Numbers are inches, whole numbers have no unit.
Properties properties(List values) {
    Properties result;
    for (const auto& [name, value] : values) {
        std::visit([&, key = name](auto each) { result.insert(key, each); }, value);
    }
    return result;
}

Properties with_children(Properties result, const char* name, std::initializer_list<List> children) {
    librevenge::RVNGPropertyListVector list;
    for (const List& child : children) {
        list.append(properties(child));
    }
    result.insert(name, list);
    return result;
}

// Without the zeros at the end of lengths, of which the library decides.
std::string plain(const std::string& text) {
    static const std::regex zeros("(\\.[0-9]*?)0+(in|pt|%)"), point("\\.(in|pt|%)");
    return std::regex_replace(std::regex_replace(text, zeros, "$1$2"), point, "$1");
}

// The document of a page.
std::string document(const std::function<void(DrawingToXml&)>& draw) {
    DrawingToXml drawing;
    drawing.startPage({});
    draw(drawing);
    drawing.endPage();
    return plain(drawing.take());
}

std::string between(const std::string& text, const std::string& before, const std::string& behind) {
    const size_t begin = text.find(before);
    if (begin == std::string::npos) {
        return "(no " + before + ")";
    }
    const size_t from = begin + before.size();
    return text.substr(from, text.find(behind, from) - from);
}
// What stands on the page, and the styles of a document behind that of the page.
std::string body(const std::function<void(DrawingToXml&)>& draw) {
    return between(document(draw), "<draw:page draw:master-page-name=\"p0\">", "</draw:page>");
}
std::string styles(const std::function<void(DrawingToXml&)>& draw) {
    return between(document(draw), "</style:page-layout>", "</office:automatic-styles>");
}

TEST(DrawingToXmlTest, Pages) {
    EXPECT_EQ(DrawingToXml().take(), "");
    DrawingToXml drawing;
    drawing.startPage(properties({{"svg:width", 2.0}, {"svg:height", 1.5}, {"draw:name", "a \"page\""}}));
    drawing.endPage();
    drawing.startPage(properties({{"svg:width", 3.0}}));
    drawing.endPage();
    const std::string text = plain(drawing.take());
    EXPECT_EQ(between(text, "<office:automatic-styles>", "</office:automatic-styles>"),
              "<style:page-layout style:name=\"p0\"><style:page-layout-properties fo:page-width=\"2in\" "
              "fo:page-height=\"1.5in\"/></style:page-layout><style:page-layout style:name=\"p1\">"
              "<style:page-layout-properties fo:page-width=\"3in\"/></style:page-layout>");
    EXPECT_EQ(between(text, "<office:master-styles>", "</office:master-styles>"),
              "<style:master-page style:name=\"p0\" style:page-layout-name=\"p0\"/>"
              "<style:master-page style:name=\"p1\" style:page-layout-name=\"p1\"/>");
    EXPECT_EQ(between(text, "<office:drawing>", "</office:drawing>"),
              "<draw:page draw:master-page-name=\"p0\" draw:name=\"a &quot;page&quot;\"></draw:page>"
              "<draw:page draw:master-page-name=\"p1\"></draw:page>");
    EXPECT_TRUE(text.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?><office:document "));
    EXPECT_TRUE(text.ends_with("</office:drawing></office:body></office:document>"));
}

TEST(DrawingToXmlTest, GroupsNest) {
    EXPECT_EQ(body([](DrawingToXml& drawing) {
                  drawing.startLayer({});
                  drawing.openGroup({});
                  drawing.insertSpace();
                  drawing.closeGroup();
                  drawing.startEmbeddedGraphics({});
                  drawing.insertTab();
                  drawing.endEmbeddedGraphics();
                  drawing.endLayer();
                  drawing.insertLineBreak();
              }),
              "<draw:g><draw:g><text:s/></draw:g><draw:g><text:tab/></draw:g></draw:g><text:line-break/>");
    // What is left open is closed with its page, and what was never open is not closed.
    EXPECT_EQ(body([](DrawingToXml& drawing) {
                  drawing.closeGroup();
                  drawing.openGroup({});
                  drawing.openGroup({});
                  drawing.insertSpace();
              }),
              "<draw:g><draw:g><text:s/></draw:g></draw:g>");
    for (const size_t depth : {99U, 100U, 101U, 150U}) {
        std::string expected, ends;
        for (size_t i = 0; i < std::min<size_t>(depth, 100); ++i) {
            expected += "<draw:g>";
            ends += "</draw:g>";
        }
        const auto open = [&](DrawingToXml& drawing) {
            for (size_t i = 0; i < depth; ++i) {
                drawing.openGroup({});
            }
            drawing.insertSpace();
        };
        const std::string space = expected + "<text:s/>";
        EXPECT_EQ(body(open), space + ends);
        EXPECT_EQ(body([&](DrawingToXml& drawing) {
                      open(drawing);
                      for (size_t i = 0; i < depth; ++i) {
                          drawing.closeGroup();
                      }
                      drawing.insertTab();
                  }),
                  (space + ends).append("<text:tab/>"));
    }
}

TEST(DrawingToXmlTest, Shapes) {
    const std::string style = " draw:style-name=\"s0\"";
    EXPECT_EQ(body([](DrawingToXml& drawing) {
                  drawing.drawRectangle(properties({{"svg:x", 1.0},
                                                    {"svg:y", 2.0},
                                                    {"svg:width", 3.0},
                                                    {"svg:height", 4.0},
                                                    {"svg:rx", 0.5},
                                                    {"svg:ry", 0.25}}));
              }),
              "<draw:rect" + style +
                  " svg:x=\"1in\" svg:y=\"2in\" svg:width=\"3in\" svg:height=\"4in\" "
                  "svg:rx=\"0.5in\" svg:ry=\"0.25in\"/>");
    EXPECT_EQ(body([](DrawingToXml& drawing) {
                  drawing.drawEllipse(properties({{"svg:cx", 5.0}, {"svg:cy", 7.0}, {"svg:rx", 2.0}, {"svg:ry", 0.5}}));
              }),
              "<draw:ellipse" + style + " svg:x=\"3in\" svg:y=\"6.5in\" svg:width=\"4in\" svg:height=\"1in\"/>");
    const std::string inches = style +
                               " svg:x=\"0in\" svg:y=\"0in\" svg:width=\"100in\" svg:height=\"100in\" "
                               "svg:viewBox=\"0 0 100 100\" svg:d=\"";
    const auto corners = [](std::initializer_list<List> points) { return with_children({}, "svg:points", points); };
    const Properties two = corners({{{"svg:x", 1.0}, {"svg:y", 2.0}}, {{"svg:x", 3.0}, {"svg:y", -4.5}}});
    EXPECT_EQ(body([&](DrawingToXml& drawing) { drawing.drawPolyline(two); }),
              "<draw:path" + inches + "M1 2 L3 -4.5 \"/>");
    EXPECT_EQ(body([&](DrawingToXml& drawing) { drawing.drawPolygon(two); }),
              "<draw:path" + inches + "M1 2 L3 -4.5 Z\"/>");
    EXPECT_EQ(body([&](DrawingToXml& drawing) {
                  drawing.drawPolygon(corners({{{"svg:x", 1.0}, {"svg:y", 2.0}}}));
                  drawing.drawPolyline({});
              }),
              "");
}

TEST(DrawingToXmlTest, StepsOfPaths) {
    const auto path = [](std::initializer_list<List> steps) {
        const std::string text =
            body([&](DrawingToXml& drawing) { drawing.drawPath(with_children({}, "svg:d", steps)); });
        return text.empty() ? text : between(text, "svg:d=\"", "\"");
    };
    constexpr const char* kAction = "librevenge:path-action";
    const List move{{kAction, "M"}, {"svg:x", 1.0}, {"svg:y", 2.0}};
    EXPECT_EQ(path({move, {{kAction, "L"}, {"svg:x", 3.0}, {"svg:y", 4.0}}, {{kAction, "Z"}}}), "M1 2 L3 4 Z");
    EXPECT_EQ(
        path(
            {move, {{kAction, "H"}, {"svg:x", 3.0}, {"svg:y", 4.0}}, {{kAction, "V"}, {"svg:x", 5.0}, {"svg:y", 6.0}}}),
        "M1 2 H3 V6 ");
    const List curve{{kAction, "C"},  {"svg:x1", 1.0}, {"svg:y1", 2.0}, {"svg:x2", 3.0},
                     {"svg:y2", 4.0}, {"svg:x", 5.0},  {"svg:y", 6.0}};
    EXPECT_EQ(path({move, curve}), "M1 2 C1 2 3 4 5 6 ");
    EXPECT_EQ(path({move, {{kAction, "Q"}, {"svg:x1", 1.0}, {"svg:y1", 2.0}, {"svg:x", 5.0}, {"svg:y", 6.0}}}),
              "M1 2 Q1 2 5 6 ");
    EXPECT_EQ(path({move, {{kAction, "S"}, {"svg:x1", 1.0}, {"svg:y1", 2.0}, {"svg:x", 5.0}, {"svg:y", 6.0}}}),
              "M1 2 S1 2 5 6 ");
    EXPECT_EQ(path({move, {{kAction, "T"}, {"svg:x", 5.0}, {"svg:y", 6.0}}}), "M1 2 T5 6 ");
    for (const int large : {0, 1}) {
        for (const int sweep : {0, 1}) {
            EXPECT_EQ(path({move,
                            {{kAction, "A"},
                             {"svg:rx", 3.0},
                             {"svg:ry", 4.0},
                             {"librevenge:rotate", 30.0},
                             {"librevenge:large-arc", large},
                             {"librevenge:sweep", sweep},
                             {"svg:x", 5.0},
                             {"svg:y", 6.0}}}),
                      "M1 2 A3 4 30 " + std::to_string(large) + " " + std::to_string(sweep) + " 5 6 ");
        }
    }
    EXPECT_EQ(path({move, {{kAction, "X"}, {"svg:x", 5.0}, {"svg:y", 6.0}}}), "M1 2 ");
    EXPECT_EQ(path({move}), "");
    EXPECT_EQ(body([](DrawingToXml& drawing) { drawing.drawPath({}); }), "");
    EXPECT_EQ(body([&](DrawingToXml& drawing) {
                  drawing.drawConnector(with_children({}, "svg:d", {move, curve}));
              }),
              body([&](DrawingToXml& drawing) {
                  drawing.drawPath(with_children({}, "svg:d", {move, curve}));
              }));
}

TEST(DrawingToXmlTest, TurnsAreAroundTheMiddle) {
    const auto turned = [](double x, double degrees) {
        const std::string text = body([&](DrawingToXml& drawing) {
            drawing.drawRectangle(properties({{"svg:x", x},
                                              {"svg:y", 2.0},
                                              {"svg:width", 3.0},
                                              {"svg:height", 4.0},
                                              {"librevenge:rotate", degrees}}));
        });
        return text.find("draw:transform") == std::string::npos ? "" : between(text, "draw:transform=\"", "\"");
    };
    EXPECT_EQ(turned(1, 0), "");
    EXPECT_EQ(turned(1, 30), "translate(-2.5in -4in) rotate(-30deg) translate(2.5in 4in)");
    EXPECT_EQ(turned(1, -30), "translate(-2.5in -4in) rotate(30deg) translate(2.5in 4in)");
    EXPECT_EQ(turned(-4, 30), "translate(2.5in -4in) rotate(-30deg) translate(-2.5in 4in)");
}

TEST(DrawingToXmlTest, PicturesAndText) {
    EXPECT_EQ(body([](DrawingToXml& drawing) {
                  drawing.drawGraphicObject({});
                  drawing.drawGraphicObject(properties({{"office:binary-data", "QUJD"}, {"svg:x", 1.0}}));
              }),
              "<draw:frame draw:style-name=\"s0\" svg:x=\"1in\"><draw:image><office:binary-data>QUJD"
              "</office:binary-data></draw:image></draw:frame>");
    const auto text = [](double width) {
        return [=](DrawingToXml& drawing) {
            drawing.startTextObject(properties({{"svg:x", 1.0}, {"svg:width", width}, {"draw:fill", "solid"}}));
            drawing.openParagraph(properties({{"fo:text-align", "center"}}));
            drawing.openSpan(properties({{"fo:font-size", "12pt"}}));
            drawing.insertText("a<b>");
            drawing.closeSpan();
            drawing.closeParagraph();
            drawing.openListElement({});
            drawing.closeListElement();
            drawing.endTextObject();
        };
    };
    EXPECT_EQ(body(text(2)),
              "<draw:frame draw:style-name=\"s0\" svg:x=\"1in\" svg:width=\"2in\"><draw:text-box>"
              "<text:p text:style-name=\"s2\"><text:span text:style-name=\"s3\">a&lt;b&gt;</text:span></text:p>"
              "<text:p text:style-name=\"s4\"></text:p></draw:text-box></draw:frame>");
    const auto frame = [&](double width) {
        return between(styles(text(width)), "style:family=\"graphic\"><style:graphic-properties", "/>");
    };
    EXPECT_EQ(frame(2), " draw:fill=\"none\" draw:stroke=\"none\" svg:width=\"2in\" svg:x=\"1in\"");
    for (const double width : {0.0, -1.0}) {
        EXPECT_TRUE(
            frame(width).starts_with(" draw:auto-grow-width=\"true\" draw:fill=\"none\" draw:stroke=\"none\" "
                                     "draw:textarea-horizontal-align=\"left\""));
    }
    EXPECT_NE(styles(text(2)).find("<style:style style:name=\"s2\" style:family=\"paragraph\">"
                                   "<style:paragraph-properties fo:text-align=\"center\"/></style:style>"),
              std::string::npos);
    EXPECT_NE(styles(text(2)).find("<style:style style:name=\"s3\" style:family=\"text\">"
                                   "<style:text-properties fo:font-size=\"12pt\"/></style:style>"),
              std::string::npos);
}

// The styles of a rectangle with these properties.
std::string style_of(const Properties& of) {
    return styles([&](DrawingToXml& drawing) {
        drawing.setStyle(of);
        drawing.drawRectangle({});
    });
}

TEST(DrawingToXmlTest, AttributesOfStyles) {
    EXPECT_EQ(style_of(properties({{"draw:fill", "solid"},
                                   {"svg:stroke-width", 0.5},
                                   {"fo:a", "1"},
                                   {"style:b", "2"},
                                   {"text:c", "3"},
                                   {"librevenge:d", "4"},
                                   {"e", "5"},
                                   {"draw:empty", ""},
                                   {"draw:fill-image", "QUJD"}})),
              "<style:style style:name=\"s0\" style:family=\"graphic\"><style:graphic-properties draw:fill=\"solid\" "
              "fo:a=\"1\" style:b=\"2\" svg:stroke-width=\"0.5in\" text:c=\"3\"/></style:style>");
}

TEST(DrawingToXmlTest, Gradients) {
    const auto gradient = [](const Properties& of) {
        return between(style_of(of), "<draw:gradient", "</draw:gradient>");
    };
    const Properties axial = properties({{"draw:fill", "gradient"},
                                         {"draw:style", "axial"},
                                         {"draw:start-color", "#010203"},
                                         {"draw:end-color", "#040506"},
                                         {"draw:border", "10%"},
                                         {"draw:start-intensity", "90%"},
                                         {"draw:end-intensity", "80%"},
                                         {"svg:cx", "30%"},
                                         {"svg:cy", "40%"},
                                         {"draw:angle", 45}});
    EXPECT_EQ(gradient(axial),
              " draw:name=\"d1\" draw:style=\"axial\" draw:start-color=\"#010203\" draw:end-color=\"#040506\" "
              "draw:border=\"10%\" draw:start-intensity=\"90%\" draw:end-intensity=\"80%\" draw:cx=\"30%\" "
              "draw:cy=\"40%\" draw:angle=\"45deg\">");
    EXPECT_NE(style_of(axial).find("<style:graphic-properties draw:fill-gradient-name=\"d1\" draw:angle=\"45\""),
              std::string::npos);
    EXPECT_EQ(style_of(axial).find("draw:style=\"axial\"", style_of(axial).find("<style:style")), std::string::npos);
    const auto with = [&](const char* name, const char* style) {
        Properties of = properties({{"draw:fill", "gradient"}});
        if (style != nullptr) {
            of.insert("draw:style", style);
        }
        return gradient(with_children(of, name,
                                      {{{"svg:offset", 0.25}, {"svg:stop-color", "#111111"}},
                                       {{"svg:offset", 0.75}, {"svg:stop-color", "#222222"}}}));
    };
    const auto stop = [](const char* at, const char* color) {
        return std::string("<loext:gradient-stop svg:offset=\"") + at + "\" loext:color-value=\"" + color + "\"/>";
    };
    const auto head = [](const std::string& style) {
        return " draw:name=\"d1\" draw:style=\"" + style + "\" draw:angle=\"0deg\">";
    };
    const std::string forward = stop("0.25", "#111111") + stop("0.75", "#222222");
    const std::string backward = stop("0.25", "#222222") + stop("0.75", "#111111");
    EXPECT_EQ(with("svg:linearGradient", nullptr), head("linear") + forward);
    EXPECT_EQ(with("svg:radialGradient", nullptr), head("radial") + backward);
    EXPECT_EQ(with("svg:linearGradient", "axial"), head("axial") + backward);
    EXPECT_EQ(with("svg:radialGradient", "linear"), head("linear") + forward);
}

TEST(DrawingToXmlTest, PicturesDashesAndArrows) {
    EXPECT_EQ(style_of(properties({{"draw:fill", "bitmap"}, {"draw:fill-image", "QUJD"}})),
              "<draw:fill-image draw:name=\"d1\"><office:binary-data>QUJD</office:binary-data></draw:fill-image>"
              "<style:style style:name=\"s0\" style:family=\"graphic\"><style:graphic-properties "
              "draw:fill-image-name=\"d1\" draw:fill=\"bitmap\"/></style:style>");
    EXPECT_EQ(style_of(properties({{"draw:fill", "bitmap"}})),
              "<style:style style:name=\"s0\" style:family=\"graphic\"><style:graphic-properties draw:fill=\"bitmap\"/>"
              "</style:style>");
    const std::string dashes = style_of(properties({{"draw:stroke", "dash"},
                                                    {"draw:dots1", 1},
                                                    {"draw:dots2", 2},
                                                    {"draw:dots1-length", 0.5},
                                                    {"draw:dots2-length", 0.25},
                                                    {"draw:distance", 0.125},
                                                    {"draw:stroke-dash", "other"}}));
    EXPECT_EQ(between(dashes, "<draw:stroke-dash", "/>"),
              " draw:name=\"d1\" draw:dots1=\"1\" draw:dots1-length=\"0.5in\" draw:dots2=\"2\" "
              "draw:dots2-length=\"0.25in\" draw:distance=\"0.125in\"");
    EXPECT_EQ(between(dashes, "<style:graphic-properties", "draw:d"), " draw:stroke-dash=\"d1\" ");
    EXPECT_EQ(dashes.find("other"), std::string::npos);
    EXPECT_EQ(style_of(properties({{"draw:stroke", "solid"}, {"draw:dots1", 1}})).find("<draw:stroke-dash"),
              std::string::npos);
    for (const std::string end : {"start", "end"}) {
        Properties of;
        of.insert(("draw:marker-" + end + "-path").c_str(), "M0 0L1 1z");
        of.insert(("draw:marker-" + end + "-viewbox").c_str(), "0 0 1 1");
        const std::string text = style_of(of);
        EXPECT_EQ(between(text, "<draw:marker", "/>"),
                  " draw:name=\"d1" + end + "\" svg:d=\"M0 0L1 1z\" svg:viewBox=\"0 0 1 1\"");
        EXPECT_TRUE(between(text, "<style:graphic-properties", "/>")
                        .starts_with((" draw:marker-" + end).append("=\"d1").append(end).append("\"")));
    }
}

}  // namespace
}  // namespace zelmor::embed
