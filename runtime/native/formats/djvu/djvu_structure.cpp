// Walking over chunks; see djvu_structure.h.
#include "runtime/native/formats/djvu/djvu_structure.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kChunkHeader = 8;
constexpr uint64_t kFormHeader = 12;
constexpr size_t kMostChunks = 1'000'000;  // of all pages, which may lie over each other
constexpr std::string_view kMagic = "AT&T";

// The chunk that begins at an offset.
struct Chunk {
    uint64_t at = 0;    // of the content
    uint64_t size = 0;  // that the header tells
    uint64_t next() const { return at + size + (size & 1); }
};

class PageReader {
 public:
    // `chunks` counts those of all pages.
    PageReader(const ByteReader& in, uint64_t at, size_t& chunks) : m_in(in), m_at(at), m_chunks(chunks) {}

    // Absent where the form is no page.
    std::optional<DjvuPagePlace> read() {
        const bool is_page = m_in.starts_with(m_at + kChunkHeader, "DJVU");
        const bool is_picture =
            m_in.starts_with(m_at + kChunkHeader, "PM44") || m_in.starts_with(m_at + kChunkHeader, "BM44");
        if (!m_in.starts_with(m_at, "FORM") || (!is_page && !is_picture)) {
            return std::nullopt;
        }
        m_page.at = m_at;
        m_page.size = kChunkHeader + m_in.u32(m_at + 4);
        const uint64_t end = m_at + m_page.size;
        uint64_t at = m_at + kFormHeader;
        while (at + kChunkHeader <= end && m_in.has(at, kChunkHeader)) {
            if (++m_chunks > kMostChunks) {
                djvu_damaged("there are too many chunks");
            }
            const Chunk chunk{at + kChunkHeader, m_in.u32(at + 4)};
            if (chunk.size > end - chunk.at) {
                djvu_damaged("a chunk does not end within its page");
            }
            read_chunk(at, chunk);
            m_page.complete = m_page.complete && m_in.has(chunk.at, chunk.size);
            at = chunk.next();
        }
        m_page.complete = m_page.complete && at >= end;
        if (m_page.width == 0 || m_page.height == 0) {
            djvu_damaged("a page has no size");
        }
        m_page.is_gray = m_colors == 0;
        if (m_page.quarter_turns % 2 != 0) {
            std::swap(m_page.width, m_page.height);
        }
        return m_page;
    }

 private:
    void read_chunk(uint64_t header, const Chunk& chunk) {
        const auto is = [&](std::string_view id) { return m_in.starts_with(header, id); };
        if (is("INFO")) {
            read_info(chunk);
        } else if (is("Sjbz") || is("Smmr")) {
            m_page.has_mask = true;
        } else if (is("BG44") || is("PM44") || is("BM44")) {
            m_page.has_background = true;
            read_wavelet(chunk);
        } else if (is("FG44")) {
            m_page.has_foreground = true;
            m_colors++;
            read_wavelet(chunk);
        } else if (is("BG2k") || is("FG2k")) {
            throw PictureError(Failure::kUnsupported,
                               "this is a DjVu file with a layer that is coded as JPEG 2000, which is not read");
        } else if (is("BGjp")) {
            m_page.has_background = true;
            m_colors++;
        } else if (is("FGbz") || is("FGjp")) {
            m_page.has_foreground = true;
            m_colors++;
        } else if (is("TXTa") || is("TXTz")) {
            m_page.has_text = true;
        } else if (is("INCL")) {
            m_page.includes = true;
        }
    }

    void read_info(const Chunk& chunk) {
        if (chunk.size < 5 || !m_in.has(chunk.at, chunk.size)) {
            djvu_damaged("a page does not tell its size");
        }
        m_page.width = m_in.u16(chunk.at);
        m_page.height = m_in.u16(chunk.at + 2);
        m_page.version = m_in.u8(chunk.at + 4) | (chunk.size >= 6 ? m_in.u8(chunk.at + 5) << 8 : 0);
        if (chunk.size >= 8) {
            const int dpi = m_in.u8(chunk.at + 6) | m_in.u8(chunk.at + 7) << 8;
            constexpr int kLeast = 25;
            constexpr int kMost = 6000;
            m_page.dpi = dpi >= kLeast && dpi <= kMost ? dpi : m_page.dpi;
        }
        if (chunk.size >= 10) {
            const int turned = m_in.u8(chunk.at + 9) & 7;
            m_page.quarter_turns = turned == 6 ? 1 : turned == 2 ? 2 : turned == 5 ? 3 : 0;
        }
    }

    // The first chunk of a wavelet picture has its size; the rest refine it.
    void read_wavelet(const Chunk& chunk) {
        if (chunk.size < 2) {
            djvu_damaged("a picture has no header");
        }
        if (m_in.u8(chunk.at) != 0) {
            return;
        }
        if (chunk.size < 8) {
            djvu_damaged("a picture has no header");
        }
        const bool gray = (m_in.u8(chunk.at + 2) & 0x80) != 0;
        m_colors += gray ? 0 : 1;
        const uint64_t width = m_in.u16(chunk.at + 4);
        const uint64_t height = m_in.u16(chunk.at + 6);
        if (m_page.width == 0) {  // a picture that stands alone
            m_page.width = static_cast<int32_t>(width);
            m_page.height = static_cast<int32_t>(height);
            m_page.dpi = 100;
        }
        m_page.wavelet_pixels += (width + 31) / 32 * ((height + 31) / 32) * 1024;
    }

    const ByteReader& m_in;
    uint64_t m_at;
    size_t& m_chunks;
    DjvuPagePlace m_page;
    int m_colors = 0;  // layers that are not gray
};

// Adds the pictures in the form, if it has thumbnails; those that are cut off keep their places.
void add_thumbnails(const ByteReader& in, uint64_t form, size_t& chunks, std::vector<Chunk>& thumbnails) {
    if (!in.starts_with(form, "FORM") || !in.starts_with(form + kChunkHeader, "THUM")) {
        return;
    }
    const uint64_t end = form + kChunkHeader + in.u32(form + 4);
    for (uint64_t at = form + kFormHeader; at + kChunkHeader <= end && in.has(at, kChunkHeader);) {
        if (++chunks > kMostChunks) {
            djvu_damaged("there are too many chunks");
        }
        const Chunk chunk{at + kChunkHeader, in.u32(at + 4)};
        if (in.starts_with(at, "TH44")) {
            thumbnails.push_back(chunk.size <= end - chunk.at && in.has(chunk.at, chunk.size) ? chunk : Chunk{});
        }
        at = chunk.next();
    }
}

uint64_t form_at(const ByteReader& in) {
    return in.starts_with(0, kMagic) ? kMagic.size() : 0;
}

void read_bundle(const ByteReader& in, bool lenient, size_t most, DjvuStructure& file) {
    const uint64_t directory = form_at(in) + kFormHeader;
    if (in.starts_with(directory, "DIR0")) {
        throw PictureError(Failure::kUnsupported,
                           "this is a DjVu document of the form before version 3, which is not "
                           "read");
    }
    const uint64_t at = directory + kChunkHeader;
    const uint64_t size = in.u32(directory + 4);
    const size_t count = in.u16(at + 1);
    if (!in.starts_with(directory, "DIRM") || size < 3) {
        djvu_damaged("the document has no directory");
    }
    if ((in.u8(at) & 0x80) == 0) {
        throw PictureError(Failure::kUnsupported,
                           "this is an indirect DjVu document, whose pages lie in other files; only bundled ones are "
                           "read");
    }
    if ((size - 3) / 4 < count) {
        djvu_damaged("the directory is cut off");
    }
    file.is_bundled = true;
    size_t chunks = 0;
    std::vector<Chunk> thumbnails;
    for (size_t i = 0; i < count && file.pages.size() < most; i++) {
        const uint64_t place = in.u32(at + 3 + 4 * i);
        if (!in.has(place, kFormHeader)) {
            if (lenient) {
                break;  // pages behind it would have other numbers than the library gives them
            }
            djvu_damaged("a page lies behind the end of the file");
        }
        if (auto page = PageReader(in, place, chunks).read()) {
            file.pages.push_back(*page);
        } else {
            add_thumbnails(in, place, chunks, thumbnails);
        }
    }
    for (size_t i = 0; i < std::min(thumbnails.size(), file.pages.size()); i++) {
        file.pages[i].thumbnail_at = thumbnails[i].at;
        file.pages[i].thumbnail_size = static_cast<uint32_t>(thumbnails[i].size);
    }
}

}  // namespace

PixelForm DjvuPagePlace::form() const {
    PixelForm form;
    if (is_bitonal()) {
        form.color = ColorModel::kGray;
        form.bits = 1;
    } else if (is_gray && !has_mask) {
        form.color = ColorModel::kGray;
    }
    return form;
}

void djvu_damaged(const std::string& reason) {
    throw PictureError(Failure::kDamaged, "the DjVu file is damaged: " + reason);
}

bool is_djvu(const ByteReader& file) {
    const uint64_t at = form_at(file);
    if (!file.starts_with(at, "FORM")) {
        return false;
    }
    for (const std::string_view type : {"DJVU", "DJVM", "PM44", "BM44"}) {
        // Without the magic other IFF files begin like that, but none has these types.
        if (file.starts_with(at + kChunkHeader, type)) {
            return true;
        }
    }
    return false;
}

DjvuStructure djvu_structure(const ByteReader& file, bool lenient, size_t most) {
    const ByteReader in = file.in_order(true);
    DjvuStructure found;
    if (!is_djvu(in)) {
        djvu_damaged("it has no signature");
    }
    const uint64_t at = form_at(in);
    found.size = at + kChunkHeader + in.u32(at + 4);
    if (in.starts_with(at + kChunkHeader, "DJVM")) {
        read_bundle(in, lenient, most, found);
    } else {
        size_t chunks = 0;
        if (auto page = PageReader(in, at, chunks).read()) {
            found.pages.push_back(*page);
        }
    }
    if (found.pages.empty()) {
        djvu_damaged("it has no page");
    }
    for (const DjvuPagePlace& page : found.pages) {
        if (!page.complete && !lenient) {
            djvu_damaged("a page is cut off");
        }
    }
    return found;
}

}  // namespace zelmor::imagework
