// Frames of the JPEG codings; see stored_samples.h.
//
// The codestream tells which coding it is, since files are wrong about it. Baseline and progressive frames of 8 bits go
// to the decoder of JPEG files, JPEG 2000 to its own, all others are decoded here.
#include <algorithm>
#include <cassert>
#include <vector>

#include "runtime/native/formats/dicom/sample_range.h"
#include "runtime/native/formats/dicom/stored_samples.h"
#include "runtime/native/formats/jpeg/coded_jpeg.h"
#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpegls/jpegls_decoder.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

void require_size(const DicomHeader& header, int64_t width, int64_t height, int samples) {
    if (width != header.columns || height != header.rows || samples != header.samples) {
        dicom_damaged("a frame has " + std::to_string(width) + " by " + std::to_string(height) + " pixels of " +
                      std::to_string(samples) + " samples, where the header tells of " +
                      std::to_string(header.columns) + " by " + std::to_string(header.rows) + " of " +
                      std::to_string(header.samples));
    }
}

// The samples of a codestream that knows no signs: those of a signed picture are the lower bits of its numbers.
class Unsigned {
 public:
    explicit Unsigned(const DicomHeader& header)
        : m_mask(static_cast<uint32_t>((uint64_t{1} << header.stored) - 1)),
          m_sign(header.is_signed ? uint32_t{1} << (header.stored - 1) : 0) {}
    uint32_t value(uint32_t coded) const { return m_sign != 0 ? (coded & m_mask) ^ m_sign : std::min(coded, m_mask); }

 private:
    uint32_t m_mask;
    uint32_t m_sign;
};

// Rows of another decoder.
class RowSamples : public StoredSamples {
 public:
    RowSamples(SharedFrames frames, const DicomHeader& header)
        : m_header(header), m_frames(std::move(frames)), m_rows(m_frames->open(0)) {
        bits = header.stored;
        const RowsHeader& rows = m_rows->header();
        if (rows.form.color == ColorModel::kIndexed || rows.form.alpha) {
            dicom_unsupported("this is a DICOM file whose compressed frames have a palette or opacity of their own");
        }
        require_size(header, rows.width, rows.height, rows.form.bands());
        is_rgb = rows.form.color == ColorModel::kRgb;
        m_bytes.resize(rows.form.pixel_size() * static_cast<size_t>(rows.width));
    }

 protected:
    std::span<const uint8_t> next_bytes() {
        m_rows->read(1, m_bytes);
        return m_bytes;
    }
    const PixelForm& form() const { return m_rows->header().form; }

    const DicomHeader& m_header;

 private:
    SharedFrames m_frames;
    std::unique_ptr<RowReader> m_rows;
    std::vector<uint8_t> m_bytes;
};

class BaselineSamples final : public RowSamples {
 public:
    BaselineSamples(SharedFrames frames, const DicomHeader& header)
        : RowSamples(std::move(frames), header), m_unsigned(header) {}
    void next(std::span<uint32_t> row) override {
        const auto bytes = next_bytes();
        std::transform(bytes.begin(), bytes.end(), row.begin(), [this](uint8_t b) { return m_unsigned.value(b); });
    }

 private:
    Unsigned m_unsigned;
};

class Jpeg2000Samples final : public RowSamples {
 public:
    Jpeg2000Samples(SharedFrames frames, const DicomHeader& header, int coded_bits, bool ycc)
        : RowSamples(std::move(frames), header), m_unsigned(header), m_range(coded_bits, form()), m_bits(coded_bits) {
        is_rgb = is_rgb && !ycc;
        const SampleType type = form().sample;
        m_signed = type == SampleType::kInt8 || type == SampleType::kInt16 || type == SampleType::kInt32;
    }

    void next(std::span<uint32_t> row) override {
        m_range.take(next_bytes(), row);
        if (!m_signed) {
            for (uint32_t& value : row) {
                value = m_unsigned.value(value);
            }
            return;
        }
        // Counted from the least of the codestream's, and then from the least of the file's.
        const int64_t middle = int64_t{1} << (m_bits - 1);
        const int64_t own = m_header.is_signed ? int64_t{1} << (m_header.stored - 1) : 0;
        const int64_t top = (int64_t{1} << m_header.stored) - 1;
        for (uint32_t& value : row) {
            value = static_cast<uint32_t>(std::clamp<int64_t>(int64_t{value} - middle + own, 0, top));
        }
    }

 private:
    Unsigned m_unsigned;
    SampleRange m_range;
    int m_bits;
    bool m_signed = false;
};

class DecodedSamples final : public StoredSamples {
 public:
    DecodedSamples(JpegPlanes planes, const DicomHeader& header, MemoryShare share)
        : m_planes(std::move(planes)), m_unsigned(header), m_share(std::move(share)) {
        bits = header.stored;
        require_size(header, m_planes.width, m_planes.height, m_planes.components);
    }
    void next(std::span<uint32_t> row) override {
        if (m_planes.samples.size() - m_at < row.size()) {
            dicom_damaged("the data of a frame end too early");
        }
        for (uint32_t& value : row) {
            value = m_unsigned.value(m_planes.samples[m_at++]);
        }
    }

 private:
    JpegPlanes m_planes;
    Unsigned m_unsigned;
    MemoryShare m_share;
    size_t m_at = 0;
};

// A frame that is decoded as a whole, when its first row is asked for.
class LateSamples final : public StoredSamples {
 public:
    using Decode = JpegPlanes (*)(std::span<const uint8_t> frame, const JpegFrameSize& size, bool keeps_part);
    LateSamples(SharedSource frame, const DicomHeader& header, const DecodeOptions& options, Decode decode)
        : m_frame(std::move(frame)), m_header(header), m_options(options), m_decode(decode) {
        bits = header.stored;
    }
    void next(std::span<uint32_t> row) override {
        if (m_decoded == nullptr) {
            const auto samples = static_cast<uint64_t>(m_header.columns) * static_cast<uint64_t>(m_header.rows) *
                                 static_cast<uint64_t>(m_header.samples);
            if (m_frame->size() > limits::kTileBytes) {
                throw PictureError(Failure::kTooLarge,
                                   "a compressed frame has more than " + std::to_string(limits::kTileBytes) + " bytes");
            }
            // Colors are there twice for a while: each by itself, and together.
            const uint64_t copies = m_header.samples > 1 ? 2 : 1;
            MemoryShare share(m_options.memory, copies * samples * sizeof(uint16_t) + m_frame->size());
            const std::vector<uint8_t> bytes = all_bytes(*m_frame);
            const bool keeps_part = m_options.recovery != Recovery::kNone;
            m_decoded = std::make_unique<DecodedSamples>(
                m_decode(bytes, {m_header.columns, m_header.rows, m_header.samples}, keeps_part), m_header,
                std::move(share));
        }
        m_decoded->next(row);
    }

 private:
    SharedSource m_frame;
    const DicomHeader& m_header;
    DecodeOptions m_options;
    Decode m_decode;
    std::unique_ptr<DecodedSamples> m_decoded;
};

// A mark that tells the decoder of JPEG files whether the colors are luminance and differences.
std::vector<uint8_t> head_with_colors(bool ycc) {
    return {0xFF, 0xD8, 0xFF, 0xEE, 0, 14, 'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, static_cast<uint8_t>(ycc)};
}

struct Codestream {
    int frame_marker = 0;  // the second byte of the marker that tells of the size
    int bits = 0;
};

// The segments up to that marker.
Codestream look_at(const ByteReader& in) {
    uint64_t at = 2;
    while (in.u8(at) == 0xFF && in.ok()) {
        const uint8_t marker = in.u8(at + 1);
        if (marker == 0xFF) {
            at++;
            continue;
        }
        if (is_bare_jpeg_marker(marker)) {
            at += 2;
            continue;
        }
        const bool tells =
            (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) || marker == 0xF7;
        if (tells) {
            return {marker, in.u8(at + 4)};
        }
        at += 2 + uint64_t{in.u16(at + 2)};
    }
    dicom_damaged("a frame has no header");
}

// The mark of a JPEG 2000 codestream and of its size, which stand in the boxes of a file or alone.
uint64_t codestream_at(const ByteReader& in) {
    constexpr uint64_t kMostBoxes = 4096;
    for (uint64_t at = 0; at < kMostBoxes && in.has(at, 4); at++) {
        if (in.starts_with(at, "\xFF\x4F\xFF\x51")) {
            return at;
        }
    }
    dicom_damaged("a frame is no codestream of any JPEG coding");
}

std::unique_ptr<StoredSamples> jpeg2000_samples(const SharedSource& frame, const ByteReader& in,
                                                const DicomHeader& header, const DecodeOptions& options,
                                                const DicomDecoders& decoders) {
    const uint64_t at = codestream_at(in);
    constexpr uint64_t kComponents = 40;
    const int components = in.u16(at + kComponents);
    const int bits = (in.u8(at + kComponents + 2) & 0x7F) + 1;
    for (int i = 1; i < components && i < header.samples; i++) {
        if ((in.u8(at + kComponents + 2 + 3 * static_cast<uint64_t>(i)) & 0x7F) + 1 != bits) {
            dicom_unsupported("this is a DICOM file whose colors have different depths");
        }
    }
    if (components != header.samples || !in.ok() || bits > 24) {
        dicom_damaged("a frame has " + std::to_string(components) + " components of " + std::to_string(bits) +
                      " bits, where the header tells of " + std::to_string(header.samples));
    }
    // Colors that the codestream itself does not change may be luminance and differences all the same.
    constexpr std::string_view kCodingStyle("\xFF\x52", 2);
    bool transformed = true;
    uint64_t segment = at + 2;
    while (in.u8(segment) == 0xFF && in.ok() && !in.starts_with(segment, kCodingStyle)) {
        segment += 2 + uint64_t{in.u16(segment + 2)};
    }
    if (in.starts_with(segment, kCodingStyle)) {
        transformed = in.u8(segment + 8) != 0;
    }
    const SharedFrames frames = decoders.jpeg2000(frame, options);
    return std::make_unique<Jpeg2000Samples>(frames, header, bits, header.samples == 3 && !transformed);
}

}  // namespace

std::unique_ptr<StoredSamples> jpeg_samples(const SharedSource& frame, const DicomHeader& header,
                                            const DecodeOptions& options, const DicomDecoders& decoders) {
    SourceBytes bytes(frame, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes, true);
    if (in.u16(0) != 0xFFD8) {
        return jpeg2000_samples(frame, in, header, options, decoders);
    }
    const Codestream coded = look_at(in);
    switch (coded.frame_marker) {
        case 0xF7:
            return std::make_unique<LateSamples>(frame, header, options, &decode_jpegls);
        case 0xC3:
            return std::make_unique<LateSamples>(frame, header, options, &decode_coded_jpeg);
        case 0xC0:
        case 0xC1:
        case 0xC2:
        case 0xC9:
        case 0xCA:
            if (coded.bits != 8) {
                return std::make_unique<LateSamples>(frame, header, options, &decode_coded_jpeg);
            }
            break;
        default:
            dicom_unsupported("this is a DICOM file with a coding of JPEG (frame marker " +
                              std::to_string(coded.frame_marker) + ") that is not read");
    }
    SharedSource file = frame;
    if (header.samples == 3) {
        file = joined_pieces(frame, {{2, frame->size() - 2}}, head_with_colors(header.color != DicomColor::kRgb));
    }
    return std::make_unique<BaselineSamples>(open_jpeg(file, options.recovery, options.memory), header);
}

}  // namespace zelmor::imagework
