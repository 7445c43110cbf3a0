// What is read of the text of SVG documents before they are drawn: numbers, transformations, lengths of paths, sizes of
// fonts, links, and how often references draw an element.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/formats/svg/svg_filtering.h"
#include "runtime/native/formats/svg/svg_font_size.h"
#include "runtime/native/formats/svg/svg_links.h"
#include "runtime/native/formats/svg/svg_numbers.h"

namespace zelmor::imagework {
namespace {

using Numbers = std::vector<double>;

TEST(SvgReadingTest, ListsOfNumbers) {
    EXPECT_EQ(svg_numbers("1 -2,3.5\t4\r\n5e1,,+6"), (Numbers{1, -2, 3.5, 4, 50, 6}));
    EXPECT_EQ(svg_numbers("1-2.5.5"), (Numbers{1, -2.5, 0.5}));
    EXPECT_EQ(svg_numbers("7px 8"), (Numbers{7}));
    EXPECT_TRUE(svg_numbers("").empty());
    EXPECT_TRUE(svg_numbers(" ,").empty());
    EXPECT_TRUE(svg_numbers("x1").empty());
    EXPECT_EQ(svg_number("  12.5mm"), 12.5);
    EXPECT_EQ(svg_number("1e999"), HUGE_VAL);
    EXPECT_FALSE(svg_number("e1"));
    EXPECT_EQ(lower_case("AbZ@[`z{\xC3\x84"), "abz@[`z{\xC3\x84");
}

TEST(SvgReadingTest, ScalesOfTransformations) {
    const std::pair<const char*, double> cases[] = {{"", 1},
                                                    {"rotate(30)", 1},
                                                    {"translate(5 6)", 1},
                                                    {"scale(3)", 3},
                                                    {"scale(2,-5)", 5},
                                                    {"scale(-7 5)", 7},
                                                    {"scale(2) scale(3)", 6},
                                                    {"scale (2)", 2},
                                                    {"translate(9),scale(2)", 2},
                                                    {"scale()", 1},
                                                    {"matrix(2 0 0 3 9 9)", 3},
                                                    {"matrix(0 4 -2 0 9 9)", 4},
                                                    {"matrix(3 0 0 3 9)", 1},
                                                    {"skewX(45)", 2},
                                                    {"skewY(-45)", 2},
                                                    {"skewX(0)", 1},
                                                    {"skewX()", 1},
                                                    {"matrix(1 1 -1 1 0 0)", std::sqrt(2)},
                                                    {"scale(2", 2},
                                                    {"scale 2", 1},
                                                    {"noscale(3)", 1}};
    for (const auto& [text, scale] : cases) {
        EXPECT_NEAR(svg_transform_scale(text), scale, 1e-9) << text;
    }
}

// The sum of the steps in both directions.
TEST(SvgReadingTest, LengthsOfPaths) {
    const std::pair<const char*, double> cases[] = {{"", 0},
                                                    {"M0 0L3 4", 7},
                                                    {"M1 1 4 5", 2 + 7},
                                                    {"M1 1L4 5l-3 -4", 2 + 7 + 7},
                                                    {"M0 0H5V7", 12},
                                                    {"M1 2H5H1V9", 3 + 4 + 4 + 7},
                                                    {"M0 0h5v-7", 12},
                                                    {"M0 0h5 6 7", 18},
                                                    {"M0 0C1 1 2 2 3 3", 6},
                                                    {"M0 0C1 1 -2 2 3 3", 1 + 1 + 3 + 1 + 5 + 1},
                                                    {"M0 0c1 1 2 2 3 3", 12},
                                                    {"M0 0S1 1 2 2", 4},
                                                    {"M0 0s1 1 2 2", 6},
                                                    {"M0 0Q1 1 2 2", 4},
                                                    {"M0 0T5 6", 11},
                                                    {"M0 0A2 3 30 1 1 10 10", 2 * M_PI * 5 + 20},
                                                    {"M0 0a2 -3 30 1 1 10 10", 2 * M_PI * 5 + 20},
                                                    {"M0 0A2 3 30 1 1 10 10 2 3 90 1 1 0 0", 2 * (2 * M_PI * 5 + 20)},
                                                    {"M1 1ZM5 5", 2 + 8},
                                                    {"M0 0 ; L3 4", 7},
                                                    {"m1 2 3 4", 10}};
    for (const auto& [path, length] : cases) {
        EXPECT_NEAR(svg_path_length(path), length, 1e-9) << path;
    }
}

TEST(SvgReadingTest, SizesOfFonts) {
    const auto expect = [](const char* text, double pixels, double factor) {
        const SvgFontSize size = svg_font_size(text);
        EXPECT_NEAR(size.pixels, pixels, 1e-9 * (1 + pixels)) << text;
        EXPECT_NEAR(size.factor, factor, 1e-9 * (1 + factor)) << text;
    };
    expect("", 0, 0);
    expect("12", 12, 0);
    expect("12PX", 12, 0);
    expect("2in", 192, 0);
    expect("2.54cm", 96, 0);
    expect("25.4mm", 96, 0);
    expect("101.6Q", 96, 0);
    expect("72pt", 96, 0);
    expect("6pc", 96, 0);
    expect("150%", 0, 1.5);
    expect("3em", 288, 3);
    expect("2vw", 192, 2);
    expect("larger", 0, 1.2);
    expect("smaller", 0, 0);
    expect("bold 12px/20px serif", 20, 0);
    expect("calc(3px + 50%)", 3, 0.5);
    expect(".5px", 0.5, 0);
    expect("1e999px", 1e300, 0);
    EXPECT_GE(svg_font_size("2\\70x").pixels, 2);  // an escape hides a unit: what it can be at most
    const auto in = [](const char* text) {
        const SvgFontSize size = svg_font_size_in(text);
        return std::pair(size.pixels, size.factor);
    };
    EXPECT_EQ(in("font-size: 12px"), std::pair(12.0, 0.0));
    EXPECT_EQ(in("fill: red; FONT: 9px a; font-size: 200%"), std::pair(9.0, 2.0));
    EXPECT_EQ(in("a { font-size: 5px } b { font-size: 7px } c { width: 99px }"), std::pair(7.0, 0.0));
    EXPECT_EQ(in("f\\6fnt-size: 5px"), std::pair(5.0, 0.0));
    EXPECT_EQ(in("width: 5px; font-size 6px"), std::pair(0.0, 0.0));
}

TEST(SvgReadingTest, CommentsAndImportsOfStyleSheets) {
    EXPECT_EQ(without_comments("a /* b */ c/**/d"), "a  cd");
    EXPECT_EQ(without_comments("/*a*/"), "");
    EXPECT_EQ(without_comments("a /* b"), "a ");
    EXPECT_EQ(without_comments("a /*/ b */c"), "a c");
    EXPECT_EQ(without_comments("a * / b"), "a * / b");
    EXPECT_EQ(without_comments("/*"), "");
    for (const char* text : {"@import url(data:text/css,a)", "a {} @IMPORT 'DATA:b';", "@import url(d\\61ta:b)",
                             "@\\69mport 'data:a'", "@import 'a.css'; @import 'data:b'"}) {
        EXPECT_TRUE(imports_data(text)) << text;
    }
    for (const char* text : {"", "@import 'a.css'; a { b: 'data:c' }", "@font-face { src: url(data:a) }", "data", "@",
                             "import 'data:a'"}) {
        EXPECT_FALSE(imports_data(text)) << text;
    }
}

TEST(SvgReadingTest, WordsThatMakeGroups) {
    for (const char* text : {"opacity", "fill-OPACITY", "mask", "filter", "clip-path", "mix-blend-mode", "isolation",
                             "pattern", "a\\62"}) {
        EXPECT_TRUE(may_make_group(text)) << text;
    }
    for (const char* text : {"", "fill", "clip", "opacit", "transform"}) {
        EXPECT_FALSE(may_make_group(text)) << text;
    }
}

// A document of one byte or two bytes a character.
std::vector<uint8_t> bytes_of(const std::string& text, int form) {
    std::vector<uint8_t> bytes;
    for (const char c : text) {
        if (form == 2) {
            bytes.push_back(0);
        }
        bytes.push_back(static_cast<uint8_t>(c));
        if (form == 1) {
            bytes.push_back(0);
        }
    }
    return bytes;
}

TEST(SvgReadingTest, LinksAreTakenOut) {
    const std::pair<const char*, const char*> cases[] = {
        {"<a href='x'>", "<a hre_='x'>"},
        {"<a xlink:href=\"x\" b='href=c'>", "<a xlink:hre_=\"x\" b='href=c'>"},
        {"<a\thref\n= 'x'/>", "<a\thre_\n= 'x'/>"},
        {"<a title='>' href='x'>", "<a title='>' hre_='x'>"},
        {"<a href='x' xlink:href='y'>", "<a hre_='x' xlink:hre_='y'>"},
        {"<a hreflang='de' href='x'>", "<a hreflang='de' hre_='x'>"},
        {"<a data-href='1' href='x'>", "<a data-href='1' hre_='x'>"},
        {"<a href='x'> href='y'>", "<a hre_='x'> href='y'>"}};
    for (const auto& [text, expected] : cases) {
        for (const int form : {0, 1, 2}) {
            const std::string before = "<svg>";
            std::vector<uint8_t> document = bytes_of(before + text, form);
            EXPECT_TRUE(take_out_links(document, {bytes_of(before, form).size()}));
            EXPECT_EQ(document, bytes_of(before + expected, form)) << text;
        }
    }
    for (const char* text : {"<a>", "a href='x'>", "<a title='href=x'>", "<a data-href='x'>", "<a", ""}) {
        std::vector<uint8_t> document = bytes_of(text, 0);
        EXPECT_FALSE(take_out_links(document, {0})) << text;
        EXPECT_EQ(document, bytes_of(text, 0));
    }
    std::vector<uint8_t> two = bytes_of("<a href='x'><a href='y'><a href='z'>", 0);
    EXPECT_TRUE(take_out_links(two, {0, 24}));
    EXPECT_EQ(two, bytes_of("<a hre_='x'><a href='y'><a hre_='z'>", 0));
    EXPECT_TRUE(take_out_links(two, {}));
}

TEST(SvgReadingTest, WorkOfReferences) {
    const auto work = [](std::vector<SvgNode> nodes) { return svg_work(nodes); };
    EXPECT_EQ(work({}), 0);
    EXPECT_EQ(work({{0, 3, false, {}}}), 3);
    EXPECT_EQ(work({{0, 3, false, {}}, {0, 4, false, {}}, {1, 5, false, {}}}), 12);
    // What is drawn by references alone is not drawn with its parent.
    EXPECT_EQ(work({{0, 1, false, {}}, {0, 4, true, {}}}), 1);
    EXPECT_EQ(work({{0, 1, false, {1, 1}}, {0, 4, true, {}}}), 9);
    const SvgNode inner{.parent = 0, .work = 7, .referred_to = true, .references = {}};
    SvgNode middle{.parent = 0, .work = 1, .referred_to = true, .references = {2, 2, 2}};
    SvgNode root{.parent = 0, .work = 0, .referred_to = false, .references = {1, 1}};
    EXPECT_EQ(work({root, middle, inner}), 2 * (1 + 3 * 7));
    // A reference in a circle counts nothing.
    middle.references = {0, 1, 2};
    EXPECT_EQ(work({root, middle, inner}), 2 * (1 + 7));
    root.references = {0};
    root.work = 5;
    EXPECT_EQ(work({root}), 5);
    std::vector<SvgNode> chain(1, root);
    for (size_t i = 1; i <= 40; ++i) {
        chain.push_back({.parent = 0, .work = 0, .referred_to = true, .references = {i + 1, i + 1}});
    }
    chain[0].references = {1};
    chain.push_back(inner);
    EXPECT_EQ(work(chain), 5 + 7 * std::pow(2.0, 40));
}

}  // namespace
}  // namespace zelmor::imagework
