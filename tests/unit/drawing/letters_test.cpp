// Letters that are set by fractions of pixels, beside fills of their outlines; and clips that cut them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/drawwork/outline_maps.h"

namespace zelmor::drawwork {
namespace {

constexpr int32_t kSide = 260;
using Ink = std::vector<double>;  // how black each pixel is, from 0 to 255

Backend& letters_backend() {
    static Backend* loaded = [] {
        void* library = dlopen(DRAWWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        return reinterpret_cast<BackendFunction>(dlsym(library, kBackendSymbol))();
    }();
    return *loaded;
}

template <class Draw>
Ink inked(Draw&& draw) {
    const auto canvas = letters_backend().canvas({0, 0, kSide, kSide}, 0xFFFFFFFF);
    draw(*canvas);
    Ink ink;
    for (const Argb pixel : canvas->pixels()) {
        ink.push_back(255.0 - (pixel & 0xFF));
    }
    return ink;
}

double all_of(const Ink& ink) {
    double sum = 0;
    for (const double pixel : ink) {
        sum += pixel;
    }
    return sum;
}

double difference(const Ink& a, const Ink& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        sum += std::abs(a[i] - b[i]);
    }
    return sum;
}

Paint black() {
    Paint paint;
    paint.color = 0xFF000000;
    return paint;
}

TextLayout exact_layout(const std::string& text, double size) {
    TextLayout layout;
    layout.text = text;
    layout.family = "DejaVu Sans";
    layout.size = size;
    layout.exact = true;
    return layout;
}

// So that the baseline is on a whole pixel, or the upright line of text beside one.
Affine placed(const TextLayout& layout, double degrees, PointD at) {
    const double baseline = letters_backend().measure(layout).baseline;
    return Affine::translation(0, std::ceil(baseline) - baseline)
        .then(Affine::rotation(degrees))
        .then(Affine::translation(at.x, at.y));
}

Ink text_ink(const TextLayout& layout, const Affine& placing) {
    return inked([&](Canvas& canvas) { canvas.text(layout, placing, black()); });
}
Ink outline_ink(const TextLayout& layout, const Affine& placing) {
    return inked([&](Canvas& canvas) {
        canvas.fill(embed::transformed(letters_backend().outline_of(layout), placing), FillRule::kWinding, black(),
                    true);
    });
}

TEST(LettersTest, ExactLettersAreTheirOutlines) {
    const struct {
        double degrees;
        PointD at;
    } kPlaces[] = {{0, {10, 20}}, {90, {200, 10}}, {180, {250, 200}}, {270, {40, 250}}, {30, {80, 20}}};
    for (const auto& [degrees, at] : kPlaces) {
        for (const double size : {9.0, 16.0, 33.0, 60.0}) {
            for (const double spacing : {0.0, 25.0}) {  // so far apart they are drawn one by one
                TextLayout layout = exact_layout(size < 20 ? "Wave jump!" : "Ag!", size);
                layout.letter_spacing = spacing;
                const Affine placing = placed(layout, degrees, at);
                const Ink found = text_ink(layout, placing), expected = outline_ink(layout, placing);
                // Letters stand at quarters of pixels, so that their edges are off by an eighth at most.
                EXPECT_GT(all_of(expected), 255 * size) << degrees << ' ' << size;
                EXPECT_LT(difference(found, expected), (0.02 + 2.2 / size) * all_of(expected))
                    << degrees << ' ' << size;
                EXPECT_NEAR(all_of(found), all_of(expected), 0.015 * all_of(expected)) << degrees << ' ' << size;
            }
        }
    }
}

double greatest_difference(const Ink& a, const Ink& b) {
    double most = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        most = std::max(most, std::abs(a[i] - b[i]));
    }
    return most;
}

// The map that a letter at `origin` is drawn by: it is moved to the nearest quarter of a pixel; across the lines of
// level and upright text to the nearest whole one.
Affine in_steps(const Affine& placing, PointD origin, bool fine_x, bool fine_y) {
    const PointD at = placing.apply(origin);
    const PointD to{fine_x ? std::round(4 * at.x) / 4 : std::round(at.x),
                    fine_y ? std::round(4 * at.y) / 4 : std::round(at.y)};
    return placing.then(Affine::translation(to.x - at.x, to.y - at.y));
}

TEST(LettersTest, ALetterIsItsOutlineAtTheNearestStep) {
    for (const double degrees : {0.0, 90.0, 180.0, 270.0, 30.0, 200.0}) {
        const bool level = std::fmod(degrees, 180) == 0, upright = std::fmod(degrees, 180) == 90;
        const TextLayout layout = exact_layout("g", degrees == 30 ? 13 : 47);
        const PointD origin{0, letters_backend().measure(layout).baseline};
        for (const double fraction : {-0.94, -0.6, -0.3, 0.11, 0.2, 0.49}) {
            const Affine placing =
                Affine::rotation(degrees).then(Affine::translation(120 + fraction, 130.3 * fraction));
            const Ink found = text_ink(layout, placing);
            const Ink expected = outline_ink(layout, in_steps(placing, origin, !upright, !level));
            // Curves are followed to a part of a pixel; a whole step makes edges differ by 64.
            EXPECT_LE(greatest_difference(found, expected), 10) << degrees << ' ' << fraction;
        }
    }
}

TEST(LettersTest, SlantedTextHasStepsInBothDirections) {
    const TextLayout layout = exact_layout("g", 30);
    const PointD origin{0, letters_backend().measure(layout).baseline};
    for (const Affine& map : {Affine{1, 0, 0.4, 1, 0, 0}, Affine{1, 0.4, 0, 1, 0, 0}, Affine{0, 1, 1, 0.4, 0, 0},
                              Affine{0.4, 1, 1, 0, 0, 0}}) {
        const Affine placing = map.then(Affine::translation(100.4, 100.4));
        const Ink expected = outline_ink(layout, in_steps(placing, origin, true, true));
        EXPECT_LE(greatest_difference(text_ink(layout, placing), expected), 10) << map.m11 << ' ' << map.m12;
    }
}

// A dot or a thin stroke may be a single pixel wide or high.
TEST(LettersTest, TheSmallestLettersAreSeen) {
    for (const char* text : {".", "l", "-"}) {
        for (const double size : {3.0, 6.0, 9.0}) {
            const TextLayout layout = exact_layout(text, size);
            const PointD origin{0, letters_backend().measure(layout).baseline};
            for (const double fraction : {0.05, 0.3, 0.55, 0.8}) {
                const Affine placing = Affine::translation(20 + fraction, 20);
                const Ink expected = outline_ink(layout, in_steps(placing, origin, true, false));
                EXPECT_GT(all_of(expected), 20);
                EXPECT_LE(greatest_difference(text_ink(layout, placing), expected), 10) << text << size << fraction;
            }
        }
    }
    EXPECT_EQ(all_of(text_ink(exact_layout("  ", 20), {})), 0);
}

// What counts is how large they are seen, in whatever space they are laid out.
TEST(LettersTest, TheSizeOfLettersIsThatOfTheirPixels) {
    for (const double degrees : {0.0, 30.0}) {
        const Affine placing = placed(exact_layout("g", 20), degrees, {60.2, 60.3});
        const Ink expected = text_ink(exact_layout("g", 20), placing);
        for (const double scale : {0.001, 0.1, 10.0}) {
            const Ink found = text_ink(exact_layout("g", 20 / scale), Affine::scaling(scale, scale).then(placing));
            EXPECT_LE(greatest_difference(found, expected), 10) << degrees << ' ' << scale;
        }
    }
    // Beyond a size they are filled between steps too: half a step away an edge would differ by 32.
    const Affine between = Affine::translation(20.125, 20.125);
    const Ink large = text_ink(exact_layout("g", 13), Affine::scaling(10, 10).then(between));
    EXPECT_LE(greatest_difference(large, text_ink(exact_layout("g", 130), between)), 20);
}

TEST(LettersTest, LinesAndMarksStandWhereTheirOutlinesDo) {
    // Of an x with an accent there is no letter: the accent is moved over it.
    for (const char* text : {"Ag\nHill", "x\xCC\x81x\xCC\x81", "ab \xD7\x90\xD7\x91"}) {
        const TextLayout layout = exact_layout(text, 50);
        const Affine placing = placed(layout, 0, {30, 30});
        const Ink found = text_ink(layout, placing), expected = outline_ink(layout, placing);
        EXPECT_GT(all_of(expected), 255 * 200) << text;
        EXPECT_LT(difference(found, expected), 0.1 * all_of(expected)) << text;
        EXPECT_LT(greatest_difference(found, expected), 100) << text;
    }
}

TEST(LettersTest, CharactersWithoutALetterAreShownAsBoxes) {
    const TextLayout layout = exact_layout("\xF4\x8F\xBF\xBD", 40);
    EXPECT_GT(all_of(text_ink(layout, Affine::translation(30, 30))), 255 * 50);
}

// Whatever was filled before.
TEST(LettersTest, LargeLettersThatOverlapHaveNoHoles) {
    TextLayout layout = exact_layout("HH", 140);
    layout.letter_spacing = -80;
    const Affine placing = placed(layout, 0, {40, 40});
    const Ink found = inked([&](Canvas& canvas) {
        canvas.fill(rectangle_outline({0, 0, 3, 3}), FillRule::kAlternate, black(), false);
        canvas.text(layout, placing, black());
    });
    const Ink expected = inked([&](Canvas& canvas) {
        canvas.fill(rectangle_outline({0, 0, 3, 3}), FillRule::kAlternate, black(), false);
        canvas.fill(embed::transformed(letters_backend().outline_of(layout), placing), FillRule::kWinding, black(),
                    true);
    });
    EXPECT_LE(greatest_difference(found, expected), 10);
}

// Whatever they cover together: a pixel is no more than black.
TEST(LettersTest, LettersOfALineAddUp) {
    for (const double degrees : {0.0, 90.0, 30.0}) {
        for (const double spacing : {-27.0, -1.5}) {
            TextLayout letter = exact_layout("H", 40), word = exact_layout("HHHH", 40);
            letter.letter_spacing = word.letter_spacing = spacing;
            // Half the spacing stands before a letter and half behind it.
            const double advance =
                (letters_backend().measure(word).width - letters_backend().measure(letter).width) / 3;
            const Affine placing = Affine::rotation(degrees).then(Affine::translation(90.2, 30.3));
            Ink expected(kSide * kSide, 0);
            for (int i = 0; i < 4; ++i) {
                const Ink one = text_ink(letter, Affine::translation(i * advance, 0).then(placing));
                for (size_t at = 0; at < one.size(); ++at) {
                    expected[at] = std::min(255.0, expected[at] + one[at]);
                }
            }
            EXPECT_LE(greatest_difference(text_ink(word, placing), expected), 2) << degrees << ' ' << spacing;
        }
    }
}

// A line is as thick as the font says, rounded to whole pixels, one at least, about the same middle; at its ends, and
// where text is not level or upright, it is where it is.
TEST(LettersTest, LinesAreFittedAcross) {
    for (const bool strikeout : {false, true}) {
        for (const double size : {8.0, 30.0, 52.0}) {
            TextLayout plain = exact_layout("oco", size), lined = plain;
            (strikeout ? lined.strikeout : lined.underline) = true;
            Outline line = letters_backend().outline_of(lined);
            std::erase_if(line, [](const Contour& contour) {
                return std::any_of(contour.segments.begin(), contour.segments.end(),
                                   [](const Segment& s) { return s.curved; });
            });
            ASSERT_EQ(line.size(), 1U);
            const RectD across = rectangle_around(line);
            line = rectangle_outline({0, across.y, letters_backend().measure(lined).width, across.height});
            for (const double degrees : {0.0, 90.0, 180.0, 270.0, 30.0}) {
                const Affine placing = Affine::rotation(degrees).then(Affine::translation(130.3, 130.45));
                Outline fitted = embed::transformed(line, placing);
                if (degrees != 30) {
                    RectD r = rectangle_around(fitted);
                    double& from = degrees == 0 || degrees == 180 ? r.y : r.x;
                    double& thick = degrees == 0 || degrees == 180 ? r.height : r.width;
                    const double middle = from + thick / 2;
                    thick = std::max(1.0, std::round(thick));
                    from = std::round(middle - thick / 2);
                    fitted = rectangle_outline(r);
                }
                const Ink expected = inked([&](Canvas& canvas) {
                    canvas.fill(fitted, FillRule::kWinding, black(), true);
                    canvas.text(plain, placing, black());
                });
                EXPECT_LE(greatest_difference(text_ink(lined, placing), expected), degrees == 30 ? 10 : 2)
                    << strikeout << ' ' << size << ' ' << degrees;
            }
        }
    }
}

TEST(LettersTest, LargeLettersAreFilledAtTheirPlace) {
    for (const double size : {128.0, 128.5}) {  // small ones have pictures
        TextLayout layout = exact_layout("g", size);
        for (const double fraction : {0.0, 0.25, 0.5}) {
            const Affine placing = placed(layout, 0, {20 + fraction, 20});
            const Ink found = text_ink(layout, placing), expected = outline_ink(layout, placing);
            EXPECT_LT(difference(found, expected), 0.02 * all_of(expected)) << size << ' ' << fraction;
        }
        // Between quarters of a pixel only those that are filled are exact.
        const Affine between = placed(layout, 0, {20.125, 20});
        EXPECT_EQ(difference(text_ink(layout, between), outline_ink(layout, between)) <
                      0.004 * all_of(text_ink(layout, between)),
                  size > 128);
    }
}

TEST(LettersTest, ALevelLineKeepsToWholePixelsAndAnUprightOneToo) {
    const TextLayout layout = exact_layout("Hill", 21);
    for (const double degrees : {0.0, 90.0}) {
        const Ink at_pixel = text_ink(layout, placed(layout, degrees, {60, 60}));
        for (const double fraction : {-0.4, 0.3}) {
            const PointD moved = degrees == 0 ? PointD{60, 60 + fraction} : PointD{60 + fraction, 60};
            EXPECT_EQ(difference(text_ink(layout, placed(layout, degrees, moved)), at_pixel), 0) << degrees << fraction;
            const PointD along = degrees == 0 ? PointD{60 + fraction, 60} : PointD{60, 60 + fraction};
            EXPECT_GT(difference(text_ink(layout, placed(layout, degrees, along)), at_pixel), 0.05 * all_of(at_pixel));
        }
    }
    const Ink turned = text_ink(layout, placed(layout, 30, {60, 60}));
    EXPECT_GT(difference(text_ink(layout, placed(layout, 30, {60, 60.3})), turned), 0.05 * all_of(turned));
}

TEST(LettersTest, AClipCutsLettersWhereItIs) {
    for (const double spacing : {0.0, 30.0}) {
        TextLayout layout = exact_layout("Wave jump", 26);
        layout.letter_spacing = spacing;
        const Affine placing = placed(layout, 0, {12, 30});
        const Ink whole = text_ink(layout, placing);
        for (const RectD& clip : {RectD{0, 0, 40, 260}, RectD{30, 0, 50, 260}, RectD{0, 35, 260, 9},
                                  RectD{33, 41, 7, 6}, RectD{70, 0, 190, 44}, RectD{0, 200, 260, 60}}) {
            const Ink found = inked([&](Canvas& canvas) {
                canvas.clip({embed::rectangle_contour(clip)}, FillRule::kWinding, false);
                canvas.text(layout, placing, black());
            });
            for (int32_t y = 0; y < kSide; ++y) {
                for (int32_t x = 0; x < kSide; ++x) {
                    const bool inside = x >= clip.x && x < clip.right() && y >= clip.y && y < clip.bottom();
                    const auto at = static_cast<size_t>(y * kSide + x);
                    ASSERT_NEAR(found[at], inside ? whole[at] : 0, 1)
                        << clip.x << ' ' << clip.y << ": " << x << ' ' << y;
                }
            }
        }
    }
}

TEST(LettersTest, WhatIsOutsideOfTheCanvasIsLeftOut) {
    const TextLayout layout = exact_layout("Wave", 40);
    const double width = letters_backend().measure(layout).width;
    for (const PointD at : {PointD{-20, 50}, PointD{kSide - 50, 50}, PointD{50, -25}, PointD{50, kSide - 30}}) {
        const Affine placing = placed(layout, 0, at);
        const Ink found = text_ink(layout, placing), expected = outline_ink(layout, placing);
        EXPECT_GT(all_of(expected), 255 * 40) << at.x << ' ' << at.y;
        EXPECT_LT(difference(found, expected), 0.08 * all_of(expected)) << at.x << ' ' << at.y;
    }
    for (const PointD at : {PointD{-width - 5, 50}, PointD{kSide + 5, 50}, PointD{50, -60}, PointD{50, kSide + 9},
                            PointD{-1e5, 0}, PointD{1e5, 0}, PointD{0, 1e5}, PointD{0, -1e5}}) {
        EXPECT_EQ(all_of(text_ink(layout, placed(layout, 0, at))), 0) << at.x << ' ' << at.y;
    }
}

TEST(LettersTest, LettersThatOverlapCoverNoMoreThanOnce) {
    TextLayout layout = exact_layout("HHHH", 40);
    layout.letter_spacing = -27;
    const Affine placing = placed(layout, 0, {40, 40});
    const Ink found = text_ink(layout, placing), expected = outline_ink(layout, placing);
    EXPECT_LT(difference(found, expected), 0.1 * all_of(expected));
    EXPECT_EQ(*std::max_element(found.begin(), found.end()), 255);
}

TEST(LettersTest, LinesUnderLettersCoverWholePixels) {
    for (const bool strikeout : {false, true}) {
        TextLayout plain = exact_layout("ii ii", 30);
        TextLayout lined = plain;
        (strikeout ? lined.strikeout : lined.underline) = true;
        const double width = letters_backend().measure(lined).width;
        for (const double degrees : {0.0, 90.0}) {
            const Affine placing = placed(lined, degrees, {100.2, 60.3});
            const Ink with = text_ink(lined, placing), without = text_ink(plain, placing);
            size_t full = 0, partly = 0;
            for (size_t i = 0; i < with.size(); ++i) {
                const double more = with[i] - without[i];
                EXPECT_GE(more, -1);
                full += with[i] > 254 && more > 1 ? 1 : 0;
                partly += with[i] < 254 && more > 1 ? 1 : 0;
            }
            // One or two pixels across, along the whole text; only its two ends may be pale.
            EXPECT_GT(static_cast<double>(full), 0.55 * width) << degrees;
            EXPECT_LT(static_cast<double>(full), 3.1 * width) << degrees;
            EXPECT_LE(partly, 8U) << degrees;
        }
    }
}

}  // namespace
}  // namespace zelmor::drawwork
