// The tags of EXIF data and the members that work on them; see exif_data.h.
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "runtime/native/behaviors/metadata/tiff/tag_lists.h"

#include <algorithm>

#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

constexpr const char* kExif = ExifObject::kManagedName;
constexpr int32_t kMaxSegmentSize = 65535;

// Numbers below those of image tags belong to the GPS directory. The two other directories share a range; EXIF 2.3
// lists the numbers of its own directory.
ExifDirectory directory_of(uint16_t id) {
    using Tag = api::FileFormats::Tiff::Enums::TiffTags;
    constexpr uint16_t kFirstOfImages = number_of(Tag::kSubFileType);
    constexpr uint16_t kFirstOfExif = number_of(api::Exif::ExifProperties::kExposureTime);
    constexpr uint16_t kFirstOfTitles = number_of(Tag::kXpTitle), kLastOfTitles = number_of(Tag::kXpSubject);
    if (id < kFirstOfImages) {
        return ExifDirectory::kGps;
    }
    if (id < kFirstOfExif || (id >= kFirstOfTitles && id <= kLastOfTitles)) {
        return ExifDirectory::kCommon;
    }
    // Numbers within that range that other extensions of TIFF use.
    constexpr uint16_t kOthers[] = {
        33550, 33723, 33922, 34264, number_of(Tag::kPhotoshopResources), number_of(Tag::kIccProfile),
        34735, 34736, 34737, 50341};
    const bool other = std::find(std::begin(kOthers), std::end(kOthers), id) != std::end(kOthers);
    return other || id > 50000 ? ExifDirectory::kCommon : ExifDirectory::kExif;
}

TagList read_tags(const VariantArg* arg, const char* parameter) {
    return tags_of(read_elements(arg, element_of(Wire::kClass, TagObject::kManagedName), parameter));
}

template <bool kOfJpeg>
Ref<ManagedObject> of_tags(const VariantArg* exifdata) {
    auto exif = make_exif(kOfJpeg);
    exif->distribute(read_tags(exifdata, "exifdata"));
    return exif;
}

template <bool kOfJpeg>
Ref<ManagedObject> of_directories(const VariantArg* common_tags, const VariantArg* exif_tags,
                                  const VariantArg* gps_tags) {
    auto exif = make_exif(kOfJpeg);
    exif->tags(ExifDirectory::kCommon) = read_tags(common_tags, "common_tags");
    exif->tags(ExifDirectory::kExif) = read_tags(exif_tags, "exif_tags");
    exif->tags(ExifDirectory::kGps) = read_tags(gps_tags, "gps_tags");
    return exif;
}

void remove_property(ExifObject& self, api::Exif::ExifProperties tag) {
    const auto id = static_cast<int32_t>(tag);
    if (id >= 0 && id <= UINT16_MAX) {
        self.remove(static_cast<uint16_t>(id));
    }
}
void remove_id(ExifObject& self, uint16_t tag_id) {
    self.remove(tag_id);
}

// None takes all tags away.
TagList given_tags(const VariantArg* value) {
    const auto list = read_list(value, element_of(Wire::kClass, TagObject::kManagedName));
    return tags_of(elements_of_value(Ref<ManagedObject>(list)));
}

template <ExifDirectory kDirectory>
Collection directory(ExifObject& self) {
    return {Ref<ManagedObject>(same_array(self.shown[static_cast<size_t>(kDirectory)], self.tags(kDirectory)))};
}
template <ExifDirectory kDirectory>
void set_directory(ExifObject& self, const VariantArg* value) {
    self.tags(kDirectory) = given_tags(value);
}
Collection properties(ExifObject& self) {
    return {Ref<ManagedObject>(same_array(self.shown[3], self.all()))};
}
void set_properties(ExifObject& self, const VariantArg* value) {
    const TagList tags = given_tags(value);
    for (const auto directory : {ExifDirectory::kCommon, ExifDirectory::kExif, ExifDirectory::kGps}) {
        self.tags(directory).clear();
    }
    self.distribute(tags);
}

// The note unchanged.
Collection maker_note_data(ExifObject& self) {
    TagList notes;
    for (const auto& tag : self.tags(ExifDirectory::kExif)) {
        if (tag->id() == exif_tags::kMakerNote) {
            notes.push_back(tag);
        }
    }
    return {Ref<ManagedObject>(tag_array(notes))};
}

// Letters at the start, by which a maker marks a note; "MakerNote" where there are fewer than three.
std::u16string note_name(const Bytes& note) {
    std::u16string name;
    for (const std::byte byte : note) {
        const auto letter = std::to_integer<char16_t>(byte);
        const bool is_letter = (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
        if (!is_letter) {
            break;
        }
        name += letter;
    }
    return name.size() < 3 ? u"MakerNote" : name;
}

std::u16string hexadecimal(const Bytes& bytes) {
    constexpr const char16_t* kDigits = u"0123456789ABCDEF";
    std::u16string text;
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<size_t>(byte) >> 4];
        text += kDigits[std::to_integer<size_t>(byte) & 15];
    }
    return text;
}

// One entry for each note. Each maker has a form of its own, which nobody publishes: the value is its bytes.
Collection maker_notes(ExifObject& self) {
    std::vector<Value> notes;
    for (const auto& tag : self.tags(ExifDirectory::kExif)) {
        if (tag->id() != exif_tags::kMakerNote) {
            continue;
        }
        const Bytes bytes = tag->encoded(self.big_endian());
        Ref<ManagedObject> note = make_instance(api::Exif::MakerNote::kType.name);
        set_property(*note, "Name", note_name(bytes));
        set_property(*note, "Value", hexadecimal(bytes));
        notes.emplace_back(std::move(note));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(
        ListShape::kArray, element_of(Wire::kClass, api::Exif::MakerNote::kType.name), std::move(notes)))};
}

Bytes serialize(ExifObject& self) {
    Bytes bytes;
    for (const char c : kExifMark) {
        bytes.push_back(static_cast<std::byte>(c));
    }
    const Bytes tiff = write_exif(self);
    bytes.insert(bytes.end(), tiff.begin(), tiff.end());
    return bytes;
}

int32_t max_segment_size() {
    return kMaxSegmentSize;
}

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<ExifObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(kExif, make);

using DirectoryName = ExifDirectory;
using ExifDataApi = api::Exif::ExifData;
using JpegExifDataApi = api::Exif::JpegExifData;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&of_tags<false>, ExifDataApi::ctor_001_ExifData>(),
    behavior<&of_directories<false>, ExifDataApi::ctor_002_ExifData>(),
    behavior<&of_tags<true>, JpegExifDataApi::ctor_001_JpegExifData>(),
    behavior<&of_directories<true>, JpegExifDataApi::ctor_002_JpegExifData>(),
    behavior<&remove_property, ExifDataApi::call_000_RemoveTag>(),
    behavior<&remove_id, ExifDataApi::call_001_RemoveTag, ExifDataApi::call_000_RemoveTagId>(),
    behavior<&directory<DirectoryName::kCommon>, ExifDataApi::get_CommonTags>(),
    behavior<&set_directory<DirectoryName::kCommon>, ExifDataApi::set_CommonTags>(),
    behavior<&directory<DirectoryName::kExif>, ExifDataApi::get_ExifTags>(),
    behavior<&set_directory<DirectoryName::kExif>, ExifDataApi::set_ExifTags>(),
    behavior<&directory<DirectoryName::kGps>, ExifDataApi::get_GpsTags>(),
    behavior<&set_directory<DirectoryName::kGps>, ExifDataApi::set_GpsTags>(),
    behavior<&properties, ExifDataApi::get_Properties>(),
    behavior<&set_properties, ExifDataApi::set_Properties>(),
    behavior<&maker_note_data, ExifDataApi::get_MakerNoteData>(),
    behavior<&maker_notes, ExifDataApi::get_MakerNotes>(),
    behavior<&serialize, JpegExifDataApi::call_000_SerializeExifData>(),
    behavior<&max_segment_size, JpegExifDataApi::getsa_MaxExifSegmentSize>(),
});

}  // namespace

const TagObject* ExifObject::find(ExifDirectory directory, uint16_t id) const {
    for (const auto& tag : tags(directory)) {
        if (tag->id() == id) {
            return tag.get();
        }
    }
    return nullptr;
}

void ExifObject::put(ExifDirectory directory, Ref<TagObject> tag) {
    for (auto& known : tags(directory)) {
        if (known->id() != tag->id()) {
            continue;
        }
        known = std::move(tag);
        return;
    }
    tags(directory).push_back(std::move(tag));
}

void ExifObject::remove(ExifDirectory directory, uint16_t id) {
    std::erase_if(tags(directory), [&](const auto& tag) { return tag->id() == id; });
}

void ExifObject::remove(uint16_t id) {
    for (const auto directory : {ExifDirectory::kCommon, ExifDirectory::kExif, ExifDirectory::kGps}) {
        remove(directory, id);
    }
}

void ExifObject::distribute(const TagList& tags) {
    for (const auto& tag : tags) {
        put(directory_of(tag->id()), tag);
    }
}

TagList ExifObject::all() const {
    TagList all;
    for (const TagList& directory : m_directories) {
        all.insert(all.end(), directory.begin(), directory.end());
    }
    return all;
}

bool ExifObject::empty() const {
    return all().empty() && thumbnail.empty();
}

void ExifObject::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    visitor(thumbnail_tags);
    visitor(interoperability);
    visitor(of_page);
    for (Ref<ManagedList>& list : shown) {
        visitor(list);
    }
    for (TagList& tags : m_directories) {
        visitor(tags);
    }
}

Ref<ManagedObject> ExifObject::copy() const {
    auto twin = make_ref<ExifObject>(type());
    twin->assign_from(*this);
    std::copy(std::begin(m_directories), std::end(m_directories), std::begin(twin->m_directories));
    twin->thumbnail = thumbnail;
    twin->thumbnail_tags = thumbnail_tags;
    twin->thumbnail_at = thumbnail_at;
    twin->maker_note_at = maker_note_at;
    twin->interoperability = interoperability;
    return twin;
}

Ref<ExifObject> make_exif(bool of_jpeg) {
    return make_ref<ExifObject>(require_type(of_jpeg ? ExifObject::kJpegName : ExifObject::kManagedName));
}

TagList sorted_tags(TagList tags) {
    std::stable_sort(tags.begin(), tags.end(), [](const auto& a, const auto& b) { return a->id() < b->id(); });
    return tags;
}

}  // namespace zelmor::embed
