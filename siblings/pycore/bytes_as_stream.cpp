// The in-memory stream's methods and type record.
#include "siblings/pycore/bytes_as_stream.h"

#include <cassert>
#include <cstddef>
#include <cstring>
#include <new>

#include "pyshell/py_ref.h"
#include "siblings/common/static_type.h"
#include "siblings/pycore/byte_store.h"

using zelmor::PyRef;
using zelmor::siblings::ByteStore;

namespace {

struct Stream {
    PyObject ob_base;
    ByteStore store;
    Py_ssize_t view_count;  // views of `getbuffer()` that exist
    bool is_closed;
    PyObject* dict;
    PyObject* weakrefs;
};

// The exporter behind a view; it keeps its stream alive.
struct StreamBuffer {
    PyObject ob_base;
    Stream* stream;
};

Stream* as_stream(PyObject* self) {
    assert(self != nullptr);
    return reinterpret_cast<Stream*>(self);
}

// The stream if it is open, else null with the error that a closed file raises.
Stream* open_stream(PyObject* self) {
    if (as_stream(self)->is_closed) {
        PyErr_SetString(PyExc_ValueError, "I/O operation on closed file.");
        return nullptr;
    }
    return as_stream(self);
}

// The stream if its memory may change.
Stream* writable_stream(PyObject* self) {
    Stream* stream = open_stream(self);
    if (stream != nullptr && stream->view_count > 0) {
        PyErr_SetString(PyExc_BufferError, "Existing exports of data: object cannot be re-sized");
        return nullptr;
    }
    return stream;
}

PyObject* take_bytes(Stream* stream, Py_ssize_t count) {
    // Made before the position moves, so that a failure leaves the position unchanged.
    PyObject* bytes = PyBytes_FromStringAndSize(nullptr, count);
    if (bytes != nullptr) {
        std::memcpy(PyBytes_AS_STRING(bytes), stream->store.take(count), static_cast<size_t>(count));
    }
    return bytes;
}

// A limit, as any object with `__index__`. -1 stands for no limit, as None and negative numbers do.
bool read_limit(PyObject* value, Py_ssize_t* limit) {
    if (value == Py_None) {
        *limit = -1;
        return true;
    }
    if (!PyIndex_Check(value)) {
        PyErr_Format(PyExc_TypeError, "argument should be integer or None, not '%.200s'", Py_TYPE(value)->tp_name);
        return false;
    }
    *limit = PyNumber_AsSsize_t(value, PyExc_OverflowError);
    return *limit != -1 || PyErr_Occurred() == nullptr;
}

// The optional limit of `read(size=-1, /)` and its like.
bool parse_limit(const char* function, PyObject* const* args, Py_ssize_t count, Py_ssize_t* limit) {
    *limit = -1;
    if (count > 1) {
        PyErr_Format(PyExc_TypeError, "%s expected at most 1 argument, got %zd", function, count);
        return false;
    }
    return count == 0 || read_limit(args[0], limit);
}

PyObject* stream_read(PyObject* self, PyObject* const* args, Py_ssize_t count) {
    Py_ssize_t limit = 0;
    Stream* stream = parse_limit("read", args, count, &limit) ? open_stream(self) : nullptr;
    return stream == nullptr ? nullptr : take_bytes(stream, stream->store.available(limit));
}

PyObject* stream_readline(PyObject* self, PyObject* const* args, Py_ssize_t count) {
    Py_ssize_t limit = 0;
    Stream* stream = parse_limit("readline", args, count, &limit) ? open_stream(self) : nullptr;
    return stream == nullptr ? nullptr : take_bytes(stream, stream->store.available_line(limit));
}

PyObject* stream_readlines(PyObject* self, PyObject* const* args, Py_ssize_t count) {
    Py_ssize_t hint = 0;
    Stream* stream = parse_limit("readlines", args, count, &hint) ? open_stream(self) : nullptr;
    PyRef lines = PyRef::steal(stream == nullptr ? nullptr : PyList_New(0));
    if (!lines) {
        return nullptr;
    }
    Py_ssize_t total = 0;
    while (const Py_ssize_t length = stream->store.available_line(-1)) {
        PyRef line = PyRef::steal(take_bytes(stream, length));
        if (!line || PyList_Append(lines.get(), line.get()) < 0) {
            return nullptr;
        }
        total += length;
        if (hint > 0 && total >= hint) {
            break;
        }
    }
    return lines.release();
}

PyObject* stream_iternext(PyObject* self) {
    Stream* stream = open_stream(self);
    if (stream == nullptr) {
        return nullptr;
    }
    const Py_ssize_t length = stream->store.available_line(-1);
    return length == 0 ? nullptr : take_bytes(stream, length);
}

PyObject* stream_iter(PyObject* self) {
    return open_stream(self) == nullptr ? nullptr : Py_NewRef(self);
}

PyObject* stream_readinto(PyObject* self, PyObject* target) {
    Py_buffer view;
    if (PyArg_Parse(target, "w*:readinto", &view) == 0) {
        return nullptr;
    }
    // Checked after the buffer was acquired, since that can run any code.
    Stream* stream = open_stream(self);
    PyObject* result = nullptr;
    if (stream != nullptr) {
        const Py_ssize_t count = stream->store.available(view.len);
        // The target may be a view of this very stream.
        std::memmove(view.buf, stream->store.take(count), static_cast<size_t>(count));
        result = PyLong_FromSsize_t(count);
    }
    PyBuffer_Release(&view);
    return result;
}

// Bytes written, or -1 with an error.
Py_ssize_t write_bytes(PyObject* self, PyObject* source) {
    if (open_stream(self) == nullptr) {
        return -1;
    }
    Py_buffer view;
    if (PyObject_GetBuffer(source, &view, PyBUF_CONTIG_RO) < 0) {
        return -1;
    }
    Stream* stream = writable_stream(self);
    const Py_ssize_t count =
        stream != nullptr && stream->store.put(static_cast<const char*>(view.buf), view.len) ? view.len : -1;
    PyBuffer_Release(&view);
    return count;
}

PyObject* stream_write(PyObject* self, PyObject* source) {
    const Py_ssize_t count = write_bytes(self, source);
    return count < 0 ? nullptr : PyLong_FromSsize_t(count);
}

PyObject* stream_writelines(PyObject* self, PyObject* lines) {
    if (open_stream(self) == nullptr) {
        return nullptr;
    }
    PyRef iterator = PyRef::steal(PyObject_GetIter(lines));
    if (!iterator) {
        return nullptr;
    }
    while (PyRef line = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (write_bytes(self, line.get()) < 0) {
            return nullptr;
        }
    }
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* stream_seek(PyObject* self, PyObject* args) {
    Py_ssize_t offset = 0;
    int whence = 0;
    if (PyArg_ParseTuple(args, "n|i:seek", &offset, &whence) == 0) {
        return nullptr;
    }
    Stream* stream = open_stream(self);
    if (stream == nullptr) {
        return nullptr;
    }
    Py_ssize_t origin = 0;
    switch (whence) {
        case 0:
            if (offset < 0) {
                return PyErr_Format(PyExc_ValueError, "negative seek value %zd", offset);
            }
            break;
        case 1:
            origin = stream->store.position();
            break;
        case 2:
            origin = stream->store.size();
            break;
        default:
            return PyErr_Format(PyExc_ValueError, "invalid whence (%i, should be 0, 1 or 2)", whence);
    }
    if (offset > PY_SSIZE_T_MAX - origin) {
        PyErr_SetString(PyExc_OverflowError, "new position too large");
        return nullptr;
    }
    // A relative seek before the start ends at the start.
    stream->store.set_position(origin + offset < 0 ? 0 : origin + offset);
    return PyLong_FromSsize_t(stream->store.position());
}

PyObject* stream_tell(PyObject* self, PyObject*) {
    Stream* stream = open_stream(self);
    return stream == nullptr ? nullptr : PyLong_FromSsize_t(stream->store.position());
}

PyObject* stream_truncate(PyObject* self, PyObject* const* args, Py_ssize_t count) {
    Py_ssize_t size = 0;
    if (!parse_limit("truncate", args, count, &size)) {
        return nullptr;
    }
    Stream* stream = writable_stream(self);
    if (stream == nullptr) {
        return nullptr;
    }
    if (count == 0 || args[0] == Py_None) {
        size = stream->store.position();
    } else if (size < 0) {
        return PyErr_Format(PyExc_ValueError, "negative size value %zd", size);
    }
    stream->store.truncate(size);
    return PyLong_FromSsize_t(size);
}

PyObject* stream_getvalue(PyObject* self, PyObject*) {
    Stream* stream = open_stream(self);
    return stream == nullptr ? nullptr : PyBytes_FromStringAndSize(stream->store.data(), stream->store.size());
}

PyObject* stream_getbuffer(PyObject* self, PyObject*) {
    Stream* stream = open_stream(self);
    if (stream == nullptr) {
        return nullptr;
    }
    PyTypeObject* type = &zelmor::siblings::bytes_as_stream_buffer_type;
    PyRef exporter = PyRef::steal(type->tp_alloc(type, 0));
    if (!exporter) {
        return nullptr;
    }
    reinterpret_cast<StreamBuffer*>(exporter.get())->stream = reinterpret_cast<Stream*>(Py_NewRef(self));
    return PyMemoryView_FromObject(exporter.get());
}

// Readable, writable and seekable all at once, as long as it is open.
PyObject* stream_is_able(PyObject* self, PyObject*) {
    if (open_stream(self) == nullptr) {
        return nullptr;
    }
    Py_RETURN_TRUE;
}

PyObject* stream_isatty(PyObject* self, PyObject*) {
    if (open_stream(self) == nullptr) {
        return nullptr;
    }
    Py_RETURN_FALSE;
}

PyObject* stream_flush(PyObject* self, PyObject*) {
    if (open_stream(self) == nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* raise_unsupported(const char* operation) {
    PyRef io = PyRef::steal(PyImport_ImportModule("io"));
    PyRef error = PyRef::steal(io ? PyObject_GetAttrString(io.get(), "UnsupportedOperation") : nullptr);
    if (error) {
        PyErr_SetString(error.get(), operation);
    }
    return nullptr;
}

PyObject* stream_fileno(PyObject*, PyObject*) {
    return raise_unsupported("fileno");
}

PyObject* stream_detach(PyObject*, PyObject*) {
    return raise_unsupported("detach");
}

PyObject* stream_close(PyObject* self, PyObject*) {
    if (as_stream(self)->is_closed) {
        Py_RETURN_NONE;
    }
    Stream* stream = writable_stream(self);
    if (stream == nullptr) {
        return nullptr;
    }
    stream->store.clear();
    stream->is_closed = true;
    Py_RETURN_NONE;
}

PyObject* stream_enter(PyObject* self, PyObject*) {
    return open_stream(self) == nullptr ? nullptr : Py_NewRef(self);
}

PyObject* stream_exit(PyObject* self, PyObject*) {
    // By name, so that the close of a derived class runs.
    PyRef result = PyRef::steal(PyObject_CallMethod(self, "close", nullptr));
    if (!result) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* get_closed(PyObject* self, void*) {
    return PyBool_FromLong(as_stream(self)->is_closed ? 1 : 0);
}

// Pickled as content, position and own attributes.
PyObject* stream_reduce(PyObject* self, PyObject*) {
    PyRef content = PyRef::steal(stream_getvalue(self, nullptr));
    if (!content) {
        return nullptr;
    }
    const Stream* stream = as_stream(self);
    return Py_BuildValue("O(O)(nO)", Py_TYPE(self), content.get(), stream->store.position(),
                         stream->dict != nullptr ? stream->dict : Py_None);
}

PyObject* stream_setstate(PyObject* self, PyObject* state) {
    Py_ssize_t position = 0;
    PyObject* attributes = nullptr;
    if (!PyTuple_Check(state) || PyArg_ParseTuple(state, "nO:__setstate__", &position, &attributes) == 0) {
        if (PyErr_Occurred() == nullptr) {
            PyErr_SetString(PyExc_TypeError, "__setstate__ takes the pair of position and attributes");
        }
        return nullptr;
    }
    if (position < 0) {
        PyErr_SetString(PyExc_ValueError, "position value cannot be negative");
        return nullptr;
    }
    if (attributes != Py_None) {
        PyRef own = PyRef::steal(PyObject_GenericGetDict(self, nullptr));
        if (!own || PyDict_Update(own.get(), attributes) < 0) {
            return nullptr;
        }
    }
    as_stream(self)->store.set_position(position);
    Py_RETURN_NONE;
}

PyObject* stream_sizeof(PyObject* self, PyObject*) {
    return PyLong_FromSsize_t(Py_TYPE(self)->tp_basicsize + as_stream(self)->store.capacity());
}

PyObject* stream_new(PyTypeObject* type, PyObject*, PyObject*) {
    PyObject* self = type->tp_alloc(type, 0);
    if (self != nullptr) {
        new (&as_stream(self)->store) ByteStore;
    }
    return self;
}

int stream_init(PyObject* self, PyObject* args, PyObject* kwargs) {
    static char* keywords[] = {const_cast<char*>("initial_bytes"), nullptr};
    PyObject* initial = Py_None;
    if (PyArg_ParseTupleAndKeywords(args, kwargs, "|O:BytesAsStream", keywords, &initial) == 0 ||
        writable_stream(self) == nullptr) {
        return -1;
    }
    as_stream(self)->store.clear();
    if (initial != Py_None && write_bytes(self, initial) < 0) {
        return -1;
    }
    as_stream(self)->store.set_position(0);
    return 0;
}

int stream_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(as_stream(self)->dict);
    return 0;
}

int stream_clear(PyObject* self) {
    Py_CLEAR(as_stream(self)->dict);
    return 0;
}

void stream_dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    Stream* stream = as_stream(self);
    assert(stream->view_count == 0);  // a view keeps its stream alive
    if (stream->weakrefs != nullptr) {
        PyObject_ClearWeakRefs(self);
    }
    Py_CLEAR(stream->dict);
    stream->store.~ByteStore();
    Py_TYPE(self)->tp_free(self);
}

int buffer_getbuffer(PyObject* self, Py_buffer* view, int flags) {
    Stream* stream = reinterpret_cast<StreamBuffer*>(self)->stream;
    if (open_stream(reinterpret_cast<PyObject*>(stream)) == nullptr) {
        view->obj = nullptr;
        return -1;
    }
    static char nothing = 0;  // a view of no bytes has an address too
    char* data = stream->store.data() != nullptr ? stream->store.data() : &nothing;
    if (PyBuffer_FillInfo(view, self, data, stream->store.size(), 0, flags) < 0) {
        return -1;
    }
    ++stream->view_count;
    return 0;
}

void buffer_releasebuffer(PyObject* self, Py_buffer*) {
    Stream* stream = reinterpret_cast<StreamBuffer*>(self)->stream;
    assert(stream->view_count > 0);
    --stream->view_count;
}

int buffer_traverse(PyObject* self, visitproc visit, void* arg) {
    Py_VISIT(reinterpret_cast<StreamBuffer*>(self)->stream);
    return 0;
}

void buffer_dealloc(PyObject* self) {
    PyObject_GC_UnTrack(self);
    Py_CLEAR(reinterpret_cast<StreamBuffer*>(self)->stream);
    Py_TYPE(self)->tp_free(self);
}

PyCFunction fast(PyObject* (*function)(PyObject*, PyObject* const*, Py_ssize_t)) {
    return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));
}

PyMethodDef stream_methods[] = {
    {"read", fast(stream_read), METH_FASTCALL, PyDoc_STR("read(size=-1, /) -> bytes: up to size bytes, or all.")},
    {"read1", fast(stream_read), METH_FASTCALL, PyDoc_STR("read1(size=-1, /) -> bytes: the same as read.")},
    {"readinto", stream_readinto, METH_O, PyDoc_STR("readinto(buffer, /) -> int: number of bytes read.")},
    {"readinto1", stream_readinto, METH_O, PyDoc_STR("readinto1(buffer, /) -> int: the same as readinto.")},
    {"readline", fast(stream_readline), METH_FASTCALL,
     PyDoc_STR("readline(size=-1, /) -> bytes: up to and with the next line feed.")},
    {"readlines", fast(stream_readlines), METH_FASTCALL,
     PyDoc_STR("readlines(hint=None, /) -> list: lines until their length reaches hint, or all.")},
    {"write", stream_write, METH_O, PyDoc_STR("write(buffer, /) -> int: number of bytes written.")},
    {"writelines", stream_writelines, METH_O, PyDoc_STR("writelines(lines, /): writes each of them.")},
    {"seek", stream_seek, METH_VARARGS,
     PyDoc_STR("seek(offset, whence=0, /) -> int: the new position, from the start, from here (1) or the end (2).")},
    {"tell", stream_tell, METH_NOARGS, PyDoc_STR("tell() -> int: the position.")},
    {"truncate", fast(stream_truncate), METH_FASTCALL,
     PyDoc_STR("truncate(size=None, /) -> int: cuts off what lies behind size, or behind the position.")},
    {"getvalue", stream_getvalue, METH_NOARGS, PyDoc_STR("getvalue() -> bytes: the whole content.")},
    {"getbuffer", stream_getbuffer, METH_NOARGS,
     PyDoc_STR("getbuffer() -> memoryview: the content itself; it cannot be resized meanwhile.")},
    {"readable", stream_is_able, METH_NOARGS, PyDoc_STR("readable() -> bool: True.")},
    {"writable", stream_is_able, METH_NOARGS, PyDoc_STR("writable() -> bool: True.")},
    {"seekable", stream_is_able, METH_NOARGS, PyDoc_STR("seekable() -> bool: True.")},
    {"isatty", stream_isatty, METH_NOARGS, PyDoc_STR("isatty() -> bool: False.")},
    {"fileno", stream_fileno, METH_NOARGS, PyDoc_STR("fileno(): there is none, raises io.UnsupportedOperation.")},
    {"detach", stream_detach, METH_NOARGS, PyDoc_STR("detach(): nothing to detach, raises io.UnsupportedOperation.")},
    {"flush", stream_flush, METH_NOARGS, PyDoc_STR("flush(): nothing to do.")},
    {"close", stream_close, METH_NOARGS, PyDoc_STR("close(): gives the content back; the stream is of no more use.")},
    {"__enter__", stream_enter, METH_NOARGS, nullptr},
    {"__exit__", stream_exit, METH_VARARGS, nullptr},
    {"__reduce__", stream_reduce, METH_NOARGS, nullptr},
    {"__setstate__", stream_setstate, METH_O, nullptr},
    {"__sizeof__", stream_sizeof, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyGetSetDef stream_getset[] = {
    {"closed", get_closed, nullptr, PyDoc_STR("Whether the stream was closed."), nullptr},
    {"__dict__", PyObject_GenericGetDict, PyObject_GenericSetDict, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

constinit PyBufferProcs buffer_procs = {buffer_getbuffer, buffer_releasebuffer};

}  // namespace

constinit PyTypeObject zelmor::siblings::bytes_as_stream_type = [] {
    PyTypeObject type =
        static_type("zelmor.pycore.BytesAsStream", sizeof(Stream), Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_BASETYPE);
    type.tp_dealloc = stream_dealloc;
    type.tp_doc = PyDoc_STR("BytesAsStream(initial_bytes=b''): an in-memory binary file.");
    type.tp_traverse = stream_traverse;
    type.tp_clear = stream_clear;
    type.tp_weaklistoffset = offsetof(Stream, weakrefs);
    type.tp_iter = stream_iter;
    type.tp_iternext = stream_iternext;
    type.tp_methods = stream_methods;
    type.tp_getset = stream_getset;
    type.tp_dictoffset = offsetof(Stream, dict);
    type.tp_init = stream_init;
    type.tp_new = stream_new;
    return type;
}();

constinit PyTypeObject zelmor::siblings::bytes_as_stream_buffer_type = [] {
    PyTypeObject type = static_type("zelmor.pycore._BytesAsStreamBuffer", sizeof(StreamBuffer),
                                    Py_TPFLAGS_HAVE_GC | Py_TPFLAGS_DISALLOW_INSTANTIATION);
    type.tp_dealloc = buffer_dealloc;
    type.tp_as_buffer = &buffer_procs;
    type.tp_traverse = buffer_traverse;
    return type;
}();
