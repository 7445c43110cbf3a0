// The chunks of a CDR file as the objects of the API.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_OBJECTS_H

#include <cstdint>
#include <span>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// A CdrDocument with an object for each chunk that is known, in the order of the file. Lengths are inches, angles
// degrees. Of files in a zip archive the part that has the pages is read, as far as it is one. PictureError.
Ref<ManagedObject> cdr_document(std::span<const uint8_t> file);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_OBJECTS_H
