// CmykColor: members, text and hash, and the plain conversion to and from RGB.
//
// The conversions through ICC profiles are in behaviors/images/color_conversions.cpp.
#include <algorithm>
#include <array>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/components.h"
#include "runtime/native/behaviors/values/geometry.h"
#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/behaviors/values/struct_arrays.h"

namespace zelmor::embed {

namespace {

// What to multiply by instead of a division: exact for dividends below 65793, since the error of a reciprocal, times
// such a dividend, stays below one.
constexpr int kReciprocalBits = 24;
constexpr auto kReciprocals = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t divisor = 1; divisor < table.size(); divisor++) {
        table[divisor] = ((1U << kReciprocalBits) + divisor - 1) / divisor;
    }
    return table;
}();

}  // namespace

CmykValue cmyk_of(uint32_t argb) {
    const int r = argb >> 16 & 0xFF, g = argb >> 8 & 0xFF, b = argb & 0xFF;
    const int light = std::max({r, g, b});
    if (light == 0) {
        return {0, 0, 0, 255};
    }
    const uint32_t reciprocal = kReciprocals[static_cast<size_t>(light)];
    const auto ink = [&](int x) {
        const int share = (light - x) * 255 + light / 2;
        return static_cast<uint8_t>(uint64_t{reciprocal} * static_cast<uint32_t>(share) >> kReciprocalBits);
    };
    return {ink(r), ink(g), ink(b), static_cast<uint8_t>(255 - light)};
}

uint32_t argb_of(CmykValue cmyk) {
    const auto light = [&](int ink) { return static_cast<uint32_t>(((255 - ink) * (255 - cmyk.k) + 127) / 255); };
    return 0xFF000000u | light(cmyk.c) << 16 | light(cmyk.m) << 8 | light(cmyk.y);
}

void inks_of(std::span<const uint32_t> argb, std::byte* inks) {
    for (const uint32_t color : argb) {
        const CmykValue cmyk = cmyk_of(color);
        const uint8_t bytes[] = {cmyk.c, cmyk.m, cmyk.y, cmyk.k};
        std::memcpy(inks, bytes, sizeof(bytes));
        inks += sizeof(bytes);
    }
}

void colors_of_inks(const std::byte* inks, std::span<uint32_t> argb) {
    for (uint32_t& color : argb) {
        uint8_t bytes[4];
        std::memcpy(bytes, inks, sizeof(bytes));
        inks += sizeof(bytes);
        color = argb_of({bytes[0], bytes[1], bytes[2], bytes[3]});
    }
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

Collection cmyk_array(std::vector<Value> items) {
    return {Ref<ManagedObject>(struct_array<CmykValue>(std::move(items)))};
}

Collection color_array(std::vector<Value> items) {
    return {Ref<ManagedObject>(struct_array<ColorValue>(std::move(items)))};
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

CmykValue cmyk_empty() {
    return {};
}
CmykValue from_params(int32_t cyan, int32_t magenta, int32_t yellow, int32_t black) {
    return {color_component(cyan, "cyan"), color_component(magenta, "magenta"), color_component(yellow, "yellow"),
            color_component(black, "black")};
}
CmykValue cmyk_from_argb(int32_t argb_pixel) {
    return cmyk_of(static_cast<uint32_t>(argb_pixel));
}
ColorValue to_color(const CmykValue& cmyk_pixel) {
    return ColorValue::from_argb(argb_of(cmyk_pixel));
}

Collection from_argb_array(const VariantArg* argb_pixels) {
    std::vector<Value> items;
    for (const int32_t argb : read_array<int32_t>(argb_pixels, "argb_pixels")) {
        items.emplace_back(box(cmyk_from_argb(argb)));
    }
    return cmyk_array(std::move(items));
}
Collection to_colors(const VariantArg* cmyk_pixels) {
    std::vector<Value> items;
    for (const CmykValue& pixel : read_structs<CmykValue>(cmyk_pixels, "cmyk_pixels")) {
        items.emplace_back(box(to_color(pixel)));
    }
    return color_array(std::move(items));
}
Collection to_argb_array(const VariantArg* cmyk_pixels) {
    std::vector<int32_t> items;
    for (const CmykValue& pixel : read_structs<CmykValue>(cmyk_pixels, "cmyk_pixels")) {
        items.push_back(static_cast<int32_t>(argb_of(pixel)));
    }
    return {Ref<ManagedObject>(make_array(std::move(items)))};
}

int32_t to_value(CmykValue& self) {
    return packed_cmyk(self);
}
template <uint8_t CmykValue::*kInk>
int32_t ink(CmykValue& self) {
    return self.*kInk;
}
bool cmyk_is_empty(CmykValue& self) {
    return self == CmykValue();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&cmyk_empty, api::CmykColor::ctor_000_CmykColor, api::CmykColor::getsa_Empty>(),
    behavior<&from_argb_array, api::CmykColor::call_000_ToCmyk, api::CmykColor::call_000_ToCmykColors>(),
    behavior<&cmyk_from_argb, api::CmykColor::call_001_ToCmyk, api::CmykColor::call_000_ToCmykColor>(),
    behavior<&to_colors, api::CmykColor::call_000_ToColor, api::CmykColor::call_000_ToColors>(),
    behavior<&to_color, api::CmykColor::call_001_ToColor>(),
    behavior<&from_params, api::CmykColor::call_000_FromParams>(),
    behavior<&to_argb_array, api::CmykColor::call_000_ToArgb32>(),
    behavior<&to_value, api::CmykColor::call_000_ToValue>(),
    behavior<&ink<&CmykValue::c>, api::CmykColor::get_C>(),
    behavior<&ink<&CmykValue::m>, api::CmykColor::get_M>(),
    behavior<&ink<&CmykValue::y>, api::CmykColor::get_Y>(),
    behavior<&ink<&CmykValue::k>, api::CmykColor::get_K>(),
    behavior<&cmyk_is_empty, api::CmykColor::get_IsEmpty>(),
});

const FactoryRegistration ZELMOR_UNNAMED(api::CmykColor::kType.name, new_box<CmykValue>);

}  // namespace

}  // namespace zelmor::embed
