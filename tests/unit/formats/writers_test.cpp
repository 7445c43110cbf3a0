// Canvases that write files of lines and text: what has no place in SVG documents, which the tests in Python draw.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/dxf/dxf_canvas.h"
#include "runtime/native/formats/html5canvas/script_canvas.h"
#include "runtime/native/formats/svg/svg_canvas.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {
namespace {

using namespace drawwork;

size_t count(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

std::string address(std::span<const Argb>, int32_t width, int32_t height) {
    return "picture:" + std::to_string(width) + 'x' + std::to_string(height);
}

Paint solid(Argb color) {
    Paint paint;
    paint.color = color;
    return paint;
}

Paint texture(Extend extend) {
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = 2;
    paint.height = 3;
    paint.pixels.assign(6, 0xFF102030);
    paint.extend = extend;
    return paint;
}

TextLayout words(const std::string& text) {
    TextLayout layout;
    layout.text = text;
    layout.family = "DejaVu Sans,Serif";
    layout.size = 10;
    return layout;
}

// What a canvas has written of a drawing.
template <class Draw>
std::string svg(Draw&& draw, bool gray = false) {
    SvgCanvas canvas(drawing_backend(), {100, 50, false, gray, &address});
    draw(canvas);
    return canvas.finish();
}
template <class Draw>
std::string script(Draw&& draw) {
    ScriptCanvas canvas(drawing_backend(), {100, 50, "c", &address});
    draw(canvas);
    return canvas.finish();
}
template <class Draw>
std::string dxf(Draw&& draw, DxfSettings settings = {}) {
    settings.width = 100;
    settings.height = 50;
    DxfCanvas canvas(drawing_backend(), settings);
    draw(canvas);
    return canvas.finish();
}

const Outline kBox{rectangle_contour({10, 10, 30, 20})};

TEST(DecimalTextTest, DigitsThatSayNothingAreLeftOut) {
    EXPECT_EQ(decimal_text(0), "0");
    EXPECT_EQ(decimal_text(-0.00001), "0");
    EXPECT_EQ(decimal_text(100), "100");
    EXPECT_EQ(decimal_text(-2.5), "-2.5");
    EXPECT_EQ(decimal_text(1.0 / 3), "0.3333");
    EXPECT_EQ(decimal_text(0.123456789, 8), "0.12345679");
    EXPECT_EQ(decimal_text(INFINITY), "0");
    EXPECT_EQ(decimal_text(NAN), "0");
    EXPECT_EQ(decimal_text(1e16), "0");
    EXPECT_EQ(decimal_text(-8e15, 9), "-8000000000000000");
    EXPECT_EQ(decimal_text(1e8 + 0.5, 9), "100000000.5");
    EXPECT_EQ(decimal_text(0.05, 2), "0.05");
    EXPECT_EQ(decimal_text(-0.0307, 3), "-0.031");
    EXPECT_EQ(decimal_text(9.9996, 3), "10");
    EXPECT_EQ(decimal_text(2.5, 0), "3");
}

// Beside the number that the library reads from it: as near as the digits allow.
TEST(DecimalTextTest, TheNearestNumberOfSoManyDigits) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> numbers(-3000, 3000);
    for (int i = 0; i < 20000; ++i) {
        const double value = numbers(random) * std::pow(10.0, i % 7 - 5);
        const int digits = i % 10;
        const std::string text = decimal_text(value, digits);
        EXPECT_LE(std::abs(std::strtod(text.c_str(), nullptr) - value), 0.5001 * std::pow(10.0, -digits)) << text;
        EXPECT_TRUE(text.find('.') == std::string::npos || text.back() != '0') << text;
    }
}

TEST(WrittenCanvasTest, ClipsAndGroupsNest) {
    const std::string text = svg([](Canvas& canvas) {
        canvas.save();
        canvas.clip(kBox, FillRule::kWinding, true);
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000001), true);
        canvas.save();
        canvas.clip({ellipse_contour({0, 0, 20, 20})}, FillRule::kAlternate, true);
        canvas.restore();
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000002), true);  // the inner clip never showed
        canvas.begin_group();
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000003), true);
        canvas.clip(kBox, FillRule::kWinding, true);
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000004), true);
        canvas.end_group(0.25, Blend::kMultiply);
        canvas.unclip();
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000005), true);
        canvas.restore();
        canvas.fill(kBox, FillRule::kWinding, solid(0xFF000006), true);
    });
    const size_t body = text.find("</defs>");
    std::string order;
    for (size_t at = body; at < text.size(); ++at) {
        const std::string_view rest(text.data() + at, text.size() - at);
        order += rest.starts_with("<g clip")                                 ? "("
                 : rest.starts_with("<g opacity=\"0.25\" style=\"mix-blend") ? "["
                                                                             : "";
        order += rest.starts_with("</g>") ? ")" : "";
        if (rest.starts_with("fill=\"#00000")) {
            order += rest[12];
        }
    }
    EXPECT_EQ(order, "(12[3(4)))56");
    EXPECT_EQ(count(text, "<clipPath"), 1U);
}

TEST(WrittenCanvasTest, ClearingTakesAwayWhatWasDrawn) {
    const auto draw = [](Argb color, bool inside) {
        return [color, inside](Canvas& canvas) {
            canvas.fill(kBox, FillRule::kWinding, solid(0xFF123456), true);
            if (inside) {
                canvas.clip(kBox, FillRule::kWinding, true);
            }
            canvas.clear(color);
        };
    };
    EXPECT_EQ(count(svg(draw(0, false)), "<path"), 0U);
    EXPECT_EQ(count(svg(draw(0x80FF0000, false)), "fill-opacity=\"0.502\""), 1U);
    EXPECT_THROW(svg(draw(0, true)), DrawError);
    EXPECT_NE(svg(draw(0xFFFF0000, true)).find("#ff0000"), std::string::npos);
    EXPECT_EQ(count(script(draw(0, true)), "c.clearRect(0,0,100,50);"), 1U);
    EXPECT_EQ(count(dxf(draw(0, false)), "HATCH"), 0U);
    EXPECT_THROW(dxf(draw(0, true)), imagework::PictureError);
}

TEST(WrittenCanvasTest, TexturesAroundTheirEdge) {
    const auto draw = [](Extend extend) {
        return [extend](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, texture(extend), true); };
    };
    EXPECT_NE(svg(draw(Extend::kNone)).find("picture:2x3"), std::string::npos);
    EXPECT_NE(svg(draw(Extend::kPad)).find("picture:40x30"), std::string::npos);
    EXPECT_NE(svg(draw(Extend::kRepeat)).find("<pattern"), std::string::npos);
    EXPECT_NE(svg(draw(Extend::kReflect)).find("picture:4x6"), std::string::npos);
    EXPECT_NE(script(draw(Extend::kPad)).find("\"picture:40x30\""), std::string::npos);
    EXPECT_NE(script(draw(Extend::kReflect)).find("\"repeat\""), std::string::npos);
    EXPECT_THROW(dxf(draw(Extend::kNone)), imagework::PictureError);
}

TEST(WrittenCanvasTest, GradientsBetweenCirclesSideBySideBecomePictures) {
    Paint paint;
    paint.kind = Paint::Kind::kRadial;
    paint.from = {10, 10};
    paint.to = {40, 10};
    paint.from_radius = paint.to_radius = 5;
    paint.stops = {{0, 0xFFFF0000}, {1, 0xFF0000FF}};
    const auto draw = [&](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, paint, true); };
    EXPECT_NE(svg(draw).find("picture:60x40"), std::string::npos);
    EXPECT_NE(script(draw).find("createRadialGradient(10,10,5,40,10,5)"), std::string::npos);
    paint.to_radius = 50;
    EXPECT_NE(svg(draw).find("fr=\"5\""), std::string::npos);
    std::swap(paint.from_radius, paint.to_radius);
    EXPECT_NE(svg(draw).find("cx=\"10\" cy=\"10\" r=\"50\" fx=\"40\" fy=\"10\" fr=\"5\""), std::string::npos);
}

TEST(WrittenCanvasTest, ColorsBecomeGray) {
    const std::string text =
        svg([](Canvas& canvas) { canvas.fill(kBox, FillRule::kWinding, solid(0xFF00FF00), true); }, true);
    EXPECT_NE(text.find("#969696"), std::string::npos);
}

// ---- Text

TEST(WrittenTextTest, LinesAreTextWhereTheyCanBe) {
    TextLayout layout = words("first line\nsecond <&\"\xC3\xA9");
    layout.bold = true;
    const auto draw = [&](Canvas& canvas) { canvas.text(layout, {0, 2, -2, 0, 50, 0}, solid(0xFF00FF00)); };
    const std::string document = svg(draw);
    EXPECT_EQ(count(document, "<tspan"), 2U);
    EXPECT_NE(document.find(">second &lt;&amp;&quot;\xC3\xA9</tspan>"), std::string::npos);
    EXPECT_NE(document.find("font-family=\"DejaVu Sans,Serif\" font-size=\"10\""), std::string::npos);
    EXPECT_NE(document.find("transform=\"matrix(0 2 -2 0 50 0)\""), std::string::npos);
    const std::string code = script(draw);
    EXPECT_EQ(count(code, "c.fillText("), 2U);
    EXPECT_NE(code.find("c.fillText(\"second \\u003c\\u0026\\u0022\\u00e9\","), std::string::npos);
    EXPECT_NE(code.find("c.font=\"bold 10px \\u0022DejaVu Sans\\u0022,\\u0022Serif\\u0022\";"), std::string::npos);
    layout.tabs = {30};
    EXPECT_EQ(count(svg(draw), "<tspan"), 0U);
    EXPECT_EQ(count(script(draw), "c.fillText("), 0U);
}

// The lines of a layout, with those of the backend's own drawing.
TEST(WrittenTextTest, LinesAreThoseOfTheLayout) {
    TextLayout layout = words("several words that do not fit into one line");
    layout.width = 80;
    const auto lines = drawing_backend().lines_of(layout);
    ASSERT_GT(lines.size(), 2U);
    std::string all;
    for (const TextLine& line : lines) {
        EXPECT_LE(line.width, 81);
        all += (all.empty() ? "" : " ") + line.text;
    }
    EXPECT_EQ(all, layout.text);
    const double height = drawing_backend().measure(layout).height / static_cast<double>(lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_GT(lines[i].baseline, height * static_cast<double>(i) + height / 2);
        EXPECT_LT(lines[i].baseline, height * static_cast<double>(i + 1));
    }
    layout.alignment = TextAlignment::kEnd;
    const auto right = drawing_backend().lines_of(layout);
    EXPECT_NEAR(right[0].left + right[0].width, 80, 4);
}

TEST(WrittenTextTest, TextInADrawing) {
    const auto draw = [](Canvas& canvas) {
        canvas.text(words("100% \xC3\xA9\xF0\x9F\x98\x80"), Affine::translation(10, 20), solid(0xFF102030));
    };
    const std::string text = dxf(draw);
    EXPECT_EQ(count(text, "\nTEXT\n"), 1U);
    EXPECT_NE(text.find("\n1\n100%%37 \\U+00E9\\U+D83D\\U+DE00\n"), std::string::npos);
    EXPECT_NE(text.find("\n40\n7.2\n"), std::string::npos);
    EXPECT_NE(text.find("\n1000\nDejaVu Sans\n"), std::string::npos);
    // Turned text has an angle; mirrored text has none.
    EXPECT_NE(dxf([](Canvas& canvas) {
                  canvas.text(words("a"), {0, 1, -1, 0, 50, 10}, solid(0xFF000000));
              }).find("\n50\n-90.0\n"),
              std::string::npos);
    EXPECT_EQ(count(dxf([](Canvas& canvas) {
                        canvas.text(words("a"), {-1, 0, 0, 1, 50, 10}, solid(0xFF000000));
                    }),
                    "\nHATCH\n"),
              1U);
}

TEST(WrittenTextTest, LinesOfCharacters) {
    const auto draw = [](Canvas& canvas) { canvas.text(words("S"), {}, solid(0xFF102030)); };
    const std::string curves = dxf(draw, {.text_as_lines = true});
    EXPECT_EQ(count(curves, "\nSPLINE\n"), 1U);
    EXPECT_EQ(count(curves, "\nTEXT\n"), 0U);
    const auto points = [&](int32_t number) {
        const std::string lines =
            dxf(draw, {.text_as_lines = true, .convert_text_beziers = true, .bezier_point_count = number});
        EXPECT_EQ(count(lines, "\nLWPOLYLINE\n"), 1U);
        const size_t at = lines.find("\n90\n", lines.find("\nLWPOLYLINE\n"));
        return std::stoi(lines.substr(at + 4));
    };
    // One more point on each curve of the letter.
    const int one = points(1), two = points(2), ten = points(10);
    EXPECT_GT(two, one);
    EXPECT_EQ(ten - two, 8 * (two - one));
}

}  // namespace
}  // namespace zelmor::embed
