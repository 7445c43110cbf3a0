// The area of a region: a line that goes down over the edges of all its outlines, and what it finds.
//
// The line stops where an edge begins, ends or crosses another. Between two stops, in a band, the edges stand in one
// order, and walking along them tells which of the intervals between them belong to the region.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGION_SWEEP_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGION_SWEEP_H

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "runtime/native/behaviors/drawing/regions.h"

namespace zelmor::embed {

// Regions that take longer to work out than a SweepLimit allows.
class SweepTooLong : public std::runtime_error {
 public:
    SweepTooLong() : std::runtime_error("the regions take too long to work out") {}
};

// While it lives, all sweeps of its thread together take no more than so many steps; SweepTooLong where they would. A
// step is an edge in a band, or two edges at one height that are compared. Of two limits the inner one holds. For
// regions of a file, which may have been made to take hours; those of a program take what they take.
class SweepLimit {
 public:
    explicit SweepLimit(uint64_t steps);
    ~SweepLimit();
    SweepLimit(const SweepLimit&) = delete;
    SweepLimit& operator=(const SweepLimit&) = delete;

    void take(uint64_t steps);

 private:
    uint64_t m_left;
    SweepLimit* m_outer;
};

struct Trapezoid {
    double top, bottom;
    double left_top, left_bottom, right_top, right_bottom;
};
// The part of the region that the edges of its outlines bound, in bands from top to bottom. An outline with a
// coordinate that is no number, or beyond 1e100, has no edges.
std::vector<Trapezoid> trapezoids_of(const RegionNode& region);

// The same part as polygons to be filled by the alternate rule. They have no more corners than the edges that bound the
// region have ends and crossings.
Outline boundary_of(const RegionNode& region);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_REGION_SWEEP_H
