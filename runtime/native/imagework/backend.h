// The interface of the image library to the embedded runtime: pictures in memory, and the backend that makes them.
//
// The implementation is a shared object of its own, loaded at the first use of an image, so that nothing here may name
// a type of the library behind it. All failures are PictureError. A picture is used by one thread at a time.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_BACKEND_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_BACKEND_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/filters.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/resampling.h"

namespace zelmor::imagework {

// The time on a clock that is never set back, in nanoseconds: it orders changes of pictures and of what describes them.
int64_t steady_time();

// A picture in memory, in the form of its file until an operation needs another one.
class Picture {
 public:
    virtual ~Picture() = default;

    virtual int32_t width() const = 0;
    virtual int32_t height() const = 0;
    virtual const PixelForm& form() const = 0;
    virtual std::span<const Argb> palette() const = 0;  // of an indexed picture; otherwise empty
    virtual ProfileBytes profile() const = 0;           // that its numbers belong to; null stands for sRGB
    // Gives the numbers another meaning; none of them changes. One for another color model counts as none.
    virtual void set_profile(ProfileBytes profile) = 0;
    virtual bool has_alpha() const = 0;  // a band of the form, or transparent colors of the palette
    virtual bool is_gray() const = 0;
    virtual Resolution resolution() const = 0;
    virtual void set_resolution(Resolution resolution) = 0;

    // The frame that the pixels are still those of; its source is null once they were changed. A copy has it too.
    virtual const FrameOrigin& origin() const = 0;

    // A picture that was loaded decodes its pixels when they are first needed, or here. PictureError(kDamaged) where it
    // cannot: so may every member that needs them.
    virtual void decode() const = 0;
    virtual bool is_decoded() const = 0;
    // Gives up decoded pixels that can be decoded again; otherwise does nothing.
    virtual void let_go() const = 0;

    // A picture of its own with the same pixels; they are shared until either is written to.
    virtual std::unique_ptr<Picture> copy() const = 0;

    // When the pixels were last changed, on the steady clock; 0 as long as they are those of the file. A copy has the
    // time of the picture that it was made of.
    int64_t changed_at() const { return m_changed_at; }

    // Single pixels and blocks of them, row by row. Gray and RGB are the numbers of the picture; CMYK and Lab are
    // converted by the profile, floating samples clipped. A picture without alpha ignores the alpha of the colors that
    // are written; a gray one becomes RGB when it is given a color, and an indexed one when its palette has not the
    // color; CMYK and Lab become RGB.
    virtual Argb get_argb(int32_t x, int32_t y) const = 0;
    virtual void set_argb(int32_t x, int32_t y, Argb color) = 0;
    virtual void read_argb(const Rect& area, std::span<Argb> out) const = 0;
    virtual void write_argb(const Rect& area, std::span<const Argb> pixels) = 0;
    // The same with 16 bits per channel, as 0xAAAARRRRGGGGBBBB. A picture of 8 bits repeats them.
    virtual void read_argb64(const Rect& area, std::span<uint64_t> out) const = 0;
    virtual void write_argb64(const Rect& area, std::span<const uint64_t> pixels) = 0;
    // The samples themselves, in the picture's form: rows that begin `row_size` bytes after each other. Indices that
    // the palette does not have are refused.
    virtual void read_samples(const Rect& area, size_t row_size, std::span<uint8_t> out) const = 0;
    virtual void write_samples(const Rect& area, size_t row_size, std::span<const uint8_t> samples) = 0;

    virtual void crop(const Rect& area) = 0;
    // Resamples to the size given.
    virtual void resize(int32_t width, int32_t height, Resampling resampling) = 0;
    // Puts the picture unscaled on a canvas of the size given, its corner at (x, y), and cuts the parts outside.
    virtual void place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) = 0;
    // An opaque alpha channel where there is none.
    virtual void add_alpha() = 0;
    // An indexed picture becomes RGB, with alpha where its palette has it.
    virtual void drop_palette() = 0;
    // Gray or RGB of sRGB, without a profile and a palette: what any program takes such numbers for.
    virtual void to_standard_colors() = 0;
    // Converts to another form, but not to indices. Where that has no alpha, the picture is laid over the background.
    virtual void take_form(const PixelForm& form, Argb background) = 0;
    // Gives all pixels of the area one color.
    virtual void replace_area(const Rect& area, Argb color) = 0;
    // Lays another picture over this one, its corner at (x, y); its parts outside are cut.
    virtual void draw(const Picture& other, int32_t x, int32_t y) = 0;
    // Lays a drawing over the area in the picture's own depth. The drawing was made twice, over opaque black and over
    // opaque white, which tells how much of the picture shows through each of its pixels.
    virtual void blend(const Rect& area, std::span<const Argb> on_black, std::span<const Argb> on_white) = 0;
    // Turns clockwise by quarters, then mirrors.
    virtual void rotate_flip(int quarter_turns, bool mirror_x, bool mirror_y) = 0;
    // Turns clockwise around the center; `grow` enlarges the canvas until it holds the turned picture.
    virtual void rotate(double degrees, bool grow, Argb background) = 0;

    virtual void grayscale() = 0;
    virtual void adjust_brightness(int32_t brightness) = 0;  // -255 to 255
    virtual void adjust_contrast(double contrast) = 0;       // -100 to 100
    virtual void adjust_gamma(double red, double green, double blue) = 0;
    virtual void binarize_fixed(uint8_t threshold) = 0;  // pixels above it become white
    virtual void binarize_otsu() = 0;
    // Pixels become white unless they are darker than the mean of their window by the fraction given.
    virtual void binarize_bradley(double difference, int32_t window) = 0;
    // Replaces pixels none of whose channels differs by more than `tolerance`.
    virtual void replace_color(Argb old_color, uint8_t tolerance, Argb new_color) = 0;
    virtual void replace_rgb(Argb new_color) = 0;  // of every pixel; alpha stays

    // Works on the pixels of the area by those around them.
    virtual void filter(const Rect& area, const Filter& filter) = 0;
    // How far the lines of a text are turned clockwise, in degrees; 0 where there are none.
    virtual double skew_angle() const = 0;

    // The colors that stand best for all of the picture's, at most so many; those of a picture that has no more.
    virtual std::vector<Argb> close_palette(int most, bool keep_alpha) const = 0;
    // The colors that occur most often, at most so many, the most frequent first.
    virtual std::vector<Argb> frequent_palette(int most) const = 0;
    // Whether the palette has each of the picture's colors.
    virtual bool has_only(std::span<const Argb> palette) const = 0;
    // The index of the palette's entry that is nearest to each pixel, row by row. `diffuse` spreads the difference over
    // the neighbors, so that areas keep their mean.
    virtual std::vector<uint8_t> indices(std::span<const Argb> palette, bool diffuse) const = 0;
    // Makes the picture an indexed one: with these indices, row by row, which are those of the palette,
    virtual void paint(std::span<const uint8_t> indices, std::span<const Argb> palette) = 0;
    // or with the index of the color that is nearest to each pixel.
    virtual void reduce(std::span<const Argb> palette, bool diffuse) = 0;

    virtual double opacity() const = 0;  // mean alpha, 0 to 1

    // Writes the picture as a file. Files of common formats go to the sink while they are encoded, others as a whole.
    virtual void encode(const Encoding& encoding, ByteSink& out) const = 0;
    // The same in memory.
    EncodedBytes encode(const Encoding& encoding) const {
        MemorySink memory;
        encode(encoding, memory);
        return memory.take();
    }

 protected:
    Picture() = default;
    Picture(const Picture&) = default;
    // Called by each operation that changes pixels.
    void note_change() { m_changed_at = steady_time(); }
    void note_no_change() { m_changed_at = 0; }

 private:
    int64_t m_changed_at = 0;
};

// What a GIF file says of a frame besides its pixels.
struct GifFrame {
    // The picture is a part of the canvas, laid over what is there; otherwise it is all that is seen.
    bool part = false;
    int32_t left = 0;
    int32_t top = 0;
    GifControl control = {};        // without the delay, which is the duration
    bool sets_transparent = false;  // the index in the control block is another one than that of the frame's file
    std::vector<std::vector<uint8_t>> blocks_before = {};  // extensions, as they stand in the file
    std::vector<std::vector<uint8_t>> blocks_behind = {};
};

struct FrameToWrite {
    const Picture* picture;  // null of a frame that is copied from its origin
    int duration;
    const Encoding* encoding;  // of a TIFF page its own; elsewhere the first frame's counts for all
    GifFrame gif = {};
    FrameOrigin origin = {};  // of a GIF frame whose picture is still that of its file
    // Of the first frame: the picture beside an animated PNG that programs show which know none, as large as the
    // frames; null where that is the first frame.
    const Picture* still = nullptr;
};

class Backend {
 public:
    virtual ~Backend() = default;

    // The first picture, decoded; of an animated PNG the one that programs show which know no animations. The bytes are
    // not needed afterwards.
    virtual std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) = 0;

    // All pictures of a file, found by their headers. `facts` are those that a probe of the source finds. Pictures of
    // an animation are as large as its canvas and have the pixels of earlier frames where they are transparent.
    // PictureError(kDamaged), (kUnsupported).
    virtual SharedFrames open_frames(const SharedSource& source, const FileFacts& facts,
                                     const DecodeOptions& options) = 0;
    // One of them. Its pixels are decoded when they are needed, but those of an animation, and those of a recovery.
    virtual std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index,
                                                  const DecodeOptions& options) = 0;
    // The rows of the first frame of a source that is no file, such as a drawing. They are asked for when they are
    // needed, by the thread that needs them.
    virtual std::unique_ptr<Picture> picture_of_rows(const SharedFrames& frames, const DecodeOptions& options) = 0;
    // One file of all the frames: TIFF, or an animation as GIF, PNG or WebP. Frames of the latter two have to be of
    // one size.
    virtual void encode_frames(std::span<const FrameToWrite> frames, ByteSink& out) = 0;
    // The same in memory.
    EncodedBytes encode_frames(std::span<const FrameToWrite> frames) {
        MemorySink memory;
        encode_frames(frames, memory);
        return memory.take();
    }

    // A canvas of one color, 8 bits a channel; gray only where that color is.
    virtual std::unique_ptr<Picture> create(int32_t width, int32_t height, bool alpha, bool gray, Argb color) = 0;
    // A canvas of one color in the form given; of an indexed form all pixels have the index 0, and the color does not
    // count.
    virtual std::unique_ptr<Picture> create(int32_t width, int32_t height, const PixelForm& form, Argb color,
                                            std::span<const Argb> palette) = 0;

    // Between sRGB and CMYK, by profiles, or by the library's own where null; four bytes C, M, Y, K per pixel.
    virtual void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk,
                              const ProfileBytes& rgb_profile = {}, const ProfileBytes& cmyk_profile = {}) = 0;
    virtual void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors,
                              const ProfileBytes& cmyk_profile = {}, const ProfileBytes& rgb_profile = {}) = 0;

    // "libvips 8.14.1"
    virtual std::string library() const = 0;
};

// The entry point of the shared object. The backend lives as long as the process.
using BackendFunction = Backend* (*)();
constexpr const char* kBackendSymbol = "zelmor_imagework_backend";

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_BACKEND_H
