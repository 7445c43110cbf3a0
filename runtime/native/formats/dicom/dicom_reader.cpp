// Frames of DICOM files as rows of samples; see dicom_codec.h.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

#include "runtime/native/formats/dicom/dicom_codec.h"
#include "runtime/native/formats/dicom/dicom_palette.h"
#include "runtime/native/formats/dicom/frame_places.h"
#include "runtime/native/formats/dicom/sample_range.h"
#include "runtime/native/formats/dicom/stored_samples.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// What the readers of all frames share.
struct DicomPicture {
    DicomFile file;
    RowsHeader rows;
    DicomPalette palette;  // of samples that are more than indices of 8 bits
    MemoryShare inflated;
};
using SharedPicture = std::shared_ptr<const DicomPicture>;

// From luminance and two differences, all counted from zero.
void to_rgb(std::span<uint32_t> row, int bits, bool partial) {
    const auto top = static_cast<double>((uint64_t{1} << bits) - 1);
    const auto middle = static_cast<double>(uint64_t{1} << (bits - 1));
    const double unit = (top + 1) / 256;
    const auto put = [&](uint32_t& to, double value) {
        to = static_cast<uint32_t>(std::clamp(std::floor(value + 0.5), 0.0, top));
    };
    for (size_t i = 0; i + 2 < row.size(); i += 3) {
        double y = row[i];
        double blue = row[i + 1] - middle;
        double red = row[i + 2] - middle;
        if (partial) {
            y = (y - 16 * unit) * 255 / 219;
            blue *= 255.0 / 224;
            red *= 255.0 / 224;
        }
        put(row[i], y + 1.402 * red);
        put(row[i + 1], y - 0.344136 * blue - 0.714136 * red);
        put(row[i + 2], y + 1.772 * blue);
    }
}

class DicomReader final : public RowReader {
 public:
    DicomReader(SharedPicture picture, std::unique_ptr<StoredSamples> samples, Recovery recovery)
        : m_picture(std::move(picture)), m_samples(std::move(samples)), m_recovery(recovery) {
        const DicomHeader& header = m_picture->file.header;
        m_row.resize(static_cast<size_t>(header.columns) * static_cast<size_t>(header.samples));
        m_row_size = m_picture->rows.form.pixel_size() * static_cast<size_t>(header.columns);
        m_range = SampleRange(m_samples->bits, m_picture->rows.form);
    }

    const RowsHeader& header() const override { return m_picture->rows; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next + count <= header().height);
        assert(rows.size() == m_row_size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++, m_next++) {
            const auto row = rows.subspan(m_row_size * static_cast<size_t>(i), m_row_size);
            if (m_lost_from <= m_next) {
                std::fill(row.begin(), row.end(), uint8_t{0});
                continue;
            }
            try {
                m_samples->next(m_row);
                put(row);
            } catch (const PictureError& error) {
                // The data of a frame end once, so that all behind it is lost.
                if (m_recovery != Recovery::kMaximal || error.kind() != Failure::kDamaged || m_next == 0) {
                    m_lost_from = m_recovery == Recovery::kNone ? 0 : m_next;
                    throw;
                }
                m_lost_from = m_next;
                std::fill(row.begin(), row.end(), uint8_t{0});
            }
        }
    }

    std::vector<Rect> lost() const override {
        if (m_lost_from >= m_next) {
            return {};
        }
        return {{0, m_lost_from, header().width, m_next - m_lost_from}};
    }

 private:
    void put(std::span<uint8_t> out) {
        const DicomHeader& header = m_picture->file.header;
        switch (*header.color) {
            case DicomColor::kMonochrome1:
                for (uint32_t& value : m_row) {
                    value = m_range.top() - std::min(value, m_range.top());
                }
                break;
            case DicomColor::kPalette:
                return put_colors(out);
            case DicomColor::kYbrFull:
            case DicomColor::kYbrFull422:
            case DicomColor::kYbrPartial422:
                if (!m_samples->is_rgb) {
                    to_rgb(m_row, m_samples->bits, *header.color == DicomColor::kYbrPartial422);
                }
                break;
            case DicomColor::kMonochrome2:
            case DicomColor::kRgb:
            case DicomColor::kYbrCoded:
                break;
        }
        m_range.put(m_row, out);
    }

    void put_colors(std::span<uint8_t> out) {
        const DicomHeader& header = m_picture->file.header;
        const int64_t offset = header.is_signed ? int64_t{1} << (m_samples->bits - 1) : 0;
        const RowsHeader& rows = m_picture->rows;
        if (rows.form.color == ColorModel::kIndexed) {
            // The palette begins with the least sample.
            const auto last = static_cast<uint32_t>(rows.palette.size() - 1);
            std::transform(m_row.begin(), m_row.end(), out.begin(),
                           [&](uint32_t value) { return static_cast<uint8_t>(std::min(value, last)); });
            return;
        }
        uint8_t* to = out.data();
        for (const uint32_t value : m_row) {
            for (const uint16_t part : m_picture->palette.of(int64_t{value} - offset)) {
                if (m_picture->palette.deep) {
                    *reinterpret_cast<uint16_t*>(to) = part;
                    to += 2;
                } else {
                    *to++ = static_cast<uint8_t>(part);
                }
            }
        }
    }

    SharedPicture m_picture;
    std::unique_ptr<StoredSamples> m_samples;
    Recovery m_recovery;
    SampleRange m_range;
    std::vector<uint32_t> m_row;
    size_t m_row_size = 0;
    int32_t m_next = 0;
    int32_t m_lost_from = INT32_MAX;
};

// A palette of at most 256 colors, of which the first belongs to the least sample.
void take_indexed_palette(const DicomHeader& header, const DicomPalette& palette, RowsHeader& rows) {
    const int64_t least = header.is_signed ? -(int64_t{1} << (header.stored - 1)) : 0;
    const int64_t count = int64_t{1} << header.stored;
    const int64_t last = palette.first + static_cast<int64_t>(palette.colors.size()) - 1;
    bool repeats = true;
    for (int64_t sample = least; sample < least + count && (sample <= last || sample == least); sample++) {
        Argb color = 0xFF;
        uint64_t deep = 0xFFFF;
        for (const uint16_t part : palette.of(sample)) {
            const uint16_t wide = palette.deep ? part : static_cast<uint16_t>(part * 257);
            color = color << 8 | wide >> 8;
            deep = deep << 16 | wide;
            repeats = repeats && (wide >> 8) == (wide & 0xFF);
        }
        rows.palette.push_back(color);
        rows.deep_palette.push_back(deep);
    }
    if (repeats) {
        rows.deep_palette.clear();
    }
}

ProfileBytes profile_of(const DicomFile& file, const PixelForm& form) {
    const DicomElement& element = file.header.profile;
    if (element.length == 0 || element.length > limits::kProfileBytes || form.color != ColorModel::kRgb) {
        return nullptr;
    }
    std::vector<uint8_t> profile(element.length);
    return file.source->read_at(element.at, profile) == profile.size()
               ? std::make_shared<const std::vector<uint8_t>>(std::move(profile))
               : nullptr;
}

class DicomFileFrames final : public DicomFrames {
 public:
    DicomFileFrames(SharedPicture picture, DecodeOptions options, const DicomDecoders& decoders)
        : m_picture(std::move(picture)), m_options(std::move(options)), m_decoders(decoders) {
        const DicomHeader& header = m_picture->file.header;
        const bool strict = m_options.recovery == Recovery::kNone;
        m_count = static_cast<size_t>(std::min<int64_t>(header.frames, limits::kFrames));
        if (header.syntax->coding != DicomCoding::kRaw) {
            m_pieces = dicom_frame_pieces(m_picture->file);
            if (m_pieces.empty() || (strict && m_pieces.size() < m_count)) {
                dicom_damaged("there are " + std::to_string(m_pieces.size()) + " of " + std::to_string(m_count) +
                              " frames");
            }
            m_count = std::min(m_count, m_pieces.size());
        } else {
            const DicomElement& pixels = *header.pixels;
            const uint64_t room = m_picture->file.source->size() - std::min(m_picture->file.source->size(), pixels.at);
            const uint64_t bits = 8 * std::min<uint64_t>(room, pixels.length);
            const auto frame = static_cast<uint64_t>(header.bits_of_frame());
            const uint64_t whole = bits / frame;
            if (strict && whole < m_count) {
                dicom_damaged("there are the pixels of " + std::to_string(whole) + " of " + std::to_string(m_count) +
                              " frames");
            }
            const bool keeps_part = m_options.recovery == Recovery::kMaximal || whole == 0;
            m_count = static_cast<size_t>(std::min<uint64_t>(m_count, whole + (keeps_part ? 1 : 0)));
        }
        m_shared_file = std::shared_ptr<const DicomFile>(m_picture, &m_picture->file);
    }

    size_t count() const override { return m_count; }
    const DicomFile& file() const override { return m_picture->file; }

    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index < m_count);
        const RowsHeader& rows = m_picture->rows;
        FrameHeader header;
        FileFacts& facts = header.facts;
        facts.format = Format::kDicom;
        facts.readable = true;
        facts.width = rows.width;
        facts.height = rows.height;
        facts.bits_per_pixel = rows.form.bits * rows.form.bands();
        facts.has_resolution = rows.resolution.has_value();
        facts.palette = rows.palette;
        facts.encoding = encoding();
        header.area = {0, 0, rows.width, rows.height};
        return header;
    }

    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < m_count);
        const DicomHeader& header = m_picture->file.header;
        std::unique_ptr<StoredSamples> samples;
        if (header.syntax->coding == DicomCoding::kRaw) {
            samples =
                raw_samples(m_picture->file.source, header, index * static_cast<uint64_t>(header.bits_of_frame()));
        } else {
            const SharedSource frame = joined_pieces(m_picture->file.source, m_pieces[index]);
            samples = header.syntax->coding == DicomCoding::kRle ? rle_samples(frame, header)
                                                                 : jpeg_samples(frame, header, m_options, m_decoders);
        }
        return std::make_unique<DicomReader>(m_picture, std::move(samples), m_options.recovery);
    }

    std::optional<std::vector<uint8_t>> bytes(size_t index) const override {
        assert(index < m_count);
        const DicomFile& file = m_picture->file;
        if (file.header.syntax->coding != DicomCoding::kRaw) {
            return all_bytes(*joined_pieces(file.source, m_pieces[index]));
        }
        const auto bits = static_cast<uint64_t>(file.header.bits_of_frame());
        if (bits % 8 != 0 || file.header.order.big_endian) {
            return std::nullopt;
        }
        std::vector<uint8_t> found(static_cast<size_t>(bits / 8));
        if (file.source->read_at(file.header.pixels->at + index * bits / 8, found) != found.size()) {
            return std::nullopt;
        }
        return found;
    }

 private:
    // To save the picture again: without a loss where the file had none.
    DicomEncoding encoding() const {
        static const std::string kBaseline = "1.2.840.10008.1.2.4.50";
        static const std::string kLossless = "1.2.840.10008.1.2.4.57";
        static const std::string kFirstOrder = "1.2.840.10008.1.2.4.70";
        static const std::string kJpeg2000 = "1.2.840.10008.1.2.4.9";
        const std::string& uid = m_picture->file.header.syntax_uid;
        DicomEncoding encoding;
        encoding.file = m_shared_file;
        encoding.keeps_frames = true;
        switch (m_picture->file.header.syntax->coding) {
            case DicomCoding::kRle:
                encoding.compression = DicomCompression::kRle;
                break;
            case DicomCoding::kJpeg:
                encoding.jpeg.is_lossless = uid == kLossless || uid == kFirstOrder;
                encoding.compression = uid == kBaseline || encoding.jpeg.is_lossless ? DicomCompression::kJpeg
                                       : uid.starts_with(kJpeg2000)                  ? DicomCompression::kJpeg2000
                                                                                     : DicomCompression::kRle;
                encoding.jpeg.quality = 90;
                encoding.jpeg2000.codec = Jpeg2000Codec::kJ2k;
                break;
            case DicomCoding::kRaw:
            case DicomCoding::kOther:
                break;
        }
        return encoding;
    }

    SharedPicture m_picture;
    SharedDicomFile m_shared_file;
    DecodeOptions m_options;
    DicomDecoders m_decoders;
    size_t m_count = 0;
    std::vector<std::vector<DicomPiece>> m_pieces;
};

}  // namespace

std::shared_ptr<const DicomFrames> open_dicom(const SharedSource& source, const DecodeOptions& options,
                                              const DicomDecoders& decoders) {
    assert(source != nullptr);
    constexpr size_t kMostInflated = limits::kTileBytes;
    auto file = open_dicom_file(source, kMostInflated);
    if (!file) {
        dicom_damaged("the data does not begin as a DICOM file does");
    }
    auto picture = std::make_shared<DicomPicture>();
    picture->file = std::move(*file);
    const DicomFile& found = picture->file;
    if (found.source != source) {
        picture->inflated = MemoryShare(options.memory, found.source->size());
    }
    const DicomHeader& header = found.header;
    if (const std::string obstacle = dicom_obstacle(header); !obstacle.empty()) {
        dicom_unsupported(obstacle);
    }
    if (!is_sound(header)) {
        dicom_damaged("what the header tells of the picture is incomplete or contradicts itself");
    }
    if (!header.pixels) {
        dicom_damaged("the file has no pixels");
    }
    const bool undefined = header.pixels->length == kDicomUndefined;
    if (undefined != (header.syntax->coding != DicomCoding::kRaw)) {
        dicom_damaged("the pixels are not stored as the transfer syntax says");
    }
    RowsHeader& rows = picture->rows;
    rows.width = header.columns;
    rows.height = header.rows;
    rows.form = dicom_form(header);
    rows.resolution = header.resolution;
    check_picture_size(rows.width, rows.height, static_cast<int>(rows.form.pixel_size()));
    if (*header.color == DicomColor::kPalette) {
        SourceBytes bytes(found.source, SourceBytes::kHeaderWindow);
        picture->palette = dicom_palette(ByteReader(bytes), header);
        if (rows.form.color == ColorModel::kIndexed) {
            take_indexed_palette(header, picture->palette, rows);
        }
    }
    rows.profile = profile_of(found, rows.form);
    return std::make_shared<const DicomFileFrames>(std::move(picture), options, decoders);
}

}  // namespace zelmor::imagework
