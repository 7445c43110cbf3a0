// Sources of bytes in memory; see data_source.h.
#include "runtime/native/imagework/pixels/data_source.h"

#include <algorithm>

namespace zelmor::imagework {
namespace {

class MemorySource final : public DataSource {
 public:
    explicit MemorySource(std::vector<uint8_t> bytes) : m_owned(std::move(bytes)), m_bytes(m_owned) {}
    explicit MemorySource(std::span<const uint8_t> borrowed) : m_bytes(borrowed) {}

    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        if (offset >= m_bytes.size()) {
            return 0;
        }
        const size_t count = std::min<uint64_t>(out.size(), m_bytes.size() - offset);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, out.begin());
        return count;
    }
    std::span<const uint8_t> in_memory() const override { return m_bytes; }

 private:
    std::vector<uint8_t> m_owned;
    std::span<const uint8_t> m_bytes;
};

}  // namespace

SharedSource memory_source(std::vector<uint8_t> bytes) {
    return std::make_shared<const MemorySource>(std::move(bytes));
}

SharedSource borrowed_source(std::span<const uint8_t> bytes) {
    return std::make_shared<const MemorySource>(bytes);
}

std::vector<uint8_t> all_bytes(const DataSource& source) {
    const auto held = source.in_memory();
    if (!held.empty()) {
        return {held.begin(), held.end()};
    }
    std::vector<uint8_t> bytes(source.size());
    bytes.resize(source.read_at(0, bytes));
    return bytes;
}

}  // namespace zelmor::imagework
