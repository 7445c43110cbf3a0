// Values that cross the wire without a function of their own: each wire type from each kind of value, and back.
#include "runtime/native/table_entries/wire_values.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <functional>
#include <limits>

#include "fake_python.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/values.h"
#include "runtime/native/delegates/wire_call.h"

namespace zelmor::embed {
namespace {

using test::Owned;

class WireValues : public test::RuntimeTest {
 protected:
    // The word in the register of a result.
    static uint64_t written(Wire wire, const Value& value) {
        uint64_t result = 0;
        CallFrame frame("l", &result, nullptr);
        write_wire(frame, value, wire, nullptr);
        return result;
    }
    template <class T>
    static Value read(Wire wire, T given, const TypeInfo* type = nullptr) {
        void* arguments[] = {&given};
        CallFrame frame("vp", nullptr, arguments);
        return read_wire(frame, 0, wire, type);
    }
    template <class T>
    static T out(Wire wire, const Value& value) {
        T record{};
        void* pointer = &record;
        void* arguments[] = {&pointer};
        CallFrame frame("vp", nullptr, arguments);
        write_wire(frame, value, wire, nullptr);
        return record;
    }
    static std::string refusal(const std::function<void()>& action) {
        try {
            action();
        } catch (const ManagedException& e) {
            return e.name() + ": " + e.detail();
        }
        return "";
    }
};

constexpr int64_t kMost = std::numeric_limits<int64_t>::max();

TEST_F(WireValues, NumbersLeaveAtTheirWidth) {
    const std::tuple<Wire, Value, uint64_t> cases[] = {
        {Wire::kInt8, int64_t{0x1FE}, ~uint64_t{1}},
        {Wire::kUInt8, int64_t{0x1FE}, 0xFE},
        {Wire::kInt16, int64_t{0x18000}, ~uint64_t{0x7FFF}},
        {Wire::kUInt16, int64_t{0x18000}, 0x8000},
        {Wire::kChar, int64_t{0x18000}, 0x8000},
        {Wire::kInt32, int64_t{0x180000000}, ~uint64_t{0x7FFFFFFF}},
        {Wire::kUInt32, int64_t{0x180000000}, 0x80000000},
        {Wire::kInt64, int64_t{-5}, ~uint64_t{4}},
        {Wire::kUInt64, ~uint64_t{0}, ~uint64_t{0}},
        {Wire::kBool, int64_t{2}, 1},
        {Wire::kBool, int64_t{0}, 0},
        {Wire::kBool, true, 1},
        {Wire::kBool, false, 0},
        {Wire::kInt32, true, 1},
        {Wire::kInt32, false, 0},
        {Wire::kInt32, 7.9, 7},
        {Wire::kInt32, Value(), 0},
        {Wire::kInt32, Ref<ManagedObject>(), 0},
        {Wire::kTimeSpan, TimeSpanValue{-7}, ~uint64_t{6}},
        {Wire::kTimeSpan, Value(), 0},
    };
    for (const auto& [wire, value, word] : cases) {
        EXPECT_EQ(written(wire, value), word) << static_cast<int>(wire);
    }
    const std::pair<Value, double> reals[] = {
        {0.1, 0.1}, {int64_t{-3}, -3}, {~uint64_t{0}, -1}, {true, 1}, {Value(), 0}, {1e300, 1e300},
    };
    for (const auto& [value, number] : reals) {
        EXPECT_EQ(std::bit_cast<double>(written(Wire::kDouble, value)), number);
        const auto low = static_cast<uint32_t>(written(Wire::kSingle, value));
        EXPECT_EQ(std::bit_cast<float>(low), static_cast<float>(number));
    }
}

TEST_F(WireValues, NumbersComeAtTheirWidth) {
    const std::tuple<Wire, uint64_t, Value> cases[] = {
        {Wire::kInt8, 0x1FE, int64_t{-2}},
        {Wire::kUInt8, 0x1FE, int64_t{0xFE}},
        {Wire::kInt16, 0x18000, int64_t{-0x8000}},
        {Wire::kUInt16, 0x18000, int64_t{0x8000}},
        {Wire::kChar, 0x18000, int64_t{0x8000}},
        {Wire::kInt32, 0x180000000, int64_t{INT32_MIN}},
        {Wire::kUInt32, 0x180000000, int64_t{0x80000000}},
        {Wire::kInt64, ~uint64_t{0}, int64_t{-1}},
        {Wire::kUInt64, static_cast<uint64_t>(kMost), kMost},
        {Wire::kUInt64, uint64_t{1} << 63, uint64_t{1} << 63},
        {Wire::kBool, 2, true},
        {Wire::kBool, 0x100, false},
        {Wire::kSingle, std::bit_cast<uint32_t>(0.5F), 0.5},
        {Wire::kDouble, std::bit_cast<uint64_t>(-0.1), -0.1},
        {Wire::kTimeSpan, 5, TimeSpanValue{5}},
        {Wire::kDateTime, 77, DateTimeValue{77, 0}},
        {Wire::kVoid, 5, Value()},
    };
    for (const auto& [wire, word, value] : cases) {
        const Value came = read(wire, word);
        EXPECT_EQ(came.index(), value.index()) << static_cast<int>(wire);
        EXPECT_TRUE(values_equal(came, value)) << static_cast<int>(wire);
    }
}

TEST_F(WireValues, AMomentMayBeMissing) {
    const auto came = [](int32_t is_there) {
        uint64_t ticks = 99;
        void* arguments[] = {&is_there, &ticks};
        CallFrame frame("vil", nullptr, arguments);
        return read_wire(frame, 0, Wire::kNullableDateTime, nullptr);
    };
    EXPECT_TRUE(std::holds_alternative<Ref<ManagedObject>>(came(0)) && is_null(came(0)));
    EXPECT_EQ(std::get<DateTimeValue>(came(1)).word, 99U);

    struct Answer {
        int32_t present = 7;
        int64_t words[2] = {-1, -1};
    };
    const auto given = [](const Value& value) {
        Answer answer;
        int32_t* present = &answer.present;
        int64_t* words = answer.words;
        void* arguments[] = {&present, &words};
        CallFrame frame("vpp", nullptr, arguments);
        write_wire(frame, value, Wire::kNullableDateTime, nullptr);
        return answer;
    };
    EXPECT_EQ(given(Value()).present, 0);
    EXPECT_EQ(given(Ref<ManagedObject>()).words[0], -1);
    const Answer moment = given(DateTimeValue{5, 6});
    EXPECT_EQ(moment.present, 1);
    EXPECT_EQ(moment.words[0], 5);
    EXPECT_EQ(moment.words[1], 6);
}

TEST_F(WireValues, MomentsLeaveAsTwoWords) {
    struct Words {
        int64_t first = -1, second = -1;
        bool operator==(const Words&) const = default;
    };
    EXPECT_EQ(out<Words>(Wire::kDateTime, DateTimeValue{5, 6}), (Words{5, 6}));
    EXPECT_EQ(out<Words>(Wire::kDateTime, Value()), (Words{0, 0}));
    EXPECT_EQ(out<Words>(Wire::kDateTimeOffset, DateTimeOffsetValue{7, 8}), (Words{7, 8}));
    EXPECT_EQ(out<Words>(Wire::kDateTimeOffset, Value()), (Words{0, 0}));
    // A moment on a clock with an offset is a local one; .NET has the kind in the two highest bits.
    EXPECT_EQ(out<Words>(Wire::kDateTime, DateTimeOffsetValue{7, 8}), (Words{7 | INT64_MIN, 8}));
}

TEST_F(WireValues, TextAndBytesMayBeNull) {
    const PyStringArg none{-1, 0, nullptr}, empty{0, 1, ""}, text{2, 1, "ab"};
    EXPECT_TRUE(std::holds_alternative<Ref<ManagedObject>>(read(Wire::kString, &none)));
    EXPECT_EQ(std::get<std::u16string>(read(Wire::kString, &empty)), u"");
    EXPECT_EQ(std::get<std::u16string>(read(Wire::kString, &text)), u"ab");
    char data[] = "abc";
    const PyBytesArg no_bytes{0, -1, data}, no_content{0, 0, data}, bytes{0, 2, data};
    EXPECT_TRUE(std::holds_alternative<Ref<ManagedObject>>(read(Wire::kBytes, &no_bytes)));
    EXPECT_EQ(std::get<Bytes>(read(Wire::kBytes, &no_content)).size(), 0U);
    EXPECT_EQ(std::get<Bytes>(read(Wire::kBytes, &bytes)), (Bytes{std::byte{'a'}, std::byte{'b'}}));
}

TEST_F(WireValues, ObjectsComeAsWhatIsDeclared) {
    const TypeInfo& size = struct_type<SizeValue>();
    const TypeInfo& options = require_type("Zelmor.Imaging.LoadOptions");
    const TypeInfo& palette = require_type("Zelmor.Imaging.IColorPalette");
    const Owned boxed(make_struct_handle(SizeValue{1, 2}));
    const Owned object(make_handle(make_instance("Zelmor.Imaging.LoadOptions")));
    const Owned stream(make_handle(make_memory_stream()));
    const VariantArg none{0, nullptr}, a_struct = boxed.struct_arg(), an_object = object.object_arg(),
                                       a_stream = stream.object_arg();
    const auto behind = [](const Value& value) { return std::get<Ref<ManagedObject>>(value).get(); };

    EXPECT_EQ(behind(read(Wire::kClass, object.get(), &options)), object_of(object.get()));
    EXPECT_EQ(behind(read(Wire::kClass, object.get())), object_of(object.get()));
    EXPECT_EQ(behind(read(Wire::kClass, static_cast<void*>(nullptr), &options)), nullptr);
    EXPECT_EQ(refusal([&] { read(Wire::kClass, object.get(), &palette); }),
              "InvalidCastException: Unable to cast object of type 'Zelmor.Imaging.LoadOptions' to type "
              "'Zelmor.Imaging.IColorPalette'.");
    // A structure is copied.
    const Value copy = read(Wire::kStruct, &a_struct, &size);
    EXPECT_NE(behind(copy), object_of(boxed.get()));
    EXPECT_TRUE(behind(copy)->equals(*object_of(boxed.get())));
    EXPECT_EQ(refusal([&] { read(Wire::kStruct, &an_object, &size); }),
              "InvalidCastException: Unable to cast object of type 'Zelmor.Imaging.LoadOptions' to type "
              "'Zelmor.Imaging.Size'.");
    EXPECT_EQ(refusal([&] { read(Wire::kStruct, &none, &size); }),
              "NullReferenceException: None cannot become a value of Zelmor.Imaging.Size");
    EXPECT_EQ(refusal([&] { read(Wire::kStruct, &none); }),
              "NullReferenceException: None cannot become a value of a value type");
    EXPECT_EQ(behind(read(Wire::kInterface, &an_object, &options)), object_of(object.get()));
    EXPECT_EQ(behind(read(Wire::kInterface, &none, &palette)), nullptr);
    EXPECT_EQ(refusal([&] { read(Wire::kInterface, &an_object, &palette); }),
              "InvalidCastException: Unable to cast object of type 'Zelmor.Imaging.LoadOptions' to type "
              "'Zelmor.Imaging.IColorPalette'.");
    EXPECT_EQ(behind(read(Wire::kStream, &a_stream)), object_of(stream.get()));
    EXPECT_EQ(behind(read(Wire::kStream, &none)), nullptr);
    for (const Wire wire : {Wire::kCollection, Wire::kRecord}) {
        EXPECT_EQ(refusal([&] { read(wire, &none); }),
                  "NotSupportedException: An argument of this kind of a member without behavior is not supported by "
                  "the embedded runtime.");
    }
}

TEST_F(WireValues, ObjectsLeaveAsHandlesOfTheirOwn) {
    const Ref<ManagedObject> object = make_instance("Zelmor.Imaging.LoadOptions");
    const auto handle = [](Wire wire, const Value& value) { return reinterpret_cast<void*>(written(wire, value)); };
    const Owned seen(handle(Wire::kClass, object));
    EXPECT_EQ(object_of(seen.get()), object.get());
    for (const Wire wire : {Wire::kClass, Wire::kStruct}) {
        EXPECT_EQ(handle(wire, Value()), nullptr);
        EXPECT_EQ(handle(wire, Ref<ManagedObject>()), nullptr);
    }
    const Ref<ManagedObject> size = box(SizeValue{1, 2});
    const Owned copy(handle(Wire::kStruct, size));
    EXPECT_NE(object_of(copy.get()), size.get());
    EXPECT_TRUE(object_of(copy.get())->equals(*size));

    const Ref<ManagedStream> stream = make_memory_stream();
    const auto given = out<PyCollectionArg>(Wire::kStream, stream);
    const Owned held(given.value);
    EXPECT_EQ(object_of(given.value), stream.get());
    EXPECT_EQ(out<PyCollectionArg>(Wire::kStream, Value()).value, nullptr);
    EXPECT_EQ(refusal([&] { out<PyCollectionArg>(Wire::kStream, object); }),
              "InvalidCastException: Unable to cast object of type 'Zelmor.Imaging.LoadOptions' to type "
              "'System.IO.Stream'.");
    const auto interface = out<PyObjectOutArg>(Wire::kInterface, object);
    const Owned shown(interface.handle);
    EXPECT_EQ(object_of(interface.handle), object.get());
    EXPECT_EQ(out<PyObjectOutArg>(Wire::kInterface, Value()).handle, nullptr);
    EXPECT_EQ(refusal([&] { written(Wire::kRecord, Value()); }),
              "NotSupportedException: A result of this kind of a member without behavior is not supported by the "
              "embedded runtime.");
    EXPECT_EQ(written(Wire::kVoid, object), 0U);
}

TEST_F(WireValues, ValuesOfOtherKindsAreRefusedByTheNameOfTheType) {
    const std::pair<Wire, const char*> types[] = {
        {Wire::kBool, "Boolean"},      {Wire::kInt8, "SByte"},        {Wire::kUInt8, "Byte"},
        {Wire::kInt16, "Int16"},       {Wire::kUInt16, "UInt16"},     {Wire::kChar, "UInt16"},
        {Wire::kInt32, "Int32"},       {Wire::kUInt32, "UInt32"},     {Wire::kInt64, "Int64"},
        {Wire::kUInt64, "UInt64"},     {Wire::kSingle, "Single"},     {Wire::kDouble, "Double"},
        {Wire::kTimeSpan, "TimeSpan"}, {Wire::kDateTime, "DateTime"}, {Wire::kDateTimeOffset, "DateTimeOffset"},
        {Wire::kDecimal, "Decimal"},   {Wire::kGuid, "Guid"},         {Wire::kClass, "Object"},
        {Wire::kStruct, "Object"},     {Wire::kInterface, "Object"},  {Wire::kStream, "Object"},
    };
    for (const auto& [wire, name] : types) {
        struct Room {
            int64_t words[4];
        };
        EXPECT_EQ(refusal([wire = wire] { out<Room>(wire, std::u16string(u"text")); }),
                  std::string("InvalidCastException: Unable to cast object of type 'System.String' to type 'System.") +
                      name + "'.");
    }
}

}  // namespace
}  // namespace zelmor::embed
