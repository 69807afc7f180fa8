#include "zeltools/geometry/line2d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

using test::RandomPoint2D;

TEST(CLine2D, ProjectionParameterAndCrossingOnRandomLines) {
  std::mt19937_64 rng(10);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p1 = RandomPoint2D(rng), p2 = RandomPoint2D(rng), p = RandomPoint2D(rng);
    const CLine2D l(p1, p2), m(p, RandomPoint2D(rng));
    const CPoint2D f = l.Projection(p), d = p2 - p1, w = p - f;
    ASSERT_NEAR(l.Distance(f), 0.0, 1e-12);
    ASSERT_NEAR((d.x * w.x + d.y * w.y) / l.Length(), 0.0, 1e-11); // p - f is perpendicular
    ASSERT_EQ(l.Distance(p), p.DistanceLine(p1, p2));
    ASSERT_LT(l.Point(l.Parameter(p)).Distance(f), 1e-10);
    if (std::fabs(l.GetA() * m.GetB() - m.GetA() * l.GetB()) < 1e-3)
      continue;
    CPoint2D out, again;
    ASSERT_TRUE(l.Cross(m, out, 1e-9) && m.Cross(l, again, 1e-9));
    ASSERT_TRUE(std::fabs(l.Distance(out)) < 1e-9 && std::fabs(m.Distance(out)) < 1e-9 && out.IsEqual(again, 1e-8));
  }
}

TEST(CLine2D, ParallelToleranceAndDegenerateLine) {
  // Departing by 0.1 over the length 10 of the longer defining segment.
  const CLine2D h({0, 0}, {10, 0}), slant({0, 1}, {10, 1.1}), dot({2, 3}, {2, 3});
  CPoint2D out(1, 1);
  EXPECT_TRUE(h.IsParallel(slant, 0.1 + 1e-12) && !h.Cross(slant, out, 0.1 + 1e-12) && !h.IsParallel(slant, 0.09));
  ASSERT_EQ(h.Cross(slant, out, 0.09), 1);
  EXPECT_TRUE(out.IsEqual({-100, 0}, 1e-9));
  EXPECT_EQ(h.Cross(CLine2D({5, 2}, {-1, 2}), out, 0), 0);
  EXPECT_TRUE(dot.IsValid() == 0 && dot.Distance({7, 7}) == 0 && dot.Contains({7, 7}, 0) && dot.Parameter({7, 7}) == 0);
  EXPECT_TRUE(dot.Projection({7, 7}) == CPoint2D(2, 3));
  out = {1, 1};
  EXPECT_TRUE(dot.Cross(h, out, 0) == 0 && out == CPoint2D());
}

} // namespace
} // namespace zel
