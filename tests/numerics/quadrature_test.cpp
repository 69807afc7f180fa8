#include "zeltools/numerics/quadrature.h"

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/geometry/point3d.h"

namespace zel {
namespace {

constexpr double kTight = 1e-13; // sums with the 15-digit literals of the tables

// ∫ l^k over a simplex of measure |S| whose vertices give the linear form l
// the values v: |S|·d!·k!/(k + d)!·h_k(v), h_k the complete homogeneous
// symmetric polynomial. Powers of random forms span all polynomials of degree k.
double SimplexIntegral(const std::vector<double>& v, int k, double measure) {
  std::vector<double> h(static_cast<std::size_t>(k) + 1, 0.0);
  h[0] = 1.0;
  for (double value : v)
    for (int j = 1; j <= k; ++j)
      h[j] += value * h[j - 1];
  for (std::size_t i = 1; i < v.size(); ++i)
    measure = measure * static_cast<double>(i) / static_cast<double>(k + static_cast<int>(i));
  return measure * h[k];
}
double Factorial(int n) { return n <= 1 ? 1.0 : n * Factorial(n - 1); }

// Σ w_i·f(i), Σ w_i, and Σ |w_i·f(i)| as the scale of the rounding.
struct RuleSum {
  double sum = 0.0, weights = 0.0, scale = 1.0;
};
template <class F> RuleSum Apply(unsigned int count, const double* w, F f) {
  RuleSum r;
  for (unsigned int i = 0; i < count; ++i) {
    r.sum += w[i] * f(i);
    r.weights += w[i];
    r.scale += std::fabs(w[i] * f(i));
  }
  return r;
}

TEST(LineRules, EachOrderIsExactUpToItsDegreeAndNoFurtherAndOthersClampToFivePoints) {
  for (unsigned int n = 1; n <= 7; ++n) {
    unsigned int count = 0;
    const double *w = nullptr, *t = nullptr;
    NumericalIntegrationLine(n, count, w, t);
    ASSERT_EQ(count, n);
    for (unsigned int k = 0; k <= 2 * n; ++k) {
      const double error = Apply(n, w, [&](unsigned int i) { return std::pow(t[i], k); }).sum - 1.0 / (k + 1);
      EXPECT_TRUE(k < 2 * n ? std::fabs(error) < kTight : std::fabs(error) > 1e-9) << n << " points, degree " << k;
    }
    const double *gw = nullptr, *gt = nullptr, *ew = nullptr, *et = nullptr;
    GaussPointLine(n, gw, gt);
    NumericalIntegrationLine(n < 5 ? n : 5, count, ew, et);
    EXPECT_TRUE(gw == ew && gt == et) << n;
  }
  const double *w5 = nullptr, *t5 = nullptr, *w = nullptr, *t = nullptr;
  unsigned int count = 0;
  NumericalIntegrationLine(5, count, w5, t5);
  for (unsigned int order : {0u, 8u, UINT_MAX}) {
    NumericalIntegrationLine(order, count, w, t);
    EXPECT_TRUE(count == 5 && w == w5 && t == t5) << order;
  }
  const double marker = 0.0;
  w = t = &marker;
  GaussPointLine(0, w, t); // order 0 leaves the pointers alone
  EXPECT_TRUE(w == &marker && t == &marker);
}

TEST(TriangleRules, OrdersSelectRulesExactUpToTheirDegreeAndNoFurther) {
  const struct {
    unsigned int order, points;
    int degree;
  } cases[] = {{1, 1, 1},  {2, 3, 2},   {3, 3, 2},   {4, 7, 5},  {7, 7, 5},
               {8, 12, 6}, {12, 12, 6}, {13, 16, 8}, {0, 16, 8}, {UINT_MAX, 16, 8}};
  for (const auto& c : cases) {
    unsigned int count = 0;
    const double *w = nullptr, *l1 = nullptr, *l2 = nullptr;
    NumericalIntegrationTriangle(c.order, count, w, l1, l2);
    ASSERT_EQ(count, c.points) << c.order;
    double worstAbove = 0.0;
    for (int degree = 0; degree <= c.degree + 1; ++degree)
      for (int a = 0; a <= degree; ++a) {
        const double exact = 2.0 * Factorial(a) * Factorial(degree - a) / Factorial(degree + 2);
        const double error =
            std::fabs(Apply(count, w, [&](unsigned int i) { return std::pow(l1[i], a) * std::pow(l2[i], degree - a); })
                          .sum -
                      exact);
        if (degree <= c.degree)
          EXPECT_LT(error, kTight) << c.points << " points, L1^" << a << " L2^" << degree - a;
        else
          worstAbove = std::max(worstAbove, error);
      }
    EXPECT_GT(worstAbove, 1e-9) << c.points << " points must not be exact at degree " << c.degree + 1;
    // The older routine shares the tables but falls back to 12 points.
    const double *gw = nullptr, *g1 = nullptr, *g2 = nullptr;
    GaussPointTriang(c.order, gw, g1, g2);
    NumericalIntegrationTriangle(c.order >= 1 && c.order <= 12 ? c.order : 8, count, w, l1, l2);
    if (c.order != 1)
      EXPECT_TRUE(gw == w && g1 == l1 && g2 == l2) << c.order;
    else
      EXPECT_TRUE(gw[0] == 1.0 && g1[0] == 0.333333333333332 && g2[0] == 0.333333333333332);
  }
}

// Random intervals, segments, triangles, parallelograms and tetrahedra: the
// weights sum to the measure and the top power of a random linear form is
// integrated exactly.
TEST(Mapping, RandomShapesIntegrateTheRuleDegreeWithWeightsSummingToTheMeasure) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> u(-3.0, 3.0);
  const unsigned int triOrders[] = {1, 3, 5, 10, 20};
  const int triDegrees[] = {1, 2, 5, 6, 8};
  for (int trial = 0; trial < 300; ++trial) {
    const double la = u(rng), lb = u(rng), lc = u(rng), ld = u(rng);
    const auto l = [&](double x, double y, double z = 0.0) { return la * x + lb * y + lc * z + ld; };
    double v[6];
    for (double& c : v)
      c = u(rng);
    const unsigned int order = 1 + trial % 7;
    const int k = static_cast<int>(2 * order - 1);
    unsigned int count = 0;
    double w[49], x[49], y[49], z[49];
    const auto check = [&](int degree, double measure, double exact, const char* shape) {
      const RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], y[i], z[i]), degree); });
      EXPECT_NEAR(r.weights, measure, kTight * (measure + 10)) << shape << " " << trial;
      EXPECT_NEAR(r.sum, exact, kTight * r.scale) << shape << " " << trial;
    };
    std::fill(y, y + 49, 0.0);
    std::fill(z, z + 49, 0.0);
    NumericalIntegrationLine(order, v[0], v[1], count, w, x);
    ASSERT_EQ(count, order);
    const double len = std::fabs(v[1] - v[0]);
    check(k, len, SimplexIntegral({l(v[0], 0), l(v[1], 0)}, k, len), "interval");
    NumericalIntegrationLine(order, v[0], v[1], v[2], v[3], count, w, x, y);
    ASSERT_EQ(count, order);
    const double seg = std::hypot(v[2] - v[0], v[3] - v[1]);
    check(k, seg, SimplexIntegral({l(v[0], v[1]), l(v[2], v[3])}, k, seg), "segment");
    const double cross = (v[2] - v[0]) * (v[5] - v[1]) - (v[4] - v[0]) * (v[3] - v[1]);
    const std::vector<double> tri = {l(v[0], v[1]), l(v[2], v[3]), l(v[4], v[5])};
    NumericalIntegrationTriangle(triOrders[trial % 5], v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    const int td = triDegrees[trial % 5];
    check(td, std::fabs(cross) / 2, SimplexIntegral(tri, td, std::fabs(cross) / 2), "triangle");
    NumericalIntegrationQuadrangle(order, v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    ASSERT_EQ(count, order * order);
    // The parallelogram is the triangles P1 P2 P3 and P4 P3 P2.
    const double l4 = l(v[2] + v[4] - v[0], v[3] + v[5] - v[1]);
    check(k, std::fabs(cross),
          SimplexIntegral(tri, k, std::fabs(cross) / 2) + SimplexIntegral({l4, tri[2], tri[1]}, k, std::fabs(cross) / 2),
          "parallelogram");
    CPoint3D p[4];
    for (CPoint3D& q : p)
      q = CPoint3D(u(rng), u(rng), u(rng));
    const unsigned int tetOrder = trial % 2 == 0 ? 1 : 4;
    NumericalIntegrationTetrahedron(tetOrder, p[0], p[1], p[2], p[3], count, w, x, y, z);
    const CPoint3D a = p[1] - p[0], b = p[2] - p[0], c = p[3] - p[0];
    const double volume =
        std::fabs(a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x)) / 6;
    std::vector<double> values;
    for (const CPoint3D& q : p)
      values.push_back(l(q.x, q.y, q.z));
    check(tetOrder == 1 ? 1 : 2, volume, SimplexIntegral(values, tetOrder == 1 ? 1 : 2, volume), "tetrahedron");
  }
}

// A product rule of order n integrates x^p·y^q(·z^s) exactly for exponents up
// to 2n − 1; points run with the last coordinate fastest.
TEST(Mapping, RectangleAndBoxProductRulesAreExactPerVariable) {
  const double a = 1.7, b = -0.7, c = 2.1; // a negative side mirrors the box
  for (unsigned int order = 0; order <= 9; ++order) {
    const unsigned int n = order == 0 ? 0 : order > 7 ? 5 : order;
    const int top = static_cast<int>(2 * n) - 1;
    std::vector<double> w(343), x(343), y(343), z(343);
    unsigned int count = 99;
    NumericalIntegrationQuadrangle(order, a, c, count, w.data(), x.data(), y.data());
    ASSERT_EQ(count, n * n) << order;
    if (n == 0)
      continue;
    for (int p : {0, top})
      for (int q : {0, top}) {
        const RuleSum r = Apply(count, w.data(), [&](unsigned int i) { return std::pow(x[i], p) * std::pow(y[i], q); });
        EXPECT_NEAR(r.sum, std::pow(a, p + 1) * std::pow(c, q + 1) / ((p + 1) * (q + 1)), kTight * r.scale) << order;
      }
    NumericalIntegrationParallelepiped(order, a, b, c, count, w.data(), x.data(), y.data(), z.data());
    ASSERT_EQ(count, n * n * n) << order;
    if (n > 1)
      EXPECT_TRUE(x[0] == x[1] && y[0] == y[1] && z[0] != z[1] && x[0] == x[n] && y[0] != y[n] && x[0] != x[n * n]);
    for (int p : {0, top})
      for (int q : {0, top})
        for (int s : {0, top}) {
          const RuleSum r = Apply(count, w.data(), [&](unsigned int i) {
            return std::pow(x[i], p) * std::pow(y[i], q) * std::pow(z[i], s);
          });
          const double exact = std::pow(a, p) * std::pow(b, q) * std::pow(c, s) * std::fabs(a * b * c) /
                               ((p + 1) * (q + 1) * (s + 1));
          EXPECT_NEAR(r.sum, exact, kTight * r.scale) << order << ": " << p << q << s;
          EXPECT_GT(r.weights, 0.0);
        }
  }
}

TEST(Mapping, KeptCountRulesAndDegenerateShapesWriteNothing) {
  unsigned int count = 0;
  double w[8], x[8], y[8], z[8], w4[4], x4[4], y4[4], z4[4];
  NumericalIntegrationLine(2, 2.0, 0.0, count, w, x); // reversed ends keep positive weights
  EXPECT_TRUE(count == 2 && w[0] == 1.0 && w[1] == 1.0 && x[0] == 2.0 - 2.0 * 0.211324865405187);
  std::fill(w, w + 8, -1.0);
  NumericalIntegrationLine(0, 1.0, 3.0, count, w, x);
  EXPECT_EQ(count, 0u);
  NumericalIntegrationLine(8, 1.0, 3.0, count, w, x);
  EXPECT_TRUE(count == 5 && w[5] == -1.0);
  NumericalIntegrationLine(3, 1.5, -2.0, 1.5, -2.0, count, w + 6, x, y);
  EXPECT_TRUE(count == 0 && w[6] == -1.0);
  NumericalIntegrationQuadrangle(2, 1.0, 1.0, 1.0, 1.0, 4.0, 5.0, count, w + 6, x, y);
  EXPECT_EQ(count, 0u);
  count = 99;
  NumericalIntegrationQuadrangle(2, 0.0, 0.0, 1.0, 1.0, 3.0, 3.0, count, w + 6, x, y);
  EXPECT_TRUE(count == 0 && w[6] == -1.0);
  // Tetrahedra: count is the order; past the table, weight-0 points at p1.
  std::fill(w, w + 8, -1.0);
  CPoint3D p1(1, 2, 3), p2(4, 2, 3), p3(1, 5, 3), p4(1, 2, 6);
  NumericalIntegrationTetrahedron(2, p1, p2, p3, p4, count, w, x, y, z);
  EXPECT_TRUE(count == 2 && w[2] == -1.0);
  NumericalIntegrationTetrahedron(4, p1, p2, p3, p4, count, w4, x4, y4, z4);
  NumericalIntegrationTetrahedron(7, p1, p2, p3, p4, count, w, x, y, z);
  EXPECT_TRUE(count == 7 && w[7] == -1.0);
  for (int i = 0; i < 7; ++i)
    EXPECT_TRUE(i < 4 ? w[i] == w4[i] && x[i] == x4[i] && y[i] == y4[i] && z[i] == z4[i]
                      : w[i] == 0.0 && x[i] == 1.0 && y[i] == 2.0 && z[i] == 3.0)
        << i;
}

TEST(NewtonCotes, WeightsIntegrateTheirDegreeAndOneWeighsHalf) {
  double w[12] = {-1, -1};
  NumericalIntegrationLine(0u, w);
  EXPECT_EQ(w[0], -1.0);
  NumericalIntegrationLine(1u, w);
  EXPECT_TRUE(w[0] == 0.5 && w[1] == -1.0); // kept: one point weighs 0.5
  for (unsigned int n = 2; n <= 12; ++n) {
    NumericalIntegrationLine(n, w);
    // Equally spaced points integrate degree n − 1, and degree n for odd n.
    for (unsigned int k = 0; k <= (n % 2 == 1 ? n : n - 1); ++k)
      EXPECT_NEAR(Apply(n, w, [&](unsigned int i) { return std::pow(static_cast<double>(i) / (n - 1), k); }).sum,
                  1.0 / (k + 1), n <= 5 ? kTight : 1e-11)
          << n << " points, degree " << k;
    if (n == 6)
      EXPECT_NEAR(w[1], 75.0 / 288, 1e-12);
    if (n == 9)
      EXPECT_LT(w[2], 0.0);
  }
  for (unsigned int n : {100000u, 1u << 31, UINT_MAX})
    EXPECT_EQ(test::ThrownText([&] { NumericalIntegrationLine(n, w); }), test::CatalogueText(202)) << n;
}

} // namespace
} // namespace zel
