// The bytes behind an in-memory stream, and the position in them.
//
// It knows nothing of Python objects: it grows, searches and copies. It must not be resized while a view of its memory
// exists; the stream counts the views.
#ifndef ZELMOR_SIBLINGS_PYCORE_BYTE_STORE_H
#define ZELMOR_SIBLINGS_PYCORE_BYTE_STORE_H

#include <cassert>

#include "pyshell/python.h"

namespace zelmor::siblings {

class ByteStore {
 public:
    ByteStore() = default;
    ByteStore(const ByteStore&) = delete;
    ByteStore& operator=(const ByteStore&) = delete;
    ~ByteStore() { clear(); }

    char* data() const { return m_data; }
    Py_ssize_t size() const { return m_size; }
    Py_ssize_t capacity() const { return m_capacity; }
    Py_ssize_t position() const { return m_position; }
    void set_position(Py_ssize_t position) {  // can be beyond the end
        assert(position >= 0);
        m_position = position;
    }

    // Bytes from the position to the end, at most `limit` of them unless that is negative.
    Py_ssize_t available(Py_ssize_t limit) const;

    // The same, but at most up to the next line feed, which is included.
    Py_ssize_t available_line(Py_ssize_t limit) const;

    // The start of the next `count` bytes, which must be available; moves the position behind them.
    const char* take(Py_ssize_t count);

    // Overwrites and extends from the position on, filling a gap before it with zeros; false with a Python error.
    // `bytes` may not point into this store.
    bool put(const char* bytes, Py_ssize_t count);

    // Cuts off the bytes beyond `size`; a shorter store stays as it is. The position does not move.
    void truncate(Py_ssize_t size);

    // Removes all bytes, frees the memory and sets the position to 0.
    void clear();

 private:
    bool reserve(Py_ssize_t size);

    char* m_data = nullptr;
    Py_ssize_t m_size = 0;
    Py_ssize_t m_capacity = 0;
    Py_ssize_t m_position = 0;
};

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYCORE_BYTE_STORE_H
