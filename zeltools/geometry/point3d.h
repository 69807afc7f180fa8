#pragma once
/// \file
/// `CPoint3D`: the point (and vector) of space, with the same conventions as
/// `CPoint2D`: exact `==`, box-tolerant `IsEqual`, a `Compare` that returns
/// only 1 or 0 (so `operator<` is always false), the common vertex as `this`
/// for the measures, and inclusive tolerance tests.

#include <type_traits>

#include "zeltools/geometry/point2d.h"

namespace zel {

/// A point of space. A plain record: arrays of points and
/// `Vector<CPoint3D>` store it as 24 bytes, x, y, z in order.
class CPoint3D {
public:
  double x;
  double y;
  double z;

  /// All coordinates 0.
  CPoint3D() noexcept : x(0.0), y(0.0), z(0.0) {}
  CPoint3D(double px, double py, double pz) noexcept : x(px), y(py), z(pz) {}
  /// The plane point lifted to the height `pz`.
  explicit CPoint3D(const CPoint2D& p, double pz = 0.0) noexcept : x(p.x), y(p.y), z(pz) {}

  /// Sets all coordinates to 0.
  void Clear() noexcept { x = y = z = 0.0; }
  /// The projection onto the plane z = 0.
  CPoint2D GetPoint2D() const noexcept { return {x, y}; }

  // --- comparison ----------------------------------------------------------

  /// Exact comparison of all coordinates, no tolerance.
  bool operator==(const CPoint3D& p) const noexcept { return x == p.x && y == p.y && z == p.z; }
  bool operator!=(const CPoint3D& p) const noexcept { return !(*this == p); }

  /// 1 when every coordinate differs from `p`'s by at most `tol`, else 0.
  unsigned char IsEqual(const CPoint3D& p, double tol) const noexcept;

  /// 1 when this point precedes `p` in (x, then y, then z) order, otherwise
  /// 0; never negative.
  int Compare(const CPoint3D& p) const noexcept;

  /// `Compare(p) < 0`, therefore always false, as for `CPoint2D`; kept for
  /// compatibility with the applications.
  bool operator<(const CPoint3D& p) const noexcept { return Compare(p) < 0; }

  // --- vector arithmetic ---------------------------------------------------

  CPoint3D operator+(const CPoint3D& p) const noexcept { return {x + p.x, y + p.y, z + p.z}; }
  CPoint3D operator-(const CPoint3D& p) const noexcept { return {x - p.x, y - p.y, z - p.z}; }
  CPoint3D operator-() const noexcept { return {-x, -y, -z}; }
  CPoint3D operator*(double k) const noexcept { return {x * k, y * k, z * k}; }
  CPoint3D& operator+=(const CPoint3D& p) noexcept { x += p.x; y += p.y; z += p.z; return *this; }
  CPoint3D& operator-=(const CPoint3D& p) noexcept { x -= p.x; y -= p.y; z -= p.z; return *this; }
  CPoint3D& operator*=(double k) noexcept { x *= k; y *= k; z *= k; return *this; }

  /// The scalar product of the two points taken as vectors.
  double Dot(const CPoint3D& v) const noexcept { return x * v.x + y * v.y + z * v.z; }
  /// The vector product this × v (right-handed).
  CPoint3D Cross(const CPoint3D& v) const noexcept {
    return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
  }
  /// The length of the point taken as a vector.
  double Length() const noexcept;
  /// Scales the vector to length 1. When its length is not above `tol` it is
  /// left unchanged and the result is 0; otherwise 1.
  unsigned char Normalize(double tol) noexcept;

  // --- measures; this point is the common vertex ----------------------------

  /// The Euclidean distance.
  double Distance(const CPoint3D& p) const noexcept;
  /// |(a - this) × (b - this)|: twice the area of the triangle (this, a, b),
  /// like `CPoint2D::Area`.
  double Area(const CPoint3D& a, const CPoint3D& b) const noexcept;
  /// (a - this) · (b - this).
  double ScalarProduct(const CPoint3D& a, const CPoint3D& b) const noexcept;
  /// The angle at this point between the directions to `a` and `b` in
  /// degrees, with the rules of `CPoint2D::Angle` (0 for a zero direction,
  /// the cosine clamped to [-1, 1]).
  double Angle(const CPoint3D& a, const CPoint3D& b) const noexcept;

  /// Moves this point by `distance` along the direction to `toward`; when the
  /// two are no farther apart than `tol` the point stays and the result is 0.
  unsigned char Shift(const CPoint3D& toward, double distance, double tol) noexcept;

  /// 1 when the three points lie on one line within `tol`: the distance of
  /// the third point from the line through the two farthest apart must not
  /// exceed `tol`; three points within `tol` of each other are collinear.
  unsigned char IsCollinear(const CPoint3D& a, const CPoint3D& b, double tol) const noexcept;
};

static_assert(sizeof(CPoint3D) == 24, "CPoint3D is stored as three doubles");
static_assert(std::is_trivially_copyable_v<CPoint3D>, "CPoint3D is stored and copied as raw bytes");
static_assert(std::is_standard_layout_v<CPoint3D>, "x, y, z must lie in order from offset 0");

} // namespace zel
