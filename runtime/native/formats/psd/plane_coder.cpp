// Compressing planes; see plane_coder.h.
#include "runtime/native/formats/psd/plane_coder.h"

#include <array>
#include <new>

#include "runtime/native/formats/psd/pack_bits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Makes differences of samples.
void subtract_neighbors(PsdBytes& row, int depth, std::span<const uint8_t> from) {
    const size_t size = from.size();
    row.assign(from.begin(), from.end());
    if (depth == 16) {
        for (size_t i = 2; i + 1 < size; i += 2) {
            const int difference = (from[i] << 8 | from[i + 1]) - (from[i - 2] << 8 | from[i - 1]);
            row[i] = static_cast<uint8_t>(static_cast<unsigned>(difference) >> 8);
            row[i + 1] = static_cast<uint8_t>(difference);
        }
        return;
    }
    if (depth == 32) {
        // The first bytes of all samples come first, then the second ones, and so on.
        const size_t width = size / 4;
        for (size_t x = 0; x < width; x++) {
            for (size_t i = 0; i < 4; i++) {
                row[i * width + x] = from[4 * x + i];
            }
        }
    }
    for (size_t i = size; i-- > 1;) {
        row[i] = static_cast<uint8_t>(row[i] - row[i - 1]);
    }
}

}  // namespace

PlaneCoder::PlaneCoder(PsdCompression compression, int depth, bool large)
    : m_compression(compression), m_depth(depth), m_large(large), m_check(adler32(0, nullptr, 0)) {
    if (compression == PsdCompression::kZip || compression == PsdCompression::kZipWithPrediction) {
        // Without a header and an end, so that the pieces of several planes make one stream.
        constexpr int kWindow = -15;
        constexpr int kMemory = 8;
        if (deflateInit2(&m_zip, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindow, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::bad_alloc();
        }
        m_open = true;
    }
}

PlaneCoder::~PlaneCoder() {
    if (m_open) {
        deflateEnd(&m_zip);
    }
}

void PlaneCoder::add(std::span<const uint8_t> row) {
    m_size += row.size();
    switch (m_compression) {
        case PsdCompression::kRaw:
            put_bytes(m_data, row);
            return;
        case PsdCompression::kPackBits: {
            const size_t before = m_data.size();
            pack_bits(row, m_data);
            const size_t length = m_data.size() - before;
            if (!m_large && length > 0xFFFF) {
                throw PictureError(Failure::kEncoding,
                                   "a row is too long for the run-length coding of a PSD; a PSB has longer ones");
            }
            m_lengths.push_back(static_cast<uint32_t>(length));
            return;
        }
        case PsdCompression::kZip:
            m_row.assign(row.begin(), row.end());
            break;
        case PsdCompression::kZipWithPrediction:
            subtract_neighbors(m_row, m_depth, row);
            break;
    }
    m_check = adler32(m_check, m_row.data(), static_cast<uInt>(m_row.size()));
    m_zip.next_in = m_row.data();
    m_zip.avail_in = static_cast<uInt>(m_row.size());
    deflate_all(Z_NO_FLUSH);
}

void PlaneCoder::finish() {
    if (m_open) {
        m_zip.avail_in = 0;
        deflate_all(Z_FULL_FLUSH);
        deflateEnd(&m_zip);
        m_open = false;
    }
}

void PlaneCoder::deflate_all(int flush) {
    std::array<uint8_t, size_t{16} << 10> piece;
    do {
        m_zip.next_out = piece.data();
        m_zip.avail_out = static_cast<uInt>(piece.size());
        deflate(&m_zip, flush);
        put_bytes(m_data, std::span(piece).first(piece.size() - m_zip.avail_out));
    } while (m_zip.avail_out == 0);
}

void put_planes(PsdBytes& out, PsdCompression compression, bool large, std::span<const PlaneCoder* const> planes) {
    put_number(out, static_cast<uint64_t>(compression), 2);
    const bool zipped = compression == PsdCompression::kZip || compression == PsdCompression::kZipWithPrediction;
    if (zipped) {
        put_number(out, 0x789C, 2);  // zlib with its usual window and level
    }
    for (const PlaneCoder* plane : planes) {
        for (const uint32_t length : plane->lengths()) {
            put_number(out, length, large ? 4 : 2);
        }
    }
    uLong check = adler32(0, nullptr, 0);
    for (const PlaneCoder* plane : planes) {
        put_bytes(out, plane->data());
        check = adler32_combine(check, plane->check(), static_cast<z_off_t>(plane->size()));
    }
    if (zipped) {
        put_number(out, 0x0300, 2);  // an empty block, the last one
        put_number(out, check, 4);
    }
}

}  // namespace zelmor::imagework
