// Images whose frames follow each other in time: GIF, WebP and PNG animations.
//
// Frames of a loaded file are as large as the canvas, with what shines through from the frames before; a frame that is
// made anew may be smaller, and lies where its left and top say.
#include "runtime/native/behaviours/images/encoding_options.h"
#include "runtime/native/behaviours/images/frames.h"
#include "runtime/native/behaviours/images/image_entry.h"
#include "runtime/native/behaviours/images/loading.h"
#include "runtime/native/behaviours/images/page_selection.h"
#include "runtime/native/behaviours/images/palettes.h"
#include "runtime/native/core/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;

namespace {

using Path = std::optional<std::u16string>;

constexpr const char* kGif = "Zelmor.Imaging.FileFormats.Gif.GifImage";
constexpr const char* kGifFrame = "Zelmor.Imaging.FileFormats.Gif.Blocks.GifFrameBlock";
constexpr const char* kWebp = "Zelmor.Imaging.FileFormats.Webp.WebPImage";
constexpr const char* kWebpFrame = "Zelmor.Imaging.FileFormats.Webp.WebPFrameBlock";
constexpr const char* kFrameInterface = "Zelmor.Imaging.FileFormats.Webp.IFrame";
constexpr const char* kApng = "Zelmor.Imaging.FileFormats.Apng.ApngImage";
constexpr const char* kApngFrame = "Zelmor.Imaging.FileFormats.Apng.ApngFrame";

FileFacts facts_of(Format format, const imagework::Picture& picture, int bits) {
    FileFacts facts;
    facts.format = format;
    facts.readable = true;
    facts.width = picture.width();
    facts.height = picture.height();
    facts.has_alpha = picture.has_alpha();
    facts.bits_per_pixel = bits;
    return facts;
}

void require_positive(int32_t value, const char* parameter) {
    if (value <= 0) throw_out_of_range(parameter, "The value " + std::to_string(value) + " is not positive.");
}

// ---- What all frames have

int32_t duration(ImageObject& self) {
    self.require_live();
    return self.duration;
}
void set_duration(ImageObject& self, int32_t value) {
    self.require_live();
    if (value < 0) throw_out_of_range("value", "The value " + std::to_string(value) + " is negative.");
    self.duration = value;
}
int32_t left(ImageObject& self) {
    self.require_live();
    return self.left;
}
int32_t top(ImageObject& self) {
    self.require_live();
    return self.top;
}
void set_left(ImageObject& self, int32_t value) {
    self.require_live();
    if (value < 0) throw_out_of_range("value", "The value " + std::to_string(value) + " is negative.");
    self.left = value;
}
void set_top(ImageObject& self, int32_t value) {
    self.require_live();
    if (value < 0) throw_out_of_range("value", "The value " + std::to_string(value) + " is negative.");
    self.top = value;
}
// The frame stays until the next one is laid over it.
int32_t preserved(ImageObject& self) {
    self.require_live();
    return 0;
}

// What is seen while the frame is shown, as an image of its own.
Ref<ImageObject> full_frame(ImageObject& self) {
    std::unique_ptr<imagework::Picture> picture = self.picture().copy();
    if (ImageObject* image = self.container()) {
        std::vector<Page> pages = pages_of(*image, every_page(*image));
        const size_t index = image->index_of(self).value_or(0);
        if (pages.size() > 1) {
            fit_to_canvas(pages);
            picture = std::move(pages[index].picture);
        }
    }
    FileFacts facts = self.facts();
    return make_ref<ImageObject>(require_type("Zelmor.Imaging.RasterCachedImage"), std::move(picture), facts);
}

// ---- Blocks: frames, by the interfaces that GIF and WebP have for them

Ref<ImageObject> frame_argument(const VariantArg* block, const char* interface) {
    const Ref<ManagedObject> object = read_object(block, require_type(interface));
    if (!object) throw_argument_null("block");
    auto* frame = dynamic_cast<ImageObject*>(object.get());
    if (!frame) throw_not_supported(std::string("A ") + object->type().name + " in an image, which holds frames,");
    frame->require_live();
    return Ref<ImageObject>(frame);
}
void insert_at(ImageObject& self, int32_t index, const Ref<ImageObject>& frame) {
    self.insert_frame(checked_index(self, index, "index", true), frame);
}
void remove_block_frame(ImageObject& self, const ImageObject& frame) {
    const auto index = self.index_of(frame);
    if (!index) throw_argument("The block is not one of the image. (Parameter 'block')");
    self.take_frame(*index);
}
void clear_frames(ImageObject& self) {
    while (!self.frames().empty())
        self.take_frame(self.frames().size() - 1);
}

// ---- GIF

constexpr const char* kGifBlock = "Zelmor.Imaging.FileFormats.Gif.IGifBlock";

void add_gif_block(ImageObject& self, const VariantArg* block) {
    append_frame(self, frame_argument(block, kGifBlock));
}
void insert_gif_block(ImageObject& self, int32_t index, const VariantArg* block) {
    insert_at(self, index, frame_argument(block, kGifBlock));
}
void remove_gif_block(ImageObject& self, const VariantArg* block) {
    remove_block_frame(self, *frame_argument(block, kGifBlock));
}
Value gif_blocks(ImageObject& self) {
    std::vector<Value> items;
    for (const Ref<ImageObject>& frame : self.frames())
        items.emplace_back(Ref<ManagedObject>(frame));
    return Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kInterface, kGifBlock), std::move(items)));
}

Ref<ImageObject> gif_frame(std::unique_ptr<imagework::Picture> picture, uint16_t at_left, uint16_t at_top) {
    FileFacts facts = facts_of(Format::kGif, *picture, 8);
    facts.encoding = imagework::GifEncoding{};
    auto frame = make_ref<ImageObject>(require_type(kGifFrame), std::move(picture), std::move(facts));
    frame->left = at_left;
    frame->top = at_top;
    frame->duration = 100;
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
    if (const Ref<PaletteObject> palette = read_palette(color_palette)) frame->palette = palette->entries;
    frame->facts().encoding = imagework::GifEncoding{bits_per_pixel, is_gif_frame_interlaced, {}};
    set_property(*frame, "IsPaletteSorted", is_palette_sorted);
    return frame;
}
Ref<ImageObject> gif_frame_of(const ImageObject& image, uint16_t at_left, uint16_t at_top) {
    Ref<ImageObject> frame = gif_frame(image.picture().copy(), at_left, at_top);
    frame->palette = image.palette;
    return frame;
}
// How an LZW coder starts follows from the colours; an image cannot choose it here.
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
    return gif_frame_of(*image_of_stream(*stream, nullptr), 0, 0);
}
Ref<ImageObject> gif_frame_of_stream_at(Ref<ManagedStream> stream, uint16_t at_left, uint16_t at_top) {
    return gif_frame_of(*image_of_stream(*stream, nullptr), at_left, at_top);
}
Ref<ImageObject> gif_frame_of_stream_full(Ref<ManagedStream> stream, uint16_t at_left, uint16_t at_top,
                                          bool is_palette_sorted, bool is_gif_frame_interlaced, uint8_t lzw_code_size) {
    return gif_frame_of(*image_of_stream(*stream, nullptr), at_left, at_top, is_palette_sorted, is_gif_frame_interlaced,
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
    return static_cast<uint16_t>(left(self));
}
uint16_t gif_top(ImageObject& self) {
    return static_cast<uint16_t>(top(self));
}
void set_gif_left(ImageObject& self, uint16_t value) {
    set_left(self, value);
}
void set_gif_top(ImageObject& self, uint16_t value) {
    set_top(self, value);
}

imagework::GifEncoding* gif_encoding(ImageObject& self) {
    self.require_live();
    auto& encoding = self.facts().encoding;
    return encoding ? std::get_if<imagework::GifEncoding>(&*encoding) : nullptr;
}
bool gif_interlaced(ImageObject& self) {
    const auto* gif = gif_encoding(self);
    return gif && gif->interlaced;
}
void set_gif_interlaced(ImageObject& self, bool value) {
    if (auto* gif = gif_encoding(self)) gif->interlaced = value;
}

Ref<ImageObject> gif_image(ImageObject* first_frame, const Ref<PaletteObject>& palette) {
    ImageObject& frame = required_image(first_frame, "first_frame");
    Ref<ImageObject> image = make_container(kGif, frame.facts(), Ref<ImageObject>(&frame));
    if (palette) image->palette = palette->entries;
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
void add_gif_page(ImageObject& self, ImageObject* page) {
    append_frame(self, gif_frame_of(required_image(page, "page"), 0, 0));
}
Ref<ImageObject> active_frame(ImageObject& self) {
    const auto& all = self.frames();
    return self.active_index() < all.size() ? all[self.active_index()] : nullptr;
}
void set_active_frame(ImageObject& self, ImageObject* value) {
    const auto index = self.index_of(required_image(value, "value"));
    if (!index) throw_argument("The frame is not one of the image. (Parameter 'value')");
    self.set_active_index(*index);
}
void set_frame_time(ImageObject& self, uint16_t time) {
    for (const Ref<ImageObject>& frame : self.frames())
        frame->duration = time;
}

// ---- WebP

Ref<ImageObject> webp_frame(std::unique_ptr<imagework::Picture> picture) {
    FileFacts facts = facts_of(Format::kWebp, *picture, picture->has_alpha() ? 32 : 24);
    auto frame = make_ref<ImageObject>(require_type(kWebpFrame), std::move(picture), std::move(facts));
    frame->duration = 100;
    return frame;
}
Ref<ImageObject> webp_frame_of_image(ImageObject* raster_image) {
    return webp_frame(required_image(raster_image, "raster_image").picture().copy());
}
Ref<ImageObject> webp_frame_of_size(int32_t width, int32_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    return webp_frame(image_backend().create(width, height, true, false, 0));
}
void add_webp_page(ImageObject& self, ImageObject* page) {
    append_frame(self, webp_frame(required_image(page, "page").picture().copy()));
}
void add_webp_block(ImageObject& self, const VariantArg* block) {
    append_frame(self, frame_argument(block, kFrameInterface));
}
void insert_webp_block(ImageObject& self, int32_t index, const VariantArg* block) {
    insert_at(self, index, frame_argument(block, kFrameInterface));
}
void remove_webp_block(ImageObject& self, const VariantArg* block) {
    remove_block_frame(self, *frame_argument(block, kFrameInterface));
}

// A file of any format becomes a WebP image; one that is a WebP file keeps its settings and frames.
Ref<ImageObject> as_webp(const Ref<ImageObject>& image) {
    if (image->facts().format == Format::kWebp) return image;
    auto picture = image->picture().copy();
    FileFacts facts = facts_of(Format::kWebp, *picture, picture->has_alpha() ? 32 : 24);
    imagework::WebpEncoding lossless;
    lossless.lossless = true;
    facts.encoding = lossless;
    return make_ref<ImageObject>(std::move(picture), std::move(facts));
}
Ref<ImageObject> webp_of_stream_with(Ref<ManagedStream> stream, Record* load_options) {
    return as_webp(image_of_stream(*stream, load_options));
}
Ref<ImageObject> webp_of_stream(Ref<ManagedStream> stream) {
    return webp_of_stream_with(std::move(stream), nullptr);
}
Ref<ImageObject> webp_of_path_with(const Path& path, Record* load_options) {
    return as_webp(image_of_file(path, load_options, "path"));
}
Ref<ImageObject> webp_of_path(const Path& path) {
    return webp_of_path_with(path, nullptr);
}
Ref<ImageObject> webp_of_image(ImageObject* raster_image) {
    ImageObject& source = required_image(raster_image, "raster_image");
    auto copy = make_ref<ImageObject>(require_type("Zelmor.Imaging.RasterCachedImage"), source.picture().copy(),
                                      facts_of(Format::kUnknown, source.picture(), 0));
    return as_webp(copy);
}
Ref<ImageObject> webp_of_image_with(ImageObject* raster_image, Record*) {
    return webp_of_image(raster_image);
}
Ref<ImageObject> webp_of_size(int32_t width, int32_t height, Record* options) {
    if (!options) throw_argument_null("options");
    require_positive(width, "width");
    require_positive(height, "height");
    auto picture = image_backend().create(width, height, true, false, 0);
    FileFacts facts = facts_of(Format::kWebp, *picture, 32);
    facts.encoding = encoding_of_options(*options).format;
    return make_ref<ImageObject>(std::move(picture), std::move(facts));
}
Ref<ImageObject> webp_of_size_with(int32_t width, int32_t height, Record* options, Record*) {
    return webp_of_size(width, height, options);
}

// ---- PNG

Ref<ImageObject> apng_of_size(Record* options, int32_t width, int32_t height) {
    if (!options) throw_argument_null("options");
    require_positive(width, "width");
    require_positive(height, "height");
    auto picture = image_backend().create(width, height, true, false, 0);
    FileFacts facts = facts_of(Format::kPng, *picture, 32);
    facts.is_apng = true;
    facts.encoding = encoding_of_options(*options).format;
    auto image = make_ref<ImageObject>(std::move(picture), std::move(facts));
    set_property(*image, "NumPlays", property_int(*options, "NumPlays"));
    set_property(*image, "DefaultFrameTime", property_int(*options, "DefaultFrameTime"));
    return image;
}
Ref<ImageObject> apng_frame(ImageObject& self, std::unique_ptr<imagework::Picture> picture, int64_t time) {
    FileFacts facts = self.facts();
    Ref<ImageObject> frame = self.make_frame(std::move(picture), std::move(facts));
    frame->duration = static_cast<int32_t>(std::min<int64_t>(time, INT32_MAX));
    return frame;
}
std::unique_ptr<imagework::Picture> blank_canvas(ImageObject& self) {
    return image_backend().create(static_cast<int32_t>(self.facts().width), static_cast<int32_t>(self.facts().height),
                                  true, false, 0);
}
Ref<ImageObject> insert_blank_frame(ImageObject& self, int32_t index) {
    const size_t at = checked_index(self, index, "index", true);
    Ref<ImageObject> frame = apng_frame(self, blank_canvas(self), usual_duration(self, nullptr));
    self.insert_frame(at, frame);
    return frame;
}
void insert_timed_image(ImageObject& self, int32_t index, ImageObject* frame_image, uint32_t frame_time) {
    const size_t at = checked_index(self, index, "index", true);
    auto picture = required_image(frame_image, "frame_image").picture().copy();
    self.insert_frame(at, apng_frame(self, std::move(picture), frame_time));
}
void insert_image(ImageObject& self, int32_t index, ImageObject* frame_image) {
    insert_timed_image(self, index, frame_image, static_cast<uint32_t>(usual_duration(self, nullptr)));
}
int32_t behind_last(ImageObject& self) {
    return static_cast<int32_t>(self.frames().size());
}
Ref<ImageObject> add_blank_frame(ImageObject& self) {
    return insert_blank_frame(self, behind_last(self));
}
void add_image(ImageObject& self, ImageObject* frame_image) {
    insert_image(self, behind_last(self), frame_image);
}
void add_timed_image(ImageObject& self, ImageObject* frame_image, uint32_t frame_time) {
    insert_timed_image(self, behind_last(self), frame_image, frame_time);
}
Ref<ImageObject> pop_frame_at(ImageObject& self, int32_t index) {
    return self.take_frame(checked_index(self, index, "index"));
}
void remove_frame_at(ImageObject& self, int32_t index) {
    self.take_frame(checked_index(self, index, "index"));
}
bool apng_interlaced(ImageObject& self) {
    self.require_live();
    const auto* png = self.facts().encoding ? std::get_if<imagework::PngEncoding>(&*self.facts().encoding) : nullptr;
    return png && png->interlaced;
}

const BehaviourTable table(Assembly::kImaging,
                           {
                               {kGifFrame, "ctor_000_GifFrameBlock", image_entry<&gif_frame_of_size>()},
                               {kGifFrame, "ctor_001_GifFrameBlock", image_entry<&gif_frame_at>()},
                               {kGifFrame, "ctor_002_GifFrameBlock", image_entry<&gif_frame_with_palette>()},
                               {kGifFrame, "ctor_003_GifFrameBlock", image_entry<&gif_frame_of_image>()},
                               {kGifFrame, "ctor_004_GifFrameBlock", image_entry<&gif_frame_of_image_at>()},
                               {kGifFrame, "ctor_005_GifFrameBlock", image_entry<&gif_frame_of_image_full>()},
                               {kGifFrame, "ctor_006_GifFrameBlock", image_entry<&gif_frame_of_stream>()},
                               {kGifFrame, "ctor_007_GifFrameBlock", image_entry<&gif_frame_of_stream_at>()},
                               {kGifFrame, "ctor_008_GifFrameBlock", image_entry<&gif_frame_of_stream_full>()},
                               {kGifFrame, "ctor_009_GifFrameBlock", image_entry<&gif_frame_of_path>()},
                               {kGifFrame, "ctor_010_GifFrameBlock", image_entry<&gif_frame_of_path_at>()},
                               {kGifFrame, "ctor_011_GifFrameBlock", image_entry<&gif_frame_of_path_full>()},
                               {kGifFrame, "get_Width", image_entry<&gif_frame_width>()},
                               {kGifFrame, "get_Height", image_entry<&gif_frame_height>()},
                               {kGifFrame, "get_BitsPerPixel", image_entry<&gif_frame_bits>()},
                               {kGifFrame, "get_FrameTime", image_entry<&duration>()},
                               {kGifFrame, "set_FrameTime", image_entry<&set_duration>()},
                               {kGifFrame, "get_Left", image_entry<&gif_left>()},
                               {kGifFrame, "set_Left", image_entry<&set_gif_left>()},
                               {kGifFrame, "get_Top", image_entry<&gif_top>()},
                               {kGifFrame, "set_Top", image_entry<&set_gif_top>()},
                               {kGifFrame, "get_FrameLeft", image_entry<&left>()},
                               {kGifFrame, "get_FrameTop", image_entry<&top>()},
                               {kGifFrame, "get_DisposalMethod", image_entry<&preserved>()},
                               {kGifFrame, "get_Interlaced", image_entry<&gif_interlaced>()},
                               {kGifFrame, "set_Interlaced", image_entry<&set_gif_interlaced>()},
                               {kGifFrame, "get_IsInterlaced", image_entry<&gif_interlaced>()},
                               {kGifFrame, "call_000_GetFullFrame", image_entry<&full_frame>()},
                               {kGif, "ctor_000_GifImage", image_entry<&gif_of_frame_and_palette>()},
                               {kGif, "ctor_001_GifImage", image_entry<&gif_of_frame>()},
                               {kGif, "ctor_002_GifImage", image_entry<&gif_of_all>()},
                               {kGif, "call_000_AddPage", image_entry<&add_gif_page>()},
                               {kGif, "get_Blocks", image_entry<&gif_blocks>()},
                               {kGif, "call_000_AddBlock", image_entry<&add_gif_block>()},
                               {kGif, "call_000_InsertBlock", image_entry<&insert_gif_block>()},
                               {kGif, "call_000_RemoveBlock", image_entry<&remove_gif_block>()},
                               {kGif, "call_000_ClearBlocks", image_entry<&clear_frames>()},
                               {kGif, "get_ActiveFrame", image_entry<&active_frame>()},
                               {kGif, "set_ActiveFrame", image_entry<&set_active_frame>()},
                               {kGif, "call_000_SetFrameTime", image_entry<&set_frame_time>()},
                               {kGif, "get_IsInterlaced", image_entry<&gif_interlaced>()},
                               {kWebpFrame, "ctor_000_WebPFrameBlock", image_entry<&webp_frame_of_image>()},
                               {kWebpFrame, "ctor_001_WebPFrameBlock", image_entry<&webp_frame_of_size>()},
                               {kWebpFrame, "get_Duration", image_entry<&duration>()},
                               {kWebpFrame, "set_Duration", image_entry<&set_duration>()},
                               {kWebpFrame, "get_Left", image_entry<&left>()},
                               {kWebpFrame, "set_Left", image_entry<&set_left>()},
                               {kWebpFrame, "get_Top", image_entry<&top>()},
                               {kWebpFrame, "set_Top", image_entry<&set_top>()},
                               {kWebpFrame, "get_FrameTime", image_entry<&duration>()},
                               {kWebpFrame, "get_FrameLeft", image_entry<&left>()},
                               {kWebpFrame, "get_FrameTop", image_entry<&top>()},
                               {kWebpFrame, "call_000_GetFullFrame", image_entry<&full_frame>()},
                               {kWebp, "ctor_000_WebPImage", image_entry<&webp_of_stream>()},
                               {kWebp, "ctor_001_WebPImage", image_entry<&webp_of_stream_with>()},
                               {kWebp, "ctor_002_WebPImage", image_entry<&webp_of_path>()},
                               {kWebp, "ctor_003_WebPImage", image_entry<&webp_of_path_with>()},
                               {kWebp, "ctor_004_WebPImage", image_entry<&webp_of_image>()},
                               {kWebp, "ctor_005_WebPImage", image_entry<&webp_of_image_with>()},
                               {kWebp, "ctor_006_WebPImage", image_entry<&webp_of_size>()},
                               {kWebp, "ctor_007_WebPImage", image_entry<&webp_of_size_with>()},
                               {kWebp, "call_000_AddPage", image_entry<&add_webp_page>()},
                               {kWebp, "call_000_AddBlock", image_entry<&add_webp_block>()},
                               {kWebp, "call_000_InsertBlock", image_entry<&insert_webp_block>()},
                               {kWebp, "call_000_RemoveBlock", image_entry<&remove_webp_block>()},
                               {kWebp, "call_000_ClearBlocks", image_entry<&clear_frames>()},
                               {kApngFrame, "get_FrameTime", image_entry<&duration>()},
                               {kApngFrame, "set_FrameTime", image_entry<&set_duration>()},
                               {kApngFrame, "get_FrameLeft", image_entry<&left>()},
                               {kApngFrame, "get_FrameTop", image_entry<&top>()},
                               {kApngFrame, "get_DisposalMethod", image_entry<&preserved>()},
                               {kApngFrame, "call_000_GetFullFrame", image_entry<&full_frame>()},
                               {kApng, "ctor_000_ApngImage", image_entry<&apng_of_size>()},
                               {kApng, "call_000_AddFrame", image_entry<&add_blank_frame>()},
                               {kApng, "call_001_AddFrame", image_entry<&add_image>()},
                               {kApng, "call_002_AddFrame", image_entry<&add_timed_image>()},
                               {kApng, "call_000_InsertFrame", image_entry<&insert_blank_frame>()},
                               {kApng, "call_001_InsertFrame", image_entry<&insert_image>()},
                               {kApng, "call_002_InsertFrame", image_entry<&insert_timed_image>()},
                               {kApng, "call_000_AddPage", image_entry<&add_image>()},
                               {kApng, "call_000_PopFrameAt", image_entry<&pop_frame_at>()},
                               {kApng, "call_000_RemoveFrameAt", image_entry<&remove_frame_at>()},
                               {kApng, "call_000_RemoveAllFrames", image_entry<&clear_frames>()},
                               {kApng, "get_Interlaced", image_entry<&apng_interlaced>()},
                           });

}  // namespace

}  // namespace zelmor::embed
