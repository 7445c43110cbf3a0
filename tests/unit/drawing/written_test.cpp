// What files of lines and text need: numbers, tiles of textures, outlines under maps, and clips that nest.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/outline_maps.h"
#include "runtime/native/drawwork/texture_tile.h"
#include "runtime/native/drawwork/written_canvas.h"

namespace zelmor::drawwork {
namespace {

// By the C library, without the zeros at the end.
std::string expected_text(double value, int digits) {
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, "%.*f", digits, value);
    std::string text = buffer;
    if (text.find('.') != std::string::npos) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') {
            text.pop_back();
        }
    }
    return text == "-0" ? "0" : text;
}

TEST(DecimalTextTest, NumbersHaveTheDigitsThatTheyNeed) {
    std::mt19937_64 draw(2);
    for (int digits = 0; digits <= 9; digits++) {
        for (const double value : {0.0,   -0.0, 1.0,  -1.0,  10.0,      100.0,      0.5,     0.25, -0.125,  1e-9,
                                   3e-10, 0.04, 0.95, 99.99, 1000000.0, 123456.789, -7.0625, 0.1,  2.0 / 3, 20.5}) {
            const double halves = value * std::pow(10, digits) * 2;
            if (halves != std::floor(halves) || std::fmod(halves, 2) == 0) {  // a half is rounded away from zero
                EXPECT_EQ(decimal_text(value, digits), expected_text(value, digits)) << digits;
            }
        }
        for (int i = 0; i < 200; i++) {
            const double value = std::ldexp(static_cast<double>(static_cast<int64_t>(draw())), -63 + i % 10);
            EXPECT_EQ(decimal_text(value, digits), expected_text(value, digits));
        }
    }
    EXPECT_EQ(decimal_text(0.12345), "0.1235");  // four digits are usual
    EXPECT_EQ(decimal_text(0.5, 0), "1");
    EXPECT_EQ(decimal_text(-0.5, 0), "-1");
    std::string text = "x";
    append_decimal(text, -2.5);
    EXPECT_EQ(text, "x-2.5");
}

TEST(DecimalTextTest, LargeNumbersHaveFewerDigits) {
    // As many as leave fewer than 9e15 units of the last one.
    EXPECT_EQ(decimal_text(8999999999999999, 4), "8999999999999999");
    EXPECT_EQ(decimal_text(899999999999999.5, 4), "899999999999999.5");
    EXPECT_EQ(decimal_text(-900000000000000.5, 4), "-900000000000001");
    EXPECT_EQ(decimal_text(90000000000000.25, 2), "90000000000000.3");
    for (const double beyond :
         {9e15, -9e15, 1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(decimal_text(beyond), "0");
    }
}

// ---- Tiles

Paint texture(int32_t width, int32_t height, Extend extend) {
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = width;
    paint.height = height;
    paint.extend = extend;
    for (int32_t i = 0; i < width * height; i++) {
        paint.pixels.push_back(0xFF000000 + static_cast<Argb>(i) * 0x010203);
    }
    return paint;
}

// What a texture has at a place, which may be outside of it.
Argb shown(const Paint& paint, int32_t x, int32_t y) {
    const auto place = [&](int32_t at, int32_t size) {
        if (paint.extend == Extend::kPad) {
            return std::clamp(at, 0, size - 1);
        }
        const int32_t turn = ((at % (2 * size)) + 2 * size) % (2 * size);
        return paint.extend == Extend::kReflect && turn >= size ? 2 * size - 1 - turn : turn % size;
    };
    return paint.pixels[static_cast<size_t>(place(y, paint.height) * paint.width + place(x, paint.width))];
}

void expect_tile(const Paint& paint, const TextureTile& tile, int32_t left, int32_t top) {
    ASSERT_EQ(tile.pixels.size(), static_cast<size_t>(tile.width * tile.height));
    EXPECT_EQ(tile.placing, Affine::translation(left, top).then(paint.placing));
    for (int32_t y = 0; y < tile.height; y++) {
        for (int32_t x = 0; x < tile.width; x++) {
            EXPECT_EQ(tile.pixels[static_cast<size_t>(y * tile.width + x)], shown(paint, left + x, top + y));
        }
    }
}

TEST(TextureTileTest, TilesAreRepeatedAsTheirTextureIs) {
    for (const Extend extend : {Extend::kNone, Extend::kRepeat, Extend::kReflect}) {
        Paint paint = texture(3, 2, extend);
        paint.placing = Affine{2, 1, 0, 3, 7, 8};
        const TextureTile tile = tile_of(paint, {0, 0, 50, 50});
        EXPECT_EQ(tile.repeats, extend != Extend::kNone);
        EXPECT_EQ(tile.width, extend == Extend::kReflect ? 6 : 3);
        EXPECT_EQ(tile.height, extend == Extend::kReflect ? 4 : 2);
        expect_tile(paint, tile, 0, 0);
    }
}

TEST(TextureTileTest, ATextureThatGoesOnFillsItsReach) {
    Paint paint = texture(4, 3, Extend::kPad);
    paint.placing = Affine{2, 0, 0, 5, 10, 20};
    const auto in_texture = [&](double x, double y, double right, double bottom) {
        return tile_of(paint, {10 + 2 * x, 20 + 5 * y, 2 * (right - x), 5 * (bottom - y)});
    };
    const TextureTile all = in_texture(-2.25, -1, 6.5, 4);
    EXPECT_EQ(std::make_pair(all.width, all.height), std::make_pair(10, 5));
    EXPECT_FALSE(all.repeats);
    expect_tile(paint, all, -3, -1);
    // Each side by itself, from more than half a pixel on.
    expect_tile(paint, in_texture(-0.5, 0, 4, 3), 0, 0);
    EXPECT_EQ(in_texture(-0.5, 0, 4, 3).width, 4);
    expect_tile(paint, in_texture(-0.75, 0, 4, 3), -1, 0);
    EXPECT_EQ(in_texture(-0.75, 0, 4, 3).width, 5);
    expect_tile(paint, in_texture(0, -0.75, 4, 3), 0, -1);
    EXPECT_EQ(in_texture(0, 0, 4.5, 3).width, 4);
    EXPECT_EQ(in_texture(0, 0, 4.75, 3).width, 5);
    EXPECT_EQ(in_texture(0, 0, 4, 3.5).height, 3);
    EXPECT_EQ(in_texture(0, 0, 4, 3.75).height, 4);
    expect_tile(paint, in_texture(0, 0, 4.75, 3.75), 0, 0);
    // A part of it is all of it.
    EXPECT_EQ(in_texture(1, 1, 2, 2).width, 4);
    expect_tile(paint, in_texture(1, 1, 2, 2), 0, 0);
    EXPECT_EQ(in_texture(0, 0, 4000, 4000).width, 4000);  // sixteen million pixels
    EXPECT_THROW(in_texture(0, 0, 4000, 4001), DrawError);
    paint.placing = Affine{1, 1, 1, 1, 0, 0};  // nothing can be seen of it
    EXPECT_EQ(tile_of(paint, {0, 0, 1e9, 1e9}).width, 4);
    paint.width = 4001;  // a larger texture may be as large as it is
    paint.height = 4000;
    paint.pixels.assign(size_t{4001} * 4000, 0xFF123456);
    paint.placing = Affine();
    EXPECT_EQ(tile_of(paint, {0, 0, 4001, 4000}).height, 4000);
}

TEST(TextureTileTest, TheReachOfAStroke) {
    const Outline line{{{10, 20}, {{{30, 20}, {}, {}, false}}, false}};
    Stroke stroke;
    stroke.width = 2;
    stroke.miter_limit = 1;
    stroke.nib = Affine{3, 4, 0, 1, 0, 0};  // five times as long, one way
    RectD reach = reach_of_stroke(line, stroke);
    EXPECT_EQ(std::make_pair(reach.x, reach.y), std::make_pair(-5.0, 5.0));  // 2 * 5 * 1.5
    EXPECT_EQ(std::make_pair(reach.width, reach.height), std::make_pair(50.0, 30.0));
    stroke.miter_limit = 4;
    stroke.nib = Affine{1, 0, 0, -3, 0, 0};
    reach = reach_of_stroke(line, stroke);
    EXPECT_EQ(std::make_pair(reach.x, reach.width), std::make_pair(-14.0, 68.0));
}

// ---- Outlines

TEST(OutlineMapsTest, RectanglesAndWhatIsAroundThem) {
    const Outline square = rectangle_outline({1, 2, 10, 20});
    EXPECT_TRUE(square[0].closed);
    const RectD around = rectangle_around(square);
    EXPECT_EQ(std::make_pair(around.x, around.y), std::make_pair(1.0, 2.0));
    EXPECT_EQ(std::make_pair(around.width, around.height), std::make_pair(10.0, 20.0));
    EXPECT_EQ(rectangle_around({}).width, 0);
    Contour curve{{0, 0}, {}, false};
    curve.curve_to({-5, 1}, {3, 30}, {4, 4});
    curve.line_to({9, -2});
    const RectD all = rectangle_around({square[0], curve});
    EXPECT_EQ(std::make_pair(all.x, all.y), std::make_pair(-5.0, -2.0));
    EXPECT_EQ(std::make_pair(all.right(), all.bottom()), std::make_pair(11.0, 30.0));
    const Affine map{2, 1, -1, 3, 5, -7};
    const Outline moved = mapped_outline({curve}, map);
    EXPECT_EQ(moved[0].start, map.apply({0, 0}));
    EXPECT_EQ(moved[0].segments[0].control1, map.apply({-5, 1}));
    EXPECT_EQ(moved[0].segments[0].control2, map.apply({3, 30}));
    EXPECT_EQ(moved[0].segments[0].end, map.apply({4, 4}));
    EXPECT_TRUE(moved[0].segments[0].curved);
    EXPECT_FALSE(moved[0].segments[1].curved);
    EXPECT_FALSE(moved[0].closed);
}

TEST(OutlineMapsTest, AMappedRectangleIsKnown) {
    const RectD area{1, 2, 10, 20};
    const Affine map{2, 1, -1, 3, 5, -7};
    Outline outline = mapped_outline(rectangle_outline(area), map);
    EXPECT_TRUE(is_mapped_rectangle(outline, area, map));
    EXPECT_FALSE(is_mapped_rectangle(outline, area, Affine()));
    Outline closed = outline;
    closed[0].line_to(closed[0].start);  // it may return to its start
    EXPECT_TRUE(is_mapped_rectangle(closed, area, map));
    closed[0].segments[3].end.x += 1;
    EXPECT_FALSE(is_mapped_rectangle(closed, area, map));
    closed[0].segments[3].end.x -= 1;
    closed[0].line_to(closed[0].start);
    EXPECT_FALSE(is_mapped_rectangle(closed, area, map));
    EXPECT_FALSE(is_mapped_rectangle({outline[0], outline[0]}, area, map));
    EXPECT_FALSE(is_mapped_rectangle({}, area, map));
    for (size_t i = 0; i < 4; i++) {
        for (const double off : {0.0005, 0.002}) {
            Outline other = outline;
            (i == 3 ? other[0].start : other[0].segments[i].end).y += off;
            EXPECT_EQ(is_mapped_rectangle(other, area, map), off < 0.001) << i;
        }
    }
    Outline curved = outline;
    curved[0].segments[1].curved = true;
    EXPECT_FALSE(is_mapped_rectangle(curved, area, map));
    outline[0].segments.pop_back();
    EXPECT_FALSE(is_mapped_rectangle(outline, area, map));
}

// ---- Clips

// Writes what it is told as words; a clip is known by the left edge of its outline.
class Words final : public WrittenCanvas {
 public:
    std::string written;
    void draw(const std::string& what) {
        sync_clips();
        written += what + " ";
    }
    void end() { close_clips(); }
    size_t wanted() const { return clips().size(); }
    bool is_in_group() const { return in_group(); }

    void fill(const Outline&, FillRule, const Paint&, bool) override {}
    void stroke(const Outline&, const Stroke&, const Paint&, bool) override {}
    void clear(Argb) override {}
    void text(const TextLayout&, const Affine&, const Paint&) override {}

 private:
    void open_clip(const Clip& clip) override {
        written += "(" + decimal_text(clip.outline[0].start.x) + (clip.rule == FillRule::kWinding ? "w" : "a") +
                   (clip.smooth ? "s " : " ");
    }
    void close_clip() override { written += ") "; }
    void open_group() override { written += "[ "; }
    void close_group(double opacity, Blend blend) override {
        written += "]" + decimal_text(opacity) + (blend == Blend::kScreen ? "screen " : " ");
    }
};

Outline at(double x) {
    return rectangle_outline({x, 0, 10, 10});
}

TEST(WrittenCanvasTest, ClipsNestAndEndWhereTheStateDoes) {
    Words canvas;
    canvas.draw("a");
    canvas.clip(at(1), FillRule::kWinding, true);
    canvas.clip(at(2), FillRule::kAlternate, false);
    EXPECT_EQ(canvas.wanted(), 2U);
    canvas.save();
    canvas.clip(at(3), FillRule::kAlternate, true);
    canvas.draw("b");
    canvas.draw("c");
    canvas.restore();
    canvas.save();
    canvas.clip(at(4), FillRule::kWinding, false);  // nothing is drawn in it
    canvas.restore();
    canvas.draw("d");
    canvas.clip(at(5), FillRule::kWinding, false);
    canvas.draw("e");
    canvas.unclip();
    EXPECT_EQ(canvas.wanted(), 0U);
    canvas.draw("f");
    canvas.clip(at(6), FillRule::kWinding, false);
    canvas.draw("g");
    canvas.end();
    EXPECT_EQ(canvas.written, "a (1ws (2a (3as b c ) d (5w e ) ) ) f (6w g ) ");
}

TEST(WrittenCanvasTest, GroupsHaveClipsOfTheirOwn) {
    Words canvas;
    canvas.clip(at(1), FillRule::kWinding, false);
    EXPECT_FALSE(canvas.is_in_group());
    canvas.begin_group();
    EXPECT_TRUE(canvas.is_in_group());
    EXPECT_EQ(canvas.wanted(), 0U);
    canvas.draw("a");
    canvas.save();
    canvas.clip(at(2), FillRule::kWinding, false);
    canvas.draw("b");
    canvas.begin_group();
    canvas.clip(at(3), FillRule::kWinding, false);
    canvas.draw("c");
    canvas.end_group(0.5, Blend::kScreen);
    canvas.draw("d");
    canvas.restore();
    canvas.end_group(1, Blend::kOver);
    EXPECT_FALSE(canvas.is_in_group());
    canvas.draw("e");
    canvas.end();
    EXPECT_EQ(canvas.written, "(1w [ a (2w b [ (3w c ) ]0.5screen d ) ]1 e ) ");
}

TEST(WrittenCanvasTest, AGroupWithoutAnEndIsLeftWithTheStateAroundIt) {
    Words canvas;
    canvas.clip(at(1), FillRule::kWinding, false);
    canvas.save();
    canvas.clip(at(2), FillRule::kWinding, false);
    canvas.begin_group();
    canvas.begin_group();
    canvas.save();
    canvas.restore();
    EXPECT_TRUE(canvas.is_in_group());
    canvas.restore();  // an error has skipped both ends
    EXPECT_FALSE(canvas.is_in_group());
    EXPECT_EQ(canvas.wanted(), 1U);
}

}  // namespace
}  // namespace zelmor::drawwork
