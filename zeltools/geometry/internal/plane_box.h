#pragma once
// The bounding box of a set of plane points, shared by the point and segment
// vectors.

#include <cmath>

#include "zeltools/geometry/point2d.h"

namespace zel::internal {

/// Sets lo/hi to the box of the points that `visit(add)` passes to `add`;
/// {0, 0} for both and 0 when `empty`, else 1.
template <class Visit>
unsigned char PlaneBox(bool empty, CPoint2D& lo, CPoint2D& hi, Visit visit) noexcept {
  lo.Clear();
  hi.Clear();
  if (empty)
    return 0;
  lo = CPoint2D(HUGE_VAL, HUGE_VAL);
  hi = CPoint2D(-HUGE_VAL, -HUGE_VAL);
  visit([&](const CPoint2D& p) {
    lo.x = std::fmin(lo.x, p.x);
    lo.y = std::fmin(lo.y, p.y);
    hi.x = std::fmax(hi.x, p.x);
    hi.y = std::fmax(hi.y, p.y);
  });
  return 1;
}

} // namespace zel::internal
