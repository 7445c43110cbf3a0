// Metadata of images: read when asked for, written when saved; see image_metadata.h.
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "generated/runtime/Zelmor.Imaging.Exif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/behaviors/metadata/tiff/rationals.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_option_tags.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

// The metadata of an image's file. The bytes are no longer used once the property that shows them was set.
struct ImageMetadata {
    FileMetadata found;
    Ref<ExifObject> of_tiff;
    bool xmp_replaced = false;
    bool exif_replaced = false;
};

namespace {

using Tag = api::FileFormats::Tiff::Enums::TiffTags;
using Compression = api::FileFormats::Tiff::Enums::TiffCompressions;
using ResolutionUnit = api::FileFormats::Tiff::Enums::TiffResolutionUnits;
using ExifTag = api::Exif::ExifProperties;

std::span<const std::byte> as_bytes_of(std::span<const uint8_t> file) {
    return std::as_bytes(file);
}

ImageMetadata* metadata_of(Record& image) {
    auto* object = dynamic_cast<ImageObject*>(&image);
    return object != nullptr ? object->metadata.get() : nullptr;
}

Ref<ManagedObject> get_xmp(Record& self) {
    self.require_live();
    ImageMetadata* metadata = metadata_of(self);
    const auto known = property_object(self, "XmpData");
    if (known || metadata == nullptr || metadata->xmp_replaced || metadata->found.xmp.empty()) {
        return known;
    }
    Ref<ManagedObject> read = read_xmp_packet(metadata->found.xmp);
    set_property(self, "XmpData", read);
    metadata->xmp_replaced = true;
    return read;
}

void set_xmp(Record& self, XmpPacketObject* value) {
    self.require_live();
    if (ImageMetadata* metadata = metadata_of(self)) {
        metadata->xmp_replaced = true;
    }
    set_property(self, "XmpData", Ref<ManagedObject>(value));
}

// The bytes are kept beside the object: if the object was not changed, they are written to the next file as they are.
template <bool kOfJpeg>
Ref<ManagedObject> get_exif(Record& self) {
    self.require_live();
    ImageMetadata* metadata = metadata_of(self);
    const auto known = property_object(self, "ExifData");
    if (known || metadata == nullptr || metadata->exif_replaced) {
        return known;
    }
    Ref<ManagedObject> read = metadata->of_tiff;
    if (!metadata->found.exif.empty()) {
        read = read_exif(metadata->found.exif, kOfJpeg);
    }
    set_property(self, "ExifData", read);
    return read;
}

void set_exif(Record& self, ExifObject* value) {
    self.require_live();
    if (ImageMetadata* metadata = metadata_of(self)) {
        metadata->exif_replaced = true;
    }
    set_property(self, "ExifData", Ref<ManagedObject>(value));
}

// The thumbnail is decoded when it is asked for, and encoded when it is set: the data keeps a JPEG of its own.
Ref<ManagedObject> get_thumbnail(ExifObject& self) {
    const auto known = property_object(self, "Thumbnail");
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
        const auto file = value->picture().encode(imagework::default_encoding(imagework::Format::kJpeg));
        const auto bytes = as_bytes_of({file.data.get(), file.size});
        self.thumbnail.assign(bytes.begin(), bytes.end());
        self.thumbnail_tags.push_back(
            make_tag(TiffType::kShort, number_of(Tag::kCompression), static_cast<int64_t>(Compression::kOjpeg)));
    }
    set_property(self, "Thumbnail", Ref<ManagedObject>(value));
}

Ref<ManagedObject> property_if_any(const Record* object, const char* name) {
    return object != nullptr && has_property(*object, name) ? property_object(*object, name) : nullptr;
}

Bytes bytes_of_text(const std::string& text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

// The facts of a written picture that EXIF data repeat.
struct Written {
    int64_t width;
    int64_t height;
    imagework::Resolution resolution;
};

Written written(std::span<const uint8_t> file, const Record& image, const Record* options) {
    const imagework::FileFacts facts = imagework::probe(file);
    Written result{facts.width, facts.height, imagework::kDefaultResolution};
    if (const auto* object = dynamic_cast<const ImageObject*>(&image)) {
        result.resolution = object->picture().resolution();
    }
    if (const auto settings = property_if_any(options, "ResolutionSettings")) {
        result.resolution = {property_double(*settings, "HorizontalResolution"),
                             property_double(*settings, "VerticalResolution")};
    }
    return result;
}

// Updates size and resolution from the file; true if something had to be changed.
bool bring_in_step(ExifObject& exif, const Written& picture) {
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
    put_size(ExifTag::kPixelXDimension, picture.width);
    put_size(ExifTag::kPixelYDimension, picture.height);
    const TagObject* unit = exif.find(ExifDirectory::kCommon, number_of(Tag::kResolutionUnit));
    const bool metric = unit != nullptr && tag_integer(*unit) == static_cast<int64_t>(ResolutionUnit::kCentimeter);
    const double per_inch = metric ? 2.54 : 1.0;
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
    put_resolution(Tag::kXresolution, picture.resolution.horizontal);
    put_resolution(Tag::kYresolution, picture.resolution.vertical);
    return changed;
}

// Tags that describe how the pixels are stored are left to the encoder of the file.
bool is_of_pixels(uint16_t id) {
    constexpr Tag kTags[] = {Tag::kSubFileType,      Tag::kOsubfileType,     Tag::kImageWidth,
                             Tag::kImageLength,      Tag::kBitsPerSample,    Tag::kCompression,
                             Tag::kPhotometric,      Tag::kThresholding,     Tag::kCellWidth,
                             Tag::kCellLength,       Tag::kFillOrder,        Tag::kStripOffsets,
                             Tag::kSamplesPerPixel,  Tag::kRowsPerStrip,     Tag::kStripByteCounts,
                             Tag::kMinSampleValue,   Tag::kMaxSampleValue,   Tag::kXresolution,
                             Tag::kYresolution,      Tag::kPlanarConfig,     Tag::kT4Options,
                             Tag::kT6Options,        Tag::kResolutionUnit,   Tag::kTransferFunction,
                             Tag::kPredictor,        Tag::kWhitePoint,       Tag::kPrimaryChromaticities,
                             Tag::kColorMap,         Tag::kHalftoneHints,    Tag::kTileWidth,
                             Tag::kTileLength,       Tag::kTileOffsets,      Tag::kTileByteCounts,
                             Tag::kSubIfd,           Tag::kInkSet,           Tag::kNumberOfInks,
                             Tag::kExtraSamples,     Tag::kSampleFormat,     Tag::kSminSampleValue,
                             Tag::kSmaxSampleValue,  Tag::kJpegTables,       Tag::kYcbcrCoefficients,
                             Tag::kYcbcrSubSampling, Tag::kYcbcrPositioning, Tag::kReferenceBlackWhite,
                             Tag::kExifIfdPointer,   Tag::kIccProfile};
    const auto tag = static_cast<Tag>(id);
    const bool of_jpeg = tag >= Tag::kJpegProc && tag <= Tag::kJpegACtables;
    return of_jpeg || id == exif_tags::kGpsPointer ||
           std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

void add_free_tags(TagList& to, const TagList& tags) {
    for (const auto& tag : tags) {
        const auto same = [&](const auto& known) { return known->id() == tag->id(); };
        if (!is_of_pixels(tag->id()) && tag->count() > 0 && std::none_of(to.begin(), to.end(), same)) {
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
    bool decided = false;    // even where it is for none
};

ExifToWrite exif_to_write(const Record& image, const ImageMetadata* metadata, const Record* options,
                          const Written& picture) {
    ExifToWrite result;
    const auto wanted = property_if_any(options, "ExifData");
    const auto own = property_if_any(&image, "ExifData");
    const bool as_read = metadata != nullptr && !metadata->exif_replaced;
    if (wanted || own) {
        result.object = own_copy(cast_object<ExifObject>(wanted ? *wanted : *own));
    } else if (as_read && !metadata->found.exif.empty()) {
        try {
            result.object = read_exif(metadata->found.exif, true);
        } catch (const ManagedException& error) {
            // Unreadable data are written again unchanged.
            if (error.name() != "FormatException") {
                throw;
            }
            result.bytes = metadata->found.exif;
            result.decided = true;
            return result;
        }
    } else if (as_read && metadata->of_tiff) {
        result.object = own_copy(*metadata->of_tiff);
    }
    result.decided = result.object || (metadata != nullptr && metadata->exif_replaced);
    if (!result.object) {
        return result;
    }

    // Unchanged data are written as the same bytes: a maker's note may contain offsets into them.
    if (!wanted && as_read && !metadata->found.exif.empty()) {
        const Ref<ExifObject> before = read_exif(metadata->found.exif, true);
        if (write_exif(*before) == write_exif(*result.object)) {
            result.bytes = metadata->found.exif;
        }
    }
    if (bring_in_step(*result.object, picture) || result.bytes.empty()) {
        result.bytes = result.object->empty() ? Bytes() : write_exif(*result.object);
    }
    return result;
}

using JpegExifDataApi = api::Exif::JpegExifData;
using JpegImageApi = api::FileFormats::Jpeg::JpegImage;
using RasterImageApi = api::RasterImage;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;
using TiffImageApi = api::FileFormats::Tiff::TiffImage;

const BehaviorTable table({
    behavior<&get_xmp, RasterImageApi::get_XmpData>(),
    behavior<&set_xmp, RasterImageApi::set_XmpData>(),
    behavior<&get_exif<true>, JpegImageApi::get_ExifData>(),
    behavior<&set_exif, JpegImageApi::set_ExifData, TiffImageApi::set_ExifData, TiffFrameApi::set_ExifData>(),
    behavior<&get_thumbnail, JpegExifDataApi::get_Thumbnail>(),
    behavior<&set_thumbnail, JpegExifDataApi::set_Thumbnail>(),
    behavior<&get_exif<false>, TiffImageApi::get_ExifData, TiffFrameApi::get_ExifData>(),
});

}  // namespace

std::shared_ptr<ImageMetadata> keep_metadata(std::span<const uint8_t> file) {
    const auto bytes = as_bytes_of(file);
    ImageMetadata metadata;
    metadata.found = find_metadata(bytes);
    if (metadata_format(bytes) == MetadataFormat::kTiff) {
        try {
            auto exif = read_exif_of_tiff(bytes);
            if (!exif->empty()) {
                metadata.of_tiff = std::move(exif);
            }
        } catch (const ManagedException& error) {
            // A truncated file has no tags. The decoder reports other damage.
            if (error.name() != "FormatException" && error.name() != "EndOfStreamException") {
                throw;
            }
        }
    }
    if (metadata.found.exif.empty() && metadata.found.xmp.empty() && !metadata.of_tiff) {
        return nullptr;
    }
    return std::make_shared<ImageMetadata>(std::move(metadata));
}

void prepare_options(const Record* options) {
    auto* tiff = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(options));
    if (tiff != nullptr) {
        tiff->synchronize();
    }
}

std::vector<uint8_t> file_with_metadata(std::span<const uint8_t> file, const Record& image,
                                        const ImageMetadata* metadata, const Record* options) {
    const auto bytes = as_bytes_of(file);
    const MetadataFormat format = metadata_format(bytes);
    if (format == MetadataFormat::kOther) {
        return {};
    }

    MetadataToWrite write;
    const FileMetadata there = find_metadata(bytes);
    const auto wanted = property_if_any(options, "XmpData");
    const auto own = property_if_any(&image, "XmpData");
    if (wanted || own) {
        write.xmp = bytes_of_text(cast_object<XmpPacketObject>(wanted ? *wanted : *own).text());
    } else if (metadata != nullptr && !metadata->xmp_replaced) {
        write.xmp = metadata->found.xmp;
    } else if (metadata == nullptr) {
        write.xmp = there.xmp;
    }
    ExifToWrite exif = exif_to_write(image, metadata, options, written(file, image, options));
    write.exif = exif.decided ? std::move(exif.bytes) : there.exif;
    if (format == MetadataFormat::kTiff) {
        write.exif.clear();
        auto* tiff = dynamic_cast<TiffOptionsObject*>(const_cast<Record*>(options));
        if (tiff != nullptr) {
            add_free_tags(write.tags, tiff->tags());
        }
        if (exif.object) {
            add_free_tags(write.tags, exif.object->tags(ExifDirectory::kCommon));
        }
        write.below = exif.object.get();
        if (write.tags.empty() && !write.below && write.xmp == there.xmp) {
            return {};
        }
    } else if (write.exif == there.exif && write.xmp == there.xmp) {
        // The image library compresses a packet in PNG, where other programs do not look for it.
        if (format != MetadataFormat::kPng || write.xmp.empty()) {
            return {};
        }
    }
    const Bytes out = with_metadata(bytes, write);
    const auto* first = reinterpret_cast<const uint8_t*>(out.data());
    return {first, first + out.size()};
}

}  // namespace zelmor::embed
