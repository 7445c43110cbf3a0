// One stored value of any managed kind: what a property slot or a list element holds.
//
// A value knows its kind; the declared wire type of the member decides how it crosses (marshal.h).
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_VALUE_H
#define ZELMOR_RUNTIME_NATIVE_CORE_VALUE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/object.h"
#include "runtime/native/core/system_values.h"

namespace zelmor::embed {

using Bytes = std::vector<std::byte>;

// Nothing stored; null is an empty object reference. Integers and enumerations are int64_t, sign- or zero-extended
// from their width; uint64_t is used only where a value does not fit. PyHeld is a Python object that the managed side
// keeps as it is (a list, a tuple, a file).
using ValueVariant =
    std::variant<std::monostate, bool, int64_t, uint64_t, double, std::u16string, Bytes, Ref<ManagedObject>, PyHeld,
                 DecimalValue, DateTimeValue, DateTimeOffsetValue, TimeSpanValue, GuidValue>;

// A value of the .NET library's own value types.
template <class T>
concept SystemValue =
    std::is_same_v<T, DecimalValue> || std::is_same_v<T, DateTimeValue> || std::is_same_v<T, DateTimeOffsetValue> ||
    std::is_same_v<T, TimeSpanValue> || std::is_same_v<T, GuidValue>;

// A type that is a kind of value by itself.
template <class T>
concept StoredKind = std::is_same_v<T, bool> || std::is_same_v<T, int64_t> || std::is_same_v<T, uint64_t> ||
                     std::is_same_v<T, double> || std::is_same_v<T, std::u16string> || std::is_same_v<T, Bytes> ||
                     std::is_same_v<T, Ref<ManagedObject>> || std::is_same_v<T, PyHeld> || SystemValue<T>;

// A class of its own, so that making, copying, moving and destroying are compiled once: nearly every source of the
// runtime does all of it, and the compiler took a second in each for a variant of so many kinds.
class Value : public ValueVariant {
 public:
    Value() noexcept;
    template <StoredKind T>
    Value(T value);  // compiled in value.cpp for each kind
    // What becomes a value of a kind without a loss.
    template <class T>
        requires(std::is_integral_v<T> && std::is_signed_v<T> && sizeof(T) < sizeof(int64_t))
    Value(T value) : Value(int64_t{value}) {}
    Value(float value) : Value(double{value}) {}
    template <class T>
        requires(!std::is_same_v<T, ManagedObject>)
    Value(Ref<T> object) : Value(Ref<ManagedObject>(std::move(object))) {}
    Value(const Value& other);
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other);
    Value& operator=(Value&& other) noexcept;
    ~Value();
    void swap(Value& other) noexcept;
};

}  // namespace zelmor::embed

extern template class std::vector<zelmor::embed::Value>;

namespace zelmor::embed {

inline bool is_unset(const Value& value) {
    return std::holds_alternative<std::monostate>(value);
}
bool is_null(const Value& value);  // unset or an empty reference
bool values_equal(const Value& a, const Value& b);
int32_t hash_of_value(const Value& value);
std::u16string text_of_value(const Value& value);
// The managed type of what is stored: "System.String", that of the object; "null" for null. An integer is an Int32
// where it fits one, as a Python int is.
std::string type_name_of_value(const Value& value);
// InvalidCastException: the value is of no type that may stand for `to`.
[[noreturn]] void throw_invalid_value_cast(const Value& from, std::string_view to);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_VALUE_H
