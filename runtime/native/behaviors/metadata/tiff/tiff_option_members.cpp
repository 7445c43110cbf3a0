// Members of TiffOptions and TiffExifIfd; see tiff_option_tags.h.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tag_lists.h"
#include "runtime/native/behaviors/metadata/tiff/tag_values.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_option_properties.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

using OptionKind = TiffOptionKind;
using Options = api::ImageOptions::TiffOptions;
using BigOptions = api::ImageOptions::BigTiffOptions;
using ExifIfd = api::FileFormats::Tiff::TiffExifIfd;
using Tag = api::FileFormats::Tiff::Enums::TiffTags;

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
    if (tag_to_add == nullptr) {
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
    return static_cast<bool>(self.find(number_of(Tag::kExtraSamples)));
}
Collection extra_samples(TiffOptionsObject& self) {
    const auto tag = self.find(number_of(Tag::kExtraSamples));
    if (!tag) {
        return {};
    }
    return {Ref<ManagedObject>(array_of_tag(tag->value(), element_of(self.type(), "ExtraSamples")))};
}
// The second number of PageNumber; 0 means that the number of pages is unknown.
int32_t total_pages(TiffOptionsObject& self) {
    const auto tag = self.find(number_of(Tag::kPageNumber));
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

// A tag object may have been changed since its property was looked at, and shows at once what is set here.
std::optional<std::u16string> get_text(const TiffOptionProperty& row, TiffOptionsObject& self) {
    self.synchronize_known(row);
    return text_of_tag(property(self, row.property.name));
}
void set_text(const TiffOptionProperty& row, TiffOptionsObject& self, const std::optional<std::u16string>& value) {
    self.set(row, given_text(value));
}
// An array that is made here is stored in the property: the next call returns the same object.
Collection get_array(const TiffOptionProperty& row, TiffOptionsObject& self) {
    const char* name = row.property.name;
    self.synchronize_known(row);
    const Value shown = Ref<ManagedObject>(array_of_tag(property(self, name), element_of(self.type(), name)));
    set_property(self, name, shown);
    return {shown};
}
// The value is tried on a tag first: a value that the tag refuses does not reach the property.
void set_array(const TiffOptionProperty& row, TiffOptionsObject& self, const VariantArg* value) {
    const Value read = Ref<ManagedObject>(read_list(value, element_of(self.type(), row.property.name)));
    make_tag(row.type, row.id(), read);
    self.set(row, read);
}
Ref<ManagedObject> get_rational(const TiffOptionProperty& row, TiffOptionsObject& self) {
    self.synchronize_known(row);
    return property_object(self, row.property.name);
}
void set_rational(const TiffOptionProperty& row, TiffOptionsObject& self, RationalObject* value) {
    self.set(row, Ref<ManagedObject>(value));
}
template <class Number>
Number get_number(const TiffOptionProperty& row, TiffOptionsObject& self) {
    self.synchronize_known(row);
    return static_cast<Number>(property_int(self, row.property.name));
}
template <class Number>
void set_number(const TiffOptionProperty& row, TiffOptionsObject& self, Number value) {
    self.set(row, int64_t{value});
}

void set_count(const TiffOptionProperty& row, TiffOptionsObject& self, int32_t value) {
    if (value < 0) {
        throw_out_of_range(row.property.name, "The value " + std::to_string(value) + " of " +
                                                  member_name(self, row.property.name) +
                                                  " is not between 0 and 2147483647.");
    }
    self.set(row, int64_t{value});
}

std::vector<BehaviorRow> property_behaviors() {
    std::vector<BehaviorRow> behaviors;
    for (const TiffOptionProperty& row : tiff_option_properties()) {
        switch (row.kind) {
            case OptionKind::kText:
            case OptionKind::kWideText:
                behaviors.push_back(row_property<&get_text, &set_text>(row.property, row));
                break;
            case OptionKind::kArray:
                behaviors.push_back(row_property<&get_array, &set_array>(row.property, row));
                break;
            case OptionKind::kRational:
                behaviors.push_back(row_property<&get_rational, &set_rational>(row.property, row));
                break;
            case OptionKind::kInteger:
                behaviors.push_back(row_property<&get_number<int32_t>, &set_count>(row.property, row));
                break;
            case OptionKind::kChoice:
                row.type == TiffType::kShort
                    ? behaviors.push_back(row_property<&get_number<uint16_t>, &set_number<uint16_t>>(row.property, row))
                    : behaviors.push_back(
                          row_property<&get_number<uint32_t>, &set_number<uint32_t>>(row.property, row));
                break;
        }
    }
    return behaviors;
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<TiffOptionsObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(Options::kType.name, make);

const BehaviorTable ZELMOR_UNNAMED(property_behaviors());
const BehaviorTable ZELMOR_UNNAMED({
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

}  // namespace zelmor::embed
