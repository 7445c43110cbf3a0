// The end points of a color space, from a bitmap header.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CIE_COORDINATES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CIE_COORDINATES_H

#include <cstddef>
#include <span>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

inline constexpr size_t kCieTripleBytes = 36;

// A CieCoordinatesTriple; ArgumentException for fewer bytes than it has.
Ref<ManagedObject> cie_triple_of(std::span<const std::byte> bytes);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_CIE_COORDINATES_H
