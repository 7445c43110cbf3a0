// Writing lossless JPEG files: the rows, and the segments that describe them; see jpeg_codec.h.
#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpeg/lossless_frame.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostSegment = 65533;

class LosslessJpegWriter final : public RowWriter {
 public:
    LosslessJpegWriter(const RowsHeader& header, const JpegEncoding& encoding, ByteSink& out)
        : m_header(header), m_comment(encoding.comment), m_bits(encoding.bits), m_out(out) {
        assert(header.form.sample == (m_bits > 8 ? SampleType::kUint16 : SampleType::kUint8) && !header.form.alpha);
        if (m_bits < 2 || m_bits > 16) {
            throw PictureError(Failure::kEncoding, "lossless JPEG has samples of 2 to 16 bits; BitsPerChannel is " +
                                                       std::to_string(m_bits));
        }
        if (m_comment.size() > kMostSegment) {
            throw PictureError(Failure::kEncoding, "a JPEG comment has at most 65533 bytes, this one has " +
                                                       std::to_string(m_comment.size()));
        }
        m_samples.reserve(static_cast<size_t>(header.form.bands()) * static_cast<size_t>(header.width) *
                          static_cast<size_t>(header.height));
    }

    void write([[maybe_unused]] int32_t count, std::span<const uint8_t> rows) override {
        if (m_header.form.sample == SampleType::kUint16) {
            take<uint16_t>(rows);
        } else {
            take<uint8_t>(rows);
        }
    }

    void finish() override {
        put_marks();
        put_profile();
        if (!m_comment.empty()) {
            put_segment(kJpegComment, m_comment, {});
        }
        encode_lossless_jpeg({m_header.width, m_header.height, m_header.form.bands(), m_bits}, m_samples, m_segments,
                             m_out);
    }

 private:
    // From the whole range of their type to their bits. Files have inks inverted.
    template <class Sample>
    void take(std::span<const uint8_t> rows) {
        constexpr uint32_t kTop = static_cast<Sample>(~Sample{0});
        const uint32_t most = (1U << m_bits) - 1;
        const uint32_t turn = m_header.form.color == ColorModel::kCmyk ? most : 0;
        for (size_t at = 0; at < rows.size(); at += sizeof(Sample)) {
            Sample sample;
            std::memcpy(&sample, rows.data() + at, sizeof(Sample));
            m_samples.push_back(static_cast<uint16_t>(((sample * uint64_t{most} + kTop / 2) / kTop) ^ turn));
        }
    }

    void put_segment(JpegMarker marker, std::string_view mark, std::span<const uint8_t> data) {
        for (const size_t word : {size_t{0xFF00} | marker, 2 + mark.size() + data.size()}) {
            m_segments.push_back(static_cast<uint8_t>(word >> 8));
            m_segments.push_back(static_cast<uint8_t>(word));
        }
        m_segments.insert(m_segments.end(), mark.begin(), mark.end());
        m_segments.insert(m_segments.end(), data.begin(), data.end());
    }

    // JFIF is for gray: of three colors it says that they are luminance and differences. The mark of Adobe says that
    // they are what they are.
    void put_marks() {
        if (m_header.form.color != ColorModel::kGray) {
            put_segment(kJpegApp14, "Adobe", std::array<uint8_t, 7>{0, 100, 0, 0, 0, 0, 0});
            return;
        }
        const Resolution resolution = m_header.resolution.value_or(Resolution{1, 1});
        std::vector<uint8_t> jfif{1, 1, static_cast<uint8_t>(m_header.resolution.has_value())};
        for (const double dots : {resolution.horizontal, resolution.vertical}) {
            const auto density = static_cast<uint16_t>(std::clamp(std::round(dots), 1.0, 65535.0));
            jfif.push_back(static_cast<uint8_t>(density >> 8));
            jfif.push_back(static_cast<uint8_t>(density));
        }
        jfif.resize(jfif.size() + 2);  // no thumbnail
        put_segment(kJpegApp0, {"JFIF\0", 5}, jfif);
    }

    // In parts with their number and the count of all.
    void put_profile() {
        if (m_header.profile == nullptr) {
            return;
        }
        constexpr std::string_view kMark("ICC_PROFILE\0", 12);
        constexpr size_t kPart = kMostSegment - kMark.size() - 2;
        const std::span<const uint8_t> all(*m_header.profile);
        const size_t parts = (all.size() + kPart - 1) / kPart;
        if (parts > 255) {
            throw PictureError(Failure::kEncoding, "a color profile in a JPEG file has at most " +
                                                       std::to_string(255 * kPart) + " bytes, this one has " +
                                                       std::to_string(all.size()));
        }
        for (size_t part = 0; part < parts; part++) {
            std::string mark(kMark);
            mark += static_cast<char>(part + 1);
            mark += static_cast<char>(parts);
            put_segment(kJpegApp2, mark, all.subspan(part * kPart, std::min(kPart, all.size() - part * kPart)));
        }
    }

    RowsHeader m_header;
    std::string m_comment;
    int m_bits;
    ByteSink& m_out;
    std::vector<uint16_t> m_samples;
    std::vector<uint8_t> m_segments;
};

}  // namespace

std::unique_ptr<RowWriter> make_lossless_jpeg_writer(const RowsHeader& header, const JpegEncoding& encoding,
                                                     ByteSink& out) {
    return std::make_unique<LosslessJpegWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
