// Every registered behavior against the catalogue: the entry point exists and crosses as the function does.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "fake_python.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {
namespace {

const EntryInfo* find_entry(const TypeInfo& type, const char* name) {
    for (const EntryInfo& entry : type.entries) {
        if (std::string_view(entry.name) == name) {
            return &entry;
        }
    }
    return nullptr;
}

TEST(RegistrationTest, EveryBehaviorIsInTheCatalogueWithItsSignature) {
    size_t count = 0;
    for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
        for (const Behavior& behavior : table->behaviors()) {
            for (const EntryName* known : behavior.names) {
                const std::string name = std::string(known->type.name) + "::" + known->name;
                const TypeInfo* type = find_type(known->type.name);
                ASSERT_NE(type, nullptr) << name;
                EXPECT_STREQ(type->assembly, assembly_name(known->type.assembly)) << name;
                const EntryInfo* entry = find_entry(*type, known->name);
                ASSERT_NE(entry, nullptr) << name;
                EXPECT_STREQ(entry->signature, behavior.point.signature) << name;
                ++count;
            }
        }
    }
    EXPECT_GT(count, 300u);
}

TEST(RegistrationTest, NoEntryPointHasTwoBehaviors) {
    std::set<std::string> names;
    for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
        for (const Behavior& behavior : table->behaviors()) {
            for (const EntryName* known : behavior.names) {
                const std::string name = std::string(known->type.name) + "::" + known->name;
                EXPECT_TRUE(names.insert(name).second) << name;
            }
        }
    }
}

TEST(RegistrationTest, EveryMemberOfAValueTypeHasBehavior) {
    for (const char* name : {"Size", "SizeF", "Point", "PointF", "Rectangle", "RectangleF", "Color", "CmykColor"}) {
        const TypeInfo& type = require_type(std::string("Zelmor.Imaging.") + name);
        for (const EntryInfo& entry : type.entries) {
            if (entry.role >= EntryRole::kTypeOf) {
                continue;
            }
            if (std::string_view(entry.member).find("Icc") != std::string_view::npos) {
                continue;  // image work
            }
            EXPECT_NE(find_behavior(type.full_name, entry.name).address, nullptr)
                << type.full_name << "::" << entry.name;
        }
    }
}

std::vector<DefaultValue> all_defaults() {
    std::vector<DefaultValue> all;
    for (const DefaultTable* table = DefaultTable::first(); table != nullptr; table = table->next()) {
        all.insert(all.end(), table->values().begin(), table->values().end());
    }
    return all;
}

TEST(RegistrationTest, EveryDefaultNamesAPropertyOfItsType) {
    for (const DefaultValue& entry : all_defaults()) {
        const TypeInfo* type = find_type(entry.type);
        ASSERT_NE(type, nullptr) << entry.type;
        bool is_static = false;
        for (const PropertyInfo& property : type->properties) {
            is_static = is_static || (property.is_static && std::string_view(property.name) == entry.property);
        }
        EXPECT_TRUE(is_static || find_property(*type, entry.property)) << entry.type << "." << entry.property;
    }
}

TEST(RegistrationTest, NoPropertyOfATypeHasTwoDefaults) {
    std::set<std::string> names;
    for (const DefaultValue& entry : all_defaults()) {
        const std::string name = std::string(entry.type) + "." + entry.property;
        EXPECT_TRUE(names.insert(name).second) << name;
    }
}

// An enumeration's default has to be a member: Python could not show another.
TEST(RegistrationTest, EveryDefaultOfAnEnumerationIsAMember) {
    for (const DefaultValue& entry : all_defaults()) {
        const auto property = find_property(require_type(entry.type), entry.property);
        const TypeInfo* type = property ? type_at(property->info->type) : nullptr;
        if (type == nullptr || type->kind != TypeKind::kEnum) {
            continue;
        }
        EXPECT_NE(find_enum_member(*type, entry.integer), nullptr) << entry.type << "." << entry.property;
    }
}

}  // namespace
}  // namespace zelmor::embed
