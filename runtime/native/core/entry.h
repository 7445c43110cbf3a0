// Typed entry points: a plain C++ function becomes a delegate with the exception boundary around it.
//
// The C++ parameter types say how an argument crosses; entry<&f>() derives the wire signature from them, in the codes
// of catalogue/tables.h, so that a registration can be checked against the catalogue. For example
//
//     SizeValue size_add(const SizeValue& a, const SizeValue& b);          // "pVV"
//     void set_width(SizeValue& self, int32_t width);                      // "vpi"
//     const Behavior kMembers[] = {
//         {"Zelmor.Imaging.Size", "call_000_Add", entry<&size_add>()},
//         {"Zelmor.Imaging.Size", "set_Width", entry<&set_width>()},
//     };
//     const BehaviorTable table(Assembly::kImaging, kMembers);
//
// Parameters:  numbers, bool, enum class (by underlying type); Handle (raw); T& and T* of a managed object, T* may be
// null; const V& or V of a value type (an argument), V& (the instance itself); std::string (UTF-8) and std::u16string,
// which refuse None, or std::optional of these; Ref<ManagedStream> and std::span<const std::byte>, which refuse None;
// the dates, decimals and identifiers of system_values.h; the records of the wire by pointer, as they are; int32_t* and
// the like for out slots.
// Results: numbers, bool, enum class, V, Ref<T>, Handle, std::u16string, std::string, std::optional of these, Bytes and
// Value (as a Python object), PyObject* (a new reference), TimeSpanValue; Interface, Collection, Ref<ManagedStream> and
// the other values of system_values.h (through the trailing out record).
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_H
#define ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_H

#include <array>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "exchange/wire/records.h"
#include "runtime/native/core/boundary.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

// Results that leave through an out record behind the other arguments.
struct Interface {
    Ref<ManagedObject> object;
};
struct Collection {
    Value value;
};

struct EntryPoint {
    const char* signature;
    void* address;
};

struct Behavior {
    const char* type;   // full managed name
    const char* entry;  // "call_000_Add"
    EntryPoint point;
};

// The behaviors of one file. Defined at namespace scope; linking the file is all that it takes to register it.
class BehaviorTable {
 public:
    BehaviorTable(Assembly assembly, std::span<const Behavior> behaviors);
    BehaviorTable(Assembly assembly, std::initializer_list<Behavior> behaviors)
        : BehaviorTable(assembly, std::span(behaviors.begin(), behaviors.size())) {}
    // Adds one whose name is made at run time; the name has to stay. Only before the first look-up.
    void add(const Behavior& behavior) { m_behaviors.push_back(behavior); }
    Assembly assembly() const { return m_assembly; }
    const std::vector<Behavior>& behaviors() const { return m_behaviors; }
    const BehaviorTable* next() const { return m_next; }
    static const BehaviorTable* first();

 private:
    Assembly m_assembly;
    std::vector<Behavior> m_behaviors;
    const BehaviorTable* m_next;
};

// The registered behavior of an entry point, or null.
const Behavior* find_behavior(const char* type_full_name, const char* entry_name);

}  // namespace zelmor::embed

#include "runtime/native/core/entry_traits.h"

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_H
