// Paragraphs and lists of OpenDocument text: what is said, where it stands, and in which style. Each letter of the
// tests' font is half as wide as high.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "opendocument_calls.h"

namespace zelmor::embed {
namespace {

std::string at_place(const std::string& text, double x, double y) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "@%.4g,%.4g", x + 0.0, y + 0.0);
    return text + buffer;
}

// Paragraphs in a box of the width, 80 pixels high, in letters of ten pixels.
std::vector<Call> calls_of(const std::string& content, const std::string& paragraph = "",
                           const std::string& characters = "", const std::string& definitions = "", int width = 100,
                           const std::string& graphic = "") {
    return drawn_page(
        R"(draw:stroke="none" draw:fill="none" )" + graphic,
        R"(<draw:frame draw:style-name="s" draw:text-style-name="P" svg:width=")" + std::to_string(width) +
            R"(px" svg:height="80px"><draw:text-box>)" + content + "</draw:text-box></draw:frame>",
        R"(<style:style style:name="P" style:family="paragraph"><style:paragraph-properties )" + paragraph +
            R"(/><style:text-properties fo:font-size="10px" )" + characters + "/></style:style>" + definitions);
}

using Said = std::vector<std::string>;
Said said(const std::vector<Call>& calls) {
    Said found;
    for (const Call& call : calls) {
        if (call.kind == 't') {
            found.push_back(at_place(call.layout.text, call.placing.dx, call.placing.dy));
        }
    }
    return found;
}
Said paragraphs(const std::string& content, const std::string& paragraph = "", int width = 100,
                const std::string& graphic = "") {
    return said(calls_of(content, paragraph, "", "", width, graphic));
}

// ---- What is said

TEST(OdTextTest, SpacesTabsBreaksAndFields) {
    EXPECT_EQ(paragraphs("<text:p>  a \n\t b  </text:p>"), (Said{"a b@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a<text:s/>b</text:p>"), (Said{"a b@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a<text:s text:c=\"3\"/>b</text:p>"), (Said{"a   b@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a<text:s text:c=\"-3\"/>b</text:p>"), (Said{"ab@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a <text:s/> b</text:p>"), (Said{"a   b@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a<text:line-break/> b</text:p>"), (Said{"a@0,0", "b@0,10"}));
    EXPECT_EQ(paragraphs("<text:p>a<text:line-break/><text:line-break/>b</text:p>"), (Said{"a@0,0", "b@0,20"}));
    EXPECT_EQ(paragraphs("<text:p><text:page-number/> of <text:page-count/></text:p>"), (Said{"1 of 1@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a <text:title>b <text:span>c</text:span></text:title></text:p>"),
              (Said{"a b c@0,0"}));
    EXPECT_EQ(paragraphs("<text:p>a<office:annotation><text:p>b</text:p></office:annotation><text:note>c</text:note>"
                         "</text:p>"),
              (Said{"a@0,0"}));
    EXPECT_EQ(paragraphs("<text:h>a</text:h><text:p/><text:p>b</text:p>"), (Said{"a@0,0", "b@0,20"}));
    // Tabs go to multiples of 12.5 mm.
    EXPECT_EQ(paragraphs("<text:p>a<text:tab/>b</text:p>"), (Said{"a@0,0", "b@47.24,0"}));
    EXPECT_EQ(paragraphs("<text:p><text:tab/><text:tab/>b</text:p>"), (Said{"b@94.49,0"}));
    EXPECT_EQ(paragraphs("<text:p>aaaaaaaaaa<text:tab/> b</text:p>", "", 200), (Said{"aaaaaaaaaa@0,0", " b@94.49,0"}));
    EXPECT_EQ(paragraphs("<text:p>aaaaaaaaaa<text:tab/> b</text:p>"), (Said{"aaaaaaaaaa@0,0", "b@0,10"}));
}

TEST(OdTextTest, LinesAreBrokenAtSpaces) {
    const auto lines = [](const std::string& text, int width = 50) {
        return paragraphs("<text:p>" + text + "</text:p>", "", width);
    };
    EXPECT_EQ(lines("aaaaa bbbb"), (Said{"aaaaa bbbb@0,0"}));  // as many as there is room for
    EXPECT_EQ(lines("aaaaa bbbbb"), (Said{"aaaaa@0,0", "bbbbb@0,10"}));
    EXPECT_EQ(lines("aaaaaaaaaa bb"), (Said{"aaaaaaaaaa@0,0", "bb@0,10"}));
    EXPECT_EQ(lines("aaaaaaaaaaaab c"), (Said{"aaaaaaaaaa@0,0", "aab c@0,10"}));
    EXPECT_EQ(lines("aa bbbbbbbbbbbbbbb"), (Said{"aa@0,0", "bbbbbbbbbb@0,10", "bbbbb@0,20"}));
    EXPECT_EQ(lines("aaa", 4), (Said{"a@0,0", "a@0,10", "a@0,20"}));
    EXPECT_EQ(lines("\xC3\xA9\xC3\xA9\xC3\xA9", 20), (Said{"\xC3\xA9\xC3\xA9@0,0", "\xC3\xA9@0,10"}));
    // A word in two styles moves as a whole.
    EXPECT_EQ(said(calls_of("<text:p>aaaa bbb<text:span text:style-name=\"B\">ccc</text:span></text:p>", "", "",
                            R"(<style:style style:name="B" style:family="text"><style:text-properties
                            fo:font-weight="bold"/></style:style>)",
                            50)),
              (Said{"aaaa@0,0", "bbb@0,10", "ccc@15,10"}));
    // Nothing is broken in a shape that grows or does not wrap; the text is in its middle.
    for (const char* option :
         {R"(draw:auto-grow-width="true")", R"(draw:auto-grow-width="true" fo:wrap-option="wrap")"}) {
        EXPECT_EQ(paragraphs("<text:p>aaaaaaa bbbbbb</text:p>", "", 50, option), (Said{"aaaaaaa bbbbbb@-10,0"}));
    }
    EXPECT_EQ(paragraphs("<text:p>aaaaaa bbbb</text:p>", "", 50, R"(fo:wrap-option="no-wrap")"),
              (Said{"aaaaaa@0,0", "bbbb@0,10"}));  // of a box of text the option says nothing
}

TEST(OdTextTest, LinesAreAligned) {
    const std::string two = "<text:p>aaaa bbbb cccc dddd eeee</text:p>";  // 95 of 100 pixels, and 20
    EXPECT_EQ(paragraphs(two), (Said{"aaaa bbbb cccc dddd@0,0", "eeee@0,10"}));
    EXPECT_EQ(paragraphs(two, R"(fo:text-align="left")"), (Said{"aaaa bbbb cccc dddd@0,0", "eeee@0,10"}));
    EXPECT_EQ(paragraphs(two, R"(fo:text-align="center")"), (Said{"aaaa bbbb cccc dddd@2.5,0", "eeee@40,10"}));
    for (const char* end : {R"(fo:text-align="end")", R"(fo:text-align="right")"}) {
        EXPECT_EQ(paragraphs(two, end), (Said{"aaaa bbbb cccc dddd@5,0", "eeee@80,10"}));
    }
    const Said justified{"aaaa@0,0", "bbbb@26.67,0", "cccc@53.33,0", "dddd@80,0", "eeee@0,10"};
    EXPECT_EQ(paragraphs(two, R"(fo:text-align="justify")"), justified);
    EXPECT_EQ(paragraphs("<text:p>aaaa b<text:line-break/>cc d</text:p>", R"(fo:text-align="justify")"),
              (Said{"aaaa b@0,0", "cc d@0,10"}));  // a line that ends by itself
    EXPECT_EQ(paragraphs("<text:p>aaaaaaaaaaaaaaaaaaa bbbb</text:p>", R"(fo:text-align="justify")"),
              (Said{"aaaaaaaaaaaaaaaaaaa@0,0", "bbbb@0,10"}));  // without a space
}

TEST(OdTextTest, MarginsAndIndents) {
    const std::string text = "<text:p>aaaa bbbb cccc</text:p>";
    EXPECT_EQ(paragraphs(text, R"(fo:margin-left="10px" fo:text-indent="20px")"), (Said{"aaaa bbbb cccc@30,0"}));
    EXPECT_EQ(paragraphs(text, R"(fo:margin-left="20px" fo:margin-right="30px" fo:text-indent="-10px")"),
              (Said{"aaaa bbbb@10,0", "cccc@20,10"}));
    EXPECT_EQ(paragraphs(text, R"(fo:margin-right="30px")"), (Said{"aaaa bbbb cccc@0,0"}));
    EXPECT_EQ(paragraphs(text, R"(fo:margin-right="31px")"), (Said{"aaaa bbbb@0,0", "cccc@0,10"}));
    EXPECT_EQ(paragraphs(text, R"(fo:text-align="end" fo:margin-left="10px")"), (Said{"aaaa bbbb cccc@30,0"}));
    // Between paragraphs the greater of two margins counts, above the first none.
    const std::string pair = "<text:p>a</text:p><text:p>b</text:p>";
    EXPECT_EQ(paragraphs(pair, R"(fo:margin-top="7px" fo:margin-bottom="3px")"), (Said{"a@0,0", "b@0,17"}));
    EXPECT_EQ(paragraphs(pair, R"(fo:margin-top="3px" fo:margin-bottom="8px")"), (Said{"a@0,0", "b@0,18"}));
    EXPECT_EQ(paragraphs(pair, R"(fo:margin="6px")"), (Said{"a@6,0", "b@6,16"}));
    EXPECT_EQ(paragraphs(pair, R"(fo:margin="6px" fo:margin-left="1px" fo:margin-top="9px")"),
              (Said{"a@1,0", "b@1,19"}));
}

TEST(OdTextTest, LinesHaveAHeight) {
    const std::string two = "<text:p>a<text:line-break/>b<text:line-break/>c</text:p>";
    EXPECT_EQ(paragraphs(two, R"(fo:line-height="200%")"), (Said{"a@0,0", "b@0,20", "c@0,40"}));
    EXPECT_EQ(paragraphs(two, R"(fo:line-height="50%")"), (Said{"a@0,-5", "b@0,0", "c@0,5"}));
    EXPECT_EQ(paragraphs(two, R"(fo:line-height="30px")"), (Said{"a@0,20", "b@0,50", "c@0,80"}));
    EXPECT_EQ(paragraphs(two, R"(fo:line-height="normal")"), (Said{"a@0,0", "b@0,10", "c@0,20"}));
}

TEST(OdTextTest, TextStandsInItsShape) {
    const std::string text = "<text:p>aaaa</text:p>";
    for (const auto& [option, place] :
         {std::pair{R"(draw:textarea-vertical-align="middle")", "aaaa@0,35"},
          {R"(draw:textarea-vertical-align="bottom")", "aaaa@0,70"},
          {R"(draw:textarea-vertical-align="top")", "aaaa@0,0"},
          {R"(draw:textarea-horizontal-align="left")", "aaaa@0,0"},
          {R"(draw:textarea-horizontal-align="center")", "aaaa@40,0"},
          {R"(draw:textarea-horizontal-align="right")", "aaaa@80,0"},
          {R"(draw:textarea-horizontal-align="justify")", "aaaa@0,0"},
          {R"(draw:textarea-horizontal-align="justify" draw:auto-grow-width="true")", "aaaa@40,0"},
          {R"(draw:textarea-horizontal-align="right" draw:auto-grow-width="true")", "aaaa@80,0"},
          {R"(draw:textarea-horizontal-align="left" draw:auto-grow-width="true")", "aaaa@0,0"},
          {R"(fo:padding="4px")", "aaaa@4,4"},
          {R"(fo:padding="4px" fo:padding-left="9px")", "aaaa@9,4"},
          {R"(fo:padding="4px" fo:padding-top="9px")", "aaaa@4,9"},
          {R"(draw:textarea-vertical-align="bottom" fo:padding-bottom="9px")", "aaaa@0,61"},
          {R"(draw:textarea-horizontal-align="right" fo:padding-right="9px")", "aaaa@71,0"}}) {
        EXPECT_EQ(paragraphs(text, "", 100, option), Said{place}) << option;
    }
}

// ---- Styles

const Call& first_text(const std::vector<Call>& calls) {
    for (const Call& call : calls) {
        if (call.kind == 't') {
            return call;
        }
    }
    return calls.at(calls.size());
}

TEST(OdTextTest, CharactersHaveStyles) {
    const auto styled = [](const std::string& characters) { return calls_of("<text:p>a</text:p>", "", characters); };
    const auto layout = [&](const std::string& characters) { return first_text(styled(characters)).layout; };
    EXPECT_EQ(layout("").size, 10);
    EXPECT_EQ(layout(R"(fo:font-family="'Noto Serif'")").family, "Noto Serif");
    EXPECT_EQ(layout("").family, "sans-serif");
    for (const auto& [weight, bold] :
         {std::pair{"bold", true}, {"600", true}, {"599", false}, {"normal", false}, {"900", true}, {"400", false}}) {
        EXPECT_EQ(layout(std::string("fo:font-weight=\"") + weight + '"').bold, bold) << weight;
    }
    for (const auto& [slope, italic] : {std::pair{"italic", true}, {"oblique", true}, {"normal", false}}) {
        EXPECT_EQ(layout(std::string("fo:font-style=\"") + slope + '"').italic, italic) << slope;
    }
    for (const auto& [line, has] : {std::pair{"solid", true}, {"wave", true}, {"none", false}, {"", false}}) {
        EXPECT_EQ(layout(std::string("style:text-underline-style=\"") + line + '"').underline, has) << line;
        EXPECT_EQ(layout(std::string("style:text-line-through-style=\"") + line + '"').strikeout, has) << line;
    }
    const auto color = [&](const std::string& characters) { return first_text(styled(characters)).paint.color; };
    EXPECT_EQ(color(""), 0xFF000000);
    EXPECT_EQ(color(R"(fo:color="#102030")"), 0xFF102030);
    EXPECT_EQ(color(R"(fo:color="#102030" loext:opacity="50%")"), 0x80102030);
    EXPECT_EQ(color(R"(fo:color="#102030" loext:opacity="200%")"), 0xFF102030);
    EXPECT_EQ(color(R"(fo:color="#102030" style:use-window-font-color="true" loext:opacity="0%")"), 0xFF000000);
    EXPECT_EQ(color(R"(fo:color="#102030" style:use-window-font-color="false")"), 0xFF102030);
    // Underlined spaces show.
    EXPECT_EQ(kinds(calls_of("<text:p><text:s text:c=\"2\"/></text:p>")), "");
    EXPECT_EQ(kinds(calls_of("<text:p><text:s text:c=\"2\"/></text:p>", "", R"(style:text-underline-style="solid")")),
              "t");
    EXPECT_EQ(
        kinds(calls_of("<text:p><text:s text:c=\"2\"/></text:p>", "", R"(style:text-line-through-style="solid")")),
        "t");
}

TEST(OdTextTest, ABackgroundStandsBehindItsPiece) {
    const auto calls = calls_of("<text:p>ab</text:p>", R"(fo:margin-left="3px")", R"(fo:background-color="#ffff00")");
    ASSERT_EQ(kinds(calls), "ft");
    EXPECT_EQ(calls[0].paint.color, 0xFFFFFF00);
    expect_box(bounds_of(calls[0].outline), 3, 0, 10, 10);
    EXPECT_EQ(kinds(calls_of("<text:p>ab</text:p>", "", R"(fo:background-color="transparent")")), "t");
}

TEST(OdTextTest, TextIsRaisedAndLowered) {
    const auto placed = [](const std::string& position) {
        const auto calls =
            calls_of("<text:p>a<text:span text:style-name=\"R\">b</text:span><text:line-break/>c</text:p>", "", "",
                     R"(<style:style style:name="R" style:family="text"><style:text-properties
                                    style:text-position=")" +
                         position + R"("/></style:style>)");
        Said found = said(calls);
        found.push_back(std::to_string(std::lround(100 * calls.at(1).layout.size)));
        return found;
    };
    // Its baseline is a third of the size higher or lower, and its letters are smaller.
    EXPECT_EQ(placed("super"), (Said{"a@0,0", "b@5,0.06", "c@0,10", "580"}));
    EXPECT_EQ(placed("sub"), (Said{"a@0,0", "b@5,6.66", "c@0,12.46", "580"}));
    EXPECT_EQ(placed("super 50%"), (Said{"a@0,0", "b@5,0.7", "c@0,10", "500"}));
    EXPECT_EQ(placed("-20% 50%"), (Said{"a@0,0", "b@5,6", "c@0,11", "500"}));
    EXPECT_EQ(placed("60% 100%"), (Said{"a@0,6", "b@5,0", "c@0,16", "1000"}));
    EXPECT_EQ(placed("20%"), (Said{"a@0,0", "b@5,1.36", "c@0,10", "580"}));
    for (const char* none : {"0% 100%", "0%", "middle"}) {
        EXPECT_EQ(placed(none), (Said{"ab@0,0", "c@0,10", "1000"})) << none;
    }
}

// ---- Lists

std::string level(int number, const std::string& format, const std::string& more = "") {
    return "<text:list-level-style-number text:level=\"" + std::to_string(number) + "\" style:num-format=\"" + format +
           "\" " + more + R"(><style:list-level-properties text:space-before="10px" text:min-label-width="20px"/>
           </text:list-level-style-number>)";
}
Said listed(const std::string& items, const std::string& levels, const std::string& paragraph = "") {
    return said(calls_of("<text:list text:style-name=\"L\">" + items + "</text:list>", paragraph, "",
                         "<text:list-style style:name=\"L\">" + levels + "</text:list-style>", 200));
}
std::string item(const std::string& content, const std::string& more = "") {
    return "<text:list-item " + more + "><text:p>" + content + "</text:p></text:list-item>";
}

TEST(OdListsTest, NumbersAreWritten) {
    const auto label = [](int number, const std::string& format) {
        const Said found = listed(item("x"), level(1, format, "text:start-value=\"" + std::to_string(number) + '"'));
        return found.size() < 2 ? std::string() : found[0].substr(0, found[0].find('@'));
    };
    for (const auto& [number, format, text] : {std::tuple{1, "1", "1"},
                                               {12, "1", "12"},
                                               {1, "a", "a"},
                                               {2, "A", "B"},
                                               {26, "a", "z"},
                                               {27, "a", "aa"},
                                               {52, "a", "az"},
                                               {53, "A", "BA"},
                                               {702, "a", "zz"},
                                               {703, "a", "aaa"},
                                               {1, "i", "i"},
                                               {3, "i", "iii"},
                                               {4, "i", "iv"},
                                               {9, "I", "IX"},
                                               {14, "I", "XIV"},
                                               {40, "i", "xl"},
                                               {90, "i", "xc"},
                                               {444, "i", "cdxliv"},
                                               {900, "i", "cm"},
                                               {1666, "I", "MDCLXVI"},
                                               {3999, "i", "mmmcmxcix"},
                                               {4000, "i", "4000"},
                                               {0, "i", "0"},
                                               {0, "a", ""},
                                               {5, "", ""}}) {
        EXPECT_EQ(label(number, format), text) << number << ' ' << format;
    }
}

TEST(OdListsTest, ItemsAreCountedAndIndented) {
    const std::string dotted = level(1, "1", R"-(style:num-prefix="(" style:num-suffix=")")-");
    EXPECT_EQ(listed(item("a") + item("b"), dotted), (Said{"(1)@10,0", "a@30,0", "(2)@10,10", "b@30,10"}));
    EXPECT_EQ(listed(item("a") + item("b", "text:start-value=\"7\"") + item("c"), dotted),
              (Said{"(1)@10,0", "a@30,0", "(7)@10,10", "b@30,10", "(8)@10,20", "c@30,20"}));
    // Only the first paragraph of an item has a label, headers have none, and empty items do not count.
    EXPECT_EQ(
        listed("<text:list-item><text:p>a</text:p><text:h>b</text:h></text:list-item><text:list-item/>"
               "<text:list-header><text:p>c</text:p></text:list-header><text:other><text:p>d</text:p></text:other>" +
                   item("e"),
               dotted),
        (Said{"(1)@10,0", "a@30,0", "b@30,10", "c@30,20", "(2)@10,30", "e@30,30"}));
    EXPECT_EQ(listed(item("a"), dotted, R"(fo:margin-left="5px" fo:text-indent="2px")"), (Said{"(1)@10,0", "a@37,0"}));
    EXPECT_EQ(listed(item("a"), dotted, R"(fo:text-align="end")"), (Said{"(1)@175,0", "a@195,0"}));
    EXPECT_EQ(listed(item("a"), ""), (Said{"a@0,0"}));
    EXPECT_EQ(listed(item("a"), level(2, "1")), (Said{"a@0,0"}));
}

TEST(OdListsTest, ListsStandInLists) {
    const std::string inner = "<text:list-item><text:list>" + item("b") + "</text:list></text:list-item>";
    EXPECT_EQ(listed(item("a") + inner + item("c"), level(1, "1") + level(2, "a")),
              (Said{"1@10,0", "a@30,0", "a@10,10", "b@30,10", "3@10,20", "c@30,20"}));
    // As many levels as the format has.
    for (const auto& [depth, expected] : {std::pair{10, Said{"x@0,0"}}, {11, Said{}}}) {
        std::string nested = item("x");
        for (int i = 1; i < depth; i++) {
            nested.insert(0, "<text:list-item><text:list>").append("</text:list></text:list-item>");
        }
        EXPECT_EQ(listed(nested, ""), expected) << depth;
    }
}

TEST(OdListsTest, LabelsHaveStyles) {
    const auto label = [](const std::string& characters) {
        return first_text(calls_of(
            "<text:list text:style-name=\"L\">" + item("a") + "</text:list>", "",
            R"(fo:color="#102030" style:text-underline-style="solid" style:text-line-through-style="solid")",
            R"(<text:list-style style:name="L"><text:list-level-style-bullet text:level="1" text:bullet-char="*">
            <style:text-properties )" +
                characters + "/></text:list-level-style-bullet></text:list-style>"));
    };
    EXPECT_EQ(label("").layout.text, "*");
    EXPECT_EQ(label("").layout.size, 10);
    EXPECT_EQ(label("").paint.color, 0xFF102030);
    EXPECT_FALSE(label("").layout.underline);
    EXPECT_FALSE(label("").layout.strikeout);
    EXPECT_EQ(label(R"(fo:font-size="150%")").layout.size, 15);
    EXPECT_EQ(label(R"(fo:font-size="7px")").layout.size, 7);
    EXPECT_EQ(label(R"(fo:color="#405060")").paint.color, 0xFF405060);
}

}  // namespace
}  // namespace zelmor::embed
