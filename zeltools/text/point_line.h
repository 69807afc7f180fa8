#pragma once
/// \file
/// Position of a plane point against a line.

namespace zel {

/// Where the point (x, y) lies against the line through (x1, y1) and
/// (x2, y2), directed from the first point to the second: 0 when its
/// distance from the line is at most `tol` (an absolute distance), 1 when it
/// lies to the left, −1 when to the right.
///
/// When the two points of the line coincide the line has no side: the
/// result is 0 when the point is within `tol` of them and 2 otherwise. A NaN
/// coordinate gives −1.
int PointLine(double x, double y, double x1, double y1, double x2, double y2, double tol);

} // namespace zel
