#include "zeltools/containers/compare.h"

#include <cmath>

namespace zel {
namespace {

template <class T>
int CompareArrays(unsigned int n, const T* a, const T* b, double tol) {
  for (unsigned int i = 0; i < n; ++i)
    if (int c = CompareDouble(a[i], b[i], tol); c != 0)
      return c;
  return 0;
}

template <class T>
int CompareCounted(unsigned int na, const T* a, unsigned int nb, const T* b, double tol) {
  if (na != nb)
    return na < nb ? -1 : 1;
  return CompareArrays(na, a, b, tol);
}

} // namespace

int CompareDouble(double a, double b, double tol) {
  if (a == b)
    return 0;
  double diff = std::fabs(a - b);
  double bound = tol * (std::fabs(a) + std::fabs(b));
  if (std::isinf(diff) || std::isinf(bound)) {
    // An infinity equals only itself. Finite values near the top of the
    // range overflow the sum or the difference: halving both sides is exact
    // there and keeps the rule.
    if (std::isinf(a) || std::isinf(b))
      return a > b ? 1 : -1;
    diff = std::fabs(a * 0.5 - b * 0.5);
    bound = tol * (std::fabs(a) * 0.5 + std::fabs(b) * 0.5);
  }
  if (diff <= bound)
    return 0;
  return a > b ? 1 : -1;
}

int CompareDouble(unsigned int n, const double* a, const double* b, double tol) {
  return CompareArrays(n, a, b, tol);
}

int CompareDouble(unsigned int na, const double* a, unsigned int nb, const double* b, double tol) {
  return CompareCounted(na, a, nb, b, tol);
}

int CompareFloat(unsigned int n, const float* a, const float* b, double tol) {
  return CompareArrays(n, a, b, tol);
}

int CompareFloat(unsigned int na, const float* a, unsigned int nb, const float* b, double tol) {
  return CompareCounted(na, a, nb, b, tol);
}

} // namespace zel
