#include "zeltools/geometry/point3d.h"

#include <cmath>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

namespace zel {
namespace {

CPoint3D RandomPoint(std::mt19937_64& rng, double range = 10.0) {
  std::uniform_real_distribution<double> d(-range, range);
  const double x = d(rng), y = d(rng);
  return {x, y, d(rng)};
}

TEST(CPoint3D, RecordComparisonAndOrder) {
  CPoint3D p(1, 2, 3);
  EXPECT_TRUE(p == CPoint3D(1, 2, 3));
  EXPECT_TRUE(p != CPoint3D(1, 2, 3.5));
  EXPECT_EQ(p.IsEqual({1.5, 1.5, 3.5}, 0.5), 1);
  EXPECT_EQ(p.IsEqual({1.5, 1.5, 3.51}, 0.5), 0);
  p.Clear();
  EXPECT_TRUE(p == CPoint3D());
  EXPECT_TRUE(CPoint3D(CPoint2D(4, 5), 6) == CPoint3D(4, 5, 6));
  EXPECT_TRUE(CPoint3D(4, 5, 6).GetPoint2D() == CPoint2D(4, 5));

  std::mt19937_64 rng(2);
  std::uniform_int_distribution<int> d(-1, 1);
  for (int k = 0; k < 3000; ++k) {
    const CPoint3D a(d(rng), d(rng), d(rng)), b(d(rng), d(rng), d(rng));
    ASSERT_EQ(a.Compare(b), std::tie(a.x, a.y, a.z) < std::tie(b.x, b.y, b.z) ? 1 : 0);
    ASSERT_FALSE(a < b);
  }
}

TEST(CPoint3D, VectorArithmetic) {
  const CPoint3D u(1, 2, 3), v(-2, 0.5, 4);
  EXPECT_TRUE(u + v == CPoint3D(-1, 2.5, 7));
  EXPECT_TRUE(u - v == CPoint3D(3, 1.5, -1));
  EXPECT_TRUE(-u == CPoint3D(-1, -2, -3));
  EXPECT_TRUE(u * 2 == CPoint3D(2, 4, 6));
  EXPECT_EQ(u.Dot(v), 11.0);
  EXPECT_TRUE(CPoint3D(1, 0, 0).Cross({0, 1, 0}) == CPoint3D(0, 0, 1)); // right-handed
  CPoint3D n(3, 0, 4);
  EXPECT_EQ(n.Normalize(1e-12), 1);
  EXPECT_TRUE(n == CPoint3D(0.6, 0, 0.8));
  CPoint3D small(1e-3, 0, 0);
  EXPECT_EQ(small.Normalize(1e-3), 0); // inclusive: not above the tolerance
  EXPECT_TRUE(small == CPoint3D(1e-3, 0, 0));
  CPoint3D zero;
  EXPECT_EQ(zero.Normalize(-1), 0);
  EXPECT_TRUE(zero == CPoint3D());

  std::mt19937_64 rng(4);
  for (int k = 0; k < 1000; ++k) {
    const CPoint3D a = RandomPoint(rng), b = RandomPoint(rng), c = RandomPoint(rng);
    const CPoint3D x = a.Cross(b);
    ASSERT_NEAR(x.Dot(a), 0.0, 1e-11);
    ASSERT_NEAR(x.Dot(b), 0.0, 1e-11);
    ASSERT_TRUE(b.Cross(a) == -x);
    // |a × b|² + (a·b)² = |a|²|b|²
    ASSERT_NEAR(x.Dot(x) + a.Dot(b) * a.Dot(b), a.Dot(a) * b.Dot(b), 1e-9);
    ASSERT_EQ(a.Distance(b), b.Distance(a));
    ASSERT_LE(a.Distance(c), a.Distance(b) + b.Distance(c) + 1e-12);
    ASSERT_EQ(c.Area(a, b), c.Area(b, a));
    ASSERT_NEAR(c.Area(a, b), a.Area(b, c), 1e-9);
  }
}

TEST(CPoint3D, MeasuresAgreeWithThePlaneOnes) {
  std::mt19937_64 rng(6);
  for (int k = 0; k < 1000; ++k) {
    const CPoint3D o = RandomPoint(rng), a = RandomPoint(rng), b = RandomPoint(rng);
    const CPoint2D o2 = o.GetPoint2D(), a2 = a.GetPoint2D(), b2 = b.GetPoint2D();
    const CPoint3D fo(o2), fa(a2), fb(b2);
    ASSERT_NEAR(fo.Area(fa, fb), o2.Area(a2, b2), 1e-10);
    ASSERT_NEAR(fo.Angle(fa, fb), o2.Angle(a2, b2), 1e-9);
    ASSERT_NEAR(fo.ScalarProduct(fa, fb), o2.ScalarProduct(a2, b2), 1e-10);
    // The angle is unchanged by a rotation about z.
    const auto turn = [](const CPoint3D& p) { return CPoint3D(-p.y, p.x, p.z); };
    ASSERT_NEAR(o.Angle(a, b), turn(o).Angle(turn(a), turn(b)), 1e-9);
  }
  const CPoint3D o;
  EXPECT_EQ(o.Angle(o, {1, 0, 0}), 0.0);
  EXPECT_DOUBLE_EQ(o.Angle({0, 0, 2}, {3, 0, 0}), 90.0);
  EXPECT_EQ(o.Angle({1, 1, 1}, {-1, -1, -1}), 180.0);
}

TEST(CPoint3D, ShiftAndCollinearity) {
  CPoint3D p(1, 1, 1);
  EXPECT_EQ(p.Shift({1, 1, 4}, 2, 0), 1);
  EXPECT_TRUE(p == CPoint3D(1, 1, 3));
  EXPECT_EQ(p.Shift({1, 1, 3.5}, 2, 0.5), 0);
  EXPECT_TRUE(p == CPoint3D(1, 1, 3));

  EXPECT_EQ(CPoint3D(0, 0, 0).IsCollinear({1, 1, 1}, {2, 2, 2}, 0), 1);
  EXPECT_EQ(CPoint3D(0, 0.1, 0).IsCollinear({-1, 0, 0}, {1, 0, 0}, 0.1), 1);
  EXPECT_EQ(CPoint3D(0, 0, 0.11).IsCollinear({-1, 0, 0}, {1, 0, 0}, 0.1), 0);
  EXPECT_EQ(CPoint3D().IsCollinear({}, {}, 0), 1);

  std::mt19937_64 rng(8);
  for (int k = 0; k < 500; ++k) {
    const CPoint3D a = RandomPoint(rng), b = RandomPoint(rng);
    const double s = std::uniform_real_distribution<double>(-2, 3)(rng);
    const CPoint3D c = a + (b - a) * s + (k % 2 ? CPoint3D(0.02, 0.05, -0.03) : CPoint3D());
    const unsigned char r = a.IsCollinear(b, c, 0.01);
    ASSERT_EQ(r, c.IsCollinear(b, a, 0.01));
    ASSERT_EQ(r, b.IsCollinear(c, a, 0.01));
    if (k % 2 == 0)
      ASSERT_EQ(r, 1);
  }
}

} // namespace
} // namespace zel
