// Sweeping over the edges of a region.
#include "runtime/native/behaviors/drawing/region_sweep.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <span>

namespace zelmor::embed {

namespace {

constexpr double kRegionFlatness = 0.01;
constexpr double kNarrowest = 1e-9;  // what is narrower belongs to nothing

constexpr double kFarthest = 1e100;  // differences and quotients of such coordinates are numbers

constexpr size_t kNone = std::numeric_limits<size_t>::max();

// The innermost limit of each thread.
thread_local SweepLimit* t_sweep_limit = nullptr;

void take_steps(uint64_t steps) {
    if (t_sweep_limit != nullptr) {
        t_sweep_limit->take(steps);
    }
}

// An edge from top to bottom, of one of the terms of the expression.
struct Edge {
    PointD top, bottom;
    int direction = 1;  // of the outline: 1 down, -1 up
    size_t term = 0;
    double at(double y) const { return top.x + (y - top.y) / (bottom.y - top.y) * (bottom.x - top.x); }
};

// Where an edge meets the line in the middle of a band, and whether the points behind it are in the region.
struct Crossing {
    size_t edge;
    double x;
    bool inside_behind;
};

// The expression of a region with the value that each of its terms has at a point which moves over edges.
class Expression {
 public:
    explicit Expression(const RegionNode& region) { add(region, kNone); }

    bool value() const { return m_terms.front().value; }
    std::vector<Edge>& edges() { return m_edges; }

    // The point moves to the right, over an edge.
    void pass(const Edge& edge) {
        Term& outline = m_terms[edge.term];
        outline.winding += edge.direction;
        set(edge.term, outline.node->rule == FillRule::kAlternate ? outline.winding % 2 != 0 : outline.winding != 0);
    }

 private:
    struct Term {
        const RegionNode* node;
        size_t parent;
        size_t left = kNone, right = kNone;
        int winding = 0;
        bool value = false;
    };

    size_t add(const RegionNode& node, size_t parent) {
        const size_t place = m_terms.size();
        m_terms.push_back({&node, parent});
        switch (node.kind) {
            case RegionNode::Kind::kInfinite:
                m_terms[place].value = true;
                break;
            case RegionNode::Kind::kEmpty:
                break;
            case RegionNode::Kind::kOutline:
                add_edges(node.outline, place);
                break;
            case RegionNode::Kind::kOperation: {
                const size_t left = add(*node.left, place), right = add(*node.right, place);
                m_terms[place].left = left;
                m_terms[place].right = right;
                m_terms[place].value = operate(node.operation, m_terms[left].value, m_terms[right].value);
                break;
            }
        }
        return place;
    }

    void add_edges(const Outline& outline, size_t term) {
        const size_t before = m_edges.size();
        for (const Contour& contour : outline) {
            const std::vector<PointD> points = flattened(contour, kRegionFlatness);
            for (size_t i = 0; i < points.size(); ++i) {
                const PointD a = points[i], b = points[(i + 1) % points.size()];
                if (!(std::abs(a.x) < kFarthest && std::abs(a.y) < kFarthest)) {
                    m_edges.resize(before);
                    return;
                }
                if (a.y < b.y) {
                    m_edges.push_back({a, b, 1, term});
                }
                if (b.y < a.y) {
                    m_edges.push_back({b, a, -1, term});
                }
            }
        }
    }

    void set(size_t place, bool value) {
        while (m_terms[place].value != value) {
            m_terms[place].value = value;
            place = m_terms[place].parent;
            if (place == kNone) {
                return;
            }
            const Term& term = m_terms[place];
            value = operate(term.node->operation, m_terms[term.left].value, m_terms[term.right].value);
        }
    }

    std::vector<Term> m_terms;  // the whole first
    std::vector<Edge> m_edges;
};

// All heights at which an edge begins, ends or crosses another. The edges are in the order of their tops.
std::vector<double> heights_of(const std::vector<Edge>& edges) {
    std::vector<double> heights;
    for (size_t i = 0; i < edges.size(); ++i) {
        const Edge& a = edges[i];
        heights.push_back(a.top.y);
        heights.push_back(a.bottom.y);
        size_t j = i + 1;
        for (; j < edges.size() && edges[j].top.y < a.bottom.y; ++j) {
            const Edge& b = edges[j];
            const double top = b.top.y, bottom = std::min(a.bottom.y, b.bottom.y);
            const double before = a.at(top) - b.at(top), after = a.at(bottom) - b.at(bottom);
            if (before * after < 0) {
                heights.push_back(top + (bottom - top) * before / (before - after));
            }
        }
        take_steps(j - i);
    }
    std::sort(heights.begin(), heights.end());
    heights.erase(std::unique(heights.begin(), heights.end()), heights.end());
    return heights;
}

// The bands of a region from top to bottom.
class Sweep {
 public:
    explicit Sweep(const RegionNode& region) : m_expression(region), m_edges(m_expression.edges()) {
        std::sort(m_edges.begin(), m_edges.end(), [](const Edge& a, const Edge& b) { return a.top.y < b.top.y; });
    }

    const std::vector<Edge>& edges() const { return m_edges; }

    // Calls `band(top, bottom, crossings)` for each band, the crossings from left to right.
    template <class Band>
    void each_band(const Band& band) {
        const std::vector<double> heights = heights_of(m_edges);
        std::vector<Crossing> across;
        size_t next = 0;
        for (size_t i = 0; i + 1 < heights.size(); ++i) {
            const double top = heights[i], bottom = heights[i + 1], middle = (top + bottom) / 2;
            std::erase_if(across, [&](const Crossing& c) { return m_edges[c.edge].bottom.y <= top; });
            for (; next < m_edges.size() && m_edges[next].top.y <= top; ++next) {
                across.push_back({next, 0, false});
            }
            take_steps(across.size());
            for (Crossing& crossing : across) {
                crossing.x = m_edges[crossing.edge].at(middle);
            }
            std::sort(across.begin(), across.end(), [](const Crossing& a, const Crossing& b) { return a.x < b.x; });
            for (Crossing& crossing : across) {
                m_expression.pass(m_edges[crossing.edge]);
                crossing.inside_behind = m_expression.value();
            }
            band(top, bottom, std::span<const Crossing>(across));
        }
    }

 private:
    Expression m_expression;
    std::vector<Edge>& m_edges;
};

// The boundary of a region as pieces of edges, and how they are joined to polygons. In a polygon that is filled by the
// alternate rule a level line counts for nothing; so the ends of the pieces at one height are joined from left to
// right, two by two, and the area is that of the pieces.
class Boundary {
 public:
    explicit Boundary(const std::vector<Edge>& edges) : m_edges(edges), m_last(edges.size(), kNone) {}

    // A band whose left and right boundaries are these edges.
    void add(double top, double bottom, const std::vector<size_t>& edges) {
        for (const size_t edge : edges) {
            const size_t last = m_last[edge];
            if (last != kNone && m_pieces[last].bottom == top) {
                m_pieces[last].bottom = bottom;
            } else {
                m_last[edge] = m_pieces.size();
                m_pieces.push_back({edge, top, bottom});
            }
        }
    }

    Outline polygons() const {
        const std::vector<size_t> joined = joined_ends();
        std::vector<bool> done(m_pieces.size());
        Outline outline;
        for (size_t first = 0; first < m_pieces.size(); ++first) {
            if (done[first]) {
                continue;
            }
            std::vector<PointD> points;
            size_t end = 2 * first;
            do {
                done[end / 2] = true;
                add_point(points, point(end));
                add_point(points, point(end ^ 1));
                end = joined[end ^ 1];
            } while (end != 2 * first);
            outline.push_back(polygon_contour(points, true));
        }
        return outline;
    }

 private:
    struct Piece {
        size_t edge;
        double top, bottom;
    };

    static void add_point(std::vector<PointD>& points, PointD p) {
        if (points.empty() || points.back() != p) {
            points.push_back(p);
        }
    }

    // Piece i has the ends 2 i, its top, and 2 i + 1.
    PointD point(size_t end) const {
        const Piece& piece = m_pieces[end / 2];
        const double y = end % 2 == 0 ? piece.top : piece.bottom;
        return {m_edges[piece.edge].at(y), y};
    }

    // For each end that to which it is joined.
    std::vector<size_t> joined_ends() const {
        struct Place {
            PointD point;
            size_t end;
        };
        std::vector<Place> places;
        for (size_t end = 0; end < 2 * m_pieces.size(); ++end) {
            places.push_back({point(end), end});
        }
        std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
            return a.point.y != b.point.y ? a.point.y < b.point.y : a.point.x < b.point.x;
        });
        std::vector<size_t> joined(places.size());
        for (size_t i = 0; i + 1 < places.size(); i += 2) {
            // Each band has an even number of edges, so the ends between two bands are even in number, too.
            assert(places[i].point.y == places[i + 1].point.y);
            joined[places[i].end] = places[i + 1].end;
            joined[places[i + 1].end] = places[i].end;
        }
        return joined;
    }

    const std::vector<Edge>& m_edges;
    std::vector<size_t> m_last;  // for each edge the last piece of it
    std::vector<Piece> m_pieces;
};

}  // namespace

SweepLimit::SweepLimit(uint64_t steps) : m_left(steps), m_outer(t_sweep_limit) {
    t_sweep_limit = this;
}
SweepLimit::~SweepLimit() {
    t_sweep_limit = m_outer;
}

void SweepLimit::take(uint64_t steps) {
    if (steps > m_left) {
        throw SweepTooLong();
    }
    m_left -= steps;
}

std::vector<Trapezoid> trapezoids_of(const RegionNode& region) {
    Sweep sweep(region);
    std::vector<Trapezoid> result;
    sweep.each_band([&](double top, double bottom, std::span<const Crossing> crossings) {
        for (size_t i = 0; i + 1 < crossings.size(); ++i) {
            if (crossings[i].inside_behind && crossings[i + 1].x - crossings[i].x > kNarrowest) {
                const Edge &left = sweep.edges()[crossings[i].edge], &right = sweep.edges()[crossings[i + 1].edge];
                result.push_back({top, bottom, left.at(top), left.at(bottom), right.at(top), right.at(bottom)});
            }
        }
    });
    return result;
}

Outline boundary_of(const RegionNode& region) {
    Sweep sweep(region);
    Boundary boundary(sweep.edges());
    std::vector<size_t> bounding;
    std::vector<double> places;
    sweep.each_band([&](double top, double bottom, std::span<const Crossing> crossings) {
        bounding.clear();
        places.clear();
        bool inside = false;
        for (const Crossing& crossing : crossings) {
            if (crossing.inside_behind == inside) {
                continue;
            }
            inside = crossing.inside_behind;
            if (!places.empty() && crossing.x - places.back() <= kNarrowest) {
                places.pop_back();
                bounding.pop_back();
            } else {
                places.push_back(crossing.x);
                bounding.push_back(crossing.edge);
            }
        }
        assert(!inside && bounding.size() % 2 == 0);
        boundary.add(top, bottom, bounding);
    });
    return boundary.polygons();
}

}  // namespace zelmor::embed
