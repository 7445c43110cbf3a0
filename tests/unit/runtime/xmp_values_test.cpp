// Values of XMP that Python cannot make: dates of a zone, and copies.
#include <gtest/gtest.h>

#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Dimensions.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {
namespace {

class XmpValuesTest : public test::RuntimeTest {};

TEST_F(XmpValuesTest, DatesTellTheirZone) {
    // 2023-06-01 12:30, counted in ticks of 100 nanoseconds since the year 1.
    constexpr uint64_t kTicks = 638212194000000000;
    constexpr uint64_t kKind = uint64_t{1} << 62;  // of the two highest bits: 1 for universal time, 2 for local time
    EXPECT_EQ(iso_date_text(DateTimeValue{kTicks, 0}), "2023-06-01T12:30:00");
    EXPECT_EQ(iso_date_text(DateTimeValue{kTicks | kKind, 0}), "2023-06-01T12:30:00Z");
    for (const auto& [offset, zone] : {std::pair{0, "Z"},
                                       {1, "+00:01"},
                                       {-1, "-00:01"},
                                       {120, "+02:00"},
                                       {-345, "-05:45"},
                                       {840, "+14:00"},
                                       {-840, "-14:00"}}) {
        DateTimeValue local{kTicks | 2 * kKind, 0};
        local.offset = int64_t{offset} * 600000000;  // of minutes
        EXPECT_EQ(iso_date_text(local), std::string("2023-06-01T12:30:00") + zone);
    }
}

TEST_F(XmpValuesTest, CopiesAreObjectsOfTheirOwn) {
    const auto size = make_instance(api::Xmp::Types::Complex::Dimensions::Dimensions::kType.name);
    set_property(*size, "Width", 3.5);
    const Ref<ManagedObject> twin = size->copy();
    EXPECT_NE(twin.get(), size.get());
    EXPECT_TRUE(twin->equals(*size));
    EXPECT_EQ(twin->to_text(), size->to_text());
    set_property(*twin, "Width", 4.0);
    EXPECT_FALSE(twin->equals(*size));

    XmpNode node;
    node.kind = XmpNode::Kind::kStruct;
    node.children.push_back({"http://example.org/", "p", "field"});
    node.children[0].text = "text";
    const Value read = value_of_node(node);
    const auto& kept = std::get<Ref<ManagedObject>>(read);
    const Ref<ManagedObject> same = kept->copy();
    EXPECT_TRUE(same->equals(*kept));
    EXPECT_EQ(same->to_text(),
              u"<rdf:Description xmlns:p=\"http://example.org/\"><p:field>text</p:field></rdf:Description>");
}

TEST_F(XmpValuesTest, CopiesOfFractions) {
    for (const bool with_sign : {false, true}) {
        const Ref<ManagedObject> half = make_rational(1, 2, with_sign);
        const Ref<ManagedObject> twin = half->copy();
        EXPECT_NE(twin.get(), half.get());
        EXPECT_TRUE(twin->equals(*half));
        EXPECT_EQ(&twin->type(), &half->type());
        EXPECT_EQ(cast_object<RationalObject>(*twin).nominator(), 1);
        EXPECT_EQ(cast_object<RationalObject>(*twin).denominator(), 2);
    }
}

}  // namespace
}  // namespace zelmor::embed
