// A stream in memory. Its position may lie behind its end; writing there fills the gap with zeros.
#include <algorithm>
#include <string>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

using api::SeekOrigin;

int64_t moved(int64_t base, int64_t offset) {
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        throw ManagedException("IOException",
                               "An attempt was made to move the position before the beginning of the "
                               "stream (offset " +
                                   std::to_string(offset) + ").");
    }
    return target;
}

class MemoryStream final : public ManagedStream {
 public:
    explicit MemoryStream(std::vector<std::byte> content)
        : ManagedStream(intern_type("System.IO.MemoryStream", TypeKind::kClass, &stream_type())),
          m_content(std::move(content)) {}

    bool can_read() const override { return !disposed(); }
    bool can_write() const override { return !disposed(); }
    bool can_seek() const override { return !disposed(); }
    int64_t length() override {
        require_live();
        return static_cast<int64_t>(m_content.size());
    }
    int64_t position() override {
        require_live();
        return m_position;
    }
    int64_t seek(int64_t offset, SeekOrigin origin) override {
        require_live();
        const int64_t base = origin == SeekOrigin::kBegin ? 0 : origin == SeekOrigin::kCurrent ? m_position : length();
        return m_position = moved(base, offset);
    }
    void set_length(int64_t length) override {
        require_live();
        if (length < 0) {
            throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        }
        m_content.resize(static_cast<size_t>(length));
        m_position = std::min(m_position, length);
    }
    size_t read(std::span<std::byte> into) override {
        require_live();
        if (m_position >= length()) {
            return 0;
        }
        const size_t count = std::min(into.size(), m_content.size() - static_cast<size_t>(m_position));
        std::copy_n(m_content.begin() + m_position, count, into.begin());
        m_position += static_cast<int64_t>(count);
        return count;
    }
    void write(std::span<const std::byte> from) override {
        require_live();
        const size_t end = static_cast<size_t>(m_position) + from.size();
        if (end > m_content.size()) {
            m_content.resize(end);
        }
        std::copy(from.begin(), from.end(), m_content.begin() + m_position);
        m_position += static_cast<int64_t>(from.size());
    }
    void flush() override {}

 private:
    std::vector<std::byte> m_content;
    int64_t m_position = 0;
};

}  // namespace

Ref<ManagedStream> make_memory_stream(std::vector<std::byte> content) {
    return make_ref<MemoryStream>(std::move(content));
}

}  // namespace zelmor::embed
