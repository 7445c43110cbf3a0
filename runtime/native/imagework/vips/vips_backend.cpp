// The backend on libvips and the one symbol of its shared object.
#include <string>

#include "runtime/native/imagework/vips/color_profiles.h"
#include "runtime/native/imagework/vips/decode.h"
#include "runtime/native/imagework/vips/encode_frames.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/vips/vips_start.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

class VipsBackend final : public Backend {
 public:
    std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) override {
        return imagework::decode(data, options);
    }

    std::vector<Frame> decode_frames(std::span<const uint8_t> data, const DecodeOptions& options) override {
        return imagework::decode_frames(data, options);
    }
    EncodedBytes encode_frames(std::span<const FrameToWrite> frames) override {
        return imagework::encode_frames(frames);
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
        imagework::argb_to_cmyk(colors, cmyk);
    }
    void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors) override {
        imagework::cmyk_to_argb(cmyk, colors);
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
