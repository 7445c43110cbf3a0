// When the hosts of the interop wrappers bind, in which order, and what a missing entry point does to which kinds.
#include "collections/interop.h"
#include "in_child.h"
#include "interop_runtime.h"

using zelmor::PyRef;

namespace {

class InteropBinding : public InteropTest {};

using Methods = std::vector<std::string>;

struct Host {
    const char* managed_class;
    PyTypeObject* type;
    Methods methods;
};

const Methods kInterfaceCasts = {"btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"};
const Methods kClassCasts = {"btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"};

Methods joined(Methods first, const Methods& then) {
    first.insert(first.end(), then.begin(), then.end());
    return first;
}

const std::vector<Host>& hosts() {
    static const std::vector<Host> all = {
        {"Zelmor.WrpGen.Interop.SiApiDisposable", &wrpPye_tyds_FFFFFFFF_IDisposableWrapper, kInterfaceCasts},
        {"Zelmor.WrpGen.Interop.SiApiEnumerator", &wrpPye_tyds_FFFFFFFF_IterWrapper,
         joined({"MoveNext"}, kInterfaceCasts)},
        {"Zelmor.WrpGen.Interop.SiApiEnumerable", &wrpPye_tyds_FFFFFFFF_IterableWrapper,
         joined({"GetEnumerator", "CreateInstanceFromPyIterable"}, kInterfaceCasts)},
        {"Zelmor.WrpGen.Interop.SiApiCntCollection", &wrpPye_tyds_FFFFFFFF_IColWrapper,
         joined({"SqLength", "SqContains", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPyIterable"},
                kInterfaceCasts)},
        {"Zelmor.WrpGen.Interop.SiApiCntList", &wrpPye_tyds_FFFFFFFF_IListWrapper,
         joined({"SqGetItem",
                 "SqGetItemNoCheck",
                 "SqSetItem",
                 "SqSetItemNoCheck",
                 "Add",
                 "Insert",
                 "Remove",
                 "RemoveAt",
                 "Pop",
                 "Clear",
                 "SqInplaceConcat",
                 "SqInplaceRepeat",
                 "MpSetItems",
                 "MpRemoveItems",
                 "Reverse",
                 "Sort",
                 "IndexBy",
                 "SqContains",
                 "CountOf",
                 "CreateInstanceFromPyList",
                 "CreateInstanceFromPySequence"},
                kInterfaceCasts)},
        {"Zelmor.WrpGen.Interop.SiApiArray", &wrpPye_tyds_FFFFFFFF_ArrayWrapper,
         joined(
             {"SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems",
              "Reverse", "Sort", "IndexBy", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPySequence"},
             kClassCasts)},
        {"Zelmor.WrpGen.Interop.SiApiArrayList", &wrpPye_tyds_FFFFFFFF_ArrListWrapper,
         joined({"SqLength",
                 "Add",
                 "Remove",
                 "Clear",
                 "SqContains",
                 "SqGetItem",
                 "SqGetItemNoCheck",
                 "SqSetItem",
                 "SqSetItemNoChek",
                 "Insert",
                 "RemoveAt",
                 "Pop",
                 "SqInplaceConcat",
                 "SqInplaceRepeat",
                 "MpSetItems",
                 "MpRemoveItems",
                 "Reverse",
                 "Sort",
                 "IndexBy",
                 "CountOf",
                 "EnsureCapacity",
                 "CreateInstanceFromPyList",
                 "CreateInstanceFromPySequence"},
                kClassCasts)},
        {"Zelmor.WrpGen.Interop.SiApiCollectionBase", &wrpPye_tyds_FFFFFFFF_ColBaseWrapper,
         joined({"CreateInstanceFromPyList", "CreateInstanceFromPySequence"}, kClassCasts)},
        {"Zelmor.WrpGen.Interop.SiApiReadOnlyCollectionBase", &wrpPye_tyds_FFFFFFFF_RoColBaseWrapper,
         joined({"CreateInstanceFromPyList", "CreateInstanceFromPySequence"}, kClassCasts)},
        {"Zelmor.WrpGen.Interop.SiApiStream", &wrpPye_tyds_FFFFFFFF_StreamWrapper,
         joined({"CanRead", "CanSeek", "CanWrite", "Length", "Position", "Close", "Flush", "Read", "Seek", "SetLength",
                 "Write"},
                kClassCasts)},
    };
    return all;
}

// The managed classes that the first use of a type binds, in order.
Methods classes_bound_by(PyTypeObject* type) {
    outcome("T._type_of()", type);
    Methods classes;
    for (const std::string& lookup : runtime.lookups) {
        const size_t start = lookup.find('|') + 1;
        const std::string managed_class = lookup.substr(start, lookup.find('|', start) - start);
        if (classes.empty() || classes.back() != managed_class) {
            classes.push_back(managed_class);
        }
    }
    return classes;
}

void nothing_is_bound_before_the_first_use_and_then_once() {
    prepare_interop();
    CHILD_CHECK(runtime.lookups.empty());
    for (const Host& host : hosts()) {
        outcome("T._type_of()", host.type);
        CHILD_CHECK(methods_looked_up(host.managed_class) == host.methods);
    }
    const size_t bound = runtime.lookups.size();
    for (const Host& host : hosts()) {
        CHILD_CHECK(outcome("T._is_assignable(5)", host.type) == "False");
    }
    CHILD_CHECK(runtime.lookups.size() == bound);
}

TEST_F(InteropBinding, NothingIsBoundBeforeTheFirstUseAndThenOnce) {
    RUN_IN_CHILD(nothing_is_bound_before_the_first_use_and_then_once);
}

const std::string kPrefix = "Zelmor.WrpGen.Interop.SiApi";

#define ZELMOR_ORDER_TEST(Type, ...)                                             \
    void order_of_##Type() {                                                     \
        prepare_interop();                                                       \
        Methods expected;                                                        \
        for (const char* name : {__VA_ARGS__}) {                                 \
            expected.push_back(kPrefix + name);                                  \
        }                                                                        \
        CHILD_CHECK(classes_bound_by(&wrpPye_tyds_FFFFFFFF_##Type) == expected); \
    }                                                                            \
    TEST_F(InteropBinding, OrderOf##Type) {                                      \
        RUN_IN_CHILD(order_of_##Type);                                           \
    }

ZELMOR_ORDER_TEST(IDisposableWrapper, "Disposable")
ZELMOR_ORDER_TEST(IterWrapper, "Enumerator")
ZELMOR_ORDER_TEST(IterableWrapper, "Enumerable")
ZELMOR_ORDER_TEST(IColWrapper, "CntCollection", "Enumerable")
ZELMOR_ORDER_TEST(IListWrapper, "CntList", "CntCollection", "Enumerable")
ZELMOR_ORDER_TEST(ArrayWrapper, "Array", "Enumerable")
ZELMOR_ORDER_TEST(ArrListWrapper, "ArrayList", "Enumerable")
ZELMOR_ORDER_TEST(ColBaseWrapper, "CollectionBase", "CntList", "CntCollection", "Enumerable")
ZELMOR_ORDER_TEST(RoColBaseWrapper, "ReadOnlyCollectionBase", "CntCollection", "Enumerable")
ZELMOR_ORDER_TEST(StreamWrapper, "Stream")

#undef ZELMOR_ORDER_TEST

void a_missing_entry_point_disables_its_kind_in_plain_words() {
    prepare_interop();
    runtime.missing = {{"SqSetItemNoChek", 4}};
    const std::string message =
        "TypeError: While initializing the host for the 'Zelmor.WrpGen.Interop.SiApiArray "
        "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'SqSetItemNoChek' not found (error=4)";
    PyTypeObject* const type = &wrpPye_tyds_FFFFFFFF_ArrayWrapper;
    for (const char* use : {"T._type_of()", "T._cast_to(None)", "T._cast_as(None)", "T._is_assignable(None)",
                            "T._reinterpret_obj((1,))", "T()", "T.__new__(T)"}) {
        CHILD_CHECK(outcome(use, type) == message);
    }
    CHILD_CHECK(methods_looked_up("Zelmor.WrpGen.Interop.SiApiArray").size() == 6);
    CHILD_CHECK(methods_looked_up("Zelmor.WrpGen.Interop.SiApiEnumerable").empty());
    CHILD_CHECK(script.calls.empty());
    // A result of that kind cannot be shown either; its handle is given back.
    CHILD_CHECK(!wrap(pointer(6), type));
    PyErr_Clear();
    CHILD_CHECK(runtime.received["FreeInstance of objects"] == pointer(6));
    // The spelling of the list is another one.
    CHILD_CHECK(outcome("T._type_of()", &wrpPye_tyds_FFFFFFFF_IListWrapper) == "0");
}

TEST_F(InteropBinding, AMissingEntryPointDisablesItsKindInPlainWords) {
    RUN_IN_CHILD(a_missing_entry_point_disables_its_kind_in_plain_words);
}

void a_missing_entry_point_of_a_referenced_host_is_chained() {
    prepare_interop();
    runtime.missing = {{"GetEnumerator", 9}};
    const std::string cause =
        "While initializing the host for the 'Zelmor.WrpGen.Interop.SiApiEnumerable "
        "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'GetEnumerator' not found (error=9)";
    for (PyTypeObject* type : {&wrpPye_tyds_FFFFFFFF_ArrayWrapper, &wrpPye_tyds_FFFFFFFF_IListWrapper,
                               &wrpPye_tyds_FFFFFFFF_ColBaseWrapper, &wrpPye_tyds_FFFFFFFF_RoColBaseWrapper}) {
        CHILD_CHECK(!evaluate_on("T._type_of()", type, Py_None));
        const PyRef error = take_error();
        CHILD_CHECK(text_of(error.get()) == "one or more refereced type is not initialized");
        CHILD_CHECK(Py_IS_TYPE(error.get(), reinterpret_cast<PyTypeObject*>(PyExc_TypeError)));
        const PyRef first = PyRef::steal(PyException_GetCause(error.get()));
        CHILD_CHECK(first && text_of(first.get()) == cause);
        std::string message;
        CHILD_CHECK(wrpPye_bltp_array_is_not_valid(message) && message == cause);
    }
    CHILD_CHECK(outcome("T._type_of()", &wrpPye_tyds_FFFFFFFF_IterableWrapper) == "TypeError: " + cause);
    CHILD_CHECK(outcome("T._type_of()", &wrpPye_tyds_FFFFFFFF_IDisposableWrapper) == "0");
    std::string untouched = "untouched";
    CHILD_CHECK(!wrpPye_bltp_idisposable_is_not_valid(untouched) && untouched == "untouched");
}

TEST_F(InteropBinding, AMissingEntryPointOfAReferencedHostIsChained) {
    RUN_IN_CHILD(a_missing_entry_point_of_a_referenced_host_is_chained);
}

}  // namespace
