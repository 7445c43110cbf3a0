// Decompression by zlib; see zip_stream.h.
#include "runtime/native/formats/psd/zip_stream.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kBuffer = size_t{16} << 10;

void require(int result) {
    if (result == Z_MEM_ERROR) {
        throw std::bad_alloc();
    }
    if (result != Z_OK) {
        throw PictureError(Failure::kInternal, "zlib cannot be used");
    }
}

}  // namespace

ZipStream::ZipStream(SharedSource source, const PsdRange& range, Unopened)
    : m_source(std::move(source)), m_at(range.at), m_end(range.end()), m_buffer(kBuffer) {}

ZipStream::ZipStream(SharedSource source, const PsdRange& range) : ZipStream(std::move(source), range, Unopened{}) {
    require(inflateInit(&m_zip));
}

ZipStream::~ZipStream() {
    inflateEnd(&m_zip);
}

std::unique_ptr<ZipStream> ZipStream::copy() {
    const uint64_t at = m_at - m_zip.avail_in;
    std::unique_ptr<ZipStream> other(new ZipStream(m_source, {at, m_end - at}, Unopened{}));
    require(inflateCopy(&other->m_zip, &m_zip));
    other->m_zip.avail_in = 0;
    other->m_fault = m_fault;
    return other;
}

bool ZipStream::read(std::span<uint8_t> out) {
    const auto fail = [&](const char* text) {
        m_fault = text;
        return false;
    };
    if (m_fault != nullptr) {
        return fail("the rest of the compressed data is lost");
    }
    while (!out.empty()) {
        if (m_zip.avail_in == 0) {
            const auto wanted = static_cast<size_t>(std::min<uint64_t>(m_buffer.size(), m_end - m_at));
            const size_t found = m_source->read_at(m_at, std::span(m_buffer).first(wanted));
            if (found == 0) {
                return fail("the compressed data end too early");
            }
            m_at += found;
            m_zip.next_in = m_buffer.data();
            m_zip.avail_in = static_cast<uInt>(found);
        }
        const auto room = static_cast<uInt>(std::min<size_t>(out.size(), std::numeric_limits<uInt>::max()));
        m_zip.next_out = out.data();
        m_zip.avail_out = room;
        const int result = inflate(&m_zip, Z_NO_FLUSH);
        out = out.subspan(room - m_zip.avail_out);
        if (result == Z_STREAM_END && !out.empty()) {
            require(inflateReset(&m_zip));
        } else if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        } else if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
            return fail("the compressed data are damaged");
        }
    }
    return true;
}

bool ZipStream::skip(uint64_t count) {
    std::array<uint8_t, 4096> rest;
    while (count > 0) {
        const auto part = static_cast<size_t>(std::min<uint64_t>(count, rest.size()));
        if (!read(std::span(rest).first(part))) {
            return false;
        }
        count -= part;
    }
    return true;
}

}  // namespace zelmor::imagework
