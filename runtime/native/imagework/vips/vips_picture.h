// A picture held by the image library: one image in memory, replaced as a whole by each operation.
//
// The image always has one of eight forms: 8 or 16 bits, gray or RGB, with or without alpha. Operations stand in files
// of their own by what they do: geometry, resampling, tones, binarizing, colors, encoding.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H

#include <memory>

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

class VipsPicture final : public Picture {
 public:
    // Takes any image of the library, brings it into one of the eight forms and computes it.
    explicit VipsPicture(const vips::VImage& image, int frame_count = 1);

    int32_t width() const override { return m_image.width(); }
    int32_t height() const override { return m_image.height(); }
    bool has_alpha() const override { return has_alpha_band(m_image); }
    bool is_gray() const override { return is_gray_image(m_image); }
    int bits_per_channel() const override { return m_image.format() == VIPS_FORMAT_USHORT ? 16 : 8; }
    int frame_count() const override { return m_frame_count; }
    Resolution resolution() const override;
    void set_resolution(Resolution resolution) override;
    std::unique_ptr<Picture> copy() const override;

    Argb get_argb(int32_t x, int32_t y) const override;
    void set_argb(int32_t x, int32_t y, Argb color) override;
    void read_argb(const Rect& area, std::span<Argb> out) const override;
    void write_argb(const Rect& area, std::span<const Argb> pixels) override;
    void read_argb64(const Rect& area, std::span<uint64_t> out) const override;

    void crop(const Rect& area) override;
    void resize(int32_t width, int32_t height, Resampling resampling) override;
    void place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) override;
    void add_alpha() override;
    void replace_area(const Rect& area, Argb color) override;
    void draw(const Picture& other, int32_t x, int32_t y) override;
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

    EncodedBytes encode(const Encoding& encoding) const override;

    // Laid over a background, without alpha from then on.
    void flatten(Argb background);
    // Pixels of one color become transparent.
    void make_transparent(Argb color);

    // The pixels as they are, for the library's side of the backend.
    const vips::VImage& image() const { return m_image; }

 private:
    struct Shared {};
    VipsPicture(const VipsPicture& other, Shared);

    // Runs an operation and takes its computed result; a failure leaves the picture as it was.
    template <class Step>
    void apply(const char* what, Step&& step) {
        m_image = guarded(Failure::kInternal, what, [&] { return computed(step()); });
        m_exclusive = true;
    }
    void require_inside(const Rect& area) const;
    void make_writable();
    void binarize(const vips::VImage& is_white);

    vips::VImage m_image;
    int m_frame_count;
    mutable bool m_exclusive = true;  // no copy shares the pixels
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_PICTURE_H
