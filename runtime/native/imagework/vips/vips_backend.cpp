// The backend on libvips and the one symbol of its shared object.
#include <string>

#include "runtime/native/imagework/vips/color_profiles.h"
#include "runtime/native/imagework/vips/decode.h"
#include "runtime/native/imagework/vips/encode_frames.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/vips/vips_start.h"

namespace zelmor::imagework {
namespace {

class VipsBackend final : public Backend {
 public:
    std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) override {
        return imagework::decode(data, options);
    }

    SharedFrames open_frames(const SharedSource& source, const FileFacts& facts,
                             const DecodeOptions& options) override {
        return imagework::open_frames(source, facts, options);
    }
    std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index,
                                          const DecodeOptions& options) override {
        return imagework::decode_frame(frames, index, options);
    }
    std::unique_ptr<Picture> picture_of_rows(const SharedFrames& frames, const DecodeOptions& options) override {
        return imagework::picture_of_rows(frames, options);
    }
    using Backend::encode_frames;
    void encode_frames(std::span<const FrameToWrite> frames, ByteSink& out) override {
        imagework::encode_frames(frames, out);
    }

    std::unique_ptr<Picture> create(int32_t width, int32_t height, bool alpha, bool gray, Argb color) override {
        PixelForm form;
        form.color = gray ? ColorModel::kGray : ColorModel::kRgb;
        form.alpha = alpha;
        return create(width, height, form, color, {});
    }
    std::unique_ptr<Picture> create(int32_t width, int32_t height, const PixelForm& form, Argb color,
                                    std::span<const Argb> palette) override {
        check_picture_size(width, height, static_cast<int>(form.pixel_size()));
        return guarded(Failure::kInternal, "the image could not be created", [&] {
            RowsHeader header;
            header.width = width;
            header.height = height;
            header.form = form;
            header.resolution = kDefaultResolution;
            header.palette.assign(palette.begin(), palette.end());
            auto picture = std::make_unique<VipsPicture>(blank_image(form, 1, 1, kDefaultResolution), header);
            picture->fill(width, height, color);
            return std::unique_ptr<Picture>(std::move(picture));
        });
    }

    void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk, const ProfileBytes& rgb_profile,
                      const ProfileBytes& cmyk_profile) override {
        imagework::argb_to_cmyk(colors, cmyk, rgb_profile, cmyk_profile);
    }
    void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors, const ProfileBytes& cmyk_profile,
                      const ProfileBytes& rgb_profile) override {
        imagework::cmyk_to_argb(cmyk, colors, cmyk_profile, rgb_profile);
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
