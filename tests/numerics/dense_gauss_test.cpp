#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "matrix_market.h"
#include "support/test_support.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/gauss_blocked.h"
#include "zeltools/numerics/internal/simd_level.h"

namespace zel {
namespace {

using test::ThrownText;

template <class T>
bool SameBits(const std::vector<T>& x, const std::vector<T>& y) {
  // long double carries padding bytes: compare the values' 10 significant
  // bytes only when T is the x87 format.
  const std::size_t bytes = sizeof(T) == 16 ? 10 : sizeof(T);
  if (x.size() != y.size())
    return false;
  for (std::size_t i = 0; i < x.size(); ++i)
    if (std::memcmp(&x[i], &y[i], bytes) != 0)
      return false;
  return true;
}

// The elimination written from its steps, on a matrix of rows, returning
// 0 or 1 as the solver does (or -1 for the mode that throws).
template <class T>
int ReferenceGauss(unsigned n, std::vector<T>& flat, unsigned m, std::vector<T>& rhs, int mode, double eps) {
  auto A = [&](unsigned i, unsigned j) -> T& { return flat[std::size_t(i) * n + j]; };
  auto B = [&](unsigned r, unsigned i) -> T& { return rhs[std::size_t(r) * n + i]; };
  if (n == 0)
    return 1;
  for (unsigned k = 0; k < n; ++k) {
    unsigned p = k;
    for (unsigned i = k + 1; i < n; ++i)
      if (std::fabs(A(i, k)) > std::fabs(A(p, k)))
        p = i;
    if (p != k) {
      for (unsigned j = k; j < n; ++j)
        std::swap(A(k, j), A(p, j));
      for (unsigned r = 0; r < m; ++r)
        std::swap(B(r, k), B(r, p));
    }
    T d = A(k, k);
    if (std::fabs(A(k, k)) <= eps) {
      if (mode >= 10)
        return 0;
      if (mode == 0)
        return -1;
      d = T(1e40);
    }
    for (unsigned j = k; j < n; ++j)
      A(k, j) = A(k, j) / d;
    for (unsigned r = 0; r < m; ++r)
      B(r, k) = B(r, k) / d;
    for (unsigned i = k + 1; i < n; ++i) {
      const T f = A(i, k);
      for (unsigned j = k + 1; j < n; ++j)
        A(i, j) = A(i, j) - f * A(k, j);
      for (unsigned r = 0; r < m; ++r)
        B(r, i) = B(r, i) - f * B(r, k);
    }
  }
  if (n == 1)
    return 1;
  for (unsigned c = n - 1; c >= 1; --c)
    for (unsigned i = 0; i < c; ++i)
      for (unsigned r = 0; r < m; ++r)
        B(r, i) = B(r, i) - A(i, c) * B(r, c);
  return 1;
}

enum class Flavour { Random, SmallIntegers, ZeroColumn, DependentRows };

template <class T>
void FillSystem(std::mt19937_64& rng, unsigned n, unsigned m, Flavour flavour, std::vector<T>& a, std::vector<T>& b) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::uniform_int_distribution<int> small(-3, 3);
  a.assign(std::size_t(n) * n, T(0));
  b.assign(std::size_t(n) * m, T(0));
  // Small integers give many pivots of equal magnitude (ties) and exact zeros.
  for (T& x : a)
    x = flavour == Flavour::SmallIntegers ? T(small(rng)) : T(value(rng));
  for (T& x : b)
    x = T(value(rng));
  if (n < 2)
    return;
  std::uniform_int_distribution<unsigned> pick(0, n - 1);
  if (flavour == Flavour::ZeroColumn) {
    const unsigned c = pick(rng);
    for (unsigned i = 0; i < n; ++i)
      a[std::size_t(i) * n + c] = T(0);
  } else if (flavour == Flavour::DependentRows) {
    const unsigned r = pick(rng), s = (r + 1) % n;
    for (unsigned j = 0; j < n; ++j)
      a[std::size_t(s) * n + j] = T(2) * a[std::size_t(r) * n + j];
  }
}

template <class T>
void CompareWithReference(unsigned n, unsigned m, Flavour flavour, int mode, double eps, std::mt19937_64& rng) {
  std::vector<T> a, b;
  FillSystem(rng, n, m, flavour, a, b);
  std::vector<T> ra = a, rb = b;
  const int expected = ReferenceGauss(n, ra, m, rb, mode, eps);
  const std::string where = "n=" + std::to_string(n) + " m=" + std::to_string(m) + " flavour=" +
                            std::to_string(int(flavour)) + " mode=" + std::to_string(mode);
  if (expected < 0) {
    EXPECT_EQ(ThrownText([&] { Gauss(n, a.data(), m, b.data(), static_cast<unsigned char>(mode), eps); }),
              "Null diagonal")
        << where;
  } else {
    EXPECT_EQ(Gauss(n, a.data(), m, b.data(), static_cast<unsigned char>(mode), eps), expected) << where;
  }
  EXPECT_TRUE(SameBits(a, ra)) << "matrix differs, " << where;
  EXPECT_TRUE(SameBits(b, rb)) << "right-hand sides differ, " << where;
}

TEST(Gauss, MatchesTheStepsBitForBitOnRandomSystems) {
  std::mt19937_64 rng(101);
  for (unsigned n = 0; n <= 24; ++n)
    for (Flavour f : {Flavour::Random, Flavour::SmallIntegers, Flavour::ZeroColumn, Flavour::DependentRows})
      for (int mode : {0, 1, 9, 10, 200})
        CompareWithReference<double>(n, 1 + n % 3, f, mode, 1e-12, rng);
}

// Every kernel level and many panel widths, on orders that are and are not
// multiples of the vector width, against the steps; the state left behind by
// a singular pivot included.
TEST(Gauss, BlockedEliminationMatchesTheStepsBitForBit) {
  using numerics::SimdLevel;
  std::mt19937_64 rng(211);
  const unsigned orders[] = {1, 2, 3, 5, 8, 9, 16, 17, 31, 33, 40, 63, 64, 65, 97, 130};
  int trial = 0;
  for (SimdLevel level : {SimdLevel::Generic, SimdLevel::Avx2, SimdLevel::Avx512}) {
    if (level > numerics::DetectedSimdLevel())
      continue;
    for (unsigned n : orders)
      for (std::size_t panel : {1u, 3u, 8u, 13u, 64u})
        for (Flavour f : {Flavour::Random, Flavour::SmallIntegers, Flavour::ZeroColumn, Flavour::DependentRows}) {
          const int mode = (trial++ % 3 == 0) ? 0 : (trial % 3 == 1 ? 1 : 10);
          const unsigned m = trial % 4;
          std::vector<double> a, b;
          FillSystem(rng, n, m, f, a, b);
          std::vector<double> ra = a, rb = b;
          const int expected = ReferenceGauss(n, ra, m, rb, mode, 1e-12);
          const std::string where = "n=" + std::to_string(n) + " panel=" + std::to_string(panel) + " level=" +
                                    std::to_string(int(level)) + " flavour=" + std::to_string(int(f)) +
                                    " mode=" + std::to_string(mode);
          auto run = [&] {
            return numerics::GaussBlocked(n, a.data(), m, b.data(), static_cast<unsigned char>(mode), 1e-12, level,
                                          panel);
          };
          if (expected < 0)
            EXPECT_EQ(ThrownText([&] { run(); }), "Null diagonal") << where;
          else
            EXPECT_EQ(run(), expected) << where;
          ASSERT_TRUE(SameBits(a, ra)) << "matrix differs, " << where;
          ASSERT_TRUE(SameBits(b, rb)) << "right-hand sides differ, " << where;
        }
  }
  // The public entry point takes the blocked path from its threshold on.
  for (unsigned n : {numerics::GaussBlockedFrom, numerics::GaussBlockedFrom + 37}) {
    CompareWithReference<double>(static_cast<unsigned>(n), 2, Flavour::SmallIntegers, 0, 1e-12, rng);
    CompareWithReference<double>(static_cast<unsigned>(n), 1, Flavour::ZeroColumn, 10, 1e-12, rng);
    CompareWithReference<double>(static_cast<unsigned>(n), 1, Flavour::Random, 1, 1e-12, rng);
  }
}

TEST(Gauss, LongDoubleFollowsTheSameSteps) {
  std::mt19937_64 rng(103);
  for (unsigned n = 0; n <= 12; ++n)
    for (Flavour f : {Flavour::Random, Flavour::SmallIntegers, Flavour::ZeroColumn})
      for (int mode : {0, 1, 10})
        CompareWithReference<long double>(n, 2, f, mode, 1e-12, rng);
}

TEST(Gauss, SmallCasesAndTheThreeSingularityPolicies) {
  double none = 5.0;
  EXPECT_EQ(Gauss(0, &none, 1, &none, 0, 0.0), 1);
  EXPECT_EQ(none, 5.0);
  double a1[1] = {2}, b1[1] = {4};
  EXPECT_EQ(Gauss(1, a1, 1, b1, 0, 1e-12), 1);
  EXPECT_EQ(b1[0], 2.0);

  // Row 1 is zero: mode 0 throws, mode 10 returns 0, mode 1 suppresses the
  // unknown and solves the rest.
  const double singular[9] = {4, 0, 0, 0, 0, 0, 0, 0, 2};
  double a[9], b[3];
  auto reset = [&] {
    std::memcpy(a, singular, sizeof a);
    b[0] = 8;
    b[1] = 5;
    b[2] = 6;
  };
  reset();
  EXPECT_EQ(ThrownText([&] { Gauss(3, a, 1, b, 0, 1e-12); }), "Null diagonal");
  reset();
  EXPECT_EQ(Gauss(3, a, 1, b, 10, 1e-12), 0);
  reset();
  EXPECT_EQ(Gauss(3, a, 1, b, 1, 1e-12), 1);
  EXPECT_EQ(b[0], 2.0);
  EXPECT_LT(std::fabs(b[1]), 1e-30);
  EXPECT_EQ(b[2], 3.0);

  // A pivot equal to eps is singular; just above it is not.
  double e[1] = {0.5}, f[1] = {1};
  EXPECT_EQ(Gauss(1, e, 1, f, 10, 0.5), 0);
  EXPECT_EQ(Gauss(1, e, 1, f, 10, 0.4999), 1);
  EXPECT_EQ(f[0], 2.0);

  // Equal magnitudes: the upper row stays the pivot row (no exchange), so
  // the lower row's entry left of the diagonal keeps its place.
  double t[4] = {-2, 1, 2, 3}, u[2] = {1, 1};
  EXPECT_EQ(Gauss(2, t, 1, u, 0, 0.0), 1);
  EXPECT_EQ(t[0], 1.0);
  EXPECT_EQ(t[1], -0.5);
  EXPECT_EQ(t[2], 2.0);
}

// Relative residual |A·x − b|∞ / (|A|∞·|x|∞ + |b|∞) of a symmetric system.
double RelativeResidual(const test::SymmetricMatrix& m, const std::vector<double>& x, const std::vector<double>& b) {
  std::vector<double> r(m.n, 0.0), rowSum(m.n, 0.0);
  for (const auto& e : m.lower) {
    r[e.row] += e.value * x[e.col];
    rowSum[e.row] += std::fabs(e.value);
    if (e.row != e.col) {
      r[e.col] += e.value * x[e.row];
      rowSum[e.col] += std::fabs(e.value);
    }
  }
  double res = 0, norm = 0, xn = 0, bn = 0;
  for (unsigned i = 0; i < m.n; ++i) {
    res = std::max(res, std::fabs(r[i] - b[i]));
    norm = std::max(norm, rowSum[i]);
    xn = std::max(xn, std::fabs(x[i]));
    bn = std::max(bn, std::fabs(b[i]));
  }
  return res / (norm * xn + bn);
}

TEST(Gauss, SolvesTheStiffnessMatrices) {
  int solved = 0;
  for (const std::string& path : test::MatrixFiles()) {
    test::SymmetricMatrix m;
    ASSERT_TRUE(test::ReadSymmetricMatrix(path, m)) << path;
    if (m.n > 1100) // the dense form of the larger files is the band solver's job
      continue;
    std::vector<double> a(std::size_t(m.n) * m.n, 0.0), b(m.n);
    for (const auto& e : m.lower)
      a[std::size_t(e.row) * m.n + e.col] = a[std::size_t(e.col) * m.n + e.row] = e.value;
    std::mt19937_64 rng(m.n);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (double& x : b)
      x = value(rng);
    std::vector<double> x = b;
    ASSERT_EQ(Gauss(m.n, a.data(), 1, x.data(), 0, 0.0), 1) << m.name;
    const double residual = RelativeResidual(m, x, b);
    std::printf("  Gauss %-18s n=%5u relative residual %.2e\n", m.name.c_str(), m.n, residual);
    EXPECT_LT(residual, 1e-14) << m.name;
    ++solved;
  }
  EXPECT_GE(solved, 10);
}

} // namespace
} // namespace zel
