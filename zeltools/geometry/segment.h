#pragma once
/// \file
/// Straight members between two points: `CSegment` in the plane,
/// `CSegment3D` in space, and `VSegment`, a vector of plane segments that
/// splits itself where its members cross.
///
/// Unlike `CPoint2D::InSegment` (a box widened by the tolerance and a strip
/// around the line), the segment classes measure the true distance to the
/// closed segment. Tolerances are lengths and every tolerance test is
/// inclusive.

#include <type_traits>

#include "zeltools/containers/vector.h"
#include "zeltools/geometry/point2d.h"
#include "zeltools/geometry/point3d.h"

namespace zel {

class VSegment;

/// A segment of the plane from p1 to p2; parameter 0 is p1, 1 is p2. A plain
/// record of 32 bytes (p1 then p2), stored raw by `Vector<CSegment>`.
class CSegment {
public:
  CPoint2D p1;
  CPoint2D p2;

  CSegment() noexcept = default;
  CSegment(const CPoint2D& a, const CPoint2D& b) noexcept : p1(a), p2(b) {}

  /// Exact comparison of both ends in order.
  bool operator==(const CSegment& s) const noexcept { return p1 == s.p1 && p2 == s.p2; }
  bool operator!=(const CSegment& s) const noexcept { return !(*this == s); }

  double Length() const noexcept { return p1.Distance(p2); }
  CPoint2D Middle() const noexcept { return {(p1.x + p2.x) * 0.5, (p1.y + p2.y) * 0.5}; }
  /// p1 + t·(p2 - p1).
  CPoint2D Point(double t) const noexcept { return p1 + (p2 - p1) * t; }
  /// The parameter of the projection of `p` on the segment's line (not
  /// clamped); 0 when the ends coincide.
  double Parameter(const CPoint2D& p) const noexcept;
  /// The point of the closed segment nearest to `p`.
  CPoint2D Closest(const CPoint2D& p) const noexcept;
  /// The distance of `p` from the closed segment.
  double Distance(const CPoint2D& p) const noexcept { return p.Distance(Closest(p)); }
  /// 1 when Distance(p) <= tol.
  unsigned char Contains(const CPoint2D& p, double tol) const noexcept;

  /// Common points of two segments within `tol`:
  /// - 0: no point of one lies within `tol` of the other; `a` and `b` are
  ///   (0, 0);
  /// - 1: one common point, in `a` and `b` alike: the crossing of the two
  ///   lines when it lies within `tol` of both segments, else the midpoint of
  ///   their closest points (segments that touch nearly end to end);
  /// - 2: the segments run along each other (each one's ends within `tol` of
  ///   the other's line, both longer than `tol`) over a length above `tol`;
  ///   `a` and `b` are the ends of the shared part, ordered along this
  ///   segment.
  /// Any point reported within `tol` of an end of either segment is replaced
  /// by that end (the nearest), so that pieces split there meet existing
  /// nodes exactly. A segment with a non-finite coordinate meets nothing.
  int Intersect(const CSegment& s, CPoint2D& a, CPoint2D& b, double tol) const noexcept;

  /// Appends to `out` the pieces of this segment cut at those of the `n`
  /// points that lie within `tol` of it, in order from p1 to p2, and returns
  /// their number. The pieces meet at the given points themselves (not at
  /// their projections), so their ends coincide with existing nodes. Points
  /// within `tol` of an end or of an earlier cut (along the segment; points
  /// at the same place in x, then y order) make no cut, so no piece is
  /// shorter than `tol` and the pieces do not depend on the order of the
  /// points. A segment not longer than `tol`
  /// is appended whole.
  unsigned int Split(unsigned int n, const CPoint2D* points, double tol, VSegment& out) const;
};

/// A segment of space from p1 to p2. A plain record of 48 bytes.
class CSegment3D {
public:
  CPoint3D p1;
  CPoint3D p2;

  CSegment3D() noexcept = default;
  CSegment3D(const CPoint3D& a, const CPoint3D& b) noexcept : p1(a), p2(b) {}

  bool operator==(const CSegment3D& s) const noexcept { return p1 == s.p1 && p2 == s.p2; }
  bool operator!=(const CSegment3D& s) const noexcept { return !(*this == s); }

  double Length() const noexcept { return p1.Distance(p2); }
  CPoint3D Middle() const noexcept { return (p1 + p2) * 0.5; }
  CPoint3D Point(double t) const noexcept { return p1 + (p2 - p1) * t; }
  /// The parameter of the projection of `p` on the line (not clamped); 0
  /// when the ends coincide.
  double Parameter(const CPoint3D& p) const noexcept;
  /// The point of the closed segment nearest to `p`.
  CPoint3D Closest(const CPoint3D& p) const noexcept;
  double Distance(const CPoint3D& p) const noexcept { return p.Distance(Closest(p)); }
  unsigned char Contains(const CPoint3D& p, double tol) const noexcept;

  /// The closest points of two closed segments (`onThis`, `onOther`) and
  /// their distance as the result. Where several pairs are closest
  /// (parallel overlapping segments) one of them is given.
  double ClosestPoints(const CSegment3D& s, CPoint3D& onThis, CPoint3D& onOther) const noexcept;

  /// As `CSegment::Split`, in space: appends the pieces cut at the points
  /// within `tol` of the segment to `out` and returns their number.
  unsigned int Split(unsigned int n, const CPoint3D* points, double tol, Vector<CSegment3D>& out) const;
};

static_assert(sizeof(CSegment) == 32, "CSegment is stored as two plane points");
static_assert(sizeof(CSegment3D) == 48, "CSegment3D is stored as two space points");
static_assert(std::is_trivially_copyable_v<CSegment> && std::is_trivially_copyable_v<CSegment3D>,
              "segments are stored and copied as raw bytes");

/// A vector of plane segments (the members of a plane frame, the edges of a
/// mesh) on `Vector<CSegment>`, persisted like it: 32 bytes per segment.
class VSegment : public Vector<CSegment> {
public:
  using Vector<CSegment>::Vector;
  VSegment() = default;

  /// The sum of the segments' lengths.
  double Length() const noexcept;

  /// The smallest box holding every end: 1 with its corners in `lo` and `hi`,
  /// or 0 with both (0, 0) for an empty vector. NaN coordinates are ignored.
  unsigned char GetBox(CPoint2D& lo, CPoint2D& hi) const noexcept;

  /// Splits every segment where another one crosses, touches or runs along
  /// it (the points of `CSegment::Intersect` with `tol`), replacing it by its
  /// pieces in place, in order. Segments that meet only at common ends are
  /// left whole. Returns the new number of segments. For each pair the
  /// lower-numbered segment is the one that calls `Intersect`. Pairs are found
  /// by a sweep over the segments' boxes widened by `tol`, so the work grows
  /// with the number of pairs whose boxes overlap in x, not with the square of
  /// the number of segments. Segments with a non-finite coordinate, and all
  /// segments when `tol` is negative or NaN, are left whole.
  unsigned int Split(double tol);

  /// Splits every segment at those of the `n` points that lie within `tol`
  /// of it (`CSegment::Split`), in place; returns the new number of
  /// segments.
  unsigned int Split(unsigned int n, const CPoint2D* points, double tol);
};

} // namespace zel
