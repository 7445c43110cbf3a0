// Byte data in both directions, and the callbacks by which the managed side holds a buffer in memory of its own.
#include "convert/bytes.h"

#include <cassert>
#include <cstring>
#include <limits>

#include "convert/shl_buffer_view.h"
#include "pyshell/refusals.h"

namespace {

// Asks an exporter that refused a plain buffer for one with strides. If it gives one that is not contiguous, the memory
// has gaps, and the caller says so; the view stays in the record, whose holder releases it.
bool acquire_strided_view(PyObject* object, Py_buffer* view, PyBytesArg* out) {
    PyErr_Clear();
    if (PyObject_GetBuffer(object, view, PyBUF_FULL_RO) != 0) {
        PyErr_Clear();
        return false;
    }
    if (PyBuffer_IsContiguous(view, 'C')) {
        PyBuffer_Release(view);
        return false;
    }
    out->acquired = 1;
    return true;
}

// Fills the record of a view that was acquired. On failure the view stays acquired: the holder of the record releases
// it.
int describe_view(const Py_buffer* view, PyBytesArg* out) {
    assert(out->acquired != 0);
    if (!PyBuffer_IsContiguous(view, 'C')) {
        PyErr_SetString(PyExc_BufferError, "buffer is not contiguous");
        return 0;
    }
    if (view->len > std::numeric_limits<int32_t>::max()) {
        PyErr_SetString(PyExc_BufferError, "buffer is too long");
        return 0;
    }
    out->length = static_cast<int32_t>(view->len);
    out->data = view->buf;
    return 1;
}

}  // namespace

int fn_conv_py_bytes_to_clr_bytes(PyObject* object, PyBytesArgBuilder* out) {
    assert(object != nullptr && out != nullptr);
    return fn_conv_py_bytes_to_clr_bytes_value(object, out->get_view(), out->get_info());
}

int fn_conv_py_bytes_to_clr_bytes_value(PyObject* object, Py_buffer* view, PyBytesArg* out) {
    assert(object != nullptr && view != nullptr && out != nullptr);
    if (object == Py_None) {
        out->length = -1;
        return 1;
    }
    if (!PyObject_CheckBuffer(object)) {
        return zelmor::refuse_kind("byte[]", object);
    }
    return fn_read_py_buffer(object, view, out);
}

int fn_conv_py_bytes_to_clr_out_bytes(PyObject* object, PyBytesArgBuilder* out) {
    assert(object != nullptr && out != nullptr);
    if (object == Py_None || !PyObject_CheckBuffer(object)) {
        return fn_conv_py_bytes_to_clr_bytes(object, out);
    }
    if (PyObject_GetBuffer(object, out->get_view(), PyBUF_WRITABLE) == 0) {
        out->get_info()->acquired = 1;
        return describe_view(out->get_view(), out->get_info());
    }
    // An object that cannot be read either gets the message of the reading converter.
    PyErr_Clear();
    if (fn_read_py_buffer(object, out->get_view(), out->get_info())) {
        PyErr_SetString(PyExc_BufferError, "buffer is read-only, pass a writable one such as a bytearray");
    }
    return 0;
}

int fn_read_py_buffer(PyObject* object, Py_buffer* view, PyBytesArg* out) {
    assert(object != nullptr && view != nullptr && out != nullptr);
    if (PyObject_GetBuffer(object, view, PyBUF_SIMPLE) == 0) {
        out->acquired = 1;
    } else if (!acquire_strided_view(object, view, out)) {
        PyErr_SetString(PyExc_BufferError, "can't get internal buffer");
        return 0;
    }
    return describe_view(view, out);
}

PyObject* fn_create_shlbuffer_view(void* data, long size, int readonly) {
    PyObject* object = PyType_GenericNew(&wrpPye_tyds_FFFFFFFF_ShlBufferView, nullptr, nullptr);
    if (object == nullptr) {
        return nullptr;
    }
    auto* view = reinterpret_cast<PyShlBufferView*>(object);
    view->data = data;
    view->size = size;
    view->readonly = readonly;
    return object;
}

int wrpPye_blpt_shl_buffer_getbuffer(PyObject* self, Py_buffer* view, int flags) {
    assert(Py_IS_TYPE(self, &wrpPye_tyds_FFFFFFFF_ShlBufferView));
    const auto* shown = reinterpret_cast<PyShlBufferView*>(self);
    return PyBuffer_FillInfo(view, self, shown->data, shown->size, shown->readonly, flags);
}

// Callbacks.

// A managed array becomes a `bytearray`, which Python code can change.
PyObject* fn_conv_clr_bytes_to_py_bytes(const char* data, int length) {
    return PyByteArray_FromStringAndSize(data, length);
}

size_t fn_get_sizeof_py_byffer() {
    return sizeof(Py_buffer);
}

void fn_create_py_byffer(void* view) {
    assert(view != nullptr);
    std::memset(view, 0, sizeof(Py_buffer));
}

int fn_read_py_buffer_view(PyObject* object, void* view, PyBytesArg* out) {
    return fn_read_py_buffer(object, static_cast<Py_buffer*>(view), out);
}

void fn_release_py_buffer(void* view) {
    assert(view != nullptr);
    PyBuffer_Release(static_cast<Py_buffer*>(view));
}
