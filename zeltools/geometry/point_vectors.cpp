#include "zeltools/geometry/point_vectors.h"

#include "zeltools/geometry/internal/plane_box.h"

#include <cmath>
#include <cstdint>

#include "zeltools/geometry/internal/point_grid.h"
#include "zeltools/memory/memory.h"

namespace zel {

// Every operation of the vector compiled and exported for the point types,
// beside the plain element types the containers instantiate themselves.
template class Vector<CPoint2D>;
template class Vector<CPoint3D>;

namespace {

using internal::PointAxes;
using internal::PointGrid;

/// Below this many point comparisons one scan per search is cheaper than
/// building a grid for the call.
constexpr std::uint64_t kScanWork = 1u << 14;

template <class Point>
bool IsFinite(const Point& p) noexcept {
  for (int k = 0; k < PointAxes<Point>::kCount; ++k)
    if (!std::isfinite(PointAxes<Point>::Get(p, k)))
      return false;
  return true;
}

template <class Point>
unsigned int Position(const std::vector<Point>& v) noexcept {
  return static_cast<unsigned int>(v.size());
}

template <class Point>
unsigned int FindLinear(const std::vector<Point>& v, const Point& p, double tol) noexcept {
  // Only an infinite tolerance lets an infinite coordinate pass IsEqual
  // (|inf - x| <= inf); such points still coincide with nothing.
  const bool infinite = !(tol < HUGE_VAL);
  if (infinite && !IsFinite(p))
    return 0;
  for (std::size_t i = 0; i < v.size(); ++i)
    if (v[i].IsEqual(p, tol) && (!infinite || IsFinite(v[i])))
      return static_cast<unsigned int>(i + 1);
  return 0;
}

/// The largest magnitude of a finite point's coordinate.
template <class Point>
double Scale(const std::vector<Point>& v) noexcept {
  double scale = 0.0;
  for (const Point& p : v)
    if (IsFinite(p))
      for (int k = 0; k < PointAxes<Point>::kCount; ++k)
        scale = std::fmax(scale, std::fabs(PointAxes<Point>::Get(p, k)));
  return scale;
}

template <class Point>
void Build(PointGrid<Point>& grid, const std::vector<Point>& v, double tol) {
  GuardAllocation(v.size() * sizeof(Point), [&] {
    grid.Reset(tol, Scale(v));
    grid.Reserve(v.size());
    for (const Point& p : v)
      grid.Append(p);
  });
}

/// Brings the grid up to the vector: appended points are indexed, a shorter
/// vector or a point beyond the grid's reach makes it start anew.
template <class Point>
void Sync(PointGrid<Point>& grid, const std::vector<Point>& v, double tol) {
  GuardAllocation(v.size() * sizeof(Point), [&] {
    if (v.size() < grid.Count()) {
      Build(grid, v, tol);
      return;
    }
    for (std::size_t i = grid.Count(); i < v.size(); ++i) {
      if (IsFinite(v[i]) && !grid.Fits(v[i])) {
        Build(grid, v, tol);
        return;
      }
      grid.Append(v[i]);
    }
  });
}

template <class Point>
unsigned int IndexFind(PointGrid<Point>* grid, const std::vector<Point>& v, const Point& p, double tol) {
  if (grid == nullptr || !PointGrid<Point>::Serves(tol))
    return FindLinear(v, p, tol);
  Sync(*grid, v, tol);
  unsigned int position = 0;
  return grid->Find(v.data(), p, position) ? position : FindLinear(v, p, tol);
}

template <class Point>
unsigned int IndexAdd(PointGrid<Point>* grid, std::vector<Point>& v, const Point& p, double tol) {
  return GuardAllocation((v.size() + 1) * sizeof(Point), [&]() -> unsigned int {
    const unsigned int found = IndexFind(grid, v, p, tol);
    if (found)
      return found;
    v.push_back(p);
    if (grid != nullptr && PointGrid<Point>::Serves(tol))
      Sync(*grid, v, tol);
    return Position(v);
  });
}

template <class Point>
void FindMany(const std::vector<Point>& v, unsigned int n, const Point* points, double tol,
              std::vector<unsigned int>& positions) {
  GuardAllocation((std::size_t{n} + v.size()) * sizeof(Point), [&] {
    positions.assign(n, 0u);
    if (v.empty() || n == 0)
      return;
    if (!PointGrid<Point>::Serves(tol) || std::uint64_t{n} * v.size() <= kScanWork) {
      for (unsigned int i = 0; i < n; ++i)
        positions[i] = FindLinear(v, points[i], tol);
      return;
    }
    PointGrid<Point> grid;
    Build(grid, v, tol);
    for (unsigned int i = 0; i < n; ++i)
      if (!grid.Find(v.data(), points[i], positions[i]))
        positions[i] = FindLinear(v, points[i], tol);
  });
}

template <class Points>
unsigned int MergePoints(Points& v, double tol, std::vector<unsigned int>& map) {
  return GuardAllocation(v.size() * sizeof(typename Points::value_type), [&]() -> unsigned int {
    using Point = typename Points::value_type;
    const std::size_t n = v.size();
    map.resize(n);
    if (!(tol >= 0.0)) { // nothing coincides
      for (std::size_t i = 0; i < n; ++i)
        map[i] = static_cast<unsigned int>(i + 1);
      return Position(v);
    }
    Points kept;
    kept.reserve(n);
    PointGrid<Point> grid;
    const bool gridded = PointGrid<Point>::Serves(tol) && std::uint64_t{n} * n > 2 * kScanWork;
    if (gridded) {
      grid.Reset(tol, Scale(v)); // every point fits: no rebuilds on the way
      grid.Reserve(n);
    }
    for (std::size_t i = 0; i < n; ++i) {
      const Point& p = v[i];
      unsigned int position = 0;
      if (IsFinite(p) && !(gridded && grid.Find(kept.data(), p, position)))
        position = FindLinear(kept, p, tol);
      if (position == 0) {
        kept.push_back(p);
        if (gridded)
          grid.Append(p);
        position = Position(kept);
      }
      map[i] = position;
    }
    v.swap(kept);
    return Position(v);
  });
}

} // namespace

// --- VPoint2D ------------------------------------------------------------------

unsigned char VPoint2D::GetBox(CPoint2D& lo, CPoint2D& hi) const noexcept {
  return internal::PlaneBox(empty(), lo, hi, [this](auto&& add) {
    for (const CPoint2D& p : *this)
      add(p);
  });
}

unsigned int VPoint2D::Find(const CPoint2D& p, double tol) const noexcept { return FindLinear(*this, p, tol); }

void VPoint2D::Find(unsigned int n, const CPoint2D* points, double tol, std::vector<unsigned int>& positions) const {
  FindMany(*this, n, points, tol, positions);
}

unsigned int VPoint2D::Add(const CPoint2D& p, double tol) {
  return IndexAdd<CPoint2D>(nullptr, *this, p, tol);
}

unsigned int VPoint2D::Merge(double tol, std::vector<unsigned int>& map) { return MergePoints(*this, tol, map); }

// --- VPoint3D ------------------------------------------------------------------

unsigned char VPoint3D::GetBox(CPoint3D& lo, CPoint3D& hi) const noexcept {
  lo.Clear();
  hi.Clear();
  if (empty())
    return 0;
  lo = CPoint3D(HUGE_VAL, HUGE_VAL, HUGE_VAL);
  hi = CPoint3D(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
  for (const CPoint3D& p : *this) {
    lo.x = std::fmin(lo.x, p.x);
    lo.y = std::fmin(lo.y, p.y);
    lo.z = std::fmin(lo.z, p.z);
    hi.x = std::fmax(hi.x, p.x);
    hi.y = std::fmax(hi.y, p.y);
    hi.z = std::fmax(hi.z, p.z);
  }
  return 1;
}

unsigned int VPoint3D::Find(const CPoint3D& p, double tol) const noexcept { return FindLinear(*this, p, tol); }

void VPoint3D::Find(unsigned int n, const CPoint3D* points, double tol, std::vector<unsigned int>& positions) const {
  FindMany(*this, n, points, tol, positions);
}

unsigned int VPoint3D::Add(const CPoint3D& p, double tol) {
  return IndexAdd<CPoint3D>(nullptr, *this, p, tol);
}

unsigned int VPoint3D::Merge(double tol, std::vector<unsigned int>& map) { return MergePoints(*this, tol, map); }

// --- the indexes ---------------------------------------------------------------

CPointIndex2D::CPointIndex2D(VPoint2D& points, double tol)
    : points_(&points), tol_(tol), grid_(GuardAllocation(sizeof(PointGrid<CPoint2D>), [] { return std::make_unique<PointGrid<CPoint2D>>(); })) {
  Reindex();
}
CPointIndex2D::~CPointIndex2D() = default;
CPointIndex2D::CPointIndex2D(CPointIndex2D&&) noexcept = default;
CPointIndex2D& CPointIndex2D::operator=(CPointIndex2D&&) noexcept = default;

unsigned int CPointIndex2D::Find(const CPoint2D& p) { return IndexFind(grid_.get(), *points_, p, tol_); }
unsigned int CPointIndex2D::Add(const CPoint2D& p) { return IndexAdd(grid_.get(), *points_, p, tol_); }
void CPointIndex2D::Reindex() {
  if (grid_ && PointGrid<CPoint2D>::Serves(tol_))
    Build(*grid_, *points_, tol_);
}

CPointIndex3D::CPointIndex3D(VPoint3D& points, double tol)
    : points_(&points), tol_(tol), grid_(GuardAllocation(sizeof(PointGrid<CPoint3D>), [] { return std::make_unique<PointGrid<CPoint3D>>(); })) {
  Reindex();
}
CPointIndex3D::~CPointIndex3D() = default;
CPointIndex3D::CPointIndex3D(CPointIndex3D&&) noexcept = default;
CPointIndex3D& CPointIndex3D::operator=(CPointIndex3D&&) noexcept = default;

unsigned int CPointIndex3D::Find(const CPoint3D& p) { return IndexFind(grid_.get(), *points_, p, tol_); }
unsigned int CPointIndex3D::Add(const CPoint3D& p) { return IndexAdd(grid_.get(), *points_, p, tol_); }
void CPointIndex3D::Reindex() {
  if (grid_ && PointGrid<CPoint3D>::Serves(tol_))
    Build(*grid_, *points_, tol_);
}

} // namespace zel
