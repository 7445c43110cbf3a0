// The metadata that an image has from its file, beside the properties that show them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_KEPT_METADATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_KEPT_METADATA_H

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

namespace zelmor::embed {

// The metadata of one file or page, for all images that were made of it. They are read when they are first asked for,
// and the file is let go then. A whole file in memory is read at once: that takes no time, and nothing here keeps the
// bytes.
//
// Its users hold the interpreter lock, and reading calls no code of theirs.
class MetadataReading {
 public:
    // Of a whole file, or of the page of a TIFF whose directory stands at that offset.
    explicit MetadataReading(imagework::SharedSource source, uint64_t directory = 0);
    // Throws what reading the source throws, and then reads again the next time.
    const FileMetadata& found() { return read(), m_found; }
    // What a TIFF file has in place of a block of EXIF data; null where it has none. No program gets this object, which
    // is the same for all images.
    const Ref<ExifObject>& of_tiff() { return read(), m_of_tiff; }

 private:
    void read();

    imagework::SharedSource m_source;  // null once it was read
    uint64_t m_directory;              // 0: of the whole file
    FileMetadata m_found;
    Ref<ExifObject> m_of_tiff;
};

// The bytes of a kind are no longer used once the property that shows them was set.
struct ImageMetadata {
    std::shared_ptr<MetadataReading> reading;  // null: no file
    bool xmp_replaced = false;
    bool exif_replaced = false;
    bool jfif_replaced = false;
    bool comment_replaced = false;
    bool unseen_dropped = false;  // the kinds that no property of the image shows
    // When the file was read, on the steady clock: thumbnails in it show the picture as it was then.
    int64_t read_at = 0;
    imagework::Resolution read_resolution = imagework::kDefaultResolution;

    // As found in the file; these read it if nothing did before.
    const FileMetadata& found() const;
    const Bytes& photoshop() const;
    const std::vector<Bytes>& texts() const;
    Ref<ExifObject> of_tiff() const { return reading != nullptr ? reading->of_tiff() : nullptr; }
};

// The object whose properties and metadata describe an image: of a TIFF image with frames its active frame, since each
// page has metadata of its own; otherwise the image itself.
Record& described(Record& image);

// The metadata of an image; made for one that has none yet. Null for an object that is no image with pixels.
ImageMetadata* own_metadata(Record& image);

// The XMP of the file as one packet, and EXIF data of bytes that were read at a time; what reading them throws.
Ref<ManagedObject> read_kept_xmp(const ImageMetadata& metadata);
Ref<ExifObject> read_kept_exif(const ImageMetadata& metadata, bool of_jpeg);
// The comments of the file as one text, a line for each; nothing where it has none.
std::optional<std::u16string> kept_comment(const ImageMetadata& metadata);

// The EXIF data of an image, as its property shows them; null where it has none.
Ref<ManagedObject> exif_of(Record& image);
// The XMP packet of an image; null where it has none.
Ref<ManagedObject> xmp_of(Record& image);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_KEPT_METADATA_H
