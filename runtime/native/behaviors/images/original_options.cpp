// The options that an image's file was saved with, as an object of the managed API.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_enumerations.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/images/tiff_settings.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
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
        set("Compression", api_value(kBmpCompressions, bmp.compression).value_or(BitmapCompression::kRgb));
    }
    void operator()(const GifEncoding& gif) const {
        set("ColorResolution", gif.palette_bits - 1);
        set_property(m_options, "Interlaced", gif.interlaced);
        set_property(m_options, "HasTransparentColor", m_facts.has_alpha);
        set("LoopsCount", gif.loops.value_or(0));
        set("PixelAspectRatio", gif.aspect_ratio);
        set("BackgroundColorIndex", gif.background_index);
        set_property(m_options, "HasTrailer", gif.trailer);
    }
    void operator()(const JpegEncoding& jpeg) const {
        set("Quality", jpeg.quality);
        set("CompressionType", jpeg.progressive ? JpegCompressionMode::kProgressive : JpegCompressionMode::kBaseline);
        set("ColorType", api_value(kJpegColors, jpeg.color).value_or(JpegCompressionColorMode::kYCbCr));
        if (!jpeg.comment.empty()) {
            set_property(m_options, "Comment", to_utf16(jpeg.comment));
        }
    }
    void operator()(const PngEncoding& png) const {
        set("ColorType", api_value(kPngColors, png.color).value_or(PngColorType::kTruecolorWithAlpha));
        if (png.bit_depth != 0) {
            set("BitDepth", png.bit_depth);
        }
        set_property(m_options, "Progressive", png.interlaced);
        if (m_facts.is_apng) {
            set("NumPlays", png.plays);
        }
    }
    void operator()(const TiffEncoding& tiff) const { fill_tiff_options(m_options, tiff); }
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
    template <class E>
        requires std::is_enum_v<E>
    void set(const char* property, E value) const {
        set_property(m_options, property, value);
    }

    ManagedObject& m_options;
    const FileFacts& m_facts;
};

}  // namespace

Ref<ManagedObject> original_options(ImageObject& self) {
    self.require_live();
    const FileFacts& facts = self.facts();
    const FormatClasses* classes = classes_of(file_format_of(facts));
    if (classes == nullptr) {
        throw_not_supported("Save options for an image of no file format");
    }
    Ref<ManagedObject> options = make_instance(classes->options.name);
    if (facts.encoding) {
        std::visit(OptionsFiller(*options, facts), *facts.encoding);
    }
    if (facts.format == Format::kGif) {
        return options;  // which has no place for a resolution
    }
    const Resolution resolution = self.picture().resolution();
    Ref<ManagedObject> setting = make_instance(api::ResolutionSetting::kType.name);
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
