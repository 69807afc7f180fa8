#include "zeltools/geometry/point2d.h"

#include <algorithm>
#include <cmath>

namespace zel {

namespace {

/// The nudge of the working ordinate in `InPolygon`; applications have stored
/// polygons whose classification depends on this exact value.
constexpr double kOrdinateNudge = 1e-10;

/// The value of pi the applications' stored angles were computed with; the
/// conversion multiplies by 180 first and divides by it last.
constexpr double kPi = 3.141592653589793;

} // namespace

unsigned char CPoint2D::IsEqual(const CPoint2D& p, double tol) const noexcept {
  return (std::fabs(x - p.x) <= tol && std::fabs(y - p.y) <= tol) ? 1 : 0;
}

int CPoint2D::Compare(const CPoint2D& p) const noexcept {
  if (x < p.x)
    return 1;
  if (x == p.x && y < p.y)
    return 1;
  return 0;
}

double CPoint2D::Length() const noexcept { return std::sqrt(x * x + y * y); }

double CPoint2D::Distance(const CPoint2D& p) const noexcept {
  const double dx = p.x - x;
  const double dy = p.y - y;
  return std::sqrt(dx * dx + dy * dy);
}

double CPoint2D::Area(const CPoint2D& a, const CPoint2D& b) const noexcept {
  return std::fabs((a.x - x) * (b.y - y) - (b.x - x) * (a.y - y));
}

double CPoint2D::ScalarProduct(const CPoint2D& a, const CPoint2D& b) const noexcept {
  return (b.x - x) * (a.x - x) + (b.y - y) * (a.y - y);
}

double CPoint2D::Angle(const CPoint2D& a, const CPoint2D& b) const noexcept {
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

unsigned char CPoint2D::Line(const CPoint2D& p1, const CPoint2D& p2, double& a, double& b, double& c) noexcept {
  a = b = c = 0.0;
  const double length = p1.Distance(p2);
  if (length == 0.0)
    return 0;
  a = (p2.y - p1.y) / length;
  b = (p1.x - p2.x) / length;
  c = -p1.x * a - p1.y * b;
  return 1;
}

unsigned char CPoint2D::LineA(const CPoint2D& p1, const CPoint2D& p2, double& a, double& b, double& c) noexcept {
  const unsigned char result = Line(p1, p2, a, b, c);
  if (a < 0.0) {
    a = -a;
    b = -b;
    c = -c;
  } else if (a == 0.0 && b < 0.0) {
    b = -b;
    c = -c;
  } else if (a == 0.0 && b == 0.0) {
    c = -c;
  }
  return result;
}

double CPoint2D::DistanceLine(const CPoint2D& p1, const CPoint2D& p2) const noexcept {
  double a, b, c;
  Line(p1, p2, a, b, c);
  return a * x + b * y + c;
}

unsigned char CPoint2D::CrossLineLine(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3, const CPoint2D& p4,
                                      CPoint2D& out) noexcept {
  out.Clear();
  double a1, b1, c1, a2, b2, c2;
  if (!Line(p1, p2, a1, b1, c1) || !Line(p3, p4, a2, b2, c2))
    return 0;
  const double det = a1 * b2 - a2 * b1;
  if (det == 0.0)
    return 0;
  out.x = (b1 * c2 - b2 * c1) / det;
  out.y = (a2 * c1 - a1 * c2) / det;
  return 1;
}

unsigned char CPoint2D::CrossSegmentLine(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3,
                                         const CPoint2D& p4, CPoint2D& out, double tol) noexcept {
  if (!CrossLineLine(p1, p2, p3, p4, out))
    return 0;
  double a, b, c;
  Line(p1, p2, a, b, c);
  // Coordinate along the segment's own direction (b, -a) up to a constant.
  const auto along = [a, b](const CPoint2D& p) { return p.x * b - p.y * a; };
  const double t1 = along(p1);
  const double t2 = along(p2);
  const double t = along(out);
  return (t >= std::min(t1, t2) - tol && t <= std::max(t1, t2) + tol) ? 1 : 0;
}

unsigned char CPoint2D::CrossSegmentSegment(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3,
                                            const CPoint2D& p4, CPoint2D& out, double tol) noexcept {
  if (!CrossLineLine(p1, p2, p3, p4, out))
    return 0;
  const auto onSegment = [&out, tol](const CPoint2D& s1, const CPoint2D& s2) {
    return std::fabs((out.Distance(s1) + out.Distance(s2)) - s2.Distance(s1)) <= tol;
  };
  return (onSegment(p1, p2) && onSegment(p3, p4)) ? 1 : 0;
}

unsigned char CPoint2D::InSegment(const CPoint2D& p1, const CPoint2D& p2, double tol) const noexcept {
  if (!(x >= std::min(p1.x, p2.x) - tol && x <= std::max(p1.x, p2.x) + tol))
    return 0;
  if (!(y >= std::min(p1.y, p2.y) - tol && y <= std::max(p1.y, p2.y) + tol))
    return 0;
  double a, b, c;
  if (Line(p1, p2, a, b, c) && !(std::fabs(a * x + b * y + c) <= tol))
    return 0;
  return 1;
}

unsigned char CPoint2D::Shift(const CPoint2D& toward, double distance, double tol) noexcept {
  const double length = Distance(toward);
  if (!(length > tol))
    return 0;
  const double k = distance / length;
  x += (toward.x - x) * k;
  y += (toward.y - y) * k;
  return 1;
}

unsigned char CPoint2D::IsCollinear(const CPoint2D& a, const CPoint2D& b, double tol) const noexcept {
  const CPoint2D* ends[3][3] = {{this, &a, &b}, {this, &b, &a}, {&a, &b, this}};
  const double lengths[3] = {Distance(a), Distance(b), a.Distance(b)};
  int longest = 0;
  for (int i = 1; i < 3; ++i)
    if (lengths[i] > lengths[longest])
      longest = i;
  if (lengths[longest] <= tol)
    return 1;
  double la, lb, lc;
  if (!Line(*ends[longest][0], *ends[longest][1], la, lb, lc))
    return 1; // the longest side underflowed to length 0: all three coincide
  const CPoint2D& third = *ends[longest][2];
  return std::fabs(la * third.x + lb * third.y + lc) <= tol ? 1 : 0;
}

unsigned char CPoint2D::InSector(const CPoint2D& a, const CPoint2D& b, const CPoint2D& p, double tol) const noexcept {
  double a1, b1, c1, a2, b2, c2;
  if (!Line(*this, a, a1, b1, c1) || !Line(*this, b, a2, b2, c2))
    return 0;
  if (Distance(p) <= tol)
    return 1;
  // With Line's convention the unit direction of a ray is (-b, a) and the
  // signed distance is positive on the ray's right.
  const double dx = p.x - x;
  const double dy = p.y - y;
  const auto onRay = [&](double ra, double rb, double rc) {
    return std::fabs(ra * p.x + rb * p.y + rc) <= tol && (-rb * dx + ra * dy) >= -tol;
  };
  if (onRay(a1, b1, c1) || onRay(a2, b2, c2))
    return 1;
  const double leftOfA = -(a1 * p.x + b1 * p.y + c1);
  const double rightOfB = a2 * p.x + b2 * p.y + c2;
  const double turn = a1 * b2 - a2 * b1; // sine of the sweep from a to b
  if (turn > 0.0)
    return (leftOfA > 0.0 && rightOfB > 0.0) ? 1 : 0;
  if (turn < 0.0)
    return (leftOfA > 0.0 || rightOfB > 0.0) ? 1 : 0;
  const double sameWay = a1 * a2 + b1 * b2;
  if (sameWay > 0.0)
    return 0; // a sweep of 0 holds only its ray
  return leftOfA > 0.0 ? 1 : 0; // a half plane
}

double CPoint2D::AreaPolygon(unsigned int n, const CPoint2D* v) noexcept {
  if (n == 0)
    return 0.0;
  double sum = 0.0;
  for (unsigned int i = 0; i < n; ++i) {
    const CPoint2D& p = v[i];
    const CPoint2D& q = v[i + 1 < n ? i + 1 : 0];
    sum += (p.x + q.x) * (q.y - p.y);
  }
  return 0.5 * sum;
}

void CPoint2D::CentersPolygon(unsigned int n, const CPoint2D* v, double& cx, double& cy) noexcept {
  cx = cy = 0.0;
  if (n == 0)
    return;
  for (unsigned int i = 0; i < n; ++i) {
    cx += v[i].x;
    cy += v[i].y;
  }
  cx /= n;
  cy /= n;
}

void CPoint2D::CentersPolygon(unsigned int n, const CPoint2D* v, CPoint2D& c) noexcept {
  CentersPolygon(n, v, c.x, c.y);
}

unsigned char CPoint2D::InPolygon(unsigned int n, const CPoint2D* v, const CPoint2D& p, double tol,
                                  unsigned char onBoundary) noexcept {
  bool inside = false;
  double py = p.y;
  for (unsigned int i = 0; i < n; ++i) {
    const CPoint2D& s = v[i];
    const CPoint2D& e = v[i + 1 < n ? i + 1 : 0];
    if (p.InSegment(s, e, tol))
      return onBoundary;
    if (std::fabs(s.y - e.y) < tol)
      continue;
    if (py == s.y)
      py += kOrdinateNudge;
    if (py == e.y)
      py += kOrdinateNudge;
    const bool between = (s.y < py && py < e.y) || (e.y < py && py < s.y);
    if (between && s.x + (e.x - s.x) * (py - s.y) / (e.y - s.y) < p.x)
      inside = !inside;
  }
  return inside ? 1 : 0;
}

} // namespace zel
