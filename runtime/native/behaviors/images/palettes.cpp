// ColorPalette, and the palettes that ColorPaletteHelper makes.
#include "runtime/native/behaviors/images/palettes.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.PaletteHelper.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/color_arrays.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/palette_search.h"

namespace zelmor::embed {

using api::PaletteMiningMethod;
using imagework::Argb;

PaletteObject::PaletteObject(std::vector<Argb> colors, bool is_compact)
    : Record(require_type(kManagedName)), entries(std::move(colors)), compact(is_compact) {}

bool PaletteObject::equals(const ManagedObject& other) const {
    const auto* palette = dynamic_cast<const PaletteObject*>(&other);
    return palette != nullptr && palette->entries == entries && palette->compact == compact;
}

int32_t PaletteObject::hash_code() const {
    uint32_t hash = compact ? 1 : 0;
    for (const Argb entry : entries) {
        hash = hash * 31 + entry;
    }
    return static_cast<int32_t>(hash);
}

Ref<PaletteObject> read_palette(const VariantArg* arg) {
    const Ref<ManagedObject> object = read_object(arg, require_type(api::IColorPalette::kType.name));
    return object ? Ref<PaletteObject>(&cast_object<PaletteObject>(*object)) : nullptr;
}

Ref<PaletteObject> palette_property(const ManagedObject& object, std::string_view name) {
    const Ref<ManagedObject> palette = property_object(object, name);
    return palette ? Ref<PaletteObject>(&cast_object<PaletteObject>(*palette)) : nullptr;
}

std::vector<Argb> monochrome_palette() {
    return {imagework::kBlack, imagework::kWhite};
}

std::vector<Argb> standard_palette(int bits) {
    // The sixteen colors of VGA text, then a cube of six levels a channel, then grays between its own.
    std::vector<Argb> palette = {0xFF000000, 0xFF800000, 0xFF008000, 0xFF808000, 0xFF000080, 0xFF800080,
                                 0xFF008080, 0xFFC0C0C0, 0xFF808080, 0xFFFF0000, 0xFF00FF00, 0xFFFFFF00,
                                 0xFF0000FF, 0xFFFF00FF, 0xFF00FFFF, 0xFFFFFFFF};
    if (bits == 4) {
        return palette;
    }
    for (Argb red = 0; red < 6; red++) {
        for (Argb green = 0; green < 6; green++) {
            for (Argb blue = 0; blue < 6; blue++) {
                palette.push_back(0xFF000000 | (red << 16 | green << 8 | blue) * 0x33);
            }
        }
    }
    for (Argb level = 0; level < 24; level++) {
        palette.push_back(0xFF000000 | (level * 10 + 8) * 0x010101);
    }
    return palette;
}

std::vector<Argb> gray_palette(int bits, bool min_is_white) {
    std::vector<Argb> palette;
    const Argb count = Argb{1} << bits;
    for (Argb level = 0; level < count; level++) {
        palette.push_back(0xFF000000 | level * 255 / (count - 1) * 0x010101);
    }
    if (min_is_white) {
        std::reverse(palette.begin(), palette.end());
    }
    return palette;
}

namespace {

Ref<PaletteObject> from_integers_compact(const VariantArg* argb_32_entries, bool is_compact_palette) {
    return make_ref<PaletteObject>(read_packed_colors(argb_32_entries, "argb_32_entries"), is_compact_palette);
}
Ref<PaletteObject> from_integers(const VariantArg* argb_32_entries) {
    return from_integers_compact(argb_32_entries, false);
}
Ref<PaletteObject> from_colors_compact(const VariantArg* entries, bool is_compact_palette) {
    return make_ref<PaletteObject>(read_colors(entries, "entries"), is_compact_palette);
}
Ref<PaletteObject> from_colors(const VariantArg* entries) {
    return from_colors_compact(entries, false);
}

const PaletteObject& required(const Ref<PaletteObject>& palette, const char* parameter) {
    if (!palette) {
        throw_argument_null(parameter);
    }
    return *palette;
}
Ref<PaletteObject> copy_palette_compact(const VariantArg* color_palette, bool use_compact_palette) {
    const Ref<PaletteObject> palette = read_palette(color_palette);
    return make_ref<PaletteObject>(required(palette, "color_palette").entries, use_compact_palette);
}
Ref<PaletteObject> copy_palette(const VariantArg* color_palette) {
    const Ref<PaletteObject> palette = read_palette(color_palette);
    return make_ref<PaletteObject>(required(palette, "color_palette").entries, palette->compact);
}

int32_t nearest_argb_index(PaletteObject& self, int32_t argb_32_color) {
    if (self.entries.empty()) {
        throw_invalid_operation("The palette has no entries.");
    }
    uint32_t least = 0xFFFFFFFF;
    size_t best = 0;
    for (size_t i = 0; i < self.entries.size(); ++i) {
        const uint32_t distance = imagework::color_distance(static_cast<Argb>(argb_32_color), self.entries[i]);
        if (distance < least) {
            least = distance;
            best = i;
        }
    }
    return static_cast<int32_t>(best);
}
int32_t nearest_color_index(PaletteObject& self, const ColorValue& color) {
    return nearest_argb_index(self, static_cast<int32_t>(color.argb));
}
Argb entry_at(const PaletteObject& self, int32_t index) {
    if (index < 0 || static_cast<size_t>(index) >= self.entries.size()) {
        throw_out_of_range("index", "The value " + std::to_string(index) +
                                        " is not the index of one of the palette's " +
                                        std::to_string(self.entries.size()) + " entries.");
    }
    return self.entries[static_cast<size_t>(index)];
}
int32_t argb_32_color(PaletteObject& self, int32_t index) {
    return static_cast<int32_t>(entry_at(self, index));
}
ColorValue color(PaletteObject& self, int32_t index) {
    return ColorValue::from_argb(entry_at(self, index));
}
int32_t entries_count(PaletteObject& self) {
    return static_cast<int32_t>(self.entries.size());
}
Collection argb_32_entries(PaletteObject& self) {
    return packed(self.entries);
}
Collection entries(PaletteObject& self) {
    return boxed(self.entries);
}
bool is_compact_palette(PaletteObject& self) {
    return self.compact;
}

// ---- ColorPaletteHelper

Interface interface_of(std::vector<Argb> colors) {
    return {make_ref<PaletteObject>(std::move(colors))};
}

Interface create_monochrome() {
    return interface_of(monochrome_palette());
}
Interface create_4_bit() {
    return interface_of(standard_palette(4));
}
Interface create_8_bit() {
    return interface_of(standard_palette(8));
}
Interface create_4_bit_grayscale(bool min_is_white) {
    return interface_of(gray_palette(4, min_is_white));
}
Interface create_8_bit_grayscale(bool min_is_white) {
    return interface_of(gray_palette(8, min_is_white));
}

ImageObject& required(ImageObject* image) {
    if (image == nullptr) {
        throw_argument_null("image");
    }
    return *image;
}

Interface close_palette(ImageObject* image, int32_t entries_count) {
    return interface_of(required(image).picture().close_palette(entries_count, false));
}
Interface close_transparent_palette(ImageObject* image, int32_t entries_count) {
    return interface_of(required(image).picture().close_palette(entries_count, true));
}

Interface close_palette_by_method(ImageObject* image, int32_t entries_count,
                                  PaletteMiningMethod palette_mining_method) {
    ImageObject& source = required(image);
    switch (palette_mining_method) {
        case PaletteMiningMethod::kUseCurrentPalette:
            if (const auto own = source.palette();
                !own.empty() && own.size() <= static_cast<size_t>(std::max(0, entries_count))) {
                return interface_of(own);
            }
            return close_palette(image, entries_count);
        case PaletteMiningMethod::kColorClustering:
            return close_palette(image, entries_count);
        case PaletteMiningMethod::kHistogram:
            return interface_of(source.picture().frequent_palette(entries_count));
        default:
            throw_out_of_range("palette_mining_method", "The value " +
                                                            std::to_string(number_of(palette_mining_method)) +
                                                            " is not one of PaletteMiningMethod.");
    }
}

Interface close_palette_of_part(ImageObject* image, const RectangleValue& dest_bounds, int32_t entries_count,
                                bool use_image_palette, std::optional<Argb> blend_in, bool keep_transparency) {
    ImageObject& source = required(image);
    if (const auto own = source.palette();
        use_image_palette && !own.empty() && own.size() <= static_cast<size_t>(std::max(0, entries_count))) {
        return interface_of(own);
    }
    auto part = source.picture().copy();
    part->crop({dest_bounds.x, dest_bounds.y, dest_bounds.width, dest_bounds.height});
    if (blend_in && part->has_alpha() && !keep_transparency) {
        auto below = part->copy();
        below->replace_area({0, 0, part->width(), part->height()}, *blend_in | 0xFF000000);
        below->draw(*part, 0, 0);
        part = std::move(below);
    }
    return interface_of(part->close_palette(entries_count, keep_transparency));
}
Interface close_palette_by_rect(ImageObject* image, const RectangleValue& dest_bounds, int32_t entries_count) {
    return close_palette_of_part(image, dest_bounds, entries_count, false, std::nullopt, false);
}
Interface close_palette_by_rect_own(ImageObject* image, const RectangleValue& dest_bounds, int32_t entries_count,
                                    bool use_image_palette) {
    return close_palette_of_part(image, dest_bounds, entries_count, use_image_palette, std::nullopt, false);
}
Interface close_palette_blended(ImageObject* image, const RectangleValue& dest_bounds, int32_t entries_count,
                                bool use_image_palette, const ColorValue& alpha_blend_in_color) {
    return close_palette_of_part(image, dest_bounds, entries_count, use_image_palette, alpha_blend_in_color.argb,
                                 false);
}
Interface close_palette_kept(ImageObject* image, const RectangleValue& dest_bounds, int32_t entries_count,
                             bool use_image_palette, const ColorValue& alpha_blend_in_color, bool keep_transparency) {
    return close_palette_of_part(image, dest_bounds, entries_count, use_image_palette, alpha_blend_in_color.argb,
                                 keep_transparency);
}

// Three bits of red and green and two of blue, whatever the image.
Ref<PaletteObject> uniform_palette(ImageObject* image) {
    required(image).require_live();
    std::vector<Argb> colors;
    for (Argb i = 0; i < 256; i++) {
        colors.push_back(0xFF000000 | (i >> 5) * 255 / 7 << 16 | (i >> 2 & 7) * 255 / 7 << 8 | (i & 3) * 85);
    }
    return make_ref<PaletteObject>(std::move(colors));
}

// The colors with the upper four bits of each channel, the most frequent 256.
Ref<PaletteObject> downscale_palette(ImageObject* image) {
    constexpr size_t kMost = 256;
    constexpr int32_t kRows = 64;  // that are read at a time
    const imagework::Picture& picture = required(image).picture();
    std::vector<uint64_t> counts(size_t{1} << 12);
    for (int32_t y = 0; y < picture.height(); y += kRows) {
        const imagework::Rect strip{0, y, picture.width(), std::min(kRows, picture.height() - y)};
        std::vector<Argb> pixels(static_cast<size_t>(strip.width) * static_cast<size_t>(strip.height));
        picture.read_argb(strip, pixels);
        for (const Argb color : pixels) {
            ++counts[(color >> 20 & 0xF) << 8 | (color >> 12 & 0xF) << 4 | (color >> 4 & 0xF)];
        }
    }
    std::vector<Argb> colors;
    for (Argb i = 0; i < counts.size(); ++i) {
        if (counts[i] > 0) {
            colors.push_back(i);
        }
    }
    std::stable_sort(colors.begin(), colors.end(), [&](Argb a, Argb b) { return counts[a] > counts[b]; });
    colors.resize(std::min(colors.size(), kMost));
    for (Argb& color : colors) {
        color = 0xFF000000 | ((color >> 8) << 16 | (color >> 4 & 0xF) << 8 | (color & 0xF)) * 0x11;
    }
    return make_ref<PaletteObject>(std::move(colors));
}

// AdjustPalette: without quantization the colors that stand best for those of the image, otherwise the most frequent.
// There is one way to compare colors.
Interface adjusted_palette(ImageObject* image, int32_t entries_count, api::ColorQuantizationMethod method,
                           api::ColorCompareMethod comparison) {
    if (comparison != api::ColorCompareMethod::kEuclidian) {
        throw_out_of_range("color_compare_method",
                           "The value " + std::to_string(number_of(comparison)) + " is not one of ColorCompareMethod.");
    }
    switch (method) {
        case api::ColorQuantizationMethod::kNone:
            return close_palette(image, entries_count);
        case api::ColorQuantizationMethod::kPopularity:
            return interface_of(required(image).picture().frequent_palette(entries_count));
    }
    throw_out_of_range("color_quantization_method",
                       "The value " + std::to_string(number_of(method)) + " is not one of ColorQuantizationMethod.");
}

bool has_transparent_colors(const VariantArg* palette) {
    const Ref<PaletteObject> object = read_palette(palette);
    const auto& colors = required(object, "palette").entries;
    return std::any_of(colors.begin(), colors.end(), [](Argb color) { return color >> 24 != 255; });
}

const FactoryRegistration ZELMOR_UNNAMED(PaletteObject::kManagedName,
                                         [](const TypeInfo&) { return Ref<ManagedObject>(make_ref<PaletteObject>()); });

using ColorPaletteApi = api::ColorPalette;
using ColorPaletteHelperApi = api::ColorPaletteHelper;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_integers_compact, ColorPaletteApi::ctor_000_ColorPalette>(),
    behavior<&from_integers, ColorPaletteApi::ctor_001_ColorPalette>(),
    behavior<&from_colors_compact, ColorPaletteApi::ctor_002_ColorPalette>(),
    behavior<&from_colors, ColorPaletteApi::ctor_003_ColorPalette>(),
    behavior<&copy_palette_compact, ColorPaletteApi::call_000_CopyPalette>(),
    behavior<&copy_palette, ColorPaletteApi::call_001_CopyPalette>(),
    behavior<&nearest_argb_index, ColorPaletteApi::call_000_GetNearestColorIndex,
             ColorPaletteApi::call_000_GetNearestArgbIndex>(),
    behavior<&nearest_color_index, ColorPaletteApi::call_001_GetNearestColorIndex>(),
    behavior<&argb_32_color, ColorPaletteApi::call_000_GetArgb32Color>(),
    behavior<&color, ColorPaletteApi::call_000_GetColor>(),
    behavior<&entries_count, ColorPaletteApi::get_EntriesCount>(),
    behavior<&argb_32_entries, ColorPaletteApi::get_Argb32Entries>(),
    behavior<&entries, ColorPaletteApi::get_Entries>(),
    behavior<&is_compact_palette, ColorPaletteApi::get_IsCompactPalette>(),
    behavior<&create_monochrome, ColorPaletteHelperApi::call_000_CreateMonochrome>(),
    behavior<&create_4_bit, ColorPaletteHelperApi::call_000_Create4Bit>(),
    behavior<&create_8_bit, ColorPaletteHelperApi::call_000_Create8Bit>(),
    behavior<&create_4_bit_grayscale, ColorPaletteHelperApi::call_000_Create4BitGrayscale>(),
    behavior<&create_8_bit_grayscale, ColorPaletteHelperApi::call_000_Create8BitGrayscale>(),
    behavior<&close_palette, ColorPaletteHelperApi::call_000_GetCloseImagePalette>(),
    behavior<&close_palette_by_method, ColorPaletteHelperApi::call_001_GetCloseImagePalette,
             ColorPaletteHelperApi::call_000_GetCloseImagePaletteByMethod>(),
    behavior<&close_palette_by_rect, ColorPaletteHelperApi::call_002_GetCloseImagePalette,
             ColorPaletteHelperApi::call_000_GetCloseImagePaletteByRect>(),
    behavior<&close_palette_by_rect_own, ColorPaletteHelperApi::call_003_GetCloseImagePalette>(),
    behavior<&close_palette_blended, ColorPaletteHelperApi::call_004_GetCloseImagePalette>(),
    behavior<&close_palette_kept, ColorPaletteHelperApi::call_005_GetCloseImagePalette>(),
    behavior<&close_transparent_palette, ColorPaletteHelperApi::call_000_GetCloseTransparentImagePalette>(),
    behavior<&uniform_palette, ColorPaletteHelperApi::call_000_GetUniformColorPalette>(),
    behavior<&downscale_palette, ColorPaletteHelperApi::call_000_GetDownscalePalette>(),
    behavior<&adjusted_palette, api::PaletteHelper::AdjustPalette::call_000_GetCloseImagePalette>(),
    behavior<&has_transparent_colors, ColorPaletteHelperApi::call_000_HasTransparentColors>(),
});

}  // namespace

}  // namespace zelmor::embed
