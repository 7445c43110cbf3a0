// The header of a BMP file, kept for its properties. A BMP has no place for other metadata.
#include <algorithm>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"

namespace zelmor::embed {

namespace {

// The header behind that of the file; it begins with its own size.
FileMetadata find_in_bmp(const imagework::SharedSource& source) {
    constexpr uint64_t kFileHeader = 14;
    constexpr uint64_t kLongest = 124;
    constexpr uint64_t kMasks = 16;  // behind a header of 40 bytes
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    if (file.size() < kFileHeader + 4) {
        return found;
    }
    const uint64_t size = std::min<uint64_t>(file.reader(false).u32(kFileHeader), kLongest) + kMasks;
    found.bmp_header = file.take(kFileHeader, std::min(file.size() - kFileHeader, size));
    return found;
}

}  // namespace

extern const MetadataContainer kBmpContainer;
const MetadataContainer kBmpContainer{
    .format = imagework::Format::kBmp,
    .find = &find_in_bmp,
};

}  // namespace zelmor::embed
