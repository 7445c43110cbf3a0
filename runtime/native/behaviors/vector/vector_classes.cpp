// The classes of vector images: their formats and constructors, and the records of metafiles. See vector_classes.h.
#include "runtime/native/behaviors/vector/vector_classes.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <string_view>

#include "runtime/native/behaviors/images/format_classes.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kVector = api::VectorImage::kType.name;
constexpr const char* kMeta = api::FileFormats::Emf::MetaImage::kType.name;
constexpr const char* kEmf = api::FileFormats::Emf::EmfImage::kType.name;
constexpr const char* kWmf = api::FileFormats::Wmf::WmfImage::kType.name;
constexpr const char* kSvg = api::FileFormats::Svg::SvgImage::kType.name;
constexpr const char* kCmxPage = api::FileFormats::Cmx::CmxImagePage::kType.name;

// The default of units per inch in a WMF file.
constexpr int64_t kUsualInch = 96;

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

Ref<VectorImageObject> emf(int32_t width, int32_t height) {
    return make_vector_image(kEmf, width, height);
}
Ref<VectorImageObject> wmf(int32_t width, int32_t height) {
    return make_vector_image(kWmf, width, height);
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

// The page of the document tree is as large as the image that shows it.
Ref<VectorImageObject> cmx_page(Record* page) {
    if (page == nullptr) {
        throw_argument_null("cmx_page");
    }
    auto image = make_ref<VectorImageObject>(require_type(kCmxPage), nullptr, property_double(*page, "Width"),
                                             property_double(*page, "Height"));
    set_property(*image, "CmxPage", Ref<ManagedObject>(page));
    return image;
}

Ref<ManagedList> records_of(VectorImageObject& image) {
    const auto records = property_object(image, "Records");
    if (!records) {
        throw_invalid_operation(std::string(image.type().name) + ".Records is null.");
    }
    return Ref<ManagedList>(&cast_object<ManagedList>(*records));
}

// The index at which the record stands.
int32_t add_record(VectorImageObject& self, ManagedObject* record) {
    self.require_live();
    if (record == nullptr) {
        throw_argument_null("record");
    }
    // A list that wraps a Python list runs Python code, which may replace the list of the image.
    const Ref<ManagedList> records = records_of(self);
    records->append(Ref<ManagedObject>(record));
    return static_cast<int32_t>(records->size() - 1);
}

RectangleValue frame_bounds(VectorImageObject& self) {
    self.require_live();
    return {0, 0, self.image_width(), self.image_height()};
}

Ref<ManagedObject> make(const TypeInfo& type) {
    auto image = make_ref<VectorImageObject>(type);
    if (is_assignable(require_type(kMeta), type)) {
        set_property(*image, "Records", make_instance(api::FileFormats::Emf::MetaObjectList::kType.name));
    }
    if (std::string_view(type.full_name) == kEmf) {
        set_property(*image, "Header",
                     make_instance(api::FileFormats::Emf::Emf::Records::EmfMetafileHeader::kType.name));
    }
    if (std::string_view(type.full_name) == kWmf) {
        set_property(*image, "Inch", kUsualInch);
    }
    return image;
}
const FactoryRegistration factory(kVector, make);

using CmxImagePageApi = api::FileFormats::Cmx::CmxImagePage;
using EmfImageApi = api::FileFormats::Emf::EmfImage;
using SvgImageApi = api::FileFormats::Svg::SvgImage;
using WmfImageApi = api::FileFormats::Wmf::WmfImage;

const BehaviorTable table({
    behavior<&emf, EmfImageApi::ctor_001_EmfImage>(),
    behavior<&wmf, WmfImageApi::ctor_001_WmfImage>(),
    behavior<&add_record, WmfImageApi::call_000_AddRecord>(),
    behavior<&frame_bounds, WmfImageApi::get_FrameBounds>(),
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
