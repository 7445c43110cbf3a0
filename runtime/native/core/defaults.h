// The values that properties have in a new object where they differ from zero, null or the first enumerator.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_DEFAULTS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_DEFAULTS_H

#include <cstdint>
#include <span>

namespace zelmor::embed {

struct DefaultValue {
    enum class Kind : uint8_t { kBool, kInt, kFloat, kText, kColor, kNull };

    constexpr DefaultValue(const char* type, const char* property, bool value)
        : type(type), property(property), kind(Kind::kBool), integer(value) {}
    constexpr DefaultValue(const char* type, const char* property, int value)
        : type(type), property(property), kind(Kind::kInt), integer(value) {}
    constexpr DefaultValue(const char* type, const char* property, double value)
        : type(type), property(property), kind(Kind::kFloat), number(value) {}
    constexpr DefaultValue(const char* type, const char* property, const char* value)
        : type(type), property(property), kind(Kind::kText), text(value) {}
    static constexpr DefaultValue color(const char* type, const char* property, uint32_t argb) {
        DefaultValue value(type, property, 0);
        value.kind = Kind::kColor;
        value.integer = argb;
        return value;
    }
    // No object. Only what cannot be written needs it: such a property is not supported otherwise.
    static constexpr DefaultValue null(const char* type, const char* property) {
        DefaultValue value(type, property, 0);
        value.kind = Kind::kNull;
        return value;
    }

    const char* type;      // full managed name of the declaring or a derived type
    const char* property;  // managed name
    Kind kind;
    int64_t integer = 0;
    double number = 0;
    const char* text = nullptr;
};

// The defaults of one file, of instance and static properties alike. Defined at namespace scope; linking the file is
// all that it takes to register it. The default of a derived type goes before that of its base; no property of one type
// has two.
class DefaultTable {
 public:
    explicit DefaultTable(std::span<const DefaultValue> values);
    std::span<const DefaultValue> values() const { return m_values; }
    const DefaultTable* next() const { return m_next; }
    static const DefaultTable* first();

 private:
    std::span<const DefaultValue> m_values;
    const DefaultTable* m_next;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_DEFAULTS_H
