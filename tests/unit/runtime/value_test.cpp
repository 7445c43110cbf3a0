// Stored values: equality, hash, text, and reading variants.
#include "runtime/native/core/value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "fake_python.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

class ValueTest : public test::RuntimeTest {};

TEST_F(ValueTest, EqualityIsByValue) {
    const Value null = Ref<ManagedObject>();
    EXPECT_TRUE(values_equal(Value(), null));
    EXPECT_TRUE(values_equal(int64_t{5}, int64_t{5}));
    EXPECT_TRUE(values_equal(int64_t{5}, 5.0));
    EXPECT_FALSE(values_equal(int64_t{5}, true));
    EXPECT_FALSE(values_equal(int64_t{0}, null));
    EXPECT_TRUE(values_equal(std::u16string(u"a"), std::u16string(u"a")));
    EXPECT_TRUE(values_equal(box(SizeValue{1, 2}), box(SizeValue{1, 2})));
    EXPECT_FALSE(values_equal(box(SizeValue{1, 2}), box(PointValue{1, 2})));
    EXPECT_EQ(hash_of_value(box(SizeValue{1, 2})), hash_of_value(box(SizeValue{1, 2})));
}

// A value of each kind, twice, with its text and the name of its type.
TEST_F(ValueTest, EachKindHasATextAndAType) {
    struct Kind {
        Value value, same;
        std::u16string text;
        std::string type;
    };
    const GuidValue guid{
        {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
    PyObject* object = test::new_object();
    const Bytes bytes{std::byte{1}, std::byte{2}};
    const std::vector<Kind> kinds{
        {Value(), Value(), u"", "null"},
        {true, true, u"True", "System.Boolean"},
        {false, false, u"False", "System.Boolean"},
        {int64_t{-7}, int64_t{-7}, u"-7", "System.Int32"},
        {int64_t{2147483647}, int64_t{2147483647}, u"2147483647", "System.Int32"},
        {int64_t{2147483648}, int64_t{2147483648}, u"2147483648", "System.Int64"},
        {uint64_t{18446744073709551615U}, uint64_t{18446744073709551615U}, u"18446744073709551615", "System.UInt64"},
        {2.5, 2.5, u"2.5", "System.Double"},
        {std::nan("1"), std::nan("2"), u"NaN", "System.Double"},
        {std::u16string(u"ab"), std::u16string(u"ab"), u"ab", "System.String"},
        {bytes, bytes, u"System.Byte[]", "System.Byte[]"},
        {PyHeld::borrow(object), PyHeld::borrow(object), u"System.Object", "System.Object"},
        {TimeSpanValue{36'000'000'000}, TimeSpanValue{36'000'000'000}, u"01:00:00", "System.TimeSpan"},
        {guid, guid, u"00112233-4455-6677-8899-aabbccddeeff", "System.Guid"},
    };
    for (size_t i = 0; i < kinds.size(); i++) {
        const Kind& kind = kinds[i];
        EXPECT_EQ(text_of_value(kind.value), kind.text) << i;
        EXPECT_EQ(type_name_of_value(kind.value), kind.type) << i;
        EXPECT_EQ(hash_of_value(kind.value), hash_of_value(kind.same)) << i;
        for (size_t k = 0; k < kinds.size(); k++) {
            EXPECT_EQ(values_equal(kind.value, kinds[k].same), i == k) << i << ' ' << k;
        }
    }
    EXPECT_NE(hash_of_value(true), hash_of_value(false));
    EXPECT_NE(hash_of_value(uint64_t{1} << 32), hash_of_value(uint64_t{1} << 33));
    EXPECT_NE(hash_of_value(bytes), hash_of_value(Bytes{std::byte{2}, std::byte{1}}));
    EXPECT_NE(hash_of_value(TimeSpanValue{1}), hash_of_value(TimeSpanValue{2}));
    GuidValue other = guid;
    std::swap(other.bytes[0], other.bytes[1]);
    EXPECT_NE(hash_of_value(guid), hash_of_value(other));
    test::release(object);
}

// The published numbers of this hash of texts.
TEST_F(ValueTest, TextsAndBytesHaveTheirPublishedHashes) {
    const std::pair<const char*, uint32_t> cases[] = {
        {"", 0x811C9DC5}, {"a", 0xE40C292C}, {"b", 0xE70C2DE5}, {"foobar", 0xBF9CF968}};
    for (const auto& [text, hash] : cases) {
        const std::string_view chars = text;
        Bytes bytes;
        for (const char c : chars) {
            bytes.push_back(static_cast<std::byte>(c));
        }
        EXPECT_EQ(hash_of_value(std::u16string(chars.begin(), chars.end())), static_cast<int32_t>(hash)) << text;
        EXPECT_EQ(hash_of_value(bytes), static_cast<int32_t>(hash)) << text;
    }
}

// Numbers of different kinds are equal only if one is signed and the other floating; nothing equals only nothing.
TEST_F(ValueTest, KindsAreEqualOnlyWhereTheyAreNumbers) {
    const std::vector<Value> threes{int64_t{3}, 3.0, uint64_t{3}, std::u16string(u"3"), TimeSpanValue{3}};
    for (size_t i = 0; i < threes.size(); i++) {
        for (size_t k = 0; k < threes.size(); k++) {
            EXPECT_EQ(values_equal(threes[i], threes[k]), i == k || i + k == 1) << i << ' ' << k;
        }
        EXPECT_FALSE(values_equal(threes[i], Value()) || values_equal(Value(), threes[i])) << i;
    }
    EXPECT_FALSE(values_equal(int64_t{3}, 3.5) || values_equal(3.5, int64_t{3}));
    EXPECT_FALSE(values_equal(std::nan(""), 1.0) || values_equal(1.0, std::nan("")));
    EXPECT_FALSE(values_equal(std::nan(""), int64_t{1}));
    EXPECT_EQ(hash_of_value(Value()), 0);
    EXPECT_EQ(hash_of_value(Ref<ManagedObject>()), 0);
    EXPECT_EQ(hash_of_value(true), 1);
    EXPECT_EQ(hash_of_value(false), 0);
    EXPECT_EQ(text_of_value(Ref<ManagedObject>()), u"");
    EXPECT_EQ(type_name_of_value(Ref<ManagedObject>()), "null");
    EXPECT_EQ(type_name_of_value(int64_t{INT32_MIN}), "System.Int32");
    EXPECT_EQ(type_name_of_value(int64_t{INT32_MIN} - 1), "System.Int64");
    EXPECT_EQ(type_name_of_value(box(SizeValue{})), "Zelmor.Imaging.Size");
}

// Where a value has several numbers, each of them counts.
TEST_F(ValueTest, EveryPartOfAValueCounts) {
    const auto check = []<class V>(const V&, auto... parts) {
        const Value plain = box(V{});
        (..., [&](auto part) {
            V changed{};
            changed.*part = static_cast<std::remove_reference_t<decltype(changed.*part)>>(3);
            const Value other = box(changed), same = box(changed);
            EXPECT_FALSE(values_equal(plain, other));
            EXPECT_TRUE(values_equal(other, same));
            EXPECT_NE(hash_of_value(plain), hash_of_value(other));
            EXPECT_EQ(hash_of_value(same), hash_of_value(other));
        }(parts));
    };
    check(SizeValue{}, &SizeValue::width, &SizeValue::height);
    check(SizeFValue{}, &SizeFValue::width, &SizeFValue::height);
    check(PointValue{}, &PointValue::x, &PointValue::y);
    check(PointFValue{}, &PointFValue::x, &PointFValue::y);
    check(RectangleValue{}, &RectangleValue::x, &RectangleValue::y, &RectangleValue::width, &RectangleValue::height);
    check(RectangleFValue{}, &RectangleFValue::x, &RectangleFValue::y, &RectangleFValue::width,
          &RectangleFValue::height);
    check(CmykValue{}, &CmykValue::c, &CmykValue::m, &CmykValue::y, &CmykValue::k);
}

TEST_F(ValueTest, ANewValueIsAllZeros) {
    const auto made = []<class V>(const V&) { return unbox<V>(*make_instance(StructTraits<V>::kName)); };
    EXPECT_EQ(made(SizeValue{}), (SizeValue{0, 0}));
    EXPECT_EQ(made(SizeFValue{}), (SizeFValue{0, 0}));
    EXPECT_EQ(made(PointValue{}), (PointValue{0, 0}));
    EXPECT_EQ(made(PointFValue{}), (PointFValue{0, 0}));
    EXPECT_EQ(made(RectangleValue{}), (RectangleValue{0, 0, 0, 0}));
    EXPECT_EQ(made(RectangleFValue{}), (RectangleFValue{0, 0, 0, 0}));
    EXPECT_EQ(made(ColorValue{}), (ColorValue{0, 0, 0, u""}));
    EXPECT_EQ(made(CmykValue{}), (CmykValue{0, 0, 0, 0}));
}

// A class of another module is shown by that module, if that has handed its tables over.
TEST_F(ValueTest, AnObjectOfAnotherModuleIsShownByIt) {
    TypeInfo type = object_type();
    type.full_name = "Zelmor.Drawing.Thing";
    type.assembly = assembly_name(Assembly::kPyDrawing);
    const auto thing = make_ref<ManagedObject>(type);
    const auto refused = [&] {
        try {
            py_object(thing);
        } catch (const ManagedException& error) {
            return error.name();
        }
        return std::string("nothing");
    };
    Callbacks& imaging = callbacks_of(Assembly::kImaging);
    Callbacks& drawing = callbacks_of(Assembly::kPyDrawing);
    const Callbacks knowing = imaging;
    constexpr PyTpoApiCallbacks kKnowsNone = {[](void* handle, long, PyObject**) {
        free_handle(handle);
        return 0;
    }};
    PyStaticCallbacks without = *imaging.tables;
    without.tpo_api = &kKnowsNone;
    imaging.tables = &without;
    const AssemblyScope scope(Assembly::kImaging);
    EXPECT_EQ(refused(), "NotSupportedException") << "no other module is there";
    drawing = imaging;
    EXPECT_EQ(refused(), "NotSupportedException") << "the other module does not know it either";
    drawing = knowing;
    PyObject* shown = py_object(thing);
    EXPECT_EQ(object_of(shown->handle), thing.get());
    test::release(shown);
    drawing = {};
    imaging = knowing;
}

TEST_F(ValueTest, VariantsBecomeManagedValues) {
    PyObject* flag = test::new_object();
    flag->value = true;
    PyObject* number = test::new_int(-5);
    PyObject* real = test::new_object();
    real->value = 2.5;
    PyObject* data = test::new_object();
    data->value = std::vector<std::byte>{std::byte{1}, std::byte{2}};
    const auto read = [](int tag, void* value) {
        const VariantArg arg{tag, value};
        return read_variant(&arg);
    };
    EXPECT_TRUE(is_null(read(0, nullptr)));
    EXPECT_EQ(std::get<bool>(read(5, flag)), true);
    EXPECT_EQ(std::get<int64_t>(read(6, number)), -5);
    EXPECT_EQ(std::get<double>(read(7, real)), 2.5);
    EXPECT_EQ(std::get<Bytes>(read(4, data)).size(), 2u);
    test::Owned size(make_struct_handle(SizeValue{1, 2}));
    const auto copy = std::get<Ref<ManagedObject>>(read(2, size.get()));
    EXPECT_NE(copy.get(), object_of(size.get()));
    EXPECT_TRUE(copy->equals(*object_of(size.get())));
    EXPECT_THROW(read(17, number), ManagedException);
    test::fail_next_callback("int too large");
    EXPECT_THROW(read(6, number), ManagedException);
    for (PyObject* object : {flag, number, real, data}) {
        test::release(object);
    }
}

TEST_F(ValueTest, AFailedBuilderLeavesItsErrorAlone) {
    test::fail_next_callback("no str for this");
    EXPECT_THROW(py_string(u"x"), PythonErrorPending);
    // The error is pending on Python's side and nowhere else; collecting it empties it for the next test.
    void* owner = nullptr;
    PyStringArg text{};
    EXPECT_EQ(callbacks().catch_and_clear_error(&owner, &text), 0);
    test::release(static_cast<PyObject*>(owner));
}

}  // namespace
}  // namespace zelmor::embed
