// Growth and copying of an in-memory stream's bytes.
#include "siblings/pycore/byte_store.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace zelmor::siblings {

Py_ssize_t ByteStore::available(Py_ssize_t limit) const {
    const Py_ssize_t rest = std::max<Py_ssize_t>(m_size - m_position, 0);
    return limit < 0 ? rest : std::min(rest, limit);
}

Py_ssize_t ByteStore::available_line(Py_ssize_t limit) const {
    const Py_ssize_t count = available(limit);
    if (count == 0) {
        return 0;
    }
    const char* start = m_data + m_position;
    const void* line_feed = std::memchr(start, '\n', static_cast<size_t>(count));
    return line_feed == nullptr ? count : static_cast<const char*>(line_feed) - start + 1;
}

const char* ByteStore::take(Py_ssize_t count) {
    assert(0 <= count && count <= available(-1));
    if (count == 0) {
        return "";  // the position may lie behind the end, where there is nothing to point to
    }
    const char* start = m_data + m_position;
    m_position += count;
    return start;
}

bool ByteStore::put(const char* bytes, Py_ssize_t count) {
    assert(count >= 0 && (bytes != nullptr || count == 0));
    if (count == 0) {
        return true;
    }
    if (m_position > PY_SSIZE_T_MAX - count) {
        PyErr_SetString(PyExc_OverflowError, "new position too large");
        return false;
    }
    const Py_ssize_t end = m_position + count;
    if (!reserve(end)) {
        return false;
    }
    if (m_position > m_size) {
        std::memset(m_data + m_size, 0, static_cast<size_t>(m_position - m_size));
    }
    std::memcpy(m_data + m_position, bytes, static_cast<size_t>(count));
    m_position = end;
    m_size = std::max(m_size, end);
    return true;
}

void ByteStore::truncate(Py_ssize_t size) {
    assert(size >= 0);
    if (size >= m_size) {
        return;
    }
    m_size = size;
    if (size == 0) {
        PyMem_Free(m_data);
        m_data = nullptr;
        m_capacity = 0;
    } else if (size < m_capacity / 2) {
        // Shrinking does not fail; if it did, the larger block would serve as well.
        if (void* smaller = PyMem_Realloc(m_data, static_cast<size_t>(size)); smaller != nullptr) {
            m_data = static_cast<char*>(smaller);
            m_capacity = size;
        }
    }
}

void ByteStore::clear() {
    PyMem_Free(m_data);
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
    m_position = 0;
}

bool ByteStore::reserve(Py_ssize_t size) {
    assert(size > 0);
    if (size <= m_capacity) {
        return true;
    }
    // An eighth more than asked for, so that many small writes cost linear time; the first block is exact, since a
    // stream made of given bytes is mostly read.
    const Py_ssize_t spare = m_data == nullptr ? 0 : size / 8 + 64;
    const Py_ssize_t capacity = size > PY_SSIZE_T_MAX - spare ? size : size + spare;
    void* larger = PyMem_Realloc(m_data, static_cast<size_t>(capacity));
    if (larger == nullptr) {
        PyErr_NoMemory();
        return false;
    }
    m_data = static_cast<char*>(larger);
    m_capacity = capacity;
    return true;
}

}  // namespace zelmor::siblings
