// A Region: a set of points, put together from outlines by the operations on sets.
//
// It is kept as the expression that it was made by. A point is tested against that directly. A question about the whole
// region, such as whether it is empty, is answered by trapezoids whose edges do not cross.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGIONS_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/shapes.h"

namespace zelmor::embed {

enum class RegionOperation { kIntersect, kUnion, kXor, kExclude, kComplement };

// A node of the expression: all points, none, those in an outline, or an operation on two others.
struct RegionNode {
    enum class Kind { kInfinite, kEmpty, kOutline, kOperation };
    Kind kind = Kind::kInfinite;
    Outline outline;
    FillRule rule = FillRule::kAlternate;
    RegionOperation operation = RegionOperation::kIntersect;
    std::shared_ptr<const RegionNode> left, right;
    int depth = 0;

    bool contains(PointD point) const;
};
using RegionTree = std::shared_ptr<const RegionNode>;

RegionTree infinite_region();
RegionTree empty_region();
RegionTree region_of(Outline outline, FillRule rule);
RegionTree combined(RegionTree left, RegionTree right, RegionOperation operation);
RegionTree transformed(const RegionTree& tree, const Affine& map);

struct Trapezoid {
    double top, bottom;
    double left_top, left_bottom, right_top, right_bottom;
};
// The part of the region that the edges of its outlines bound, in bands from top to bottom.
std::vector<Trapezoid> trapezoids_of(const RegionNode& region);
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
