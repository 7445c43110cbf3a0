// Properties of TiffOptions and the tags that they are; see tiff_option_tags.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"

#include <algorithm>
#include <utility>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

enum class TiffOptionKind : uint8_t {
    kText,
    kArray,     // of the element that the property has in the catalogue
    kInteger,   // a number or an enumeration
    kRational,  // one fraction
    kWideText,  // text in UTF-16, as an array of bytes
};

struct TiffOptionProperty {
    const PropertyName& property;
    api::FileFormats::Tiff::Enums::TiffTags tag;
    TiffType type;
    TiffOptionKind kind;
    bool always = false;  // every file has this tag

    uint16_t id() const { return static_cast<uint16_t>(tag); }
};

namespace {

using Kind = TiffOptionKind;
using Options = api::ImageOptions::TiffOptions;
using BigOptions = api::ImageOptions::BigTiffOptions;
using ExifIfd = api::FileFormats::Tiff::TiffExifIfd;
using Tag = api::FileFormats::Tiff::Enums::TiffTags;

constexpr TiffOptionProperty kProperties[] = {
    {Options::property_SubFileType, Tag::kSubFileType, TiffType::kLong, Kind::kInteger},
    {Options::property_ImageWidth, Tag::kImageWidth, TiffType::kLong, Kind::kInteger},
    {Options::property_ImageLength, Tag::kImageLength, TiffType::kLong, Kind::kInteger},
    {Options::property_BitsPerSample, Tag::kBitsPerSample, TiffType::kShort, Kind::kArray},
    {Options::property_Compression, Tag::kCompression, TiffType::kShort, Kind::kInteger, true},
    {Options::property_Photometric, Tag::kPhotometric, TiffType::kShort, Kind::kInteger, true},
    {Options::property_Threshholding, Tag::kThresholding, TiffType::kShort, Kind::kInteger},
    {Options::property_FillOrder, Tag::kFillOrder, TiffType::kShort, Kind::kInteger},
    {Options::property_DocumentName, Tag::kDocumentName, TiffType::kAscii, Kind::kText},
    {Options::property_ImageDescription, Tag::kImageDescription, TiffType::kAscii, Kind::kText},
    {Options::property_ScannerManufacturer, Tag::kMake, TiffType::kAscii, Kind::kText},
    {Options::property_ScannerModel, Tag::kModel, TiffType::kAscii, Kind::kText},
    {Options::property_StripOffsets, Tag::kStripOffsets, TiffType::kLong, Kind::kArray},
    {Options::property_Orientation, Tag::kOrientation, TiffType::kShort, Kind::kInteger},
    {Options::property_RowsPerStrip, Tag::kRowsPerStrip, TiffType::kLong, Kind::kInteger},
    {Options::property_StripByteCounts, Tag::kStripByteCounts, TiffType::kLong, Kind::kArray},
    {Options::property_MinSampleValue, Tag::kMinSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_MaxSampleValue, Tag::kMaxSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_Xresolution, Tag::kXresolution, TiffType::kRational, Kind::kRational},
    {Options::property_Yresolution, Tag::kYresolution, TiffType::kRational, Kind::kRational},
    {Options::property_PlanarConfiguration, Tag::kPlanarConfig, TiffType::kShort, Kind::kInteger},
    {Options::property_PageName, Tag::kPageName, TiffType::kAscii, Kind::kText},
    {Options::property_Xposition, Tag::kXposition, TiffType::kRational, Kind::kRational},
    {Options::property_Yposition, Tag::kYposition, TiffType::kRational, Kind::kRational},
    {Options::property_FaxT4Options, Tag::kT4Options, TiffType::kLong, Kind::kInteger},
    {Options::property_ResolutionUnit, Tag::kResolutionUnit, TiffType::kShort, Kind::kInteger},
    {Options::property_PageNumber, Tag::kPageNumber, TiffType::kShort, Kind::kArray},
    {Options::property_SoftwareType, Tag::kSoftware, TiffType::kAscii, Kind::kText},
    {Options::property_DateTime, Tag::kDateTime, TiffType::kAscii, Kind::kText},
    {Options::property_Artist, Tag::kArtist, TiffType::kAscii, Kind::kText},
    {Options::property_Predictor, Tag::kPredictor, TiffType::kShort, Kind::kInteger},
    {Options::property_ColorMap, Tag::kColorMap, TiffType::kShort, Kind::kArray},
    {Options::property_HalfToneHints, Tag::kHalftoneHints, TiffType::kShort, Kind::kArray},
    {Options::property_TileWidth, Tag::kTileWidth, TiffType::kLong, Kind::kInteger},
    {Options::property_TileLength, Tag::kTileLength, TiffType::kLong, Kind::kInteger},
    {Options::property_TileOffsets, Tag::kTileOffsets, TiffType::kLong, Kind::kArray},
    {Options::property_TileByteCounts, Tag::kTileByteCounts, TiffType::kLong, Kind::kArray},
    {Options::property_InkNames, Tag::kInkNames, TiffType::kAscii, Kind::kText},
    {Options::property_TargetPrinter, Tag::kTargetPrinter, TiffType::kAscii, Kind::kText},
    {Options::property_SampleFormat, Tag::kSampleFormat, TiffType::kShort, Kind::kArray},
    {Options::property_SminSampleValue, Tag::kSminSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_SmaxSampleValue, Tag::kSmaxSampleValue, TiffType::kShort, Kind::kArray},
    {Options::property_YCbCrCoefficients, Tag::kYcbcrCoefficients, TiffType::kRational, Kind::kArray},
    {Options::property_YCbCrSubsampling, Tag::kYcbcrSubSampling, TiffType::kShort, Kind::kArray},
    {Options::property_Copyright, Tag::kCopyright, TiffType::kAscii, Kind::kText},
    {Options::property_XPTitle, Tag::kXpTitle, TiffType::kByte, Kind::kWideText},
    {Options::property_XPComment, Tag::kXpComment, TiffType::kByte, Kind::kWideText},
    {Options::property_XPAuthor, Tag::kXpAuthor, TiffType::kByte, Kind::kWideText},
    {Options::property_XPKeywords, Tag::kXpKeywords, TiffType::kByte, Kind::kWideText},
    {Options::property_XPSubject, Tag::kXpSubject, TiffType::kByte, Kind::kWideText},
};
constexpr auto kExtraSamples = static_cast<uint16_t>(Tag::kExtraSamples);
constexpr auto kPageNumber = static_cast<uint16_t>(Tag::kPageNumber);

const TiffOptionProperty* find_option(uint16_t id) {
    for (const TiffOptionProperty& property : kProperties) {
        if (property.id() == id) {
            return &property;
        }
    }
    return nullptr;
}

// What a property has before anybody sets it.
const Value& baseline(const TypeInfo& type, const char* name) {
    // Shared by all threads: each record is made once and only read.
    static auto& fresh = *new std::map<const TypeInfo*, Ref<Record>>;
    auto& record = fresh[&type];
    if (!record) {
        record = make_ref<Record>(type);
    }
    return property(*record, name);
}

Value tag_value_of(const TiffOptionProperty& property, const Value& value) {
    const auto* text = std::get_if<std::u16string>(&value);
    if (property.kind != Kind::kWideText || !text) {
        return value;
    }
    Bytes bytes;
    for (const char16_t c : *text) {
        put_number(bytes, c, 2, false);
    }
    put_number(bytes, 0, 2, false);
    return bytes;
}

Value property_value_of(const TiffOptionProperty& property, const TagObject& tag) {
    const auto values = tag.values();
    switch (property.kind) {
        case Kind::kInteger: {
            const auto number = tag_integer(tag);
            if (!number) {
                throw_invalid_value_cast(tag.value(), "System.Int32");
            }
            return *number;
        }
        case Kind::kRational:
            if (!values || values->size() == 0) {
                return Ref<ManagedObject>();
            }
            return values->get(0);
        case Kind::kWideText: {
            const Bytes bytes = tag.encoded(false);
            std::u16string text;
            for (size_t at = 0; at + 2 <= bytes.size(); at += 2) {
                text += static_cast<char16_t>(read_number(std::span(bytes).subspan(at, 2), false));
            }
            while (!text.empty() && text.back() == 0) {
                text.pop_back();
            }
            return text;
        }
        case Kind::kText:
        case Kind::kArray:
            break;
    }
    return tag.value();
}

// A property's list may be of any kind, and a tag's is of its own: what they hold is compared.
bool same_value(const Value& a, const Value& b) {
    const auto* x = std::get_if<Ref<ManagedObject>>(&a);
    const auto* y = std::get_if<Ref<ManagedObject>>(&b);
    const auto* first = x ? dynamic_cast<const ManagedList*>(x->get()) : nullptr;
    const auto* second = y ? dynamic_cast<const ManagedList*>(y->get()) : nullptr;
    if (!first || !second) {
        return values_equal(a, b);
    }
    if (first->size() != second->size()) {
        return false;
    }
    for (size_t i = 0; i < first->size(); ++i) {
        if (!values_equal(first->get(i), second->get(i))) {
            return false;
        }
    }
    return true;
}

// A list that is kept to be compared later has to be one of its own: its owner may change the other.
Value snapshot(const Value& value) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    const auto* list = object ? dynamic_cast<const ManagedList*>(object->get()) : nullptr;
    if (!list) {
        return value;
    }
    std::vector<Value> items;
    for (size_t i = 0; i < list->size(); ++i) {
        items.push_back(list->get(i));
    }
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, variant_element(), std::move(items)));
}

// The element of a property that is an array.
const ElementType& element_of(const TypeInfo& type, const char* name) {
    return embed::element_of(find_property(type, name)->info->collection);
}

std::vector<Ref<TagObject>> read_tags(const VariantArg* arg, const char* parameter) {
    return tags_of(read_elements(arg, embed::element_of(Wire::kClass, TagObject::kManagedName), parameter));
}

bool is_tag_present(TiffOptionsObject& self, uint16_t tag) {
    return static_cast<bool>(self.find(tag));
}
bool remove_tag(TiffOptionsObject& self, uint16_t tag) {
    return self.remove(tag);
}
bool remove_tags(TiffOptionsObject& self, const VariantArg* tags) {
    static const ElementType& element =
        embed::element_of(Wire::kInt32, "Zelmor.Imaging.FileFormats.Tiff.Enums.TiffTags");
    bool removed = false;
    for (const Value& tag : read_elements(tags, element, "tags")) {
        if (self.remove(static_cast<uint16_t>(std::get<int64_t>(tag)))) {
            removed = true;
        }
    }
    return removed;
}
void add_tag(TiffOptionsObject& self, TagObject* tag_to_add) {
    if (!tag_to_add) {
        throw_argument_null("tag_to_add");
    }
    self.put(Ref<TagObject>(tag_to_add));
}
void add_tags(TiffOptionsObject& self, const VariantArg* tags_to_add) {
    for (const auto& tag : read_tags(tags_to_add, "tags_to_add")) {
        self.put(tag);
    }
}
Ref<ManagedObject> get_tag_by_type(TiffOptionsObject& self, uint16_t tag_key) {
    return self.find(tag_key);
}
Collection tags(TiffOptionsObject& self) {
    return {Ref<ManagedObject>(same_array(self.shown, self.tags()))};
}
void set_tags(TiffOptionsObject& self, const VariantArg* value) {
    const auto given = read_tags(value, "value");
    for (const auto& tag : self.tags()) {
        self.remove(tag->id());
    }
    for (const auto& tag : given) {
        self.put(tag);
    }
}

int32_t valid_count(const std::vector<Ref<TagObject>>& tags) {
    return static_cast<int32_t>(
        std::count_if(tags.begin(), tags.end(), [](const auto& tag) { return tag->count() > 0; }));
}
int32_t get_valid_tags_count(const VariantArg* tags) {
    return valid_count(read_tags(tags, "tags"));
}
int32_t valid_tag_count(TiffOptionsObject& self) {
    return valid_count(self.tags());
}
bool is_valid(TiffOptionsObject& self) {
    const auto all = self.tags();
    return valid_count(all) == static_cast<int32_t>(all.size());
}
void validate(TiffOptionsObject& self) {
    for (const auto& tag : self.tags()) {
        if (tag->count() > 0) {
            continue;
        }
        throw_invalid_operation("The tag " + std::to_string(tag->id()) + " of the options has no value.");
    }
}

bool has_extra_samples(TiffOptionsObject& self) {
    return static_cast<bool>(self.find(kExtraSamples));
}
Collection extra_samples(TiffOptionsObject& self) {
    const auto tag = self.find(kExtraSamples);
    if (!tag) {
        return {};
    }
    return {Ref<ManagedObject>(array_of_tag(tag->value(), element_of(self.type(), "ExtraSamples")))};
}
// The second number of PageNumber; 0 says that nobody knows.
int32_t total_pages(TiffOptionsObject& self) {
    const auto tag = self.find(kPageNumber);
    return tag ? static_cast<int32_t>(tag_integer(*tag, 1).value_or(0)) : 0;
}
Ref<ManagedObject> exif_ifd(TiffOptionsObject& self) {
    auto ifd = make_instance(ExifIfd::kType.name);
    if (const auto tag = self.find(exif_tags::kExifPointer)) {
        set_property(*ifd, "Offset", tag_integer(*tag).value_or(0));
    }
    return ifd;
}
bool ifd_has_value(Record& self) {
    return property_int(self, "Offset") != 0;
}
Ref<ManagedObject> ifd_of_offset(uint32_t ifd_offset) {
    auto ifd = make_instance(ExifIfd::kType.name);
    set_property(*ifd, "Offset", int64_t{ifd_offset});
    return ifd;
}

template <class Api>
Ref<ManagedObject> of_options(Record* options) {
    if (options == nullptr) {
        throw_argument_null("options");
    }
    auto made = make_ref<TiffOptionsObject>(require_type(Api::kType.name));
    made->assign_options(*options);
    return made;
}
template <class Api>
Ref<ManagedObject> of_tags(const VariantArg* tags) {
    auto made = make_ref<TiffOptionsObject>(require_type(Api::kType.name));
    for (const auto& tag : read_tags(tags, "tags")) {
        made->put(tag);
    }
    return made;
}

// Properties that show what a tag object has, even where that was changed behind their back.
std::optional<std::u16string> get_text(const TiffOptionProperty& row, TiffOptionsObject& self) {
    self.synchronize();
    return text_of_tag(property(self, row.property.name));
}
void set_text(const TiffOptionProperty& row, TiffOptionsObject& self, const std::optional<std::u16string>& value) {
    set_property(self, row.property.name, given_text(value));
}
// An array that had to be made for the property becomes its own, so that it is the same one the next time.
Collection get_array(const TiffOptionProperty& row, TiffOptionsObject& self) {
    const char* name = row.property.name;
    self.synchronize();
    const Value shown = Ref<ManagedObject>(array_of_tag(property(self, name), element_of(self.type(), name)));
    set_property(self, name, shown);
    return {shown};
}
// What the tag would refuse is refused here, before the property has it.
void set_array(const TiffOptionProperty& row, TiffOptionsObject& self, const VariantArg* value) {
    const Value read = Ref<ManagedObject>(read_list(value, element_of(self.type(), row.property.name)));
    make_tag(row.type, row.id(), read);
    set_property(self, row.property.name, read);
}
Ref<ManagedObject> get_rational(const TiffOptionProperty& row, TiffOptionsObject& self) {
    self.synchronize();
    return property_object(self, row.property.name);
}

// Numbers have no behaviors here: they are stored properties.
std::vector<BehaviorRow> property_behaviors() {
    std::vector<BehaviorRow> behaviors;
    for (const TiffOptionProperty& row : kProperties) {
        switch (row.kind) {
            case Kind::kText:
            case Kind::kWideText:
                behaviors.push_back(row_property<&get_text, &set_text>(row.property, row));
                break;
            case Kind::kArray:
                behaviors.push_back(row_property<&get_array, &set_array>(row.property, row));
                break;
            case Kind::kRational:
                behaviors.push_back(row_property<&get_rational>(row.property, row));
                break;
            case Kind::kInteger:
                break;
        }
    }
    return behaviors;
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<TiffOptionsObject>(type);
}
const FactoryRegistration factory(Options::kType.name, make);

const BehaviorTable property_table(property_behaviors());
const BehaviorTable table({
    behavior<&of_options<Options>, Options::ctor_002_TiffOptions>(),
    behavior<&of_tags<Options>, Options::ctor_003_TiffOptions>(),
    behavior<&of_options<BigOptions>, BigOptions::ctor_001_BigTiffOptions>(),
    behavior<&of_tags<BigOptions>, BigOptions::ctor_002_BigTiffOptions>(),
    behavior<&is_tag_present, Options::call_000_IsTagPresent>(),
    behavior<&remove_tag, Options::call_000_RemoveTag>(),
    behavior<&remove_tags, Options::call_000_RemoveTags>(),
    behavior<&add_tag, Options::call_000_AddTag>(),
    behavior<&add_tags, Options::call_000_AddTags>(),
    behavior<&get_tag_by_type, Options::call_000_GetTagByType>(),
    behavior<&get_valid_tags_count, Options::call_000_GetValidTagsCount>(),
    behavior<&validate, Options::call_000_Validate>(),
    property<&tags, &set_tags, Options::property_Tags>(),
    behavior<&valid_tag_count, Options::get_ValidTagCount>(),
    behavior<&is_valid, Options::get_IsValid>(),
    behavior<&has_extra_samples, Options::get_IsExtraSamplesPresent>(),
    behavior<&extra_samples, Options::get_ExtraSamples>(),
    behavior<&total_pages, Options::get_TotalPages>(),
    behavior<&exif_ifd, Options::get_ExifIfd>(),
    behavior<&ifd_of_offset, ExifIfd::ctor_001_TiffExifIfd>(),
    behavior<&ifd_has_value, ExifIfd::get_HasValue>(),
});

}  // namespace

TiffOptionsObject::TiffOptionsObject(const TypeInfo& type) : Record(type) {}

bool TiffOptionsObject::is_present(const TiffOptionProperty& option) const {
    if (m_put.count(option.id()) != 0) {
        return true;
    }
    const Value& value = property(*this, option.property.name);
    if (!same_value(value, baseline(type(), option.property.name))) {
        return true;
    }
    return option.always && m_removed.count(option.id()) == 0;
}

void TiffOptionsObject::synchronize(const TiffOptionProperty& option) {
    const auto found = m_known.find(option.id());
    const Value& value = property(*this, option.property.name);
    if (found == m_known.end()) {
        auto tag = make_tag(option.type, option.id(), tag_value_of(option, value));
        m_known[option.id()] = {tag, snapshot(value), tag->encoded(false)};
        return;
    }
    Known& known = found->second;
    if (!same_value(value, known.property)) {
        known.tag->assign(tag_value_of(option, value));
    } else if (known.tag->encoded(false) != known.encoded) {
        set_property(*this, option.property.name, property_value_of(option, *known.tag));
    } else {
        return;
    }
    known.property = snapshot(property(*this, option.property.name));
    known.encoded = known.tag->encoded(false);
}

void TiffOptionsObject::synchronize() {
    for (const TiffOptionProperty& option : kProperties) {
        const bool known = m_known.find(option.id()) != m_known.end();
        if (known || is_present(option)) {
            synchronize(option);
        }
    }
}

std::vector<Ref<TagObject>> TiffOptionsObject::tags() {
    synchronize();
    std::vector<Ref<TagObject>> tags;
    for (const auto& [id, known] : m_known) {
        const TiffOptionProperty* option = find_option(id);
        if (!option || is_present(*option)) {
            tags.push_back(known.tag);
        }
    }
    return tags;
}

Ref<TagObject> TiffOptionsObject::find(uint16_t id) {
    for (const auto& tag : tags()) {
        if (tag->id() == id) {
            return tag;
        }
    }
    return nullptr;
}

void TiffOptionsObject::put(Ref<TagObject> tag) {
    const uint16_t id = tag->id();
    const TiffOptionProperty* option = find_option(id);
    Known known{tag, {}, tag->encoded(false)};
    if (option) {
        const bool empty = tag->count() == 0;
        Value value = empty ? baseline(type(), option->property.name) : property_value_of(*option, *tag);
        known.property = snapshot(value);
        set_property(*this, option->property.name, std::move(value));
    }
    m_known[id] = std::move(known);
    m_put.insert(id);
    m_removed.erase(id);
}

bool TiffOptionsObject::remove(uint16_t id) {
    const bool there = static_cast<bool>(find(id));
    if (const TiffOptionProperty* option = find_option(id)) {
        set_property(*this, option->property.name, baseline(type(), option->property.name));
    }
    m_known.erase(id);
    m_put.erase(id);
    m_removed.insert(id);
    return there;
}

void TiffOptionsObject::assign_options(const Record& other) {
    auto* options = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(&other));
    if (options) {
        options->synchronize();
    }
    assign_from(other);
    if (!options) {
        return;
    }
    m_put = options->m_put;
    m_removed = options->m_removed;
    m_known.clear();
    // Tags of the copy are objects of their own.
    for (const auto& [id, known] : options->m_known) {
        const Ref<ManagedObject> twin = known.tag->copy();
        m_known[id] = {Ref<TagObject>(&cast_object<TagObject>(*twin)), known.property, known.encoded};
    }
}

Ref<ManagedObject> TiffOptionsObject::copy() const {
    auto twin = make_ref<TiffOptionsObject>(type());
    twin->assign_options(*this);
    return twin;
}

}  // namespace zelmor::embed
