// Matrix: members and constants.
#include "runtime/native/behaviors/drawing/matrix.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include "runtime/native/behaviors/values/hashing.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

MatrixObject::MatrixObject(const Affine& map) : Record(require_type(kManagedName)), map(map) {}

bool MatrixObject::equals(const ManagedObject& other) const {
    const auto* matrix = dynamic_cast<const MatrixObject*>(&other);
    return matrix != nullptr && matrix->map == map;
}

int32_t MatrixObject::hash_code() const {
    const auto word = [](double value) { return hash_word(static_cast<float>(value)); };
    return combined_hash(word(map.m11), word(map.m22), word(map.dx), word(map.dy));
}

const Affine& required_map(const MatrixObject* matrix, const char* parameter) {
    return required(matrix, parameter).map;
}

Affine transform_of(const ManagedObject& owner) {
    const auto matrix = property_object(owner, "Transform");
    return matrix != nullptr ? cast_object<MatrixObject>(*matrix).map : Affine();
}

Affine combined(const Affine& map, const Affine& step, MatrixOrder order) {
    switch (order) {
        case MatrixOrder::kPrepend:
            return step.then(map);
        case MatrixOrder::kAppend:
            return map.then(step);
    }
    throw_argument("The value " + std::to_string(static_cast<int>(order)) + " is no matrix order.");
}

Affine map_of_corners(const RectD& rect, const std::vector<PointD>& points) {
    if (points.size() != 3) {
        throw_argument("A parallelogram has three points, not " + std::to_string(points.size()) + ".");
    }
    const auto to_unit = Affine{rect.width, 0, 0, rect.height, rect.x, rect.y}.inverse();
    if (!to_unit) {
        throw_argument("A rectangle without an area cannot be mapped to a parallelogram.");
    }
    return to_unit->then(Affine::of_corners(points[0], points[1], points[2]));
}

namespace {

Ref<MatrixObject> identity() {
    return make_ref<MatrixObject>();
}
Ref<MatrixObject> from_numbers(float m11, float m12, float m21, float m22, float m31, float m32) {
    return make_ref<MatrixObject>(Affine{m11, m12, m21, m22, m31, m32});
}
Ref<MatrixObject> from_rect(RectArg rect, PointsArg points) {
    return make_ref<MatrixObject>(map_of_corners(rect, points.items));
}
Ref<MatrixObject> from_matrix(MatrixObject* origin) {
    return make_ref<MatrixObject>(required_map(origin, "origin"));
}
bool equal(MatrixObject* a, MatrixObject* b) {
    return a != nullptr && b != nullptr ? a->equals(*b) : a == b;
}

void scale_in(MatrixObject& self, float x, float y, MatrixOrder order) {
    self.map = combined(self.map, Affine::scaling(x, y), order);
}
void scale(MatrixObject& self, float x, float y) {
    scale_in(self, x, y, MatrixOrder::kPrepend);
}
void translate_in(MatrixObject& self, float x, float y, MatrixOrder order) {
    self.map = combined(self.map, Affine::translation(x, y), order);
}
void translate(MatrixObject& self, float x, float y) {
    translate_in(self, x, y, MatrixOrder::kPrepend);
}
void multiply_in(MatrixObject& self, MatrixObject* other, MatrixOrder order) {
    self.map = combined(self.map, required_map(other, "tx"), order);
}
void multiply(MatrixObject& self, MatrixObject* other) {
    multiply_in(self, other, MatrixOrder::kPrepend);
}
void rotate_in(MatrixObject& self, float angle, MatrixOrder order) {
    self.map = combined(self.map, Affine::rotation(angle), order);
}
void rotate(MatrixObject& self, float angle) {
    rotate_in(self, angle, MatrixOrder::kPrepend);
}
void rotate_at_in(MatrixObject& self, float angle, PointArg at, MatrixOrder order) {
    const Affine turn =
        Affine::translation(-at.x, -at.y).then(Affine::rotation(angle)).then(Affine::translation(at.x, at.y));
    self.map = combined(self.map, turn, order);
}
void rotate_at(MatrixObject& self, float angle, PointArg at) {
    rotate_at_in(self, angle, at, MatrixOrder::kPrepend);
}
void reset_matrix(MatrixObject& self) {
    self.map = {};
}

// Each point of the array or Python list is replaced by the one that it is mapped to.
void transform_points(MatrixObject& self, const VariantArg* points) {
    const auto object = read_collection(points, CollectionShape::kIList, variant_element());
    if (!object) {
        throw_argument_null("points");
    }
    auto& list = cast_object<ManagedList>(*object);
    std::vector<PointD> mapped = points_of(Value(object));
    for (size_t i = 0; i < mapped.size(); ++i) {
        list.set(i, Value(box(to_point_f(self.map.apply(mapped[i])))));
    }
}

Collection elements(MatrixObject& self) {
    const Affine& m = self.map;
    std::vector<float> items;
    for (const double value : {m.m11, m.m12, m.m21, m.m22, m.dx, m.dy}) {
        items.push_back(static_cast<float>(value));
    }
    return {Ref<ManagedObject>(make_array(std::move(items)))};
}

template <double Affine::*kMember>
float element(MatrixObject& self) {
    return static_cast<float>(self.map.*kMember);
}

using MatrixApi = api::Matrix;

// The bits that tell the kind of a map: no change, moving, scaling alike or differently in both directions, turning by
// quarters or by any angle, flipping, and everything else.
struct KindConstant {
    const PropertyName& property;
    int32_t bits;
};
constexpr int32_t kUniformScale = 2, kGeneralScale = 4, kQuadrantRotation = 8, kGeneralRotation = 16;
constexpr KindConstant kKinds[] = {
    {MatrixApi::property_TypeIdentity, 0},
    {MatrixApi::property_TypeTranslation, 1},
    {MatrixApi::property_TypeUniformScale, kUniformScale},
    {MatrixApi::property_TypeGeneralScale, kGeneralScale},
    {MatrixApi::property_TypeMaskScale, kUniformScale | kGeneralScale},
    {MatrixApi::property_TypeQuadrantRotation, kQuadrantRotation},
    {MatrixApi::property_TypeGeneralRotation, kGeneralRotation},
    {MatrixApi::property_TypeMaskRotation, kQuadrantRotation | kGeneralRotation},
    {MatrixApi::property_TypeGeneralTransform, 32},
    {MatrixApi::property_TypeFlip, 64},
};
int32_t kind_bits(const KindConstant& row) {
    return row.bits;
}
const BehaviorTable ZELMOR_UNNAMED([] {
    std::vector<BehaviorRow> rows;
    for (const KindConstant& row : kKinds) {
        rows.push_back(row_property<&kind_bits>(row.property, row));
    }
    return rows;
}());

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&identity, MatrixApi::ctor_000_Matrix>(),
    behavior<&from_numbers, MatrixApi::ctor_001_Matrix>(),
    behavior<&from_rect, MatrixApi::ctor_002_Matrix, MatrixApi::ctor_003_Matrix, MatrixApi::call_000_CreateWithRectF,
             MatrixApi::call_000_CreateWithRect>(),
    behavior<&from_matrix, MatrixApi::ctor_004_Matrix>(),
    behavior<&equal, MatrixApi::call_000_Equals>(),
    behavior<&scale_in, MatrixApi::call_000_Scale>(),
    behavior<&scale, MatrixApi::call_001_Scale>(),
    behavior<&translate_in, MatrixApi::call_000_Translate>(),
    behavior<&translate, MatrixApi::call_001_Translate>(),
    behavior<&multiply_in, MatrixApi::call_000_Multiply>(),
    behavior<&multiply, MatrixApi::call_001_Multiply>(),
    behavior<&rotate_in, MatrixApi::call_000_Rotate>(),
    behavior<&rotate, MatrixApi::call_001_Rotate>(),
    behavior<&rotate_at_in, MatrixApi::call_000_RotateAt>(),
    behavior<&rotate_at, MatrixApi::call_001_RotateAt>(),
    behavior<&elements, MatrixApi::call_000_GetElements, MatrixApi::get_Elements>(),
    behavior<&transform_points, MatrixApi::call_000_TransformPoints>(),
    behavior<&reset_matrix, MatrixApi::call_000_Reset>(),
    behavior<&element<&Affine::m11>, MatrixApi::get_M11>(),
    behavior<&element<&Affine::m12>, MatrixApi::get_M12>(),
    behavior<&element<&Affine::m21>, MatrixApi::get_M21>(),
    behavior<&element<&Affine::m22>, MatrixApi::get_M22>(),
    behavior<&element<&Affine::dx>, MatrixApi::get_M31>(),
    behavior<&element<&Affine::dy>, MatrixApi::get_M32>(),
});

const FactoryRegistration ZELMOR_UNNAMED(MatrixObject::kManagedName,
                                         [](const TypeInfo&) -> Ref<ManagedObject> { return identity(); });

}  // namespace

}  // namespace zelmor::embed
