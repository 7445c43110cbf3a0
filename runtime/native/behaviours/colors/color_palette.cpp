// Members of ColorPalette. Those of IColorPalette arrive here too, since nothing else implements it.
#include "runtime/native/behaviours/colors/color_palette.h"

#include "runtime/native/core/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kPalette = ColorPaletteObject::kManagedName;

std::vector<uint32_t> packed_entries(const VariantArg* argb_32_entries) {
    const std::vector<int32_t> entries = read_array<int32_t>(argb_32_entries, "argb_32_entries");
    return {entries.begin(), entries.end()};
}

std::vector<uint32_t> color_entries(const VariantArg* entries) {
    static const ElementType& element = element_of(Wire::kStruct, StructTraits<ColorValue>::kName);
    std::vector<uint32_t> colors;
    for (const Value& value : read_elements(entries, element, "entries")) {
        const auto& color = std::get<Ref<ManagedObject>>(value);
        if (!color) throw_argument_null("entries");
        colors.push_back(unbox<ColorValue>(*color).argb);
    }
    return colors;
}

using Palette = Ref<ColorPaletteObject>;

Palette from_argb_compact(const VariantArg* argb_32_entries, bool is_compact_palette) {
    return make_ref<ColorPaletteObject>(packed_entries(argb_32_entries), is_compact_palette);
}
Palette from_argb(const VariantArg* argb_32_entries) {
    return from_argb_compact(argb_32_entries, false);
}
Palette from_colors_compact(const VariantArg* entries, bool is_compact_palette) {
    return make_ref<ColorPaletteObject>(color_entries(entries), is_compact_palette);
}
Palette from_colors(const VariantArg* entries) {
    return from_colors_compact(entries, false);
}

Palette copied_as(const VariantArg* color_palette, bool use_compact_palette) {
    const Palette source = palette_of(read_object(color_palette));
    return source ? make_ref<ColorPaletteObject>(source->colors(), use_compact_palette) : nullptr;
}
Palette copied(const VariantArg* color_palette) {
    const Palette source = palette_of(read_object(color_palette));
    return source ? make_ref<ColorPaletteObject>(source->colors(), source->is_compact()) : nullptr;
}

int32_t nearest_argb(ColorPaletteObject& self, int32_t argb_32_color) {
    return static_cast<int32_t>(self.nearest(static_cast<uint32_t>(argb_32_color)));
}
int32_t nearest_color(ColorPaletteObject& self, const ColorValue& color) {
    return static_cast<int32_t>(self.nearest(color.argb));
}

uint32_t entry_at(const ColorPaletteObject& self, int32_t index) {
    if (index < 0 || static_cast<size_t>(index) >= self.colors().size()) {
        throw_out_of_range("index", "The palette has " + std::to_string(self.colors().size()) + " entries, none at " +
                                        std::to_string(index) + ".");
    }
    return self.colors()[static_cast<size_t>(index)];
}
int32_t argb_at(ColorPaletteObject& self, int32_t index) {
    return static_cast<int32_t>(entry_at(self, index));
}
ColorValue color_at(ColorPaletteObject& self, int32_t index) {
    return ColorValue::from_argb(entry_at(self, index));
}

int32_t entries_count(ColorPaletteObject& self) {
    return static_cast<int32_t>(self.colors().size());
}
// The arrays are the caller's own: a palette does not change.
Value argb_entries(ColorPaletteObject& self) {
    return Ref<ManagedObject>(make_array<int32_t>({self.colors().begin(), self.colors().end()}));
}
Value entries(ColorPaletteObject& self) {
    static const ElementType& element = element_of(Wire::kStruct, StructTraits<ColorValue>::kName);
    std::vector<Value> colors;
    for (const uint32_t argb : self.colors())
        colors.emplace_back(box(ColorValue::from_argb(argb)));
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element, std::move(colors)));
}
bool is_compact(ColorPaletteObject& self) {
    return self.is_compact();
}

const Behaviour kMembers[] = {
    {kPalette, "ctor_000_ColorPalette", entry<&from_argb_compact>()},
    {kPalette, "ctor_001_ColorPalette", entry<&from_argb>()},
    {kPalette, "ctor_002_ColorPalette", entry<&from_colors_compact>()},
    {kPalette, "ctor_003_ColorPalette", entry<&from_colors>()},
    {kPalette, "call_000_CopyPalette", entry<&copied_as>()},
    {kPalette, "call_001_CopyPalette", entry<&copied>()},
    {kPalette, "call_000_CreateWithArgbCompact", entry<&from_argb_compact>()},
    {kPalette, "call_000_CreateWithArgb", entry<&from_argb>()},
    {kPalette, "call_000_CreateWithColorsCompact", entry<&from_colors_compact>()},
    {kPalette, "call_000_CreateWithColors", entry<&from_colors>()},
    {kPalette, "call_000_GetNearestColorIndex", entry<&nearest_argb>()},
    {kPalette, "call_001_GetNearestColorIndex", entry<&nearest_color>()},
    {kPalette, "call_000_GetNearestArgbIndex", entry<&nearest_argb>()},
    {kPalette, "call_000_GetArgb32Color", entry<&argb_at>()},
    {kPalette, "call_000_GetColor", entry<&color_at>()},
    {kPalette, "get_EntriesCount", entry<&entries_count>()},
    {kPalette, "get_Argb32Entries", entry<&argb_entries>()},
    {kPalette, "get_Entries", entry<&entries>()},
    {kPalette, "get_IsCompactPalette", entry<&is_compact>()},
};
const BehaviourTable table(Assembly::kImaging, kMembers);

}  // namespace

ColorPaletteObject::ColorPaletteObject(std::vector<uint32_t> colors, bool is_compact)
    : Record(require_type(kManagedName)), colors_(std::move(colors)), is_compact_(is_compact) {}

size_t ColorPaletteObject::nearest(uint32_t argb) const {
    if (colors_.empty()) throw_invalid_operation("The palette has no entries.");
    size_t best = 0;
    uint32_t least = UINT32_MAX;
    for (size_t i = 0; i < colors_.size() && least > 0; ++i) {
        uint32_t distance = 0;
        for (const int shift : {0, 8, 16, 24}) {
            const int difference =
                static_cast<int>(colors_[i] >> shift & 0xFF) - static_cast<int>(argb >> shift & 0xFF);
            distance += static_cast<uint32_t>(difference * difference);
        }
        if (distance < least) {
            least = distance;
            best = i;
        }
    }
    return best;
}

Ref<ColorPaletteObject> palette_of(const Ref<ManagedObject>& object) {
    return object ? Ref<ColorPaletteObject>(&cast_object<ColorPaletteObject>(*object)) : nullptr;
}

}  // namespace zelmor::embed
