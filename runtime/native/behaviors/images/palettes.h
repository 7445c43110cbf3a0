// Palettes as managed objects.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PALETTES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PALETTES_H

#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

class PaletteObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::ColorPalette::kType.name;
    explicit PaletteObject(std::vector<imagework::Argb> colors = {}, bool is_compact = false);

    std::vector<imagework::Argb> entries;
    bool compact;  // says that the entries are only those that are needed

    // Palettes of the same colors are equal.
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override { return make_ref<PaletteObject>(entries, compact); }
};

// The palette of an argument or property of type IColorPalette; null for none.
Ref<PaletteObject> read_palette(const VariantArg* arg);
Ref<PaletteObject> palette_property(const ManagedObject& object, std::string_view name);

// Palettes that stand for a number of bits.
std::vector<imagework::Argb> monochrome_palette();
std::vector<imagework::Argb> standard_palette(int bits);  // 4 or 8
std::vector<imagework::Argb> gray_palette(int bits, bool min_is_white);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PALETTES_H
