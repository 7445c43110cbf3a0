// A window on the bytes of a data source, for code that walks over a file's structure.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SOURCE_BYTES_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SOURCE_BYTES_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// Bytes that are read of an open file at a time. A walk from one header to another, far away, does with less.
constexpr size_t kUsualWindow = size_t{64} << 10;

// Of bytes in memory the window is all of them. Of an open file it is a piece around the last question, so that steps
// of a few bytes cost no call each. It is used by one thread at a time.
class SourceBytes final : public ByteSource {
 public:
    static constexpr size_t kUsualWindow = size_t{64} << 10;
    static constexpr size_t kHeaderWindow = 4096;  // for a file of which only the header is looked at
    // `jump` is the size of a window that does not begin near the end of the last one; windows that follow each other
    // double up to the usual size. With a small one, a walk that skips long data does not read them.
    explicit SourceBytes(SharedSource source, size_t jump = kUsualWindow);

    uint64_t size() const { return m_size; }
    const SharedSource& source() const { return m_source; }
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override;
    bool has(uint64_t offset, uint64_t length) override { return offset <= m_size && length <= m_size - offset; }
    // Copies bytes from `offset` on; how many there were. Long pieces leave the window as it is.
    size_t copy(uint64_t offset, std::span<uint8_t> out);

 private:
    // How many bytes to read at an offset that the window does not cover.
    uint64_t next_window(uint64_t offset) const;

    SharedSource m_source;
    size_t m_jump;
    uint64_t m_size;
    std::span<const uint8_t> m_all;  // of bytes in memory
    std::vector<uint8_t> m_window;
    uint64_t m_window_at = 0;
    size_t m_window_size = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_SOURCE_BYTES_H
