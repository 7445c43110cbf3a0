// Points and maps in three dimensions, as attributes of OpenDocument scenes write them: each number of them, and words
// that are none.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "runtime/native/formats/opendocument/od_space.h"

namespace zelmor::embed {
namespace {

using Twelve = std::array<double, 12>;  // three columns and the move

constexpr Twelve kNone = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

Twelve numbers_of(const Map3& map) {
    Twelve numbers;
    auto next = numbers.begin();
    for (const Point3& part : {map.x, map.y, map.z, map.move}) {
        *next++ = part.x;
        *next++ = part.y;
        *next++ = part.z;
    }
    return numbers;
}

void expect_map(const std::string& text, const Twelve& expected) {
    const Twelve found = numbers_of(od_transform3(text));
    for (size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i], expected[i], 1e-9) << text << ", number " << i;
    }
}

// The rows of a matrix are written one after the other's column: the map of (1, 0, 0) first, the move last.
TEST(OpenDocumentSpaceTest, TwelveNumbersOfAMatrix) {
    const Twelve written = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    for (size_t missing = 0; missing <= written.size(); ++missing) {
        Twelve expected = written;
        std::string text = "matrix (";
        for (size_t i = 0; i < written.size(); ++i) {
            text += i == missing ? "word " : std::to_string(static_cast<int>(written[i])) + " ";
        }
        if (missing < written.size()) {
            expected[missing] = kNone[missing];  // what is no number is as if there were no matrix
        }
        expect_map(text + ")", expected);
    }
    expect_map("matrix(-1,-2,-3,-4,-5,-6,-7,-8,-9,1cm,-2mm,1in)",
               {-1, -2, -3, -4, -5, -6, -7, -8, -9, 1000, -200, 2540});
    // Eleven and thirteen are no matrix.
    expect_map("matrix(2 3 4 5 6 7 8 9 10 11 12)", kNone);
    expect_map("matrix(2 3 4 5 6 7 8 9 10 11 12 13 14)", kNone);
    expect_map("matrix()", kNone);
}

TEST(OpenDocumentSpaceTest, EachKindOfMap) {
    expect_map("", kNone);
    expect_map("scale(2 3 4)", {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    expect_map("scale(2)", {2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0});
    expect_map("scale(word 3)", {1, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0});
    expect_map("scale()", kNone);
    expect_map("translate(2 3 4)", {1, 0, 0, 0, 1, 0, 0, 0, 1, 2, 3, 4});
    expect_map("translate(1cm 2mm)", {1, 0, 0, 0, 1, 0, 0, 0, 1, 1000, 200, 0});
    expect_map("translate(word 2 1word)", {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 2, 0});
    const double s = std::sin(0.3), c = std::cos(0.3);
    expect_map("rotatex(0.3)", {1, 0, 0, 0, c, s, 0, -s, c, 0, 0, 0});
    expect_map("rotatey(0.3)", {c, 0, -s, 0, 1, 0, s, 0, c, 0, 0, 0});
    expect_map("rotatez(0.3)", {c, s, 0, -s, c, 0, 0, 0, 1, 0, 0, 0});
    expect_map("rotatez(90deg)", {0, 1, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0});
    expect_map("rotatex(100grad)", {1, 0, 0, 0, 0, 1, 0, -1, 0, 0, 0, 0});
    expect_map("rotatex()", kNone);
    expect_map("rotatex(word)", kNone);
    // A name that is not known changes nothing.
    for (const char* name : {"rotate", "rotated3", "spin", "Scale", "scales", "rotaty", "Rotatex", ""}) {
        expect_map(std::string(name) + "(0.3 2 3)", kNone);
    }
}

TEST(OpenDocumentSpaceTest, ListsOfMaps) {
    // From left to right: what is moved first is scaled, too.
    expect_map("translate(1 2 3) scale(2 3 4)", {2, 0, 0, 0, 3, 0, 0, 0, 4, 2, 6, 12});
    expect_map("scale(2 3 4),translate(1 2 3)", {2, 0, 0, 0, 3, 0, 0, 0, 4, 1, 2, 3});
    expect_map("\n\ttranslate ( 1,2\t3\n) ,\n scale\t(\n2 3 4 )\n", {2, 0, 0, 0, 3, 0, 0, 0, 4, 2, 6, 12});
    // What does not end, and what closes before it begins, is left out with all behind it.
    expect_map("scale(2 3 4) translate(1 2 3", {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    expect_map("scale(2 3 4) translate 1 2 3)", {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    expect_map("scale(2 3 4) ) translate(1 2 3)", {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
    expect_map("scale(2 3 4) translate", {2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0});
}

void expect_point(const char* text, const std::array<double, 3>& expected) {
    const Point3 found = od_point3(text, {-1, -2, -3});
    EXPECT_NEAR(found.x, expected[0], 1e-9) << text;
    EXPECT_NEAR(found.y, expected[1], 1e-9) << text;
    EXPECT_NEAR(found.z, expected[2], 1e-9) << text;
}

TEST(OpenDocumentSpaceTest, Points) {
    constexpr std::array<double, 3> kOtherwise = {-1, -2, -3};
    expect_point("(1 2 3)", {1, 2, 3});
    expect_point(" at ( 1,\t2\n, 3 ) and more", {1, 2, 3});
    expect_point("(1cm 2mm 96px)", {1000, 200, 2540});
    expect_point("(word 2 3)", {0, 2, 3});
    expect_point("(1 word 3)", {1, 0, 3});
    expect_point("(1 2 -)", {1, 2, 0});
    for (const char* text : {"", "1 2 3", "(1 2 3", "1 2 3)", ")1 2 3(", "(1 2)", "(1 2 3 4)", "()"}) {
        expect_point(text, kOtherwise);
    }
}

TEST(OpenDocumentSpaceTest, Lengths) {
    const auto length = [](const char* text) { return od_length3(text, 77); };
    EXPECT_EQ(length(""), 77);
    EXPECT_EQ(length("-"), 77);
    EXPECT_EQ(length("12.5"), 12.5);
    EXPECT_EQ(length("-3e2"), -300);
    EXPECT_EQ(length("+4E-1"), 0.4);
    EXPECT_NEAR(length("word"), 77, 1e-9);
    EXPECT_NEAR(length("3word"), 77, 1e-9);
    EXPECT_NEAR(length("1cm"), 1000, 1e-9);
    EXPECT_NEAR(length("-2.5mm"), -250, 1e-9);
    EXPECT_NEAR(length("1e1in"), 25400, 1e-9);
    EXPECT_NEAR(length("72pt"), 2540, 1e-9);
}

TEST(OpenDocumentSpaceTest, Vectors) {
    const Point3 a{1, -2, 4}, b{3, 5, -7};
    const auto expect = [](const Point3& found, double x, double y, double z) {
        EXPECT_DOUBLE_EQ(found.x, x);
        EXPECT_DOUBLE_EQ(found.y, y);
        EXPECT_DOUBLE_EQ(found.z, z);
    };
    expect(a + b, 4, 3, -3);
    expect(a - b, -2, -7, 11);
    expect(a * 3, 3, -6, 12);
    EXPECT_EQ(a.dot(b), -35);
    expect(a.cross(b), -6, 19, 11);
    EXPECT_EQ((Point3{2, -3, 6}.length()), 7);
    expect(Point3{2, -3, 6}.normalized(), 2 / 7.0, -3 / 7.0, 6 / 7.0);
    expect(Point3{}.normalized(), 0, 0, 0);
    const double far = 1e300;  // too long for its length to be a number
    expect(Point3{far, 0, far}.normalized(), far, 0, far);
}

}  // namespace
}  // namespace zelmor::embed
