// CmykColorHelper: CMYK colors packed into 32-bit numbers, without profiles (with them: images/color_conversions.cpp).
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/components.h"
#include "runtime/native/behaviors/values/struct_arrays.h"

namespace zelmor::embed {

std::span<const int32_t> range_of(const std::vector<int32_t>& items, int32_t start_index, int32_t length) {
    if (start_index < 0) {
        throw_out_of_range("start_index", std::to_string(start_index) + " is negative.");
    }
    if (length < 0 || static_cast<size_t>(start_index) + static_cast<size_t>(length) > items.size()) {
        throw_out_of_range("length", "The range from " + std::to_string(start_index) + " of " + std::to_string(length) +
                                         " leaves an array of " + std::to_string(items.size()) + " elements.");
    }
    return std::span(items).subspan(static_cast<size_t>(start_index), static_cast<size_t>(length));
}

namespace {

int32_t helper_from_argb(int32_t argb) {
    return packed_cmyk(cmyk_of(static_cast<uint32_t>(argb)));
}
int32_t from_color(const ColorValue& pixel) {
    return packed_cmyk(cmyk_of(pixel.argb));
}
ColorValue helper_to_color(int32_t cmyk) {
    return ColorValue::from_argb(argb_of(unpacked_cmyk(cmyk)));
}

Collection numbers(std::vector<int32_t> items) {
    return {Ref<ManagedObject>(make_array(std::move(items)))};
}

Collection helper_from_argb_array(const VariantArg* argb_pixels) {
    std::vector<int32_t> items = read_array<int32_t>(argb_pixels, "argb_pixels");
    for (int32_t& item : items) {
        item = helper_from_argb(item);
    }
    return numbers(std::move(items));
}
Collection from_color_array(const VariantArg* pixels) {
    std::vector<int32_t> items;
    for (const ColorValue& pixel : read_structs<ColorValue>(pixels, "pixels")) {
        items.push_back(from_color(pixel));
    }
    return numbers(std::move(items));
}
Collection to_color_array(const VariantArg* cmyk_pixels) {
    std::vector<Value> items;
    for (const int32_t cmyk : read_array<int32_t>(cmyk_pixels, "cmyk_pixels")) {
        items.emplace_back(box(helper_to_color(cmyk)));
    }
    return color_array(std::move(items));
}
Collection helper_to_argb_array(const VariantArg* cmyk_pixels) {
    std::vector<int32_t> items = read_array<int32_t>(cmyk_pixels, "cmyk_pixels");
    for (int32_t& item : items) {
        item = static_cast<int32_t>(argb_of(unpacked_cmyk(item)));
    }
    return numbers(std::move(items));
}

Bytes bytes_of(const VariantArg* argb_pixels, int32_t start_index, int32_t length, bool with_alpha) {
    const std::vector<int32_t> items = read_array<int32_t>(argb_pixels, "argb_pixels");
    Bytes bytes;
    for (const int32_t argb : range_of(items, start_index, length)) {
        const CmykValue cmyk = cmyk_of(static_cast<uint32_t>(argb));
        for (const uint8_t helper_ink : {cmyk.c, cmyk.m, cmyk.y, cmyk.k}) {
            bytes.push_back(std::byte{helper_ink});
        }
        if (with_alpha) {
            bytes.push_back(static_cast<std::byte>(static_cast<uint32_t>(argb) >> 24));
        }
    }
    return bytes;
}
Bytes to_cmyk_bytes(const VariantArg* pixels, int32_t start, int32_t length) {
    return bytes_of(pixels, start, length, false);
}
Bytes to_cmyka_bytes(const VariantArg* pixels, int32_t start, int32_t length) {
    return bytes_of(pixels, start, length, true);
}

template <uint8_t CmykValue::*kInk>
int32_t helper_ink(int32_t cmyk) {
    return unpacked_cmyk(cmyk).*kInk;
}
int32_t from_components(int32_t cyan, int32_t magenta, int32_t yellow, int32_t black) {
    return packed_cmyk({color_component(cyan, "cyan"), color_component(magenta, "magenta"),
                        color_component(yellow, "yellow"), color_component(black, "black")});
}

using HelperApi = api::CmykColorHelper;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&helper_from_argb_array, HelperApi::call_000_ToCmyk, HelperApi::call_000_ToCmykArray>(),
    behavior<&helper_from_argb, HelperApi::call_001_ToCmyk>(),
    behavior<&from_color, HelperApi::call_002_ToCmyk, HelperApi::call_000_ToCmykColor>(),
    behavior<&from_color_array, HelperApi::call_003_ToCmyk, HelperApi::call_000_ToCmykColors>(),
    behavior<&to_color_array, HelperApi::call_000_ToArgb, HelperApi::call_000_ToArgbColors>(),
    behavior<&helper_to_color, HelperApi::call_001_ToArgb, HelperApi::call_000_ToArgbColor>(),
    behavior<&helper_ink<&CmykValue::c>, HelperApi::call_000_GetC>(),
    behavior<&helper_ink<&CmykValue::m>, HelperApi::call_000_GetM>(),
    behavior<&helper_ink<&CmykValue::y>, HelperApi::call_000_GetY>(),
    behavior<&helper_ink<&CmykValue::k>, HelperApi::call_000_GetK>(),
    behavior<&from_components, HelperApi::call_000_FromComponents>(),
    behavior<&to_cmyk_bytes, HelperApi::call_000_ToCmykBytes>(),
    behavior<&to_cmyka_bytes, HelperApi::call_000_ToCmykaBytes>(),
    behavior<&helper_to_argb_array, HelperApi::call_000_ToArgb32>(),
});

}  // namespace

}  // namespace zelmor::embed
