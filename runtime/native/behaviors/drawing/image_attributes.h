// How the colors of an image are changed while it is drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_IMAGE_ATTRIBUTES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_IMAGE_ATTRIBUTES_H

#include <array>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

using api::ColorAdjustType;
using api::ColorMatrixFlag;
using Argb = uint32_t;

// The matrix of a color change: the rows are the contributions of red, green, blue, alpha and a constant one.
using ColorRows = std::array<std::array<double, 5>, 5>;

// The settings for images, for brushes, and so on.
struct ColorAdjustment {
    std::optional<ColorRows> matrix;
    std::optional<ColorRows> gray_matrix;
    ColorMatrixFlag matrix_flags = ColorMatrixFlag::kDefault;
    std::optional<double> threshold;
    std::optional<double> gamma;
    std::optional<std::pair<Argb, Argb>> color_key;
    std::optional<std::vector<std::pair<Argb, Argb>>> remap;
    std::optional<api::ColorChannelFlag> output_channel;
    std::optional<std::string> output_profile;
    bool no_op = false;

    bool changes_colors() const;
    // NotSupportedException for output channels and profiles.
    void apply(std::span<Argb> pixels) const;
};

class ImageAttributesObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::ImageAttributes::kType.name;
    explicit ImageAttributesObject(const TypeInfo& type) : Record(type) {}

    static constexpr size_t kKinds = static_cast<size_t>(ColorAdjustType::kAny) + 1;
    const ColorAdjustment& of(ColorAdjustType type) const { return adjustments[static_cast<size_t>(type)]; }
    std::array<ColorAdjustment, kKinds> adjustments;  // by ColorAdjustType
    api::WrapMode wrap_mode = api::WrapMode::kClamp;  // nothing outside the image
    Argb outside = 0;                                 // the color there, where nothing is repeated

    // The settings for images and for brushes: their own if there are any, otherwise those for everything.
    const ColorAdjustment& for_images() const;
    const ColorAdjustment& for_brushes() const;
    Ref<ManagedObject> copy() const override;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_IMAGE_ATTRIBUTES_H
