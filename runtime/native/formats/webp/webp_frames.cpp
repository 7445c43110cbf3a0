// Reading WebP; see webp_codec.h.
#include <algorithm>
#include <array>
#include <cassert>
#include <mutex>
#include <optional>

#include "runtime/native/formats/webp/passing_rows.h"
#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_decoder.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/formats/webp/webp_structure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/blending.h"
#include "runtime/native/imagework/pixels/canvas_cache.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/pixels/whole_rows.h"
#include "runtime/native/imagework/probe/exif_resolution.h"

namespace zelmor::imagework {
namespace {

// Frames lie far from each other: a window for a header and what follows it is enough.
constexpr size_t kWindow = 4096;
constexpr uint64_t kMostExif = uint64_t{64} << 10;

// The bytes of a coded picture: where they lie in memory, or a copy of them.
class CodedPicture {
 public:
    CodedPicture(const SharedSource& source, const BytePlace& place) : m_source(source) {
        const auto size = static_cast<size_t>(place.size);
        if (const auto all = source->in_memory(); !all.empty()) {
            m_bytes = all.subspan(static_cast<size_t>(place.at), size);
            return;
        }
        m_copy.resize(size);
        if (source->read_at(place.at, m_copy) != size) {
            webp_damaged("the file cannot be read");
        }
        m_bytes = m_copy;
    }
    CodedPicture(const CodedPicture&) = delete;
    CodedPicture& operator=(const CodedPicture&) = delete;

    std::span<const uint8_t> bytes() const { return m_bytes; }

 private:
    SharedSource m_source;
    std::vector<uint8_t> m_copy;
    std::span<const uint8_t> m_bytes;
};

class StillReader final : public RowReader {
 public:
    StillReader(SharedSource source, const BytePlace& place, RowsHeader header)
        : m_source(std::move(source)), m_place(place), m_header(std::move(header)) {}

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next + count <= m_header.height);
        assert(rows.size() == row_size() * static_cast<size_t>(count));
        if (m_coded == nullptr && count == m_header.height) {
            start(rows.data());
            m_decoder->decode(count);
            m_next = count;
            return;
        }
        if (m_coded == nullptr) {
            m_rows = PassingRows(row_size() * static_cast<size_t>(m_header.height));
            start(m_rows.data());
        }
        m_decoder->decode(m_next + count);
        std::copy_n(m_rows.data() + row_size() * static_cast<size_t>(m_next), rows.size(), rows.begin());
        m_next += count;
        // Of the row before the last the decoder may still make the next one.
        m_rows.give_back(row_size() * static_cast<size_t>(std::max(0, m_next - 2)));
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    void start(uint8_t* rows) {
        m_coded = std::make_unique<CodedPicture>(m_source, m_place);
        m_decoder.emplace(m_coded->bytes(),
                          WebpRows{rows, row_size(), m_header.width, m_header.height, m_header.form.alpha});
    }

    SharedSource m_source;
    BytePlace m_place;
    RowsHeader m_header;
    int32_t m_next = 0;
    PassingRows m_rows;
    std::unique_ptr<CodedPicture> m_coded;
    std::optional<WebpDecoder> m_decoder;
};

class WebpFrames final : public FrameSource {
 public:
    WebpFrames(const SharedSource& source, Recovery recovery, SharedBudget budget)
        : m_lenient(recovery != Recovery::kNone), m_budget(std::move(budget)), m_bytes(source, kWindow) {
        m_file = webp_structure(m_bytes, m_lenient);
        m_facts = probe(m_bytes);
        m_facts.readable = true;
        m_facts.width = m_file.width;
        m_facts.height = m_file.height;
        m_form.alpha = shows_alpha();
        m_facts.has_alpha = m_form.alpha;
        m_facts.bits_per_pixel = static_cast<int>(8 * m_form.pixel_size());
        if (const auto exif = m_bytes.at(m_file.exif.at, std::min(m_file.exif.size, kMostExif)); !exif.empty()) {
            m_resolution = exif_resolution(exif);
        }
        check_picture_size(m_file.width, m_file.height, static_cast<int>(m_form.pixel_size()));
    }

    size_t count() const override { return m_file.frames.size(); }

    FrameHeader header(size_t index) const override {
        assert(index < count());
        const WebpFramePlace& frame = m_file.frames[index];
        FrameHeader header{m_facts, frame.duration, frame.area, frame.disposal};
        if (auto* webp = settings_as<WebpEncoding>(header.facts)) {
            webp->lossless = frame.lossless;
        }
        return header;
    }

    bool composes() const override { return m_file.animated; }
    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < count());
        const std::lock_guard lock(m_mutex);
        if (!m_file.animated) {
            return still_rows(1);
        }
        RowsHeader header = rows_header();
        const size_t step = m_form.pixel_size();
        const size_t size = static_cast<size_t>(m_file.width) * static_cast<size_t>(m_file.height) * step;
        MemoryShare share(m_budget, size);
        if (m_cache == nullptr) {
            m_cache = std::make_unique<CanvasCache>(count(), size);
        }
        constexpr std::array<uint8_t, 4> kClear{};
        auto rows = composed_frame(
            *m_cache, index, {m_file.width, m_file.height, std::span(kClear).first(step)},
            [&](size_t i) { return !m_lenient && stands_alone(i); },
            [&](size_t i) { return m_file.frames[i].disposal; },
            [&](size_t i, FrameCanvas& canvas) { lay(i, canvas); });
        return whole_rows(std::move(header), std::move(rows), std::move(share));
    }

    int reduction(size_t index, int most) const override {
        assert(index < count() && most >= 1);
        const WebpFramePlace& frame = m_file.frames[index];
        if (m_file.animated || frame.lossless || m_form.alpha) {
            return 1;
        }
        int divisor = 1;
        while (divisor <= most / 2 && m_file.width % (2 * divisor) == 0 && m_file.height % (2 * divisor) == 0) {
            divisor *= 2;
        }
        return divisor;
    }

    std::unique_ptr<RowReader> open_reduced(size_t index, int divisor) const override {
        assert(divisor >= 1 && divisor <= reduction(index, divisor));
        if (divisor == 1) {
            return open(index);
        }
        const std::lock_guard lock(m_mutex);
        return still_rows(divisor);
    }

 private:
    bool covers(const WebpFramePlace& frame) const {
        return frame.area.width == m_file.width && frame.area.height == m_file.height;
    }

    bool shows_alpha() const {
        if (!m_file.animated) {
            return m_file.claims_alpha || m_file.frames[0].alpha;
        }
        return std::any_of(m_file.frames.begin(), m_file.frames.end(),
                           [&](const WebpFramePlace& frame) { return frame.alpha || !covers(frame); });
    }

    bool stands_alone(size_t index) const {
        const WebpFramePlace& frame = m_file.frames[index];
        if (covers(frame) && !(frame.over && frame.alpha)) {
            return true;
        }
        const WebpFramePlace& before = m_file.frames[index - 1];
        return covers(before) && before.disposal == FrameDisposal::kClear;
    }

    RowsHeader rows_header() const {
        if (m_profile == nullptr && m_file.profile.size > 0 && m_file.profile.size <= limits::kProfileBytes) {
            const auto found = m_bytes.at(m_file.profile.at, m_file.profile.size);
            m_profile = std::make_shared<const std::vector<uint8_t>>(found.begin(), found.end());
        }
        RowsHeader header;
        header.width = m_file.width;
        header.height = m_file.height;
        header.form = m_form;
        header.resolution = m_resolution;
        header.profile = m_profile;
        return header;
    }

    std::unique_ptr<RowReader> still_rows(int divisor) const {
        RowsHeader header = rows_header();
        header.width /= divisor;
        header.height /= divisor;
        // The decoder works in memory of the whole picture.
        const MemoryShare asked(m_budget, header.form.pixel_size() * static_cast<size_t>(header.width) *
                                              static_cast<size_t>(header.height));
        return std::make_unique<StillReader>(m_bytes.source(), m_file.frames[0].data, std::move(header));
    }

    // Draws a frame on the canvas.
    void lay(size_t index, FrameCanvas& canvas) const {
        const WebpFramePlace& frame = m_file.frames[index];
        canvas.begin(frame.area, frame.disposal);
        const Rect& area = frame.area;
        const size_t step = m_form.pixel_size();
        // Over a canvas that is still clear every frame replaces what is there.
        const bool blends = frame.over && frame.alpha && index > 0;
        const size_t row_size =
            blends ? step * static_cast<size_t>(area.width) : step * static_cast<size_t>(m_file.width);
        std::vector<uint8_t> own(blends ? row_size * static_cast<size_t>(area.height) : 0);
        uint8_t* const first = blends ? own.data() : canvas.row(area.y, area.x);
        int32_t done = 0;
        try {
            const CodedPicture coded(m_bytes.source(), frame.data);
            WebpDecoder decoder(coded.bytes(), {first, row_size, area.width, area.height, m_form.alpha});
            try {
                done = decoder.decode(area.height);
            } catch (...) {
                done = decoder.done();
                throw;
            }
        } catch (const PictureError& error) {
            if (!m_lenient || error.kind() != Failure::kDamaged) {
                throw;
            }
        }
        for (int32_t y = 0; blends && y < done; y++) {
            lay_row(own.data() + row_size * static_cast<size_t>(y), canvas.row(area.y + y, area.x), area.width);
        }
    }

    static void lay_row(const uint8_t* from, uint8_t* to, int32_t width) {
        constexpr int kColors = 3;
        for (int32_t x = 0; x < width; x++, from += kColors + 1, to += kColors + 1) {
            if (from[kColors] != 0) {
                blend(from, to, kColors);
            }
        }
    }

    bool m_lenient;
    SharedBudget m_budget;
    WebpStructure m_file;
    FileFacts m_facts;
    PixelForm m_form;
    std::optional<Resolution> m_resolution;
    mutable std::mutex m_mutex;
    mutable SourceBytes m_bytes;  // here and below under the mutex, once the object is made
    mutable ProfileBytes m_profile;
    mutable std::unique_ptr<CanvasCache> m_cache;
};

}  // namespace

SharedFrames open_webp(const SharedSource& source, Recovery recovery, SharedBudget budget) {
    assert(source != nullptr);
    return std::make_shared<const WebpFrames>(source, recovery, std::move(budget));
}

}  // namespace zelmor::imagework
