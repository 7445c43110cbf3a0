// ImageAttributes: its settings and what they make of colors.
#include "runtime/native/behaviors/drawing/image_attributes.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

bool ColorAdjustment::changes_colors() const {
    return !no_op && (matrix || threshold || gamma || color_key || remap || output_channel || output_profile);
}

namespace {

Argb mapped(const ColorRows& rows, Argb color) {
    const double in[5] = {(color >> 16 & 0xFF) / 255.0, (color >> 8 & 0xFF) / 255.0, (color & 0xFF) / 255.0,
                          (color >> 24) / 255.0, 1};
    Argb out = 0;
    constexpr int kShifts[4] = {16, 8, 0, 24};
    for (int column = 0; column < 4; ++column) {
        double sum = 0;
        for (size_t row = 0; row < 5; ++row) {
            sum += in[row] * rows[row][static_cast<size_t>(column)];
        }
        out |= static_cast<Argb>(std::lround(std::clamp(sum, 0.0, 1.0) * 255)) << kShifts[column];
    }
    return out;
}

template <class Change>
Argb each_color(Argb color, Change&& change) {
    const auto part = [&](int shift) { return static_cast<Argb>(change(color >> shift & 0xFF)) << shift; };
    return (color & 0xFF000000) | part(16) | part(8) | part(0);
}

bool between(Argb color, Argb low, Argb high) {
    const auto inside = [&](int shift) {
        const Argb value = color >> shift & 0xFF;
        return value >= (low >> shift & 0xFF) && value <= (high >> shift & 0xFF);
    };
    return inside(16) && inside(8) && inside(0);
}

}  // namespace

void ColorAdjustment::apply(std::span<Argb> pixels) const {
    if (!changes_colors()) {
        return;
    }
    if (output_channel) {
        throw_not_supported("Drawing a single channel (ImageAttributes.SetOutputChannel)");
    }
    if (output_profile) {
        throw_not_supported("Drawing through a profile (ImageAttributes.SetOutputChannelColorProfile)");
    }
    constexpr int64_t kSkipGrays = 1, kAltGrays = 2;
    for (Argb& color : pixels) {
        if (remap) {
            const auto found =
                std::find_if(remap->begin(), remap->end(), [&](const auto& e) { return e.first == color; });
            if (found != remap->end()) {
                color = found->second;
            }
        }
        if (color_key && between(color, color_key->first, color_key->second)) {
            color = 0;
            continue;
        }
        if (matrix) {
            const bool gray = (color >> 16 & 0xFF) == (color >> 8 & 0xFF) && (color >> 8 & 0xFF) == (color & 0xFF);
            if (!gray || (matrix_flags != kSkipGrays && matrix_flags != kAltGrays)) {
                color = mapped(*matrix, color);
            } else if (matrix_flags == kAltGrays && gray_matrix) {
                color = mapped(*gray_matrix, color);
            }
        }
        if (gamma) {
            color = each_color(color, [&](Argb v) {
                return std::lround(std::fmin(std::fmax(std::pow(v / 255.0, *gamma), 0), 1) * 255);
            });
        }
        if (threshold) {
            color = each_color(color, [&](Argb v) { return v > *threshold * 255 ? 255 : 0; });
        }
    }
}

namespace {

using Attributes = ImageAttributesObject;
constexpr int32_t kForAll = 0;

ColorAdjustment& settings(Attributes& self, int32_t type) {
    if (type < 0 || static_cast<size_t>(type) >= Attributes::kKinds) {
        throw_argument("The value " + std::to_string(type) + " is no kind of color adjustment. (Parameter 'type')");
    }
    return self.adjustments[static_cast<size_t>(type)];
}

ColorRows rows_of(const Record* matrix, const char* parameter) {
    if (!matrix) {
        throw_argument_null(parameter);
    }
    ColorRows rows;
    for (size_t row = 0; row < 5; ++row) {
        for (size_t column = 0; column < 5; ++column) {
            rows[row][column] = property_double(*matrix, "Matrix" + std::to_string(row) + std::to_string(column));
        }
    }
    return rows;
}

void set_matrix_for(Attributes& self, Record* matrix, int32_t flags, int32_t type) {
    ColorAdjustment& adjustment = settings(self, type);
    adjustment.matrix = rows_of(matrix, "new_color_matrix");
    adjustment.gray_matrix.reset();
    adjustment.matrix_flags = flags;
}
void set_matrix_with(Attributes& self, Record* matrix, int32_t flags) {
    set_matrix_for(self, matrix, flags, kForAll);
}
void set_matrix(Attributes& self, Record* matrix) {
    set_matrix_for(self, matrix, 0, kForAll);
}
void set_matrices_for(Attributes& self, Record* matrix, Record* gray, int32_t flags, int32_t type) {
    const ColorRows gray_rows = rows_of(gray, "gray_matrix");
    set_matrix_for(self, matrix, flags, type);
    settings(self, type).gray_matrix = gray_rows;
}
void set_matrices_with(Attributes& self, Record* matrix, Record* gray, int32_t flags) {
    set_matrices_for(self, matrix, gray, flags, kForAll);
}
void set_matrices(Attributes& self, Record* matrix, Record* gray) {
    set_matrices_for(self, matrix, gray, 0, kForAll);
}
void clear_matrix_for(Attributes& self, int32_t type) {
    settings(self, type).matrix.reset();
    settings(self, type).gray_matrix.reset();
}
void clear_matrix(Attributes& self) {
    clear_matrix_for(self, kForAll);
}

// Settings of one number: a setter and a taker-back, each for all kinds or for one.
template <auto kMember>
void clear_for(Attributes& self, int32_t type) {
    (settings(self, type).*kMember).reset();
}
template <auto kMember>
void clear(Attributes& self) {
    clear_for<kMember>(self, kForAll);
}
template <auto kMember>
void set_number_for(Attributes& self, float value, int32_t type) {
    settings(self, type).*kMember = value;
}
template <auto kMember>
void set_number(Attributes& self, float value) {
    set_number_for<kMember>(self, value, kForAll);
}
template <bool kValue>
void set_no_op_for(Attributes& self, int32_t type) {
    settings(self, type).no_op = kValue;
}
template <bool kValue>
void set_no_op(Attributes& self) {
    set_no_op_for<kValue>(self, kForAll);
}
void set_key_for(Attributes& self, const ColorValue& low, const ColorValue& high, int32_t type) {
    settings(self, type).color_key = {low.argb, high.argb};
}
void set_key(Attributes& self, const ColorValue& low, const ColorValue& high) {
    set_key_for(self, low, high, kForAll);
}
void set_channel_for(Attributes& self, int32_t channel, int32_t type) {
    settings(self, type).output_channel = channel;
}
void set_channel(Attributes& self, int32_t channel) {
    set_channel_for(self, channel, kForAll);
}
void set_profile_for(Attributes& self, std::string file, int32_t type) {
    settings(self, type).output_profile = std::move(file);
}
void set_profile(Attributes& self, std::string file) {
    set_profile_for(self, std::move(file), kForAll);
}

void set_remap_for(Attributes& self, const VariantArg* map, int32_t type) {
    std::vector<std::pair<Argb, Argb>> table;
    for (const auto& entry : read_objects<Record>(map, "map")) {
        const auto color = [&](const char* name) { return unbox<ColorValue>(*property_object(*entry, name)).argb; };
        table.emplace_back(color("OldColor"), color("NewColor"));
    }
    settings(self, type).remap = std::move(table);
}
void set_remap(Attributes& self, const VariantArg* map) {
    set_remap_for(self, map, kForAll);
}
constexpr int32_t kForBrushes = 2;
void set_brush_remap(Attributes& self, const VariantArg* map) {
    set_remap_for(self, map, kForBrushes);
}
void clear_brush_remap(Attributes& self) {
    clear_for<&ColorAdjustment::remap>(self, kForBrushes);
}

void set_wrap_clamped(Attributes& self, int32_t mode, const ColorValue& color, bool clamp) {
    self.wrap_mode = mode;
    self.outside = color.argb;
    self.clamp = clamp;
}
void set_wrap_color(Attributes& self, int32_t mode, const ColorValue& color) {
    set_wrap_clamped(self, mode, color, false);
}
void set_wrap(Attributes& self, int32_t mode) {
    set_wrap_clamped(self, mode, ColorValue(), false);
}

using AttributesApi = api::ImageAttributes;

const BehaviorTable table({
    behavior<&set_matrix, AttributesApi::call_000_SetColorMatrix>(),
    behavior<&set_matrix_with, AttributesApi::call_001_SetColorMatrix>(),
    behavior<&set_matrix_for, AttributesApi::call_002_SetColorMatrix>(),
    behavior<&clear_matrix, AttributesApi::call_000_ClearColorMatrix>(),
    behavior<&clear_matrix_for, AttributesApi::call_001_ClearColorMatrix>(),
    behavior<&set_matrices, AttributesApi::call_000_SetColorMatrices>(),
    behavior<&set_matrices_with, AttributesApi::call_001_SetColorMatrices>(),
    behavior<&set_matrices_for, AttributesApi::call_002_SetColorMatrices>(),
    behavior<&set_number<&ColorAdjustment::threshold>, AttributesApi::call_000_SetThreshold>(),
    behavior<&set_number_for<&ColorAdjustment::threshold>, AttributesApi::call_001_SetThreshold>(),
    behavior<&clear<&ColorAdjustment::threshold>, AttributesApi::call_000_ClearThreshold>(),
    behavior<&clear_for<&ColorAdjustment::threshold>, AttributesApi::call_001_ClearThreshold>(),
    behavior<&set_number<&ColorAdjustment::gamma>, AttributesApi::call_000_SetGamma>(),
    behavior<&set_number_for<&ColorAdjustment::gamma>, AttributesApi::call_001_SetGamma>(),
    behavior<&clear<&ColorAdjustment::gamma>, AttributesApi::call_000_ClearGamma>(),
    behavior<&clear_for<&ColorAdjustment::gamma>, AttributesApi::call_001_ClearGamma>(),
    behavior<&set_no_op<true>, AttributesApi::call_000_SetNoOp>(),
    behavior<&set_no_op_for<true>, AttributesApi::call_001_SetNoOp>(),
    behavior<&set_no_op<false>, AttributesApi::call_000_ClearNoOp>(),
    behavior<&set_no_op_for<false>, AttributesApi::call_001_ClearNoOp>(),
    behavior<&set_key, AttributesApi::call_000_SetColorKey>(),
    behavior<&set_key_for, AttributesApi::call_001_SetColorKey>(),
    behavior<&clear<&ColorAdjustment::color_key>, AttributesApi::call_000_ClearColorKey>(),
    behavior<&clear_for<&ColorAdjustment::color_key>, AttributesApi::call_001_ClearColorKey>(),
    behavior<&set_channel, AttributesApi::call_000_SetOutputChannel>(),
    behavior<&set_channel_for, AttributesApi::call_001_SetOutputChannel>(),
    behavior<&clear<&ColorAdjustment::output_channel>, AttributesApi::call_000_ClearOutputChannel>(),
    behavior<&clear_for<&ColorAdjustment::output_channel>, AttributesApi::call_001_ClearOutputChannel>(),
    behavior<&set_profile, AttributesApi::call_000_SetOutputChannelColorProfile>(),
    behavior<&set_profile_for, AttributesApi::call_001_SetOutputChannelColorProfile>(),
    behavior<&clear<&ColorAdjustment::output_profile>, AttributesApi::call_000_ClearOutputChannelColorProfile>(),
    behavior<&clear_for<&ColorAdjustment::output_profile>, AttributesApi::call_001_ClearOutputChannelColorProfile>(),
    behavior<&set_remap, AttributesApi::call_000_SetRemapTable>(),
    behavior<&set_remap_for, AttributesApi::call_001_SetRemapTable>(),
    behavior<&clear<&ColorAdjustment::remap>, AttributesApi::call_000_ClearRemapTable>(),
    behavior<&clear_for<&ColorAdjustment::remap>, AttributesApi::call_001_ClearRemapTable>(),
    behavior<&set_wrap, AttributesApi::call_000_SetWrapMode>(),
    behavior<&set_wrap_color, AttributesApi::call_001_SetWrapMode>(),
    behavior<&set_wrap_clamped, AttributesApi::call_002_SetWrapMode>(),
    behavior<&set_brush_remap, AttributesApi::call_000_SetBrushRemapTable>(),
    behavior<&clear_brush_remap, AttributesApi::call_000_ClearBrushRemapTable>(),
});

const FactoryRegistration factory(Attributes::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<ImageAttributesObject>(type);
});

}  // namespace

namespace {
constexpr size_t kForImages = 1;
}

const ColorAdjustment& ImageAttributesObject::for_images() const {
    const ColorAdjustment& own = adjustments[kForImages];
    return own.changes_colors() || own.no_op ? own : adjustments[0];
}
const ColorAdjustment& ImageAttributesObject::for_brushes() const {
    const ColorAdjustment& own = adjustments[static_cast<size_t>(kForBrushes)];
    return own.changes_colors() || own.no_op ? own : adjustments[0];
}

Ref<ManagedObject> ImageAttributesObject::copy() const {
    auto twin = make_ref<ImageAttributesObject>(type());
    twin->adjustments = adjustments;
    twin->wrap_mode = wrap_mode;
    twin->outside = outside;
    twin->clamp = clamp;
    return twin;
}

}  // namespace zelmor::embed
