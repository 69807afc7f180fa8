#include "zeltools/numerics/quadrature.h"

#include <cmath>
#include <cstdint>

#include "zeltools/geometry/point3d.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/work_array.h"

namespace zel {
namespace {

// The literals below are the library's stored tables, digit for digit: most
// are rounded to 15 significant digits, a few carry full precision. They are
// not to be "improved", since results computed with them are compared with
// results stored by earlier versions.

// --- Gauss–Legendre on [0, 1] ------------------------------------------------

// 1 point, degree 1, Gauss–Legendre.
constexpr double kLineW1[] = {1.0};
constexpr double kLineT1[] = {0.5};
// 2 points, degree 3, Gauss–Legendre.
constexpr double kLineW2[] = {0.5, 0.5};
constexpr double kLineT2[] = {0.211324865405187, 0.788675134594813};
// 3 points, degree 5, Gauss–Legendre.
constexpr double kLineW3[] = {0.277777777777778, 0.444444444444444, 0.277777777777778};
constexpr double kLineT3[] = {0.112701665379258, 0.5, 0.887298334620742};
// 4 points, degree 7, Gauss–Legendre.
constexpr double kLineW4[] = {0.173927422568727, 0.326072577431273, 0.326072577431273, 0.173927422568727};
constexpr double kLineT4[] = {0.069431844202974, 0.330009478207572, 0.669990521792428, 0.930568155797026};
// 5 points, degree 9, Gauss–Legendre; the default rule of the line routines.
constexpr double kLineW5[] = {0.118463442528095, 0.239314335249683, 0.284444444444444, 0.239314335249683,
                              0.118463442528095};
constexpr double kLineT5[] = {0.046910077030668, 0.230765344947158, 0.5, 0.769234655052842, 0.953089922969332};
// 6 points, degree 11, Gauss–Legendre (full precision).
constexpr double kLineW6[] = {0.0856622461895852, 0.1803807865240693, 0.2339569672863455,
                              0.2339569672863455, 0.1803807865240693, 0.0856622461895852};
constexpr double kLineT6[] = {0.033765242898423975, 0.16939530676686776, 0.38069040695840156,
                              0.6193095930415985,   0.8306046932331322,  0.966234757101576};
// 7 points, degree 13, Gauss–Legendre (full precision).
constexpr double kLineW7[] = {0.06474248308443485, 0.1398526957446383, 0.19091502525255946, 0.20897959183673476,
                              0.19091502525255946, 0.1398526957446383, 0.06474248308443485};
constexpr double kLineT7[] = {0.025446043828620757, 0.12923440720030277, 0.2970774243113014, 0.5,
                              0.7029225756886985,   0.8707655927996972,  0.9745539561713792};

constexpr unsigned int kLineMaxPoints = 7;
constexpr unsigned int kLineDefaultPoints = 5;

struct LineRule {
  const double* weights;
  const double* points;
};
constexpr LineRule kLineRules[kLineMaxPoints + 1] = {
    {kLineW5, kLineT5}, {kLineW1, kLineT1}, {kLineW2, kLineT2}, {kLineW3, kLineT3},
    {kLineW4, kLineT4}, {kLineW5, kLineT5}, {kLineW6, kLineT6}, {kLineW7, kLineT7},
};

// --- triangles, area coordinates (weight, L1, L2 per point) -----------------

// 1 point, degree 1, centroid; the final digit 2 is the stored table's own.
constexpr double kTriW1Old[] = {1.0};
constexpr double kTriL1Old[] = {0.333333333333332};
constexpr double kTriL2Old[] = {0.333333333333332};
// 1 point, degree 1, centroid.
constexpr double kTriW1[] = {1.0};
constexpr double kTriL1[] = {0.333333333333333};
constexpr double kTriL2[] = {0.333333333333333};
// 3 points, degree 2, interior points (1/6, 1/6), (2/3, 1/6), (1/6, 2/3).
constexpr double kTriW3[] = {0.333333333333333, 0.333333333333333, 0.333333333333333};
constexpr double kTriL13[] = {0.166666666666666, 0.666666666666666, 0.166666666666666};
constexpr double kTriL23[] = {0.166666666666666, 0.166666666666666, 0.666666666666666};
// 7 points, degree 5, symmetric (centroid and two orbits of three).
constexpr double kTriW7[] = {0.225,
                             0.125939180544827, 0.125939180544827, 0.125939180544827,
                             0.132394152788506, 0.132394152788506, 0.132394152788506};
constexpr double kTriL17[] = {0.333333333333333, 0.797426985353087, 0.101286507323456, 0.101286507323456,
                              0.05971587178977,  0.470142064105115, 0.470142064105115};
constexpr double kTriL27[] = {0.333333333333333, 0.101286507323456, 0.797426985353087, 0.101286507323456,
                              0.470142064105115, 0.05971587178977,  0.470142064105115};
// 12 points, degree 6, symmetric (two orbits of three, one of six).
constexpr double kTriW12[] = {0.050844906370207, 0.050844906370207, 0.050844906370207,
                              0.116786275726379, 0.116786275726379, 0.116786275726379,
                              0.082851075618374, 0.082851075618374, 0.082851075618374,
                              0.082851075618374, 0.082851075618374, 0.082851075618374};
constexpr double kTriL112[] = {0.873821971016996, 0.063089014491502, 0.063089014491502, 0.501426509658179,
                               0.24928674517091,  0.24928674517091,  0.636502499121399, 0.636502499121399,
                               0.310352451033785, 0.310352451033785, 0.053145049844816, 0.053145049844816};
constexpr double kTriL212[] = {0.063089014491502, 0.873821971016996, 0.063089014491502, 0.24928674517091,
                               0.501426509658179, 0.24928674517091,  0.310352451033785, 0.053145049844816,
                               0.636502499121399, 0.053145049844816, 0.636502499121399, 0.310352451033785};
// 16 points, degree 8, symmetric (centroid, three orbits of three, one of
// six), full precision.
constexpr double kTriW16[] = {0.14431560767778717,
                              0.10321737053471824, 0.10321737053471824, 0.10321737053471824,
                              0.03245849762319808, 0.03245849762319808, 0.03245849762319808,
                              0.09509163426728462, 0.09509163426728462, 0.09509163426728462,
                              0.027230314174434993, 0.027230314174434993, 0.027230314174434993,
                              0.027230314174434993, 0.027230314174434993, 0.027230314174434993};
constexpr double kTriL116[] = {0.3333333333333333,   0.1705693077517602,   0.1705693077517602,
                               0.6588613844964796,   0.05054722831703098,  0.05054722831703098,
                               0.8989055433659381,   0.4592925882927232,   0.4592925882927232,
                               0.0814148234145537,   0.2631128296346381,   0.2631128296346381,
                               0.008394777409957605, 0.008394777409957605, 0.7284923929554042,
                               0.7284923929554042};
constexpr double kTriL216[] = {0.3333333333333333,   0.1705693077517602,   0.6588613844964796,
                               0.1705693077517602,   0.05054722831703098,  0.8989055433659381,
                               0.05054722831703098,  0.4592925882927232,   0.0814148234145537,
                               0.4592925882927232,   0.008394777409957605, 0.7284923929554042,
                               0.2631128296346381,   0.7284923929554042,   0.2631128296346381,
                               0.008394777409957605};

// --- tetrahedra, volume coordinates (weight, L1, L2, L3 per point) ----------

// 1 point, degree 1, centroid.
constexpr double kTetW1[] = {1.0};
constexpr double kTetL1[] = {0.25};
// 4 points, degree 2, symmetric: alpha = 0.1381966011250105 and
// beta = 0.5854101966249684, point k having beta in coordinate k (the first
// point has alpha everywhere, so beta sits in the implicit fourth coordinate).
constexpr double kTetAlpha = 0.1381966011250105;
constexpr double kTetBeta = 0.5854101966249684;
constexpr double kTetW4[] = {0.25, 0.25, 0.25, 0.25};
constexpr double kTetL14[] = {kTetAlpha, kTetBeta, kTetAlpha, kTetAlpha};
constexpr double kTetL24[] = {kTetAlpha, kTetAlpha, kTetBeta, kTetAlpha};
constexpr double kTetL34[] = {kTetAlpha, kTetAlpha, kTetAlpha, kTetBeta};

// --- Newton–Cotes on [0, 1], ends included ---------------------------------

// 3 points, degree 3, Simpson.
constexpr double kCotes3[] = {0.16666666666666666, 0.6666666666666666, 0.16666666666666666};
// 4 points, degree 3, three-eighths rule.
constexpr double kCotes4[] = {0.125, 0.375, 0.375, 0.125};
// 5 points, degree 5, Boole.
constexpr double kCotes5[] = {0.0777777777777778, 0.3555555555555556, 0.1333333333333333, 0.3555555555555556,
                              0.0777777777777778};

struct TriangleRule {
  unsigned int count;
  const double* weights;
  const double* l1;
  const double* l2;
};
constexpr TriangleRule kTriangle1Old = {1, kTriW1Old, kTriL1Old, kTriL2Old};
constexpr TriangleRule kTriangle1 = {1, kTriW1, kTriL1, kTriL2};
constexpr TriangleRule kTriangle3 = {3, kTriW3, kTriL13, kTriL23};
constexpr TriangleRule kTriangle7 = {7, kTriW7, kTriL17, kTriL27};
constexpr TriangleRule kTriangle12 = {12, kTriW12, kTriL112, kTriL212};
constexpr TriangleRule kTriangle16 = {16, kTriW16, kTriL116, kTriL216};

// Orders 1; 2–3; 4–7; 8–12; everything else (0, 13 and above) 16 points.
const TriangleRule& SelectTriangle(unsigned int order) {
  if (order == 1)
    return kTriangle1;
  if (order == 2 || order == 3)
    return kTriangle3;
  if (order >= 4 && order <= 7)
    return kTriangle7;
  if (order >= 8 && order <= 12)
    return kTriangle12;
  return kTriangle16;
}

// The line rule the mapping routines use for `order`, with the number of
// points they write: orders beyond the tables fall back to the 5-point rule,
// so the loops never read past a table.
unsigned int MappedLineRule(unsigned int order, const double*& weights, const double*& points) {
  if (order == 0)
    return 0;
  unsigned int count = 0;
  NumericalIntegrationLine(order, count, weights, points);
  return count;
}

} // namespace

void GaussPointLine(unsigned int order, const double*& weights, const double*& points) {
  if (order == 0)
    return;
  const LineRule& rule = kLineRules[order < kLineDefaultPoints ? order : kLineDefaultPoints];
  weights = rule.weights;
  points = rule.points;
}

void NumericalIntegrationLine(unsigned int order, unsigned int& count, const double*& weights,
                              const double*& points) {
  count = order >= 1 && order <= kLineMaxPoints ? order : kLineDefaultPoints;
  weights = kLineRules[count].weights;
  points = kLineRules[count].points;
}

void GaussPointTriang(unsigned int order, const double*& weights, const double*& l1, const double*& l2) {
  // The older selection: its own centroid, and 12 points as the default.
  const TriangleRule& rule = order == 1                  ? kTriangle1Old
                             : order == 0 || order >= 8 ? kTriangle12
                                                         : SelectTriangle(order);
  weights = rule.weights;
  l1 = rule.l1;
  l2 = rule.l2;
}

void NumericalIntegrationTriangle(unsigned int order, unsigned int& count, const double*& weights,
                                  const double*& l1, const double*& l2) {
  const TriangleRule& rule = SelectTriangle(order);
  count = rule.count;
  weights = rule.weights;
  l1 = rule.l1;
  l2 = rule.l2;
}

void NumericalIntegrationTetrahedron(unsigned int order, unsigned int& count, const double*& weights,
                                     const double*& l1, const double*& l2, const double*& l3) {
  count = order;
  const bool centroid = order == 1;
  weights = centroid ? kTetW1 : kTetW4;
  l1 = centroid ? kTetL1 : kTetL14;
  l2 = centroid ? kTetL1 : kTetL24;
  l3 = centroid ? kTetL1 : kTetL34;
}

void NumericalIntegrationLine(unsigned int order, double a, double b, unsigned int& count, double* weights,
                              double* points) {
  const double* w = nullptr;
  const double* t = nullptr;
  const unsigned int n = MappedLineRule(order, w, t);
  const double length = std::fabs(b - a);
  for (unsigned int i = 0; i < n; ++i) {
    weights[i] = w[i] * length;
    points[i] = t[i] * (b - a) + a;
  }
  count = n;
}

void NumericalIntegrationLine(unsigned int order, double x1, double y1, double x2, double y2, unsigned int& count,
                              double* weights, double* x, double* y) {
  const double length = std::sqrt((x2 - x1) * (x2 - x1) + (y2 - y1) * (y2 - y1));
  if (length == 0.0) {
    count = 0;
    return;
  }
  // The rule on [0, 1] is the table itself: w·|1 − 0| and t·(1 − 0) + 0 are
  // exact, so no intermediate copy is needed.
  const double* w = nullptr;
  const double* t = nullptr;
  const unsigned int n = MappedLineRule(order, w, t);
  for (unsigned int i = 0; i < n; ++i) {
    weights[i] = w[i] * length;
    x[i] = t[i] * (x2 - x1) + x1;
    y[i] = t[i] * (y2 - y1) + y1;
  }
  count = n;
}

void NumericalIntegrationTriangle(unsigned int order, double x1, double y1, double x2, double y2, double x3,
                                  double y3, unsigned int& count, double* weights, double* x, double* y) {
  const double* w = nullptr;
  const double* l1 = nullptr;
  const double* l2 = nullptr;
  NumericalIntegrationTriangle(order, count, w, l1, l2);
  const double area = std::fabs((y3 - y1) * (x2 - x1) - (y2 - y1) * (x3 - x1)) * 0.5;
  for (unsigned int i = 0; i < count; ++i) {
    weights[i] = w[i] * area;
    x[i] = (x2 - x1) * l1[i] + x1 + l2[i] * (x3 - x1);
    y[i] = (y2 - y1) * l1[i] + y1 + l2[i] * (y3 - y1);
  }
}

void NumericalIntegrationQuadrangle(unsigned int order, double a, double b, unsigned int& count, double* weights,
                                    double* x, double* y) {
  const double* w = nullptr;
  const double* t = nullptr;
  const unsigned int n = MappedLineRule(order, w, t);
  count = 0;
  for (unsigned int i = 0; i < n; ++i) {
    for (unsigned int j = 0; j < n; ++j) {
      weights[count] = w[i] * w[j] * a * b;
      x[count] = t[i] * a;
      y[count] = t[j] * b;
      ++count;
    }
  }
}

void NumericalIntegrationQuadrangle(unsigned int order, double x1, double y1, double x2, double y2, double x3,
                                    double y3, unsigned int& count, double* weights, double* x, double* y) {
  count = 0;
  const double ex = x2 - x1;
  const double ey = y2 - y1;
  const double fx = x3 - x1;
  const double fy = y3 - y1;
  const double area = std::fabs(ex * fy - ey * fx);
  if (!(area > 0.0))
    return;
  const double* w = nullptr;
  const double* t = nullptr;
  const unsigned int n = MappedLineRule(order, w, t);
  for (unsigned int i = 0; i < n; ++i) {
    for (unsigned int j = 0; j < n; ++j) {
      weights[count] = w[i] * w[j] * area;
      x[count] = x1 + t[i] * ex + t[j] * fx;
      y[count] = y1 + t[i] * ey + t[j] * fy;
      ++count;
    }
  }
}

void NumericalIntegrationParallelepiped(unsigned int order, double a, double b, double c, unsigned int& count,
                                        double* weights, double* x, double* y, double* z) {
  const double* w = nullptr;
  const double* t = nullptr;
  const unsigned int n = MappedLineRule(order, w, t);
  const double volume = std::fabs(a * b * c);
  count = 0;
  for (unsigned int i = 0; i < n; ++i) {
    for (unsigned int j = 0; j < n; ++j) {
      for (unsigned int k = 0; k < n; ++k) {
        weights[count] = w[i] * w[j] * w[k] * volume;
        x[count] = t[i] * a;
        y[count] = t[j] * b;
        z[count] = t[k] * c;
        ++count;
      }
    }
  }
}

void NumericalIntegrationLine(unsigned int n, double* weights) {
  const double* table = nullptr;
  if (n < 3)
    table = kLineW2;
  else if (n == 3)
    table = kCotes3;
  else if (n == 4)
    table = kCotes4;
  else if (n == 5)
    table = kCotes5;
  if (table != nullptr) {
    for (unsigned int i = 0; i < n; ++i)
      weights[i] = table[i];
    return;
  }
  // Moment equations Σ_i w_i·x_iᵏ = 1/(k + 1), row k of the matrix holding
  // the k-th powers of the points, each power the previous one times x_i.
  const std::uint64_t size = n;
  internal::WorkArray moments(size * size + 1);
  const double last = static_cast<double>(n - 1);
  for (std::uint64_t i = 0; i < size; ++i)
    moments[i] = 1.0;
  for (std::uint64_t k = 1; k < size; ++k) {
    double* row = moments.data() + k * size;
    const double* previous = row - size;
    for (std::uint64_t i = 0; i < size; ++i)
      row[i] = previous[i] * (static_cast<double>(i) / last);
  }
  for (std::uint64_t k = 0; k < size; ++k)
    weights[k] = 1.0 / static_cast<double>(k + 1);
  // Mode 1: a degenerate unknown is suppressed (comes out practically zero),
  // never reported.
  Gauss(n, moments.data(), 1, weights, 1, 0.0);
}

void NumericalIntegrationTetrahedron(unsigned int order, CPoint3D& p1, CPoint3D& p2, CPoint3D& p3, CPoint3D& p4,
                                     unsigned int& count, double* weights, double* x, double* y, double* z) {
  const double *w = nullptr, *l1 = nullptr, *l2 = nullptr, *l3 = nullptr;
  NumericalIntegrationTetrahedron(order, count, w, l1, l2, l3);
  // Rows are the edges from p1.
  double edges[9] = {p2.x - p1.x, p2.y - p1.y, p2.z - p1.z, p3.x - p1.x, p3.y - p1.y,
                     p3.z - p1.z, p4.x - p1.x, p4.y - p1.y, p4.z - p1.z};
  const double volume = std::fabs(Det3x3(edges)) / 6.0;
  // count follows the order, the tables hold 1 or 4 points: entries past the
  // table are padding of weight 0 at p1, so sums over count stay right.
  const unsigned int stored = order == 1 ? 1 : 4;
  for (unsigned int i = 0; i < count; ++i) {
    if (i < stored) {
      weights[i] = w[i] * volume;
      x[i] = p1.x + l1[i] * edges[0] + l2[i] * edges[3] + l3[i] * edges[6];
      y[i] = p1.y + l1[i] * edges[1] + l2[i] * edges[4] + l3[i] * edges[7];
      z[i] = p1.z + l1[i] * edges[2] + l2[i] * edges[5] + l3[i] * edges[8];
    } else {
      weights[i] = 0.0;
      x[i] = p1.x;
      y[i] = p1.y;
      z[i] = p1.z;
    }
  }
}

} // namespace zel
