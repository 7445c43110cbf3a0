// What each way of drawing becomes in files of lines and text: the attributes of SVG, the calls of a canvas element and
// the figures of DXF, as those formats are published. Each option of a paint, a pen and a text has a case of its own.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/dxf/dxf_canvas.h"
#include "runtime/native/formats/html5canvas/script_canvas.h"
#include "runtime/native/formats/svg/svg_canvas.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {
namespace {

using namespace drawwork;

constexpr Argb kInk = 0xFF102030;
const Outline kBox{rectangle_contour({10, 10, 30, 20})};
const Outline kLine{[] {
    Contour line{{10, 10}, {}, false};
    line.line_to({40, 10});
    return line;
}()};

std::string address(std::span<const Argb> pixels, int32_t width, int32_t height) {
    char text[64];
    std::snprintf(text, sizeof text, "picture:%dx%d:%08x", width, height, pixels[0]);
    return text;
}

Paint solid(Argb color, double opacity = 1) {
    Paint paint;
    paint.color = color;
    paint.opacity = opacity;
    return paint;
}

Paint texture(Extend extend = Extend::kNone, Sampling sampling = Sampling::kGood, double opacity = 1) {
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = 2;
    paint.height = 3;
    paint.pixels.assign(6, 0xFF00FF00);
    paint.extend = extend;
    paint.sampling = sampling;
    paint.opacity = opacity;
    return paint;
}

Paint linear(Extend extend = Extend::kPad) {
    Paint paint;
    paint.kind = Paint::Kind::kLinear;
    paint.from = {10, 20};
    paint.to = {20, 20};
    paint.stops = {{0.25, 0xFFFF0000}, {0.75, 0x800000FF}};
    paint.extend = extend;
    return paint;
}

Paint radial(Extend extend = Extend::kPad) {
    Paint paint = linear(extend);
    paint.kind = Paint::Kind::kRadial;
    paint.from = paint.to = {25, 20};
    paint.to_radius = 15;
    return paint;
}

TextLayout words(const std::string& text = "word") {
    TextLayout layout;
    layout.text = text;
    layout.family = "DejaVu Sans";
    layout.size = 10;
    return layout;
}

template <class Draw>
std::string svg(Draw&& draw, SvgCanvasSettings settings = {}) {
    settings.width = 100;
    settings.height = 50;
    settings.address_of = &address;
    SvgCanvas canvas(drawing_backend(), settings);
    draw(canvas);
    return canvas.finish();
}
template <class Draw>
std::string script(Draw&& draw) {
    ScriptCanvas canvas(drawing_backend(), {100, 50, "c", &address});
    draw(canvas);
    const std::string text = canvas.finish();
    const size_t begin = text.find("below = [], p;\n") + 15;
    return text.substr(begin, text.find("}\nvar addresses") - begin);
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The attributes of the first element of the name; nothing where there is none.
using Attributes = std::map<std::string, std::string>;
std::optional<Attributes> element(const std::string& text, const std::string& name) {
    const size_t begin = text.find("<" + name + " ");
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    Attributes found;
    const std::string inside = text.substr(begin, text.find('>', begin) - begin);
    for (size_t at = inside.find(' '); at != std::string::npos && inside[at] == ' ';) {
        const size_t equals = inside.find('=', at), end = inside.find('"', equals + 2);
        found[inside.substr(at + 1, equals - at - 1)] = inside.substr(equals + 2, end - equals - 2);
        at = end + 1 < inside.size() ? end + 1 : std::string::npos;
    }
    return found;
}

Attributes without(Attributes attributes, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        attributes.erase(name);
    }
    return attributes;
}

// ---- SVG

TEST(SvgStatementsTest, TextHasTheStyleOfItsLayout) {
    const Attributes plain{
        {"font-family", "DejaVu Sans"}, {"font-size", "10"}, {"fill", "#102030"}, {"xml:space", "preserve"}};
    const auto of = [](const TextLayout& layout, const Paint& paint = solid(kInk), const Affine& placing = {}) {
        return element(svg([&](Canvas& canvas) { canvas.text(layout, placing, paint); }), "text");
    };
    const auto expect = [&](const std::function<void(TextLayout&)>& change, const Attributes& more) {
        TextLayout layout = words();
        change(layout);
        Attributes expected = plain;
        for (const auto& [name, value] : more) {
            expected[name] = value;
        }
        EXPECT_EQ(of(layout), expected);
    };
    expect([](TextLayout&) {}, {});
    expect([](TextLayout& layout) { layout.bold = true; }, {{"font-weight", "bold"}});
    expect([](TextLayout& layout) { layout.italic = true; }, {{"font-style", "italic"}});
    expect([](TextLayout& layout) { layout.underline = true; }, {{"text-decoration", "underline"}});
    expect([](TextLayout& layout) { layout.strikeout = true; }, {{"text-decoration", "line-through"}});
    expect([](TextLayout& layout) { layout.underline = layout.strikeout = true; },
           {{"text-decoration", "underline line-through"}});
    expect([](TextLayout& layout) { layout.right_to_left = true; }, {{"direction", "rtl"}});
    expect([](TextLayout& layout) { layout.size = 12.5; }, {{"font-size", "12.5"}});
    expect([](TextLayout& layout) { layout.family = "A \"B\" & <C>"; },
           {{"font-family", "A &quot;B&quot; &amp; &lt;C&gt;"}});
    EXPECT_EQ(of(words(), solid(0x80102030)).value_or(Attributes())["fill-opacity"], "0.502");
    EXPECT_EQ(of(words(), solid(kInk, 0.25)).value_or(Attributes())["fill-opacity"], "0.25");
    EXPECT_EQ(of(words(), linear()).value_or(Attributes())["fill"], "url(#g1)");
    EXPECT_EQ(of(words(), solid(kInk), {1, 0.5, -0.25, 2, 3, 4}).value_or(Attributes())["transform"],
              "matrix(1 0.5 -0.25 2 3 4)");
    EXPECT_EQ(of(words(), solid(kInk), {1, 0, 2, 0, 3, 4}), std::nullopt);  // of no height
}

TEST(SvgStatementsTest, GradientsOfTextLieWhereTheyDoOnThePage) {
    const std::string text = svg([](Canvas& canvas) { canvas.text(words(), {2, 0, 0, 4, 10, 20}, linear()); });
    EXPECT_EQ(element(text, "linearGradient").value_or(Attributes())["gradientTransform"],
              "matrix(0.5 0 0 0.25 -5 -5)");
}

// Layouts that the elements of SVG do not have are shapes.
TEST(SvgStatementsTest, WhichTextIsText) {
    const auto is_text = [](const std::function<void(TextLayout&)>& change, const Paint& paint = solid(kInk),
                            bool as_shapes = false) {
        TextLayout layout = words();
        change(layout);
        SvgCanvasSettings settings;
        settings.text_as_shapes = as_shapes;
        const std::string text = svg([&](Canvas& canvas) { canvas.text(layout, {}, paint); }, settings);
        EXPECT_NE(element(text, "text").has_value(), holds(text, "<path") || holds(text, "<image"));
        return element(text, "text").has_value();
    };
    const auto nothing = [](TextLayout&) {};
    EXPECT_TRUE(is_text(nothing));
    EXPECT_FALSE(is_text(nothing, solid(kInk), true));
    EXPECT_FALSE(is_text(nothing, texture(Extend::kRepeat)));
    EXPECT_TRUE(is_text(nothing, radial()));
    Paint apart = radial();
    apart.from = {100, 20};
    EXPECT_FALSE(is_text(nothing, apart));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.tabs = {20}; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.trimming = TextTrimming::kEnd; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.mnemonic = 0; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.folders = {"/nowhere"}; }));
}

TEST(SvgStatementsTest, LinesBeginWhereTheyAreRead) {
    TextLayout layout = words("one\n\ntwo");
    layout.width = 90;
    for (const bool right_to_left : {false, true}) {
        layout.right_to_left = right_to_left;
        const auto lines = drawing_backend().lines_of(layout);
        const std::string text = svg([&](Canvas& canvas) { canvas.text(layout, {}, solid(kInk)); });
        std::string rest = text;
        size_t count = 0;
        for (const TextLine& line : lines) {
            if (line.text.empty()) {
                continue;
            }
            const Attributes found = element(rest, "tspan").value_or(Attributes());
            ASSERT_EQ(found.size(), 2U);
            EXPECT_NEAR(std::stod(found.at("x")), right_to_left ? line.left + line.width : line.left, 1e-3);
            EXPECT_NEAR(std::stod(found.at("y")), line.baseline, 1e-3);
            rest = rest.substr(rest.find("</tspan>") + 1);
            ++count;
        }
        EXPECT_EQ(count, 2U);
        EXPECT_FALSE(element(rest, "tspan").has_value());
    }
}

TEST(SvgStatementsTest, PensAreStrokes) {
    const auto of = [](const Stroke& stroke, bool smooth = true, const Paint& paint = solid(kInk)) {
        return element(svg([&](Canvas& canvas) { canvas.stroke(kLine, stroke, paint, smooth); }), "path")
            .value_or(Attributes());
    };
    const Attributes plain{{"d", "M10 10 L40 10"},
                           {"fill", "none"},
                           {"stroke", "#102030"},
                           {"stroke-width", "3"},
                           {"stroke-miterlimit", "10"}};
    const auto expect = [&](const std::function<void(Stroke&)>& change, const Attributes& more,
                            std::initializer_list<const char*> less = {}) {
        Stroke stroke;
        stroke.width = 3;
        change(stroke);
        Attributes expected = without(plain, less);
        for (const auto& [name, value] : more) {
            expected[name] = value;
        }
        EXPECT_EQ(of(stroke), expected);
    };
    expect([](Stroke&) {}, {});
    expect([](Stroke& stroke) { stroke.cap = StrokeCap::kRound; }, {{"stroke-linecap", "round"}});
    expect([](Stroke& stroke) { stroke.cap = StrokeCap::kSquare; }, {{"stroke-linecap", "square"}});
    expect([](Stroke& stroke) { stroke.join = StrokeJoin::kRound; }, {{"stroke-linejoin", "round"}},
           {"stroke-miterlimit"});
    expect([](Stroke& stroke) { stroke.join = StrokeJoin::kBevel; }, {{"stroke-linejoin", "bevel"}},
           {"stroke-miterlimit"});
    expect([](Stroke& stroke) { stroke.miter_limit = 4; }, {}, {"stroke-miterlimit"});  // as where none is given
    expect([](Stroke& stroke) { stroke.miter_limit = 0.5; }, {{"stroke-miterlimit", "1"}});
    expect([](Stroke& stroke) { stroke.miter_limit = 1.5; }, {{"stroke-miterlimit", "1.5"}});
    expect([](Stroke& stroke) { stroke.dashes = {4, 2.5}; }, {{"stroke-dasharray", "4 2.5"}});
    expect(
        [](Stroke& stroke) {
            stroke.dashes = {4, 2};
            stroke.dash_offset = -1;
        },
        {{"stroke-dasharray", "4 2"}, {"stroke-dashoffset", "-1"}});
    expect([](Stroke& stroke) { stroke.dash_offset = 5; }, {});  // of a line without dashes
    // A pen that is round on the page is measured there; another one has a space of its own.
    expect(
        [](Stroke& stroke) {
            stroke.nib = {0, 2, -2, 0, 70, 80};
            stroke.dashes = {4, 2};
            stroke.dash_offset = 1;
        },
        {{"stroke-width", "6"}, {"stroke-dasharray", "8 4"}, {"stroke-dashoffset", "2"}});
    expect(
        [](Stroke& stroke) {
            stroke.nib = {2, 0, 0, 4, 70, 80};
            stroke.dashes = {4, 2};
            stroke.dash_offset = 1;
        },
        {{"d", "M5 2.5 L20 2.5"},
         {"stroke-dasharray", "4 2"},
         {"stroke-dashoffset", "1"},
         {"transform", "matrix(2 0 0 4 0 0)"}});
    expect([](Stroke& stroke) { stroke.nib = {2, 0, 2, 2, 0, 0}; },
           {{"d", "M0 5 L15 5"}, {"transform", "matrix(2 0 2 2 0 0)"}});
    Stroke flat;
    flat.nib = {2, 0, 2, 0, 0, 0};
    EXPECT_EQ(of(flat), Attributes());
    EXPECT_EQ(of({}, false)["shape-rendering"], "crispEdges");
    EXPECT_EQ(of({}, true, solid(0x40102030, 0.5))["stroke-opacity"], "0.1255");
    EXPECT_EQ(of({}, true, linear())["stroke"], "url(#g1)");
}

TEST(SvgStatementsTest, AreasAndClips) {
    Contour curved{{1, 2}, {}, true};
    curved.curve_to({3, 4}, {5, 6}, {7, 8});
    curved.line_to({9, -1.5});
    const Outline two{curved, kLine[0]};
    const auto fill = [&](FillRule rule, bool smooth) {
        return element(svg([&](Canvas& canvas) { canvas.fill(two, rule, solid(kInk), smooth); }), "path")
            .value_or(Attributes());
    };
    const Attributes plain{{"d", "M1 2 C3 4 5 6 7 8 L9 -1.5 Z M10 10 L40 10"}, {"fill", "#102030"}};
    EXPECT_EQ(fill(FillRule::kWinding, true), plain);
    EXPECT_EQ(without(fill(FillRule::kAlternate, true), {"fill-rule"}), plain);
    EXPECT_EQ(fill(FillRule::kAlternate, true)["fill-rule"], "evenodd");
    EXPECT_EQ(without(fill(FillRule::kWinding, false), {"shape-rendering"}), plain);
    EXPECT_EQ(fill(FillRule::kWinding, false)["shape-rendering"], "crispEdges");
    const auto clip = [&](FillRule rule, bool smooth) {
        const std::string text = svg([&](Canvas& canvas) {
            canvas.clip(two, rule, smooth);
            canvas.fill(kBox, FillRule::kWinding, solid(kInk), true);
        });
        EXPECT_EQ(element(text, "clipPath"), (Attributes{{"id", "c1"}}));
        EXPECT_EQ(element(text, "g"), (Attributes{{"clip-path", "url(#c1)"}}));
        return element(text, "path").value_or(Attributes());
    };
    EXPECT_EQ(clip(FillRule::kWinding, true), (Attributes{{"d", plain.at("d")}}));
    EXPECT_EQ(clip(FillRule::kAlternate, false),
              (Attributes{{"d", plain.at("d")}, {"clip-rule", "evenodd"}, {"shape-rendering", "crispEdges"}}));
    EXPECT_FALSE(holds(svg([](Canvas& canvas) { canvas.fill({}, FillRule::kWinding, solid(kInk), true); }), "<path"));
    EXPECT_FALSE(holds(svg([](Canvas& canvas) { canvas.stroke({}, {}, solid(kInk), true); }), "<path"));
}

TEST(SvgStatementsTest, Gradients) {
    const auto of = [](const Paint& paint) {
        return svg([&](Canvas& canvas) {
            canvas.fill(kBox, FillRule::kWinding, paint, true);
            canvas.fill(kLine, FillRule::kWinding, paint, true);
        });
    };
    const Attributes ends{{"id", "g1"}, {"gradientUnits", "userSpaceOnUse"}, {"x1", "10"}, {"y1", "20"}, {"x2", "20"},
                          {"y2", "20"}};
    const std::string text = of(linear());
    EXPECT_EQ(element(text, "linearGradient"), ends);
    EXPECT_EQ(text.find("<linearGradient"), text.rfind("<linearGradient"));  // both are filled with the same one
    EXPECT_TRUE(holds(text,
                      "><stop offset=\"0.25\" stop-color=\"#ff0000\"/><stop offset=\"0.75\" stop-color=\"#0000ff\""
                      " stop-opacity=\"0.502\"/></linearGradient>"));
    EXPECT_EQ(element(of(linear(Extend::kRepeat)), "linearGradient").value_or(Attributes())["spreadMethod"], "repeat");
    EXPECT_EQ(element(of(linear(Extend::kReflect)), "linearGradient").value_or(Attributes())["spreadMethod"],
              "reflect");
    // Where it does not go on, its ends are clear in their own colors.
    EXPECT_EQ(element(of(linear(Extend::kNone)), "linearGradient"), ends);
    EXPECT_TRUE(holds(of(linear(Extend::kNone)),
                      "><stop offset=\"0\" stop-color=\"#ff0000\" stop-opacity=\"0\"/><stop offset=\"0.25\" "
                      "stop-color=\"#ff0000\"/><stop offset=\"0.75\" stop-color=\"#0000ff\" stop-opacity=\"0.502\"/>"
                      "<stop offset=\"1\" stop-color=\"#0000ff\" stop-opacity=\"0\"/></linearGradient>"));
    Paint placed = linear();
    placed.placing = {1, 2, 3, 4, 5, 6};
    placed.opacity = 0.5;
    EXPECT_EQ(element(of(placed), "linearGradient").value_or(Attributes())["gradientTransform"], "matrix(1 2 3 4 5 6)");
    EXPECT_EQ(element(of(placed), "path").value_or(Attributes())["fill-opacity"], "0.5");
    Paint circles = radial();
    circles.from = {20, 21};
    circles.to = {25, 22};
    circles.from_radius = 2;
    const Attributes round{{"id", "g1"}, {"gradientUnits", "userSpaceOnUse"},
                           {"cx", "25"}, {"cy", "22"},
                           {"r", "15"},  {"fx", "20"},
                           {"fy", "21"}, {"fr", "2"}};
    EXPECT_EQ(element(of(circles), "radialGradient"), round);
    std::swap(circles.from, circles.to);
    std::swap(circles.from_radius, circles.to_radius);
    EXPECT_EQ(element(of(circles), "radialGradient"), round);
    EXPECT_TRUE(holds(of(circles),
                      "<stop offset=\"0.25\" stop-color=\"#0000ff\" stop-opacity=\"0.502\"/>"
                      "<stop offset=\"0.75\" stop-color=\"#ff0000\"/>"));
    EXPECT_EQ(element(of(radial()), "radialGradient").value_or(Attributes()).count("fr"), 0U);
}

TEST(SvgStatementsTest, Pictures) {
    const auto of = [](const Paint& paint, const Outline& outline = {rectangle_contour({0, 0, 2, 3})}) {
        return svg([&](Canvas& canvas) { canvas.fill(outline, FillRule::kAlternate, paint, false); });
    };
    const Attributes plain{
        {"width", "2"}, {"height", "3"}, {"preserveAspectRatio", "none"}, {"xlink:href", "picture:2x3:ff00ff00"}};
    EXPECT_EQ(element(of(texture()), "image"), plain);
    EXPECT_FALSE(holds(of(texture()), "clip-path"));
    EXPECT_EQ(element(of(texture(Extend::kNone, Sampling::kBest)), "image"), plain);
    EXPECT_EQ(
        element(of(texture(Extend::kNone, Sampling::kNearest)), "image").value_or(Attributes())["image-rendering"],
        "optimizeSpeed");
    EXPECT_EQ(element(of(texture(Extend::kNone, Sampling::kGood, 0.25)), "image").value_or(Attributes())["opacity"],
              "0.25");
    Paint placed = texture();
    placed.placing = {2, 0, 0, 2, 5, 5};
    EXPECT_EQ(element(of(placed), "image").value_or(Attributes())["transform"], "matrix(2 0 0 2 5 5)");
    const std::string cut = of(texture(), kBox);
    EXPECT_EQ(element(cut, "g").value_or(Attributes())["clip-path"], "url(#c1)");
    EXPECT_EQ(element(cut, "path"), (Attributes{{"d", "M10 10 L40 10 L40 30 L10 30 Z"},
                                                {"clip-rule", "evenodd"},
                                                {"shape-rendering", "crispEdges"}}));
    placed.extend = Extend::kRepeat;
    placed.opacity = 0.75;
    EXPECT_EQ(element(of(placed), "pattern"), (Attributes{{"id", "p1"},
                                                          {"patternUnits", "userSpaceOnUse"},
                                                          {"width", "2"},
                                                          {"height", "3"},
                                                          {"patternTransform", "matrix(2 0 0 2 5 5)"}}));
    EXPECT_EQ(element(of(placed), "path").value_or(Attributes())["fill"], "url(#p1)");
    EXPECT_EQ(element(of(placed), "path").value_or(Attributes())["fill-opacity"], "0.75");
}

// The weights of the three colors as television has them.
TEST(SvgStatementsTest, GrayColors) {
    SvgCanvasSettings gray;
    gray.gray = true;
    for (const auto& [color, expected] : {std::pair{0xFFFF0000U, "#4c4c4c"},
                                          {0xFF00FF00U, "#969696"},
                                          {0xFF0000FFU, "#1d1d1d"},
                                          {0xFFFFFFFFU, "#ffffff"},
                                          {0xFF000000U, "#000000"},
                                          {0xFF0A0B0DU, "#0b0b0b"},
                                          {0xFFC86432U, "#7c7c7c"}}) {
        const std::string text =
            svg([&, ink = color](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, solid(ink), true); }, gray);
        EXPECT_EQ(element(text, "path").value_or(Attributes())["fill"], expected);
    }
    const std::string stops = svg(
        [](Canvas& canvas) {
            canvas.fill(kBox, FillRule::kWinding, linear(), true);
            canvas.fill(kBox, FillRule::kWinding, texture(), true);
        },
        gray);
    EXPECT_TRUE(holds(stops, "stop-color=\"#4c4c4c\"/>"));
    EXPECT_TRUE(holds(stops, "stop-color=\"#1d1d1d\" stop-opacity=\"0.502\"/>"));
    EXPECT_TRUE(holds(stops, "picture:2x3:ff969696"));
}

constexpr std::pair<Blend, const char*> kBlends[] = {
    {Blend::kMultiply, "multiply"},     {Blend::kScreen, "screen"},        {Blend::kOverlay, "overlay"},
    {Blend::kDarken, "darken"},         {Blend::kLighten, "lighten"},      {Blend::kColorDodge, "color-dodge"},
    {Blend::kColorBurn, "color-burn"},  {Blend::kHardLight, "hard-light"}, {Blend::kSoftLight, "soft-light"},
    {Blend::kDifference, "difference"}, {Blend::kExclusion, "exclusion"}};

TEST(WrittenStatementsTest, GroupsAreBlended) {
    const auto draw = [](Blend blend, double opacity) {
        return [=](Canvas& canvas) {
            canvas.begin_group();
            canvas.fill(kBox, FillRule::kWinding, solid(kInk), true);
            canvas.end_group(opacity, blend);
        };
    };
    for (const auto& [blend, name] : kBlends) {
        EXPECT_TRUE(holds(svg(draw(blend, 1)), std::string("<g style=\"mix-blend-mode:") + name + "\">"));
        EXPECT_TRUE(holds(script(draw(blend, 1)),
                          std::string("c.globalAlpha=1;\nc.globalCompositeOperation=\"") + name + "\";\n"));
    }
    EXPECT_TRUE(holds(svg(draw(Blend::kOver, 1)), "<g>"));
    EXPECT_TRUE(holds(svg(draw(Blend::kOver, 0.5)), "<g opacity=\"0.5\">"));
    EXPECT_TRUE(holds(script(draw(Blend::kOver, 0.5)),
                      "c.globalAlpha=0.5;\nc.globalCompositeOperation=\"source-over\";\nc.drawImage(p,0,0);\n"));
}

// ---- Scripts

TEST(ScriptStatementsTest, PensAreProperties) {
    const auto expect = [](const std::function<void(Stroke&)>& change, const std::string& settings,
                           const std::string& path = "c.beginPath();\nc.moveTo(10,10);\nc.lineTo(40,10);\n") {
        Stroke stroke;
        stroke.width = 3;
        change(stroke);
        EXPECT_EQ(
            script([&](Canvas& canvas) { canvas.stroke(kLine, stroke, solid(kInk), true); }),
            "c.save();\n" + path + "c.strokeStyle=\"rgba(16,32,48,1)\";\n" + settings + "c.stroke();\nc.restore();\n");
    };
    const std::string width = "c.lineWidth=3;\n", limit = "c.miterLimit=10;\n";
    expect([](Stroke&) {}, width + limit);
    expect([](Stroke& stroke) { stroke.cap = StrokeCap::kRound; }, width + "c.lineCap=\"round\";\n" + limit);
    expect([](Stroke& stroke) { stroke.cap = StrokeCap::kSquare; }, width + "c.lineCap=\"square\";\n" + limit);
    expect([](Stroke& stroke) { stroke.join = StrokeJoin::kRound; }, width + "c.lineJoin=\"round\";\n" + limit);
    expect([](Stroke& stroke) { stroke.join = StrokeJoin::kBevel; }, width + "c.lineJoin=\"bevel\";\n" + limit);
    expect([](Stroke& stroke) { stroke.miter_limit = 0.5; }, width + "c.miterLimit=1;\n");
    expect(
        [](Stroke& stroke) {
            stroke.dashes = {4, 2.5};
            stroke.dash_offset = -1;
        },
        width + limit + "c.setLineDash([4,2.5]);\nc.lineDashOffset=-1;\n");
    expect(
        [](Stroke& stroke) {
            stroke.nib = {0, 2, -2, 0, 70, 80};
            stroke.dashes = {4, 2};
            stroke.dash_offset = 1;
        },
        "c.lineWidth=6;\n" + limit + "c.setLineDash([8,4]);\nc.lineDashOffset=2;\n");
    expect([](Stroke& stroke) { stroke.nib = {1.0 / 3, 0, 0, 4, 0, 0}; }, width + limit,
           "c.transform(0.33333333,0,0,4,0,0);\nc.beginPath();\nc.moveTo(30,2.5);\nc.lineTo(120,2.5);\n");
    expect([](Stroke& stroke) { stroke.nib = {2, 0, 0, 4, 70, 80}; }, width + limit,
           "c.transform(2,0,0,4,0,0);\nc.beginPath();\nc.moveTo(5,2.5);\nc.lineTo(20,2.5);\n");
    Stroke flat;
    flat.nib = {2, 0, 2, 0, 0, 0};
    EXPECT_EQ(script([&](Canvas& canvas) { canvas.stroke(kLine, flat, solid(kInk), true); }), "");
}

TEST(ScriptStatementsTest, Areas) {
    Contour curved{{1, 2}, {}, true};
    curved.curve_to({3, 4}, {5, 6}, {7, 8});
    const std::string path = "c.beginPath();\nc.moveTo(1,2);\nc.bezierCurveTo(3,4,5,6,7,8);\nc.closePath();\n";
    for (const auto& [rule, name] : {std::pair{FillRule::kWinding, "nonzero"}, {FillRule::kAlternate, "evenodd"}}) {
        EXPECT_EQ(script([&, way = rule](Canvas& canvas) { canvas.fill({curved}, way, solid(0x80102030), true); }),
                  path + "c.fillStyle=\"rgba(16,32,48,0.502)\";\nc.fill(\"" + name + "\");\n");
        EXPECT_EQ(script([&, way = rule](Canvas& canvas) {
                      canvas.clip({curved}, way, true);
                      canvas.clear(0);
                  }),
                  "c.save();\n" + path + "c.clip(\"" + name + "\");\nc.clearRect(0,0,100,50);\nc.restore();\n");
    }
    EXPECT_EQ(script([](Canvas& canvas) { canvas.clear(0x80FF0000); }),
              "c.clearRect(0,0,100,50);\nc.fillStyle=\"rgba(255,0,0,0.502)\";\nc.fillRect(0,0,100,50);\n");
    EXPECT_EQ(script([](Canvas& canvas) { canvas.fill({}, FillRule::kWinding, solid(kInk), true); }), "");
    EXPECT_TRUE(
        holds(script([](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, solid(0x80102030, 0.5), true); }),
              "c.fillStyle=\"rgba(16,32,48,0.251)\";\n"));
}

TEST(ScriptStatementsTest, Gradients) {
    const auto of = [](const Paint& paint) {
        const std::string text = script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); });
        const std::string path =
            "c.beginPath();\nc.moveTo(10,10);\nc.lineTo(40,10);\nc.lineTo(40,30);\n"
            "c.lineTo(10,30);\nc.closePath();\n";
        EXPECT_TRUE(holds(text, path));
        const size_t begin = text.find(path) + path.size(), end = text.find("c.fillStyle=p;\n");
        return text.substr(begin, end - begin);
    };
    const std::string red = "p.addColorStop(0.25,\"rgba(255,0,0,1)\");\n";
    const std::string blue = "p.addColorStop(0.75,\"rgba(0,0,255,0.502)\");\n";
    EXPECT_EQ(of(linear()), "p=c.createLinearGradient(10,20,20,20);\n" + red + blue);
    EXPECT_EQ(of(linear(Extend::kNone)),
              "p=c.createLinearGradient(10,20,20,20);\np.addColorStop(0,\"rgba(255,0,0,0)\");\n" + red + blue +
                  "p.addColorStop(1,\"rgba(0,0,255,0)\");\n");
    // Three times over the area, from 10 to 40.
    const auto at = [](double place, bool is_red) {
        char text[80];
        std::snprintf(text, sizeof text, "p.addColorStop(%.6g,\"rgba(%s)\");\n", place,
                      is_red ? "255,0,0,1" : "0,0,255,0.502");
        return std::string(text);
    };
    const auto turns = [&](bool mirrored) {
        std::string text = "p=c.createLinearGradient(10,20,40,20);\n";
        for (int turn = 0; turn < 3; ++turn) {
            const bool back = mirrored && turn == 1;
            text += at(std::round((turn + 0.25) / 3 * 1e6) / 1e6, !back);
            text += at(std::round((turn + 0.75) / 3 * 1e6) / 1e6, back);
        }
        return text;
    };
    EXPECT_EQ(of(linear(Extend::kRepeat)), turns(false));
    EXPECT_EQ(of(linear(Extend::kReflect)), turns(true));
    // Slanted by a map: lines of one color stay upright, since they are so under this one.
    Paint slanted = linear();
    slanted.placing = {1, 1, 0, 1, 0, 0};
    EXPECT_EQ(of(slanted), "p=c.createLinearGradient(10,30,20,30);\n" + red + blue);
    Paint circles = radial();
    circles.from = {20, 21};
    circles.from_radius = 2;
    EXPECT_EQ(of(circles), "p=c.createRadialGradient(20,21,2,25,20,15);\n" + red + blue);
    circles.placing = {0, 2, -2, 0, 50, 0};
    EXPECT_EQ(of(circles), "p=c.createRadialGradient(8,40,4,10,50,30);\n" + red + blue);
    EXPECT_TRUE(holds(of(radial(Extend::kRepeat)), "p=c.createPattern(images[0],\"no-repeat\");\n"));
    // More than 200 turns are a picture.
    Paint fine = linear(Extend::kRepeat);
    fine.to = {10.15, 20};
    EXPECT_TRUE(holds(of(fine), "p=c.createLinearGradient(10,20,40,20);\n"));
    fine.to = {10.149, 20};
    EXPECT_TRUE(holds(of(fine), "p=c.createPattern("));
}

// A gradient that goes on over the area: as many turns as it has from its beginning to the farthest corners.
TEST(ScriptStatementsTest, TurnsOfGradients) {
    const auto of = [](PointD from, PointD to, Extend extend) {
        Paint paint = linear(extend);
        paint.from = from;
        paint.to = to;
        return script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); });
    };
    struct Turns {
        PointD from, to;
        int first, count;
        const char* line;
    };
    const Turns kCases[] = {{{20, 20}, {30, 25}, -2, 4, "0,10,40,30"},
                            {{50, 20}, {60, 20}, -4, 5, "10,20,60,20"},
                            {{0, 20}, {5, 20}, 0, 8, "0,20,40,20"},
                            {{25, 40}, {25, 36}, 0, 8, "25,40,25,8"}};
    for (const Turns& turns : kCases) {
        for (const Extend extend : {Extend::kRepeat, Extend::kReflect}) {
            std::string expected = std::string("p=c.createLinearGradient(") + turns.line + ");\n";
            for (int turn = 0; turn < turns.count; ++turn) {
                const bool back = extend == Extend::kReflect && (turns.first + turn) % 2 != 0;
                for (const double part : {0.25, 0.75}) {
                    char text[80];
                    std::snprintf(text, sizeof text, "p.addColorStop(%.6g,\"rgba(%s)\");\n",
                                  std::round((turn + part) / turns.count * 1e6) / 1e6,
                                  (part == 0.25) != back ? "255,0,0,1" : "0,0,255,0.502");
                    expected += text;
                }
            }
            EXPECT_TRUE(holds(of(turns.from, turns.to, extend), expected)) << turns.line;
        }
    }
    // Those with more turns than 200 on both sides together, or without a direction, are pictures.
    EXPECT_TRUE(holds(of({25, 20}, {25.1501, 20}, Extend::kRepeat), "p=c.createLinearGradient("));
    for (const PointD to : {PointD{25.1496, 20}, {25.1, 20}, {25, 20}}) {
        EXPECT_TRUE(holds(of({25, 20}, to, Extend::kRepeat), "p=c.createPattern(")) << to.x;
    }
    EXPECT_TRUE(holds(of({10, 20}, {10.1497, 20}, Extend::kRepeat), "p=c.createPattern("));  // 201
}

// Whatever a map does to a gradient, each of its colors lies where the map puts it.
TEST(ScriptStatementsTest, LinesOfOneColorStaySuchUnderAMap) {
    for (const Affine& map : {Affine{2, 1, -0.5, 3, 7, 9}, {0.6, 0.8, -0.8, 0.6, 1, 2}, {1, 0, 2, 1, 0, 0}}) {
        Paint paint = linear();
        paint.to = {20, 26};
        paint.placing = map;
        const std::string text = script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); });
        const char* call = "p=c.createLinearGradient(";
        ASSERT_TRUE(holds(text, call));
        PointD from, to;
        ASSERT_EQ(std::sscanf(text.c_str() + text.find(call) + std::string(call).size(), "%lf,%lf,%lf,%lf", &from.x,
                              &from.y, &to.x, &to.y),
                  4);
        const auto part_of = [](PointD p, PointD a, PointD b) {
            const PointD way = b - a, gap = p - a;
            return (gap.x * way.x + gap.y * way.y) / (way.x * way.x + way.y * way.y);
        };
        for (const PointD p : {PointD{0, 0}, {10, 20}, {40, 5}, {-3, 17}}) {
            EXPECT_NEAR(part_of(map.apply(p), from, to), part_of(p, paint.from, paint.to), 1e-3) << map.m11;
        }
    }
    Paint flat = linear();
    flat.placing = {1, 1, 0, 0, 0, 0};  // all of it lies on a line
    EXPECT_TRUE(holds(script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, flat, true); }),
                      "p=c.createLinearGradient(10,10,20,20);\n"));
}

// Circles stay circles under maps that keep angles, mirroring ones among them; others make ellipses of them.
TEST(ScriptStatementsTest, WhichMapsKeepCircles) {
    const auto is_round = [](const Affine& map) {
        Paint paint = radial();
        paint.placing = map;
        return !holds(script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); }),
                      "c.transform(");
    };
    for (const Affine& map : {Affine{0.8, 0.6, -0.6, 0.8, 5, 5},
                              {3, 4, 4, -3, 0, 0},
                              {2, 0, 0, -2, 0, 0},
                              {-1.5, 0.2, -0.2, -1.5, 0, 0},
                              {1, 0, 0, 1.0000005, 0, 0},
                              {1, 1e-10, 0, 1, 0, 0},
                              {1000, 1e-7, 0, 1000, 0, 0},
                              {0.001, 1e-14, 0, 0.001, 0, 0}}) {
        EXPECT_TRUE(is_round(map)) << map.m11 << ' ' << map.m12;
    }
    for (const Affine& map : {Affine{2, 0, 0, 4, 0, 0},
                              {1, 1, 0, 1, 0, 0},
                              {2, 0, 1, 2, 0, 0},
                              {3, 4, 4, 3, 0, 0},
                              {0.8, 0.6, 0.6, 0.8, 0, 0},
                              {1, 0, 0, 1.000002, 0, 0},
                              {1, 1e-8, 0, 1, 0, 0},
                              {1000, 1e-5, 0, 1000, 0, 0},
                              {0.001, 1e-11, 0, 0.001, 0, 0}}) {
        EXPECT_FALSE(is_round(map)) << map.m11 << ' ' << map.m12;
    }
}

TEST(ScriptStatementsTest, AnEllipticGradientHasASpaceOfItsOwn) {
    Paint elliptic = radial();
    elliptic.placing = {2, 0, 0, 4, 0, 0};
    elliptic.opacity = 0.5;
    EXPECT_EQ(script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, elliptic, true); }),
              "c.save();\nc.globalAlpha=0.5;\nc.transform(2,0,0,4,0,0);\nc.beginPath();\nc.moveTo(5,2.5);\n"
              "c.lineTo(20,2.5);\nc.lineTo(20,7.5);\nc.lineTo(5,7.5);\nc.closePath();\n"
              "p=c.createRadialGradient(25,20,0,25,20,15);\np.addColorStop(0.25,\"rgba(255,0,0,1)\");\n"
              "p.addColorStop(0.75,\"rgba(0,0,255,0.502)\");\nc.fillStyle=p;\nc.fill(\"nonzero\");\nc.restore();\n");
}

TEST(ScriptStatementsTest, OpacityIsThatOfTheColorOrOfAllThatIsDrawn) {
    const std::string alpha = "c.globalAlpha=0.5;\n";
    for (const double opacity : {1.0, 0.5}) {
        Paint colors = linear(), ellipse = radial();
        colors.opacity = ellipse.opacity = opacity;
        ellipse.placing = {2, 0, 0, 4, 0, 0};
        const auto filled = [](const Paint& paint) {
            return script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); });
        };
        const auto stroked = [](const Paint& paint) {
            return script([&](Canvas& canvas) { canvas.stroke(kLine, {}, paint, true); });
        };
        const bool half = opacity == 0.5;
        EXPECT_EQ(filled(colors).find("c.save();\n" + alpha), half ? 0 : std::string::npos);
        EXPECT_EQ(holds(filled(colors), "c.restore();\n"), half);
        EXPECT_EQ(filled(ellipse).find("c.save();\n" + (half ? alpha : "") + "c.transform(2,0,0,4,0,0);\n"), 0U);
        EXPECT_TRUE(holds(filled(ellipse), "c.fill(\"nonzero\");\nc.restore();\n"));
        EXPECT_EQ(holds(stroked(colors), alpha), half);
        const std::string color = std::string("Style=\"rgba(16,32,48,") + (half ? "0.5" : "1") + ")\";\n";
        for (const std::string& text : {filled(solid(kInk, opacity)), stroked(solid(kInk, opacity))}) {
            EXPECT_TRUE(holds(text, color));
            EXPECT_FALSE(holds(text, "globalAlpha"));
        }
        EXPECT_FALSE(holds(filled(solid(kInk, opacity)), "c.save"));
    }
    EXPECT_EQ(script([](Canvas& canvas) { canvas.clear(0x00FF0000); }), "c.clearRect(0,0,100,50);\n");
    EXPECT_TRUE(holds(script([](Canvas& canvas) { canvas.clear(0x01FF0000); }), "c.fillRect(0,0,100,50);\n"));
}

TEST(ScriptStatementsTest, ClipsStandBeforeWhatTheyCut) {
    const std::string clip = "c.save();\nc.beginPath();\nc.moveTo(10,10);\n";
    const std::function<void(Canvas&)> kWays[] = {
        [](Canvas& canvas) { canvas.fill(kLine, FillRule::kWinding, solid(kInk), true); },
        [](Canvas& canvas) { canvas.stroke(kLine, {}, solid(kInk), true); },
        [](Canvas& canvas) { canvas.text(words(), {}, solid(kInk)); },
        [](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, texture(), true); }};
    for (const auto& draw : kWays) {
        const std::string alone = script(draw);
        const std::string cut = script([&](Canvas& canvas) {
            canvas.clip(kBox, FillRule::kWinding, true);
            draw(canvas);
        });
        EXPECT_EQ(cut.find(clip), 0U);
        EXPECT_EQ(cut.substr(cut.find("c.clip(\"nonzero\");\n") + 19), alone + "c.restore();\n");
    }
    EXPECT_EQ(script(kWays[2]).find("c.save();\n"), 0U);
}

TEST(ScriptStatementsTest, StopsAndPicturesAreCounted) {
    Paint paint = linear(Extend::kNone);
    paint.stops = {{-0.5, 0xFF000001}, {1.5, 0xFF010101}};
    EXPECT_TRUE(holds(script([&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); }),
                      "p.addColorStop(0,\"rgba(0,0,1,0)\");\np.addColorStop(0,\"rgba(0,0,1,1)\");\n"
                      "p.addColorStop(1,\"rgba(1,1,1,1)\");\np.addColorStop(1,\"rgba(1,1,1,0)\");\n"));
    Paint other = texture();
    other.pixels.assign(6, 0xFF0000FF);
    const std::string text = script([&](Canvas& canvas) {
        for (const Paint& each : {texture(), other, texture(), other}) {
            canvas.fill({rectangle_contour({0, 0, 2, 3})}, FillRule::kWinding, each, true);
        }
    });
    std::string order;
    for (size_t at = text.find("images["); at != std::string::npos; at = text.find("images[", at + 1)) {
        order += text[at + 7];
    }
    EXPECT_EQ(order, "0101");
}

// The pen's space is stretched; what it is filled with is not.
TEST(ScriptStatementsTest, APenThatIsStretchedKeepsItsColors) {
    Stroke stroke;
    stroke.nib = {2, 0, 0, 4, 0, 0};
    EXPECT_TRUE(holds(script([&](Canvas& canvas) { canvas.stroke(kLine, stroke, linear(), true); }),
                      "p=c.createLinearGradient(5,5,10,5);\n"));
    // Corners may reach eight pixels beyond the line: from 2 to 48 it repeats, and so in the pen's space from 1 to 24.
    stroke.miter_limit = 2;
    const std::string turns =
        script([&](Canvas& canvas) { canvas.stroke(kLine, stroke, linear(Extend::kRepeat), true); });
    EXPECT_TRUE(holds(turns, "p=c.createLinearGradient(0,5,25,5);\n")) << turns;
}

// What a script or a page takes for something else, and what is not ASCII, is there by its number.
TEST(ScriptStatementsTest, LiteralsOfText) {
    EXPECT_EQ(script_literal(" !#~az"), "\" !#~az\"");
    EXPECT_EQ(script_literal("\x01\n\x1F\x7F"), R"("\u0001\u000a\u001f\u007f")");
    EXPECT_EQ(script_literal("\"\\<&"), R"("\u0022\u005c\u003c\u0026")");
    EXPECT_EQ(script_literal("\xC3\xA9\xF0\x9F\x98\x80"), R"("\u00e9\ud83d\ude00")");
    EXPECT_EQ(script_literal(""), R"("")");
}

TEST(ScriptStatementsTest, Pictures) {
    const auto of = [](const Paint& paint, const Outline& outline = {rectangle_contour({0, 0, 2, 3})}) {
        return script([&](Canvas& canvas) { canvas.fill(outline, FillRule::kAlternate, paint, true); });
    };
    EXPECT_EQ(of(texture()), "c.save();\nc.drawImage(images[0],0,0);\nc.restore();\n");
    EXPECT_EQ(of(texture(Extend::kNone, Sampling::kNearest, 0.25)),
              "c.save();\nc.imageSmoothingEnabled=false;\nc.globalAlpha=0.25;\nc.drawImage(images[0],0,0);\n"
              "c.restore();\n");
    Paint placed = texture();
    placed.placing = {2, 0, 0, 2, 5, 6};
    EXPECT_EQ(of(placed, {rectangle_contour({5, 6, 4, 6})}),
              "c.save();\nc.transform(2,0,0,2,5,6);\nc.drawImage(images[0],0,0);\nc.restore();\n");
    EXPECT_EQ(of(texture(), kLine),
              "c.save();\nc.beginPath();\nc.moveTo(10,10);\nc.lineTo(40,10);\n"
              "c.clip(\"evenodd\");\nc.drawImage(images[0],0,0);\nc.restore();\n");
    placed.extend = Extend::kRepeat;
    EXPECT_TRUE(holds(of(placed),
                      "p=c.createPattern(images[0],\"repeat\");\n"
                      "p.setTransform(new DOMMatrix([2,0,0,2,5,6]));\nc.fillStyle=p;\n"));
}

TEST(ScriptStatementsTest, TextHasTheStyleOfItsLayout) {
    const auto of = [](const std::function<void(TextLayout&)>& change, const Paint& paint = solid(kInk),
                       const Affine& placing = {}) {
        TextLayout layout = words();
        change(layout);
        return script([&](Canvas& canvas) { canvas.text(layout, placing, paint); });
    };
    const auto font = [&](const std::function<void(TextLayout&)>& change) {
        const std::string text = of(change);
        const size_t begin = text.find("c.font=") + 7;
        return text.substr(begin, text.find('\n', begin) - begin);
    };
    const std::string name = "px \\u0022DejaVu Sans\\u0022\";";
    EXPECT_EQ(font([](TextLayout&) {}), "\"10" + name);
    EXPECT_EQ(font([](TextLayout& layout) { layout.bold = true; }), "\"bold 10" + name);
    EXPECT_EQ(font([](TextLayout& layout) { layout.italic = true; }), "\"italic 10" + name);
    EXPECT_EQ(font([](TextLayout& layout) { layout.bold = layout.italic = true; }), "\"italic bold 10" + name);
    EXPECT_EQ(font([](TextLayout& layout) { layout.size = 12.5; }), "\"12.5" + name);
    EXPECT_EQ(font([](TextLayout& layout) { layout.family = "A\"\\,B"; }), "\"10px \\u0022A\\u0022,\\u0022B\\u0022\";");
    EXPECT_EQ(font([](TextLayout& layout) { layout.family = "One,Two,Six"; }),
              "\"10px \\u0022One\\u0022,\\u0022Two\\u0022,\\u0022Six\\u0022\";");
    EXPECT_EQ(font([](TextLayout& layout) { layout.family = ""; }), "\"10px \\u0022\\u0022\";");
    const auto is_text = [&](const std::function<void(TextLayout&)>& change, const Paint& paint = solid(kInk)) {
        return holds(of(change, paint), "c.fillText(");
    };
    const auto nothing = [](TextLayout&) {};
    EXPECT_TRUE(is_text(nothing));
    EXPECT_FALSE(is_text(nothing, texture()));
    EXPECT_TRUE(is_text(nothing, linear()));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.underline = true; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.strikeout = true; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.tabs = {20}; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.trimming = TextTrimming::kMiddle; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.mnemonic = 0; }));
    EXPECT_FALSE(is_text([](TextLayout& layout) { layout.folders = {"/nowhere"}; }));
    EXPECT_TRUE(holds(of([](TextLayout& layout) { layout.right_to_left = true; }),
                      "c.direction=\"rtl\";\nc.textAlign=\"left\";\n"));
    EXPECT_FALSE(holds(of(nothing), "c.direction"));
    Paint half = linear();
    half.opacity = 0.5;
    const std::string placed = of(nothing, half, {2, 0, 0, 2, 10, 20});
    EXPECT_TRUE(holds(placed, "c.transform(2,0,0,2,10,20);\n"));
    EXPECT_TRUE(holds(placed, "p=c.createLinearGradient(0,0,5,0);\n"));
    EXPECT_TRUE(holds(placed, "c.globalAlpha=0.5;\n"));
    const auto line = drawing_backend().lines_of(words())[0];
    char where[80];
    std::snprintf(where, sizeof where, "c.fillText(\"word\",%.4g,%.4f", line.left, line.baseline);
    EXPECT_TRUE(holds(of(nothing), std::string(where).substr(0, std::string(where).find_last_not_of('0') + 1)));
}

// ---- DXF

struct Figure {
    std::string name;
    std::vector<std::pair<int, std::string>> pairs;

    std::vector<std::string> all(int code) const {
        std::vector<std::string> values;
        for (const auto& [key, value] : pairs) {
            if (key == code) {
                values.push_back(value);
            }
        }
        return values;
    }
    std::string one(int code) const {
        const auto values = all(code);
        return values.size() == 1 ? values[0] : "(" + std::to_string(values.size()) + " values)";
    }
    // The points behind the code, with y as on the page again.
    std::vector<PointD> points(int code = 10) const {
        std::vector<PointD> found;
        const auto across = all(code), up = all(code + 10);
        for (size_t i = 0; i < across.size() && i < up.size(); ++i) {
            found.push_back({std::stod(across[i]), 50 - std::stod(up[i])});
        }
        return found;
    }
};

std::vector<Figure> figures(const std::function<void(Canvas&)>& draw, DxfSettings settings = {}) {
    settings.width = 100;
    settings.height = 50;
    DxfCanvas canvas(drawing_backend(), settings);
    draw(canvas);
    const std::string text = canvas.finish();
    std::vector<Figure> found;
    size_t at = text.find("\nENTITIES\n") + 10;
    const auto line = [&] {
        const size_t end = text.find('\n', at);
        std::string part = text.substr(at, end - at);
        at = end + 1;
        return part;
    };
    while (true) {
        const int code = std::stoi(line());
        const std::string value = line();
        if (code == 0 && value == "ENDSEC") {
            return found;
        }
        if (code == 0) {
            found.push_back({value, {}});
        } else {
            found.back().pairs.emplace_back(code, value);
        }
    }
}

std::vector<std::pair<double, double>> spans(const std::vector<Figure>& lines) {
    std::vector<std::pair<double, double>> found;
    for (const Figure& line : lines) {
        EXPECT_EQ(line.name, "LWPOLYLINE");
        found.emplace_back(line.points().front().x, line.points().back().x);
    }
    return found;
}

using Spans = std::vector<std::pair<double, double>>;

TEST(DxfStatementsTest, DashesArePieces) {
    const auto of = [](std::vector<double> dashes, double offset, double scale = 1) {
        Stroke stroke;
        stroke.dashes = std::move(dashes);
        stroke.dash_offset = offset;
        stroke.nib = Affine::scaling(scale, scale);
        return spans(figures([&](Canvas& canvas) { canvas.stroke(kLine, stroke, solid(kInk), true); }));
    };
    EXPECT_EQ(of({10, 5}, 0), (Spans{{10, 20}, {25, 35}}));
    EXPECT_EQ(of({10, 5}, 4), (Spans{{10, 16}, {21, 31}, {36, 40}}));
    EXPECT_EQ(of({10, 5}, 10), (Spans{{15, 25}, {30, 40}}));
    EXPECT_EQ(of({10, 5}, 12), (Spans{{13, 23}, {28, 38}}));
    EXPECT_EQ(of({10, 5}, 15), (Spans{{10, 20}, {25, 35}}));
    EXPECT_EQ(of({10, 5}, -3), (Spans{{10, 20}, {25, 35}}));
    EXPECT_EQ(of({5, 2.5}, 2, 2), (Spans{{10, 16}, {21, 31}, {36, 40}}));
    // Three lengths: the gaps and the dashes take turns in them.
    EXPECT_EQ(of({8, 4, 6}, 0), (Spans{{10, 18}, {22, 28}, {36, 40}}));
    EXPECT_EQ(of({8, 4, 6}, 18), (Spans{{18, 22}, {28, 36}}));
    // Without a gap between them, dashes go on as another piece.
    EXPECT_EQ(of({12, 0, 3, 9}, 0), (Spans{{10, 22}, {22, 25}, {34, 40}}));
    EXPECT_EQ(of({0, 0}, 0), (Spans{{10, 40}}));
    EXPECT_EQ(of({0.002, 0.0009}, 0), (Spans{{10, 40}}));  // more than ten thousand of them are no dashes
}

TEST(DxfStatementsTest, DashesGoRoundCorners) {
    Stroke stroke;
    stroke.dashes = {40, 20};
    const auto found = figures([&](Canvas& canvas) { canvas.stroke(kBox, stroke, solid(kInk), true); });
    ASSERT_EQ(found.size(), 2U);
    const std::vector<PointD> first{{10, 10}, {40, 10}, {40, 20}}, second{{30, 30}, {10, 30}, {10, 10}};
    EXPECT_EQ(found[0].points(), first);
    EXPECT_EQ(found[1].points(), second);
    EXPECT_EQ(found[0].one(90), "3");
    EXPECT_EQ(found[0].one(70), "0");
}

TEST(DxfStatementsTest, ClipsCutLines) {
    const auto of = [](const std::vector<Outline>& clips, const Stroke& stroke = {}) {
        return spans(figures([&](Canvas& canvas) {
            for (const Outline& clip : clips) {
                canvas.clip(clip, FillRule::kWinding, true);
            }
            canvas.stroke(kLine, stroke, solid(kInk), true);
        }));
    };
    const auto area = [](double left, double right) { return Outline{rectangle_contour({left, 5, right - left, 10})}; };
    EXPECT_EQ(of({area(0, 100)}), (Spans{{10, 40}}));
    EXPECT_EQ(of({area(20, 100)}), (Spans{{20, 40}}));
    EXPECT_EQ(of({area(0, 30)}), (Spans{{10, 30}}));
    EXPECT_EQ(of({area(20, 100), area(0, 30)}), (Spans{{20, 30}}));
    EXPECT_EQ(of({area(20, 30), area(32, 35)}), Spans{});
    EXPECT_EQ(of({{area(15, 20)[0], area(25, 35)[0]}}), (Spans{{15, 20}, {25, 35}}));
    EXPECT_EQ(of({{rectangle_contour({0, 20, 100, 10})}}), Spans{});
    Stroke dashed;
    dashed.dashes = {10, 5};
    EXPECT_EQ(of({area(15, 30)}, dashed), (Spans{{15, 20}, {25, 30}}));
    // A hundredth of a pixel is no cut.
    EXPECT_EQ(of({area(10.009, 39.991)}), (Spans{{10, 40}}));
    EXPECT_EQ(of({area(10.011, 100)}), (Spans{{10.011, 40}}));
    EXPECT_EQ(of({area(0, 39.989)}), (Spans{{10, 39.989}}));
    EXPECT_EQ(of({{rectangle_contour({0, 10.009, 100, 5})}}), (Spans{{10, 40}}));
    EXPECT_EQ(of({{rectangle_contour({0, 10.011, 100, 5})}}), Spans{});
    EXPECT_EQ(of({{rectangle_contour({0, 5, 100, 4.991})}}), (Spans{{10, 40}}));
    EXPECT_EQ(of({{rectangle_contour({0, 5, 100, 4.989})}}), Spans{});
}

TEST(DxfStatementsTest, ACutLineKeepsItsCorners) {
    const auto found = figures([](Canvas& canvas) {
        canvas.clip({rectangle_contour({20, 0, 80, 25})}, FillRule::kWinding, true);
        canvas.stroke(kBox, {}, solid(kInk), true);
    });
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].points(), (std::vector<PointD>{{20, 10}, {40, 10}, {40, 25}}));
}

TEST(DxfStatementsTest, Lines) {
    const auto of = [](const Outline& outline, double width, Argb color = kInk) {
        Stroke stroke;
        stroke.width = width;
        const auto found = figures([&](Canvas& canvas) { canvas.stroke(outline, stroke, solid(color), true); });
        EXPECT_EQ(found.size(), 1U);
        return found.at(0);
    };
    // Up to a pixel and a half a line has a weight, then a width.
    const Figure thin = of(kLine, 1.5), wide = of(kLine, 1.51);
    EXPECT_EQ(thin.one(43), "0.0");
    EXPECT_EQ(thin.one(370), "40");
    EXPECT_EQ(wide.one(43), "1.51");
    EXPECT_EQ(wide.all(370).size(), 0U);
    EXPECT_EQ(of(kBox, 1).one(70), "1");
    EXPECT_EQ(of(kBox, 1).one(90), "4");
    EXPECT_EQ(of(kLine, 1).one(70), "0");
    const Outline ellipse{ellipse_contour({10, 10, 20, 20})};
    EXPECT_EQ(of(ellipse, 1.5).name, "SPLINE");
    EXPECT_EQ(of(ellipse, 1.5).one(370), "40");
    EXPECT_EQ(of(ellipse, 1.51).name, "LWPOLYLINE");
    EXPECT_EQ(of(kLine, 1).all(440).size(), 0U);
    EXPECT_EQ(of(kLine, 1, 0x80FF0000).one(440), std::to_string(0x02000080));
    EXPECT_EQ(of(kLine, 1, 0xFEFF0000).one(440), std::to_string(0x020000FE));
    EXPECT_EQ(of(kLine, 1, 0x80FF0000).one(420), std::to_string(0xFF0000));
    EXPECT_TRUE(figures([](Canvas& canvas) { canvas.stroke(kLine, {}, solid(0x00FF0000), true); }).empty());
    EXPECT_TRUE(
        figures([](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, solid(0x00FF0000), true); }).empty());
    // A line from a point to another has no area.
    EXPECT_TRUE(figures([](Canvas& canvas) { canvas.fill(kLine, FillRule::kWinding, solid(kInk), true); }).empty());
}

TEST(DxfStatementsTest, OpacityOfPaintsAndGroups) {
    const auto of = [](Argb color, double opacity, double group) {
        return figures([&](Canvas& canvas) {
                   canvas.begin_group();
                   canvas.stroke(kLine, {}, solid(color, opacity), true);
                   canvas.end_group(group, Blend::kOver);
               })
            .at(0)
            .all(440);
    };
    using Values = std::vector<std::string>;
    EXPECT_EQ(of(kInk, 1, 1), Values{});
    EXPECT_EQ(of(kInk, 2, 1), Values{});
    EXPECT_EQ(of(kInk, 0.5, 1), Values{std::to_string(0x02000080)});
    EXPECT_EQ(of(kInk, 1, 0.25), Values{std::to_string(0x02000040)});
    EXPECT_EQ(of(0x80102030, 0.5, 0.5), Values{std::to_string(0x02000020)});
    EXPECT_TRUE(figures([](Canvas& canvas) { canvas.stroke(kLine, {}, solid(kInk, -1), true); }).empty());
    for (const auto& [blend, name] : kBlends) {
        EXPECT_THROW(figures([mode = blend](Canvas& canvas) {
                         canvas.begin_group();
                         canvas.end_group(1, mode);
                     }),
                     imagework::PictureError)
            << name;
    }
    // The clip around a group holds within it, and what comes before the group keeps its opacity.
    const auto found = figures([](Canvas& canvas) {
        canvas.stroke(kLine, {}, solid(kInk), true);
        canvas.clip({rectangle_contour({20, 0, 80, 25})}, FillRule::kWinding, true);
        canvas.begin_group();
        canvas.clip({rectangle_contour({0, 0, 30, 25})}, FillRule::kWinding, true);
        canvas.stroke(kLine, {}, solid(kInk), true);
        canvas.end_group(0.5, Blend::kOver);
        canvas.stroke(kLine, {}, solid(kInk), true);
    });
    EXPECT_EQ(spans(found), (Spans{{10, 40}, {20, 30}, {20, 40}}));
    EXPECT_EQ(found[0].all(440).size() + found[2].all(440).size(), 0U);
    EXPECT_EQ(found[1].one(440), std::to_string(0x02000080));
}

TEST(DxfStatementsTest, WhichTextIsText) {
    const auto names = [](const std::function<void(TextLayout&)>& change, const Affine& placing = {},
                          bool lines = false, const std::optional<RectD>& clip = {}) {
        TextLayout layout = words("lo");
        change(layout);
        const auto found = figures(
            [&](Canvas& canvas) {
                if (clip) {
                    canvas.clip({rectangle_contour(*clip)}, FillRule::kWinding, true);
                }
                canvas.text(layout, placing, solid(kInk));
            },
            {.text_as_lines = lines});
        return found.empty() ? "" : found[0].name;
    };
    const auto nothing = [](TextLayout&) {};
    EXPECT_EQ(names(nothing), "TEXT");
    EXPECT_EQ(names(nothing, {}, true), "LWPOLYLINE");  // an l has no curves
    EXPECT_EQ(names(nothing, {}, false, RectD{-1, -1, 60, 40}), "TEXT");
    EXPECT_EQ(names(nothing, {}, false, RectD{-1, -1, 4, 40}), "SOLID");
    EXPECT_EQ(names(nothing, {}, true, RectD{-1, -1, 4, 40}), "SOLID");
    EXPECT_EQ(names(nothing, {1, 0, 0.5, 1, 0, 0}), "HATCH");
    EXPECT_EQ(names([](TextLayout& layout) { layout.bold = true; }), "HATCH");
    EXPECT_EQ(names([](TextLayout& layout) { layout.italic = true; }), "HATCH");
    EXPECT_EQ(names([](TextLayout& layout) { layout.underline = true; }), "HATCH");
    // The line through the letters lies over them, where a hatch would have holes.
    EXPECT_EQ(names([](TextLayout& layout) { layout.strikeout = true; }), "SOLID");
    EXPECT_EQ(names([](TextLayout& layout) { layout.tabs = {20}; }), "HATCH");
    EXPECT_EQ(names([](TextLayout& layout) { layout.trimming = TextTrimming::kEnd; }), "HATCH");
    EXPECT_EQ(names([](TextLayout& layout) { layout.mnemonic = 0; }), "HATCH");
    EXPECT_TRUE(figures([](Canvas& canvas) { canvas.text(words(), {}, solid(0x00102030)); }).empty());
}

TEST(DxfStatementsTest, CharactersAndPlacesOfText) {
    const auto of = [](const std::string& text, const Affine& placing = {}) {
        return figures([&](Canvas& canvas) { canvas.text(words(text), placing, solid(kInk)); }).at(0);
    };
    EXPECT_EQ(of("a~\x7F%\xC3\xBF").one(1), "a~\\U+007F%%37\\U+00FF");
    EXPECT_EQ(of("\xE2\x82\xAC").one(1), "\\U+20AC");
    const auto line = drawing_backend().lines_of(words("x"))[0];
    const Figure plain = of("x"), turned = of("x", {0, 3, -3, 0, 50, 10});
    EXPECT_NEAR(plain.points()[0].y, line.baseline, 1e-5);
    EXPECT_EQ(plain.one(40), "7.2");
    EXPECT_EQ(plain.one(41), "1.0");
    EXPECT_EQ(plain.one(50), "0.0");
    EXPECT_EQ(turned.one(40), "21.6");
    EXPECT_EQ(turned.one(50), "-90.0");
    EXPECT_NEAR(turned.points()[0].x, 50 - 3 * line.baseline, 1e-5);
    // Each family has a style, by the number at which it came first.
    const auto found = figures([](Canvas& canvas) {
        for (const char* family : {"One,Other", "Two", "One"}) {
            TextLayout layout = words("x");
            layout.family = family;
            canvas.text(layout, {}, solid(kInk));
        }
    });
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].one(7), "FONT0");
    EXPECT_EQ(found[1].one(7), "FONT1");
    EXPECT_EQ(found[2].one(7), "FONT0");
}

TEST(DxfStatementsTest, ClearingTakesAwayWhatWasDrawn) {
    const auto of = [](Argb color, bool clipped, bool grouped) {
        return figures([&](Canvas& canvas) {
            canvas.stroke(kLine, {}, solid(kInk), true);
            if (clipped) {
                canvas.clip(kBox, FillRule::kWinding, true);
            }
            if (grouped) {
                canvas.begin_group();
            }
            canvas.clear(color);
            if (grouped) {
                canvas.end_group(1, Blend::kOver);
            }
        });
    };
    EXPECT_TRUE(of(0, false, false).empty());
    const auto all = of(0x80FF0000, false, false);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].name, "HATCH");
    // Behind the elevation, the corners of the page.
    EXPECT_EQ(all[0].points(), (std::vector<PointD>{{0, 50}, {0, 0}, {100, 0}, {100, 50}, {0, 50}}));
    ASSERT_EQ(of(0xFFFF0000, true, false).size(), 2U);
    EXPECT_EQ(of(0xFFFF0000, true, false)[1].name, "SOLID");
    EXPECT_EQ(of(0xFFFF0000, false, true).size(), 2U);
    EXPECT_THROW(of(0xFEFF0000, true, false), imagework::PictureError);
    EXPECT_THROW(of(0xFEFF0000, false, true), imagework::PictureError);
}

TEST(DxfStatementsTest, OutlinesOfCharacters) {
    const auto of = [](const std::string& text, bool convert, int32_t count) {
        return figures([&](Canvas& canvas) { canvas.text(words(text), {}, solid(kInk)); },
                       {.text_as_lines = true, .convert_text_beziers = convert, .bezier_point_count = count});
    };
    const auto straight = of("l", false, 0);
    ASSERT_EQ(straight.size(), 1U);
    EXPECT_EQ(straight[0].name, "LWPOLYLINE");
    EXPECT_EQ(straight[0].one(70), "1");
    EXPECT_EQ(straight[0].one(43), "0.0");
    // The points lie on the curves of the splines: at halves of them for one point.
    const auto curves = of("o", false, 0), lines = of("o", true, 1);
    ASSERT_EQ(curves.size(), 2U);
    ASSERT_EQ(lines.size(), 2U);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(curves[i].name, "SPLINE");
        EXPECT_EQ(curves[i].one(370), "0");
        EXPECT_EQ(lines[i].one(70), "1");
        const auto controls = curves[i].points(), points = lines[i].points();
        ASSERT_EQ(points.size(), (controls.size() - 1) / 3 * 2);
        for (size_t k = 0; 3 * k + 3 < controls.size(); ++k) {
            const PointD middle =
                (controls[3 * k] + controls[3 * k + 1] * 3 + controls[3 * k + 2] * 3 + controls[3 * k + 3]) * 0.125;
            EXPECT_LT((points[2 * k] - controls[3 * k]).length(), 1e-4);
            EXPECT_LT((points[2 * k + 1] - middle).length(), 1e-4);
        }
    }
}

}  // namespace
}  // namespace zelmor::embed
