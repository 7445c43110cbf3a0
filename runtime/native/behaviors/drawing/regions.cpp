// Computing with regions. The members of Region are in region_members.cpp.
#include "runtime/native/behaviors/drawing/regions.h"

#include <cassert>

#include "runtime/native/behaviors/drawing/region_sweep.h"

namespace zelmor::embed {

namespace {

RegionTree plain(RegionNode::Kind kind) {
    auto node = std::make_shared<RegionNode>();
    node->kind = kind;
    return node;
}

bool is_unbounded(const RegionNode& node) {
    switch (node.kind) {
        case RegionNode::Kind::kInfinite:
            return true;
        case RegionNode::Kind::kOperation:
            return operate(node.operation, is_unbounded(*node.left), is_unbounded(*node.right));
        default:
            return false;
    }
}

// The same region without operations: its boundary or, for an unbounded one, everything but the complement.
RegionTree worked_out(const RegionNode& node) {
    RegionNode bounded = node;
    const bool inverted = is_unbounded(node);
    if (inverted) {
        bounded.left = infinite_region();
        bounded.right = std::make_shared<RegionNode>(node);
        bounded.operation = RegionOperation::kExclude;
    }
    RegionTree region = region_of(boundary_of(bounded), FillRule::kAlternate);
    return inverted ? combined(infinite_region(), region, RegionOperation::kExclude) : region;
}

}  // namespace

bool operate(RegionOperation operation, bool left, bool right) {
    switch (operation) {
        case RegionOperation::kIntersect:
            return left && right;
        case RegionOperation::kUnion:
            return left || right;
        case RegionOperation::kXor:
            return left != right;
        case RegionOperation::kExclude:
            return left && !right;
        case RegionOperation::kComplement:
            return right && !left;
    }
    return false;
}

bool RegionNode::contains(PointD point) const {
    switch (kind) {
        case Kind::kInfinite:
            return true;
        case Kind::kEmpty:
            return false;
        case Kind::kOutline:
            return embed::contains(outline, rule, point);
        case Kind::kOperation:
            break;
    }
    return operate(operation, left->contains(point), right->contains(point));
}

RegionTree infinite_region() {
    static const RegionTree region = plain(RegionNode::Kind::kInfinite);
    return region;
}
RegionTree empty_region() {
    static const RegionTree region = plain(RegionNode::Kind::kEmpty);
    return region;
}

RegionTree region_of(Outline outline, FillRule rule) {
    auto node = std::make_shared<RegionNode>();
    node->kind = RegionNode::Kind::kOutline;
    node->outline = std::move(outline);
    node->rule = rule;
    return node;
}

RegionTree combined(RegionTree left, RegionTree right, RegionOperation operation) {
    assert(left != nullptr && right != nullptr);
    if (left == right) {
        const bool kept = operation == RegionOperation::kIntersect || operation == RegionOperation::kUnion;
        return kept ? left : empty_region();
    }
    auto node = std::make_shared<RegionNode>();
    node->kind = RegionNode::Kind::kOperation;
    node->terms = left->terms + right->terms;
    node->left = std::move(left);
    node->right = std::move(right);
    node->operation = operation;
    return node->terms > kMostTerms ? worked_out(*node) : node;
}

RegionTree transformed(const RegionTree& tree, const Affine& map) {
    if (tree->kind == RegionNode::Kind::kOperation) {
        return combined(transformed(tree->left, map), transformed(tree->right, map), tree->operation);
    }
    if (tree->kind == RegionNode::Kind::kOutline) {
        return region_of(transformed(tree->outline, map), tree->rule);
    }
    return tree;
}

bool is_empty(const RegionTree& region) {
    return !is_unbounded(*region) && trapezoids_of(*region).empty();
}

bool is_infinite(const RegionTree& region) {
    return is_unbounded(*region) && is_empty(combined(infinite_region(), region, RegionOperation::kExclude));
}

RegionObject::RegionObject(RegionTree tree) : Record(require_type(kManagedName)), tree(std::move(tree)) {}

}  // namespace zelmor::embed
