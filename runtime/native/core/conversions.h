// Conversions between value types that a cast makes: the conversion operators of the managed types.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_CONVERSIONS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_CONVERSIONS_H

#include "runtime/native/core/object.h"
#include "runtime/native/core/unnamed.h"

namespace zelmor::embed {

// A conversion operator. Defined at namespace scope, in the file of the type that declares it in the managed library.
struct ConversionRegistration {
    using Convert = Ref<ManagedObject> (*)(ManagedObject&);
    ConversionRegistration(const char* from, const char* to, Convert convert);
    const char* from;  // full managed names
    const char* to;
    Convert convert;
    const ConversionRegistration* next;
};

// The conversion between two types, or null. Bases of `from` count.
ConversionRegistration::Convert find_conversion(const TypeInfo& from, const TypeInfo& to);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_CONVERSIONS_H
