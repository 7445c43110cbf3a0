// The first bytes of files that are packed as a whole, and the names in archives: what tells formats that lie in gzip
// and zip containers.
//
// Nothing here fails: what cannot be unpacked is as if it were not there.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PACKED_HEAD_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PACKED_HEAD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// At most so many of the first bytes of what a gzip file packs; empty where the file is none.
std::vector<uint8_t> unpacked_head(const ByteReader& file, size_t most);

// Whether a zip archive begins with an entry "mimetype", stored unpacked, of exactly this text.
bool is_zip_of_type(const ByteReader& file, std::string_view mime_type);
// Whether one of the first entries of a zip archive has the name.
bool has_zip_entry(const ByteReader& file, std::string_view name);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PACKED_HEAD_H
