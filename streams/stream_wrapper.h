// A managed stream as a binary file of Python, with the members of `io.RawIOBase` but not derived from it.
//
// The wrapper forwards to the managed stream and remembers only whether it was closed itself. If the stream was closed
// by other means, its members raise a managed exception. Threads that use one stream are not synchronized here.
#ifndef ZELMOR_STREAMS_STREAM_WRAPPER_H
#define ZELMOR_STREAMS_STREAM_WRAPPER_H

#include <cassert>

#include "pyshell/python.h"
#include "pyshell/wrapped_object.h"

struct PyShStreamObject {
    PyClrObject wrapper;
    int32_t closed;  // 0 open, 1 closed
};
static_assert(sizeof(PyShStreamObject) == 32 && offsetof(PyShStreamObject, closed) == 24);

void wrpPye_init_fields_stream(PyShStreamObject* self);
PyObject* wrpPye_tpsb_stream_tp_new(PyTypeObject* type, PyObject* args, PyObject* kwargs);

// Bytes from the stream up to `limit`, or all of them for a negative one.
PyObject* fn_stream_read_bytes_impl(PyShStreamObject* self, Py_ssize_t limit);
// One line with its line feed, or at most `limit` bytes of it where that is not negative. If more was read, the stream
// seeks back to the end of the line.
PyObject* fn_stream_read_line_impl(PyShStreamObject* self, Py_ssize_t limit);

// Members. All but `close`, `fileno` and `__exit__` refuse to work on a closed wrapper, after they have converted
// their arguments.
PyObject* wrpPye_bltp_stream_close(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_flush(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_readable(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_seekable(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_writable(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_tell(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_seek(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_truncate(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_write(PyObject* self, PyObject* data);
PyObject* wrpPye_bltp_stream_writelines(PyObject* self, PyObject* lines);
PyObject* wrpPye_bltp_stream_readline(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_readlines(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_readinto(PyObject* self, PyObject* buffer);
PyObject* wrpPye_bltp_stream_read(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_readall(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_fileno(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_isatty(PyObject* self, PyObject* ignored);
PyObject* wrpPye_bltp_stream_exit(PyObject* self, PyObject* args);
PyObject* wrpPye_bltp_stream_get_closed(PyObject* self, void* closure);
PyObject* wrpPye_bltp_stream_iter(PyObject* self);
PyObject* wrpPye_bltp_stream_iternext(PyObject* self);

namespace zelmor {

extern PyMethodDef stream_methods[];
extern PyGetSetDef stream_getset[];

// True with a ValueError set once the wrapper is closed.
bool refuse_closed_stream(const PyShStreamObject* self);
// True with a TypeError set where the managed stream cannot seek, or cannot be asked.
bool refuse_unseekable_stream(const PyShStreamObject* self);

// The most bytes that one call moves: their count is an `int`.
constexpr Py_ssize_t kStreamChunk = 2147483647;

inline PyShStreamObject* stream_of(PyObject* self) {
    assert(self != nullptr);
    return reinterpret_cast<PyShStreamObject*>(self);
}

}  // namespace zelmor

#endif  // ZELMOR_STREAMS_STREAM_WRAPPER_H
