// A zlib stream of a file, decompressed piece by piece from any number of places.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_ZIP_STREAM_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_ZIP_STREAM_H

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

class ZipStream {
 public:
    ZipStream(SharedSource source, const PsdRange& range);
    ~ZipStream();
    ZipStream(const ZipStream&) = delete;
    ZipStream& operator=(const ZipStream&) = delete;

    // A second stream at the place where this one is. It costs the window of the decompression, 32 KB.
    std::unique_ptr<ZipStream> copy();

    // Fills all of it; false where the data end before or make no sense, then and ever after. Where a stream ends and
    // another one follows, it goes on with that.
    [[nodiscard]] bool read(std::span<uint8_t> out);
    [[nodiscard]] bool skip(uint64_t count);
    // Why the data could not be read; null while they can.
    const char* fault() const { return m_fault; }

 private:
    struct Unopened {};
    ZipStream(SharedSource source, const PsdRange& rest, Unopened);

    SharedSource m_source;
    uint64_t m_at;  // of the file: the next byte that is read into the buffer
    uint64_t m_end;
    std::vector<uint8_t> m_buffer;
    z_stream m_zip{};
    const char* m_fault = nullptr;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_ZIP_STREAM_H
