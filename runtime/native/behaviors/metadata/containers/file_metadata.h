// What describes a picture, where the formats of image files keep it: JPEG segments, PNG and WebP chunks, GIF
// extensions, TIFF tags.
//
// The containers are taken apart and put together again here; what is in them is left as it is. Of other formats
// nothing is read, and nothing is written into them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_METADATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_METADATA_H

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/core/value.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed {

// The format that the first bytes of a file belong to.
imagework::Format metadata_format(std::span<const std::byte> file);

// The metadata of a file, unchanged; what is empty is not there. The search ends at damage, which the decoder reports.
struct FileMetadata {
    Bytes exif;  // from the byte order on; of a TIFF file empty, since the file itself is it
    Bytes xmp;
    // The part of a packet that did not fit into one segment of a JPEG, and the name by which the packet refers to it.
    Bytes extended_xmp;
    std::string extended_guid;
    Bytes photoshop;              // image resources, among them IPTC: of JPEG and TIFF
    Bytes jfif;                   // the header behind "JFIF" and a zero
    Bytes jfif_extension;         // the same behind "JFXX" and a zero: a thumbnail in another form
    std::vector<Bytes> comments;  // of JPEG
    std::vector<Bytes> texts;     // of PNG: the type and the data of each chunk
    Bytes bmp_header;             // from its size on
};
// Reads no more of the file than its structure and its metadata.
FileMetadata find_metadata(const imagework::SharedSource& file);
FileMetadata find_metadata(std::span<const std::byte> file);

// The metadata that replace those of the file, each kind as a whole; empty for none. A format without a place for a
// kind leaves it out.
struct MetadataToWrite : FileMetadata {
    // For TIFF instead of `exif`: the tags of the image's own directory, and the data whose directories hang below it.
    TagList tags;
    const ExifObject* below = nullptr;
};
// The file with that. ArgumentException for what is too long for the format.
Bytes with_metadata(std::span<const std::byte> file, const MetadataToWrite& metadata);

// The beginning of a file as an encoder writes it, and what follows the encoder's last byte.
struct HeadAndTail {
    Bytes head;
    Bytes tail = {};
};

// The number of bytes before the pixels of a file that an encoder writes, for formats whose metadata stand there or at
// the end. Nothing where the first bytes of the file, which are given, do not reach so far, and for other formats.
std::optional<size_t> size_of_head(std::span<const std::byte> start);

// Parts of TIFF files that both this and the codec of EXIF data need.
//
// Adds tags to the directories of a TIFF file, one for each page, in the place of those with the same numbers or with
// the numbers given, and directories below them. A page without metadata here stays as it is. The file grows: data
// without a pointer to them stay in it.
void add_tiff_tags(imagework::EditableFile& file, std::span<const std::optional<MetadataToWrite>> pages);
// The packet and the image resources in tags of the directory at that offset; 0 for the first one.
FileMetadata find_in_tiff(const imagework::SharedSource& file, uint64_t directory = 0);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_METADATA_H
