// Color: members, text and hash, the named colors among its static properties.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <utility>

#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/behaviors/values/rounding.h"

namespace zelmor::embed {

namespace {

constexpr size_t kNamedColorCount = std::size(kNamedColors);

std::u16string hexadecimal(uint32_t value) {
    constexpr char16_t kDigits[] = u"0123456789abcdef";
    std::u16string text;
    do {
        text.insert(text.begin(), kDigits[value & 0xF]);
        value >>= 4;
    } while (value);
    return text;
}

// What the color is called: its name, or its value as a number where it has none.
std::u16string name_of(const ColorValue& color) {
    if (color.state & ColorValue::kStateName) {
        return color.name;
    }
    if (color.state & ColorValue::kStateKnown) {
        return to_utf16(kNamedColors[color.known_color - kFirstKnownColor].name);
    }
    return hexadecimal(color.argb);
}

uint32_t component(int32_t value, const char* name) {
    if (value < 0 || value > 255) {
        throw_argument("Value of '" + std::to_string(value) + "' is not valid for '" + name + "'. '" + name +
                       "' should be greater than or equal to 0 and less than or equal to 255.");
    }
    return static_cast<uint32_t>(value);
}

ColorValue empty() {
    return {};
}
ColorValue from_argb(int32_t argb) {
    return ColorValue::from_argb(static_cast<uint32_t>(argb));
}
ColorValue from_components(int32_t alpha, int32_t red, int32_t green, int32_t blue) {
    return ColorValue::from_argb(component(alpha, "alpha") << 24 | component(red, "red") << 16 |
                                 component(green, "green") << 8 | component(blue, "blue"));
}
ColorValue from_alpha(int32_t alpha, const ColorValue& base) {
    return ColorValue::from_argb(component(alpha, "alpha") << 24 | (base.argb & 0xFFFFFF));
}
ColorValue from_rgb(int32_t red, int32_t green, int32_t blue) {
    return from_components(255, red, green, blue);
}

ColorValue from_known_color(int32_t number) {
    ColorValue color = known_color(static_cast<int16_t>(std::clamp<int32_t>(number, 0, INT16_MAX)));
    if (color.state == 0) {
        throw_argument("The value '" + std::to_string(number) + "' is no KnownColor.");
    }
    return color;
}

// A name that means nothing still makes a color: a black of no opacity that keeps the name.
ColorValue from_name(std::u16string name) {
    ColorValue color = find_color(to_utf8(name));
    if (color.state == 0) {
        color = {0, 0, ColorValue::kStateName, std::move(name)};
    }
    return color;
}

struct Extremes {
    int low;
    int high;
};
Extremes extremes(const ColorValue& c) {
    const auto [low, high] = std::minmax({c.r(), c.g(), c.b()});
    return {low, high};
}

float get_brightness(ColorValue& self) {
    const auto [low, high] = extremes(self);
    return static_cast<float>(low + high) / 510.0f;
}
float get_hue(ColorValue& self) {
    const auto [low, high] = extremes(self);
    if (low == high) {
        return 0;
    }
    const float range = static_cast<float>(high - low);
    float hue;
    if (self.r() == high) {
        hue = static_cast<float>(self.g() - self.b()) / range;
    } else if (self.g() == high) {
        hue = static_cast<float>(self.b() - self.r()) / range + 2;
    } else {
        hue = static_cast<float>(self.r() - self.g()) / range + 4;
    }
    hue *= 60;
    return hue < 0 ? hue + 360 : hue;
}
float get_saturation(ColorValue& self) {
    const auto [low, high] = extremes(self);
    if (low == high) {
        return 0;
    }
    const int sum = low + high > 255 ? 510 - low - high : low + high;
    return static_cast<float>(high - low) / static_cast<float>(sum);
}

int32_t to_argb(ColorValue& self) {
    return static_cast<int32_t>(self.argb);
}
int32_t to_known_color(ColorValue& self) {
    return self.known_color;
}
int32_t get_r(ColorValue& self) {
    return self.r();
}
int32_t get_g(ColorValue& self) {
    return self.g();
}
int32_t get_b(ColorValue& self) {
    return self.b();
}
int32_t get_a(ColorValue& self) {
    return self.a();
}
bool is_known_color(ColorValue& self) {
    return self.state & ColorValue::kStateKnown;
}
bool is_empty(ColorValue& self) {
    return self.state == 0;
}
bool is_named_color(ColorValue& self) {
    return self.state & (ColorValue::kStateKnown | ColorValue::kStateName);
}
std::u16string get_name(ColorValue& self) {
    return name_of(self);
}

CmykValue to_cmyk(const ColorValue& pixel) {
    return cmyk_of(pixel.argb);
}
Collection to_cmyk_array(const VariantArg* pixels) {
    const auto colors = read_elements(pixels, element_of(Wire::kStruct, "Zelmor.Imaging.Color"), "pixels");
    std::vector<Value> result;
    result.reserve(colors.size());
    for (const Value& color : colors) {
        result.emplace_back(box(to_cmyk(unbox<ColorValue>(*std::get<Ref<ManagedObject>>(color)))));
    }
    return cmyk_array(std::move(result));
}

template <size_t kIndex>
ColorValue named() {
    return known_color(static_cast<int16_t>(kFirstKnownColor + kIndex));
}

template <size_t... kIndices>
constexpr std::array<EntryPoint, sizeof...(kIndices)> named_entries(std::index_sequence<kIndices...>) {
    return {entry<&named<kIndices>>()...};
}

constexpr const char* kColor = "Zelmor.Imaging.Color";
using ColorApi = api::Color;

const BehaviorTable table({
    behavior<&empty, ColorApi::ctor_000_Color, ColorApi::getsa_Empty>(),
    behavior<&from_argb, ColorApi::call_000_FromArgb>(),
    behavior<&from_components, ColorApi::call_001_FromArgb>(),
    behavior<&from_alpha, ColorApi::call_002_FromArgb>(),
    behavior<&from_rgb, ColorApi::call_003_FromArgb>(),
    behavior<&to_cmyk_array, ColorApi::call_000_ToCmyk, ColorApi::call_000_ToCmykColors>(),
    behavior<&to_cmyk, ColorApi::call_001_ToCmyk, ColorApi::call_000_ToCmykColor>(),
    behavior<&from_known_color, ColorApi::call_000_FromKnownColor>(),
    behavior<&from_name, ColorApi::call_000_FromName>(),
    behavior<&get_brightness, ColorApi::call_000_GetBrightness>(),
    behavior<&get_hue, ColorApi::call_000_GetHue>(),
    behavior<&get_saturation, ColorApi::call_000_GetSaturation>(),
    behavior<&to_argb, ColorApi::call_000_ToArgb>(),
    behavior<&to_known_color, ColorApi::call_000_ToKnownColor>(),
    behavior<&get_r, ColorApi::get_R>(),
    behavior<&get_g, ColorApi::get_G>(),
    behavior<&get_b, ColorApi::get_B>(),
    behavior<&get_a, ColorApi::get_A>(),
    behavior<&is_known_color, ColorApi::get_IsKnownColor>(),
    behavior<&is_empty, ColorApi::get_IsEmpty>(),
    behavior<&is_named_color, ColorApi::get_IsNamedColor>(),
    behavior<&get_name, ColorApi::get_Name>(),
});

// The static properties of the known colors, one for each name.
class NamedColorTable {
 public:
    NamedColorTable() : m_table(Assembly::kImaging, std::span<const Behavior>()) {
        const auto entries = named_entries(std::make_index_sequence<kNamedColorCount>());
        for (size_t i = 0; i < kNamedColorCount; ++i) {
            m_names[i] = std::string("getsa_") + kNamedColors[i].name;
            m_table.add({kColor, m_names[i].c_str(), entries[i]});
        }
    }

 private:
    std::array<std::string, kNamedColorCount> m_names;
    BehaviorTable m_table;
};
const NamedColorTable named_table;

const FactoryRegistration factory(kColor, [](const TypeInfo&) { return box(ColorValue()); });

}  // namespace

ColorValue known_color(int16_t number) {
    const auto index = static_cast<size_t>(number - kFirstKnownColor);
    if (number < kFirstKnownColor || index >= kNamedColorCount) {
        return {};
    }
    return {kNamedColors[index].argb, number, ColorValue::kStateKnown, {}};
}

ColorValue find_color(std::string_view name) {
    for (size_t i = 0; i < kNamedColorCount; ++i) {
        const std::string_view known = kNamedColors[i].name;
        if (known.size() == name.size() && strncasecmp(known.data(), name.data(), name.size()) == 0) {
            return known_color(static_cast<int16_t>(kFirstKnownColor + i));
        }
    }
    return {};
}

std::u16string text_of(const ColorValue& value) {
    if (value.state == 0) {
        return u"Color [Empty]";
    }
    if (value.state != ColorValue::kStateArgb) {
        return u"Color [" + name_of(value) + u"]";
    }
    const auto number = [](uint8_t x) { return number_text(int64_t{x}); };
    return u"Color [A=" + number(value.a()) + u", R=" + number(value.r()) + u", G=" + number(value.g()) + u", B=" +
           number(value.b()) + u"]";
}
int32_t hash_of(const ColorValue& value) {
    return combined_hash(value.argb, value.state, value.known_color, hash_of_value(value.name));
}

}  // namespace zelmor::embed
