#include "zeltools/numerics/polynomial.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <cstdint>

namespace zel {
namespace {

// Exponents of x and y for each term of the plate basis, by total degree
// and, within a degree, by falling power of x.
constexpr unsigned char kStepX[StepPolyTerms] = {0, 1, 0, 2, 1, 0, 3, 2, 1, 0, 4, 3, 2, 1, 0,
                                                 5, 4, 3, 2, 1, 0, 6, 5, 4, 3, 2, 1, 0, 7, 6,
                                                 5, 4, 3, 2, 1, 0, 8, 7, 6, 5, 4, 3, 2, 1, 0};
constexpr unsigned char kStepY[StepPolyTerms] = {0, 0, 1, 0, 1, 2, 0, 1, 2, 3, 0, 1, 2, 3, 4,
                                                 0, 1, 2, 3, 4, 5, 0, 1, 2, 3, 4, 5, 6, 0, 1,
                                                 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 8};

constexpr bool StepTablesFollowTheBasisOrder() {
  unsigned int k = 0;
  for (unsigned int d = 0; d <= 8; ++d)
    for (unsigned int j = 0; j <= d; ++j, ++k)
      if (kStepX[k] != d - j || kStepY[k] != j)
        return false;
  return k == StepPolyTerms;
}
static_assert(StepTablesFollowTheBasisOrder(), "term k = d(d+1)/2 + j is x^(d-j)·y^j");

// |base|^e by repeated squaring, low bit first; e = 0 gives 1.
double PowerBySquaring(double base, unsigned int e) {
  double result = 1.0;
  while (e != 0) {
    if ((e & 1u) != 0)
      result *= base;
    e >>= 1;
    if (e != 0)
      base *= base;
  }
  return result;
}

// The cube-root exponent of the stored root finder: fifteen threes, not the
// exact third; results of earlier versions depend on it.
constexpr double kCubeRootExponent = 0.333333333333333;

// The constants below are written as double literals, as in the double
// version; in the long double version they are widened, not re-read.
template <class T>
int Quadratic(T a, T b, T c, T& x1, T& x2) {
  x1 = 0.0;
  x2 = 0.0;
  if (std::fabs(a) < std::fabs(b) * 1e-150 || a == 0.0) {
    if (b != 0.0) {
      x1 = -c / b;
      return 1;
    }
    return 0;
  }
  const T p = b / a;
  const T d = p * p - 4.0 * (c / a);
  if (d < -(std::fabs(c) + std::fabs(b) + std::fabs(a)) * 1e-10)
    return 0;
  const T s = d < 0.0 ? T(0.0) : std::sqrt(d);
  x1 = (-p - s) * 0.5;
  x2 = (s - p) * 0.5;
  return 2;
}

// Real cube root with the stored exponent; the sign is −1 exactly when the
// argument is negative.
template <class T>
T SignedCubeRoot(T z) {
  const T sign = z < 0.0 ? T(-1.0) : T(1.0);
  return sign * std::pow(std::fabs(z), static_cast<T>(kCubeRootExponent));
}

template <class T>
int Cubic(T a, T b, T c, T d, T& x1, T& x2, T& x3) {
  if (std::fabs(a) < std::fabs(b) * 1e-150 || a == 0.0)
    return Quadratic(b, c, d, x1, x2);
  // Reduced to y³ + 3·p3·y + 2·q2 = 0 with x = y − B/3; powers are repeated
  // products.
  const T B = b / a;
  const T p3 = ((c / a) * 3.0 - B * B) / 3.0 / 3.0;
  const T q2 = ((2.0 * B) * B * B / 27.0 - B * (c / a) / 3.0 + d / a) * 0.5;
  const T P = p3 * p3 * p3;
  T Q = q2 * q2 + P;
  if (std::fabs(Q) < (std::fabs(P) + q2 * q2) * 1e-12)
    Q = 0.0;

  using Complex = std::complex<T>;
  Complex u;
  Complex v;
  if (Q >= 0.0) {
    const T s = std::sqrt(Q);
    u = SignedCubeRoot(s - q2);
    v = SignedCubeRoot(-q2 - s);
  } else {
    const Complex w = std::sqrt(Complex(Q, 0.0));
    u = std::pow(-q2 + w, static_cast<T>(kCubeRootExponent));
    v = std::pow(-q2 - w, static_cast<T>(kCubeRootExponent));
  }
  const T halfRoot3 = std::sqrt(T(3.0)) * 0.5;
  const Complex omega1(-0.5, halfRoot3);
  const Complex omega2(-0.5, -halfRoot3);
  const Complex y1 = u + v;
  const Complex y2 = omega1 * u + omega2 * v;
  const Complex y3 = omega2 * u + omega1 * v;

  x1 = y1.real() - B / 3.0;
  if (Q > 0.0)
    return 1;
  x2 = y2.real() - B / 3.0;
  x3 = y3.real() - B / 3.0;
  // The stored ordering: the early stop after the second exchange is part of
  // the interface, so x2 and x3 may stay unsorted.
  if (x1 > x2)
    std::swap(x1, x2);
  if (x1 > x3) {
    std::swap(x1, x3);
    return 3;
  }
  if (x2 > x3)
    std::swap(x2, x3);
  return 3;
}

} // namespace

double PolyValue(unsigned int n, const double* c, double x, int derivative) {
  double sum = 0.0;
  double power = 1.0;
  if (derivative == 0) {
    for (std::uint64_t k = 0; k <= n; ++k) {
      sum += c[k] * power;
      power *= x;
    }
  } else {
    for (std::uint64_t k = 1; k <= n; ++k) {
      sum += static_cast<double>(k) * c[k] * power;
      power *= x;
    }
  }
  // Results this small are treated as cancellation noise.
  return std::fabs(sum) < 1e-20 ? 0.0 : sum;
}

void PolyDiffer(unsigned int k, unsigned int n, const double* c, double* out) {
  // Writing through `c` when no output is given is the routine's contract.
  double* a = out != nullptr ? out : const_cast<double*>(c);
  const std::uint64_t size = std::uint64_t{n} + 1;
  if (out != nullptr && out != c)
    std::copy(c, c + size, out);
  if (k == 0 || k == UINT_MAX)
    return;
  // After n + 1 passes every coefficient is zero and further passes change
  // nothing, so they are skipped.
  const std::uint64_t passes = std::min<std::uint64_t>(k, size);
  for (std::uint64_t pass = 0; pass < passes; ++pass) {
    for (std::uint64_t i = 0; i < n; ++i)
      a[i] = static_cast<double>(i + 1) * a[i + 1];
    a[n - pass] = 0.0;
  }
}

double StepPoly(unsigned int k, double x, double y) {
  if (k == 0)
    return 1.0;
  if (k >= StepPolyTerms)
    k = StepPolyTerms - 1;
  const unsigned int p = kStepX[k];
  const unsigned int q = kStepY[k];
  if (x == 0.0 && p > 0)
    return 0.0;
  if (y == 0.0 && q > 0)
    return 0.0;
  const double value = PowerBySquaring(std::fabs(x), p) * PowerBySquaring(std::fabs(y), q);
  const unsigned int negatives = (x < 0.0 ? p : 0u) + (y < 0.0 ? q : 0u);
  return (negatives & 1u) != 0 ? -value : value;
}

int RootPoly2(double a, double b, double c, double& x1, double& x2) { return Quadratic(a, b, c, x1, x2); }

int RootPoly3(double a, double b, double c, double d, double& x1, double& x2, double& x3) {
  return Cubic(a, b, c, d, x1, x2, x3);
}

int RootPoly3(long double a, long double b, long double c, long double d, long double& x1, long double& x2,
              long double& x3) {
  return Cubic(a, b, c, d, x1, x2, x3);
}

} // namespace zel
