#include <cstddef>

#include "zeltools/numerics/dense.h"

namespace zel {
namespace {

std::size_t Magnitude(int v) { return v < 0 ? 0u - static_cast<unsigned int>(v) : static_cast<unsigned int>(v); }

// One row of c = op(a)·B with B stored as is (B(l, j) = b[l·R + j]): the
// loop over l runs outside the loop over j, so the columns of the row
// advance side by side while each element still receives its products in
// increasing l.
void RowTimesPlain(const double* a, std::size_t aStep, std::size_t Q, const double* b, std::size_t R,
                   std::size_t j0, double* c) {
  const std::size_t width = R - j0;
  for (std::size_t j = 0; j < width; ++j)
    c[j] = 0.0;
  for (std::size_t l = 0; l < Q; ++l) {
    const double f = a[l * aStep];
    const double* bl = b + l * R + j0;
    for (std::size_t j = 0; j < width; ++j)
      c[j] += f * bl[j];
  }
}

// The same with B stored transposed (B(l, j) = b[j·Q + l]): each element is a
// running sum along a contiguous row of b.
void RowTimesTransposed(const double* a, std::size_t aStep, std::size_t Q, const double* b, std::size_t j0,
                        std::size_t R, double* c) {
  for (std::size_t j = j0; j < R; ++j) {
    const double* bj = b + j * Q;
    double s = 0.0;
    for (std::size_t l = 0; l < Q; ++l)
      s += a[l * aStep] * bj[l];
    c[j - j0] = s;
  }
}

} // namespace

void MultMatr(const double* a, const double* b, int p, int q, int r, double* c, unsigned char upper) {
  const std::size_t P = Magnitude(p), Q = Magnitude(q), R = Magnitude(r);
  if (P == 3 && Q == 3 && R == 3) {
    MultMatr3x3(a, b, c, p, r);
    return;
  }
  for (std::size_t i = 0; i < P; ++i) {
    // A(i, l) = a[i·Q + l] when a is stored as is, a[l·P + i] when transposed.
    const double* ai = p > 0 ? a + i * Q : a + i;
    const std::size_t aStep = p > 0 ? 1 : P;
    const std::size_t j0 = upper ? i : 0;
    if (j0 >= R)
      continue;
    if (r > 0)
      RowTimesPlain(ai, aStep, Q, b, R, j0, c);
    else
      RowTimesTransposed(ai, aStep, Q, b, j0, R, c);
    c += R - j0;
  }
}

void MultMatr3x3(const double* a, const double* b, double* c, int sa, int sb) {
  // A(i, l) and B(l, j) as the signs select them; zero counts as transposed.
  bool aPlain = false, bPlain = false;
  if (sa > 0 && sb > 0) {
    aPlain = true;
    bPlain = true;
  } else if (sa < 0 && sb > 0) {
    bPlain = true;
  } else if (sa >= 1 && sb < 0) {
    aPlain = true;
  }
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      double s[3];
      for (int l = 0; l < 3; ++l) {
        const double x = aPlain ? a[i * 3 + l] : a[l * 3 + i];
        const double y = bPlain ? b[l * 3 + j] : b[j * 3 + l];
        s[l] = x * y;
      }
      c[i * 3 + j] = s[0] + s[1] + s[2];
    }
}

} // namespace zel
