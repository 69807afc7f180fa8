#pragma once
// The dense Gauss elimination operation by operation, in place: the
// reference every faster path must reproduce bit for bit, and the path taken
// for small orders and for long double.

#include <cmath>
#include <cstddef>
#include <utility>

#include "zeltools/errors/exception.h"

namespace zel::numerics {

/// The divisor that replaces a singular pivot in the suppressing modes.
inline constexpr double SuppressedPivot = 1e40;
/// Modes from this value on report a singular pivot by returning 0.
inline constexpr unsigned char ReturnOnSingular = 10;

/// Reaction to a pivot with |pivot| ≤ eps: returns false when the solver must
/// return 0, throws for mode 0, and otherwise replaces the divisor.
template <class T>
bool SingularPivot(unsigned char mode, T& divisor) {
  if (mode >= ReturnOnSingular)
    return false;
  if (mode == 0)
    Crash("Null diagonal");
  divisor = static_cast<T>(SuppressedPivot);
  return true;
}

/// Back substitution on the unit upper triangle: for c = n−1 down to 1, each
/// right-hand side component i < c loses a[i][c] times component c.
template <class T>
void GaussBackPlain(std::size_t n, const T* a, std::size_t m, T* b) {
  for (std::size_t c = n - 1; c >= 1; --c)
    for (std::size_t i = 0; i < c; ++i) {
      const T f = a[i * n + c];
      for (std::size_t r = 0; r < m; ++r)
        b[r * n + i] -= f * b[r * n + c];
    }
}

template <class T>
unsigned char GaussPlain(std::size_t n, T* a, std::size_t m, T* b, unsigned char mode, double eps) {
  using std::fabs;
  if (n == 0)
    return 1;
  for (std::size_t k = 0; k < n; ++k) {
    T* rowK = a + k * n;
    std::size_t p = k;
    for (std::size_t i = k + 1; i < n; ++i)
      if (fabs(a[i * n + k]) > fabs(a[p * n + k]))
        p = i;
    if (p != k) {
      T* rowP = a + p * n;
      for (std::size_t j = k; j < n; ++j)
        std::swap(rowK[j], rowP[j]);
      for (std::size_t r = 0; r < m; ++r)
        std::swap(b[r * n + k], b[r * n + p]);
    }
    T divisor = rowK[k];
    if (fabs(divisor) <= eps && !SingularPivot(mode, divisor))
      return 0;
    for (std::size_t j = k; j < n; ++j)
      rowK[j] /= divisor;
    for (std::size_t r = 0; r < m; ++r)
      b[r * n + k] /= divisor;
    for (std::size_t i = k + 1; i < n; ++i) {
      T* rowI = a + i * n;
      const T f = rowI[k];
      for (std::size_t j = k + 1; j < n; ++j)
        rowI[j] -= f * rowK[j];
      for (std::size_t r = 0; r < m; ++r)
        b[r * n + i] -= f * b[r * n + k];
    }
  }
  if (n == 1)
    return 1;
  GaussBackPlain(n, a, m, b);
  return 1;
}

} // namespace zel::numerics
