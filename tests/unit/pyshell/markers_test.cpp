// Marker attributes: what is stored in a type's dictionary, and what the readers make of it.
#include "pyshell/markers.h"

#include "fixture.h"
#include "pyshell/identifiers.h"

using zelmor::PyRef;

namespace {

// A new heap type without any marker, as bare ground.
PyRef plain_type() {
    return evaluate("type('Plain', (), {})");
}

PyTypeObject* as_type(const PyRef& object) {
    return reinterpret_cast<PyTypeObject*>(object.get());
}

PyRef instance_of(const PyRef& type) {
    return PyRef::steal(PyObject_CallNoArgs(type.get()));
}

// A static record that nobody has readied, and an object that claims to be of it.
PyTypeObject unready_type = {};

}  // namespace

using Markers = PyShellTest;

TEST_F(Markers, TheHostMarkerIsNoneOnAClassAndEllipsisOnAStructAsAnOrdinaryAttribute) {
    EXPECT_EQ(evaluate("T._zelmor_clr_host", {{"T", as_object(&test_class_type)}}).get(), Py_None);
    EXPECT_EQ(evaluate("T._zelmor_clr_host", {{"T", as_object(&test_struct_type)}}).get(), Py_Ellipsis);
    EXPECT_EQ(evaluate("T._zelmor_clr_castable_obj", {{"T", as_object(&test_struct_type)}}).get(), Py_None);
}

TEST_F(Markers, EachMarkerIsStoredUnderItsKey) {
    const PyRef type = plain_type();
    EXPECT_TRUE(fn_set_obj_type_host_markattr(as_type(type)));
    EXPECT_EQ(PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ZelmorClrHost), Py_None);
    EXPECT_TRUE(fn_set_stc_type_host_markattr(as_type(type)));
    EXPECT_EQ(PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ZelmorClrHost), Py_Ellipsis);
    EXPECT_TRUE(fn_set_castable_type_markattr(as_type(type), Py_Ellipsis));
    EXPECT_EQ(PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ZelmorClrCastableObj), Py_Ellipsis);
    EXPECT_TRUE(fn_set_external_ancestor_markattr(as_type(type), &test_class_type));
    EXPECT_EQ(PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ExternalAncestor), as_object(&test_class_type));
}

TEST_F(Markers, TheClassTestIsFalseForAStruct) {
    const PyRef thing = wrap(handle_of(1));
    const PyRef pair = wrap(handle_of(1), &test_struct_type);
    EXPECT_TRUE(fn_is_refobj_has_host_markattr(thing.get()));
    EXPECT_FALSE(fn_is_refobj_has_host_markattr(pair.get()));
}

TEST_F(Markers, TheInstanceTestTellsTheKind) {
    const PyRef thing = wrap(handle_of(1));
    const PyRef pair = wrap(handle_of(1), &test_struct_type);
    int kind = 7;
    EXPECT_TRUE(fn_is_instance_has_host_markattr(thing.get(), &kind));
    EXPECT_EQ(kind, 0);
    EXPECT_TRUE(fn_is_instance_has_host_markattr(pair.get(), &kind));
    EXPECT_EQ(kind, 1);
    kind = 7;
    EXPECT_FALSE(fn_is_instance_has_host_markattr(Py_True, &kind));
    EXPECT_EQ(kind, 7);
}

TEST_F(Markers, ASiblingsWrapperHasTheMarkerAndIsNoneOfThisModule) {
    const PyRef pen = wrap(handle_of(1), &test_sibling_type);
    int kind = 7;
    EXPECT_TRUE(fn_is_refobj_has_host_markattr(pen.get()));
    EXPECT_FALSE(fn_is_this_module_clr_object(pen.get()));
    EXPECT_FALSE(fn_is_this_module_clr_instance(pen.get(), &kind));
    EXPECT_EQ(kind, 7);
}

TEST_F(Markers, WrappersOfThisModuleAreKnownByTheirDeallocator) {
    const PyRef thing = wrap(handle_of(1));
    const PyRef pair = wrap(handle_of(1), &test_struct_type);
    int kind = 7;
    EXPECT_TRUE(fn_is_this_module_clr_object(thing.get()));
    EXPECT_FALSE(fn_is_this_module_clr_object(pair.get()));
    EXPECT_TRUE(fn_is_this_module_clr_instance(thing.get(), &kind));
    EXPECT_EQ(kind, 0);
    EXPECT_TRUE(fn_is_this_module_clr_instance(pair.get(), &kind));
    EXPECT_EQ(kind, 1);
}

TEST_F(Markers, AForeignObjectGivesFalseEverywhereAndLeavesNoError) {
    const PyRef object = instance_of(plain_type());
    int kind = 7;
    EXPECT_FALSE(fn_is_refobj_has_host_markattr(object.get()));
    EXPECT_FALSE(fn_is_instance_has_host_markattr(object.get(), &kind));
    EXPECT_FALSE(fn_contains_additional_ifc_markattr(object.get(), &test_interface_type));
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(Py_TYPE(object.get()), &test_interface_type));
    EXPECT_FALSE(fn_has_external_ancestor_markattr(object.get(), &test_class_type));
    EXPECT_FALSE(fn_is_this_module_clr_object(object.get()));
    EXPECT_FALSE(fn_is_this_module_clr_instance(object.get(), &kind));
    EXPECT_EQ(kind, 7);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(Markers, AnotherValueThanTheTwoIsNoMarker) {
    const PyRef type = plain_type();
    PyDict_SetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ZelmorClrHost, Py_True);
    const PyRef object = instance_of(type);
    int kind = 7;
    EXPECT_FALSE(fn_is_refobj_has_host_markattr(object.get()));
    EXPECT_FALSE(fn_is_instance_has_host_markattr(object.get(), &kind));
}

TEST_F(Markers, AMarkerOnABaseSaysNothingAboutADerivedType) {
    const PyRef base = plain_type();
    ASSERT_TRUE(fn_set_obj_type_host_markattr(as_type(base)));
    const PyRef object = evaluate("type('Derived', (Base,), {})()", {{"Base", base.get()}});
    ASSERT_TRUE(object);
    EXPECT_FALSE(fn_is_refobj_has_host_markattr(object.get()));
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(&test_derived_type, &test_interface_type));
}

TEST_F(Markers, ATypeThatIsNotReadyGivesFalse) {
    PyObject object = {};
    Py_SET_REFCNT(&object, 1);
    Py_SET_TYPE(&object, &unready_type);
    int kind = 7;
    EXPECT_FALSE(fn_is_refobj_has_host_markattr(&object));
    EXPECT_FALSE(fn_is_instance_has_host_markattr(&object, &kind));
    EXPECT_FALSE(fn_contains_additional_ifc_markattr(&object, &test_interface_type));
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(&unready_type, &test_interface_type));
    EXPECT_FALSE(fn_has_external_ancestor_markattr(&object, &test_class_type));
}

TEST_F(Markers, InterfaceSetsHoldTheGivenTypes) {
    const PyRef type = plain_type();
    EXPECT_TRUE(fn_set_additional_ifcs_markattr(as_type(type), 2, &test_interface_type, &test_class_type));
    EXPECT_TRUE(fn_set_implicit_ifcs_markattr(as_type(type), 1, &test_interface_type));
    PyObject* additional = PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_AdditionalInterfaces);
    PyObject* implicit = PyDict_GetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ImplicitInterfaces);
    EXPECT_TRUE(PySet_CheckExact(additional));
    EXPECT_EQ(PySet_Size(additional), 2);
    EXPECT_EQ(PySet_Size(implicit), 1);
    EXPECT_EQ(Py_REFCNT(additional), 1);

    const PyRef object = instance_of(type);
    EXPECT_TRUE(fn_contains_additional_ifc_markattr(object.get(), &test_interface_type));
    EXPECT_TRUE(fn_contains_additional_ifc_markattr(object.get(), &test_class_type));
    EXPECT_FALSE(fn_contains_additional_ifc_markattr(object.get(), &test_struct_type));
    EXPECT_TRUE(fn_contains_implicit_ifc_markattr(as_type(type), &test_interface_type));
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(as_type(type), &test_class_type));
}

TEST_F(Markers, ATypeWithoutInterfaceSetsHoldsNone) {
    const PyRef thing = wrap(handle_of(1));
    EXPECT_FALSE(fn_contains_additional_ifc_markattr(thing.get(), &test_interface_type));
}

TEST_F(Markers, AnEntryThatIsNoSetHoldsNoInterface) {
    const PyRef type = plain_type();
    const PyRef listed = PyRef::steal(Py_BuildValue("[O]", &test_interface_type));
    PyDict_SetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ImplicitInterfaces, listed.get());
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(as_type(type), &test_interface_type));
    const PyRef frozen = PyRef::steal(PyFrozenSet_New(listed.get()));
    PyDict_SetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ImplicitInterfaces, frozen.get());
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(as_type(type), &test_interface_type));
}

TEST_F(Markers, ASetSubclassIsASet) {
    const PyRef type = plain_type();
    const PyRef set = evaluate("type('Set', (set,), {})([T])", {{"T", as_object(&test_interface_type)}});
    PyDict_SetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_ImplicitInterfaces, set.get());
    EXPECT_TRUE(fn_contains_implicit_ifc_markattr(as_type(type), &test_interface_type));
}

TEST_F(Markers, ASetInWhichTheLookupRaisesCountsAsNotHoldingTheInterface) {
    // An element that has the hash of the interface type and refuses to be compared.
    const PyRef names =
        run("def make(ifc):\n"
            "    class Raising:\n"
            "        def __hash__(self):\n"
            "            return hash(ifc)\n"
            "        def __eq__(self, other):\n"
            "            raise ValueError('compared')\n"
            "    return {Raising()}\n");
    ASSERT_TRUE(names);
    const PyRef set =
        PyRef::steal(PyObject_CallOneArg(PyDict_GetItemString(names.get(), "make"), as_object(&test_interface_type)));
    ASSERT_TRUE(set);
    ASSERT_EQ(PySet_Contains(set.get(), as_object(&test_interface_type)), -1);
    PyErr_Clear();

    const PyRef type = plain_type();
    PyDict_SetItem(as_type(type)->tp_dict, PyWrpIdMarkattr_AdditionalInterfaces, set.get());
    EXPECT_FALSE(fn_contains_additional_ifc_markattr(instance_of(type).get(), &test_interface_type));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(Markers, TheExternalAncestorIsComparedByIdentity) {
    const PyRef type = plain_type();
    ASSERT_TRUE(fn_set_external_ancestor_markattr(as_type(type), &test_class_type));
    const PyRef object = instance_of(type);
    EXPECT_TRUE(fn_has_external_ancestor_markattr(object.get(), &test_class_type));
    EXPECT_FALSE(fn_has_external_ancestor_markattr(object.get(), &test_derived_type));
}
