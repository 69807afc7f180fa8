#pragma once
// Blocked Gauss elimination. Columns are taken in panels: the panel columns
// are eliminated in a compact column-major copy (pivot search and updates
// run along contiguous memory), then the rows to the right receive the
// panel's exchanges, the pivot rows are completed, and every remaining
// element receives the panel's updates in one pass, in the order of the
// steps. Each element gets the very operations of the column-by-column
// elimination in the same order, so the results are identical to the bit.

#include <cstddef>

#include "zeltools/numerics/internal/simd_level.h"

namespace zel::numerics {

/// Panel width used by the solver; tests pass other widths.
inline constexpr std::size_t DefaultGaussPanel = 64;
/// Orders below this go the plain way.
inline constexpr std::size_t GaussBlockedFrom = 96;

/// Columns of u that an update's working block holds (a kernel copies at
/// most this many at a time), and the width of the blocks of pivot-row
/// columns that threads share.
inline constexpr std::size_t GaussBlockColumns = 256;

/// c[s][j] −= l[s][t]·u[t][j] for t = 0 … steps−1 in that order, each
/// product rounded, then subtracted. l is rows × steps (stride ldl), u is
/// steps × cols (stride ldu), c is rows × cols (stride ldc). `block`, when
/// not null, is 64-byte aligned room for steps × GaussBlockColumns doubles
/// that a kernel may copy u into.
using GaussUpdateFn = void (*)(std::size_t rows, std::size_t cols, std::size_t steps, const double* l,
                               std::size_t ldl, const double* u, std::size_t ldu, double* c, std::size_t ldc,
                               double* block);
/// y[i] −= x[i]·s for i < count.
using GaussAxpyFn = void (*)(double* y, const double* x, double s, std::size_t count);
/// y[i] /= d for i < count.
using GaussDivideFn = void (*)(double* y, double d, std::size_t count);
/// The position in [0, count) of the first element of largest magnitude,
/// x[0] kept unless one after it is strictly larger (so it stays on ties and
/// when it is a NaN; no NaN after it is ever taken). count ≥ 1.
using GaussPivotFn = std::size_t (*)(const double* x, std::size_t count);
/// The vector pivot searches end here: of the lanes' largest magnitudes and
/// their first positions, the position of the largest, the earliest on ties.
inline std::size_t GaussPivotOfLanes(const double* bests, const long long* wheres, std::size_t lanes) {
  std::size_t lane = 0;
  for (std::size_t l = 1; l < lanes; ++l)
    if (bests[l] > bests[lane] || (bests[l] == bests[lane] && wheres[l] < wheres[lane]))
      lane = l;
  return static_cast<std::size_t>(wheres[lane]);
}
/// to[c·ldt + r] = from[r·ldf + c] for r < rows, c < cols.
using GaussTransposeFn = void (*)(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                                  std::size_t cols);

void GaussUpdateGeneric(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                       const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block);
void GaussUpdateAvx2(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                       const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block);
void GaussUpdateAvx512(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                       const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block);
void GaussAxpyGeneric(double* y, const double* x, double s, std::size_t count);
void GaussAxpyAvx2(double* y, const double* x, double s, std::size_t count);
void GaussAxpyAvx512(double* y, const double* x, double s, std::size_t count);
void GaussDivideGeneric(double* y, double d, std::size_t count);
void GaussDivideAvx2(double* y, double d, std::size_t count);
void GaussDivideAvx512(double* y, double d, std::size_t count);
std::size_t GaussPivotGeneric(const double* x, std::size_t count);
std::size_t GaussPivotAvx2(const double* x, std::size_t count);
std::size_t GaussPivotAvx512(const double* x, std::size_t count);
void GaussTransposeGeneric(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                           std::size_t cols);
void GaussTransposeAvx2(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                        std::size_t cols);
void GaussTransposeAvx512(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                          std::size_t cols);

/// The double overload of Gauss with panels of `panel` columns and the
/// kernels of `level` (not Plain): same results, same failures, same state
/// left behind on a singular pivot. Its working storage (about
/// (2·panel + 8)·n + 256·panel doubles) is taken before anything is changed;
/// when it cannot be had, the elimination runs in place, unblocked.
unsigned char GaussBlocked(std::size_t n, double* a, std::size_t m, double* b, unsigned char mode, double eps,
                           SimdLevel level, std::size_t panel);

} // namespace zel::numerics
