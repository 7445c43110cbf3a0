// A Python file behind a managed stream: the twelve callbacks, each of which calls a method of the file.
//
// A failure code always comes with a pending Python error, which the managed side turns into an exception. Python sees
// the memory of the managed side through a buffer view, so that no data is copied here. A callback never releases its
// reference to the view: Python code that keeps the view then has an object that stays alive, although its memory does
// not. The managed side holds the file. A callback that makes several calls holds the file as well, since the first
// call can make the managed side release it.
#include <cassert>

#include "convert/bytes.h"
#include "convert/scalars.h"
#include "exchange/callbacks.h"
#include "pyshell/errors.h"
#include "pyshell/identifiers.h"
#include "pyshell/pending_error.h"
#include "pyshell/py_ref.h"

using zelmor::PyRef;

namespace {

constexpr int kCallFailed = -1;
constexpr int kReadByteAtEnd = -1;
constexpr int kReadByteFailed = -2;
constexpr long kLengthNotSeekable = -2;
constexpr long kLengthClosed = -3;

// Whether the file is closed: 1, 0, or -1 with a Python error set.
int is_closed(PyObject* file) {
    assert(file != nullptr);
    PyRef answer = PyRef::steal(PyObject_GetAttr(file, PyWrpIdRawIo_Closed));
    bool closed = false;
    if (!answer || !fn_conv_py_bool_to_clr_bool(answer.get(), &closed)) {
        PyShlErr_ChainFormat(PyExc_TypeError, "An error occurred while checking if the stream is closed");
        return kCallFailed;
    }
    return closed ? 1 : 0;
}

int ask_capability(PyObject* file, PyObject* method) {
    assert(file != nullptr && method != nullptr);
    const PyRef held = PyRef::borrow(file);
    const int closed = is_closed(file);
    if (closed != 0) {
        return closed == 1 ? 0 : kCallFailed;
    }
    PyRef answer = PyRef::steal(PyObject_CallMethodNoArgs(file, method));
    bool capable = false;
    if (!answer || !fn_conv_py_bool_to_clr_bool(answer.get(), &capable)) {
        return kCallFailed;
    }
    return capable ? 1 : 0;
}

// Calls `method` with a view of the memory; the answer, or null with a Python error set.
PyObject* call_with_view(PyObject* file, PyObject* method, void* data, long count, int readonly) {
    assert(file != nullptr && method != nullptr);
    PyObject* view = fn_create_shlbuffer_view(data, count, readonly);
    return view == nullptr ? nullptr : PyObject_CallMethodOneArg(file, method, view);
}

// The count of bytes in an answer, whose reference is taken over; -1 with a Python error set.
int count_of(PyObject* answer) {
    if (answer == nullptr) {
        return kCallFailed;
    }
    const PyRef owned = PyRef::steal(answer);
    if (answer == Py_None) {
        return 0;  // a file that would block
    }
    int count = 0;
    return fn_conv_py_long_to_clr_int32(answer, &count) ? count : kCallFailed;
}

long position_of(PyRef answer) {
    long position = 0;
    return answer && fn_conv_py_long_to_clr_int64(answer.get(), &position) ? position : kCallFailed;
}

PyRef call_seek(PyObject* file, long offset, int origin) {
    assert(file != nullptr);
    PyRef python_offset = PyRef::steal(PyLong_FromLong(offset));
    PyRef python_origin = PyRef::steal(PyLong_FromLong(origin));
    if (!python_offset || !python_origin) {
        return {};
    }
    return PyRef::steal(
        PyObject_CallMethodObjArgs(file, PyWrpIdRawIo_Seek, python_offset.get(), python_origin.get(), nullptr));
}

long failed_length() {
    assert(PyErr_Occurred() != nullptr);
    PyShlErr_ChainFormat(PyExc_TypeError, "While calculating the length of the stream, an error occurred.");
    return kCallFailed;
}

}  // namespace

int fn_clbk_rawio_write(PyObject* file, const void* data, int count) {
    return count_of(call_with_view(file, PyWrpIdRawIo_Write, const_cast<void*>(data), count, 1));
}

int fn_clbk_rawio_write_byte(PyObject* file, int value) {
    auto byte = static_cast<unsigned char>(value);
    return fn_clbk_rawio_write(file, &byte, 1);
}

int fn_clbk_rawio_read(PyObject* file, void* data, int count) {
    PyObject* answer = call_with_view(file, PyWrpIdRawIo_ReadInto, data, count, 0);
    // The reference to a None, the answer of a file that would block, is kept.
    return count_of(answer == Py_None ? Py_NewRef(answer) : answer);
}

int fn_clbk_rawio_readbyte(PyObject* file) {
    unsigned char byte = 0;
    PyRef answer = PyRef::steal(call_with_view(file, PyWrpIdRawIo_ReadInto, &byte, 1, 0));
    if (!answer) {
        return kReadByteFailed;
    }
    if (answer.get() == Py_None) {
        PyErr_SetString(PyExc_OSError, "no bytes are available for reading");
        return kReadByteFailed;
    }
    int count = 0;
    if (!fn_conv_py_long_to_clr_int32(answer.get(), &count)) {
        return kReadByteFailed;
    }
    return count == 0 ? kReadByteAtEnd : byte;
}

long fn_clbk_rawio_seek(PyObject* file, long offset, int origin) {
    return position_of(call_seek(file, offset, origin));
}

long fn_clbk_rawio_tell(PyObject* file) {
    return position_of(PyRef::steal(PyObject_CallMethodNoArgs(file, PyWrpIdRawIo_Tell)));
}

int fn_clbk_rawio_flush(PyObject* file) {
    PyRef answer = PyRef::steal(PyObject_CallMethodNoArgs(file, PyWrpIdRawIo_Flush));
    return answer ? 0 : kCallFailed;
}

// An error that is already pending stays pending. An error of the call is reported as unraisable, since no caller can
// take it.
void fn_clbk_rawio_close(PyObject* file) {
    assert(PyGILState_Check() && file != nullptr);
    const PyRef held = PyRef::borrow(file);
    zelmor::PendingError pending = zelmor::PendingError::take();
    PyRef answer = PyRef::steal(PyObject_CallMethodNoArgs(file, PyWrpIdRawIo_Close));
    if (!answer && PyErr_Occurred() != nullptr) {
        PyErr_WriteUnraisable(file);
    }
    pending.restore();
}

int fn_clbk_rawio_readable(PyObject* file) {
    return ask_capability(file, PyWrpIdRawIo_Readable);
}
int fn_clbk_rawio_writable(PyObject* file) {
    return ask_capability(file, PyWrpIdRawIo_Writable);
}
int fn_clbk_rawio_seekable(PyObject* file) {
    return ask_capability(file, PyWrpIdRawIo_Seekable);
}

// A Python file cannot be asked for its length: it is moved to the end and back.
long fn_clbk_rawio_length(PyObject* file) {
    const PyRef held = PyRef::borrow(file);
    const int closed = is_closed(file);
    if (closed != 0) {
        return closed == 1 ? kLengthClosed : kCallFailed;
    }
    PyRef answer = PyRef::steal(PyObject_CallMethodNoArgs(file, PyWrpIdRawIo_Seekable));
    bool seekable = false;
    if (!answer || !fn_conv_py_bool_to_clr_bool(answer.get(), &seekable)) {
        return failed_length();
    }
    if (!seekable) {
        return kLengthNotSeekable;
    }
    PyRef position = call_seek(file, 0, 1);
    if (!position) {
        return failed_length();
    }
    PyRef end = call_seek(file, 0, 2);
    if (!end) {
        return failed_length();
    }
    PyRef back = PyRef::steal(PyObject_CallMethodOneArg(file, PyWrpIdRawIo_Seek, position.get()));
    long length = 0;
    if (!back || !fn_conv_py_long_to_clr_int64(end.get(), &length)) {
        return failed_length();
    }
    return length;
}
