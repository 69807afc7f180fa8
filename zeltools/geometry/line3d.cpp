#include "zeltools/geometry/line3d.h"

#include <algorithm>
#include <cmath>

namespace zel {

unsigned char CLine3D::Set(const CPoint3D& p1, const CPoint3D& p2) noexcept {
  p1_ = p1;
  p2_ = p2;
  unit_ = p2 - p1;
  length_ = unit_.Length();
  valid_ = (length_ > 0.0 && std::isfinite(length_)) ? unit_.Normalize(0.0) : 0;
  if (!valid_)
    unit_.Clear();
  return valid_;
}

double CLine3D::Distance(const CPoint3D& p) const noexcept {
  if (!valid_)
    return p.Distance(p1_);
  return (p - p1_).Cross(unit_).Length();
}

unsigned char CLine3D::Contains(const CPoint3D& p, double tol) const noexcept {
  return Distance(p) <= tol ? 1 : 0;
}

double CLine3D::Parameter(const CPoint3D& p) const noexcept {
  if (!valid_)
    return 0.0;
  return (p - p1_).Dot(unit_) / length_;
}

CPoint3D CLine3D::Point(double t) const noexcept { return p1_ + (p2_ - p1_) * t; }

CPoint3D CLine3D::Projection(const CPoint3D& p) const noexcept {
  if (!valid_)
    return p1_;
  return p1_ + unit_ * (p - p1_).Dot(unit_);
}

unsigned char CLine3D::IsParallel(const CLine3D& l, double tol) const noexcept {
  if (!valid_ || !l.valid_)
    return 0;
  const double sine = unit_.Cross(l.unit_).Length();
  return sine * std::max(length_, l.length_) <= tol ? 1 : 0;
}

unsigned char CLine3D::ClosestPoints(const CLine3D& l, CPoint3D& onThis, CPoint3D& onOther,
                                     double tol) const noexcept {
  onThis = p1_;
  onOther = l.Projection(p1_);
  if (!valid_ || !l.valid_ || IsParallel(l, tol))
    return 0;
  // With unit directions u and v and w = p1 - q1, minimising
  // |w + s·u - t·v| gives the 2x2 system [1 -b; b -1](s, t) = (-d, -e).
  const double b = unit_.Dot(l.unit_);
  const CPoint3D w = p1_ - l.p1_;
  const double d = unit_.Dot(w);
  const double e = l.unit_.Dot(w);
  const double den = 1.0 - b * b;
  if (!(den > 0.0)) // reachable with a negative or NaN tolerance
    return 0;
  const double s = (b * e - d) / den;
  const double t = (e - b * d) / den;
  onThis = p1_ + unit_ * s;
  onOther = l.p1_ + l.unit_ * t;
  return 1;
}

double CLine3D::Distance(const CLine3D& l, double tol) const noexcept {
  CPoint3D a, b;
  ClosestPoints(l, a, b, tol);
  return a.Distance(b);
}

unsigned char CLine3D::Cross(const CLine3D& l, CPoint3D& out, double tol) const noexcept {
  CPoint3D a, b;
  if (!ClosestPoints(l, a, b, tol)) {
    out.Clear();
    return 0;
  }
  out = (a + b) * 0.5;
  return a.Distance(b) <= tol ? 1 : 0;
}

} // namespace zel
