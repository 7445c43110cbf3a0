// Behaviors: what the members of managed classes do, as plain C++ functions that are registered by the catalogue's
// names.
//
// The C++ parameter types say how an argument crosses. behavior<>() makes a delegate of a function, with the exception
// boundary around it, and compares its signature with that of each entry point that it is registered for: a function
// that crosses otherwise does not compile. For example
//
//     SizeValue size_add(const SizeValue& a, const SizeValue& b);          // "pVV"
//     const BehaviorTable ZELMOR_UNNAMED({
//         behavior<&size_add, api::Size::call_000_Add, api::Size::call_000_AddSizes>(),
//         field<&SizeValue::width, api::Size::property_Width>(),
//     });
//
// A table of rows that are served by one function is registered row by row: delegates/row_behavior.h.
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
#include "runtime/native/catalogue/names.h"
#include "runtime/native/core/boundary.h"
#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/handles.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/unnamed.h"
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

class CallFrame;
using ClosureHandler = void (*)(void* context, CallFrame& frame);

// A function and the entry points that it serves.
struct Behavior {
    std::span<const EntryName* const> names;
    EntryPoint point;  // no address for one that works on a row: its delegate is made at its first use
    ClosureHandler handler = nullptr;
    const void* row = nullptr;
};

// An element of a table: one behavior, or the getter and the setter of a property.
struct BehaviorRow {
    BehaviorRow(const Behavior& only) : first(only) {}
    BehaviorRow(const Behavior& getter, const Behavior& setter) : first(getter), second(setter) {}
    Behavior first;
    Behavior second = {};
};

// The behaviors of one file. Defined at namespace scope; linking the file is all that it takes to register it.
class BehaviorTable {
 public:
    BehaviorTable(std::initializer_list<BehaviorRow> rows);
    // For rows that are counted at run time.
    explicit BehaviorTable(std::span<const BehaviorRow> rows);
    BehaviorTable(const BehaviorTable&) = delete;
    BehaviorTable& operator=(const BehaviorTable&) = delete;
    ~BehaviorTable();
    std::span<const Behavior> behaviors() const { return m_behaviors; }
    const BehaviorTable* next() const { return m_next; }
    static const BehaviorTable* first();

 private:
    std::vector<Behavior> m_behaviors;
    const BehaviorTable* m_next;
};

// The delegate of the behavior of an entry point; no address where it has none.
EntryPoint find_behavior(const char* type_full_name, const char* entry_name);

}  // namespace zelmor::embed

#include "runtime/native/core/entry_traits.h"

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_H
