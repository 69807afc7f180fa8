#include "zeltools/geometry/segment.h"

#include "zeltools/geometry/internal/plane_box.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "zeltools/memory/memory.h"

namespace zel {

namespace {

/// Twice the signed area of (o, a, b): positive when b lies left of o -> a.
double Turn(const CPoint2D& o, const CPoint2D& a, const CPoint2D& b) noexcept {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

bool Precedes(const CPoint2D& l, const CPoint2D& r) noexcept { return std::tie(l.x, l.y) < std::tie(r.x, r.y); }
bool Precedes(const CPoint3D& l, const CPoint3D& r) noexcept {
  return std::tie(l.x, l.y, l.z) < std::tie(r.x, r.y, r.z);
}

bool Opposite(double u, double v) noexcept { return (u > 0.0 && v < 0.0) || (u < 0.0 && v > 0.0); }

/// The cut rule shared by plane and space segments: cuts at the points within
/// `tol`, ordered by their position along the segment (ties by coordinates),
/// each more than `tol` past the previous cut and before the far end.
template <class Segment, class Point, class Out>
unsigned int SplitAtPoints(const Segment& segment, unsigned int n, const Point* points, double tol, Out& out) {
  return GuardAllocation((std::size_t{n} + 1) * sizeof(Segment), [&]() -> unsigned int {
    const double length = segment.Length();
    if (!(length > tol)) {
      out.push_back(segment);
      return 1;
    }
    struct Cut {
      double along;
      const Point* point;
    };
    std::vector<Cut> cuts;
    for (unsigned int i = 0; i < n; ++i) {
      if (!segment.Contains(points[i], tol))
        continue;
      const double along = std::clamp(segment.Parameter(points[i]), 0.0, 1.0) * length;
      if (along > tol && length - along > tol)
        cuts.push_back({along, &points[i]});
    }
    // A total order, so that the kept cuts do not depend on the order in
    // which the points were gathered.
    std::sort(cuts.begin(), cuts.end(), [](const Cut& l, const Cut& r) {
      if (l.along != r.along)
        return l.along < r.along;
      return Precedes(*l.point, *r.point);
    });
    unsigned int pieces = 0;
    Point start = segment.p1;
    double last = 0.0;
    for (const Cut& cut : cuts) {
      if (!(cut.along - last > tol))
        continue;
      out.push_back(Segment(start, *cut.point));
      start = *cut.point;
      last = cut.along;
      ++pieces;
    }
    out.push_back(Segment(start, segment.p2));
    return pieces + 1;
  });
}

bool Finite(const CSegment& s) noexcept {
  return std::isfinite(s.p1.x) && std::isfinite(s.p1.y) && std::isfinite(s.p2.x) && std::isfinite(s.p2.y);
}

} // namespace

// --- CSegment ------------------------------------------------------------------

double CSegment::Parameter(const CPoint2D& p) const noexcept {
  const CPoint2D d = p2 - p1;
  const double length2 = d.x * d.x + d.y * d.y;
  if (length2 == 0.0)
    return 0.0;
  return ((p.x - p1.x) * d.x + (p.y - p1.y) * d.y) / length2;
}

CPoint2D CSegment::Closest(const CPoint2D& p) const noexcept {
  const double t = Parameter(p);
  if (t <= 0.0)
    return p1;
  if (t >= 1.0)
    return p2;
  return Point(t);
}

unsigned char CSegment::Contains(const CPoint2D& p, double tol) const noexcept {
  return Distance(p) <= tol ? 1 : 0;
}

int CSegment::Intersect(const CSegment& s, CPoint2D& a, CPoint2D& b, double tol) const noexcept {
  a.Clear();
  b.Clear();
  if (!Finite(*this) || !Finite(s))
    return 0;
  // Closest approach: zero for a proper crossing, else reached at an end.
  CPoint2D cross;
  const bool haveCross = CPoint2D::CrossLineLine(p1, p2, s.p1, s.p2, cross) != 0;
  CPoint2D near1, near2;
  double gap;
  if (haveCross && Opposite(Turn(p1, p2, s.p1), Turn(p1, p2, s.p2)) &&
      Opposite(Turn(s.p1, s.p2, p1), Turn(s.p1, s.p2, p2))) {
    near1 = near2 = cross;
    gap = 0.0;
  } else {
    const CPoint2D candidates[4][2] = {{p1, s.Closest(p1)}, {p2, s.Closest(p2)}, {Closest(s.p1), s.p1},
                                       {Closest(s.p2), s.p2}};
    gap = HUGE_VAL;
    for (const auto& pair : candidates) {
      const double d = pair[0].Distance(pair[1]);
      if (d < gap) {
        gap = d;
        near1 = pair[0];
        near2 = pair[1];
      }
    }
  }
  if (!(gap <= tol))
    return 0;

  const CPoint2D ends[4] = {p1, p2, s.p1, s.p2};
  const auto snap = [&ends, tol](const CPoint2D& q) {
    const CPoint2D* best = nullptr;
    double bestDistance = tol;
    for (const CPoint2D& e : ends) {
      const double d = q.Distance(e);
      if (d <= bestDistance) {
        best = &e;
        bestDistance = d;
      }
    }
    return best ? *best : q;
  };

  const double length = Length();
  const auto nearLine = [tol](const CPoint2D& q, const CPoint2D& l1, const CPoint2D& l2) {
    return std::fabs(q.DistanceLine(l1, l2)) <= tol;
  };
  if (length > tol && s.Length() > tol && nearLine(s.p1, p1, p2) && nearLine(s.p2, p1, p2) &&
      nearLine(p1, s.p1, s.p2) && nearLine(p2, s.p1, s.p2)) {
    const double t3 = Parameter(s.p1) * length;
    const double t4 = Parameter(s.p2) * length;
    const double lo = std::max(0.0, std::min(t3, t4));
    const double hi = std::min(length, std::max(t3, t4));
    if (hi - lo > tol) {
      a = snap(Point(lo / length));
      b = snap(Point(hi / length));
      return 2;
    }
  }
  if (haveCross && Contains(cross, tol) && s.Contains(cross, tol))
    a = cross;
  else
    a = CPoint2D((near1.x + near2.x) * 0.5, (near1.y + near2.y) * 0.5);
  a = b = snap(a);
  return 1;
}

unsigned int CSegment::Split(unsigned int n, const CPoint2D* points, double tol, VSegment& out) const {
  return SplitAtPoints(*this, n, points, tol, out);
}

// --- CSegment3D ----------------------------------------------------------------

double CSegment3D::Parameter(const CPoint3D& p) const noexcept {
  const CPoint3D d = p2 - p1;
  const double length2 = d.Dot(d);
  if (length2 == 0.0)
    return 0.0;
  return (p - p1).Dot(d) / length2;
}

CPoint3D CSegment3D::Closest(const CPoint3D& p) const noexcept {
  const double t = Parameter(p);
  if (t <= 0.0)
    return p1;
  if (t >= 1.0)
    return p2;
  return Point(t);
}

unsigned char CSegment3D::Contains(const CPoint3D& p, double tol) const noexcept {
  return Distance(p) <= tol ? 1 : 0;
}

double CSegment3D::ClosestPoints(const CSegment3D& s, CPoint3D& onThis, CPoint3D& onOther) const noexcept {
  // Minimise |p1 + u·d1 - (q1 + v·d2)| over u, v in [0, 1]: the unconstrained
  // optimum on this segment's line, clamped, then the other's parameter for
  // it, clamped, with this one recomputed when that clamp bites.
  const CPoint3D d1 = p2 - p1, d2 = s.p2 - s.p1, r = p1 - s.p1;
  const double a = d1.Dot(d1), e = d2.Dot(d2), f = d2.Dot(r);
  double u = 0.0, v = 0.0;
  if (a == 0.0 && e == 0.0) {
    // two points
  } else if (a == 0.0) {
    v = std::clamp(f / e, 0.0, 1.0);
  } else {
    const double c = d1.Dot(r);
    if (e == 0.0) {
      u = std::clamp(-c / a, 0.0, 1.0);
    } else {
      const double b = d1.Dot(d2);
      const double den = a * e - b * b;
      u = den > 0.0 ? std::clamp((b * f - c * e) / den, 0.0, 1.0) : 0.0;
      v = (b * u + f) / e;
      if (v < 0.0) {
        v = 0.0;
        u = std::clamp(-c / a, 0.0, 1.0);
      } else if (v > 1.0) {
        v = 1.0;
        u = std::clamp((b - c) / a, 0.0, 1.0);
      }
    }
  }
  onThis = u >= 1.0 ? p2 : Point(u);
  onOther = v >= 1.0 ? s.p2 : s.Point(v);
  return onThis.Distance(onOther);
}

unsigned int CSegment3D::Split(unsigned int n, const CPoint3D* points, double tol, Vector<CSegment3D>& out) const {
  return SplitAtPoints(*this, n, points, tol, out);
}

// --- VSegment ------------------------------------------------------------------

double VSegment::Length() const noexcept {
  double total = 0.0;
  for (const CSegment& s : *this)
    total += s.Length();
  return total;
}

unsigned char VSegment::GetBox(CPoint2D& lo, CPoint2D& hi) const noexcept {
  return internal::PlaneBox(empty(), lo, hi, [this](auto&& add) {
    for (const CSegment& s : *this) {
      add(s.p1);
      add(s.p2);
    }
  });
}

unsigned int VSegment::Split(double tol) {
  return GuardAllocation(size() * 4 * sizeof(CSegment), [&]() -> unsigned int {
    const std::size_t n = size();
    struct Box {
      double x0, x1, y0, y1;
    };
    std::vector<Box> boxes(n);
    std::vector<std::size_t> order;
    order.reserve(n);
    const VSegment& self = *this;
    for (std::size_t i = 0; i < n; ++i) {
      const CSegment& s = self[i];
      if (!Finite(s))
        continue; // meets nothing, and would break the sort's ordering
      boxes[i] = {std::min(s.p1.x, s.p2.x) - tol, std::max(s.p1.x, s.p2.x) + tol, std::min(s.p1.y, s.p2.y) - tol,
                  std::max(s.p1.y, s.p2.y) + tol};
      order.push_back(i);
    }
    if (!(tol >= 0.0))
      order.clear();
    std::sort(order.begin(), order.end(), [&boxes](std::size_t l, std::size_t r) { return boxes[l].x0 < boxes[r].x0; });

    std::vector<std::vector<CPoint2D>> cuts(n);
    std::vector<std::size_t> active;
    for (const std::size_t i : order) {
      const Box& bi = boxes[i];
      active.erase(std::remove_if(active.begin(), active.end(), [&](std::size_t j) { return boxes[j].x1 < bi.x0; }),
                   active.end());
      for (const std::size_t j : active) {
        const Box& bj = boxes[j];
        if (bj.y1 < bi.y0 || bi.y1 < bj.y0)
          continue;
        // The lower-numbered segment asks, so the points do not depend on the
        // sweep order.
        CPoint2D a, b;
        const int common = self[std::min(i, j)].Intersect(self[std::max(i, j)], a, b, tol);
        for (int k = 0; k < common; ++k) {
          cuts[i].push_back(k == 0 ? a : b);
          cuts[j].push_back(k == 0 ? a : b);
        }
      }
      active.push_back(i);
    }

    VSegment pieces;
    pieces.reserve(n);
    for (std::size_t i = 0; i < n; ++i)
      self[i].Split(static_cast<unsigned int>(cuts[i].size()), cuts[i].data(), tol, pieces);
    swap(pieces);
    return static_cast<unsigned int>(size());
  });
}

unsigned int VSegment::Split(unsigned int n, const CPoint2D* points, double tol) {
  return GuardAllocation((std::size_t{n} + size()) * sizeof(CSegment), [&]() -> unsigned int {
    // Points sorted by abscissa; each segment looks only at the slab of its
    // widened box, then takes the candidates in their given order so that the
    // result is that of CSegment::Split over all the points.
    std::vector<unsigned int> byX;
    byX.reserve(n);
    for (unsigned int i = 0; i < n; ++i)
      if (std::isfinite(points[i].x) && std::isfinite(points[i].y))
        byX.push_back(i);
    std::sort(byX.begin(), byX.end(), [points](unsigned int l, unsigned int r) { return points[l].x < points[r].x; });

    VSegment pieces;
    pieces.reserve(size());
    std::vector<unsigned int> slab;
    std::vector<CPoint2D> candidates;
    for (const CSegment& s : *this) {
      slab.clear();
      candidates.clear();
      if (Finite(s) && tol >= 0.0) {
        const double x0 = std::min(s.p1.x, s.p2.x) - tol, x1 = std::max(s.p1.x, s.p2.x) + tol;
        auto it = std::lower_bound(byX.begin(), byX.end(), x0, [points](unsigned int i, double x) { return points[i].x < x; });
        for (; it != byX.end() && points[*it].x <= x1; ++it)
          slab.push_back(*it);
        std::sort(slab.begin(), slab.end());
        for (const unsigned int i : slab)
          candidates.push_back(points[i]);
      }
      s.Split(static_cast<unsigned int>(candidates.size()), candidates.data(), tol, pieces);
    }
    swap(pieces);
    return static_cast<unsigned int>(size());
  });
}

} // namespace zel
