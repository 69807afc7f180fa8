#pragma once
/// \file
/// Point vectors: `VPoint2D` and `VPoint3D` on `Vector<CPoint2D>` and
/// `Vector<CPoint3D>` (stored like them, 16 and 24 bytes per point), with
/// bounding boxes and the tolerant search for an existing point that merging
/// coincident nodes rests on; and `CPointIndex2D` / `CPointIndex3D`, a grid
/// index over such a vector for many searches in a row.
///
/// "Coincident within tol" is the test of `CPoint2D::IsEqual` and
/// `CPoint3D::IsEqual`: every coordinate differs by at most `tol` (a box, not
/// a ball). A search returns the lowest position (1-based) of a coincident
/// point, or 0; its answer never depends on whether an index was used. A
/// point with a NaN or infinite coordinate coincides with nothing, and a
/// negative or NaN tolerance finds nothing.

#include <memory>
#include <vector>

#include "zeltools/containers/vector.h"
#include "zeltools/geometry/point2d.h"
#include "zeltools/geometry/point3d.h"

namespace zel {

namespace internal {
template <class Point>
class PointGrid;
} // namespace internal

/// A vector of plane points.
class VPoint2D : public Vector<CPoint2D> {
public:
  using Vector<CPoint2D>::Vector;
  VPoint2D() = default;

  /// The smallest box holding every point: 1 with its corners in `lo` and
  /// `hi`; 0 with both (0, 0) when the vector is empty. NaN coordinates are
  /// ignored.
  unsigned char GetBox(CPoint2D& lo, CPoint2D& hi) const noexcept;

  /// The lowest position of a point coincident with `p` within `tol`, or 0.
  /// One scan of the vector; for many searches use the overload below or a
  /// `CPointIndex2D`.
  unsigned int Find(const CPoint2D& p, double tol) const noexcept;

  /// `Find` for each of the `n` points: `positions` gets n entries. When the
  /// work warrants it a grid index is built for the call, so the cost grows
  /// with size + n rather than with size × n.
  void Find(unsigned int n, const CPoint2D* points, double tol, std::vector<unsigned int>& positions) const;

  /// The position of a point coincident with `p`; when there is none, `p` is
  /// appended and its new position returned. One scan of the vector.
  unsigned int Add(const CPoint2D& p, double tol);

  /// Merges coincident points: each point, in order, is replaced by the
  /// first kept point coincident with it, and kept when there is none (as by
  /// `Add` into an empty vector). The vector keeps the kept points in their
  /// order; `map` gets one entry per former point, its new position
  /// (1-based). Returns the new count. Uses a grid index: the cost grows
  /// with the count, not its square.
  unsigned int Merge(double tol, std::vector<unsigned int>& map);
};

/// A vector of space points, with the operations of `VPoint2D`.
class VPoint3D : public Vector<CPoint3D> {
public:
  using Vector<CPoint3D>::Vector;
  VPoint3D() = default;

  unsigned char GetBox(CPoint3D& lo, CPoint3D& hi) const noexcept;
  unsigned int Find(const CPoint3D& p, double tol) const noexcept;
  void Find(unsigned int n, const CPoint3D* points, double tol, std::vector<unsigned int>& positions) const;
  unsigned int Add(const CPoint3D& p, double tol);
  unsigned int Merge(double tol, std::vector<unsigned int>& map);
};

/// A grid index over a `VPoint2D` for searches with one tolerance: the
/// everyday job of building a node list from element ends without
/// duplicates. Each search looks at a few grid cells around the point.
///
/// The index refers to the vector; it must not outlive it. It follows the
/// vector's growth by itself: points appended in any way are indexed at the
/// next search, and a vector that got shorter is indexed anew. Changing,
/// inserting or erasing points already indexed, or reading the vector anew,
/// must be followed by `Reindex()`; until then searches may miss points.
class CPointIndex2D {
public:
  /// Indexes all points of `points` for searches within `tol`.
  CPointIndex2D(VPoint2D& points, double tol);
  ~CPointIndex2D();
  CPointIndex2D(CPointIndex2D&&) noexcept;
  CPointIndex2D& operator=(CPointIndex2D&&) noexcept;
  CPointIndex2D(const CPointIndex2D&) = delete;
  CPointIndex2D& operator=(const CPointIndex2D&) = delete;

  double GetTolerance() const noexcept { return tol_; }

  /// As `VPoint2D::Find(p, tol)` with the index's tolerance.
  unsigned int Find(const CPoint2D& p);
  /// As `VPoint2D::Add(p, tol)` with the index's tolerance; the new point is
  /// indexed at once.
  unsigned int Add(const CPoint2D& p);
  /// Indexes the whole vector anew.
  void Reindex();

private:
  VPoint2D* points_;
  double tol_;
  std::unique_ptr<internal::PointGrid<CPoint2D>> grid_;
};

/// A grid index over a `VPoint3D`, with the rules of `CPointIndex2D`.
class CPointIndex3D {
public:
  CPointIndex3D(VPoint3D& points, double tol);
  ~CPointIndex3D();
  CPointIndex3D(CPointIndex3D&&) noexcept;
  CPointIndex3D& operator=(CPointIndex3D&&) noexcept;
  CPointIndex3D(const CPointIndex3D&) = delete;
  CPointIndex3D& operator=(const CPointIndex3D&) = delete;

  double GetTolerance() const noexcept { return tol_; }
  unsigned int Find(const CPoint3D& p);
  unsigned int Add(const CPoint3D& p);
  void Reindex();

private:
  VPoint3D* points_;
  double tol_;
  std::unique_ptr<internal::PointGrid<CPoint3D>> grid_;
};

} // namespace zel
