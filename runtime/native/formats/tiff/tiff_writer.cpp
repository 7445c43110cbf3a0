// Pages from rows; see tiff_writer.h.
#include "runtime/native/formats/tiff/tiff_writer.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>
#include <vector>

#include "runtime/native/formats/tiff/sample_rows.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_output.h"
#include "runtime/native/formats/tiff/writable_forms.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

template <class... Values>
void set(TiffOutput& output, uint32_t tag, Values... values) {
    output.run("a tag is refused", [&](TIFF* tiff) { return TIFFSetField(tiff, tag, values...) == 1; });
}

uint16_t sample_format(SampleType type) {
    switch (type) {
        case SampleType::kUint8:
        case SampleType::kUint16:
        case SampleType::kUint32:
            return SAMPLEFORMAT_UINT;
        case SampleType::kInt8:
        case SampleType::kInt16:
        case SampleType::kInt32:
            return SAMPLEFORMAT_INT;
        case SampleType::kFloat:
        case SampleType::kDouble:
            return SAMPLEFORMAT_IEEEFP;
    }
    return SAMPLEFORMAT_UINT;
}

void set_palette(TiffOutput& output, const RowsHeader& header) {
    const size_t count = size_t{1} << header.form.bits;
    std::vector<uint16_t> channels[3];
    for (size_t i = 0; i < 3; i++) {
        channels[i].resize(count);
        const size_t shift = 2 - i;
        for (size_t entry = 0; entry < std::min(count, header.palette.size()); entry++) {
            channels[i][entry] = entry < header.deep_palette.size()
                                     ? static_cast<uint16_t>(header.deep_palette[entry] >> 16 * shift)
                                     : static_cast<uint16_t>((header.palette[entry] >> 8 * shift & 0xFF) * 257);
        }
    }
    set(output, TIFFTAG_COLORMAP, channels[0].data(), channels[1].data(), channels[2].data());
}

void set_resolution(TiffOutput& output, const RowsHeader& header, const TiffEncoding& encoding) {
    std::optional<Resolution> resolution = encoding.resolution;
    if (!resolution && header.resolution) {
        const double scale = encoding.unit == TiffUnit::kCentimeter ? kCentimetersPerInch : 1.0;
        resolution = Resolution{header.resolution->horizontal / scale, header.resolution->vertical / scale};
    }
    if (!resolution) {
        return;
    }
    set(output, TIFFTAG_XRESOLUTION, resolution->horizontal);
    set(output, TIFFTAG_YRESOLUTION, resolution->vertical);
    set(output, TIFFTAG_RESOLUTIONUNIT, static_cast<int>(encoding.unit));
}

void set_compression(TiffOutput& output, const PixelForm& form, const TiffEncoding& encoding) {
    set(output, TIFFTAG_COMPRESSION, static_cast<int>(encoding.compression));
    const TiffPhotometric photometric = written_photometric(form, encoding);
    set(output, TIFFTAG_PHOTOMETRIC, static_cast<int>(photometric));
    switch (encoding.compression) {
        case TiffCompression::kJpeg:
            set(output, TIFFTAG_JPEGQUALITY, encoding.quality);
            if (photometric == TiffPhotometric::kYcbcr) {
                set(output, TIFFTAG_YCBCRSUBSAMPLING, encoding.horizontal_subsampling, encoding.vertical_subsampling);
                set(output, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            }
            break;
        case TiffCompression::kFax3:
            set(output, TIFFTAG_GROUP3OPTIONS, encoding.fax3_options);
            break;
        case TiffCompression::kWebp:
            set(output, TIFFTAG_WEBP_LOSSLESS, 1);
            break;
        default:
            break;
    }
    if (encoding.predictor != TiffDifferencing::kNone) {
        set(output, TIFFTAG_PREDICTOR, static_cast<int>(encoding.predictor));
    }
}

// The rows of a strip where nobody says: about as many as this, in the steps that the compression takes.
uint32_t usual_rows(const RowsHeader& header, const TiffEncoding& encoding) {
    if (encoding.compression == TiffCompression::kJbig) {
        return static_cast<uint32_t>(header.height);
    }
    constexpr uint64_t kBytes = 1 << 17;
    constexpr uint64_t kStep = 32;  // of the largest blocks of JPEG
    const uint64_t row = std::max<uint64_t>(1, header.form.pixel_size() * static_cast<uint64_t>(header.width));
    const uint64_t rows = std::max<uint64_t>(kBytes / row / kStep * kStep, kStep);
    return static_cast<uint32_t>(std::min<uint64_t>(rows, static_cast<uint64_t>(header.height)));
}

class TiffPage : public RowWriter {
 public:
    TiffPage(TiffOutput& output, const RowsHeader& header, const TiffEncoding& encoding)
        : m_output(output),
          m_form(header.form),
          m_width(static_cast<uint32_t>(header.width)),
          m_height(static_cast<uint32_t>(header.height)),
          m_separate(encoding.separate_planes && m_form.bands() > 1) {
        require_writable(header, encoding);
        const TiffPhotometric photometric = written_photometric(m_form, encoding);
        m_colors.white_is_least = photometric == TiffPhotometric::kMinIsWhite;
        m_colors.lab_offsets = photometric == TiffPhotometric::kIccLab;
        m_colors.premultiplied = m_form.alpha && encoding.alpha == TiffAlpha::kAssociated;
        m_output.begin_page();
        set_form(encoding);
        set_compression(output, m_form, encoding);
        if (m_form.color == ColorModel::kIndexed) {
            set_palette(output, header);
        }
        set_resolution(output, header, encoding);
        if (header.profile != nullptr && !header.profile->empty()) {
            set(output, TIFFTAG_ICCPROFILE, static_cast<uint32_t>(header.profile->size()), header.profile->data());
        }
        if (!encoding.page_name.empty()) {
            set(output, TIFFTAG_PAGENAME, encoding.page_name.c_str());
        }
        if (encoding.lowest_bit_first) {
            set(output, TIFFTAG_FILLORDER, FILLORDER_LSB2MSB);
        }
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t size = row_size();
        assert(count >= 0 && rows.size() == size * static_cast<size_t>(count));
        assert(m_next + static_cast<uint32_t>(count) <= m_height);
        for (int32_t i = 0; i < count; i++, m_next++) {
            const uint8_t* row = rows.data() + static_cast<size_t>(i) * size;
            if (m_colors.differ()) {
                m_row.assign(row, row + size);
                colors_to_file(m_form, m_colors, m_row.data(), m_width);
                row = m_row.data();
            }
            take(m_next, row);
        }
    }

    void finish() override {
        assert(m_next == m_height);
        m_output.end_page();
    }

 protected:
    // Row `y`, with the colors of the file.
    virtual void take(uint32_t y, const uint8_t* row) = 0;

    size_t row_size() const { return m_width * m_form.pixel_size(); }
    int planes() const { return m_separate ? m_form.bands() : 1; }
    size_t samples(size_t pixels) const { return pixels * static_cast<size_t>(m_separate ? 1 : m_form.bands()); }
    size_t packed_row(size_t pixels) const { return packed_size(samples(pixels), m_form.bits); }

    // Packs the samples of some pixels of a plane.
    void pack(const uint8_t* pixels, size_t count, int plane, uint8_t* packed) {
        if (!m_separate) {
            pack_samples(m_form, pixels, samples(count), packed);
            return;
        }
        const size_t size = sample_size(m_form.sample);
        m_band.resize(count * size);
        const uint8_t* from = pixels + static_cast<size_t>(plane) * size;
        for (size_t i = 0; i < count; i++, from += m_form.pixel_size()) {
            std::memcpy(m_band.data() + i * size, from, size);
        }
        pack_samples(m_form, m_band.data(), count, packed);
    }

    TiffOutput& m_output;
    PixelForm m_form;
    uint32_t m_width;
    uint32_t m_height;
    bool m_separate;

 private:
    void set_form(const TiffEncoding& encoding) {
        set(m_output, TIFFTAG_IMAGEWIDTH, m_width);
        set(m_output, TIFFTAG_IMAGELENGTH, m_height);
        set(m_output, TIFFTAG_BITSPERSAMPLE, m_form.bits);
        set(m_output, TIFFTAG_SAMPLESPERPIXEL, m_form.bands());
        set(m_output, TIFFTAG_PLANARCONFIG, m_separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        const uint16_t format = sample_format(m_form.sample);
        if (format != SAMPLEFORMAT_UINT) {
            set(m_output, TIFFTAG_SAMPLEFORMAT, static_cast<int>(format));
        }
        if (m_form.alpha) {
            const auto kind = static_cast<uint16_t>(encoding.alpha);
            set(m_output, TIFFTAG_EXTRASAMPLES, 1, &kind);
        }
        if (m_form.color == ColorModel::kCmyk) {
            set(m_output, TIFFTAG_INKSET, INKSET_CMYK);
        }
    }

    FileColors m_colors;
    uint32_t m_next = 0;
    std::vector<uint8_t> m_row;
    std::vector<uint8_t> m_band;
};

class StripPage final : public TiffPage {
 public:
    StripPage(TiffOutput& output, const RowsHeader& header, const TiffEncoding& encoding)
        : TiffPage(output, header, encoding),
          m_rows(encoding.rows_per_strip > 0 ? std::min(static_cast<uint32_t>(encoding.rows_per_strip), m_height)
                                             : usual_rows(header, encoding)),
          m_whole(m_separate || encoding.compression == TiffCompression::kJbig) {
        set(m_output, TIFFTAG_ROWSPERSTRIP, m_rows);
        m_planes.resize(static_cast<size_t>(planes()),
                        std::vector<uint8_t>(packed_row(m_width) * (m_whole ? m_rows : 1)));
    }

 private:
    // One plane goes to the encoder row by row. Of several, and to an encoder that knows no rows, whole strips go.
    void take(uint32_t y, const uint8_t* row) override {
        if (!m_whole) {
            uint8_t* packed = m_planes[0].data();
            pack(row, m_width, 0, packed);
            m_output.run("a row cannot be written",
                         [&](TIFF* tiff) { return TIFFWriteScanline(tiff, packed, y, 0) == 1; });
            return;
        }
        const size_t size = packed_row(m_width);
        for (int plane = 0; plane < planes(); plane++) {
            pack(row, m_width, plane, m_planes[static_cast<size_t>(plane)].data() + y % m_rows * size);
        }
        if ((y + 1) % m_rows != 0 && y + 1 != m_height) {
            return;
        }
        const size_t bytes = (y % m_rows + 1) * size;
        for (int plane = 0; plane < planes(); plane++) {
            m_output.run("a strip cannot be written", [&](TIFF* tiff) {
                const uint32_t strip = TIFFComputeStrip(tiff, y, static_cast<uint16_t>(plane));
                return TIFFWriteEncodedStrip(tiff, strip, m_planes[static_cast<size_t>(plane)].data(),
                                             static_cast<tmsize_t>(bytes)) >= 0;
            });
        }
    }

    uint32_t m_rows;
    bool m_whole;
    std::vector<std::vector<uint8_t>> m_planes;  // of packed rows
};

class TilePage final : public TiffPage {
 public:
    TilePage(TiffOutput& output, const RowsHeader& header, const TiffEncoding& encoding)
        : TiffPage(output, header, encoding),
          m_tile_width(static_cast<uint32_t>(encoding.tile_width)),
          m_tile_height(static_cast<uint32_t>(encoding.tile_height)) {
        set(m_output, TIFFTAG_TILEWIDTH, m_tile_width);
        set(m_output, TIFFTAG_TILELENGTH, m_tile_height);
        m_rows.resize(std::min(m_tile_height, m_height) * row_size());
        m_tile.resize(packed_row(m_tile_width) * m_tile_height);
        m_pixels.resize(m_tile_width * m_form.pixel_size());
    }

 private:
    void take(uint32_t y, const uint8_t* row) override {
        std::memcpy(m_rows.data() + y % m_tile_height * row_size(), row, row_size());
        if ((y + 1) % m_tile_height != 0 && y + 1 != m_height) {
            return;
        }
        const uint32_t rows = y % m_tile_height + 1;
        for (int plane = 0; plane < planes(); plane++) {
            for (uint32_t left = 0; left < m_width; left += m_tile_width) {
                write_tile(left, y, rows, plane);
            }
        }
    }

    // The part of a tile outside the picture repeats its edge, which disturbs no compression.
    void write_tile(uint32_t left, uint32_t y, uint32_t rows, int plane) {
        const size_t pixel = m_form.pixel_size();
        const size_t inside = std::min(m_tile_width, m_width - left);
        const size_t size = packed_row(m_tile_width);
        for (uint32_t i = 0; i < m_tile_height; i++) {
            if (i >= rows) {
                std::memcpy(m_tile.data() + i * size, m_tile.data() + (i - 1) * size, size);
                continue;
            }
            std::memcpy(m_pixels.data(), m_rows.data() + i * row_size() + left * pixel, inside * pixel);
            for (size_t x = inside; x < m_tile_width; x++) {
                std::memcpy(m_pixels.data() + x * pixel, m_pixels.data() + (inside - 1) * pixel, pixel);
            }
            pack(m_pixels.data(), m_tile_width, plane, m_tile.data() + i * size);
        }
        m_output.run("a tile cannot be written", [&](TIFF* tiff) {
            const uint32_t tile = TIFFComputeTile(tiff, left, y, 0, static_cast<uint16_t>(plane));
            return TIFFWriteEncodedTile(tiff, tile, m_tile.data(), static_cast<tmsize_t>(m_tile.size())) >= 0;
        });
    }

    uint32_t m_tile_width;
    uint32_t m_tile_height;
    std::vector<uint8_t> m_rows;
    std::vector<uint8_t> m_tile;
    std::vector<uint8_t> m_pixels;
};

}  // namespace

TiffFile::TiffFile(EditableFile& file, bool big_tiff, bool big_endian)
    : m_output(std::make_unique<TiffOutput>(file, big_tiff, big_endian)) {}
TiffFile::~TiffFile() = default;

std::unique_ptr<RowWriter> TiffFile::add_page(const RowsHeader& header, const TiffEncoding& encoding) {
    assert(header.width > 0 && header.height > 0);
    if (encoding.tile_width != 0 || encoding.tile_height != 0) {
        return std::make_unique<TilePage>(*m_output, header, encoding);
    }
    return std::make_unique<StripPage>(*m_output, header, encoding);
}

}  // namespace zelmor::imagework
