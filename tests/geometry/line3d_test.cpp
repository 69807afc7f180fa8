#include "zeltools/geometry/line3d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

using test::RandomPoint3D;

TEST(CLine3D, ProjectionsAndClosestPointsOnRandomLines) {
  std::mt19937_64 rng(16);
  std::uniform_real_distribution<double> along(-30, 30);
  CPoint3D pa, pb, out;
  for (int k = 0; k < 1000; ++k) {
    const CLine3D l(RandomPoint3D(rng), RandomPoint3D(rng)), m(RandomPoint3D(rng), RandomPoint3D(rng));
    const CPoint3D p = RandomPoint3D(rng), f = l.Projection(p);
    ASSERT_TRUE(l.Distance(f) < 1e-12 && std::fabs((p - f).Dot(l.GetDirection())) < 1e-11);
    ASSERT_NEAR(l.Distance(p), p.Distance(f), 1e-11);
    ASSERT_LT(l.Point(l.Parameter(p)).Distance(f), 1e-10);
    // The closest points: on their lines, joined perpendicularly to both, and
    // no other pair closer.
    ASSERT_EQ(l.ClosestPoints(m, pa, pb, 1e-9), 1);
    ASSERT_TRUE(l.Distance(pa) < 1e-10 && m.Distance(pb) < 1e-10);
    ASSERT_NEAR((pb - pa).Dot(l.GetDirection()), 0.0, 1e-9);
    ASSERT_NEAR((pb - pa).Dot(m.GetDirection()), 0.0, 1e-9);
    ASSERT_NEAR(l.Distance(m, 1e-9), pa.Distance(pb), 1e-12);
    for (int q = 0; q < 20; ++q)
      ASSERT_GE(l.Point(along(rng)).Distance(m.Point(along(rng))), pa.Distance(pb) - 1e-9);
    // A line through a point of l meets l there.
    const CPoint3D x = l.Point(0.3);
    ASSERT_EQ(l.Cross(CLine3D(x, RandomPoint3D(rng)), out, 1e-9), 1);
    ASSERT_LT(out.Distance(x), 1e-8);
  }
}

TEST(CLine3D, ParallelAndCrossingTolerances) {
  const CLine3D a({0, 0, 0}, {10, 0, 0}), b({0, 3, 4}, {-10, 3, 4}), c({0, 0, 1}, {10, 0, 1.1});
  const CLine3D skew({3, -10, 2}, {3, 10, 2}), dot({1, 2, 3}, {1, 2, 3});
  CPoint3D pa, pb, out(5, 5, 5);
  EXPECT_TRUE(a.IsParallel(b, 0) && a.ClosestPoints(b, pa, pb, 0) == 0 && pa.Distance(pb) == 5 && a.Distance(b, 0) == 5);
  // Departing by 0.1 over the length 10; below that they meet far back.
  EXPECT_TRUE(a.IsParallel(c, 0.1 + 1e-12) && !a.IsParallel(c, 0.09));
  EXPECT_TRUE(a.Cross(c, out, 0.09) && out.IsEqual({-100, 0, 0}, 1e-9));
  // Closest points 2 apart: the midpoint comes back either way; inclusive.
  EXPECT_TRUE(a.Cross(skew, out, 1.99) == 0 && out.IsEqual({3, 0, 1}, 1e-14) && a.Cross(skew, out, 2.0));
  // A degenerate line behaves as its point and crosses nothing.
  EXPECT_TRUE(dot.IsValid() == 0 && dot.GetDirection() == CPoint3D() && dot.Distance(CPoint3D(1, 2, 5)) == 2);
  EXPECT_TRUE(dot.ClosestPoints(skew, pa, pb, 0) == 0 && pa == CPoint3D(1, 2, 3) && pb == CPoint3D(3, 2, 2));
  EXPECT_TRUE(dot.Cross(skew, out, 100) == 0 && out == CPoint3D());
  EXPECT_EQ(CLine3D({0, 0, 0}, {HUGE_VAL, 0, 0}).IsValid(), 0);
}

} // namespace
} // namespace zel
