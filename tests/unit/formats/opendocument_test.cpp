// OpenDocument drawings: values, archives, styles, formulas, and pages on a canvas of pixels.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/formats/opendocument/od_geometry.h"
#include "runtime/native/formats/opendocument/od_values.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {
namespace {

using drawwork::Argb;

drawwork::Backend& backend() {
    static drawwork::Backend* loaded = [] {
        void* library = dlopen(DRAWWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        return reinterpret_cast<drawwork::BackendFunction>(dlsym(library, drawwork::kBackendSymbol))();
    }();
    return *loaded;
}

// A picture of two pixels for any bytes.
class Services final : public OdServices {
 public:
    drawwork::TextExtent measure(const drawwork::TextLayout& layout) override { return backend().measure(layout); }
    Outline outline_of(const drawwork::TextLayout& layout) override { return backend().outline_of(layout); }
    std::shared_ptr<const OdPicture> picture(const std::vector<uint8_t>&) override {
        return std::make_shared<OdPicture>(OdPicture{{0xFFFF0000, 0xFF0000FF}, 2, 1});
    }
    bool draw_picture(drawwork::Canvas&, const std::vector<uint8_t>&, const Affine&) override { return false; }
};

std::vector<uint8_t> bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string flat(const std::string& styles, const std::string& shapes) {
    return R"(<?xml version="1.0"?><office:document
        xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
        xmlns:d="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0"
        xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0"
        xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0"
        xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
        xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
        office:mimetype="application/vnd.oasis.opendocument.graphics">
        <office:automatic-styles>
          <style:page-layout style:name="PM"><style:page-layout-properties fo:page-width="100px" fo:page-height="80px"/>
          </style:page-layout>
          <style:style style:name="red" style:family="graphic"><style:graphic-properties d:stroke="none" d:fill="solid"
            d:fill-color="#ff0000"/></style:style>)" +
           styles + R"(</office:automatic-styles><office:master-styles>
          <style:master-page style:name="M" style:page-layout-name="PM"/></office:master-styles>
        <office:body><office:drawing><d:page d:master-page-name="M">)" +
           shapes + "</d:page></office:drawing></office:body></office:document>";
}

struct Drawn {
    int width = 0;
    std::vector<Argb> pixels;
    Argb at(int x, int y) const { return pixels[static_cast<size_t>(y * width + x)]; }
};

Drawn drawn(const std::string& text) {
    OdDocument document(bytes_of(text));
    Services services;
    const PointD size = od_page_size(document, 0);
    const auto width = static_cast<int32_t>(std::lround(size.x));
    const auto height = static_cast<int32_t>(std::lround(size.y));
    const std::vector<Argb> white(static_cast<size_t>(width * height), 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, width, height}, white);
    OdPictures pictures;
    OdCanvas target{.canvas = *canvas, .document = document, .services = services, .pictures = pictures};
    draw_od_page(target, 0, {});
    return {width, canvas->pixels()};
}

constexpr Argb kRed = 0xFFFF0000;
constexpr Argb kBlue = 0xFF0000FF;
constexpr Argb kWhite = 0xFFFFFFFF;

TEST(OpenDocumentTest, LengthsAreInPixels) {
    for (const auto& [text, pixels] : {std::pair{"2.54cm", 96.0},
                                       {"-25.4mm", -96.0},
                                       {"72pt", 96.0},
                                       {"1in", 96.0},
                                       {"2inch", 192.0},
                                       {"6pc", 96.0},
                                       {"7px", 7.0},
                                       {"7", 7.0},
                                       {"+7", 7.0},
                                       {" \t\r\n7 px , ", 7.0},
                                       {"-0.5px", -0.5},
                                       {"1e2px", 100.0},
                                       {".5px", 0.5},
                                       {"1000000000000px", 1e12},
                                       {"-1000000000000", -1e12}}) {
        ASSERT_TRUE(od_length(text)) << text;
        EXPECT_NEAR(*od_length(text), pixels, 1e-9 * std::abs(pixels)) << text;
        EXPECT_EQ(od_length(text, 3), *od_length(text)) << text;
    }
    for (const char* text : {"", "px", "1 mile", "1m", "nan", "-nan", "inf", "-inf", "1e300cm", "1000000000001px",
                             "1px2", "1px;", "-", "+", "e1", "--1", "++1", "1cm1"}) {
        EXPECT_FALSE(od_length(text)) << text;
        EXPECT_EQ(od_length(text, 3), 3) << text;
    }
    EXPECT_DOUBLE_EQ(*od_percent("25%"), 0.25);
    EXPECT_DOUBLE_EQ(*od_percent(" -150 %"), -1.5);
    for (const char* text : {"", "25", "%", "a%"}) {
        EXPECT_FALSE(od_percent(text)) << text;
    }
    EXPECT_EQ(od_number("4.5x", 3), 4.5);
    EXPECT_EQ(od_number("x", 3), 3);
    EXPECT_TRUE(od_bool("true", false) && od_bool("true", true) && od_bool("1", true));
    EXPECT_FALSE(od_bool("false", true) || od_bool("false", false) || od_bool("1", false));
}

TEST(OpenDocumentTest, AnglesHaveUnits) {
    EXPECT_DOUBLE_EQ(od_angle("90deg", 7), 90);
    EXPECT_NEAR(od_angle("1.5707963267948966rad", 7), 90, 1e-9);
    EXPECT_DOUBLE_EQ(od_angle("100grad", 7), 90);
    EXPECT_DOUBLE_EQ(od_angle("900", 0.1), 90);
    EXPECT_DOUBLE_EQ(od_angle("", 7), 0);
    EXPECT_DOUBLE_EQ(od_angle("deg", 7), 0);
}

TEST(OpenDocumentTest, ColorsHaveSixDigits) {
    EXPECT_EQ(od_color("#0a0B0c"), 0xFF0A0B0C);
    EXPECT_EQ(od_color("#ffffff"), 0xFFFFFFFF);
    EXPECT_EQ(od_color("#000000"), 0xFF000000);
    for (const char* text : {"", "#12345", "#1234567", "1234567", "#12345g", "#g12345", "#-12345", "# 12345"}) {
        EXPECT_FALSE(od_color(text)) << text;
    }
}

TEST(OpenDocumentTest, MapsApplyFromLeftToRight) {
    const Affine map = od_transform("rotate (1.5707963267948966) translate (10px 20px)");
    const PointD p = map.apply({5, 0});  // a quarter turn counterclockwise takes (5, 0) to (0, -5)
    EXPECT_NEAR(p.x, 10, 1e-9);
    EXPECT_NEAR(p.y, 15, 1e-9);
    EXPECT_EQ(od_transform("scale(2 3)").apply({1, 1}), (PointD{2, 3}));
    EXPECT_EQ(od_transform("garbage").apply({1, 1}), (PointD{1, 1}));
}

TEST(OpenDocumentTest, EachKindOfMap) {
    const auto expect = [](const char* text, const Affine& map) {
        const Affine found = od_transform(text);
        for (const auto part : {&Affine::m11, &Affine::m12, &Affine::m21, &Affine::m22, &Affine::dx, &Affine::dy}) {
            EXPECT_NEAR(found.*part, map.*part, 1e-9) << text;
        }
    };
    expect("", {});
    expect("rotate(30deg)", Affine::rotation(-30));
    expect("rotate(0.5)", Affine::rotation(-0.5 * 180 / M_PI));
    expect("translate(1in 2)", {1, 0, 0, 1, 96, 2});
    expect("translate(5px)", {1, 0, 0, 1, 5, 0});
    expect("translate()", {});
    expect("scale(2)", {2, 0, 0, 2, 0, 0});
    expect("scale(2,3)", {2, 0, 0, 3, 0, 0});
    expect("scale()", {});
    expect("skewX(45deg)", {1, 0, 1, 1, 0, 0});
    expect("skewY(0.5)", {1, std::tan(0.5), 0, 1, 0, 0});
    expect("matrix(1 2 3 4 5px 1in)", {1, 2, 3, 4, 5, 96});
    expect("matrix(2,3,4,5)", {2, 3, 4, 5, 0, 0});
    expect("matrix()", {});
    expect("matrix(7)", {7, 0, 0, 1, 0, 0});
    expect("scale( 2\t3 ) , translate(\n1\r2)", {2, 0, 0, 3, 1, 2});
    expect("translate(1 2) scale(2 3)", {2, 0, 0, 3, 2, 6});
    // What is not known changes nothing, and what does not end is left out.
    expect("turn(3) scale(2)", {2, 0, 0, 2, 0, 0});
    expect("scale(2) rotate 3", {2, 0, 0, 2, 0, 0});
    expect("scale(2) scale(3", {2, 0, 0, 2, 0, 0});
    expect("scale(2) (3)", {2, 0, 0, 2, 0, 0});
}

TEST(OpenDocumentTest, ViewBoxesAndPoints) {
    const auto box = od_view_box("-1 2,3 4 ");
    ASSERT_TRUE(box);
    EXPECT_EQ((std::vector<double>{box->x, box->y, box->width, box->height}), (std::vector<double>{-1, 2, 3, 4}));
    EXPECT_TRUE(od_view_box("0 0 0 0"));
    for (const char* text : {"", "1 2 3", "1 2 -3 4", "1 2 3 -4", "a 2 3 4"}) {
        EXPECT_FALSE(od_view_box(text)) << text;
    }
    EXPECT_EQ(od_points("1,2 -3,4.5"), (std::vector<PointD>{{1, 2}, {-3, 4.5}}));
    EXPECT_EQ(od_points("1 2 3"), (std::vector<PointD>{{1, 2}}));
    EXPECT_EQ(od_points("1 2 x 3 4"), (std::vector<PointD>{{1, 2}}));
    EXPECT_TRUE(od_points("").empty());
}

// The points of the steps of a path.
std::vector<PointD> ends(const char* path) {
    std::vector<PointD> found;
    for (const Contour& contour : od_outline(path)) {
        found.push_back(contour.start);
        for (const auto& segment : contour.segments) {
            if (segment.curved) {
                found.push_back(segment.control1);
                found.push_back(segment.control2);
            }
            found.push_back(segment.end);
        }
    }
    return found;
}

TEST(OpenDocumentTest, EachCommandOfAPath) {
    using Points = std::vector<PointD>;
    EXPECT_EQ(ends("M1 2L3 4 5 6"), (Points{{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_EQ(ends("M1 2 3 4"), (Points{{1, 2}, {3, 4}}));
    EXPECT_EQ(ends("m1 2 3 4"), (Points{{1, 2}, {4, 6}}));
    EXPECT_EQ(ends("M1 2l3 4"), (Points{{1, 2}, {4, 6}}));
    EXPECT_EQ(ends("M1 2H5V7h1v-1"), (Points{{1, 2}, {5, 2}, {5, 7}, {6, 7}, {6, 6}}));
    EXPECT_EQ(ends("M1 1C2 2 3 3 4 4c1 1 2 2 3 3"), (Points{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}}));
    // A short curve goes on with the direction of the one before it, and without one begins with its place.
    EXPECT_EQ(ends("M0 0C1 2 3 4 5 5S8 8 9 9s1 1 2 2"),
              (Points{{0, 0}, {1, 2}, {3, 4}, {5, 5}, {7, 6}, {8, 8}, {9, 9}, {10, 10}, {10, 10}, {11, 11}}));
    EXPECT_EQ(ends("M0 0L5 5S8 8 9 9"), (Points{{0, 0}, {5, 5}, {5, 5}, {8, 8}, {9, 9}}));
    EXPECT_EQ(ends("M0 0Q3 3 6 0"), (Points{{0, 0}, {2, 2}, {4, 2}, {6, 0}}));
    EXPECT_EQ(ends("M0 0q3 3 6 0t6 0"), (Points{{0, 0}, {2, 2}, {4, 2}, {6, 0}, {8, -2}, {10, -2}, {12, 0}}));
    EXPECT_EQ(ends("M0 0C1 2 3 3 3 0T6 0"), (Points{{0, 0}, {1, 2}, {3, 3}, {3, 0}, {3, 0}, {4, 0}, {6, 0}}));
    EXPECT_EQ(ends("M1 1L3 3Zl1 1"), (Points{{1, 1}, {3, 3}, {1, 1}, {2, 2}}));
    EXPECT_EQ(ends("M1 1L3 3zM5 5L6 6"), (Points{{1, 1}, {3, 3}, {5, 5}, {6, 6}}));
    // An arc without a radius is a line, and one to its own place is nothing.
    EXPECT_EQ(ends("M1 1A0 5 0 0 1 3 3"), (Points{{1, 1}, {3, 3}}));
    EXPECT_EQ(ends("M1 1A5 0 0 0 1 3 3"), (Points{{1, 1}, {3, 3}}));
    EXPECT_EQ(ends("M1 1A5 5 0 0 1 1 1L2 2"), (Points{{1, 1}, {2, 2}}));
    // What cannot be read ends the path.
    for (const char* rest : {"L3", "L", "H", "Vx", "C1 1 2 2 3", "C1 1 2", "C1", "S1 1 2", "S1", "Q1 1 2", "Q1", "T1",
                             "A5 5 0 2 1 3 3", "A5 5 0 0 1 3", "A5 5 0 0", "A5 5", "X3 3", "M3", "Z 3 3"}) {
        EXPECT_EQ(ends((std::string("M1 1L2 2") + rest).c_str()), (Points{{1, 1}, {2, 2}})) << rest;
    }
    EXPECT_TRUE(ends("L1 1").empty());
    EXPECT_TRUE(ends("1 1").empty());
}

// Beside points of the ellipse by its formula: all four arcs through the same ends, turned ones, and one whose radii
// are too small, which grows.
TEST(OpenDocumentTest, Arcs) {
    for (const auto& [rx, ry, turn] : {std::tuple{50.0, 30.0, 0.0},
                                       {50.0, 30.0, 40.0},
                                       {-50.0, 30.0, -20.0},
                                       {40.0, 40.0, 10.0},
                                       {5.0, 3.0, 25.0}}) {
        for (const bool large : {false, true}) {
            for (const bool sweep : {false, true}) {
                Contour contour{{10, 20}, {}, false};
                const PointD to{60, 35};
                add_svg_arc(contour, {rx, ry}, turn, large, sweep, to);
                EXPECT_EQ(contour.end(), to);
                // In the space of the ellipse every point is as far from its middle as the radius.
                const Affine round = Affine::rotation(-turn).then(Affine::scaling(1 / rx, 1 / ry));
                const PointD a = round.apply(contour.start), b = round.apply(to);
                const PointD half = (b - a) * 0.5;
                const double apart = half.length(), radius = std::max(1.0, apart);
                const double beside = std::sqrt(std::max(0.0, radius * radius - apart * apart)) / apart;
                // A negative radius mirrors the space.
                const bool left = (large != sweep) != (rx * ry < 0);
                const PointD middle = a + half + PointD{-half.y, half.x} * (left ? beside : -beside);
                double way = 0;
                PointD before = a;
                for (const auto& s : contour.segments) {
                    const PointD from = &s == contour.segments.data() ? contour.start : (&s)[-1].end;
                    for (int i = 1; i <= 16; ++i) {
                        const double t = i / 16.0, u = 1 - t;
                        const PointD at = round.apply(from * (u * u * u) + s.control1 * (3 * u * u * t) +
                                                      s.control2 * (3 * u * t * t) + s.end * (t * t * t));
                        EXPECT_NEAR((at - middle).length(), radius, 2e-3);
                        way += (at - before).length();
                        before = at;
                    }
                }
                const double angle = 2 * std::asin(std::min(1.0, apart / radius));
                EXPECT_NEAR(way / radius, large && apart < 1 ? 2 * M_PI - angle : angle, 0.02);
            }
        }
    }
}

TEST(OpenDocumentTest, PathsAreThoseOfSvg) {
    const Outline square = od_outline("M10 10h20v20H10zm5,5l1-1");
    ASSERT_EQ(square.size(), 2U);
    EXPECT_TRUE(square[0].closed);
    ASSERT_EQ(square[0].segments.size(), 3U);
    EXPECT_EQ(square[0].segments[2].end, (PointD{10, 30}));
    EXPECT_EQ(square[1].start, (PointD{15, 15}));
    EXPECT_EQ(square[1].segments[0].end, (PointD{16, 14}));
    // Half of a circle around (50, 0).
    const RectD box = bounds_of(od_outline("M0 0A50 50 0 0 1 100 0"));
    EXPECT_NEAR(box.y, -50, 0.1);
    EXPECT_NEAR(box.height, 50, 0.1);
    const Outline smooth = od_outline("M0 0C0 10 10 10 10 0S20 -10 20 0");
    EXPECT_EQ(smooth[0].segments[1].control1, (PointD{10, -10}));
}

TEST(OpenDocumentTest, FormulasReferToEachOther) {
    const OdNode element = read_od_xml(bytes_of(R"xml(<g xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0"
        xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0" svg:viewBox="0 0 200 100"
        draw:modifiers="30 7" draw:enhanced-path="M ?a 0 L right ?b ?c ?loop Z N"
        draw:text-areas="?a 10 right bottom">
        <draw:equation draw:name="a" draw:formula="$0 +2*(3-1)"/>
        <draw:equation draw:name="b" draw:formula="if(?a -30,max($1 ,sqrt(81)),-1)"/>
        <draw:equation draw:name="c" draw:formula="width/2-cos(pi)"/>
        <draw:equation draw:name="loop" draw:formula="?loop +1"/></g>)xml"),
                                       "test");
    const OdGeometry geometry(element, 400, 300);
    const auto commands = geometry.commands();
    ASSERT_EQ(commands.size(), 4U);
    EXPECT_EQ(commands[0].arguments, (std::vector<double>{34, 0}));
    EXPECT_EQ(commands[1].arguments, (std::vector<double>{200, 9, 101, 1}));
    EXPECT_EQ(geometry.placing().apply({100, 50}), (PointD{200, 150}));
    const auto area = geometry.text_area();
    EXPECT_DOUBLE_EQ(area->x, 34);
    EXPECT_DOUBLE_EQ(area->bottom(), 100);
}

TEST(OpenDocumentTest, ShapesStandWhereTheySay) {
    const Drawn page = drawn(flat("", R"(
        <d:rect d:style-name="red" svg:x="10px" svg:y="20px" svg:width="30px" svg:height="10px"/>
        <d:ellipse d:style-name="red" svg:cx="70px" svg:cy="40px" svg:rx="20px" svg:ry="10px"/>
        <d:polygon d:style-name="red" svg:x="10px" svg:y="50px" svg:width="20px" svg:height="20px"
            svg:viewBox="0 0 100 100" d:points="0,0 100,0 0,100"/>)"));
    EXPECT_EQ(page.at(10, 20), kRed);
    EXPECT_EQ(page.at(39, 29), kRed);
    EXPECT_EQ(page.at(9, 20), kWhite);
    EXPECT_EQ(page.at(40, 29), kWhite);
    EXPECT_EQ(page.at(52, 40), kRed);
    EXPECT_EQ(page.at(52, 32), kWhite);
    EXPECT_EQ(page.at(12, 65), kRed);
    EXPECT_EQ(page.at(28, 65), kWhite);
}

TEST(OpenDocumentTest, StylesInherit) {
    const Drawn page = drawn(flat(R"(
        <style:style style:name="blue" style:family="graphic" style:parent-style-name="red">
          <style:graphic-properties d:fill-color="#0000ff"/></style:style>
        <style:style style:name="self" style:family="graphic" style:parent-style-name="self"/>)",
                                  R"(<d:rect d:style-name="blue" svg:width="20px" svg:height="20px"/>
        <d:rect d:style-name="self" svg:x="30px" svg:width="20px" svg:height="20px"/>)"));
    EXPECT_EQ(page.at(0, 0), kBlue);
    EXPECT_EQ(page.at(40, 10), kWhite);
}

TEST(OpenDocumentTest, GradientsGoFromTheirStartToTheirEnd) {
    const Drawn page = drawn(flat(R"(
        <d:gradient d:name="g" d:style="linear" d:start-color="#ff0000" d:end-color="#0000ff" d:angle="0"/>
        <d:gradient d:name="r" d:style="radial" d:start-color="#ff0000" d:end-color="#0000ff" d:cx="50%" d:cy="50%"/>
        <d:gradient d:name="s" d:style="square" d:start-color="#ff0000" d:end-color="#0000ff" d:cx="50%" d:cy="50%"/>
        <style:style style:name="G" style:family="graphic"><style:graphic-properties d:stroke="none" d:fill="gradient"
            d:fill-gradient-name="g"/></style:style>
        <style:style style:name="R" style:family="graphic"><style:graphic-properties d:stroke="none" d:fill="gradient"
            d:fill-gradient-name="r"/></style:style>
        <style:style style:name="S" style:family="graphic"><style:graphic-properties d:stroke="none" d:fill="gradient"
            d:fill-gradient-name="s"/></style:style>)",
                                  R"(<d:rect d:style-name="G" svg:width="20px" svg:height="80px"/>
        <d:rect d:style-name="R" svg:x="20px" svg:width="40px" svg:height="40px"/>
        <d:rect d:style-name="S" svg:x="60px" svg:width="40px" svg:height="40px"/>)"));
    EXPECT_GT(page.at(5, 1) >> 16 & 0xFF, 240U);
    EXPECT_GT(page.at(5, 78) & 0xFF, 240U);
    EXPECT_NEAR(page.at(5, 40) & 0xFF, 128, 6);
    EXPECT_GT(page.at(40, 20) & 0xFF, 240U);
    EXPECT_GT(page.at(21, 1) >> 16 & 0xFF, 220U);
    EXPECT_GT(page.at(80, 20) & 0xFF, 240U);
    EXPECT_GT(page.at(61, 20) >> 16 & 0xFF, 220U);
}

TEST(OpenDocumentTest, ArrowsPointAlongTheirLine) {
    const Drawn page =
        drawn(flat(R"(
        <d:marker d:name="m" svg:viewBox="0 0 20 20" svg:d="M10 0L20 20H0z"/>
        <style:style style:name="L" style:family="graphic"><style:graphic-properties d:stroke="solid"
            svg:stroke-width="2px" svg:stroke-color="#0000ff" d:marker-end="m" d:marker-end-width="20px"/></style:style>)",
                   R"(<d:line d:style-name="L" svg:x1="10px" svg:y1="40px" svg:x2="90px" svg:y2="40px"/>)"));
    EXPECT_EQ(page.at(20, 39), kBlue);
    EXPECT_EQ(page.at(20, 35), kWhite);
    EXPECT_EQ(page.at(72, 34), kBlue);   // at the arrow's back, 18 pixels from its tip
    EXPECT_EQ(page.at(86, 34), kWhite);  // beside its tip
    EXPECT_EQ(page.at(91, 40), kWhite);
}

TEST(OpenDocumentTest, PicturesFillTheirFrame) {
    const Drawn page =
        drawn(flat("", R"(<d:frame d:style-name="red" svg:x="10px" svg:y="10px" svg:width="40px" svg:height="20px">
        <d:image><office:binary-data>AAAA</office:binary-data></d:image></d:frame>)"));
    EXPECT_EQ(page.at(12, 15), kRed);
    EXPECT_EQ(page.at(47, 15), kBlue);
    EXPECT_EQ(page.at(51, 15), kWhite);
}

TEST(OpenDocumentTest, TextIsAlignedInItsBox) {
    const std::string styles = R"(<style:style style:name="T" style:family="graphic"><style:graphic-properties
        d:stroke="none" d:fill="none" d:textarea-vertical-align="bottom"/>
        <style:paragraph-properties fo:text-align="end"/>
        <style:text-properties fo:font-size="12px" fo:font-family="DejaVu Sans" fo:color="#ff0000"/></style:style>)";
    const Drawn page = drawn(flat(styles, R"(<d:frame d:style-name="T" svg:width="100px" svg:height="80px"><d:text-box>
        <text:p>H</text:p></d:text-box></d:frame>)"));
    int left = 100, top = 80, count = 0;
    for (int y = 0; y < 80; y++) {
        for (int x = 0; x < 100; x++) {
            if (page.at(x, y) != kWhite) {
                left = std::min(left, x);
                top = std::min(top, y);
                count++;
            }
        }
    }
    EXPECT_GT(count, 20);
    EXPECT_GT(left, 88);
    EXPECT_GT(top, 60);
}

TEST(OpenDocumentTest, LongTextIsBroken) {
    const std::string styles = R"(<style:style style:name="T" style:family="graphic"><style:graphic-properties
        d:stroke="none" d:fill="none"/><style:text-properties fo:font-size="12px" fo:font-family="DejaVu Sans"/></style:style>)";
    const Drawn page = drawn(flat(styles, R"(<d:frame d:style-name="T" svg:width="50px" svg:height="80px"><d:text-box>
        <text:p>HHHH HHHH HHHHHHHHHH</text:p></d:text-box></d:frame>)"));
    int rows = 0;
    bool before = false;
    for (int y = 0; y < 80; y++) {
        bool any = false;
        for (int x = 0; x < 100; x++) {
            any = any || page.at(x, y) != kWhite;
            if (x > 51) {
                ASSERT_EQ(page.at(x, y), kWhite) << x << ' ' << y;
            }
        }
        rows += any && !before ? 1 : 0;
        before = any;
    }
    EXPECT_EQ(rows, 4);
}

TEST(OpenDocumentTest, DamageIsNamed) {
    const auto message = [](const std::string& text) -> std::string {
        try {
            OdDocument document(bytes_of(text));
        } catch (const imagework::PictureError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_NE(message("<a>").find("not well-formed"), std::string::npos);
    EXPECT_EQ(message("<a/>"), "the document has no drawing");
    EXPECT_EQ(message("PK\x03\x04"), "the zip archive has no directory at its end");
    EXPECT_NE(message("<!DOCTYPE a [<!ENTITY b 'c'>]><a/>").find("document type"), std::string::npos);
    std::string deep;
    for (int i = 0; i < 300; i++) {
        deep += "<a>";
    }
    EXPECT_NE(message(deep).find("nest too deep"), std::string::npos);
}

TEST(OpenDocumentTest, DamagedFilesEnd) {
    const std::string good = flat(R"(<d:marker d:name="m" svg:viewBox="0 0 20 20" svg:d="M10 0L20 20H0z"/>
        <d:hatch d:name="h" d:style="triple" d:color="#00ff00" d:distance="3px" d:rotation="300"/>
        <d:stroke-dash d:name="k" d:dots1="2" d:dots1-length="3px" d:distance="2px"/>
        <style:style style:name="H" style:family="graphic"><style:graphic-properties d:stroke="dash" d:stroke-dash="k"
           d:fill="hatch" d:fill-hatch-name="h" d:marker-start="m" d:marker-start-width="9px"/></style:style>)",
                                  R"(<d:rect d:style-name="H" svg:width="50px" svg:height="40px" d:corner-radius="9px"/>
        <d:path d:style-name="H" svg:x="3px" svg:y="9px" svg:width="70px" svg:height="60px" svg:viewBox="0 0 99 99"
           svg:d="M0 0C30 99 60 0 99 99A20 30 9 1 0 3 4"/>
        <d:custom-shape d:style-name="red" svg:width="20px" svg:height="20px"><text:p>ab <text:span>cd</text:span></text:p>
           <d:enhanced-geometry svg:viewBox="0 0 21600 21600" d:modifiers="5400" d:enhanced-path="M ?f0 0 L 21600 $0 W 0 0 9 9 1 2 3 4 X 5 6 Z N">
           <d:equation d:name="f0" d:formula="$0 *2-height/3"/></d:enhanced-geometry></d:custom-shape>)");
    std::mt19937 random(11);
    int read = 0;
    for (int i = 0; i < 100; i++) {
        std::string text = good;
        for (int n = 0; n < 4; n++) {
            // Digits and letters become others, so that most files stay XML.
            char& c = text[random() % text.size()];
            c = std::isdigit(static_cast<unsigned char>(c)) != 0 ? static_cast<char>('0' + random() % 10)
                : std::islower(static_cast<unsigned char>(c)) != 0 && random() % 8 == 0
                    ? static_cast<char>('a' + random() % 26)
                    : c;
        }
        try {
            drawn(text);
            read++;
        } catch (const imagework::PictureError&) {
        } catch (const drawwork::DrawError&) {
        }
    }
    EXPECT_GT(read, 30);
}

}  // namespace
}  // namespace zelmor::embed
