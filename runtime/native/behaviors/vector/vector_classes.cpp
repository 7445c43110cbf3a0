// The classes of vector images: their formats and constructors. See vector_classes.h.
#include "runtime/native/behaviors/vector/vector_classes.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kVector = api::VectorImage::kType.name;
constexpr const char* kSvg = api::FileFormats::Svg::SvgImage::kType.name;
constexpr const char* kCmxPage = api::FileFormats::Cmx::CmxImagePage::kType.name;

struct VectorClass {
    const TypeName& image;
    FileFormat format;
    const TypeName& rasterization;
};
constexpr VectorClass kClasses[] = {
    {api::FileFormats::Emf::EmfImage::kType, FileFormat::kEmf, api::ImageOptions::EmfRasterizationOptions::kType},
    {api::FileFormats::Wmf::WmfImage::kType, FileFormat::kWmf, api::ImageOptions::WmfRasterizationOptions::kType},
    {api::FileFormats::Svg::SvgImage::kType, FileFormat::kSvg, api::ImageOptions::SvgRasterizationOptions::kType},
    {api::FileFormats::Cmx::CmxImage::kType, FileFormat::kCmx, api::ImageOptions::CmxRasterizationOptions::kType},
    {api::FileFormats::Cmx::CmxImagePage::kType, FileFormat::kCmx, api::ImageOptions::CmxRasterizationOptions::kType},
    {api::FileFormats::Cdr::CdrImage::kType, FileFormat::kCdr, api::ImageOptions::CdrRasterizationOptions::kType},
    {api::FileFormats::Cdr::CdrImagePage::kType, FileFormat::kCdr, api::ImageOptions::CdrRasterizationOptions::kType},
    {api::FileFormats::OpenDocument::OdgImage::kType, FileFormat::kOdg,
     api::ImageOptions::OdgRasterizationOptions::kType},
    {api::FileFormats::OpenDocument::OtgImage::kType, FileFormat::kOtg,
     api::ImageOptions::OtgRasterizationOptions::kType},
    {api::FileFormats::Eps::EpsImage::kType, FileFormat::kEps, api::ImageOptions::EpsRasterizationOptions::kType},
};

int32_t require_positive(int32_t value, const char* parameter) {
    if (value <= 0) {
        throw_out_of_range(parameter, "The value " + std::to_string(value) + " is not positive.");
    }
    return value;
}

Ref<VectorImageObject> svg(int32_t width, int32_t height) {
    return make_vector_image(kSvg, width, height);
}
Ref<VectorImageObject> svg_with_options(Record* svg_options, int32_t width, int32_t height) {
    if (svg_options == nullptr) {
        throw_argument_null("svg_options");
    }
    return svg(width, height);
}

// The page of the document tree tells its size in inches.
Ref<VectorImageObject> cmx_page(Record* page) {
    if (page == nullptr) {
        throw_argument_null("cmx_page");
    }
    constexpr double kPixelsPerInch = 96;
    auto image =
        make_ref<VectorImageObject>(require_type(kCmxPage), nullptr, kPixelsPerInch * property_double(*page, "Width"),
                                    kPixelsPerInch * property_double(*page, "Height"));
    set_property(*image, "CmxPage", Ref<ManagedObject>(page));
    return image;
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<VectorImageObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(kVector, make);

using CmxImagePageApi = api::FileFormats::Cmx::CmxImagePage;
using SvgImageApi = api::FileFormats::Svg::SvgImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&svg, SvgImageApi::ctor_002_SvgImage>(),
    behavior<&svg_with_options, SvgImageApi::ctor_003_SvgImage>(),
    behavior<&cmx_page, CmxImagePageApi::ctor_000_CmxImagePage>(),
});

}  // namespace

FileFormat vector_format_of(const TypeInfo& image) {
    for (const VectorClass& each : kClasses) {
        if (is_assignable(require_type(each.image.name), image)) {
            return each.format;
        }
    }
    return FileFormat::kUndefined;
}

const TypeName& rasterization_options_of(FileFormat format) {
    const FormatClasses* classes = classes_of(format);
    if (classes != nullptr && classes->rasterization.get() != nullptr) {
        return *classes->rasterization.get();
    }
    for (const VectorClass& each : kClasses) {
        if (each.format == format) {
            return each.rasterization;
        }
    }
    return api::ImageOptions::VectorRasterizationOptions::kType;
}

Ref<VectorImageObject> make_vector_image(const char* type_name, int32_t width, int32_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    auto image = make_instance(type_name);
    auto& vector = cast_object<VectorImageObject>(*image);
    vector.set_drawing(nullptr, width, height);
    return Ref<VectorImageObject>(&vector);
}

}  // namespace zelmor::embed
