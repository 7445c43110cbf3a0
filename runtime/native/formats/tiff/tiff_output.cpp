// A common file behind the library's separate ones; see tiff_output.h.
#include "runtime/native/formats/tiff/tiff_output.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <utility>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

TiffOutput& output(thandle_t self) {
    return *static_cast<TiffOutput*>(self);
}

}  // namespace

TiffOutput::TiffOutput(bool big_tiff, bool big_endian) : m_form{big_tiff}, m_big_endian(big_endian) {
    m_bytes.resize(m_form.header_size());
    m_link_at = m_form.link_at();
}

TiffOutput::~TiffOutput() {
    close_page();
}

// A page that is not finished is given up with the file: what the library writes on closing goes nowhere of interest.
void TiffOutput::close_page() {
    if (m_tiff != nullptr) {
        TIFFClose(std::exchange(m_tiff, nullptr));
    }
}

tmsize_t TiffOutput::read(thandle_t self, void* out, tmsize_t count) {
    TiffOutput& to = output(self);
    const uint64_t header = to.m_form.header_size();
    auto* bytes = static_cast<uint8_t*>(out);
    tmsize_t done = 0;
    for (; done < count && to.m_position < to.m_bytes.size(); done++, to.m_position++) {
        bytes[done] = to.m_position < header ? to.m_header[to.m_position] : to.m_bytes[to.m_position];
    }
    return done;
}
tmsize_t TiffOutput::write(thandle_t self, void* bytes, tmsize_t count) {
    TiffOutput& to = output(self);
    try {
        to.put(to.m_position, static_cast<const uint8_t*>(bytes), static_cast<size_t>(count));
    } catch (...) {
        to.m_log.keep_exception();
        return -1;
    }
    to.m_position += static_cast<uint64_t>(count);
    return count;
}
toff_t TiffOutput::seek(thandle_t self, toff_t offset, int whence) {
    TiffOutput& to = output(self);
    const uint64_t base = whence == SEEK_CUR ? to.m_position : whence == SEEK_END ? to.m_bytes.size() : 0;
    to.m_position = base + offset;
    return to.m_position;
}
int TiffOutput::close(thandle_t) {
    return 0;
}
toff_t TiffOutput::size(thandle_t self) {
    return output(self).m_bytes.size();
}

void TiffOutput::put(uint64_t at, const uint8_t* bytes, size_t count) {
    const uint64_t header = m_form.header_size();
    if (at < header) {
        assert(count <= header - at);
        std::copy_n(bytes, count, m_header.begin() + static_cast<std::ptrdiff_t>(at));
        return;
    }
    constexpr uint64_t kMostOfClassic = 0xFFFFFFFF;
    if (!m_form.big && at + count > kMostOfClassic) {
        throw PictureError(Failure::kTooLarge, "the picture does not fit the 4 gigabytes of a TIFF file");
    }
    if (at + count > m_bytes.size()) {
        m_bytes.resize(at + count);
    }
    std::copy_n(bytes, count, m_bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

void TiffOutput::settle(const char* what, bool done) {
    m_log.rethrow();
    if (!done || m_log.has_error()) {
        throw PictureError(Failure::kEncoding, m_log.error_or(what));
    }
}

void TiffOutput::begin_page() {
    assert(m_tiff == nullptr);
    m_position = 0;
    const std::string mode = std::string("w") + (m_form.big ? "8" : "4") + (m_big_endian ? "b" : "l");
    constexpr tmsize_t kNoLimit = 0;  // the picture is in memory already
    m_log.start_step();
    m_tiff = TIFFClientOpenExt("TIFF", mode.c_str(), this, &read, &write, &seek, &close, &size, nullptr, nullptr,
                               m_log.open_options(kNoLimit).get());
    settle("the page cannot be begun", m_tiff != nullptr);
}

void TiffOutput::end_page() {
    run("the directory cannot be written", [](TIFF* tiff) { return TIFFWriteDirectory(tiff) == 1; });
    const ByteReader header(m_header, m_big_endian);
    const uint64_t directory = m_form.read_word(header, m_form.link_at());
    close_page();
    m_log.rethrow();
    if (m_link_at < m_form.header_size()) {
        std::copy_n(m_header.begin(), m_form.header_size(), m_bytes.begin());
    }
    link(directory);
    const ByteReader in(m_bytes, m_big_endian);
    m_link_at = m_form.entry_at(directory, m_form.entries(in, directory));
}

void TiffOutput::link(uint64_t directory) {
    const uint64_t size = m_form.word();
    for (uint64_t i = 0; i < size; i++) {
        m_bytes[m_link_at + i] = static_cast<uint8_t>(directory >> 8 * (m_big_endian ? size - 1 - i : i));
    }
}

std::vector<uint8_t> TiffOutput::take() {
    assert(m_tiff == nullptr);
    return std::move(m_bytes);
}

}  // namespace zelmor::imagework
