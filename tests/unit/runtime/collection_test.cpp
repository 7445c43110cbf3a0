// Managed lists through their service classes, and Python lists that stand in for them.
#include "runtime/native/collections/collection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>

#include "fake_python.h"
#include "runtime/native/collections/drawing_record.h"
#include "runtime/native/collections/number_services.h"
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
    template <class T>
    static void check_numbers(const ElementType& element);
};

TEST_F(CollectionTest, ElementsOfANumberArrayAreReadAndWrittenAsNumbers) {
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

TEST_F(CollectionTest, BulkOperationsWorkBetweenListsOfTexts) {
    const std::string type = std::string("Zelmor.WrpGen.Generic.SiApiList_") + element_of(Wire::kString, "").id;
    const auto texts = [](std::vector<const char16_t*> items) {
        auto list = make_list(ListShape::kList, element_of(Wire::kString, ""));
        for (const char16_t* item : items) {
            list->append(std::u16string(item));
        }
        return list;
    };
    const auto list = texts({u"a", u"b", u"c", u"d", u"e"});
    const auto joined = [&] {
        std::u16string all;
        for (size_t i = 0; i < list->size(); ++i) {
            all += std::get<std::u16string>(list->get(i));
        }
        return all;
    };
    Owned handle(make_handle(list)), source(make_handle(texts({u"x", u"y"})));
    const VariantArg from = source.object_arg(), self = handle.object_arg();
    EXPECT_EQ(service<int>(type.c_str(), "MpSetItems", handle.get(), &from, 4, 2, -3), 1);
    EXPECT_EQ(joined(), u"aycdx");
    EXPECT_EQ(service<int>(type.c_str(), "MpSetItems", handle.get(), &from, 0, 2, 1), 1);
    EXPECT_EQ(joined(), u"xycdx");
    EXPECT_EQ(service<int>(type.c_str(), "MpSetItems", handle.get(), &from, 0, 3, 2), 0) << "another count";
    EXPECT_EQ(service<int>(type.c_str(), "MpSetItems", handle.get(), &self, 4, 5, -1), 1) << "from itself";
    EXPECT_EQ(joined(), u"xdcyx");
    service<int>(type.c_str(), "MpSetItems", handle.get(), &from, 4, 2, 1);
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    EXPECT_EQ(joined(), u"xdcyx");
    EXPECT_EQ(service<int>(type.c_str(), "SqInplaceConcat", handle.get(), &from), 1);
    service<void>(type.c_str(), "MpRemoveItems", handle.get(), 6, 3, -3);
    EXPECT_EQ(joined(), u"dcxx");
}

// The operations that have a typed function, which takes and gives the numbers as they are.
constexpr const char* kNumberOperations[] = {"SqLength",        "SqContains", "SqGetItem", "SqGetItemNoCheck",
                                             "SqSetItem",       "MpSetItems", "IndexBy",   "CountOf",
                                             "SqSetItemNoChek", "Add",        "Insert",    "Remove"};

template <class T>
void CollectionTest::check_numbers(const ElementType& element) {
    const std::string list_name = std::string("Zelmor.WrpGen.Generic.SiApiList_") + element.id;
    const std::string walk_name = std::string("Zelmor.WrpGen.Generic.SiApiEnumerator_") + element.id;
    const char* const type = list_name.c_str();
    for (const char* name : kNumberOperations) {
        const void* const typed = number_service(*find_service_class(type), name).address;
        EXPECT_NE(typed, nullptr) << type << " " << name;
        EXPECT_EQ(resolve_delegate("WrpInterop.Zelmor.Imaging", type, name).address, typed) << type << " " << name;
    }
    EXPECT_NE(number_service(*find_service_class(walk_name), "MoveNext").address, nullptr) << walk_name;

    constexpr T kLow = std::numeric_limits<T>::lowest(), kHigh = std::numeric_limits<T>::max(), kSeven = 7, kNine = 9;
    const auto list = make_list(ListShape::kList, element);
    const auto& held = cast_object<ScalarList<T>>(*list).items;
    Owned owner(make_handle(list));
    void* const handle = owner.get();
    service<void>(type, "Add", handle, kLow);
    service<void>(type, "Insert", handle, 0, kHigh);
    service<void>(type, "Add", handle, kSeven);
    EXPECT_EQ(held, (std::vector<T>{kHigh, kLow, kSeven})) << type;
    EXPECT_EQ(service<int>(type, "SqLength", handle), 3) << type;
    T element_out{};
    EXPECT_EQ(service<int>(type, "SqGetItem", handle, 0, &element_out), 0) << type;
    EXPECT_EQ(element_out, kHigh) << type;
    EXPECT_EQ(service<T>(type, "SqGetItemNoCheck", handle, 1), kLow) << type;
    EXPECT_EQ(service<int>(type, "SqSetItem", handle, 2, kHigh), 0) << type;
    service<void>(type, "SqSetItemNoChek", handle, 1, kNine);
    EXPECT_EQ(held, (std::vector<T>{kHigh, kNine, kHigh})) << type;
    EXPECT_EQ(service<int>(type, "SqContains", handle, kNine), 1) << type;
    EXPECT_EQ(service<int>(type, "SqContains", handle, kSeven), 0) << type;
    EXPECT_EQ(service<int>(type, "CountOf", handle, kHigh), 2) << type;
    EXPECT_EQ(service<int>(type, "IndexBy", handle, true, 1, false, 0, kHigh), 2) << type;
    Owned walk(make_handle(list->enumerator()));
    EXPECT_EQ(service<int>(walk_name.c_str(), "MoveNext", walk.get(), &element_out), 0) << walk_name;
    EXPECT_EQ(element_out, kHigh) << walk_name;
    EXPECT_EQ(service<int>(type, "Remove", handle, kHigh), 1) << type;
    const VariantArg self = owner.object_arg();
    EXPECT_EQ(service<int>(type, "MpSetItems", handle, &self, 1, 2, -1), 1) << type;
    EXPECT_EQ(held, (std::vector<T>{kHigh, kNine})) << type;
}

TEST_F(CollectionTest, NumbersOfEveryTypeCrossAsTheyAre) {
    std::set<Wire> seen;
    for (const ElementType& element : elements()) {
        seen.insert(element.wire);
        switch (element.wire) {
            case Wire::kInt8:
                check_numbers<int8_t>(element);
                break;
            case Wire::kInt16:
                check_numbers<int16_t>(element);
                break;
            case Wire::kUInt16:
                check_numbers<uint16_t>(element);
                break;
            case Wire::kInt32:
                check_numbers<int32_t>(element);
                break;
            case Wire::kUInt32:
                check_numbers<uint32_t>(element);
                break;
            case Wire::kInt64:
                check_numbers<int64_t>(element);
                break;
            case Wire::kUInt64:
                check_numbers<uint64_t>(element);
                break;
            case Wire::kSingle:
                check_numbers<float>(element);
                break;
            case Wire::kDouble:
                check_numbers<double>(element);
                break;
            default:
                EXPECT_EQ(number_service({ServiceKind::kArrayList, &element, true}, "Add").address, nullptr);
        }
    }
    for (const Wire wire : {Wire::kInt8, Wire::kInt16, Wire::kUInt16, Wire::kInt32, Wire::kUInt32, Wire::kInt64,
                            Wire::kUInt64, Wire::kSingle, Wire::kDouble}) {
        EXPECT_TRUE(seen.contains(wire)) << static_cast<int>(wire);
    }
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

TEST_F(CollectionTest, AListOfVariantsHoldsAnyValue) {
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

TEST_F(CollectionTest, APythonListIsWorkedOnInPlace) {
    PyObject* list = test::new_list({test::new_int(1), test::new_int(2)});
    const VariantArg arg{2, list};
    {
        const auto proxy = read_collection(&arg, CollectionShape::kIList, variant_element());
        auto& items = cast_object<ManagedList>(*proxy);
        EXPECT_EQ(list->count, 2);
        items.append(int64_t{3});
        items.insert(0, int64_t{0});
        items.set(1, int64_t{10});
        EXPECT_EQ(items.size(), 4u);
        EXPECT_EQ(std::get<int64_t>(items.get(1)), 10);
        EXPECT_EQ(items.find(int64_t{3}, 0, items.size()), 3);
        EXPECT_EQ(items.find(int64_t{3}, 0, 2), -1);
        EXPECT_TRUE(items.contains(int64_t{2}));
        EXPECT_TRUE(items.remove(int64_t{2}));
        EXPECT_FALSE(items.remove(int64_t{2}));
        items.reverse();
        EXPECT_EQ(std::get<int64_t>(items.get(0)), 3);
        items.sort(false);
        EXPECT_EQ(std::get<int64_t>(items.get(2)), 10);
        items.erase(0, 1);
        items.erase(0, items.size());
        EXPECT_EQ(items.size(), 0u);
        PyObject* shown = write_value(Value(proxy));
        EXPECT_EQ(shown, list);
        test::release(shown);
        PyCollectionArg out{};
        write_collection(Value(proxy), &out);
        EXPECT_EQ(out.kind, kCollectionPyObject);
        EXPECT_EQ(out.value, list);
    }
    EXPECT_EQ(list->count, 1);
    test::release(list);
}

TEST_F(CollectionTest, AFailureInPythonBecomesAManagedException) {
    PyObject* object = test::new_list({test::new_int(1)});
    for (const int tag : {2, 3}) {
        const VariantArg arg{tag, object};
        const auto proxy = read_collection(&arg, CollectionShape::kIList, variant_element());
        auto& items = cast_object<ManagedList>(*proxy);
        const auto raised_by = [](auto&& action) -> std::string {
            test::fail_next_callback("broken");
            try {
                action();
            } catch (const ManagedException& e) {
                EXPECT_NE(e.detail().find("broken"), std::string::npos) << e.detail();
                return e.name();
            }
            return "nothing";
        };
        EXPECT_EQ(raised_by([&] { (void)items.size(); }), "PythonException");
        EXPECT_EQ(raised_by([&] { (void)items.get(0); }), "PythonException");
        EXPECT_EQ(raised_by([&] { (void)items.contains(int64_t{1}); }), "PythonException");
        EXPECT_EQ(raised_by([&] { (void)items.enumerator(); }), "PythonException");
        const auto walk = items.enumerator();
        EXPECT_EQ(raised_by([&] {
                      Value element;
                      walk->move_next(element);
                  }),
                  "PythonException");
        if (tag == 3) {
            EXPECT_THROW(items.set(0, int64_t{2}), ManagedException);
            EXPECT_THROW(items.append(int64_t{2}), ManagedException);
            continue;
        }
        // The store that fails takes two references; nothing may be left over or missing afterwards.
        EXPECT_EQ(raised_by([&] { items.set(0, int64_t{2}); }), "ArgumentOutOfRangeException");
        EXPECT_EQ(raised_by([&] { items.erase(0, 1); }), "PythonException");
    }
    test::release(object);
}

TEST_F(CollectionTest, IteratorsAreWalkedOnce) {
    PyObject* iterable = test::new_list({test::new_int(1), test::new_text(u"x")});
    for (const auto shape : {CollectionShape::kIEnumerable, CollectionShape::kICollection}) {
        const VariantArg arg{2, iterable};
        const auto proxy = read_collection(&arg, shape, variant_element());
        const auto walk = cast_object<ManagedEnumerable>(*proxy).enumerator();
        Value element;
        EXPECT_TRUE(walk->move_next(element));
        EXPECT_EQ(std::get<int64_t>(element), 1);
        EXPECT_TRUE(walk->move_next(element));
        EXPECT_EQ(std::get<std::u16string>(element), u"x");
        EXPECT_FALSE(walk->move_next(element));
        walk->dispose();
        EXPECT_THROW(walk->move_next(element), ManagedException);
    }
    test::release(iterable);
}

TEST_F(CollectionTest, ElementsOfTheWrongKindAreRefused) {
    PyObject* list = test::new_list({test::new_int(1), test::new_text(u"x")});
    for (const int tag : {2, 3}) {
        const VariantArg arg{tag, list};
        try {
            read_list(&arg, element_of(Wire::kInt32, "System.Int32"));
            ADD_FAILURE();
        } catch (const ManagedException& e) {
            EXPECT_EQ(e.detail(), "Reading element 1 failed in Python: TypeError: an integer is required");
        }
    }
    test::release(list);
    auto narrow = make_list(ListShape::kList, element_of(Wire::kInt8, "System.SByte"));
    EXPECT_THROW(narrow->append(int64_t{128}), ManagedException);
    EXPECT_THROW(narrow->append(std::u16string(u"x")), ManagedException);
    EXPECT_THROW(narrow->append(1.0), ManagedException);
    narrow->append(int64_t{-128});
    EXPECT_EQ(narrow->find(int64_t{-128}, 0, 1), 0);
    EXPECT_EQ(narrow->find(int64_t{128}, 0, 1), -1);
}

TEST_F(CollectionTest, ListsInListsAreCopiedAndOneInItselfIsRefused) {
    PyObject* inner = test::new_list({test::new_int(5)});
    PyObject* outer = test::new_list({inner});
    const VariantArg arg{kVariantList, outer};
    const Value copied = read_variant(&arg);
    const auto& list = cast_object<ManagedList>(*std::get<Ref<ManagedObject>>(copied));
    EXPECT_EQ(list.shape(), ListShape::kArrayList);
    const Value first = list.get(0);
    EXPECT_EQ(std::get<int64_t>(cast_object<ManagedList>(*std::get<Ref<ManagedObject>>(first)).get(0)), 5);
    auto& items = std::get<std::vector<PyObject*>>(inner->value);
    items.push_back(outer);  // without a reference: taken out again below
    EXPECT_THROW(read_variant(&arg), ManagedException);
    items.pop_back();
    test::release(outer);
}

TEST_F(CollectionTest, AFailedSortLeavesTheOrder) {
    auto list = make_list(ListShape::kArrayList, variant_element());
    for (const Value& value : {Value(int64_t{2}), Value(std::u16string(u"x")), Value(int64_t{1})}) {
        list->append(value);
    }
    EXPECT_THROW(list->sort(false), ManagedException);
    EXPECT_EQ(std::get<int64_t>(list->get(0)), 2);
    EXPECT_EQ(std::get<std::u16string>(list->get(1)), u"x");
    auto numbers = make_list(ListShape::kArrayList, variant_element());
    for (const double value : {2.0, std::numeric_limits<double>::quiet_NaN(), 1.0}) {
        numbers->append(value);
    }
    numbers->sort(true);
    EXPECT_EQ(std::get<double>(numbers->get(0)), 2.0);
}

TEST_F(CollectionTest, ArraysMayChangeUnderTheirEnumerators) {
    const auto array = make_array<int32_t>({1, 2});
    const auto walk = array->enumerator();
    Value element;
    EXPECT_TRUE(walk->move_next(element));
    array->set(1, int64_t{7});
    EXPECT_TRUE(walk->move_next(element));
    EXPECT_EQ(std::get<int64_t>(element), 7);
    auto list = make_list(ListShape::kList, array->element());
    list->append(int64_t{1});
    const auto other = list->enumerator();
    list->set(0, int64_t{2});  // the same length
    EXPECT_THROW(other->move_next(element), ManagedException);
}

TEST_F(CollectionTest, ANewListOfEveryElementTypeHoldsZeroValues) {
    for (const ElementType& element : elements()) {
        const auto list = make_list(ListShape::kArray, element, 2);
        ASSERT_EQ(list->size(), 2u) << element.id;
        const Value zero = list->get(0);
        if (element.wire == Wire::kStruct) {
            EXPECT_FALSE(is_null(zero)) << element.name;
        }
        Owned handle(make_handle(list));
        char out[32] = {};
        const std::string type = std::string("Zelmor.WrpGen.Generic.SiApiArray_") + element.id;
        EXPECT_EQ(service<int>(type.c_str(), "SqGetItem", handle.get(), 1, static_cast<void*>(out)), 0) << type;
        EXPECT_FALSE(test::raised().has_value()) << type;
        void* word = nullptr;
        std::memcpy(&word, out, sizeof word);
        const Wire wire = element.wire;
        if (wire == Wire::kString || wire == Wire::kBytes || wire == Wire::kObject) {
            test::release(static_cast<PyObject*>(word));
        } else if (wire == Wire::kStruct) {
            free_handle(word);
        }
    }
}

TEST_F(CollectionTest, DrawingRecordsAreCarriedByteForByte) {
    constexpr const char* kPoints = "Zelmor.WrpGen.Generic.SiApiArray_2A1D6ECF";
    Owned array(make_handle(make_list(ListShape::kArray, *find_element("2A1D6ECF"), 2)));
    const ShlPointFObject point{1.5, -2.5};
    EXPECT_EQ(service<int>(kPoints, "SqSetItem", array.get(), 1, &point), 0);
    ShlPointFObject read{};
    EXPECT_EQ(service<int>(kPoints, "SqGetItem", array.get(), 1, &read), 0);
    EXPECT_EQ(read.y, -2.5);
    service<void>(kPoints, "SqGetItemNoCheck", array.get(), 0, &read);
    EXPECT_EQ(read.x, 0);
    EXPECT_EQ(service<int>(kPoints, "SqContains", array.get(), &point), 1);
    EXPECT_EQ(service<int>(kPoints, "IndexBy", array.get(), false, 0, false, 0, &point), 1);
}

// What finds a record among others by its hash finds it by an equal one, whoever made that.
TEST_F(CollectionTest, EqualDrawingRecordsHaveEqualHashes) {
    const auto red = DrawingRecord::of(ColorValue::from_argb(0xFFFF0000));
    const auto blue = DrawingRecord::of(ColorValue::from_argb(0xFF0000FF));
    const auto point = DrawingRecord::of(PointFValue{1.5F, -2.5F});
    const auto mirrored = DrawingRecord::of(PointFValue{-2.5F, 1.5F});
    for (const auto& [record, shown] :
         {std::pair{red, box(ColorValue::from_argb(0xFFFF0000))}, std::pair{point, box(PointFValue{1.5F, -2.5F})}}) {
        for (const Ref<ManagedObject>& equal : {record->copy(), shown}) {
            EXPECT_TRUE(record->equals(*equal));
            EXPECT_EQ(record->hash_code(), equal->hash_code());
        }
    }
    for (const auto& [one, other] : {std::pair{red, blue}, std::pair{point, mirrored}, std::pair{red, point}}) {
        EXPECT_FALSE(one->equals(*other));
        EXPECT_NE(one->hash_code(), other->hash_code());
    }
}

TEST_F(CollectionTest, AResultOfTypeObjectIsAWrapperOfTheCollection) {
    PyObject* wrapper = write_value(Ref<ManagedObject>(make_array<int32_t>({1})));
    EXPECT_NE(wrapper->handle, nullptr);
    test::release(wrapper);
}

}  // namespace
}  // namespace zelmor::embed
