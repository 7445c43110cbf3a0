// A picture held by the image library: one image in memory, replaced as a whole by each operation. A picture that was
// just loaded has deferred rows instead (deferred_rows.h): cutting, resampling and conversions add a step to them, and
// the first operation that needs pixels in another order reads them into memory. Pixels of 1, 2 and 4 bits are looked
// at where the deferred rows keep them packed; they become an image when they are worked on.
//
// The picture keeps the form of its file: color model, depth, palette and profile. An operation that cannot work on
// every form begins with one of the conversions below, which does nothing where the picture has such a form already.
// Operations stand in files of their own by what they do: geometry, resampling, tones, binarizing, colors, encoding.
//
// The library's image has the bands of the form, in the band format of its storage (samples.h). Its interpretation says
// which bands there are: CMYK of ink, LAB of L*a*b*, anything else of gray (1 or 2 bands) or RGB (3 or 4); so
// has_alpha_band() and channel_max() hold for every form. The samples of an indexed picture are its indices.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H

#include <memory>

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "runtime/native/imagework/vips/color_profiles.h"
#include "runtime/native/imagework/vips/deferred_rows.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The colors of an indexed picture, shared by its copies.
struct Palette {
    std::vector<Argb> colors;
    std::vector<uint64_t> deep;  // with 16 bits a channel, where the entries are no repeated bytes; otherwise empty
};
using SharedPalette = std::shared_ptr<const Palette>;

class VipsPicture final : public Picture {
 public:
    // Of the size, form, resolution, palette and profile given; `image` has the samples in that form.
    VipsPicture(const vips::VImage& image, const RowsHeader& header);
    // The same, with rows that are decoded when they are needed.
    VipsPicture(SharedRows rows, const RowsHeader& header);

    int32_t width() const override { return m_rows != nullptr ? m_rows->header().width : m_image.width(); }
    int32_t height() const override { return m_rows != nullptr ? m_rows->header().height : m_image.height(); }
    const PixelForm& form() const override { return m_form; }
    std::span<const Argb> palette() const override;
    ProfileBytes profile() const override { return m_profile; }
    bool has_alpha() const override;
    bool is_gray() const override { return m_form.color == ColorModel::kGray; }
    const FrameOrigin& origin() const override { return m_origin; }
    void set_origin(FrameOrigin origin) { m_origin = std::move(origin); }
    void decode() const override;
    bool is_decoded() const override { return m_rows == nullptr || m_rows->is_packed(); }
    void let_go() const override;
    // Everything but the pixels, as a codec takes it.
    RowsHeader rows_header() const;

    // ---- Conversions

    // Resampling and blurs: an indexed picture becomes RGB, with alpha where its palette has it; 1, 2 and 4 bits
    // become 8.
    void to_direct();
    // Tones and colors given as ARGB: CMYK and Lab become RGB too, by their profile.
    void to_colors();
    // The same, and gray becomes RGB.
    void to_rgb();
    // Colors by the profile become sRGB, of a gray picture gray; the picture has no profile then. Other forms stay.
    void to_srgb();
    // Colors of another model and profile; PictureError(kEncoding) where the profile is not one for the model, or knows
    // no way to its colors.
    void to_space(const ColorSpace& space);
    // Any form. Alpha is dropped where the form has none (see flatten), opaque where only the form has it. A target
    // with indices is refused. PictureError(kEncoding) where floating samples lie outside the range of integers.
    void to_form(const PixelForm& form);
    // The image after to_colors(), of a picture that stays as it is.
    vips::VImage colors() const;
    // Of another size, all of one color. Pixels that are written over before they are looked at are never filled.
    void fill(int32_t width, int32_t height, Argb color);
    // Gives the colors the meaning that the options ask for: the embedded profile, another one, or sRGB.
    void apply_profiles(const DecodeOptions& options);
    // Makes the picture such that it can hold a color besides its own: another model, alpha, or true color.
    void admit(Argb color);
    Resolution resolution() const override { return m_resolution; }
    void set_resolution(Resolution resolution) override;
    std::unique_ptr<Picture> copy() const override;

    Argb get_argb(int32_t x, int32_t y) const override;
    void set_argb(int32_t x, int32_t y, Argb color) override;
    void set_profile(ProfileBytes profile) override;
    void read_argb(const Rect& area, std::span<Argb> out) const override;
    void write_argb(const Rect& area, std::span<const Argb> pixels) override;
    void read_argb64(const Rect& area, std::span<uint64_t> out) const override;
    void write_argb64(const Rect& area, std::span<const uint64_t> pixels) override;
    void read_samples(const Rect& area, size_t row_size, std::span<uint8_t> out) const override;
    void write_samples(const Rect& area, size_t row_size, std::span<const uint8_t> samples) override;

    void crop(const Rect& area) override;
    void resize(int32_t width, int32_t height, Resampling resampling) override;
    void place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) override;
    void add_alpha() override;
    void drop_palette() override;
    void to_standard_colors() override;
    void take_form(const PixelForm& form, Argb background) override;
    void replace_area(const Rect& area, Argb color) override;
    void draw(const Picture& other, int32_t x, int32_t y) override;
    void blend(const Rect& area, std::span<const Argb> on_black, std::span<const Argb> on_white) override;
    void rotate_flip(int quarter_turns, bool mirror_x, bool mirror_y) override;
    void rotate(double degrees, bool grow, Argb background) override;

    void grayscale() override;
    void adjust_brightness(int32_t brightness) override;
    void adjust_contrast(double contrast) override;
    void adjust_gamma(double red, double green, double blue) override;
    void binarize_fixed(uint8_t threshold) override;
    void binarize_otsu() override;
    void binarize_bradley(double difference, int32_t window) override;
    void replace_color(Argb old_color, uint8_t tolerance, Argb new_color) override;
    void replace_rgb(Argb new_color) override;
    void filter(const Rect& area, const Filter& filter) override;
    double skew_angle() const override;
    std::vector<Argb> close_palette(int most, bool keep_alpha) const override;
    std::vector<Argb> frequent_palette(int most) const override;
    bool has_only(std::span<const Argb> palette) const override;
    void paint(std::span<const uint8_t> indices, std::span<const Argb> palette) override;
    std::vector<uint8_t> indices(std::span<const Argb> palette, bool diffuse) const override;
    void reduce(std::span<const Argb> palette, bool diffuse) override;
    double opacity() const override;

    using Picture::encode;
    void encode(const Encoding& encoding, ByteSink& out) const override;

    // Laid over a background, without alpha from then on.
    void flatten(Argb background);
    // Without alpha: over the background of the encoding, or as the colors are where it says so.
    void lose_alpha(const Encoding& encoding);
    // Pixels of one color become transparent.
    void make_transparent(Argb color);

    // Of a picture whose pixels are those of the file once they are decoded.
    void forget_changes() { note_no_change(); }

    // The pixels as they are, in memory. PictureError(kDamaged) where they have yet to be decoded and cannot be.
    const vips::VImage& image() const;
    // The same from the first row on, without the need for memory.
    std::unique_ptr<RowReader> open_rows() const;

 private:
    struct Shared {};
    VipsPicture(const VipsPicture& other, Shared);

    // Runs an operation and takes its computed result, whose form follows from its bands and format; a failure leaves
    // the picture as it was.
    template <class Step>
    void apply(const char* what, Step&& step) {
        image();  // whose failures have words of their own
        const vips::VImage result = guarded(Failure::kInternal, what, [&] { return computed(step()); });
        if (result.get_image() != m_image.get_image()) {  // the operation found something to do
            take(result);
        }
    }
    void take(const vips::VImage& image);
    void require_inside(const Rect& area) const;
    // The pixels of a picture whose rows are kept packed, from now on if need be; null for any other.
    std::shared_ptr<const PackedPixels> packed() const { return m_rows != nullptr ? m_rows->packed() : nullptr; }
    void make_writable();
    void binarize(const vips::VImage& is_white);
    // Takes the indices, row by row, and their palette in the place of the pixels.
    void set_indices(std::span<const uint8_t> indices, std::span<const Argb> palette);
    // The pixels that a step makes of each row; `form` is theirs. The step may run later, when nothing of its caller is
    // left.
    void convert_rows(const PixelForm& form, RowStep step);
    // Takes rows of the same form in the place of those that it has yet to decode.
    void take_rows(SharedRows rows);
    // to_colors() without a change of the bits.
    void to_model_of_colors();
    // Runs an operation on colors; gray of few bits has as many afterwards where its levels are still among theirs.
    template <class Step>
    void on_colors(Step&& step) {
        const int bits = m_form.color == ColorModel::kGray ? m_form.bits : 8;
        to_colors();
        step();
        if (bits < 8) {
            fit_bits(bits);
        }
    }
    void fit_bits(int bits);
    // The same for a picture whose pixels are all about to be written: CMYK and Lab become RGB, but their colors are
    // not converted.
    void drop_colors();
    // Converts the colors to another model by the picture's profile, to sRGB where that is gray or RGB.
    void change_model(ColorModel model);
    void change_depth(SampleType sample, int bits);
    void change_alpha(bool alpha);
    // From CMYK or Lab, or from colors with a profile, to sRGB.
    SharedConversion to_srgb_conversion() const;
    // Reads pixels as colors of 8 or of 16 bits a channel.
    template <class Word>
    void read_words(const Rect& area, std::span<Word> out) const;
    template <class Word>
    void write_words(const Rect& area, std::span<const Word> pixels);
    // The samples of a color in the picture's form, which admit() has made fit for it.
    std::vector<double> ink_of(Argb color) const;
    std::vector<uint8_t> pixel_of(Argb color) const;
    // The index of a color that the palette has, or -1.
    int index_of(Argb color) const;

    mutable vips::VImage m_image;  // null until the rows are read
    // The pixel that all of a new picture are to get before any of them is looked at; empty where they have it.
    mutable std::vector<uint8_t> m_unfilled;
    mutable SharedRows m_rows;   // null as soon as they are
    mutable SharedRows m_again;  // of an unchanged frame: the rows that its pixels can be read from once more
    PixelForm m_form;
    Resolution m_resolution;
    bool m_tells_resolution;  // otherwise its file had none, and m_resolution is the usual one
    SharedPalette m_palette;  // of an indexed picture
    ProfileBytes m_profile;
    FrameOrigin m_origin;
    mutable SharedConversion m_to_srgb;  // made when it is first needed
    mutable bool m_exclusive = true;     // no copy shares the pixels
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H
