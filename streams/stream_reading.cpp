// Reading a managed stream: bytes, lines, and into a buffer of the caller.
//
// The managed side writes into the storage of the `bytes` object that is returned, or of the caller's buffer; nothing
// is copied here.
#include <algorithm>
#include <cassert>
#include <cstring>

#include "collections/hosts.h"
#include "convert/scalars.h"
#include "pyshell/arg_count.h"
#include "pyshell/py_ref.h"
#include "streams/stream_wrapper.h"

using zelmor::kStreamChunk;
using zelmor::PyRef;
using zelmor::refuse_closed_stream;
using zelmor::refuse_unseekable_stream;
using zelmor::stream_of;

namespace {

constexpr Py_ssize_t kNoLimit = -1;
constexpr Py_ssize_t kFirstSize = 1024;
constexpr int kFromCurrent = 1;

// A `bytes` object that is filled with bytes of the stream.
class GrowingBytes {
 public:
    explicit GrowingBytes(Py_ssize_t size) : m_bytes(PyBytes_FromStringAndSize(nullptr, size)), m_size(size) {}
    ~GrowingBytes() { Py_XDECREF(m_bytes); }
    GrowingBytes(const GrowingBytes&) = delete;
    GrowingBytes& operator=(const GrowingBytes&) = delete;

    bool valid() const { return m_bytes != nullptr; }
    Py_ssize_t filled() const { return m_filled; }
    bool full() const { return m_filled == m_size; }
    const char* data() const { return PyBytes_AS_STRING(m_bytes); }

    // Asks the managed side once to fill the free space: the number of bytes, or -1 with a Python error set.
    Py_ssize_t fill(const PyShStreamObject* self);
    // Makes room for more bytes, for `most` in all at the most; false with a Python error set.
    bool grow(Py_ssize_t most);
    // The object, cut to `length`; null with a Python error set.
    PyObject* finish(Py_ssize_t length) {
        assert(valid() && 0 <= length && length <= m_size);
        m_size = length;
        if (PyBytes_GET_SIZE(m_bytes) != length && _PyBytes_Resize(&m_bytes, length) < 0) {
            return nullptr;
        }
        return std::exchange(m_bytes, nullptr);
    }

 private:
    PyObject* m_bytes;
    Py_ssize_t m_size;
    Py_ssize_t m_filled = 0;
};

// The number of bytes that the managed side put at `data`, or -1 with a Python error set. A number above the one asked
// for is refused: memory was overrun, and the count cannot be trusted.
Py_ssize_t read_chunk(const PyShStreamObject* self, void* data, Py_ssize_t wanted) {
    assert(wanted >= 0);
    const int asked = static_cast<int>(std::min(wanted, kStreamChunk));
    const int count = PyHost_ph_Stream::get_instance().read(self->wrapper.handle, data, asked);
    if (PyErr_Occurred() != nullptr) {
        return -1;
    }
    if (count < 0 || count > asked) {
        PyErr_Format(PyExc_OSError, "the managed stream read %d bytes (should have been between 0 and %d)", count,
                     asked);
        return -1;
    }
    return count;
}

Py_ssize_t GrowingBytes::fill(const PyShStreamObject* self) {
    assert(valid() && m_filled <= m_size);
    const Py_ssize_t count = read_chunk(self, PyBytes_AS_STRING(m_bytes) + m_filled, m_size - m_filled);
    m_filled += std::max<Py_ssize_t>(count, 0);
    return count;
}

// Small buffers grow by a page, medium ones threefold, large ones by an eighth.
bool GrowingBytes::grow(Py_ssize_t most) {
    assert(valid() && full() && m_filled < most);
    if (m_filled == PY_SSIZE_T_MAX) {
        PyErr_SetString(PyExc_OverflowError, "unbounded read returned more bytes than a Python bytes buffer can hold");
        return false;
    }
    Py_ssize_t more = 4096;
    if (m_filled > 65536) {
        more = std::max<Py_ssize_t>(m_filled / 8, 65536);
    } else if (m_filled > 8192) {
        more = 2 * m_filled;
    }
    m_size = m_filled > most - more ? most : m_filled + more;
    return _PyBytes_Resize(&m_bytes, m_size) == 0;
}

// The one optional size of a reading method; false with a Python error set.
bool read_size(PyObject* args, const char* method, Py_ssize_t* size) {
    assert(PyTuple_Check(args) && method != nullptr && size != nullptr);
    const Py_ssize_t given = PyTuple_GET_SIZE(args);
    if (fn_check_args_count_out_of_range(given, method, 0, 1)) {
        return false;
    }
    *size = kNoLimit;
    return given == 0 || fn_conv_py_optional_to_ssize_t(args, size) != 0;
}

const char* name_of_argument(PyObject* argument) {
    return argument == Py_None ? "None" : Py_TYPE(argument)->tp_name;
}

}  // namespace

PyObject* fn_stream_read_bytes_impl(PyShStreamObject* self, Py_ssize_t limit) {
    GrowingBytes bytes(limit < 0 ? kFirstSize : limit);
    if (!bytes.valid()) {
        return nullptr;
    }
    for (;;) {
        const Py_ssize_t count = bytes.fill(self);
        if (count < 0) {
            return nullptr;
        }
        if (count == 0 || bytes.filled() == limit) {
            break;
        }
        if (bytes.full() && !bytes.grow(PY_SSIZE_T_MAX)) {
            return nullptr;
        }
    }
    return bytes.finish(bytes.filled());
}

PyObject* fn_stream_read_line_impl(PyShStreamObject* self, Py_ssize_t limit) {
    const Py_ssize_t most = limit < 0 ? PY_SSIZE_T_MAX : limit;
    GrowingBytes bytes(std::min(kFirstSize, most));
    if (!bytes.valid()) {
        return nullptr;
    }
    Py_ssize_t length = 0;
    for (;;) {
        const Py_ssize_t count = bytes.fill(self);
        if (count < 0) {
            return nullptr;
        }
        if (count == 0) {
            break;
        }
        const char* fresh = bytes.data() + bytes.filled() - count;
        if (const void* feed = std::memchr(fresh, '\n', static_cast<size_t>(count)); feed != nullptr) {
            length = static_cast<const char*>(feed) - bytes.data() + 1;
            break;
        }
        length = bytes.filled();
        if (length == limit) {
            return bytes.finish(length);
        }
        if (bytes.full() && !bytes.grow(most)) {
            return nullptr;
        }
    }
    if (bytes.filled() > length) {
        PyHost_ph_Stream::get_instance().seek(self->wrapper.handle, length - bytes.filled(), kFromCurrent);
        if (PyErr_Occurred() != nullptr) {
            return nullptr;
        }
    }
    return bytes.finish(length);
}

PyObject* wrpPye_bltp_stream_read(PyObject* self, PyObject* args) {
    Py_ssize_t size;
    if (!read_size(args, "read", &size) || refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    if (size < 0 || size > kStreamChunk) {
        return fn_stream_read_bytes_impl(stream_of(self), size < 0 ? kNoLimit : size);
    }
    GrowingBytes bytes(size);
    if (!bytes.valid() || bytes.fill(stream_of(self)) < 0) {
        return nullptr;
    }
    return bytes.finish(bytes.filled());
}

PyObject* wrpPye_bltp_stream_readall(PyObject* self, PyObject*) {
    return refuse_closed_stream(stream_of(self)) ? nullptr : fn_stream_read_bytes_impl(stream_of(self), kNoLimit);
}

PyObject* wrpPye_bltp_stream_readinto(PyObject* self, PyObject* buffer) {
    if (refuse_closed_stream(stream_of(self))) {
        return nullptr;
    }
    Py_buffer view;
    if (PyObject_GetBuffer(buffer, &view, PyBUF_WRITABLE) < 0) {
        PyErr_Clear();
        return PyErr_Format(PyExc_TypeError, "readinto argument must be read-write bytes-like object, not '%s'",
                            name_of_argument(buffer));
    }
    if (!PyBuffer_IsContiguous(&view, 'C')) {
        PyBuffer_Release(&view);
        return PyErr_Format(PyExc_TypeError, "readinto argument must be read-write contiguous buffer, not '%s'",
                            name_of_argument(buffer));
    }
    Py_ssize_t filled = 0;
    bool ended = false;
    // The first round always runs: an empty buffer asks the stream for nothing.
    do {
        const Py_ssize_t asked = std::min(view.len - filled, kStreamChunk);
        const Py_ssize_t count = read_chunk(stream_of(self), static_cast<char*>(view.buf) + filled, asked);
        if (count < 0) {
            PyBuffer_Release(&view);
            return nullptr;
        }
        filled += count;
        ended = count < asked;
    } while (!ended && filled < view.len);
    PyBuffer_Release(&view);
    return PyLong_FromSsize_t(filled);
}

PyObject* wrpPye_bltp_stream_readline(PyObject* self, PyObject* args) {
    Py_ssize_t size;
    if (!read_size(args, "readline", &size) || refuse_closed_stream(stream_of(self)) ||
        refuse_unseekable_stream(stream_of(self))) {
        return nullptr;
    }
    return fn_stream_read_line_impl(stream_of(self), size);
}

PyObject* wrpPye_bltp_stream_readlines(PyObject* self, PyObject* args) {
    Py_ssize_t hint;
    if (!read_size(args, "readlines", &hint) || refuse_closed_stream(stream_of(self)) ||
        refuse_unseekable_stream(stream_of(self))) {
        return nullptr;
    }
    PyRef lines = PyRef::steal(PyList_New(0));
    if (!lines) {
        return nullptr;
    }
    if (hint < 1) {
        const PyRef extended = PyRef::steal(PyObject_CallMethod(lines.get(), "extend", "O", self));
        return extended ? lines.release() : nullptr;
    }
    const PyRef iterator = PyRef::steal(PyObject_GetIter(self));
    if (!iterator) {
        return nullptr;
    }
    Py_ssize_t total = 0;
    while (const PyRef line = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (PyList_Append(lines.get(), line.get()) < 0) {
            return nullptr;
        }
        const Py_ssize_t size = PyBytes_GET_SIZE(line.get());
        if (hint - total <= size) {
            break;
        }
        total += size;
    }
    return PyErr_Occurred() != nullptr ? nullptr : lines.release();
}

PyObject* wrpPye_bltp_stream_iter(PyObject* self) {
    if (refuse_closed_stream(stream_of(self)) || refuse_unseekable_stream(stream_of(self))) {
        return nullptr;
    }
    return Py_NewRef(self);
}

// The test for being closed was made by `iter`. An empty line ends the iteration: null without an error.
PyObject* wrpPye_bltp_stream_iternext(PyObject* self) {
    PyRef line = PyRef::steal(fn_stream_read_line_impl(stream_of(self), kNoLimit));
    return line && PyBytes_GET_SIZE(line.get()) > 0 ? line.release() : nullptr;
}
