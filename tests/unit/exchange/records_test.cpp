// The scoped holders give back what they hold, once, on every way out.
#include "exchange/records.h"

#include "bridge_test.h"

using zelmor::PyRef;

namespace {

class Records : public BridgeTest {};

TEST_F(Records, ABytesBuilderStartsWithANullArray) {
    PyBytesArgBuilder builder;
    EXPECT_EQ(builder.get_info()->acquired, 0);
    EXPECT_EQ(builder.get_info()->length, -1);
    EXPECT_EQ(builder.get_info()->data, nullptr);
    EXPECT_EQ(reinterpret_cast<char*>(builder.get_info()) - reinterpret_cast<char*>(&builder), 80);
    EXPECT_EQ(static_cast<void*>(builder.get_view()), static_cast<void*>(&builder));
}

TEST_F(Records, ABytesBuilderReleasesAnAcquiredBuffer) {
    const PyRef exporter = PyRef::steal(PyByteArray_FromStringAndSize("abc", 3));
    {
        PyBytesArgBuilder builder;
        ASSERT_EQ(PyObject_GetBuffer(exporter.get(), builder.get_view(), PyBUF_SIMPLE), 0);
        builder.get_info()->acquired = 1;
        EXPECT_EQ(PyByteArray_Resize(exporter.get(), 5), -1);
        expect_error_of(PyExc_BufferError);
    }
    EXPECT_EQ(PyByteArray_Resize(exporter.get(), 5), 0);
}

TEST_F(Records, ABytesBuilderLeavesAloneWhatItDidNotAcquire) {
    const PyRef exporter = PyRef::steal(PyByteArray_FromStringAndSize("abc", 3));
    Py_buffer kept;
    {
        PyBytesArgBuilder builder;
        ASSERT_EQ(PyObject_GetBuffer(exporter.get(), builder.get_view(), PyBUF_SIMPLE), 0);
        kept = *builder.get_view();
    }
    EXPECT_EQ(PyByteArray_Resize(exporter.get(), 5), -1);
    expect_error_of(PyExc_BufferError);
    PyBuffer_Release(&kept);
}

TEST_F(Records, AResetBytesBuilderIsEmptyAndHasReleasedItsBuffer) {
    const PyRef exporter = PyRef::steal(PyByteArray_FromStringAndSize("abc", 3));
    PyBytesArgBuilder builder;
    ASSERT_EQ(PyObject_GetBuffer(exporter.get(), builder.get_view(), PyBUF_SIMPLE), 0);
    *builder.get_info() = {1, 3, builder.get_view()->buf};
    builder.reset();
    EXPECT_EQ(PyByteArray_Resize(exporter.get(), 5), 0);
    EXPECT_EQ(builder.get_info()->acquired, 0);
    EXPECT_EQ(builder.get_info()->length, -1);
    EXPECT_EQ(builder.get_info()->data, nullptr);
}

TEST_F(Records, APathBuilderStartsZeroedAndReleasesItsOwner) {
    const PyRef owner = PyRef::steal(PyUnicode_FromString("a temporary path"));
    const RefCountWatch count(owner.get());
    {
        PyEphStrArgBuilder builder;
        EXPECT_EQ(builder.get_info()->text.length, 0);
        EXPECT_EQ(builder.get_info()->text.char_size, 0);
        EXPECT_EQ(builder.get_info()->text.data, nullptr);
        EXPECT_EQ(builder.get_info()->owner, nullptr);
        builder.get_info()->owner = Py_NewRef(owner.get());
        EXPECT_EQ(count.change(), 1);
        builder.reset();
        EXPECT_EQ(count.change(), 0);
        EXPECT_EQ(builder.get_info()->owner, nullptr);
        builder.get_info()->owner = Py_NewRef(owner.get());
    }
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Records, AnInterimBuilderReleasesItsSecondWord) {
    const PyRef owner = PyRef::steal(PyUnicode_FromString("a temporary value"));
    const RefCountWatch count(owner.get());
    {
        PyInterimArgBuilder builder;
        EXPECT_EQ(builder.value(), nullptr);
        EXPECT_EQ(builder.owner(), nullptr);
        builder.value() = owner.get();
        builder.owner() = Py_NewRef(owner.get());
    }
    EXPECT_EQ(count.change(), 0);
}

// Fills both slots, hands over `handed_over` of them, and answers what the two references have changed by.
std::pair<Py_ssize_t, Py_ssize_t> release_after(int handed_over) {
    const PyRef first = PyRef::steal(PyUnicode_FromString("first out value"));
    const PyRef second = PyRef::steal(PyUnicode_FromString("second out value"));
    const RefCountWatch first_count(first.get());
    const RefCountWatch second_count(second.get());
    {
        PyTrPyObjStack<2> stack;
        EXPECT_EQ(stack[0], nullptr);
        EXPECT_EQ(stack[1], nullptr);
        stack[0] = Py_NewRef(first.get());
        stack[1] = Py_NewRef(second.get());
        EXPECT_EQ(stack.get_buffer()[1], second.get());
        for (int i = 0; i < handed_over; ++i) {
            ++stack;
        }
    }
    const std::pair left{first_count.change(), second_count.change()};
    for (Py_ssize_t i = 0; i < left.first; ++i) {
        Py_DECREF(first.get());
    }
    for (Py_ssize_t i = 0; i < left.second; ++i) {
        Py_DECREF(second.get());
    }
    return left;
}

TEST_F(Records, ATransferStackDropsWhatWasNotHandedOver) {
    EXPECT_EQ(release_after(0), std::pair(Py_ssize_t{0}, Py_ssize_t{0}));
    EXPECT_EQ(release_after(1), std::pair(Py_ssize_t{1}, Py_ssize_t{0}));
}

TEST_F(Records, ATransferStackDropsNothingOnceAllIsHandedOver) {
    EXPECT_EQ(release_after(2), std::pair(Py_ssize_t{1}, Py_ssize_t{1}));
    EXPECT_EQ(release_after(3), std::pair(Py_ssize_t{1}, Py_ssize_t{1}));
}

TEST_F(Records, ATransferStackWithEmptySlotsIsHarmless) {
    PyTrPyObjStack<2> stack;
    EXPECT_EQ(stack[0], nullptr);
}

}  // namespace
