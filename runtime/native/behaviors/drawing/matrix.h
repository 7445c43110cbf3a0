// A Matrix: six numbers of double precision that map points.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_MATRIX_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_MATRIX_H

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

using api::MatrixOrder;

class MatrixObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Matrix::kType.name;
    explicit MatrixObject(const Affine& map = {});

    Affine map;

    // Matrices with the same numbers are equal.
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    Ref<ManagedObject> copy() const override { return make_ref<MatrixObject>(map); }
};

// The map of a matrix, the identity for none.
inline Affine map_of(const MatrixObject* matrix) {
    return matrix != nullptr ? matrix->map : Affine();
}
// ArgumentNullException for none.
const Affine& required_map(const MatrixObject* matrix, const char* parameter);

// `map` with another step before it (prepended) or behind it.
Affine combined(const Affine& map, const Affine& step, MatrixOrder order);
// Maps the rectangle to the parallelogram of three points: where its left top, right top and left bottom go.
Affine map_of_corners(const RectD& rect, const std::vector<PointD>& points);

// The map in the property `Transform` of a pen, a brush or a graphics; the identity for null.
Affine transform_of(const ManagedObject& owner);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_MATRIX_H
