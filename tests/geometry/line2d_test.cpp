#include "zeltools/geometry/line2d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

CPoint2D RandomPoint(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> d(-10, 10);
  const double x = d(rng);
  return {x, d(rng)};
}

TEST(CLine2D, DegenerateLine) {
  CLine2D l({2, 3}, {2, 3});
  EXPECT_EQ(l.IsValid(), 0);
  EXPECT_EQ(l.Distance({7, 7}), 0.0);
  EXPECT_EQ(l.Contains({7, 7}, 0), 1);
  EXPECT_TRUE(l.Projection({7, 7}) == CPoint2D(2, 3));
  EXPECT_EQ(l.Parameter({7, 7}), 0.0);
  CPoint2D out(1, 1);
  EXPECT_EQ(l.Cross(CLine2D({0, 0}, {1, 1}), out, 0), 0);
  EXPECT_TRUE(out == CPoint2D());
  EXPECT_EQ(CLine2D().IsValid(), 0);
  EXPECT_EQ(l.Set({0, 0}, {4, 0}), 1);
  EXPECT_EQ(l.Distance({1, -2}), 2.0);
}

TEST(CLine2D, ProjectionParameterAndDistance) {
  std::mt19937_64 rng(10);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p1 = RandomPoint(rng), p2 = RandomPoint(rng), p = RandomPoint(rng);
    const CLine2D l(p1, p2);
    ASSERT_EQ(l.IsValid(), 1);
    const CPoint2D f = l.Projection(p);
    ASSERT_NEAR(l.Distance(f), 0.0, 1e-12);
    // The foot is the nearest point: p - f is perpendicular to the line.
    const CPoint2D d = p2 - p1, w = p - f;
    ASSERT_NEAR((d.x * w.x + d.y * w.y) / l.Length(), 0.0, 1e-11);
    ASSERT_NEAR(std::fabs(l.Distance(p)), p.Distance(f), 1e-11);
    ASSERT_NEAR(l.Distance(p), p.DistanceLine(p1, p2), 0.0);
    const CPoint2D g = l.Point(l.Parameter(p));
    ASSERT_NEAR(g.x, f.x, 1e-10);
    ASSERT_NEAR(g.y, f.y, 1e-10);
  }
  const CLine2D l({1, 1}, {3, 1});
  EXPECT_EQ(l.Parameter({3, 5}), 1.0);
  EXPECT_EQ(l.Parameter({0, 5}), -0.5);
}

TEST(CLine2D, CrossWithAParallelTolerance) {
  const CLine2D h({0, 0}, {10, 0});
  CPoint2D out;
  // Departing by 0.1 over the length 10 of the longer segment.
  const CLine2D slant({0, 1}, {10, 1.1});
  EXPECT_EQ(h.IsParallel(slant, 0.1 + 1e-12), 1);
  EXPECT_EQ(h.Cross(slant, out, 0.1 + 1e-12), 0);
  EXPECT_EQ(h.IsParallel(slant, 0.09), 0);
  ASSERT_EQ(h.Cross(slant, out, 0.09), 1);
  EXPECT_NEAR(out.x, -100.0, 1e-9);
  EXPECT_NEAR(out.y, 0.0, 1e-12);
  // Exactly parallel lines with a zero tolerance, and a reversed direction.
  EXPECT_EQ(h.Cross(CLine2D({5, 2}, {-1, 2}), out, 0), 0);

  std::mt19937_64 rng(12);
  for (int k = 0; k < 2000; ++k) {
    const CLine2D a(RandomPoint(rng), RandomPoint(rng)), b(RandomPoint(rng), RandomPoint(rng));
    const double det = a.GetA() * b.GetB() - b.GetA() * a.GetB();
    if (std::fabs(det) < 1e-3)
      continue;
    ASSERT_EQ(a.Cross(b, out, 1e-9), 1);
    ASSERT_NEAR(a.Distance(out), 0.0, 1e-9);
    ASSERT_NEAR(b.Distance(out), 0.0, 1e-9);
    CPoint2D again;
    ASSERT_EQ(b.Cross(a, again, 1e-9), 1);
    ASSERT_NEAR(again.x, out.x, 1e-8);
    ASSERT_NEAR(again.y, out.y, 1e-8);
  }
}

} // namespace
} // namespace zel
