#pragma once
/// \file
/// `CLine2D`: the infinite line of the plane through two points, kept with
/// its normalised equation a·x + b·y + c = 0 (the one of `CPoint2D::Line`).

#include "zeltools/geometry/point2d.h"

namespace zel {

/// A line through two points. The two points also fix a direction and a
/// parameter: `Point(0)` is the first point, `Point(1)` the second.
///
/// A line whose points coincide is degenerate (`IsValid` is 0): its
/// equation is 0 = 0, every distance from it is 0, every projection onto it
/// is its first point, and it crosses nothing.
class CLine2D {
public:
  /// A degenerate line at the origin.
  CLine2D() noexcept = default;
  CLine2D(const CPoint2D& p1, const CPoint2D& p2) noexcept { Set(p1, p2); }

  /// Makes this the line through `p1` and `p2`; returns `IsValid()`.
  unsigned char Set(const CPoint2D& p1, const CPoint2D& p2) noexcept;
  /// 1 when the two points differ, so that the line has an equation.
  unsigned char IsValid() const noexcept { return valid_; }

  const CPoint2D& GetPoint1() const noexcept { return p1_; }
  const CPoint2D& GetPoint2() const noexcept { return p2_; }
  /// The coefficients of the normalised equation (all 0 when degenerate).
  double GetA() const noexcept { return a_; }
  double GetB() const noexcept { return b_; }
  double GetC() const noexcept { return c_; }
  /// The distance between the two defining points.
  double Length() const noexcept { return p1_.Distance(p2_); }

  /// The signed distance of `p`, positive on the right of the direction
  /// from the first point to the second.
  double Distance(const CPoint2D& p) const noexcept { return a_ * p.x + b_ * p.y + c_; }
  /// 1 when |Distance(p)| <= tol (a degenerate line contains every point).
  unsigned char Contains(const CPoint2D& p, double tol) const noexcept;
  /// The parameter t of the projection of `p`: Point(t) is the foot of the
  /// perpendicular. 0 for a degenerate line.
  double Parameter(const CPoint2D& p) const noexcept;
  /// p1 + t·(p2 - p1).
  CPoint2D Point(double t) const noexcept;
  /// The foot of the perpendicular from `p`.
  CPoint2D Projection(const CPoint2D& p) const noexcept;

  /// 1 when both lines are valid and parallel within `tol`, measured as a
  /// length: over the longer of the two defining segments, one direction
  /// departs from the other by no more than `tol` (|sin θ|·L <= tol).
  unsigned char IsParallel(const CLine2D& l, double tol) const noexcept;

  /// The intersection of the two lines. `out` is set to (0, 0) first; 0 when
  /// either line is degenerate or the lines are parallel by `IsParallel`
  /// with `tol` (unlike `CPoint2D::CrossLineLine`, nearly parallel lines do
  /// not meet at a far-away point); otherwise 1 with the intersection in
  /// `out`.
  unsigned char Cross(const CLine2D& l, CPoint2D& out, double tol) const noexcept;

private:
  CPoint2D p1_;
  CPoint2D p2_;
  double a_ = 0.0;
  double b_ = 0.0;
  double c_ = 0.0;
  unsigned char valid_ = 0;
};

} // namespace zel
