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

TiffOutput::TiffOutput(EditableFile& file, bool big_tiff, bool big_endian)
    : m_form{big_tiff}, m_big_endian(big_endian), m_file(file) {
    assert(file.size() == 0);
    m_file.write_at(0, std::span(m_header).first(m_form.header_size()));
    m_link_at = m_form.link_at();
}

// A page that is not finished is given up with the file: what the library writes on closing goes nowhere.
TiffOutput::~TiffOutput() {
    m_given_up = true;
    close_page();
}

void TiffOutput::close_page() {
    if (m_tiff != nullptr) {
        TIFFClose(std::exchange(m_tiff, nullptr));
    }
}

// Pages are linked here, and not by the library, which would have to read those before.
tmsize_t TiffOutput::read(thandle_t, void*, tmsize_t) {
    return -1;
}
tmsize_t TiffOutput::write(thandle_t self, void* bytes, tmsize_t count) {
    TiffOutput& to = output(self);
    if (to.m_given_up) {
        return count;
    }
    try {
        to.put(to.m_position, static_cast<const uint8_t*>(bytes), static_cast<size_t>(count));
    } catch (...) {
        to.m_log.keep_exception();
        to.m_given_up = true;
        return -1;
    }
    to.m_position += static_cast<uint64_t>(count);
    return count;
}
toff_t TiffOutput::seek(thandle_t self, toff_t offset, int whence) {
    TiffOutput& to = output(self);
    const uint64_t base = whence == SEEK_CUR ? to.m_position : whence == SEEK_END ? to.m_file.size() : 0;
    to.m_position = base + offset;
    return to.m_position;
}
int TiffOutput::close(thandle_t) {
    return 0;
}
toff_t TiffOutput::size(thandle_t self) {
    return output(self).m_file.size();
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
    m_file.write_at(at, {bytes, count});
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
    constexpr tmsize_t kNoLimit = 0;  // strips have the sizes that this runtime gives them
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
        m_file.write_at(0, std::span(m_header).first(m_form.header_size()));
    }
    link(directory);
    m_link_at = link_of(directory);
}

void TiffOutput::link(uint64_t directory) {
    std::array<uint8_t, 8> number{};
    const uint64_t size = m_form.word();
    for (uint64_t i = 0; i < size; i++) {
        number[i] = static_cast<uint8_t>(directory >> 8 * (m_big_endian ? size - 1 - i : i));
    }
    m_file.write_at(m_link_at, std::span(number).first(size));
}

uint64_t TiffOutput::link_of(uint64_t directory) const {
    std::array<uint8_t, 8> head{};
    const auto bytes = std::span(head).first(m_form.directory_head());
    m_file.read_at(directory, bytes);
    return m_form.entry_at(directory, m_form.entries(ByteReader(bytes, m_big_endian), 0));
}

}  // namespace zelmor::imagework
