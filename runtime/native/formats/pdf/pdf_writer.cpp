// Objects of PDF files; see pdf_writer.h.
#include "runtime/native/formats/pdf/pdf_writer.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/pdf/pdf_archive.h"
#include "runtime/native/formats/pdf/row_filters.h"
#include "runtime/native/formats/tiff/tiff_writer.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr int kCatalog = 1, kPageTree = 2, kInfo = 3;
constexpr double kPointsPerInch = 72;

std::span<const uint8_t> bytes_of(std::string_view text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// Rows of the samples of a picture in the bytes that streams have: without the opacity, or the opacity alone.
class Packer {
 public:
    Packer(const PixelForm& form, int32_t width, bool opacity)
        : m_form(form), m_opacity(opacity), m_packed{width, opacity ? 1 : form.color_bands(), form.bits} {
        m_row.resize(m_packed.size());
    }
    const PackedRows& packed() const { return m_packed; }

    std::span<const uint8_t> row(const uint8_t* from) {
        const auto width = static_cast<size_t>(m_packed.width);
        const auto bands = static_cast<size_t>(m_form.bands());
        const auto first = m_opacity ? bands - 1 : 0;
        const auto count = static_cast<size_t>(m_packed.samples);
        if (m_form.bits == 8 && count == bands) {
            return {from, width * bands};
        }
        if (m_form.bits == 16) {
            const auto* words = reinterpret_cast<const uint16_t*>(from);
            uint8_t* to = m_row.data();
            for (size_t x = 0; x < width; ++x) {
                for (size_t band = first; band < first + count; ++band) {
                    const uint16_t value = words[x * bands + band];
                    *to++ = static_cast<uint8_t>(value >> 8);
                    *to++ = static_cast<uint8_t>(value);
                }
            }
        } else if (m_form.bits == 8) {
            for (size_t x = 0; x < width; ++x) {
                std::copy_n(from + x * bands + first, count, m_row.data() + x * count);
            }
        } else {
            pack(from, width);
        }
        return m_row;
    }

 private:
    // Of fewer than 8 bits: gray is spread over a byte, an index is the byte.
    void pack(const uint8_t* from, size_t width) {
        assert(m_form.bands() == 1);
        const int bits = m_form.bits;
        const int shift = m_form.color == ColorModel::kIndexed ? 0 : 8 - bits;
        std::fill(m_row.begin(), m_row.end(), uint8_t{0});
        for (size_t x = 0; x < width; ++x) {
            const size_t at = x * static_cast<size_t>(bits);
            m_row[at / 8] = static_cast<uint8_t>(m_row[at / 8] | (from[x] >> shift & ((1 << bits) - 1))
                                                                     << (8 - bits - static_cast<int>(at % 8)));
        }
    }

    PixelForm m_form;
    bool m_opacity;
    PackedRows m_packed;
    std::vector<uint8_t> m_row;
};

// Group 3 and 4 by the writer of TIFF: a file with one strip, whose data are those of the stream.
class FaxRows {
 public:
    FaxRows(const RowsHeader& header, bool group4) : m_file(m_bytes, false, false) {
        RowsHeader bilevel;
        bilevel.width = header.width;
        bilevel.height = header.height;
        bilevel.form = header.form;
        TiffEncoding tiff;
        tiff.compression = group4 ? TiffCompression::kFax4 : TiffCompression::kFax3;
        tiff.photometric = TiffPhotometric::kMinIsWhite;
        tiff.color = TiffColor::kAuto;
        tiff.rows_per_strip = header.height;
        m_rows = m_file.add_page(bilevel, tiff);
    }
    void write(int32_t count, std::span<const uint8_t> rows) { m_rows->write(count, rows); }

    // The data of the strip.
    EncodedBytes finish() {
        m_rows->finish();
        m_rows.reset();
        const EncodedBytes file = m_bytes.take();
        const std::span<const uint8_t> bytes = file.bytes();
        const uint32_t offset = value_of_tag(bytes, 273);
        const uint32_t size = value_of_tag(bytes, 279);
        assert(uint64_t{offset} + size <= bytes.size());
        return {std::shared_ptr<const uint8_t>(file.data, file.data.get() + offset), size};
    }

 private:
    // Of a tag with one value, in the only directory of a file with the lowest byte first.
    static uint32_t value_of_tag(std::span<const uint8_t> file, uint16_t tag) {
        const auto number = [&](size_t at, size_t length) {
            uint32_t value = 0;
            for (size_t i = length; i-- > 0;) {
                value = value << 8 | file[at + i];
            }
            return value;
        };
        const uint32_t directory = number(4, 4);
        const uint32_t entries = number(directory, 2);
        for (uint32_t i = 0; i < entries; ++i) {
            const uint32_t at = directory + 2 + 12 * i;
            if (number(at, 2) == tag) {
                return number(at + 8, number(at + 2, 2) == 3 ? 2 : 4);
            }
        }
        throw PictureError(Failure::kInternal, "the compressed picture has no strip");
    }

    MemorySink m_bytes;
    TiffFile m_file;
    std::unique_ptr<RowWriter> m_rows;
};

bool is_fax(PdfCompression compression) {
    return compression == PdfCompression::kGroup3 || compression == PdfCompression::kGroup4;
}

}  // namespace

std::string pdf_number(double value) {
    char digits[64];
    const auto end = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 4);
    assert(end.ec == std::errc());
    std::string result(digits, end.ptr);
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') {
        result.pop_back();
    }
    return result;
}

PdfCompression pdf_compression_for(const PdfEncoding& encoding, const PixelForm& form) {
    const bool bilevel = form.color == ColorModel::kGray && form.bits == 1 && !form.alpha;
    if (encoding.compression != PdfCompression::kAuto) {
        return encoding.compression;
    }
    if (bilevel) {
        return PdfCompression::kGroup4;
    }
    return encoding.from_jpeg && form.color != ColorModel::kIndexed && form.bits == 8 ? PdfCompression::kJpeg
                                                                                      : PdfCompression::kFlate;
}

// A page whose picture is being written.
class PdfPage final : public RowWriter {
 public:
    // A page of data that are compressed already: JPEG.
    PdfPage(PdfFile& file, const RowsHeader& header, const PdfEncoding& encoding, const EncodedBytes& jpeg)
        : m_file(file),
          m_header(header),
          m_encoding(encoding),
          m_compression(PdfCompression::kJpeg),
          m_colors(header.form, header.width, false),
          m_picture(file.new_object()) {
        m_color_space = color_space();
        m_file.write_stream(m_picture, dictionary(false), jpeg);
        write_page();
    }

    PdfPage(PdfFile& file, const RowsHeader& header, const PdfEncoding& encoding)
        : m_file(file),
          m_header(header),
          m_encoding(encoding),
          m_compression(pdf_compression_for(encoding, header.form)),
          m_colors(header.form, header.width, false),
          m_picture(file.new_object()) {
        const PixelForm& form = header.form;
        if (form.alpha) {
            m_opacity.emplace(form, header.width, true);
            m_opacity_filter = make_row_filter(PdfCompression::kFlate, m_opacity->packed(), false, m_opacity_bytes);
        }
        m_color_space = color_space();
        if (is_fax(m_compression)) {
            m_fax.emplace(header, m_compression == PdfCompression::kGroup4);
            return;
        }
        ByteSink* sink = &m_color_bytes;
        if (!form.alpha) {
            sink = &m_file.m_out;
        }
        if (m_compression == PdfCompression::kJpeg) {
            RowsHeader colors = header;
            colors.form.alpha = false;
            colors.profile.reset();  // it stands beside the picture
            m_direct_header = colors;
        } else {
            m_filter = make_row_filter(m_compression, m_colors.packed(), form.color == ColorModel::kIndexed, *sink);
        }
        if (!form.alpha) {
            m_length = m_file.new_object();
            m_file.begin_object(m_picture);
            m_file.write(dictionary(false) + " /Length " + std::to_string(m_length) + " 0 R >>\nstream\n");
            m_stream_begin = m_file.m_out.count();
        }
        if (m_direct_header) {
            JpegEncoding jpeg;
            jpeg.quality = encoding.jpeg_quality;
            m_jpeg = make_jpeg_writer(*m_direct_header, jpeg, *sink);
        }
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        if (m_fax) {
            return m_fax->write(count, rows);
        }
        const size_t size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        for (int32_t i = 0; i < count; ++i) {
            const uint8_t* row = rows.data() + size * static_cast<size_t>(i);
            const std::span<const uint8_t> colors = m_colors.row(row);
            m_jpeg != nullptr ? m_jpeg->write(1, colors) : m_filter->write(colors);
            if (m_opacity) {
                const std::span<const uint8_t> opacity = m_opacity->row(row);
                m_opaque = m_opaque && std::all_of(opacity.begin(), opacity.end(), [](uint8_t b) { return b == 255; });
                m_opacity_filter->write(opacity);
            }
        }
    }

    void finish() override {
        if (m_fax) {
            m_file.write_stream(m_picture, dictionary(false), m_fax->finish());
        } else {
            m_jpeg != nullptr ? m_jpeg->finish() : m_filter->finish();
            m_header.form.alpha ? finish_with_opacity() : finish_stream();
        }
        write_page();
    }

 private:
    void finish_stream() {
        const uint64_t length = m_file.m_out.count() - m_stream_begin;
        m_file.write("\nendstream\nendobj\n");
        m_file.write_object(m_length, std::to_string(length));
    }

    void finish_with_opacity() {
        m_opacity_filter->finish();
        if (!m_opaque) {
            m_mask = m_file.new_object();
            m_file.write_stream(
                m_mask, picture_entries(m_header.form.bits) + " /ColorSpace /DeviceGray" + m_opacity_filter->entries(),
                m_opacity_bytes.take());
        }
        m_file.write_stream(m_picture, dictionary(!m_opaque), m_color_bytes.take());
    }

    void write_page() {
        const double width = points(m_header.width, &Resolution::horizontal);
        const double height = points(m_header.height, &Resolution::vertical);
        const bool fits = m_encoding.page_width > 0 || m_encoding.page_height > 0;
        const double page_width = m_encoding.page_width > 0    ? m_encoding.page_width
                                  : m_encoding.page_height > 0 ? m_encoding.page_height * width / height
                                                               : width;
        const double page_height = m_encoding.page_height > 0 ? m_encoding.page_height
                                   : fits                     ? page_width * height / width
                                                              : height;
        const double scale = std::min(page_width / width, page_height / height);
        const double left = (page_width - width * scale) / 2;
        const double bottom = (page_height - height * scale) / 2;
        const bool marked = m_encoding.compliance == PdfCompliance::kA1a;
        std::string content = "q " + pdf_number(width * scale) + " 0 0 " + pdf_number(height * scale) + " " +
                              pdf_number(left) + " " + pdf_number(bottom) + " cm /P Do Q";
        if (marked) {
            content = std::string(kMarkedBegin) + " " + content + " " + std::string(kMarkedEnd);
        }
        const int content_object = m_file.new_object();
        m_file.write_object(content_object,
                            "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
        const int page = m_file.new_object();
        m_file.write_object(
            page, "<< /Type /Page /Parent " + std::to_string(kPageTree) + " 0 R /MediaBox [0 0 " +
                      pdf_number(page_width) + " " + pdf_number(page_height) + "] /Resources << /XObject << /P " +
                      std::to_string(m_picture) + " 0 R >> >> /Contents " + std::to_string(content_object) + " 0 R" +
                      (marked ? " /StructParents " + std::to_string(m_file.m_pages.size()) : "") + " >>");
        m_file.m_pages.push_back(page);
    }

    double points(int32_t pixels, double Resolution::*side) const {
        const Resolution resolution =
            m_encoding.own_resolution ? m_header.resolution.value_or(kDefaultResolution) : kDefaultResolution;
        return pixels * kPointsPerInch / resolution.*side;
    }

    std::string picture_entries(int bits) const {
        return "<< /Type /XObject /Subtype /Image /Width " + std::to_string(m_header.width) + " /Height " +
               std::to_string(m_header.height) + " /BitsPerComponent " + std::to_string(bits);
    }

    // Open, for further entries.
    std::string dictionary(bool has_mask) const {
        std::string result = picture_entries(m_header.form.bits) + " /ColorSpace " + m_color_space;
        if (has_mask) {
            result += " /SMask " + std::to_string(m_mask) + " 0 R";
        }
        if (m_compression == PdfCompression::kJpeg) {
            result += " /Filter /DCTDecode";
            if (m_header.form.color == ColorModel::kCmyk) {
                result += " /Decode [1 0 1 0 1 0 1 0]";  // the JPEG has the paper that is left free
            }
            return result;
        }
        if (is_fax(m_compression)) {
            const bool group4 = m_compression == PdfCompression::kGroup4;
            return result + " /Filter /CCITTFaxDecode /DecodeParms << /K " + (group4 ? "-1" : "0 /EndOfLine true") +
                   " /Columns " + std::to_string(m_header.width) + " /Rows " + std::to_string(m_header.height) + " >>";
        }
        return result + m_filter->entries();
    }

    std::string color_space() {
        const PixelForm& form = m_header.form;
        const int colors = form.color == ColorModel::kGray ? 1 : form.color == ColorModel::kCmyk ? 4 : 3;
        constexpr const char* kDevice[] = {"", "/DeviceGray", "", "/DeviceRGB", "/DeviceCMYK"};
        std::string space = kDevice[colors];
        if (m_header.profile != nullptr) {
            space = "[/ICCBased " + std::to_string(m_file.profile_object(m_header.profile, colors)) + " 0 R]";
        }
        if (form.color != ColorModel::kIndexed) {
            return space;
        }
        std::vector<uint8_t> palette;
        for (const Argb color : m_header.palette) {
            for (const int shift : {16, 8, 0}) {
                palette.push_back(static_cast<uint8_t>(color >> shift));
            }
        }
        return "[/Indexed " + space + " " + std::to_string(m_header.palette.size() - 1) + " " + pdf_hex(palette) + "]";
    }

    PdfFile& m_file;
    RowsHeader m_header;
    PdfEncoding m_encoding;
    PdfCompression m_compression;
    Packer m_colors;
    std::optional<Packer> m_opacity;
    int m_picture;
    int m_length = 0, m_mask = 0;
    std::string m_color_space;
    std::optional<RowsHeader> m_direct_header;  // of the JPEG
    std::unique_ptr<RowFilter> m_filter, m_opacity_filter;
    std::unique_ptr<RowWriter> m_jpeg;
    std::optional<FaxRows> m_fax;
    MemorySink m_color_bytes, m_opacity_bytes;
    uint64_t m_stream_begin = 0;
    bool m_opaque = true;
};

PdfFile::PdfFile(ByteSink& out, const PdfInfo& info, PdfCompliance compliance)
    : m_out(out), m_info(info), m_compliance(compliance), m_offsets(kInfo) {
    write(compliance == PdfCompliance::kNone ? "%PDF-1.5" : "%PDF-1.4");
    write("\n%\xE2\xE3\xCF\xD3\n");
}
PdfFile::~PdfFile() = default;

std::unique_ptr<RowWriter> PdfFile::add_page(const RowsHeader& header, const PdfEncoding& encoding) {
    return std::make_unique<PdfPage>(*this, header, encoding);
}

void PdfFile::add_jpeg_page(const RowsHeader& header, const PdfEncoding& encoding, const EncodedBytes& jpeg) {
    const PdfPage page(*this, header, encoding, jpeg);
}

int PdfFile::new_object() {
    m_offsets.push_back(0);
    return static_cast<int>(m_offsets.size());
}

void PdfFile::write(std::string_view text) {
    m_out.write(bytes_of(text));
}

void PdfFile::begin_object(int number) {
    m_offsets[static_cast<size_t>(number) - 1] = m_out.count();
    write(std::to_string(number) + " 0 obj\n");
}

void PdfFile::write_object(int number, std::string_view text) {
    begin_object(number);
    write(text);
    write("\nendobj\n");
}

void PdfFile::write_stream(int number, std::string_view entries, const EncodedBytes& bytes) {
    begin_object(number);
    write(entries);
    write(" /Length " + std::to_string(bytes.size) + " >>\nstream\n");
    m_out.write(bytes.bytes());
    write("\nendstream\nendobj\n");
}

int PdfFile::profile_object(const ProfileBytes& profile, int colors) {
    for (const auto& [known, number] : m_profiles) {
        if (known == profile || *known == *profile) {
            return number;
        }
    }
    const int number = new_object();
    MemorySink bytes;
    PackedRows row;
    row.width = static_cast<int32_t>(profile->size());
    const auto filter = make_row_filter(PdfCompression::kFlate, row, true, bytes);
    filter->write(*profile);
    filter->finish();
    write_stream(number, "<< /N " + std::to_string(colors) + filter->entries(), bytes.take());
    m_profiles.emplace_back(profile, number);
    return number;
}

void PdfFile::finish() {
    std::string archive;
    if (m_compliance != PdfCompliance::kNone) {
        archive = write_archive_objects(*this, m_info, m_compliance, m_pages);
    }
    write_object(kCatalog, "<< /Type /Catalog /Pages " + std::to_string(kPageTree) + " 0 R" + archive + " >>");
    std::string kids;
    for (const int page : m_pages) {
        kids += std::to_string(page) + " 0 R ";
    }
    write_object(kPageTree, "<< /Type /Pages /Count " + std::to_string(m_pages.size()) + " /Kids [ " + kids + "] >>");
    write_object(kInfo, "<<" + pdf_info_entries(m_info) + " >>");
    const uint64_t table = m_out.count();
    std::string text = "xref\n0 " + std::to_string(m_offsets.size() + 1) + "\n0000000000 65535 f \n";
    for (const uint64_t offset : m_offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010llu 00000 n \n", static_cast<unsigned long long>(offset));
        text += line;
    }
    text += "trailer\n<< /Size " + std::to_string(m_offsets.size() + 1) + " /Root " + std::to_string(kCatalog) +
            " 0 R /Info " + std::to_string(kInfo) + " 0 R" +
            (m_compliance != PdfCompliance::kNone ? m_out.identifier() : "") + " >>\nstartxref\n" +
            std::to_string(table) + "\n%%EOF\n";
    write(text);
}

}  // namespace zelmor::imagework
