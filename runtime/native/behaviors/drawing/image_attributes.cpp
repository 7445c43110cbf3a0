// ImageAttributes: its settings and how they change colors.
#include "runtime/native/behaviors/drawing/image_attributes.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/core/enumeration_properties.h"
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
            const bool alone =
                matrix_flags == ColorMatrixFlag::kSkipGrays || matrix_flags == ColorMatrixFlag::kAltGrays;
            if (!gray || !alone) {
                color = mapped(*matrix, color);
            } else if (matrix_flags == ColorMatrixFlag::kAltGrays && gray_matrix) {
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
constexpr ColorAdjustType kForAll = ColorAdjustType::kDefault;

ColorAdjustment& settings(Attributes& self, ColorAdjustType type) {
    const auto index = static_cast<size_t>(type);  // a negative number becomes a large one
    if (index >= Attributes::kKinds) {
        throw_argument("The value " + std::to_string(number_of(type)) +
                       " is no kind of color adjustment. (Parameter 'type')");
    }
    return self.adjustments[index];
}

ColorRows rows_of(const Record* matrix, const char* parameter) {
    required(matrix, parameter);
    ColorRows rows;
    for (size_t row = 0; row < 5; ++row) {
        for (size_t column = 0; column < 5; ++column) {
            rows[row][column] = property_double(*matrix, "Matrix" + std::to_string(row) + std::to_string(column));
        }
    }
    return rows;
}

void set_matrix_for(Attributes& self, Record* matrix, ColorMatrixFlag flags, ColorAdjustType type) {
    ColorAdjustment& adjustment = settings(self, type);
    adjustment.matrix = rows_of(matrix, "new_color_matrix");
    adjustment.gray_matrix.reset();
    adjustment.matrix_flags = flags;
}
void set_matrix_with(Attributes& self, Record* matrix, ColorMatrixFlag flags) {
    set_matrix_for(self, matrix, flags, kForAll);
}
void set_matrix(Attributes& self, Record* matrix) {
    set_matrix_for(self, matrix, ColorMatrixFlag::kDefault, kForAll);
}
void set_matrices_for(Attributes& self, Record* matrix, Record* gray, ColorMatrixFlag flags, ColorAdjustType type) {
    const ColorRows gray_rows = rows_of(gray, "gray_matrix");
    set_matrix_for(self, matrix, flags, type);
    settings(self, type).gray_matrix = gray_rows;
}
void set_matrices_with(Attributes& self, Record* matrix, Record* gray, ColorMatrixFlag flags) {
    set_matrices_for(self, matrix, gray, flags, kForAll);
}
void set_matrices(Attributes& self, Record* matrix, Record* gray) {
    set_matrices_for(self, matrix, gray, ColorMatrixFlag::kDefault, kForAll);
}
void clear_matrix_for(Attributes& self, ColorAdjustType type) {
    settings(self, type).matrix.reset();
    settings(self, type).gray_matrix.reset();
}
void clear_matrix(Attributes& self) {
    clear_matrix_for(self, kForAll);
}

// Settings of one number: setting and clearing it, each for everything or for one kind.
template <auto kMember>
void clear_for(Attributes& self, ColorAdjustType type) {
    (settings(self, type).*kMember).reset();
}
template <auto kMember>
void clear(Attributes& self) {
    clear_for<kMember>(self, kForAll);
}
template <auto kMember>
void set_number_for(Attributes& self, float value, ColorAdjustType type) {
    settings(self, type).*kMember = value;
}
template <auto kMember>
void set_number(Attributes& self, float value) {
    set_number_for<kMember>(self, value, kForAll);
}
template <bool kValue>
void set_no_op_for(Attributes& self, ColorAdjustType type) {
    settings(self, type).no_op = kValue;
}
template <bool kValue>
void set_no_op(Attributes& self) {
    set_no_op_for<kValue>(self, kForAll);
}
void set_key_for(Attributes& self, const ColorValue& low, const ColorValue& high, ColorAdjustType type) {
    settings(self, type).color_key = {low.argb, high.argb};
}
void set_key(Attributes& self, const ColorValue& low, const ColorValue& high) {
    set_key_for(self, low, high, kForAll);
}
void set_channel_for(Attributes& self, api::ColorChannelFlag channel, ColorAdjustType type) {
    settings(self, type).output_channel = channel;
}
void set_channel(Attributes& self, api::ColorChannelFlag channel) {
    set_channel_for(self, channel, kForAll);
}
void set_profile_for(Attributes& self, std::string file, ColorAdjustType type) {
    settings(self, type).output_profile = std::move(file);
}
void set_profile(Attributes& self, std::string file) {
    set_profile_for(self, std::move(file), kForAll);
}

void set_remap_for(Attributes& self, const VariantArg* map, ColorAdjustType type) {
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
void set_brush_remap(Attributes& self, const VariantArg* map) {
    set_remap_for(self, map, ColorAdjustType::kBrush);
}
void clear_brush_remap(Attributes& self) {
    clear_for<&ColorAdjustment::remap>(self, ColorAdjustType::kBrush);
}

void set_wrap_clamped(Attributes& self, api::WrapMode mode, const ColorValue& color, bool clamp) {
    if (clamp) {
        throw_not_supported("The value True of clamp in ImageAttributes.SetWrapMode");
    }
    self.wrap_mode = mode;
    self.outside = color.argb;
}
void set_wrap_color(Attributes& self, api::WrapMode mode, const ColorValue& color) {
    set_wrap_clamped(self, mode, color, false);
}
void set_wrap(Attributes& self, api::WrapMode mode) {
    set_wrap_clamped(self, mode, ColorValue(), false);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_matrix, api::ImageAttributes::call_000_SetColorMatrix>(),
    behavior<&set_matrix_with, api::ImageAttributes::call_001_SetColorMatrix>(),
    behavior<&set_matrix_for, api::ImageAttributes::call_002_SetColorMatrix>(),
    behavior<&clear_matrix, api::ImageAttributes::call_000_ClearColorMatrix>(),
    behavior<&clear_matrix_for, api::ImageAttributes::call_001_ClearColorMatrix>(),
    behavior<&set_matrices, api::ImageAttributes::call_000_SetColorMatrices>(),
    behavior<&set_matrices_with, api::ImageAttributes::call_001_SetColorMatrices>(),
    behavior<&set_matrices_for, api::ImageAttributes::call_002_SetColorMatrices>(),
    behavior<&set_number<&ColorAdjustment::threshold>, api::ImageAttributes::call_000_SetThreshold>(),
    behavior<&set_number_for<&ColorAdjustment::threshold>, api::ImageAttributes::call_001_SetThreshold>(),
    behavior<&clear<&ColorAdjustment::threshold>, api::ImageAttributes::call_000_ClearThreshold>(),
    behavior<&clear_for<&ColorAdjustment::threshold>, api::ImageAttributes::call_001_ClearThreshold>(),
    behavior<&set_number<&ColorAdjustment::gamma>, api::ImageAttributes::call_000_SetGamma>(),
    behavior<&set_number_for<&ColorAdjustment::gamma>, api::ImageAttributes::call_001_SetGamma>(),
    behavior<&clear<&ColorAdjustment::gamma>, api::ImageAttributes::call_000_ClearGamma>(),
    behavior<&clear_for<&ColorAdjustment::gamma>, api::ImageAttributes::call_001_ClearGamma>(),
    behavior<&set_no_op<true>, api::ImageAttributes::call_000_SetNoOp>(),
    behavior<&set_no_op_for<true>, api::ImageAttributes::call_001_SetNoOp>(),
    behavior<&set_no_op<false>, api::ImageAttributes::call_000_ClearNoOp>(),
    behavior<&set_no_op_for<false>, api::ImageAttributes::call_001_ClearNoOp>(),
    behavior<&set_key, api::ImageAttributes::call_000_SetColorKey>(),
    behavior<&set_key_for, api::ImageAttributes::call_001_SetColorKey>(),
    behavior<&clear<&ColorAdjustment::color_key>, api::ImageAttributes::call_000_ClearColorKey>(),
    behavior<&clear_for<&ColorAdjustment::color_key>, api::ImageAttributes::call_001_ClearColorKey>(),
    behavior<&set_channel, api::ImageAttributes::call_000_SetOutputChannel>(),
    behavior<&set_channel_for, api::ImageAttributes::call_001_SetOutputChannel>(),
    behavior<&clear<&ColorAdjustment::output_channel>, api::ImageAttributes::call_000_ClearOutputChannel>(),
    behavior<&clear_for<&ColorAdjustment::output_channel>, api::ImageAttributes::call_001_ClearOutputChannel>(),
    behavior<&set_profile, api::ImageAttributes::call_000_SetOutputChannelColorProfile>(),
    behavior<&set_profile_for, api::ImageAttributes::call_001_SetOutputChannelColorProfile>(),
    behavior<&clear<&ColorAdjustment::output_profile>, api::ImageAttributes::call_000_ClearOutputChannelColorProfile>(),
    behavior<&clear_for<&ColorAdjustment::output_profile>,
             api::ImageAttributes::call_001_ClearOutputChannelColorProfile>(),
    behavior<&set_remap, api::ImageAttributes::call_000_SetRemapTable>(),
    behavior<&set_remap_for, api::ImageAttributes::call_001_SetRemapTable>(),
    behavior<&clear<&ColorAdjustment::remap>, api::ImageAttributes::call_000_ClearRemapTable>(),
    behavior<&clear_for<&ColorAdjustment::remap>, api::ImageAttributes::call_001_ClearRemapTable>(),
    behavior<&set_wrap, api::ImageAttributes::call_000_SetWrapMode>(),
    behavior<&set_wrap_color, api::ImageAttributes::call_001_SetWrapMode>(),
    behavior<&set_wrap_clamped, api::ImageAttributes::call_002_SetWrapMode>(),
    behavior<&set_brush_remap, api::ImageAttributes::call_000_SetBrushRemapTable>(),
    behavior<&clear_brush_remap, api::ImageAttributes::call_000_ClearBrushRemapTable>(),
});

const FactoryRegistration ZELMOR_UNNAMED(Attributes::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<ImageAttributesObject>(type);
});

}  // namespace

const ColorAdjustment& ImageAttributesObject::for_images() const {
    const ColorAdjustment& own = of(ColorAdjustType::kBitmap);
    return own.changes_colors() || own.no_op ? own : of(kForAll);
}
const ColorAdjustment& ImageAttributesObject::for_brushes() const {
    const ColorAdjustment& own = of(ColorAdjustType::kBrush);
    return own.changes_colors() || own.no_op ? own : of(kForAll);
}

Ref<ManagedObject> ImageAttributesObject::copy() const {
    auto twin = make_ref<ImageAttributesObject>(type());
    twin->adjustments = adjustments;
    twin->wrap_mode = wrap_mode;
    twin->outside = outside;
    return twin;
}

}  // namespace zelmor::embed
