// The bytes of a source as libtiff asks for them; see tiff_input.h.
#include "runtime/native/formats/tiff/tiff_input.h"

#include <algorithm>
#include <cassert>
#include <cstdio>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

TiffInput& input(thandle_t self) {
    return *static_cast<TiffInput*>(self);
}

// The library's own memory: tables of the strips and their compressed bytes, which are no larger than the file, and a
// few rows of pixels.
tmsize_t most_at_once(uint64_t file_size) {
    return static_cast<tmsize_t>(std::max(limits::kCodecBytes, 2 * std::min(file_size, limits::kOffset)));
}

}  // namespace

tmsize_t TiffInput::read(thandle_t self, void* out, tmsize_t count) {
    TiffInput& in = input(self);
    try {
        const size_t done =
            in.m_source->read_at(in.m_position, {static_cast<uint8_t*>(out), static_cast<size_t>(count)});
        in.m_position += done;
        return static_cast<tmsize_t>(done);
    } catch (...) {
        in.m_log.keep_exception();
        return -1;
    }
}
tmsize_t TiffInput::write(thandle_t, void*, tmsize_t) {
    return -1;
}
toff_t TiffInput::seek(thandle_t self, toff_t offset, int whence) {
    TiffInput& in = input(self);
    const uint64_t base = whence == SEEK_CUR ? in.m_position : whence == SEEK_END ? in.m_source->size() : 0;
    in.m_position = base + offset;
    return in.m_position;
}
int TiffInput::close(thandle_t) {
    return 0;
}
toff_t TiffInput::size(thandle_t self) {
    return input(self).m_source->size();
}
TiffInput::TiffInput(SharedSource source, uint64_t directory) : m_source(std::move(source)) {
    assert(m_source != nullptr);
    // r: reading; h: the header alone; c: strips as the file has them. Bytes in memory are not given to the library as
    // a whole: it takes the alignment of a fax from that of its bytes, which is right in a buffer of its own only.
    m_tiff = TIFFClientOpenExt("TIFF", "rhc", this, &read, &write, &seek, &close, &size, nullptr, nullptr,
                               m_log.open_options(most_at_once(m_source->size())).get());
    m_log.rethrow();
    if (m_tiff == nullptr) {
        throw PictureError(Failure::kDamaged, m_log.error_or("this is no TIFF file"));
    }
    try {
        run("the page has no directory", true, [&](TIFF* tiff) {
            return (directory == 0 ? TIFFReadDirectory(tiff) : TIFFSetSubDirectory(tiff, directory)) == 1;
        });
    } catch (...) {
        TIFFClose(m_tiff);
        throw;
    }
}

TiffInput::~TiffInput() {
    TIFFClose(m_tiff);
}

void TiffInput::settle(const char* what, bool done, bool lenient) {
    m_log.rethrow();
    if (!done || (!lenient && (m_log.has_error() || m_log.data_ended()))) {
        throw PictureError(Failure::kDamaged, m_log.error_or(what));
    }
}

uint16_t TiffInput::u16(uint32_t tag) const {
    uint16_t value = 0;
    TIFFGetFieldDefaulted(m_tiff, tag, &value);
    return value;
}
uint32_t TiffInput::u32(uint32_t tag) const {
    uint32_t value = 0;
    TIFFGetFieldDefaulted(m_tiff, tag, &value);
    return value;
}

}  // namespace zelmor::imagework
