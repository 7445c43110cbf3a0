// Pens and brushes that carry a transformation: turning, scaling, moving, multiplying and taking it back.
#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr MatrixOrder kFirst = MatrixOrder::kPrepend;

void apply(Record& self, const Affine& step, MatrixOrder order) {
    change_transform(self, [&](const Affine& map) { return combined(map, step, order); });
}
void multiply_in(Record& self, MatrixObject* matrix, MatrixOrder order) {
    apply(self, required_map(matrix, "matrix"), order);
}
void multiply(Record& self, MatrixObject* matrix) {
    multiply_in(self, matrix, kFirst);
}
void translate_in(Record& self, float dx, float dy, MatrixOrder order) {
    apply(self, Affine::translation(dx, dy), order);
}
void translate(Record& self, float dx, float dy) {
    translate_in(self, dx, dy, kFirst);
}
void scale_in(Record& self, float sx, float sy, MatrixOrder order) {
    apply(self, Affine::scaling(sx, sy), order);
}
void scale(Record& self, float sx, float sy) {
    scale_in(self, sx, sy, kFirst);
}
void rotate_in(Record& self, float angle, MatrixOrder order) {
    apply(self, Affine::rotation(angle), order);
}
void rotate(Record& self, float angle) {
    rotate_in(self, angle, kFirst);
}
void reset(Record& self) {
    change_transform(self, [](const Affine&) { return Affine(); });
}

// What comes out is a copy: changing it changes nothing here.
Ref<ManagedObject> get_transform(Record& self) {
    const auto held = property_object(self, "Transform");
    return held ? held->copy() : nullptr;
}
void set_transform(Record& self, MatrixObject* matrix) {
    set_property(self, "Transform", Value(matrix ? matrix->copy() : nullptr));
}

bool is_changed(Record& self) {
    const auto held = property_object(self, "Transform");
    return held && !(cast_object<MatrixObject>(*held).map == Affine());
}

using PenApi = api::Pen;
using BrushApi = api::Brushes::TransformBrush;
using GraphicsApi = api::Graphics;

const BehaviorTable table({
    behavior<&multiply, PenApi::call_000_MultiplyTransform, BrushApi::call_000_MultiplyTransform,
             GraphicsApi::call_000_MultiplyTransform>(),
    behavior<&multiply_in, PenApi::call_001_MultiplyTransform, BrushApi::call_001_MultiplyTransform,
             GraphicsApi::call_001_MultiplyTransform>(),
    behavior<&translate, PenApi::call_000_TranslateTransform, BrushApi::call_000_TranslateTransform,
             GraphicsApi::call_000_TranslateTransform>(),
    behavior<&translate_in, PenApi::call_001_TranslateTransform, BrushApi::call_001_TranslateTransform,
             GraphicsApi::call_001_TranslateTransform>(),
    behavior<&scale, PenApi::call_000_ScaleTransform, BrushApi::call_000_ScaleTransform,
             GraphicsApi::call_000_ScaleTransform>(),
    behavior<&scale_in, PenApi::call_001_ScaleTransform, BrushApi::call_001_ScaleTransform,
             GraphicsApi::call_001_ScaleTransform>(),
    behavior<&rotate, PenApi::call_000_RotateTransform, BrushApi::call_000_RotateTransform,
             GraphicsApi::call_000_RotateTransform>(),
    behavior<&rotate_in, PenApi::call_001_RotateTransform, BrushApi::call_001_RotateTransform,
             GraphicsApi::call_001_RotateTransform>(),
    behavior<&reset, PenApi::call_000_ResetTransform, BrushApi::call_000_ResetTransform,
             GraphicsApi::call_000_ResetTransform>(),
    behavior<&get_transform, PenApi::get_Transform, BrushApi::get_Transform, GraphicsApi::get_Transform>(),
    behavior<&set_transform, PenApi::set_Transform, BrushApi::set_Transform, GraphicsApi::set_Transform>(),
    behavior<&is_changed, BrushApi::get_IsTransformChanged>(),
});

}  // namespace

}  // namespace zelmor::embed
