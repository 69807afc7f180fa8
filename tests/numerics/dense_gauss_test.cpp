#include <limits>
#include <numeric>
#include <random>

#include "support/failing_allocations.h"
#include "test_matrices.h"
#include "support/test_support.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/gauss_blocked.h"
#include "zeltools/numerics/internal/simd_level.h"
#include "zeltools/numerics/threads.h"

namespace zel {
namespace {

using numerics::SimdLevel;
using test::BitIdentical;
using test::ThrownText;

// The elimination written from its steps, on a matrix of rows, returning
// 0 or 1 as the solver does (or -1 for the mode that throws).
template <class T>
int ReferenceGauss(unsigned n, std::vector<T>& flat, unsigned m, std::vector<T>& rhs, int mode, double eps) {
  auto A = [&](unsigned i, unsigned j) -> T& { return flat[std::size_t(i) * n + j]; };
  auto B = [&](unsigned r, unsigned i) -> T& { return rhs[std::size_t(r) * n + i]; };
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
    if (std::fabs(A(k, k)) <= eps && (mode == 0 || mode >= 10))
      return mode == 0 ? -1 : 0;
    if (std::fabs(A(k, k)) <= eps)
      d = T(1e40);
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
  for (unsigned c = n; c-- > 1;)
    for (unsigned i = 0; i < c; ++i)
      for (unsigned r = 0; r < m; ++r)
        B(r, i) = B(r, i) - A(i, c) * B(r, c);
  return 1;
}

// A tiny column gives singular pivots whose rows still have to be exchanged.
enum class Flavour { Random, SmallIntegers, ZeroColumn, TinyColumn, DependentRows };

// Solves a random system of the flavour with `solve(a, b)` and expects the
// reference's result or failure and its final state of a and b, bit for bit.
template <class T, class Solve>
void CompareWithReference(unsigned n, unsigned m, Flavour flavour, int mode, std::mt19937_64& rng, Solve solve,
                          const std::string& what) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::uniform_int_distribution<int> small(-3, 3);
  std::vector<T> a(std::size_t(n) * n), b(std::size_t(n) * m);
  // Small integers give many pivots of equal magnitude (ties) and exact zeros.
  for (T& x : a)
    x = flavour == Flavour::SmallIntegers ? T(small(rng)) : T(value(rng));
  for (T& x : b)
    x = T(value(rng));
  const unsigned pick = n > 1 ? static_cast<unsigned>(rng() % n) : 0, next = n > 1 ? (pick + 1) % n : 0;
  for (unsigned j = 0; j < n && n > 1; ++j)
    if (flavour == Flavour::ZeroColumn)
      a[std::size_t(j) * n + pick] = T(0);
    else if (flavour == Flavour::TinyColumn)
      a[std::size_t(j) * n + pick] = T(1e-15 * value(rng));
    else if (flavour == Flavour::DependentRows)
      a[std::size_t(next) * n + j] = T(2) * a[std::size_t(pick) * n + j];
  std::vector<T> ra = a, rb = b;
  const int expected = ReferenceGauss(n, ra, m, rb, mode, 1e-12);
  const std::string where = what + " n=" + std::to_string(n) + " m=" + std::to_string(m) +
                            " flavour=" + std::to_string(int(flavour)) + " mode=" + std::to_string(mode);
  if (expected < 0)
    EXPECT_EQ(ThrownText([&] { solve(a.data(), b.data()); }), "Null diagonal") << where;
  else
    EXPECT_EQ(solve(a.data(), b.data()), expected) << where;
  EXPECT_TRUE(BitIdentical(a, ra)) << "matrix, " << where;
  EXPECT_TRUE(BitIdentical(b, rb)) << "right-hand sides, " << where;
}

// The public entry points (long double on small orders, the blocked path from
// its threshold on) and the blocked elimination at every kernel level with
// many panel widths, on orders that are and are not multiples of the vector
// width; from order 200 on the panels' updates are shared among 1, 2, 3 or 8
// threads, and now and then the panels find no room and the elimination
// runs in place.
TEST(Gauss, MatchesTheStepsBitForBitOnRandomSystems) {
  std::mt19937_64 rng(101);
  std::vector<unsigned> orders(25);
  std::iota(orders.begin(), orders.end(), 0u);
  for (std::size_t n : {std::size_t{31}, std::size_t{33}, std::size_t{64}, std::size_t{65}, numerics::GaussBlockedFrom,
                        numerics::GaussBlockedFrom + 1, std::size_t{133}, std::size_t{200}})
    orders.push_back(static_cast<unsigned>(n));
  const std::size_t panels[] = {1, 3, 8, 13, 64};
  int trial = 0;
  for (unsigned n : orders)
    for (Flavour f : {Flavour::Random, Flavour::SmallIntegers, Flavour::ZeroColumn, Flavour::TinyColumn,
                      Flavour::DependentRows})
      for (int mode : {0, 1, 9, 10, 200}) {
        const unsigned m = trial % 4;
        const std::size_t panel = panels[trial % 5];
        SetNumThreads(std::vector<unsigned>{1, 2, 3, 8}[trial % 4]);
        const std::size_t failFrom = trial++ % 7 == 0 ? 4096 : ~std::size_t{0};
        auto solve = [&](auto* a, auto* b) {
          const test::FailingAllocations failing(failFrom);
          return Gauss(n, a, m, b, static_cast<unsigned char>(mode), 1e-12);
        };
        CompareWithReference<double>(n, m, f, mode, rng, solve, "Gauss");
        if (n <= 12)
          CompareWithReference<long double>(n, m, f, mode, rng, solve, "long double");
        for (SimdLevel level : {SimdLevel::Generic, SimdLevel::Avx2, SimdLevel::Avx512})
          if (n > 0 && level <= numerics::DetectedSimdLevel())
            CompareWithReference<double>(
                n, m, f, mode, rng,
                [&](double* a, double* b) {
                  return numerics::GaussBlocked(n, a, m, b, static_cast<unsigned char>(mode), 1e-12, level, panel);
                },
                "level=" + std::to_string(int(level)) + " panel=" + std::to_string(panel));
      }
  // Wide enough that a panel of 64 eliminates the next one while the columns
  // beyond it are updated, with singular pivots anywhere.
  for (unsigned threads : {2u, 3u})
    for (Flavour f : {Flavour::Random, Flavour::ZeroColumn, Flavour::TinyColumn, Flavour::DependentRows})
      for (int mode : {0, 1, 10}) {
        SetNumThreads(threads);
        CompareWithReference<double>(300, threads - 1, f, mode, rng, [&](double* a, double* b) {
          return Gauss(300, a, threads - 1, b, static_cast<unsigned char>(mode), 1e-12);
        }, "look-ahead");
      }
  SetNumThreads(0);
}

// The vector pivot searches against the scalar one: ties keep the first,
// NaNs are passed over, and a NaN in front stays.
TEST(Gauss, PivotSearchesAgreeOnTiesAndNaNs) {
  std::mt19937_64 rng(7);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::pair<SimdLevel, numerics::GaussPivotFn> searches[] = {{SimdLevel::Avx2, numerics::GaussPivotAvx2},
                                                                   {SimdLevel::Avx512, numerics::GaussPivotAvx512}};
  for (const auto& [level, search] : searches) {
    if (level > numerics::DetectedSimdLevel())
      continue;
    for (std::size_t count = 1; count < 60; ++count)
      for (int trial = 0; trial < 20; ++trial) {
        std::vector<double> x(count);
        for (double& v : x)
          v = rng() % 5 == 0 ? nan : double(int(rng() % 7) - 3);
        EXPECT_EQ(search(x.data(), count), numerics::GaussPivotGeneric(x.data(), count))
            << "level=" << int(level) << " count=" << count << " trial=" << trial;
      }
  }
}

TEST(Gauss, APivotEqualToTheToleranceIsSingular) {
  double e[1] = {0.5}, f[1] = {1};
  EXPECT_EQ(Gauss(1, e, 1, f, 10, 0.5), 0);
  EXPECT_EQ(Gauss(1, e, 1, f, 10, 0.4999), 1);
  EXPECT_EQ(f[0], 2.0);
}

} // namespace
} // namespace zel
