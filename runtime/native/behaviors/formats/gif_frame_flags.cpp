// GifFrameBlock: the flags in the descriptor of a frame, and the palette that the frame uses.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// The flags of an image descriptor: whether there is a palette and of how many bits, sorted, and interlaced lines.
int32_t frame_flags(const VariantArg* color_palette, bool is_palette_sorted, bool is_gif_frame_interlaced) {
    constexpr int kHasPalette = 0x80, kInterlaced = 0x40, kSorted = 0x20;
    int flags = (is_gif_frame_interlaced ? kInterlaced : 0) | (is_palette_sorted ? kSorted : 0);
    if (const auto palette = read_palette(color_palette)) {
        int bits = 1;
        while (bits < 8 && (size_t{1} << bits) < palette->entries.size()) {
            ++bits;
        }
        flags |= kHasPalette | (bits - 1);
    }
    return flags;
}

// A frame uses its own palette, or that of the file if it has none.
Interface frame_palette(const VariantArg* frame_palette, const VariantArg* container_palette) {
    auto own = read_palette(frame_palette);
    return {own ? own : read_palette(container_palette)};
}

using GifFrameBlockApi = api::FileFormats::Gif::Blocks::GifFrameBlock;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&frame_flags, GifFrameBlockApi::call_000_CreateFlags>(),
    behavior<&frame_palette, GifFrameBlockApi::call_000_GetColorPalette>(),
});

}  // namespace

}  // namespace zelmor::embed
