// Color: members, text and hash, the named colors among its static properties.
#include <strings.h>

#include <algorithm>
#include <cassert>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/components.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

void throw_color_component(int32_t value, const std::string& parameter) {
    throw_argument("Value of '" + std::to_string(value) + "' is not valid for '" + parameter + "'. '" + parameter +
                   "' should be greater than or equal to 0 and less than or equal to 255.");
}

namespace {

constexpr size_t kNamedColorCount = std::size(kNamedColors);

std::u16string hexadecimal(uint32_t value) {
    constexpr char16_t kDigits[] = u"0123456789abcdef";
    std::u16string text;
    do {
        text.insert(text.begin(), kDigits[value & 0xF]);
        value >>= 4;
    } while (value != 0);
    return text;
}

// The color's name; its value as a number if it has none.
std::u16string name_of(const ColorValue& color) {
    if (color.state & ColorValue::kStateName) {
        return color.name;
    }
    if (color.state & ColorValue::kStateKnown) {
        return to_utf16(known_color_name(color));
    }
    return hexadecimal(color.argb);
}

ColorValue empty() {
    return {};
}
ColorValue from_argb(int32_t argb) {
    return ColorValue::from_argb(static_cast<uint32_t>(argb));
}
ColorValue color_from_components(int32_t alpha, int32_t red, int32_t green, int32_t blue) {
    const uint32_t a = color_component(alpha, "alpha"), r = color_component(red, "red");
    const uint32_t g = color_component(green, "green"), b = color_component(blue, "blue");
    return ColorValue::from_argb(a << 24 | r << 16 | g << 8 | b);
}
ColorValue from_alpha(int32_t alpha, const ColorValue& base) {
    return ColorValue::from_argb(uint32_t{color_component(alpha, "alpha")} << 24 | (base.argb & 0xFFFFFF));
}
ColorValue from_rgb(int32_t red, int32_t green, int32_t blue) {
    return color_from_components(255, red, green, blue);
}

ColorValue from_known_color(api::KnownColor known) {
    const auto number = static_cast<int32_t>(known);
    ColorValue color = known_color(static_cast<int16_t>(std::clamp<int32_t>(number, 0, INT16_MAX)));
    if (color.state == 0) {
        throw_argument("The value '" + std::to_string(number) + "' is no KnownColor.");
    }
    return color;
}

// A name that no known color has makes a transparent black that keeps the name.
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
api::KnownColor to_known_color(ColorValue& self) {
    return static_cast<api::KnownColor>(self.known_color);
}
template <uint8_t (ColorValue::*kComponent)() const>
int32_t component(ColorValue& self) {
    return (self.*kComponent)();
}
bool is_known_color(ColorValue& self) {
    return (self.state & ColorValue::kStateKnown) != 0;
}
bool is_empty(ColorValue& self) {
    return self.state == 0;
}
bool is_named_color(ColorValue& self) {
    return (self.state & (ColorValue::kStateKnown | ColorValue::kStateName)) != 0;
}
std::u16string get_name(ColorValue& self) {
    return name_of(self);
}

CmykValue to_cmyk(const ColorValue& pixel) {
    return cmyk_of(pixel.argb);
}
Collection to_cmyk_array(const VariantArg* pixels) {
    std::vector<Value> result;
    for (const ColorValue& color : read_structs<ColorValue>(pixels, "pixels")) {
        result.emplace_back(box(to_cmyk(color)));
    }
    return cmyk_array(std::move(result));
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&empty, api::Color::ctor_000_Color, api::Color::getsa_Empty>(),
    behavior<&from_argb, api::Color::call_000_FromArgb>(),
    behavior<&color_from_components, api::Color::call_001_FromArgb>(),
    behavior<&from_alpha, api::Color::call_002_FromArgb>(),
    behavior<&from_rgb, api::Color::call_003_FromArgb>(),
    behavior<&to_cmyk_array, api::Color::call_000_ToCmyk, api::Color::call_000_ToCmykColors>(),
    behavior<&to_cmyk, api::Color::call_001_ToCmyk, api::Color::call_000_ToCmykColor>(),
    behavior<&from_known_color, api::Color::call_000_FromKnownColor>(),
    behavior<&from_name, api::Color::call_000_FromName>(),
    behavior<&get_brightness, api::Color::call_000_GetBrightness>(),
    behavior<&get_hue, api::Color::call_000_GetHue>(),
    behavior<&get_saturation, api::Color::call_000_GetSaturation>(),
    behavior<&to_argb, api::Color::call_000_ToArgb>(),
    behavior<&to_known_color, api::Color::call_000_ToKnownColor>(),
    behavior<&component<&ColorValue::r>, api::Color::get_R>(),
    behavior<&component<&ColorValue::g>, api::Color::get_G>(),
    behavior<&component<&ColorValue::b>, api::Color::get_B>(),
    behavior<&component<&ColorValue::a>, api::Color::get_A>(),
    behavior<&is_known_color, api::Color::get_IsKnownColor>(),
    behavior<&is_empty, api::Color::get_IsEmpty>(),
    behavior<&is_named_color, api::Color::get_IsNamedColor>(),
    behavior<&get_name, api::Color::get_Name>(),
});

// ---- The static properties of the known colors

ColorValue named(const NamedColor& row) {
    return known_color(static_cast<int16_t>(kFirstKnownColor + (&row - kNamedColors.data())));
}

// One for each row of kNamedColors, from whose name that of the entry point follows.
std::vector<BehaviorRow> named_rows() {
    struct Names {
        std::string text[kNamedColorCount];
        std::vector<EntryName> entries;
        std::vector<const EntryName*> pointers;
    };
    static Names& names = *new Names;  // filled while the library is loaded
    names.entries.reserve(kNamedColorCount);
    names.pointers.reserve(kNamedColorCount);
    std::vector<BehaviorRow> rows;
    for (size_t i = 0; i < kNamedColorCount; ++i) {
        names.text[i] = std::string("getsa_") + kNamedColors[i].name;
        names.entries.push_back({api::Color::kType, names.text[i].c_str(), api::Color::getsa_Empty.signature});
        names.pointers.push_back(&names.entries.back());
        rows.emplace_back(row_behavior<&named>(names.pointers.back(), kNamedColors[i]));
    }
    return rows;
}
const BehaviorTable ZELMOR_UNNAMED(named_rows());

const FactoryRegistration ZELMOR_UNNAMED(api::Color::kType.name, new_box<ColorValue>);

}  // namespace

const char* known_color_name(const ColorValue& color) {
    assert((color.state & ColorValue::kStateKnown) != 0);
    assert(color.known_color >= 1 && color.known_color <= kLastKnownColor);
    return kKnownColors[color.known_color - 1].name;
}

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
