// Properties of TiffOptions and the tags that they are; see tiff_option_tags.h.
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"

#include <algorithm>
#include <utility>

#include "runtime/native/behaviors/metadata/entry_names.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

enum class TiffOptionKind : uint8_t {
    kText,
    kArray,     // of the element that the property has in the catalogue
    kInteger,   // a number or an enumeration
    kRational,  // one fraction
    kWideText,  // text in UTF-16, as an array of bytes
};

struct TiffOptionProperty {
    const char* name;  // managed
    uint16_t id;
    TiffType type;
    TiffOptionKind kind;
    bool always = false;  // every file has this tag
};

namespace {

using Kind = TiffOptionKind;
constexpr const char* kOptions = TiffOptionsObject::kManagedName;

constexpr TiffOptionProperty kProperties[] = {
    {"SubFileType", 254, TiffType::kLong, Kind::kInteger},
    {"ImageWidth", 256, TiffType::kLong, Kind::kInteger},
    {"ImageLength", 257, TiffType::kLong, Kind::kInteger},
    {"BitsPerSample", 258, TiffType::kShort, Kind::kArray},
    {"Compression", 259, TiffType::kShort, Kind::kInteger, true},
    {"Photometric", 262, TiffType::kShort, Kind::kInteger, true},
    {"Threshholding", 263, TiffType::kShort, Kind::kInteger},
    {"FillOrder", 266, TiffType::kShort, Kind::kInteger},
    {"DocumentName", 269, TiffType::kAscii, Kind::kText},
    {"ImageDescription", 270, TiffType::kAscii, Kind::kText},
    {"ScannerManufacturer", 271, TiffType::kAscii, Kind::kText},
    {"ScannerModel", 272, TiffType::kAscii, Kind::kText},
    {"StripOffsets", 273, TiffType::kLong, Kind::kArray},
    {"Orientation", 274, TiffType::kShort, Kind::kInteger},
    {"RowsPerStrip", 278, TiffType::kLong, Kind::kInteger},
    {"StripByteCounts", 279, TiffType::kLong, Kind::kArray},
    {"MinSampleValue", 280, TiffType::kShort, Kind::kArray},
    {"MaxSampleValue", 281, TiffType::kShort, Kind::kArray},
    {"Xresolution", 282, TiffType::kRational, Kind::kRational},
    {"Yresolution", 283, TiffType::kRational, Kind::kRational},
    {"PlanarConfiguration", 284, TiffType::kShort, Kind::kInteger},
    {"PageName", 285, TiffType::kAscii, Kind::kText},
    {"Xposition", 286, TiffType::kRational, Kind::kRational},
    {"Yposition", 287, TiffType::kRational, Kind::kRational},
    {"FaxT4Options", 292, TiffType::kLong, Kind::kInteger},
    {"ResolutionUnit", 296, TiffType::kShort, Kind::kInteger},
    {"PageNumber", 297, TiffType::kShort, Kind::kArray},
    {"SoftwareType", 305, TiffType::kAscii, Kind::kText},
    {"DateTime", 306, TiffType::kAscii, Kind::kText},
    {"Artist", 315, TiffType::kAscii, Kind::kText},
    {"Predictor", 317, TiffType::kShort, Kind::kInteger},
    {"ColorMap", 320, TiffType::kShort, Kind::kArray},
    {"HalfToneHints", 321, TiffType::kShort, Kind::kArray},
    {"TileWidth", 322, TiffType::kLong, Kind::kInteger},
    {"TileLength", 323, TiffType::kLong, Kind::kInteger},
    {"TileOffsets", 324, TiffType::kLong, Kind::kArray},
    {"TileByteCounts", 325, TiffType::kLong, Kind::kArray},
    {"InkNames", 333, TiffType::kAscii, Kind::kText},
    {"TargetPrinter", 337, TiffType::kAscii, Kind::kText},
    {"SampleFormat", 339, TiffType::kShort, Kind::kArray},
    {"SminSampleValue", 340, TiffType::kShort, Kind::kArray},
    {"SmaxSampleValue", 341, TiffType::kShort, Kind::kArray},
    {"YCbCrCoefficients", 529, TiffType::kRational, Kind::kArray},
    {"YCbCrSubsampling", 530, TiffType::kShort, Kind::kArray},
    {"Copyright", 33432, TiffType::kAscii, Kind::kText},
    {"XPTitle", 40091, TiffType::kByte, Kind::kWideText},
    {"XPComment", 40092, TiffType::kByte, Kind::kWideText},
    {"XPAuthor", 40093, TiffType::kByte, Kind::kWideText},
    {"XPKeywords", 40094, TiffType::kByte, Kind::kWideText},
    {"XPSubject", 40095, TiffType::kByte, Kind::kWideText},
};
constexpr uint16_t kExtraSamples = 338;

const TiffOptionProperty* find_option(uint16_t id) {
    for (const TiffOptionProperty& property : kProperties) {
        if (property.id == id) {
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
    const auto tag = self.find(297);
    return tag ? static_cast<int32_t>(tag_integer(*tag, 1).value_or(0)) : 0;
}
Ref<ManagedObject> exif_ifd(TiffOptionsObject& self) {
    auto ifd = make_instance("Zelmor.Imaging.FileFormats.Tiff.TiffExifIfd");
    if (const auto tag = self.find(exif_tags::kExifPointer)) {
        set_property(*ifd, "Offset", tag_integer(*tag).value_or(0));
    }
    return ifd;
}
bool ifd_has_value(Record& self) {
    return property_int(self, "Offset") != 0;
}
Ref<ManagedObject> ifd_of_offset(uint32_t ifd_offset) {
    auto ifd = make_instance("Zelmor.Imaging.FileFormats.Tiff.TiffExifIfd");
    set_property(*ifd, "Offset", int64_t{ifd_offset});
    return ifd;
}

template <size_t kType>
const TypeInfo& options_type() {
    return require_type(kType == 0 ? kOptions : "Zelmor.Imaging.ImageOptions.BigTiffOptions");
}
template <size_t kType>
Ref<ManagedObject> of_options(Record* options) {
    if (!options) {
        throw_argument_null("options");
    }
    auto made = make_ref<TiffOptionsObject>(options_type<kType>());
    made->assign_options(*options);
    return made;
}
template <size_t kType>
Ref<ManagedObject> of_tags(const VariantArg* tags) {
    auto made = make_ref<TiffOptionsObject>(options_type<kType>());
    for (const auto& tag : read_tags(tags, "tags")) {
        made->put(tag);
    }
    return made;
}

// Properties that show what a tag object has, even where that was changed behind their back.
template <size_t kIndex>
std::optional<std::u16string> get_text(TiffOptionsObject& self) {
    self.synchronize();
    return text_of_tag(property(self, kProperties[kIndex].name));
}
template <size_t kIndex>
void set_text(TiffOptionsObject& self, const std::optional<std::u16string>& value) {
    set_property(self, kProperties[kIndex].name, given_text(value));
}
// An array that had to be made for the property becomes its own, so that it is the same one the next time.
template <size_t kIndex>
Collection get_array(TiffOptionsObject& self) {
    const char* name = kProperties[kIndex].name;
    self.synchronize();
    const Value shown = Ref<ManagedObject>(array_of_tag(property(self, name), element_of(self.type(), name)));
    set_property(self, name, shown);
    return {shown};
}
// What the tag would refuse is refused here, before the property has it.
template <size_t kIndex>
void set_array(TiffOptionsObject& self, const VariantArg* value) {
    constexpr const TiffOptionProperty& option = kProperties[kIndex];
    const Value read = Ref<ManagedObject>(read_list(value, element_of(self.type(), option.name)));
    make_tag(option.type, option.id, read);
    set_property(self, option.name, read);
}
template <size_t kIndex>
Ref<ManagedObject> get_rational(TiffOptionsObject& self) {
    self.synchronize();
    return property_object(self, kProperties[kIndex].name);
}
template <size_t kIndex>
void add_getter(BehaviorTable& table) {
    constexpr Kind kind = kProperties[kIndex].kind;
    const char* name = entry_name("get_", kProperties[kIndex].name);
    const char* setter = entry_name("set_", kProperties[kIndex].name);
    if constexpr (kind == Kind::kText || kind == Kind::kWideText) {
        table.add({kOptions, name, entry<&get_text<kIndex>>()});
        table.add({kOptions, setter, entry<&set_text<kIndex>>()});
    } else if constexpr (kind == Kind::kArray) {
        table.add({kOptions, name, entry<&get_array<kIndex>>()});
        table.add({kOptions, setter, entry<&set_array<kIndex>>()});
    } else if constexpr (kind == Kind::kRational) {
        table.add({kOptions, name, entry<&get_rational<kIndex>>()});
    }
}
template <size_t... kIndex>
void add_getters(BehaviorTable& table, std::index_sequence<kIndex...>) {
    (add_getter<kIndex>(table), ...);
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<TiffOptionsObject>(type);
}
const FactoryRegistration factory(kOptions, make);

[[maybe_unused]] const bool registered = [] {
    constexpr const char* kBig = "Zelmor.Imaging.ImageOptions.BigTiffOptions";
    constexpr const char* kIfd = "Zelmor.Imaging.FileFormats.Tiff.TiffExifIfd";
    static auto& table = *new BehaviorTable(
        Assembly::kImaging, {
                                {kOptions, "ctor_002_TiffOptions", entry<&of_options<0>>()},
                                {kOptions, "ctor_003_TiffOptions", entry<&of_tags<0>>()},
                                {kBig, "ctor_001_BigTiffOptions", entry<&of_options<1>>()},
                                {kBig, "ctor_002_BigTiffOptions", entry<&of_tags<1>>()},
                                {kOptions, "call_000_IsTagPresent", entry<&is_tag_present>()},
                                {kOptions, "call_000_RemoveTag", entry<&remove_tag>()},
                                {kOptions, "call_000_RemoveTags", entry<&remove_tags>()},
                                {kOptions, "call_000_AddTag", entry<&add_tag>()},
                                {kOptions, "call_000_AddTags", entry<&add_tags>()},
                                {kOptions, "call_000_GetTagByType", entry<&get_tag_by_type>()},
                                {kOptions, "call_000_GetValidTagsCount", entry<&get_valid_tags_count>()},
                                {kOptions, "call_000_Validate", entry<&validate>()},
                                {kOptions, "get_Tags", entry<&tags>()},
                                {kOptions, "set_Tags", entry<&set_tags>()},
                                {kOptions, "get_ValidTagCount", entry<&valid_tag_count>()},
                                {kOptions, "get_IsValid", entry<&is_valid>()},
                                {kOptions, "get_IsExtraSamplesPresent", entry<&has_extra_samples>()},
                                {kOptions, "get_ExtraSamples", entry<&extra_samples>()},
                                {kOptions, "get_TotalPages", entry<&total_pages>()},
                                {kOptions, "get_ExifIfd", entry<&exif_ifd>()},
                                {kIfd, "ctor_001_TiffExifIfd", entry<&ifd_of_offset>()},
                                {kIfd, "get_HasValue", entry<&ifd_has_value>()},
                            });
    add_getters(table, std::make_index_sequence<std::size(kProperties)>());
    return true;
}();

}  // namespace

TiffOptionsObject::TiffOptionsObject(const TypeInfo& type) : Record(type) {}

bool TiffOptionsObject::is_present(const TiffOptionProperty& option) const {
    if (m_put.count(option.id) != 0) {
        return true;
    }
    const Value& value = property(*this, option.name);
    if (!same_value(value, baseline(type(), option.name))) {
        return true;
    }
    return option.always && m_removed.count(option.id) == 0;
}

void TiffOptionsObject::synchronize(const TiffOptionProperty& option) {
    const auto found = m_known.find(option.id);
    const Value& value = property(*this, option.name);
    if (found == m_known.end()) {
        auto tag = make_tag(option.type, option.id, tag_value_of(option, value));
        m_known[option.id] = {tag, snapshot(value), tag->encoded(false)};
        return;
    }
    Known& known = found->second;
    if (!same_value(value, known.property)) {
        known.tag->assign(tag_value_of(option, value));
    } else if (known.tag->encoded(false) != known.encoded) {
        set_property(*this, option.name, property_value_of(option, *known.tag));
    } else {
        return;
    }
    known.property = snapshot(property(*this, option.name));
    known.encoded = known.tag->encoded(false);
}

void TiffOptionsObject::synchronize() {
    for (const TiffOptionProperty& option : kProperties) {
        const bool known = m_known.find(option.id) != m_known.end();
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
        Value value = empty ? baseline(type(), option->name) : property_value_of(*option, *tag);
        known.property = snapshot(value);
        set_property(*this, option->name, std::move(value));
    }
    m_known[id] = std::move(known);
    m_put.insert(id);
    m_removed.erase(id);
}

bool TiffOptionsObject::remove(uint16_t id) {
    const bool there = static_cast<bool>(find(id));
    if (const TiffOptionProperty* option = find_option(id)) {
        set_property(*this, option->name, baseline(type(), option->name));
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
