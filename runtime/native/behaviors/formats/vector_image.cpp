// Vector images: their size and format, and the records of metafiles.
#include "runtime/native/behaviors/formats/vector_image.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <cmath>
#include <string_view>

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

// Bits of a pixel of a rendered image.
constexpr int32_t kRenderedBits = 32;
// The default of units per inch in a WMF file.
constexpr int64_t kUsualInch = 96;

struct FormatOfClass {
    const char* type;
    api::FileFormat format;
};
constexpr FormatOfClass kFormats[] = {
    {kEmf, api::FileFormat::kEmf},
    {kWmf, api::FileFormat::kWmf},
    {kSvg, api::FileFormat::kSvg},
    {kCmxPage, api::FileFormat::kCmx},
};

SizeFValue get_size_f(VectorImageObject& self) {
    self.require_live();
    return self.size_f();
}
float get_width_f(VectorImageObject& self) {
    return get_size_f(self).width;
}
float get_height_f(VectorImageObject& self) {
    return get_size_f(self).height;
}
int32_t get_width(VectorImageObject& self) {
    self.require_live();
    return self.image_width();
}
int32_t get_height(VectorImageObject& self) {
    self.require_live();
    return self.image_height();
}

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
    auto image = make_ref<VectorImageObject>(require_type(kCmxPage));
    image->width = static_cast<float>(property_double(*page, "Width"));
    image->height = static_cast<float>(property_double(*page, "Height"));
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
    return {0, 0, get_width(self), get_height(self)};
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
using VectorImageApi = api::VectorImage;
using WmfImageApi = api::FileFormats::Wmf::WmfImage;

const BehaviorTable table({
    behavior<&get_size_f, VectorImageApi::get_SizeF>(),
    behavior<&get_width_f, VectorImageApi::get_WidthF>(),
    behavior<&get_height_f, VectorImageApi::get_HeightF>(),
    behavior<&get_width, VectorImageApi::get_Width>(),
    behavior<&get_height, VectorImageApi::get_Height>(),
    behavior<&emf, EmfImageApi::ctor_001_EmfImage>(),
    behavior<&wmf, WmfImageApi::ctor_001_WmfImage>(),
    behavior<&add_record, WmfImageApi::call_000_AddRecord>(),
    behavior<&frame_bounds, WmfImageApi::get_FrameBounds>(),
    behavior<&svg, SvgImageApi::ctor_002_SvgImage>(),
    behavior<&svg_with_options, SvgImageApi::ctor_003_SvgImage>(),
    behavior<&cmx_page, CmxImagePageApi::ctor_000_CmxImagePage>(),
});

}  // namespace

SizeFValue VectorImageObject::size_f() const {
    return {width, height};
}
int32_t VectorImageObject::image_width() const {
    return static_cast<int32_t>(std::ceil(width));
}
int32_t VectorImageObject::image_height() const {
    return static_cast<int32_t>(std::ceil(height));
}
int32_t VectorImageObject::image_bits() const {
    return kRenderedBits;
}
FileFormat VectorImageObject::image_format() const {
    for (const FormatOfClass& each : kFormats) {
        if (is_assignable(require_type(each.type), type())) {
            return static_cast<FileFormat>(each.format);
        }
    }
    return FileFormat::kUndefined;
}

Ref<VectorImageObject> make_vector_image(const char* type_name, int32_t width, int32_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    auto image = make_instance(type_name);
    auto& vector = cast_object<VectorImageObject>(*image);
    vector.width = static_cast<float>(width);
    vector.height = static_cast<float>(height);
    return Ref<VectorImageObject>(&vector);
}

}  // namespace zelmor::embed
