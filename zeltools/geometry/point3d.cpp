#include "zeltools/geometry/point3d.h"

#include <cmath>

namespace zel {

namespace {

/// The value of pi the applications' stored angles were computed with; the
/// conversion multiplies by 180 first and divides by it last.
constexpr double kPi = 3.141592653589793;

} // namespace

unsigned char CPoint3D::IsEqual(const CPoint3D& p, double tol) const noexcept {
  return (std::fabs(x - p.x) <= tol && std::fabs(y - p.y) <= tol && std::fabs(z - p.z) <= tol) ? 1 : 0;
}

int CPoint3D::Compare(const CPoint3D& p) const noexcept {
  if (x != p.x)
    return x < p.x ? 1 : 0;
  if (y != p.y)
    return y < p.y ? 1 : 0;
  return z < p.z ? 1 : 0;
}

double CPoint3D::Length() const noexcept { return std::sqrt(x * x + y * y + z * z); }

unsigned char CPoint3D::Normalize(double tol) noexcept {
  const double length = Length();
  if (!(length > tol) || length == 0.0)
    return 0;
  x /= length;
  y /= length;
  z /= length;
  return 1;
}

double CPoint3D::Distance(const CPoint3D& p) const noexcept { return (p - *this).Length(); }

double CPoint3D::Area(const CPoint3D& a, const CPoint3D& b) const noexcept {
  return (a - *this).Cross(b - *this).Length();
}

double CPoint3D::ScalarProduct(const CPoint3D& a, const CPoint3D& b) const noexcept {
  return (a - *this).Dot(b - *this);
}

double CPoint3D::Angle(const CPoint3D& a, const CPoint3D& b) const noexcept {
  const double la = Distance(a);
  const double lb = Distance(b);
  if (la == 0.0 || lb == 0.0)
    return 0.0;
  const double cosine = ScalarProduct(a, b) / (la * lb);
  if (cosine < -1.0)
    return 180.0;
  if (cosine > 1.0)
    return 0.0;
  return std::acos(cosine) * 180.0 / kPi;
}

unsigned char CPoint3D::Shift(const CPoint3D& toward, double distance, double tol) noexcept {
  const double length = Distance(toward);
  if (!(length > tol))
    return 0;
  *this += (toward - *this) * (distance / length);
  return 1;
}

unsigned char CPoint3D::IsCollinear(const CPoint3D& a, const CPoint3D& b, double tol) const noexcept {
  const CPoint3D* ends[3][3] = {{this, &a, &b}, {this, &b, &a}, {&a, &b, this}};
  const double lengths[3] = {Distance(a), Distance(b), a.Distance(b)};
  int longest = 0;
  for (int i = 1; i < 3; ++i)
    if (lengths[i] > lengths[longest])
      longest = i;
  if (lengths[longest] <= tol)
    return 1;
  CPoint3D direction = *ends[longest][1] - *ends[longest][0];
  if (!direction.Normalize(0.0))
    return 1; // the longest side underflowed to length 0: all three coincide
  const double off = (*ends[longest][2] - *ends[longest][0]).Cross(direction).Length();
  return off <= tol ? 1 : 0;
}

} // namespace zel
