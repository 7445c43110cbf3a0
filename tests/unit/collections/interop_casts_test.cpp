// The cast family, disposal and the other private members of the interop wrappers.
#include "collections/interop.h"
#include "collections/interop_members.h"
#include "interop_runtime.h"

using zelmor::PyRef;

namespace {

class InteropCasts : public InteropTest {};

const std::vector<PyTypeObject*>& interface_types() {
    static const std::vector<PyTypeObject*> types = {
        &wrpPye_tyds_FFFFFFFF_IDisposableWrapper, &wrpPye_tyds_FFFFFFFF_IterWrapper,
        &wrpPye_tyds_FFFFFFFF_IterableWrapper, &wrpPye_tyds_FFFFFFFF_IColWrapper, &wrpPye_tyds_FFFFFFFF_IListWrapper};
    return types;
}

const std::vector<PyTypeObject*>& class_types() {
    static const std::vector<PyTypeObject*> types = {
        &wrpPye_tyds_FFFFFFFF_RoColBaseWrapper, &wrpPye_tyds_FFFFFFFF_ColBaseWrapper,
        &wrpPye_tyds_FFFFFFFF_ArrayWrapper, &wrpPye_tyds_FFFFFFFF_ArrListWrapper, &wrpPye_tyds_FFFFFFFF_StreamWrapper};
    return types;
}

std::vector<PyTypeObject*> all_types() {
    std::vector<PyTypeObject*> types = interface_types();
    types.insert(types.end(), class_types().begin(), class_types().end());
    return types;
}

using Calls = std::vector<std::string>;

TEST_F(InteropCasts, TypeOfShowsTheManagedType) {
    for (PyTypeObject* type : all_types()) {
        script = {.out = pointer(77)};
        EXPECT_EQ(outcome("T._type_of()", type), "77") << type->tp_name;
        EXPECT_EQ(script.calls, Calls{"btp_TypeOf"});
    }
}

TEST_F(InteropCasts, AFailedTypeOfRaisesWhatTheManagedSideRaised) {
    script = {.status = 0, .raises = "no type"};
    EXPECT_EQ(outcome("T._type_of()", &wrpPye_tyds_FFFFFFFF_ArrayWrapper), "RuntimeError: no type");
}

TEST_F(InteropCasts, ACastWrapsWhatComesOutWithItsStatus) {
    for (PyTypeObject* type : all_types()) {
        for (const char* cast : {"_cast_to", "_cast_as"}) {
            script = {.status = 3, .out = pointer(5)};
            const PyRef argument = wrap(pointer(9), &other_class_type);
            const RefCountWatch count(argument.get());
            const PyRef result = evaluate_on((std::string("T.") + cast + "(x)").c_str(), type, argument.get());
            ASSERT_TRUE(result) << type->tp_name;
            EXPECT_EQ(PyLong_AsLong(PyTuple_GetItem(result.get(), 0)), 3);
            PyObject* wrapped = PyTuple_GetItem(result.get(), 1);
            ASSERT_NE(wrapped, nullptr);
            EXPECT_EQ(Py_TYPE(wrapped), type);
            EXPECT_EQ(Py_REFCNT(wrapped), 1);
            EXPECT_EQ(handle_in(wrapped), pointer(5));
            EXPECT_EQ(script.calls, Calls{cast == std::string("_cast_to") ? "btp_CastTo" : "btp_CastAs"});
            EXPECT_EQ(script.value.tag, 0);
            EXPECT_EQ(script.value.value, pointer(9));
            EXPECT_EQ(count.change(), 0);
        }
    }
}

TEST_F(InteropCasts, ACastTakesStructsAndNone) {
    for (PyTypeObject* type : all_types()) {
        for (const char* cast : {"T._cast_to(x)", "T._cast_as(x)"}) {
            script = {};
            const PyRef pair = wrap(pointer(8), &other_struct_type);
            EXPECT_EQ(outcome(cast, type, pair.get()), "(1, None)") << type->tp_name << cast;
            EXPECT_EQ(script.value.tag, 1);
            EXPECT_EQ(script.value.value, pointer(8));
            EXPECT_EQ(outcome(cast, type, Py_None), "(1, None)") << type->tp_name << cast;
            EXPECT_EQ(script.value.tag, 0);
            EXPECT_EQ(script.value.value, nullptr);
            EXPECT_EQ(script.calls.size(), 2u);
        }
    }
}

TEST_F(InteropCasts, ACastOfSomethingElseHasNoResultAndAsksNobody) {
    const PyRef five = evaluate("5");
    for (PyTypeObject* type : all_types()) {
        EXPECT_EQ(outcome("T._cast_to(x)", type, five.get()), "(0, Ellipsis)");
        EXPECT_EQ(outcome("T._cast_as(x)", type, five.get()), "(0, Ellipsis)");
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(InteropCasts, ACastThatIsImpossibleHasNoResult) {
    script = {.status = 0, .out = nullptr};
    EXPECT_EQ(outcome("T._cast_to(x)", &wrpPye_tyds_FFFFFFFF_IListWrapper), "(0, Ellipsis)");
}

TEST_F(InteropCasts, ACastThatFailsRaisesOrGoesOnWithItsStatus) {
    script = {.status = -1, .raises = "bad cast"};
    EXPECT_EQ(outcome("T._cast_to(x)", &wrpPye_tyds_FFFFFFFF_IListWrapper), "RuntimeError: bad cast");
    script = {.status = -1};
    EXPECT_EQ(outcome("T._cast_as(x)", &wrpPye_tyds_FFFFFFFF_IListWrapper), "(-1, None)");
}

TEST_F(InteropCasts, CastFromIgnoresItsArgument) {
    for (PyTypeObject* type : all_types()) {
        const PyRef wrapper = wrap(pointer(1), type);
        EXPECT_EQ(outcome("x._cast_from(5)", type, wrapper.get()), "(0, Ellipsis)") << type->tp_name;
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(InteropCasts, AClassKindIsAssignableFromClassWrappersOnly) {
    const PyRef thing = wrap(pointer(9), &other_class_type);
    const PyRef pair = wrap(pointer(8), &other_struct_type);
    for (PyTypeObject* type : class_types()) {
        script = {};
        EXPECT_EQ(outcome("T._is_assignable(x)", type, thing.get()), "True") << type->tp_name;
        EXPECT_EQ(script.handle, pointer(9));
        script.assignable = 0;
        EXPECT_EQ(outcome("T._is_assignable(x)", type, thing.get()), "False");
        script = {};
        EXPECT_EQ(outcome("T._is_assignable(x)", type, pair.get()), "False");
        EXPECT_EQ(outcome("T._is_assignable(x)", type, Py_None), "False");
        EXPECT_TRUE(script.calls.empty());
    }
}

TEST_F(InteropCasts, AnInterfaceKindIsAssignableFromStructsToo) {
    const PyRef thing = wrap(pointer(9), &other_class_type);
    const PyRef pair = wrap(pointer(8), &other_struct_type);
    const PyRef five = evaluate("5");
    for (PyTypeObject* type : interface_types()) {
        script = {};
        EXPECT_EQ(outcome("T._is_assignable(x)", type, thing.get()), "True") << type->tp_name;
        EXPECT_EQ(script.value.tag, 0);
        EXPECT_EQ(script.value.value, pointer(9));
        EXPECT_EQ(outcome("T._is_assignable(x)", type, pair.get()), "True");
        EXPECT_EQ(script.value.tag, 1);
        EXPECT_EQ(script.value.value, pointer(8));
        script = {};
        EXPECT_EQ(outcome("T._is_assignable(x)", type, Py_None), "False");
        EXPECT_EQ(outcome("T._is_assignable(x)", type, five.get()), "False");
        EXPECT_TRUE(script.calls.empty());
    }
}

TEST_F(InteropCasts, AnInterfaceCannotBeReinterpretedAs) {
    const PyRef object = evaluate("(5,)");
    for (PyTypeObject* type : interface_types()) {
        EXPECT_EQ(outcome("T._reinterpret_obj(x)", type, object.get()),
                  std::string("TypeError: cannot convert from  'tuple' to '") + type->tp_name + "'");
    }
    EXPECT_TRUE(script.calls.empty());
}

TEST_F(InteropCasts, AClassKindShowsAnObjectAsItself) {
    const PyRef object = evaluate("(6,)");
    for (PyTypeObject* type : class_types()) {
        script = {.out = pointer(7)};
        const PyRef result = evaluate_on("T._reinterpret_obj(x)", type, object.get());
        ASSERT_TRUE(result) << type->tp_name;
        EXPECT_EQ(Py_TYPE(result.get()), type);
        EXPECT_EQ(handle_in(result.get()), pointer(7));
        EXPECT_EQ(script.handle, pointer(6));
        script = {.status = 0, .raises = "no such view"};
        EXPECT_EQ(outcome("T._reinterpret_obj(x)", type, object.get()), "RuntimeError: no such view");
        EXPECT_EQ(outcome("T._reinterpret_obj(5)", type),
                  "TypeError: _reinterpret_obj() expects a .Net Object argument, got a int object");
    }
}

TEST_F(InteropCasts, GetTypeAsksForTheTypeOfTheInstance) {
    for (PyTypeObject* type : all_types()) {
        const PyRef wrapper = wrap(pointer(31), type);
        EXPECT_EQ(outcome("x.get_type()", type, wrapper.get()), "31") << type->tp_name;
        EXPECT_EQ(runtime.calls.back(), "GetObjType");
    }
}

TEST_F(InteropCasts, ADisposableIsAContextManagerThatSwallowsNothing) {
    const PyRef wrapper = wrap(pointer(21), &wrpPye_tyds_FFFFFFFF_IDisposableWrapper);
    const RefCountWatch count(wrapper.get());
    EXPECT_EQ(outcome("x.__enter__() is x", Py_TYPE(wrapper.get()), wrapper.get()), "True");
    EXPECT_TRUE(runtime.calls.empty());
    EXPECT_EQ(outcome("x.__exit__(1, 2, 3, 4)", Py_TYPE(wrapper.get()), wrapper.get()), "None");
    EXPECT_EQ(outcome("x.__exit__()", Py_TYPE(wrapper.get()), wrapper.get()), "None");
    EXPECT_EQ(runtime.calls, (Calls{"Dispose", "Dispose"}));
    EXPECT_EQ(runtime.received["Dispose"], pointer(21));
    EXPECT_EQ(count.change(), 0);
}

TEST_F(InteropCasts, ADisposalThatFailsRaises) {
    runtime.during_dispose = [] { PyErr_SetString(PyExc_RuntimeError, "cannot close"); };
    const PyRef wrapper = wrap(pointer(21), &wrpPye_tyds_FFFFFFFF_IDisposableWrapper);
    EXPECT_EQ(outcome("x.__exit__()", Py_TYPE(wrapper.get()), wrapper.get()), "RuntimeError: cannot close");
}

TEST_F(InteropCasts, AStreamIsClosedByItsExitEvenIfThatFails) {
    PyRef stream = wrap(pointer(22), &wrpPye_tyds_FFFFFFFF_StreamWrapper);
    EXPECT_EQ(outcome("x.closed", Py_TYPE(stream.get()), stream.get()), "False");
    EXPECT_EQ(outcome("x.__enter__() is x", Py_TYPE(stream.get()), stream.get()), "True");
    EXPECT_EQ(outcome("x.__exit__(None, None, None)", Py_TYPE(stream.get()), stream.get()), "None");
    EXPECT_EQ(outcome("x.closed", Py_TYPE(stream.get()), stream.get()), "True");
    EXPECT_EQ(runtime.received["Dispose"], pointer(22));
    stream = wrap(pointer(23), &wrpPye_tyds_FFFFFFFF_StreamWrapper);
    runtime.during_dispose = [] { PyErr_SetString(PyExc_RuntimeError, "cannot close"); };
    EXPECT_EQ(outcome("x.__exit__()", Py_TYPE(stream.get()), stream.get()), "RuntimeError: cannot close");
    EXPECT_EQ(outcome("x.closed", Py_TYPE(stream.get()), stream.get()), "True");
}

TEST_F(InteropCasts, TheClosedFlagOfAStreamIsReadOnly) {
    const PyRef stream = wrap(pointer(22), &wrpPye_tyds_FFFFFFFF_StreamWrapper);
    EXPECT_EQ(outcome("setattr(x, 'closed', True)", Py_TYPE(stream.get()), stream.get()),
              "AttributeError: attribute 'closed' of 'zelmor.imaging._wrpgen._interop._StreamWrapper' objects is not "
              "writable");
}

TEST_F(InteropCasts, AStreamShowsAsAPlainObjectAndTheOthersAsTheManagedText) {
    const PyRef stream = wrap(pointer(22), &wrpPye_tyds_FFFFFFFF_StreamWrapper);
    EXPECT_TRUE(outcome("x", Py_TYPE(stream.get()), stream.get())
                    .starts_with("<zelmor.imaging._wrpgen._interop._StreamWrapper object at 0x"));
    EXPECT_TRUE(runtime.calls.empty());
    const PyRef list = wrap(pointer(24), &wrpPye_tyds_FFFFFFFF_IListWrapper);
    outcome("hash(x)", Py_TYPE(list.get()), list.get());
    EXPECT_EQ(runtime.calls, Calls{"GetHashOfObj"});
}

TEST_F(InteropCasts, ADyingWrapperGivesItsHandleBack) {
    for (PyTypeObject* type : all_types()) {
        runtime.received.clear();
        wrap(pointer(41), type);
        EXPECT_EQ(runtime.received["FreeInstance of objects"], pointer(41)) << type->tp_name;
    }
}

}  // namespace
