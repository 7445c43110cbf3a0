// Records: what a new one holds, how it is read by name, and how records of value types compare and show themselves.
#include "runtime/native/core/records.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <set>
#include <tuple>

#include "fake_python.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

constexpr PropertyInfo kProperties[] = {
    {"Flag", Wire::kBool, false, true, kNoType, {}},    {"Count", Wire::kInt32, false, true, kNoType, {}},
    {"Fixed", Wire::kInt32, false, false, kNoType, {}}, {"Shared", Wire::kInt32, true, true, kNoType, {}},
    {"Hidden", Wire::kInt32, true, false, kNoType, {}}, {"XPAnyValue", Wire::kObject, false, true, kNoType, {}},
};

TypeInfo made_up(const char* name, TypeKind kind, std::span<const PropertyInfo> properties) {
    TypeInfo type{};
    type.full_name = name;
    type.name = name;
    type.host_class = "";
    type.assembly = "mscorlib";
    type.kind = kind;
    type.base = kNoType;
    type.properties = properties;
    return type;
}

const TypeInfo kClass = made_up("MadeUpClass", TypeKind::kClass, kProperties);
const TypeInfo kStruct = made_up("MadeUpStruct", TypeKind::kStruct, std::span(kProperties).first(3));
const TypeInfo kOther = made_up("OtherStruct", TypeKind::kStruct, std::span(kProperties).first(3));

class RecordsTest : public test::RuntimeTest {
 protected:
    static std::string refusal(const std::function<void()>& action) {
        try {
            action();
        } catch (const ManagedException& e) {
            return e.name() + ": " + e.detail();
        }
        return "";
    }
};

TEST_F(RecordsTest, ANewRecordHoldsZerosWhereItCanBeWritten) {
    const auto record = make_ref<Record>(kClass);
    EXPECT_EQ(record->slot_count(), 4U);  // static properties have no slot
    EXPECT_FALSE(std::get<bool>(property(*record, "Flag")));
    EXPECT_EQ(std::get<int64_t>(property(*record, "Count")), 0);
    EXPECT_TRUE(is_unset(property(*record, "Fixed")));
    EXPECT_FALSE(std::get<Ref<ManagedObject>>(property(*record, "XPAnyValue")));
    const std::pair<int, int> slots[] = {{0, 0}, {1, 1}, {2, 2}, {3, -1}, {4, -1}, {5, 3}};
    for (const auto& [index, slot] : slots) {
        EXPECT_EQ(slot_of(kClass, index), slot);
    }
    EXPECT_EQ(std::get<int64_t>(static_property(kClass, "Shared")), 0);
    set_static_property(kClass, "Shared", int64_t{7});
    EXPECT_EQ(std::get<int64_t>(static_property(kClass, "Shared")), 7);
    EXPECT_TRUE(is_unset(static_property(kClass, "Hidden")));
}

TEST_F(RecordsTest, APropertyIsFoundByItsNameOrKeyword) {
    EXPECT_EQ(find_property(kClass, "XPAnyValue")->slot, 3);
    EXPECT_EQ(find_property(kClass, "XPAnyValue")->info, &kProperties[5]);
    EXPECT_FALSE(find_property(kClass, "xpanyvalue") || find_property(kClass, "Shared"));
    for (const char* keyword : {"xp_any_value", "xpanyvalue", "x_p_any_value", "xp__any_value", "_xp_any_value"}) {
        EXPECT_EQ(find_property_by_keyword(kClass, keyword).value_or(PropertySlot{}).slot, 3) << keyword;
    }
    for (const char* keyword : {"", "_", "xp_any_valu", "xp_any_value_", "xp_any_values", "xp_any", "XP_any_value",
                                "yp_any_value", "shared", "fix"}) {
        EXPECT_FALSE(find_property_by_keyword(kClass, keyword)) << keyword;
    }
    // "from" is a word of Python's own.
    const TypeInfo& interval = require_type("Zelmor.Imaging.ImageOptions.TimeInterval");
    EXPECT_EQ(find_property_by_keyword(interval, "from_address")->slot, find_property(interval, "From")->slot);
    // As the members of the whole catalogue are called.
    for (const TypeInfo& type : types()) {
        std::set<std::string> keywords;
        for (const PropertyInfo& each : type.properties) {
            std::string keyword;
            for (const char c : std::string_view(each.name)) {
                keyword += static_cast<char>(std::tolower(c));
            }
            if (!each.is_static && keywords.insert(keyword).second) {
                const auto found = find_property_by_keyword(type, keyword);
                ASSERT_TRUE(found) << type.full_name << '.' << each.name;
                EXPECT_EQ(found->slot, find_property(type, each.name)->slot) << type.full_name << '.' << each.name;
            }
        }
    }
}

TEST_F(RecordsTest, ANameThatATypeDoesNotHaveIsMissing) {
    const auto record = make_ref<Record>(kClass);
    const std::string missing = "MissingMemberException: The type 'MadeUpClass' has no property 'None'.";
    EXPECT_EQ(refusal([&] { property(*record, "None"); }), missing);
    EXPECT_EQ(refusal([&] { set_property(*record, "None", true); }), missing);
    EXPECT_EQ(refusal([&] { static_property(kClass, "None"); }), missing);
    EXPECT_EQ(refusal([&] { static_property(kClass, "Count"); }),
              "MissingMemberException: The type 'MadeUpClass' has no property 'Count'.");
    EXPECT_EQ(refusal([&] { property(*type_object(kClass), "Name"); }),
              "MissingMemberException: The type 'System.Type' has no property 'Name'.");
    EXPECT_TRUE(has_property(*record, "Count"));
    EXPECT_FALSE(has_property(*record, "None") || has_property(*record, "Shared") ||
                 has_property(*type_object(kClass), "Count"));
}

TEST_F(RecordsTest, AStoredValueIsReadAsWhatIsAskedFor) {
    const auto record = make_ref<Record>(kClass);
    const auto stored = [&](const Value& value) -> const Record& {
        set_property(*record, "XPAnyValue", value);
        return *record;
    };
    const char* name = "XPAnyValue";
    const Value text(std::u16string(u"x"));
    const std::tuple<Value, int64_t, double> numbers[] = {
        {int64_t{-5}, -5, -5.0},
        {uint64_t{1} << 63, INT64_MIN, -0x1p63},
        {true, 1, 1.0},
        {false, 0, 0.0},
        {7.9, 7, 7.9},
        {Value(), 0, 0.0},
        {Ref<ManagedObject>(), 0, 0.0},
    };
    for (const auto& [value, whole, real] : numbers) {
        EXPECT_EQ(property_int(stored(value), name), whole);
        EXPECT_EQ(property_bool(stored(value), name), whole != 0);
        EXPECT_EQ(property_double(stored(value), name), real);
    }
    EXPECT_EQ(property_string(stored(text), name), u"x");
    EXPECT_EQ(property_string(stored(Value()), name), std::nullopt);
    EXPECT_EQ(property_string(stored(Ref<ManagedObject>()), name), std::nullopt);
    const Ref<ManagedObject> object = make_ref<Record>(kClass);
    EXPECT_EQ(property_object(stored(object), name), object);
    EXPECT_FALSE(property_object(stored(Value()), name));
    const std::string cast = "InvalidCastException: Unable to cast object of type ";
    EXPECT_EQ(refusal([&] { property_int(stored(text), name); }), cast + "'System.String' to type 'System.Int64'.");
    EXPECT_EQ(refusal([&] { property_bool(stored(object), name); }), cast + "'MadeUpClass' to type 'System.Int64'.");
    EXPECT_EQ(refusal([&] { property_string(stored(true), name); }),
              cast + "'System.Boolean' to type 'System.String'.");
    EXPECT_EQ(refusal([&] { property_object(stored(text), name); }), cast + "'System.String' to type 'System.Object'.");
    stored(Value());
}

TEST_F(RecordsTest, RecordsOfValueTypesCompareByTheirSlots) {
    const auto record = [](const TypeInfo& type, bool flag, int64_t count) {
        auto made = make_ref<Record>(type);
        set_property(*made, "Flag", flag);
        set_property(*made, "Count", count);
        return made;
    };
    const auto one = record(kStruct, true, 5);
    EXPECT_TRUE(one->equals(*record(kStruct, true, 5)));
    EXPECT_EQ(one->hash_code(), record(kStruct, true, 5)->hash_code());
    for (const auto& other : {record(kStruct, false, 5), record(kStruct, true, 6), record(kStruct, true, 0)}) {
        EXPECT_FALSE(one->equals(*other));
        EXPECT_NE(one->hash_code(), other->hash_code());
    }
    EXPECT_FALSE(one->equals(*record(kOther, true, 5)));
    EXPECT_NE(record(kStruct, true, 0)->hash_code(), record(kStruct, false, 1)->hash_code());
    EXPECT_EQ(one->to_text(), u"{Flag=True, Count=5}");
    set_property(*one, "Flag", Value());
    set_property(*one, "Fixed", int64_t{9});
    EXPECT_EQ(one->to_text(), u"{Count=5, Fixed=9}");
    // Those of classes are themselves.
    const auto object = record(kClass, true, 5);
    EXPECT_TRUE(object->equals(*object));
    EXPECT_FALSE(object->equals(*record(kClass, true, 5)));
    EXPECT_EQ(object->to_text(), u"MadeUpClass");
    EXPECT_EQ(object->hash_code(), object->hash_code());
    EXPECT_NE(object->hash_code(), record(kClass, true, 5)->hash_code());
}

TEST_F(RecordsTest, ACopyHasStructuresOfItsOwnAndSharesObjects) {
    const auto record = make_ref<Record>(kClass);
    const Ref<ManagedObject> size = box(SizeValue{1, 2}), object = make_ref<Record>(kClass);
    const auto seen = [](const Ref<ManagedObject>& holder) { return property_object(*holder, "XPAnyValue"); };
    for (const Ref<ManagedObject>& held : {size, object}) {
        set_property(*record, "XPAnyValue", held);
        set_property(*record, "Count", int64_t{3});
        const auto copy = record->copy();
        EXPECT_EQ(property_int(*copy, "Count"), 3);
        EXPECT_EQ(seen(copy) == held, held == object);
        EXPECT_TRUE(seen(copy)->equals(*held));
        const auto other = make_ref<Record>(kClass);
        other->assign_from(*record);
        EXPECT_EQ(property_int(*other, "Count"), 3);
        EXPECT_EQ(seen(other) == held, held == object);
        const auto part = make_ref<Record>(kStruct);  // which has no XPAnyValue
        part->assign_from(*record);
        EXPECT_EQ(part->to_text(), u"{Flag=False, Count=3}");
    }
}

TEST_F(RecordsTest, EveryWireTypeHasAZero) {
    const Value null{Ref<ManagedObject>()};
    const std::pair<Wire, Value> zeros[] = {
        {Wire::kBool, false},
        {Wire::kInt8, int64_t{0}},
        {Wire::kUInt8, int64_t{0}},
        {Wire::kInt16, int64_t{0}},
        {Wire::kUInt16, int64_t{0}},
        {Wire::kChar, int64_t{0}},
        {Wire::kInt32, int64_t{0}},
        {Wire::kUInt32, int64_t{0}},
        {Wire::kInt64, int64_t{0}},
        {Wire::kUInt64, int64_t{0}},
        {Wire::kSingle, 0.0},
        {Wire::kDouble, 0.0},
        {Wire::kDateTime, DateTimeValue{}},
        {Wire::kNullableDateTime, null},
        {Wire::kDateTimeOffset, DateTimeOffsetValue{}},
        {Wire::kTimeSpan, TimeSpanValue{}},
        {Wire::kDecimal, DecimalValue{}},
        {Wire::kGuid, GuidValue{}},
        {Wire::kString, null},
        {Wire::kBytes, null},
        {Wire::kObject, null},
        {Wire::kClass, null},
        {Wire::kStruct, null},
        {Wire::kInterface, null},
        {Wire::kStream, null},
        {Wire::kCollection, null},
        {Wire::kRecord, null},
        {Wire::kVoid, Value()},
    };
    for (const auto& [wire, zero] : zeros) {
        const Value value = zero_value(wire, nullptr);
        EXPECT_EQ(value.index(), zero.index()) << static_cast<int>(wire);
        EXPECT_TRUE(values_equal(value, zero)) << static_cast<int>(wire);
    }
    const Value size = zero_value(Wire::kStruct, &struct_type<SizeValue>());
    EXPECT_TRUE(std::get<Ref<ManagedObject>>(size)->equals(*box(SizeValue{0, 0})));
    // The first member of an enumeration that has no zero, unless its members are combined.
    const EnumMember with[] = {{"ONE", 1}, {"ZERO", 0}}, without[] = {{"FIVE", 5}, {"ONE", 1}};
    const auto zero_of = [](std::span<const EnumMember> members, bool flags) {
        TypeInfo type = made_up("Enumeration", TypeKind::kEnum, {});
        type.members = members;
        type.flags = flags;
        return std::get<int64_t>(zero_value(Wire::kInt32, &type));
    };
    EXPECT_EQ(zero_of(with, false), 0);
    EXPECT_EQ(zero_of(without, false), 5);
    EXPECT_EQ(zero_of(without, true), 0);
    EXPECT_EQ(zero_of({}, false), 0);
}

}  // namespace
}  // namespace zelmor::embed
