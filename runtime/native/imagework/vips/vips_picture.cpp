// The picture itself: its canonical form, resolution, sharing, and access to single pixels and blocks.
#include "runtime/native/imagework/vips/vips_picture.h"

#include <string>

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr double kMillimetersPerInch = 25.4;

// Brings any color space, sample format and number of bands into one of the eight forms.
VImage canonical(VImage image) {
    VipsInterpretation kind = image.interpretation();
    bool plain_rgb =
        kind == VIPS_INTERPRETATION_sRGB || kind == VIPS_INTERPRETATION_RGB || kind == VIPS_INTERPRETATION_RGB16;
    bool plain_gray = kind == VIPS_INTERPRETATION_B_W || kind == VIPS_INTERPRETATION_GREY16;
    bool untold = kind == VIPS_INTERPRETATION_MULTIBAND;
    if (image.coding() != VIPS_CODING_NONE || !(plain_rgb || plain_gray || untold)) {
        image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    }
    if (image.bands() > 4) {
        image = image.extract_band(0, VImage::option()->set("n", 4));
    }
    if (image.format() == VIPS_FORMAT_UINT) {
        image = image.cast(VIPS_FORMAT_USHORT, VImage::option()->set("shift", true));
    } else if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT) {
        bool wide = kind == VIPS_INTERPRETATION_RGB16 || kind == VIPS_INTERPRETATION_GREY16;
        image = image.cast(wide ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
    }
    bool wide = image.format() == VIPS_FORMAT_USHORT;
    VipsInterpretation form = is_gray_image(image) ? (wide ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W)
                                                   : (wide ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
    return image.copy(VImage::option()->set("interpretation", form));
}

// Channel `band` of a pixel in 8 bits.
template <class Channel>
uint32_t channel8(const Channel* pixel, int band) {
    return static_cast<uint32_t>(pixel[band]) >> (sizeof(Channel) == 2 ? 8 : 0);
}

template <class Channel>
Argb pixel_argb(const Channel* pixel, int bands) {
    uint32_t alpha = bands == 2 || bands == 4 ? channel8(pixel, bands - 1) : 255;
    uint32_t red = channel8(pixel, 0);
    if (bands < 3) {
        return alpha << 24 | red * 0x010101;
    }
    return alpha << 24 | red << 16 | channel8(pixel, 1) << 8 | channel8(pixel, 2);
}

template <class Channel>
void put_pixel(Channel* pixel, int bands, Argb color) {
    auto widened = [](uint32_t value) { return static_cast<Channel>(sizeof(Channel) == 2 ? value * 257 : value); };
    pixel[0] = widened(color >> 16 & 0xFF);
    if (bands >= 3) {
        pixel[1] = widened(color >> 8 & 0xFF);
        pixel[2] = widened(color & 0xFF);
    }
    if (bands == 2 || bands == 4) {
        pixel[bands - 1] = widened(color >> 24);
    }
}

bool is_gray_color(Argb color) {
    return (color >> 16 & 0xFF) == (color & 0xFF) && (color >> 8 & 0xFF) == (color & 0xFF);
}

}  // namespace

VipsPicture::VipsPicture(const VImage& image, int frame_count)
    : m_image(computed(canonical(image))), m_frame_count(frame_count) {}

VipsPicture::VipsPicture(const VipsPicture& other, Shared)
    : m_image(other.m_image), m_frame_count(other.m_frame_count), m_exclusive(false) {}

std::unique_ptr<Picture> VipsPicture::copy() const {
    m_exclusive = false;
    return std::unique_ptr<Picture>(new VipsPicture(*this, Shared{}));
}

Resolution VipsPicture::resolution() const {
    return {m_image.xres() * kMillimetersPerInch, m_image.yres() * kMillimetersPerInch};
}

void VipsPicture::set_resolution(Resolution resolution) {
    // A header change makes a new image over the same pixels, which are then shared with nobody new.
    m_image = m_image.copy(VImage::option()
                               ->set("xres", dots_per_millimeter(resolution.horizontal))
                               ->set("yres", dots_per_millimeter(resolution.vertical)));
    make_writable();
}

void VipsPicture::make_writable() {
    if (m_exclusive && m_image.get_image()->dtype == VIPS_IMAGE_SETBUF) {
        return;
    }
    m_image = guarded(Failure::kInternal, "the pixels could not be copied", [&] {
        VImage memory = VImage::new_memory();
        m_image.write(memory);
        return memory;
    });
    m_exclusive = true;
}

void VipsPicture::require_inside(const Rect& area) const {
    if (area.x < 0 || area.y < 0 || area.width <= 0 || area.height <= 0 || area.width > width() - area.x ||
        area.height > height() - area.y) {
        throw PictureError(Failure::kArgument,
                           "the rectangle {X=" + std::to_string(area.x) + ", Y=" + std::to_string(area.y) +
                               ", Width=" + std::to_string(area.width) + ", Height=" + std::to_string(area.height) +
                               "} does not lie inside the image of " + std::to_string(width()) + " by " +
                               std::to_string(height()) + " pixels",
                           "rectangle");
    }
}

Argb VipsPicture::get_argb(int32_t x, int32_t y) const {
    Argb color = 0;
    read_argb({x, y, 1, 1}, {&color, 1});
    return color;
}

void VipsPicture::set_argb(int32_t x, int32_t y, Argb color) {
    write_argb({x, y, 1, 1}, {&color, 1});
}

void VipsPicture::read_argb(const Rect& area, std::span<Argb> out) const {
    require_inside(area);
    VipsImage* image = m_image.get_image();
    Argb* to = out.data();
    for (int32_t y = 0; y < area.height; y++) {
        const void* line = VIPS_IMAGE_ADDR(image, area.x, area.y + y);
        for (int32_t x = 0; x < area.width; x++) {
            size_t at = static_cast<size_t>(x) * static_cast<size_t>(image->Bands);
            *to++ = image->BandFmt == VIPS_FORMAT_USHORT
                        ? pixel_argb(static_cast<const uint16_t*>(line) + at, image->Bands)
                        : pixel_argb(static_cast<const uint8_t*>(line) + at, image->Bands);
        }
    }
}

void VipsPicture::read_argb64(const Rect& area, std::span<uint64_t> out) const {
    require_inside(area);
    VipsImage* image = m_image.get_image();
    const auto bands = static_cast<size_t>(image->Bands);
    const bool wide = image->BandFmt == VIPS_FORMAT_USHORT;
    uint64_t* to = out.data();
    for (int32_t y = 0; y < area.height; y++) {
        const void* line = VIPS_IMAGE_ADDR(image, area.x, area.y + y);
        for (size_t x = 0; x < static_cast<size_t>(area.width); x++) {
            const auto channel = [&](size_t band) -> uint64_t {
                const size_t at = x * bands + band;
                return wide ? static_cast<const uint16_t*>(line)[at] : static_cast<const uint8_t*>(line)[at] * 257U;
            };
            const uint64_t alpha = bands == 2 || bands == 4 ? channel(bands - 1) : 0xFFFF;
            const uint64_t red = channel(0);
            *to++ = alpha << 48 | red << 32 | (bands < 3 ? red : channel(1)) << 16 | (bands < 3 ? red : channel(2));
        }
    }
}

void VipsPicture::write_argb(const Rect& area, std::span<const Argb> pixels) {
    require_inside(area);
    if (is_gray()) {
        for (Argb color : pixels) {
            if (!is_gray_color(color)) {
                apply("the image could not be made RGB", [&] { return as_rgb(m_image); });
                break;
            }
        }
    }
    make_writable();
    VipsImage* image = m_image.get_image();
    const Argb* from = pixels.data();
    for (int32_t y = 0; y < area.height; y++) {
        void* line = VIPS_IMAGE_ADDR(image, area.x, area.y + y);
        for (int32_t x = 0; x < area.width; x++) {
            size_t at = static_cast<size_t>(x) * static_cast<size_t>(image->Bands);
            if (image->BandFmt == VIPS_FORMAT_USHORT) {
                put_pixel(static_cast<uint16_t*>(line) + at, image->Bands, *from++);
            } else {
                put_pixel(static_cast<uint8_t*>(line) + at, image->Bands, *from++);
            }
        }
    }
}

}  // namespace zelmor::imagework
