// Comparing, hashing and showing stored values.
#include "runtime/native/core/value.h"

#include <cmath>
#include <functional>
#include <utility>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

template class std::vector<zelmor::embed::Value>;

namespace zelmor::embed {

Value::Value() noexcept = default;
template <StoredKind T>
Value::Value(T value) : ValueVariant(std::move(value)) {}
template Value::Value(bool);
template Value::Value(int64_t);
template Value::Value(uint64_t);
template Value::Value(double);
template Value::Value(std::u16string);
template Value::Value(Bytes);
template Value::Value(Ref<ManagedObject>);
template Value::Value(PyHeld);
template Value::Value(DecimalValue);
template Value::Value(DateTimeValue);
template Value::Value(DateTimeOffsetValue);
template Value::Value(TimeSpanValue);
template Value::Value(GuidValue);
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;
void Value::swap(Value& other) noexcept {
    // By moves: the variant's own function has a branch for each pair of kinds.
    Value kept = std::move(other);
    other = std::move(*this);
    *this = std::move(kept);
}

namespace {

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

constexpr int32_t kHashOfNaN = 0x7FF80000;

// As Equals() of a managed number: NaN is equal to itself.
bool same_number(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
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
    if (a.index() == b.index()) {
        return std::visit(Overloaded{
                              [&](const Ref<ManagedObject>& x) { return x->equals(*std::get<Ref<ManagedObject>>(b)); },
                              [&](const PyHeld& x) { return x.get() == std::get<PyHeld>(b).get(); },
                              [&](const double& x) { return same_number(x, std::get<double>(b)); },
                              [&]<class T>(const T& x) { return x == std::get<T>(b); },
                          },
                          a);
    }
    // Of different kinds, only a signed and a floating number can be equal.
    if (const auto* x = std::get_if<int64_t>(&a)) {
        const auto* y = std::get_if<double>(&b);
        return y != nullptr && static_cast<double>(*x) == *y;
    }
    return std::holds_alternative<double>(a) && std::holds_alternative<int64_t>(b) && values_equal(b, a);
}

int32_t hash_of_value(const Value& value) {
    return std::visit(Overloaded{
                          [](const std::monostate&) { return 0; },
                          [](const bool& x) { return x ? 1 : 0; },
                          [](const int64_t& x) { return fold(static_cast<uint64_t>(x)); },
                          [](const uint64_t& x) { return fold(x); },
                          [](const double& x) { return std::isnan(x) ? kHashOfNaN : fold(std::hash<double>()(x)); },
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
    const auto named = [](const char* name) {
        std::string text = "System.";
        text += name;
        return text;
    };
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

void throw_invalid_value_cast(const Value& from, std::string_view to) {
    throw_invalid_cast(type_name_of_value(from), to);
}

}  // namespace zelmor::embed
