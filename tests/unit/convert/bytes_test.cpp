// Byte data: buffers lent for the length of a call, managed arrays copied, foreign memory shown.
#include "convert/bytes.h"

#include <algorithm>
#include <cstring>

#include "bridge_test.h"
#include "convert/shl_buffer_view.h"

using zelmor::PyRef;

namespace {

class Bytes : public BridgeTest {};

TEST_F(Bytes, NoneIsANullArray) {
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(Py_None, &builder), 1);
    EXPECT_EQ(builder.get_info()->acquired, 0);
    EXPECT_EQ(builder.get_info()->length, -1);
}

TEST_F(Bytes, NoneIsANullArrayInARecordThatHeldAnother) {
    Py_buffer view{};
    PyBytesArg used{};
    used.length = 7;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes_value(Py_None, &view, &used), 1);
    EXPECT_EQ(used.length, -1);
}

TEST_F(Bytes, EmptyBytesAreAnEmptyArrayThatIsNotNull) {
    const PyRef empty = evaluate("b''");
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(empty.get(), &builder), 1);
    EXPECT_EQ(builder.get_info()->acquired, 1);
    EXPECT_EQ(builder.get_info()->length, 0);
    EXPECT_NE(builder.get_info()->data, nullptr);
}

TEST_F(Bytes, BytesAreLentAsTheyStand) {
    const PyRef data = evaluate("bytes([1, 0, 255])");
    const RefCountWatch count(data.get());
    {
        PyBytesArgBuilder builder;
        EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(data.get(), &builder), 1);
        EXPECT_EQ(builder.get_info()->length, 3);
        EXPECT_EQ(builder.get_info()->data, PyBytes_AS_STRING(data.get()));
        EXPECT_EQ(count.change(), 1);
    }
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Bytes, ABytearrayIsLockedWhileTheCallRuns) {
    const PyRef data = evaluate("bytearray(b'abc')");
    {
        PyBytesArgBuilder builder;
        ASSERT_EQ(fn_conv_py_bytes_to_clr_bytes(data.get(), &builder), 1);
        EXPECT_EQ(PyByteArray_Resize(data.get(), 10), -1);
        expect_error(PyExc_BufferError, "Existing exports of data: object cannot be re-sized");
    }
    EXPECT_EQ(PyByteArray_Resize(data.get(), 10), 0);
}

TEST_F(Bytes, TheLengthOfAnArrayIsInBytes) {
    const PyRef data = evaluate("__import__('array').array('i', [1, 2, 3])");
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(data.get(), &builder), 1);
    EXPECT_EQ(builder.get_info()->length, 12);
    const int expected[] = {1, 2, 3};
    EXPECT_EQ(std::memcmp(builder.get_info()->data, expected, sizeof expected), 0);
}

TEST_F(Bytes, AStringHasNoBytes) {
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(evaluate("'text'").get(), &builder), 0);
    expect_error(PyExc_TypeError, "can't build byte[] from 'str'");
    EXPECT_EQ(builder.get_info()->acquired, 0);
}

TEST_F(Bytes, AViewWithAStepIsNotContiguousAndIsReleased) {
    const PyRef names = run("data = bytearray(range(10))\nview = memoryview(data)[::2]\n");
    PyObject* view = entry_of(names, "view");
    {
        PyBytesArgBuilder builder;
        EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(view, &builder), 0);
        expect_error(PyExc_BufferError, "buffer is not contiguous");
        EXPECT_EQ(builder.get_info()->acquired, 1);
        EXPECT_EQ(builder.get_info()->length, -1);
        const PyRef refused = PyRef::steal(PyObject_CallMethod(view, "release", nullptr));
        EXPECT_FALSE(refused);
        expect_error(PyExc_BufferError, "memoryview has 1 exported buffer");
    }
    const PyRef released = PyRef::steal(PyObject_CallMethod(view, "release", nullptr));
    EXPECT_TRUE(released);
}

TEST_F(Bytes, BytesInSeveralDimensionsAreLentInRowOrder) {
    const PyRef names = run("view = memoryview(bytes(range(6))).cast('B', shape=[2, 3])\n");
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(entry_of(names, "view"), &builder), 1);
    ASSERT_EQ(builder.get_info()->length, 6);
    EXPECT_EQ(std::memcmp(builder.get_info()->data, "\0\1\2\3\4\5", 6), 0);
}

TEST_F(Bytes, AnExporterThatRefusesIsReportedInOurWords) {
    const PyRef names = run("view = memoryview(b'abc')\nview.release()\n");
    PyBytesArgBuilder builder;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(entry_of(names, "view"), &builder), 0);
    expect_error(PyExc_BufferError, "can't get internal buffer");
    EXPECT_EQ(builder.get_info()->acquired, 0);
}

TEST_F(Bytes, MemoryToBeWrittenToIsLentToo) {
    const PyRef data = evaluate("bytearray(b'abc')");
    {
        PyBytesArgBuilder builder;
        ASSERT_EQ(fn_conv_py_bytes_to_clr_out_bytes(data.get(), &builder), 1);
        EXPECT_EQ(builder.get_info()->length, 3);
        EXPECT_EQ(builder.get_info()->data, PyByteArray_AS_STRING(data.get()));
        EXPECT_EQ(PyByteArray_Resize(data.get(), 10), -1);
        expect_error(PyExc_BufferError, "Existing exports of data: object cannot be re-sized");
    }
    EXPECT_EQ(PyByteArray_Resize(data.get(), 10), 0);
    PyBytesArgBuilder none;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_out_bytes(Py_None, &none), 1);
    EXPECT_EQ(none.get_info()->length, -1);
}

TEST_F(Bytes, MemoryThatMayNotBeChangedIsRefusedForWriting) {
    for (const char* source : {"b'abc'", "memoryview(bytearray(3)).toreadonly()", "b''"}) {
        const PyRef data = evaluate(source);
        const RefCountWatch count(data.get());
        {
            PyBytesArgBuilder builder;
            EXPECT_EQ(fn_conv_py_bytes_to_clr_out_bytes(data.get(), &builder), 0);
            expect_error(PyExc_BufferError, "buffer is read-only, pass a writable one such as a bytearray");
        }
        EXPECT_EQ(count.change(), 0) << source;
    }
    PyBytesArgBuilder text;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_out_bytes(evaluate("'text'").get(), &text), 0);
    expect_error(PyExc_TypeError, "can't build byte[] from 'str'");
    PyBytesArgBuilder gaps;
    EXPECT_EQ(fn_conv_py_bytes_to_clr_out_bytes(evaluate("memoryview(bytearray(9))[::2]").get(), &gaps), 0);
    expect_error(PyExc_BufferError, "buffer is not contiguous");
}

// An exporter of as many bytes as a test wants, without having them.
struct HugeExporter {
    PyObject_HEAD Py_ssize_t size;
};

int export_huge(PyObject* self, Py_buffer* view, int flags) {
    static char byte;
    return PyBuffer_FillInfo(view, self, &byte, reinterpret_cast<HugeExporter*>(self)->size, 1, flags);
}

PyRef make_exporter(Py_ssize_t size) {
    static PyBufferProcs procs = {export_huge, nullptr};
    static PyTypeObject type = [] {
        PyTypeObject record = {};
        record.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
        record.tp_name = "test.Huge";
        record.tp_basicsize = sizeof(HugeExporter);
        record.tp_as_buffer = &procs;
        return record;
    }();
    PyType_Ready(&type);
    PyRef exporter = PyRef::steal(PyType_GenericAlloc(&type, 0));
    reinterpret_cast<HugeExporter*>(exporter.get())->size = size;
    return exporter;
}

TEST_F(Bytes, ABufferOfTwoToTheThirtyOneIsTooLongAndIsReleased) {
    const PyRef fits = make_exporter(2147483647);
    {
        PyBytesArgBuilder builder;
        EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(fits.get(), &builder), 1);
        EXPECT_EQ(builder.get_info()->length, 2147483647);
    }
    const PyRef too_long = make_exporter(2147483648);
    const RefCountWatch count(too_long.get());
    {
        PyBytesArgBuilder builder;
        EXPECT_EQ(fn_conv_py_bytes_to_clr_bytes(too_long.get(), &builder), 0);
        expect_error(PyExc_BufferError, "buffer is too long");
        EXPECT_EQ(builder.get_info()->acquired, 1);
        EXPECT_EQ(count.change(), 1);
    }
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Bytes, AManagedArrayComesAsACopyInABytearray) {
    char data[] = {1, 0, 2};
    const PyRef copy = PyRef::steal(fn_conv_clr_bytes_to_py_bytes(data, 3));
    ASSERT_TRUE(PyByteArray_CheckExact(copy.get()));
    data[0] = 9;
    EXPECT_EQ(PyByteArray_GET_SIZE(copy.get()), 3);
    EXPECT_EQ(std::memcmp(PyByteArray_AS_STRING(copy.get()), "\x01\x00\x02", 3), 0);
}

TEST_F(Bytes, AnEmptyManagedArrayComesAsAnEmptyBytearray) {
    const PyRef copy = PyRef::steal(fn_conv_clr_bytes_to_py_bytes(nullptr, 0));
    ASSERT_TRUE(PyByteArray_CheckExact(copy.get()));
    EXPECT_EQ(PyByteArray_GET_SIZE(copy.get()), 0);
}

TEST_F(Bytes, TheManagedSideHoldsABufferInItsOwnMemory) {
    const PyRef data = evaluate("bytearray(b'abc')");
    alignas(Py_buffer) char view[80];
    ASSERT_EQ(fn_get_sizeof_py_byffer(), sizeof view);
    std::memset(view, 0x55, sizeof view);
    fn_create_py_byffer(view);
    EXPECT_TRUE(std::all_of(view, view + sizeof view, [](char byte) { return byte == 0; }));
    PyBytesArg record = {0, -1, nullptr};
    EXPECT_EQ(fn_read_py_buffer_view(data.get(), view, &record), 1);
    EXPECT_EQ(record.acquired, 1);
    EXPECT_EQ(record.length, 3);
    EXPECT_EQ(record.data, PyByteArray_AS_STRING(data.get()));
    EXPECT_EQ(PyByteArray_Resize(data.get(), 10), -1);
    expect_error_of(PyExc_BufferError);
    fn_release_py_buffer(view);
    EXPECT_EQ(PyByteArray_Resize(data.get(), 10), 0);
}

TEST_F(Bytes, AReadOnlyViewOfForeignMemoryCannotBeWritten) {
    char memory[] = "abc";
    const PyRef view = PyRef::steal(fn_create_shlbuffer_view(memory, 3, 1));
    ASSERT_TRUE(view);
    const PyRef copy = evaluate("bytes(memoryview(view))", {{"view", view.get()}});
    EXPECT_EQ(std::memcmp(PyBytes_AsString(copy.get()), "abc", 3), 0);
    EXPECT_FALSE(evaluate("memoryview(view).__setitem__(0, 120)", {{"view", view.get()}}));
    expect_error(PyExc_TypeError, "cannot modify read-only memory");
    Py_buffer writable;
    EXPECT_EQ(PyObject_GetBuffer(view.get(), &writable, PyBUF_WRITABLE), -1);
    expect_error(PyExc_BufferError, "Object is not writable.");
    EXPECT_STREQ(memory, "abc");
}

TEST_F(Bytes, AWritableViewOfForeignMemoryIsThatMemory) {
    char memory[] = "abc";
    const PyRef view = PyRef::steal(fn_create_shlbuffer_view(memory, 3, 0));
    EXPECT_TRUE(evaluate("memoryview(view).__setitem__(0, 120)", {{"view", view.get()}}));
    EXPECT_STREQ(memory, "xbc");
    EXPECT_EQ(Py_REFCNT(view.get()), 1);
}

TEST_F(Bytes, APythonCallerCannotMakeAView) {
    PyObject* type = reinterpret_cast<PyObject*>(&wrpPye_tyds_FFFFFFFF_ShlBufferView);
    EXPECT_FALSE(evaluate("type()", {{"type", type}}));
    expect_error(PyExc_TypeError, "cannot create 'zelmor.imaging._wrpgen._interop._ShlBufferView' instances");
    const PyRef own = evaluate("sorted(vars(type))", {{"type", type}});
    EXPECT_EQ(text_of(own.get()), "['__doc__']");
}

}  // namespace
