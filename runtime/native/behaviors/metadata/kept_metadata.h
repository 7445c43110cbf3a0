// The metadata that an image has from its file, beside the properties that show them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_KEPT_METADATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_KEPT_METADATA_H

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

namespace zelmor::embed {

// The bytes of a kind are no longer used once the property that shows them was set.
struct ImageMetadata {
    FileMetadata found;
    Ref<ExifObject> of_tiff;
    bool xmp_replaced = false;
    bool exif_replaced = false;
    bool jfif_replaced = false;
    bool comment_replaced = false;
    // When the file was read, on the steady clock: thumbnails in it show the picture as it was then.
    int64_t read_at = 0;
    imagework::Resolution read_resolution = imagework::kDefaultResolution;

    // All kinds that no property of the image shows.
    void drop_unseen();
};

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
