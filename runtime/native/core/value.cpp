// Comparing, hashing and showing stored values.
#include "runtime/native/core/value.h"

#include <functional>
#include <utility>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

int32_t fold(uint64_t word) {
    return static_cast<int32_t>(word ^ (word >> 32));
}

template <class Text>
int32_t hash_chars(const Text& text) {
    uint32_t hash = 2166136261u;  // FNV-1a
    for (const auto c : text) {
        hash = (hash ^ static_cast<uint32_t>(c)) * 16777619u;
    }
    return static_cast<int32_t>(hash);
}

}  // namespace

bool is_null(const Value& value) {
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value)) {
        return !*object;
    }
    return is_unset(value);
}

bool values_equal(const Value& a, const Value& b) {
    if (is_null(a) || is_null(b)) {
        return is_null(a) && is_null(b);
    }
    return std::visit(Overloaded{
                          [](const Ref<ManagedObject>& x, const Ref<ManagedObject>& y) { return x->equals(*y); },
                          [](const PyHeld& x, const PyHeld& y) { return x.get() == y.get(); },
                          [](const int64_t& x, const double& y) { return static_cast<double>(x) == y; },
                          [](const double& x, const int64_t& y) { return x == static_cast<double>(y); },
                          []<class T>(const T& x, const T& y) { return x == y; },
                          [](const auto&, const auto&) { return false; },
                      },
                      a, b);
}

int32_t hash_of_value(const Value& value) {
    return std::visit(Overloaded{
                          [](const std::monostate&) { return 0; },
                          [](const bool& x) { return x ? 1 : 0; },
                          [](const int64_t& x) { return fold(static_cast<uint64_t>(x)); },
                          [](const uint64_t& x) { return fold(x); },
                          [](const double& x) { return fold(std::hash<double>()(x)); },
                          [](const std::u16string& x) { return hash_chars(x); },
                          [](const Bytes& x) { return hash_chars(x); },
                          [](const Ref<ManagedObject>& x) { return x ? x->hash_code() : 0; },
                          [](const PyHeld& x) { return fold(reinterpret_cast<uint64_t>(x.get())); },
                          []<SystemValue T>(const T& x) { return hash_of(x); },
                      },
                      value);
}

std::u16string text_of_value(const Value& value) {
    return std::visit(Overloaded{
                          [](const std::monostate&) { return std::u16string(); },
                          [](const bool& x) { return std::u16string(x ? u"True" : u"False"); },
                          [](const int64_t& x) { return number_text(x); },
                          [](const uint64_t& x) { return to_utf16(std::to_string(x)); },
                          [](const double& x) { return number_text(x); },
                          [](const std::u16string& x) { return x; },
                          [](const Bytes&) { return std::u16string(u"System.Byte[]"); },
                          [](const Ref<ManagedObject>& x) { return x ? x->to_text() : std::u16string(); },
                          [](const PyHeld&) { return std::u16string(u"System.Object"); },
                          []<SystemValue T>(const T& x) { return text_of(x); },
                      },
                      value);
}

std::string type_name_of_value(const Value& value) {
    if (is_null(value)) {
        return "null";
    }
    const auto named = [](const char* name) { return std::string("System.") + name; };
    return std::visit(Overloaded{
                          [](const std::monostate&) { return std::string("null"); },
                          [&](const bool&) { return named("Boolean"); },
                          [&](const int64_t& x) { return named(std::in_range<int32_t>(x) ? "Int32" : "Int64"); },
                          [&](const uint64_t&) { return named("UInt64"); },
                          [&](const double&) { return named("Double"); },
                          [&](const std::u16string&) { return named("String"); },
                          [&](const Bytes&) { return named("Byte[]"); },
                          [](const Ref<ManagedObject>& x) { return std::string(x->type().full_name); },
                          [&](const PyHeld&) { return named("Object"); },
                          [&](const DecimalValue&) { return named("Decimal"); },
                          [&](const DateTimeValue&) { return named("DateTime"); },
                          [&](const DateTimeOffsetValue&) { return named("DateTimeOffset"); },
                          [&](const TimeSpanValue&) { return named("TimeSpan"); },
                          [&](const GuidValue&) { return named("Guid"); },
                      },
                      value);
}

void throw_invalid_value_cast(const Value& from, const std::string& to) {
    throw_invalid_cast(type_name_of_value(from), to);
}

}  // namespace zelmor::embed
