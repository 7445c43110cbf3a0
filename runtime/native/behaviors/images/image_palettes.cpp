// The palette of an image, and bringing its colors down to few.
//
// The palette of an indexed image is its picture's. Operations that make other colors make true color of it.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::DitheringMethod;
using imagework::Argb;
using imagework::Picture;

namespace {

bool use_palette(ImageObject& self) {
    return !self.palette().empty();
}

Interface palette(ImageObject& self) {
    std::vector<Argb> colors = self.palette();
    if (colors.empty()) {
        return {nullptr};
    }
    return {make_ref<PaletteObject>(std::move(colors))};
}

// A vector image has no indices, and a palette only if one was set: for the pixels that it is saved as.
bool get_use_palette(ImageBase& self) {
    self.require_live();
    if (const auto* vector = dynamic_cast<VectorImageObject*>(&self)) {
        return !vector->palette.empty();
    }
    auto* image = dynamic_cast<ImageObject*>(&self);
    return image != nullptr && use_palette(*image);
}
Interface palette(VectorImageObject& self) {
    return self.palette.empty() ? Interface() : Interface{make_ref<PaletteObject>(self.palette)};
}
Interface get_palette(ImageBase& self) {
    self.require_live();
    if (auto* vector = dynamic_cast<VectorImageObject*>(&self)) {
        return palette(*vector);
    }
    auto* image = dynamic_cast<ImageObject*>(&self);
    return image != nullptr ? palette(*image) : Interface();
}

void require_palette_size(const std::vector<Argb>& colors) {
    if (colors.empty() || colors.size() > 256) {
        throw_argument("A palette of " + std::to_string(colors.size()) +
                       " entries is not one of 1 to 256. (Parameter 'palette')");
    }
}

// Of all pages.
void put_palette(VectorImageObject& self, const std::vector<Argb>& colors, bool update_colors) {
    self.palette = colors;
    self.palette_replaces_colors = update_colors && !colors.empty();
    for (const Ref<VectorImageObject>& page : self.pages()) {
        put_palette(*page, colors, update_colors);
    }
}

// Each pixel keeps its index, or gets the index of the color that is nearest to its own.
void put_palette(ImageObject& self, const PaletteObject* object, bool update_colors) {
    if (object == nullptr) {
        self.change([](Picture& picture) { picture.drop_palette(); });
        self.offer_palette({});
        return;
    }
    const std::vector<Argb>& colors = object->entries;
    require_palette_size(colors);
    const std::vector<Argb> offered = self.palette();
    self.change([&](Picture& picture) {
        // The indices are those of the picture's own palette, or of one that was offered and fits.
        const std::vector<Argb> before =
            picture.palette().empty() ? offered : std::vector<Argb>(picture.palette().begin(), picture.palette().end());
        if (update_colors || before.empty() || !picture.has_only(before)) {
            return picture.reduce(colors, false);
        }
        const std::vector<uint8_t> indices = picture.indices(before, false);
        const uint8_t most = *std::max_element(indices.begin(), indices.end());
        if (most >= colors.size()) {
            throw_argument("The image has pixels of the index " + std::to_string(most) + ", the palette has " +
                           std::to_string(colors.size()) + " entries. (Parameter 'palette')");
        }
        picture.paint(indices, colors);
    });
}
void set_palette(ImageBase& self, const VariantArg* palette, bool update_colors) {
    self.require_live();
    const Ref<PaletteObject> object = read_palette(palette);
    if (auto* vector = dynamic_cast<VectorImageObject*>(&self)) {
        if (object) {
            require_palette_size(object->entries);
        }
        return put_palette(*vector, object ? object->entries : std::vector<Argb>(), update_colors);
    }
    put_palette(dynamic_cast<ImageObject&>(self), object.get(), update_colors);
}
void set_palette_property(ImageBase& self, const VariantArg* value) {
    set_palette(self, value, false);
}

void dither_with(ImageObject& self, DitheringMethod dithering_method, int32_t bits_count,
                 const VariantArg* custom_palette) {
    self.require_live();
    const bool diffuse = dithering_method == DitheringMethod::kFloydSteinbergDithering;
    if (!diffuse && dithering_method != DitheringMethod::kThresholdDithering) {
        throw_out_of_range("dithering_method", "The value " + std::to_string(number_of(dithering_method)) +
                                                   " is not one of DitheringMethod.");
    }
    if (bits_count < 1 || bits_count > 8) {
        throw_out_of_range("bits_count", "The value " + std::to_string(bits_count) + " is not between 1 and 8.");
    }
    const size_t most = size_t{1} << bits_count;
    std::vector<Argb> colors;
    if (const Ref<PaletteObject> given = custom_palette != nullptr ? read_palette(custom_palette) : nullptr) {
        colors = given->entries;
        if (colors.empty() || colors.size() > most) {
            throw_argument("A palette of " + std::to_string(colors.size()) + " entries does not fit " +
                           std::to_string(bits_count) + " bits per pixel. (Parameter 'custom_palette')");
        }
    } else if (bits_count == 1) {
        colors = monochrome_palette();
    } else {
        colors = self.picture().close_palette(static_cast<int>(most), self.picture().has_alpha());
    }
    self.change([&](Picture& picture) { picture.reduce(colors, diffuse); });
    self.set_image_bits(bits_count);
}
void dither(ImageObject& self, DitheringMethod dithering_method, int32_t bits_count) {
    dither_with(self, dithering_method, bits_count, nullptr);
}

using ImageApi = api::Image;
using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_use_palette, ImageApi::get_UsePalette>(),
    property<&get_palette, &set_palette_property, ImageApi::property_Palette>(),
    behavior<&set_palette, ImageApi::call_000_SetPalette>(),
    behavior<&dither, RasterImageApi::call_000_Dither>(),
    behavior<&dither_with, RasterImageApi::call_001_Dither>(),
});

}  // namespace

}  // namespace zelmor::embed
