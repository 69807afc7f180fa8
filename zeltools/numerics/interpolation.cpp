#include "zeltools/numerics/interpolation.h"

#include <cstddef>
#include <cstdint>

#include "zeltools/errors/exception.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/work_array.h"
#include "zeltools/numerics/polynomial.h"

namespace zel {
namespace {

template <class T>
T Linear(T x, const T* xs, const T* ys, int n, int stride) {
  if (n < 1)
    return 0.0;
  const std::ptrdiff_t step = stride < 1 ? 1 : stride;
  if (x <= xs[0])
    return ys[0];
  for (int i = 1; i < n; ++i) {
    if (xs[i - 1] <= x && x <= xs[i]) {
      const T y0 = ys[(i - 1) * step];
      const T y1 = ys[i * step];
      if (xs[i] == xs[i - 1])
        return static_cast<T>((y0 + y1) * 0.5);
      return y0 + (x - xs[i - 1]) * (y1 - y0) / (xs[i] - xs[i - 1]);
    }
  }
  return ys[(n - 1) * step];
}

// Position of v among the n ascending abscissae: 0 at or below the first,
// n beyond the last, else the first i with a[i−1] ≤ v ≤ a[i].
template <class T>
int Locate(T v, const T* a, int n) {
  if (v <= a[0])
    return 0;
  for (int i = 1; i < n; ++i)
    if (a[i - 1] <= v && v <= a[i])
      return i;
  return n;
}

template <class T>
T Bilinear(T x, T y, const T* xs, const T* ys, const T* table, int nx, int ny) {
  if (nx < 1 || ny < 1)
    return 0.0;
  const std::ptrdiff_t columns = nx;
  const std::ptrdiff_t last = columns * ny - 1;
  const int ix = Locate(x, xs, nx);
  const int iy = Locate(y, ys, ny);
  if (ix == 0 && iy == 0)
    return table[0];
  if (ix == nx && iy == ny)
    return table[last];
  if (ix == 0)
    return Linear(y, ys, table, ny, nx);
  if (ix == nx)
    return Linear(y, ys, table + (columns - 1), ny, nx);
  if (iy == 0)
    return Linear(x, xs, table, nx, 1);
  if (iy == ny)
    return Linear(x, xs, table + (ny - 1) * columns, nx, 1);
  // Inside: (ix, iy) is the first cell in row-then-column scan order that
  // holds the point, because the two interval conditions are independent.
  const T u = (x - xs[ix - 1]) / (xs[ix] - xs[ix - 1]);
  const T v = (y - ys[iy - 1]) / (ys[iy] - ys[iy - 1]);
  const T f00 = table[(iy - 1) * columns + ix - 1];
  const T f01 = table[(iy - 1) * columns + ix];
  const T f10 = table[iy * columns + ix - 1];
  const T f11 = table[iy * columns + ix];
  return f00 + (f01 - f00) * u + (f10 - f00) * v + u * v * (f00 - f01 - f10 + f11);
}

} // namespace

double Interpol(double x, const double* xs, const double* ys, int n, int stride) {
  return Linear(x, xs, ys, n, stride);
}

float Interpol(float x, const float* xs, const float* ys, int n, int stride) { return Linear(x, xs, ys, n, stride); }

double InterpolTable(double x, double y, const double* xs, const double* ys, const double* table, int nx, int ny) {
  return Bilinear(x, y, xs, ys, table, nx, ny);
}

float InterpolTable(float x, float y, const float* xs, const float* ys, const float* table, int nx, int ny) {
  return Bilinear(x, y, xs, ys, table, nx, ny);
}

double InterpolPlate(int degree, int m, const double* points, const double* values, const double* at) {
  if (degree < 0)
    return 0.0;
  // Terms past the 45th repeat y⁸, so the normal matrix would have equal
  // rows and columns: singular by construction.
  if (degree > 8)
    Crash("Null diagonal");
  const unsigned int terms = static_cast<unsigned int>((degree + 2) * (degree + 1) / 2);
  const std::uint64_t n = terms;
  // The sizes the solver has always been given: (N + 1)·N + 1 and N + 1.
  internal::WorkArray normal((n + 1) * n + 1);
  internal::WorkArray right(n + 1);
  double basis[StepPolyTerms];
  for (int i = 0; i < m; ++i) {
    const double px = points[2 * static_cast<std::ptrdiff_t>(i)];
    const double py = points[2 * static_cast<std::ptrdiff_t>(i) + 1];
    for (unsigned int k = 0; k < terms; ++k)
      basis[k] = StepPoly(k, px, py);
    for (unsigned int k = 0; k < terms; ++k) {
      double* row = normal.data() + k * n;
      for (unsigned int l = 0; l < terms; ++l)
        row[l] += basis[k] * basis[l];
      right[k] += basis[k] * values[i];
    }
  }
  Gauss(terms, normal.data(), 1, right.data(), 0, 0.0);
  double value = 0.0;
  for (unsigned int k = 0; k < terms; ++k)
    value += StepPoly(k, at[0], at[1]) * right[k];
  return value;
}

} // namespace zel
