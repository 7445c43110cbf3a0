// Codes and references of typed element access, which a test in Python cannot see beside the error that is raised.
#include "collections/typed_callbacks.h"

#include "bridge_test.h"

using zelmor::PyRef;

namespace {

class TypedCallbacks : public BridgeTest {};

PyRef list_of(std::initializer_list<PyObject*> items) {
    PyRef list = PyRef::steal(PyList_New(0));
    for (PyObject* item : items) {
        PyList_Append(list.get(), item);
    }
    return list;
}

TEST_F(TypedCallbacks, AnElementOfAListIsDeliveredAndStaysTheLists) {
    const PyRef number = PyRef::steal(PyLong_FromLong(100000));
    const PyRef list = list_of({number.get()});
    const Py_ssize_t before = Py_REFCNT(number.get());
    int out = 0;
    EXPECT_EQ(zelmor::list_get_item<zelmor::Int32Element>(list.get(), 0, &out), 0);
    EXPECT_EQ(out, 100000);
    EXPECT_EQ(Py_REFCNT(number.get()), before);
}

TEST_F(TypedCallbacks, AnIndexOutOfRangeHasACodeOfItsOwn) {
    const PyRef list = list_of({});
    const PyRef tuple = PyRef::steal(PyTuple_New(0));
    int out = 0;
    PyObject* owner = nullptr;
    for (const int index : {-1, 0, 5}) {
        EXPECT_EQ(zelmor::list_get_item<zelmor::Int32Element>(list.get(), index, &out), -2);
        EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_IndexError));
        PyErr_Clear();
    }
    EXPECT_EQ(zelmor::sequence_get_item<zelmor::Int32Element>(tuple.get(), 0, &owner, &out), -2);
    EXPECT_EQ(owner, nullptr);
    PyErr_Clear();
}

TEST_F(TypedCallbacks, AnElementThatDoesNotConvertFailsAndIsReleased) {
    const PyRef text = PyRef::steal(PyUnicode_FromString("text of its own"));
    const PyRef list = list_of({text.get()});
    const PyRef tuple = PyRef::steal(PyList_AsTuple(list.get()));
    const Py_ssize_t before = Py_REFCNT(text.get());
    int out = 7;
    PyObject* owner = nullptr;
    EXPECT_EQ(zelmor::list_get_item<zelmor::Int32Element>(list.get(), 0, &out), -1);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'str'");
    EXPECT_EQ(zelmor::sequence_get_item<zelmor::Int32Element>(tuple.get(), 0, &owner, &out), -1);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'str'");
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(Py_REFCNT(text.get()), before);
    EXPECT_EQ(out, 7);
}

TEST_F(TypedCallbacks, AnElementOfASequenceComesWithAReference) {
    const PyRef text = PyRef::steal(PyUnicode_FromString("text of its own"));
    const PyRef tuple = PyRef::steal(PyTuple_Pack(1, text.get()));
    const Py_ssize_t before = Py_REFCNT(text.get());
    zelmor::StringElement::Slot out;
    PyObject* owner = nullptr;
    EXPECT_EQ(zelmor::sequence_get_item<zelmor::StringElement>(tuple.get(), 0, &owner, &out), 0);
    EXPECT_EQ(owner, text.get());
    EXPECT_EQ(out.length, 15);
    EXPECT_EQ(Py_REFCNT(text.get()), before + 1);
    Py_DECREF(owner);
}

TEST_F(TypedCallbacks, ARefusedElementLeavesNoBufferAcquired) {
    const PyRef bytes = PyRef::steal(PyByteArray_FromStringAndSize("abc", 3));
    const PyRef list = list_of({bytes.get(), Py_None, Py_True});
    PyBytesArg out = {0, -1, nullptr};
    Py_buffer view = {};
    EXPECT_EQ(zelmor::list_get_bytes(list.get(), 0, &out, &view), 0);
    EXPECT_EQ(out.length, 3);
    EXPECT_EQ(out.acquired, 1);
    PyBuffer_Release(&view);
    out = {0, 5, nullptr};
    EXPECT_EQ(zelmor::list_get_bytes(list.get(), 1, &out, &view), 0);
    EXPECT_EQ(out.length, -1);
    EXPECT_EQ(zelmor::list_get_bytes(list.get(), 2, &out, &view), -1);
    expect_error(PyExc_TypeError, "can't build byte[] from 'bool'");
    EXPECT_EQ(out.acquired, 0);
    EXPECT_EQ(zelmor::list_get_bytes(list.get(), 3, &out, &view), -2);
    PyErr_Clear();
}

// An element whose conversion empties the list, puts another in its place, or moves it.
template <int (*Change)(PyObject* list)>
struct ChangingElement {
    using Slot = PyObject*;
    static inline PyObject* list = nullptr;
    static bool read(PyObject* value, Slot& slot) {
        slot = value;
        return Change(list) == 0 && Py_REFCNT(value) > 0;
    }
};

int empty_list(PyObject* list) {
    return PyList_SetSlice(list, 0, PyList_Size(list), nullptr);
}
int replace_first(PyObject* list) {
    return PyList_SetItem(list, 0, Py_NewRef(Py_None));
}
int move_first(PyObject* list) {
    return PyList_Insert(list, 0, Py_None);
}

template <int (*Change)(PyObject* list)>
int read_changing(PyObject* list) {
    ChangingElement<Change>::list = list;
    PyObject* out = nullptr;
    return zelmor::list_get_item<ChangingElement<Change>>(list, 0, &out);
}

TEST_F(TypedCallbacks, AnElementIsHeldWhileItIsConvertedAndHasToBeTheListsAfterwards) {
    const auto list = [] { return list_of({PyRef::steal(PyFloat_FromDouble(1.5)).get()}); };
    EXPECT_EQ(read_changing<empty_list>(list().get()), -1);
    expect_error(PyExc_RuntimeError, "the list lost the element while it was read");
    EXPECT_EQ(read_changing<replace_first>(list().get()), -1);
    expect_error(PyExc_RuntimeError, "the list lost the element while it was read");
    EXPECT_EQ(read_changing<move_first>(list().get()), 0);
}

// A classification can leave an error pending with the tag that it settled on: that is a failure too.
TEST_F(TypedCallbacks, AVariantElementIsReadAsAVariant) {
    const PyRef list = list_of({Py_True, Py_None});
    VariantArg out = {};
    EXPECT_EQ(zelmor::list_get_item<zelmor::VariantElement>(list.get(), 0, &out), 0);
    EXPECT_EQ(out.tag, 5);
    EXPECT_EQ(out.value, Py_True);
    EXPECT_EQ(zelmor::list_get_item<zelmor::VariantElement>(list.get(), 1, &out), 0);
    EXPECT_EQ(out.tag, 0);
}

}  // namespace
