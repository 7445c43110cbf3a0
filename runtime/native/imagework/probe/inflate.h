// Unpacking by the zlib library, which is loaded when the first packed data are met.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_INFLATE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_INFLATE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// What stands around the packed data.
enum class Wrapping { kNone, kGzip };

struct Unpacked {
    std::vector<uint8_t> bytes = {};
    bool complete = false;  // the packed data ended as they should; otherwise these are the bytes before the trouble
    bool has_library = true;
};

// Unpacks the data at `offset`, which take at most `length` bytes, to at most `most` bytes. What would become longer is
// not complete. Nothing here fails.
Unpacked inflated(const ByteReader& file, uint64_t offset, uint64_t length, Wrapping wrapping, size_t most);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_INFLATE_H
