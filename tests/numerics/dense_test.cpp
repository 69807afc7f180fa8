#include "zeltools/numerics/dense.h"

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "zeltools/text/number_text.h"

namespace zel {
namespace {

bool SameBits(double x, double y) { return std::memcmp(&x, &y, sizeof x) == 0; }

::testing::AssertionResult BitIdentical(const std::vector<double>& x, const std::vector<double>& y) {
  if (x.size() != y.size())
    return ::testing::AssertionFailure() << "sizes " << x.size() << " and " << y.size();
  for (std::size_t i = 0; i < x.size(); ++i)
    if (!SameBits(x[i], y[i]))
      return ::testing::AssertionFailure() << "element " << i << ": " << x[i] << " vs " << y[i];
  return ::testing::AssertionSuccess();
}

std::vector<double> RandomValues(std::mt19937_64& rng, std::size_t count, double zeroShare = 0.0) {
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<double> v(count);
  for (double& x : v)
    x = unit(rng) < zeroShare ? 0.0 : value(rng);
  return v;
}

TEST(Determinants, SarrusAndExpansionAgreeWithKnownValues) {
  double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_EQ(Det3x3(identity), 1.0);
  double swapped[9] = {0, 1, 0, 1, 0, 0, 0, 0, 1};
  EXPECT_EQ(Det3x3(swapped), -1.0);
  double upper[9] = {2, 7, -3, 0, 3, 5, 0, 0, 4};
  EXPECT_EQ(Det3x3(upper), 24.0);
  double a4[16] = {2, 0, 0, 0, 1, 3, 0, 0, 5, -1, 4, 0, 7, 2, 9, -1};
  EXPECT_EQ(Det4x4(a4), -24.0);
  double singular4[16] = {1, 2, 3, 4, 2, 4, 6, 8, 0, 1, 0, 1, 5, 6, 7, 8};
  EXPECT_EQ(Det4x4(singular4), 0.0);
  // Exchanging two rows of the 4×4 changes only the sign of the expansion.
  std::mt19937_64 rng(7);
  for (int trial = 0; trial < 50; ++trial) {
    std::vector<double> m = RandomValues(rng, 16);
    for (double& x : m)
      x = std::round(x);
    std::vector<double> t = m;
    for (int j = 0; j < 4; ++j)
      std::swap(t[4 + j], t[8 + j]);
    EXPECT_EQ(Det4x4(m.data()), -Det4x4(t.data()));
  }
}

TEST(Inversions, RegularMatricesGiveTheInverse) {
  std::mt19937_64 rng(11);
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<double> a2 = RandomValues(rng, 4), b2(4, 0.0);
    const double det2 = MatrixInversion2x2(a2.data(), b2.data());
    EXPECT_EQ(det2, a2[0] * a2[3] - a2[1] * a2[2]);
    EXPECT_EQ(b2[1], -a2[1] / det2);
    std::vector<double> a3 = RandomValues(rng, 9), b3(9, 0.0);
    const double det3 = MatrixInversion3x3(a3.data(), b3.data());
    ASSERT_NE(det3, 0.0);
    EXPECT_NEAR(det3, Det3x3(a3.data()), 1e-9 * (1 + std::fabs(det3)));
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        double s = 0;
        for (int l = 0; l < 3; ++l)
          s += a3[i * 3 + l] * b3[l * 3 + j];
        EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-8) << trial;
      }
  }
}

TEST(Inversions, SingularMatrices) {
  const double a2[4] = {1, 2, 2, 4};
  double b2[4] = {9, 9, 9, 9};
  EXPECT_EQ(MatrixInversion2x2(a2, b2), 0.0);
  for (double x : b2)
    EXPECT_EQ(x, 9.0);
  // The 3×3 form leaves the unsigned minors behind.
  const double a3[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  double b3[9] = {};
  EXPECT_EQ(MatrixInversion3x3(a3, b3), 0.0);
  const double minors[9] = {5 * 9 - 8 * 6, 9 * 2 - 8 * 3, 6 * 2 - 5 * 3, 9 * 4 - 7 * 6, 1 * 9 - 7 * 3,
                            1 * 6 - 4 * 3, 8 * 4 - 5 * 7, 8 * 1 - 7 * 2, 5 * 1 - 4 * 2};
  for (int k = 0; k < 9; ++k)
    EXPECT_EQ(b3[k], minors[k]) << k;
}

// Products written straight from the definition: op(a) and op(b) read by
// index, 0.0 plus the products in increasing l, c filled by rows.
std::vector<double> ReferenceProduct(const std::vector<double>& a, const std::vector<double>& b, int p, int q, int r,
                                     bool upper) {
  const int P = std::abs(p), Q = std::abs(q), R = std::abs(r);
  auto A = [&](int i, int l) { return p > 0 ? a[i * Q + l] : a[l * P + i]; };
  auto B = [&](int l, int j) { return r > 0 ? b[l * R + j] : b[j * Q + l]; };
  std::vector<double> c;
  for (int i = 0; i < P; ++i)
    for (int j = upper ? i : 0; j < R; ++j) {
      double s = 0.0;
      for (int l = 0; l < Q; ++l)
        s += A(i, l) * B(l, j);
      c.push_back(s);
    }
  return c;
}

TEST(MultMatr, MatchesTheDefinitionBitForBit) {
  std::mt19937_64 rng(3);
  std::uniform_int_distribution<int> size(1, 23);
  for (int trial = 0; trial < 400; ++trial) {
    const int P = size(rng), Q = size(rng), R = size(rng);
    if (P == 3 && Q == 3 && R == 3)
      continue;
    const int p = trial & 1 ? -P : P, q = trial & 2 ? -Q : Q, r = trial & 4 ? -R : R;
    const bool upper = trial & 8;
    std::vector<double> a = RandomValues(rng, P * Q, 0.2), b = RandomValues(rng, Q * R, 0.2);
    const std::vector<double> expected = ReferenceProduct(a, b, p, q, r, upper);
    std::vector<double> c(expected.size() + 1, -7.0);
    MultMatr(a.data(), b.data(), p, q, r, c.data(), upper);
    EXPECT_EQ(c.back(), -7.0) << "wrote past the result";
    c.pop_back();
    EXPECT_TRUE(BitIdentical(c, expected)) << P << "x" << Q << "x" << R << " signs " << p << q << r;
  }
}

TEST(MultMatr, ThreeByThreeWritesNineValuesAndKeepsItsSignRule) {
  std::mt19937_64 rng(5);
  std::vector<double> a = RandomValues(rng, 9), b = RandomValues(rng, 9);
  std::vector<double> c(10, -7.0);
  MultMatr(a.data(), b.data(), 3, 3, 3, c.data(), 1);
  EXPECT_NE(c[8], -7.0);
  EXPECT_EQ(c[9], -7.0);
  auto product = [&](bool aT, bool bT) {
    std::vector<double> m(9);
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) {
        double s[3];
        for (int l = 0; l < 3; ++l)
          s[l] = (aT ? a[l * 3 + i] : a[i * 3 + l]) * (bT ? b[j * 3 + l] : b[l * 3 + j]);
        m[i * 3 + j] = s[0] + s[1] + s[2];
      }
    return m;
  };
  struct Case {
    int sa, sb;
    bool aT, bT;
  };
  const Case cases[] = {{1, 1, false, false},  {-1, 1, true, false}, {1, -1, false, true}, {-1, -1, true, true},
                        {1, 0, true, true},    {0, 1, true, true},   {0, 0, true, true},   {0, -1, true, true},
                        {-1, 0, true, true},   {5, -2, false, true}, {2, 9, false, false}};
  for (const Case& k : cases) {
    std::vector<double> m(9);
    MultMatr3x3(a.data(), b.data(), m.data(), k.sa, k.sb);
    EXPECT_TRUE(BitIdentical(m, product(k.aT, k.bT))) << k.sa << "," << k.sb;
  }
  c.resize(9);
  EXPECT_TRUE(BitIdentical(c, product(false, false)));
}

TEST(MatrTranspose, RectangularAndSquareRoundTrip) {
  std::mt19937_64 rng(9);
  for (unsigned rows : {1u, 3u, 31u, 33u, 70u})
    for (unsigned cols : {1u, 2u, 32u, 65u}) {
      std::vector<double> a = RandomValues(rng, rows * cols), t(rows * cols), back(rows * cols);
      MatrTranspose(rows, cols, a.data(), t.data());
      for (unsigned i = 0; i < rows; ++i)
        for (unsigned j = 0; j < cols; ++j)
          ASSERT_EQ(t[j * rows + i], a[i * cols + j]);
      MatrTranspose(cols, rows, t.data(), back.data());
      EXPECT_TRUE(BitIdentical(back, a));
      if (rows == cols) {
        std::vector<double> s(rows * rows);
        MatrTranspose(rows, a.data(), s.data());
        EXPECT_TRUE(BitIdentical(s, t));
      }
    }
}

TEST(PackedTriangle, IndexRunsThroughTheRowsInOrder) {
  EXPECT_EQ(IndexMatrTriang(4, 2, 1), 5u);
  EXPECT_EQ(IndexMatrTriang(4, 1, 2), 5u);
  EXPECT_EQ(IndexMatrTriang(4, 3, 3), 9u);
  EXPECT_EQ(MatrElemSize(4), 10u);
  EXPECT_EQ(MatrElemSize(0), 0u);
  for (unsigned n : {1u, 2u, 7u, 40u}) {
    unsigned next = 0;
    for (unsigned i = 0; i < n; ++i)
      for (unsigned j = i; j < n; ++j) {
        EXPECT_EQ(IndexMatrTriang(n, i, j), next);
        EXPECT_EQ(IndexMatrTriang(n, j, i), next);
        ++next;
      }
    EXPECT_EQ(MatrElemSize(n), next);
  }
  // The 32-bit arithmetic wraps as it always did.
  EXPECT_EQ(MatrElemSize(65536u), static_cast<unsigned>((65537ull * 65536ull) & 0xFFFFFFFFull) >> 1);
}

TEST(PackedTriangle, ClearAndCopyTouchExactlyTheTriangle) {
  const unsigned n = 6, size = MatrElemSize(n);
  std::vector<double> a(size + 1, 3.0), b(size + 1, 5.0);
  a[2] = 8.0;
  CopyMatrTriang(n, a.data(), b.data());
  EXPECT_EQ(b[2], 8.0);
  EXPECT_EQ(b[size - 1], 3.0);
  EXPECT_EQ(b[size], 5.0);
  MatrElemClear(n, a.data());
  ClearMatrTriang(n, b.data());
  for (unsigned k = 0; k < size; ++k) {
    EXPECT_EQ(a[k], 0.0);
    EXPECT_EQ(b[k], 0.0);
  }
  EXPECT_EQ(a[size], 3.0);
  EXPECT_EQ(b[size], 5.0);
}

// The rank elimination written from its steps, on a copy (transposed when
// there are fewer rows than columns), with the order vector 0 … R−1.
unsigned ReferenceRank(unsigned rows, unsigned cols, const std::vector<double>& a, std::vector<unsigned>& index,
                       double eps) {
  const bool t = rows < cols;
  const unsigned R = t ? cols : rows, C = t ? rows : cols;
  std::vector<std::vector<double>> w(R, std::vector<double>(C));
  for (unsigned i = 0; i < R; ++i)
    for (unsigned j = 0; j < C; ++j)
      w[i][j] = t ? a[j * cols + i] : a[i * cols + j];
  std::vector<unsigned> order(R);
  for (unsigned i = 0; i < R; ++i)
    order[i] = i;
  unsigned r = 0;
  for (unsigned c = 0; c < C; ++c) {
    double best = 0.0;
    unsigned p = c;
    for (unsigned i = r; i < R; ++i)
      if (std::fabs(w[i][c]) > std::fabs(best)) {
        best = w[i][c];
        p = i;
      }
    if (std::fabs(best) < eps)
      continue;
    if (p > r) {
      for (unsigned j = c; j < C; ++j) {
        const double old = w[r][j];
        w[r][j] = w[p][j] / best;
        w[p][j] = old;
      }
      std::swap(order[p], order[c]);
    } else {
      for (unsigned j = c; j < C; ++j)
        w[r][j] /= best;
    }
    for (unsigned i = r + 1; i < R; ++i) {
      const double f = w[i][c];
      if (f != 0.0)
        for (unsigned j = c + 1; j < C; ++j)
          w[i][j] -= f * w[r][j];
    }
    index[r] = order[c];
    ++r;
  }
  return r;
}

TEST(RangMatr, LowRankProductsAndTheReferenceSteps) {
  std::mt19937_64 rng(13);
  std::uniform_int_distribution<unsigned> size(1, 12);
  for (int trial = 0; trial < 300; ++trial) {
    const unsigned rows = size(rng), cols = size(rng);
    const unsigned inner = std::uniform_int_distribution<unsigned>(1, std::min(rows, cols))(rng);
    // A product of integer factors has exactly rank ≤ inner; integer entries
    // also produce ties and exact zeros for the pivot rules.
    std::vector<double> f = RandomValues(rng, rows * inner, 0.3), g = RandomValues(rng, inner * cols, 0.3);
    for (double& x : f)
      x = std::round(x / 3);
    for (double& x : g)
      x = std::round(x / 3);
    std::vector<double> a(rows * cols, 0.0);
    for (unsigned i = 0; i < rows; ++i)
      for (unsigned j = 0; j < cols; ++j)
        for (unsigned l = 0; l < inner; ++l)
          a[i * cols + j] += f[i * inner + l] * g[l * cols + j];
    const std::vector<double> original = a;
    const double eps = 1e-9;
    std::vector<unsigned> index(std::min(rows, cols) + 1, 777u), expected(index);
    const unsigned rank = RangMatr(rows, cols, a.data(), index.data(), eps);
    const unsigned expectedRank = ReferenceRank(rows, cols, original, expected, eps);
    EXPECT_EQ(rank, expectedRank);
    EXPECT_LE(rank, inner);
    EXPECT_EQ(index, expected);
    EXPECT_TRUE(BitIdentical(a, original)) << "the input was modified";
  }
}

TEST(RangMatr, EpsilonBoundaryAndTheOrderExchangeRule) {
  // A column maximum equal to eps is independent.
  double one[2] = {0.5, 0.25};
  unsigned index[2] = {};
  EXPECT_EQ(RangMatr(2, 1, one, index, 0.5), 1u);
  EXPECT_EQ(RangMatr(2, 1, one, index, 0.5000001), 0u);
  // 2×3 works on the 3×2 transpose.
  double wide[6] = {1, 2, 3, 2, 4, 7};
  unsigned idx[2] = {9, 9};
  EXPECT_EQ(RangMatr(2, 3, wide, idx, 1e-12), 2u);
  EXPECT_EQ(wide[5], 7.0);
  // After a dependent first column the order exchange uses the column
  // number: column 1 pivots on row 2 (order entries 2 and 1 swapped, giving
  // 0 2 1), column 2 pivots on row 2 again and swaps order entry 2 with
  // itself, so the second index is 1 although original row 0 supplied it.
  double m[9] = {0, 1, 5, 0, 0, 1, 0, 3, 3};
  unsigned out[3] = {9, 9, 9};
  EXPECT_EQ(RangMatr(3, 3, m, out, 1e-12), 2u);
  EXPECT_EQ(out[0], 2u);
  EXPECT_EQ(out[1], 1u);
  EXPECT_EQ(out[2], 9u);
}

// The debugging file of this test, removed afterwards.
class DebugFile {
public:
  DebugFile() : path_("/tmp/zel_printmatr_" + std::to_string(::getpid()) + ".tmp") {
    std::remove(path_.c_str());
    ::setenv("ZEL_DEBUG_FILE", path_.c_str(), 1);
  }
  ~DebugFile() {
    ::unsetenv("ZEL_DEBUG_FILE");
    std::remove(path_.c_str());
  }
  DebugFile(const DebugFile&) = delete;
  DebugFile& operator=(const DebugFile&) = delete;
  std::string Text() const {
    std::ifstream in(path_, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }

private:
  std::string path_;
};

TEST(PrintMatr, WritesTheTriangleRowByRow) {
  DebugFile file;
  const double a[6] = {1.5, -2, 0, 4, 1e-300, 0.1};
  PrintMatr(7, 3, a, "K");
  PrintMatr(8, 0, a, nullptr);
  auto text = [](double v) {
    char t[32];
    EXPECT_EQ(DoubleChar(v, t, 16), 1);
    return std::string(t);
  };
  const std::string expected = "\n\n7   K\n0  " + text(1.5) + " " + text(-2) + " " + text(0) + "\n1  " + text(4) + " " +
                               text(1e-300) + "\n2  " + text(0.1) + "\n\n8";
  EXPECT_EQ(file.Text(), expected);
}

TEST(PrintMatr, LongValuesAreRoundedToFifteenCharacters) {
  DebugFile file;
  const double a[1] = {-1.2345678901234567e-123};
  PrintMatr(1, 1, a, nullptr);
  const std::string written = file.Text();
  const std::string value = written.substr(written.rfind(' ') + 1);
  EXPECT_FALSE(value.empty());
  EXPECT_LE(value.size(), 15u);
  EXPECT_NEAR(std::strtod(value.c_str(), nullptr) / a[0], 1.0, 1e-6);
}

} // namespace
} // namespace zel
