// Reading for LibRaw; see raw_stream.h.
#include "runtime/native/formats/dng/raw_stream.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <span>

namespace zelmor::imagework {
namespace {

constexpr size_t kWindow = size_t{64} << 10;
constexpr uint32_t kMostMisses = 1U << 16;

}  // namespace

RawStream::RawStream(SharedSource source, std::function<void()> give_up)
    : m_source(std::move(source)), m_give_up(std::move(give_up)), m_size(m_source->size()), m_window(kWindow) {
    assert(m_give_up != nullptr);
}

// Brings the byte at the position into the window. False at the end of the file.
bool RawStream::fill() {
    if (m_at >= m_window_at && m_at < m_window_at + m_window_size) {
        return true;
    }
    m_window_at = m_at;
    m_window_size = m_at < m_size ? m_source->read_at(m_at, m_window) : 0;
    return m_window_size > 0;
}

void RawStream::miss() {
    if (++m_misses == kMostMisses) {
        m_give_up();
    }
}

int RawStream::read(void* out, size_t size, size_t count) {
    uint64_t wanted = 0;
    if (__builtin_mul_overflow(size, count, &wanted) || wanted == 0) {
        return 0;
    }
    auto* const bytes = static_cast<uint8_t*>(out);
    uint64_t done = 0;
    if (wanted >= kWindow) {
        done = m_at < m_size ? m_source->read_at(m_at, {bytes, static_cast<size_t>(wanted)}) : 0;
        m_at += done;
    } else {
        while (done < wanted && fill()) {
            const auto skip = static_cast<size_t>(m_at - m_window_at);
            const size_t step = std::min<uint64_t>(wanted - done, m_window_size - skip);
            std::memcpy(bytes + done, m_window.data() + skip, step);
            done += step;
            m_at += step;
        }
    }
    if (done < wanted) {
        miss();
    }
    return static_cast<int>(done / size);
}

int RawStream::seek(INT64 offset, int whence) {
    const auto from = whence == SEEK_CUR   ? static_cast<INT64>(m_at)
                      : whence == SEEK_END ? static_cast<INT64>(m_size)
                                           : 0;
    INT64 to = 0;
    if (__builtin_add_overflow(from, offset, &to)) {
        to = static_cast<INT64>(m_size);
    }
    m_at = static_cast<uint64_t>(std::clamp<INT64>(to, 0, static_cast<INT64>(m_size)));
    return 0;
}

int RawStream::get_char() {
    if (!fill()) {
        miss();
        return -1;
    }
    return m_window[static_cast<size_t>(m_at++ - m_window_at)];
}

// A line with its end, as fgets() gives it.
char* RawStream::gets(char* out, int size) {
    if (size <= 0) {
        return nullptr;
    }
    int count = 0;
    while (count + 1 < size) {
        const int byte = get_char();
        if (byte < 0) {
            break;
        }
        out[count++] = static_cast<char>(byte);
        if (byte == '\n') {
            break;
        }
    }
    out[count] = '\0';
    return count > 0 ? out : nullptr;
}

// Numbers in letters occur in other raw formats alone. They all have four bytes, which are not left as they were.
int RawStream::scanf_one(const char*, void* value) {
    std::memset(value, 0, 4);
    return -1;
}

}  // namespace zelmor::imagework
