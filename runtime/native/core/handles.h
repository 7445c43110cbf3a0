// The object table: it maps the handles that Python holds to managed objects.
//
// A handle packs a slot number and the slot's generation. Giving a handle back raises the generation, so that a handle
// used after that, or one that was never handed out, is recognized and answered by a managed exception. Each crossing
// of an object makes a handle of its own; a handle holds one count of the object.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_H

#include <cstdint>

#include "runtime/native/core/object.h"

namespace zelmor::embed {

using Handle = void*;

enum class HandleKind : int { kAny, kObject, kStruct, kType };

// A new handle to the object; the null handle for an empty reference.
Handle make_handle(Ref<ManagedObject> object);

// The object behind a handle, null for the null handle. A handle that is not live raises InvalidOperationException.
ManagedObject* object_of(Handle handle);

// The same, with NullReferenceException for the null handle.
ManagedObject& require_object(Handle handle);

// Gives a handle back. The null handle is skipped; one that is not live raises InvalidOperationException.
void free_handle(Handle handle);

// Number of handles that are out.
int64_t live_handles(HandleKind kind = HandleKind::kAny);

// Calls `visit(object, context)` for each handle that is out.
void for_each_live_handle(void (*visit)(const ManagedObject&, void*), void* context);

// The object as a T, or InvalidCastException naming both types.
template <class T>
T& cast_object(ManagedObject& object);
// The target of a handle as a T: NullReferenceException for null, InvalidCastException for another kind of object.
template <class T>
T& target(Handle handle);
// The same for an argument that may be null.
template <class T>
T* target_or_null(Handle handle);

}  // namespace zelmor::embed

#include "runtime/native/core/handles_inl.h"

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_HANDLES_H
