// The pages of a TIFF file: where their directories are, and the facts in each.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_DIRECTORIES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_DIRECTORIES_H

#include <cstdint>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

// Where the directories of the pages are, in their order. It reads a few bytes of each page, so as to find the next
// one.
std::vector<uint64_t> tiff_directories(const ByteReader& file);
// The facts of the page whose directory is there.
FileFacts probe_tiff_page(const ByteReader& file, uint64_t directory);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_DIRECTORIES_H
