// The classes EmfImage and WmfImage: their records, header and fonts.
#include "runtime/native/formats/metafile/metafile_images.h"

#include <cmath>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed {

using metafile::MetafileDrawing;
using metafile::RecordFamily;

namespace {

using EmfImageApi = api::FileFormats::Emf::EmfImage;
using MetaImageApi = api::FileFormats::Emf::MetaImage;
using WmfImageApi = api::FileFormats::Wmf::WmfImage;

bool is_emf_class(const TypeInfo& type) {
    return std::string_view(type.full_name) == EmfImageApi::kType.name;
}

Ref<MetaImageObject> sized(const char* type_name, int32_t width, int32_t height) {
    for (const auto& [value, parameter] : {std::pair{width, "width"}, std::pair{height, "height"}}) {
        if (value <= 0) {
            throw_out_of_range(parameter, "The value " + std::to_string(value) + " is not positive.");
        }
    }
    return make_ref<MetaImageObject>(require_type(type_name), width, height);
}
Ref<MetaImageObject> emf(int32_t width, int32_t height) {
    return sized(EmfImageApi::kType.name, width, height);
}
Ref<MetaImageObject> wmf(int32_t width, int32_t height) {
    return sized(WmfImageApi::kType.name, width, height);
}

// The drawing has the list that the property holds.
void set_records(MetaImageObject& self, ManagedObject* value) {
    self.require_live();
    Ref<ManagedList> list;
    if (value != nullptr) {
        list = Ref<ManagedList>(&cast_object<ManagedList>(*value));
    }
    set_property(self, "Records", Value(Ref<ManagedObject>(list)));
    self.metafile().set_records(std::move(list));
}
void set_header(MetaImageObject& self, ManagedObject* value) {
    self.require_live();
    set_property(self, "Header", Value(Ref<ManagedObject>(value)));
    self.metafile().set_header(Ref<ManagedObject>(value));
}

void set_inch(MetaImageObject& self, int32_t value) {
    self.require_live();
    if (value <= 0 || value > 0xFFFF) {
        throw_out_of_range("value", "The value " + std::to_string(value) + " is no number of units from 1 to 65535.");
    }
    set_property(self, "Inch", int64_t{value});
    self.metafile().set_inch(value);
}

// The index at which the record stands.
int32_t add_record(MetaImageObject& self, ManagedObject* record) {
    self.require_live();
    if (record == nullptr) {
        throw_argument_null("record");
    }
    // A list that wraps a Python list runs Python code, which may replace the list of the image.
    const Ref<ManagedList> records = self.metafile().records();
    if (!records) {
        throw_invalid_operation("WmfImage.Records is null.");
    }
    records->append(Ref<ManagedObject>(record));
    return static_cast<int32_t>(records->size() - 1);
}

// The rectangle of the file's own units that the image shows.
RectangleValue frame_bounds(MetaImageObject& self) {
    self.require_live();
    const drawwork::RectD& window = self.metafile().window().window;
    const auto whole = [](double value) { return static_cast<int32_t>(std::lround(value)); };
    return {whole(window.x), whole(window.y), whole(window.width), whole(window.height)};
}

Collection names_of(const std::vector<std::u16string>& names) {
    std::vector<Value> items(names.begin(), names.end());
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString), std::move(items)))};
}

Collection used_fonts(MetaImageObject& self) {
    self.require_live();
    return names_of(self.metafile().fonts());
}

// Those for which another font stands in.
Collection missed_fonts(MetaImageObject& self) {
    self.require_live();
    const FontChoice choice = font_choice();
    std::vector<std::u16string> names = self.metafile().fonts();
    std::erase_if(
        names, [&](const std::u16string& name) { return drawing_backend().has_family(to_utf8(name), choice.folders); });
    return names_of(names);
}

std::u16string post_script(MetaImageObject& self) {
    self.require_live();
    return self.metafile().post_script();
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<MetaImageObject>(type, 0, 0);
}
const FactoryRegistration ZELMOR_UNNAMED(MetaImageObject::kManagedName, make);

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&emf, EmfImageApi::ctor_001_EmfImage>(),
    behavior<&wmf, WmfImageApi::ctor_001_WmfImage>(),
    behavior<&set_records, MetaImageApi::set_Records, EmfImageApi::set_Records>(),
    behavior<&set_header, EmfImageApi::set_Header>(),
    behavior<&set_inch, WmfImageApi::set_Inch>(),
    behavior<&add_record, WmfImageApi::call_000_AddRecord>(),
    behavior<&frame_bounds, WmfImageApi::get_FrameBounds>(),
    behavior<&used_fonts, MetaImageApi::call_000_GetUsedFonts>(),
    behavior<&missed_fonts, MetaImageApi::call_000_GetMissedFonts>(),
    behavior<&post_script, WmfImageApi::call_000_GetPostScript>(),
});

}  // namespace

MetaImageObject::MetaImageObject(const TypeInfo& type, double width, double height)
    : VectorImageObject(type),
      m_metafile(MetafileDrawing::empty(is_emf_class(type) ? RecordFamily::kEmf : RecordFamily::kWmf, width, height)) {
    set_properties();
}

MetaImageObject::MetaImageObject(const TypeInfo& type, std::shared_ptr<MetafileDrawing> drawing)
    : VectorImageObject(type), m_metafile(std::move(drawing)) {
    set_properties();
}

void MetaImageObject::set_properties() {
    set_drawing(m_metafile, m_metafile->width(), m_metafile->height());
    set_property(*this, "Records", Value(Ref<ManagedObject>(m_metafile->records())));
    if (is_emf_class(type())) {
        set_property(*this, "Header", Value(m_metafile->header()));
    } else {
        set_property(*this, "Inch", static_cast<int64_t>(std::lround(m_metafile->window().inch)));
    }
}

void MetaImageObject::references(ReferenceVisitor& visitor) {
    VectorImageObject::references(visitor);
    // What a drawing holds that others hold too is not held by this image alone, and stays.
    const long own_holders = drawing() == m_metafile ? 2 : 1;
    if (m_metafile.use_count() == own_holders) {
        m_metafile->references(visitor);
    }
}

}  // namespace zelmor::embed
