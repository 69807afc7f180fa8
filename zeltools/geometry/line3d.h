#pragma once
/// \file
/// `CLine3D`: the infinite line of space through two points, with distances,
/// projections, the closest points of two lines and their intersection
/// within a tolerance.

#include "zeltools/geometry/point3d.h"

namespace zel {

/// A line through two points. `Point(0)` is the first point, `Point(1)` the
/// second. A line whose points coincide is degenerate (`IsValid` is 0): it
/// behaves as its first point (distances are measured to it, projections
/// give it) and it is parallel to nothing and crosses nothing.
class CLine3D {
public:
  /// A degenerate line at the origin.
  CLine3D() noexcept = default;
  CLine3D(const CPoint3D& p1, const CPoint3D& p2) noexcept { Set(p1, p2); }

  /// Makes this the line through `p1` and `p2`; returns `IsValid()`.
  unsigned char Set(const CPoint3D& p1, const CPoint3D& p2) noexcept;
  /// 1 when the two points differ (and their distance is representable).
  unsigned char IsValid() const noexcept { return valid_; }

  const CPoint3D& GetPoint1() const noexcept { return p1_; }
  const CPoint3D& GetPoint2() const noexcept { return p2_; }
  /// The unit direction from the first point to the second; (0, 0, 0) when
  /// degenerate.
  const CPoint3D& GetDirection() const noexcept { return unit_; }
  /// The distance between the two defining points.
  double Length() const noexcept { return length_; }

  /// The (unsigned) distance of `p` from the line.
  double Distance(const CPoint3D& p) const noexcept;
  /// 1 when Distance(p) <= tol.
  unsigned char Contains(const CPoint3D& p, double tol) const noexcept;
  /// The parameter t of the projection of `p` (0 for a degenerate line).
  double Parameter(const CPoint3D& p) const noexcept;
  /// p1 + t·(p2 - p1).
  CPoint3D Point(double t) const noexcept;
  /// The foot of the perpendicular from `p`.
  CPoint3D Projection(const CPoint3D& p) const noexcept;

  /// 1 when both lines are valid and parallel within `tol`, measured as a
  /// length: over the longer of the two defining segments one direction
  /// departs from the other by no more than `tol` (|sin θ|·L <= tol). For
  /// lines through the ends of members this says that each member's far end
  /// stays within `tol` of a parallel to the other; a tolerance of the order
  /// of the lengths therefore makes any two lines parallel.
  unsigned char IsParallel(const CLine3D& l, double tol) const noexcept;

  /// The closest points of the two lines: `onThis` on this line, `onOther`
  /// on `l`, their connecting vector perpendicular to both. 1 when both
  /// lines are valid and not parallel by `IsParallel` with `tol`. Otherwise
  /// 0, with `onThis` the first point of this line and `onOther` its
  /// projection onto `l` (so their distance is still the distance of
  /// parallel lines).
  unsigned char ClosestPoints(const CLine3D& l, CPoint3D& onThis, CPoint3D& onOther, double tol) const noexcept;

  /// The distance between the two lines (for parallel lines the distance
  /// between them, measured from this line's first point).
  double Distance(const CLine3D& l, double tol) const noexcept;

  /// The intersection of the two lines within `tol`: 1 when `ClosestPoints`
  /// succeeds and the closest points are no farther apart than `tol`.
  /// `out` is the midpoint of the closest points whenever they exist (also
  /// when they are too far apart, with result 0), else (0, 0, 0).
  unsigned char Cross(const CLine3D& l, CPoint3D& out, double tol) const noexcept;

private:
  CPoint3D p1_;
  CPoint3D p2_;
  CPoint3D unit_;
  double length_ = 0.0;
  unsigned char valid_ = 0;
};

} // namespace zel
