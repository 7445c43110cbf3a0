// The members of a managed stream's wrapper: writing, the position, the state, the casts. Reading is in
// stream_reading.cpp.
#include <algorithm>
#include <cassert>

#include "collections/cast_members.h"
#include "collections/interop.h"
#include "convert/scalars.h"
#include "exchange/object_host.h"
#include "pyshell/arg_count.h"
#include "pyshell/errors.h"
#include "pyshell/py_ref.h"
#include "streams/stream_wrapper.h"

using zelmor::kStreamChunk;
using zelmor::PyRef;
using zelmor::refuse_closed_stream;
using zelmor::stream_of;

ZELMOR_DEFINE_KIND(stream, StreamKind)

namespace {

const PyHost_ph_Stream& host() {
    return PyHost_ph_Stream::get_instance();
}

void* managed(PyObject* self) {
    return stream_of(self)->wrapper.handle;
}

PyObject* refuse_written(const char* wanted, PyObject* data) {
    return PyErr_Format(PyExc_TypeError, "write argument must be %s, not '%s'", wanted,
                        data == Py_None ? "None" : Py_TYPE(data)->tp_name);
}

PyObject* none_unless_failed() {
    if (PyErr_Occurred() != nullptr) {
        return nullptr;
    }
    Py_RETURN_NONE;
}

PyObject* int_unless_failed(long value) {
    return PyErr_Occurred() != nullptr ? nullptr : PyLong_FromLong(value);
}

PyObject* bool_unless_failed(bool value) {
    return PyErr_Occurred() != nullptr ? nullptr : PyBool_FromLong(value ? 1 : 0);
}

}  // namespace

bool zelmor::refuse_closed_stream(const PyShStreamObject* self) {
    if (self->closed == 0) [[likely]] {
        return false;
    }
    PyErr_SetString(PyExc_ValueError, "I/O operation on closed stream");
    return true;
}

bool zelmor::refuse_unseekable_stream(const PyShStreamObject* self) {
    const bool seekable = host().can_seek(self->wrapper.handle);
    if (PyErr_Occurred() != nullptr) {
        PyShlErr_ChainFormat(PyExc_TypeError,
                             "the operation supported only for seekable inner streams. an exception was thrown during "
                             "'CanSeek' check");
        return true;
    }
    if (!seekable) {
        PyErr_SetString(PyExc_TypeError,
                        "the operation supported only for seekable inner streams. the inner stream is not seekable");
    }
    return !seekable;
}

PyObject* wrpPye_tpsb_stream_tp_new(PyTypeObject* type, PyObject*, PyObject*) {
    if (wrpPye_uafn_stream_invalidate() != 0) {
        return nullptr;
    }
    PyObject* self = zelmor::make_empty_wrapper(type);
    if (self != nullptr) {
        wrpPye_init_fields_stream(stream_of(self));
    }
    return self;
}

void wrpPye_init_fields_stream(PyShStreamObject* self) {
    self->closed = 0;
}

// The wrapper counts as closed afterwards, even if closing failed.
PyObject* wrpPye_bltp_stream_close(PyObject* self, PyObject*) {
    if (stream_of(self)->closed == 0) {
        host().close(managed(self));
        stream_of(self)->closed = 1;
    }
    return none_unless_failed();
}

PyObject* wrpPye_bltp_stream_exit(PyObject* self, PyObject* args) {
    PyObject* result = wrpPye_bltp_idisposable_exit(self, args);
    stream_of(self)->closed = 1;
    return result;
}

PyObject* wrpPye_bltp_stream_get_closed(PyObject* self, void*) {
    return PyBool_FromLong(stream_of(self)->closed);
}

PyObject* wrpPye_bltp_stream_flush(PyObject* self, PyObject*) {
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    host().flush(managed(self));
    return none_unless_failed();
}

PyObject* wrpPye_bltp_stream_readable(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : bool_unless_failed(host().can_read(managed(self)));
}

PyObject* wrpPye_bltp_stream_seekable(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : bool_unless_failed(host().can_seek(managed(self)));
}

PyObject* wrpPye_bltp_stream_writable(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : bool_unless_failed(host().can_write(managed(self)));
}

PyObject* wrpPye_bltp_stream_fileno(PyObject*, PyObject*) {
    PyErr_SetString(PyExc_ValueError, "fileno method is not supported");
    return nullptr;
}

PyObject* wrpPye_bltp_stream_isatty(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : Py_NewRef(Py_False);
}

PyObject* wrpPye_bltp_stream_tell(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : int_unless_failed(host().position(managed(self)));
}

PyObject* wrpPye_bltp_stream_seek(PyObject* self, PyObject* args) {
    Py_ssize_t offset;
    int whence = 0;
    if (!PyArg_ParseTuple(args, "n|i", &offset, &whence)) {
        return nullptr;
    }
    if (static_cast<unsigned>(whence) > 2) {
        return PyErr_Format(PyExc_ValueError, "invalid whence (%i, should be 0, 1 or 2)", whence);
    }
    if (whence == 0 && offset < 0) {
        return PyErr_Format(PyExc_ValueError, "negative seek value %zd", offset);
    }
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    return int_unless_failed(host().seek(managed(self), offset, whence));
}

PyObject* wrpPye_bltp_stream_truncate(PyObject* self, PyObject* args) {
    assert(PyTuple_Check(args));
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (fn_check_args_count_out_of_range(given, "truncate", 0, 1)) {
        return nullptr;
    }
    const bool at_position = given == 0 || PyTuple_GET_ITEM(args, 0) == Py_None;
    long size = 0;
    if (!at_position && !fn_conv_py_obj_to_ssize_t(PyTuple_GET_ITEM(args, 0), &size)) {
        return nullptr;
    }
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    return int_unless_failed(host().set_length(managed(self), at_position ? 1 : 0, size));
}

PyObject* wrpPye_bltp_stream_write(PyObject* self, PyObject* data) {
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    Py_buffer view;
    if (PyObject_GetBuffer(data, &view, PyBUF_SIMPLE) < 0) {
        PyErr_Clear();
        return refuse_written("bytes-like object", data);
    }
    if (!PyBuffer_IsContiguous(&view, 'C')) {
        PyBuffer_Release(&view);
        return refuse_written("contiguous buffer", data);
    }
    Py_ssize_t written = 0;
    // The first round always runs: an empty write reaches the stream too.
    do {
        const Py_ssize_t count = std::min(view.len - written, kStreamChunk);
        host().write(managed(self), static_cast<char*>(view.buf) + written, static_cast<int>(count));
        if (PyErr_Occurred() != nullptr) {
            PyBuffer_Release(&view);
            return nullptr;
        }
        written += count;
    } while (written < view.len);
    PyBuffer_Release(&view);
    return PyLong_FromSsize_t(written);
}

PyObject* wrpPye_bltp_stream_writelines(PyObject* self, PyObject* lines) {
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    const PyRef iterator = PyRef::steal(PyObject_GetIter(lines));
    if (!iterator) {
        return nullptr;
    }
    while (const PyRef line = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (!PyRef::steal(wrpPye_bltp_stream_write(self, line.get()))) {
            return nullptr;
        }
    }
    return none_unless_failed();
}

namespace zelmor {

PyMethodDef stream_methods[] = {
    {"close", wrpPye_bltp_stream_close, METH_NOARGS, nullptr},
    {"flush", wrpPye_bltp_stream_flush, METH_NOARGS, nullptr},
    {"readable", wrpPye_bltp_stream_readable, METH_NOARGS, nullptr},
    {"seekable", wrpPye_bltp_stream_seekable, METH_NOARGS, nullptr},
    {"writable", wrpPye_bltp_stream_writable, METH_NOARGS, nullptr},
    {"tell", wrpPye_bltp_stream_tell, METH_NOARGS, nullptr},
    {"seek", wrpPye_bltp_stream_seek, METH_VARARGS, nullptr},
    {"truncate", wrpPye_bltp_stream_truncate, METH_VARARGS, nullptr},
    {"write", wrpPye_bltp_stream_write, METH_O, nullptr},
    {"writelines", wrpPye_bltp_stream_writelines, METH_O, nullptr},
    {"readline", wrpPye_bltp_stream_readline, METH_VARARGS, nullptr},
    {"readlines", wrpPye_bltp_stream_readlines, METH_VARARGS, nullptr},
    {"readinto", wrpPye_bltp_stream_readinto, METH_O, nullptr},
    {"read", wrpPye_bltp_stream_read, METH_VARARGS, nullptr},
    {"readall", wrpPye_bltp_stream_readall, METH_NOARGS, nullptr},
    {"fileno", wrpPye_bltp_stream_fileno, METH_NOARGS, nullptr},
    {"isatty", wrpPye_bltp_stream_isatty, METH_NOARGS, nullptr},
    ZELMOR_GET_TYPE_METHOD,
    {"__enter__", wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr},
    {"__exit__", wrpPye_bltp_stream_exit, METH_VARARGS, nullptr},
    ZELMOR_CAST_METHODS(stream),
};

PyGetSetDef stream_getset[] = {
    {"closed", wrpPye_bltp_stream_get_closed, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

}  // namespace zelmor
