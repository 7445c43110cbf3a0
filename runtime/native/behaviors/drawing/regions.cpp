// Computing with regions. The members of Region are in region_members.cpp.
#include "runtime/native/behaviors/drawing/regions.h"

#include <algorithm>
#include <cassert>

namespace zelmor::embed {

namespace {

constexpr double kRegionFlatness = 0.01;
constexpr int kDeepest = 64;  // a deeper expression is replaced by its trapezoids

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

RegionTree plain(RegionNode::Kind kind) {
    auto node = std::make_shared<RegionNode>();
    node->kind = kind;
    return node;
}

// An edge from top to bottom.
struct Edge {
    PointD top, bottom;
    double at(double y) const { return top.x + (y - top.y) / (bottom.y - top.y) * (bottom.x - top.x); }
};

void collect_edges(const RegionNode& node, std::vector<Edge>& edges) {
    if (node.kind == RegionNode::Kind::kOperation) {
        collect_edges(*node.left, edges);
        collect_edges(*node.right, edges);
        return;
    }
    for (const Contour& contour : node.outline) {
        const std::vector<PointD> points = flattened(contour, kRegionFlatness);
        for (size_t i = 0; i < points.size(); ++i) {
            const PointD a = points[i], b = points[(i + 1) % points.size()];
            if (a.y < b.y) {
                edges.push_back({a, b});
            }
            if (b.y < a.y) {
                edges.push_back({b, a});
            }
        }
    }
}

// Curves are replaced by lines once, so that testing many points does not flatten them again and again.
RegionTree flat(const RegionNode& node) {
    auto copy = std::make_shared<RegionNode>(node);
    copy->outline = flattened(node.outline, kRegionFlatness);
    if (node.kind == RegionNode::Kind::kOperation) {
        copy->left = flat(*node.left);
        copy->right = flat(*node.right);
    }
    return copy;
}

// All heights at which an edge begins, ends or crosses another.
std::vector<double> heights_of(std::vector<Edge>& edges) {
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.top.y < b.top.y; });
    std::vector<double> heights;
    for (size_t i = 0; i < edges.size(); ++i) {
        const Edge& a = edges[i];
        heights.push_back(a.top.y);
        heights.push_back(a.bottom.y);
        for (size_t j = i + 1; j < edges.size() && edges[j].top.y < a.bottom.y; ++j) {
            const Edge& b = edges[j];
            const double top = b.top.y, bottom = std::min(a.bottom.y, b.bottom.y);
            const double before = a.at(top) - b.at(top), after = a.at(bottom) - b.at(bottom);
            if (before * after < 0) {
                heights.push_back(top + (bottom - top) * before / (before - after));
            }
        }
    }
    std::sort(heights.begin(), heights.end());
    heights.erase(std::unique(heights.begin(), heights.end()), heights.end());
    return heights;
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

// The same region without operations: its trapezoids or, for an unbounded one, everything but the trapezoids of its
// complement.
RegionTree worked_out(const RegionNode& node) {
    RegionNode bounded = node;
    const bool inverted = is_unbounded(node);
    if (inverted) {
        bounded.left = infinite_region();
        bounded.right = std::make_shared<RegionNode>(node);
        bounded.operation = RegionOperation::kExclude;
    }
    Outline outline;
    for (const Trapezoid& t : trapezoids_of(bounded)) {
        const std::vector<PointD> corners{
            {t.left_top, t.top}, {t.right_top, t.top}, {t.right_bottom, t.bottom}, {t.left_bottom, t.bottom}};
        outline.push_back(polygon_contour(corners, true));
    }
    RegionTree region = region_of(std::move(outline), FillRule::kAlternate);
    return inverted ? combined(infinite_region(), region, RegionOperation::kExclude) : region;
}

}  // namespace

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
    auto node = std::make_shared<RegionNode>();
    node->kind = RegionNode::Kind::kOperation;
    node->depth = 1 + std::max(left->depth, right->depth);
    node->left = std::move(left);
    node->right = std::move(right);
    node->operation = operation;
    return node->depth > kDeepest ? worked_out(*node) : node;
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

std::vector<Trapezoid> trapezoids_of(const RegionNode& node) {
    std::vector<Edge> edges;
    const RegionTree region = flat(node);
    collect_edges(*region, edges);
    const std::vector<double> heights = heights_of(edges);
    std::vector<Trapezoid> result;
    std::vector<const Edge*> across;
    for (size_t i = 0; i + 1 < heights.size(); ++i) {
        const double top = heights[i], bottom = heights[i + 1], middle = (top + bottom) / 2;
        across.clear();
        for (const Edge& edge : edges) {
            if (edge.top.y >= bottom) {
                break;
            }
            if (edge.bottom.y > top) {
                across.push_back(&edge);
            }
        }
        std::sort(across.begin(), across.end(),
                  [&](const Edge* a, const Edge* b) { return a->at(middle) < b->at(middle); });
        for (size_t e = 0; e + 1 < across.size(); ++e) {
            const Edge &left = *across[e], &right = *across[e + 1];
            const double from = left.at(middle), to = right.at(middle);
            if (!(to - from > 1e-9) || !region->contains({(from + to) / 2, middle})) {
                continue;
            }
            result.push_back({top, bottom, left.at(top), left.at(bottom), right.at(top), right.at(bottom)});
        }
    }
    return result;
}

bool is_empty(const RegionTree& region) {
    return !is_unbounded(*region) && trapezoids_of(*region).empty();
}

bool is_infinite(const RegionTree& region) {
    return is_unbounded(*region) && is_empty(combined(infinite_region(), region, RegionOperation::kExclude));
}

RegionObject::RegionObject(RegionTree tree) : Record(require_type(kManagedName)), tree(std::move(tree)) {}

}  // namespace zelmor::embed
