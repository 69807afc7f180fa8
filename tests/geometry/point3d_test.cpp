#include "zeltools/geometry/point3d.h"

#include <cmath>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

using test::RandomPoint3D;

TEST(CPoint3D, CompareIsOneOrZeroAndLessIsAlwaysFalse) {
  std::mt19937_64 rng(2);
  std::uniform_int_distribution<int> d(-1, 1);
  for (int k = 0; k < 3000; ++k) {
    const CPoint3D a(d(rng), d(rng), d(rng)), b(d(rng), d(rng), d(rng));
    ASSERT_EQ(a.Compare(b), std::tie(a.x, a.y, a.z) < std::tie(b.x, b.y, b.z) ? 1 : 0);
    ASSERT_FALSE(a < b);
    ASSERT_EQ(a.IsEqual(b, 1), std::fabs(a.x - b.x) <= 1 && std::fabs(a.y - b.y) <= 1 && std::fabs(a.z - b.z) <= 1);
  }
}

TEST(CPoint3D, VectorAlgebraAndMeasuresOnRandomInput) {
  std::mt19937_64 rng(4);
  for (int k = 0; k < 1000; ++k) {
    const CPoint3D a = RandomPoint3D(rng), b = RandomPoint3D(rng), c = RandomPoint3D(rng);
    const CPoint3D x = a.Cross(b);
    ASSERT_TRUE(std::fabs(x.Dot(a)) < 1e-11 && std::fabs(x.Dot(b)) < 1e-11 && b.Cross(a) == -x);
    ASSERT_NEAR(x.Dot(x) + a.Dot(b) * a.Dot(b), a.Dot(a) * b.Dot(b), 1e-9); // Lagrange's identity
    ASSERT_EQ(a.Distance(b), b.Distance(a));
    ASSERT_LE(a.Distance(c), a.Distance(b) + b.Distance(c) + 1e-12);
    ASSERT_NEAR(c.Area(a, b), a.Area(b, c), 1e-9);
    // Lifted plane points measure as in the plane (twice the area, degrees).
    const CPoint2D o2 = c.GetPoint2D(), a2 = a.GetPoint2D(), b2 = b.GetPoint2D();
    const CPoint3D fo(o2, 7), fa(a2, 7), fb(b2, 7);
    ASSERT_NEAR(fo.Area(fa, fb), o2.Area(a2, b2), 1e-10);
    ASSERT_NEAR(fo.Angle(fa, fb), o2.Angle(a2, b2), 1e-9);
    ASSERT_NEAR(fo.ScalarProduct(fa, fb), o2.ScalarProduct(a2, b2), 1e-10);
    CPoint3D moved = a, unit = b;
    ASSERT_EQ(moved.Shift(b, 3.5, 1e-9), 1);
    ASSERT_NEAR(moved.Distance(a), 3.5, 1e-12);
    ASSERT_NEAR(moved.Distance(b), std::fabs(a.Distance(b) - 3.5), 1e-12);
    ASSERT_EQ(unit.Normalize(1e-9), 1);
    ASSERT_NEAR(unit.Length(), 1.0, 1e-15);
    // Collinearity does not depend on the order; exactly collinear points pass.
    const CPoint3D p = a + (b - a) * (k % 5 - 1.5) + (k % 2 ? CPoint3D(0.02, 0.05, -0.03) : CPoint3D());
    const unsigned char r = a.IsCollinear(b, p, 0.01);
    ASSERT_TRUE(r == p.IsCollinear(b, a, 0.01) && r == b.IsCollinear(p, a, 0.01) && (k % 2 || r == 1));
  }
}

TEST(CPoint3D, TolerancesAreInclusiveAndClampedAngles) {
  CPoint3D small(1e-3, 0, 0), p(1, 1, 3);
  EXPECT_EQ(small.Normalize(1e-3), 0);
  EXPECT_EQ(p.Shift({1, 1, 3.5}, 2, 0.5), 0);
  EXPECT_TRUE(small == CPoint3D(1e-3, 0, 0) && p == CPoint3D(1, 1, 3));
  EXPECT_EQ(CPoint3D(0, 0.1, 0).IsCollinear({-1, 0, 0}, {1, 0, 0}, 0.1), 1);
  EXPECT_EQ(CPoint3D(0, 0, 0.11).IsCollinear({-1, 0, 0}, {1, 0, 0}, 0.1), 0);
  EXPECT_EQ(CPoint3D().Angle({}, {1, 0, 0}), 0.0);
  EXPECT_EQ(CPoint3D().Angle({1, 1, 1}, {-1, -1, -1}), 180.0); // the cosine rounds below -1
}

} // namespace
} // namespace zel
