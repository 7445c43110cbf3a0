// ColorPaletteHelper's palettes that need no image: monochrome, 4 and 8 bits, in color and in gray.
#include <algorithm>

#include "runtime/native/behaviours/colors/color_palette.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// The sixteen colors of early color displays, in the order of their indices.
constexpr uint32_t kSixteen[] = {
    0xFF000000, 0xFF800000, 0xFF008000, 0xFF808000, 0xFF000080, 0xFF800080, 0xFF008080, 0xFF808080,
    0xFFC0C0C0, 0xFFFF0000, 0xFF00FF00, 0xFFFFFF00, 0xFF0000FF, 0xFFFF00FF, 0xFF00FFFF, 0xFFFFFFFF,
};

uint32_t gray(uint32_t level) {
    return 0xFF000000u | level * 0x010101u;
}

Interface shown(std::vector<uint32_t> colors) {
    return {make_ref<ColorPaletteObject>(std::move(colors))};
}

Interface grays(uint32_t count, bool min_is_white) {
    std::vector<uint32_t> colors;
    for (uint32_t i = 0; i < count; ++i)
        colors.push_back(gray(i * 255 / (count - 1)));
    if (min_is_white) std::reverse(colors.begin(), colors.end());
    return shown(std::move(colors));
}

Interface monochrome() {
    return grays(2, false);
}
Interface four_bit() {
    return shown({std::begin(kSixteen), std::end(kSixteen)});
}
Interface four_bit_grays(bool min_is_white) {
    return grays(16, min_is_white);
}
Interface eight_bit_grays(bool min_is_white) {
    return grays(256, min_is_white);
}

// The sixteen, grays between them, and a cube of six levels for each channel.
Interface eight_bit() {
    std::vector<uint32_t> colors(std::begin(kSixteen), std::end(kSixteen));
    for (uint32_t i = 1; i <= 24; ++i)
        colors.push_back(gray(i * 255 / 25));
    for (uint32_t r = 0; r < 6; ++r) {
        for (uint32_t g = 0; g < 6; ++g) {
            for (uint32_t b = 0; b < 6; ++b)
                colors.push_back(0xFF000000u | (r << 16 | g << 8 | b) * 0x33u);
        }
    }
    return shown(std::move(colors));
}

bool has_transparent_colors(const VariantArg* palette) {
    const auto colors = palette_of(read_object(palette));
    if (!colors) throw_argument_null("palette");
    return std::any_of(colors->colors().begin(), colors->colors().end(),
                       [](uint32_t argb) { return argb >> 24 < 255; });
}

constexpr const char* kHelper = "Zelmor.Imaging.ColorPaletteHelper";
const Behaviour kMembers[] = {
    {kHelper, "call_000_CreateMonochrome", entry<&monochrome>()},
    {kHelper, "call_000_Create4Bit", entry<&four_bit>()},
    {kHelper, "call_000_Create4BitGrayscale", entry<&four_bit_grays>()},
    {kHelper, "call_000_Create8Bit", entry<&eight_bit>()},
    {kHelper, "call_000_Create8BitGrayscale", entry<&eight_bit_grays>()},
    {kHelper, "call_000_HasTransparentColors", entry<&has_transparent_colors>()},
};
const BehaviourTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed
