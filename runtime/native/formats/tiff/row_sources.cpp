// The kinds of sources of rows; see row_sources.h.
#include "runtime/native/formats/tiff/row_sources.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/formats/tiff/piece_sizes.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Puts the samples of one band where they belong among those of the other bands.
void scatter(const PixelForm& form, const uint8_t* samples, size_t count, int band, uint8_t* row) {
    const size_t size = sample_size(form.sample);
    const size_t step = form.pixel_size();
    uint8_t* to = row + static_cast<size_t>(band) * size;
    for (size_t i = 0; i < count; i++, to += step, samples += size) {
        std::memcpy(to, samples, size);
    }
}

// Samples of a plane, packed as in the file, into a row of pixels.
class Unpacker {
 public:
    explicit Unpacker(const PageLayout& layout) : m_layout(layout) {}

    // `pixels` of them, of the plane given, to the place of the first pixel.
    void unpack(const uint8_t* packed, size_t pixels, int plane, uint8_t* out) {
        if (!m_layout.separate) {
            unpack_samples(m_layout.form, packed, pixels * static_cast<size_t>(m_layout.samples), out);
            return;
        }
        m_band.resize(pixels * sample_size(m_layout.form.sample));
        unpack_samples(m_layout.form, packed, pixels, m_band.data());
        scatter(m_layout.form, m_band.data(), pixels, plane, out);
    }

 private:
    const PageLayout& m_layout;
    std::vector<uint8_t> m_band;
};

uint64_t packed_row_size(const PageLayout& layout, uint32_t pixels) {
    return packed_size(uint64_t{pixels} * static_cast<uint64_t>(layout.samples_of_plane()), layout.bits);
}

// Compressed strips. Every plane has a decoder of its own, since a decoder goes through its strips row by row.
class CompressedStrips final : public RowSource {
 public:
    explicit CompressedStrips(const Page& page)
        : m_page(page), m_row_size(packed_row_size(page.layout, page.layout.width)), m_unpacker(page.layout) {
        for (int plane = 1; plane < page.layout.planes(); plane++) {
            m_others.push_back(page.open_again());
        }
        if (TIFFScanlineSize64(page.input.get()) != m_row_size) {
            throw PictureError(Failure::kUnsupported, "TIFF data with rows of another size than their samples take");
        }
        m_direct = !page.layout.separate && !is_packed(page.layout.form);
        if (!m_direct) {
            m_packed.resize(m_row_size);
        }
    }

    void read(uint32_t y, uint8_t* row) override {
        const uint32_t strip = y / m_page.layout.rows_per_strip;
        if (strip == m_lost_strip) {
            throw PictureError(Failure::kDamaged, "the rest of the strip is lost");
        }
        for (int plane = 0; plane < m_page.layout.planes(); plane++) {
            TiffInput& input = plane == 0 ? m_page.input : *m_others[static_cast<size_t>(plane) - 1];
            uint8_t* packed = m_direct ? row : m_packed.data();
            try {
                input.run("a row cannot be decoded", m_page.lenient, [&](TIFF* tiff) {
                    return TIFFReadScanline(tiff, packed, y, static_cast<uint16_t>(plane)) == 1;
                });
            } catch (const PictureError&) {
                m_lost_strip = strip;
                throw;
            }
            if (!m_direct) {
                m_unpacker.unpack(packed, m_page.layout.width, plane, row);
            }
        }
    }

 private:
    static constexpr uint32_t kNoStrip = 0xFFFFFFFF;

    Page m_page;
    std::vector<std::unique_ptr<TiffInput>> m_others;
    uint64_t m_row_size;
    bool m_direct = false;
    uint32_t m_lost_strip = kNoStrip;
    std::vector<uint8_t> m_packed;
    Unpacker m_unpacker;
};

// Strips without compression are read piece by piece: the library would hold a whole strip, which may be the picture.
class PlainStrips final : public RowSource {
 public:
    explicit PlainStrips(const Page& page)
        : m_page(page),
          m_row_size(packed_row_size(page.layout, page.layout.width)),
          m_planes(static_cast<size_t>(page.layout.planes())),
          m_unpacker(page.layout) {}

    void read(uint32_t y, uint8_t* row) override {
        for (int plane = 0; plane < m_page.layout.planes(); plane++) {
            m_unpacker.unpack(packed(y, plane), m_page.layout.width, plane, row);
        }
    }

 private:
    struct Rows {
        uint32_t first = 0;
        uint32_t count = 0;
        std::vector<uint8_t> bytes;
    };

    const uint8_t* packed(uint32_t y, int plane) {
        Rows& rows = m_planes[static_cast<size_t>(plane)];
        if (y < rows.first || y >= rows.first + rows.count) {
            fetch(y, plane, rows);
        }
        return rows.bytes.data() + (y - rows.first) * m_row_size;
    }

    void fetch(uint32_t y, int plane, Rows& rows) const {
        const PageLayout& layout = m_page.layout;
        TIFF* tiff = m_page.input.get();
        const uint32_t in_strip = y % layout.rows_per_strip;
        const uint32_t left = std::min(layout.rows_per_strip - in_strip, layout.height - y);
        constexpr uint64_t kBytes = 1 << 18;
        const uint64_t wanted = std::clamp<uint64_t>(kBytes / m_row_size, 1, left);

        const uint32_t strip = TIFFComputeStrip(tiff, y, static_cast<uint16_t>(plane));
        const uint64_t skipped = in_strip * m_row_size;
        const uint64_t stored = TIFFGetStrileByteCount(tiff, strip);
        const uint64_t size = std::min(wanted * m_row_size, stored > skipped ? stored - skipped : 0);
        if (size < m_row_size) {
            throw PictureError(Failure::kDamaged, "strip " + std::to_string(strip) + " has too few bytes");
        }
        rows.count = 0;
        rows.first = y;
        rows.bytes.resize(size);
        const uint64_t found = m_page.input.source().read_at(TIFFGetStrileOffset(tiff, strip) + skipped, rows.bytes);
        if (found < m_row_size) {
            throw PictureError(Failure::kDamaged, "the data end in strip " + std::to_string(strip));
        }
        rows.count = static_cast<uint32_t>(found / m_row_size);
        settle(tiff, rows.bytes);
    }

    // The order of bits and bytes of this machine.
    void settle(TIFF* tiff, std::vector<uint8_t>& bytes) const {
        if (m_page.input.u16(TIFFTAG_FILLORDER) == FILLORDER_LSB2MSB) {
            TIFFReverseBits(bytes.data(), static_cast<tmsize_t>(bytes.size()));
        }
        if (TIFFIsByteSwapped(tiff) == 0) {
            return;
        }
        const int size = m_page.layout.bits / 8;
        for (size_t at = 0; size > 1 && at + static_cast<size_t>(size) <= bytes.size();
             at += static_cast<size_t>(size)) {
            std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                         bytes.begin() + static_cast<std::ptrdiff_t>(at) + size);
        }
    }

    Page m_page;
    uint64_t m_row_size;
    std::vector<Rows> m_planes;
    Unpacker m_unpacker;
};

// Tiles, of which those of one row are held; and strips of compressions that know no single rows.
class Pieces final : public RowSource {
 public:
    explicit Pieces(const Page& page)
        : m_page(page),
          m_unpacker(page.layout),
          m_width(page.layout.tiled ? page.layout.tile_width : page.layout.width),
          m_height(page.layout.tiled ? page.layout.tile_height : page.layout.rows_per_strip),
          m_packed_row(packed_row_size(page.layout, m_width)) {
        require_sensible_pieces(page.layout, m_width, m_height);
        TIFF* tiff = page.input.get();
        const uint64_t size = page.layout.tiled ? TIFFTileSize64(tiff) : TIFFStripSize64(tiff);
        if (size != m_packed_row * m_height) {
            throw PictureError(Failure::kUnsupported, "TIFF data with pieces of another size than their samples take");
        }
        m_piece.resize(size);
    }

    void read(uint32_t y, uint8_t* row) override {
        const uint32_t band = y / m_height;
        if (band != m_band) {
            decode(band);
        }
        if (!m_damage.empty()) {
            throw PictureError(Failure::kDamaged, m_damage);
        }
        std::memcpy(row, m_rows.data() + y % m_height * row_size(), row_size());
    }

 private:
    size_t row_size() const { return m_page.layout.width * m_page.layout.pixel_size(); }

    void decode(uint32_t band) {
        const PageLayout& layout = m_page.layout;
        const uint32_t top = band * m_height;
        const uint32_t height = std::min(m_height, layout.height - top);
        m_band = band;
        m_damage.clear();
        m_rows.resize(height * row_size());
        for (int plane = 0; plane < layout.planes(); plane++) {
            for (uint32_t left = 0; left < layout.width && m_damage.empty(); left += m_width) {
                decode_piece(left, top, height, plane);
            }
        }
    }

    void decode_piece(uint32_t left, uint32_t top, uint32_t height, int plane) {
        const PageLayout& layout = m_page.layout;
        try {
            m_page.input.run("a piece cannot be decoded", m_page.lenient, [&](TIFF* tiff) {
                const auto sample = static_cast<uint16_t>(plane);
                if (layout.tiled) {
                    const uint32_t tile = TIFFComputeTile(tiff, left, top, 0, sample);
                    return TIFFReadEncodedTile(tiff, tile, m_piece.data(), static_cast<tmsize_t>(m_piece.size())) >= 0;
                }
                const uint32_t strip = TIFFComputeStrip(tiff, top, sample);
                return TIFFReadEncodedStrip(tiff, strip, m_piece.data(),
                                            static_cast<tmsize_t>(m_packed_row * height)) >= 0;
            });
        } catch (const PictureError& error) {
            m_damage = error.what();
            return;
        }
        const size_t pixels = std::min(m_width, layout.width - left);
        for (uint32_t y = 0; y < height; y++) {
            uint8_t* out = m_rows.data() + y * row_size() + left * layout.pixel_size();
            m_unpacker.unpack(m_piece.data() + y * m_packed_row, pixels, plane, out);
        }
    }

    Page m_page;
    Unpacker m_unpacker;
    uint32_t m_width;
    uint32_t m_height;
    uint64_t m_packed_row;
    std::vector<uint8_t> m_piece;
    std::vector<uint8_t> m_rows;
    uint32_t m_band = 0xFFFFFFFF;
    std::string m_damage;  // of this row of pieces
};

// Colors that the library converts itself.
class ConvertedRows final : public RowSource {
 public:
    explicit ConvertedRows(const Page& page) : m_page(page) {
        char text[1024] = "";
        page.input.run("its colors cannot be converted", true,
                       [&](TIFF* tiff) { return TIFFRGBAImageBegin(&m_image, tiff, 1, text) == 1; });
        // Rows as they are stored: turning a picture is not the reader's work.
        m_image.orientation = ORIENTATION_TOPLEFT;
        m_image.req_orientation = ORIENTATION_TOPLEFT;
    }
    ~ConvertedRows() override { TIFFRGBAImageEnd(&m_image); }
    ConvertedRows(const ConvertedRows&) = delete;
    ConvertedRows& operator=(const ConvertedRows&) = delete;

    void read(uint32_t y, uint8_t* row) override {
        if (y < m_lost) {
            throw PictureError(Failure::kDamaged, "the rest of the rows are lost");
        }
        if (y < m_first || y >= m_first + m_count) {
            fetch(y);
        }
        const uint32_t width = m_page.layout.width;
        const uint32_t* pixels = m_raster.data() + size_t{y - m_first} * width;
        const bool gray = m_page.layout.form.color == ColorModel::kGray;
        for (uint32_t x = 0; x < width; x++) {
            *row++ = static_cast<uint8_t>(TIFFGetR(pixels[x]));
            if (!gray) {
                *row++ = static_cast<uint8_t>(TIFFGetG(pixels[x]));
                *row++ = static_cast<uint8_t>(TIFFGetB(pixels[x]));
            }
        }
    }

 private:
    void fetch(uint32_t y) {
        const PageLayout& layout = m_page.layout;
        const uint32_t step = layout.tiled ? layout.tile_height : layout.rows_per_strip;
        constexpr uint64_t kPixels = 1 << 24;
        constexpr uint32_t kSubsampled = 16;  // rows that may belong together
        const uint64_t fitting = std::max<uint64_t>(kPixels / layout.width / kSubsampled * kSubsampled, kSubsampled);
        const uint64_t rows = std::min<uint64_t>({step - y % step, fitting, layout.height - y});
        m_first = y;
        m_count = static_cast<uint32_t>(rows);
        m_raster.assign(rows * layout.width, 0);
        m_image.row_offset = static_cast<int>(y);
        try {
            m_page.input.run("its colors cannot be converted", m_page.lenient, [&](TIFF*) {
                return TIFFRGBAImageGet(&m_image, m_raster.data(), layout.width, static_cast<uint32_t>(rows)) == 1;
            });
        } catch (const PictureError&) {
            m_lost = y + static_cast<uint32_t>(rows);
            throw;
        }
    }

    Page m_page;
    TIFFRGBAImage m_image{};
    std::vector<uint32_t> m_raster;
    uint32_t m_first = 0;
    uint32_t m_count = 0;
    uint32_t m_lost = 0;  // the end of the rows that could not be converted
};

}  // namespace

std::unique_ptr<RowSource> row_source(const Page& page) {
    if (page.layout.converted) {
        return std::make_unique<ConvertedRows>(page);
    }
    if (page.layout.tiled || page.layout.compression == TiffCompression::kJbig) {
        return std::make_unique<Pieces>(page);
    }
    if (page.layout.compression == TiffCompression::kNone) {
        return std::make_unique<PlainStrips>(page);
    }
    return std::make_unique<CompressedStrips>(page);
}

}  // namespace zelmor::imagework
