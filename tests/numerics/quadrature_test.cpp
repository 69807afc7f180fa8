#include "zeltools/numerics/quadrature.h"

#include <climits>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/geometry/point3d.h"

namespace zel {
namespace {

// Tolerance for sums with the 15-digit literals of the tables.
constexpr double kTight = 1e-13;

// Exact integral of l^k over a simplex of dimension d and measure |S| whose
// vertices take the values v_0 … v_d of the linear form l:
// |S|·d!·k!/(k + d)!·h_k(v), h_k the complete homogeneous symmetric
// polynomial. Powers of linear forms span all polynomials of degree k, so
// random forms test a rule on all of them.
double SimplexIntegral(const std::vector<double>& v, int k, double measure) {
  std::vector<double> h(k + 1, 0.0);
  h[0] = 1.0;
  for (double value : v)
    for (int j = 1; j <= k; ++j)
      h[j] += value * h[j - 1];
  double factor = 1.0;
  for (std::size_t i = 1; i < v.size(); ++i)
    factor = factor * static_cast<double>(i) / static_cast<double>(k + static_cast<int>(i));
  return measure * factor * h[k];
}

double Factorial(int n) { return n <= 1 ? 1.0 : n * Factorial(n - 1); }

// A random linear form l(x, y, z) = a·x + b·y + c·z + d.
struct Form {
  double a, b, c, d;
  double operator()(double x, double y, double z = 0.0) const { return a * x + b * y + c * z + d; }
};
Form RandomForm(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> u(-2.0, 2.0);
  return {u(rng), u(rng), u(rng), u(rng)};
}

// Σ w_i·f_i, Σ w_i and Σ |w_i·f_i| (the scale of the rounding) of a rule.
struct RuleSum {
  double sum = 0.0, weights = 0.0, scale = 0.0;
};
template <class F>
RuleSum Apply(unsigned int count, const double* w, F f) {
  RuleSum r;
  for (unsigned int i = 0; i < count; ++i) {
    const double v = f(i);
    r.sum += w[i] * v;
    r.weights += w[i];
    r.scale += std::fabs(w[i] * v);
  }
  return r;
}

TEST(LineRules, EachOrderIntegratesExactlyUpToItsDegreeAndNoFurther) {
  for (unsigned int n = 1; n <= 7; ++n) {
    unsigned int count = 0;
    const double *w = nullptr, *t = nullptr;
    NumericalIntegrationLine(n, count, w, t);
    ASSERT_EQ(count, n);
    for (unsigned int k = 0; k <= 2 * n; ++k) {
      const RuleSum r = Apply(n, w, [&](unsigned int i) { return std::pow(t[i], k); });
      if (k < 2 * n)
        EXPECT_NEAR(r.sum, 1.0 / (k + 1), kTight) << n << " points, degree " << k;
      else
        EXPECT_GT(std::fabs(r.sum - 1.0 / (k + 1)), 1e-9) << n << " points must not be exact at degree " << k;
    }
    for (unsigned int i = 0; i < n; ++i) {
      EXPECT_NEAR(t[i] + t[n - 1 - i], 1.0, kTight);
      EXPECT_EQ(w[i], w[n - 1 - i]);
    }
  }
}

TEST(LineRules, OrderSelection) {
  unsigned int count = 0;
  const double *w5 = nullptr, *t5 = nullptr;
  NumericalIntegrationLine(5, count, w5, t5);
  for (unsigned int order : {0u, 8u, 9u, UINT_MAX}) {
    const double *w = nullptr, *t = nullptr;
    NumericalIntegrationLine(order, count, w, t);
    EXPECT_EQ(count, 5u) << order;
    EXPECT_EQ(w, w5);
    EXPECT_EQ(t, t5);
  }
  // GaussPointLine: up to 4 as asked, 5 and above the 5-point rule, 0 ignored.
  const double marker = 0.0;
  const double *w = &marker, *t = &marker;
  GaussPointLine(0, w, t);
  EXPECT_EQ(w, &marker);
  EXPECT_EQ(t, &marker);
  for (unsigned int order : {1u, 2u, 3u, 4u, 5u, 6u, 7u, UINT_MAX}) {
    const double *we = nullptr, *te = nullptr;
    NumericalIntegrationLine(order < 5 ? order : 5, count, we, te);
    GaussPointLine(order, w, t);
    EXPECT_EQ(w, we) << order;
    EXPECT_EQ(t, te) << order;
  }
}

TEST(TriangleRules, OrdersSelectRulesThatIntegrateTheirDegreeAndNoFurther) {
  const struct {
    unsigned int order, points;
    int degree;
  } cases[] = {{1, 1, 1},   {2, 3, 2},   {3, 3, 2},   {4, 7, 5}, {7, 7, 5},
               {8, 12, 6},  {12, 12, 6}, {13, 16, 8}, {0, 16, 8}, {UINT_MAX, 16, 8}};
  for (const auto& c : cases) {
    unsigned int count = 0;
    const double *w = nullptr, *l1 = nullptr, *l2 = nullptr;
    NumericalIntegrationTriangle(c.order, count, w, l1, l2);
    ASSERT_EQ(count, c.points) << c.order;
    double worstAbove = 0.0;
    for (int degree = 0; degree <= c.degree + 1; ++degree)
      for (int a = 0; a <= degree; ++a) {
        const int b = degree - a;
        // ∫ L1^a L2^b over the reference triangle, over its area 1/2.
        const double exact = 2.0 * Factorial(a) * Factorial(b) / Factorial(a + b + 2);
        const RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l1[i], a) * std::pow(l2[i], b); });
        if (degree <= c.degree)
          EXPECT_NEAR(r.sum, exact, kTight) << c.points << " points, L1^" << a << " L2^" << b;
        else
          worstAbove = std::max(worstAbove, std::fabs(r.sum - exact));
      }
    EXPECT_GT(worstAbove, 1e-9) << c.points << " points must not be exact at degree " << c.degree + 1;
    for (unsigned int i = 0; i < count; ++i)
      EXPECT_TRUE(l1[i] >= 0 && l2[i] >= 0 && l1[i] + l2[i] <= 1.0) << "outside the triangle";
  }
}

TEST(TriangleRules, GaussPointTriangKeepsItsOwnCentroidAndDefaultsToTwelvePoints) {
  const double *w = nullptr, *l1 = nullptr, *l2 = nullptr;
  GaussPointTriang(1, w, l1, l2);
  EXPECT_EQ(w[0], 1.0);
  EXPECT_EQ(l1[0], 0.333333333333332);
  EXPECT_EQ(l2[0], 0.333333333333332);
  const struct {
    unsigned int order, sameAs;
  } cases[] = {{2, 2}, {3, 3}, {4, 4}, {7, 7}, {8, 8}, {0, 8}, {13, 8}, {UINT_MAX, 8}};
  for (const auto& c : cases) {
    unsigned int count = 0;
    const double *we = nullptr, *l1e = nullptr, *l2e = nullptr;
    NumericalIntegrationTriangle(c.sameAs, count, we, l1e, l2e);
    GaussPointTriang(c.order, w, l1, l2);
    EXPECT_TRUE(w == we && l1 == l1e && l2 == l2e) << c.order;
  }
}

TEST(TetrahedronRules, CountIsTheOrderAndTheFourPointRuleIsQuadratic) {
  for (unsigned int order : {0u, 1u, 2u, 4u, 9u}) {
    unsigned int count = 12345;
    const double *w = nullptr, *l1 = nullptr, *l2 = nullptr, *l3 = nullptr;
    NumericalIntegrationTetrahedron(order, count, w, l1, l2, l3);
    EXPECT_EQ(count, order);
    const unsigned int points = order == 1 ? 1 : 4;
    const int degree = order == 1 ? 1 : 2;
    for (int a = 0; a <= degree; ++a)
      for (int b = 0; a + b <= degree; ++b)
        for (int c = 0; a + b + c <= degree; ++c) {
          const double exact = 6.0 * Factorial(a) * Factorial(b) * Factorial(c) / Factorial(a + b + c + 3);
          const RuleSum r = Apply(points, w, [&](unsigned int i) {
            return std::pow(l1[i], a) * std::pow(l2[i], b) * std::pow(l3[i], c);
          });
          EXPECT_NEAR(r.sum, exact, kTight) << order << ": " << a << b << c;
        }
  }
}

TEST(IntervalAndSegment, KeptCases) {
  unsigned int count = 0;
  double w[8], p[8], y[8];
  NumericalIntegrationLine(2, 2.0, 0.0, count, w, p); // reversed ends, positive weights
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(w[0], 1.0);
  EXPECT_EQ(w[1], 1.0);
  EXPECT_EQ(p[0], 2.0 - 2.0 * 0.211324865405187);
  EXPECT_EQ(p[1], 2.0 - 2.0 * 0.788675134594813);
  for (double& v : w)
    v = -1.0;
  NumericalIntegrationLine(0, 1.0, 3.0, count, w, p);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[0], -1.0);
  NumericalIntegrationLine(8, 1.0, 3.0, count, w, p); // clamped to the 5-point rule
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(w[5], -1.0);
  count = 99;
  NumericalIntegrationLine(3, 1.5, -2.0, 1.5, -2.0, count, w + 6, p, y); // degenerate segment
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[6], -1.0);
}

TEST(IntervalAndSegment, RandomShapesIntegratePolynomialsOfTheRuleDegree) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-5.0, 5.0);
  for (int trial = 0; trial < 300; ++trial) {
    const unsigned int order = 1 + trial % 7;
    const int k = static_cast<int>(2 * order - 1);
    const Form l = RandomForm(rng);
    unsigned int count = 0;
    double w[7], x[7], y[7];

    const double a = coord(rng), b = coord(rng);
    NumericalIntegrationLine(order, a, b, count, w, x);
    ASSERT_EQ(count, order);
    RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], 0), k); });
    EXPECT_NEAR(r.weights, std::fabs(b - a), kTight * 10);
    EXPECT_NEAR(r.sum, SimplexIntegral({l(a, 0), l(b, 0)}, k, std::fabs(b - a)), kTight * (r.scale + 1));

    const double x1 = coord(rng), y1 = coord(rng), x2 = coord(rng), y2 = coord(rng);
    const double length = std::hypot(x2 - x1, y2 - y1);
    NumericalIntegrationLine(order, x1, y1, x2, y2, count, w, x, y);
    ASSERT_EQ(count, order);
    r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], y[i]), k); });
    EXPECT_NEAR(r.weights, length, kTight * 10);
    EXPECT_NEAR(r.sum, SimplexIntegral({l(x1, y1), l(x2, y2)}, k, length), kTight * (r.scale + 1)) << trial;
  }
}

TEST(TriangleMapping, UnitTriangleCentroid) {
  unsigned int count = 0;
  double w[1], x[1], y[1];
  NumericalIntegrationTriangle(1, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0, count, w, x, y);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(w[0], 0.5);
  EXPECT_EQ(x[0], 0.333333333333333);
  EXPECT_EQ(y[0], 0.333333333333333);
}

TEST(TriangleMapping, RandomTrianglesIntegratePolynomialsOfTheRuleDegree) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> coord(-3.0, 3.0);
  const struct {
    unsigned int order, points;
    int degree;
  } rules[] = {{1, 1, 1}, {3, 3, 2}, {5, 7, 5}, {10, 12, 6}, {20, 16, 8}};
  for (int trial = 0; trial < 250; ++trial) {
    const auto& rule = rules[trial % 5];
    double v[6];
    for (double& c : v)
      c = coord(rng);
    const Form l = RandomForm(rng);
    unsigned int count = 0;
    double w[16], x[16], y[16];
    NumericalIntegrationTriangle(rule.order, v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    ASSERT_EQ(count, rule.points);
    const double area = 0.5 * std::fabs((v[2] - v[0]) * (v[5] - v[1]) - (v[4] - v[0]) * (v[3] - v[1]));
    const RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], y[i]), rule.degree); });
    EXPECT_NEAR(r.weights, area, kTight * (area + 1.0));
    const double exact = SimplexIntegral({l(v[0], v[1]), l(v[2], v[3]), l(v[4], v[5])}, rule.degree, area);
    EXPECT_NEAR(r.sum, exact, kTight * (r.scale + 1.0)) << trial;
  }
}

TEST(RectangleMapping, TwoByTwoOnTwoByThreeListsYFastest) {
  unsigned int count = 0;
  double w[4], x[4], y[4];
  NumericalIntegrationQuadrangle(2, 2.0, 3.0, count, w, x, y);
  ASSERT_EQ(count, 4u);
  EXPECT_EQ(w[0] + w[1] + w[2] + w[3], 6.0);
  EXPECT_EQ(w[0], 0.5 * 0.5 * 2.0 * 3.0);
  EXPECT_TRUE(x[0] == x[1] && x[2] == x[3] && x[0] < x[2]);
  EXPECT_TRUE(y[0] == y[2] && y[0] < y[1]);
  EXPECT_EQ(y[1], 0.788675134594813 * 3.0);
}

// A product rule of order n integrates x^p·y^q (·z^r) exactly for every
// exponent up to 2n − 1; the top monomial is the hardest case.
TEST(RectangleAndBox, ProductRulesAreExactPerVariable) {
  const double a = 1.7, b = -0.7, c = 2.1; // a negative side mirrors the box
  for (unsigned int order = 0; order <= 9; ++order) {
    const unsigned int n = order == 0 ? 0 : order > 7 ? 5 : order;
    const int top = static_cast<int>(2 * n) - 1;
    std::vector<double> w(n * n * n), x(n * n * n), y(n * n * n), z(n * n * n);
    unsigned int count = 99;
    NumericalIntegrationParallelepiped(order, a, b, c, count, w.data(), x.data(), y.data(), z.data());
    ASSERT_EQ(count, n * n * n) << order;
    NumericalIntegrationQuadrangle(order, a, c, count, w.data(), x.data(), y.data());
    ASSERT_EQ(count, n * n) << order;
    if (n == 0)
      continue;
    for (int p : {0, top})
      for (int q : {0, top}) {
        const RuleSum r = Apply(count, w.data(), [&](unsigned int i) { return std::pow(x[i], p) * std::pow(y[i], q); });
        EXPECT_NEAR(r.sum, std::pow(a, p + 1) * std::pow(c, q + 1) / ((p + 1) * (q + 1)), kTight * (r.scale + 1))
            << order << ": x^" << p << " y^" << q;
      }
    NumericalIntegrationParallelepiped(order, a, b, c, count, w.data(), x.data(), y.data(), z.data());
    ASSERT_EQ(count, n * n * n);
    if (n > 1) { // z fastest, then y, x slowest
      EXPECT_TRUE(x[0] == x[1] && y[0] == y[1] && z[0] != z[1]);
      EXPECT_TRUE(x[0] == x[n] && y[0] != y[n] && x[0] != x[n * n]);
    }
    for (unsigned int i = 0; i < count; ++i)
      EXPECT_GT(w[i], 0.0);
    for (int p : {0, top})
      for (int q : {0, top})
        for (int s : {0, top}) {
          const RuleSum r = Apply(count, w.data(), [&](unsigned int i) {
            return std::pow(x[i], p) * std::pow(y[i], q) * std::pow(z[i], s);
          });
          // Over the box between 0 and each side, of measure |a·b·c|.
          const double exact = std::pow(a, p) * std::pow(b, q) * std::pow(c, s) * std::fabs(a * b * c) /
                               ((p + 1) * (q + 1) * (s + 1));
          EXPECT_NEAR(r.sum, exact, kTight * (r.scale + 1)) << order << ": " << p << " " << q << " " << s;
        }
  }
}

TEST(ParallelogramMapping, ARectangleGivenByCornersMatchesTheRectangleRule) {
  unsigned int count = 0, countRect = 0;
  double w[9], x[9], y[9], wr[9], xr[9], yr[9];
  NumericalIntegrationQuadrangle(3, 0.0, 0.0, 2.0, 0.0, 0.0, 3.0, count, w, x, y);
  NumericalIntegrationQuadrangle(3, 2.0, 3.0, countRect, wr, xr, yr);
  ASSERT_EQ(count, 9u);
  ASSERT_EQ(countRect, 9u);
  for (int i = 0; i < 9; ++i) {
    EXPECT_DOUBLE_EQ(w[i], wr[i]);
    EXPECT_DOUBLE_EQ(x[i], xr[i]);
    EXPECT_DOUBLE_EQ(y[i], yr[i]);
  }
  // Coincident corners or collinear sides: no points.
  w[0] = -1.0;
  NumericalIntegrationQuadrangle(2, 1.0, 1.0, 1.0, 1.0, 4.0, 5.0, count, w, x, y);
  EXPECT_EQ(count, 0u);
  count = 99;
  NumericalIntegrationQuadrangle(2, 0.0, 0.0, 1.0, 1.0, 3.0, 3.0, count, w, x, y);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[0], -1.0);
}

TEST(ParallelogramMapping, RandomParallelogramsIntegratePolynomialsOfTheRuleDegree) {
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> coord(-3.0, 3.0);
  for (int trial = 0; trial < 200; ++trial) {
    double v[6];
    for (double& c : v)
      c = coord(rng);
    const Form l = RandomForm(rng);
    const unsigned int order = 1 + trial % 7;
    const int k = static_cast<int>(2 * order - 1);
    unsigned int count = 0;
    double w[49], x[49], y[49];
    NumericalIntegrationQuadrangle(order, v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    ASSERT_EQ(count, order * order);
    const double area = std::fabs((v[2] - v[0]) * (v[5] - v[1]) - (v[3] - v[1]) * (v[4] - v[0]));
    const RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], y[i]), k); });
    EXPECT_NEAR(r.weights, area, kTight * (1.0 + area));
    // The parallelogram is the triangles P1 P2 P3 and P4 P3 P2.
    const double l4 = l(v[2] + v[4] - v[0], v[3] + v[5] - v[1]);
    const double exact = SimplexIntegral({l(v[0], v[1]), l(v[2], v[3]), l(v[4], v[5])}, k, area / 2) +
                         SimplexIntegral({l4, l(v[4], v[5]), l(v[2], v[3])}, k, area / 2);
    EXPECT_NEAR(r.sum, exact, kTight * (r.scale + 1.0)) << trial;
  }
}

TEST(TetrahedronMapping, UnitTetrahedronCentroid) {
  CPoint3D p1(0, 0, 0), p2(1, 0, 0), p3(0, 1, 0), p4(0, 0, 1);
  unsigned int count = 0;
  double w[1], x[1], y[1], z[1];
  NumericalIntegrationTetrahedron(1, p1, p2, p3, p4, count, w, x, y, z);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(w[0], 1.0 / 6.0);
  EXPECT_TRUE(x[0] == 0.25 && y[0] == 0.25 && z[0] == 0.25);
}

TEST(TetrahedronMapping, RandomTetrahedraIntegratePolynomialsOfTheRuleDegree) {
  std::mt19937_64 rng(19);
  std::uniform_real_distribution<double> coord(-3.0, 3.0);
  for (int trial = 0; trial < 200; ++trial) {
    CPoint3D p[4];
    for (CPoint3D& q : p)
      q = CPoint3D(coord(rng), coord(rng), coord(rng));
    const Form l = RandomForm(rng);
    const unsigned int order = trial % 2 == 0 ? 1 : 4;
    const int degree = order == 1 ? 1 : 2;
    unsigned int count = 0;
    double w[4], x[4], y[4], z[4];
    NumericalIntegrationTetrahedron(order, p[0], p[1], p[2], p[3], count, w, x, y, z);
    ASSERT_EQ(count, order);
    const CPoint3D a = p[1] - p[0], b = p[2] - p[0], c = p[3] - p[0];
    const double volume =
        std::fabs(a.x * (b.y * c.z - b.z * c.y) - a.y * (b.x * c.z - b.z * c.x) + a.z * (b.x * c.y - b.y * c.x)) / 6;
    const RuleSum r = Apply(count, w, [&](unsigned int i) { return std::pow(l(x[i], y[i], z[i]), degree); });
    EXPECT_NEAR(r.weights, volume, kTight * (1 + volume));
    std::vector<double> vertexValues;
    for (const CPoint3D& q : p)
      vertexValues.push_back(l(q.x, q.y, q.z));
    EXPECT_NEAR(r.sum, SimplexIntegral(vertexValues, degree, volume), kTight * (r.scale + 1)) << trial;
  }
}

TEST(TetrahedronMapping, CountFollowsTheOrderWithPaddingPastTheTable) {
  CPoint3D p1(1, 2, 3), p2(4, 2, 3), p3(1, 5, 3), p4(1, 2, 6);
  double w[8], x[8], y[8], z[8], w4[4], x4[4], y4[4], z4[4];
  for (double& v : w)
    v = -1.0;
  unsigned int count = 0;
  NumericalIntegrationTetrahedron(0, p1, p2, p3, p4, count, w, x, y, z);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[0], -1.0);
  NumericalIntegrationTetrahedron(2, p1, p2, p3, p4, count, w, x, y, z);
  EXPECT_EQ(count, 2u); // kept: two points of the four-point rule
  EXPECT_EQ(w[2], -1.0);
  NumericalIntegrationTetrahedron(4, p1, p2, p3, p4, count, w4, x4, y4, z4);
  NumericalIntegrationTetrahedron(7, p1, p2, p3, p4, count, w, x, y, z);
  EXPECT_EQ(count, 7u);
  for (int i = 0; i < 4; ++i)
    EXPECT_TRUE(w[i] == w4[i] && x[i] == x4[i] && y[i] == y4[i] && z[i] == z4[i]) << i;
  for (int i = 4; i < 7; ++i)
    EXPECT_TRUE(w[i] == 0.0 && x[i] == 1.0 && y[i] == 2.0 && z[i] == 3.0) << i;
  EXPECT_EQ(w[7], -1.0);
  EXPECT_DOUBLE_EQ(w4[0] + w4[1] + w4[2] + w4[3], 4.5);
}

// Equally spaced points integrate degree n − 1, and degree n for odd n.
void ExpectNewtonCotes(unsigned int n, const double* w, double tolerance) {
  const unsigned int degree = n % 2 == 1 ? n : n - 1;
  for (unsigned int k = 0; k <= degree; ++k) {
    const RuleSum r = Apply(n, w, [&](unsigned int i) { return std::pow(static_cast<double>(i) / (n - 1), k); });
    EXPECT_NEAR(r.sum, 1.0 / (k + 1), tolerance) << n << " points, degree " << k;
  }
}

TEST(NewtonCotes, SmallCountsCopyTheStoredTables) {
  double w[5] = {-1, -1, -1, -1, -1};
  NumericalIntegrationLine(0u, w);
  EXPECT_EQ(w[0], -1.0);
  NumericalIntegrationLine(1u, w);
  EXPECT_EQ(w[0], 0.5); // kept: one point weighs 0.5, not 1
  EXPECT_EQ(w[1], -1.0);
  NumericalIntegrationLine(2u, w);
  EXPECT_EQ(w[1], 0.5);
  for (unsigned int n = 3; n <= 5; ++n) {
    NumericalIntegrationLine(n, w);
    ExpectNewtonCotes(n, w, kTight);
  }
}

TEST(NewtonCotes, MomentEquationsFromSixPointsOnward) {
  double w[6];
  NumericalIntegrationLine(6u, w);
  const double expected[] = {19, 75, 50, 50, 75, 19};
  for (int i = 0; i < 6; ++i)
    EXPECT_NEAR(w[i], expected[i] / 288, 1e-12) << i; // the moment matrix is ill-conditioned
  for (unsigned int n = 6; n <= 12; ++n) {
    std::vector<double> weights(n);
    NumericalIntegrationLine(n, weights.data());
    ExpectNewtonCotes(n, weights.data(), 1e-11);
    for (unsigned int i = 0; i < n; ++i)
      EXPECT_NEAR(weights[i], weights[n - 1 - i], 1e-8);
  }
  std::vector<double> nine(9);
  NumericalIntegrationLine(9u, nine.data());
  EXPECT_LT(nine[2], 0.0);
}

TEST(NewtonCotes, OversizedCountsReportTheAllocatorCeiling) {
  double w[1] = {-1.0};
  const std::string ceiling = test::CatalogueText(202);
  for (unsigned int n : {100000u, 1u << 31, UINT_MAX})
    EXPECT_EQ(test::ThrownText([&] { NumericalIntegrationLine(n, w); }), ceiling) << n;
  EXPECT_EQ(w[0], -1.0);
}

} // namespace
} // namespace zel
