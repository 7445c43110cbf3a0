// Stored values: equality, hash, text, and reading variants.
#include "runtime/native/core/value.h"

#include <gtest/gtest.h>

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
