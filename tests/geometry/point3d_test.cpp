#include "zeltools/geometry/point3d.h"

#include <cmath>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

TEST(CPoint3D, CompareIsOneOrZeroAndLessIsAlwaysFalse) {
  std::mt19937_64 rng(2);
  std::uniform_int_distribution<int> d(-1, 1);
  for (int k = 0; k < 3000; ++k) {
    const CPoint3D a(d(rng), d(rng), d(rng)), b(d(rng), d(rng), d(rng));
    ASSERT_EQ(a.Compare(b), std::tie(a.x, a.y, a.z) < std::tie(b.x, b.y, b.z) ? 1 : 0);
    ASSERT_FALSE(a < b);
  }
}

TEST(CPoint3D, MeasuresOnRandomInputAgreeWithThePlane) {
  std::mt19937_64 rng(4);
  for (int k = 0; k < 1000; ++k) {
    const CPoint3D a = test::RandomPoint3D(rng), b = test::RandomPoint3D(rng), c = test::RandomPoint3D(rng);
    const CPoint3D x = a.Cross(b);
    ASSERT_TRUE(std::fabs(x.Dot(a)) < 1e-11 && std::fabs(x.Dot(b)) < 1e-11 && b.Cross(a) == -x);
    ASSERT_NEAR(x.Dot(x) + a.Dot(b) * a.Dot(b), a.Dot(a) * b.Dot(b), 1e-9); // Lagrange's identity
    ASSERT_TRUE(a.Distance(b) == b.Distance(a) && std::fabs(c.Area(a, b) - a.Area(b, c)) < 1e-9);
    // Lifted plane points measure as in the plane (twice the area, degrees).
    const CPoint2D o2 = c.GetPoint2D(), a2 = a.GetPoint2D(), b2 = b.GetPoint2D();
    const CPoint3D fo(o2, 7), fa(a2, 7), fb(b2, 7);
    ASSERT_NEAR(fo.Area(fa, fb), o2.Area(a2, b2), 1e-10);
    ASSERT_NEAR(fo.Angle(fa, fb), o2.Angle(a2, b2), 1e-9);
    ASSERT_NEAR(fo.ScalarProduct(fa, fb), o2.ScalarProduct(a2, b2), 1e-10);
    CPoint3D moved = a, unit = b;
    ASSERT_TRUE(moved.Shift(b, 3.5, 1e-9) && std::fabs(moved.Distance(a) - 3.5) < 1e-12);
    ASSERT_EQ(moved.IsCollinear(a, b, 1e-12), 1);
    ASSERT_TRUE(unit.Normalize(1e-9) && std::fabs(unit.Length() - 1) < 1e-15);
  }
  // Tolerances are inclusive; the cosine of opposite directions rounds below -1.
  CPoint3D small(1e-3, 0, 0), p(1, 1, 3);
  EXPECT_TRUE(!small.Normalize(1e-3) && !p.Shift({1, 1, 3.5}, 2, 0.5) && p == CPoint3D(1, 1, 3));
  const CPoint3D left(-1, 0, 0), right(1, 0, 0);
  EXPECT_TRUE(CPoint3D(0, 0.1, 0).IsCollinear(left, right, 0.1) && !CPoint3D(0, 0, 0.11).IsCollinear(left, right, 0.1));
  EXPECT_TRUE(CPoint3D().Angle({}, {1, 0, 0}) == 0 && CPoint3D().Angle({1, 1, 1}, {-1, -1, -1}) == 180);
}

} // namespace
} // namespace zel
