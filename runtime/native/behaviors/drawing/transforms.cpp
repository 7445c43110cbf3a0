// The transformation of pens, brushes and graphics: reading, setting and changing it by steps.
#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

void set_map(Record& self, const Affine& map) {
    set_property(self, "Transform", Value(Ref<ManagedObject>(make_ref<MatrixObject>(map))));
}
void apply(Record& self, const Affine& step, MatrixOrder order) {
    set_map(self, combined(transform_of(self), step, order));
}
void multiply_transform_in(Record& self, MatrixObject* matrix, MatrixOrder order) {
    apply(self, required_map(matrix, "matrix"), order);
}
void multiply_transform(Record& self, MatrixObject* matrix) {
    multiply_transform_in(self, matrix, MatrixOrder::kPrepend);
}
void translate_transform_in(Record& self, float dx, float dy, MatrixOrder order) {
    apply(self, Affine::translation(dx, dy), order);
}
void translate_transform(Record& self, float dx, float dy) {
    translate_transform_in(self, dx, dy, MatrixOrder::kPrepend);
}
void scale_transform_in(Record& self, float sx, float sy, MatrixOrder order) {
    apply(self, Affine::scaling(sx, sy), order);
}
void scale_transform(Record& self, float sx, float sy) {
    scale_transform_in(self, sx, sy, MatrixOrder::kPrepend);
}
void rotate_transform_in(Record& self, float angle, MatrixOrder order) {
    apply(self, Affine::rotation(angle), order);
}
void rotate_transform(Record& self, float angle) {
    rotate_transform_in(self, angle, MatrixOrder::kPrepend);
}
void reset_transform(Record& self) {
    set_map(self, Affine());
}

// A copy, so that a change of it does not change the owner.
Ref<ManagedObject> get_transform(Record& self) {
    const auto held = property_object(self, "Transform");
    return held ? held->copy() : nullptr;
}
void set_transform(Record& self, MatrixObject* matrix) {
    set_property(self, "Transform", Value(matrix != nullptr ? matrix->copy() : nullptr));
}

bool is_changed(Record& self) {
    return !(transform_of(self) == Affine());
}

using PenApi = api::Pen;
using BrushApi = api::Brushes::TransformBrush;
using GraphicsApi = api::Graphics;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&multiply_transform, PenApi::call_000_MultiplyTransform, BrushApi::call_000_MultiplyTransform,
             GraphicsApi::call_000_MultiplyTransform>(),
    behavior<&multiply_transform_in, PenApi::call_001_MultiplyTransform, BrushApi::call_001_MultiplyTransform,
             GraphicsApi::call_001_MultiplyTransform>(),
    behavior<&translate_transform, PenApi::call_000_TranslateTransform, BrushApi::call_000_TranslateTransform,
             GraphicsApi::call_000_TranslateTransform>(),
    behavior<&translate_transform_in, PenApi::call_001_TranslateTransform, BrushApi::call_001_TranslateTransform,
             GraphicsApi::call_001_TranslateTransform>(),
    behavior<&scale_transform, PenApi::call_000_ScaleTransform, BrushApi::call_000_ScaleTransform,
             GraphicsApi::call_000_ScaleTransform>(),
    behavior<&scale_transform_in, PenApi::call_001_ScaleTransform, BrushApi::call_001_ScaleTransform,
             GraphicsApi::call_001_ScaleTransform>(),
    behavior<&rotate_transform, PenApi::call_000_RotateTransform, BrushApi::call_000_RotateTransform,
             GraphicsApi::call_000_RotateTransform>(),
    behavior<&rotate_transform_in, PenApi::call_001_RotateTransform, BrushApi::call_001_RotateTransform,
             GraphicsApi::call_001_RotateTransform>(),
    behavior<&reset_transform, PenApi::call_000_ResetTransform, BrushApi::call_000_ResetTransform,
             GraphicsApi::call_000_ResetTransform>(),
    property<&get_transform, &set_transform, PenApi::property_Transform>(),
    property<&get_transform, &set_transform, BrushApi::property_Transform>(),
    property<&get_transform, &set_transform, GraphicsApi::property_Transform>(),
    behavior<&is_changed, BrushApi::get_IsTransformChanged>(),
});

}  // namespace

}  // namespace zelmor::embed
