// ColorPalette: the one palette class that there is. Entries are packed as 0xAARRGGBB.
#pragma once

#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

class ColorPaletteObject final : public Record {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.ColorPalette";
    explicit ColorPaletteObject(std::vector<uint32_t> colors = {}, bool is_compact = false);
    const std::vector<uint32_t>& colors() const { return colors_; }
    bool is_compact() const { return is_compact_; }
    // The entry nearest to a color, all four channels counted alike; InvalidOperationException where there is none.
    size_t nearest(uint32_t argb) const;
    Ref<ManagedObject> copy() const override { return make_ref<ColorPaletteObject>(colors_, is_compact_); }

 private:
    std::vector<uint32_t> colors_;
    bool is_compact_;
};

// The palette of an IColorPalette argument or property; null for null, InvalidCastException for another object.
Ref<ColorPaletteObject> palette_of(const Ref<ManagedObject>& object);

}  // namespace zelmor::embed
