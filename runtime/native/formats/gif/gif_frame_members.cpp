// GIF images and their frames. Frames of a loaded file are as large as the canvas and have the pixels of earlier frames
// where they are transparent; a new frame may be smaller, and its left and top give its place.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.Blocks.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/gif/gif_details.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;

namespace {

using Path = std::optional<std::u16string>;

using api::FileFormats::Gif::IGifBlock;
using GifFrameBlockApi = api::FileFormats::Gif::Blocks::GifFrameBlock;
using GifImageApi = api::FileFormats::Gif::GifImage;

Ref<ManagedObject> block_argument(const VariantArg* block) {
    Ref<ManagedObject> object = read_object(block, require_type(IGifBlock::kType.name));
    if (!object) {
        throw_argument_null("block");
    }
    if (const auto* frame = dynamic_cast<const ImageObject*>(object.get())) {
        frame->require_live();
    }
    return object;
}
void add_gif_block(ImageObject& self, const VariantArg* block) {
    const Ref<ManagedObject> added = block_argument(block);
    insert_gif_block_at(self, gif_block_count(self), added);
}
void insert_gif_block(ImageObject& self, int32_t index, const VariantArg* block) {
    const Ref<ManagedObject> added = block_argument(block);
    const size_t count = gif_block_count(self);
    if (index < 0 || static_cast<size_t>(index) > count) {
        throw_out_of_range("index", "The value " + std::to_string(index) + " is not the index of one of the image's " +
                                        std::to_string(count) + " blocks.");
    }
    insert_gif_block_at(self, static_cast<size_t>(index), added);
}
void remove_gif_block(ImageObject& self, const VariantArg* block) {
    self.require_live();
    remove_gif_block_of(self, *block_argument(block));
}
Collection gif_blocks(ImageObject& self) {
    return {gif_block_array(self, element_of(Wire::kInterface, IGifBlock::kType.name))};
}
void order_blocks(ImageObject& self) {
    self.require_live();
    order_gif_blocks(self);
}

int32_t gif_duration(ImageObject& self) {
    self.require_live();
    take_control_block(self);
    return self.duration;
}
void set_gif_duration(ImageObject& self, int32_t value) {
    take_control_block(self);
    set_frame_duration(self, value);
    tell_control_block(self);
}
// A frame that is all that is seen stays until the next one.
api::AnimationDisposalMethods gif_disposal_method(ImageObject& self) {
    self.require_live();
    take_control_block(self);
    switch (self.gif.part ? imagework::gif_disposal(self.gif.control.disposal) : imagework::FrameDisposal::kLeave) {
        case imagework::FrameDisposal::kClear:
            return api::AnimationDisposalMethods::kBackground;
        case imagework::FrameDisposal::kRestore:
            return api::AnimationDisposalMethods::kPrevious;
        default:
            return api::AnimationDisposalMethods::kPreserve;
    }
}

Ref<ImageObject> gif_frame(std::unique_ptr<imagework::Picture> picture, uint16_t at_left, uint16_t at_top) {
    FileFacts facts = facts_of_picture(Format::kGif, *picture, 8);
    facts.encoding = imagework::GifEncoding{};
    auto frame =
        make_ref<ImageObject>(require_type(GifFrameBlockApi::kType.name), std::move(picture), std::move(facts));
    frame->left = at_left;
    frame->top = at_top;
    frame->duration = 100;
    frame->gif.part = true;
    return frame;
}
Ref<ImageObject> gif_frame_at(uint16_t at_left, uint16_t at_top, uint16_t width, uint16_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    return gif_frame(image_backend().create(width, height, true, false, 0), at_left, at_top);
}
Ref<ImageObject> gif_frame_of_size(uint16_t width, uint16_t height) {
    return gif_frame_at(0, 0, width, height);
}
Ref<ImageObject> gif_frame_with_palette(uint16_t at_left, uint16_t at_top, uint16_t width, uint16_t height,
                                        const VariantArg* color_palette, bool is_palette_sorted,
                                        bool is_gif_frame_interlaced, uint8_t bits_per_pixel) {
    if (bits_per_pixel < 1 || bits_per_pixel > 8) {
        throw_out_of_range("bits_per_pixel",
                           "The value " + std::to_string(bits_per_pixel) + " is not between 1 and 8.");
    }
    Ref<ImageObject> frame = gif_frame_at(at_left, at_top, width, height);
    if (const Ref<PaletteObject> palette = read_palette(color_palette)) {
        frame->offer_palette(palette->entries);
    }
    frame->facts().encoding = imagework::GifEncoding{bits_per_pixel, is_gif_frame_interlaced, {}};
    set_property(*frame, "IsPaletteSorted", is_palette_sorted);
    return frame;
}
Ref<ImageObject> gif_frame_of(const ImageObject& image, uint16_t at_left, uint16_t at_top) {
    Ref<ImageObject> frame = gif_frame(image.picture().copy(), at_left, at_top);
    frame->offer_palette(image.offered_palette());
    return frame;
}
// How an LZW coder starts follows from the colors; an image cannot choose it here.
Ref<ImageObject> gif_frame_of(const ImageObject& image, uint16_t at_left, uint16_t at_top, bool is_palette_sorted,
                              bool is_gif_frame_interlaced, uint8_t lzw_code_size) {
    if (lzw_code_size < 2 || lzw_code_size > 8) {
        throw_out_of_range("lzw_code_size", "The value " + std::to_string(lzw_code_size) + " is not between 2 and 8.");
    }
    Ref<ImageObject> frame = gif_frame_of(image, at_left, at_top);
    frame->facts().encoding = imagework::GifEncoding{lzw_code_size, is_gif_frame_interlaced, {}};
    set_property(*frame, "IsPaletteSorted", is_palette_sorted);
    return frame;
}
Ref<ImageObject> gif_frame_of_image(ImageObject* image) {
    return gif_frame_of(required_image(image, "image"), 0, 0);
}
Ref<ImageObject> gif_frame_of_image_at(ImageObject* image, uint16_t at_left, uint16_t at_top) {
    return gif_frame_of(required_image(image, "image"), at_left, at_top);
}
Ref<ImageObject> gif_frame_of_image_full(ImageObject* image, uint16_t at_left, uint16_t at_top, bool is_palette_sorted,
                                         bool is_gif_frame_interlaced, uint8_t lzw_code_size) {
    return gif_frame_of(required_image(image, "image"), at_left, at_top, is_palette_sorted, is_gif_frame_interlaced,
                        lzw_code_size);
}
Ref<ImageObject> gif_frame_of_stream(Ref<ManagedStream> stream) {
    return gif_frame_of(*image_of_stream(stream, nullptr), 0, 0);
}
Ref<ImageObject> gif_frame_of_stream_at(Ref<ManagedStream> stream, uint16_t at_left, uint16_t at_top) {
    return gif_frame_of(*image_of_stream(stream, nullptr), at_left, at_top);
}
Ref<ImageObject> gif_frame_of_stream_full(Ref<ManagedStream> stream, uint16_t at_left, uint16_t at_top,
                                          bool is_palette_sorted, bool is_gif_frame_interlaced, uint8_t lzw_code_size) {
    return gif_frame_of(*image_of_stream(stream, nullptr), at_left, at_top, is_palette_sorted, is_gif_frame_interlaced,
                        lzw_code_size);
}
Ref<ImageObject> gif_frame_of_path(const Path& path) {
    return gif_frame_of(*image_of_file(path, nullptr, "path"), 0, 0);
}
Ref<ImageObject> gif_frame_of_path_at(const Path& path, uint16_t at_left, uint16_t at_top) {
    return gif_frame_of(*image_of_file(path, nullptr, "path"), at_left, at_top);
}
Ref<ImageObject> gif_frame_of_path_full(const Path& path, uint16_t at_left, uint16_t at_top, bool is_palette_sorted,
                                        bool is_gif_frame_interlaced, uint8_t lzw_code_size) {
    return gif_frame_of(*image_of_file(path, nullptr, "path"), at_left, at_top, is_palette_sorted,
                        is_gif_frame_interlaced, lzw_code_size);
}

uint16_t gif_frame_width(ImageObject& self) {
    return static_cast<uint16_t>(self.picture().width());
}
uint16_t gif_frame_height(ImageObject& self) {
    return static_cast<uint16_t>(self.picture().height());
}
uint8_t gif_frame_bits(ImageObject& self) {
    self.require_live();
    return static_cast<uint8_t>(std::min(8, self.facts().bits_per_pixel));
}
uint16_t gif_left(ImageObject& self) {
    return static_cast<uint16_t>(frame_left(self));
}
uint16_t gif_top(ImageObject& self) {
    return static_cast<uint16_t>(frame_top(self));
}
void set_gif_left(ImageObject& self, uint16_t value) {
    set_frame_left(self, value);
}
void set_gif_top(ImageObject& self, uint16_t value) {
    set_frame_top(self, value);
}

bool gif_interlaced(ImageObject& self) {
    self.require_live();
    const auto* gif = settings_as<imagework::GifEncoding>(self.facts());
    return gif != nullptr && gif->interlaced;
}
void set_gif_interlaced(ImageObject& self, bool value) {
    self.require_live();
    if (auto* gif = settings_as<imagework::GifEncoding>(self.facts()); gif != nullptr) {
        gif->interlaced = value;
    }
}
// The bits of an index in the palette of a frame; otherwise the most that its file will have.
int32_t gif_frame_index_bits(ImageObject& self) {
    self.require_live();
    const size_t colors = self.palette().size();
    if (colors == 0) {
        const auto* gif = settings_as<imagework::GifEncoding>(self.facts());
        return gif != nullptr ? gif->palette_bits : 8;
    }
    int32_t bits = 1;
    while (bits < 8 && size_t{1} << bits < colors) {
        ++bits;
    }
    return bits;
}
void set_gif_frame_index_bits(ImageObject& self, int32_t value) {
    if (value != gif_frame_index_bits(self)) {
        throw ManagedException("NotSupportedException",
                               "The value " + std::to_string(value) +
                                   " of GifFrameBlock.GifFrameBitsPerPixel is not supported by the embedded runtime. "
                                   "The bits follow from the palette; GifOptions.ColorResolution limits it.");
    }
}

// The flags of the descriptor: whether there is a palette and of how many bits, sorted, and interlaced rows.
constexpr int32_t kHasPalette = 0x80, kInterlaced = 0x40, kSorted = 0x20;
int32_t gif_descriptor_flags(ImageObject& self) {
    const int32_t bits = gif_frame_index_bits(self);
    return (gif_interlaced(self) ? kInterlaced : 0) | (property_bool(self, "IsPaletteSorted") ? kSorted : 0) |
           (self.palette().empty() ? 0 : kHasPalette | (bits - 1));
}
// The palette is what it is; the other two can be set.
void set_gif_descriptor_flags(ImageObject& self, int32_t value) {
    constexpr int32_t kFree = kInterlaced | kSorted;
    if ((value & ~kFree) != (gif_descriptor_flags(self) & ~kFree)) {
        throw ManagedException("NotSupportedException",
                               "The value " + std::to_string(value) +
                                   " of GifFrameBlock.Flags is not supported by the embedded runtime. The bits for the "
                                   "palette follow from the palette of the frame.");
    }
    set_gif_interlaced(self, (value & kInterlaced) != 0);
    set_property(self, "IsPaletteSorted", (value & kSorted) != 0);
}

Ref<ImageObject> gif_image(ImageObject* first_frame, const Ref<PaletteObject>& palette) {
    ImageObject& frame = required_image(first_frame, "first_frame");
    Ref<ImageObject> image = make_container(GifImageApi::kType, frame.facts(), Ref<ImageObject>(&frame));
    if (palette) {
        image->offer_palette(palette->entries);
    }
    return image;
}
Ref<ImageObject> gif_of_frame(ImageObject* first_frame) {
    return gif_image(first_frame, nullptr);
}
Ref<ImageObject> gif_of_frame_and_palette(ImageObject* first_frame, const VariantArg* global_palette) {
    return gif_image(first_frame, read_palette(global_palette));
}
Ref<ImageObject> gif_of_all(ImageObject* first_frame, const VariantArg* global_palette, bool is_palette_sorted,
                            uint8_t palette_color_resolution, uint8_t palette_background_color_index,
                            uint8_t aspect_ratio, bool has_trailer) {
    Ref<ImageObject> image = gif_image(first_frame, read_palette(global_palette));
    set_property(*image, "IsPaletteSorted", is_palette_sorted);
    set_property(*image, "PaletteColorResolutionBits", int64_t{palette_color_resolution});
    set_property(*image, "BackgroundColorIndex", int64_t{palette_background_color_index});
    set_property(*image, "PixelAspectRatio", int64_t{aspect_ratio});
    set_property(*image, "HasTrailer", has_trailer);
    return image;
}
// A page that is a frame itself keeps its time.
void add_gif_page(ImageObject& self, ImageObject* page) {
    ImageObject& source = required_image(page, "page");
    Ref<ImageObject> frame = gif_frame_of(source, 0, 0);
    if (source.image_format() == FileFormat::kGif) {
        take_control_block(source);
    }
    if (source.duration > 0) {
        frame->duration = source.duration;
    }
    append_gif_frame(self, std::move(frame));
}
void set_frame_time(ImageObject& self, uint16_t time) {
    for (const Ref<ImageObject>& frame : self.frames()) {
        set_gif_duration(*frame, time);
    }
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&gif_frame_of_size, GifFrameBlockApi::ctor_000_GifFrameBlock>(),
    behavior<&gif_frame_at, GifFrameBlockApi::ctor_001_GifFrameBlock>(),
    behavior<&gif_frame_with_palette, GifFrameBlockApi::ctor_002_GifFrameBlock>(),
    behavior<&gif_frame_of_image, GifFrameBlockApi::ctor_003_GifFrameBlock>(),
    behavior<&gif_frame_of_image_at, GifFrameBlockApi::ctor_004_GifFrameBlock>(),
    behavior<&gif_frame_of_image_full, GifFrameBlockApi::ctor_005_GifFrameBlock>(),
    behavior<&gif_frame_of_stream, GifFrameBlockApi::ctor_006_GifFrameBlock>(),
    behavior<&gif_frame_of_stream_at, GifFrameBlockApi::ctor_007_GifFrameBlock>(),
    behavior<&gif_frame_of_stream_full, GifFrameBlockApi::ctor_008_GifFrameBlock>(),
    behavior<&gif_frame_of_path, GifFrameBlockApi::ctor_009_GifFrameBlock>(),
    behavior<&gif_frame_of_path_at, GifFrameBlockApi::ctor_010_GifFrameBlock>(),
    behavior<&gif_frame_of_path_full, GifFrameBlockApi::ctor_011_GifFrameBlock>(),
    behavior<&gif_frame_width, GifFrameBlockApi::get_Width>(),
    behavior<&gif_frame_height, GifFrameBlockApi::get_Height>(),
    behavior<&gif_frame_bits, GifFrameBlockApi::get_BitsPerPixel>(),
    property<&gif_duration, &set_gif_duration, GifFrameBlockApi::property_FrameTime>(),
    behavior<&control_block_of, GifFrameBlockApi::get_ControlBlock>(),
    property<&gif_left, &set_gif_left, GifFrameBlockApi::property_Left>(),
    property<&gif_top, &set_gif_top, GifFrameBlockApi::property_Top>(),
    behavior<&frame_left, GifFrameBlockApi::get_FrameLeft>(),
    behavior<&frame_top, GifFrameBlockApi::get_FrameTop>(),
    behavior<&gif_disposal_method, GifFrameBlockApi::get_DisposalMethod>(),
    behavior<&gif_interlaced, GifFrameBlockApi::get_Interlaced, GifFrameBlockApi::get_IsInterlaced,
             GifImageApi::get_IsInterlaced>(),
    behavior<&set_gif_interlaced, GifFrameBlockApi::set_Interlaced>(),
    property<&gif_frame_index_bits, &set_gif_frame_index_bits, GifFrameBlockApi::property_GifFrameBitsPerPixel>(),
    property<&gif_descriptor_flags, &set_gif_descriptor_flags, GifFrameBlockApi::property_Flags>(),
    behavior<&full_frame, GifFrameBlockApi::call_000_GetFullFrame>(),
    behavior<&gif_of_frame_and_palette, GifImageApi::ctor_000_GifImage>(),
    behavior<&gif_of_frame, GifImageApi::ctor_001_GifImage>(),
    behavior<&gif_of_all, GifImageApi::ctor_002_GifImage>(),
    behavior<&add_gif_page, GifImageApi::call_000_AddPage>(),
    behavior<&gif_blocks, GifImageApi::get_Blocks>(),
    behavior<&add_gif_block, GifImageApi::call_000_AddBlock>(),
    behavior<&insert_gif_block, GifImageApi::call_000_InsertBlock>(),
    behavior<&remove_gif_block, GifImageApi::call_000_RemoveBlock>(),
    behavior<&clear_gif_blocks, GifImageApi::call_000_ClearBlocks>(),
    behavior<&order_blocks, GifImageApi::call_000_OrderBlocks>(),
    property<&active_frame_of, &set_active_frame_of, GifImageApi::property_ActiveFrame>(),
    behavior<&set_frame_time, GifImageApi::call_000_SetFrameTime>(),
});

}  // namespace

}  // namespace zelmor::embed
