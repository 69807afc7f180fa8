#include "zeltools/geometry/line3d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

TEST(CLine3D, ProjectionsClosestPointsAndCrossingOnRandomLines) {
  std::mt19937_64 rng(16);
  std::uniform_real_distribution<double> along(-30, 30);
  CPoint3D pa, pb, out;
  for (int k = 0; k < 1000; ++k) {
    const CPoint3D p1 = test::RandomPoint3D(rng), p2 = test::RandomPoint3D(rng), q1 = test::RandomPoint3D(rng);
    const CLine3D l(p1, p2), m(q1, test::RandomPoint3D(rng));
    const CPoint3D p = test::RandomPoint3D(rng), f = l.Projection(p), x = l.Point(0.3);
    ASSERT_TRUE(l.Distance(f) < 1e-12 && std::fabs((p - f).Dot(l.GetDirection())) < 1e-11);
    ASSERT_TRUE(std::fabs(l.Distance(p) - p.Distance(f)) < 1e-11 && l.Point(l.Parameter(p)).Distance(f) < 1e-10);
    // On their lines, joined perpendicularly to both, and no other pair closer.
    ASSERT_TRUE(l.ClosestPoints(m, pa, pb, 1e-9) && l.Distance(pa) < 1e-10 && m.Distance(pb) < 1e-10);
    ASSERT_TRUE(std::fabs((pb - pa).Dot(l.GetDirection())) < 1e-9 && std::fabs((pb - pa).Dot(m.GetDirection())) < 1e-9);
    ASSERT_NEAR(l.Distance(m, 1e-9), pa.Distance(pb), 1e-12);
    for (int q = 0; q < 20; ++q)
      ASSERT_GE(l.Point(along(rng)).Distance(m.Point(along(rng))), pa.Distance(pb) - 1e-9);
    ASSERT_TRUE(l.Cross(CLine3D(x, test::RandomPoint3D(rng)), out, 1e-9) && out.Distance(x) < 1e-8);
  }
  // Parallel: departing by 0.1 over the length 10. Skew lines 2 apart: the
  // midpoint either way, crossing within an inclusive 2. A degenerate line is
  // its point and crosses nothing.
  const CLine3D a({0, 0, 0}, {10, 0, 0}), b({0, 3, 4}, {-10, 3, 4}), c({0, 0, 1}, {10, 0, 1.1});
  const CLine3D skew({3, -10, 2}, {3, 10, 2}), dot({1, 2, 3}, {1, 2, 3});
  EXPECT_TRUE(!a.ClosestPoints(b, pa, pb, 0) && pa.Distance(pb) == 5 && a.Distance(b, 0) == 5);
  EXPECT_TRUE(a.IsParallel(c, 0.1 + 1e-12) && !a.IsParallel(c, 0.09));
  EXPECT_TRUE(a.Cross(c, out, 0.09) && out.IsEqual({-100, 0, 0}, 1e-9));
  EXPECT_TRUE(!a.Cross(skew, out, 1.99) && out.IsEqual({3, 0, 1}, 1e-14) && a.Cross(skew, out, 2.0));
  EXPECT_TRUE(!dot.IsValid() && dot.GetDirection() == CPoint3D() && dot.Distance(CPoint3D(1, 2, 5)) == 2);
  EXPECT_TRUE(!dot.ClosestPoints(skew, pa, pb, 0) && pa == CPoint3D(1, 2, 3) && pb == CPoint3D(3, 2, 2));
  EXPECT_TRUE(!dot.Cross(skew, out, 100) && out == CPoint3D() && !CLine3D({}, {HUGE_VAL, 0, 0}).IsValid());
}

} // namespace
} // namespace zel
