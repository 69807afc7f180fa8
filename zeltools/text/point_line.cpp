#include "zeltools/text/point_line.h"

#include <cmath>

namespace zel {

int PointLine(double x, double y, double x1, double y1, double x2, double y2, double tol) {
  const double dx = x2 - x1, dy = y2 - y1;
  const double length = std::hypot(dx, dy);
  if (length == 0)
    return std::hypot(x - x1, y - y1) <= tol ? 0 : 2;
  // Signed distance: the cross product of the direction and the point's
  // offset, over the length; positive on the left.
  const double distance = (dx * (y - y1) - dy * (x - x1)) / length;
  if (std::fabs(distance) <= tol)
    return 0;
  return distance > 0 ? 1 : -1;
}

} // namespace zel
