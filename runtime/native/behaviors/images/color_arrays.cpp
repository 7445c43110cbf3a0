// Reading and making arrays of colors; see color_arrays.h.
#include "runtime/native/behaviors/images/color_arrays.h"

#include <algorithm>

#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/collections/collection.h"

namespace zelmor::embed {

using imagework::Argb;

std::vector<Argb> read_colors(const VariantArg* arg, const char* parameter) {
    std::vector<Argb> result;
    for (const ColorValue& color : read_structs<ColorValue>(arg, parameter)) {
        result.push_back(color.argb);
    }
    return result;
}

std::vector<CmykValue> read_cmyk(const VariantArg* arg, const char* parameter) {
    return read_structs<CmykValue>(arg, parameter);
}

std::vector<Argb> read_packed_colors(const VariantArg* arg, const char* parameter) {
    const std::vector<int32_t> packed = read_array<int32_t>(arg, parameter);
    return {packed.begin(), packed.end()};
}

std::vector<CmykValue> read_packed_cmyk(const VariantArg* arg, const char* parameter) {
    const std::vector<int32_t> packed = read_array<int32_t>(arg, parameter);
    std::vector<CmykValue> result(packed.size());
    std::transform(packed.begin(), packed.end(), result.begin(), unpacked_cmyk);
    return result;
}

std::vector<int32_t> packed_integers(const std::vector<Argb>& colors) {
    return {colors.begin(), colors.end()};
}

Collection packed(const std::vector<Argb>& colors) {
    return {Ref<ManagedObject>(make_array(packed_integers(colors)))};
}

Collection packed(const std::vector<CmykValue>& colors) {
    std::vector<int32_t> items(colors.size());
    std::transform(colors.begin(), colors.end(), items.begin(), packed_cmyk);
    return {Ref<ManagedObject>(make_array(std::move(items)))};
}

Collection boxed(const std::vector<Argb>& colors) {
    std::vector<Value> items;
    items.reserve(colors.size());
    for (const Argb color : colors) {
        items.emplace_back(box(ColorValue::from_argb(color)));
    }
    return color_array(std::move(items));
}

Collection boxed(const std::vector<CmykValue>& colors) {
    std::vector<Value> items;
    items.reserve(colors.size());
    for (const CmykValue& color : colors) {
        items.emplace_back(box(color));
    }
    return cmyk_array(std::move(items));
}

}  // namespace zelmor::embed
