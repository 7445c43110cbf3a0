// The resolution that EXIF data tell.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXIF_RESOLUTION_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXIF_RESOLUTION_H

#include <cstdint>
#include <optional>
#include <span>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Nothing where the data tell none, or none in inches or centimeters, or make no sense. The data begin with a TIFF
// header, or with the mark that EXIF data have in JPEG files.
std::optional<Resolution> exif_resolution(std::span<const uint8_t> exif);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_EXIF_RESOLUTION_H
