#include "zeltools/geometry/line3d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

CPoint3D RandomPoint(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> d(-10, 10);
  const double x = d(rng), y = d(rng);
  return {x, y, d(rng)};
}

TEST(CLine3D, DegenerateLineBehavesAsItsPoint) {
  const CLine3D l({1, 2, 3}, {1, 2, 3});
  EXPECT_EQ(l.IsValid(), 0);
  EXPECT_TRUE(l.GetDirection() == CPoint3D());
  EXPECT_EQ(l.Distance(CPoint3D(1, 2, 5)), 2.0);
  EXPECT_TRUE(l.Projection({9, 9, 9}) == CPoint3D(1, 2, 3));
  CPoint3D a, b, out(5, 5, 5);
  const CLine3D z({0, 0, 0}, {0, 0, 1});
  EXPECT_EQ(l.ClosestPoints(z, a, b, 0), 0);
  EXPECT_TRUE(a == CPoint3D(1, 2, 3));
  EXPECT_TRUE(b == CPoint3D(0, 0, 3));
  EXPECT_EQ(l.Cross(z, out, 100), 0);
  EXPECT_TRUE(out == CPoint3D());
  EXPECT_EQ(CLine3D({0, 0, 0}, {HUGE_VAL, 0, 0}).IsValid(), 0);
}

TEST(CLine3D, PointQueries) {
  const CLine3D l({0, 0, 0}, {0, 0, 2});
  EXPECT_EQ(l.Distance(CPoint3D(3, 4, 7)), 5.0);
  EXPECT_EQ(l.Parameter({3, 4, 7}), 3.5);
  EXPECT_TRUE(l.Projection({3, 4, 7}) == CPoint3D(0, 0, 7));
  EXPECT_TRUE(l.Point(0.25) == CPoint3D(0, 0, 0.5));
  EXPECT_EQ(l.Contains({0.1, 0, -4}, 0.1), 1);
  EXPECT_EQ(l.Contains({0.1, 0.1, -4}, 0.1), 0);

  std::mt19937_64 rng(14);
  for (int k = 0; k < 1000; ++k) {
    const CLine3D m(RandomPoint(rng), RandomPoint(rng));
    const CPoint3D p = RandomPoint(rng);
    const CPoint3D f = m.Projection(p);
    ASSERT_NEAR(m.Distance(f), 0.0, 1e-12);
    ASSERT_NEAR((p - f).Dot(m.GetDirection()), 0.0, 1e-11);
    ASSERT_NEAR(m.Distance(p), p.Distance(f), 1e-11);
    ASSERT_LT(m.Point(m.Parameter(p)).Distance(f), 1e-10);
  }
}

TEST(CLine3D, ClosestPointsOfSkewLines) {
  // The x axis and a line parallel to y at height 2 through x = 3.
  const CLine3D a({-10, 0, 0}, {10, 0, 0}), b({3, -10, 2}, {3, 10, 2});
  CPoint3D pa, pb, out;
  ASSERT_EQ(a.ClosestPoints(b, pa, pb, 1e-12), 1);
  EXPECT_TRUE(pa.IsEqual({3, 0, 0}, 1e-14));
  EXPECT_TRUE(pb.IsEqual({3, 0, 2}, 1e-14));
  EXPECT_NEAR(a.Distance(b, 1e-12), 2.0, 1e-14);
  EXPECT_EQ(a.Cross(b, out, 1.99), 0);
  EXPECT_TRUE(out.IsEqual({3, 0, 1}, 1e-14)); // the midpoint, kept
  EXPECT_EQ(a.Cross(b, out, 2.0), 1); // inclusive
  // A tolerance of the order of the lengths makes any two lines parallel.
  EXPECT_EQ(CLine3D({0, 0, 0}, {1, 0, 0}).Cross(CLine3D({0, 0, 1}, {0, 1, 1}), out, 1.0), 0);

  std::mt19937_64 rng(16);
  std::uniform_real_distribution<double> along(-30, 30);
  for (int k = 0; k < 1000; ++k) {
    const CLine3D l(RandomPoint(rng), RandomPoint(rng)), m(RandomPoint(rng), RandomPoint(rng));
    ASSERT_EQ(l.ClosestPoints(m, pa, pb, 1e-9), 1);
    ASSERT_NEAR(l.Distance(pa), 0.0, 1e-10);
    ASSERT_NEAR(m.Distance(pb), 0.0, 1e-10);
    const CPoint3D gap = pb - pa;
    ASSERT_NEAR(gap.Dot(l.GetDirection()), 0.0, 1e-9);
    ASSERT_NEAR(gap.Dot(m.GetDirection()), 0.0, 1e-9);
    // No other pair of points is closer.
    const double best = pa.Distance(pb);
    for (int q = 0; q < 20; ++q)
      ASSERT_GE(l.Point(along(rng)).Distance(m.Point(along(rng))), best - 1e-9);
    // Lines through two points of each other meet there.
    const CPoint3D x = l.Point(0.3);
    const CLine3D through(x, RandomPoint(rng));
    ASSERT_EQ(l.Cross(through, out, 1e-9), 1);
    ASSERT_LT(out.Distance(x), 1e-8);
  }
}

TEST(CLine3D, ParallelLines) {
  const CLine3D a({0, 0, 0}, {10, 0, 0}), b({0, 3, 4}, {-10, 3, 4});
  CPoint3D pa, pb, out;
  EXPECT_EQ(a.IsParallel(b, 0), 1);
  EXPECT_EQ(a.ClosestPoints(b, pa, pb, 0), 0);
  EXPECT_EQ(pa.Distance(pb), 5.0);
  EXPECT_EQ(a.Distance(b, 0), 5.0);
  EXPECT_EQ(a.Cross(b, out, 10), 0);
  // Departing by 0.1 over the length 10.
  const CLine3D c({0, 0, 1}, {10, 0, 1.1});
  EXPECT_EQ(a.IsParallel(c, 0.1 + 1e-12), 1);
  EXPECT_EQ(a.IsParallel(c, 0.09), 0);
  ASSERT_EQ(a.Cross(c, out, 0.09), 1); // in one plane, meeting far back
  EXPECT_TRUE(out.IsEqual({-100, 0, 0}, 1e-9));
}

} // namespace
} // namespace zel
