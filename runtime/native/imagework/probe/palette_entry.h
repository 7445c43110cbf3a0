// Entries of palettes in files.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PALETTE_ENTRY_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PALETTE_ENTRY_H

#include <cstdint>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// A color of a palette, from three bytes R, G, B.
inline Argb rgb_entry(const ByteReader& in, uint64_t at) {
    return 0xFF000000 | static_cast<Argb>(in.u8(at)) << 16 | static_cast<Argb>(in.u8(at + 1)) << 8 | in.u8(at + 2);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PALETTE_ENTRY_H
