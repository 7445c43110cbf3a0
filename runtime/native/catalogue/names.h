// What a generated name of the catalogue consists of.
//
// The generator writes a header for each managed namespace, "generated/runtime/Zelmor.Imaging.h", with a structure for
// each type and in it a constant for each entry point and property; enumerations stand there as they are. Code that
// names a member by such a constant does not compile if the catalogue lacks it.
#ifndef ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H
#define ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H

#include <cstdint>

#include "runtime/native/catalogue/assembly.h"

namespace zelmor::embed {

struct TypeName {
    const char* name;  // the full managed name, "Zelmor.Imaging.Image"
    Assembly assembly;
};

// An entry point of the type that declares it. The codes of the signature are those of catalogue/tables.h.
struct EntryName {
    const TypeName& type;
    const char* name;  // "call_000_Load"
    const char* signature;
};

struct PropertyName {
    const TypeName& type;
    const char* name;  // "Width"
    const EntryName* getter;
    const EntryName* setter;  // null for a property that is only read
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H
