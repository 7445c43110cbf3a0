// A Region: a set of points, made from outlines by the operations on sets.
//
// It is kept as the expression that it was made by. A point is tested against that directly. A question about the whole
// region, such as whether it is empty, is answered by its area (region_sweep.h).
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGIONS_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/shapes.h"

namespace zelmor::embed {

enum class RegionOperation { kIntersect, kUnion, kXor, kExclude, kComplement };
// Whether a point belongs to the result, by whether it belongs to the operands.
bool operate(RegionOperation operation, bool left, bool right);

// A node of the expression: all points, none, those in an outline, or an operation on two others.
struct RegionNode {
    enum class Kind { kInfinite, kEmpty, kOutline, kOperation };
    Kind kind = Kind::kInfinite;
    Outline outline;
    FillRule rule = FillRule::kAlternate;
    RegionOperation operation = RegionOperation::kIntersect;
    std::shared_ptr<const RegionNode> left, right;
    size_t terms = 1;  // how many nodes that are no operations

    bool contains(PointD point) const;
};
using RegionTree = std::shared_ptr<const RegionNode>;

// An expression of more terms than that is replaced by its boundary.
constexpr size_t kMostTerms = 64;

RegionTree infinite_region();
RegionTree empty_region();
RegionTree region_of(Outline outline, FillRule rule);
RegionTree combined(RegionTree left, RegionTree right, RegionOperation operation);
RegionTree transformed(const RegionTree& tree, const Affine& map);

bool is_empty(const RegionTree& region);
bool is_infinite(const RegionTree& region);

class RegionObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Region::kType.name;
    explicit RegionObject(RegionTree tree = infinite_region());
    RegionTree tree;
    Ref<ManagedObject> copy() const override { return make_ref<RegionObject>(tree); }
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGIONS_H
