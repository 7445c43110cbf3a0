// A Python file as the managed side works on it.
#include <cstring>

#include "bridge_test.h"
#include "exchange/callbacks.h"

using zelmor::PyRef;

namespace {

class RawIo : public BridgeTest {};

// A file whose methods are the given ones, over nothing.
PyRef odd_file(const char* methods) {
    const PyRef names = run((std::string("class Odd:\n    closed = False\n") + methods + "odd = Odd()\n").c_str());
    return PyRef::borrow(entry_of(names, "odd"));
}

// The pending error has to be this one, and its cause and context one of `cause`.
void expect_chained(const std::string& message, PyObject* cause_type, const std::string& cause_text) {
    const PyRef error = take_error();
    ASSERT_TRUE(error) << message;
    EXPECT_TRUE(Py_IS_TYPE(error.get(), reinterpret_cast<PyTypeObject*>(PyExc_TypeError)));
    EXPECT_EQ(text_of(error.get()), message);
    const PyRef cause = PyRef::steal(PyException_GetCause(error.get()));
    const PyRef context = PyRef::steal(PyException_GetContext(error.get()));
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause.get(), context.get());
    EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(cause.get())), cause_type);
    EXPECT_EQ(text_of(cause.get()), cause_text);
}

constexpr const char* kClosedMessage = "An error occurred while checking if the stream is closed";
constexpr const char* kLengthMessage = "While calculating the length of the stream, an error occurred.";

TEST_F(RawIo, ReadingGoesStraightIntoTheManagedMemory) {
    const PyRef file = evaluate("__import__('io').BytesIO(b'abcdef')");
    char memory[] = "....";
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), 4);
    EXPECT_STREQ(memory, "abcd");
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), 2);
    EXPECT_STREQ(memory, "efcd");
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), 0);
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 0), 0);
}

TEST_F(RawIo, WritingShowsTheManagedMemoryReadOnly) {
    const PyRef file = evaluate("__import__('io').BytesIO()");
    EXPECT_EQ(fn_clbk_rawio_write(file.get(), "abc", 3), 3);
    EXPECT_EQ(fn_clbk_rawio_write_byte(file.get(), 0x1FF), 1);
    EXPECT_EQ(fn_clbk_rawio_write(file.get(), "", 0), 0);
    const PyRef written = PyRef::steal(PyObject_CallMethod(file.get(), "getvalue", nullptr));
    EXPECT_EQ(std::string(PyBytes_AsString(written.get()), 4), "abc\xFF");
    const PyRef names =
        run("class Writes:\n    def write(self, view):\n        self.readonly = memoryview(view).readonly\n"
            "        return 1\nwrites = Writes()\n");
    EXPECT_EQ(fn_clbk_rawio_write(entry_of(names, "writes"), "a", 1), 1);
    const PyRef readonly = PyRef::steal(PyObject_GetAttrString(entry_of(names, "writes"), "readonly"));
    EXPECT_EQ(readonly.get(), Py_True);
}

TEST_F(RawIo, AFileThatWouldBlockGivesNothing) {
    const PyRef file = odd_file("    def readinto(self, view): return None\n    def write(self, view): return None\n");
    char memory[4];
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), 0);
    EXPECT_EQ(fn_clbk_rawio_write(file.get(), memory, 4), 0);
    EXPECT_EQ(fn_clbk_rawio_write_byte(file.get(), 1), 0);
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), -2);
    expect_error(PyExc_OSError, "no bytes are available for reading");
}

TEST_F(RawIo, ACountThatIsNoPlainIntegerFails) {
    const PyRef file = odd_file("    def readinto(self, view): return True\n    def write(self, view): return 'x'\n");
    char memory[4];
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), -1);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'bool'");
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), -2);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'bool'");
    EXPECT_EQ(fn_clbk_rawio_write(file.get(), memory, 4), -1);
    expect_error(PyExc_TypeError, "can't build 'Int32' from 'str'");
}

TEST_F(RawIo, AMethodThatRaisesFailsWithItsError) {
    const PyRef file = odd_file(
        "    def fail(self, *args): raise KeyError('broken')\n"
        "    readinto = write = seek = tell = flush = readable = fail\n");
    char memory[4];
    EXPECT_EQ(fn_clbk_rawio_read(file.get(), memory, 4), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), -2);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_write(file.get(), memory, 4), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_write_byte(file.get(), 4), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_seek(file.get(), 4, 0), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_tell(file.get()), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_flush(file.get()), -1);
    expect_error(PyExc_KeyError, "'broken'");
    EXPECT_EQ(fn_clbk_rawio_readable(file.get()), -1);
    expect_error(PyExc_KeyError, "'broken'");
}

TEST_F(RawIo, ReadByteGivesAByteOrTheEnd) {
    const PyRef file = evaluate("__import__('io').BytesIO(b'\\xff\\x00')");
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), 255);
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), 0);
    EXPECT_EQ(fn_clbk_rawio_readbyte(file.get()), -1);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(RawIo, PositionsAreSixtyFourBitsWide) {
    const PyRef file = odd_file(
        "    def seek(self, offset, origin): return offset + origin\n"
        "    def tell(self): return 2**40\n");
    EXPECT_EQ(fn_clbk_rawio_seek(file.get(), 1L << 40, 2), (1L << 40) + 2);
    EXPECT_EQ(fn_clbk_rawio_tell(file.get()), 1L << 40);
    const PyRef memory = evaluate("__import__('io').BytesIO(b'abc')");
    EXPECT_EQ(fn_clbk_rawio_seek(memory.get(), -1, 2), 2);
    EXPECT_EQ(fn_clbk_rawio_tell(memory.get()), 2);
    EXPECT_EQ(fn_clbk_rawio_flush(memory.get()), 0);
    const PyRef odd = odd_file("    def tell(self): return 1.0\n");
    EXPECT_EQ(fn_clbk_rawio_tell(odd.get()), -1);
    expect_error(PyExc_TypeError, "can't build 'Int64' from 'float'");
}

TEST_F(RawIo, CapabilitiesAreAskedOfAnOpenFile) {
    const PyRef file = odd_file(
        "    def readable(self): return True\n    def writable(self): return False\n"
        "    def seekable(self): return 1\n");
    EXPECT_EQ(fn_clbk_rawio_readable(file.get()), 1);
    EXPECT_EQ(fn_clbk_rawio_writable(file.get()), 0);
    EXPECT_EQ(fn_clbk_rawio_seekable(file.get()), -1);
    expect_error(PyExc_TypeError, "can't build bool from 'int'");
}

TEST_F(RawIo, AClosedFileHasNoCapabilitiesAndNoLength) {
    const PyRef names = run("import io\nfile = io.BytesIO(b'abc')\nfile.close()\n");
    PyObject* file = entry_of(names, "file");
    EXPECT_EQ(fn_clbk_rawio_readable(file), 0);
    EXPECT_EQ(fn_clbk_rawio_writable(file), 0);
    EXPECT_EQ(fn_clbk_rawio_seekable(file), 0);
    EXPECT_EQ(fn_clbk_rawio_length(file), -3);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    char memory[4];
    EXPECT_EQ(fn_clbk_rawio_read(file, memory, 4), -1);
    expect_error(PyExc_ValueError, "I/O operation on closed file.");
}

TEST_F(RawIo, AFileThatCannotTellWhetherItIsClosedFails) {
    const PyRef raising = odd_file("    @property\n    def closed(self): raise KeyError('broken')\n");
    const PyRef integer = odd_file("    closed = 0\n");
    for (const auto callback : {fn_clbk_rawio_readable, fn_clbk_rawio_writable, fn_clbk_rawio_seekable}) {
        EXPECT_EQ(callback(raising.get()), -1);
        expect_chained(kClosedMessage, PyExc_KeyError, "'broken'");
        EXPECT_EQ(callback(integer.get()), -1);
        expect_chained(kClosedMessage, PyExc_TypeError, "can't build bool from 'int'");
    }
    EXPECT_EQ(fn_clbk_rawio_length(integer.get()), -1);
    expect_chained(kClosedMessage, PyExc_TypeError, "can't build bool from 'int'");
}

TEST_F(RawIo, TheLengthLeavesThePositionWhereItWas) {
    const PyRef file = evaluate("__import__('io').BytesIO(b'0123456789')");
    EXPECT_EQ(fn_clbk_rawio_seek(file.get(), 4, 0), 4);
    EXPECT_EQ(fn_clbk_rawio_length(file.get()), 10);
    EXPECT_EQ(fn_clbk_rawio_tell(file.get()), 4);
}

TEST_F(RawIo, TheLengthGoesBackByTheAnswerOfTheFirstSeek) {
    const PyRef names =
        run("log = []\nclass Logs:\n    closed = False\n    def seekable(self): return True\n"
            "    def seek(self, *args):\n        log.append(args)\n        return 40 + len(log)\n"
            "logs = Logs()\n");
    EXPECT_EQ(fn_clbk_rawio_length(entry_of(names, "logs")), 42);
    const PyRef log = PyRef::steal(PyObject_Repr(entry_of(names, "log")));
    EXPECT_EQ(text_of(log.get()), "[(0, 1), (0, 2), (41,)]");
}

TEST_F(RawIo, AFileThatCannotSeekHasNoLength) {
    const PyRef file = odd_file("    def seekable(self): return False\n");
    EXPECT_EQ(fn_clbk_rawio_length(file.get()), -2);
    EXPECT_EQ(PyErr_Occurred(), nullptr);
}

TEST_F(RawIo, AFailureOnTheWayToTheLengthIsChained) {
    const PyRef unable = odd_file("    def seekable(self): raise KeyError('broken')\n");
    EXPECT_EQ(fn_clbk_rawio_length(unable.get()), -1);
    expect_chained(kLengthMessage, PyExc_KeyError, "'broken'");
    const PyRef unclear = odd_file("    def seekable(self): return 1\n");
    EXPECT_EQ(fn_clbk_rawio_length(unclear.get()), -1);
    expect_chained(kLengthMessage, PyExc_TypeError, "can't build bool from 'int'");
    for (const char* failing : {"1", "2", "3"}) {
        const PyRef file = odd_file((std::string("    steps = 0\n    def seekable(self): return True\n"
                                                 "    def seek(self, *args):\n        self.steps += 1\n"
                                                 "        if self.steps == ") +
                                     failing + ": raise KeyError('broken')\n        return 5\n")
                                        .c_str());
        EXPECT_EQ(fn_clbk_rawio_length(file.get()), -1) << failing;
        expect_chained(kLengthMessage, PyExc_KeyError, "'broken'");
    }
    const PyRef text = odd_file("    def seekable(self): return True\n    def seek(self, *args): return 'x'\n");
    EXPECT_EQ(fn_clbk_rawio_length(text.get()), -1);
    expect_chained(kLengthMessage, PyExc_TypeError, "can't build 'Int64' from 'str'");
}

TEST_F(RawIo, CloseKeepsAPendingError) {
    const PyRef file = evaluate("__import__('io').BytesIO()");
    PyErr_SetString(PyExc_ValueError, "older");
    fn_clbk_rawio_close(file.get());
    expect_error(PyExc_ValueError, "older");
    const PyRef closed = PyRef::steal(PyObject_GetAttrString(file.get(), "closed"));
    EXPECT_EQ(closed.get(), Py_True);
}

TEST_F(RawIo, AFailureToCloseGoesToTheUnraisableHook) {
    const UnraisableWatch watch;
    const PyRef file = odd_file(
        "    def close(self): raise KeyError('broken')\n    def __repr__(self): return 'the odd file'\n"
        "    __str__ = __repr__\n");
    PyErr_SetString(PyExc_ValueError, "older");
    fn_clbk_rawio_close(file.get());
    expect_error(PyExc_ValueError, "older");
    fn_clbk_rawio_close(file.get());
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_EQ(watch.reports(), "the odd file: KeyError: 'broken'\nthe odd file: KeyError: 'broken'\n");
}

}  // namespace
