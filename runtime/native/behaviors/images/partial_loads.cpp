// Loading pixels in parts; see partial_loads.h.
#include "runtime/native/behaviors/images/partial_loads.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <algorithm>

#include "runtime/native/behaviors/images/color_arrays.h"
#include "runtime/native/behaviors/images/pixel_blocks.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Argb;

PixelReceiver& required_receiver(const VariantArg* loader, const char* parameter) {
    const Ref<ManagedObject> object = read_object(loader);
    if (!object) {
        throw_argument_null(parameter);
    }
    auto* receiver = dynamic_cast<PixelReceiver*>(object.get());
    if (receiver == nullptr) {
        throw_not_supported(std::string("Loading pixels into a ") + object->type().full_name);
    }
    return *receiver;
}

std::vector<PixelPart> parts_of(const RectangleValue& area) {
    constexpr int32_t kPixels = 1 << 16;
    const int32_t lines = std::max(1, kPixels / std::max(1, area.width));
    std::vector<PixelPart> parts;
    for (int32_t top = 0; top < area.height; top += lines) {
        const int32_t height = std::min(lines, area.height - top);
        parts.push_back({{area.x, area.y + top, area.width, height},
                         {area.x, area.y + top},
                         {area.x + area.width, area.y + top + height}});
    }
    return parts;
}

std::vector<PixelPart> checked_parts(const ImageObject& image, const RectangleValue& area) {
    const RectangleValue corner{area.x, area.y, 1, 1};
    read_block(image, rect_of(corner));
    if (area.width <= 0 || area.height <= 0 || area.width > image.picture().width() - area.x ||
        area.height > image.picture().height() - area.y) {
        read_block(image, rect_of(area));
    }
    return parts_of(area);
}

namespace {

void load_partial_argb_32(ImageObject& self, const RectangleValue& rectangle, const VariantArg* partial_pixel_loader) {
    self.require_live();
    PixelReceiver& receiver = required_receiver(partial_pixel_loader, "partial_pixel_loader");
    for (const PixelPart& part : checked_parts(self, rectangle)) {
        receiver.take_argb32(part, packed_integers(read_block(self, rect_of(part.area))));
    }
}

std::vector<int64_t> argb_64(const ImageObject& self, const RectangleValue& area) {
    const imagework::Picture& picture = self.picture();
    std::vector<uint64_t> pixels(pixels_to_read(picture, rect_of(area), sizeof(uint64_t)));
    picture.read_argb64(rect_of(area), pixels);
    return {pixels.begin(), pixels.end()};
}
void load_partial_argb_64(ImageObject& self, const RectangleValue& rectangle, const VariantArg* partial_pixel_loader) {
    self.require_live();
    PixelReceiver& receiver = required_receiver(partial_pixel_loader, "partial_pixel_loader");
    for (const PixelPart& part : checked_parts(self, rectangle)) {
        receiver.take_argb64(part, argb_64(self, part.area));
    }
}
Collection load_argb_64(ImageObject& self, const RectangleValue& rectangle) {
    return {Ref<ManagedObject>(make_array(argb_64(self, rectangle)))};
}

void load_partial_pixels(ImageObject& self, const RectangleValue& desired_rectangle, const VariantArg* pixel_loader) {
    self.require_live();
    PixelReceiver& receiver = required_receiver(pixel_loader, "pixel_loader");
    for (const PixelPart& part : checked_parts(self, desired_rectangle)) {
        std::vector<ColorValue> colors;
        for (const Argb color : read_block(self, rect_of(part.area))) {
            colors.push_back(ColorValue::from_argb(color));
        }
        receiver.take_colors(part, colors);
    }
}

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&load_partial_argb_32, RasterImageApi::call_000_LoadPartialArgb32Pixels,
             RasterImageApi::call_000_GetDefaultPixels>(),
    behavior<&load_partial_argb_64, RasterImageApi::call_000_LoadPartialArgb64Pixels>(),
    behavior<&load_argb_64, RasterImageApi::call_000_LoadArgb64Pixels>(),
    behavior<&load_partial_pixels, RasterImageApi::call_000_LoadPartialPixels>(),
});

}  // namespace

}  // namespace zelmor::embed
