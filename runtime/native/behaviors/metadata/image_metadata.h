// What the image classes call: keeping the metadata of a file with an image, and writing it when the image is saved.
//
// The metadata of a file are read when a property or a save first needs one of them; the image keeps their bytes from
// then on. They become objects when a property is first read; otherwise they are written to the next file unchanged. A
// value that a property was set to replaces them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H

#include <memory>
#include <span>
#include <vector>

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed {

class ImageObject;
struct ImageMetadata;

// The metadata of a file, for the image that was decoded from it, or of the page of a TIFF whose directory stands at
// that offset.
std::shared_ptr<ImageMetadata> keep_metadata(imagework::SharedSource file, uint64_t directory = 0);
// `resolution` is that of the picture in the file.
void attach_metadata(ImageObject& image, std::shared_ptr<ImageMetadata> metadata, imagework::Resolution resolution);

// Gives an image that is made of another the metadata of that one; what is changed in one stays as it is in the other.
void carry_metadata(ImageObject& from, ImageObject& to);
// Moves the metadata of a TIFF image to its first frame, when frames are first asked for.
void pass_metadata(ImageObject& from, ImageObject& frame);

// The EXIF orientation of the picture, 1 to 8; 1 where nothing says so. Setting it changes a tag that is there.
int exif_orientation(ImageObject& image);
void reset_orientation(ImageObject& image);

// Before an image is encoded: options that are made of tags are brought in step. `options` may be null.
void prepare_options(const Record* options);

// What the metadata of a file have to know of a picture in it.
struct WrittenPicture {
    Ref<ImageObject> image;  // that describes it
    imagework::Resolution resolution;
    int64_t changed_at;  // see imagework::Picture
    int64_t width;
    int64_t height;
};

// The file with the metadata of the options, or of the images where these have none; empty where the file is good as it
// is. `pictures` are those in the file: each page of a TIFF gets its own metadata, any other file those of the first.
std::vector<uint8_t> file_with_metadata(std::span<const uint8_t> file, std::span<const WrittenPicture> pictures,
                                        const Record* options);
// The same for the head of a file whose other bytes are still to come (see size_of_head).
HeadAndTail head_with_metadata(std::span<const uint8_t> head, std::span<const WrittenPicture> pictures,
                               const Record* options);
// Whether metadata are written into files of a format.
bool gets_metadata(imagework::Format format);
// Whether files of a format get their metadata, if any, when they are complete, by changes that do not move their
// bytes.
bool gets_metadata_in_place(imagework::Format format);
void add_metadata(imagework::EditableFile& file, imagework::Format format, std::span<const WrittenPicture> pictures,
                  const Record* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H
