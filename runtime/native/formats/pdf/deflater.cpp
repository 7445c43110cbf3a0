// Streams of zlib; see deflater.h.
#include "runtime/native/formats/pdf/deflater.h"

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

namespace {

constexpr size_t kPieceOfStream = 64 * 1024;

}  // namespace

Deflater::Deflater() : m_piece(kPieceOfStream) {
    if (deflateInit(&m_zip, Z_DEFAULT_COMPRESSION) != Z_OK) {
        throw PictureError(Failure::kInternal, "the compression cannot be started");
    }
}

void Deflater::run(std::span<const uint8_t> bytes, int flush, ByteSink& out) {
    m_zip.next_in = const_cast<uint8_t*>(bytes.data());
    m_zip.avail_in = static_cast<uInt>(bytes.size());
    do {
        m_zip.next_out = m_piece.data();
        m_zip.avail_out = static_cast<uInt>(m_piece.size());
        deflate(&m_zip, flush);
        if (m_zip.avail_out < m_piece.size()) {
            out.write({m_piece.data(), m_piece.size() - m_zip.avail_out});
        }
    } while (m_zip.avail_out == 0);
}

// What was written before ends a block by the strategy before.
void Deflater::set_strategy(int strategy, ByteSink& out) {
    if (strategy == m_strategy) {
        return;
    }
    run({}, Z_BLOCK, out);
    m_zip.next_out = m_piece.data();
    m_zip.avail_out = static_cast<uInt>(m_piece.size());
    if (deflateParams(&m_zip, Z_DEFAULT_COMPRESSION, strategy) != Z_OK) {
        throw PictureError(Failure::kInternal, "the compression cannot be changed");
    }
    out.write({m_piece.data(), m_piece.size() - m_zip.avail_out});
    m_strategy = strategy;
}

size_t Deflater::packed_size(std::span<const uint8_t> bytes, int strategy) {
    deflateReset(&m_zip);
    deflateParams(&m_zip, Z_DEFAULT_COMPRESSION, strategy);
    m_zip.next_in = const_cast<uint8_t*>(bytes.data());
    m_zip.avail_in = static_cast<uInt>(bytes.size());
    do {
        m_zip.next_out = m_piece.data();
        m_zip.avail_out = static_cast<uInt>(m_piece.size());
        deflate(&m_zip, Z_FINISH);
    } while (m_zip.avail_out == 0);
    return m_zip.total_out;
}

}  // namespace zelmor::imagework
