#include "zeltools/text/point_line.h"

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(PointLine, SidesAndTolerance) {
  EXPECT_EQ(PointLine(0, 1, 0, 0, 1, 0, 0.1), 1);
  EXPECT_EQ(PointLine(0, -1, 0, 0, 1, 0, 0.1), -1);
  EXPECT_EQ(PointLine(5, 0.05, 0, 0, 1, 0, 0.1), 0); // beyond the second point: a line, not a segment
  EXPECT_EQ(PointLine(0, 1, 1, 0, 0, 0, 0.1), -1);   // reversed direction
  EXPECT_EQ(PointLine(0, 0.1, 0, 0, 1, 0, 0.1), 0);  // the bound is inclusive
  EXPECT_EQ(PointLine(0, 0, 0, 0, 1, 0, 0.0), 0);
}

TEST(PointLine, CoincidentLinePointsHaveNoSide) {
  EXPECT_EQ(PointLine(1, 1, 1, 1, 1, 1, 0.0), 0);
  EXPECT_EQ(PointLine(1.05, 1, 1, 1, 1, 1, 0.1), 0);
  EXPECT_EQ(PointLine(3, 1, 1, 1, 1, 1, 0.1), 2);
  EXPECT_EQ(PointLine(std::nan(""), 0, 0, 0, 1, 0, 0.1), -1);
}

TEST(PointLine, PointsPlacedAtAKnownSignedDistance) {
  // Model: a point built on the left normal of a random line at distance s
  // must come out as the sign of s beyond the tolerance and 0 within it.
  std::mt19937 rng(51);
  std::uniform_real_distribution<double> coord(-1000, 1000), along(-3, 3), offset(-2, 2);
  for (int round = 0; round < 20000; ++round) {
    const double x1 = coord(rng), y1 = coord(rng), x2 = coord(rng), y2 = coord(rng);
    const double length = std::hypot(x2 - x1, y2 - y1);
    if (length < 1e-3)
      continue;
    const double nx = -(y2 - y1) / length, ny = (x2 - x1) / length;
    const double t = along(rng), s = offset(rng), tol = 0.5;
    if (std::fabs(std::fabs(s) - tol) < 1e-6)
      continue;
    const double x = x1 + t * (x2 - x1) + s * nx, y = y1 + t * (y2 - y1) + s * ny;
    const int expected = std::fabs(s) <= tol ? 0 : s > 0 ? 1 : -1;
    ASSERT_EQ(PointLine(x, y, x1, y1, x2, y2, tol), expected) << s;
  }
}

} // namespace
} // namespace zel
