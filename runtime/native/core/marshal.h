// How values cross: reading tagged arguments, writing results and out records.
//
// Both the behaviors (entry.h) and the entry points that are served from tables (table_entries/) use it.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_MARSHAL_H
#define ZELMOR_RUNTIME_NATIVE_CORE_MARSHAL_H

#include "exchange/wire/records.h"
#include "exchange/wire/tags.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

// Argument of class, struct, interface or collection type (tags 0 and 1): the object, empty for None. A Python object
// that stands in for a managed one (tags 2 and 3) is refused with InvalidCastException.
Ref<ManagedObject> read_object(const VariantArg* arg);
// The same, checked against the declared type; InvalidCastException naming both.
Ref<ManagedObject> read_object(const VariantArg* arg, const TypeInfo& declared);

// Argument of managed type `object` (tags of VariantTag). Text, numbers, bool, bytes, decimals, dates and identifiers
// become managed values, structs are copied, objects shared; a list or tuple is held as it is.
Value read_variant(const VariantArg* arg);

// An unsigned number as a stored value: signed where it fits, so that equal numbers are equal values.
Value unsigned_value(uint64_t number);

// A result of managed type `object`, string or byte array: a new Python reference.
PyObject* write_value(const Value& value);

void write_interface(Ref<ManagedObject> object, PyObjectOutArg* out);
// A managed object (kind 0), a struct (kind 1), or the Python object that a value or a proxy holds (kind 2).
void write_collection(const Value& value, PyCollectionArg* out);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_MARSHAL_H
