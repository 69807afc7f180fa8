#include "zeltools/numerics/polynomial.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

// Reference value by Horner's scheme in long double.
long double Horner(const std::vector<double>& c, long double x) {
  long double s = 0.0L;
  for (auto it = c.rbegin(); it != c.rend(); ++it)
    s = s * x + *it;
  return s;
}

TEST(PolyValue, AgreesWithHornerAndSnapsTinyResults) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> coef(-4.0, 4.0);
  for (int trial = 0; trial < 300; ++trial) {
    const unsigned int n = trial % 9;
    std::vector<double> c(n + 1);
    for (double& v : c)
      v = coef(rng);
    const double x = coef(rng) * 0.5;
    const long double exact = Horner(c, x);
    long double scale = 0.0L;
    for (unsigned int k = 0; k <= n; ++k)
      scale += std::fabs(c[k]) * std::pow(std::fabs(x), k);
    EXPECT_NEAR(PolyValue(n, c.data(), x, 0), static_cast<double>(exact), 1e-14 * static_cast<double>(scale + 1));
  }
  // Results below 1e-20 in size snap to zero, in value and slope alike.
  const struct { unsigned int n; double c[3], x; int mode; double expected; } tiny[] = {
      {2, {1e-21, 0, 0}, 0.0, 0, 0.0}, {2, {5, 1e-21, 3}, 0.0, 1, 0.0}, {1, {2e-20, 0}, 3.0, 0, 2e-20},
      {0, {-9e-21}, 1.0, 0, 0.0}};
  for (const auto& t : tiny)
    EXPECT_EQ(PolyValue(t.n, t.c, t.x, t.mode), t.expected) << t.c[0];
}

// The k-th derivative is k first derivatives, and evaluating it matches the
// derivative mode of PolyValue bit for bit (same products, same order). Zero
// passes, or as many as the count can hold, copy; more passes than
// coefficients clear.
TEST(PolyDiffer, RepeatedDerivativesComposeAndEdgeCountsCopyOrClear) {
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> coef(-3.0, 3.0);
  for (int trial = 0; trial < 100; ++trial) {
    const unsigned int n = 1 + trial % 8;
    std::vector<double> c(n + 1);
    for (double& v : c)
      v = coef(rng);
    const unsigned int k = 1 + trial % (n + 2);
    std::vector<double> once(c), direct(n + 1);
    for (unsigned int pass = 0; pass < k; ++pass)
      PolyDiffer(1, n, once.data(), nullptr);
    PolyDiffer(k, n, c.data(), direct.data());
    EXPECT_EQ(once, direct) << trial;
    for (unsigned int i = (k <= n ? n - k + 1 : 0); i <= n; ++i)
      EXPECT_EQ(direct[i], 0.0);
    std::vector<double> first(n + 1);
    PolyDiffer(1, n, c.data(), first.data());
    const double x = coef(rng);
    EXPECT_EQ(PolyValue(n, c.data(), x, 1), PolyValue(n, first.data(), x, 0)) << trial;
  }
  const std::vector<double> c = {1.0, 2.0, 3.0};
  for (unsigned int k : {0u, UINT_MAX, UINT_MAX - 1}) {
    std::vector<double> out(3, 9.0);
    PolyDiffer(k, 2, c.data(), out.data());
    EXPECT_EQ(out, k == UINT_MAX - 1 ? std::vector<double>(3, 0.0) : c) << k;
  }
}

// Term k of degree d is x^(d−j)·y^j with k = d(d+1)/2 + j; counts past the
// table clamp to the last term.
TEST(StepPoly, TermsInOrderZerosSignsAndClamp) {
  EXPECT_EQ(StepPoly(UINT_MAX, 1.5, -2.0), StepPoly(44, 1.5, -2.0));
  EXPECT_EQ(StepPoly(0, 0.0, 0.0), 1.0);
  EXPECT_EQ(StepPoly(1, 0.0, 5.0), 0.0);
  EXPECT_EQ(StepPoly(2, 0.0, 5.0), 5.0);
  EXPECT_FALSE(std::signbit(StepPoly(7, -0.0, 4.0))); // x²y at x = −0 is +0
  std::mt19937_64 rng(9);
  std::uniform_real_distribution<double> coord(-3.0, 3.0);
  for (int trial = 0; trial < 500; ++trial) {
    const double x = coord(rng), y = coord(rng);
    unsigned int k = 0;
    for (int d = 0; d <= 8; ++d)
      for (int j = 0; j <= d; ++j, ++k) {
        const double expected = std::pow(x, d - j) * std::pow(y, j);
        EXPECT_NEAR(StepPoly(k, x, y), expected, 1e-14 * std::fabs(expected)) << k;
      }
    EXPECT_EQ(k, StepPolyTerms);
  }
}

// Linear and empty equations, complex roots (both cleared), a double root
// counted twice, a leading coefficient below |b|·1e-150 taken as zero, and a
// discriminant just below zero (within −(|a| + |b| + |c|)·1e-10) taken as zero.
TEST(RootPoly2, KeptCasesAndRandomRootsInOrder) {
  const double cases[][6] = {{0, 2, -4, 1, 2, 0},       {0, 0, 3, 0, 0, 0},    {1, 0, 1, 0, 0, 0},
                             {1, -2, 1, 2, 1, 1},        {1e-160, 2, -4, 1, 2, 0}, {1, 2, 1 + 1e-12, 2, -1, -1},
                             {1, 2, 1 + 1e-9, 0, 0, 0}};
  for (const auto& c : cases) {
    double x1 = 7, x2 = 7;
    EXPECT_EQ(RootPoly2(c[0], c[1], c[2], x1, x2), int(c[3])) << c[0] << " " << c[1] << " " << c[2];
    EXPECT_TRUE(x1 == c[4] && x2 == c[5]) << x1 << " " << x2;
  }
  // Random roots come back in order.
  std::mt19937_64 rng(21);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (int trial = 0; trial < 500; ++trial) {
    const double a = value(rng), r = value(rng), s = value(rng);
    if (std::fabs(a) < 1e-3)
      continue;
    double x1 = 0, x2 = 0;
    ASSERT_EQ(RootPoly2(a, -a * (r + s), a * r * s, x1, x2), 2);
    EXPECT_LE(x1, x2);
    // Close roots are ill-conditioned; the residual is the fair measure.
    for (double x : {x1, x2})
      EXPECT_NEAR(a * (x - r) * (x - s), 0.0, 1e-9 * std::fabs(a) * (1 + r * r + s * s));
    if (std::fabs(r - s) > 1e-2) {
      EXPECT_NEAR(x1, std::min(r, s), 1e-10 * (1 + std::fabs(r) + std::fabs(s)));
      EXPECT_NEAR(x2, std::max(r, s), 1e-10 * (1 + std::fabs(r) + std::fabs(s)));
    }
  }
}

// The stored cube-root exponent (fifteen threes) shows in the last digits of
// x³ = 8; a vanishing leading coefficient hands over to the quadratic; a
// triple root makes the discriminant vanish. Roots not found stay as given.
TEST(RootPoly3, KnownCubics) {
  const double cases[][8] = {{1, 0, 0, -8, 1, 1.9999999999999984, 42, 42},
                             {0, 1, -3, 2, 2, 1, 2, 42},
                             {1, -3, 3, -1, 3, 1, 1, 1}};
  for (const auto& c : cases) {
    double x1 = 42, x2 = 42, x3 = 42;
    EXPECT_EQ(RootPoly3(c[0], c[1], c[2], c[3], x1, x2, x3), int(c[4])) << c[4];
    EXPECT_TRUE(x1 == c[5] && x2 == c[6] && x3 == c[7]) << x1 << " " << x2 << " " << x3;
  }
}

// Three real roots come back ascending (the kept exchange sequence sorts
// every result that Cardano's complex branch produces, whose middle value is
// always the third) and satisfy the equation; one real root leaves x2, x3.
template <class T>
void CheckRandomCubics(unsigned int seed) {
  std::mt19937_64 rng(seed);
  std::uniform_real_distribution<double> value(-5.0, 5.0);
  for (int trial = 0; trial < 1000; ++trial) {
    const T a = value(rng), r = value(rng), s = value(rng), t = value(rng);
    if (std::fabs(a) < 1e-2)
      continue;
    const T scale = 1 + std::fabs(r) + std::fabs(s) + std::fabs(t);
    T x1 = 0, x2 = 0, x3 = 0;
    const int n = RootPoly3(a, -a * (r + s + t), a * (r * s + r * t + s * t), -a * r * s * t, x1, x2, x3);
    ASSERT_EQ(n, 3) << trial;
    EXPECT_LE(x1, x2);
    EXPECT_LE(x2, x3);
    std::array<T, 3> roots{r, s, t};
    std::sort(roots.begin(), roots.end());
    const T gap = std::min(roots[1] - roots[0], roots[2] - roots[1]);
    if (gap > 1e-2) {
      EXPECT_NEAR(static_cast<double>(x1), static_cast<double>(roots[0]), 1e-9 * static_cast<double>(scale));
      EXPECT_NEAR(static_cast<double>(x2), static_cast<double>(roots[1]), 1e-9 * static_cast<double>(scale));
      EXPECT_NEAR(static_cast<double>(x3), static_cast<double>(roots[2]), 1e-9 * static_cast<double>(scale));
    }
    for (T x : {x1, x2, x3}) {
      const T residual = (x - r) * (x - s) * (x - t);
      EXPECT_NEAR(static_cast<double>(residual), 0.0, 1e-8 * static_cast<double>(scale * scale * scale));
    }

    // One real root r and the complex pair p ± q·i, q clearly non-zero.
    const T p = value(rng), q = 0.5 + std::fabs(value(rng));
    const T c2 = -(r + 2 * p), c1 = 2 * p * r + p * p + q * q, c0 = -r * (p * p + q * q);
    x2 = x3 = 42;
    ASSERT_EQ(RootPoly3(a, a * c2, a * c1, a * c0, x1, x2, x3), 1) << trial;
    EXPECT_NEAR(static_cast<double>(x1), static_cast<double>(r), 1e-9 * static_cast<double>(scale + p * p + q * q));
    EXPECT_EQ(x2, 42);
    EXPECT_EQ(x3, 42);
  }
}

TEST(RootPoly3, RandomCubicsInDouble) { CheckRandomCubics<double>(31); }
TEST(RootPoly3, RandomCubicsInLongDouble) { CheckRandomCubics<long double>(37); }

} // namespace
} // namespace zel
