// The internal modules, what they hold, and what the interop types are marked with.
#include <algorithm>

#include "collections/interop.h"
#include "interop_runtime.h"
#include "pyshell/markers.h"

using zelmor::PyRef;

namespace {

class InteropModules : public InteropTest {
 protected:
    static PyRef root() { return PyRef::borrow(PyDict_GetItemString(PyImport_GetModuleDict(), "zelmor_test_root")); }
    static std::string at_root(const char* expression) {
        const PyRef value = evaluate(expression, {{"root", root().get()}});
        const PyRef text = value ? PyRef::steal(PyObject_Str(value.get())) : PyRef();
        return value ? text_of(text.get()) : "<raised>";
    }
};

struct Expected {
    PyTypeObject* type;
    const char* name;
    std::vector<PyTypeObject*> interfaces;
};

const std::vector<Expected>& all_types() {
    static PyTypeObject* const iterable = &wrpPye_tyds_FFFFFFFF_IterableWrapper;
    static PyTypeObject* const collection = &wrpPye_tyds_FFFFFFFF_IColWrapper;
    static PyTypeObject* const list = &wrpPye_tyds_FFFFFFFF_IListWrapper;
    static const std::vector<Expected> types = {
        {&wrpPye_tyds_FFFFFFFF_IDisposableWrapper, "_IDisposableWrapper", {}},
        {&wrpPye_tyds_FFFFFFFF_IterWrapper, "_IterWrapper", {}},
        {&wrpPye_tyds_FFFFFFFF_IterableWrapper, "_IterableWrapper", {}},
        {&wrpPye_tyds_FFFFFFFF_IColWrapper, "_IColWrapper", {iterable}},
        {&wrpPye_tyds_FFFFFFFF_IListWrapper, "_IListWrapper", {iterable, collection}},
        {&wrpPye_tyds_FFFFFFFF_RoColBaseWrapper, "_RoColBaseWrapper", {iterable, collection}},
        {&wrpPye_tyds_FFFFFFFF_ColBaseWrapper, "_ColBaseWrapper", {iterable, collection, list}},
        {&wrpPye_tyds_FFFFFFFF_ArrayWrapper, "_ArrayWrapper", {iterable, collection, list}},
        {&wrpPye_tyds_FFFFFFFF_ArrListWrapper, "_ArrListWrapper", {iterable, collection, list}},
        {&wrpPye_tyds_FFFFFFFF_StreamWrapper, "_StreamWrapper", {&wrpPye_tyds_FFFFFFFF_IDisposableWrapper}},
    };
    return types;
}

TEST_F(InteropModules, TheTreeHasItsTwoChildren) {
    EXPECT_EQ(at_root("root._wrpgen.__name__"), "zelmor.imaging._wrpgen");
    EXPECT_EQ(at_root("root._wrpgen._interop.__name__"), "zelmor.imaging._wrpgen._interop");
    EXPECT_EQ(at_root("root._wrpgen._generic.__name__"), "zelmor.imaging._wrpgen._generic");
    EXPECT_EQ(at_root("[n for n in vars(root._wrpgen._generic) if not n.startswith('__')]"), "[]");
    EXPECT_EQ(at_root("'zelmor.imaging._wrpgen' in __import__('sys').modules"), "False");
}

TEST_F(InteropModules, TheTypesAreAddedInTheirOrder) {
    EXPECT_EQ(at_root("[n for n in vars(root._wrpgen._interop) if not n.startswith('__')]"),
              "['_IDisposableWrapper', '_IterWrapper', '_IterableWrapper', '_IColWrapper', '_IListWrapper', "
              "'_RoColBaseWrapper', '_ColBaseWrapper', '_ArrayWrapper', '_ArrListWrapper', '_ShlBufferView', "
              "'_StreamWrapper']");
}

TEST_F(InteropModules, EachTypeCarriesTheModulesNameAndNoBase) {
    for (const Expected& expected : all_types()) {
        EXPECT_EQ(std::string(expected.type->tp_name), std::string("zelmor.imaging._wrpgen._interop.") + expected.name);
        EXPECT_EQ(expected.type->tp_base, &PyBaseObject_Type) << expected.name;
        EXPECT_EQ(outcome("T.__module__", expected.type), "'zelmor.imaging._wrpgen._interop'");
        EXPECT_EQ(outcome("type('Own', (T,), {})", expected.type),
                  std::string("TypeError: type '") + expected.type->tp_name + "' is not an acceptable base type");
    }
}

TEST_F(InteropModules, EachTypeIsMarkedAsAClassWrapperWithItsInterfaces) {
    for (const Expected& expected : all_types()) {
        EXPECT_EQ(outcome("T._zelmor_clr_host", expected.type), "None") << expected.name;
        EXPECT_EQ(outcome("T._zelmor_clr_castable_obj", expected.type), "None") << expected.name;
        const PyRef instance = wrap(pointer(1), expected.type);
        EXPECT_TRUE(fn_is_this_module_clr_object(instance.get())) << expected.name;
        for (const Expected& other : all_types()) {
            const bool listed = std::find(expected.interfaces.begin(), expected.interfaces.end(), other.type) !=
                                expected.interfaces.end();
            EXPECT_EQ(fn_contains_additional_ifc_markattr(instance.get(), other.type), listed)
                << expected.name << ", " << other.name;
            EXPECT_EQ(fn_contains_implicit_ifc_markattr(expected.type, other.type), listed)
                << expected.name << ", " << other.name;
        }
    }
}

TEST_F(InteropModules, ATypeWithoutInterfacesHasNoSets) {
    EXPECT_EQ(outcome("hasattr(T, '_additional_interfaces')", &wrpPye_tyds_FFFFFFFF_IterWrapper), "False");
    EXPECT_EQ(outcome("hasattr(T, '_implicit_interfaces')", &wrpPye_tyds_FFFFFFFF_IterWrapper), "False");
}

TEST_F(InteropModules, TheBufferViewIsNoWrapper) {
    EXPECT_EQ(outcome("hasattr(T, '_zelmor_clr_host')", &wrpPye_tyds_FFFFFFFF_ShlBufferView), "False");
}

TEST_F(InteropModules, NoTypeHasAConstructor) {
    for (const Expected& expected : all_types()) {
        EXPECT_EQ(outcome("T()", expected.type), "TypeError: type has no available constructor") << expected.name;
    }
    EXPECT_TRUE(runtime.calls.empty());
}

TEST_F(InteropModules, AWrapperIsTwentyFourBytesAndAStreamThirtyTwo) {
    for (const Expected& expected : all_types()) {
        const bool is_stream = expected.type == &wrpPye_tyds_FFFFFFFF_StreamWrapper;
        EXPECT_EQ(expected.type->tp_basicsize, is_stream ? 32 : 24) << expected.name;
    }
}

}  // namespace
