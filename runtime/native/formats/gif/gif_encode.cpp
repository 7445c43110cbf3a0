// Pictures of any form as indices of at most 256 colors, and frames of them in a file; see encode_gif.h.
#include "runtime/native/formats/gif/gif_encode.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>
#include <vector>

#include "runtime/native/formats/gif/gif_codec.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/pixels/whole_rows.h"
#include "runtime/native/imagework/vips/rows_image.h"

namespace zelmor::imagework {
namespace {

constexpr int kMostBits = 8;
constexpr size_t kAllColors = size_t{1} << kMostBits;
constexpr Argb kHalf = 128;  // a pixel of less alpha is transparent

// A picture as the format holds it: each color is opaque, but for one that stands for transparent pixels.
struct Indexed {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> indices;
    std::vector<Argb> palette;
};

Argb opaque_or_clear(Argb color) {
    return color >> 24 < kHalf ? color & 0xFFFFFF : color | kBlack;
}

// Each pixel opaque or transparent; whether any is transparent.
bool make_binary(VipsPicture& picture) {
    RowsHeader header = picture.rows_header();
    if (!header.form.alpha) {
        return false;
    }
    assert(header.form.color == ColorModel::kRgb && header.form.sample == SampleType::kUint8);
    const size_t row_size = header.form.pixel_size() * static_cast<size_t>(header.width);
    std::vector<uint8_t> rows;
    rows.reserve(row_size * static_cast<size_t>(header.height));
    for (int32_t y = 0; y < header.height; y++) {
        const uint8_t* row = row_of(picture.image(), y);
        rows.insert(rows.end(), row, row + row_size);
    }
    bool clear = false;
    for (size_t at = 0; at < rows.size(); at += 4) {
        if (rows[at + 3] < kHalf) {
            std::fill_n(rows.begin() + static_cast<std::ptrdiff_t>(at), 4, uint8_t{0});
            clear = true;
        } else {
            rows[at + 3] = 0xFF;
        }
    }
    picture = std::move(*read_picture(*whole_rows(header, std::move(rows))));
    return clear;
}

// Of several transparent colors one is used, the first where none is named: the others become opaque. The index that is
// written for each index of a pixel; empty where all stay as they are.
std::vector<uint8_t> use_one_clear_index(std::vector<Argb>& palette, std::optional<uint8_t> named) {
    const auto clear = named ? named : transparent_index(palette);
    std::vector<uint8_t> written;
    for (size_t i = 0; clear && i < palette.size(); i++) {
        const bool other = i != *clear && palette[i] >> 24 == 0;
        if (other && written.empty()) {
            written.resize(kAllColors);
            std::iota(written.begin(), written.end(), uint8_t{0});
        }
        if (other) {
            written[i] = *clear;
        }
        if (i != *clear) {
            palette[i] |= kBlack;
        }
    }
    return written;
}

void map_indices(std::span<uint8_t> indices, const std::vector<uint8_t>& written) {
    for (size_t i = 0; !written.empty() && i < indices.size(); i++) {
        indices[i] = written[indices[i]];
    }
}

// Makes the color transparent that the control block names, or all colors opaque where it names none. `indices` tells
// whether the pixels were indices before: new ones mean nothing to a program.
void set_clear_index(std::vector<Argb>& palette, bool indices, std::optional<uint8_t> clear) {
    if (clear) {
        if (!indices || *clear >= palette.size()) {
            throw PictureError(Failure::kUnsupported,
                               "The value " + std::to_string(*clear) +
                                   " of GifGraphicsControlBlock.TransparentColorIndex is not supported for a frame "
                                   "whose pixels are not indices of a palette with that color");
        }
        palette[*clear] &= ~kBlack;
        return;
    }
    if (!indices && transparent_index(palette)) {
        throw PictureError(Failure::kUnsupported,
                           "The value False of GifGraphicsControlBlock.HasTransparentColor is not supported for a "
                           "frame with transparent pixels that are not indices of a palette");
    }
    std::transform(palette.begin(), palette.end(), palette.begin(), [](Argb color) { return color | kBlack; });
}

// What the pixels of an indexed picture become in the file.
struct WrittenColors {
    std::vector<Argb> palette;
    std::vector<uint8_t> indices;  // for each index of a pixel the one that is written; empty: the same
};

// Makes the picture an indexed one: of its own colors if it has no more than fit, otherwise of those that suit it best.
// Indices and palette of an indexed picture stay as they are.
WrittenColors make_indexed(VipsPicture& picture, const GifEncoding& gif, const Encoding& encoding,
                           const GifFrame& frame = {}) {
    const int bits = encoding.may_widen ? kMostBits : gif.palette_bits;
    const size_t most = size_t{1} << bits;
    picture.to_srgb();  // the format has no place for a profile
    const bool indices = picture.form().color == ColorModel::kIndexed && picture.palette().size() <= most;
    if (!indices) {
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        const bool clear = make_binary(picture);
        std::vector<Argb> palette = picture.close_palette(static_cast<int>(most), true);
        std::transform(palette.begin(), palette.end(), palette.begin(), opaque_or_clear);
        if (clear && !transparent_index(palette)) {
            palette.size() < most ? palette.push_back(0) : void(palette.back() = 0);
        }
        picture.reduce(palette, encoding.diffuse);
    }
    WrittenColors result{{picture.palette().begin(), picture.palette().end()}, {}};
    std::transform(result.palette.begin(), result.palette.end(), result.palette.begin(), opaque_or_clear);
    if (frame.sets_transparent) {
        set_clear_index(result.palette, indices, frame.control.transparent);
    }
    result.indices =
        use_one_clear_index(result.palette, frame.sets_transparent ? frame.control.transparent : std::nullopt);
    return result;
}

Indexed indexed(VipsPicture& picture, const GifEncoding& gif, const Encoding& encoding, const GifFrame& frame = {}) {
    WrittenColors colors = make_indexed(picture, gif, encoding, frame);
    Indexed result{picture.width(), picture.height(), picture.indices(picture.palette(), false),
                   std::move(colors.palette)};
    map_indices(result.indices, colors.indices);
    return result;
}

GifControl control_of(const FrameToWrite& frame, int disposal, std::optional<uint8_t> transparent) {
    constexpr int kMillisecondsPerDelay = 10;
    const int delay = (std::max(0, frame.duration) + kMillisecondsPerDelay / 2) / kMillisecondsPerDelay;
    return {static_cast<uint16_t>(std::min(delay, 65535)), frame.gif.control.user_input, disposal, transparent};
}

int number_of(FrameDisposal disposal) {
    return static_cast<int>(disposal);  // those of the format
}
static_assert(static_cast<int>(FrameDisposal::kLeave) == 1 && static_cast<int>(FrameDisposal::kClear) == 2 &&
              static_cast<int>(FrameDisposal::kRestore) == 3);

void put_blocks(GifWriter& writer, const std::vector<std::vector<uint8_t>>& blocks) {
    for (const auto& block : blocks) {
        writer.put_raw(block);
    }
}

// ---- Frames that are copied

// The file that all frames are still those of, in its order; null where they are not.
const GifFrames* file_of(std::span<const FrameToWrite> frames) {
    const auto* file = dynamic_cast<const GifFrames*>(frames[0].origin.source.get());
    for (size_t i = 0; file != nullptr && i < frames.size(); i++) {
        const FrameOrigin& origin = frames[i].origin;
        const Encoding& encoding = *frames[i].encoding;
        if (origin.source != frames[0].origin.source || origin.index != i || frames[i].gif.part ||
            !encoding.copies_frames || encoding.transparent_color || encoding.flatten) {
            return nullptr;
        }
    }
    return file;
}

void copy_frames(const GifFrames& file, std::span<const FrameToWrite> frames, const GifEncoding& gif, int loops,
                 ByteSink& out) {
    const GifStructure& structure = file.structure();
    SourceBytes bytes(file.data());
    GifWriter writer(structure.screen.width, structure.screen.height, file.screen_palette(), gif, out);
    if (frames.size() > 1 || gif.loops) {
        writer.put_loops(loops);
    }
    for (size_t i = 0; i < frames.size(); i++) {
        const GifFramePlace& place = structure.frames[i];
        put_blocks(writer, frames[i].gif.blocks_before);
        const GifControl& said = frames[i].gif.control;
        const GifControl control = control_of(frames[i], said.disposal, said.transparent);
        if (place.control || control != GifControl{}) {
            writer.put_control(control);
        }
        const auto image = bytes.at(place.image.at, place.image.size);
        if (image.size() != place.image.size || !place.whole) {
            throw PictureError(Failure::kDamaged, "the file of the frames ends before they do");
        }
        writer.put_raw(image);
        put_blocks(writer, frames[i].gif.blocks_behind);
    }
    writer.finish();
}

// ---- Frames that are composed

struct Canvas {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<Argb> colors;  // opaque, or 0
};

// The smallest rectangle with all the pixels that are not the same; one pixel where all are.
Rect changed_area(const Canvas& before, const Canvas& after) {
    int32_t left = after.width;
    int32_t top = after.height;
    int32_t right = 0;
    int32_t bottom = 0;
    for (int32_t y = 0; y < after.height; y++) {
        const auto row = static_cast<size_t>(y) * static_cast<size_t>(after.width);
        for (int32_t x = 0; x < after.width; x++) {
            const size_t at = row + static_cast<size_t>(x);
            if (before.colors[at] != after.colors[at]) {
                left = std::min(left, x);
                right = std::max(right, x + 1);
                top = std::min(top, y);
                bottom = y + 1;
            }
        }
    }
    return right == 0 ? Rect{0, 0, 1, 1} : Rect{left, top, right - left, bottom - top};
}

// Whether laying pixels over `before` cannot give `after`, since some are to become transparent.
bool needs_clearing(const Canvas& before, const Canvas& after) {
    for (size_t i = 0; i < after.colors.size(); i++) {
        if (after.colors[i] == 0 && before.colors[i] != 0) {
            return true;
        }
    }
    return false;
}

void fill(Canvas& canvas, const Rect& area, Argb color) {
    for (int32_t y = area.y; y < area.y + area.height; y++) {
        const auto from = static_cast<size_t>(y) * static_cast<size_t>(canvas.width) + static_cast<size_t>(area.x);
        std::fill_n(canvas.colors.begin() + static_cast<std::ptrdiff_t>(from), area.width, color);
    }
}

// A frame with what is seen while it is shown. It is written when the next one is known.
struct Composed {
    const FrameToWrite* frame = nullptr;
    Indexed picture;
    Canvas before;
    Canvas shown;

    Rect place() const { return {frame->gif.left, frame->gif.top, picture.width, picture.height}; }

    FrameDisposal disposal() const { return gif_disposal(frame->gif.control.disposal); }

    // The canvas for the next frame, if the frame is written as it is asked for.
    Canvas after() const {
        Canvas canvas = shown;
        if (frame->gif.part && disposal() == FrameDisposal::kClear) {
            fill(canvas, place(), 0);
        } else if (frame->gif.part && disposal() == FrameDisposal::kRestore) {
            canvas = before;
        }
        return canvas;
    }
};

class Animation {
 public:
    Animation(std::span<const FrameToWrite> frames, const GifEncoding& gif) : m_gif(gif) {
        for (const FrameToWrite& frame : frames) {
            m_width = std::max(m_width, frame.gif.left + frame.picture->width());
            m_height = std::max(m_height, frame.gif.top + frame.picture->height());
        }
        check_picture_size(m_width, m_height, sizeof(Argb));
    }

    void run(std::span<const FrameToWrite> frames, int loops, ByteSink& out) {
        Canvas canvas{m_width, m_height, {}};
        canvas.colors.resize(static_cast<size_t>(m_width) * static_cast<size_t>(m_height));
        Composed pending = composed(frames[0], canvas);
        m_screen_palette = pending.picture.palette;
        GifWriter writer(m_width, m_height, m_screen_palette, m_gif, out);
        if (frames.size() > 1 || m_gif.loops) {
            writer.put_loops(loops);
        }
        for (size_t i = 1; i < frames.size(); i++) {
            Composed next = composed(frames[i], pending.after());
            const bool clears = needs_clearing(pending.after(), next.shown);
            if (clears) {
                std::fill(next.before.colors.begin(), next.before.colors.end(), 0);
            }
            put(writer, pending, clears, false);
            pending = std::move(next);
        }
        put(writer, pending, false, true);
        writer.finish();
    }

 private:
    Composed composed(const FrameToWrite& frame, Canvas canvas) const {
        const DecodedToWrite decoded(*frame.picture);
        const auto own = frame.picture->copy();
        auto& picture = static_cast<VipsPicture&>(*own);
        prepare_for_encoding(picture, *frame.encoding);
        Composed result;
        result.frame = &frame;
        result.picture = indexed(picture, frame.encoding->format.get<GifEncoding>(), *frame.encoding, frame.gif);
        result.before = std::move(canvas);
        result.shown = result.before;
        const bool keeps = frame.gif.part;  // what is below transparent pixels
        for (int32_t y = 0; y < result.picture.height; y++) {
            const auto to = static_cast<size_t>(frame.gif.top + y) * static_cast<size_t>(m_width) +
                            static_cast<size_t>(frame.gif.left);
            const auto from = static_cast<size_t>(y) * static_cast<size_t>(result.picture.width);
            for (size_t x = 0; x < static_cast<size_t>(result.picture.width); x++) {
                const Argb color = result.picture.palette[result.picture.indices[from + x]];
                if (color >> 24 != 0 || !keeps) {
                    result.shown.colors[to + x] = color >> 24 != 0 ? color : 0;
                }
            }
        }
        return result;
    }

    static bool removes(FrameDisposal disposal) {
        return disposal == FrameDisposal::kClear || disposal == FrameDisposal::kRestore;
    }

    void put(GifWriter& writer, Composed& composed, bool next_clears, bool last) {
        const FrameToWrite& frame = *composed.frame;
        put_blocks(writer, frame.gif.blocks_before);
        Rect area = composed.place();
        int disposal = frame.gif.control.disposal;
        if (!frame.gif.part && removes(composed.disposal()) && (m_continues || !last)) {
            disposal = number_of(FrameDisposal::kLeave);  // the next frame is written over it
        }
        Indexed& picture = composed.picture;
        if (next_clears) {
            if (frame.gif.part) {
                cover(composed);
            }
            area = {0, 0, m_width, m_height};
            disposal = number_of(FrameDisposal::kClear);
        } else if (!frame.gif.part && std::exchange(m_continues, true)) {
            area = changed_area(composed.before, composed.shown);
            disposal = std::max(disposal, number_of(FrameDisposal::kLeave));
            cut(picture, area);
        }
        const auto clear = transparent_index(picture.palette);
        const bool local = picture.palette != m_screen_palette;
        const GifEncoding& own = frame.encoding->format.get<GifEncoding>();
        writer.put_frame(
            {area, own.interlaced, false, local ? std::span<const Argb>(picture.palette) : std::span<const Argb>(),
             control_of(frame, disposal, clear)},
            picture.indices);
        put_blocks(writer, frame.gif.blocks_behind);
    }

    // Makes a part the whole of what is seen with it.
    void cover(Composed& composed) const {
        RowsHeader header;
        header.form = {ColorModel::kRgb, SampleType::kUint8, 8, true};
        VipsPicture whole(blank_image(header.form, m_width, m_height, kDefaultResolution), header);
        whole.write_argb({0, 0, m_width, m_height}, composed.shown.colors);
        Encoding encoding;
        encoding.may_widen = true;
        composed.picture = indexed(whole, m_gif, encoding);
    }

    static void cut(Indexed& picture, const Rect& area) {
        std::vector<uint8_t> kept;
        kept.reserve(static_cast<size_t>(area.width) * static_cast<size_t>(area.height));
        for (int32_t y = area.y; y < area.y + area.height; y++) {
            const auto from = picture.indices.begin() + static_cast<std::ptrdiff_t>(y) * picture.width + area.x;
            kept.insert(kept.end(), from, from + area.width);
        }
        picture = {area.width, area.height, std::move(kept), std::move(picture.palette)};
    }

    const GifEncoding& m_gif;
    int32_t m_width = 0;
    int32_t m_height = 0;
    std::vector<Argb> m_screen_palette;
    bool m_continues = false;  // the first frame is whole
};

// Gives rows on with the indices that are written.
class MappedRows final : public RowWriter {
 public:
    MappedRows(RowWriter& writer, const std::vector<uint8_t>& written) : m_writer(writer), m_written(written) {}
    void write(int32_t count, std::span<const uint8_t> rows) override {
        m_rows.assign(rows.begin(), rows.end());
        map_indices(m_rows, m_written);
        m_writer.write(count, m_rows);
    }
    void finish() override { m_writer.finish(); }

 private:
    RowWriter& m_writer;
    const std::vector<uint8_t>& m_written;
    std::vector<uint8_t> m_rows;
};

}  // namespace

void encode_gif(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& gif = encoding.format.get<GifEncoding>();
    const WrittenColors colors = make_indexed(picture, gif, encoding);
    RowsHeader header = picture.rows_header();
    header.form = {ColorModel::kIndexed, SampleType::kUint8, kMostBits, false};
    header.palette = colors.palette;
    const auto writer = make_gif_writer(header, gif, out);
    MappedRows rows(*writer, colors.indices);
    write_rows(picture, rows);
    rows.finish();
}

void encode_gif_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    const auto& gif = frames[0].encoding->format.get<GifEncoding>();
    const int loops = gif.loops.value_or(0);
    if (const GifFrames* file = file_of(frames)) {
        copy_frames(*file, frames, gif, loops, out);
    } else {
        Animation(frames, gif).run(frames, loops, out);
    }
}

}  // namespace zelmor::imagework
