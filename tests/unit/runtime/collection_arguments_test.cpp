// What stands for a collection where a member names one, and what elements a collection takes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>

#include "exchange/wire/tags.h"
#include "fake_python.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

using test::Owned;

constexpr CollectionShape kShapes[] = {
    CollectionShape::kArray,       CollectionShape::kList,        CollectionShape::kIList,
    CollectionShape::kICollection, CollectionShape::kIEnumerable, CollectionShape::kIEnumerator,
    CollectionShape::kSystemArray, CollectionShape::kArrayList,
};

class CollectionArguments : public test::RuntimeTest {
 protected:
    static const ElementType& int32() { return element_of(Wire::kInt32, "System.Int32"); }
    static const ElementType& text() { return element_of(Wire::kString, ""); }
    static std::string refusal(const std::function<void()>& action) {
        try {
            action();
        } catch (const ManagedException& e) {
            return e.name() + ": " + e.detail();
        }
        return "";
    }
    // One digit for each shape: whether the object fits it.
    static std::string fitting(const ElementType& element, const ManagedObject& object) {
        std::string digits;
        for (const CollectionShape shape : kShapes) {
            digits += fits_collection(shape, element, object) ? '1' : '0';
        }
        EXPECT_FALSE(fits_collection(CollectionShape::kNone, element, object));
        return digits;
    }
    static Ref<ManagedList> list_of(ListShape shape, const ElementType& element, std::vector<Value> values) {
        auto list = make_list(shape, element);
        for (const Value& value : values) {
            list->append(value);
        }
        return list;
    }
    static std::string shown(const ManagedList& list) {
        std::u16string all;
        for (size_t i = 0; i < list.size(); ++i) {
            all += (i > 0 ? u" " : u"") + text_of_value(list.get(i));
        }
        return {all.begin(), all.end()};
    }
};

// In the order of kShapes: T[], List<T>, IList, ICollection, IEnumerable, IEnumerator, Array, ArrayList.
TEST_F(CollectionArguments, ACollectionFitsItsOwnTypeAndInterfaces) {
    const auto array = make_list(ListShape::kArray, int32()), list = make_list(ListShape::kList, int32());
    const auto texts = make_list(ListShape::kArray, text());
    const ElementType& any = variant_element();
    const auto objects = make_list(ListShape::kArray, any), anything = make_list(ListShape::kList, any),
               array_list = make_list(ListShape::kArrayList, any), base = make_list(ListShape::kCollectionBase, any),
               read_only = make_list(ListShape::kReadOnlyCollectionBase, any);
    const auto walk = list->enumerator();
    const auto options = make_instance("Zelmor.Imaging.LoadOptions");
    EXPECT_EQ(fitting(int32(), *array), "10111010");
    EXPECT_EQ(fitting(int32(), *list), "01111000");
    EXPECT_EQ(fitting(int32(), *array_list), "00000001");
    EXPECT_EQ(fitting(int32(), *texts), "00000010");
    EXPECT_EQ(fitting(int32(), *walk), "00000100");
    EXPECT_EQ(fitting(text(), *walk), "00000000");
    EXPECT_EQ(fitting(int32(), *options), "00000000");
    EXPECT_EQ(fitting(any, *array), "00111010");
    EXPECT_EQ(fitting(any, *list), "00111000");
    EXPECT_EQ(fitting(any, *texts), "10111010");
    EXPECT_EQ(fitting(any, *objects), "10111010");
    EXPECT_EQ(fitting(any, *anything), "01111000");
    EXPECT_EQ(fitting(any, *array_list), "00111001");
    EXPECT_EQ(fitting(any, *base), "00111000");
    EXPECT_EQ(fitting(any, *read_only), "00011000");
    EXPECT_EQ(fitting(any, *walk), "00000100");
    EXPECT_EQ(fitting(any, *options), "00000000");

    PyObject* python = test::new_list({});
    const VariantArg arg{kHandlePyObject, python};
    const auto proxy = [&](CollectionShape shape) { return read_collection(&arg, shape, any); };
    EXPECT_EQ(fitting(any, *proxy(CollectionShape::kIList)), "00111000");
    EXPECT_EQ(fitting(any, *proxy(CollectionShape::kICollection)), "00011000");
    EXPECT_EQ(fitting(any, *proxy(CollectionShape::kIEnumerable)), "00001000");
    EXPECT_EQ(fitting(any, *proxy(CollectionShape::kIEnumerator)), "00000100");
    EXPECT_EQ(fitting(text(), *proxy(CollectionShape::kIList)), "00000000");
    test::release(python);
}

// .NET takes an array of references for an array of objects, and none of values.
TEST_F(CollectionArguments, AnArrayOfReferencesIsOneOfObjects) {
    for (const ElementType& element : elements()) {
        const Wire wire = element.wire;
        const bool is_reference = wire == Wire::kString || wire == Wire::kBytes || wire == Wire::kClass ||
                                  wire == Wire::kInterface || wire == Wire::kCollection || wire == Wire::kObject;
        const auto array = make_list(ListShape::kArray, element);
        EXPECT_EQ(fits_collection(CollectionShape::kArray, variant_element(), *array), is_reference) << element.name;
    }
}

TEST_F(CollectionArguments, WhatDoesNotFitIsRefusedByTheNameOfTheType) {
    const Owned options(make_handle(make_instance("Zelmor.Imaging.LoadOptions")));
    const VariantArg arg = options.object_arg(), none{};
    const std::pair<CollectionShape, const char*> names[] = {
        {CollectionShape::kArray, "System.Int32[]"},
        {CollectionShape::kList, "System.Collections.Generic.List`1[System.Int32]"},
        {CollectionShape::kIList, "System.Collections.IList"},
        {CollectionShape::kICollection, "System.Collections.ICollection"},
        {CollectionShape::kIEnumerable, "System.Collections.IEnumerable"},
        {CollectionShape::kIEnumerator, "System.Collections.IEnumerator"},
        {CollectionShape::kSystemArray, "System.Array"},
        {CollectionShape::kArrayList, "System.Collections.ArrayList"},
        {CollectionShape::kNone, "a collection"},
    };
    for (const auto& [shape, name] : names) {
        EXPECT_EQ(refusal([&, shape = shape] { read_collection(&arg, shape, int32()); }),
                  std::string("InvalidCastException: Unable to cast object of type 'Zelmor.Imaging.LoadOptions' to "
                              "type '") +
                      name + "'.");
        EXPECT_FALSE(read_collection(&none, shape, int32()));
    }
    PyObject* python = test::new_list({});
    for (const HandleTag tag : {kHandlePyObject, kHandlePySequence}) {
        const VariantArg object{tag, python};
        EXPECT_EQ(refusal([&] { read_collection(&object, CollectionShape::kNone, int32()); }),
                  "ArgumentException: A Python object was given for something that is no collection.");
    }
    test::release(python);
    EXPECT_FALSE(read_list(&none, int32()));
    for (const int tag : {-1, 4}) {
        const VariantArg odd{tag, nullptr};
        EXPECT_EQ(refusal([&] { read_list(&odd, int32()); }),
                  "InvalidCastException: Unable to cast object of type 'a Python object' to type 'a managed object'.");
    }
}

TEST_F(CollectionArguments, APythonObjectBecomesWhatIsNamed) {
    PyObject* python = test::new_list({test::new_int(5), test::new_int(-6)});
    const std::tuple<HandleTag, CollectionShape, const char*, bool> cases[] = {
        {kHandlePyObject, CollectionShape::kArray, "System.Int32[]", true},
        {kHandlePySequence, CollectionShape::kArray, "System.Int32[]", true},
        {kHandlePyObject, CollectionShape::kSystemArray, "System.Int32[]", true},
        {kHandlePyObject, CollectionShape::kList, "System.Collections.Generic.List`1[System.Int32]", false},
        {kHandlePyObject, CollectionShape::kArrayList, "System.Collections.ArrayList", false},
        {kHandlePyObject, CollectionShape::kIList, "Zelmor.WrpGen.Interop.PyList", false},
        {kHandlePySequence, CollectionShape::kIList, "Zelmor.WrpGen.Interop.PySequence", true},
    };
    for (const auto& [tag, shape, name, fixed] : cases) {
        const VariantArg arg{tag, python};
        const auto made = read_collection(&arg, shape, int32());
        const auto& list = cast_object<ManagedList>(*made);
        EXPECT_STREQ(made->type().full_name, name);
        EXPECT_EQ(list.fixed_size(), fixed) << name;
        EXPECT_EQ(shown(list), "5 -6") << name;
    }
    const std::pair<CollectionShape, const char*> others[] = {
        {CollectionShape::kICollection, "Zelmor.WrpGen.Interop.PyCollection"},
        {CollectionShape::kIEnumerable, "Zelmor.WrpGen.Interop.PyEnumerable"},
        {CollectionShape::kIEnumerator, "Zelmor.WrpGen.Interop.PyEnumerator"},
    };
    const VariantArg arg{kHandlePyObject, python};
    for (const auto& [shape, name] : others) {
        EXPECT_STREQ(read_collection(&arg, shape, variant_element())->type().full_name, name);
    }
    const auto collection = read_collection(&arg, CollectionShape::kICollection, variant_element());
    auto& items = cast_object<ManagedCollection>(*collection);
    EXPECT_EQ(items.size(), 2U);
    EXPECT_TRUE(items.contains(int64_t{-6}));
    EXPECT_FALSE(items.contains(int64_t{6}));
    EXPECT_EQ(items.count_of(int64_t{5}), 1U);
    EXPECT_EQ(items.count_of(int64_t{6}), 0U);
    test::release(python);
}

TEST_F(CollectionArguments, APythonSequenceIsNotChanged) {
    PyObject* python = test::new_list({test::new_int(5), test::new_int(6)});
    const VariantArg arg{kHandlePySequence, python};
    const auto proxy = read_collection(&arg, CollectionShape::kIList, variant_element());
    auto& list = cast_object<ManagedList>(*proxy);
    const std::function<void()> changes[] = {
        [&] { list.set(0, int64_t{1}); },  [&] { list.append(int64_t{1}); }, [&] { list.insert(0, int64_t{1}); },
        [&] { list.erase(0, 1); },         [&] { list.erase(0, 2); },        [&] { list.remove(int64_t{5}); },
        [&] { list.remove(int64_t{99}); }, [&] { list.reverse(); },          [&] { list.sort(false); },
    };
    for (const auto& change : changes) {
        EXPECT_EQ(refusal(change), "NotSupportedException: Collection is read-only.");
    }
    EXPECT_EQ(refusal([&] { list.resize(3); }),
              "NotSupportedException: Changing the size of a Python collection at once is not supported by the "
              "embedded runtime.");
    EXPECT_EQ(shown(list), "5 6");
    EXPECT_EQ(list.find(int64_t{6}, 0, 2), 1);
    EXPECT_EQ(list.find(int64_t{6}, 0, 1), -1);
    EXPECT_EQ(list.find(int64_t{5}, 1, 2), -1);
    EXPECT_EQ(list.find(int64_t{7}, 0, 2), -1);
    EXPECT_TRUE(list.contains(int64_t{6}));
    EXPECT_FALSE(list.contains(int64_t{7}));
    test::release(python);
}

TEST_F(CollectionArguments, APythonListIsChangedAsAListIs) {
    const auto after = [](const std::function<void(ManagedList&)>& change, int count) {
        std::vector<PyObject*> items;
        for (int i = 0; i < count; i++) {
            items.push_back(test::new_int((i * 7 + 3) % 10));
        }
        PyObject* python = test::new_list(std::move(items));
        const VariantArg arg{kHandlePyObject, python};
        std::string left;
        {
            const auto proxy = read_collection(&arg, CollectionShape::kIList, variant_element());
            auto& list = cast_object<ManagedList>(*proxy);
            change(list);
            left = shown(list);
        }
        test::release(python);
        return left;
    };
    const auto reverse = [](ManagedList& list) { list.reverse(); };
    EXPECT_EQ(after([](ManagedList&) {}, 5), "3 0 7 4 1");
    EXPECT_EQ(after(reverse, 5), "1 4 7 0 3");
    EXPECT_EQ(after(reverse, 4), "4 7 0 3");
    EXPECT_EQ(after(reverse, 2), "0 3");
    EXPECT_EQ(after(reverse, 1), "3");
    EXPECT_EQ(after(reverse, 0), "");
    EXPECT_EQ(after([](ManagedList& list) { list.sort(false); }, 5), "0 1 3 4 7");
    EXPECT_EQ(after([](ManagedList& list) { list.sort(true); }, 5), "7 4 3 1 0");
    EXPECT_EQ(after([](ManagedList& list) { list.erase(1, 2); }, 5), "3 4 1");
    EXPECT_EQ(after([](ManagedList& list) { list.erase(0, 4); }, 5), "1");
    EXPECT_EQ(after([](ManagedList& list) { list.erase(0, 5); }, 5), "");
    EXPECT_EQ(after([](ManagedList& list) { list.erase(0, 0); }, 5), "3 0 7 4 1");
    EXPECT_EQ(after([](ManagedList& list) { list.insert(4, int64_t{9}); }, 5), "3 0 7 4 9 1");
    EXPECT_EQ(after([](ManagedList& list) { list.insert(5, int64_t{9}); }, 5), "3 0 7 4 1 9");
    EXPECT_EQ(after([](ManagedList& list) { list.insert(0, int64_t{9}); }, 0), "9");
    EXPECT_EQ(after([](ManagedList& list) { list.set(4, int64_t{9}); }, 5), "3 0 7 4 9");
    EXPECT_EQ(after([](ManagedList& list) { EXPECT_TRUE(list.remove(int64_t{7})); }, 5), "3 0 4 1");
    EXPECT_EQ(after([](ManagedList& list) { EXPECT_FALSE(list.remove(int64_t{8})); }, 5), "3 0 7 4 1");
}

TEST_F(CollectionArguments, ListsAreReadToAHundredLevels) {
    const auto nested = [](int levels) {
        PyObject* python = test::new_list({});
        for (int i = 1; i < levels; i++) {
            python = test::new_list({python});
        }
        const VariantArg arg{kVariantList, python};
        const std::string error = refusal([&] { read_variant(&arg); });
        test::release(python);
        return error;
    };
    EXPECT_EQ(nested(100), "");
    EXPECT_EQ(nested(101), "ArgumentException: The list is nested too deeply, or holds itself.");
    EXPECT_EQ(nested(100), "");
}

TEST_F(CollectionArguments, ANumberFitsItsElementOrIsRefused) {
    const std::tuple<Wire, const char*, int64_t, uint64_t> ranges[] = {
        {Wire::kInt8, "System.SByte", INT8_MIN, INT8_MAX}, {Wire::kInt16, "System.Int16", INT16_MIN, INT16_MAX},
        {Wire::kUInt16, "System.UInt16", 0, UINT16_MAX},   {Wire::kInt32, "System.Int32", INT32_MIN, INT32_MAX},
        {Wire::kUInt32, "System.UInt32", 0, UINT32_MAX},   {Wire::kInt64, "System.Int64", INT64_MIN, INT64_MAX},
        {Wire::kUInt64, "System.UInt64", 0, UINT64_MAX},
    };
    for (const auto& [wire, name, least, most] : ranges) {
        const auto list = make_list(ListShape::kList, element_of(wire, name));
        const std::string overflow =
            std::string("OverflowException: Value was either too large or too small for a ") + name + ".";
        const std::string refused = "InvalidCastException: Unable to cast object of type '";
        list->append(least);
        list->append(most);
        EXPECT_EQ(shown(*list), std::to_string(least) + " " + std::to_string(most));
        EXPECT_EQ(list->get(1).index(), Value(most > INT64_MAX ? Value(most) : Value(int64_t{0})).index());
        if (least > INT64_MIN) {
            EXPECT_EQ(refusal([&, l = list.get(), v = least] { l->append(v - 1); }), overflow);
        }
        if (most < UINT64_MAX) {
            EXPECT_EQ(refusal([&, l = list.get(), v = most] { l->append(v + 1); }), overflow);
        }
        if (most < INT64_MAX) {
            EXPECT_EQ(refusal([&, l = list.get(), v = most] { l->set(0, static_cast<int64_t>(v + 1)); }), overflow);
        }
        EXPECT_EQ(refusal([&, l = list.get()] { l->append(1.0); }), refused + "System.Double' to type '" + name + "'.");
        EXPECT_EQ(refusal([&, l = list.get()] { l->append(Ref<ManagedObject>()); }),
                  refused + "null' to type '" + name + "'.");
        list->set(0, make_ref<EnumObject>(require_type("Zelmor.Imaging.KnownColor"), 7));
        EXPECT_EQ(shown(*list), "7 " + std::to_string(most));
    }
    for (const auto& [wire, name] : {std::pair{Wire::kSingle, "System.Single"}, {Wire::kDouble, "System.Double"}}) {
        const auto list = make_list(ListShape::kList, element_of(wire, name));
        list->append(0.5);
        list->append(int64_t{-3});
        list->append(uint64_t{1} << 63);
        EXPECT_EQ(std::get<double>(list->get(2)), 0x1p63);
        EXPECT_EQ(std::get<double>(list->get(1)), -3);
        EXPECT_EQ(std::get<double>(list->get(0)), 0.5);
        EXPECT_EQ(refusal([&, l = list.get()] { l->append(true); }),
                  std::string("InvalidCastException: Unable to cast object of type 'System.Boolean' to type '") + name +
                      "'.");
    }
}

// Numbers by size, texts by their units, false before true, null before all; what is no number before the numbers.
TEST_F(CollectionArguments, ElementsHaveAnOrderOrNone) {
    const double no_number = std::numeric_limits<double>::quiet_NaN();
    const auto t = [](const char16_t* chars) { return Value(std::u16string(chars)); };
    const Ref<ManagedObject> null;
    const std::tuple<std::vector<Value>, const char*, const char*> cases[] = {
        {{int64_t{2}, int64_t{-1}, int64_t{2}, int64_t{0}}, "-1 0 2 2", "2 2 0 -1"},
        {{2.5, no_number, -1.0}, "NaN -1 2.5", "2.5 -1 NaN"},
        {{t(u"b"), t(u"B"), t(u"ab"), t(u"a")}, "B a ab b", "b ab a B"},
        {{true, false, true}, "False True True", "True True False"},
        {{uint64_t{1} << 63, UINT64_MAX},
         "9223372036854775808 18446744073709551615",
         "18446744073709551615 9223372036854775808"},
        {{int64_t{5}, null, int64_t{4}}, " 4 5", "5 4 "},
        {{null, Value(), null}, "  ", "  "},
    };
    for (const auto& [values, up, down] : cases) {
        const auto list = list_of(ListShape::kArrayList, variant_element(), values);
        list->sort(false);
        EXPECT_EQ(shown(*list), up);
        list->sort(true);
        EXPECT_EQ(shown(*list), down);
    }
    for (const Value& other : {Value(1.0), t(u"x"), Value(true), Value(uint64_t{1} << 63)}) {
        const auto list = list_of(ListShape::kArrayList, variant_element(), {int64_t{1}, other});
        EXPECT_EQ(refusal([&] { list->sort(false); }),
                  "InvalidOperationException: Failed to compare two elements in the collection: their type has no "
                  "order.");
    }
    const auto floats = list_of(ListShape::kList, element_of(Wire::kSingle, "System.Single"), {1.5, no_number, -2.0});
    floats->sort(false);
    EXPECT_EQ(shown(*floats), "NaN -2 1.5");
    floats->sort(true);
    EXPECT_EQ(shown(*floats), "1.5 -2 NaN");

    // Zeros of either sign are equal, and keep their places.
    for (const bool down : {false, true}) {
        const auto zeros = list_of(ListShape::kArrayList, variant_element(), {0.0, -0.0, 0.0});
        zeros->sort(down);
        const auto numbers = list_of(ListShape::kList, element_of(Wire::kDouble), {0.0, -0.0, 0.0});
        numbers->sort(down);
        for (const auto& list : {zeros, numbers}) {
            for (size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(std::signbit(std::get<double>(list->get(i))), i == 1);
            }
        }
    }
}

TEST_F(CollectionArguments, ElementsOfAnotherTypeAreRefused) {
    const Ref<ManagedObject> options = make_instance("Zelmor.Imaging.LoadOptions"), size = box(SizeValue{1, 2});
    const Value text_value(std::u16string(u"x")), bytes_value(Bytes(2)), null{Ref<ManagedObject>()};
    std::map<Wire, int> seen;
    for (const ElementType& element : elements()) {
        const auto list = make_list(ListShape::kList, element);
        const auto taken = [&](const Value& value) { return refusal([&] { list->append(value); }).empty(); };
        switch (element.wire) {
            case Wire::kString:
                EXPECT_TRUE(taken(text_value) && taken(null) && !taken(bytes_value) && !taken(int64_t{1}));
                break;
            case Wire::kBytes:
                EXPECT_TRUE(!taken(text_value) && taken(null) && taken(bytes_value));
                break;
            case Wire::kClass:
            case Wire::kInterface: {
                const bool fits = element.type() == nullptr || is_assignable(*element.type(), options->type());
                EXPECT_EQ(taken(options), fits) << element.name;
                EXPECT_TRUE(taken(null) && !taken(text_value)) << element.name;
                break;
            }
            case Wire::kStruct:
                EXPECT_EQ(refusal([&] { list->append(null); }),
                          std::string("InvalidCastException: Unable to cast object of type 'null' to type '") +
                              element.name + "'.");
                EXPECT_EQ(taken(size), element.type() == &size->type()) << element.name;
                EXPECT_FALSE(taken(options));
                break;
            case Wire::kCollection:
                EXPECT_TRUE(taken(null) && taken(make_list(ListShape::kArray, *element.inner())));
                EXPECT_FALSE(taken(options) || taken(int64_t{1}) ||
                             taken(make_list(ListShape::kArray, variant_element())));
                break;
            case Wire::kObject:
                EXPECT_TRUE(taken(null) && taken(text_value) && taken(options) && taken(int64_t{1}));
                break;
            default:
                continue;
        }
        seen[element.wire]++;
    }
    for (const Wire wire : {Wire::kString, Wire::kClass, Wire::kStruct, Wire::kInterface, Wire::kObject}) {
        EXPECT_GT(seen[wire], 0) << static_cast<int>(wire);
    }
    const auto texts = make_list(ListShape::kList, text());
    EXPECT_EQ(refusal([&] { texts->append(int64_t{1}); }).substr(0, 72),
              "InvalidCastException: Unable to cast object of type 'System.Int32' to ty");
}

}  // namespace
}  // namespace zelmor::embed
