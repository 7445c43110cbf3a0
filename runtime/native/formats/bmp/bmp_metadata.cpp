// The header of a BMP file, kept for its properties. A BMP has no place for other metadata.
#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"

namespace zelmor::embed {

namespace {

// The header behind that of the file; it begins with its own size. As much is taken as the longest has: a shorter one
// may have masks behind it.
FileMetadata find_in_bmp(const imagework::SharedSource& source) {
    constexpr uint64_t kFileHeader = 14;
    constexpr uint64_t kLongest = 124;
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    found.bmp_header = file.take(kFileHeader, kLongest);
    return found;
}

}  // namespace

extern const MetadataContainer kBmpContainer;
const MetadataContainer kBmpContainer{
    .format = imagework::Format::kBmp,
    .find = &find_in_bmp,
};

}  // namespace zelmor::embed
