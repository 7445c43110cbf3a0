// What happens when memory runs out: handles are given back, codes are reported on top of the MemoryError.
#include "exhausted_memory.h"

#include "fixture.h"
#include "pyshell/descriptors.h"
#include "pyshell/identifiers.h"
#include "pyshell/markers.h"
#include "pyshell/module_version.h"
#include "pyshell/modules.h"
#include "pyshell/result_typing.h"
#include "pyshell/types_map.h"

using zelmor::PyRef;

namespace {

using Handles = std::vector<void*>;

// Runs `action` with its first allocation failing.
template <class Action>
auto without_memory(Action action) {
    ExhaustedMemory memory;
    auto result = action();
    EXPECT_TRUE(memory.has_failed());
    return result;
}

void expect_memory_error() {
    const PyRef error = take_error();
    ASSERT_TRUE(error);
    EXPECT_TRUE(PyErr_GivenExceptionMatches(error.get(), PyExc_MemoryError));
}

// An ImportError with that message, and the MemoryError as its cause.
void expect_report(const std::string& message) {
    const PyRef error = expect_error(PyExc_ImportError, message);
    const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
    ASSERT_TRUE(cause);
    EXPECT_TRUE(PyErr_GivenExceptionMatches(cause.get(), PyExc_MemoryError));
}

PyModuleDef parent_definition = {
    PyModuleDef_HEAD_INIT, "made.parent", nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};
PyModuleDef child_definition = {
    PyModuleDef_HEAD_INIT, "made.parent.child", nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};
PyMethodDef static_ml = {"make", [](PyObject*, PyObject*) { return Py_NewRef(Py_None); }, METH_O | METH_STATIC,
                         nullptr};
PyGetSetDef field_def = {"empty", [](PyObject*, void*) { return Py_NewRef(Py_None); }, nullptr, nullptr, nullptr};

using MemoryRunsOut = PyShellTest;

}  // namespace

TEST_F(MemoryRunsOut, AResultThatCannotBeWrappedGivesItsHandleBack) {
    EXPECT_EQ(without_memory([] { return fn_conv_clr_clsobj_to_py_clsobj(handle_of(5), &test_class_type); }), nullptr);
    expect_memory_error();
    EXPECT_EQ(without_memory([] { return fn_conv_clr_clsobj_to_py_clsobj(handle_of(6), &test_struct_type); }), nullptr);
    expect_memory_error();
    // A struct's handle too goes back as an object's: the two are not told apart here.
    EXPECT_EQ(managed.freed_objects, (Handles{handle_of(5), handle_of(6)}));
    EXPECT_TRUE(managed.freed_structs.empty());
}

TEST_F(MemoryRunsOut, TryWriteAnswersMinusOne) {
    PyWrpTypesMap::get_instance()->add(3001, &test_class_type);
    PyObject* out = nullptr;
    EXPECT_EQ(without_memory([&out] { return fn_try_write_py_tpo(handle_of(5), 3001, &out); }), -1);
    expect_memory_error();
    EXPECT_EQ(managed.freed_objects, Handles{handle_of(5)});
}

TEST_F(MemoryRunsOut, AModuleThatCannotBeMadeIsReported) {
    EXPECT_EQ(without_memory([] { return zelmor::create_module(&parent_definition); }), nullptr);
    expect_report("Module initialization internal error (-1003) <made.parent>");
}

TEST_F(MemoryRunsOut, AChildThatCannotBeAddedIsReportedWithBothNamesAndReleased) {
    const PyRef parent = PyRef::steal(zelmor::create_module(&parent_definition));
    const PyRef child = PyRef::steal(zelmor::create_module(&child_definition));
    Py_INCREF(child.get());
    EXPECT_EQ(without_memory([&] { return zelmor::add_child_module(parent.get(), "child", child.get()); }), -1);
    expect_report("Module initialization internal error (-1002) <made.parent,made.parent.child>");
    EXPECT_EQ(Py_REFCNT(child.get()), 1);
}

TEST_F(MemoryRunsOut, ATypeThatCannotBeAddedIsReportedWithBothNamesAndReleased) {
    const PyRef parent = PyRef::steal(zelmor::create_module(&parent_definition));
    const Py_ssize_t references = Py_REFCNT(&test_class_type);
    EXPECT_EQ(without_memory([&] { return PyShModule_AddType(parent.get(), &test_class_type, "Thing"); }), -1);
    expect_report("Type initialization internal error (-1014) <made.parent,zelmor.imaging.Thing>");
    EXPECT_EQ(Py_REFCNT(&test_class_type), references);
}

TEST_F(MemoryRunsOut, AnEnumerationThatCannotBeAddedIsReportedAndReleased) {
    const PyRef parent = PyRef::steal(zelmor::create_module(&parent_definition));
    const PyRef enumeration = evaluate("__import__('enum').IntEnum('Kind', [('A', 1)])");
    const Py_ssize_t references = Py_REFCNT(enumeration.get());
    Py_INCREF(enumeration.get());
    EXPECT_EQ(without_memory(
                  [&] { return zelmor::add_enum_type(parent.get(), "Kind", "made.parent.Kind", enumeration.get()); }),
              -1);
    expect_report("Type initialization internal error (-1014) <made.parent,made.parent.Kind>");
    EXPECT_EQ(Py_REFCNT(enumeration.get()), references);
}

TEST_F(MemoryRunsOut, AStaticMemberThatCannotBeStoredIsReportedAndReleased) {
    const PyRef value = PyRef::steal(PyList_New(0));
    Py_INCREF(value.get());
    EXPECT_EQ(without_memory([&] { return zelmor::store_static_member(&test_class_type, "member", value.get()); }), -1);
    expect_report("Type initialization internal error (-1020) <zelmor.imaging.Thing,member>");
    EXPECT_EQ(Py_REFCNT(value.get()), 1);
}

TEST_F(MemoryRunsOut, InterfaceSetsThatCannotBeMadeAreReported) {
    PyTypeObject* const listed[] = {&test_interface_type};
    EXPECT_EQ(without_memory(
                  [&] { return zelmor::mark_wrapper_type(&test_class_type, zelmor::WrapperKind::kClass, listed); }),
              -1);
    expect_report("Type initialization internal error (-1017) <zelmor.imaging.Thing>");
    EXPECT_FALSE(fn_contains_implicit_ifc_markattr(&test_class_type, &test_interface_type));
}

TEST_F(MemoryRunsOut, DescriptorsThatCannotBeMadeAreNull) {
    EXPECT_EQ(without_memory([] { return PyShCMethod_New(&test_class_type, &static_ml, nullptr); }), nullptr);
    expect_memory_error();
    EXPECT_EQ(without_memory([] { return PyShDescr_NewStaticField(&test_class_type, &field_def); }), nullptr);
    expect_memory_error();
    EXPECT_EQ(without_memory([] { return PyShDescr_NewInstanceMethod(&test_class_type, &static_ml); }), nullptr);
    expect_memory_error();
    EXPECT_EQ(without_memory([] { return PyShDescr_NewStaticMethod(&test_class_type, &static_ml); }), nullptr);
    expect_memory_error();
    EXPECT_EQ(without_memory([] { return PyShDescr_NewMixedMethod(&test_class_type, &static_ml, &static_ml); }),
              nullptr);
    expect_memory_error();
}

TEST_F(MemoryRunsOut, AVersionThatCannotBeMadeIsNull) {
    EXPECT_EQ(without_memory([] { return PyShVersionAttr_Create(1, 2, 3, 4, "1.2.3.4"); }), nullptr);
    expect_memory_error();
}
