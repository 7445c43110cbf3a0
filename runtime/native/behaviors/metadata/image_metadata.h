// What the image classes call: keeping the metadata of a file with an image, and writing it when the image is saved.
//
// An image keeps the bytes of its file's metadata. They become objects when a property is first read; otherwise they
// are written to the next file unchanged. A value that a property was set to replaces them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H

#include <memory>
#include <span>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

struct ImageMetadata;

// The metadata of the file; null if it has none.
std::shared_ptr<ImageMetadata> keep_metadata(std::span<const uint8_t> file);

// Before an image is encoded: options that are made of tags are brought in step. `options` may be null.
void prepare_options(const Record* options);

// The file with the metadata of the options, or of the image where these have none; empty where the file is good as it
// is. `metadata` is what keep_metadata() gave for the image, or null.
std::vector<uint8_t> file_with_metadata(std::span<const uint8_t> file, const Record& image,
                                        const ImageMetadata* metadata, const Record* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_IMAGE_METADATA_H
