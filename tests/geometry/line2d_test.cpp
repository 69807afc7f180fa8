#include "zeltools/geometry/line2d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

TEST(CLine2D, ProjectionParameterAndCrossingOnRandomLines) {
  std::mt19937_64 rng(10);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p1 = test::RandomPoint2D(rng), p2 = test::RandomPoint2D(rng), p = test::RandomPoint2D(rng);
    const CLine2D l(p1, p2), m(p, test::RandomPoint2D(rng));
    const CPoint2D f = l.Projection(p), d = p2 - p1, w = p - f;
    ASSERT_TRUE(std::fabs(l.Distance(f)) < 1e-12 && std::fabs(d.x * w.x + d.y * w.y) < 1e-10); // p - f is perpendicular
    ASSERT_TRUE(l.Distance(p) == p.DistanceLine(p1, p2) && l.Point(l.Parameter(p)).Distance(f) < 1e-10);
    CPoint2D out, again;
    if (std::fabs(l.GetA() * m.GetB() - m.GetA() * l.GetB()) > 1e-3)
      ASSERT_TRUE(l.Cross(m, out, 1e-9) && m.Cross(l, again, 1e-9) && std::fabs(l.Distance(out)) < 1e-9 &&
                  std::fabs(m.Distance(out)) < 1e-9 && out.IsEqual(again, 1e-8));
  }
  // Parallel within tol when one direction departs from the other by at most
  // tol over the longer defining segment (0.1 over 10 here); a degenerate
  // line is its first point, contains everything and crosses nothing.
  const CLine2D h({0, 0}, {10, 0}), slant({0, 1}, {10, 1.1}), dot({2, 3}, {2, 3});
  CPoint2D out(1, 1);
  EXPECT_TRUE(h.IsParallel(slant, 0.1 + 1e-12) && !h.Cross(slant, out, 0.1 + 1e-12) && !h.IsParallel(slant, 0.09));
  EXPECT_TRUE(h.Cross(slant, out, 0.09) && out.IsEqual({-100, 0}, 1e-9));
  EXPECT_TRUE(!dot.IsValid() && dot.Contains({7, 7}, 0) && dot.Projection({7, 7}) == CPoint2D(2, 3));
  EXPECT_TRUE(!dot.Cross(h, out, 0) && out == CPoint2D());
}

} // namespace
} // namespace zel
