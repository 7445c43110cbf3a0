// The bytes of a data source as a stream of LibRaw's.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_STREAM_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_STREAM_H

#include <libraw/libraw_datastream.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

// The library goes on behind the end of a file, with zeros, for as long as the file claims that there is more. After
// many of such reads the stream calls `give_up`, which is to make the library stop.
class RawStream final : public LibRaw_abstract_datastream {
 public:
    RawStream(SharedSource source, std::function<void()> give_up);

    int valid() override { return 1; }
    int read(void* out, size_t size, size_t count) override;
    int seek(INT64 offset, int whence) override;
    INT64 tell() override { return static_cast<INT64>(m_at); }
    INT64 size() override { return static_cast<INT64>(m_size); }
    int get_char() override;
    char* gets(char* out, int size) override;
    int scanf_one(const char* format, void* value) override;
    int eof() override { return m_at >= m_size ? 1 : 0; }
    void* make_jas_stream() override { return nullptr; }

 private:
    bool fill();
    void miss();

    SharedSource m_source;
    std::function<void()> m_give_up;
    uint64_t m_size;
    uint64_t m_at = 0;
    std::vector<uint8_t> m_window;
    uint64_t m_window_at = 0;
    size_t m_window_size = 0;
    uint32_t m_misses = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_RAW_STREAM_H
