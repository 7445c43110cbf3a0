// Reading JPEG-LS; see jpegls_codec.h.
#include <algorithm>
#include <cassert>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_planes.h"
#include "runtime/native/formats/jpegls/jpegls_codec.h"
#include "runtime/native/formats/jpegls/jpegls_decoder.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

// The resolution of the JFIF segment, which is the first of the file.
std::optional<Resolution> resolution_of(const ByteReader& in) {
    constexpr uint64_t kSegment = 2;
    constexpr int kInch = 1;
    constexpr int kCentimeter = 2;
    const int unit = in.u8(kSegment + 11);
    const int horizontal = in.u16(kSegment + 12);
    const int vertical = in.u16(kSegment + 14);
    if (in.u16(kSegment) != 0xFFE0 || !in.starts_with(kSegment + 4, "JFIF") || (unit != kInch && unit != kCentimeter) ||
        horizontal <= 1 || vertical <= 1) {
        return std::nullopt;
    }
    const double per_inch = unit == kCentimeter ? kCentimetersPerInch : 1.0;
    return Resolution{horizontal * per_inch, vertical * per_inch};
}

class JpegLsReader final : public RowReader {
 public:
    JpegLsReader(SharedSource source, const JpegLsSettings& settings, RowsHeader header, SharedBudget memory)
        : m_source(std::move(source)), m_bits(settings.bits), m_header(std::move(header)), m_memory(std::move(memory)) {
        check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
    }

    const RowsHeader& header() const override { return m_header; }

    void read([[maybe_unused]] int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && rows.size() == row_size() * static_cast<size_t>(count));
        if (!m_decoded) {
            decode();
        }
        assert(rows.size() <= m_rows.size() - m_at);
        std::copy_n(m_rows.begin() + static_cast<std::ptrdiff_t>(m_at), rows.size(), rows.begin());
        m_at += rows.size();
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    void decode() {
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        m_failed = true;
        const auto pixels = static_cast<size_t>(m_header.width) * static_cast<size_t>(m_header.height);
        const auto bands = static_cast<size_t>(m_header.form.bands());
        const size_t size = row_size() * static_cast<size_t>(m_header.height);
        // The decoder has the samples twice: by component, and joined.
        MemoryShare share(m_memory, size + 2 * pixels * bands * sizeof(uint16_t) + m_source->size());
        const std::vector<uint8_t> file = all_bytes(*m_source);
        if (!has_jpeg_end(file)) {
            throw PictureError(Failure::kDamaged, "the data end early");
        }
        const std::vector<uint16_t> samples =
            decode_jpegls(file, {m_header.width, m_header.height, static_cast<int>(bands)}, false).samples;
        m_rows.resize(size);
        if (m_header.form.sample == SampleType::kUint16) {
            spread<uint16_t>(samples);
        } else {
            spread<uint8_t>(samples);
        }
        m_share = std::move(share);
        m_decoded = true;
        m_failed = false;
    }

    // Over the whole range of their type.
    template <class Sample>
    void spread(std::span<const uint16_t> samples) {
        const uint32_t most = (1U << m_bits) - 1;
        for (size_t i = 0; i < samples.size(); i++) {
            const auto sample = over_whole_range<Sample>(samples[i], most);
            std::memcpy(m_rows.data() + i * sizeof(Sample), &sample, sizeof(Sample));
        }
    }

    SharedSource m_source;
    int m_bits;
    RowsHeader m_header;
    SharedBudget m_memory;
    MemoryShare m_share;
    std::vector<uint8_t> m_rows;
    size_t m_at = 0;
    bool m_decoded = false;
    bool m_failed = false;
};

}  // namespace

SharedFrames open_jpegls(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    assert(source != nullptr && facts.encoding);
    const JpegLsSettings settings = facts.encoding->get<JpegEncoding>().ls;
    const int components = facts.bits_per_pixel / std::max(1, settings.bits);
    if (components != 1 && components != 3) {
        throw PictureError(Failure::kUnsupported,
                           "a JPEG-LS picture of " + std::to_string(components) + " components is not read");
    }
    if (settings.bits < 2 || settings.bits > 16) {
        throw PictureError(Failure::kDamaged, "JPEG-LS has no samples of " + std::to_string(settings.bits) + " bits");
    }
    RowsHeader header;
    header.width = static_cast<int32_t>(facts.width);
    header.height = static_cast<int32_t>(facts.height);
    header.form.color = components == 1 ? ColorModel::kGray : ColorModel::kRgb;
    if (settings.bits > 8) {
        header.form.sample = SampleType::kUint16;
        header.form.bits = 16;
    }
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    header.resolution = resolution_of(ByteReader(bytes, true));
    return std::make_shared<const SingleFrame>(
        facts, [=] { return std::make_unique<JpegLsReader>(source, settings, header, options.memory); });
}

}  // namespace zelmor::imagework
