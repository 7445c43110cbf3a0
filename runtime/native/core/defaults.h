// The values that properties have in a new object where they differ from zero, null or the first enumerator.
//
//     constexpr DefaultValue kDefaults[] = {
//         {api::ImageOptions::PngOptions::property_CompressionLevel, 6},
//         // of a derived type: the type, and the property by the type that declares it
//         {api::ImageOptions::TgaOptions::kType, api::ImageOptionsBase::property_KeepMetadata, true},
//     };
//     const DefaultTable table(kDefaults);
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_DEFAULTS_H
#define ZELMOR_RUNTIME_NATIVE_CORE_DEFAULTS_H

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <type_traits>

#include "runtime/native/catalogue/names.h"
#include "runtime/native/core/unnamed.h"

namespace zelmor::embed {

struct DefaultValue {
    enum class Kind : uint8_t { kBool, kInt, kFloat, kText, kColor, kNull, kUnset };

    // A bool, a whole number or an enumerator, a number, a text: what the property's getter returns.
    template <class T>
    constexpr DefaultValue(const TypeName& of_type, const PropertyName& of_property, T value)
        : DefaultValue(of_type, of_property, kind_of<T>()) {
        if constexpr (kind_of<T>() == Kind::kText) {
            text = value;
        } else if constexpr (kind_of<T>() == Kind::kFloat) {
            number = value;
        } else {
            integer = static_cast<int64_t>(value);
        }
    }
    template <class T>
    constexpr DefaultValue(const PropertyName& of_property, T value)
        : DefaultValue(of_property.type, of_property, value) {}

    static constexpr DefaultValue color(const PropertyName& property, uint32_t argb) {
        DefaultValue value(property.type, property, Kind::kColor);
        value.integer = argb;
        return value;
    }
    // No object. A property that can be written has that anyway; one that is only read is not supported without.
    static constexpr DefaultValue null(const PropertyName& property) {
        return DefaultValue(property.type, property, Kind::kNull);
    }

    // Nothing at all, so that behavior can tell whether the property was ever set; its getter is behavior too.
    static constexpr DefaultValue unset(const PropertyName& property) {
        return DefaultValue(property.type, property, Kind::kUnset);
    }

    const char* type;      // full managed name of the declaring or a derived type
    const char* property;  // managed name
    Kind kind;
    int64_t integer = 0;
    double number = 0;
    const char* text = nullptr;

 private:
    constexpr DefaultValue(const TypeName& of_type, const PropertyName& of_property, Kind of_kind)
        : type(of_type.name), property(of_property.name), kind(of_kind) {
        // With the sanitizers the compiler does not know at compile time whether an address is null.
#ifdef __SANITIZE_ADDRESS__
        const bool is_checked = false;
#else
        const bool is_checked = of_property.getter != nullptr;
#endif
        if (is_checked && !fits(of_property.getter->signature[0], of_kind)) {
            throw std::logic_error("a default that its property cannot have");  // no constant, so it does not compile
        }
    }

    template <class T>
    static constexpr Kind kind_of() {
        if constexpr (std::is_same_v<T, bool>) {
            return Kind::kBool;
        } else if constexpr (std::is_floating_point_v<T>) {
            return Kind::kFloat;
        } else if constexpr (std::is_same_v<T, const char*>) {
            return Kind::kText;
        } else {
            static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "no default can be made of this");
            return Kind::kInt;
        }
    }

    // True where a getter with this result delivers values of the kind.
    static constexpr bool fits(char result, Kind kind) {
        switch (kind) {
            case Kind::kBool:
                return result == 'b';
            case Kind::kInt:
                return std::string_view("cCsSiIlL").find(result) != std::string_view::npos;
            case Kind::kFloat:
                return result == 'f' || result == 'd';
            case Kind::kText:
                return result == 'O';
            case Kind::kColor:
                return result == 'p';
            case Kind::kNull:
                return std::string_view("pOv").find(result) != std::string_view::npos;
            case Kind::kUnset:
                return true;
        }
        return false;
    }
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
