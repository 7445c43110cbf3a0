// Metadata of images: read when asked for, replaced when set; see image_metadata.h and kept_metadata.h.
#include "runtime/native/behaviors/metadata/image_metadata.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/behaviors/metadata/jfif/jfif_data.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/behaviors/metadata/path_resources.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_extension.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"

namespace zelmor::embed {

namespace {

using Tag = api::FileFormats::Tiff::Enums::TiffTags;
using Compression = api::FileFormats::Tiff::Enums::TiffCompressions;

ImageMetadata* metadata_of(Record& image) {
    auto* object = dynamic_cast<ImageObject*>(&described(image));
    return object != nullptr ? object->metadata.get() : nullptr;
}

// Sets what describes an image. None goes for all pages of a TIFF image: nothing of the kind is left in it.
template <class Set>
void set_described(Record& self, bool none, Set&& set) {
    auto* image = dynamic_cast<ImageObject*>(&self);
    const bool of_pages = image != nullptr && has_pages(image->facts().format);
    if (!none || !of_pages || image->frame_count() < 2) {
        return set(described(self));
    }
    for (const Ref<ImageObject>& frame : image->frames()) {
        set(*frame);
    }
}

// The same tags, in the class that a JPEG has for them.
Ref<ExifObject> of_jpeg_class(const ExifObject& exif) {
    Ref<ExifObject> result = make_exif(true);
    for (const auto directory : {ExifDirectory::kCommon, ExifDirectory::kExif, ExifDirectory::kGps}) {
        result->tags(directory) = exif.tags(directory);
    }
    result->interoperability = exif.interoperability;
    set_property(*result, "IsBigEndian", exif.big_endian());
    return result;
}

Ref<ManagedObject> get_xmp(Record& self) {
    self.require_live();
    ImageMetadata* metadata = metadata_of(self);
    auto known = property_object(described(self), "XmpData");
    if (known || metadata == nullptr || metadata->xmp_replaced || metadata->found().xmp.empty()) {
        return known;
    }
    Ref<ManagedObject> read = read_kept_xmp(*metadata);
    set_property(described(self), "XmpData", read);
    metadata->xmp_replaced = true;
    return read;
}

// What describes a picture and is kept with its frames, rather than with the metadata of the file.
void drop_descriptions(ImageObject& image) {
    if (const FormatMembers* members = members_of(image.facts().format);
        members != nullptr && members->drop_descriptions != nullptr) {
        members->drop_descriptions(image);
    }
}

// None takes away all that no other property of the image shows, too.
void set_xmp(Record& self, XmpPacketObject* value) {
    self.require_live();
    const auto* image = dynamic_cast<const ImageObject*>(&self);
    set_described(self, value == nullptr, [&](Record& owner) {
        if (ImageMetadata* metadata = own_metadata(owner)) {
            metadata->xmp_replaced = true;
            if (value == nullptr) {
                metadata->unseen_dropped = true;
                metadata->exif_replaced = metadata->exif_replaced || !has_property(owner, "ExifData");
            }
        }
        set_property(owner, "XmpData", Ref<ManagedObject>(value));
    });
    if (image != nullptr && value == nullptr) {
        drop_descriptions(static_cast<ImageObject&>(self));
    }
}

// The bytes are kept beside the object: if the object was not changed, they are written to the next file as they are.
template <bool kOfJpeg>
Ref<ManagedObject> get_exif(Record& self) {
    self.require_live();
    const ImageMetadata* metadata = metadata_of(self);
    auto known = property_object(described(self), "ExifData");
    if (known || metadata == nullptr || metadata->exif_replaced) {
        return known;
    }
    Ref<ManagedObject> read;
    if (!metadata->found().exif.empty()) {
        read = read_kept_exif(*metadata, kOfJpeg);
    } else if (const auto of_tiff = metadata->of_tiff(); of_tiff && !of_tiff->empty()) {
        read = kOfJpeg ? Ref<ManagedObject>(of_jpeg_class(*of_tiff)) : of_tiff->copy();
    }
    set_property(described(self), "ExifData", read);
    return read;
}

void set_exif(Record& self, ExifObject* value) {
    self.require_live();
    set_described(self, value == nullptr, [&](Record& owner) {
        if (ImageMetadata* metadata = own_metadata(owner)) {
            metadata->exif_replaced = true;
        }
        set_property(owner, "ExifData", Ref<ManagedObject>(value));
    });
}

Ref<ManagedObject> get_jfif(Record& self) {
    self.require_live();
    const ImageMetadata* metadata = metadata_of(self);
    auto known = property_object(self, "Jfif");
    if (known || metadata == nullptr || metadata->jfif_replaced) {
        return known;
    }
    const Ref<JfifObject> read = read_jfif(metadata->found().jfif, metadata->found().jfif_extension);
    if (read) {
        read->thumbnail_at = metadata->read_at;
    }
    set_property(self, "Jfif", Ref<ManagedObject>(read));
    return read;
}

void set_jfif(Record& self, JfifObject* value) {
    self.require_live();
    if (ImageMetadata* metadata = own_metadata(self)) {
        metadata->jfif_replaced = true;
    }
    set_property(self, "Jfif", Ref<ManagedObject>(value));
}

std::optional<std::u16string> get_comment(Record& self) {
    self.require_live();
    const ImageMetadata* metadata = metadata_of(self);
    if (metadata == nullptr || metadata->comment_replaced) {
        return property_string(self, "Comment");
    }
    return kept_comment(*metadata);
}

void set_comment(Record& self, const std::optional<std::u16string>& value) {
    self.require_live();
    if (ImageMetadata* metadata = own_metadata(self)) {
        metadata->comment_replaced = true;
    }
    set_property(self, "Comment", value ? Value(*value) : Value(Ref<ManagedObject>()));
}

// The thumbnail is decoded when it is asked for, and encoded when it is set: the data keeps a JPEG of its own.
Ref<ManagedObject> get_thumbnail(ExifObject& self) {
    auto known = property_object(self, "Thumbnail");
    if (known || self.thumbnail.empty()) {
        return known;
    }
    const auto* first = reinterpret_cast<const uint8_t*>(self.thumbnail.data());
    Ref<ManagedObject> image =
        decoded_image({first, first + self.thumbnail.size()}, nullptr, "Cannot load the thumbnail of the EXIF data");
    set_property(self, "Thumbnail", image);
    return image;
}

void set_thumbnail(ExifObject& self, ImageObject* value) {
    self.thumbnail.clear();
    self.thumbnail_tags.clear();
    if (value != nullptr) {
        imagework::Encoding jpeg;
        jpeg.format = imagework::JpegEncoding{};
        // Programs take it for sRGB, and its place is too small for a profile.
        const auto small = value->picture().copy();
        small->to_standard_colors();
        const auto file = small->encode(jpeg);
        const auto bytes = std::as_bytes(std::span(file.data.get(), file.size));
        self.thumbnail.assign(bytes.begin(), bytes.end());
        self.thumbnail_at = imagework::steady_time();
        self.thumbnail_tags.push_back(
            make_tag(TiffType::kShort, number_of(Tag::kCompression), static_cast<int64_t>(Compression::kOjpeg)));
    }
    set_property(self, "Thumbnail", Ref<ManagedObject>(value));
}

// UTF-8, or Latin-1 where the bytes are none.
std::u16string text_of_bytes(const Bytes& bytes) {
    const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::u16string text = to_utf16(raw);
    if (to_utf8(text) == raw) {
        return text;
    }
    text.clear();
    for (const std::byte byte : bytes) {
        text += std::to_integer<char16_t>(byte);
    }
    return text;
}

const TagObject* orientation_tag(Record& image) {
    const auto exif = exif_of(image);
    return exif ? cast_object<ExifObject>(*exif).find(ExifDirectory::kCommon, number_of(Tag::kOrientation)) : nullptr;
}

using JpegExifDataApi = api::Exif::JpegExifData;
using JpegImageApi = api::FileFormats::Jpeg::JpegImage;
using RasterImageApi = api::RasterImage;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;
using TiffImageApi = api::FileFormats::Tiff::TiffImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_xmp, RasterImageApi::get_XmpData>(),
    behavior<&set_xmp, RasterImageApi::set_XmpData>(),
    behavior<&get_exif<true>, JpegImageApi::get_ExifData>(),
    behavior<&set_exif, JpegImageApi::set_ExifData, TiffImageApi::set_ExifData, TiffFrameApi::set_ExifData>(),
    behavior<&get_jfif, JpegImageApi::get_Jfif>(),
    behavior<&set_jfif, JpegImageApi::set_Jfif>(),
    behavior<&get_comment, JpegImageApi::get_Comment>(),
    behavior<&set_comment, JpegImageApi::set_Comment>(),
    behavior<&get_thumbnail, JpegExifDataApi::get_Thumbnail>(),
    behavior<&set_thumbnail, JpegExifDataApi::set_Thumbnail>(),
    behavior<&get_exif<false>, TiffImageApi::get_ExifData, TiffFrameApi::get_ExifData>(),
});

}  // namespace

MetadataReading::MetadataReading(imagework::SharedSource source, uint64_t directory)
    : m_source(std::move(source)), m_directory(directory) {
    if (m_directory == 0 && !m_source->in_memory().empty()) {
        read();
    }
}

void MetadataReading::read() {
    if (m_source == nullptr) {
        return;
    }
    FileMetadata found = m_directory != 0 ? find_in_tiff(m_source, m_directory) : find_metadata(m_source);
    Ref<ExifObject> of_tiff;
    const MetadataContainer* container = metadata_container(m_source);
    if (container != nullptr && container->has_tags) {
        try {
            auto exif = read_exif_of_tiff(m_source, m_directory);
            if (!exif->empty() || !exif->of_page.empty()) {
                of_tiff = std::move(exif);
            }
        } catch (const ManagedException& error) {
            // A truncated file has no tags. The decoder reports other damage.
            if (error.name() != "FormatException" && error.name() != "EndOfStreamException") {
                throw;
            }
        }
    }
    m_found = std::move(found);
    m_of_tiff = std::move(of_tiff);
    m_source.reset();
}

const FileMetadata& ImageMetadata::found() const {
    static const FileMetadata kNothing;
    return reading != nullptr ? reading->found() : kNothing;
}

const Bytes& ImageMetadata::photoshop() const {
    static const Bytes kNothing;
    return unseen_dropped ? kNothing : found().photoshop;
}

const std::vector<Bytes>& ImageMetadata::texts() const {
    static const std::vector<Bytes> kNothing;
    return unseen_dropped ? kNothing : found().texts;
}

Record& described(Record& image) {
    auto* object = dynamic_cast<ImageObject*>(&image);
    ImageObject* frame =
        object != nullptr && has_pages(object->facts().format) ? object->active_frame_object() : nullptr;
    return frame != nullptr ? *frame : image;
}

ImageMetadata* own_metadata(Record& image) {
    auto* object = dynamic_cast<ImageObject*>(&described(image));
    if (object == nullptr) {
        return nullptr;
    }
    if (object->metadata == nullptr) {
        object->metadata = std::make_shared<ImageMetadata>();
    }
    return object->metadata.get();
}

Ref<ManagedObject> read_kept_xmp(const ImageMetadata& metadata) {
    return joined_xmp(metadata.found().xmp, metadata.found().extended_xmp);
}

Ref<ExifObject> read_kept_exif(const ImageMetadata& metadata, bool of_jpeg) {
    Ref<ExifObject> exif = read_exif(metadata.found().exif, of_jpeg);
    exif->thumbnail_at = metadata.read_at;
    return exif;
}

std::optional<std::u16string> kept_comment(const ImageMetadata& metadata) {
    std::optional<std::u16string> text;
    for (const Bytes& comment : metadata.found().comments) {
        text = text ? *text + u"\n" + text_of_bytes(comment) : text_of_bytes(comment);
    }
    return text;
}

Ref<ManagedObject> exif_of(Record& image) {
    const ImageMetadata* metadata = metadata_of(image);
    if (has_property(image, "ExifData")) {
        return is_assignable(require_type(JpegImageApi::kType.name), image.type()) ? get_exif<true>(image)
                                                                                   : get_exif<false>(image);
    }
    if (metadata == nullptr || metadata->exif_replaced || metadata->found().exif.empty()) {
        return nullptr;
    }
    return read_kept_exif(*metadata, true);
}

Ref<ManagedObject> xmp_of(Record& image) {
    return get_xmp(image);
}

std::shared_ptr<ImageMetadata> keep_metadata(imagework::SharedSource file, uint64_t directory) {
    auto metadata = std::make_shared<ImageMetadata>();
    metadata->reading = std::make_shared<MetadataReading>(std::move(file), directory);
    return metadata;
}

void attach_metadata(ImageObject& image, std::shared_ptr<ImageMetadata> metadata, imagework::Resolution resolution) {
    metadata->read_at = imagework::steady_time();
    metadata->read_resolution = resolution;
    image.metadata = std::move(metadata);
}

void carry_metadata(ImageObject& image, ImageObject& to) {
    auto& from = static_cast<ImageObject&>(described(image));
    if (from.metadata != nullptr) {
        to.metadata = std::make_shared<ImageMetadata>(*from.metadata);
    }
    for (const char* name : {"XmpData", "ExifData", "Jfif"}) {
        const auto value = has_property(from, name) ? property_object(from, name) : nullptr;
        if (!value || !has_property(to, name)) {
            continue;
        }
        const auto* exif = dynamic_cast<const ExifObject*>(value.get());
        const bool fits = is_assignable(*type_at(find_property(to.type(), name)->info->type), value->type());
        set_property(to, name, exif != nullptr && !fits ? Ref<ManagedObject>(of_jpeg_class(*exif)) : value->copy());
    }
    if (has_property(from, "Comment") && has_property(to, "Comment")) {
        set_property(to, "Comment", property(from, "Comment"));
    }
    carry_path_resources(from, to);
}

void pass_metadata(ImageObject& from, ImageObject& frame) {
    frame.metadata = std::move(from.metadata);
    for (const char* name : {"XmpData", "ExifData"}) {
        if (has_property(from, name) && has_property(frame, name)) {
            set_property(frame, name, property(from, name));
            set_property(from, name, Ref<ManagedObject>());
        }
    }
}

int exif_orientation(ImageObject& image) {
    const TagObject* tag = orientation_tag(image);
    const int64_t value = tag != nullptr ? tag_integer(*tag).value_or(1) : 1;
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void reset_orientation(ImageObject& image) {
    constexpr int64_t kUpright = 1;
    if (orientation_tag(image) != nullptr) {
        cast_object<ExifObject>(*exif_of(image))
            .put(ExifDirectory::kCommon, make_tag(TiffType::kShort, number_of(Tag::kOrientation), kUpright));
    }
    const auto xmp = xmp_of(image);
    XmpPackageObject* tiff = xmp ? cast_object<XmpPacketObject>(*xmp).packages.find(xmp_namespaces::kTiff) : nullptr;
    if (tiff != nullptr && tiff->find("Orientation") != nullptr) {
        tiff->set("Orientation", to_utf16("1"));
    }
}

void prepare_options(const Record* options) {
    auto* tiff = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(options));
    if (tiff != nullptr) {
        tiff->synchronize();
    }
}

}  // namespace zelmor::embed
