// Rows of the JPEG files that libjpeg does not read: lossless ones, and those of 12 bits; see jpeg_codec.h.
//
// The picture is decoded as a whole when its first row is asked for. What the segments before it say is read by
// libjpeg, from a copy of them with a frame of an ordinary kind behind.
#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/formats/jpeg/coded_jpeg.h"
#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_header.h"
#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpeg/jpeg_planes.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// The segments of the application, and a header of an empty picture with so many components.
SharedSource header_alone(const SharedSource& source, int components) {
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes, true);
    std::vector<uint8_t> head{0xFF, kJpegStart};
    for (uint64_t at = 2; in.has(at, 4) && in.u8(at) == 0xFF;) {
        const int marker = in.u8(at + 1);
        if (marker == kJpegFill) {
            at++;
            continue;
        }
        if (is_bare_jpeg_marker(marker)) {
            at += 2;
            continue;
        }
        const uint64_t size = 2 + uint64_t{in.u16(at + 2)};
        require_coded_jpeg(marker);
        if (is_jpeg_frame(marker) || marker == kJpegScan || marker == kJpegEnd || size < 4) {
            break;
        }
        if (marker >= kJpegApp0 && marker <= kJpegLastApp && in.has(at, size)) {
            if (head.size() + size > limits::kTextBytes) {
                throw PictureError(Failure::kDamaged, "the header does not end");
            }
            const auto segment = in.piece(at, size);
            head.insert(head.end(), segment.begin(), segment.end());
        }
        at += size;
    }
    const auto count = static_cast<uint8_t>(components);
    head.insert(head.end(), {0xFF, kJpegFirstFrame, 0, static_cast<uint8_t>(8 + 3 * count), 8, 0, 1, 0, 1, count});
    for (uint8_t i = 1; i <= count; i++) {
        head.insert(head.end(), {i, 0x11, 0});
    }
    head.insert(head.end(), {0xFF, kJpegScan, 0, static_cast<uint8_t>(6 + 2 * count), count});
    for (uint8_t i = 1; i <= count; i++) {
        head.insert(head.end(), {i, 0});
    }
    head.insert(head.end(), {0, 63, 0, 0xFF, kJpegEnd});
    return memory_source(std::move(head));
}

RowsHeader header_of(const SharedSource& source, const FileFacts& facts, int bits, int components) {
    JpegInput input(header_alone(source, components), false);
    input.read_header();
    RowsHeader header = rows_header_of(input);
    header.width = static_cast<int32_t>(facts.width);
    header.height = static_cast<int32_t>(facts.height);
    if (bits > 8) {
        header.form.sample = SampleType::kUint16;
        header.form.bits = 16;
    }
    return header;
}

class CodedJpegReader final : public RowReader {
 public:
    CodedJpegReader(SharedSource source, const JpegEncoding& encoding, RowsHeader header, const DecodeOptions& options)
        : m_source(std::move(source)),
          m_bits(encoding.bits),
          m_color(encoding.color),
          m_header(std::move(header)),
          m_options(options) {
        check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
    }

    const RowsHeader& header() const override { return m_header; }

    void read([[maybe_unused]] int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && rows.size() == row_size() * static_cast<size_t>(count));
        if (!m_decoded) {
            decode();
        }
        for (int32_t i = 0; i < count; i++) {
            const auto row = rows.subspan(row_size() * static_cast<size_t>(i), row_size());
            if (m_next >= m_rows) {
                if (m_options.recovery != Recovery::kMaximal) {
                    throw PictureError(Failure::kDamaged, "the data end early");
                }
                std::fill(row.begin(), row.end(), uint8_t{0x80});
            } else if (m_header.form.sample == SampleType::kUint16) {
                put_row<uint16_t>(row);
            } else {
                put_row<uint8_t>(row);
            }
            m_next++;
        }
        if (m_next == m_header.height) {
            m_samples = {};
            m_share.reset();
        }
    }

    std::vector<Rect> lost() const override {
        return m_next > m_rows ? std::vector<Rect>{{0, m_rows, m_header.width, m_next - m_rows}} : std::vector<Rect>{};
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }
    size_t samples_in_row() const {
        return static_cast<size_t>(m_header.form.bands()) * static_cast<size_t>(m_header.width);
    }

    void decode() {
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        m_failed = true;
        const uint64_t samples = samples_in_row() * static_cast<uint64_t>(m_header.height);
        if (m_source->size() > limits::kTileBytes) {
            throw PictureError(Failure::kTooLarge,
                               "the file has more than " + std::to_string(limits::kTileBytes) + " bytes");
        }
        // The decoder has the samples of colors twice: by component, and joined.
        const uint64_t copies = m_header.form.bands() > 1 ? 2 : 1;
        m_share = MemoryShare(m_options.memory, copies * samples * sizeof(uint16_t) + m_source->size());
        const std::vector<uint8_t> file = all_bytes(*m_source);
        const bool strict = m_options.recovery == Recovery::kNone;
        if (strict && !has_jpeg_end(file)) {
            throw PictureError(Failure::kDamaged, "the data end early");
        }
        m_samples = decode_coded_jpeg(file, {m_header.width, m_header.height, m_header.form.bands()}, !strict).samples;
        m_rows = static_cast<int32_t>(m_samples.size() / samples_in_row());
        m_decoded = true;
        m_failed = false;
    }

    // The samples over the whole range of their type, and in the colors of the picture.
    template <class Sample>
    void put_row(std::span<uint8_t> row) {
        const uint32_t most = (1U << m_bits) - 1;
        uint16_t* const from = m_samples.data() + samples_in_row() * static_cast<size_t>(m_next);
        if (m_color == JpegColor::kYcc || m_color == JpegColor::kYcck) {
            to_rgb(from, most);
        }
        const bool inks = m_header.form.color == ColorModel::kCmyk;
        for (size_t i = 0; i < samples_in_row(); i++) {
            const uint32_t value = std::min<uint32_t>(from[i], most);
            const auto sample = over_whole_range<Sample>(inks ? most - value : value, most);
            std::memcpy(row.data() + i * sizeof(Sample), &sample, sizeof(Sample));
        }
    }

    // From luminance and differences, as JFIF defines them. Of inks the first three are meant, which files have
    // inverted, while the colors here are not.
    void to_rgb(uint16_t* from, uint32_t most) const {
        const auto bands = static_cast<size_t>(m_header.form.bands());
        const double middle = std::floor((most + 1) / 2.0);
        const auto sample = [&](double value) {
            return static_cast<uint16_t>(std::clamp(value + 0.5, 0.0, static_cast<double>(most)));
        };
        for (int32_t x = 0; x < m_header.width; x++, from += bands) {
            const double y = from[0];
            const double blue = from[1] - middle;
            const double red = from[2] - middle;
            const std::array<uint16_t, 3> rgb{
                sample(y + 1.402 * red), sample(y - 0.344136286 * blue - 0.714136286 * red), sample(y + 1.772 * blue)};
            for (size_t band = 0; band < 3; band++) {
                from[band] = m_color == JpegColor::kYcck ? static_cast<uint16_t>(most - rgb[band]) : rgb[band];
            }
        }
    }

    SharedSource m_source;
    int m_bits;
    JpegColor m_color;
    RowsHeader m_header;
    DecodeOptions m_options;
    MemoryShare m_share;
    std::vector<uint16_t> m_samples;
    int32_t m_rows = 0;  // that were decoded
    int32_t m_next = 0;
    bool m_decoded = false;
    bool m_failed = false;
};

}  // namespace

SharedFrames open_coded_jpeg(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    assert(source != nullptr && facts.encoding);
    const JpegEncoding encoding = facts.encoding->get<JpegEncoding>();
    const int components = facts.bits_per_pixel / std::max(1, encoding.bits);
    if (components != 1 && components != 3 && components != 4) {
        throw PictureError(Failure::kUnsupported,
                           "a JPEG picture of " + std::to_string(components) + " components is not read");
    }
    if (encoding.bits < 2 || encoding.bits > 16) {
        throw PictureError(Failure::kDamaged, "JPEG has no samples of " + std::to_string(encoding.bits) + " bits");
    }
    const RowsHeader header = header_of(source, facts, encoding.bits, components);
    return std::make_shared<const SingleFrame>(
        facts, [=] { return std::make_unique<CodedJpegReader>(source, encoding, header, options); });
}

}  // namespace zelmor::imagework
