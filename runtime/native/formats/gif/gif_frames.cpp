// Frames of a GIF file, composed when they are asked for; see gif_codec.h.
#include <algorithm>
#include <array>
#include <cassert>
#include <mutex>

#include "runtime/native/formats/gif/gif_codec.h"
#include "runtime/native/formats/gif/gif_decoder.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/canvas_cache.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "runtime/native/imagework/pixels/whole_rows.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostColors = 256;
constexpr int kBitsPerPixel = 8;

// How all frames of the file are held: by one palette, or by colors.
struct Model {
    bool indexed = false;
    std::vector<Argb> palette;       // of an indexed model, with its transparent color
    std::optional<uint8_t> clear{};  // the index of pixels that no frame covers
};

bool covers(const Rect& area, const GifScreen& screen) {
    return area.x == 0 && area.y == 0 && area.width >= screen.width && area.height >= screen.height;
}

std::optional<uint8_t> transparent_of(const GifFramePlace& frame) {
    return frame.control ? frame.control->transparent : std::nullopt;
}

// Whether pixels can be seen that no frame covers.
bool shows_clear(const GifStructure& file) {
    const GifFramePlace& first = file.frames[0];
    if (!covers(first.area, file.screen) || transparent_of(first)) {
        return true;
    }
    for (size_t i = 0; i + 1 < file.frames.size(); i++) {
        const FrameDisposal disposal = disposal_of(file.frames[i]);
        if (disposal == FrameDisposal::kClear || (i == 0 && disposal == FrameDisposal::kRestore)) {
            return true;
        }
    }
    return false;
}

Model model_of(const GifStructure& file, SourceBytes& bytes) {
    const GifFramePlace& first = file.frames[0];
    const bool own = first.palette.bits != 0;
    Model model;
    model.palette = gif_palette(bytes, own ? first.palette : file.screen.palette);
    for (const GifFramePlace& frame : file.frames) {
        if ((frame.palette.bits != 0) != own || (own && gif_palette(bytes, frame.palette) != model.palette)) {
            return {};
        }
    }
    if (model.palette.empty()) {
        model.palette = {kBlack, kWhite};  // the format leaves it to the reader
    }
    if (!shows_clear(file)) {
        model.indexed = true;
        return model;
    }
    const auto wanted = transparent_of(first);
    const bool one = wanted && *wanted < model.palette.size() &&
                     std::all_of(file.frames.begin(), file.frames.end(),
                                 [&](const GifFramePlace& frame) { return transparent_of(frame) == wanted; });
    if (one) {
        model.clear = *wanted;
    } else if (model.palette.size() < kMostColors) {
        model.clear = static_cast<uint8_t>(model.palette.size());
        model.palette.push_back(0);
    } else {
        return {};
    }
    model.palette[*model.clear] &= 0xFFFFFF;
    model.indexed = true;
    return model;
}

class GifFile final : public GifFrames {
 public:
    GifFile(const SharedSource& source, bool lenient, SharedBudget budget)
        : m_source(source), m_lenient(lenient), m_budget(std::move(budget)), m_bytes(source) {
        m_file = gif_structure(m_bytes);
        check_picture_size(m_file.screen.width, m_file.screen.height, 1);
        m_screen_palette = gif_palette(m_bytes, m_file.screen.palette);
        m_model = model_of(m_file, m_bytes);
    }

    size_t count() const override { return m_file.frames.size(); }
    const GifStructure& structure() const override { return m_file; }
    const SharedSource& data() const override { return m_source; }
    std::vector<Argb> screen_palette() const override { return m_screen_palette; }

    bool stands_alone(size_t index) const override {
        const GifFramePlace& frame = m_file.frames[index];
        if (index == 0 || (covers(frame.area, m_file.screen) && !transparent_of(frame))) {
            return true;
        }
        const GifFramePlace& before = m_file.frames[index - 1];
        return covers(before.area, m_file.screen) && disposal_of(before) == FrameDisposal::kClear;
    }

    FrameHeader header(size_t index) const override {
        assert(index < count());
        const GifFramePlace& frame = m_file.frames[index];
        FrameHeader result;
        FileFacts& facts = result.facts;
        facts.format = Format::kGif;
        facts.readable = true;
        facts.width = m_file.screen.width;
        facts.height = m_file.screen.height;
        facts.bits_per_pixel = kBitsPerPixel;
        facts.has_alpha = transparent_of(frame).has_value();
        GifEncoding encoding;
        const GifPalettePlace& palette = frame.palette.bits != 0 ? frame.palette : m_file.screen.palette;
        encoding.palette_bits = std::max(1, palette.bits);
        encoding.interlaced = frame.interlaced;
        encoding.loops = m_file.loops;
        encoding.color_resolution = m_file.screen.color_resolution;
        encoding.sorted_palette = m_file.screen.palette.sorted;
        encoding.background_index = m_file.screen.background_index;
        encoding.aspect_ratio = m_file.screen.aspect_ratio;
        encoding.trailer = m_file.trailer;
        facts.encoding = encoding;
        if (m_model.indexed) {
            facts.palette = m_model.palette;
        }
        if (frame.control) {
            constexpr int kMillisecondsPerDelay = 10;
            result.duration = frame.control->delay * kMillisecondsPerDelay;
        }
        result.area = frame.area;
        result.disposal = disposal_of(frame);
        result.control = frame.control;
        const std::lock_guard lock(m_mutex);
        const size_t before = index == 0 ? 0 : m_file.frames[index - 1].blocks_before;
        if (const auto transparent = transparent_of(frame)) {
            const std::vector<Argb> colors = colors_of(frame);
            if (*transparent < colors.size()) {
                facts.transparent_color = colors[*transparent];
            }
        }
        result.blocks_before = blocks(before, frame.blocks_before);
        if (index + 1 == count()) {
            result.blocks_behind = blocks(frame.blocks_before, m_file.extensions.size());
        }
        return result;
    }

    bool composes() const override { return true; }
    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < count());
        const std::lock_guard lock(m_mutex);
        if (m_model.indexed) {
            try {
                return composed(index, m_model, m_indexed);
            } catch (const PictureError& error) {
                if (!m_lenient || error.kind() != Failure::kDamaged || m_model.clear) {
                    throw;
                }
            }
        }
        return composed(index, kColors, m_colored);
    }

 private:
    static const Model kColors;

    std::vector<std::vector<uint8_t>> blocks(size_t from, size_t to) const {
        std::vector<std::vector<uint8_t>> result;
        for (size_t i = from; i < to; i++) {
            const auto bytes = m_bytes.at(m_file.extensions[i].at, m_file.extensions[i].size);
            result.emplace_back(bytes.begin(), bytes.end());
        }
        return result;
    }

    RowsHeader rows_header(const Model& model) const {
        RowsHeader header;
        header.width = m_file.screen.width;
        header.height = m_file.screen.height;
        if (model.indexed) {
            header.form = {ColorModel::kIndexed, SampleType::kUint8, index_bits(model.palette.size()), false};
            header.palette = model.palette;
        } else {
            header.form = {ColorModel::kRgb, SampleType::kUint8, 8, true};
        }
        return header;
    }

    std::unique_ptr<RowReader> composed(size_t index, const Model& model, std::unique_ptr<CanvasCache>& cache) const {
        RowsHeader header = rows_header(model);
        const size_t step = header.form.pixel_size();
        check_picture_size(header.width, header.height, static_cast<int>(step));
        const size_t size = static_cast<size_t>(header.width) * static_cast<size_t>(header.height) * step;
        MemoryShare share(m_budget, size);
        if (cache == nullptr) {
            cache = std::make_unique<CanvasCache>(count(), size);
        }
        const std::array<uint8_t, 4> clear{model.clear.value_or(0)};
        std::vector<uint8_t> rows = composed_frame(
            *cache, index, {header.width, header.height, std::span(clear).first(step)},
            [&](size_t i) { return !m_lenient && stands_alone(i); },
            [&](size_t i) { return disposal_of(m_file.frames[i]); },
            [&](size_t i, FrameCanvas& canvas) { lay(i, model, canvas); });
        return whole_rows(std::move(header), std::move(rows), std::move(share));
    }

    // Draws a frame on the canvas.
    void lay(size_t index, const Model& model, FrameCanvas& canvas) const {
        const GifFramePlace& frame = m_file.frames[index];
        canvas.begin(frame.area, disposal_of(frame));
        const Rect area = canvas.inside(frame.area);
        const auto transparent = transparent_of(frame);
        const int skipped = transparent ? *transparent : -1;
        const std::vector<Argb> colors = model.indexed ? model.palette : colors_of(frame);
        const auto take = [&](int32_t y, const uint8_t* indices) {
            uint8_t* to = canvas.row(area.y + y, area.x);
            for (int32_t x = 0; x < area.width; x++) {
                const uint8_t index_there = indices[x];
                if (index_there == skipped || index_there >= colors.size()) {
                    continue;  // an index that the palette does not have is as good as a transparent one
                }
                if (model.indexed) {
                    to[x] = index_there;
                    continue;
                }
                const Argb color = colors[index_there];
                uint8_t* pixel = to + 4 * static_cast<size_t>(x);
                pixel[0] = static_cast<uint8_t>(color >> 16);
                pixel[1] = static_cast<uint8_t>(color >> 8);
                pixel[2] = static_cast<uint8_t>(color);
                pixel[3] = 0xFF;
            }
        };
        if (area.width == 0) {
            return;
        }
        try {
            decode_gif_frame(m_bytes, frame, area.height, take);
        } catch (const PictureError& error) {
            // Where clear pixels have no index, the caller tries again with colors.
            if (!m_lenient || error.kind() != Failure::kDamaged || (model.indexed && !model.clear)) {
                throw;
            }
        }
    }

    std::vector<Argb> colors_of(const GifFramePlace& frame) const {
        return frame.palette.bits != 0 ? gif_palette(m_bytes, frame.palette) : m_screen_palette;
    }

    SharedSource m_source;
    bool m_lenient;
    SharedBudget m_budget;
    GifStructure m_file;
    std::vector<Argb> m_screen_palette;
    Model m_model;
    mutable std::mutex m_mutex;
    mutable SourceBytes m_bytes;  // here and below under the mutex, once the object is made
    mutable std::unique_ptr<CanvasCache> m_indexed;
    mutable std::unique_ptr<CanvasCache> m_colored;
};

const Model GifFile::kColors{};

}  // namespace

std::shared_ptr<const GifFrames> open_gif(const SharedSource& source, bool lenient, SharedBudget budget) {
    assert(source != nullptr);
    return std::make_shared<const GifFile>(source, lenient, std::move(budget));
}

}  // namespace zelmor::imagework
