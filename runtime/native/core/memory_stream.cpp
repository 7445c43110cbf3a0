// A stream in memory. Its position may lie behind its end; writing there fills the gap with zeros.
#include <algorithm>
#include <string>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/stream.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

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
          content_(std::move(content)) {}

    bool can_read() const override { return !disposed(); }
    bool can_write() const override { return !disposed(); }
    bool can_seek() const override { return !disposed(); }
    int64_t length() override {
        require_live();
        return static_cast<int64_t>(content_.size());
    }
    int64_t position() override {
        require_live();
        return position_;
    }
    int64_t seek(int64_t offset, SeekFrom from) override {
        require_live();
        const int64_t base = from == SeekFrom::kBegin ? 0 : from == SeekFrom::kCurrent ? position_ : length();
        return position_ = moved(base, offset);
    }
    void set_length(int64_t length) override {
        require_live();
        if (length < 0) throw_out_of_range("value", "The length " + std::to_string(length) + " is negative.");
        content_.resize(static_cast<size_t>(length));
        position_ = std::min(position_, length);
    }
    size_t read(std::span<std::byte> into) override {
        require_live();
        if (position_ >= length()) return 0;
        const size_t count = std::min(into.size(), content_.size() - static_cast<size_t>(position_));
        std::copy_n(content_.begin() + position_, count, into.begin());
        position_ += static_cast<int64_t>(count);
        return count;
    }
    void write(std::span<const std::byte> from) override {
        require_live();
        const size_t end = static_cast<size_t>(position_) + from.size();
        if (end > content_.size()) content_.resize(end);
        std::copy(from.begin(), from.end(), content_.begin() + position_);
        position_ += static_cast<int64_t>(from.size());
    }
    void flush() override {}

 private:
    std::vector<std::byte> content_;
    int64_t position_ = 0;
};

}  // namespace

Ref<ManagedStream> make_memory_stream(std::vector<std::byte> content) {
    return make_ref<MemoryStream>(std::move(content));
}

}  // namespace zelmor::embed
