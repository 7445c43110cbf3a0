// Types and their relations.
#include "runtime/native/core/type_system.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "fake_python.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {
namespace {

class TypeSystemTest : public test::RuntimeTest {};

TEST_F(TypeSystemTest, TypesAreFoundByNameAndByHostClass) {
    for (const TypeInfo& type : types()) {
        EXPECT_EQ(find_type(type.full_name), &type);
        EXPECT_EQ(find_host_class(type.host_class), &type) << type.full_name;
    }
    EXPECT_EQ(find_type("Zelmor.Imaging.NoSuchThing"), nullptr);
    EXPECT_THROW(require_type("Zelmor.Imaging.NoSuchThing"), ManagedException);
}

TEST_F(TypeSystemTest, TypeIdsArePositionsFromOne) {
    EXPECT_EQ(type_id(types()[0]), 1);
    std::set<int64_t> ids;
    for (const TypeInfo& type : types()) {
        ids.insert(type_id(type));
    }
    EXPECT_EQ(ids.size(), types().size());
    const TypeInfo& made = intern_type("Made.Up.Type");
    EXPECT_GT(type_id(made), static_cast<int64_t>(types().size()));
    EXPECT_EQ(&made, &intern_type("Made.Up.Type"));
}

TEST_F(TypeSystemTest, AssignabilityFollowsBasesAndInterfaces) {
    const auto fits = [](const char* to, const char* from) {
        return is_assignable(require_type(to), require_type(from));
    };
    EXPECT_TRUE(fits("Zelmor.Imaging.Image", "Zelmor.Imaging.Image"));
    EXPECT_TRUE(fits("Zelmor.Imaging.Image", "Zelmor.Imaging.RasterCachedImage"));
    EXPECT_FALSE(fits("Zelmor.Imaging.RasterCachedImage", "Zelmor.Imaging.Image"));
    EXPECT_TRUE(fits("Zelmor.Imaging.IColorPalette", "Zelmor.Imaging.ColorPalette"));
    EXPECT_FALSE(fits("Zelmor.Imaging.IColorPalette", "Zelmor.Imaging.Image"));
    EXPECT_TRUE(is_assignable(object_type(), require_type("Zelmor.Imaging.Size")));
    EXPECT_TRUE(is_assignable(object_type(), require_type("Zelmor.Imaging.IColorPalette")));
    EXPECT_TRUE(is_assignable(enum_type(), require_type("Zelmor.Imaging.KnownColor")));
    EXPECT_FALSE(is_assignable(enum_type(), require_type("Zelmor.Imaging.Size")));
    EXPECT_TRUE(is_assignable(disposable_type(), require_type("Zelmor.Imaging.RasterImage")));
    EXPECT_FALSE(is_assignable(disposable_type(), require_type("Zelmor.Imaging.LoadOptions")));
}

TEST_F(TypeSystemTest, AnInterfaceOfAnInterfaceCounts) {
    EXPECT_TRUE(is_assignable(require_type("Zelmor.Imaging.IRasterImageRawDataLoader"),
                              require_type("Zelmor.Imaging.IRasterImageArgb32PixelLoader")));
    EXPECT_TRUE(is_assignable(require_type("Zelmor.Imaging.IRasterImageRawDataLoader"),
                              require_type("Zelmor.Imaging.RasterImage")));
}

TEST_F(TypeSystemTest, OneTypeHasOneTypeObject) {
    const TypeInfo& size = require_type("Zelmor.Imaging.Size");
    EXPECT_EQ(type_object(size), type_object(size));
    EXPECT_EQ(type_object(size)->to_text(), u"Zelmor.Imaging.Size");
    EXPECT_FALSE(type_object(size)->equals(*type_object(require_type("Zelmor.Imaging.Point"))));
}

TEST_F(TypeSystemTest, BoxedEnumerationsShowTheirMembers) {
    const TypeInfo& color = require_type("Zelmor.Imaging.KnownColor");
    EXPECT_EQ(EnumObject(color, 141).to_text(), u"RED");
    EXPECT_EQ(EnumObject(color, 5).to_text(), u"5");
    EXPECT_TRUE(EnumObject(color, 141).equals(EnumObject(color, 141)));
    EXPECT_FALSE(EnumObject(color, 141).equals(EnumObject(color, 140)));
    const TypeInfo& format = require_type("Zelmor.Imaging.FileFormat");
    EXPECT_EQ(EnumObject(format, 0).to_text(), u"UNDEFINED");
    EXPECT_EQ(EnumObject(format, 18).to_text(), u"BMP, PNG");
    EXPECT_EQ(EnumObject(format, static_cast<int64_t>(1ull << 63)).to_text(), u"9223372036854775808");
}

TEST_F(TypeSystemTest, EveryElementOfACollectionIsWellFormed) {
    for (size_t i = 0; i < kGenericElementCount; ++i) {
        const ElementType* element = find_element(kGenericElements[i]);
        ASSERT_NE(element, nullptr) << kGenericElements[i];
        EXPECT_TRUE(element->wire != Wire::kCollection || element->inner() != nullptr) << element->id;
        // A type of the catalogue, as far as the catalogue goes, has the kind that its wire says.
        const TypeInfo* type = element->type();
        if (type == nullptr || element->wire == Wire::kObject) {
            continue;
        }
        const TypeKind wanted = element->wire == Wire::kStruct      ? TypeKind::kStruct
                                : element->wire == Wire::kInterface ? TypeKind::kInterface
                                : element->wire == Wire::kInt32     ? TypeKind::kEnum
                                                                    : TypeKind::kClass;
        EXPECT_EQ(type->kind, wanted) << element->name;
    }
    EXPECT_EQ(find_element("00000000"), nullptr);
    EXPECT_EQ(find_element(""), nullptr);
}

}  // namespace
}  // namespace zelmor::embed
