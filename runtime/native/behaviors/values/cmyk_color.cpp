// CmykColor: members, text and hash, and the plain conversion to and from RGB.
//
// Conversions through ICC profiles are image work and not here.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/rounding.h"

namespace zelmor::embed {

CmykValue cmyk_of(uint32_t argb) {
    const int r = argb >> 16 & 0xFF, g = argb >> 8 & 0xFF, b = argb & 0xFF;
    const int light = std::max({r, g, b});
    if (light == 0) {
        return {0, 0, 0, 255};
    }
    const auto ink = [light](int x) { return static_cast<uint8_t>(((light - x) * 255 + light / 2) / light); };
    return {ink(r), ink(g), ink(b), static_cast<uint8_t>(255 - light)};
}

uint32_t argb_of(CmykValue cmyk) {
    const auto light = [&](int ink) { return static_cast<uint32_t>(((255 - ink) * (255 - cmyk.k) + 127) / 255); };
    return 0xFF000000u | light(cmyk.c) << 16 | light(cmyk.m) << 8 | light(cmyk.y);
}

int32_t packed_cmyk(CmykValue cmyk) {
    return static_cast<int32_t>(static_cast<uint32_t>(cmyk.c) << 24 | static_cast<uint32_t>(cmyk.m) << 16 |
                                static_cast<uint32_t>(cmyk.y) << 8 | cmyk.k);
}

CmykValue unpacked_cmyk(int32_t packed) {
    const auto word = static_cast<uint32_t>(packed);
    return {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8),
            static_cast<uint8_t>(word)};
}

uint8_t cmyk_component(int32_t value, const char* parameter) {
    if (value < 0 || value > 255) {
        throw_argument("Value of '" + std::to_string(value) + "' is not valid for '" + parameter + "'. '" + parameter +
                       "' should be greater than or equal to 0 and less than or equal to 255.");
    }
    return static_cast<uint8_t>(value);
}

Collection cmyk_array(std::vector<Value> items) {
    static const ElementType& element = element_of(Wire::kStruct, "Zelmor.Imaging.CmykColor");
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element, std::move(items)))};
}

Collection color_array(std::vector<Value> items) {
    static const ElementType& element = element_of(Wire::kStruct, "Zelmor.Imaging.Color");
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element, std::move(items)))};
}

std::u16string text_of(const CmykValue& value) {
    const auto number = [](uint8_t x) { return number_text(int64_t{x}); };
    return u"CmykColor [C=" + number(value.c) + u", M=" + number(value.m) + u", Y=" + number(value.y) + u", K=" +
           number(value.k) + u"]";
}
int32_t hash_of(const CmykValue& value) {
    return combined_hash(packed_cmyk(value));
}

namespace {

CmykValue empty() {
    return {};
}
CmykValue from_params(int32_t cyan, int32_t magenta, int32_t yellow, int32_t black) {
    return {cmyk_component(cyan, "cyan"), cmyk_component(magenta, "magenta"), cmyk_component(yellow, "yellow"),
            cmyk_component(black, "black")};
}
CmykValue from_argb(int32_t argb_pixel) {
    return cmyk_of(static_cast<uint32_t>(argb_pixel));
}
ColorValue to_color(const CmykValue& cmyk_pixel) {
    return ColorValue::from_argb(argb_of(cmyk_pixel));
}

std::vector<CmykValue> read_pixels(const VariantArg* arg) {
    static const ElementType& element = element_of(Wire::kStruct, "Zelmor.Imaging.CmykColor");
    std::vector<CmykValue> pixels;
    for (const Value& value : read_elements(arg, element, "cmyk_pixels")) {
        pixels.push_back(unbox<CmykValue>(*std::get<Ref<ManagedObject>>(value)));
    }
    return pixels;
}
Collection from_argb_array(const VariantArg* argb_pixels) {
    std::vector<Value> items;
    for (const int32_t argb : read_array<int32_t>(argb_pixels, "argb_pixels")) {
        items.emplace_back(box(from_argb(argb)));
    }
    return cmyk_array(std::move(items));
}
Collection to_colors(const VariantArg* cmyk_pixels) {
    std::vector<Value> items;
    for (const CmykValue& pixel : read_pixels(cmyk_pixels)) {
        items.emplace_back(box(to_color(pixel)));
    }
    return color_array(std::move(items));
}
Collection to_argb_array(const VariantArg* cmyk_pixels) {
    std::vector<int32_t> items;
    for (const CmykValue& pixel : read_pixels(cmyk_pixels)) {
        items.push_back(static_cast<int32_t>(argb_of(pixel)));
    }
    return {Ref<ManagedObject>(make_array(std::move(items)))};
}

int32_t to_value(CmykValue& self) {
    return packed_cmyk(self);
}
int32_t get_c(CmykValue& self) {
    return self.c;
}
int32_t get_m(CmykValue& self) {
    return self.m;
}
int32_t get_y(CmykValue& self) {
    return self.y;
}
int32_t get_k(CmykValue& self) {
    return self.k;
}
bool is_empty(CmykValue& self) {
    return self == CmykValue();
}

constexpr const char* kCmykColor = "Zelmor.Imaging.CmykColor";
using CmykColorApi = api::CmykColor;

const BehaviorTable table({
    behavior<&empty, CmykColorApi::ctor_000_CmykColor, CmykColorApi::getsa_Empty>(),
    behavior<&from_argb_array, CmykColorApi::call_000_ToCmyk, CmykColorApi::call_000_ToCmykColors>(),
    behavior<&from_argb, CmykColorApi::call_001_ToCmyk, CmykColorApi::call_000_ToCmykColor>(),
    behavior<&to_colors, CmykColorApi::call_000_ToColor, CmykColorApi::call_000_ToColors>(),
    behavior<&to_color, CmykColorApi::call_001_ToColor>(),
    behavior<&from_params, CmykColorApi::call_000_FromParams>(),
    behavior<&to_argb_array, CmykColorApi::call_000_ToArgb32>(),
    behavior<&to_value, CmykColorApi::call_000_ToValue>(),
    behavior<&get_c, CmykColorApi::get_C>(),
    behavior<&get_m, CmykColorApi::get_M>(),
    behavior<&get_y, CmykColorApi::get_Y>(),
    behavior<&get_k, CmykColorApi::get_K>(),
    behavior<&is_empty, CmykColorApi::get_IsEmpty>(),
});

const FactoryRegistration factory(kCmykColor, [](const TypeInfo&) { return box(CmykValue()); });

}  // namespace

}  // namespace zelmor::embed
