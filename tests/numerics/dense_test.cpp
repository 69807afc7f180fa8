#include "zeltools/numerics/dense.h"

#include <cstdlib>
#include <fstream>
#include <numeric>
#include <random>
#include <sstream>

#include "matrix_market.h"
#include "support/temp_files.h"
#include "zeltools/text/number_text.h"

namespace zel {
namespace {

using test::BitIdentical;

// Values in [-10, 10], a share of them exactly zero; rounded to integers
// after division by `integerScale` unless that is 0.
std::vector<double> RandomValues(std::mt19937_64& rng, std::size_t count, double zeroShare = 0.0,
                                 double integerScale = 0.0) {
  std::uniform_real_distribution<double> value(-10.0, 10.0), unit(0.0, 1.0);
  std::vector<double> v(count);
  for (double& x : v) {
    x = unit(rng) < zeroShare ? 0.0 : value(rng);
    if (integerScale != 0.0)
      x = std::round(x / integerScale);
  }
  return v;
}

// Cofactor expansion of a row-major k×k matrix; exact on small integers.
double Cofactor(const std::vector<double>& a, int k) {
  if (k == 1)
    return a[0];
  double det = 0;
  for (int c = 0; c < k; ++c) {
    std::vector<double> minor;
    for (int i = 1; i < k; ++i)
      for (int j = 0; j < k; ++j)
        if (j != c)
          minor.push_back(a[i * k + j]);
    det += (c % 2 ? -1 : 1) * a[c] * Cofactor(minor, k - 1);
  }
  return det;
}

// Determinants are exact on integer matrices; inverses multiply back to the
// identity.
TEST(Determinants, ExactOnIntegersAndInversionsGiveTheInverse) {
  std::mt19937_64 rng(7);
  for (int trial = 0; trial < 200; ++trial) {
    std::vector<double> m3 = RandomValues(rng, 9, 0.2, 1), m4 = RandomValues(rng, 16, 0.2, 1);
    if (trial % 10 == 0) // a dependent row
      std::transform(m4.begin(), m4.begin() + 4, m4.begin() + 12, [](double x) { return 2 * x; });
    EXPECT_EQ(Det3x3(m3.data()), Cofactor(m3, 3));
    EXPECT_EQ(Det4x4(m4.data()), Cofactor(m4, 4));
    for (int k : {2, 3}) {
      std::vector<double> a = RandomValues(rng, k * k), b(k * k, 0.0);
      const double det = k == 2 ? MatrixInversion2x2(a.data(), b.data()) : MatrixInversion3x3(a.data(), b.data());
      EXPECT_NEAR(det, Cofactor(a, k), 1e-9 * (1 + std::fabs(det)));
      for (int i = 0; i < k; ++i)
        for (int j = 0; j < k; ++j) {
          double s = 0;
          for (int l = 0; l < k; ++l)
            s += a[i * k + l] * b[l * k + j];
          EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-8) << trial;
        }
    }
  }
}

TEST(Inversions, SingularMatricesReturnZero) {
  // A singular 2×2 leaves b untouched, a singular 3×3 the unsigned minors.
  const double a2[4] = {1, 2, 2, 4}, a3[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  std::vector<double> b2(4, 9.0), b3(9, 9.0);
  EXPECT_EQ(MatrixInversion2x2(a2, b2.data()), 0.0);
  EXPECT_EQ(b2, std::vector<double>(4, 9.0));
  EXPECT_EQ(MatrixInversion3x3(a3, b3.data()), 0.0);
  EXPECT_EQ(b3, (std::vector<double>{5 * 9 - 8 * 6, 9 * 2 - 8 * 3, 6 * 2 - 5 * 3, 9 * 4 - 7 * 6, 1 * 9 - 7 * 3,
                                     1 * 6 - 4 * 3, 8 * 4 - 5 * 7, 8 * 1 - 7 * 2, 5 * 1 - 4 * 2}));
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
    // 3×3×3 goes to the 3×3 product, which writes all nine values.
    const bool cube = trial % 40 == 0;
    const int P = cube ? 3 : size(rng), Q = cube ? 3 : size(rng), R = cube ? 3 : size(rng);
    const int p = trial & 1 ? -P : P, q = trial & 2 ? -Q : Q, r = trial & 4 ? -R : R;
    const bool upper = trial & 8;
    std::vector<double> a = RandomValues(rng, P * Q, cube ? 0 : 0.2), b = RandomValues(rng, Q * R, cube ? 0 : 0.2);
    const std::vector<double> expected = ReferenceProduct(a, b, p, q, r, upper && !cube);
    std::vector<double> c(expected.size() + 1, -7.0);
    MultMatr(a.data(), b.data(), p, q, r, c.data(), upper);
    EXPECT_EQ(c.back(), -7.0) << "wrote past the result";
    c.pop_back();
    EXPECT_TRUE(BitIdentical(c, expected)) << P << "x" << Q << "x" << R << " signs " << p << q << r;
  }
}

TEST(MultMatr, ThreeByThreeSignRuleCountsZeroAsTransposed) {
  std::mt19937_64 rng(5);
  const std::vector<double> a = RandomValues(rng, 9), b = RandomValues(rng, 9);
  // Signs (sa, sb) and the signs of the storage they select.
  const int cases[][4] = {{1, 1, 1, 1},   {-1, 1, -1, 1},  {1, -1, 1, -1},  {-1, -1, -1, -1},
                          {1, 0, -1, -1}, {0, 1, -1, -1},  {0, 0, -1, -1},  {0, -1, -1, -1},
                          {-1, 0, -1, -1}, {5, -2, 1, -1}, {2, 9, 1, 1}};
  for (const auto& k : cases) {
    std::vector<double> m(9);
    MultMatr3x3(a.data(), b.data(), m.data(), k[0], k[1]);
    EXPECT_TRUE(BitIdentical(m, ReferenceProduct(a, b, 3 * k[2], 3, 3 * k[3], false))) << k[0] << "," << k[1];
  }
}

TEST(MatrTranspose, EveryElementLandsInItsMirroredPlace) {
  std::mt19937_64 rng(9);
  for (unsigned rows : {1u, 3u, 31u, 33u, 70u})
    for (unsigned cols : {1u, 2u, 32u, 33u, 65u}) {
      const std::vector<double> a = RandomValues(rng, rows * cols);
      std::vector<double> t(rows * cols), expected(rows * cols);
      for (unsigned i = 0; i < rows; ++i)
        for (unsigned j = 0; j < cols; ++j)
          expected[j * rows + i] = a[i * cols + j];
      MatrTranspose(rows, cols, a.data(), t.data());
      EXPECT_TRUE(BitIdentical(t, expected)) << rows << "x" << cols;
      if (rows == cols) {
        MatrTranspose(rows, a.data(), t.data());
        EXPECT_TRUE(BitIdentical(t, expected)) << rows;
      }
    }
}

TEST(PackedTriangle, IndexRunsThroughTheRowsAndClearAndCopyTouchExactlyTheTriangle) {
  for (unsigned n : {0u, 1u, 2u, 7u, 40u}) {
    unsigned next = 0;
    for (unsigned i = 0; i < n; ++i)
      for (unsigned j = i; j < n; ++j, ++next) {
        EXPECT_EQ(IndexMatrTriang(n, i, j), next);
        EXPECT_EQ(IndexMatrTriang(n, j, i), next);
      }
    EXPECT_EQ(MatrElemSize(n), next);
    std::vector<double> a(next + 1, 3.0), b(next + 1, 5.0), c = a;
    CopyMatrTriang(n, a.data(), b.data());
    MatrElemClear(n, a.data());
    ClearMatrTriang(n, c.data());
    EXPECT_EQ(std::count(b.begin(), b.end() - 1, 3.0), next);
    EXPECT_EQ(std::count(a.begin(), a.end() - 1, 0.0) + std::count(c.begin(), c.end() - 1, 0.0), 2 * next);
    EXPECT_TRUE(a.back() == 3.0 && b.back() == 5.0 && c.back() == 3.0);
  }
  // The 32-bit arithmetic wraps as it always did.
  EXPECT_EQ(MatrElemSize(65536u), static_cast<unsigned>((65537ull * 65536ull) & 0xFFFFFFFFull) >> 1);
}

// The rank elimination written from its steps, on a copy w (transposed when
// there are fewer rows than columns), with the order vector 0 … R−1.
unsigned ReferenceRank(unsigned rows, unsigned cols, const std::vector<double>& a, std::vector<unsigned>& index,
                       double eps) {
  const bool t = rows < cols;
  const unsigned R = t ? cols : rows, C = t ? rows : cols;
  std::vector<double> w(R * C);
  std::vector<unsigned> order(R);
  for (unsigned i = 0; i < R; ++i)
    for (unsigned j = 0; j < C; ++j)
      w[i * C + j] = t ? a[j * cols + i] : a[i * cols + j];
  std::iota(order.begin(), order.end(), 0u);
  unsigned r = 0;
  for (unsigned c = 0; c < C; ++c) {
    unsigned p = c;
    double best = 0.0;
    for (unsigned i = r; i < R; ++i)
      if (std::fabs(w[i * C + c]) > std::fabs(best))
        best = w[(p = i) * C + c];
    if (std::fabs(best) < eps)
      continue;
    for (unsigned j = c; j < C; ++j) {
      const double pivotRow = w[p * C + j];
      w[p * C + j] = w[r * C + j]; // no-op when p = r
      w[r * C + j] = pivotRow / best;
    }
    if (p > r)
      std::swap(order[p], order[c]);
    for (unsigned i = r + 1; i < R; ++i)
      if (const double f = w[i * C + c]; f != 0.0)
        for (unsigned j = c + 1; j < C; ++j)
          w[i * C + j] -= f * w[r * C + j];
    index[r++] = order[c];
  }
  return r;
}

TEST(RangMatr, FollowsTheReferenceStepsWithItsEpsilonAndOrderExchangeRules) {
  std::mt19937_64 rng(13);
  std::uniform_int_distribution<unsigned> size(1, 12);
  for (int trial = 0; trial < 300; ++trial) {
    const unsigned rows = size(rng), cols = size(rng);
    const unsigned inner = std::uniform_int_distribution<unsigned>(1, std::min(rows, cols))(rng);
    // A product of integer factors has exactly rank ≤ inner; integer entries
    // also produce ties and exact zeros for the pivot rules.
    std::vector<double> f = RandomValues(rng, rows * inner, 0.3, 3), g = RandomValues(rng, inner * cols, 0.3, 3);
    std::vector<double> a(rows * cols, 0.0);
    for (unsigned i = 0; i < rows; ++i)
      for (unsigned j = 0; j < cols; ++j)
        for (unsigned l = 0; l < inner; ++l)
          a[i * cols + j] += f[i * inner + l] * g[l * cols + j];
    const std::vector<double> original = a;
    std::vector<unsigned> index(std::min(rows, cols) + 1, 777u), expected(index);
    const unsigned rank = RangMatr(rows, cols, a.data(), index.data(), 1e-9);
    EXPECT_EQ(rank, ReferenceRank(rows, cols, original, expected, 1e-9));
    EXPECT_LE(rank, inner);
    EXPECT_EQ(index, expected);
    EXPECT_TRUE(BitIdentical(a, original)) << "the input was modified";
  }
  // A column maximum equal to eps is independent.
  double one[2] = {0.5, 0.25};
  unsigned index[2] = {};
  EXPECT_EQ(RangMatr(2, 1, one, index, 0.5), 1u);
  EXPECT_EQ(RangMatr(2, 1, one, index, 0.5000001), 0u);
}

TEST(PrintMatr, WritesTheTriangleRowByRowRoundingLongValues) {
  test::TempDir dir;
  const std::string path = dir.File("print.tmp");
  test::SetEnvironment("ZEL_DEBUG_FILE", path.c_str());
  const double a[6] = {1.5, -2, 0, 4, 1e-300, 0.1}, longValue = -1.2345678901234567e-123;
  PrintMatr(7, 3, a, "K");
  PrintMatr(8, 0, a, nullptr);
  PrintMatr(1, 1, &longValue, nullptr);
  test::SetEnvironment("ZEL_DEBUG_FILE", nullptr);
  std::ostringstream all;
  all << std::ifstream(path, std::ios::binary).rdbuf();
  auto text = [](double v) {
    char t[32];
    EXPECT_EQ(DoubleChar(v, t, 16), 1);
    return std::string(t);
  };
  const std::string expected = "\n\n7   K\n0  " + text(1.5) + " " + text(-2) + " " + text(0) + "\n1  " + text(4) +
                               " " + text(1e-300) + "\n2  " + text(0.1) + "\n\n8\n\n1\n0  ";
  const std::string written = all.str();
  ASSERT_EQ(written.substr(0, expected.size()), expected);
  const std::string value = written.substr(expected.size());
  EXPECT_LE(value.size(), 15u);
  EXPECT_NEAR(std::strtod(value.c_str(), nullptr) / longValue, 1.0, 1e-6);
}

} // namespace
} // namespace zel
