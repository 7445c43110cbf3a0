// One argument or result of a wire type as a stored value.
#ifndef ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_WIRE_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_WIRE_VALUES_H

#include "runtime/native/core/value.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

// The argument at `index` of the frame. A struct is copied, an object checked against its declared type (may be null).
Value read_wire(CallFrame& frame, size_t index, Wire wire, const TypeInfo* type);
// The same for a member of a catalogue, whose collections name their shape and element beside the wire.
Value read_wire(CallFrame& frame, size_t index, Wire wire, const TypeInfo* type, const CollectionInfo& collection);

// Stores the value as the frame's result; interface, stream and collection results go through the last argument.
void write_wire(CallFrame& frame, const Value& value, Wire wire, const TypeInfo* type);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_TABLE_ENTRIES_WIRE_VALUES_H
