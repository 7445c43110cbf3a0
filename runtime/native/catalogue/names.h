// What a generated name of the catalogue consists of.
//
// The generator writes a header for each managed namespace, "generated/runtime/Zelmor.Imaging.h", with a structure for
// each type and in it a constant for each entry point and property; enumerations stand there as they are. Code that
// names a member by such a constant does not compile if the catalogue lacks it.
#ifndef ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H
#define ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H

#include <cstddef>
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
    constexpr PropertyName(const TypeName& its_type, const char* its_name, const EntryName* get, const EntryName* set)
        : type(its_type), name(its_name), getter(get), setter(set), writable(true) {}
    constexpr PropertyName(const TypeName& its_type, const char* its_name, const EntryName* get, std::nullptr_t)
        : type(its_type), name(its_name), getter(get), setter(nullptr), writable(false) {}

    const TypeName& type;
    const char* name;  // "Width"
    const EntryName* getter;
    const EntryName* setter;  // null for a property that is only read
    bool writable;            // a constant also under the sanitizers, where the address of an object may be null
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CATALOGUE_NAMES_H
