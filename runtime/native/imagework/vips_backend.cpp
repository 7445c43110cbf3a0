// The backend on libvips and the one symbol of its shared object.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/decode.h"
#include "runtime/native/imagework/vips_picture.h"
#include "runtime/native/imagework/vips_start.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// Colours as an image of one row, through a profile and back into memory; in pieces, since a row has its limits.
void transform(std::span<const uint8_t> from, int from_bands, VipsInterpretation kind, const char* input,
               const char* output, std::span<uint8_t> to, int to_bands) {
    constexpr size_t kMost = 1 << 20;
    size_t count = from.size() / static_cast<size_t>(from_bands);
    for (size_t at = 0; at < count; at += kMost) {
        size_t part = std::min(kMost, count - at);
        guarded(Failure::kInternal, "the colours could not be converted", [&] {
            VImage image = VImage::new_from_memory(
                const_cast<uint8_t*>(from.data()) + at * static_cast<size_t>(from_bands),
                part * static_cast<size_t>(from_bands), static_cast<int>(part), 1, from_bands, VIPS_FORMAT_UCHAR);
            VImage result = image.copy(VImage::option()->set("interpretation", kind))
                                .icc_transform(output, VImage::option()->set("input_profile", input))
                                .copy_memory();
            const auto* pixels = static_cast<const uint8_t*>(result.data());
            std::copy_n(pixels, part * static_cast<size_t>(to_bands),
                        to.begin() + static_cast<std::ptrdiff_t>(at * static_cast<size_t>(to_bands)));
        });
    }
}

class VipsBackend final : public Backend {
 public:
    std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) override {
        return imagework::decode(data, options);
    }

    std::unique_ptr<Picture> create(int32_t width, int32_t height, bool alpha, bool gray, Argb color) override {
        int bands = (gray ? 1 : 3) + (alpha ? 1 : 0);
        check_picture_size(width, height, bands);
        return guarded(Failure::kInternal, "the image could not be created", [&] {
            VImage black =
                VImage::black(1, 1, VImage::option()->set("bands", bands))
                    .copy(VImage::option()
                              ->set("interpretation", gray ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB)
                              ->set("xres", dots_per_millimeter(kDefaultResolution.horizontal))
                              ->set("yres", dots_per_millimeter(kDefaultResolution.vertical)));
            VImage canvas = black.new_from_image(ink(black, color))
                                .embed(0, 0, width, height, VImage::option()->set("extend", VIPS_EXTEND_COPY));
            return std::unique_ptr<Picture>(new VipsPicture(canvas));
        });
    }

    void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk) override {
        std::vector<uint8_t> rgb;
        rgb.reserve(colors.size() * 3);
        for (Argb color : colors) {
            rgb.push_back(static_cast<uint8_t>(color >> 16));
            rgb.push_back(static_cast<uint8_t>(color >> 8));
            rgb.push_back(static_cast<uint8_t>(color));
        }
        transform(rgb, 3, VIPS_INTERPRETATION_sRGB, "srgb", "cmyk", cmyk, 4);
    }

    void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors) override {
        std::vector<uint8_t> rgb(colors.size() * 3);
        transform(cmyk, 4, VIPS_INTERPRETATION_CMYK, "cmyk", "srgb", rgb, 3);
        for (size_t i = 0; i < colors.size(); i++) {
            colors[i] = 0xFF000000 | static_cast<Argb>(rgb[3 * i] << 16 | rgb[3 * i + 1] << 8 | rgb[3 * i + 2]);
        }
    }

    std::string library() const override { return std::string("libvips ") + vips_version_string(); }
};

}  // namespace
}  // namespace zelmor::imagework

extern "C" __attribute__((visibility("default"))) zelmor::imagework::Backend* zelmor_imagework_backend() {
    zelmor::imagework::start_vips();
    // Never destroyed: pictures may outlive static destruction.
    static auto* backend = new zelmor::imagework::VipsBackend;
    return backend;
}
