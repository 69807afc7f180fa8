#include "zeltools/geometry/line2d.h"

#include <algorithm>
#include <cmath>

namespace zel {

unsigned char CLine2D::Set(const CPoint2D& p1, const CPoint2D& p2) noexcept {
  p1_ = p1;
  p2_ = p2;
  valid_ = CPoint2D::Line(p1, p2, a_, b_, c_);
  return valid_;
}

unsigned char CLine2D::Contains(const CPoint2D& p, double tol) const noexcept {
  return std::fabs(Distance(p)) <= tol ? 1 : 0;
}

double CLine2D::Parameter(const CPoint2D& p) const noexcept {
  if (!valid_)
    return 0.0;
  // The unit direction is (-b, a); dividing by the length once more turns
  // the distance along it into the parameter.
  return (-b_ * (p.x - p1_.x) + a_ * (p.y - p1_.y)) / Length();
}

CPoint2D CLine2D::Point(double t) const noexcept { return p1_ + (p2_ - p1_) * t; }

CPoint2D CLine2D::Projection(const CPoint2D& p) const noexcept {
  if (!valid_)
    return p1_;
  const double d = Distance(p);
  return {p.x - a_ * d, p.y - b_ * d};
}

unsigned char CLine2D::IsParallel(const CLine2D& l, double tol) const noexcept {
  if (!valid_ || !l.valid_)
    return 0;
  const double sine = a_ * l.b_ - l.a_ * b_;
  return std::fabs(sine) * std::max(Length(), l.Length()) <= tol ? 1 : 0;
}

unsigned char CLine2D::Cross(const CLine2D& l, CPoint2D& out, double tol) const noexcept {
  out.Clear();
  if (!valid_ || !l.valid_ || IsParallel(l, tol))
    return 0;
  const double det = a_ * l.b_ - l.a_ * b_;
  if (det == 0.0) // reachable with a negative or NaN tolerance
    return 0;
  out.x = (b_ * l.c_ - l.b_ * c_) / det;
  out.y = (l.a_ * c_ - a_ * l.c_) / det;
  return 1;
}

} // namespace zel
