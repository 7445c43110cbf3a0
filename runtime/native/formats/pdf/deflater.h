// A stream of zlib, and how small data would become in one.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_DEFLATER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_DEFLATER_H

#include <zlib.h>

#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {

class Deflater {
 public:
    Deflater();
    ~Deflater() { deflateEnd(&m_zip); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    void write(std::span<const uint8_t> bytes, ByteSink& out) { run(bytes, Z_NO_FLUSH, out); }
    void finish(ByteSink& out) { run({}, Z_FINISH, out); }
    // How repetitions are looked for in what is written from now on: a strategy of zlib.
    void set_strategy(int strategy, ByteSink& out);

    // The size of these bytes in a stream of their own.
    size_t packed_size(std::span<const uint8_t> bytes, int strategy);

 private:
    void run(std::span<const uint8_t> bytes, int flush, ByteSink& out);

    z_stream m_zip{};
    int m_strategy = Z_DEFAULT_STRATEGY;
    std::vector<uint8_t> m_piece;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_DEFLATER_H
