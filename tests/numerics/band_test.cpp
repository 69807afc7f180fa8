#include "zeltools/numerics/band.h"

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "band_rows.h"
#include "support/test_support.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/band_blocked.h"
#include "zeltools/numerics/internal/band_plain.h"
#include "zeltools/numerics/internal/simd_level.h"
#include "zeltools/numerics/renumber.h"

namespace zel {
namespace {

using numerics::SimdLevel;
using test::BandMatrix;
using test::ThrownText;

bool SameBits(const std::vector<double>& x, const std::vector<double>& y) {
  return x.size() == y.size() && (x.empty() || std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0);
}

class ScopedSimdLevel {
public:
  explicit ScopedSimdLevel(SimdLevel level) { numerics::ForceSimdLevel(level); }
  ~ScopedSimdLevel() { numerics::ResetSimdLevel(); }
  ScopedSimdLevel(const ScopedSimdLevel&) = delete;
  ScopedSimdLevel& operator=(const ScopedSimdLevel&) = delete;
};

const SimdLevel AllLevels[] = {SimdLevel::Plain, SimdLevel::Generic, SimdLevel::Avx2, SimdLevel::Avx512};

// The elimination written from its steps: a flag per element of the pivot
// row, set for the non-zero ones, which are divided by the pivot; every
// flagged pair (k, l) updates row i+k. Rows from `stop` on are not
// processed; returns false where the solver throws "Null diagonal".
bool ReferenceFactor(std::vector<GAUSS_TAPE>& rows, std::size_t stop = ~std::size_t{0}) {
  const std::size_t n = rows.size();
  std::vector<unsigned char> flag(n + 1, 0);
  for (std::size_t i = 0; i < n && i < stop; ++i) {
    double* v = rows[i].values;
    const double d = v[0];
    if (d == 0.0)
      return false;
    for (unsigned k = 1; k < rows[i].count; ++k) {
      if (v[k] != 0.0) {
        flag[k] = 1;
        v[k] = v[k] / d;
      } else {
        flag[k] = 0;
      }
    }
    for (unsigned k = 1; k < rows[i].count; ++k) {
      if (!flag[k])
        continue;
      const double f = v[k] * d;
      for (unsigned l = k; l < rows[i].count; ++l)
        if (flag[l])
          rows[i + k].values[l - k] = rows[i + k].values[l - k] - v[l] * f;
    }
  }
  return stop < n || n == 0 || rows[n - 1].values[0] != 0.0;
}

void ReferenceSolve(const std::vector<GAUSS_TAPE>& rows, double* b) {
  const std::size_t n = rows.size();
  for (std::size_t i = 0; i < n; ++i) {
    const double x = b[i];
    if (x == 0.0)
      continue;
    for (unsigned k = 1; k < rows[i].count; ++k)
      b[i + k] = b[i + k] - rows[i].values[k] * x;
    b[i] = x / rows[i].values[0];
  }
  for (std::size_t i = n; i-- > 1;) {
    const std::size_t r = i - 1;
    for (unsigned k = 1; k < rows[r].count; ++k)
      b[r] = b[r] - rows[r].values[k] * b[r + k];
  }
}

// A random band matrix obeying the envelope rule: reaches never decrease,
// zeros inside the rows, and now and then elements that test the flag rule
// (negative zeros, elements whose quotient underflows to zero).
BandMatrix RandomBand(std::mt19937_64& rng, unsigned n, unsigned width, double zeroShare) {
  std::uniform_real_distribution<double> unit(0.0, 1.0), value(-1.0, 1.0);
  std::vector<test::SymmetricEntry> lower;
  std::vector<unsigned> reach(n);
  unsigned farthest = 0;
  for (unsigned i = 0; i < n; ++i) {
    unsigned r = i + static_cast<unsigned>(unit(rng) * (width + 1));
    if (unit(rng) < 0.05)
      r = i; // a row that reaches nothing of its own
    farthest = std::max(farthest, std::min(r, n - 1));
    reach[i] = farthest;
  }
  for (unsigned i = 0; i < n; ++i) {
    lower.push_back({i, i, 4.0 + width * (1.0 + unit(rng))});
    for (unsigned j = i + 1; j <= reach[i]; ++j) {
      const double u = unit(rng);
      if (j < reach[i] && u < zeroShare)
        continue; // stays zero (the last one keeps the reach)
      double x = value(rng);
      if (u > 0.995)
        x = -0.0;
      else if (u > 0.99)
        x = 1e-310 * (x < 0 ? -1 : 1);
      lower.push_back({j, i, x});
    }
  }
  // Some huge pivots make the tiny elements' quotients underflow.
  for (auto& e : lower)
    if (e.row == e.col && unit(rng) < 0.05)
      e.value = 1e20;
  return test::BandFromEntries(n, lower);
}

::testing::AssertionResult SameFactors(const BandMatrix& x, const BandMatrix& y) {
  if (SameBits(x.values, y.values))
    return ::testing::AssertionSuccess();
  for (std::size_t k = 0; k < x.values.size(); ++k)
    if (std::memcmp(&x.values[k], &y.values[k], sizeof(double)) != 0)
      return ::testing::AssertionFailure() << "first difference at stored value " << k << ": " << x.values[k]
                                           << " vs " << y.values[k];
  return ::testing::AssertionFailure() << "sizes differ";
}

TEST(BandFactor, EveryKernelAndPanelHeightMatchesTheSteps) {
  std::mt19937_64 rng(2024);
  for (int trial = 0; trial < 60; ++trial) {
    const unsigned n = 1 + static_cast<unsigned>(rng() % 140);
    const unsigned width = static_cast<unsigned>(rng() % 70);
    const double zeroShare = (trial % 3) * 0.3;
    const BandMatrix original = RandomBand(rng, n, width, zeroShare);
    BandMatrix expected = original;
    ASSERT_TRUE(ReferenceFactor(expected.rows));
    for (SimdLevel level : AllLevels) {
      if (level > numerics::DetectedSimdLevel())
        continue;
      for (std::size_t panel : {1u, 3u, 8u, 13u, 32u}) {
        BandMatrix m = original;
        if (level == SimdLevel::Plain)
          numerics::BandFactorPlain(n, m.rows.data());
        else
          numerics::BandFactorBlocked(n, m.rows.data(), level, panel);
        EXPECT_TRUE(SameFactors(m, expected))
            << "n=" << n << " width=" << width << " level=" << int(level) << " panel=" << panel;
      }
    }
  }
}

// A = Uᵀ·D·U with a unit upper band U of small integers and pivots D that
// are powers of two: every step of the elimination is exact, so the pivot of
// row q comes out exactly as D_q = 0 after updates from many rows above.
BandMatrix ExactBandWithZeroPivot(std::mt19937_64& rng, unsigned n, unsigned width, unsigned q) {
  std::vector<std::vector<double>> u(n, std::vector<double>(n, 0.0));
  const double pivots[] = {1, 2, 4, 0.5, -1, -2};
  std::vector<double> d(n);
  for (unsigned i = 0; i < n; ++i) {
    u[i][i] = 1;
    d[i] = i == q ? 0.0 : pivots[rng() % 6];
    const unsigned reach = std::min(n - 1, i + static_cast<unsigned>(rng() % (width + 1)));
    for (unsigned j = i + 1; j <= reach; ++j)
      u[i][j] = static_cast<double>(static_cast<int>(rng() % 5) - 2);
  }
  std::vector<test::SymmetricEntry> lower;
  for (unsigned i = 0; i < n; ++i)
    for (unsigned j = 0; j <= i; ++j) {
      double s = 0;
      for (unsigned k = 0; k <= j; ++k)
        s += u[k][i] * d[k] * u[k][j];
      if (s != 0.0 || i == j)
        lower.push_back({i, j, s});
    }
  return test::BandFromEntries(n, lower);
}

TEST(BandFactor, ZeroPivotLeavesTheStateOfTheRowByRowElimination) {
  std::mt19937_64 rng(77);
  int planted = 0;
  for (int trial = 0; trial < 40; ++trial) {
    const unsigned n = 20 + static_cast<unsigned>(rng() % 80);
    const unsigned q = 1 + static_cast<unsigned>(rng() % (n - 1));
    const BandMatrix original = ExactBandWithZeroPivot(rng, n, 12 + static_cast<unsigned>(rng() % 30), q);
    BandMatrix probe = original;
    ReferenceFactor(probe.rows, q);
    if (probe.rows[q].values[0] != 0.0)
      continue; // an earlier pivot was zero, or the arithmetic was not exact
    ++planted;
    BandMatrix expected = original;
    ASSERT_FALSE(ReferenceFactor(expected.rows, q + 1));
    for (SimdLevel level : AllLevels) {
      if (level > numerics::DetectedSimdLevel())
        continue;
      ScopedSimdLevel scoped(level);
      BandMatrix m = original;
      std::vector<double> b(n, 1.0);
      EXPECT_EQ(ThrownText([&] { GaussTape(n, m.rows.data(), 1, b.data()); }), "Null diagonal");
      EXPECT_TRUE(SameFactors(m, expected)) << "q=" << q << " level=" << int(level);
      EXPECT_EQ(b, std::vector<double>(n, 1.0)) << "right-hand side touched";
    }
  }
  EXPECT_GE(planted, 30);
}

TEST(BandSolve, SubstitutionAndTheEntryPointsAgree) {
  std::mt19937_64 rng(31);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (int trial = 0; trial < 30; ++trial) {
    const unsigned n = 1 + static_cast<unsigned>(rng() % 90), m = 1 + trial % 3;
    const BandMatrix original = RandomBand(rng, n, static_cast<unsigned>(rng() % 40), 0.3);
    std::vector<double> b(std::size_t(n) * m);
    for (double& x : b)
      x = rng() % 4 == 0 ? 0.0 : value(rng);
    BandMatrix expected = original;
    ReferenceFactor(expected.rows);
    std::vector<double> xb = b;
    for (unsigned r = 0; r < m; ++r)
      ReferenceSolve(expected.rows, xb.data() + std::size_t(r) * n);

    for (SimdLevel level : AllLevels) {
      if (level > numerics::DetectedSimdLevel())
        continue;
      ScopedSimdLevel scoped(level);
      BandMatrix one = original, split = original, later = original;
      std::vector<double> b1 = b, b2 = b, b3 = b;
      GaussTape(n, one.rows.data(), m, b1.data());
      GaussTape1(n, split.rows.data(), m, b2.data());
      GaussTape(n, later.rows.data(), 0, nullptr); // factorises only
      GaussTapeBack(n, later.rows.data(), m, b3.data());
      EXPECT_TRUE(SameFactors(one, expected));
      EXPECT_TRUE(SameFactors(later, expected));
      EXPECT_TRUE(SameBits(b1, xb)) << "n=" << n << " level=" << int(level);
      EXPECT_TRUE(SameBits(b2, xb));
      EXPECT_TRUE(SameBits(b3, xb));
    }
  }
}

TEST(BandSolve, SmallCases) {
  double four = 4, eight = 8;
  GAUSS_TAPE single{1, &four};
  GaussTape(1, &single, 1, &eight);
  EXPECT_EQ(eight, 2.0);

  // A right-hand side of zeros stays exactly as it is, signs of zero too.
  double a[3] = {2, 1, 3};
  GAUSS_TAPE rows[2] = {{2, a}, {1, a + 2}};
  double zeros[2] = {-0.0, 0.0};
  GaussTape(2, rows, 1, zeros);
  EXPECT_TRUE(std::signbit(zeros[0]));
  EXPECT_FALSE(std::signbit(zeros[1]));

  // [[1, 1], [1, 1]] has a zero pivot only after elimination.
  double s[3] = {1, 1, 1}, rhs[2] = {1, 2};
  GAUSS_TAPE sr[2] = {{2, s}, {1, s + 2}};
  EXPECT_EQ(ThrownText([&] { GaussTape(2, sr, 1, rhs); }), "Null diagonal");
  EXPECT_EQ(rhs[0], 1.0);
  double z[1] = {0}, zb[1] = {1};
  GAUSS_TAPE zr{1, z};
  EXPECT_EQ(ThrownText([&] { GaussTapeDirect(1, &zr); }), "Null diagonal");
  GaussTape(0, &zr, 1, zb); // n = 0 does nothing
  EXPECT_EQ(zb[0], 1.0);
}

TEST(BandSolve, RowsBreakingTheEnvelopeAreRefusedUntouched) {
  double v[6] = {4, 1, 1, 4, 4, 4};
  // Row 0 reaches column 2, row 1 stores only its diagonal.
  GAUSS_TAPE rows[3] = {{3, v}, {1, v + 3}, {1, v + 4}};
  double b[3] = {1, 1, 1};
  EXPECT_NE(ThrownText([&] { GaussTape(3, rows, 1, b); }), "");
  EXPECT_EQ(v[1], 1.0);
  EXPECT_EQ(b[0], 1.0);
  GAUSS_TAPE past[2] = {{3, v}, {1, v + 3}}; // reaches past the last column
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(2, past); }), "");
  EXPECT_NE(ThrownText([&] { GaussTapeBack(2, past, 1, b); }), "");
  GAUSS_TAPE empty[2] = {{1, v}, {0, v + 3}};
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(2, empty); }), "");
  GAUSS_TAPE nullValues[1] = {{1, nullptr}};
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(1, nullValues); }), "");
}

TEST(BandPacked, CountsFollowTheRunningUnionOfColumns) {
  // Tridiagonal 3×3 through the packed form: same solution as Gauss.
  double packed[6] = {4, 1, 0, 4, 1, 4};
  double full[9] = {4, 1, 0, 1, 4, 1, 0, 1, 4};
  double b[3] = {1, 2, 3}, c[3] = {1, 2, 3};
  GaussTape(3, packed, 1, b);
  Gauss(3, full, 1, c, 0, 0.0);
  for (int i = 0; i < 3; ++i)
    EXPECT_NEAR(b[i], c[i], 1e-15);
  EXPECT_EQ(packed[2], 0.0); // outside row 0's count, never touched

  // Model: the packed factorisation equals the record solver on rows whose
  // counts the test derives by the union rule, bit for bit.
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (int trial = 0; trial < 40; ++trial) {
    const unsigned n = 1 + static_cast<unsigned>(rng() % 60);
    std::vector<double> a(MatrElemSize(n), 0.0);
    for (unsigned i = 0; i < n; ++i) {
      a[IndexMatrTriang(n, i, i)] = 3.0 + n;
      const unsigned width = static_cast<unsigned>(rng() % 12);
      for (unsigned j = i + 1; j < n && j <= i + width; ++j)
        if (rng() % 3 != 0)
          a[IndexMatrTriang(n, i, j)] = value(rng);
    }
    std::vector<double> bp(n), expectedB;
    for (double& x : bp)
      x = value(rng);
    expectedB = bp;
    std::vector<double> expectedA = a;
    std::vector<GAUSS_TAPE> rows(n);
    std::vector<unsigned char> union_(n + 1, 0);
    for (unsigned i = 0; i < n; ++i) {
      union_[i] = 1;
      for (unsigned j = i; j < n; ++j)
        if (a[IndexMatrTriang(n, i, j)] != 0.0)
          union_[j] = 1;
      unsigned top = n - 1;
      while (!union_[top])
        --top;
      rows[i] = {top - i + 1, expectedA.data() + IndexMatrTriang(n, i, i)};
    }
    ASSERT_TRUE(ReferenceFactor(rows));
    ReferenceSolve(rows, expectedB.data());
    GaussTape(n, a.data(), 1, bp.data());
    EXPECT_TRUE(SameBits(a, expectedA)) << "n=" << n;
    EXPECT_TRUE(SameBits(bp, expectedB)) << "n=" << n;
  }

  // Row 0 reaches column 3, row 1 is zero beyond its diagonal: row 1 still
  // stores up to column 3 and receives the fill-in there.
  double p4[10] = {4, 0, 0, 1, 4, 0, 0, 4, 0, 4};
  double f4[16] = {4, 0, 0, 1, 0, 4, 0, 0, 0, 0, 4, 0, 1, 0, 0, 4};
  double b4[4] = {1, 1, 1, 1}, c4[4] = {1, 1, 1, 1};
  GaussTape(4, p4, 1, b4);
  Gauss(4, f4, 1, c4, 0, 0.0);
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(b4[i], c4[i], 1e-15);
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

// Every matrix of the shared folder, renumbered: the fast factorisation
// equals the plain one bit for bit, and the solution mapped back to the
// original numbering solves the original system.
TEST(BandSolve, StiffnessMatricesRenumbered) {
  int solved = 0;
  for (const std::string& path : test::MatrixFiles()) {
    test::SymmetricMatrix mm;
    ASSERT_TRUE(test::ReadSymmetricMatrix(path, mm)) << path;
    std::vector<unsigned> start(mm.n + 1, 0), adjacent;
    for (const auto& e : mm.lower)
      ++start[e.col + 1];
    for (unsigned i = 0; i < mm.n; ++i)
      start[i + 1] += start[i];
    adjacent.resize(start[mm.n]);
    std::vector<unsigned> fill(start.begin(), start.end() - 1);
    for (const auto& e : mm.lower)
      adjacent[fill[e.col]++] = e.row;
    const SRenumber renumber = RenumberBand(mm.n, start.data(), adjacent.data());
    const std::vector<unsigned> position(renumber.position.begin(), renumber.position.end());
    const BandMatrix band = test::BandFromEntries(mm.n, mm.lower, position);
    ASSERT_EQ(band.values.size(), renumber.profileAfter) << mm.name;

    std::mt19937_64 rng(mm.n);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<double> b(mm.n), pb(mm.n);
    for (unsigned v = 0; v < mm.n; ++v) {
      b[v] = value(rng);
      pb[position[v]] = b[v];
    }
    BandMatrix fast = band;
    std::vector<double> x = pb;
    GaussTape(mm.n, fast.rows.data(), 1, x.data());
    if (mm.n <= 2100) {
      ScopedSimdLevel plain(SimdLevel::Plain);
      BandMatrix slow = band;
      GaussTapeDirect(mm.n, slow.rows.data());
      EXPECT_TRUE(SameFactors(fast, slow)) << mm.name;
    }
    std::vector<double> solution(mm.n);
    for (unsigned v = 0; v < mm.n; ++v)
      solution[v] = x[position[v]];
    const double residual = RelativeResidual(mm, solution, b);
    ++solved;
    std::printf("  GaussTape %-18s n=%6u profile %9llu (given %9llu) relative residual %.1e\n", mm.name.c_str(),
                mm.n, renumber.profileAfter, renumber.profileBefore, residual);
    EXPECT_LT(residual, 1e-14) << mm.name;
    // The same system in the given numbering, where that costs little more:
    // another order of elimination, the same solution up to the matrix's
    // conditioning.
    const double work = double(renumber.profileBefore) * double(renumber.profileBefore) / mm.n;
    if (work > 1e9)
      continue;
    BandMatrix given = test::BandFromEntries(mm.n, mm.lower);
    std::vector<double> y = b;
    GaussTape(mm.n, given.rows.data(), 1, y.data());
    double difference = 0, size = 0;
    for (unsigned v = 0; v < mm.n; ++v) {
      difference = std::max(difference, std::fabs(solution[v] - y[v]));
      size = std::max(size, std::fabs(y[v]));
    }
    EXPECT_LT(RelativeResidual(mm, y, b), 1e-14) << mm.name;
    EXPECT_LT(difference / size, 1e-9) << mm.name;
  }
  EXPECT_EQ(solved, 15);
}

} // namespace
} // namespace zel
