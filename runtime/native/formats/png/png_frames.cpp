// Frames of an animated PNG, composed when they are asked for; see png_frames.h.
//
// A frame has the data of a PNG file without its head. For decoding it gets one: the header of the file in the frame's
// size, and the chunks that stand before the first data and go for all frames.
#include "runtime/native/formats/png/png_frames.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/blending.h"
#include "runtime/native/imagework/pixels/canvas_cache.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/pixels/whole_rows.h"

namespace zelmor::imagework {
namespace {

// What decoding needs; other chunks describe the file.
constexpr uint32_t kShared[] = {png_type("PLTE"), png_type("tRNS"), png_type("gAMA"), png_type("cHRM"),
                                png_type("sRGB"), png_type("iCCP"), png_type("pHYs"), png_type("sBIT")};
constexpr uint64_t kHeaderSize = 13;
constexpr uint64_t kSequenceSize = 4;

struct Chunk {
    uint32_t type = 0;
    uint64_t at = 0;  // of its content
    uint64_t size = 0;
};

struct PngFrame {
    Rect area{};
    int duration = 0;
    FrameDisposal disposal = FrameDisposal::kLeave;
    bool over = false;  // laid over the canvas, instead of replacing what is there
    size_t first_data = 0;
    size_t data_count = 0;
};

struct Animation {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> header;
    std::vector<Chunk> shared;
    std::vector<Chunk> data;  // of all frames, in their order
    std::vector<PngFrame> frames;
    bool has_still = false;  // data before the first frame, which belong to none
};

[[noreturn]] void damaged(const char* what) {
    throw PictureError(Failure::kDamaged, std::string("the PNG animation ") + what);
}

class ChunkWalk {
 public:
    explicit ChunkWalk(SourceBytes& bytes) : m_in(bytes, true) {}

    void run(Animation& found) {
        uint64_t count = 0;
        for (uint64_t at = kFirstChunk; m_in.has(at, 12);) {
            if (++count > limits::kChunks) {
                throw PictureError(Failure::kTooLarge,
                                   "the PNG animation has more than " + std::to_string(limits::kChunks) + " chunks");
            }
            const Chunk chunk{m_in.u32(at + 4), at + 8, m_in.u32(at)};
            if (!m_in.has(at, 12 + chunk.size) || chunk.type == kIend) {
                break;
            }
            take(chunk, found);
            at += 12 + chunk.size;
        }
    }

 private:
    void take(const Chunk& chunk, Animation& found) {
        switch (chunk.type) {
            case kIhdr: {
                // The areas of the frames were compared with the first one.
                if (!found.header.empty()) {
                    damaged("has two headers");
                }
                found.width = m_in.i32(chunk.at);
                found.height = m_in.i32(chunk.at + 4);
                if (chunk.size < kHeaderSize || found.width < 1 || found.height < 1) {
                    damaged("has no header");
                }
                const auto header = m_in.piece(chunk.at, kHeaderSize);
                found.header.assign(header.begin(), header.end());
                break;
            }
            case kFrame:
                require_data(found);
                if (found.frames.size() >= limits::kFrames) {
                    throw PictureError(Failure::kTooLarge, "the PNG animation has more than " +
                                                               std::to_string(limits::kFrames) + " frames");
                }
                found.frames.push_back(frame_of(chunk, found));
                break;
            case kIdat:
                m_before_data = false;
                if (!found.frames.empty()) {
                    add_data(chunk, found);
                } else {
                    found.has_still = true;
                }
                break;
            case kFrameData:
                if (found.frames.empty() || chunk.size < kSequenceSize) {
                    damaged("has data that belong to no frame");
                }
                add_data(chunk, found);
                break;
            default:
                if (m_before_data) {
                    add_shared(chunk, found);
                }
        }
    }

    // Each frame gets all of these, so that the first of a kind is kept: a decoder takes no other.
    static void add_shared(const Chunk& chunk, Animation& found) {
        const bool again = std::any_of(found.shared.begin(), found.shared.end(),
                                       [&](const Chunk& other) { return other.type == chunk.type; });
        if (again && chunk.type == png_type("PLTE")) {
            damaged("has two palettes");
        }
        if (!again && std::find(std::begin(kShared), std::end(kShared), chunk.type) != std::end(kShared)) {
            found.shared.push_back(chunk);
        }
    }

    static void require_data(const Animation& found) {
        if (!found.frames.empty() && found.frames.back().data_count == 0) {
            damaged("has a frame without data");
        }
    }

    static void add_data(const Chunk& chunk, Animation& found) {
        if (chunk.size == (chunk.type == kFrameData ? kSequenceSize : 0)) {
            return;  // nothing of the frame
        }
        found.data.push_back(chunk);
        found.frames.back().data_count++;
    }

    PngFrame frame_of(const Chunk& chunk, const Animation& canvas) const {
        const ByteReader in = m_in.in_order(true);
        PngFrame frame;
        const int64_t width = in.u32(chunk.at + 4);
        const int64_t height = in.u32(chunk.at + 8);
        const int64_t x = in.u32(chunk.at + 12);
        const int64_t y = in.u32(chunk.at + 16);
        const uint32_t numerator = in.u16(chunk.at + 20);
        const uint32_t denominator = in.u16(chunk.at + 22) == 0 ? 100 : in.u16(chunk.at + 22);
        const uint8_t disposal = in.u8(chunk.at + 24);
        frame.over = in.u8(chunk.at + 25) == 1;
        constexpr FrameDisposal kDisposals[] = {FrameDisposal::kLeave, FrameDisposal::kClear, FrameDisposal::kRestore};
        if (chunk.size < 26 || width < 1 || height < 1 || x + width > canvas.width || y + height > canvas.height ||
            disposal >= std::size(kDisposals)) {
            damaged("has a frame that does not fit its canvas");
        }
        frame.disposal = kDisposals[disposal];
        frame.area = {static_cast<int32_t>(x), static_cast<int32_t>(y), static_cast<int32_t>(width),
                      static_cast<int32_t>(height)};
        frame.duration = static_cast<int>((uint64_t{numerator} * 1000 + denominator / 2) / denominator);
        frame.first_data = canvas.data.size();
        return frame;
    }

    ByteReader m_in;
    bool m_before_data = true;
};

class ApngFrames final : public FrameSource {
 public:
    ApngFrames(const SharedSource& source, bool lenient, SharedBudget budget)
        : m_source(source), m_lenient(lenient), m_budget(std::move(budget)), m_bytes(source) {
        try {
            ChunkWalk(m_bytes).run(m_file);
            if (m_file.frames.empty() || m_file.frames.back().data_count == 0) {
                damaged("has a frame without data");
            }
        } catch (const PictureError& error) {
            if (!lenient || error.kind() != Failure::kDamaged) {
                throw;
            }
            while (!m_file.frames.empty() && m_file.frames.back().data_count == 0) {
                m_file.frames.pop_back();
            }
        }
        if (m_file.frames.empty()) {
            damaged("has no frames");
        }
        m_facts = probe(m_bytes);
        choose_form();
        check_picture_size(m_file.width, m_file.height, static_cast<int>(m_header.form.pixel_size()));
    }

    size_t count() const override { return m_file.frames.size(); }

    FrameHeader header(size_t index) const override {
        assert(index < count());
        const PngFrame& frame = m_file.frames[index];
        FrameHeader result{m_facts, frame.duration, frame.area, frame.disposal};
        result.facts.has_alpha = m_header.form.alpha || m_facts.has_alpha;
        if (m_header.form.color == ColorModel::kIndexed) {
            result.facts.palette = m_header.palette;
        }
        return result;
    }

    SharedFrames still() const override {
        if (!m_file.has_still) {
            return nullptr;
        }
        FileFacts facts = m_facts;
        facts.variant = Variant::kUsual;
        facts.has_still = false;
        facts.frame_count = 1;
        const PngReading reading{m_lenient, m_lenient, m_budget};
        return std::make_shared<const SingleFrame>(facts,
                                                   [source = m_source, reading] { return open_png(source, reading); });
    }

    bool composes() const override { return true; }
    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < count());
        const std::lock_guard lock(m_mutex);
        const size_t step = m_header.form.pixel_size();
        const size_t size = static_cast<size_t>(m_file.width) * static_cast<size_t>(m_file.height) * step;
        MemoryShare share(m_budget, size);
        if (m_cache == nullptr) {
            m_cache = std::make_unique<CanvasCache>(count(), size);
        }
        std::array<uint8_t, 8> clear{};
        clear[0] = m_clear.value_or(0);
        auto rows = composed_frame(
            *m_cache, index, {m_file.width, m_file.height, std::span(clear).first(step)},
            [&](size_t i) { return !m_lenient && stands_alone(i); },
            [&](size_t i) { return m_file.frames[i].disposal; },
            [&](size_t i, FrameCanvas& canvas) { lay(i, canvas); });
        return whole_rows(m_header, std::move(rows), std::move(share));
    }

 private:
    bool covers(const PngFrame& frame) const {
        return frame.area.width == m_file.width && frame.area.height == m_file.height;
    }

    // Whether pixels can be seen that no frame covers.
    bool shows_clear() const {
        if (!covers(m_file.frames[0])) {
            return true;
        }
        for (size_t i = 0; i + 1 < count(); i++) {
            const FrameDisposal disposal = m_file.frames[i].disposal;
            if (disposal == FrameDisposal::kClear || (i == 0 && disposal == FrameDisposal::kRestore)) {
                return true;
            }
        }
        return false;
    }

    // The form that holds all frames: that of the file as far as possible.
    void choose_form() {
        m_header = frame_reader(m_file.frames[0])->header();
        m_header.width = m_file.width;
        m_header.height = m_file.height;
        PixelForm& form = m_header.form;
        if (form.color != ColorModel::kIndexed) {
            form.alpha = form.alpha || shows_clear();
            if (form.alpha && form.bits < 8) {
                form.bits = 8;
            }
            return;
        }
        std::vector<Argb>& palette = m_header.palette;
        const bool veils = std::any_of(palette.begin(), palette.end(),
                                       [](Argb color) { return color >> 24 != 0 && color >> 24 != 255; });
        const bool blends =
            std::any_of(m_file.frames.begin(), m_file.frames.end(), [](const PngFrame& frame) { return frame.over; });
        const auto clear = std::find_if(palette.begin(), palette.end(), [](Argb color) { return color >> 24 == 0; });
        if (clear != palette.end()) {
            m_clear = static_cast<uint8_t>(clear - palette.begin());
        } else if (shows_clear() && palette.size() < size_t{1} << form.bits) {
            m_clear = static_cast<uint8_t>(palette.size());
            palette.push_back(0);
        }
        if ((veils && blends) || (shows_clear() && !m_clear)) {
            m_file_palette = palette;
            palette.clear();
            form = {ColorModel::kRgb, SampleType::kUint8, 8, true};
        }
    }

    bool stands_alone(size_t index) const {
        const PngFrame& frame = m_file.frames[index];
        if (covers(frame) && (!frame.over || (!m_header.form.alpha && m_header.form.color != ColorModel::kIndexed))) {
            return true;
        }
        const PngFrame& before = m_file.frames[index - 1];
        return covers(before) && before.disposal == FrameDisposal::kClear;
    }

    std::unique_ptr<RowReader> frame_reader(const PngFrame& frame) const {
        std::vector<uint8_t> png;
        put_png_signature(png);
        std::vector<uint8_t> own;
        put_png_u32(own, static_cast<uint32_t>(frame.area.width));
        put_png_u32(own, static_cast<uint32_t>(frame.area.height));
        own.insert(own.end(), m_file.header.begin() + 8, m_file.header.end());
        put_png_chunk(png, kIhdr, own);
        const auto put = [&](uint32_t type, const Chunk& chunk, uint64_t skipped) {
            const auto content = m_bytes.at(chunk.at, chunk.size + 4);
            if (content.size() != chunk.size + 4) {
                damaged("cannot be read");
            }
            if (!m_lenient && !has_png_checksum(chunk.type, content)) {
                damaged("has a chunk whose checksum is wrong");
            }
            put_png_chunk(png, type, content.first(static_cast<size_t>(chunk.size)).subspan(skipped));
        };
        for (const Chunk& chunk : m_file.shared) {
            put(chunk.type, chunk, 0);
        }
        for (size_t i = 0; i < frame.data_count; i++) {
            const Chunk& chunk = m_file.data[frame.first_data + i];
            put(kIdat, chunk, chunk.type == kFrameData ? kSequenceSize : 0);
        }
        put_png_chunk(png, kIend, {});
        return open_png(memory_source(std::move(png)), {m_lenient, m_lenient, m_budget});
    }

    // Draws a frame on the canvas.
    void lay(size_t index, FrameCanvas& canvas) const {
        const PngFrame& frame = m_file.frames[index];
        canvas.begin(frame.area, frame.disposal);
        const auto reader = frame_reader(frame);
        const PixelForm& form = reader->header().form;
        std::vector<uint8_t> row(form.pixel_size() * static_cast<size_t>(frame.area.width));
        try {
            for (int32_t y = 0; y < frame.area.height; y++) {
                reader->read(1, row);
                lay_row(form, row, frame.over, canvas.row(frame.area.y + y, frame.area.x), frame.area.width);
            }
        } catch (const PictureError& error) {
            if (!m_lenient || error.kind() != Failure::kDamaged) {
                throw;
            }
        }
    }

    void lay_row(const PixelForm& form, std::span<const uint8_t> row, bool over, uint8_t* to, int32_t width) const {
        const PixelForm& own = m_header.form;
        if (form.color == ColorModel::kIndexed) {
            own.color == ColorModel::kIndexed ? lay_indices(row, over, to) : lay_colors(row, over, to);
        } else if (own.alpha == form.alpha && !(over && own.alpha)) {
            std::memcpy(to, row.data(), row.size());
        } else if (own.sample == SampleType::kUint16) {
            lay_samples<uint16_t>(row.data(), form, over, to, width);
        } else {
            lay_samples<uint8_t>(row.data(), form, over, to, width);
        }
    }

    void lay_indices(std::span<const uint8_t> row, bool over, uint8_t* to) const {
        for (size_t x = 0; x < row.size(); x++) {
            if (!over || m_header.palette[row[x]] >> 24 != 0) {
                to[x] = row[x];
            }
        }
    }

    void lay_colors(std::span<const uint8_t> row, bool over, uint8_t* to) const {
        for (const uint8_t index : row) {
            const Argb color = m_file_palette[index];
            const uint8_t pixel[4] = {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8),
                                      static_cast<uint8_t>(color), static_cast<uint8_t>(color >> 24)};
            if (over) {
                blend(pixel, to, 3);
            } else {
                std::memcpy(to, pixel, 4);
            }
            to += 4;
        }
    }

    // Of samples that get an alpha, or are laid over others.
    template <class Sample>
    void lay_samples(const uint8_t* row, const PixelForm& form, bool over, uint8_t* to, int32_t width) const {
        const int colors = form.color_bands();
        const size_t from_step = form.pixel_size();
        const size_t to_step = m_header.form.pixel_size();
        Sample pixel[4]{};
        pixel[colors] = static_cast<Sample>(~Sample{0});
        for (int32_t x = 0; x < width; x++) {
            std::memcpy(pixel, row + from_step * static_cast<size_t>(x), from_step);
            uint8_t* at = to + to_step * static_cast<size_t>(x);
            if (over) {
                Sample below[4]{};
                std::memcpy(below, at, to_step);
                blend(pixel, below, colors);
                std::memcpy(at, below, to_step);
            } else {
                std::memcpy(at, pixel, to_step);
            }
        }
    }

    SharedSource m_source;
    bool m_lenient;
    SharedBudget m_budget;
    Animation m_file;
    FileFacts m_facts;
    RowsHeader m_header;
    std::vector<Argb> m_file_palette;  // of indices that are held as colors
    std::optional<uint8_t> m_clear;    // the index of pixels that no frame covers
    mutable std::mutex m_mutex;
    mutable SourceBytes m_bytes;  // here and below under the mutex, once the object is made
    mutable std::unique_ptr<CanvasCache> m_cache;
};

}  // namespace

SharedFrames open_apng(const SharedSource& source, bool lenient, SharedBudget budget) {
    assert(source != nullptr);
    return std::make_shared<const ApngFrames>(source, lenient, std::move(budget));
}

}  // namespace zelmor::imagework
