// The shared slots of wrapper types: birth, release, text, hash, comparison, type, and the handle readers.
#include "pyshell/wrapped_object.h"

#include "fixture.h"
#include "pyshell/identifiers.h"
#include "pyshell/markers.h"

using zelmor::PyRef;

namespace {

using Handles = std::vector<void*>;
using Services = std::vector<std::string>;

constexpr uintptr_t kHandle = 0x51;

class WrappedObject : public PyShellTest {
 protected:
    PyRef thing = wrap(handle_of(kHandle));
    PyRef pair = wrap(handle_of(kHandle), &test_struct_type);
};

PyClrObject* as_wrapper(const PyRef& object) {
    return reinterpret_cast<PyClrObject*>(object.get());
}

PyRef compare(const PyRef& left, PyObject* right, int operation) {
    return PyRef::steal(PyObject_RichCompare(left.get(), right, operation));
}

std::string at_address(const PyRef& object) {
    const PyRef text = PyRef::steal(PyUnicode_FromFormat("object at %p>", object.get()));
    return text_of(text.get());
}

}  // namespace

TEST_F(WrappedObject, IsTwentyFourBytesWithoutDictionaryWeakReferencesOrCollector) {
    EXPECT_EQ(test_class_type.tp_basicsize, 24);
    EXPECT_EQ(test_class_type.tp_itemsize, 0);
    EXPECT_EQ(test_class_type.tp_dictoffset, 0);
    EXPECT_EQ(test_class_type.tp_weaklistoffset, 0);
    EXPECT_FALSE(PyObject_IS_GC(thing.get()));
}

TEST_F(WrappedObject, HoldsTheHandleItWasMadeWith) {
    EXPECT_EQ(handle_in(thing), handle_of(kHandle));
    EXPECT_EQ(handle_in(pair), handle_of(kHandle));
    EXPECT_EQ(Py_REFCNT(thing.get()), 1);
}

TEST_F(WrappedObject, AHandleIsGivenBackWhenTheTypeRefusesToBeMade) {
    EXPECT_FALSE(wrap(handle_of(9), &test_refusing_type));
    EXPECT_EQ(managed.freed_objects, Handles{handle_of(9)});
    expect_error(PyExc_RuntimeError, "refused");
}

TEST_F(WrappedObject, ReleasesAnObjectHandleOnce) {
    thing = PyRef();
    EXPECT_EQ(managed.freed_objects, Handles{handle_of(kHandle)});
    EXPECT_TRUE(managed.freed_structs.empty());
}

TEST_F(WrappedObject, ReleasesAStructHandleThroughTheOtherOperation) {
    pair = PyRef();
    EXPECT_EQ(managed.freed_structs, Handles{handle_of(kHandle)});
    EXPECT_TRUE(managed.freed_objects.empty());
}

TEST_F(WrappedObject, AnEmptyWrapperReleasesNothing) {
    wrap(nullptr);
    wrap(nullptr, &test_struct_type);
    EXPECT_TRUE(managed.freed_objects.empty());
    EXPECT_TRUE(managed.freed_structs.empty());
}

TEST_F(WrappedObject, AReleaseLeavesAPendingExceptionAlone) {
    PyErr_SetString(PyExc_ValueError, "on its way");
    thing = PyRef();
    expect_error(PyExc_ValueError, "on its way");
    EXPECT_EQ(managed.freed_objects.size(), 1u);
}

TEST_F(WrappedObject, TwoWrappersOfOneManagedObjectAreDistinctAndEqualAndReleaseTheirOwnHandles) {
    PyRef other = wrap(handle_of(0x52));
    EXPECT_NE(thing.get(), other.get());
    EXPECT_EQ(compare(thing, other.get(), Py_EQ).get(), Py_True);
    thing = PyRef();
    other = PyRef();
    EXPECT_EQ(managed.freed_objects, (Handles{handle_of(kHandle), handle_of(0x52)}));
}

TEST_F(WrappedObject, StrAndReprAreBothTheManagedText) {
    EXPECT_EQ(text_of(thing.get()), "managed text");
    const PyRef repr = PyRef::steal(PyObject_Repr(thing.get()));
    EXPECT_EQ(text_of(repr.get()), "managed text");
    EXPECT_EQ(text_of(pair.get()), "managed text");
    EXPECT_EQ(managed.services, (Services{"ToStringOfObj", "ToStringOfObj", "ToStringOfStc"}));
}

TEST_F(WrappedObject, TextFallsBackOnTheTypeNameWhenTheManagedSideDeliversNone) {
    managed.text_status = 0;
    EXPECT_EQ(text_of(thing.get()), "<zelmor.imaging.Thing " + at_address(thing));
    EXPECT_EQ(text_of(pair.get()), "<zelmor.imaging.Pair " + at_address(pair));
    managed.text_status = 2;
    EXPECT_EQ(text_of(thing.get()), "<zelmor.imaging.Thing " + at_address(thing));
}

TEST_F(WrappedObject, AFailureOfTheManagedTextPropagatesAndNothingIsFormatted) {
    managed.raises = "no text";
    EXPECT_EQ(wrapClrObject_str(as_wrapper(thing)), nullptr);
    expect_error(PyExc_RuntimeError, "no text");
    EXPECT_EQ(wrapClrStruct_str(as_wrapper(pair)), nullptr);
    expect_error(PyExc_RuntimeError, "no text");
}

TEST_F(WrappedObject, TextLeavesAPendingExceptionUntouched) {
    PyErr_SetString(PyExc_KeyError, "earlier");
    const PyRef text = PyRef::steal(wrapClrObject_str(as_wrapper(thing)));
    ASSERT_TRUE(text);
    const PyRef error = take_error();
    EXPECT_TRUE(PyErr_GivenExceptionMatches(error.get(), PyExc_KeyError));
    EXPECT_EQ(text_of(text.get()), "managed text");
}

TEST_F(WrappedObject, TextReportsANewFailureAsUnraisableAndRestoresThePendingException) {
    const PyRef hook =
        run("import sys\n"
            "seen = []\n"
            "kept = sys.unraisablehook\n"
            "sys.unraisablehook = lambda report: seen.append((str(report.exc_value), report.object))\n");
    ASSERT_TRUE(hook);
    managed.raises = "later";
    PyErr_SetString(PyExc_ValueError, "earlier");
    EXPECT_EQ(wrapClrObject_str(as_wrapper(thing)), nullptr);
    expect_error(PyExc_ValueError, "earlier");
    PyObject* seen = PyDict_GetItemString(hook.get(), "seen");
    EXPECT_EQ(text_of(seen), "[('later', 'FormatCallbackException')]");
    PySys_SetObject("unraisablehook", PyDict_GetItemString(hook.get(), "kept"));
}

TEST_F(WrappedObject, ReprInsideAnExceptBlockLeavesTheHandledExceptionAlone) {
    const PyRef result = evaluate(
        "check(thing)",
        {{"thing", thing.get()},
         {"check", PyDict_GetItemString(run("def check(thing):\n"
                                            "    import sys\n"
                                            "    try:\n"
                                            "        raise ValueError('handled')\n"
                                            "    except ValueError as error:\n"
                                            "        text = repr(thing)\n"
                                            "        return text, sys.exc_info()[1] is error, error.__context__\n")
                                            .get(),
                                        "check")}});
    ASSERT_TRUE(result);
    EXPECT_EQ(text_of(result.get()), "('managed text', True, None)");
}

TEST_F(WrappedObject, HashIsTheManagedOneSignExtended) {
    managed.hash = 12345;
    EXPECT_EQ(PyObject_Hash(thing.get()), 12345);
    managed.hash = -7;
    EXPECT_EQ(PyObject_Hash(thing.get()), -7);
    EXPECT_EQ(PyObject_Hash(pair.get()), -7);
    EXPECT_EQ(managed.services, (Services{"GetHashOfObj", "GetHashOfObj", "GetHashOfStc"}));
}

TEST_F(WrappedObject, AManagedHashOfMinusOneBecomesMinusTwo) {
    managed.hash = -1;
    EXPECT_EQ(PyObject_Hash(thing.get()), -2);
    EXPECT_EQ(PyObject_Hash(pair.get()), -2);
}

TEST_F(WrappedObject, AFailureOfTheManagedHashPropagates) {
    managed.raises = "no hash";
    EXPECT_EQ(PyObject_Hash(thing.get()), -1);
    expect_error(PyExc_RuntimeError, "no hash");
}

TEST_F(WrappedObject, AnObjectEqualsItselfWithoutAManagedCall) {
    managed.equals = 0;
    EXPECT_EQ(compare(thing, thing.get(), Py_EQ).get(), Py_True);
    EXPECT_EQ(compare(thing, thing.get(), Py_NE).get(), Py_False);
    EXPECT_EQ(compare(pair, pair.get(), Py_EQ).get(), Py_True);
    EXPECT_TRUE(managed.services.empty());
}

TEST_F(WrappedObject, EqualityIsTheManagedOne) {
    const PyRef other = wrap(handle_of(0x77));
    EXPECT_EQ(compare(thing, other.get(), Py_EQ).get(), Py_True);
    EXPECT_EQ(compare(thing, other.get(), Py_NE).get(), Py_False);
    EXPECT_EQ(managed.compared_with.tag, 0);
    EXPECT_EQ(managed.compared_with.value, handle_of(0x77));
    managed.equals = 0;
    EXPECT_EQ(compare(thing, other.get(), Py_EQ).get(), Py_False);
    EXPECT_EQ(compare(thing, other.get(), Py_NE).get(), Py_True);
    EXPECT_EQ(managed.services, (Services(4, "IsEqualsOfObj")));
}

TEST_F(WrappedObject, EqualityReadsTheLowByteOfTheAnswer) {
    managed.equals = 0x100;
    EXPECT_EQ(compare(thing, pair.get(), Py_EQ).get(), Py_False);
    managed.equals = 0x1FF;
    EXPECT_EQ(compare(thing, pair.get(), Py_EQ).get(), Py_True);
}

TEST_F(WrappedObject, AStructComparesThroughItsOwnServiceAndTagsTheOtherByItsKind) {
    const PyRef other = wrap(handle_of(0x78), &test_struct_type);
    EXPECT_EQ(compare(pair, other.get(), Py_EQ).get(), Py_True);
    EXPECT_EQ(managed.services, Services{"IsEqualsOfStc"});
    EXPECT_EQ(managed.compared_with.tag, 1);
    EXPECT_EQ(managed.compared_with.value, handle_of(0x78));
}

TEST_F(WrappedObject, ASiblingsWrapperIsComparedToo) {
    const PyRef pen = wrap(handle_of(0x79), &test_sibling_type);
    EXPECT_EQ(compare(thing, pen.get(), Py_EQ).get(), Py_True);
    EXPECT_EQ(managed.compared_with.value, handle_of(0x79));
}

TEST_F(WrappedObject, ComparisonWithSomethingElseIsLeftToPython) {
    const PyRef number = PyRef::steal(PyLong_FromLong(5));
    EXPECT_EQ(compare(thing, number.get(), Py_EQ).get(), Py_False);
    EXPECT_EQ(compare(thing, number.get(), Py_NE).get(), Py_True);
    const PyRef answer = PyRef::steal(wrapClrObject_tp_richcompare(thing.get(), number.get(), Py_EQ));
    EXPECT_EQ(answer.get(), Py_NotImplemented);
    EXPECT_TRUE(managed.services.empty());
}

TEST_F(WrappedObject, ComparisonWithNoneReachesTheManagedSideAsNull) {
    EXPECT_EQ(compare(thing, Py_None, Py_EQ).get(), Py_True);
    EXPECT_EQ(managed.services, Services{"IsEqualsOfObj"});
    EXPECT_EQ(managed.compared_with.tag, 0);
    EXPECT_EQ(managed.compared_with.value, nullptr);
}

TEST_F(WrappedObject, ThereIsNoOrder) {
    const PyRef other = wrap(handle_of(0x77));
    EXPECT_FALSE(compare(thing, other.get(), Py_LT));
    expect_error(PyExc_TypeError,
                 "'<' not supported between instances of 'zelmor.imaging.Thing' and 'zelmor.imaging.Thing'");
    EXPECT_TRUE(managed.services.empty());
}

TEST_F(WrappedObject, AFailureOfTheManagedEqualsPropagates) {
    managed.raises = "no equality";
    EXPECT_FALSE(compare(thing, pair.get(), Py_EQ));
    expect_error(PyExc_RuntimeError, "no equality");
    EXPECT_FALSE(compare(pair, thing.get(), Py_NE));
    expect_error(PyExc_RuntimeError, "no equality");
}

TEST_F(WrappedObject, GetTypeConvertsTheTypeHandleOfTheInstance) {
    const PyRef of_object = evaluate("thing.get_type()", {{"thing", thing.get()}});
    const PyRef of_struct = evaluate("pair.get_type()", {{"pair", pair.get()}});
    EXPECT_EQ(PyLong_AsVoidPtr(of_object.get()), type_handle_of(handle_of(kHandle)));
    EXPECT_EQ(PyLong_AsVoidPtr(of_struct.get()), type_handle_of(handle_of(kHandle)));
    EXPECT_EQ(managed.services, (Services{"GetObjType", "GetStcType"}));
}

TEST_F(WrappedObject, GetTypeDoesNotJudgeByTheStatusAlone) {
    managed.type_status = 0;
    EXPECT_TRUE(evaluate("thing.get_type()", {{"thing", thing.get()}}));
    managed.raises = "no type";
    EXPECT_FALSE(evaluate("thing.get_type()", {{"thing", thing.get()}}));
    expect_error(PyExc_RuntimeError, "no type");
}

TEST_F(WrappedObject, ATypeWithoutConstructorSaysSo) {
    EXPECT_FALSE(evaluate("Thing()", {{"Thing", as_object(&test_class_type)}}));
    expect_error(PyExc_TypeError, "type has no available constructor");
    EXPECT_FALSE(evaluate("Thing(1, x=2)", {{"Thing", as_object(&test_class_type)}}));
    expect_error(PyExc_TypeError, "type has no available constructor");
    EXPECT_TRUE(managed.freed_objects.empty());
}

TEST_F(WrappedObject, PythonCannotDeriveFromAWrapper) {
    EXPECT_FALSE(evaluate("type('Derived', (Thing,), {})", {{"Thing", as_object(&test_class_type)}}));
    expect_error(PyExc_TypeError, "type 'zelmor.imaging.Thing' is not an acceptable base type");
}

TEST_F(WrappedObject, AWrapperTakesNoAttributesOfItsOwn) {
    EXPECT_EQ(PyObject_SetAttrString(thing.get(), "foo", Py_None), -1);
    expect_error(PyExc_AttributeError, "'zelmor.imaging.Thing' object has no attribute 'foo'");
}

TEST_F(WrappedObject, AWrapperCannotBeWeaklyReferenced) {
    EXPECT_FALSE(evaluate("__import__('weakref').ref(thing)", {{"thing", thing.get()}}));
    expect_error(PyExc_TypeError, "cannot create weak reference to 'zelmor.imaging.Thing' object");
}

TEST_F(WrappedObject, TheClassReaderTakesClassWrappersOnly) {
    void* handle = handle_of(1);
    EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(thing.get(), &handle), 1);
    EXPECT_EQ(handle, handle_of(kHandle));
    const PyRef pen = wrap(handle_of(0x79), &test_sibling_type);
    EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(pen.get(), &handle), 1);
    EXPECT_EQ(handle, handle_of(0x79));
    for (PyObject* refused : {pair.get(), Py_None, Py_True}) {
        handle = handle_of(1);
        EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(refused, &handle), 0);
        EXPECT_EQ(handle, handle_of(1));
        EXPECT_EQ(PyErr_Occurred(), nullptr);
    }
}

TEST_F(WrappedObject, TheGeneralReaderTellsClassesAndStructsApartByTheTag) {
    VariantArg variant = {7, nullptr};
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(thing.get(), &variant), 1);
    EXPECT_EQ(variant.tag, 0);
    EXPECT_EQ(variant.value, handle_of(kHandle));
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(pair.get(), &variant), 1);
    EXPECT_EQ(variant.tag, 1);
    EXPECT_EQ(variant.value, handle_of(kHandle));
    variant = {7, nullptr};
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(Py_None, &variant), 0);
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(Py_True, &variant), 0);
    EXPECT_EQ(variant.tag, 7);
}

TEST_F(WrappedObject, TheReaderThatAllowsNoneLeavesTheTagAlone) {
    VariantArg variant = {7, handle_of(1)};
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_handle(Py_None, &variant), 1);
    EXPECT_EQ(variant.tag, 7);
    EXPECT_EQ(variant.value, nullptr);
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_handle(pair.get(), &variant), 1);
    EXPECT_EQ(variant.tag, 1);
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_handle(Py_True, &variant), 0);
}

TEST_F(WrappedObject, AWrapperWithANullHandlePassesEveryReader) {
    const PyRef empty = wrap(nullptr);
    void* handle = handle_of(1);
    VariantArg variant = {7, handle_of(1)};
    EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(empty.get(), &handle), 1);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(empty.get(), &variant), 1);
    EXPECT_EQ(variant.value, nullptr);
    EXPECT_EQ(variant.tag, 0);
}

TEST_F(WrappedObject, AWrapperWithFieldsOfItsOwnPassesEveryReader) {
    const PyRef longer = wrap(handle_of(0x61), &test_longer_type);
    void* handle = nullptr;
    VariantArg variant = {7, nullptr};
    EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(longer.get(), &handle), 1);
    EXPECT_EQ(handle, handle_of(0x61));
    EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(longer.get(), &variant), 1);
    EXPECT_EQ(variant.tag, 0);
    EXPECT_EQ(variant.value, handle_of(0x61));
}

TEST_F(WrappedObject, APythonClassThatBorrowsTheMarkerHasNoHandleToRead) {
    const PyRef names =
        run("class Forged:\n"
            "    __slots__ = ()\n"
            "    _zelmor_clr_host = None\n"
            "class ForgedStruct:\n"
            "    _zelmor_clr_host = ...\n"
            "forged = Forged()\n"
            "forged_struct = ForgedStruct()\n");
    ASSERT_TRUE(names);
    for (const char* name : {"forged", "forged_struct"}) {
        PyObject* forged = PyDict_GetItemString(names.get(), name);
        void* handle = handle_of(1);
        VariantArg variant = {};
        EXPECT_EQ(fn_conv_py_obj_to_clr_refobj_not_null_handle(forged, &handle), 0);
        EXPECT_EQ(fn_conv_py_obj_to_clr_gen_not_null_handle(forged, &variant), 0);
        EXPECT_EQ(fn_conv_py_obj_to_clr_gen_handle(forged, &variant), 0);
        EXPECT_EQ(handle, handle_of(1));
    }
}
