// Which wrapper a managed result gets, by its declared and its run-time type.
#include "pyshell/result_typing.h"

#include "exchange/wire/tags.h"
#include "fixture.h"
#include "pyshell/types_map.h"

using zelmor::PyRef;

namespace {

using Handles = std::vector<void*>;

constexpr const char16_t* kImplementing = u"Zelmor.Imaging.Implementing";
constexpr const char16_t* kThing = u"Zelmor.Imaging.Thing";
constexpr const char16_t* kUnknown = u"Zelmor.Imaging.Internal";

class ResultTyping : public PyShellTest {
 protected:
    void SetUp() override {
        PyShellTest::SetUp();
        PyWrpTypesMap::get_instance()->add(kImplementing, &test_implementing_type);
        PyWrpTypesMap::get_instance()->add(kThing, &test_class_type);
    }

    static long new_id() {
        static long last = 2000;
        return ++last;
    }

    PyObjectOutArg object(const char16_t* run_time_type) {
        managed.type_names[handle] = run_time_type;
        return {handle, new_id()};
    }

    PyCollectionArg collection(int kind, const char16_t* run_time_type) {
        managed.type_names[handle] = run_time_type;
        return {kind, handle, new_id()};
    }

    // A wrapper of that type around `expected`.
    void expect_wrapper(PyObject* result, PyTypeObject* type, void* expected) {
        const PyRef wrapper = PyRef::steal(result);
        ASSERT_TRUE(wrapper);
        EXPECT_EQ(Py_TYPE(wrapper.get()), type) << Py_TYPE(wrapper.get())->tp_name;
        EXPECT_EQ(handle_in(wrapper), expected);
        EXPECT_EQ(Py_REFCNT(wrapper.get()), 1);
    }

    void expect_wrapper(PyObject* result, PyTypeObject* type) { expect_wrapper(result, type, handle); }

    void* handle = handle_of(0x21);
};

void expect_new_none(PyObject* (*read)()) {
    const Py_ssize_t references = Py_REFCNT(Py_None);
    PyObject* result = read();
    EXPECT_EQ(result, Py_None);
    EXPECT_EQ(Py_REFCNT(Py_None), references + 1);
    Py_XDECREF(result);
}

}  // namespace

TEST_F(ResultTyping, ANullHandleGivesNoneInEveryReaderBeforeAnyLookup) {
    expect_new_none([] { return fn_conv_clr_clsobj_to_py_clsobj(nullptr, &test_class_type); });
    expect_new_none([] { return fn_conv_clr_vlarr_to_py_vlarr({1, nullptr}, &test_class_type, &test_struct_type); });
    expect_new_none([] { return fn_conv_clr_ifcimpl_to_py_ifcimpl({nullptr, 1}, &test_interface_type); });
    expect_new_none([] { return fn_conv_clr_ifcimpl_to_py_ifcimpl_wps({0, nullptr, 1}, &test_interface_type); });
    expect_new_none([] { return fn_conv_clr_ifcimpl_to_py_ifcimpl_wps({2, nullptr, 1}, &test_interface_type); });
    expect_new_none([] { return fn_conv_clr_absobj_to_py_absobj({2, nullptr, 1}, &test_class_type); });
    expect_new_none([] { return fn_conv_clr_btpobj_to_py_btpobj({1, nullptr, 1}, &test_class_type); });
    EXPECT_TRUE(managed.asked_for_name.empty());
}

TEST_F(ResultTyping, AClassResultKeepsItsDeclaredTypeWhateverItHolds) {
    managed.type_names[handle] = kImplementing;
    expect_wrapper(fn_conv_clr_clsobj_to_py_clsobj(handle, &test_class_type), &test_class_type);
    EXPECT_TRUE(managed.asked_for_name.empty());
}

TEST_F(ResultTyping, ATaggedResultTakesTheFirstTypeForTagZeroAndTheSecondForAnyOther) {
    expect_wrapper(fn_conv_clr_vlarr_to_py_vlarr({0, handle}, &test_class_type, &test_struct_type), &test_class_type);
    for (int tag : {1, 2, -1}) {
        expect_wrapper(fn_conv_clr_vlarr_to_py_vlarr({tag, handle}, &test_class_type, &test_struct_type),
                       &test_struct_type);
    }
}

TEST_F(ResultTyping, AnInterfaceResultIsShownInTheRunTimeWrapperThatListsIt) {
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl(object(kImplementing), &test_interface_type),
                   &test_implementing_type);
    expect_wrapper(
        fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(collection(kCollectionObject, kImplementing), &test_interface_type),
        &test_implementing_type);
}

TEST_F(ResultTyping, AnInterfaceResultWhoseRegisteredTypeDoesNotListItIsShownInTheInterfaceWrapper) {
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl(object(kThing), &test_interface_type), &test_interface_type);
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(collection(kCollectionObject, kThing), &test_interface_type),
                   &test_interface_type);
}

TEST_F(ResultTyping, AnInterfaceResultOfAnUnknownTypeIsShownInTheInterfaceWrapper) {
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl(object(kUnknown), &test_interface_type), &test_interface_type);
}

TEST_F(ResultTyping, ASecondResultOfAnUnknownTypeDoesNotAskForTheName) {
    const PyObjectOutArg result = object(kUnknown);
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl(result, &test_interface_type), &test_interface_type);
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl(result, &test_interface_type), &test_interface_type);
    expect_wrapper(fn_conv_clr_absobj_to_py_absobj({kCollectionObject, handle, result.type_id}, &test_class_type),
                   &test_class_type);
    EXPECT_EQ(managed.asked_for_name, Handles{handle});
}

TEST_F(ResultTyping, AStructBehindAnInterfaceIsBoxedOnlyWhenItsOwnWrapperDoesNotApply) {
    expect_wrapper(fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(collection(kCollectionStruct, kUnknown), &test_interface_type),
                   &test_interface_type, box_of(handle));
    EXPECT_EQ(managed.boxed, Handles{handle});
    expect_wrapper(
        fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(collection(kCollectionStruct, kImplementing), &test_interface_type),
        &test_implementing_type);
    EXPECT_EQ(managed.boxed, Handles{handle});
}

TEST_F(ResultTyping, APythonObjectThatTheManagedSideHeldComesBackItself) {
    const PyRef held = PyRef::steal(PyList_New(0));
    const PyCollectionArg result = {kCollectionPyObject, held.get(), new_id()};
    const PyRef as_interface = PyRef::steal(fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(result, &test_interface_type));
    const PyRef as_abstract = PyRef::steal(fn_conv_clr_absobj_to_py_absobj(result, &test_class_type));
    EXPECT_EQ(as_interface.get(), held.get());
    EXPECT_EQ(as_abstract.get(), held.get());
    EXPECT_EQ(Py_REFCNT(held.get()), 3);
    EXPECT_TRUE(managed.asked_for_name.empty());
}

TEST_F(ResultTyping, AnAbstractResultIsShownInAnyRegisteredRunTimeType) {
    expect_wrapper(fn_conv_clr_absobj_to_py_absobj(collection(kCollectionObject, kThing), &test_derived_type),
                   &test_class_type);
    expect_wrapper(fn_conv_clr_absobj_to_py_absobj(collection(kCollectionStruct, kThing), &test_derived_type),
                   &test_class_type);
    expect_wrapper(fn_conv_clr_absobj_to_py_absobj(collection(kCollectionObject, kUnknown), &test_derived_type),
                   &test_derived_type);
}

TEST_F(ResultTyping, ACollectionResultIsLookedUpForAStructOnly) {
    expect_wrapper(fn_conv_clr_btpobj_to_py_btpobj(collection(kCollectionObject, kThing), &test_derived_type),
                   &test_derived_type);
    EXPECT_TRUE(managed.asked_for_name.empty());
    expect_wrapper(fn_conv_clr_btpobj_to_py_btpobj(collection(kCollectionStruct, kThing), &test_derived_type),
                   &test_class_type);
    expect_wrapper(fn_conv_clr_btpobj_to_py_btpobj(collection(kCollectionStruct, kUnknown), &test_derived_type),
                   &test_derived_type);
}

TEST_F(ResultTyping, AWrapperThatCannotBeMadeGivesTheHandleBack) {
    EXPECT_EQ(fn_conv_clr_clsobj_to_py_clsobj(handle, &test_refusing_type), nullptr);
    expect_error(PyExc_RuntimeError, "refused");
    EXPECT_EQ(fn_conv_clr_ifcimpl_to_py_ifcimpl(object(kUnknown), &test_refusing_type), nullptr);
    expect_error(PyExc_RuntimeError, "refused");
    EXPECT_EQ(managed.freed_objects, (Handles{handle, handle}));
}

TEST_F(ResultTyping, AFailureToTellTheRunTimeTypeGivesTheHandleBackAndPropagates) {
    managed.raises = "no name";
    EXPECT_EQ(fn_conv_clr_ifcimpl_to_py_ifcimpl(object(kThing), &test_interface_type), nullptr);
    expect_error(PyExc_RuntimeError, "no name");
    EXPECT_EQ(fn_conv_clr_absobj_to_py_absobj(collection(kCollectionObject, kThing), &test_class_type), nullptr);
    expect_error(PyExc_RuntimeError, "no name");
    EXPECT_EQ(managed.freed_objects, (Handles{handle, handle}));
}
