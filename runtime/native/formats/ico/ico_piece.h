// A piece of a file as a file of its own, with other bytes before it.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_PIECE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_PIECE_H

#include <cstdint>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

// The piece lies within the source, which it keeps.
SharedSource piece_of(const SharedSource& source, uint64_t offset, uint64_t size, std::vector<uint8_t> before = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_PIECE_H
