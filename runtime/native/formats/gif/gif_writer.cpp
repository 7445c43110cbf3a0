// Writing by giflib; see gif_codec.h. The library's errors are codes, and nothing is thrown through it.
#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <exception>
#include <string>

#include "runtime/native/formats/gif/gif_codec.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kPaletteColors = 256;
constexpr int kMostSide = 65535;

struct FreeMap {
    void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
};
using ColorMap = std::unique_ptr<ColorMapObject, FreeMap>;

// The format has palettes of two to 256 entries, by powers of two; those behind the last one are black.
ColorMap color_map(std::span<const Argb> palette, bool sorted) {
    if (palette.empty()) {
        return nullptr;
    }
    if (palette.size() > kPaletteColors) {
        throw PictureError(Failure::kEncoding, "a palette of " + std::to_string(palette.size()) +
                                                   " colors does not fit a GIF, which has at most 256");
    }
    std::array<GifColorType, kPaletteColors> colors{};
    for (size_t i = 0; i < palette.size(); i++) {
        colors[i] = {static_cast<GifByteType>(palette[i] >> 16), static_cast<GifByteType>(palette[i] >> 8),
                     static_cast<GifByteType>(palette[i])};
    }
    ColorMap map(GifMakeMapObject(1 << GifBitSize(static_cast<int>(palette.size())), colors.data()));
    if (map == nullptr) {
        throw std::bad_alloc();
    }
    map->SortFlag = sorted;
    return map;
}

}  // namespace

// The library writes a few bytes at a time; they go on in pieces. The last byte waits for finish().
struct GifWriter::Library {
    explicit Library(ByteSink& out) : out(out) {
        int error = 0;
        gif = EGifOpen(this, &on_write, &error);
        if (gif == nullptr) {
            throw std::bad_alloc();
        }
        EGifSetGifVersion(gif, true);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        given_up = true;  // the library writes an end
        close();
    }

    int close() {
        if (gif == nullptr) {
            return GIF_OK;
        }
        int error = 0;
        const int result = EGifCloseFile(gif, &error);
        gif = nullptr;
        return result;
    }

    void require(int result) const {
        if (result != GIF_ERROR) {
            return;
        }
        if (thrown != nullptr) {
            std::rethrow_exception(thrown);
        }
        const char* text = gif != nullptr ? GifErrorString(gif->Error) : nullptr;
        throw PictureError(Failure::kEncoding, text != nullptr ? text : "the GIF encoder failed");
    }

    // Called by the library; how many bytes were taken.
    static int on_write(GifFileType* gif, const GifByteType* bytes, int count) {
        auto* self = static_cast<Library*>(gif->UserData);
        if (self->given_up) {
            return count;
        }
        try {
            self->put({bytes, static_cast<size_t>(count)});
            return count;
        } catch (...) {
            self->thrown = std::current_exception();
            self->given_up = true;
            return 0;
        }
    }

    void put(std::span<const uint8_t> bytes) {
        constexpr size_t kPiece = size_t{16} << 10;
        kept.insert(kept.end(), bytes.begin(), bytes.end());
        if (kept.size() > kPiece) {
            const uint8_t last = kept.back();
            kept.pop_back();
            out.write(kept);
            kept.assign(1, last);
        }
    }

    ByteSink& out;
    std::vector<uint8_t> kept;
    bool given_up = false;  // nothing is written any more
    GifFileType* gif = nullptr;
    std::exception_ptr thrown;
};

GifWriter::GifWriter(int32_t width, int32_t height, std::span<const Argb> palette, const GifEncoding& encoding,
                     ByteSink& out)
    : m_library(std::make_unique<Library>(out)), m_trailer(encoding.trailer) {
    if (width > kMostSide || height > kMostSide) {
        throw PictureError(Failure::kEncoding, "GIF holds at most 65535 pixels to a side; the image is " +
                                                   std::to_string(width) + " by " + std::to_string(height));
    }
    const ColorMap map = color_map(palette, encoding.sorted_palette);
    m_library->gif->AspectByte = encoding.aspect_ratio;
    m_library->require(EGifPutScreenDesc(m_library->gif, width, height, std::clamp(encoding.color_resolution, 1, 8),
                                         encoding.background_index, map.get()));
}

GifWriter::~GifWriter() = default;

void GifWriter::put_loops(int loops) {
    if (loops == 1) {
        return;  // without a word about it
    }
    const int repeats = loops == 0 ? 0 : std::min(loops - 1, 65535);
    const std::array<uint8_t, 19> block{0x21,
                                        0xFF,
                                        11,
                                        'N',
                                        'E',
                                        'T',
                                        'S',
                                        'C',
                                        'A',
                                        'P',
                                        'E',
                                        '2',
                                        '.',
                                        '0',
                                        3,
                                        1,
                                        static_cast<uint8_t>(repeats),
                                        static_cast<uint8_t>(repeats >> 8),
                                        0};
    put_raw(block);
}

// The library writes through at the end of each block, so that bytes can be put between them.
void GifWriter::put_raw(std::span<const uint8_t> block) {
    m_library->put(block);
}

void GifWriter::put_control(const GifControl& control) {
    GraphicsControlBlock block{};
    block.DisposalMode = control.disposal;
    block.UserInputFlag = control.user_input;
    block.DelayTime = control.delay;
    block.TransparentColor = control.transparent ? *control.transparent : NO_TRANSPARENT_COLOR;
    std::array<GifByteType, 4> bytes{};
    const size_t size = EGifGCBToExtension(&block, bytes.data());
    m_library->require(EGifPutExtension(m_library->gif, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(size), bytes.data()));
}

void GifWriter::start_frame(const GifFrameToWrite& frame) {
    if (frame.control) {
        put_control(*frame.control);
    }
    const ColorMap map = color_map(frame.palette, frame.sorted_palette);
    m_library->require(EGifPutImageDesc(m_library->gif, frame.area.x, frame.area.y, frame.area.width, frame.area.height,
                                        frame.interlaced, map.get()));
}

void GifWriter::put_row(std::span<const uint8_t> indices) {
    m_row.assign(indices.begin(), indices.end());
    m_library->require(EGifPutLine(m_library->gif, m_row.data(), static_cast<int>(m_row.size())));
}

void GifWriter::put_frame(const GifFrameToWrite& frame, std::span<const uint8_t> indices) {
    const auto width = static_cast<size_t>(frame.area.width);
    assert(indices.size() == width * static_cast<size_t>(frame.area.height));
    start_frame(frame);
    const auto put = [&](int32_t first, int32_t step) {
        for (int32_t y = first; y < frame.area.height; y += step) {
            put_row(indices.subspan(width * static_cast<size_t>(y), width));
        }
    };
    if (frame.interlaced) {
        put(0, 8);
        put(4, 8);
        put(2, 4);
        put(1, 2);
    } else {
        put(0, 1);
    }
}

void GifWriter::finish() {
    m_library->require(m_library->close());
    if (!m_trailer) {
        m_library->kept.pop_back();
    }
    m_library->out.write(m_library->kept);
}

std::optional<uint8_t> transparent_index(std::span<const Argb> palette) {
    for (size_t i = 0; i < std::min(palette.size(), kPaletteColors); i++) {
        if (palette[i] >> 24 == 0) {
            return static_cast<uint8_t>(i);
        }
    }
    return std::nullopt;
}

namespace {

class SingleWriter final : public RowWriter {
 public:
    SingleWriter(const RowsHeader& header, const GifEncoding& encoding, ByteSink& out)
        : m_width(static_cast<size_t>(header.width)),
          m_writer(header.width, header.height, header.palette, encoding, out) {
        m_frame.area = {0, 0, header.width, header.height};
        m_frame.interlaced = encoding.interlaced;
        if (const auto clear = transparent_index(header.palette)) {
            m_frame.control = GifControl{0, false, 0, clear};
        }
        if (encoding.loops) {
            m_writer.put_loops(*encoding.loops);
        }
        if (m_frame.interlaced) {
            m_indices.reserve(m_width * static_cast<size_t>(header.height));
        } else {
            m_writer.start_frame(m_frame);
        }
    }

    void write([[maybe_unused]] int32_t count, std::span<const uint8_t> rows) override {
        assert(rows.size() == m_width * static_cast<size_t>(count));
        if (m_frame.interlaced) {
            m_indices.insert(m_indices.end(), rows.begin(), rows.end());
            return;
        }
        for (size_t at = 0; at < rows.size(); at += m_width) {
            m_writer.put_row(rows.subspan(at, m_width));
        }
    }
    void finish() override {
        if (m_frame.interlaced) {
            m_writer.put_frame(m_frame, m_indices);
        }
        m_writer.finish();
    }

 private:
    size_t m_width;
    GifWriter m_writer;
    GifFrameToWrite m_frame;
    std::vector<uint8_t> m_indices;  // of an interlaced picture, whose rows are written in another order
};

}  // namespace

std::unique_ptr<RowWriter> make_gif_writer(const RowsHeader& header, const GifEncoding& encoding, ByteSink& out) {
    if (header.form.color != ColorModel::kIndexed || header.form.sample != SampleType::kUint8) {
        throw PictureError(Failure::kEncoding, "GIF holds indexed colors only");
    }
    if (header.palette.empty()) {
        throw PictureError(Failure::kEncoding, "a GIF needs a palette");
    }
    return std::make_unique<SingleWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework
