#include "zeltools/numerics/interpolation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/numerics/polynomial.h"

namespace zel {
namespace {

// Kept edge cases: end values outside, the lower end first, the mean of a
// zero-width interval, strides (below one meaning one), empty tables.
TEST(Interpol, KeptEdgeCases) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double x;
    std::vector<double> xs, ys;
    int n, stride;
    double expected;
  } cases[] = {{5.0, {1, 2, 3}, {10, 20, 30}, 3, 1, 30.0},   {0.5, {1, 2, 3}, {10, 20, 30}, 3, 1, 10.0},
               {nan, {1, 2, 3}, {10, 20, 30}, 3, 1, 30.0},   {2.0, {1, 2, 3}, {10, 20, 30}, 0, 1, 0.0},
               {2.0, {1, 2, 3}, {10, 20, 30}, -4, 1, 0.0},   {9.0, {1, 2, 3}, {10, 20, 30}, 1, 1, 10.0},
               {1.0, {1, 1}, {2, 4}, 2, 1, 2.0},             {1.0, {0, 1, 1, 2}, {0, 2, 4, 6}, 4, 1, 2.0},
               {1.0, {0, nan, 1, 1}, {0, 0, 2, 4}, 4, 1, 3.0}, {1.5, {0, 1, 2}, {0, -1, 10, -1, 20, -1}, 3, 2, 15.0},
               {9.0, {0, 1, 2}, {0, -1, 10, -1, 20, -1}, 3, 2, 20.0}, {1.5, {0, 1, 2}, {0, 10, 20}, 3, -3, 15.0}};
  for (const auto& c : cases)
    EXPECT_EQ(Interpol(c.x, c.xs.data(), c.ys.data(), c.n, c.stride), c.expected) << c.x << " n " << c.n;
}

// Random ascending tables against a lerp written the other way round.
template <class T>
void CheckRandomTables(unsigned int seed, double tolerance) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (int trial = 0; trial < 300; ++trial) {
    const int n = 2 + trial % 9;
    const int stride = 1 + trial % 3;
    std::vector<T> xs(n), ys(static_cast<std::size_t>(n) * stride, T(-999));
    for (T& x : xs)
      x = static_cast<T>(value(rng));
    std::sort(xs.begin(), xs.end());
    if (std::adjacent_find(xs.begin(), xs.end()) != xs.end())
      continue;
    for (int i = 0; i < n; ++i)
      ys[static_cast<std::size_t>(i) * stride] = static_cast<T>(value(rng));
    for (int probe = 0; probe < 20; ++probe) {
      const T x = static_cast<T>(value(rng) * 1.2);
      const T got = Interpol(x, xs.data(), ys.data(), n, stride);
      T expected;
      if (x <= xs[0]) {
        expected = ys[0];
      } else if (x > xs[n - 1]) {
        expected = ys[static_cast<std::size_t>(n - 1) * stride];
      } else {
        const auto i = std::lower_bound(xs.begin(), xs.end(), x) - xs.begin();
        const T t = (x - xs[i - 1]) / (xs[i] - xs[i - 1]);
        expected = ys[(i - 1) * stride] * (1 - t) + ys[i * stride] * t;
      }
      EXPECT_NEAR(got, expected, tolerance * (1 + std::fabs(expected))) << trial;
    }
    // At a node the formula of the interval ending there gives its ordinate
    // up to rounding (exactly at the first node).
    EXPECT_EQ(Interpol(xs[0], xs.data(), ys.data(), n, stride), ys[0]);
    for (int i = 1; i < n; ++i)
      EXPECT_NEAR(Interpol(xs[i], xs.data(), ys.data(), n, stride), ys[static_cast<std::size_t>(i) * stride],
                  tolerance * 10);
  }
}

TEST(Interpol, RandomTablesDouble) { CheckRandomTables<double>(41, 1e-12); }
TEST(Interpol, RandomTablesFloat) { CheckRandomTables<float>(43, 2e-4); }

// A bilinear function is reproduced inside the table and, outside it, takes
// the value at the nearest point of the table's rectangle: that covers the
// corner, edge and inside cases at once.
template <class T>
void CheckBilinearModel(unsigned int seed, double tolerance) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> value(-5.0, 5.0);
  for (int trial = 0; trial < 200; ++trial) {
    const int nx = 1 + trial % 5, ny = 1 + (trial / 5) % 5;
    std::vector<T> xs(nx), ys(ny);
    for (T& x : xs)
      x = static_cast<T>(value(rng));
    for (T& y : ys)
      y = static_cast<T>(value(rng));
    std::sort(xs.begin(), xs.end());
    std::sort(ys.begin(), ys.end());
    if (std::adjacent_find(xs.begin(), xs.end()) != xs.end() || std::adjacent_find(ys.begin(), ys.end()) != ys.end())
      continue;
    const double c0 = value(rng), cx = value(rng), cy = value(rng), cxy = value(rng);
    const auto f = [&](double x, double y) { return c0 + cx * x + cy * y + cxy * x * y; };
    std::vector<T> table(static_cast<std::size_t>(nx) * ny);
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i)
        table[static_cast<std::size_t>(j) * nx + i] = static_cast<T>(f(xs[i], ys[j]));
    for (int probe = 0; probe < 30; ++probe) {
      const T x = static_cast<T>(value(rng) * 1.3), y = static_cast<T>(value(rng) * 1.3);
      const double cxp = std::clamp<double>(x, xs.front(), xs.back());
      const double cyp = std::clamp<double>(y, ys.front(), ys.back());
      const double expected = f(cxp, cyp);
      const T got = InterpolTable(x, y, xs.data(), ys.data(), table.data(), nx, ny);
      EXPECT_NEAR(got, expected, tolerance * (50 + std::fabs(expected))) << nx << "x" << ny << " trial " << trial;
    }
    EXPECT_EQ(InterpolTable(xs[0], ys[0], xs.data(), ys.data(), table.data(), 0, ny), T(0)); // empty tables
    EXPECT_EQ(InterpolTable(xs[0], ys[0], xs.data(), ys.data(), table.data(), nx, -1), T(0));
  }
}

TEST(InterpolTable, BilinearFunctionsAreReproducedAndClampedDouble) { CheckBilinearModel<double>(47, 1e-12); }
TEST(InterpolTable, BilinearFunctionsAreReproducedAndClampedFloat) { CheckBilinearModel<float>(53, 1e-5); }

// Values of a polynomial of the fitted degree are reproduced anywhere.
TEST(InterpolPlate, ReproducesPolynomialsOfItsDegreeAndRefusesSingularSystems) {
  std::mt19937_64 rng(59);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (int trial = 0; trial < 60; ++trial) {
    const int degree = trial % 5;
    const unsigned int terms = static_cast<unsigned int>((degree + 1) * (degree + 2) / 2);
    std::vector<double> coef(terms);
    for (double& c : coef)
      c = value(rng);
    const auto poly = [&](double x, double y) { // the terms' order is StepPoly's, tested on its own
      double s = 0.0;
      for (unsigned int k = 0; k < terms; ++k)
        s += coef[k] * StepPoly(k, x, y);
      return s;
    };
    const int m = static_cast<int>(2 * terms + 3);
    std::vector<double> points(2 * static_cast<std::size_t>(m)), values(m);
    for (int i = 0; i < m; ++i) {
      points[2 * i] = value(rng);
      points[2 * i + 1] = value(rng);
      values[i] = poly(points[2 * i], points[2 * i + 1]);
    }
    const double at[] = {value(rng), value(rng)};
    EXPECT_NEAR(InterpolPlate(degree, m, points.data(), values.data(), at), poly(at[0], at[1]), 1e-8)
        << "degree " << degree;
  }
  // Degree 0 is the mean of the values in summation order, a negative degree
  // is 0; systems the points cannot carry are singular.
  const double points[] = {0, 0, 1, 5, -2, 3, 7, 7};
  const double values[] = {0.1, 0.7, 0.3, 1.9};
  const double at[] = {100, -100};
  EXPECT_EQ(InterpolPlate(0, 4, points, values, at), (((0.0 + 0.1) + 0.7) + 0.3 + 1.9) / 4);
  EXPECT_EQ(InterpolPlate(-1, 4, points, values, at), 0.0);
  // No point; one point, whose plane rows cancel exactly; degrees past the
  // basis, which ends at 8.
  for (const auto& [degree, count] : {std::pair{1, 0}, {1, 1}, {9, 2}, {1 << 30, 2}}) {
    const auto plate = [&, d = degree, n = count] { InterpolPlate(d, n, points, values, at); };
    EXPECT_EQ(test::ThrownText(plate), "Null diagonal") << degree;
  }
}

} // namespace
} // namespace zel
