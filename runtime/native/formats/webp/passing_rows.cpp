// The memory; see passing_rows.h.
#include "runtime/native/formats/webp/passing_rows.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cassert>
#include <utility>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

PassingRows::PassingRows(size_t size) : m_size(size) {
    assert(size > 0);
    void* found = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (found == MAP_FAILED) {
        throw PictureError(Failure::kInternal, "there is no memory for the rows");
    }
    m_data = static_cast<uint8_t*>(found);
}

PassingRows::~PassingRows() {
    if (m_data != nullptr) {
        ::munmap(m_data, m_size);
    }
}

PassingRows::PassingRows(PassingRows&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_given_back(std::exchange(other.m_given_back, 0)) {}

PassingRows& PassingRows::operator=(PassingRows&& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_given_back, other.m_given_back);
    return *this;
}

void PassingRows::give_back(size_t end) {
    assert(end <= m_size);
    // Not for every few rows: a call costs as much as copying some of them.
    constexpr size_t kLeast = size_t{1} << 20;
    const auto page = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    const size_t whole = end / page * page;
    if (whole >= m_given_back + kLeast) {
        ::madvise(m_data + m_given_back, whole - m_given_back, MADV_DONTNEED);  // a failure costs memory alone
        m_given_back = whole;
    }
}

}  // namespace zelmor::imagework
