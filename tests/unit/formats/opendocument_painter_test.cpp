// What each attribute of a style of OpenDocument asks of the canvas: pens, gradients, hatches, pictures, shadows and
// arrows, by what the format says of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "opendocument_calls.h"
#include "runtime/native/formats/opendocument/od_page_drawing.h"

namespace zelmor::embed {
namespace {

constexpr const char* kRect = R"(<draw:rect draw:style-name="s" svg:x="10px" svg:y="20px" svg:width="60px"
    svg:height="40px"/>)";
constexpr const char* kLine = R"(<draw:line draw:style-name="s" svg:x1="10px" svg:y1="20px" svg:x2="70px"
    svg:y2="20px"/>)";

std::vector<Call> drawn(const std::string& attributes, const std::string& shape = kRect,
                        const std::string& definitions = "", bool screen = true) {
    return drawn_page(attributes, shape, definitions, screen);
}

// ---- Lines

const std::string kStroked = R"(draw:fill="none" draw:stroke="solid" svg:stroke-width="2px" )";

TEST(OdPensTest, JoinsCapsColorsAndWidths) {
    const auto stroke = [](const std::string& more) { return only(drawn(kStroked + more)); };
    for (const auto& [word, join] : {std::pair{"miter", StrokeJoin::kMiter},
                                     {"bevel", StrokeJoin::kBevel},
                                     {"none", StrokeJoin::kBevel},
                                     {"round", StrokeJoin::kRound},
                                     {"middle", StrokeJoin::kRound}}) {
        EXPECT_EQ(stroke(std::string("draw:stroke-linejoin=\"") + word + '"').stroke.join, join) << word;
    }
    EXPECT_EQ(stroke("").stroke.join, StrokeJoin::kRound);
    for (const auto& [word, cap] :
         {std::pair{"round", StrokeCap::kRound}, {"square", StrokeCap::kSquare}, {"butt", StrokeCap::kFlat}}) {
        EXPECT_EQ(stroke(std::string("svg:stroke-linecap=\"") + word + '"').stroke.cap, cap) << word;
    }
    EXPECT_EQ(stroke("").stroke.cap, StrokeCap::kFlat);
    EXPECT_EQ(stroke("").kind, 's');
    EXPECT_EQ(stroke("").stroke.width, 2);
    EXPECT_EQ(stroke("").paint.color, 0xFF000000);
    EXPECT_EQ(stroke("").stroke.nib, Affine());
    expect_box(bounds_of(stroke("").outline), 10, 20, 60, 40);
    EXPECT_EQ(stroke(R"(svg:stroke-color="#102030")").paint.color, 0xFF102030);
    EXPECT_EQ(stroke(R"(svg:stroke-opacity="50%")").paint.color, 0x80000000);
    EXPECT_EQ(stroke(R"(svg:stroke-opacity="0.25")").paint.color, 0x40000000);
    EXPECT_EQ(stroke(R"(svg:stroke-opacity="200%")").paint.color, 0xFF000000);
    EXPECT_EQ(stroke(R"(svg:stroke-opacity="-5%")").paint.color, 0U);
    // Without a width it is a pixel of the screen, or a tenth of a point on paper.
    const std::string thin = R"(draw:fill="none" draw:stroke="solid" )";
    for (const std::string width : {"", R"(svg:stroke-width="0px")", R"(svg:stroke-width="-1px")"}) {
        EXPECT_EQ(only(drawn(thin + width)).stroke.width, 1);
        EXPECT_NEAR(only(drawn(thin + width, kRect, "", false)).stroke.width, 0.1 * 96 / 72, 1e-9);
    }
    EXPECT_EQ(kinds(drawn(R"(draw:fill="none" draw:stroke="none")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:fill="none")")), "s");  // a thin line is the usual one
}

TEST(OdPensTest, Dashes) {
    const auto dashes = [](const std::string& dash, const std::string& more = R"(draw:stroke="dash")") {
        return only(drawn(R"(draw:fill="none" svg:stroke-width="2px" draw:stroke-dash="D" )" + more, kRect,
                          R"(<draw:stroke-dash draw:name="D" )" + dash + "/>"))
            .stroke;
    };
    using List = std::vector<double>;
    EXPECT_EQ(dashes(R"(draw:dots1="1" draw:dots1-length="5px" draw:distance="3px")").dashes, (List{5, 3}));
    EXPECT_EQ(dashes(R"(draw:dots1="2" draw:dots1-length="5px" draw:dots2="1" draw:dots2-length="1px"
                        draw:distance="3px")")
                  .dashes,
              (List{5, 3, 5, 3, 1, 3}));
    // Parts of the width; what is not said is as long as the line is wide.
    EXPECT_EQ(dashes(R"(draw:dots1="1" draw:dots1-length="300%" draw:distance="150%")").dashes, (List{6, 3}));
    EXPECT_EQ(dashes(R"(draw:dots1="1")").dashes, (List{2, 2}));
    EXPECT_EQ(dashes(R"(draw:dots2="1" draw:distance="-3px")").dashes, (List{2, 0}));
    EXPECT_EQ(dashes(R"(draw:dots1="1")").cap, StrokeCap::kFlat);
    EXPECT_EQ(dashes(R"(draw:style="round" draw:dots1="1")").dashes, (List{0, 2}));
    EXPECT_EQ(dashes(R"(draw:style="round" draw:dots1="1")").cap, StrokeCap::kRound);
    EXPECT_EQ(dashes(R"(draw:style="rect" draw:dots1="1")").cap, StrokeCap::kFlat);
    EXPECT_TRUE(dashes("").dashes.empty());
    EXPECT_TRUE(dashes(R"(draw:dots1="-1")").dashes.empty());
    EXPECT_TRUE(dashes(R"(draw:dots1="1" draw:dots1-length="0px" draw:distance="0px")").dashes.empty());
    EXPECT_EQ(dashes(R"(draw:dots1="1000")").dashes.size(), 2000U);
    EXPECT_EQ(dashes(R"(draw:dots1="1001")").dashes.size(), 2000U);
    EXPECT_TRUE(dashes(R"(draw:dots1="1")", R"(draw:stroke="solid")").dashes.empty());
    EXPECT_TRUE(only(drawn(R"(draw:fill="none" draw:stroke="dash" draw:stroke-dash="other")")).stroke.dashes.empty());
}

TEST(OdPensTest, Arrows) {
    const std::string markers = R"(<draw:marker draw:name="A" svg:viewBox="0 0 10 20" svg:d="M5 0L10 20H0Z"/>
        <draw:marker draw:name="B" svg:d="M5 0L10 20H0Z"/><draw:marker draw:name="N" svg:viewBox="0 0 0 20"
        svg:d="M0 0V20Z"/>)";
    const auto with = [&](const std::string& more, const std::string& shape = kLine) {
        return drawn(R"(draw:stroke="solid" svg:stroke-width="1px" svg:stroke-color="#102030" )" + more, shape,
                     markers);
    };
    // Six across, and so twelve along: the tip at the end of the line, which is cut at four fifths of the arrow.
    const auto end = with(R"(draw:marker-end="A" draw:marker-end-width="6px")");
    ASSERT_EQ(kinds(end), "fs");
    expect_box(bounds_of(end[0].outline), 58, 17, 12, 6);
    expect_point(end[0].outline[0].start, {70, 20});
    EXPECT_EQ(end[0].paint.color, 0xFF102030);
    expect_box(bounds_of(end[1].outline), 10, 20, 60 - 0.8 * 12, 0);
    const auto start = with(R"(draw:marker-start="B" draw:marker-start-width="6px")");
    ASSERT_EQ(kinds(start), "fs");
    expect_box(bounds_of(start[0].outline), 10, 17, 12, 6);
    expect_point(start[0].outline[0].start, {10, 20});
    expect_box(bounds_of(start[1].outline), 10 + 0.8 * 12, 20, 60 - 0.8 * 12, 0);
    const auto both = with(R"(draw:marker-start="A" draw:marker-start-width="6px" draw:marker-end="A"
        draw:marker-end-width="3px")");
    ASSERT_EQ(kinds(both), "ffs");
    expect_box(bounds_of(both[2].outline), 10 + 0.8 * 12, 20, 60 - 0.8 * 18, 0);
    // In the middle of its end it cuts nothing.
    for (const auto& [name, x] : {std::pair{"start", 10.0}, {"end", 70.0}}) {
        const std::string place = std::string("draw:marker-") + name;
        std::string attributes = place + R"(="A" )";
        attributes.append(place).append(R"(-width="6px" )").append(place).append(R"(-center="true")");
        const auto centered = with(attributes);
        ASSERT_EQ(kinds(centered), "fs");
        expect_box(bounds_of(centered[0].outline), x - 6, 17, 12, 6);
        expect_box(bounds_of(centered[1].outline), 10, 20, 60, 0);
    }
    EXPECT_EQ(kinds(with(R"(draw:marker-end="A")")), "s");
    EXPECT_EQ(kinds(with(R"(draw:marker-end="A" draw:marker-end-width="-1px")")), "s");
    EXPECT_EQ(kinds(with(R"(draw:marker-end="N" draw:marker-end-width="6px")")), "s");
    EXPECT_EQ(kinds(with(R"(draw:marker-end="other" draw:marker-end-width="6px")")), "s");
    EXPECT_EQ(kinds(with(R"(draw:fill="none" draw:marker-end="A" draw:marker-end-width="6px")", kRect)), "s");
}

TEST(OdPensTest, ArrowsAtCornersAndCurves) {
    const std::string markers = R"(<draw:marker draw:name="A" svg:viewBox="0 0 10 10" svg:d="M5 0L10 10H0Z"/>)";
    const auto lines = [&](const std::string& path, double width) {
        const std::string shape = R"(<draw:path draw:style-name="s" svg:x="0px" svg:y="0px" svg:width="100px"
            svg:height="80px" svg:viewBox="0 0 100 80" svg:d=")" +
                                  path + R"("/>)";
        const auto calls =
            drawn(R"(draw:fill="none" draw:stroke="solid" draw:marker-start="A" draw:marker-start-width=")" +
                      std::to_string(width) + R"(px")",
                  shape, markers);
        EXPECT_EQ(kinds(calls), "fs");
        return calls.back().outline.at(0);
    };
    // A longer arrow than the first line takes its place from the next one.
    const Contour corner = lines("M10 10H14V50", 10);
    expect_point(corner.start, {14, 14});
    EXPECT_EQ(corner.segments.size(), 1U);
    const Contour exact = lines("M10 10H18V50", 10);
    expect_point(exact.start, {18, 10});
    EXPECT_EQ(exact.segments.size(), 1U);
    // The beginning of a curve moves to its control point, if that is further away.
    expect_point(lines("M10 10C40 10 50 20 50 50", 10).start, {18, 10});
    expect_point(lines("M10 10C15 10 50 20 50 50", 10).start, {10, 10});
    expect_point(lines("M10 10C10 10 10 50 10 50", 10).start, {10, 18});
    const Contour gone = lines("M10 10H14", 10);
    expect_point(gone.start, {14, 10});
    EXPECT_TRUE(gone.segments.empty());
}

// ---- Areas

TEST(OdFillsTest, ColorsRulesAndOpacity) {
    const auto fill = [](const std::string& more) {
        return only(drawn(R"(draw:stroke="none" draw:fill="solid" )" + more));
    };
    EXPECT_EQ(fill("").kind, 'f');
    EXPECT_EQ(fill("").paint.color, 0xFFFFFFFF);
    EXPECT_EQ(fill(R"(draw:fill-color="#102030")").paint.color, 0xFF102030);
    EXPECT_EQ(fill(R"(draw:fill-color="#102030" draw:opacity="50%")").paint.color, 0x80102030);
    EXPECT_EQ(fill(R"(draw:opacity="300%")").paint.color, 0xFFFFFFFF);
    EXPECT_EQ(fill(R"(draw:opacity="-1%")").paint.color, 0x00FFFFFF);
    EXPECT_EQ(fill("").rule, FillRule::kAlternate);
    EXPECT_EQ(fill(R"(svg:fill-rule="nonzero")").rule, FillRule::kWinding);
    EXPECT_EQ(fill(R"(svg:fill-rule="evenodd")").rule, FillRule::kAlternate);
    expect_box(bounds_of(fill("").outline), 10, 20, 60, 40);
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="none")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="unknown")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:fill="solid" draw:stroke="solid")")), "fs");
}

TEST(OdFillsTest, Shadows) {
    const auto calls = [](const std::string& more) {
        return drawn(R"(draw:stroke="none" draw:fill="solid" draw:shadow="visible" )" + more);
    };
    const double usual = 3 * 96 / 25.4;
    ASSERT_EQ(kinds(calls("")), "ff");
    expect_box(bounds_of(calls("")[0].outline), 10 + usual, 20 + usual, 60, 40);
    expect_box(bounds_of(calls("")[1].outline), 10, 20, 60, 40);
    EXPECT_EQ(calls("")[0].paint.color, 0xFF808080);
    const auto moved = calls(R"(draw:shadow-offset-x="4px" draw:shadow-offset-y="-5px" draw:shadow-color="#102030"
        draw:shadow-opacity="50%")");
    expect_box(bounds_of(moved[0].outline), 14, 15, 60, 40);
    EXPECT_EQ(moved[0].paint.color, 0x80102030);
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="solid" draw:shadow="hidden")")), "f");
    // Of a shape without an area the shadow is one of its line.
    const auto lines = drawn(R"(draw:stroke="solid" svg:stroke-width="3px" draw:fill="none" draw:shadow="visible")");
    ASSERT_EQ(kinds(lines), "ss");
    EXPECT_EQ(lines[0].stroke.width, 3);
    EXPECT_EQ(lines[0].paint.color, 0xFF808080);
    expect_box(bounds_of(lines[0].outline), 10 + usual, 20 + usual, 60, 40);
    EXPECT_EQ(drawn(R"(draw:stroke="solid" draw:fill="none" draw:shadow="visible")")[0].stroke.width, 1);
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="none" draw:shadow="visible")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="solid" draw:fill="solid" draw:shadow="visible")")), "ffs");
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="solid" draw:shadow="visible")")), "ss");
}

std::vector<Call> gradient(const std::string& attributes, const std::string& children = "",
                           const std::string& more = "") {
    return drawn(R"(draw:stroke="none" draw:fill="gradient" draw:fill-gradient-name="G" )" + more, kRect,
                 R"(<draw:gradient draw:name="G" draw:start-color="#ff0000" draw:end-color="#0000ff" )" + attributes +
                     ">" + children + "</draw:gradient>");
}

using Stops = std::vector<std::pair<double, Argb>>;
void expect_stops(const Paint& paint, const Stops& expected) {
    ASSERT_EQ(paint.stops.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(paint.stops[i].at, expected[i].first, 1e-9);
        EXPECT_EQ(paint.stops[i].color, expected[i].second) << i;
    }
}

TEST(OdFillsTest, LinearGradients) {
    const auto paint = [](const std::string& attributes, const std::string& children = "",
                          const std::string& more = "") {
        return only(gradient(R"(draw:style="linear" )" + attributes, children, more)).paint;
    };
    const Paint plain = paint("");
    EXPECT_EQ(plain.kind, Paint::Kind::kLinear);
    expect_point(plain.placing.apply(plain.from), {40, 20});
    expect_point(plain.placing.apply(plain.to), {40, 60});
    expect_stops(plain, {{0, 0xFFFF0000}, {1, 0xFF0000FF}});
    // Tenths of a degree, counterclockwise; the box turned by the angle is covered.
    for (const auto& [text, degrees] : {std::pair{"900", 90.0}, {"90deg", 90.0}, {"300", 30.0}, {"-450", -45.0}}) {
        const Paint turned = paint(std::string("draw:angle=\"") + text + '"');
        const double angle = degrees * M_PI / 180;
        const double reach = (60 * std::abs(std::sin(angle)) + 40 * std::abs(std::cos(angle))) / 2;
        const PointD along{std::sin(angle) * reach, std::cos(angle) * reach};
        expect_point(turned.placing.apply(turned.from), PointD{40, 40} - along);
        expect_point(turned.placing.apply(turned.to), PointD{40, 40} + along);
    }
    expect_stops(paint(R"(draw:border="20%")"), {{0.2, 0xFFFF0000}, {1, 0xFF0000FF}});
    expect_stops(paint(R"(draw:border="120%")"), {{1, 0xFFFF0000}, {1, 0xFF0000FF}});
    expect_stops(paint(R"(draw:border="-20%")"), {{0, 0xFFFF0000}, {1, 0xFF0000FF}});
    expect_stops(paint(R"(draw:start-intensity="50%" draw:end-intensity="20%")"), {{0, 0xFF800000}, {1, 0xFF000033}});
    expect_stops(paint(R"(draw:start-intensity="150%" draw:end-intensity="-1%")"), {{0, 0xFFFF0000}, {1, 0xFF000000}});
    expect_stops(paint("", "", R"(draw:opacity="50%")"), {{0, 0x80FF0000}, {1, 0x800000FF}});
    const std::string stop = R"(<loext:gradient-stop svg:offset="0.25" loext:color-value="#112233"/>)";
    expect_stops(paint("", stop), {{0, 0xFFFF0000}, {1, 0xFF0000FF}});  // one alone says nothing
    expect_stops(paint("", stop + R"(<loext:gradient-stop svg:offset="2"/><draw:other/>)"),
                 {{0.25, 0xFF112233}, {1, 0xFF000000}});
}

TEST(OdFillsTest, AxialGradientsBeginInTheMiddle) {
    const auto stops = [](const std::string& more) { return only(gradient(R"(draw:style="axial" )" + more)).paint; };
    expect_stops(stops(""), {{0, 0xFF0000FF}, {0.5, 0xFFFF0000}, {0.5, 0xFFFF0000}, {1, 0xFF0000FF}});
    expect_stops(stops(R"(draw:border="20%")"),
                 {{0.1, 0xFF0000FF}, {0.5, 0xFFFF0000}, {0.5, 0xFFFF0000}, {0.9, 0xFF0000FF}});
}

TEST(OdFillsTest, RoundGradients) {
    const auto paint = [](const std::string& attributes) { return only(gradient(attributes)).paint; };
    const Paint plain = paint(R"(draw:style="radial" draw:cx="25%" draw:cy="75%" draw:border="20%")");
    EXPECT_EQ(plain.kind, Paint::Kind::kRadial);
    EXPECT_EQ(plain.from_radius, 0);
    EXPECT_EQ(plain.to_radius, 1);
    const double radius = std::hypot(60, 40) / 2;
    expect_point(plain.placing.apply({0, 0}), {25, 50});
    expect_point(plain.placing.apply({1, 0}), {25 + radius, 50});
    expect_point(plain.placing.apply({0, 1}), {25, 50 + radius});
    expect_stops(plain, {{0, 0xFF0000FF}, {0.8, 0xFFFF0000}});
    expect_point(paint(R"(draw:style="radial")").placing.apply({0, 0}), {40, 40});
    const Paint turned = paint(R"(draw:style="ellipsoid" draw:angle="90deg")");
    expect_point(turned.placing.apply({1, 0}), {40, 40 - 60 / M_SQRT2});
    expect_point(turned.placing.apply({0, 1}), {40 + 40 / M_SQRT2, 40});
}

TEST(OdFillsTest, SteppedGradients) {
    for (const bool square : {false, true}) {
        const auto calls = gradient(std::string("draw:style=\"") + (square ? "square" : "rectangular") +
                                        R"(" draw:border="50%" draw:cx="0%" draw:cy="100%")",
                                    "", R"(draw:opacity="50%")");
        ASSERT_EQ(calls.size(), 1U + 1 + 1 + 64 + 1);
        EXPECT_EQ(kinds(calls).substr(0, 4), "c(ff");
        EXPECT_EQ(calls.back().kind, ')');
        EXPECT_EQ(calls.back().opacity, 0.5);
        EXPECT_EQ(calls[2].paint.color, 0xFFFF0000);
        expect_box(bounds_of(calls[2].outline), 10, 20, 60, 40);
        // From half of the box, by the border, to nothing.
        for (int i : {0, 1, 32, 63}) {
            const double size = 0.5 * (1 - i / 64.0), wide = 60, high = square ? 60 : 40;
            const Call& step = calls[static_cast<size_t>(3 + i)];
            expect_box(bounds_of(step.outline), 10 - wide * size / 2, 60 - high * size / 2, wide * size, high * size);
            const double t = (i + 0.5) / 64;
            EXPECT_EQ(step.paint.color, 0xFF000000 | static_cast<Argb>(std::lround(255 - 255 * t)) << 16 |
                                            static_cast<Argb>(std::lround(255 * t)));
        }
    }
}

TEST(OdFillsTest, GradientsThatAreMissing) {
    const Call plain = only(drawn(R"(draw:stroke="none" draw:fill="gradient" draw:fill-gradient-name="G"
        draw:fill-color="#102030" draw:opacity="50%")"));
    EXPECT_EQ(plain.paint.kind, Paint::Kind::kSolid);
    EXPECT_EQ(plain.paint.color, 0x80102030);
}

TEST(OdFillsTest, GradientsOfOpacity) {
    const auto paint = [](const std::string& attributes) {
        return only(drawn(R"(draw:stroke="none" draw:fill="solid" draw:fill-color="#102030" draw:opacity-name="O")",
                          kRect, R"(<draw:opacity draw:name="O" )" + attributes + "/>"))
            .paint;
    };
    const Paint plain = paint(R"(draw:style="linear" draw:start="100%" draw:end="25%" draw:border="10%")");
    EXPECT_EQ(plain.kind, Paint::Kind::kLinear);
    expect_stops(plain, {{0.1, 0xFF102030}, {1, 0x40102030}});
    expect_point(plain.placing.apply(plain.to), {40, 60});
    expect_stops(paint(R"(draw:style="linear" draw:start="0%")"), {{0, 0x00102030}, {1, 0xFF102030}});
    EXPECT_EQ(paint(R"(draw:style="radial")").kind, Paint::Kind::kRadial);
    EXPECT_EQ(paint(R"(draw:style="square")").kind, Paint::Kind::kSolid);
    EXPECT_EQ(paint(R"(draw:style="square")").color, 0xFF102030);
}

TEST(OdFillsTest, Hatches) {
    const auto calls = [](const std::string& attributes, const std::string& more = "") {
        return drawn(R"(draw:stroke="none" draw:fill="hatch" draw:fill-hatch-name="H" )" + more, kRect,
                     R"(<draw:hatch draw:name="H" )" + attributes + "/>");
    };
    const double reach = std::hypot(60, 40) / 2;  // 36.06 pixels from the middle
    const auto expect_lines = [&](const std::vector<Call>& found, std::vector<double> angles, double distance) {
        ASSERT_EQ(kinds(found).substr(kinds(found).size() - 2), "cs");
        const Call& lines = found.back();
        const int count = static_cast<int>(reach / distance);
        ASSERT_EQ(lines.outline.size(), angles.size() * static_cast<size_t>(2 * count + 1));
        EXPECT_TRUE(
            std::none_of(lines.outline.begin(), lines.outline.end(), [](const Contour& c) { return c.closed; }));
        size_t next = 0;
        for (const double angle : angles) {
            const double turn = angle * M_PI / 180;
            const PointD along{std::cos(turn), -std::sin(turn)}, across{std::sin(turn), std::cos(turn)};
            for (int i = -count; i <= count; ++i) {
                const PointD middle = PointD{40, 40} + across * (i * distance);
                expect_point(lines.outline[next].start, middle - along * reach);
                expect_point(lines.outline[next].segments.at(0).end, middle + along * reach);
                ++next;
            }
        }
        EXPECT_EQ(lines.stroke.width, 1);
        expect_box(bounds_of(found[found.size() - 2].outline), 10, 20, 60, 40);
    };
    expect_lines(calls(R"(draw:style="single" draw:distance="5px")"), {0}, 5);
    expect_lines(calls(R"(draw:style="single" draw:distance="5px" draw:rotation="300")"), {30}, 5);
    expect_lines(calls(R"(draw:style="double" draw:distance="7px" draw:rotation="30deg")"), {30, 120}, 7);
    expect_lines(calls(R"(draw:style="triple" draw:distance="7px" draw:rotation="30deg")"), {30, 120, -15}, 7);
    expect_lines(calls(""), {0}, 10);
    expect_lines(calls(R"(draw:distance="0px")"), {0}, 0.1);
    EXPECT_EQ(calls("").back().paint.color, 0xFF000000);
    EXPECT_EQ(calls(R"(draw:color="#102030")", R"(draw:opacity="50%")").back().paint.color, 0x80102030);
    EXPECT_EQ(kinds(calls("")), "cs");
    const auto solid = calls("", R"(draw:fill-hatch-solid="true" draw:fill-color="#405060")");
    EXPECT_EQ(kinds(solid), "fcs");
    EXPECT_EQ(solid[0].paint.color, 0xFF405060);
    EXPECT_EQ(calls("", R"(draw:fill-hatch-solid="true")")[0].paint.color, 0xFFFFFFFF);
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="hatch" draw:fill-hatch-name="other")")), "");
}

TEST(OdFillsTest, Pictures) {
    const auto paint = [](const std::string& more) {
        return only(drawn(R"(draw:stroke="none" draw:fill="bitmap" draw:fill-image-name="I" )" + more, kRect,
                          R"(<draw:fill-image draw:name="I"><office:binary-data>QUJD</office:binary-data>
                             </draw:fill-image>)"))
            .paint;
    };
    const auto expect = [&](const std::string& more, Extend extend, const RectD& place) {
        const Paint found = paint(more);
        EXPECT_EQ(found.kind, Paint::Kind::kTexture);
        EXPECT_EQ(found.extend, extend) << more;
        EXPECT_EQ(std::pair(found.width, found.height), std::pair(4, 2));
        EXPECT_EQ(found.pixels, std::vector<Argb>(8, 0xFF123456));
        SCOPED_TRACE(more);
        expect_point(found.placing.apply({0, 0}), {place.x, place.y});
        expect_point(found.placing.apply({4, 2}), {place.right(), place.bottom()});
    };
    expect(R"(style:repeat="stretch")", Extend::kPad, {10, 20, 60, 40});
    expect("", Extend::kRepeat, {38, 39, 4, 2});
    expect(R"(style:repeat="repeat")", Extend::kRepeat, {38, 39, 4, 2});
    expect(R"(style:repeat="no-repeat")", Extend::kNone, {38, 39, 4, 2});
    const std::string size = R"(draw:fill-image-width="20px" draw:fill-image-height="50%" )";
    expect(size, Extend::kRepeat, {30, 30, 20, 20});
    expect(R"(draw:fill-image-width="0px" draw:fill-image-height="-1px")", Extend::kRepeat, {38, 39, 4, 2});
    expect(R"(draw:fill-image-width="10%" draw:fill-image-height="0%")", Extend::kRepeat, {37, 39, 6, 2});
    for (const std::string repeat : {"repeat", "no-repeat"}) {
        for (const auto& [word, x, y] : {std::tuple{"top-left", 10.0, 20.0},
                                         {"top", 30.0, 20.0},
                                         {"top-right", 50.0, 20.0},
                                         {"left", 10.0, 30.0},
                                         {"center", 30.0, 30.0},
                                         {"right", 50.0, 30.0},
                                         {"bottom-left", 10.0, 40.0},
                                         {"bottom", 30.0, 40.0},
                                         {"bottom-right", 50.0, 40.0}}) {
            expect((size + R"(style:repeat=")").append(repeat).append(R"(" draw:fill-image-ref-point=")").append(word) +
                       '"',
                   repeat == "repeat" ? Extend::kRepeat : Extend::kNone, {x, y, 20, 20});
        }
    }
    // Moved by parts of itself, where it is repeated.
    const std::string moved = size + R"(draw:fill-image-ref-point-x="25%" draw:fill-image-ref-point-y="50%" )";
    expect(moved, Extend::kRepeat, {35, 40, 20, 20});
    expect(moved + R"(style:repeat="no-repeat")", Extend::kNone, {30, 30, 20, 20});
    EXPECT_EQ(paint("").opacity, 1);
    EXPECT_EQ(paint(R"(draw:opacity="50%")").opacity, 0.5);
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="bitmap" draw:fill-image-name="other")")), "");
    EXPECT_EQ(kinds(drawn(R"(draw:stroke="none" draw:fill="bitmap" draw:fill-image-name="I")", kRect,
                          R"(<draw:fill-image draw:name="I"/>)")),
              "");
}

// ---- Tables

// Styles of cells that are filled with a color, named by its six digits, and of columns and rows of a size.
std::string cell_style(const std::string& name, const std::string& properties) {
    return "<style:style style:name=\"" + name + "\" style:family=\"table-cell\"><style:table-cell-properties " +
           properties + "/></style:style>";
}
std::string filled(const std::string& digits) {
    return cell_style("c" + digits, "fo:background-color=\"#" + digits + "\"");
}
std::string sized(const std::string& kind, const std::string& name, const std::string& properties) {
    return "<style:style style:name=\"" + name + "\" style:family=\"table-" + kind + "\"><style:table-" + kind +
           "-properties " + properties + "/></style:style>";
}

// What is drawn of a table in a frame of 60 by 40 pixels at 10, 20: left, top, right, bottom and color of each area.
using Areas = std::vector<std::tuple<int, int, int, int, Argb>>;
Areas table(const std::string& content, const std::string& attributes = "", const std::string& definitions = "") {
    const auto calls =
        drawn("",
              R"(<draw:frame svg:x="10px" svg:y="20px" svg:width="60px" svg:height="40px"><table:table )" + attributes +
                  ">" + content + "</table:table></draw:frame>",
              definitions + filled("0000ff") + filled("00ff00") + filled("ff0000"));
    Areas found;
    for (const Call& call : calls) {
        const RectD box = bounds_of(call.outline);
        found.emplace_back(std::lround(box.x), std::lround(box.y), std::lround(box.right()), std::lround(box.bottom()),
                           call.paint.color);
    }
    return found;
}

constexpr Argb kBlueCell = 0xFF0000FF, kGreenCell = 0xFF00FF00, kRedCell = 0xFFFF0000;
const std::string kEmpty = "<table:table-cell/>";
std::string cell(const std::string& digits, const std::string& more = "") {
    return "<table:table-cell table:style-name=\"c" + digits + "\" " + more + "/>";
}
std::string row(const std::string& cells, const std::string& more = "") {
    return "<table:table-row " + more + ">" + cells + "</table:table-row>";
}
std::string column(const std::string& more = "") {
    return "<table:table-column " + more + "/>";
}

TEST(OdTablesTest, ColumnsShareTheFrame) {
    const std::string rows = row(cell("ff0000") + cell("00ff00") + cell("0000ff"));
    EXPECT_EQ(table(column() + column() + column() + rows),
              (Areas{{10, 20, 30, 60, kRedCell}, {30, 20, 50, 60, kGreenCell}, {50, 20, 70, 60, kBlueCell}}));
    EXPECT_EQ(table(column(R"(table:number-columns-repeated="3")") + rows),
              table(column() + column() + column() + rows));
    EXPECT_EQ(table(rows), table(column() + column() + column() + rows));  // cells without a column
    const std::string widths = sized("column", "a", R"(style:column-width="1px")") +
                               sized("column", "b", R"(style:column-width="2px")") +
                               sized("column", "d", R"(style:rel-column-width="3*")");
    const std::string columns =
        column(R"(table:style-name="a")") + column(R"(table:style-name="b")") + column(R"(table:style-name="d")");
    EXPECT_EQ(table(columns + rows, "", widths),
              (Areas{{10, 20, 20, 60, kRedCell}, {20, 20, 40, 60, kGreenCell}, {40, 20, 70, 60, kBlueCell}}));
    EXPECT_EQ(table("<table:table-header-columns>" + columns + "</table:table-header-columns>" + rows, "", widths),
              table(columns + rows, "", widths));
    EXPECT_EQ(table("<table:table-columns><table:table-column-group>" + columns +
                        "</table:table-column-group></table:table-columns>" + rows,
                    "", widths),
              table(columns + rows, "", widths));
    EXPECT_EQ(table(rows + "<table:other>" + columns + "</table:other>", "", widths), table(rows));
    // A cell stands for as many as it says, also one that is covered.
    EXPECT_EQ(table(row(cell("ff0000", R"(table:number-columns-repeated="2")") + cell("00ff00"))),
              (Areas{{10, 20, 30, 60, kRedCell}, {30, 20, 50, 60, kRedCell}, {50, 20, 70, 60, kGreenCell}}));
    EXPECT_EQ(table(row(cell("ff0000", R"(table:number-columns-spanned="3")") +
                        R"(<table:covered-table-cell table:number-columns-repeated="2"/>)" + cell("00ff00"))),
              (Areas{{10, 20, 55, 60, kRedCell}, {55, 20, 70, 60, kGreenCell}}));
}

TEST(OdTablesTest, RowsShareTheFrameOrHaveAHeight) {
    const std::string rows = row(cell("ff0000")) + row(cell("00ff00"));
    EXPECT_EQ(table(rows), (Areas{{10, 20, 70, 40, kRedCell}, {10, 40, 70, 60, kGreenCell}}));
    EXPECT_EQ(table("<table:table-header-rows>" + rows + "</table:table-header-rows>"), table(rows));
    EXPECT_EQ(table("<table:table-rows><table:table-row-group>" + rows + "</table:table-row-group></table:table-rows>"),
              table(rows));
    EXPECT_EQ(table(row(cell("ff0000"), R"(table:number-rows-repeated="2")")),
              (Areas{{10, 20, 70, 40, kRedCell}, {10, 40, 70, 60, kRedCell}}));
    const std::string heights = sized("row", "a", R"(style:row-height="5px")") +
                                sized("row", "b", R"(style:min-row-height="9px" style:row-height="3px")");
    EXPECT_EQ(table(row(cell("ff0000"), R"(table:style-name="a")") + row(cell("00ff00"), R"(table:style-name="b")"), "",
                    heights),
              (Areas{{10, 20, 70, 25, kRedCell}, {10, 25, 70, 34, kGreenCell}}));
    EXPECT_EQ(table(row(cell("ff0000"), R"(table:style-name="a")") + row(cell("00ff00")), "", heights),
              (Areas{{10, 20, 70, 25, kRedCell}, {10, 25, 70, 25, kGreenCell}}));
    // A cell of more rows or columns than there are ends with the table.
    EXPECT_EQ(table(row(cell("ff0000", R"(table:number-rows-spanned="5" table:number-columns-spanned="7")") + kEmpty) +
                    row(kEmpty + kEmpty)),
              (Areas{{10, 20, 70, 60, kRedCell}}));
}

TEST(OdTablesTest, StylesOfColumnsAndRows) {
    const std::string columns = column(R"(table:default-cell-style-name="c0000ff")") + column();
    const auto colors = [](const Areas& areas) {
        std::string found;
        for (const auto& area : areas) {
            const Argb color = std::get<4>(area);
            found += color == kRedCell ? 'r' : color == kGreenCell ? 'g' : 'b';
        }
        return found;
    };
    EXPECT_EQ(colors(table(columns + row(kEmpty + kEmpty) + row(cell("ff0000") + cell("00ff00")))), "brg");
    EXPECT_EQ(colors(table(columns + row(kEmpty + kEmpty, R"(table:default-cell-style-name="c00ff00")"))), "gg");
    EXPECT_EQ(colors(table(columns + row(cell("ff0000") + kEmpty, R"(table:default-cell-style-name="c00ff00")"))),
              "rg");
}

TEST(OdTablesTest, TemplatesStyleCellsByTheirPlace) {
    const auto of = [](const std::string& parts, const std::string& uses) {
        const std::string names = R"(<table:table-template table:name="T">)" + parts + "</table:table-template>";
        std::string cells, rows;
        for (int i = 0; i < 4; ++i) {
            cells += kEmpty;
        }
        for (int i = 0; i < 4; ++i) {
            rows += row(cells);
        }
        std::string map(16, '.');
        for (const auto& [left, top, right, bottom, color] : table(rows, R"(table:template-name="T" )" + uses, names)) {
            map[static_cast<size_t>((top - 20) / 10 * 4 + (left - 10) / 15)] = color == kRedCell     ? 'r'
                                                                               : color == kGreenCell ? 'g'
                                                                                                     : 'b';
        }
        return map;
    };
    const auto part = [](const std::string& name, const std::string& digits) {
        return "<table:" + name + " table:style-name=\"c" + digits + "\"/>";
    };
    const auto use = [](const std::string& name) { return "table:use-" + name + "-styles=\"true\" "; };
    const std::string red = "ff0000", green = "00ff00", blue = "0000ff";
    EXPECT_EQ(of(part("first-row", red), use("first-row")), "rrrr............");
    EXPECT_EQ(of(part("last-row", red), use("last-row")), "............rrrr");
    EXPECT_EQ(of(part("first-column", red), use("first-column")), "r...r...r...r...");
    EXPECT_EQ(of(part("last-column", red), use("last-column")), "...r...r...r...r");
    for (const char* name : {"first-row", "last-row", "first-column", "last-column", "even-rows", "odd-columns"}) {
        EXPECT_EQ(of(part(name, red), ""), "................");
    }
    EXPECT_EQ(of(part("body", blue), ""), "bbbbbbbbbbbbbbbb");
    const std::string bands = part("even-rows", red) + part("odd-rows", green);
    EXPECT_EQ(of(bands, use("banding-rows")), "rrrrggggrrrrgggg");
    EXPECT_EQ(of(bands, use("banding-rows") + use("first-row")), "rrrrrrrrggggrrrr");
    EXPECT_EQ(of(bands + part("first-row", blue), use("banding-rows") + use("first-row")), "bbbbrrrrggggrrrr");
    const std::string upright = part("even-columns", red) + part("odd-columns", green);
    EXPECT_EQ(of(upright, use("banding-columns")), "rgrgrgrgrgrgrgrg");
    EXPECT_EQ(of(upright, use("banding-columns") + use("first-column")), "rrgrrrgrrrgrrrgr");
    // The first row comes before the last one, that before the columns, the bands and the body.
    EXPECT_EQ(of(part("first-row", red) + part("first-column", green) + part("body", blue),
                 use("first-row") + use("first-column")),
              "rrrrgbbbgbbbgbbb");
    EXPECT_EQ(of(part("last-column", green) + part("last-row", red), use("last-row") + use("last-column")),
              "...g...g...grrrr");
    EXPECT_EQ(of(part("first-column", green) + bands, use("first-column") + use("banding-rows")), "grrrgggggrrrgggg");
    EXPECT_EQ(of(bands + upright, use("banding-rows") + use("banding-columns")), "rrrrggggrrrrgggg");
    EXPECT_EQ(of(part("even-rows", red) + part("odd-columns", green) + part("body", blue),
                 use("banding-rows") + use("banding-columns")),
              "rrrrbgbgrrrrbgbg");
}

TEST(OdTablesTest, Borders) {
    const auto of = [](const std::string& left, const std::string& right) {
        return table(row(R"(<table:table-cell table:style-name="l"/><table:table-cell table:style-name="r"/>)"), "",
                     cell_style("l", left) + cell_style("r", right));
    };
    constexpr Argb kBlack = 0xFF000000;
    EXPECT_EQ(of(R"(fo:border="none")", ""), Areas{});
    EXPECT_EQ(of(R"(fo:border="2px hidden #ff0000")", R"(fo:border="solid #ff0000")"), Areas{});
    EXPECT_EQ(of(R"(fo:border="0px solid")", R"(fo:border="-1px solid")"), Areas{});
    EXPECT_EQ(of(R"(fo:border-left="2px solid #ff0000")", ""), (Areas{{9, 19, 11, 61, kRedCell}}));
    EXPECT_EQ(of(R"(fo:border-right="2px solid")", ""), (Areas{{39, 19, 41, 61, kBlack}}));
    EXPECT_EQ(of(R"(fo:border-top="2px solid #00ff00")", ""), (Areas{{9, 19, 41, 21, kGreenCell}}));
    EXPECT_EQ(of(R"(fo:border-bottom="2px solid #00ff00")", ""), (Areas{{9, 59, 41, 61, kGreenCell}}));
    EXPECT_EQ(of(R"(fo:border="2px solid" fo:border-left="none" fo:border-top="none" fo:border-bottom="none")", ""),
              (Areas{{39, 19, 41, 61, kBlack}}));
    EXPECT_EQ(of(R"(fo:border="2px solid #0000ff")", "").size(), 4U);
    // The wider one of two that meet; of two of a width the first.
    EXPECT_EQ(of(R"(fo:border-right="2px solid #ff0000")", R"(fo:border-left="4px solid #00ff00")"),
              (Areas{{38, 18, 42, 62, kGreenCell}}));
    EXPECT_EQ(of(R"(fo:border-right="4px solid #ff0000")", R"(fo:border-left="2px solid #00ff00")"),
              (Areas{{38, 18, 42, 62, kRedCell}}));
    EXPECT_EQ(of(R"(fo:border-right="2px solid #ff0000")", R"(fo:border-left="2px solid #00ff00")"),
              (Areas{{39, 19, 41, 61, kRedCell}}));
    // Along a cell of several columns a line for each of them.
    EXPECT_EQ(table(row(R"(<table:table-cell table:style-name="l" table:number-columns-spanned="2"/>)" +
                        std::string("<table:covered-table-cell/>")),
                    "", cell_style("l", R"(fo:border-top="2px solid #ff0000")")),
              (Areas{{9, 19, 41, 21, kRedCell}, {39, 19, 71, 21, kRedCell}}));
}

}  // namespace
}  // namespace zelmor::embed
