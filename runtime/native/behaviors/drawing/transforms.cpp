// Pens and brushes that carry a transformation: turning, scaling, moving, multiplying and taking it back.
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

constexpr const char* kBrush = "Zelmor.Imaging.Brushes.TransformBrush";

const BehaviorTable table(Assembly::kImaging, [] {
    static std::vector<Behavior> members;
    for (const char* type : {"Zelmor.Imaging.Pen", kBrush, "Zelmor.Imaging.Graphics"}) {
        members.push_back({type, "call_000_MultiplyTransform", entry<&multiply>()});
        members.push_back({type, "call_001_MultiplyTransform", entry<&multiply_in>()});
        members.push_back({type, "call_000_TranslateTransform", entry<&translate>()});
        members.push_back({type, "call_001_TranslateTransform", entry<&translate_in>()});
        members.push_back({type, "call_000_ScaleTransform", entry<&scale>()});
        members.push_back({type, "call_001_ScaleTransform", entry<&scale_in>()});
        members.push_back({type, "call_000_RotateTransform", entry<&rotate>()});
        members.push_back({type, "call_001_RotateTransform", entry<&rotate_in>()});
        members.push_back({type, "call_000_ResetTransform", entry<&reset>()});
        members.push_back({type, "get_Transform", entry<&get_transform>()});
        members.push_back({type, "set_Transform", entry<&set_transform>()});
    }
    members.push_back({kBrush, "get_IsTransformChanged", entry<&is_changed>()});
    return std::span<const Behavior>(members);
}());

}  // namespace

}  // namespace zelmor::embed
