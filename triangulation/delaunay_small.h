// Small triangulations scan plainly: see PlainScansWhileSmall.
#pragma once

class TaCIncrementalDelaunay2D;

namespace relief::detail {

// For the lifetime of this object a triangulation of fewer points than
// GetPlainScansBelow() runs with plain scans (unless it already does): there
// the whole working list is shorter than the upkeep of the circle grid and the
// hull-side register (crossover measured near 250 uniform points, both
// starts). The structures are rebuilt from the working list when it ends, so
// later insertions use them again.
class PlainScansWhileSmall {
 public:
  PlainScansWhileSmall(TaCIncrementalDelaunay2D& d, int points);
  ~PlainScansWhileSmall();
  PlainScansWhileSmall(const PlainScansWhileSmall&) = delete;
  PlainScansWhileSmall& operator=(const PlainScansWhileSmall&) = delete;

 private:
  TaCIncrementalDelaunay2D& m_d;
  const bool m_switched;
};

}  // namespace relief::detail
