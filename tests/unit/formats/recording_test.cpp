// The records that a canvas of metafiles makes of each pen, text, area and picture, by their published fields, and what
// has no record of its own and becomes an area or a bitmap.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/metafile/letter_widths.h"
#include "runtime/native/formats/metafile/player/fields.h"
#include "runtime/native/formats/metafile/recording/emf_canvas.h"
#include "runtime/native/formats/metafile/recording/wmf_canvas.h"

namespace zelmor::embed::metafile {
namespace {

using drawwork::Canvas;
using drawwork::Contour;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;
using drawwork::Stroke;
using drawwork::StrokeCap;
using drawwork::StrokeJoin;
using drawwork::TextLayout;
using Names = std::vector<std::string>;
using Points = std::vector<PointD>;

constexpr Argb kInk = 0xFF102030;
constexpr int kEmfUnits = 32;  // in a pixel
const Outline kBox{rectangle_contour({10, 10, 30, 20})};
const Outline kLine{[] {
    Contour line{{10, 10}, {}, false};
    line.line_to({40, 10});
    return line;
}()};

Paint solid(Argb color, double opacity = 1) {
    Paint paint;
    paint.color = color;
    paint.opacity = opacity;
    return paint;
}

TextLayout words(const std::string& text = "Hi") {
    TextLayout layout;
    layout.text = text;
    layout.family = "DejaVu Sans,Serif";
    layout.size = 20;
    return layout;
}

class Recorded {
 public:
    explicit Recorded(Records records) : m_records(std::move(records)) {}

    Names names() const {
        Names found;
        for (const auto& record : m_records) {
            const std::string_view name = record->type().name;
            found.emplace_back(name.substr(name.rfind('.') + 4));  // without "Wmf" or "Emf"
        }
        return found;
    }
    size_t count(std::string_view name) const { return all(name).size(); }
    std::vector<Ref<ManagedObject>> all(std::string_view name) const {
        std::vector<Ref<ManagedObject>> found;
        const Names every = names();
        for (size_t i = 0; i < every.size(); ++i) {
            if (every[i] == name) {
                found.push_back(m_records[i]);
            }
        }
        return found;
    }
    const ManagedObject& only(std::string_view name) const {
        const auto found = all(name);
        EXPECT_EQ(found.size(), 1U) << name;
        if (found.size() != 1) {
            throw std::logic_error("not one " + std::string(name));
        }
        return *found[0];
    }
    std::vector<int64_t> numbers(std::string_view name, const char* property) const {
        std::vector<int64_t> found;
        for (const auto& record : all(name)) {
            found.push_back(whole_in(*record, property));
        }
        return found;
    }

 private:
    Records m_records;
};

template <class Draw>
Recorded wmf(Draw&& draw, const RectD& window = {0, 0, 100, 80}) {
    WmfCanvas canvas(100, 80, window, 0);
    draw(canvas);
    return Recorded(canvas.records());
}
template <class Draw>
Recorded emf(Draw&& draw) {
    EmfCanvas canvas(100, 80);
    const auto start = static_cast<std::ptrdiff_t>(canvas.records().size());
    draw(canvas);
    return Recorded(Records(canvas.records().begin() + start, canvas.records().end()));
}

std::vector<double> advances(const TextLayout& layout, double unit) {
    std::vector<double> found;
    double before = 0;
    for (size_t i = 1; i <= layout.text.size(); ++i) {
        TextLayout part = layout;
        part.text = layout.text.substr(0, i);
        const double end = drawing_backend().measure(part).width * unit;
        found.push_back(static_cast<double>(std::lround(end) - std::lround(before)));
        before = end;
    }
    return found;
}

// ---- Text

constexpr void (*kStyles[])(TextLayout&) = {
    [](TextLayout&) {},
    [](TextLayout& layout) { layout.bold = true; },
    [](TextLayout& layout) { layout.italic = true; },
    [](TextLayout& layout) { layout.underline = true; },
    [](TextLayout& layout) { layout.strikeout = true; },
    [](TextLayout& layout) { layout.size = 21; },
    [](TextLayout& layout) { layout.family = "DejaVu Serif"; },
};

TEST(RecordedTextTest, FontsAndColorsAreMadeOnce) {
    const auto draw = [](Canvas& canvas) {
        for (int round = 0; round < 2; ++round) {
            for (const auto style : kStyles) {
                TextLayout layout = words();
                style(layout);
                canvas.text(layout, {}, solid(kInk));
                canvas.text(layout, {}, solid(kInk));
            }
        }
        canvas.text(words(), Affine::rotation(90), solid(0xFFFF0000));
        canvas.text(words(), Affine::rotation(90), solid(kInk));
        canvas.text(words(), {2, 0, 0, 1, 0, 0}, solid(kInk));
    };
    constexpr size_t kFonts = std::size(kStyles) + 2;
    std::vector<int64_t> selected;
    for (int64_t round = 0; round < 2; ++round) {
        for (int64_t i = 0; i < static_cast<int64_t>(std::size(kStyles)); ++i) {
            selected.push_back(i);
        }
    }
    selected.push_back(kFonts - 2);
    selected.push_back(kFonts - 1);
    const std::vector<int64_t> colors{0xFF102030, 0xFFFF0000, 0xFF102030};
    const auto unsigned_of = [](std::vector<int64_t> numbers) {
        for (int64_t& number : numbers) {
            number = static_cast<uint32_t>(number);
        }
        return numbers;
    };
    const Recorded old = wmf(draw);
    EXPECT_EQ(old.count("CreateFontInDirect"), kFonts);
    EXPECT_EQ(old.numbers("SelectObject", "ObjectIndex"), selected);
    EXPECT_EQ(unsigned_of(old.numbers("SetTextColor", "Argb32ColorRef")), colors);
    EXPECT_EQ(old.count("ExtTextOut"), 4 * std::size(kStyles) + 3);
    const Recorded enhanced = emf(draw);
    EXPECT_EQ(enhanced.count("ExtCreateFontIndirectW"), kFonts);
    std::vector<int64_t> from_one = selected;
    for (int64_t& index : from_one) {
        ++index;
    }
    EXPECT_EQ(enhanced.numbers("SelectObject", "IhObject"), from_one);
    EXPECT_EQ(unsigned_of(enhanced.numbers("SetTextColor", "Argb32Color")), colors);
    EXPECT_EQ(enhanced.count("ExtTextOutW"), 4 * std::size(kStyles) + 3);
}

TEST(RecordedTextTest, FieldsOfFonts) {
    for (size_t i = 0; i < std::size(kStyles); ++i) {
        TextLayout layout = words();
        kStyles[i](layout);
        const auto draw = [&](Canvas& canvas) { canvas.text(layout, Affine::rotation(-30), solid(kInk)); };
        const Recorded old = wmf(draw), enhanced = emf(draw);
        const ManagedObject& record = old.only("CreateFontInDirect");
        const Ref<ManagedObject> inner = object_in(enhanced.only("ExtCreateFontIndirectW"), "Elw");
        for (const auto& [font, unit] : {std::pair{&record, 1}, {const_cast<const ManagedObject*>(inner.get()), 32}}) {
            EXPECT_EQ(whole_in(*font, "Height"), -unit * static_cast<int64_t>(layout.size));
            EXPECT_EQ(whole_in(*font, "Width"), 0);
            EXPECT_EQ(whole_in(*font, "Escapement"), 300);
            EXPECT_EQ(whole_in(*font, "Orientation"), 300);
            EXPECT_EQ(whole_in(*font, "Weight"), layout.bold ? 700 : 400);
            EXPECT_EQ(flag_in(*font, "Italic"), layout.italic);
            EXPECT_EQ(flag_in(*font, "Underline"), layout.underline);
            EXPECT_EQ(flag_in(*font, "Strikeout"), layout.strikeout);
            EXPECT_EQ(to_utf8(text_in(*font, "Facename")), layout.family.substr(0, layout.family.find(',')));
        }
        EXPECT_EQ(whole_in(*inner, "Charset"), 1);
    }
}

TEST(RecordedTextTest, PlacesOfLetters) {
    const TextLayout layout = words("Wide");
    const double baseline = drawing_backend().measure(layout).baseline;
    const auto draw = [&](Canvas& canvas) { canvas.text(layout, {0, 2, -2, 0, 70, 10}, solid(kInk)); };
    const Recorded old = wmf(draw, {-5, -7, 200, 160}), enhanced = emf(draw);
    const ManagedObject& out = old.only("ExtTextOut");
    EXPECT_EQ(to_utf8(text_in(out, "Text")), "Wide");
    // Two units a pixel, from the corner of the window.
    EXPECT_EQ(point_in(out, "Point"), (PointD{-5.0 + std::lround(2 * (70 - 2 * baseline)), -7.0 + 20}));
    EXPECT_EQ(numbers_in(out, "Dx"), advances(layout, 4));
    EXPECT_EQ(whole_in(old.only("CreateFontInDirect"), "Height"), -80);
    EXPECT_EQ(whole_in(old.only("CreateFontInDirect"), "Escapement"), -900);
    const ManagedObject& record = enhanced.only("ExtTextOutW");
    const Ref<ManagedObject> run = object_in(record, "WEmrText");
    EXPECT_EQ(to_utf8(text_in(*run, "StringBuffer")), "Wide");
    EXPECT_EQ(point_in(*run, "Reference"),
              (PointD{double(std::lround((70 - 2 * baseline) * kEmfUnits)), 10.0 * kEmfUnits}));
    EXPECT_EQ(numbers_in(*run, "DxBuffer"), advances(layout, 2 * kEmfUnits));
    EXPECT_EQ(whole_in(*run, "Options"), 0);
    EXPECT_EQ(whole_in(record, "IGraphicsMode"), 2);
    EXPECT_EQ(number_in(record, "ExScale"), 1);
    EXPECT_EQ(number_in(record, "EyScale"), 1);
    TextLayout back = words();
    back.right_to_left = true;
    const Recorded turned = emf([&](Canvas& canvas) { canvas.text(back, {}, solid(kInk)); });
    EXPECT_EQ(whole_in(*object_in(turned.only("ExtTextOutW"), "WEmrText"), "Options"), 0x80);
}

TEST(RecordedTextTest, LongTextHasEvenDistances) {
    const auto distances = [](const std::string& text) {
        const Recorded found = emf([&](Canvas& canvas) { canvas.text(words(text), {}, solid(kInk)); });
        return numbers_in(*object_in(found.only("ExtTextOutW"), "WEmrText"), "DxBuffer");
    };
    std::string text;
    for (int i = 0; i < 128; ++i) {
        text += "iW";
    }
    EXPECT_EQ(distances(text), advances(words(text), kEmfUnits));
    text += "i";
    const double mean = drawing_backend().measure(words(text)).width * kEmfUnits / 257;
    const auto even = distances(text);
    ASSERT_EQ(even.size(), 257U);
    for (const double each : even) {
        EXPECT_NEAR(each, mean, 1);
    }
}

TEST(RecordedTextTest, StretchedLettersHaveAWidth) {
    const auto width = [](double across) {
        const Recorded found = wmf([&](Canvas& canvas) { canvas.text(words(), {across, 0, 0, 1, 0, 0}, solid(kInk)); });
        return whole_in(found.only("CreateFontInDirect"), "Width");
    };
    EXPECT_EQ(width(1), 0);
    EXPECT_EQ(width(1.019), 0);
    EXPECT_EQ(width(0.981), 0);
    EXPECT_NE(width(1.021), 0);
    EXPECT_NE(width(0.979), 0);
    EXPECT_EQ(width(3), std::lround(3 * average_letter_width(words(), 20)));
    // The mean of the letters of DejaVu Sans, which is made of 2048 units: 61 hundredths and a half of the em square.
    EXPECT_NEAR(average_letter_width(words(), 100), 61.4, 1);
}

TEST(RecordedTextTest, WhichTextIsText) {
    const auto is_text = [](bool enhanced, const std::function<void(TextLayout&)>& change, const Affine& placing = {},
                            const Paint& paint = solid(kInk), const RectD& clip = {-50, -50, 9000, 900}) {
        TextLayout layout = words();
        change(layout);
        const auto draw = [&](Canvas& canvas) {
            canvas.clip({rectangle_contour(clip)}, FillRule::kWinding, true);
            canvas.text(layout, placing, paint);
        };
        const Recorded found = enhanced ? emf(draw) : wmf(draw);
        return found.count(enhanced ? "ExtTextOutW" : "ExtTextOut") == 1;
    };
    const auto nothing = [](TextLayout&) {};
    const auto text = [](const std::string& given) { return [=](TextLayout& layout) { layout.text = given; }; };
    for (const bool enhanced : {false, true}) {
        EXPECT_TRUE(is_text(enhanced, nothing));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.width = 50; }));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.width = 0; }));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.mnemonic = 0; }));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.tabs = {20}; }));
        EXPECT_FALSE(is_text(enhanced, text("a\nb")));
        EXPECT_FALSE(is_text(enhanced, text("a\tb")));
        EXPECT_EQ(is_text(enhanced, text("\xC3\xA9")), enhanced);
        EXPECT_EQ(is_text(enhanced, text("a\x7F")), enhanced);
        EXPECT_TRUE(is_text(enhanced, text(" ~")));
        EXPECT_FALSE(is_text(enhanced, nothing, {1, 0, 0.5, 1, 0, 0}));
        EXPECT_FALSE(is_text(enhanced, nothing, {1, 0, 0, -1, 0, 0}));
        EXPECT_FALSE(is_text(enhanced, nothing, {}, solid(0xFE102030)));
        EXPECT_FALSE(is_text(enhanced, nothing, {}, solid(kInk, 0.99)));
        EXPECT_EQ(is_text(enhanced, nothing, {}, solid(kInk), {0, 0, 10, 10}), enhanced);
        EXPECT_TRUE(is_text(enhanced, [](TextLayout& layout) { layout.family = std::string(31, 'a'); }));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.family = std::string(32, 'a'); }));
        EXPECT_FALSE(is_text(enhanced, [](TextLayout& layout) { layout.size = 0.01; }));
        EXPECT_TRUE(is_text(enhanced, text(std::string(255, 'i'))));
        EXPECT_EQ(is_text(enhanced, text(std::string(256, 'i'))), enhanced);
    }
    EXPECT_TRUE(emf([](Canvas& canvas) { canvas.text(words(""), {}, solid(kInk)); }).names().empty());
}

// ---- Lines

Stroke round_stroke(double width) {
    Stroke stroke;
    stroke.width = width;
    stroke.cap = StrokeCap::kRound;
    stroke.join = StrokeJoin::kRound;
    return stroke;
}

TEST(RecordedLinesTest, PensOfEmf) {
    const auto pen = [](const Stroke& stroke) {
        const Recorded found = emf([&](Canvas& canvas) { canvas.stroke(kLine, stroke, solid(kInk), true); });
        return object_in(found.only("ExtCreatePen"), "Elp");
    };
    for (const auto& [cap, bits] :
         {std::pair{StrokeCap::kRound, 0}, {StrokeCap::kSquare, 0x100}, {StrokeCap::kFlat, 0x200}}) {
        for (const auto& [join, more] :
             {std::pair{StrokeJoin::kRound, 0}, {StrokeJoin::kBevel, 0x1000}, {StrokeJoin::kMiter, 0x2000}}) {
            Stroke stroke;
            stroke.width = 3;
            stroke.cap = cap;
            stroke.join = join;
            EXPECT_EQ(whole_in(*pen(stroke), "PenStyle"), 0x10000 | bits | more);
            EXPECT_EQ(whole_in(*pen(stroke), "Width"), 3 * kEmfUnits);
            EXPECT_EQ(color_in(*pen(stroke), "Argb32ColorRef"), kInk);
            stroke.dashes = {2, 1};
            EXPECT_EQ(whole_in(*pen(stroke), "PenStyle"), 0x10007 | bits | more);
            EXPECT_EQ(numbers_in(*pen(stroke), "StyleEntry"), (std::vector<double>{64, 32}));
            stroke.dashes = {1, 2, 3};  // of an odd number, the gaps and dashes take turns
            EXPECT_EQ(numbers_in(*pen(stroke), "StyleEntry"), (std::vector<double>{32, 64, 96, 32, 64, 96}));
        }
    }
    Stroke turned = round_stroke(0.001);
    EXPECT_EQ(whole_in(*pen(turned), "Width"), 1);
    turned.width = 3;
    turned.nib = {0, 2, -2, 0, 5, 5};
    EXPECT_EQ(whole_in(*pen(turned), "Width"), 6 * kEmfUnits);
    turned.nib = {0, 2, 2, 0, 5, 5};  // mirrored
    turned.dashes = {1, 2};
    EXPECT_EQ(numbers_in(*pen(turned), "StyleEntry"), (std::vector<double>{64, 128}));
}

TEST(RecordedLinesTest, PensOfEmfAreMadeOnce) {
    const Recorded found = emf([](Canvas& canvas) {
        const auto draw = [&](const std::function<void(Stroke&)>& change, Argb color = kInk) {
            Stroke stroke = round_stroke(2);
            change(stroke);
            canvas.stroke(kLine, stroke, solid(color), true);
        };
        for (int round = 0; round < 2; ++round) {
            draw([](Stroke&) {});
            draw([](Stroke&) {});
            draw([](Stroke&) {}, 0xFF102031);
            draw([](Stroke& stroke) { stroke.width = 3; });
            draw([](Stroke& stroke) { stroke.cap = StrokeCap::kFlat; });
            draw([](Stroke& stroke) { stroke.dashes = {1, 2}; });
            draw([](Stroke& stroke) { stroke.dashes = {1, 3}; });
        }
    });
    EXPECT_EQ(found.count("ExtCreatePen"), 6U);
    EXPECT_EQ(found.numbers("SelectObject", "IhObject"), (std::vector<int64_t>{1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(found.count("StrokePath"), 14U);
    EXPECT_EQ(found.count("SetMiterLimit"), 0U);
    // The limit of a miter is said where it changes; after a state was restored, what held before it.
    const Recorded limits = emf([](Canvas& canvas) {
        const auto draw = [&](double limit) {
            Stroke stroke = round_stroke(2);
            stroke.miter_limit = limit;
            canvas.stroke(kLine, stroke, solid(kInk), true);
        };
        draw(10), draw(4.4), draw(4), draw(0.2);
        canvas.save();
        draw(7);
        canvas.restore();
        draw(1);
    });
    EXPECT_EQ(limits.numbers("SetMiterLimit", "MiterLimit"), (std::vector<int64_t>{4, 1, 7}));
    EXPECT_EQ(limits.numbers("SelectObject", "IhObject"), (std::vector<int64_t>{1}));
}

TEST(RecordedLinesTest, PathsOfEmf) {
    Contour mixed{{1, 2}, {}, true};
    mixed.line_to({3, 4});
    mixed.line_to({5, 6});
    mixed.curve_to({7, 8}, {9, 10}, {11, 12});
    mixed.line_to({13, 14});
    const auto units = [](std::initializer_list<PointD> points, double shift) {
        Points result;
        for (const PointD p : points) {
            result.push_back((p + PointD{shift, shift}) * kEmfUnits);
        }
        return result;
    };
    const Names path{"BeginPath", "MoveToEx", "PolylineTo", "PolyBezierTo", "PolylineTo", "CloseFigure", "EndPath"};
    for (const bool stroked : {false, true}) {
        const Recorded found = emf([&](Canvas& canvas) {
            if (stroked) {
                canvas.stroke({mixed}, round_stroke(2), solid(kInk), true);
            } else {
                canvas.fill({mixed}, FillRule::kAlternate, solid(kInk), true);
            }
        });
        Names expected = stroked ? Names{"ExtCreatePen", "SelectObject"}
                                 : Names{"CreateBrushIndirect", "SelectObject", "SetPolyFillMode"};
        expected.insert(expected.end(), path.begin(), path.end());
        expected.emplace_back(stroked ? "StrokePath" : "FillPath");
        EXPECT_EQ(found.names(), expected);
        const double shift = stroked ? -0.5 : 0;  // lines are centered on the pixels that their coordinates name
        EXPECT_EQ(point_in(found.only("MoveToEx"), "Offset"), units({{1, 2}}, shift)[0]);
        const auto lines = found.all("PolylineTo");
        EXPECT_EQ(points_in(*lines[0], "APoints"), units({{3, 4}, {5, 6}}, shift));
        EXPECT_EQ(points_in(found.only("PolyBezierTo"), "APoints"), units({{7, 8}, {9, 10}, {11, 12}}, shift));
        EXPECT_EQ(points_in(*lines[1], "APoints"), units({{13, 14}}, shift));
    }
    EXPECT_EQ(
        emf([](Canvas& canvas) { canvas.stroke(kLine, round_stroke(2), solid(kInk), true); }).count("CloseFigure"), 0U);
}

TEST(RecordedLinesTest, PensOfWmf) {
    const auto draw = [](const Outline& outline, const Stroke& stroke, const RectD& window = {0, 0, 100, 80}) {
        return wmf([&](Canvas& canvas) { canvas.stroke(outline, stroke, solid(kInk), true); }, window);
    };
    const Recorded line = draw(kLine, round_stroke(3), {0, 0, 200, 160});
    EXPECT_EQ(line.names(), (Names{"CreatePenInDirect", "SelectObject", "PolyLine"}));
    EXPECT_EQ(point_in(line.only("CreatePenInDirect"), "Width").x, 6);
    EXPECT_EQ(whole_in(line.only("CreatePenInDirect"), "PenStyle"), 0);
    EXPECT_EQ(color_in(line.only("CreatePenInDirect"), "Argb32ColorRef"), kInk);
    EXPECT_EQ(points_in(line.only("PolyLine"), "APoints"), (Points{{19, 19}, {79, 19}}));
    EXPECT_EQ(point_in(draw(kLine, round_stroke(0.1)).only("CreatePenInDirect"), "Width").x, 1);
    EXPECT_EQ(points_in(draw(kBox, round_stroke(3), {0, 0, 200, 160}).only("PolyLine"), "APoints"),
              (Points{{19, 19}, {79, 19}, {79, 59}, {19, 59}, {19, 19}}));
    Stroke wide = round_stroke(3);
    wide.nib = Affine::scaling(2, 2);
    EXPECT_EQ(point_in(draw(kLine, wide).only("CreatePenInDirect"), "Width").x, 6);
    // What is not round, or has dashes, is an area or a bitmap.
    for (const auto change : {+[](Stroke& stroke) { stroke.cap = StrokeCap::kFlat; },
                              +[](Stroke& stroke) { stroke.join = StrokeJoin::kMiter; }}) {
        Stroke stroke = round_stroke(3);
        change(stroke);
        EXPECT_EQ(draw(kLine, stroke).count("PolyLine"), 0U);
        EXPECT_TRUE(draw(kLine, stroke).names().back().ends_with("Polygon"));
    }
    Stroke dashed = round_stroke(3);
    dashed.dashes = {4, 4};
    EXPECT_EQ(draw(kLine, dashed).names(), (Names{"StretchDib", "StretchDib"}));
}

TEST(RecordedLinesTest, LongLinesOfWmfGoOn) {
    const auto draw = [](size_t count) {
        Contour line{{0, 0}, {}, false};
        for (size_t i = 1; i < count; ++i) {
            line.line_to({double(i % 90), i % 2 == 0 ? 10.0 : 50.0});
        }
        return wmf([&](Canvas& canvas) { canvas.stroke({line}, round_stroke(1), solid(kInk), true); });
    };
    const auto sizes = [&](size_t count) {
        std::vector<size_t> found;
        PointD last;
        for (const auto& record : draw(count).all("PolyLine")) {
            const Points points = points_in(*record, "APoints");
            EXPECT_TRUE(found.empty() || points.front() == last);
            last = points.back();
            found.push_back(points.size());
        }
        return found;
    };
    EXPECT_EQ(sizes(32000), (std::vector<size_t>{32000}));
    EXPECT_EQ(sizes(64000), (std::vector<size_t>{32000, 32000, 2}));
}

// ---- What has no record of its own

TEST(RecordedLinesTest, LinesThatNoPenDraws) {
    const auto count = [](const std::function<void(Stroke&)>& change, const char* name,
                          const Paint& paint = solid(kInk)) {
        Stroke stroke = round_stroke(4);
        change(stroke);
        return emf([&](Canvas& canvas) { canvas.stroke(kLine, stroke, paint, true); }).count(name);
    };
    const auto nothing = [](Stroke&) {};
    const auto dashes = [](size_t number, double offset) {
        return [=](Stroke& stroke) {
            stroke.dashes.assign(number, 2.0);
            stroke.dash_offset = offset;
        };
    };
    EXPECT_EQ(count(nothing, "StrokePath"), 1U);
    EXPECT_EQ(count([](Stroke& stroke) { stroke.nib = {2, 0, 0, 3, 0, 0}; }, "FillPath"), 1U);
    EXPECT_EQ(count([](Stroke& stroke) { stroke.nib = {2, 0, 1, 2, 0, 0}; }, "FillPath"), 1U);
    EXPECT_EQ(count(nothing, "FillPath", solid(kInk, 0)), 0U);
    EXPECT_EQ(count(nothing, "AlphaBlend", solid(0x80102030)), 1U);
    EXPECT_EQ(count(nothing, "AlphaBlend", solid(kInk, 0.5)), 1U);
    EXPECT_EQ(count(dashes(16, 0), "StrokePath"), 1U);
    EXPECT_EQ(count(dashes(17, 0), "AlphaBlend"), 1U);
    EXPECT_EQ(count(dashes(2, 1), "AlphaBlend"), 1U);
    EXPECT_EQ(count(dashes(0, 1), "StrokePath"), 1U);
}

TEST(RecordedAreasTest, ColorsThatShowWhatLiesBelow) {
    const auto draw = [](const Paint& paint, const Outline& outline = kBox) {
        return emf([&](Canvas& canvas) { canvas.fill(outline, FillRule::kWinding, paint, true); });
    };
    EXPECT_EQ(draw(solid(kInk)).count("FillPath"), 1U);
    EXPECT_EQ(draw(solid(kInk, 1.5)).count("FillPath"), 1U);
    EXPECT_TRUE(draw(solid(kInk, 0)).names().empty());
    EXPECT_TRUE(draw(solid(kInk, -1)).names().empty());
    EXPECT_TRUE(draw(solid(kInk), {}).names().empty());
    const Recorded half = draw(solid(kInk, 0.5));
    EXPECT_EQ(half.names(), (Names{"SaveDc", "SetPolyFillMode", "BeginPath", "MoveToEx", "PolylineTo", "CloseFigure",
                                   "EndPath", "SelectClipPath", "AlphaBlend", "RestoreDc"}));
    const ManagedObject& blend = half.only("AlphaBlend");
    const auto number = [&](const char* name) { return whole_in(blend, name); };
    EXPECT_EQ((std::vector<int64_t>{number("XDest"), number("YDest"), number("CxDest"), number("CyDest"),
                                    number("CxSrc"), number("CySrc")}),
              (std::vector<int64_t>{320, 320, 960, 640, 1, 1}));
    EXPECT_EQ(whole_in(*object_in(blend, "BlendFunction"), "SrcConstantAlpha"), 255);
    EXPECT_EQ(whole_in(*object_in(blend, "BlendFunction"), "AlphaFormat"), 1);
    EXPECT_EQ(bytes_in(*object_in(blend, "SourceBitmap"), "AData"), (FileBytes{0x18, 0x10, 0x08, 0x80}));
    // Nothing of a color of which not even one level is left.
    EXPECT_EQ(draw(solid(kInk, 0.0019)).count("AlphaBlend"), 0U);
    EXPECT_EQ(draw(solid(kInk, 0.002)).count("AlphaBlend"), 1U);
}

Paint texture(int32_t width, int32_t height, drawwork::Extend extend, double opacity = 1) {
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = width;
    paint.height = height;
    paint.pixels.assign(static_cast<size_t>(width * height), kInk);
    paint.extend = extend;
    paint.placing = Affine::translation(10, 10);
    paint.opacity = opacity;
    return paint;
}

TEST(RecordedAreasTest, TexturesThatArePutAsTheyAre) {
    using drawwork::Extend;
    const auto draw = [](const Paint& paint, const Outline& outline = kBox) {
        return emf([&](Canvas& canvas) { canvas.fill(outline, FillRule::kWinding, paint, true); });
    };
    const auto is_whole = [](const Recorded& found) { return found.count("SelectClipPath") == 0; };
    const auto size = [](const Recorded& found) {
        const bool blended = found.count("AlphaBlend") == 1;
        const ManagedObject& record = found.only(blended ? "AlphaBlend" : "StretchDiBits");
        return std::pair(whole_in(record, "CxSrc"), whole_in(record, "CySrc"));
    };
    using Size = std::pair<int64_t, int64_t>;
    for (const Extend extend : {Extend::kNone, Extend::kPad}) {
        EXPECT_TRUE(is_whole(draw(texture(30, 20, extend))));
        EXPECT_EQ(size(draw(texture(30, 20, extend))), (Size{30, 20}));
        EXPECT_EQ(draw(texture(30, 20, extend)).count("StretchDiBits"), 1U);
        EXPECT_EQ(draw(texture(30, 20, extend, 0.5)).count("AlphaBlend"), 1U);
        // A part of it, and an outline of another form, are cut.
        EXPECT_FALSE(is_whole(draw(texture(31, 20, extend))));
        EXPECT_FALSE(is_whole(draw(texture(30, 21, extend))));
        EXPECT_FALSE(is_whole(draw(texture(30, 20, extend), {ellipse_contour({10, 10, 30, 20})})));
        EXPECT_FALSE(is_whole(draw(texture(30, 20, extend), {kBox[0], kBox[0]})));
        for (const auto& corners :
             {Points{{10, 10}, {40, 10}, {40, 30}}, Points{{10, 10}, {40, 10}, {40, 30}, {11, 30}},
              Points{{10, 10}, {40, 30}, {40, 10}, {10, 30}}, Points{{10, 10}, {40, 10}, {40, 30}, {10, 10}},
              Points{{10, 10}, {40, 10}, {40, 30}, {10, 30}, {10, 20}}}) {
            EXPECT_FALSE(is_whole(draw(texture(30, 20, extend), {polygon_contour(corners, true)})));
        }
        EXPECT_TRUE(is_whole(
            draw(texture(30, 20, extend), {polygon_contour(Points{{40, 10}, {10, 10}, {10, 30}, {40, 30}}, true)})));
    }
    // Where the area is larger, the texture ends, or goes on around its edge.
    EXPECT_EQ(size(draw(texture(29, 20, Extend::kNone))), (Size{29, 20}));
    EXPECT_FALSE(is_whole(draw(texture(29, 20, Extend::kNone))));
    EXPECT_EQ(size(draw(texture(29, 20, Extend::kPad))), (Size{30, 20}));
    EXPECT_EQ(size(draw(texture(30, 19, Extend::kPad))), (Size{30, 20}));
    EXPECT_EQ(size(draw(texture(7, 7, Extend::kRepeat))), (Size{30, 20}));
    EXPECT_EQ(size(draw(texture(7, 7, Extend::kReflect))), (Size{30, 20}));
    // Half of a pixel is a matter of rounding.
    Paint moved = texture(30, 20, Extend::kPad);
    for (const auto& [x, y, put] : {std::tuple{10.5, 10.0, true},
                                    {10.0, 10.5, true},
                                    {9.5, 9.5, true},
                                    {10.52, 10.0, false},
                                    {10.0, 10.52, false},
                                    {9.48, 10.0, false},
                                    {10.0, 9.48, false}}) {
        moved.placing = Affine::translation(x, y);
        EXPECT_EQ(is_whole(draw(moved)) && draw(moved).count("StretchDiBits") == 1 &&
                      whole_in(draw(moved).only("StretchDiBits"), "XDest") == std::lround(x * kEmfUnits) &&
                      whole_in(draw(moved).only("StretchDiBits"), "YDest") == std::lround(y * kEmfUnits),
                  put)
            << x << ' ' << y;
    }
    moved.placing = {1, 0, 2, 0, 0, 0};  // of no height
    EXPECT_TRUE(draw(moved).names().empty());
}

TEST(RecordedAreasTest, BitmapsAreRoundedToThePage) {
    const auto box = [](const RectD& area) {
        const Recorded found = emf([&](Canvas& canvas) {
            canvas.fill({rectangle_contour(area)}, FillRule::kWinding, texture(3, 3, drawwork::Extend::kRepeat), true);
        });
        const bool blended = found.count("AlphaBlend") == 1;
        if (found.names().empty()) {
            return std::vector<int64_t>{};
        }
        const ManagedObject& record = found.only(blended ? "AlphaBlend" : "StretchDiBits");
        return std::vector<int64_t>{whole_in(record, "XDest") / kEmfUnits, whole_in(record, "YDest") / kEmfUnits,
                                    whole_in(record, "CxSrc"), whole_in(record, "CySrc")};
    };
    using Box = std::vector<int64_t>;
    EXPECT_EQ(box({10, 10, 30, 20}), (Box{10, 10, 30, 20}));
    EXPECT_EQ(box({10.5, 10.9, 30, 20}), (Box{10, 10, 31, 21}));
    EXPECT_EQ(box({-5, -7, 15, 20}), (Box{0, 0, 10, 13}));
    EXPECT_EQ(box({90, 70, 50, 50}), (Box{90, 70, 10, 10}));
    EXPECT_EQ(box({100, 10, 5, 5}), Box{});
    EXPECT_EQ(box({10, 80, 5, 5}), Box{});
    EXPECT_EQ(box({-5, 10, 5, 5}), Box{});
    EXPECT_EQ(box({10, -5, 5, 5}), Box{});
}

TEST(RecordedAreasTest, RulesAndBrushesAreSaidOnce) {
    const auto draw = [](Canvas& canvas) {
        for (const FillRule rule : {FillRule::kWinding, FillRule::kWinding, FillRule::kAlternate, FillRule::kWinding}) {
            canvas.fill(kBox, rule, solid(kInk), true);
            canvas.fill(kBox, rule, solid(0xFF112233), true);
        }
    };
    const Recorded old = wmf(draw), enhanced = emf(draw);
    for (const Recorded* found : {&old, &enhanced}) {
        EXPECT_EQ(found->numbers("SetPolyFillMode", "FillMode"), (std::vector<int64_t>{2, 1, 2}));
    }
    EXPECT_EQ(old.count("CreateBrushInDirect"), 2U);
    EXPECT_EQ(old.count("CreatePenInDirect"), 1U);
    EXPECT_EQ(old.numbers("SelectObject", "ObjectIndex"), (std::vector<int64_t>{0, 1, 2, 0, 2, 0, 2, 0, 2}));
    EXPECT_EQ(enhanced.count("CreateBrushIndirect"), 2U);
    EXPECT_EQ(enhanced.numbers("SelectObject", "IhObject"), (std::vector<int64_t>{1, 2, 1, 2, 1, 2, 1, 2}));
    // After a state was restored, what was selected in it holds no more.
    const Recorded saved = emf([](Canvas& canvas) {
        canvas.fill(kBox, FillRule::kWinding, solid(kInk), true);
        canvas.save();
        canvas.fill(kBox, FillRule::kAlternate, solid(0xFF112233), true);
        canvas.restore();
        canvas.fill(kBox, FillRule::kAlternate, solid(0xFF112233), true);
    });
    EXPECT_EQ(saved.numbers("SelectObject", "IhObject"), (std::vector<int64_t>{1, 2, 2}));
    EXPECT_EQ(saved.numbers("SetPolyFillMode", "FillMode"), (std::vector<int64_t>{2, 1, 1}));
}

TEST(RecordedAreasTest, ClipsCutAreasOfWmf) {
    const auto draw = [](const Outline& clip, const Outline& outline = kBox) {
        const Recorded found = wmf([&](Canvas& canvas) {
            canvas.clip(clip, FillRule::kWinding, true);
            canvas.fill(outline, FillRule::kWinding, solid(kInk), true);
        });
        std::vector<Points> polygons;
        for (const auto& record : found.all("Polygon")) {
            polygons.push_back(points_in(*record, "APoints"));
        }
        return polygons;
    };
    const Points whole{{10, 10}, {40, 10}, {40, 30}, {10, 30}};
    const auto area = [](double left, double top, double right, double bottom) {
        return Outline{rectangle_contour({left, top, right - left, bottom - top})};
    };
    EXPECT_EQ(draw(area(0, 0, 100, 80)), std::vector<Points>{whole});
    EXPECT_EQ(draw(area(10, 10, 40, 30)), std::vector<Points>{whole});
    EXPECT_EQ(draw(area(20, 0, 100, 80)), (std::vector<Points>{{{20, 10}, {40, 10}, {40, 30}, {20, 30}}}));
    EXPECT_EQ(draw(area(0, 20, 100, 80)), (std::vector<Points>{{{10, 20}, {40, 20}, {40, 30}, {10, 30}}}));
    EXPECT_EQ(draw(area(0, 0, 30, 80)), (std::vector<Points>{{{10, 10}, {30, 10}, {30, 30}, {10, 30}}}));
    EXPECT_EQ(draw(area(0, 0, 100, 20)), (std::vector<Points>{{{10, 10}, {40, 10}, {40, 20}, {10, 20}}}));
    EXPECT_TRUE(draw(area(50, 0, 100, 80)).empty());
    // A clip that is no rectangle cuts even where it lies around everything: the result is the same area.
    Contour house{{0, 0}, {}, true};
    for (const PointD corner : {PointD{50, -9}, {100, 0}, {100, 80}, {0, 80}}) {
        house.line_to(corner);
    }
    EXPECT_EQ(draw({house}), std::vector<Points>{whole});
}

TEST(RecordedAreasTest, AreasOfManyPointsAreBitmaps) {
    const auto names = [](size_t lines, size_t contours, bool clipped) {
        Outline outline;
        for (size_t k = 0; k < contours; ++k) {
            Contour zigzag{{20, 15}, {}, true};
            for (size_t i = 1; i < lines; ++i) {
                zigzag.line_to({20 + 2 * double(i) / double(lines), i % 2 == 0 ? 15.0 : 14.0});
            }
            outline.push_back(zigzag);
        }
        const Recorded found = wmf([&](Canvas& canvas) {
            if (clipped) {
                canvas.clip({rectangle_contour({21, 0, 50, 50})}, FillRule::kWinding, true);
            }
            canvas.fill(outline, FillRule::kWinding, solid(kInk), true);
        });
        return found.count("StretchDib") > 0 ? "bitmap" : found.count("PolyPolygon") > 0 ? "polygons" : "polygon";
    };
    EXPECT_STREQ(names(32000, 1, false), "polygon");
    EXPECT_STREQ(names(32001, 1, false), "bitmap");
    EXPECT_STREQ(names(32000, 2, false), "polygons");
    EXPECT_STREQ(names(21334, 3, false), "bitmap");
    EXPECT_STREQ(names(2002, 1, true), "bitmap");
}

TEST(RecordedAreasTest, PicturesOfWmf) {
    Paint paint = texture(2, 1, drawwork::Extend::kNone);
    paint.pixels = {0xFF102030, 0x80FF0000};
    const auto draw = [&](const Affine& placing, const Outline& clip = {}) {
        paint.placing = placing;
        return wmf(
            [&](Canvas& canvas) {
                if (!clip.empty()) {
                    canvas.clip(clip, FillRule::kWinding, true);
                }
                canvas.fill(transformed({rectangle_contour({0, 0, 2, 1})}, placing), FillRule::kWinding, paint, true);
            },
            {0, 0, 1000, 800});
    };
    const Recorded plain = draw({10, 0, 0, 20, 30, 40});
    const ManagedObject& record = plain.only("StretchDib");
    const auto number = [&](const char* name) { return whole_in(record, name); };
    EXPECT_EQ((std::vector<int64_t>{number("XDest"), number("YDest"), number("DestWidth"), number("DestHeight"),
                                    number("SrcWidth"), number("SrcHeight")}),
              (std::vector<int64_t>{300, 400, 200, 200, 2, 1}));
    EXPECT_EQ(number("RasterOperation"), 0x00CC0020);
    // Half of red and half of white, since nothing shows through.
    EXPECT_EQ(bytes_in(*object_in(record, "SourceBitmap"), "AData"),
              (FileBytes{0x30, 0x20, 0x10, 0x7F, 0x7F, 0xFF, 0, 0}));
    paint.pixels[1] = 0x00FF0000;
    const Recorded holes = draw({10, 0, 0, 20, 30, 40});
    EXPECT_EQ(holes.numbers("StretchDib", "RasterOperation"), (std::vector<int64_t>{0x008800C6, 0x00EE0086}));
    EXPECT_EQ(bytes_in(*object_in(*holes.all("StretchDib")[0], "SourceBitmap"), "AData"),
              (FileBytes{0, 0, 0, 0xFF, 0xFF, 0xFF, 0, 0}));
    EXPECT_EQ(bytes_in(*object_in(*holes.all("StretchDib")[1], "SourceBitmap"), "AData"),
              (FileBytes{0x30, 0x20, 0x10, 0, 0, 0, 0, 0}));
    // What is turned or cut becomes pixels of the page.
    const auto box = [](const Recorded& found) {
        const auto every = found.all("StretchDib");
        std::vector<int64_t> numbers;
        for (const char* name : {"XDest", "YDest", "DestWidth", "DestHeight", "SrcWidth", "SrcHeight"}) {
            numbers.push_back(every.empty() ? -1 : whole_in(*every[0], name));
        }
        return numbers;
    };
    EXPECT_EQ(box(draw({0, 10, -20, 0, 60, 40})), (std::vector<int64_t>{400, 400, 200, 200, 20, 20}));
    EXPECT_EQ(box(draw({10, 0, 0, 20, 30, 40}, {rectangle_contour({35, 0, 50, 80})})),
              (std::vector<int64_t>{300, 400, 200, 200, 20, 20}));
    EXPECT_EQ(box(draw({0, 10, -20, 0, 10.5, -5.5})), (std::vector<int64_t>{0, 0, 110, 150, 11, 15}));
    EXPECT_TRUE(draw({0, 10, -20, 0, -10, 40}).names().empty());
}

TEST(RecordedGroupsTest, OpacityMakesAPicture) {
    const auto draw = [](double opacity, bool empty = false) {
        return emf([=](Canvas& canvas) {
            canvas.begin_group();
            if (!empty) {
                canvas.fill(kBox, FillRule::kWinding, solid(kInk), true);
            }
            canvas.end_group(opacity, drawwork::Blend::kMultiply);
            canvas.fill(kBox, FillRule::kWinding, solid(kInk), true);
        });
    };
    EXPECT_EQ(draw(1).count("FillPath"), 2U);
    EXPECT_EQ(draw(1).names().front(), "SaveDc");
    const Recorded half = draw(0.5);
    EXPECT_EQ(half.count("FillPath"), 1U);
    const ManagedObject& record = half.only("AlphaBlend");
    // A pixel more on each side than is drawn.
    EXPECT_EQ(whole_in(record, "XDest"), 9 * kEmfUnits);
    EXPECT_EQ(whole_in(record, "YDest"), 9 * kEmfUnits);
    EXPECT_EQ(whole_in(record, "CxSrc"), 32);
    EXPECT_EQ(whole_in(record, "CySrc"), 22);
    EXPECT_EQ(draw(0.5, true).count("AlphaBlend"), 0U);
    // Within a group nothing is written before its end, and a group in a group is a part of its picture.
    const Recorded nested = emf([](Canvas& canvas) {
        canvas.begin_group();
        canvas.begin_group();
        canvas.save();
        canvas.clip(kBox, FillRule::kWinding, true);
        canvas.clear(0xFFFF0000);
        canvas.unclip();
        canvas.stroke(kLine, round_stroke(1), solid(kInk), true);
        canvas.text(words(), {}, solid(kInk));
        canvas.restore();
        canvas.end_group(0.5, drawwork::Blend::kOver);
        canvas.end_group(0.5, drawwork::Blend::kOver);
    });
    EXPECT_EQ(nested.names(), Names{"AlphaBlend"});
}

TEST(RecordedGroupsTest, ClipsAroundAGroupHoldWithinIt) {
    const Recorded found = emf([](Canvas& canvas) {
        canvas.clip(kBox, FillRule::kWinding, true);
        canvas.begin_group();
        canvas.clip(kBox, FillRule::kWinding, true);
        canvas.unclip();
        canvas.end_group(1, drawwork::Blend::kOver);
        canvas.unclip();
    });
    Names seen;
    for (const std::string& name : found.names()) {
        if (name.find("Clip") != std::string::npos || name.ends_with("Dc")) {
            seen.push_back(name);
        }
    }
    EXPECT_EQ(seen, (Names{"SelectClipPath", "SaveDc", "SelectClipPath", "ExtSelectClipRgn", "SelectClipPath",
                           "RestoreDc", "ExtSelectClipRgn"}));
    EXPECT_EQ(found.numbers("RestoreDc", "SavedDc"), std::vector<int64_t>{-1});
    EXPECT_EQ(found.numbers("ExtSelectClipRgn", "RegionMode"), (std::vector<int64_t>{5, 5}));
    EXPECT_EQ(found.numbers("SelectClipPath", "RegionMode"), (std::vector<int64_t>{1, 1, 1}));
}

// Each operation without a source has its published number; others are not the format's own here.
TEST(RecordedGroupsTest, RasterOperations) {
    const auto combine = [](uint8_t operation, const Paint& pattern) {
        bool done = false;
        const Recorded found = emf(
            [&](Canvas& canvas) { done = canvas.combine(kBox, FillRule::kWinding, pattern, solid(kInk), operation); });
        EXPECT_EQ(done, found.count("BitBlt") == 1);
        return done ? whole_in(found.only("BitBlt"), "BitBltRasterOperation") : -1;
    };
    constexpr std::pair<uint8_t, int64_t> kPublished[] = {
        {0x00, 0x000042}, {0x05, 0x0500A9}, {0x0A, 0x0A0329}, {0x0F, 0x0F0001}, {0x50, 0x500325}, {0x55, 0x550009},
        {0x5A, 0x5A0049}, {0x5F, 0x5F00E9}, {0xA0, 0xA000C9}, {0xA5, 0xA50065}, {0xAA, 0xAA0029}, {0xAF, 0xAF0229},
        {0xF0, 0xF00021}, {0xF5, 0xF50225}, {0xFA, 0xFA0089}, {0xFF, 0xFF0062}};
    for (const auto& [operation, number] : kPublished) {
        EXPECT_EQ(combine(operation, solid(kInk)), number);
    }
    // The record has the place of the whole pixels around the shape.
    const Recorded placed = emf([](Canvas& canvas) {
        canvas.combine({rectangle_contour({3.25, 4.5, 7.5, 9})}, FillRule::kWinding, solid(kInk), solid(kInk), 0x5A);
    });
    const int64_t sides[] = {3, 4, 8, 10};
    size_t side = 0;
    for (const char* name : {"XDest", "YDest", "CxDest", "CyDest"}) {
        EXPECT_EQ(whole_in(placed.only("BitBlt"), name), sides[side++] * kEmfUnits) << name;
    }
    const Paint pattern = texture(2, 2, drawwork::Extend::kRepeat);
    EXPECT_EQ(combine(0x5A, pattern), -1);
    EXPECT_EQ(combine(0x55, pattern), 0x550009);
    EXPECT_EQ(combine(0xAA, pattern), 0xAA0029);
    for (const uint8_t operation : {0xCC, 0x88, 0xEE, 0x66, 0xB8, 0x01, 0x10}) {
        EXPECT_EQ(combine(operation, solid(kInk)), -1) << int{operation};
    }
}

// In a Windows metafile they are mixes of the brush, which are numbered from 1, for as long as the shape is drawn.
TEST(RecordedGroupsTest, MixesOfAWindowsMetafile) {
    constexpr uint8_t kOperations[] = {0x00, 0x05, 0x0A, 0x0F, 0x50, 0x55, 0x5A, 0x5F,
                                       0xA0, 0xA5, 0xAA, 0xAF, 0xF0, 0xF5, 0xFA, 0xFF};
    int64_t mode = 1;
    for (const uint8_t operation : kOperations) {
        const Recorded found = wmf([&](Canvas& canvas) {
            EXPECT_TRUE(canvas.combine(kBox, FillRule::kWinding, solid(kInk), solid(kInk), operation));
        });
        EXPECT_EQ(found.numbers("SetRop2", "Rop2Mode"), (std::vector<int64_t>{mode++, 13}));
        EXPECT_EQ(found.names().front(), "SetRop2");
        EXPECT_EQ(found.names().back(), "SetRop2");
        EXPECT_EQ(found.count("Polygon"), 1U);
    }
    EXPECT_TRUE(wmf([](Canvas& canvas) {
                    EXPECT_FALSE(canvas.combine(kBox, FillRule::kWinding, solid(kInk), solid(kInk), 0xCC));
                })
                    .names()
                    .empty());
}

TEST(RecordedGroupsTest, ClearingFillsThePage) {
    const auto points = [](Argb color) {
        const Recorded found = wmf([=](Canvas& canvas) { canvas.clear(color); });
        return found.names().empty() ? Points() : points_in(found.only("Polygon"), "APoints");
    };
    EXPECT_TRUE(points(0x00FF0000).empty());
    EXPECT_EQ(points(0xFFFF0000), (Points{{0, 0}, {100, 0}, {100, 80}, {0, 80}}));
    EXPECT_EQ(wmf([](Canvas& canvas) { canvas.clear(0x01FF0000); }).count("StretchDib"), 1U);
}

}  // namespace
}  // namespace zelmor::embed::metafile
