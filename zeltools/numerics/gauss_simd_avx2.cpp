// AVX2 kernels of the blocked Gauss elimination: whole groups of eight
// columns in vector registers; the columns left over go one at a time.

#include "zeltools/numerics/internal/gauss_blocked.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>
#include <cmath>

#include <immintrin.h>

#define ZEL_AVX2 __attribute__((target("avx2")))

namespace zel::numerics {
namespace {

template <int R>
ZEL_AVX2 void Tile(std::size_t steps, const double* l, std::size_t ldl, const double* u, std::size_t ldu, double* c,
                   std::size_t ldc) {
  __m256d lo[R], hi[R];
  for (int s = 0; s < R; ++s) {
    lo[s] = _mm256_loadu_pd(c + static_cast<std::size_t>(s) * ldc);
    hi[s] = _mm256_loadu_pd(c + static_cast<std::size_t>(s) * ldc + 4);
  }
  for (std::size_t t = 0; t < steps; ++t) {
    const __m256d uLo = _mm256_loadu_pd(u + t * ldu), uHi = _mm256_loadu_pd(u + t * ldu + 4);
    for (int s = 0; s < R; ++s) {
      const __m256d f = _mm256_set1_pd(l[static_cast<std::size_t>(s) * ldl + t]);
      lo[s] = _mm256_sub_pd(lo[s], _mm256_mul_pd(uLo, f));
      hi[s] = _mm256_sub_pd(hi[s], _mm256_mul_pd(uHi, f));
    }
  }
  for (int s = 0; s < R; ++s) {
    _mm256_storeu_pd(c + static_cast<std::size_t>(s) * ldc, lo[s]);
    _mm256_storeu_pd(c + static_cast<std::size_t>(s) * ldc + 4, hi[s]);
  }
}

} // namespace

ZEL_AVX2 void GaussUpdateAvx2(std::size_t rows, std::size_t cols, std::size_t steps, const double* l,
                              std::size_t ldl, const double* u, std::size_t ldu, double* c, std::size_t ldc,
                              double* block) {
  if (steps == 0 || rows == 0 || cols == 0)
    return;
  const std::size_t whole = cols / 8 * 8;
  // With many rows to cross them, up to 32 columns of u at a time are first
  // copied to contiguous storage, which then stays in the first-level cache
  // while every row tile crosses it group of eight by group of eight, the
  // tile's rows of l staying there too. Otherwise the tiles read u in place,
  // all its columns for each row tile.
  constexpr std::size_t Packed = 32;
  const bool pack = block != nullptr && rows >= 16;
  const std::size_t chunk = pack ? Packed : std::max<std::size_t>(whole, 1);
  for (std::size_t j0 = 0; j0 < whole; j0 += chunk) {
    const std::size_t width = std::min(chunk, whole - j0);
    const double* ub = u + j0;
    std::size_t ldb = ldu;
    if (pack) {
      for (std::size_t t = 0; t < steps; ++t)
        for (std::size_t g = 0; g < width; g += 4)
          _mm256_storeu_pd(block + Packed * t + g, _mm256_loadu_pd(u + t * ldu + j0 + g));
      ub = block;
      ldb = Packed;
    }
    std::size_t s = 0;
    for (; s + 4 <= rows; s += 4)
      for (std::size_t j = 0; j < width; j += 8)
        Tile<4>(steps, l + s * ldl, ldl, ub + j, ldb, c + s * ldc + j0 + j, ldc);
    for (; s < rows; ++s)
      for (std::size_t j = 0; j < width; j += 8)
        Tile<1>(steps, l + s * ldl, ldl, ub + j, ldb, c + s * ldc + j0 + j, ldc);
  }
  if (whole < cols)
    GaussUpdateGeneric(rows, cols - whole, steps, l, ldl, u + whole, ldu, c + whole, ldc, nullptr);
}

ZEL_AVX2 void GaussAxpyAvx2(double* y, const double* x, double s, std::size_t count) {
  const __m256d sv = _mm256_set1_pd(s);
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    _mm256_storeu_pd(y + i, _mm256_sub_pd(_mm256_loadu_pd(y + i), _mm256_mul_pd(_mm256_loadu_pd(x + i), sv)));
  for (; i < count; ++i)
    y[i] -= x[i] * s;
}

ZEL_AVX2 void GaussDivideAvx2(double* y, double d, std::size_t count) {
  const __m256d dv = _mm256_set1_pd(d);
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    _mm256_storeu_pd(y + i, _mm256_div_pd(_mm256_loadu_pd(y + i), dv));
  for (; i < count; ++i)
    y[i] /= d;
}

// Four lanes keep the largest magnitude each has met and where, as the
// AVX-512 search does; the tail continues the scalar rule from the lanes'
// choice.
ZEL_AVX2 std::size_t GaussPivotAvx2(const double* x, std::size_t count) {
  const __m256d sign = _mm256_set1_pd(-0.0);
  const __m256i step = _mm256_set1_epi64x(4);
  __m256d best = _mm256_set1_pd(std::fabs(x[0]));
  __m256i where = _mm256_setzero_si256(), at = _mm256_set_epi64x(4, 3, 2, 1);
  std::size_t i = 1;
  for (; i + 4 <= count; i += 4, at = _mm256_add_epi64(at, step)) {
    const __m256d v = _mm256_andnot_pd(sign, _mm256_loadu_pd(x + i));
    const __m256d larger = _mm256_cmp_pd(v, best, _CMP_GT_OQ);
    best = _mm256_blendv_pd(best, v, larger);
    where = _mm256_castpd_si256(_mm256_blendv_pd(_mm256_castsi256_pd(where), _mm256_castsi256_pd(at), larger));
  }
  double bests[4];
  long long wheres[4];
  _mm256_storeu_pd(bests, best);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(wheres), where);
  std::size_t p = GaussPivotOfLanes(bests, wheres, 4);
  for (; i < count; ++i)
    if (std::fabs(x[i]) > std::fabs(x[p]))
      p = i;
  return p;
}

// Blocks of 4 × 4 in registers: pairs of rows interleaved, then 128-bit
// halves exchanged; the edges element by element.
ZEL_AVX2 void GaussTransposeAvx2(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                                 std::size_t cols) {
  std::size_t r0 = 0;
  for (; r0 + 4 <= rows; r0 += 4) {
    std::size_t c0 = 0;
    for (; c0 + 4 <= cols; c0 += 4) {
      const double* f = from + r0 * ldf + c0;
      const __m256d a = _mm256_loadu_pd(f), b = _mm256_loadu_pd(f + ldf), c = _mm256_loadu_pd(f + 2 * ldf),
                    d = _mm256_loadu_pd(f + 3 * ldf);
      // t0 = a0 b0 a2 b2, t1 = a1 b1 a3 b3, t2 = c0 d0 c2 d2, t3 = c1 d1 c3 d3.
      const __m256d t0 = _mm256_unpacklo_pd(a, b), t1 = _mm256_unpackhi_pd(a, b);
      const __m256d t2 = _mm256_unpacklo_pd(c, d), t3 = _mm256_unpackhi_pd(c, d);
      double* o = to + c0 * ldt + r0;
      _mm256_storeu_pd(o, _mm256_permute2f128_pd(t0, t2, 0x20));
      _mm256_storeu_pd(o + ldt, _mm256_permute2f128_pd(t1, t3, 0x20));
      _mm256_storeu_pd(o + 2 * ldt, _mm256_permute2f128_pd(t0, t2, 0x31));
      _mm256_storeu_pd(o + 3 * ldt, _mm256_permute2f128_pd(t1, t3, 0x31));
    }
    for (; c0 < cols; ++c0)
      for (std::size_t i = 0; i < 4; ++i)
        to[c0 * ldt + r0 + i] = from[(r0 + i) * ldf + c0];
  }
  for (; r0 < rows; ++r0)
    for (std::size_t c = 0; c < cols; ++c)
      to[c * ldt + r0] = from[r0 * ldf + c];
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void GaussUpdateAvx2(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                     const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block) {
  GaussUpdateGeneric(rows, cols, steps, l, ldl, u, ldu, c, ldc, block);
}
void GaussAxpyAvx2(double* y, const double* x, double s, std::size_t count) { GaussAxpyGeneric(y, x, s, count); }
void GaussDivideAvx2(double* y, double d, std::size_t count) { GaussDivideGeneric(y, d, count); }
std::size_t GaussPivotAvx2(const double* x, std::size_t count) { return GaussPivotGeneric(x, count); }
void GaussTransposeAvx2(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                        std::size_t cols) {
  GaussTransposeGeneric(from, ldf, to, ldt, rows, cols);
}
} // namespace zel::numerics

#endif
