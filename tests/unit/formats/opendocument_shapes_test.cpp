// Shapes of OpenDocument pages as outlines: polygons, captions, connectors, lines that measure, and pictures that are
// cut.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "opendocument_calls.h"

namespace zelmor::embed {
namespace {

constexpr double kMillimeter = 96 / 25.4;
const std::string kPen = R"(draw:fill="none" draw:stroke="solid" svg:stroke-width="2px" )";
const std::string kBox = R"(draw:style-name="s" svg:x="10px" svg:y="20px" svg:width="60px" svg:height="40px" )";

std::vector<PointD> corners_of(const Contour& contour) {
    std::vector<PointD> points{contour.start};
    for (const Segment& segment : contour.segments) {
        EXPECT_FALSE(segment.curved);
        points.push_back(segment.end);
    }
    return points;
}

void expect_points(const std::vector<PointD>& found, const std::vector<PointD>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); i++) {
        expect_point(found[i], expected[i]);
    }
}

void expect_line(const Call& call, const std::vector<PointD>& expected) {
    EXPECT_EQ(call.kind, 's');
    ASSERT_EQ(call.outline.size(), 1U);
    EXPECT_FALSE(call.outline[0].closed);
    expect_points(corners_of(call.outline[0]), expected);
}

TEST(OdShapesTest, RegularPolygonsBeginAtTheTop) {
    const auto polygon = [](const std::string& attributes) {
        const Call call = only(drawn_page(kPen, "<draw:regular-polygon " + kBox + attributes + "/>"));
        EXPECT_EQ(call.outline.size(), 1U);
        EXPECT_TRUE(call.outline.at(0).closed);
        return corners_of(call.outline.at(0));
    };
    expect_points(polygon(R"(draw:corners="4")"), {{40, 20}, {70, 40}, {40, 60}, {10, 40}});
    expect_points(polygon(R"(draw:corners="4" draw:concave="false" draw:sharpness="50%")"),
                  {{40, 20}, {70, 40}, {40, 60}, {10, 40}});
    const double side = std::sqrt(3.0) / 2;
    const std::vector<PointD> triangle{{40, 20}, {40 + 30 * side, 50}, {40 - 30 * side, 50}};
    for (const char* corners : {"", R"(draw:corners="3")", R"(draw:corners="2")", R"(draw:corners="-7")"}) {
        expect_points(polygon(corners), triangle);
    }
    // A star has a corner nearer to its center between each two.
    for (const auto& [sharpness, inner] : {std::pair{R"(draw:sharpness="75%")", 0.25},
                                           {R"(draw:sharpness="0%")", 1.0},
                                           {R"(draw:sharpness="100%")", 0.0},
                                           {R"(draw:sharpness="130%")", 0.0},
                                           {R"(draw:sharpness="-10%")", 1.0},
                                           {"", 0.5}}) {
        expect_points(polygon(std::string(R"(draw:corners="3" draw:concave="true" )") + sharpness),
                      {triangle[0],
                       {40 + 30 * side * inner, 40 - 10 * inner},
                       triangle[1],
                       {40, 40 + 20 * inner},
                       triangle[2],
                       {40 - 30 * side * inner, 40 - 10 * inner}});
    }
    EXPECT_EQ(polygon(R"(draw:corners="1000")").size(), 1000U);
    EXPECT_EQ(polygon(R"(draw:corners="1001")").size(), 1000U);
}

TEST(OdShapesTest, CaptionsPointAtAPlace) {
    const auto caption = [](const std::string& attributes) {
        return drawn_page(kPen, "<draw:caption " + kBox + attributes + "/>");
    };
    EXPECT_EQ(kinds(caption("")), "s");
    for (const auto& [point, from, to] :
         {std::tuple{R"(draw:caption-point-x="-30px" draw:caption-point-y="10px")", PointD{-20, 30}, PointD{10, 30}},
          {R"(draw:caption-point-x="90px" draw:caption-point-y="70px")", PointD{100, 90}, PointD{70, 60}},
          {R"(draw:caption-point-x="30px" draw:caption-point-y="-5px")", PointD{40, 15}, PointD{40, 20}},
          {R"(draw:caption-point-x="7px" draw:caption-point-y="9px")", PointD{17, 29}, PointD{17, 29}}}) {
        const auto calls = caption(point);
        ASSERT_EQ(kinds(calls), "ss");
        expect_box(bounds_of(calls[0].outline), 10, 20, 60, 40);
        expect_line(calls[1], {from, to});
    }
}

// ---- Connectors

TEST(OdConnectorsTest, TheirKindsAreLinesOfTheirOwn) {
    const auto connector = [](const std::string& attributes) {
        return only(drawn_page(kPen, R"(<draw:connector draw:style-name="s" svg:x1="10px" svg:y1="20px" svg:x2="50px"
            svg:y2="60px" )" + attributes +
                                         "/>"));
    };
    for (const char* type : {"", R"(draw:type="standard")"}) {
        expect_line(connector(type), {{10, 20}, {30, 20}, {30, 60}, {50, 60}});
    }
    for (const char* type : {R"(draw:type="line")", R"(draw:type="lines")"}) {
        expect_line(connector(type), {{10, 20}, {50, 60}});
    }
    const Call curve = connector(R"(draw:type="curve")");
    expect_point(curve.outline.at(0).start, {10, 20});
    const Segment& segment = curve.outline[0].segments.at(0);
    EXPECT_TRUE(segment.curved);
    expect_point(segment.control1, {30, 20});
    expect_point(segment.control2, {30, 60});
    expect_point(segment.end, {50, 60});
    // A path is in hundredths of millimeters, and begins where the connector does.
    expect_line(connector(R"(svg:d="M500 700 h1000 v-300")"),
                {{10, 20}, {10 + 10 * kMillimeter, 20}, {10 + 10 * kMillimeter, 20 - 3 * kMillimeter}});
    expect_line(connector(R"-(draw:type="line" draw:transform="translate(3px 4px)")-"), {{13, 24}, {53, 64}});
}

TEST(OdConnectorsTest, TheyAreGluedToShapes) {
    const auto ends = [](const std::string& attributes) {
        const auto calls =
            drawn_page(kPen, "<draw:rect xml:id=\"one\" " + kBox + R"(/><draw:rect draw:id="two" draw:style-name="s"
                svg:x="80px" svg:y="10px" svg:width="20px" svg:height="10px"/><draw:connector draw:style-name="s"
                draw:type="line" )" +
                                 attributes + "/>");
        EXPECT_EQ(kinds(calls), "sss");
        return corners_of(calls.at(2).outline.at(0));
    };
    const std::string both = R"(draw:start-shape="one" draw:end-shape="two" )";
    expect_points(ends(both), {{40, 40}, {90, 15}});
    const std::vector<PointD> first{{40, 20}, {70, 40}, {40, 60}, {10, 40}};
    const std::vector<PointD> second{{90, 10}, {100, 15}, {90, 20}, {80, 15}};
    const auto glued = [&](const char* attribute, const std::string& number) {
        std::string attributes = both;
        return ends(attributes.append(attribute).append("=\"").append(number).append("\""));
    };
    for (size_t i = 0; i < 4; i++) {
        expect_points(glued("draw:start-glue-point", std::to_string(i)), {first[i], {90, 15}});
        expect_points(glued("draw:end-glue-point", std::to_string(i)), {{40, 40}, second[i]});
    }
    for (const char* other : {"4", "-1", "9", "none"}) {
        expect_points(glued("draw:start-glue-point", other), {{40, 40}, {90, 15}});
    }
    expect_points(ends(R"(draw:start-shape="none" draw:end-shape="one")"), {{0, 0}, {40, 40}});
    expect_points(ends(both + R"(svg:x1="1px" svg:y1="2px")"), {{1, 2}, {90, 15}});
    expect_points(ends(both + R"(svg:x2="3px" svg:y2="4px")"), {{40, 40}, {3, 4}});
}

// ---- Lines that measure

std::vector<Call> measured(const std::string& place, const std::string& attributes = kPen,
                           const std::string& content = "") {
    return drawn_page(attributes, "<draw:measure draw:style-name=\"s\" " + place + ">" + content + "</draw:measure>");
}
const std::string kAcross = R"(svg:x1="10px" svg:y1="60px" svg:x2="70px" svg:y2="60px")";

TEST(OdMeasuresTest, ALineAndTwoGuides) {
    const auto calls = measured(kAcross);
    ASSERT_EQ(kinds(calls), "ss");
    // The usual distances are 8, 2 and 1 mm.
    expect_line(calls[0], {{10, 60 - 8 * kMillimeter}, {70, 60 - 8 * kMillimeter}});
    ASSERT_EQ(calls[1].outline.size(), 2U);
    expect_points(corners_of(calls[1].outline[0]), {{10, 60 - kMillimeter}, {10, 60 - 10 * kMillimeter}});
    expect_points(corners_of(calls[1].outline[1]), {{70, 60 - kMillimeter}, {70, 60 - 10 * kMillimeter}});
    EXPECT_EQ(calls[1].paint.color, 0xFF000000);
    EXPECT_EQ(calls[1].stroke.width, 2);
    const std::string own = kPen + R"(draw:line-distance="20px" draw:guide-overhang="5px" draw:guide-distance="2px"
        draw:start-guide="3px" draw:end-guide="4px" svg:stroke-color="#102030" )";
    const auto styled = measured(kAcross, own);
    expect_line(styled.at(0), {{10, 40}, {70, 40}});
    expect_points(corners_of(styled.at(1).outline[0]), {{10, 58}, {10, 32}});
    expect_points(corners_of(styled.at(1).outline[1]), {{70, 58}, {70, 31}});
    EXPECT_EQ(styled[1].paint.color, 0xFF102030);
    const auto below = measured(kAcross, own + R"(draw:show-below="true")");
    expect_line(below.at(0), {{10, 80}, {70, 80}});
    expect_points(corners_of(below.at(1).outline[0]), {{10, 62}, {10, 88}});
    const auto negative = measured(kAcross, kPen + R"(draw:line-distance="-20px" draw:guide-overhang="-5px"
        draw:guide-distance="2px")");
    expect_line(negative.at(0), {{10, 80}, {70, 80}});
    expect_points(corners_of(negative.at(1).outline[0]), {{10, 62}, {10, 85}});
    const auto down = measured(R"(svg:x1="10px" svg:y1="20px" svg:x2="10px" svg:y2="50px")", own);
    expect_line(down.at(0), {{30, 20}, {30, 50}});
    EXPECT_EQ(kinds(measured(R"(svg:x1="10px" svg:y1="20px" svg:x2="10px" svg:y2="20px")")), "");
    EXPECT_EQ(kinds(measured(kAcross, R"(draw:stroke="none")")), "");
    EXPECT_NEAR(measured(kAcross, R"(draw:fill="none" draw:stroke="solid")").at(1).stroke.width, kMillimeter / 30,
                1e-9);
}

TEST(OdMeasuresTest, TheTextIsNeverUpsideDown) {
    const std::string quiet = R"(draw:stroke="none" draw:line-distance="20px" draw:textarea-horizontal-align="center"
        draw:textarea-vertical-align="middle" )";
    const auto placed = [&](const std::string& place) {
        const auto calls = measured(place, quiet, "<text:p>ab</text:p>");
        EXPECT_EQ(kinds(calls), "t");
        // The middle of the text: two letters of twelve by twenty-four.
        return std::pair{calls.at(0).placing.apply({12, 12}), calls.at(0).placing.apply({13, 12})};
    };
    for (const auto& [place, middle, along] :
         {std::tuple{kAcross, PointD{40, 40}, PointD{1, 0}},
          {std::string(R"(svg:x1="70px" svg:y1="60px" svg:x2="10px" svg:y2="60px")"), PointD{40, 80}, PointD{1, 0}},
          {std::string(R"(svg:x1="10px" svg:y1="20px" svg:x2="10px" svg:y2="60px")"), PointD{30, 40}, PointD{0, 1}},
          {std::string(R"(svg:x1="10px" svg:y1="60px" svg:x2="10px" svg:y2="20px")"), PointD{-10, 40}, PointD{0, -1}},
          {std::string(R"(svg:x1="40px" svg:y1="60px" svg:x2="10px" svg:y2="20px")"), PointD{25 - 16, 40 + 12},
           PointD{0.6, 0.8}}}) {
        const auto [found, next] = placed(place);
        expect_point(found, middle);
        expect_point(next - found, along);
    }
}

// ---- What is shown

TEST(OdShapesTest, WhatIsNotForTheScreenIsLeftOut) {
    const auto shown = [](const std::string& attributes) {
        return kinds(drawn_page(kPen, "<draw:rect " + kBox + attributes + "/>")) == "s";
    };
    EXPECT_TRUE(shown(""));
    EXPECT_TRUE(shown(R"(draw:display="always")"));
    EXPECT_TRUE(shown(R"(draw:display="screen")"));
    EXPECT_FALSE(shown(R"(draw:display="none")"));
    EXPECT_FALSE(shown(R"(draw:display="printer")"));
    EXPECT_EQ(kinds(drawn_page(kPen, "<draw:g><draw:a><draw:rect " + kBox + "/></draw:a></draw:g>")), "s");
    EXPECT_EQ(kinds(drawn_page(kPen, "<draw:g draw:display=\"none\"><draw:rect " + kBox + "/></draw:g>")), "");
    EXPECT_EQ(kinds(drawn_page(kPen, "<draw:other " + kBox + "/>")), "");
}

TEST(OdShapesTest, CustomShapesWithoutAPathAreBoxesOrRound) {
    const auto shape = [](const std::string& geometry) {
        return only(drawn_page(kPen, "<draw:custom-shape " + kBox + ">" + geometry + "</draw:custom-shape>"));
    };
    for (const char* geometry : {"", R"(<draw:enhanced-geometry draw:type="rectangle"/>)"}) {
        expect_points(corners_of(shape(geometry).outline.at(0)), {{10, 20}, {70, 20}, {70, 60}, {10, 60}});
    }
    const Call round = shape(R"(<draw:enhanced-geometry draw:type="ellipse"/>)");
    expect_box(bounds_of(round.outline), 10, 20, 60, 40);
    EXPECT_TRUE(round.outline.at(0).segments.at(0).curved);
}

// The picture has four by two pixels.
TEST(OdShapesTest, PicturesAreCut) {
    const auto picture = [](const std::string& attributes) {
        return drawn_page(R"(draw:stroke="none" draw:fill="none" )" + attributes,
                          "<draw:frame " + kBox +
                              "><draw:image><office:binary-data>AAAA</office:binary-data></draw:image></draw:frame>");
    };
    for (const char* whole : {"", R"-(fo:clip="rect(0px, 0px, 0px, 0px)")-", R"(fo:clip="auto")",
                              R"-(fo:clip="rect(1px, 2px, 1px, 2px)")-", R"(fo:clip="rect(1px, 2px, 1px, 2px")"}) {
        const Call call = only(picture(whole));
        EXPECT_EQ(call.kind, 'f');
        expect_box(bounds_of(call.outline), 10, 20, 60, 40);
        EXPECT_EQ(call.paint.opacity, 1);
        expect_point(call.paint.placing.apply({4, 2}), {70, 60});
    }
    // Top, right, bottom and left; what is left fills the frame.
    for (const auto& [sides, begin, end] : {std::tuple{"rect(1px, 0px, 0px, 0px)", PointD{0, 1}, PointD{4, 2}},
                                            {"rect(0px 1px 0px 2px)", PointD{2, 0}, PointD{3, 2}},
                                            {"rect(0px, 0px, 0.5px, 1px)", PointD{1, 0}, PointD{4, 1.5}},
                                            {"rect(-1px, 0px, -1px, 0px)", PointD{0, -1}, PointD{4, 3}},
                                            {"rect(1px)", PointD{0, 1}, PointD{4, 2}}}) {
        const auto calls = picture(std::string("fo:clip=\"") + sides + '"');
        ASSERT_EQ(kinds(calls), "cf") << sides;
        expect_box(bounds_of(calls[0].outline), 10, 20, 60, 40);
        expect_point(calls[1].paint.placing.apply(begin), {10, 20});
        expect_point(calls[1].paint.placing.apply(end), {70, 60});
    }
    EXPECT_EQ(only(picture(R"(draw:opacity="50%")")).paint.opacity, 0.5);
    EXPECT_EQ(only(picture(R"(draw:opacity="50%" draw:image-opacity="25%")")).paint.opacity, 0.25);
}

}  // namespace
}  // namespace zelmor::embed
