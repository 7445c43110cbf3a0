// ExifData and JpegExifData: tags in three directories, and the form in which a file holds them.
//
// The named properties are views of these tags (exif_properties.cpp): setting one makes or removes a tag.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_EXIF_EXIF_DATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_EXIF_EXIF_DATA_H

#include <optional>
#include <span>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed {

// The directory of a tag.
enum class ExifDirectory : uint8_t { kCommon, kExif, kGps };

using TagList = std::vector<Ref<TagObject>>;

class ExifObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Exif::ExifData::kType.name;
    static constexpr const char* kJpegName = api::Exif::JpegExifData::kType.name;
    explicit ExifObject(const TypeInfo& type) : Record(type) { track(); }

    TagList& tags(ExifDirectory directory) { return m_directories[static_cast<size_t>(directory)]; }
    const TagList& tags(ExifDirectory directory) const { return m_directories[static_cast<size_t>(directory)]; }
    const TagObject* find(ExifDirectory directory, uint16_t id) const;
    // Takes the place of a tag with the same number.
    void put(ExifDirectory directory, Ref<TagObject> tag);
    void remove(ExifDirectory directory, uint16_t id);
    void remove(uint16_t id);
    // Puts each tag in the directory that its number belongs to.
    void distribute(const TagList& tags);
    TagList all() const;
    bool empty() const;
    bool big_endian() const { return property_bool(*this, "IsBigEndian"); }

    // The thumbnail of a file, a JPEG, with its directory; it is decoded when its property is first read.
    Bytes thumbnail;
    TagList thumbnail_tags;
    // When the thumbnail was made of the picture, on the steady clock: one that is older than the last change of the
    // pixels shows another picture.
    int64_t thumbnail_at = 0;
    // Where the maker's note stands in the data that were read, counted from the byte order; 0 where there is none.
    // Many notes hold offsets from there, so that they are written to the same place again.
    uint64_t maker_note_at = 0;
    // A directory inside that of EXIF which no member shows; it is written again as it was.
    TagList interoperability;
    // Of a page of a TIFF file: tags that are none of EXIF and not about how the pixels are stored, such as PageNumber
    // and those of other programs. No member shows them; they are written to a TIFF again.
    TagList of_page;

    // The arrays of tags that were handed out last: one for each directory, one for all.
    Ref<ManagedList> shown[4];

    // Shares the tags.
    Ref<ManagedObject> copy() const override;
    void references(ReferenceVisitor& visitor) override;

 private:
    TagList m_directories[3];
};

Ref<ExifObject> make_exif(bool of_jpeg);

// Reads what a file has, from the byte order on, with or without "Exif" in front. FormatException where that is no
// TIFF; a tag whose values lie outside is left out.
Ref<ExifObject> read_exif(std::span<const std::byte> data, bool of_jpeg);
// The same of a page of a TIFF file. Its directory, at that offset, holds more than EXIF, of which only that is taken.
// Offset 0 stands for the first page.
Ref<ExifObject> read_exif_of_tiff(const imagework::SharedSource& file, uint64_t directory = 0);
// The TIFF structure of the data, without "Exif" in front.
Bytes write_exif(const ExifObject& exif);

// "Exif" and two zeros, which stand in front where a file has the data in a segment.
constexpr std::string_view kExifMark{"Exif\0\0", 6};

// Tags that describe how the pixels of a TIFF file are stored are left to the encoder.
bool is_tag_of_pixels(uint16_t id);
// Those among them that say of the samples what their form does not, such as the least and the greatest one. They hold
// as long as the samples are those of the file.
bool is_tag_of_samples(uint16_t id);

// The order of a directory: by number.
TagList sorted_tags(TagList tags);

namespace exif_tags {
using Tag = api::Exif::ExifProperties;
constexpr uint16_t kThumbnailOffset = number_of(Tag::kJpegInterchangeFormat);
constexpr uint16_t kThumbnailLength = number_of(Tag::kJpegInterchangeFormatLength);
constexpr uint16_t kExifPointer = number_of(Tag::kExifIfdPointer);
constexpr uint16_t kGpsPointer = number_of(Tag::kGpsIfdPointer);
constexpr uint16_t kInteroperabilityPointer = 40965;  // of no enumeration
constexpr uint16_t kMakerNote = number_of(Tag::kMakerNote);
}  // namespace exif_tags

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_EXIF_EXIF_DATA_H
