#include "zeltools/text/point_line.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(PointLine, PointsPlacedAtAKnownSignedDistance) {
  // A point built on the left normal of a random line at distance s comes out
  // as the sign of s beyond the tolerance and 0 within it, anywhere along the
  // line (a line, not a segment).
  std::mt19937 rng(51);
  std::uniform_real_distribution<double> coord(-1000, 1000), along(-3, 3), offset(-2, 2);
  for (int round = 0; round < 20000; ++round) {
    const double x1 = coord(rng), y1 = coord(rng), x2 = coord(rng), y2 = coord(rng);
    const double length = std::hypot(x2 - x1, y2 - y1), t = along(rng), s = offset(rng), tol = 0.5;
    if (length < 1e-3 || std::fabs(std::fabs(s) - tol) < 1e-6)
      continue;
    const double x = x1 + t * (x2 - x1) - s * (y2 - y1) / length, y = y1 + t * (y2 - y1) + s * (x2 - x1) / length;
    ASSERT_EQ(PointLine(x, y, x1, y1, x2, y2, tol), std::fabs(s) <= tol ? 0 : s > 0 ? 1 : -1) << s;
  }
  EXPECT_EQ(PointLine(0, 0.1, 0, 0, 1, 0, 0.1), 0) << "the bound is inclusive";
}

TEST(PointLine, CoincidentLinePointsHaveNoSideAndNaNIsRight) {
  EXPECT_EQ(PointLine(1.05, 1, 1, 1, 1, 1, 0.1), 0);
  EXPECT_EQ(PointLine(3, 1, 1, 1, 1, 1, 0.1), 2);
  EXPECT_EQ(PointLine(std::nan(""), 0, 0, 0, 1, 0, 0.1), -1);
}

} // namespace
} // namespace zel
