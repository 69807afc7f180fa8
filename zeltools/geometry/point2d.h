#pragma once
/// \file
/// `CPoint2D`: the point (and vector) of the plane with the elementary
/// constructions of 2D work: distances, areas, angles, the normalised line
/// through two points, line and segment intersections, and polygon tests.
///
/// All results are computed in `double`. Tolerances are arguments, never
/// globals, and every tolerance test is inclusive (`<= tol`).

#include <type_traits>

namespace zel {

/// A point of the plane. A plain record: arrays of points and
/// `Vector<CPoint2D>` store it as 16 bytes, x before y.
class CPoint2D {
public:
  double x;
  double y;

  /// Both coordinates 0.
  CPoint2D() noexcept : x(0.0), y(0.0) {}
  CPoint2D(double px, double py) noexcept : x(px), y(py) {}

  /// Sets both coordinates to 0.
  void Clear() noexcept { x = y = 0.0; }

  // --- comparison ----------------------------------------------------------

  /// Exact comparison of both coordinates, no tolerance.
  bool operator==(const CPoint2D& p) const noexcept { return x == p.x && y == p.y; }
  bool operator!=(const CPoint2D& p) const noexcept { return !(*this == p); }

  /// 1 when |x - p.x| <= tol and |y - p.y| <= tol, else 0. A NaN anywhere
  /// gives 0.
  unsigned char IsEqual(const CPoint2D& p, double tol) const noexcept;

  /// 1 when this point precedes `p` in (x, then y) order, otherwise 0.
  /// Never negative: "after" and "equal" both give 0.
  int Compare(const CPoint2D& p) const noexcept;

  /// `Compare(p) < 0`, therefore always false. Kept for compatibility with
  /// the applications: a sort through `operator<` sees all points as
  /// equivalent and leaves their order to the sorting algorithm.
  bool operator<(const CPoint2D& p) const noexcept { return Compare(p) < 0; }

  // --- vector arithmetic ---------------------------------------------------

  CPoint2D operator+(const CPoint2D& p) const noexcept { return {x + p.x, y + p.y}; }
  CPoint2D operator-(const CPoint2D& p) const noexcept { return {x - p.x, y - p.y}; }
  CPoint2D operator-() const noexcept { return {-x, -y}; }
  CPoint2D operator*(double k) const noexcept { return {x * k, y * k}; }
  CPoint2D& operator+=(const CPoint2D& p) noexcept { x += p.x; y += p.y; return *this; }
  CPoint2D& operator-=(const CPoint2D& p) noexcept { x -= p.x; y -= p.y; return *this; }
  /// The length of the point taken as a vector from the origin.
  double Length() const noexcept;

  // --- measures; this point is the common vertex ----------------------------

  /// The Euclidean distance.
  double Distance(const CPoint2D& p) const noexcept;

  /// |(a.x - x)(b.y - y) - (b.x - x)(a.y - y)|: twice the area of the
  /// triangle (this, a, b). No factor one half is applied.
  double Area(const CPoint2D& a, const CPoint2D& b) const noexcept;

  /// (b.x - x)(a.x - x) + (b.y - y)(a.y - y).
  double ScalarProduct(const CPoint2D& a, const CPoint2D& b) const noexcept;

  /// The angle at this point between the directions to `a` and to `b`, in
  /// degrees, 0 to 180. 0 when either direction has length exactly 0. The
  /// cosine is clamped: below -1 gives 180, above 1 gives 0, so rounding
  /// never reaches a domain error (and an angle of a direction with itself
  /// may come out as a tiny positive value when the cosine rounds below 1).
  double Angle(const CPoint2D& a, const CPoint2D& b) const noexcept;

  // --- lines ---------------------------------------------------------------

  /// The normalised equation a·x + b·y + c = 0 of the line through p1 and
  /// p2: a = (p2.y - p1.y)/L, b = (p1.x - p2.x)/L, c = -p1.x·a - p1.y·b with
  /// L = |p2 - p1|. The signed distance of a point from the line is then
  /// a·x + b·y + c, positive on the right of the direction p1 -> p2. When L
  /// is exactly 0 the result is 0 and a = b = c = 0; otherwise 1.
  static unsigned char Line(const CPoint2D& p1, const CPoint2D& p2, double& a, double& b, double& c) noexcept;

  /// `Line`, then a sign normalisation: a < 0 negates a, b and c; else a = 0
  /// with b < 0 negates b and c; else a = b = 0 (a degenerate line) negates
  /// c alone (giving -0). Same result as `Line`.
  static unsigned char LineA(const CPoint2D& p1, const CPoint2D& p2, double& a, double& b, double& c) noexcept;

  /// The signed distance from the line of `Line(p1, p2)`; 0 when p1 and p2
  /// coincide.
  double DistanceLine(const CPoint2D& p1, const CPoint2D& p2) const noexcept;

  /// Intersection of the line p1-p2 with the line p3-p4. `out` is set to
  /// (0, 0) first. 0 when either line is degenerate or when the determinant
  /// of the two normalised equations is exactly 0 (parallel lines; no
  /// tolerance applies, so nearly parallel lines meet far away); otherwise
  /// `out` is the intersection and the result is 1.
  static unsigned char CrossLineLine(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3, const CPoint2D& p4,
                                     CPoint2D& out) noexcept;

  /// The segment p1-p2 against the infinite line through p3 and p4.
  /// `CrossLineLine` first (its failure gives 0); then 1 when the intersection
  /// lies within the segment's extent along its own direction, widened by
  /// `tol` at both ends. The intersection stays in `out` either way.
  static unsigned char CrossSegmentLine(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3,
                                        const CPoint2D& p4, CPoint2D& out, double tol) noexcept;

  /// The segment p1-p2 against the segment p3-p4. `CrossLineLine` first (its
  /// failure, including parallel overlapping segments, gives 0); then 1 when
  /// the intersection X satisfies ||X-p1| + |X-p2| - |p2-p1|| <= tol and the
  /// same for p3, p4. The intersection stays in `out` either way.
  static unsigned char CrossSegmentSegment(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3,
                                           const CPoint2D& p4, CPoint2D& out, double tol) noexcept;

  /// 1 when this point lies within `tol` of the segment p1-p2: inside the
  /// segment's bounding box widened by `tol` on every side, and, when the
  /// segment has a line (`Line` succeeds), within `tol` of that line. For
  /// coinciding p1 and p2 only the box test applies.
  unsigned char InSegment(const CPoint2D& p1, const CPoint2D& p2, double tol) const noexcept;

  // --- constructions left to this library's own rules -----------------------

  /// Moves this point by `distance` along the direction from this point to
  /// `toward` (a negative distance moves away from it). When the two points
  /// are no farther apart than `tol` the direction is undefined: the point
  /// stays and the result is 0; otherwise 1.
  unsigned char Shift(const CPoint2D& toward, double distance, double tol) noexcept;

  /// 1 when this point, `a` and `b` lie on one line within `tol`: the line
  /// goes through the two farthest apart of the three points (so the answer
  /// does not depend on their order, except for ties) and the third point's
  /// distance from it must not exceed `tol`. Three points within `tol` of
  /// each other are collinear.
  unsigned char IsCollinear(const CPoint2D& a, const CPoint2D& b, double tol) const noexcept;

  /// 1 when `p` lies in the sector at this point swept counter-clockwise (y
  /// up) from the ray towards `a` to the ray towards `b`, boundary included
  /// within `tol`:
  /// - `p` within `tol` of this point gives 1;
  /// - `p` within `tol` of either ray (distance from the ray's line at most
  ///   `tol` and no more than `tol` behind this point) gives 1;
  /// - otherwise `p` must lie strictly inside the sweep. A sweep of 0 (both
  ///   rays in one direction) holds only its ray; a sweep of more than 180
  ///   degrees is allowed.
  /// 0 when `a` or `b` coincides with this point (no direction).
  unsigned char InSector(const CPoint2D& a, const CPoint2D& b, const CPoint2D& p, double tol) const noexcept;

  // --- polygons: n vertices, closed from the last back to the first ---------

  /// The signed area 0.5·Σ (x_i + x_(i+1))(y_(i+1) - y_i); positive for
  /// counter-clockwise order with y up; 0 for n = 0.
  static double AreaPolygon(unsigned int n, const CPoint2D* v) noexcept;

  /// The vertex centre (means of the vertex coordinates, not the area
  /// centroid): repeated vertices weigh in. (0, 0) for n = 0.
  static void CentersPolygon(unsigned int n, const CPoint2D* v, double& cx, double& cy) noexcept;
  static void CentersPolygon(unsigned int n, const CPoint2D* v, CPoint2D& c) noexcept;

  /// Crossing-number test of `p` against the polygon. A point within `tol`
  /// of an edge (`InSegment`) gives `onBoundary` at once. Edges whose end
  /// ordinates differ by less than `tol` are skipped. A working ordinate of
  /// `p` is nudged up by 1e-10 whenever it equals an edge end's ordinate
  /// exactly (and stays nudged for the later edges), so that a ray through a
  /// vertex is not counted twice. 0 for n = 0.
  static unsigned char InPolygon(unsigned int n, const CPoint2D* v, const CPoint2D& p, double tol,
                                 unsigned char onBoundary) noexcept;
};

static_assert(sizeof(CPoint2D) == 16, "CPoint2D is stored as two doubles");
static_assert(std::is_trivially_copyable_v<CPoint2D>, "CPoint2D is stored and copied as raw bytes");
static_assert(std::is_standard_layout_v<CPoint2D>, "x must lie before y at offset 0");

} // namespace zel
