// What the graphic objects of a CDR drawing refer to: fills, lines, arrows, pictures, patterns and colors.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_RESOURCES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_RESOURCES_H

#include <cstdint>
#include <string_view>

#include "runtime/native/catalogue/names.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/cdr/cdr_numbers.h"

namespace zelmor::embed {

// The class of such a chunk; null for others.
const TypeName* cdr_resource_type(std::string_view chunk);

// Fills an object of that class from its chunk, of the versions 6 to 15. A chunk that ends early gives what it has.
void take_cdr_resource(ManagedObject& object, std::string_view chunk, CdrNumbers in, uint32_t version);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_RESOURCES_H
