// The options that an image's file was saved with, as an object of the managed API.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

// Sets the properties of an options object from the settings of its format.
class OptionsFiller {
 public:
    OptionsFiller(ManagedObject& options, const FileFacts& facts) : m_options(options), m_facts(facts) {}

    void operator()(const BmpEncoding& bmp) const {
        set("BitsPerPixel", bmp.bits_per_pixel);
        set("Compression", static_cast<int64_t>(bmp.compression));
    }
    void operator()(const GifEncoding& gif) const {
        set("ColorResolution", gif.palette_bits - 1);
        set_property(m_options, "Interlaced", gif.interlaced);
        set_property(m_options, "HasTransparentColor", m_facts.has_alpha);
        set("LoopsCount", gif.loops.value_or(0));
    }
    void operator()(const JpegEncoding& jpeg) const {
        set("Quality", jpeg.quality);
        set("CompressionType", jpeg.progressive ? 1 : 0);
        set("ColorType", jpeg.color == JpegColor::kGray ? 0 : jpeg.color == JpegColor::kCmyk ? 2 : 1);
        if (!jpeg.comment.empty()) {
            set_property(m_options, "Comment", to_utf16(jpeg.comment));
        }
    }
    void operator()(const PngEncoding& png) const {
        static constexpr int64_t kColorTypes[] = {6, 0, 2, 3, 4, 6};  // by PngColor
        set("ColorType", kColorTypes[static_cast<size_t>(png.color)]);
        if (png.bit_depth != 0) {
            set("BitDepth", png.bit_depth);
        }
        set_property(m_options, "Progressive", png.interlaced);
        if (m_facts.is_apng) {
            set("NumPlays", png.plays);
        }
    }
    void operator()(const TiffEncoding& tiff) const {
        static constexpr int64_t kCompressions[] = {1, 5, 8, 32773, 7, 4};  // by TiffCompression
        set("Compression", kCompressions[static_cast<size_t>(tiff.compression)]);
        set("Predictor", tiff.predictor ? 2 : 1);
        set("ByteOrder", tiff.big_endian ? 0x4D4D : 0x4949);
        set("TileWidth", tiff.tile_width);
        set("TileLength", tiff.tile_height);
        set("CompressedQuality", tiff.quality);
        set_form(tiff);
    }
    void operator()(const WebpEncoding& webp) const {
        set_property(m_options, "Lossless", webp.lossless);
        set_property(m_options, "Quality", static_cast<double>(webp.quality));
        set("AnimLoopCount", webp.loops.value_or(0));
        if (webp.background) {
            set("AnimBackgroundColor", *webp.background);
        }
    }

 private:
    void set(const char* property, int64_t value) const { set_property(m_options, property, value); }

    // Photometric interpretation and samples, where they are of a kind that can be written again.
    void set_form(const TiffEncoding& tiff) const {
        const bool gray = tiff.color == TiffColor::kBilevel || tiff.color == TiffColor::kGray;
        set("Photometric", tiff.color == TiffColor::kCmyk ? 5 : !gray ? 2 : tiff.min_is_white ? 0 : 1);
        if (tiff.color == TiffColor::kAuto) {
            return;
        }
        const size_t samples = gray ? 1 : tiff.color == TiffColor::kRgb ? 3 : 4;
        const auto bits = static_cast<uint16_t>(tiff.color == TiffColor::kBilevel ? 1 : tiff.bit_depth == 16 ? 16 : 8);
        set_property(m_options, "BitsPerSample",
                     Ref<ManagedObject>(make_array<uint16_t>(std::vector<uint16_t>(samples, bits))));
    }

    ManagedObject& m_options;
    const FileFacts& m_facts;
};

std::string options_class(const FileFacts& facts) {
    static constexpr const char* kNames[] = {"", "Bmp", "Gif", "Jpeg", "Png", "Tiff", "WebP"};  // by Format
    const std::string name = facts.is_big_tiff ? "BigTiff"
                             : facts.is_apng   ? "Apng"
                                               : kNames[static_cast<size_t>(facts.format)];
    return "Zelmor.Imaging.ImageOptions." + name + "Options";
}

}  // namespace

Ref<ManagedObject> original_options(ImageObject& self) {
    self.require_live();
    const FileFacts& facts = self.facts();
    Ref<ManagedObject> options = make_instance(options_class(facts));
    if (facts.encoding) {
        std::visit(OptionsFiller(*options, facts), *facts.encoding);
    }
    const Resolution resolution = self.picture().resolution();
    Ref<ManagedObject> setting = make_instance("Zelmor.Imaging.ResolutionSetting");
    set_property(*setting, "HorizontalResolution", resolution.horizontal);
    set_property(*setting, "VerticalResolution", resolution.vertical);
    set_property(*options, "ResolutionSettings", setting);
    return options;
}

namespace {

// The options that fit the image best are those of its own file; there are no arguments that would change them.
Ref<ManagedObject> get_default_options(ImageObject& self, const VariantArg* args) {
    if (const auto list = read_list(args, variant_element()); list && list->size() > 0) {
        throw_not_supported("Image.GetDefaultOptions with arguments");
    }
    return original_options(self);
}

using ImageApi = api::Image;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;

const BehaviorTable table({
    behavior<&original_options, TiffFrameApi::get_FrameOptions, ImageApi::call_000_GetOriginalOptions>(),
    behavior<&get_default_options, ImageApi::call_000_GetDefaultOptions>(),
});

}  // namespace

}  // namespace zelmor::embed
