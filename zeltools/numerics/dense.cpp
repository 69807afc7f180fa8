#include "zeltools/numerics/dense.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "zeltools/containers/small_vectors.h"
#include "zeltools/containers/vector.h"
#include "zeltools/numerics/internal/out_of_memory.h"
#include "zeltools/text/debug_print.h"
#include "zeltools/text/number_text.h"

namespace zel {

double Det3x3(double* a) {
  return a[1] * a[5] * a[6] + a[4] * a[0] * a[8] + a[3] * a[7] * a[2] - a[4] * a[2] * a[6] - a[3] * a[1] * a[8] -
         a[7] * a[5] * a[0];
}

double Det4x4(double* a) {
  double minor[4][9];
  for (int k = 0; k < 4; ++k) {
    int t = 0;
    for (int row = 1; row < 4; ++row)
      for (int col = 0; col < 4; ++col)
        if (col != k)
          minor[k][t++] = a[row * 4 + col];
  }
  return a[0] * Det3x3(minor[0]) - a[1] * Det3x3(minor[1]) + a[2] * Det3x3(minor[2]) - a[3] * Det3x3(minor[3]);
}

double MatrixInversion2x2(const double* a, double* b) {
  const double det = a[0] * a[3] - a[1] * a[2];
  if (det == 0.0)
    return 0.0;
  b[0] = a[3] / det;
  b[1] = -a[1] / det;
  b[2] = -a[2] / det;
  b[3] = a[0] / det;
  return det;
}

double MatrixInversion3x3(const double* a, double* b) {
  b[0] = a[4] * a[8] - a[7] * a[5];
  b[1] = a[8] * a[1] - a[7] * a[2];
  b[2] = a[5] * a[1] - a[4] * a[2];
  b[3] = a[8] * a[3] - a[6] * a[5];
  b[4] = a[0] * a[8] - a[6] * a[2];
  b[5] = a[0] * a[5] - a[3] * a[2];
  b[6] = a[7] * a[3] - a[4] * a[6];
  b[7] = a[7] * a[0] - a[6] * a[1];
  b[8] = a[4] * a[0] - a[3] * a[1];
  const double det = a[0] * b[0] - a[3] * b[1] + a[6] * b[2];
  // A singular matrix leaves the unsigned minors in b: callers of old relied
  // on finding them there.
  if (det == 0.0)
    return det;
  for (int k = 0; k < 9; ++k)
    b[k] /= (k % 2 == 0) ? det : -det;
  return det;
}

unsigned int RangMatr(unsigned int rows, unsigned int cols, double* a, unsigned int* index, double eps) {
  const bool transposed = rows < cols;
  const std::size_t R = transposed ? cols : rows;
  const std::size_t C = transposed ? rows : cols;
  Vector<double> work(R * C);
  if (transposed)
    MatrTranspose(rows, cols, a, work.data());
  else if (R * C != 0)
    std::memcpy(work.data(), a, R * C * sizeof(double));
  // The order vector holds 0 … R−1 (InitOrder gives n + 1 values).
  VKZUINT order;
  if (R != 0)
    order.InitOrder(static_cast<unsigned int>(R - 1), 0);

  double* w = work.data();
  std::size_t rank = 0;
  for (std::size_t c = 0; c < C; ++c) {
    double best = 0.0;
    std::size_t p = c;
    for (std::size_t i = rank; i < R; ++i)
      if (std::fabs(w[i * C + c]) > std::fabs(best)) {
        best = w[i * C + c];
        p = i;
      }
    if (std::fabs(best) < eps)
      continue;
    double* pivotRow = w + rank * C;
    if (p > rank) {
      double* other = w + p * C;
      for (std::size_t j = c; j < C; ++j) {
        const double kept = pivotRow[j];
        pivotRow[j] = other[j] / best;
        other[j] = kept;
      }
      // The second position is the column number, not the rank: the two
      // differ once a column has been found dependent, and stored index
      // lists depend on this rule.
      std::swap(order[p], order[c]);
    } else {
      for (std::size_t j = c; j < C; ++j)
        pivotRow[j] /= best;
    }
    for (std::size_t i = rank + 1; i < R; ++i) {
      double* row = w + i * C;
      const double f = row[c];
      if (f == 0.0)
        continue;
      for (std::size_t j = c + 1; j < C; ++j)
        row[j] -= f * pivotRow[j];
    }
    index[rank] = order[c];
    ++rank;
  }
  return static_cast<unsigned int>(rank);
}

void MatrTranspose(unsigned int n, const double* a, double* b) { MatrTranspose(n, n, a, b); }

void MatrTranspose(unsigned int rows, unsigned int cols, const double* a, double* b) {
  // Tiles keep both the reads and the writes within a few cache lines.
  constexpr std::size_t Tile = 32;
  for (std::size_t i0 = 0; i0 < rows; i0 += Tile) {
    const std::size_t i1 = std::min<std::size_t>(rows, i0 + Tile);
    for (std::size_t j0 = 0; j0 < cols; j0 += Tile) {
      const std::size_t j1 = std::min<std::size_t>(cols, j0 + Tile);
      for (std::size_t i = i0; i < i1; ++i)
        for (std::size_t j = j0; j < j1; ++j)
          b[j * rows + i] = a[i * cols + j];
    }
  }
}

unsigned int MatrElemSize(unsigned int n) { return ((n + 1) * n) >> 1; }

unsigned int IndexMatrTriang(unsigned int n, unsigned int i, unsigned int j) {
  const unsigned int lo = i < j ? i : j;
  const unsigned int hi = i < j ? j : i;
  return ((2 * n - lo - 1) * lo) / 2 + hi;
}

void MatrElemClear(unsigned int n, double* a) {
  const unsigned int count = MatrElemSize(n);
  for (unsigned int k = 0; k < count; ++k)
    a[k] = 0.0;
}

void ClearMatrTriang(unsigned int n, double* a) { MatrElemClear(n, a); }

void CopyMatrTriang(unsigned int n, const double* src, double* dst) {
  const unsigned int count = MatrElemSize(n);
  if (count != 0)
    std::memcpy(dst, src, count * sizeof(double));
}

namespace {

// A value in at most 15 characters (16 bytes with the terminator).
void ValueText(double value, char (&text)[16]) {
  if (DoubleChar(value, text, sizeof text))
    return;
  for (int precision = 15; precision >= 1; --precision)
    if (DoubleCharP(value, text, sizeof text, precision))
      return;
  text[0] = '\0';
}

void Print(unsigned int number, unsigned int n, const double* a, const char* title) {
  dPrintf("\n\n%d", static_cast<int>(number));
  if (title != nullptr)
    dPrintf("   %s", title);
  // One write per row: the file is opened and closed for every call.
  std::string line;
  std::size_t k = 0;
  for (unsigned int i = 0; i < n; ++i) {
    char head[16];
    std::snprintf(head, sizeof head, "\n%d ", static_cast<int>(i));
    line = head;
    for (unsigned int j = i; j < n; ++j) {
      char text[16];
      ValueText(a[k++], text);
      line += ' ';
      line += text;
    }
    dPrintf("%s", line.c_str());
  }
}

} // namespace

void PrintMatr(unsigned int number, unsigned int n, const double* a, const char* title) {
  numerics::WithoutForeignExceptions(16 * std::size_t{n}, [&] { Print(number, n, a, title); });
}

} // namespace zel
