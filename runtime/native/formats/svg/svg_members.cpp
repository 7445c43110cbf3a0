// SVG in the API: images of files, and what is saved with SvgOptions.
//
// An image that is saved as SVG again has the text of its file: all of it where nothing was changed, otherwise inside
// of a root element with the new size and a group with the map. What SVG has to be made for is drawn on a canvas.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.ImageLoadOptions.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/svg/embedded_png.h"
#include "runtime/native/formats/svg/svg_canvas.h"
#include "runtime/native/formats/svg/svg_drawing.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace svg = api::FileFormats::Svg;
namespace options_of = api::ImageOptions;
using svg::SvgColorMode;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kSvg, Format::kSvg, "Svg", svg::SvgImage::kType, options_of::SvgOptions::kType, nullptr, false,
     options_of::SvgRasterizationOptions::kType},
    {FileFormat::kSvgz, Format::kSvg, "Svgz", svg::SvgImage::kType, nullptr, nullptr, false,
     options_of::SvgRasterizationOptions::kType},
};

constexpr DefaultValue kDefaults[] = {
    {options_of::SvgOptions::property_ColorType, static_cast<int64_t>(SvgColorMode::kRgb)},
};
const DefaultTable ZELMOR_UNNAMED(kDefaults);

drawwork::PointD default_size(const Record* load_options) {
    if (load_options == nullptr ||
        !is_assignable(require_type(api::ImageLoadOptions::SvgLoadOptions::kType.name), load_options->type())) {
        return {};
    }
    return {static_cast<double>(property_int(*load_options, "DefaultWidth")),
            static_cast<double>(property_int(*load_options, "DefaultHeight"))};
}

Ref<ImageBase> load_svg(const SharedSource& file, const FileFacts& facts, const Record* load_options) {
    const auto bytes = all_bytes(*file);
    auto drawing =
        std::make_shared<SvgFileDrawing>(std::vector<uint8_t>(bytes.begin(), bytes.end()), default_size(load_options));
    const drawwork::RectD size = drawing->bounds();
    auto image = make_ref<VectorImageObject>(require_type(svg::SvgImage::kType.name), std::move(drawing), size.width,
                                             size.height);
    image->set_image_format(facts.variant == Variant::kSvgz ? FileFormat::kSvgz : FileFormat::kSvg);
    return image;
}

// What the options say of an SVG file.
struct Wanted {
    bool gray = false;
    bool text_as_shapes = false;
    bool packed = false;
};

Wanted wanted_by(const Record& options) {
    Wanted wanted;
    const auto color = property_enum<SvgColorMode>(options, "ColorType");
    if (color != SvgColorMode::kRgb && color != SvgColorMode::kGrayscale) {
        constexpr const char* kNames[] = {"GRAYSCALE", "Y_CB_CR", "CMYK", "YCCK", "RGB"};
        const auto number = static_cast<size_t>(color);
        throw_not_supported(
            "SvgOptions.color_type = " + (number < std::size(kNames) ? kNames[number] : std::to_string(number)) +
            " (the colors of SVG are RGB)");
    }
    wanted.gray = color == SvgColorMode::kGrayscale;
    wanted.text_as_shapes = property_bool(options, "TextAsShapes");
    wanted.packed = property_bool(options, "Compress");
    return wanted;
}

std::string drawn_document(const DrawnPage& page, const Wanted& wanted) {
    SvgCanvas canvas(drawing_backend(), {page.width, page.height, wanted.text_as_shapes, wanted.gray, &png_address});
    page.draw(canvas);
    return canvas.finish();
}

void write(const std::vector<uint8_t>& document, bool packed, ByteSink& out) {
    out.write(packed ? svg_library().packed(document) : document);
}

void write_svg(std::span<const DrawnPage> pages, const Record* options, const std::string& extension, ByteSink& out) {
    const DrawnPage& page = pages.front();
    const auto* file = dynamic_cast<const SvgFileDrawing*>(page.drawing.get());
    Wanted wanted;
    if (options != nullptr) {
        wanted = wanted_by(*options);
    } else {
        wanted.packed = extension.empty() ? file != nullptr && file->is_packed() : extension == "svgz";
    }
    const bool keeps_text =
        file != nullptr && !wanted.gray && !wanted.text_as_shapes && page.settings.smooth && page.settings.smooth_text;
    if (keeps_text && page.is_unchanged()) {
        return file->is_packed() == wanted.packed ? out.write(file->file())
                                                  : write(file->document(), wanted.packed, out);
    }
    std::string document;
    if (keeps_text) {
        document = file->placed_document(page.placing, page.width, page.height, page.background);
    }
    if (document.empty()) {
        document = drawn_document(page, wanted);
    }
    write({document.begin(), document.end()}, wanted.packed, out);
}

Ref<VectorImageObject> svg_image(const Ref<ImageBase>& image) {
    auto* vector = dynamic_cast<VectorImageObject*>(image.get());
    if (vector == nullptr || !is_assignable(require_type(svg::SvgImage::kType.name), vector->type())) {
        throw_argument(std::string("The file is no SVG document, but a ") + image->type().name + ".");
    }
    return Ref<VectorImageObject>(vector);
}

Ref<VectorImageObject> of_path(const std::optional<std::u16string>& path) {
    return svg_image(any_image_of_file(path, nullptr, "path"));
}
Ref<VectorImageObject> of_stream(const VariantArg* stream) {
    return svg_image(any_image_of_stream(read_stream(stream), nullptr));
}

// The base class keeps nothing: pictures are embedded, fonts and documents stay as they are.
bool on_image(Record&, const PyBytesArg*, int32_t, const std::optional<std::u16string>&, bool, uint8_t* out) {
    *out = 1;
    return false;
}
void on_font(Record&, Record* args) {
    if (args == nullptr) {
        throw_argument_null("args");
    }
}
std::optional<std::u16string> on_document(Record&, const PyBytesArg*,
                                          const std::optional<std::u16string>& suggested_file_name) {
    return suggested_file_name;
}

using SvgResourceKeeperCallbackApi = svg::SvgResourceKeeperCallback;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&of_path, svg::SvgImage::ctor_000_SvgImage>(),
    behavior<&of_stream, svg::SvgImage::ctor_001_SvgImage, svg::SvgImage::call_000_CreateFromStream>(),
    behavior<&on_image, SvgResourceKeeperCallbackApi::call_000_OnImageResourceReady>(),
    behavior<&on_font, SvgResourceKeeperCallbackApi::call_000_OnFontResourceReady>(),
    behavior<&on_document, SvgResourceKeeperCallbackApi::call_000_OnSvgDocumentReady>(),
});

}  // namespace

extern const FormatMembers kSvgMembers;
const FormatMembers kSvgMembers{
    .format = Format::kSvg,
    .classes = kClasses,
    .load_drawing = &load_svg,
    .write_drawing = &write_svg,
};

}  // namespace zelmor::embed
