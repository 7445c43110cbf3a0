// The geometry types through their entry points.
#include <gtest/gtest.h>

#include <cmath>

#include "fake_python.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

class GeometryTest : public test::RuntimeTest {
 protected:
    // Calls a static method of struct arguments with a struct result.
    template <class R, class... V>
    static R over(const char* type, const char* method, V... values) {
        const Owned boxes[] = {Owned(make_struct_handle(values))...};
        return result<R>(type, method, boxes, std::index_sequence_for<V...>());
    }

 private:
    template <class R, size_t... I>
    static R result(const char* type, const char* method, const Owned* boxes, std::index_sequence<I...>) {
        const VariantArg args[] = {boxes[I].struct_arg()...};
        Owned made(call<void*>(type, method, static_cast<const VariantArg*>(&args[I])...));
        return struct_target<R>(made.get());
    }
};

constexpr const char* kSize = "Zelmor.Imaging.Size";
constexpr const char* kPoint = "Zelmor.Imaging.Point";
constexpr const char* kRectangle = "Zelmor.Imaging.Rectangle";
constexpr const char* kRectangleF = "Zelmor.Imaging.RectangleF";

TEST_F(GeometryTest, SizesAreRoundedInThreeWays) {
    const SizeFValue size{2.5f, -2.5f};
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Ceiling", size), (SizeValue{3, -2}));
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Truncate", size), (SizeValue{2, -2}));
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Round", size), (SizeValue{2, -2}));  // halves to even
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Round", SizeFValue{3.5f, 1.5f}), (SizeValue{4, 2}));
}

TEST_F(GeometryTest, AFloatBeyondAnIntegerBecomesTheSmallestInteger) {
    const SizeFValue size{1e20f, std::nanf("")};
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Truncate", size), (SizeValue{INT32_MIN, INT32_MIN}));
}

TEST_F(GeometryTest, SumsWrapAround) {
    EXPECT_EQ(over<SizeValue>(kSize, "call_000_Add", SizeValue{INT32_MAX, 1}, SizeValue{1, 1}),
              (SizeValue{INT32_MIN, 2}));
    EXPECT_EQ(over<PointValue>(kPoint, "call_000_Subtract", PointValue{INT32_MIN, 5}, SizeValue{1, 7}),
              (PointValue{INT32_MAX, -2}));
}

TEST_F(GeometryTest, PointsArePackedIntoWords) {
    Owned point(call<void*>(kPoint, "ctor_002_Point", static_cast<int32_t>(0xFFFE0003)));
    EXPECT_EQ(struct_target<PointValue>(point.get()), (PointValue{3, -2}));
    Owned other(make_struct_handle(PointValue{-5, 7}));
    const int64_t packed = call<int64_t>(kPoint, "call_000_ToLong", other.get());
    int32_t x = 0, y = 0;
    EXPECT_EQ(call<int32_t>(kPoint, "call_000_FromLong", packed, 0, &x, 0, &y), -5);
    EXPECT_EQ(x, -5);
    EXPECT_EQ(y, 7);
}

TEST_F(GeometryTest, AnInstanceIsChangedInPlace) {
    Owned point(make_struct_handle(PointValue{1, 2}));
    call<void>(kPoint, "call_001_Offset", point.get(), 10, 20);
    EXPECT_EQ(struct_target<PointValue>(point.get()), (PointValue{11, 22}));
    Owned by(make_struct_handle(PointValue{-1, -2}));
    const VariantArg arg = by.struct_arg();
    call<void>(kPoint, "call_000_Offset", point.get(), &arg);
    EXPECT_EQ(struct_target<PointValue>(point.get()), (PointValue{10, 20}));
}

TEST_F(GeometryTest, AStructArgumentOfNoneOrOfAnotherTypeIsRefused) {
    const VariantArg none{};
    Owned size(make_struct_handle(SizeValue{1, 2}));
    const VariantArg arg = size.struct_arg();
    EXPECT_EQ(call<void*>(kSize, "call_000_Add", &arg, &none), nullptr);
    EXPECT_EQ(test::take_raised().name, "NullReferenceException");
    EXPECT_EQ(call<void*>(kPoint, "call_000_Ceiling", &arg), nullptr);
    EXPECT_EQ(test::take_raised().name, "InvalidCastException");
}

TEST_F(GeometryTest, RectanglesIntersectAndUnite) {
    const RectangleValue a{0, 0, 10, 10}, b{5, 6, 10, 10}, far{20, 20, 1, 1}, beside{10, 0, 5, 5};
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_Intersect", a, b), (RectangleValue{5, 6, 5, 4}));
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_Intersect", a, far), RectangleValue());
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_IntersectRects", a, beside), (RectangleValue{10, 0, 0, 5}));
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_Union", a, far), (RectangleValue{0, 0, 21, 21}));
    Owned box(make_struct_handle(a));
    Owned other(make_struct_handle(beside));
    const VariantArg arg = other.struct_arg();
    EXPECT_FALSE(call<bool>(kRectangle, "call_000_IntersectsWith", box.get(), &arg));
}

TEST_F(GeometryTest, ARectangleHoldsItsLeftAndTopEdgeOnly) {
    Owned box(make_struct_handle(RectangleValue{1, 1, 3, 3}));
    const auto contains = [&](int x, int y) { return call<bool>(kRectangle, "call_000_Contains", box.get(), x, y); };
    EXPECT_TRUE(contains(1, 1));
    EXPECT_TRUE(contains(3, 3));
    EXPECT_FALSE(contains(4, 3));
    EXPECT_FALSE(contains(0, 1));
}

TEST_F(GeometryTest, SettingOneEdgeKeepsTheOthers) {
    Owned box(make_struct_handle(RectangleValue{10, 20, 30, 40}));
    const auto& value = struct_target<RectangleValue>(box.get());
    call<void>(kRectangle, "set_Left", box.get(), 5);
    EXPECT_EQ(value, (RectangleValue{5, 20, 35, 40}));
    call<void>(kRectangle, "set_Right", box.get(), 25);
    EXPECT_EQ(value, (RectangleValue{5, 20, 20, 40}));
    call<void>(kRectangle, "set_Top", box.get(), 30);
    EXPECT_EQ(value, (RectangleValue{5, 30, 20, 30}));
    call<void>(kRectangle, "set_Bottom", box.get(), 35);
    EXPECT_EQ(value, (RectangleValue{5, 30, 20, 5}));
    EXPECT_EQ(call<int>(kRectangle, "get_Right", box.get()), 25);
    EXPECT_EQ(call<int>(kRectangle, "get_Bottom", box.get()), 35);
}

TEST_F(GeometryTest, RectanglesAreNormalizedInflatedAndMadeOfCorners) {
    Owned box(make_struct_handle(RectangleValue{10, 10, -4, -6}));
    call<void>(kRectangle, "call_000_Normalize", box.get());
    EXPECT_EQ(struct_target<RectangleValue>(box.get()), (RectangleValue{6, 4, 4, 6}));
    call<void>(kRectangle, "call_002_Inflate", box.get(), 1, 2);
    EXPECT_EQ(struct_target<RectangleValue>(box.get()), (RectangleValue{5, 2, 6, 10}));
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_FromPoints", PointValue{5, 1}, PointValue{2, 8}),
              (RectangleValue{2, 1, 3, 7}));
    EXPECT_EQ(over<RectangleValue>(kRectangle, "call_000_Round", RectangleFValue{0.5f, 1.5f, 2.4f, 2.6f}),
              (RectangleValue{0, 2, 2, 3}));
}

TEST_F(GeometryTest, ARectangleOfFloatsIsEmptyWithoutWidthOrHeight) {
    const auto is_empty = [](const char* type, auto value) {
        Owned box(make_struct_handle(value));
        return call<bool>(type, "get_IsEmpty", box.get());
    };
    EXPECT_TRUE(is_empty(kRectangle, RectangleValue()));
    EXPECT_FALSE(is_empty(kRectangle, RectangleValue{1, 0, 0, 0}));
    EXPECT_TRUE(is_empty(kRectangleF, RectangleFValue{1, 1, 0, 5}));
    EXPECT_FALSE(is_empty(kRectangleF, RectangleFValue{1, 1, 1, 5}));
}

TEST_F(GeometryTest, TextIsThatOfTheManagedTypes) {
    EXPECT_EQ(text_of(SizeValue{1, 2}), u"{Width=1, Height=2}");
    EXPECT_EQ(text_of(SizeFValue{1.5f, 2}), u"{Width=1.5, Height=2}");
    EXPECT_EQ(text_of(PointValue{1, -2}), u"{X=1,Y=-2}");
    EXPECT_EQ(text_of(PointFValue{0.1f, 2}), u"{X=0.1, Y=2}");
    EXPECT_EQ(text_of(RectangleValue{1, 2, 3, 4}), u"{X=1,Y=2,Width=3,Height=4}");
    EXPECT_EQ(text_of(RectangleFValue{1, 2, 3.25f, 4}), u"{X=1,Y=2,Width=3.25,Height=4}");
}

}  // namespace
}  // namespace zelmor::embed
