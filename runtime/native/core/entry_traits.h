// How C++ parameter and result types map to the wire; the machinery behind behavior<&f, ...>().
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_TRAITS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_TRAITS_H

#include <string_view>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

namespace detail {

template <class T>
constexpr char scalar_code() {
    if constexpr (std::is_same_v<T, bool>) {
        return 'b';
    } else if constexpr (std::is_same_v<T, float>) {
        return 'f';
    } else if constexpr (std::is_same_v<T, double>) {
        return 'd';
    } else if constexpr (std::is_integral_v<T>) {
        constexpr bool is_signed = std::is_signed_v<T>;
        if constexpr (sizeof(T) == 1) {
            return is_signed ? 'c' : 'C';
        }
        if constexpr (sizeof(T) == 2) {
            return is_signed ? 's' : 'S';
        }
        if constexpr (sizeof(T) == 4) {
            return is_signed ? 'i' : 'I';
        }
        if constexpr (sizeof(T) == 8) {
            return is_signed ? 'l' : 'L';
        }
    }
}

template <class T>
concept ManagedClass = std::is_base_of_v<ManagedObject, T>;
template <class T>
concept Scalar = std::is_arithmetic_v<T>;

// Argument: `Wire` is what the delegate receives, read() makes what the function takes.
template <class P>
struct Arg;

template <Scalar T>
struct Arg<T> {
    using Wire = T;
    static constexpr char code = scalar_code<T>();
    static T read(T value) { return value; }
};
template <class T>
    requires std::is_enum_v<T>
struct Arg<T> {
    using Wire = std::underlying_type_t<T>;
    static constexpr char code = scalar_code<Wire>();
    static T read(Wire value) { return static_cast<T>(value); }
};
template <>
struct Arg<Handle> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static Handle read(Handle value) { return value; }
};
template <ManagedClass T>
struct Arg<T&> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static T& read(Handle value) { return target<T>(value); }
};
template <ManagedClass T>
struct Arg<T*> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static T* read(Handle value) { return target_or_null<T>(value); }
};
template <StructValue V>
struct Arg<V&> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static V& read(Handle value) { return struct_target<V>(value); }
};
template <StructValue V>
struct Arg<const V&> {
    using Wire = const VariantArg*;
    static constexpr char code = 'V';
    static const V& read(const VariantArg* value) { return read_struct<V>(value); }
};
template <StructValue V>
struct Arg<V> : Arg<const V&> {};

template <class T, char kCode>
struct RawArg {
    using Wire = T;
    static constexpr char code = kCode;
    static T read(T value) { return value; }
};
template <>
struct Arg<const VariantArg*> : RawArg<const VariantArg*, 'V'> {};
template <>
struct Arg<const PyStringArg*> : RawArg<const PyStringArg*, 'T'> {};
template <>
struct Arg<const PyBytesArg*> : RawArg<const PyBytesArg*, 'B'> {};
template <>
struct Arg<PyObjectOutArg*> : RawArg<PyObjectOutArg*, 'o'> {};
template <>
struct Arg<PyCollectionArg*> : RawArg<PyCollectionArg*, 'k'> {};
template <Scalar T>
struct Arg<T*> : RawArg<T*, 'r'> {};
template <>
struct Arg<Handle*> : RawArg<Handle*, 'r'> {};
template <>
struct Arg<Handle**> : RawArg<Handle**, 'r'> {};
template <>
struct Arg<PyObject**> : RawArg<PyObject**, 'r'> {};
template <>
struct Arg<Ref<ManagedStream>> {
    using Wire = const VariantArg*;
    static constexpr char code = 'V';
    static Ref<ManagedStream> read(const VariantArg* value) { return read_stream(value); }
};
template <>
struct Arg<Ref<ManagedList>>;  // which element a collection has is not in its C++ type: take the VariantArg

// Refuses the null text or byte array in a record of the wire. The boundary of the call tells the parameter by it.
[[noreturn]] void throw_null_argument(const void* record);
// Reports the exception in flight, which left the function behind a delegate; `arguments` are the addresses that were
// passed, null for an argument that is none. Of a null argument it names the parameter.
void report_failed_call(const void* delegate, std::initializer_list<const void*> arguments) noexcept;

template <class Wire>
const void* address_in([[maybe_unused]] Wire argument) {
    if constexpr (std::is_pointer_v<Wire>) {
        return argument;
    } else {
        return nullptr;
    }
}

// A byte array as a view of the caller's memory, for reading; refuses None.
template <>
struct Arg<std::span<const std::byte>> {
    using Wire = const PyBytesArg*;
    static constexpr char code = 'B';
    static std::span<const std::byte> read(const PyBytesArg* value) {
        if (value->length < 0) {
            throw_null_argument(value);
        }
        return {static_cast<const std::byte*>(value->data), static_cast<size_t>(value->length)};
    }
};

// The same for writing: the caller's parameter is one that takes no read-only buffer.
template <>
struct Arg<std::span<std::byte>> {
    using Wire = const PyBytesArg*;
    static constexpr char code = 'B';
    static std::span<std::byte> read(const PyBytesArg* value) {
        if (value->length < 0) {
            throw_null_argument(value);
        }
        return {static_cast<std::byte*>(const_cast<void*>(static_cast<const void*>(value->data))),
                static_cast<size_t>(value->length)};
    }
};

// Dates, spans, decimals and identifiers: the ticks by value, the others behind a pointer.
template <>
struct Arg<DateTimeValue> {
    using Wire = int64_t;
    static constexpr char code = 'l';
    static DateTimeValue read(int64_t word) { return {static_cast<uint64_t>(word), 0}; }
};
template <>
struct Arg<TimeSpanValue> {
    using Wire = int64_t;
    static constexpr char code = 'l';
    static TimeSpanValue read(int64_t ticks) { return {ticks}; }
};
template <class T, char kCode>
struct WordsArg {
    using Wire = const T*;
    static constexpr char code = kCode;
    static const T& read(const T* value) { return *value; }
};
template <>
struct Arg<DateTimeOffsetValue> : WordsArg<DateTimeOffsetValue, 't'> {};
template <>
struct Arg<DecimalValue> : WordsArg<DecimalValue, 'D'> {};
template <>
struct Arg<GuidValue> : WordsArg<GuidValue, 'G'> {};

struct TextArg {
    using Wire = const PyStringArg*;
    static constexpr char code = 'T';
};
template <>
struct Arg<std::optional<std::u16string>> : TextArg {
    static std::optional<std::u16string> read(const PyStringArg* value) { return read_string(*value); }
};
template <>
struct Arg<std::optional<std::string>> : TextArg {
    static std::optional<std::string> read(const PyStringArg* value) { return read_string_utf8(*value); }
};
template <class S>
    requires std::is_same_v<S, std::string> || std::is_same_v<S, std::u16string>
struct Arg<S> : TextArg {
    static S read(const PyStringArg* value) {
        auto text = Arg<std::optional<S>>::read(value);
        if (!text) {
            throw_null_argument(value);
        }
        return std::move(*text);
    }
};
template <class T>
    requires(!StructValue<T> && !ManagedClass<T>)
struct Arg<const T&> : Arg<T> {};

// Result: write() makes what the delegate returns; kTrailing where it leaves through an out record instead.
template <class R>
struct Result;

template <>
struct Result<void> {
    using Wire = void;
    static constexpr char code = 'v';
};
template <Scalar T>
struct Result<T> {
    using Wire = T;
    static constexpr char code = scalar_code<T>();
    static T write(T value) { return value; }
};
template <class T>
    requires std::is_enum_v<T>
struct Result<T> {
    using Wire = std::underlying_type_t<T>;
    static constexpr char code = scalar_code<Wire>();
    static Wire write(T value) { return static_cast<Wire>(value); }
};
template <>
struct Result<Handle> : Arg<Handle> {
    static Handle write(Handle value) { return value; }
};
template <ManagedClass T>
struct Result<Ref<T>> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static Handle write(Ref<T> value) { return make_handle(std::move(value)); }
};
template <StructValue V>
struct Result<V> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static Handle write(V value) { return make_struct_handle(std::move(value)); }
};
struct PythonResult {
    using Wire = PyObject*;
    static constexpr char code = 'O';
};
template <>
struct Result<PyObject*> : PythonResult {
    static PyObject* write(PyObject* value) { return value; }
};
template <>
struct Result<std::u16string> : PythonResult {
    static PyObject* write(const std::u16string& value) { return py_string(value); }
};
template <>
struct Result<std::string> : PythonResult {
    static PyObject* write(const std::string& value) { return py_string_utf8(value); }
};
template <class S>
struct Result<std::optional<S>> : PythonResult {
    static PyObject* write(const std::optional<S>& value) { return value ? Result<S>::write(*value) : py_none(); }
};
template <>
struct Result<Bytes> : PythonResult {
    static PyObject* write(const Bytes& value) { return py_bytes(value); }
};
template <>
struct Result<Value> : PythonResult {
    static PyObject* write(const Value& value) { return write_value(value); }
};
template <>
struct Result<Ref<ManagedStream>> {
    using Out = PyCollectionArg*;
    static constexpr char code = 'k';
    static void write(const Ref<ManagedStream>& value, Out out) { write_stream(value, out); }
};
template <>
struct Result<TimeSpanValue> {
    using Wire = int64_t;
    static constexpr char code = 'l';
    static int64_t write(TimeSpanValue value) { return value.ticks; }
};
template <class T, char kCode>
struct WordsResult {
    using Out = T*;
    static constexpr char code = kCode;
    static void write(const T& value, Out out) { *out = value; }
};
template <>
struct Result<DateTimeValue> : WordsResult<DateTimeValue, 't'> {};
template <>
struct Result<DateTimeOffsetValue> : WordsResult<DateTimeOffsetValue, 't'> {};
template <>
struct Result<DecimalValue> : WordsResult<DecimalValue, 'D'> {};
template <>
struct Result<GuidValue> : WordsResult<GuidValue, 'G'> {};
template <>
struct Result<Interface> {
    using Out = PyObjectOutArg*;
    static constexpr char code = 'o';
    static void write(Interface value, Out out) { write_interface(std::move(value.object), out); }
};
template <>
struct Result<Collection> {
    using Out = PyCollectionArg*;
    static constexpr char code = 'k';
    static void write(const Collection& value, Out out) { write_collection(value.value, out); }
};
template <class R>
concept TrailingResult = requires { typename Result<R>::Out; };

template <auto F, Assembly A, class Type = decltype(F)>
struct Boundary;

template <auto F, Assembly A, class R, class... P>
struct Boundary<F, A, R (*)(P...)> {
    static constexpr std::array<char, sizeof...(P) + 2> signature = {Result<R>::code, Arg<P>::code..., '\0'};

    static typename Result<R>::Wire call(typename Arg<P>::Wire... args) noexcept {
        AssemblyScope scope(A);
        try {
            if constexpr (std::is_void_v<R>) {
                F(Arg<P>::read(args)...);
            } else {
                return Result<R>::write(F(Arg<P>::read(args)...));
            }
        } catch (...) {
            report_failed_call(reinterpret_cast<const void*>(&call), {address_in(args)...});
        }
        if constexpr (!std::is_void_v<R>) {
            return {};
        }
    }
};

template <auto F, Assembly A, TrailingResult R, class... P>
struct Boundary<F, A, R (*)(P...)> {
    static constexpr std::array<char, sizeof...(P) + 3> signature = {'v', Arg<P>::code..., Result<R>::code, '\0'};

    static void call(typename Arg<P>::Wire... args, typename Result<R>::Out out) noexcept {
        AssemblyScope scope(A);
        try {
            Result<R>::write(F(Arg<P>::read(args)...), out);
        } catch (...) {
            report_failed_call(reinterpret_cast<const void*>(&call), {address_in(args)...});
        }
    }
};

}  // namespace detail

// The delegate of a function, with its signature.
template <auto F, Assembly A = Assembly::kImaging>
EntryPoint entry() {
    using Target = detail::Boundary<F, A>;
    return {Target::signature.data(), reinterpret_cast<void*>(&Target::call)};
}

namespace detail {

template <const EntryName&... kNames>
constexpr const EntryName* name_list[] = {&kNames...};

template <auto F, const EntryName& kFirst, const EntryName&... kNames>
constexpr bool crosses_as_stated() {
    constexpr std::string_view signature = Boundary<F, kFirst.type.assembly>::signature.data();
    return signature == kFirst.signature && ((signature == kNames.signature) && ...) &&
           ((kFirst.type.assembly == kNames.type.assembly) && ...);
}

}  // namespace detail

// A function as the behavior of the entry points named.
template <auto F, const EntryName& kFirst, const EntryName&... kNames>
Behavior behavior() {
    static_assert(detail::crosses_as_stated<F, kFirst, kNames...>(),
                  "the function crosses otherwise than the catalogue says of the entry point");
    return {detail::name_list<kFirst, kNames...>, entry<F, kFirst.type.assembly>()};
}

namespace detail {

template <auto Field>
struct FieldAccess;
template <class V, class T, T V::*Field>
struct FieldAccess<Field> {
    static T get(V& self) { return self.*Field; }
    static void set(V& self, T value) { self.*Field = std::move(value); }
};

}  // namespace detail

// A field of a value type as a property, with its setter where the property has one.
template <auto Field, const PropertyName& kProperty>
BehaviorRow field() {
    using Access = detail::FieldAccess<Field>;
    if constexpr (kProperty.writable) {
        return {behavior<&Access::get, *kProperty.getter>(), behavior<&Access::set, *kProperty.setter>()};
    } else {
        return behavior<&Access::get, *kProperty.getter>();
    }
}

// A pair of functions as a property.
template <auto Get, auto Set, const PropertyName& kProperty>
BehaviorRow property() {
    return {behavior<Get, *kProperty.getter>(), behavior<Set, *kProperty.setter>()};
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_ENTRY_TRAITS_H
