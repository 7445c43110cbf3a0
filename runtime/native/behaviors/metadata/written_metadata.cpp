// The metadata of the files that images are saved to; see image_metadata.h.
#include <algorithm>
#include <cassert>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/image_resources.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/behaviors/metadata/jfif/jfif_data.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/behaviors/metadata/path_resources.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_extension.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed {

namespace {

using Tag = api::FileFormats::Tiff::Enums::TiffTags;
using ResolutionUnit = api::FileFormats::Tiff::Enums::TiffResolutionUnits;
using ExifTag = api::Exif::ExifProperties;

// What is written, and what it is made of.
struct Save {
    const ImageObject& image;
    const ImageMetadata& kept;
    const Record* options;  // may be null
    WrittenPicture picture;
    const MetadataContainer& container;
    const FileMetadata* there = nullptr;  // what the encoder has written; null for pages, whose tags have the rest

    // A file without a JFIF header, as one of RGB or inks is, tells its resolution in EXIF data or not at all.
    bool tells_resolution_in_exif() const {
        return container.tells_resolution_in_exif || (container.has_jfif && there != nullptr && there->jfif.empty());
    }

    // A thumbnail of a time that is not after the last change of the pixels shows another picture.
    bool is_stale(int64_t thumbnail_at) const { return picture.changed_at >= thumbnail_at; }
};

Ref<ManagedObject> property_if_any(const Record* object, const char* name) {
    return object != nullptr && has_property(*object, name) ? property_object(*object, name) : nullptr;
}

Bytes bytes_of_text(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

// ---- EXIF

// What EXIF data stand for that have no tags of it.
constexpr imagework::Resolution kResolutionWithoutTags{72.0, 72.0};

// The unit that the options name.
api::ResolutionUnit unit_of(const Save& save) {
    return save.options != nullptr && has_property(*save.options, "ResolutionUnit")
               ? property_enum<api::ResolutionUnit>(*save.options, "ResolutionUnit")
               : api::ResolutionUnit::kInch;
}

// Whether EXIF data are the place of a resolution that is worth telling. EXIF knows no resolution without a unit.
bool wants_resolution(const Save& save) {
    return save.tells_resolution_in_exif() && save.picture.resolution != imagework::kDefaultResolution &&
           unit_of(save) != api::ResolutionUnit::kNone;
}

void add_resolution(ExifObject& exif, const Save& save) {
    const bool metric = unit_of(save) == api::ResolutionUnit::kCm;
    const auto put = [&](Tag tag, double dpi) {
        const double dots = dpi / (metric ? kCentimetersPerInch : 1.0);
        exif.put(ExifDirectory::kCommon,
                 make_tag(TiffType::kRational, number_of(tag), approximate_rational(dots, kRationalEpsilon, false)));
    };
    put(Tag::kXresolution, save.picture.resolution.horizontal);
    put(Tag::kYresolution, save.picture.resolution.vertical);
    const ResolutionUnit unit = metric ? ResolutionUnit::kCentimeter : ResolutionUnit::kInch;
    exif.put(ExifDirectory::kCommon,
             make_tag(TiffType::kShort, number_of(Tag::kResolutionUnit), static_cast<int64_t>(unit)));
}

// Updates size and resolution from the file; true if something had to be changed.
bool bring_in_step(ExifObject& exif, const Save& save) {
    bool changed = false;
    const auto put_size = [&](ExifTag property, int64_t size) {
        const uint16_t id = number_of(property);
        const TagObject* tag = exif.find(ExifDirectory::kExif, id);
        if (tag == nullptr || size <= 0 || tag_integer(*tag) == size) {
            return;
        }
        exif.put(ExifDirectory::kExif, make_tag(TiffType::kLong, id, size));
        changed = true;
    };
    put_size(ExifTag::kPixelXDimension, save.picture.width);
    put_size(ExifTag::kPixelYDimension, save.picture.height);
    const TagObject* unit = exif.find(ExifDirectory::kCommon, number_of(Tag::kResolutionUnit));
    const bool metric = unit != nullptr && tag_integer(*unit) == static_cast<int64_t>(ResolutionUnit::kCentimeter);
    const double per_inch = metric ? kCentimetersPerInch : 1.0;
    const auto put_resolution = [&](Tag resolution, double dpi) {
        const uint16_t id = number_of(resolution);
        const TagObject* tag = exif.find(ExifDirectory::kCommon, id);
        const auto values = tag != nullptr ? tag->values() : nullptr;
        if (!values || values->size() == 0 || tag->data_type() != TiffType::kRational) {
            return;
        }
        const auto& rational = cast_object<RationalObject>(*std::get<Ref<ManagedObject>>(values->get(0)));
        // JFIF has whole numbers, so that half a dot is no change.
        if (std::abs(rational.value() * per_inch - dpi) <= 0.5) {
            return;
        }
        exif.put(ExifDirectory::kCommon,
                 make_tag(TiffType::kRational, id, approximate_rational(dpi / per_inch, kRationalEpsilon, false)));
        changed = true;
    };
    put_resolution(Tag::kXresolution, save.picture.resolution.horizontal);
    put_resolution(Tag::kYresolution, save.picture.resolution.vertical);
    const bool tells = exif.find(ExifDirectory::kCommon, number_of(Tag::kXresolution)) != nullptr ||
                       exif.find(ExifDirectory::kCommon, number_of(Tag::kYresolution)) != nullptr;
    if (!tells && wants_resolution(save) && save.picture.resolution != kResolutionWithoutTags) {
        add_resolution(exif, save);
        changed = true;
    }
    return changed;
}

void add_free_tags(TagList& to, const TagList& tags) {
    for (const auto& tag : tags) {
        const auto same = [&](const auto& known) { return known->id() == tag->id(); };
        if (!is_tag_of_pixels(tag->id()) && tag->count() > 0 && std::none_of(to.begin(), to.end(), same)) {
            to.push_back(tag);
        }
    }
}

// A copy that may be changed: the tags of the image stay as its owner left them.
Ref<ExifObject> own_copy(const ExifObject& exif) {
    const Ref<ManagedObject> copy = exif.copy();
    return Ref<ExifObject>(&cast_object<ExifObject>(*copy));
}

struct ExifToWrite {
    Ref<ExifObject> object;  // may be empty
    Bytes bytes;             // what the file had, where that is still right
};

ExifToWrite exif_to_write(const Save& save) {
    ExifToWrite result;
    const ImageMetadata& kept = save.kept;
    const auto wanted = property_if_any(save.options, "ExifData");
    const auto own = property_if_any(&save.image, "ExifData");
    const bool as_read = !kept.exif_replaced;
    if (wanted || own) {
        result.object = own_copy(cast_object<ExifObject>(wanted ? *wanted : *own));
    } else if (as_read && !kept.found().exif.empty()) {
        try {
            result.object = read_kept_exif(kept, true);
        } catch (const ManagedException& error) {
            // Unreadable data are written again unchanged.
            if (error.name() != "FormatException") {
                throw;
            }
            result.bytes = kept.found().exif;
            return result;
        }
    } else if (as_read && kept.of_tiff()) {
        result.object = own_copy(*kept.of_tiff());
    } else if (as_read && wants_resolution(save)) {
        result.object = make_exif(true);
        add_resolution(*result.object, save);
    }
    if (!result.object) {
        return result;
    }

    // Unchanged data are written as the same bytes: a maker's note may contain offsets into them.
    if (!wanted && as_read && !kept.found().exif.empty()) {
        const Ref<ExifObject> before = read_exif(kept.found().exif, true);
        if (write_exif(*before) == write_exif(*result.object)) {
            result.bytes = kept.found().exif;
        }
    }
    bool changed = bring_in_step(*result.object, save);
    if (!result.object->thumbnail.empty() && save.is_stale(result.object->thumbnail_at)) {
        result.object->thumbnail.clear();
        result.object->thumbnail_tags.clear();
        changed = true;
    }
    if (changed || result.bytes.empty()) {
        result.bytes = result.object->empty() ? Bytes() : write_exif(*result.object);
    }
    return result;
}

// ---- XMP

constexpr const char* kThumbnails = "Thumbnails";

Ref<XmpPacketObject> own_copy(const XmpPacketObject& packet) {
    const Ref<ManagedObject> copy = packet.copy();
    return Ref<XmpPacketObject>(&cast_object<XmpPacketObject>(*copy));
}

// Puts a copy of a package, without one of its properties, in its place: packets share their packages with their
// copies.
XmpPackageObject& own_package(XmpPacketObject& packet, XmpPackageObject& package, std::string_view left_out = {}) {
    const Ref<XmpPackageObject> own = make_xmp_package(package.prefix(), package.uri());
    for (const std::string& key : package.keys()) {
        if (left_out.empty() || !key.ends_with(":" + std::string(left_out))) {
            own->set(key, *package.find(key));
        }
    }
    packet.packages.remove(&package);
    packet.packages.add(own.get());
    return *own;
}

// Thumbnails in the packet go with the others; the packet of a program stays as it is.
Ref<XmpPacketObject> without_thumbnails(const XmpPacketObject& packet) {
    Ref<XmpPacketObject> own = own_copy(packet);
    XmpPackageObject* basic = own->packages.find(xmp_namespaces::kXmpBasic);
    if (basic != nullptr && basic->find(kThumbnails) != nullptr) {
        own_package(*own, *basic, kThumbnails);
    }
    return own;
}

struct XmpToWrite {
    Bytes packet;
    Bytes extension;
    std::string guid;
};

// A packet without properties describes nothing, and the file gets none.
XmpToWrite xmp_of_object(const Save& save, const XmpPacketObject& packet) {
    if (packet.is_empty()) {
        return {};
    }
    if (save.container.most_xmp == 0) {
        return {bytes_of_text(packet.text()), {}, {}};
    }
    const SplitXmp split = split_xmp(packet, save.container.most_xmp);
    return {bytes_of_text(split.packet), bytes_of_text(split.extension), split.guid};
}

// Whether the bytes of the file's packet cannot be written as they are.
bool has_to_be_read(const Save& save) {
    const FileMetadata& found = save.kept.found();
    if (save.container.most_xmp != 0 ? found.xmp.size() > save.container.most_xmp : !found.extended_xmp.empty()) {
        return true;
    }
    const std::string_view text(reinterpret_cast<const char*>(found.xmp.data()), found.xmp.size());
    const std::string_view rest(reinterpret_cast<const char*>(found.extended_xmp.data()), found.extended_xmp.size());
    const bool has_thumbnails =
        text.find(kThumbnails) != std::string_view::npos || rest.find(kThumbnails) != std::string_view::npos;
    return has_thumbnails && save.is_stale(save.kept.read_at);
}

std::string now_as_iso_date() {
    const auto since = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const std::chrono::sys_days day = std::chrono::floor<std::chrono::days>(since);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(since - day);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

// RasterImage.UpdateXmpData, of the image or of the one that it is a part of.
bool updates_xmp(const ImageObject& image) {
    const ImageBase* container = image.image_container();
    return property_bool(image, "UpdateXmpData") ||
           (container != nullptr && property_bool(*container, "UpdateXmpData"));
}

// A copy that tells of the file that is written: the dates of the change, and the size where the packet has one.
Ref<XmpPacketObject> brought_up_to_date(const Save& save, const XmpPacketObject& packet) {
    Ref<XmpPacketObject> own = own_copy(packet);
    const auto replace = [&](const char* uri, const char* name, const std::string& text) {
        XmpPackageObject* package = own->packages.find(uri);
        if (package != nullptr && package->find(name) != nullptr) {
            own_package(*own, *package).set(name, Value(to_utf16(text)));
        }
    };
    const std::string width = std::to_string(save.picture.width);
    const std::string height = std::to_string(save.picture.height);
    replace(xmp_namespaces::kTiff, "ImageWidth", width);
    replace(xmp_namespaces::kTiff, "ImageLength", height);
    replace(xmp_namespaces::kExif, "PixelXDimension", width);
    replace(xmp_namespaces::kExif, "PixelYDimension", height);
    XmpPackageObject* known = own->packages.find(xmp_namespaces::kXmpBasic);
    const Ref<XmpPackageObject> fresh = make_xmp_package("xmp", xmp_namespaces::kXmpBasic);
    if (known == nullptr) {
        own->packages.add(fresh.get());
    }
    XmpPackageObject& basic = known == nullptr ? *fresh : own_package(*own, *known);
    const std::string now = now_as_iso_date();
    for (const char* name : {"ModifyDate", "MetadataDate"}) {
        basic.set(name, Value(to_utf16(now)));
    }
    return own;
}

XmpToWrite xmp_to_write(const Save& save) {
    const ImageMetadata& kept = save.kept;
    const bool updates = updates_xmp(save.image);
    const auto written = [&](const XmpPacketObject& packet) {
        return xmp_of_object(save, updates && !packet.is_empty() ? *brought_up_to_date(save, packet) : packet);
    };
    const auto wanted = property_if_any(save.options, "XmpData");
    if (wanted) {
        return written(cast_object<XmpPacketObject>(*wanted));
    }
    auto own = property_if_any(&save.image, "XmpData");
    if (!own && !kept.xmp_replaced && !kept.found().xmp.empty()) {
        if (!updates && !has_to_be_read(save)) {
            return {kept.found().xmp, kept.found().extended_xmp, kept.found().extended_guid};
        }
        own = read_kept_xmp(kept);
    }
    if (!own) {
        return {};
    }
    const auto& packet = cast_object<XmpPacketObject>(*own);
    return save.is_stale(kept.read_at) ? written(*without_thumbnails(packet)) : written(packet);
}

// ---- JFIF

// A density in the unit that the options name.
void apply_unit(const Save& save, JfifObject& jfif, bool has_own_density) {
    const api::ResolutionUnit unit = unit_of(save);
    if (unit == api::ResolutionUnit::kInch || property_if_any(save.options, "Jfif")) {
        return;
    }
    if (unit == api::ResolutionUnit::kCm) {
        set_property(jfif, "DensityUnits", JfifDensityUnits::kPixelsPerCm);
    }
    if (!has_own_density) {
        jfif.set_density(save.picture.resolution);
    }
    if (unit == api::ResolutionUnit::kNone) {
        set_property(jfif, "DensityUnits", JfifDensityUnits::kNoUnits);
    }
}

bool is_near(const imagework::Resolution& a, const imagework::Resolution& b) {
    return std::abs(a.horizontal - b.horizontal) < 0.01 && std::abs(a.vertical - b.vertical) < 0.01;
}

// The header that the options name, or the image's, or else that of the encoder, which has the resolution.
void put_jfif(const Save& save, const FileMetadata& there, MetadataToWrite& write) {
    const ImageMetadata& kept = save.kept;
    const auto wanted = property_if_any(save.options, "Jfif");
    const auto own = property_if_any(&save.image, "Jfif");
    const Ref<JfifObject> read =
        kept.jfif_replaced ? nullptr : read_jfif(kept.found().jfif, kept.found().jfif_extension);
    if (read) {
        read->thumbnail_at = kept.read_at;
    }
    Ref<ManagedObject> source = wanted ? wanted : own ? own : Ref<ManagedObject>(read);
    bool has_own_density = false;
    if (source) {
        const auto& jfif = cast_object<JfifObject>(*source);
        // A density that a program set, or that of the file as long as the resolution of the image is that of the file.
        const Ref<ManagedObject> fresh = make_instance(JfifObject::kManagedName);
        const bool is_set = (wanted || (own && (!read || !read->same_density(jfif)))) &&
                            !jfif.same_density(cast_object<JfifObject>(*fresh));
        has_own_density = is_set || (read && is_near(save.picture.resolution, kept.read_resolution));
    } else {
        source = Ref<ManagedObject>(read_jfif(there.jfif, {}));
    }
    if (!source) {
        return;
    }
    const Ref<ManagedObject> copy = source->copy();
    auto& jfif = cast_object<JfifObject>(*copy);
    if (!has_own_density) {
        jfif.set_density(save.picture.resolution);
    }
    apply_unit(save, jfif, has_own_density && wanted);
    if (jfif.has_thumbnail() && save.is_stale(jfif.thumbnail_at)) {
        jfif.drop_thumbnail();
    }
    write.jfif = write_jfif(jfif);
    write.jfif_extension = jfif.extension;
}

// ---- The other kinds

std::vector<Bytes> comments_to_write(const Save& save) {
    const auto one = [](const std::optional<std::u16string>& text) {
        return text && !text->empty() ? std::vector<Bytes>{bytes_of_text(to_utf8(*text))} : std::vector<Bytes>();
    };
    if (save.options != nullptr && has_property(*save.options, "Comment")) {
        if (const auto wanted = property_string(*save.options, "Comment")) {
            return one(wanted);
        }
    }
    if (!save.kept.comment_replaced) {
        return save.kept.found().comments;
    }
    return has_property(save.image, "Comment") ? one(property_string(save.image, "Comment")) : std::vector<Bytes>();
}

struct Written {
    MetadataToWrite metadata;
    Ref<ExifObject> exif;  // that `below` refers to
};

Written to_write(const Save& save) {
    Written result;
    MetadataToWrite& write = result.metadata;
    XmpToWrite xmp = xmp_to_write(save);
    write.xmp = std::move(xmp.packet);
    write.extended_xmp = std::move(xmp.extension);
    write.extended_guid = std::move(xmp.guid);
    ExifToWrite exif = exif_to_write(save);
    write.exif = std::move(exif.bytes);
    write.photoshop = with_path_resources(save.image, save.is_stale(save.kept.read_at)
                                                          ? resources_without_thumbnails(save.kept.photoshop())
                                                          : save.kept.photoshop());
    write.texts = save.kept.texts();
    result.exif = std::move(exif.object);
    return result;
}

std::vector<uint8_t> unsigned_bytes(const Bytes& bytes) {
    const auto* first = reinterpret_cast<const uint8_t*>(bytes.data());
    return {first, first + bytes.size()};
}

Save save_of(const WrittenPicture& picture, const Record* options, const MetadataContainer& container,
             const FileMetadata* there = nullptr) {
    auto& image = static_cast<ImageObject&>(described(*picture.image));
    return {image, *own_metadata(image), options, picture, container, there};
}

// What else the directory of the page had. Places on the earth belong to pixels that are where they were, and what
// describes samples to those of the file.
void add_tags_of_page(TagList& to, const Save& save) {
    const Ref<ExifObject> of_file = save.kept.of_tiff();
    if (!of_file || (save.kept.exif_replaced && !property_if_any(&save.image, "ExifData"))) {
        return;
    }
    constexpr uint16_t kPlaces[] = {33550, 33922, 34264};  // ModelPixelScale, ModelTiepoint, ModelTransformation
    for (const auto& tag : of_file->of_page) {
        const bool is_place = std::find(std::begin(kPlaces), std::end(kPlaces), tag->id()) != std::end(kPlaces);
        const bool is_of_samples = is_tag_of_samples(tag->id());
        const auto same = [&](const auto& known) { return known->id() == tag->id(); };
        const bool holds = !(is_place || is_of_samples) || !save.is_stale(save.kept.read_at);
        if (tag->count() > 0 && holds && !(is_of_samples && save.options != nullptr) &&
            std::none_of(to.begin(), to.end(), same)) {
            to.push_back(tag);
        }
    }
}

// Each page has its own tags. The encoder writes none of these kinds, so that a page without any is good as it is.
void tag_pages(imagework::EditableFile& file, std::span<const WrittenPicture> pictures, const Record* options,
               const MetadataContainer& container) {
    std::vector<std::optional<MetadataToWrite>> pages;
    std::vector<Ref<ExifObject>> held;
    for (const WrittenPicture& picture : pictures) {
        const Save save = save_of(picture, options, container);
        auto [write, exif] = to_write(save);
        write.exif.clear();
        auto* tiff = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(options));
        if (tiff != nullptr) {
            add_free_tags(write.tags, tiff->tags());
        }
        add_tags_of_page(write.tags, save);
        if (exif) {
            add_free_tags(write.tags, exif->tags(ExifDirectory::kCommon));
            write.below = exif.get();
            held.push_back(exif);
        }
        const bool any =
            !write.tags.empty() || write.below != nullptr || !write.xmp.empty() || !write.photoshop.empty();
        pages.push_back(any ? std::optional(std::move(write)) : std::nullopt);
    }
    while (!pages.empty() && !pages.back()) {
        pages.pop_back();
    }
    if (!pages.empty()) {
        add_tiff_tags(file, pages);
    }
}

// What a file, or its head, has to get; nothing where it is good as it is.
std::optional<MetadataToWrite> wanted_metadata(std::span<const std::byte> file, const WrittenPicture& picture,
                                               const Record* options, const MetadataContainer& container) {
    const FileMetadata there = container.find(source_of(file));
    const Save save = save_of(picture, options, container, &there);
    MetadataToWrite write = to_write(save).metadata;
    if (container.has_comments) {
        write.comments = comments_to_write(save);
    }
    if (container.has_jfif) {
        put_jfif(save, there, write);
    }
    return container.is_same(write, there) ? std::nullopt : std::optional(std::move(write));
}

}  // namespace

std::vector<uint8_t> file_with_metadata(std::span<const uint8_t> file, std::span<const WrittenPicture> pictures,
                                        const Record* options) {
    assert(!pictures.empty());
    const auto bytes = std::as_bytes(file);
    const MetadataContainer* container = metadata_container(bytes);
    if (container == nullptr || container->write == nullptr) {
        return {};
    }
    assert(!container->has_tags);  // it gets them in place
    const auto write = wanted_metadata(bytes, pictures[0], options, *container);
    return write ? unsigned_bytes(container->write(bytes, *write)) : std::vector<uint8_t>();
}

HeadAndTail head_with_metadata(std::span<const uint8_t> head, std::span<const WrittenPicture> pictures,
                               const Record* options) {
    assert(!pictures.empty());
    const auto bytes = std::as_bytes(head);
    const MetadataContainer* container = metadata_container(bytes);
    assert(container != nullptr && container->head != nullptr);
    const auto write = wanted_metadata(bytes, pictures[0], options, *container);
    if (!write) {
        return {Bytes(bytes.begin(), bytes.end())};
    }
    return container->write_head != nullptr ? container->write_head(bytes, *write)
                                            : HeadAndTail{container->write(bytes, *write)};
}

bool gets_metadata(imagework::Format format) {
    const MetadataContainer* container = metadata_container(format);
    return container != nullptr && container->write != nullptr;
}

bool gets_metadata_in_place(imagework::Format format) {
    return !gets_metadata(format) || metadata_container(format)->has_tags;
}

void add_metadata(imagework::EditableFile& file, imagework::Format format, std::span<const WrittenPicture> pictures,
                  const Record* options) {
    assert(gets_metadata_in_place(format));
    const MetadataContainer* container = metadata_container(format);
    if (container != nullptr && container->has_tags) {
        tag_pages(file, pictures, options, *container);
    }
}

}  // namespace zelmor::embed
