// The steps of building a module tree, and the codes they report.
#include "pyshell/modules.h"

#include "fixture.h"
#include "pyshell/identifiers.h"

using zelmor::PyRef;

namespace {

PyMethodDef no_functions[] = {{nullptr, nullptr, 0, nullptr}};
PyModuleDef parent_definition = {
    PyModuleDef_HEAD_INIT, "made.parent", nullptr, -1, no_functions, nullptr, nullptr, nullptr, nullptr};
PyModuleDef child_definition = {
    PyModuleDef_HEAD_INIT, "made.parent.child", nullptr, -1, no_functions, nullptr, nullptr, nullptr, nullptr};

PyTypeObject blank_record(const char* name) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(PyObject);
    return type;
}

class Modules : public PyShellTest {
 protected:
    PyRef parent = PyRef::steal(zelmor::create_module(&parent_definition));
};

}  // namespace

TEST_F(Modules, AreMadeUnderTheirDottedName) {
    ASSERT_TRUE(parent);
    EXPECT_STREQ(PyModule_GetName(parent.get()), "made.parent");
    EXPECT_EQ(Py_REFCNT(parent.get()), 1);
}

TEST_F(Modules, AChildIsAnAttributeOfItsParentAndOfNothingElse) {
    PyObject* child = zelmor::create_module(&child_definition);
    EXPECT_EQ(zelmor::add_child_module(parent.get(), "child", child), 0);
    EXPECT_EQ(PyRef::steal(PyObject_GetAttrString(parent.get(), "child")).get(), child);
    EXPECT_EQ(Py_REFCNT(child), 1);
    EXPECT_EQ(PyDict_GetItemString(PyImport_GetModuleDict(), "made.parent.child"), nullptr);
}

TEST_F(Modules, AChildThatFailedPassesOnWithoutAFurtherReport) {
    PyErr_SetString(PyExc_ImportError, "innermost");
    EXPECT_EQ(zelmor::add_child_module(parent.get(), "child", nullptr), -1);
    const PyRef error = expect_error(PyExc_ImportError, "innermost");
    EXPECT_FALSE(PyRef::steal(PyException_GetCause(error.get())));
}

TEST_F(Modules, ATypeIsReadiedAndAdded) {
    static PyTypeObject type = blank_record("made.parent.Readied");
    ASSERT_EQ(type.tp_dict, nullptr);
    EXPECT_EQ(PyShModule_AddType(parent.get(), &type, "Readied"), 0);
    EXPECT_NE(type.tp_dict, nullptr);
    EXPECT_EQ(PyRef::steal(PyObject_GetAttrString(parent.get(), "Readied")).get(), as_object(&type));
}

TEST_F(Modules, AddingATypeTakesAReferenceOfItsOwn) {
    const Py_ssize_t references = Py_REFCNT(&test_class_type);
    EXPECT_EQ(PyShModule_AddType(parent.get(), &test_class_type, "Thing"), 0);
    EXPECT_EQ(Py_REFCNT(&test_class_type), references + 1);
    parent = PyRef();
    EXPECT_EQ(Py_REFCNT(&test_class_type), references);
}

TEST_F(Modules, ATypeThatCannotBeReadiedIsReportedByItsName) {
    static PyTypeObject broken = blank_record("made.parent.Broken");
    // `object` before a class derived from it leaves no resolution order.
    broken.tp_bases = PyTuple_Pack(2, &PyBaseObject_Type, &PyLong_Type);
    EXPECT_EQ(PyShModule_AddType(parent.get(), &broken, "Broken"), -1);
    const PyRef error =
        expect_error(PyExc_ImportError, "Type initialization internal error (-1015) <made.parent.Broken>");
    EXPECT_TRUE(PyRef::steal(PyException_GetCause(error.get())));
}

TEST_F(Modules, AnEnumerationThatFailedIsReportedByItsDottedName) {
    PyErr_SetString(PyExc_ValueError, "no member");
    EXPECT_EQ(zelmor::add_enum_type(parent.get(), "Kind", "made.parent.Kind", nullptr), -1);
    const PyRef error =
        expect_error(PyExc_ImportError, "Type initialization internal error (-1013) <made.parent.Kind>");
    EXPECT_EQ(text_of(PyRef::steal(PyException_GetCause(error.get())).get()), "no member");
}

TEST_F(Modules, AnEnumerationIsTakenOver) {
    const PyRef enumeration = evaluate("__import__('enum').IntEnum('Kind', [('A', 1)])");
    const Py_ssize_t references = Py_REFCNT(enumeration.get());
    EXPECT_EQ(zelmor::add_enum_type(parent.get(), "Kind", "made.parent.Kind", Py_NewRef(enumeration.get())), 0);
    EXPECT_EQ(Py_REFCNT(enumeration.get()), references + 1);
}

TEST_F(Modules, MarkersAreSetByTheKindOfWrapper) {
    static PyTypeObject plain = blank_record("made.parent.Plain");
    static PyTypeObject implementing = blank_record("made.parent.Implementing");
    PyTypeObject* const listed[] = {&test_interface_type, &test_class_type};
    ASSERT_EQ(zelmor::ready_type(&plain), 0);
    ASSERT_EQ(zelmor::ready_type(&implementing), 0);
    EXPECT_EQ(zelmor::mark_wrapper_type(&plain, zelmor::WrapperKind::kStruct), 0);
    EXPECT_EQ(zelmor::mark_wrapper_type(&implementing, zelmor::WrapperKind::kClass, listed), 0);

    EXPECT_EQ(PyDict_GetItem(plain.tp_dict, PyWrpIdMarkattr_ZelmorClrHost), Py_Ellipsis);
    EXPECT_EQ(PyDict_GetItem(plain.tp_dict, PyWrpIdMarkattr_ZelmorClrCastableObj), Py_None);
    EXPECT_EQ(PyDict_GetItem(plain.tp_dict, PyWrpIdMarkattr_AdditionalInterfaces), nullptr);
    EXPECT_EQ(PyDict_GetItem(implementing.tp_dict, PyWrpIdMarkattr_ZelmorClrHost), Py_None);
    PyObject* additional = PyDict_GetItem(implementing.tp_dict, PyWrpIdMarkattr_AdditionalInterfaces);
    PyObject* implicit = PyDict_GetItem(implementing.tp_dict, PyWrpIdMarkattr_ImplicitInterfaces);
    EXPECT_NE(additional, implicit);
    EXPECT_EQ(PyObject_RichCompareBool(additional, implicit, Py_EQ), 1);
    EXPECT_EQ(PySet_Size(additional), 2);
}

TEST_F(Modules, AStaticMemberIsTakenOver) {
    static PyTypeObject type = blank_record("made.parent.WithMember");
    ASSERT_EQ(zelmor::ready_type(&type), 0);
    const PyRef value = PyRef::steal(PyList_New(0));
    EXPECT_EQ(zelmor::store_static_member(&type, "member", Py_NewRef(value.get())), 0);
    EXPECT_EQ(Py_REFCNT(value.get()), 2);
    EXPECT_EQ(PyDict_GetItemString(type.tp_dict, "member"), value.get());
}

TEST_F(Modules, AStaticMemberThatCouldNotBeMadePassesOn) {
    PyErr_SetString(PyExc_MemoryError, "exhausted");
    EXPECT_EQ(zelmor::store_static_member(&test_class_type, "member", nullptr), -1);
    expect_error(PyExc_MemoryError, "exhausted");
}
