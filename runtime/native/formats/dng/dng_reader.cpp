// Reading DNG; see dng_codec.h.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <vector>

#include "runtime/native/formats/dng/dng_codec.h"
#include "runtime/native/formats/dng/raw_decoder.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Light as the numbers of sRGB, of 16 bits. White is the brightest that the sensor tells, unless the file wants the
// picture brighter.
std::vector<uint16_t> srgb_curve(double baseline_exposure) {
    constexpr double kTop = 65535.0;
    const double gain = std::exp2(baseline_exposure);
    std::vector<uint16_t> curve(size_t{1} << 16);
    for (size_t i = 0; i < curve.size(); i++) {
        const double light = std::min(1.0, static_cast<double>(i) / kTop * gain);
        const double value = light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
        curve[i] = static_cast<uint16_t>(std::clamp(value * kTop + 0.5, 0.0, kTop));
    }
    return curve;
}

// How the rows of the upright picture lie in the crop: from the pixel at `first`, by `step` to the next one of the row,
// and by `row` to the next row. Counted in pixels.
struct Walk {
    int64_t first = 0;
    int64_t step = 1;
    int64_t row = 0;
};

Walk upright(const DngStructure& found) {
    const int64_t width = found.active.width;
    const int64_t right = found.crop.width - 1;
    const int64_t down = width * (found.crop.height - 1);
    const int64_t corner = width * found.crop.y + found.crop.x;
    switch (found.orientation) {
        case 2:
            return {corner + right, -1, width};
        case 3:
            return {corner + down + right, -1, -width};
        case 4:
            return {corner + down, 1, -width};
        case 5:
            return {corner, width, 1};
        case 6:
            return {corner + down, -width, 1};
        case 7:
            return {corner + down + right, -width, -1};
        case 8:
            return {corner + right, width, -1};
        default:
            return {corner, 1, width};
    }
}

class DngReader final : public RowReader {
 public:
    DngReader(SharedSource source, const DngStructure& structure, DecodeOptions options)
        : m_source(std::move(source)), m_structure(structure), m_options(std::move(options)) {
        m_header.width = m_structure.width();
        m_header.height = m_structure.height();
        m_header.form = m_structure.form();
        m_header.resolution = m_structure.resolution;
        check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next + count <= m_header.height &&
               rows.size() ==
                   m_header.form.pixel_size() * static_cast<size_t>(m_header.width) * static_cast<size_t>(count));
        if (m_decoder == nullptr) {
            decode();
        }
        const bool wide = m_header.form.sample == SampleType::kUint16;
        if (wide) {
            copy<uint16_t>(count, rows);
        } else {
            copy<uint8_t>(count, rows);
        }
        if (m_next == m_header.height) {
            m_decoder.reset();
            m_curve = {};
            m_share.reset();
        }
    }

 private:
    void decode() {
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        m_failed = true;
        // A file that cannot have what it claims is found out before memory is taken for it.
        const uint64_t bits = uint64_t{static_cast<uint32_t>(m_structure.raw_width)} *
                              static_cast<uint32_t>(m_structure.raw_height) * static_cast<uint64_t>(m_structure.bits) *
                              static_cast<uint64_t>(m_structure.samples);
        if (!m_structure.compressed && bits / 8 > m_source->size()) {
            throw PictureError(Failure::kDamaged, "the raw picture ends early");
        }
        auto decoder = std::make_unique<RawDecoder>(m_source, m_structure, m_options);
        MemoryShare share(m_options.memory, decoder->cost());
        decoder->decode();
        m_curve = srgb_curve(m_structure.baseline_exposure);
        m_walk = upright(m_structure);
        m_share = std::move(share);
        m_decoder = std::move(decoder);
        m_failed = false;
    }

    template <class Sample>
    void copy(int32_t count, std::span<uint8_t> rows) {
        constexpr size_t kColors = 4;
        const std::span<const uint16_t> pixels = m_decoder->pixels();
        const auto bands = static_cast<size_t>(m_header.form.bands());
        uint8_t* out = rows.data();
        for (int32_t i = 0; i < count; i++, m_next++) {
            int64_t at = m_walk.first + m_walk.row * m_next;
            for (int32_t x = 0; x < m_header.width; x++, at += m_walk.step) {
                const uint16_t* const pixel = &pixels[static_cast<size_t>(at) * kColors];
                for (size_t band = 0; band < bands; band++, out += sizeof(Sample)) {
                    const uint16_t value = m_curve[pixel[band]];
                    const auto sample = static_cast<Sample>(sizeof(Sample) == 1 ? (value + 128U) / 257U : value);
                    std::memcpy(out, &sample, sizeof(Sample));
                }
            }
        }
    }

    SharedSource m_source;
    DngStructure m_structure;
    DecodeOptions m_options;
    RowsHeader m_header;
    MemoryShare m_share;
    std::unique_ptr<RawDecoder> m_decoder;
    std::vector<uint16_t> m_curve;
    Walk m_walk;
    bool m_failed = false;
    int32_t m_next = 0;
};

class DngFile final : public DngFrames {
 public:
    DngFile(const SharedSource& source, const DecodeOptions& options) : m_source(source), m_options(options) {
        SourceBytes bytes(m_source, SourceBytes::kHeaderWindow);
        const ByteReader file(bytes);
        m_structure = dng_structure(file);
        if (!m_structure.readable) {
            throw PictureError(Failure::kDamaged, "there is no raw picture");
        }
        m_header.facts = probe(bytes);
        m_header.area = {0, 0, m_structure.width(), m_structure.height()};
    }

    size_t count() const override { return 1; }
    FrameHeader header(size_t) const override { return m_header; }
    std::unique_ptr<RowReader> open(size_t) const override {
        return std::make_unique<DngReader>(m_source, m_structure, m_options);
    }
    DngReport report() const override { return RawDecoder(m_source, m_structure, m_options).report(); }

 private:
    SharedSource m_source;
    DecodeOptions m_options;
    DngStructure m_structure;
    FrameHeader m_header;
};

}  // namespace

SharedDng open_dng(const SharedSource& source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<const DngFile>(source, options);
}

}  // namespace zelmor::imagework
