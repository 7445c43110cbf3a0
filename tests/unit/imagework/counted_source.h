// Data in memory that note how they are read: a codec has to read no more of a file than it needs.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_COUNTED_SOURCE_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_COUNTED_SOURCE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

class CountedSource final : public DataSource {
 public:
    explicit CountedSource(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        const size_t count = offset < size() ? std::min<uint64_t>(out.size(), size() - offset) : 0;
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(count > 0 ? offset : 0), count, out.begin());
        ++reads;
        read += count;
        longest = std::max(longest, out.size());
        furthest = std::max(furthest, offset + count);
        return count;
    }

    mutable size_t reads = 0;       // how often it was read
    mutable uint64_t read = 0;      // bytes, all in all
    mutable size_t longest = 0;     // bytes that were asked for at once
    mutable uint64_t furthest = 0;  // where the last byte that was read ends

 private:
    std::vector<uint8_t> m_bytes;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_COUNTED_SOURCE_H
