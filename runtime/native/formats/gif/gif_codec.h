// GIF files, read and written by giflib.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_CODEC_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/gif/gif_structure.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The frames of a file, each as the whole screen while that frame is shown.
//
// As long as one palette serves all frames, the rows are its indices; a single frame has the very indices of the file.
// Otherwise they are RGB with alpha, of 8 bits. What no frame covers is transparent.
class GifFrames : public FrameSource {
 public:
    virtual const GifStructure& structure() const = 0;
    virtual const SharedSource& data() const = 0;
    // The palette of the screen; of a file without one it is empty.
    virtual std::vector<Argb> screen_palette() const = 0;
    // Whether the frame hides all that was shown before.
    virtual bool stands_alone(size_t index) const = 0;
};

// Walks over the blocks and decodes nothing. With `lenient` what is missing of a damaged frame stays as it was before
// it, which is transparent in the first.
std::shared_ptr<const GifFrames> open_gif(const SharedSource& source, bool lenient = false, SharedBudget budget = {});

struct GifFrameToWrite {
    Rect area{};
    bool interlaced = false;
    bool sorted_palette = false;
    std::span<const Argb> palette = {};  // its own; none uses the screen's
    std::optional<GifControl> control = {};
};

// Writes a file block by block. PictureError(kEncoding) where giflib fails.
class GifWriter {
 public:
    // `encoding` has the settings of the screen. `out` has the whole file when the writer has finished.
    GifWriter(int32_t width, int32_t height, std::span<const Argb> palette, const GifEncoding& encoding, ByteSink& out);
    GifWriter(const GifWriter&) = delete;
    GifWriter& operator=(const GifWriter&) = delete;
    ~GifWriter();

    // How often the animation is shown; 0: for ever. Before the first frame.
    void put_loops(int loops);
    // A block as it is, from its introducer to its end.
    void put_raw(std::span<const uint8_t> block);
    void put_control(const GifControl& control);
    // Indices row by row; they are those of the palette.
    void put_frame(const GifFrameToWrite& frame, std::span<const uint8_t> indices);
    // The same row by row, from top to bottom, of a frame that is not interlaced.
    void start_frame(const GifFrameToWrite& frame);
    void put_row(std::span<const uint8_t> indices);
    void finish();

 private:
    struct Library;
    std::unique_ptr<Library> m_library;
    bool m_trailer;
    std::vector<uint8_t> m_row;  // the library writes into the rows that it is given
};

// A file of one frame, of an indexed form. PictureError(kEncoding) for any other form.
std::unique_ptr<RowWriter> make_gif_writer(const RowsHeader& header, const GifEncoding& encoding, ByteSink& out);

// The index of the palette's first color that is fully transparent.
std::optional<uint8_t> transparent_index(std::span<const Argb> palette);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_CODEC_H
