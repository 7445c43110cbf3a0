// The cast services of classes, structs, interfaces and enumerations.
#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

constexpr const char* kPng = "Zelmor.Imaging.ImageOptions.PngOptions";
constexpr const char* kBmp = "Zelmor.Imaging.ImageOptions.BmpOptions";
constexpr const char* kBase = "Zelmor.Imaging.ImageOptionsBase";
constexpr const char* kSize = "Zelmor.Imaging.Size";
constexpr const char* kSizeF = "Zelmor.Imaging.SizeF";
constexpr const char* kPoint = "Zelmor.Imaging.Point";
constexpr const char* kKnownColor = "Zelmor.Imaging.KnownColor";

class CastsTest : public test::RuntimeTest {
 protected:
    static int cast_to(const char* type, VariantArg from, void** out) {
        return call<int>(type, "btp_CastTo", static_cast<const VariantArg*>(&from), out);
    }
};

TEST_F(CastsTest, TypeOfGivesTheType) {
    for (const char* type :
         {kPng, kSize, "Zelmor.Imaging.IColorPalette", kKnownColor, "Zelmor.Imaging.ColorPaletteHelper"}) {
        void* out = nullptr;
        EXPECT_EQ(call<int>(type, "btp_TypeOf", &out), 1);
        Owned owned(out);
        EXPECT_STREQ(target<TypeObject>(out).described().full_name, type);
    }
}

TEST_F(CastsTest, ACastToABaseOrToItselfIsMade) {
    Owned png(make_handle(make_instance(kPng)));
    for (const char* type : {kPng, kBase}) {
        void* out = nullptr;
        EXPECT_EQ(cast_to(type, png.object_arg(), &out), 1);
        Owned owned(out);
        EXPECT_NE(out, png.get());
        EXPECT_EQ(object_of(out), object_of(png.get()));
    }
}

TEST_F(CastsTest, AnImpossibleCastHasAStatusAndNoError) {
    Owned png(make_handle(make_instance(kPng)));
    void* out = nullptr;
    EXPECT_EQ(cast_to(kBmp, png.object_arg(), &out), 0);
    EXPECT_EQ(cast_to(kSize, png.object_arg(), &out), 0);
    EXPECT_EQ(call<int>(kBmp, "btp_CastAs", png.get(), &out), 0);
    EXPECT_EQ(out, nullptr);
}

TEST_F(CastsTest, AnInvalidHandleFailsAndIsNoImpossibleCast) {
    const Handle gone = make_handle(make_instance(kPng));
    free_handle(gone);
    void* out = nullptr;
    EXPECT_EQ(cast_to(kPng, {kHandleObject, gone}, &out), -1);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
    EXPECT_EQ(call<int>(kPng, "btp_CastAs", gone, &out), -1);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
    EXPECT_EQ(call<int>(kSize, "btp_CastFrom", gone, gone, &out), -1);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
    EXPECT_EQ(out, nullptr);
}

TEST_F(CastsTest, NullIsOfEveryReferenceType) {
    void* out = &out;
    EXPECT_EQ(cast_to(kPng, {}, &out), 1);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(cast_to("Zelmor.Imaging.IColorPalette", {}, &out), 1);
    EXPECT_EQ(cast_to(kSize, {}, &out), 0);
    EXPECT_EQ(call<int>(kPng, "btp_CastAs", static_cast<void*>(nullptr), &out), 0);
    EXPECT_EQ(call<int>(kPng, "btp_IsAssignable", static_cast<void*>(nullptr)), 0);
}

TEST_F(CastsTest, IsAssignableComparesTheTypesOfObjectsAndStructs) {
    Owned png(make_handle(make_instance(kPng)));
    EXPECT_EQ(call<int>(kBase, "btp_IsAssignable", png.get()), 1);
    EXPECT_EQ(call<int>(kBmp, "btp_IsAssignable", png.get()), 0);
    Owned size(make_struct_handle(SizeValue{1, 2}));
    const VariantArg arg = size.struct_arg();
    EXPECT_EQ(call<int>(kSize, "btp_IsAssignable", &arg), 1);
    EXPECT_EQ(call<int>(kPoint, "btp_IsAssignable", &arg), 0);
    EXPECT_EQ(call<int>("Zelmor.Imaging.IColorPalette", "btp_IsAssignable", &arg), 0);
    const VariantArg list{2, reinterpret_cast<void*>(0x1234)};
    EXPECT_EQ(call<int>(kSize, "btp_IsAssignable", &list), 0);
}

TEST_F(CastsTest, AStructIsCopied) {
    Owned size(make_struct_handle(SizeValue{1, 2}));
    const VariantArg arg = size.struct_arg();
    void* out = nullptr;
    EXPECT_EQ(call<int>(kSize, "btp_CastAs", &arg, &out), 1);
    Owned copy(out);
    EXPECT_NE(object_of(copy.get()), object_of(size.get()));
    EXPECT_EQ(struct_target<SizeValue>(out), (SizeValue{1, 2}));
    void* again = nullptr;
    EXPECT_EQ(call<int>(kSize, "btp_ReInterpretObj", size.get(), &again), 1);
    Owned owned(again);
    EXPECT_EQ(struct_target<SizeValue>(again), (SizeValue{1, 2}));
}

TEST_F(CastsTest, ReinterpretingAnotherTypeIsAnError) {
    Owned png(make_handle(make_instance(kPng)));
    void* out = nullptr;
    EXPECT_EQ(call<int>(kBmp, "btp_ReInterpretObj", png.get(), &out), 0);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "InvalidCastException");
    EXPECT_NE(raised.detail.find(kPng), std::string::npos);
    EXPECT_NE(raised.detail.find(kBmp), std::string::npos);
}

TEST_F(CastsTest, ConversionOperatorsWorkBothWays) {
    Owned size(make_struct_handle(SizeValue{3, 4}));
    void* out = nullptr;
    EXPECT_EQ(cast_to(kSizeF, size.struct_arg(), &out), 1);
    Owned size_f(out);
    EXPECT_EQ(struct_target<SizeFValue>(out), (SizeFValue{3, 4}));

    const auto cast_from = [](const char* type, void* self, const char* to, void** result) {
        Owned wanted(make_handle(type_object(require_type(to))));
        return call<int>(type, "btp_CastFrom", self, wanted.get(), result);
    };
    void* point = nullptr;
    EXPECT_EQ(cast_from(kSize, size.get(), kPoint, &point), 1);
    Owned owned_point(point);
    EXPECT_EQ(struct_target<PointValue>(point), (PointValue{3, 4}));
    void* point_f = nullptr;
    EXPECT_EQ(cast_from(kPoint, point, "Zelmor.Imaging.PointF", &point_f), 1);
    Owned owned_point_f(point_f);
    EXPECT_EQ(struct_target<PointFValue>(point_f), (PointFValue{3, 4}));
    void* none = nullptr;
    EXPECT_EQ(cast_from(kSize, size.get(), "Zelmor.Imaging.Rectangle", &none), 0);
    EXPECT_EQ(none, nullptr);
    void* boxed = nullptr;
    EXPECT_EQ(cast_from(kSize, size.get(), "System.Object", &boxed), 1);
    Owned owned_boxed(boxed);
    EXPECT_EQ(cast_from(kSize, nullptr, kPoint, &none), -1);
    EXPECT_EQ(test::take_raised().name, "NullReferenceException");
}

TEST_F(CastsTest, EnumerationsAreBoxedAndUnboxed) {
    void* boxed = nullptr;
    EXPECT_EQ(call<int>(kKnownColor, "btp_AsUniEnum", 141, &boxed), 1);
    Owned owned(boxed);
    EXPECT_EQ(target<EnumObject>(boxed).value(), 141);
    int32_t number = 0;
    const VariantArg arg = owned.object_arg();
    EXPECT_EQ(call<int>(kKnownColor, "btp_CastTo", &arg, &number), 1);
    EXPECT_EQ(number, 141);
    number = 0;
    EXPECT_EQ(call<int>(kKnownColor, "btp_CastAs", boxed, &number), 1);
    EXPECT_EQ(number, 141);
    number = 0;
    EXPECT_EQ(call<int>(kKnownColor, "btp_ReInterpretObj", boxed, &number), 1);
    EXPECT_EQ(number, 141);
    EXPECT_EQ(call<int>(kKnownColor, "btp_IsAssignable", boxed), 1);
    EXPECT_EQ(call<int>("Zelmor.Imaging.ResizeType", "btp_IsAssignable", boxed), 0);
    EXPECT_EQ(cast_to("Zelmor.Imaging.ResizeType", arg, reinterpret_cast<void**>(&boxed)), 0);
    void* type = nullptr;
    EXPECT_EQ(call<int>(kKnownColor, "btp_GetType", 141, &type), 1);
    Owned owned_type(type);
    EXPECT_STREQ(target<TypeObject>(type).described().full_name, kKnownColor);
}

TEST_F(CastsTest, AnEnumerationIsStoredAtItsOwnWidth) {
    for (const TypeInfo& type : types()) {
        if (type.kind != TypeKind::kEnum || type.members.empty()) {
            continue;
        }
        const int64_t value = type.members.back().value;
        Owned boxed(make_handle(make_ref<EnumObject>(type, value)));
        uint64_t slot = 0xAAAAAAAAAAAAAAAA;
        EXPECT_EQ(call<int>(type.full_name, "btp_CastAs", boxed.get(), &slot), 1);
        const int bits = type.width <= Wire::kUInt8    ? 8
                         : type.width <= Wire::kUInt16 ? 16
                         : type.width <= Wire::kUInt32 ? 32
                                                       : 64;
        const uint64_t mask = bits == 64 ? ~0ull : (1ull << bits) - 1;
        EXPECT_EQ(slot & mask, static_cast<uint64_t>(value) & mask) << type.full_name;
        EXPECT_EQ(slot & ~mask, 0xAAAAAAAAAAAAAAAA & ~mask) << type.full_name << " wrote beyond its width";
    }
}

}  // namespace
}  // namespace zelmor::embed
