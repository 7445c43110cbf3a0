// Managed lists through their service classes, and Python lists that stand in for them.
#include "runtime/native/core/collection.h"

#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::Owned;

constexpr const char* kInt32Array = "Zelmor.WrpGen.Generic.SiApiArray_A4A29720";
constexpr const char* kInt32List = "Zelmor.WrpGen.Generic.SiApiList_A4A29720";
constexpr const char* kArrayList = "Zelmor.WrpGen.Interop.SiApiArrayList";

class CollectionTest : public test::RuntimeTest {
 protected:
    template <class R, class... Args>
    static R service(const char* type, const char* method, Args... args) {
        const Delegate made = resolve_delegate("WrpInterop.Zelmor.Imaging", type, method);
        EXPECT_EQ(made.status, kOk) << type << " " << method;
        return reinterpret_cast<R (*)(Args...)>(made.address)(args...);
    }
    static void* int_list(std::vector<int32_t> items) {
        auto list = make_list(ListShape::kList, element_of(Wire::kInt32, "System.Int32"));
        dynamic_cast<ScalarList<int32_t>&>(*list).items = std::move(items);
        return make_handle(std::move(list));
    }
    static const std::vector<int32_t>& items(const Owned& list) {
        return target<ScalarList<int32_t>>(list.get()).items;
    }
};

TEST_F(CollectionTest, NumbersCrossPlainly) {
    Owned array(make_handle(make_array<int32_t>({5, -6, 7})));
    EXPECT_EQ(service<int>(kInt32Array, "SqLength", array.get()), 3);
    int32_t element = 0;
    EXPECT_EQ(service<int>(kInt32Array, "SqGetItem", array.get(), 1, &element), 0);
    EXPECT_EQ(element, -6);
    EXPECT_EQ(service<int>(kInt32Array, "SqGetItem", array.get(), 3, &element), 2);
    EXPECT_EQ(service<int>(kInt32Array, "SqGetItem", array.get(), -1, &element), 2);
    EXPECT_EQ(service<int>(kInt32Array, "SqGetItemNoCheck", array.get(), 2), 7);
    EXPECT_EQ(service<int>(kInt32Array, "SqSetItem", array.get(), 0, 9), 0);
    EXPECT_EQ(service<int>(kInt32Array, "SqContains", array.get(), 9), 1);
    EXPECT_EQ(service<int>(kInt32Array, "SqContains", array.get(), 5), 0);
    service<int>(kInt32Array, "SqGetItemNoCheck", array.get(), 99);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
}

TEST_F(CollectionTest, AListGrowsAndShrinks) {
    Owned list(int_list({1, 2, 3}));
    service<void>(kInt32List, "Add", list.get(), 4);
    service<void>(kInt32List, "Insert", list.get(), 0, 0);
    service<void>(kInt32List, "Insert", list.get(), 99, 5);
    service<void>(kInt32List, "Insert", list.get(), -1, 45);
    EXPECT_EQ(items(list), (std::vector<int32_t>{0, 1, 2, 3, 4, 45, 5}));
    EXPECT_EQ(service<int>(kInt32List, "Remove", list.get(), 45), 1);
    EXPECT_EQ(service<int>(kInt32List, "Remove", list.get(), 45), 0);
    EXPECT_EQ(service<int>(kInt32List, "RemoveAt", list.get(), 0), 0);
    EXPECT_EQ(service<int>(kInt32List, "RemoveAt", list.get(), 5), 2);
    int32_t popped = 0;
    EXPECT_EQ(service<int>(kInt32List, "Pop", list.get(), false, 0, &popped), 0);
    EXPECT_EQ(popped, 5);
    EXPECT_EQ(service<int>(kInt32List, "Pop", list.get(), true, -2, &popped), 0);
    EXPECT_EQ(popped, 3);
    EXPECT_EQ(service<int>(kInt32List, "Pop", list.get(), true, 7, &popped), 2);
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 2, 4}));
    service<void>(kInt32List, "Clear", list.get());
    EXPECT_EQ(service<int>(kInt32List, "Pop", list.get(), false, 0, &popped), 1);
}

TEST_F(CollectionTest, BulkOperationsWorkBetweenListsOfOneElement) {
    Owned list(int_list({1, 2}));
    const VariantArg self = list.object_arg();
    EXPECT_EQ(service<int>(kInt32List, "SqInplaceConcat", list.get(), &self), 1);
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 2, 1, 2}));
    service<void>(kInt32List, "SqInplaceRepeat", list.get(), 2);
    EXPECT_EQ(items(list).size(), 8u);
    Owned source(make_handle(make_array<int32_t>({7, 8})));
    const VariantArg from = source.object_arg();
    EXPECT_EQ(service<int>(kInt32List, "MpSetItems", list.get(), &from, 7, 2, -3), 1);
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 2, 1, 2, 8, 2, 1, 7}));
    EXPECT_EQ(service<int>(kInt32List, "MpSetItems", list.get(), &from, 0, 3, 1), 0) << "another count";
    Owned floats(make_handle(make_array<float>({1, 2})));
    const VariantArg other = floats.object_arg();
    EXPECT_EQ(service<int>(kInt32List, "SqInplaceConcat", list.get(), &other), 0) << "another element";
    service<void>(kInt32List, "MpRemoveItems", list.get(), 1, 3, -1);  // a run by its lowest index
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 8, 2, 1, 7}));
    service<void>(kInt32List, "MpRemoveItems", list.get(), 4, 2, -2);
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 8, 1}));
    service<void>(kInt32List, "MpRemoveItems", list.get(), 0, 0, -1);
    service<void>(kInt32List, "MpRemoveItems", list.get(), 2, 2, -3);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    service<void>(kInt32List, "SqInplaceRepeat", list.get(), 0);
    EXPECT_TRUE(items(list).empty());
}

TEST_F(CollectionTest, SearchAndOrder) {
    Owned list(int_list({3, 1, 2, 1}));
    const auto index = [&](bool has_start, int start, bool has_stop, int stop) {
        return service<int>(kInt32List, "IndexBy", list.get(), has_start, start, has_stop, stop, 1);
    };
    EXPECT_EQ(index(false, 0, false, 0), 1);
    EXPECT_EQ(index(true, 2, false, 0), 3);
    EXPECT_EQ(index(true, -1, false, 0), 3);
    EXPECT_EQ(index(true, 2, true, 3), -1);
    EXPECT_EQ(service<int>(kInt32List, "CountOf", list.get(), 1), 2);
    service<void>(kInt32List, "Sort", list.get(), true);
    EXPECT_EQ(items(list), (std::vector<int32_t>{3, 2, 1, 1}));
    service<void>(kInt32List, "Reverse", list.get());
    EXPECT_EQ(items(list), (std::vector<int32_t>{1, 1, 2, 3}));
}

TEST_F(CollectionTest, AnArrayHasAFixedSize) {
    constexpr const char* kList = "Zelmor.WrpGen.Interop.SiApiCntList";
    Owned array(make_handle(make_array<int32_t>({1})));
    service<void>(kList, "Clear", array.get());
    EXPECT_EQ(test::take_raised().name, "NotSupportedException");
}

TEST_F(CollectionTest, EnumeratorsWalkAndNoticeChanges) {
    Owned list(int_list({4, 5}));
    PyObjectOutArg out{};
    service<int>("Zelmor.WrpGen.Generic.SiApiEnumerable_A4A29720", "GetEnumerator", list.get(), &out);
    Owned enumerator(out.handle);
    EXPECT_NE(out.type_id, 0);
    const auto next = [&](int32_t* element) {
        return service<int>("Zelmor.WrpGen.Generic.SiApiEnumerator_A4A29720", "MoveNext", enumerator.get(), element);
    };
    int32_t element = 0;
    EXPECT_EQ(next(&element), 0);
    EXPECT_EQ(element, 4);
    EXPECT_EQ(next(&element), 0);
    EXPECT_EQ(next(&element), 1);
    service<void>(kInt32List, "Add", list.get(), 6);
    EXPECT_EQ(next(&element), 0);
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
}

TEST_F(CollectionTest, VariantElementsAreAnyValue) {
    Owned list(make_handle(make_list(ListShape::kArrayList, variant_element())));
    PyObject* text = test::new_text(u"x");
    const VariantArg arg{3, text};
    service<void>(kArrayList, "Add", list.get(), &arg);
    const VariantArg null{};
    service<void>(kArrayList, "Add", list.get(), &null);
    PyObject* out = nullptr;
    EXPECT_EQ(service<int>(kArrayList, "SqGetItem", list.get(), 0, &out), 0);
    EXPECT_EQ(test::text_of_object(out), u"x");
    EXPECT_EQ(service<int>(kArrayList, "SqContains", list.get(), &arg), 1);
    PyObject* none = service<PyObject*>(kArrayList, "SqGetItemNoCheck", list.get(), 1);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(none->value));
    test::release(none);
    test::release(text);
}

TEST_F(CollectionTest, CastsFollowShapeAndElement) {
    Owned array(make_handle(make_array<int32_t>({1})));
    Owned list(int_list({1}));
    EXPECT_EQ(service<int>(kInt32Array, "btp_IsAssignable", array.get()), 1);
    EXPECT_EQ(service<int>(kInt32Array, "btp_IsAssignable", list.get()), 0);
    EXPECT_EQ(service<int>("Zelmor.WrpGen.Generic.SiApiArray_FCB07591", "btp_IsAssignable", array.get()), 0);
    EXPECT_EQ(service<int>("Zelmor.WrpGen.Interop.SiApiArray", "btp_IsAssignable", array.get()), 1);
    EXPECT_EQ(service<int>("Zelmor.WrpGen.Interop.SiApiStream", "btp_IsAssignable", array.get()), 0);
    const VariantArg arg = array.object_arg();
    EXPECT_EQ(service<int>("Zelmor.WrpGen.Interop.SiApiCntList", "btp_IsAssignable", &arg), 1);
    EXPECT_EQ(service<int>("Zelmor.WrpGen.Interop.SiApiDisposable", "btp_IsAssignable", &arg), 0);
    void* out = nullptr;
    EXPECT_EQ(service<int>(kInt32Array, "btp_CastTo", &arg, &out), 1);
    Owned cast(out);
    void* type = nullptr;
    EXPECT_EQ(service<int>(kInt32Array, "btp_TypeOf", &type), 1);
    Owned owned_type(type);
    EXPECT_EQ(target<TypeObject>(type).to_text(), u"System.Int32[]");
}

TEST_F(CollectionTest, APythonListIsReadElementByElement) {
    PyObject* list = test::new_list({test::new_int(1), test::new_int(-2)});
    for (const int tag : {2, 3}) {
        const VariantArg arg{tag, list};
        EXPECT_EQ(read_array<int32_t>(&arg, "pixels"), (std::vector<int32_t>{1, -2}));
    }
    const VariantArg none{};
    EXPECT_THROW(read_array<int32_t>(&none, "pixels"), ManagedException);
    test::fail_next_callback("broken __len__");
    const VariantArg arg{2, list};
    try {
        read_array<int32_t>(&arg, "pixels");
        ADD_FAILURE();
    } catch (const ManagedException& e) {
        EXPECT_EQ(e.name(), "PythonException");
        EXPECT_NE(e.detail().find("broken __len__"), std::string::npos);
    }
    test::release(list);
}

TEST_F(CollectionTest, AManagedArrayIsUsedAsItIs) {
    Owned array(make_handle(make_array<int32_t>({1, 2})));
    const VariantArg arg = array.object_arg();
    EXPECT_EQ(read_list(&arg, element_of(Wire::kInt32, "System.Int32")).get(), object_of(array.get()));
    EXPECT_THROW(read_array<float>(&arg, "values"), ManagedException);
    Owned size(make_struct_handle(SizeValue{}));
    const VariantArg wrong = size.struct_arg();
    EXPECT_THROW(read_array<int32_t>(&wrong, "pixels"), ManagedException);
}

TEST_F(CollectionTest, AResultOfTypeObjectIsAWrapperOfTheCollection) {
    PyObject* wrapper = write_value(Ref<ManagedObject>(make_array<int32_t>({1})));
    EXPECT_NE(wrapper->handle, nullptr);
    test::release(wrapper);
}

}  // namespace
}  // namespace zelmor::embed
