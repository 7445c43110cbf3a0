// The properties of an image: size, depth, format, resolution, opacity.
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

int32_t width(ImageBase& self) {
    self.require_live();
    return self.image_width();
}
int32_t height(ImageBase& self) {
    self.require_live();
    return self.image_height();
}
SizeValue size(ImageBase& self) {
    return {width(self), height(self)};
}
RectangleValue bounds(ImageBase& self) {
    return {0, 0, width(self), height(self)};
}
int32_t bits_per_pixel(ImageBase& self) {
    self.require_live();
    return self.image_bits();
}
FileFormat file_format(ImageBase& self) {
    self.require_live();
    return self.image_format();
}

// An image that was loaded or created stands for itself; frames of others have a container.
Ref<ImageBase> container(ImageBase& self) {
    self.require_live();
    return Ref<ImageBase>(self.image_container());
}

// Whether nothing has to be read and decoded any more for what the image shows.
bool is_cached(ImageBase& self) {
    self.require_live();
    const auto* image = dynamic_cast<const ImageObject*>(&self);
    return image == nullptr || image->is_decoded();
}
// Decodes all frames. Of an image with more of them than its memory holds, the first ones are let go again.
void cache_data(ImageBase& self) {
    self.require_live();
    auto* image = dynamic_cast<ImageObject*>(&self);
    if (image == nullptr) {
        return;
    }
    if (image->frame_count() == 1) {
        return image->picture().decode();
    }
    for (const Ref<ImageObject>& frame : image->frames()) {
        require_uninterrupted(*image);
        frame->picture().decode();
    }
}
float checked_resolution(double value, const char* parameter) {
    if (!(value > 0.0) || std::isinf(value)) {
        throw_out_of_range(parameter,
                           "The value " + to_utf8(number_text(value)) + " is no positive number of dots per inch.");
    }
    return static_cast<float>(value);
}
float horizontal_resolution(ImageObject& self) {
    return static_cast<float>(self.picture().resolution().horizontal);
}
float vertical_resolution(ImageObject& self) {
    return static_cast<float>(self.picture().resolution().vertical);
}
void set_resolution(ImageObject& self, double dpi_x, double dpi_y) {
    checked_resolution(dpi_x, "dpi_x");
    checked_resolution(dpi_y, "dpi_y");
    self.change([&](imagework::Picture& picture) { picture.set_resolution({dpi_x, dpi_y}); });
}
void set_horizontal_resolution(ImageObject& self, float value) {
    set_resolution(self, checked_resolution(value, "value"), self.picture().resolution().vertical);
}
void set_vertical_resolution(ImageObject& self, float value) {
    set_resolution(self, self.picture().resolution().horizontal, checked_resolution(value, "value"));
}

bool has_alpha(ImageObject& self) {
    return self.picture().has_alpha();
}
float image_opacity(ImageObject& self) {
    return static_cast<float>(self.picture().opacity());
}

using DataStreamSupporterApi = api::DataStreamSupporter;
using ImageApi = api::Image;
using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&cache_data, DataStreamSupporterApi::call_000_CacheData>(),
    behavior<&is_cached, DataStreamSupporterApi::get_IsCached>(),
    behavior<&width, ImageApi::get_Width>(),
    behavior<&height, ImageApi::get_Height>(),
    behavior<&size, ImageApi::get_Size>(),
    behavior<&bounds, ImageApi::get_Bounds>(),
    behavior<&bits_per_pixel, ImageApi::get_BitsPerPixel>(),
    behavior<&file_format, ImageApi::get_FileFormat>(),
    behavior<&container, ImageApi::get_Container>(),
    property<&horizontal_resolution, &set_horizontal_resolution, RasterImageApi::property_HorizontalResolution>(),
    property<&vertical_resolution, &set_vertical_resolution, RasterImageApi::property_VerticalResolution>(),
    behavior<&set_resolution, RasterImageApi::call_000_SetResolution>(),
    behavior<&has_alpha, RasterImageApi::get_HasAlpha>(),
    behavior<&image_opacity, RasterImageApi::get_ImageOpacity>(),
});

}  // namespace

}  // namespace zelmor::embed
