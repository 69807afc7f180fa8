#include "zeltools/numerics/quadrature.h"

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

// Exact integrals of a power of a linear form over a simplex: for a simplex
// of dimension d and measure |S| whose vertices take the values v_0 … v_d of
// the form l, ∫_S l^k = |S|·d!·k!/(k + d)! · h_k(v), h_k the complete
// homogeneous symmetric polynomial. Powers of linear forms span every
// polynomial of degree k, so they test a rule on all of them.
double CompleteHomogeneous(const std::vector<double>& v, int k) {
  std::vector<double> h(k + 1, 0.0);
  h[0] = 1.0;
  for (double value : v)
    for (int j = 1; j <= k; ++j)
      h[j] += value * h[j - 1];
  return h[k];
}

double SimplexIntegral(const std::vector<double>& vertexValues, int k, double measure) {
  const int d = static_cast<int>(vertexValues.size()) - 1;
  double factor = 1.0; // d!·k!/(k + d)!
  for (int i = 1; i <= d; ++i)
    factor = factor * i / (k + i);
  return measure * factor * CompleteHomogeneous(vertexValues, k);
}

// ∫ L1^a L2^b (L3^c) over the reference simplex, divided by its measure, so
// that it compares with weights summing to 1.
double Factorial(int n) { return n <= 1 ? 1.0 : n * Factorial(n - 1); }
double TriangleMoment(int a, int b) { return 2.0 * Factorial(a) * Factorial(b) / Factorial(a + b + 2); }
double TetrahedronMoment(int a, int b, int c) {
  return 6.0 * Factorial(a) * Factorial(b) * Factorial(c) / Factorial(a + b + c + 3);
}

// Tolerance for sums with the 15-digit literals of the tables.
constexpr double kTight = 1e-13;

struct LineCase {
  unsigned int order;
  unsigned int points;
};

TEST(LineRules, EachOrderIntegratesExactlyUpToItsDegreeAndNoFurther) {
  for (unsigned int n = 1; n <= 7; ++n) {
    unsigned int count = 0;
    const double* w = nullptr;
    const double* t = nullptr;
    NumericalIntegrationLine(n, count, w, t);
    ASSERT_EQ(count, n);
    for (unsigned int k = 0; k <= 2 * n; ++k) {
      double sum = 0.0;
      for (unsigned int i = 0; i < n; ++i)
        sum += w[i] * std::pow(t[i], k);
      const double exact = 1.0 / (k + 1);
      if (k < 2 * n)
        EXPECT_NEAR(sum, exact, kTight) << n << " points, degree " << k;
      else
        EXPECT_GT(std::fabs(sum - exact), 1e-9) << n << " points must not be exact at degree " << k;
    }
    for (unsigned int i = 0; i < n; ++i) {
      EXPECT_NEAR(t[i] + t[n - 1 - i], 1.0, kTight);
      EXPECT_EQ(w[i], w[n - 1 - i]);
      if (i > 0)
        EXPECT_LT(t[i - 1], t[i]);
    }
  }
}

TEST(LineRules, OrdersOutsideTheTablesGiveTheFivePointRule) {
  unsigned int count = 0;
  const double* w5 = nullptr;
  const double* t5 = nullptr;
  NumericalIntegrationLine(5, count, w5, t5);
  for (unsigned int order : {0u, 8u, 9u, 1000u, UINT_MAX}) {
    const double* w = nullptr;
    const double* t = nullptr;
    count = 0;
    NumericalIntegrationLine(order, count, w, t);
    EXPECT_EQ(count, 5u) << order;
    EXPECT_EQ(w, w5);
    EXPECT_EQ(t, t5);
  }
}

TEST(LineRules, GaussPointLineSelectsUpToFiveAndIgnoresOrderZero) {
  const double marker = 0.0;
  const double* w = &marker;
  const double* t = &marker;
  GaussPointLine(0, w, t);
  EXPECT_EQ(w, &marker);
  EXPECT_EQ(t, &marker);
  for (unsigned int order : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 100u, UINT_MAX}) {
    unsigned int count = 0;
    const double* we = nullptr;
    const double* te = nullptr;
    NumericalIntegrationLine(order < 5 ? order : 5, count, we, te);
    GaussPointLine(order, w, t);
    EXPECT_EQ(w, we) << order;
    EXPECT_EQ(t, te) << order;
  }
}

struct TriangleRule {
  unsigned int points;
  int degree;
};

void ExpectTriangleRule(const double* w, const double* l1, const double* l2, const TriangleRule& rule) {
  double sumW = 0.0;
  for (unsigned int i = 0; i < rule.points; ++i) {
    sumW += w[i];
    EXPECT_GE(l1[i], 0.0);
    EXPECT_GE(l2[i], 0.0);
    EXPECT_LE(l1[i] + l2[i], 1.0);
  }
  EXPECT_NEAR(sumW, 1.0, kTight);
  double worstAbove = 0.0;
  for (int degree = 0; degree <= rule.degree + 1; ++degree) {
    for (int a = 0; a <= degree; ++a) {
      const int b = degree - a;
      double sum = 0.0;
      for (unsigned int i = 0; i < rule.points; ++i)
        sum += w[i] * std::pow(l1[i], a) * std::pow(l2[i], b);
      if (degree <= rule.degree)
        EXPECT_NEAR(sum, TriangleMoment(a, b), kTight) << rule.points << " points, L1^" << a << " L2^" << b;
      else
        worstAbove = std::max(worstAbove, std::fabs(sum - TriangleMoment(a, b)));
    }
  }
  EXPECT_GT(worstAbove, 1e-9) << rule.points << " points must not be exact at degree " << rule.degree + 1;
}

TEST(TriangleRules, OrdersSelectRulesThatIntegrateTheirDegree) {
  // (order, points, degree) for NumericalIntegrationTriangle.
  const struct {
    unsigned int order;
    TriangleRule rule;
  } cases[] = {{1, {1, 1}},   {2, {3, 2}},   {3, {3, 2}},   {4, {7, 5}},    {7, {7, 5}},
               {8, {12, 6}},  {12, {12, 6}}, {13, {16, 8}}, {0, {16, 8}},   {UINT_MAX, {16, 8}}};
  for (const auto& c : cases) {
    unsigned int count = 0;
    const double *w = nullptr, *l1 = nullptr, *l2 = nullptr;
    NumericalIntegrationTriangle(c.order, count, w, l1, l2);
    EXPECT_EQ(count, c.rule.points) << c.order;
    ExpectTriangleRule(w, l1, l2, c.rule);
  }
}

TEST(TriangleRules, GaussPointTriangKeepsItsOwnCentroidAndDefaultsToTwelvePoints) {
  const double *w = nullptr, *l1 = nullptr, *l2 = nullptr;
  GaussPointTriang(1, w, l1, l2);
  EXPECT_EQ(w[0], 1.0);
  EXPECT_EQ(l1[0], 0.333333333333332);
  EXPECT_EQ(l2[0], 0.333333333333332);
  const struct {
    unsigned int order;
    unsigned int sameAs;
  } cases[] = {{2, 2}, {3, 3}, {4, 4}, {7, 7}, {8, 8}, {0, 8}, {13, 8}, {UINT_MAX, 8}};
  for (const auto& c : cases) {
    unsigned int count = 0;
    const double *we = nullptr, *l1e = nullptr, *l2e = nullptr;
    NumericalIntegrationTriangle(c.sameAs, count, we, l1e, l2e);
    GaussPointTriang(c.order, w, l1, l2);
    EXPECT_EQ(w, we) << c.order;
    EXPECT_EQ(l1, l1e) << c.order;
    EXPECT_EQ(l2, l2e) << c.order;
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
          double sum = 0.0;
          for (unsigned int i = 0; i < points; ++i)
            sum += w[i] * std::pow(l1[i], a) * std::pow(l2[i], b) * std::pow(l3[i], c);
          EXPECT_NEAR(sum, TetrahedronMoment(a, b, c), kTight) << order << ": " << a << b << c;
        }
  }
}

TEST(IntervalMapping, ReversedEndsGivePositiveWeights) {
  unsigned int count = 0;
  double w[2], p[2];
  NumericalIntegrationLine(2, 2.0, 0.0, count, w, p);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(w[0], 1.0);
  EXPECT_EQ(w[1], 1.0);
  EXPECT_EQ(p[0], 2.0 - 2.0 * 0.211324865405187);
  EXPECT_EQ(p[1], 2.0 - 2.0 * 0.788675134594813);
}

TEST(IntervalMapping, OrderZeroWritesNothingAndLargeOrdersWriteFivePoints) {
  unsigned int count = 99;
  double w[8] = {-1, -1, -1, -1, -1, -1, -1, -1}, p[8];
  NumericalIntegrationLine(0, 1.0, 3.0, count, w, p);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[0], -1.0);
  NumericalIntegrationLine(8, 1.0, 3.0, count, w, p);
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(w[5], -1.0);
  double w5[5], p5[5];
  NumericalIntegrationLine(5, 1.0, 3.0, count, w5, p5);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(w[i], w5[i]);
    EXPECT_EQ(p[i], p5[i]);
  }
}

TEST(IntervalMapping, RandomIntervalsIntegratePolynomialsOfTheRuleDegree) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-5.0, 5.0);
  for (int trial = 0; trial < 200; ++trial) {
    const double a = coord(rng), b = coord(rng), slope = coord(rng), shift = coord(rng);
    const unsigned int order = 1 + trial % 7;
    unsigned int count = 0;
    double w[7], p[7];
    NumericalIntegrationLine(order, a, b, count, w, p);
    ASSERT_EQ(count, order);
    const int k = static_cast<int>(2 * order - 1);
    double sum = 0.0, scale = 0.0;
    for (unsigned int i = 0; i < count; ++i) {
      EXPECT_GT(w[i], 0.0);
      EXPECT_GE(p[i], std::min(a, b));
      EXPECT_LE(p[i], std::max(a, b));
      const double f = std::pow(slope * p[i] + shift, k);
      sum += w[i] * f;
      scale += std::fabs(w[i] * f);
    }
    const double exact = SimplexIntegral({slope * a + shift, slope * b + shift}, k, std::fabs(b - a));
    EXPECT_NEAR(sum, exact, kTight * (scale + 1.0)) << trial;
  }
}

TEST(SegmentMapping, DegenerateSegmentWritesNothing) {
  unsigned int count = 99;
  double w[1] = {-1.0}, x[1] = {-1.0}, y[1] = {-1.0};
  NumericalIntegrationLine(3, 1.5, -2.0, 1.5, -2.0, count, w, x, y);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(w[0], -1.0);
  EXPECT_EQ(x[0], -1.0);
  EXPECT_EQ(y[0], -1.0);
}

TEST(SegmentMapping, PointsLieOnTheSegmentAndIntegrateAlongIt) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> coord(-5.0, 5.0);
  for (int trial = 0; trial < 200; ++trial) {
    const double x1 = coord(rng), y1 = coord(rng), x2 = coord(rng), y2 = coord(rng);
    const double alpha = coord(rng), beta = coord(rng), gamma = coord(rng);
    const unsigned int order = 1 + trial % 7;
    unsigned int count = 0;
    double w[7], x[7], y[7];
    NumericalIntegrationLine(order, x1, y1, x2, y2, count, w, x, y);
    ASSERT_EQ(count, order);
    const double length = std::hypot(x2 - x1, y2 - y1);
    const int k = static_cast<int>(2 * order - 1);
    double sumW = 0.0, sum = 0.0, scale = 0.0;
    for (unsigned int i = 0; i < count; ++i) {
      // Collinear with the ends.
      EXPECT_NEAR((x[i] - x1) * (y2 - y1) - (y[i] - y1) * (x2 - x1), 0.0, 1e-12);
      sumW += w[i];
      const double f = std::pow(alpha * x[i] + beta * y[i] + gamma, k);
      sum += w[i] * f;
      scale += std::fabs(w[i] * f);
    }
    EXPECT_NEAR(sumW, length, kTight * length);
    const double exact =
        SimplexIntegral({alpha * x1 + beta * y1 + gamma, alpha * x2 + beta * y2 + gamma}, k, length);
    EXPECT_NEAR(sum, exact, kTight * (scale + 1.0)) << trial;
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
    unsigned int order;
    unsigned int points;
    int degree;
  } rules[] = {{1, 1, 1}, {3, 3, 2}, {5, 7, 5}, {10, 12, 6}, {20, 16, 8}};
  for (int trial = 0; trial < 250; ++trial) {
    const auto& rule = rules[trial % 5];
    double v[6];
    for (double& c : v)
      c = coord(rng);
    const double alpha = coord(rng), beta = coord(rng), gamma = coord(rng);
    unsigned int count = 0;
    double w[16], x[16], y[16];
    NumericalIntegrationTriangle(rule.order, v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    ASSERT_EQ(count, rule.points);
    const double area = 0.5 * std::fabs((v[2] - v[0]) * (v[5] - v[1]) - (v[4] - v[0]) * (v[3] - v[1]));
    double sumW = 0.0, sum = 0.0, scale = 0.0;
    for (unsigned int i = 0; i < count; ++i) {
      sumW += w[i];
      const double f = std::pow(alpha * x[i] + beta * y[i] + gamma, rule.degree);
      sum += w[i] * f;
      scale += std::fabs(w[i] * f);
    }
    EXPECT_NEAR(sumW, area, kTight * (area + 1.0));
    const auto l = [&](int i) { return alpha * v[2 * i] + beta * v[2 * i + 1] + gamma; };
    EXPECT_NEAR(sum, SimplexIntegral({l(0), l(1), l(2)}, rule.degree, area), kTight * (scale + 1.0)) << trial;
  }
}

TEST(RectangleMapping, TwoByTwoOnTwoByThreeListsYFastest) {
  unsigned int count = 0;
  double w[4], x[4], y[4];
  NumericalIntegrationQuadrangle(2, 2.0, 3.0, count, w, x, y);
  ASSERT_EQ(count, 4u);
  EXPECT_DOUBLE_EQ(w[0] + w[1] + w[2] + w[3], 6.0);
  EXPECT_EQ(x[0], x[1]);
  EXPECT_EQ(x[2], x[3]);
  EXPECT_LT(x[0], x[2]);
  EXPECT_EQ(y[0], y[2]);
  EXPECT_LT(y[0], y[1]);
  EXPECT_EQ(w[0], 0.5 * 0.5 * 2.0 * 3.0);
  EXPECT_EQ(y[1], 0.788675134594813 * 3.0);
}

// Checks a product rule on [0, a] × [0, b] (× [0, c]) monomial by monomial up
// to the degree of the line rule in each variable.
TEST(RectangleMapping, ProductRulesAreExactPerVariable) {
  const double a = 1.7, b = 0.6;
  for (unsigned int order = 1; order <= 7; ++order) {
    unsigned int count = 0;
    double w[49], x[49], y[49];
    NumericalIntegrationQuadrangle(order, a, b, count, w, x, y);
    ASSERT_EQ(count, order * order);
    const int top = static_cast<int>(2 * order - 1);
    for (int p = 0; p <= top; ++p)
      for (int q = 0; q <= top; ++q) {
        double sum = 0.0;
        for (unsigned int i = 0; i < count; ++i)
          sum += w[i] * std::pow(x[i], p) * std::pow(y[i], q);
        const double exact = std::pow(a, p + 1) * std::pow(b, q + 1) / ((p + 1) * (q + 1));
        EXPECT_NEAR(sum, exact, kTight * (1.0 + exact)) << order << ": x^" << p << " y^" << q;
      }
  }
  unsigned int count = 0;
  std::vector<double> w(64), x(64), y(64);
  NumericalIntegrationQuadrangle(9, a, b, count, w.data(), x.data(), y.data());
  EXPECT_EQ(count, 25u);
  NumericalIntegrationQuadrangle(0, a, b, count, w.data(), x.data(), y.data());
  EXPECT_EQ(count, 0u);
}

TEST(ParallelogramMapping, CornersAreP1AndItsTwoNeighbours) {
  // The unit square given as (0,0), (2,0), (0,3): the same points and
  // weights as the rectangle routine on 2 × 3.
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
}

TEST(ParallelogramMapping, DegenerateShapesWriteNothing) {
  unsigned int count = 99;
  double w[1] = {-1.0}, x[1], y[1];
  NumericalIntegrationQuadrangle(2, 1.0, 1.0, 1.0, 1.0, 4.0, 5.0, count, w, x, y); // P2 = P1
  EXPECT_EQ(count, 0u);
  count = 99;
  NumericalIntegrationQuadrangle(2, 0.0, 0.0, 1.0, 1.0, 3.0, 3.0, count, w, x, y); // collinear
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
    const double alpha = coord(rng), beta = coord(rng), gamma = coord(rng);
    const unsigned int order = 1 + trial % 7;
    unsigned int count = 0;
    double w[49], x[49], y[49];
    NumericalIntegrationQuadrangle(order, v[0], v[1], v[2], v[3], v[4], v[5], count, w, x, y);
    ASSERT_EQ(count, order * order);
    const double cross = (v[2] - v[0]) * (v[5] - v[1]) - (v[3] - v[1]) * (v[4] - v[0]);
    const int k = static_cast<int>(2 * order - 1);
    double sumW = 0.0, sum = 0.0, scale = 0.0;
    for (unsigned int i = 0; i < count; ++i) {
      EXPECT_GT(w[i], 0.0);
      sumW += w[i];
      const double f = std::pow(alpha * x[i] + beta * y[i] + gamma, k);
      sum += w[i] * f;
      scale += std::fabs(w[i] * f);
    }
    EXPECT_NEAR(sumW, std::fabs(cross), kTight * (1.0 + std::fabs(cross)));
    // The parallelogram is the triangles P1 P2 P3 and P4 P3 P2.
    const auto l = [&](double px, double py) { return alpha * px + beta * py + gamma; };
    const double l1 = l(v[0], v[1]), l2 = l(v[2], v[3]), l3 = l(v[4], v[5]);
    const double l4 = l(v[2] + v[4] - v[0], v[3] + v[5] - v[1]);
    const double half = 0.5 * std::fabs(cross);
    const double exact = SimplexIntegral({l1, l2, l3}, k, half) + SimplexIntegral({l4, l3, l2}, k, half);
    EXPECT_NEAR(sum, exact, kTight * (scale + 1.0)) << trial;
  }
}

TEST(BoxMapping, ProductRulesAreExactPerVariableWithPositiveWeights) {
  const double a = 1.3, b = -0.7, c = 2.1; // a negative side mirrors the box
  for (unsigned int order = 1; order <= 7; ++order) {
    unsigned int count = 0;
    const unsigned int n = order * order * order;
    std::vector<double> w(n), x(n), y(n), z(n);
    NumericalIntegrationParallelepiped(order, a, b, c, count, w.data(), x.data(), y.data(), z.data());
    ASSERT_EQ(count, n);
    // z fastest, then y, x slowest.
    if (order > 1) {
      EXPECT_EQ(x[0], x[1]);
      EXPECT_EQ(y[0], y[1]);
      EXPECT_NE(z[0], z[1]);
      EXPECT_EQ(x[0], x[order]);
      EXPECT_NE(y[0], y[order]);
      EXPECT_NE(x[0], x[order * order]);
    }
    for (unsigned int i = 0; i < count; ++i)
      EXPECT_GT(w[i], 0.0);
    const int top = static_cast<int>(2 * order - 1);
    for (int p = 0; p <= top; p += (order > 3 ? 2 : 1))
      for (int q = 0; q <= top; q += (order > 3 ? 3 : 1))
        for (int r = top; r >= 0; r -= (order > 3 ? 4 : 1)) {
          double sum = 0.0;
          for (unsigned int i = 0; i < count; ++i)
            sum += w[i] * std::pow(x[i], p) * std::pow(y[i], q) * std::pow(z[i], r);
          // ∫ over the box between 0 and each side, of measure |a·b·c|.
          const double exact = std::pow(a, p) * std::pow(b, q) * std::pow(c, r) * std::fabs(a * b * c) /
                               ((p + 1) * (q + 1) * (r + 1));
          EXPECT_NEAR(sum, exact, kTight * (1.0 + std::fabs(exact))) << order << ": " << p << q << r;
        }
  }
  unsigned int count = 99;
  double w[1], x[1], y[1], z[1];
  NumericalIntegrationParallelepiped(0, a, b, c, count, w, x, y, z);
  EXPECT_EQ(count, 0u);
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
  // 3, 4 and 5 points integrate degrees 3, 3 and 5 on equally spaced points.
  const int degree[] = {0, 0, 0, 3, 3, 5};
  for (unsigned int n = 3; n <= 5; ++n) {
    NumericalIntegrationLine(n, w);
    for (int k = 0; k <= degree[n]; ++k) {
      double sum = 0.0;
      for (unsigned int i = 0; i < n; ++i)
        sum += w[i] * std::pow(static_cast<double>(i) / (n - 1), k);
      EXPECT_NEAR(sum, 1.0 / (k + 1), kTight) << n << " points, degree " << k;
    }
  }
}

} // namespace
} // namespace zel
