// Types and their relations.
#include "runtime/native/core/type_system.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>

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

// As .NET shows a combination: by the members that make it up, or as a number.
TEST_F(TypeSystemTest, ACombinationIsShownByItsMembers) {
    const EnumMember members[] = {{"A", 1}, {"AB", 3}, {"B", 2}, {"C", 4}, {"TOP", INT64_MIN}};
    const auto shown = [&](int64_t value, bool flags, Wire width) {
        TypeInfo type{};
        type.full_name = "Made.Up.Flags";
        type.kind = TypeKind::kEnum;
        type.flags = flags;
        type.width = width;
        type.base = kNoType;
        type.members = members;
        const std::u16string text = EnumObject(type, value).to_text();
        return std::string(text.begin(), text.end());
    };
    const std::tuple<int64_t, const char*, const char*> cases[] = {
        // value, with the attribute, without
        {0, "0", "0"},    {1, "A", "A"},
        {3, "AB", "AB"},  {5, "A, C", "5"},
        {6, "B, C", "6"}, {7, "A, B, C", "7"},
        {8, "8", "8"},    {9, "9", "9"},
        {-1, "-1", "-1"}, {INT64_MIN + 4, "C, TOP", "-9223372036854775804"},
    };
    for (const auto& [value, combined, plain] : cases) {
        EXPECT_EQ(shown(value, true, Wire::kInt64), combined);
        EXPECT_EQ(shown(value, false, Wire::kInt64), plain);
    }
    EXPECT_EQ(shown(-1, true, Wire::kUInt64), "18446744073709551615");
    EXPECT_EQ(shown(-1, true, Wire::kUInt32), "-1");
}

TEST_F(TypeSystemTest, EveryMemberOfAnEnumerationIsFoundByItsValue) {
    for (const TypeInfo& type : types()) {
        for (const EnumMember& member : type.members) {
            const EnumMember* found = find_enum_member(type, member.value);
            ASSERT_NE(found, nullptr) << type.full_name << ' ' << member.name;
            EXPECT_EQ(found->value, member.value);
        }
    }
    EXPECT_EQ(find_enum_member(require_type("Zelmor.Imaging.KnownColor"), 9999), nullptr);
}

TEST_F(TypeSystemTest, HashesFollowWhatIsEqual) {
    std::set<int32_t> hashes;
    for (const TypeInfo& type : types()) {
        hashes.insert(type_object(type)->hash_code());
    }
    EXPECT_EQ(hashes.size(), types().size());
    const TypeInfo& color = require_type("Zelmor.Imaging.KnownColor");
    const TypeInfo& format = require_type("Zelmor.Imaging.FileFormat");
    EXPECT_EQ(EnumObject(color, 7).hash_code(), EnumObject(color, 7).hash_code());
    EXPECT_NE(EnumObject(color, 7).hash_code(), EnumObject(color, 8).hash_code());
    EXPECT_NE(EnumObject(color, 7).hash_code(), EnumObject(color, 7 | int64_t{1} << 40).hash_code());
    EXPECT_FALSE(EnumObject(color, 1).equals(EnumObject(format, 1)));
    EXPECT_FALSE(type_object(color)->equals(EnumObject(color, 1)));
    EXPECT_FALSE(EnumObject(color, 1).equals(*type_object(color)));
    const auto copy = EnumObject(color, 7).copy();
    EXPECT_TRUE(copy->equals(EnumObject(color, 7)));
}

// Types that no catalogue has: arrays, enumerators, streams.
TEST_F(TypeSystemTest, TypesAreAddedByName) {
    const TypeInfo& base = intern_type("Made.Up.Base");
    const TypeInfo& derived = intern_type("Made.Up.Derived", TypeKind::kClass, &base);
    const TypeInfo& plain = intern_type("Undotted", TypeKind::kInterface);
    EXPECT_STREQ(derived.full_name, "Made.Up.Derived");
    EXPECT_STREQ(derived.name, "Derived");
    EXPECT_STREQ(derived.host_class, "");
    EXPECT_STREQ(derived.assembly, "mscorlib");
    EXPECT_EQ(derived.base, kNoType);
    EXPECT_STREQ(plain.name, "Undotted");
    EXPECT_EQ(plain.kind, TypeKind::kInterface);
    EXPECT_EQ(find_type("Made.Up.Derived"), &derived);
    EXPECT_EQ(type_id(derived), type_id(base) + 1);
    EXPECT_EQ(base_of(derived), &base);
    EXPECT_EQ(base_of(base), &object_type());
    EXPECT_EQ(base_of(plain), nullptr);
    EXPECT_EQ(base_of(object_type()), nullptr);
    EXPECT_EQ(base_of(require_type("Zelmor.Imaging.KnownColor")), &enum_type());
    EXPECT_EQ(base_of(require_type("Zelmor.Imaging.IColorPalette")), nullptr);
    EXPECT_TRUE(is_assignable(base, derived));
    EXPECT_FALSE(is_assignable(derived, base));
    const TypeInfo foreign{};
    EXPECT_EQ(type_id(foreign), 0);

    const TypeInfo& disposable = intern_disposable_type("Made.Up.Disposable");
    const TypeInfo& below = intern_type("Made.Up.Below", TypeKind::kClass, &disposable);
    EXPECT_TRUE(is_assignable(disposable_type(), disposable));
    EXPECT_TRUE(is_assignable(disposable_type(), below));
    EXPECT_FALSE(is_assignable(disposable_type(), derived));
    EXPECT_TRUE(is_assignable(disposable_type(), intern_type("System.IO.Stream")));
    EXPECT_EQ(&intern_disposable_type("Zelmor.Imaging.Size"), &require_type("Zelmor.Imaging.Size"));
    EXPECT_FALSE(is_assignable(disposable_type(), require_type("Zelmor.Imaging.Size")));
    EXPECT_EQ(find_host_class("no host class"), nullptr);
    try {
        require_type("Made.Up.Missing");
        ADD_FAILURE();
    } catch (const ManagedException& e) {
        EXPECT_EQ(e.name(), "TypeLoadException");
        EXPECT_EQ(e.detail(), "Could not load type 'Made.Up.Missing': the catalogue does not have it.");
    }
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
