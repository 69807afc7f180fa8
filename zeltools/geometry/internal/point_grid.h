#pragma once
// A hashed grid of cells over a growing array of points, for the searches
// "lowest position of a point coincident with p within tol" of the point
// vectors. Internal to the point vectors.
//
// Invariants:
//  1. 0 <= tol_ <= cell_, and cell_ is finite and positive. Cells are eight
//     tolerances wide where the coordinates allow: a search box of two
//     tolerances then meets one or two cells per axis, about two cells in
//     all in space, while distinct nodes (usually far more than a tolerance
//     apart) still rarely share a cell.
//  2. Points 0 .. count_-1 of the caller's array are indexed, in order. Each
//     one with finite coordinates sits in the chain of exactly one cell, the
//     cell of its coordinates; the others are counted and in no chain (they
//     coincide with nothing).
//  3. The cell of a coordinate v is floor(clamp(v / cell_)): a monotone
//     function of v. IsEqual accepts a coordinate q when the rounded |v - q|
//     is at most tol, which lets q lie up to half an ulp of tol beyond
//     v -/+ tol; computing the bounds rounds once more. A search therefore
//     looks at the cells of v -/+ (tol + m), m = (|v| + tol) * 2^-50, which
//     exceeds both roundings together, so every point IsEqual can accept
//     sits in a cell searched.
//  4. reach_ is the largest magnitude of a coordinate of an indexed point.
//     Points are only indexed while every coordinate is within limit_: there
//     v / cell_ stays below about 2^50, where m is at most about a cell, so
//     a search box (2 tol + 2 m, under 2.3 cells) spans at most four cells
//     per axis.
//  5. The hash table holds every non-empty cell once; it is never more than
//     half full, so every probe sequence ends at an empty slot.

#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "zeltools/geometry/point2d.h"
#include "zeltools/geometry/point3d.h"

namespace zel::internal {

template <class Point>
struct PointAxes;

template <>
struct PointAxes<CPoint2D> {
  static constexpr int kCount = 2;
  static double Get(const CPoint2D& p, int axis) noexcept { return axis == 0 ? p.x : p.y; }
};

template <>
struct PointAxes<CPoint3D> {
  static constexpr int kCount = 3;
  static double Get(const CPoint3D& p, int axis) noexcept { return axis == 0 ? p.x : axis == 1 ? p.y : p.z; }
};

template <class Point>
class PointGrid {
public:
  static constexpr int kAxes = PointAxes<Point>::kCount;

  PointGrid() { Reset(0.0, 0.0); }

  /// True when the grid can serve searches within `tol`: finite, not negative.
  static bool Serves(double tol) noexcept { return tol >= 0.0 && std::isfinite(tol); }

  /// Drops every point and prepares for searches within `tol` (which must
  /// pass `Serves`) among points whose coordinates are at most `scale` in
  /// magnitude.
  void Reset(double tol, double scale) {
    tol_ = tol;
    // Invariants 1 and 4: no finer than 2^-40 of the coordinates; 2^-1000
    // keeps cells positive for points all at the origin, and the largest
    // double keeps them finite for huge tolerances.
    cell_ = std::fmin(std::fmax(std::fmax(tol * 8, scale * 0x1p-40), 0x1p-1000), DBL_MAX);
    limit_ = std::fmax(scale, cell_) * 0x1p10;
    reach_ = 0.0;
    count_ = 0;
    next_.clear();
    slots_.assign(16, Slot{});
    used_ = 0;
  }

  /// Makes room for `n` points. The table of cells is left to grow with the
  /// cells actually met: coincident points share cells, and a table sized
  /// for every point would only spread the probes over more cache lines.
  void Reserve(std::size_t n) { next_.reserve(n); }

  std::size_t Count() const noexcept { return count_; }

  /// False when `p` lies too far out to be indexed under invariant 4; the
  /// caller then resets the grid with a larger scale.
  bool Fits(const Point& p) const noexcept {
    for (int k = 0; k < kAxes; ++k)
      if (std::fabs(PointAxes<Point>::Get(p, k)) > limit_)
        return false;
    return true;
  }

  /// Indexes `p` as point number `Count()` (0-based); `Fits(p)` must hold or
  /// `p` must have a non-finite coordinate.
  void Append(const Point& p) {
    const auto index = static_cast<std::uint32_t>(count_++);
    next_.push_back(kNone);
    if (!Finite(p))
      return;
    for (int k = 0; k < kAxes; ++k)
      reach_ = std::fmax(reach_, std::fabs(PointAxes<Point>::Get(p, k)));
    Cell cell;
    for (int k = 0; k < kAxes; ++k)
      cell[static_cast<std::size_t>(k)] = CellOf(PointAxes<Point>::Get(p, k));
    if (2 * (used_ + 1) > slots_.size())
      Grow();
    Slot& slot = slots_[Place(cell)];
    if (slot.head == kNone) {
      slot.cell = cell;
      ++used_;
    }
    next_[index] = slot.head;
    slot.head = index;
  }

  /// Searches the indexed points of `points` for the lowest position
  /// (1-based) of one coincident with `p`; 0 when there is none. Returns false
  /// when the grid cannot answer (the caller scans instead).
  bool Find(const Point* points, const Point& p, unsigned int& position) const {
    position = 0;
    if (count_ == 0 || !Finite(p))
      return true;
    Cell lo, hi;
    std::uint64_t cells = 1;
    for (int k = 0; k < kAxes; ++k) {
      const double v = PointAxes<Point>::Get(p, k);
      // Nothing indexed reaches that far (with a margin for the rounding of
      // the sum).
      if (std::fabs(v) > (reach_ + tol_) * (1.0 + 0x1p-40))
        return true;
      const auto axis = static_cast<std::size_t>(k);
      const double margin = (std::fabs(v) + tol_) * 0x1p-50; // invariant 3
      lo[axis] = CellOf(v - tol_ - margin);
      hi[axis] = CellOf(v + tol_ + margin);
      // Cells are clamped to +-2^62, so the width is taken unsigned.
      if (hi[axis] < lo[axis])
        return false;
      const std::uint64_t span = static_cast<std::uint64_t>(hi[axis]) - static_cast<std::uint64_t>(lo[axis]);
      if (span > 3)
        return false;
      cells *= span + 1;
    }
    std::uint32_t best = kNone;
    Cell cell = lo;
    for (std::uint64_t visited = 0; visited < cells; ++visited) {
      for (std::uint32_t i = slots_[Place(cell)].head; i != kNone; i = next_[i])
        if (i < best && points[i].IsEqual(p, tol_))
          best = i;
      for (std::size_t k = 0; k < kAxes; ++k) { // the next cell, odometer style
        if (cell[k] < hi[k]) {
          ++cell[k];
          break;
        }
        cell[k] = lo[k];
      }
    }
    position = best == kNone ? 0 : best + 1;
    return true;
  }

private:
  using Cell = std::array<std::int64_t, kAxes>;
  static constexpr std::uint32_t kNone = 0xFFFFFFFFu;

  /// A cell and the last point indexed in it; kept together so that a probe
  /// touches one cache line.
  struct Slot {
    Cell cell{};
    std::uint32_t head = kNone;
  };

  static bool Finite(const Point& p) noexcept {
    for (int k = 0; k < kAxes; ++k)
      if (!std::isfinite(PointAxes<Point>::Get(p, k)))
        return false;
    return true;
  }

  std::int64_t CellOf(double v) const noexcept {
    // Clamping keeps the conversion defined and the function monotone.
    constexpr double kFar = 0x1p62;
    double u = v / cell_;
    if (!(u > -kFar))
      u = -kFar;
    if (!(u < kFar))
      u = kFar;
    return static_cast<std::int64_t>(std::floor(u));
  }

  static std::uint64_t Hash(const Cell& cell) noexcept {
    std::uint64_t h = 0x9E3779B97F4A7C15ull;
    for (const std::int64_t c : cell) {
      h ^= static_cast<std::uint64_t>(c) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2);
      h ^= h >> 31;
      h *= 0xBF58476D1CE4E5B9ull;
    }
    return h ^ (h >> 29);
  }

  /// The number of the slot holding `cell`, or of the empty slot where it
  /// would go.
  std::size_t Place(const Cell& cell) const noexcept {
    const std::size_t mask = slots_.size() - 1;
    std::size_t place = static_cast<std::size_t>(Hash(cell)) & mask;
    while (slots_[place].head != kNone && slots_[place].cell != cell)
      place = (place + 1) & mask;
    return place;
  }

  void Grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    for (const Slot& slot : old)
      if (slot.head != kNone)
        slots_[Place(slot.cell)] = slot;
  }

  double tol_ = 0.0;
  double cell_ = 1.0;
  double limit_ = 0.0;
  double reach_ = 0.0;
  std::size_t count_ = 0;
  std::vector<std::uint32_t> next_; // the next point of the same cell
  std::vector<Slot> slots_;         // a power of two of them
  std::size_t used_ = 0;
};

} // namespace zel::internal
