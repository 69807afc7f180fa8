// AVX-512 kernels of the blocked Gauss elimination: each lane is one element;
// every product is a separate multiplication and every update a separate
// subtraction, in the order of the steps.

#include "zeltools/numerics/internal/gauss_blocked.h"
#include "zeltools/numerics/internal/prefetch.h"
#include "zeltools/numerics/internal/simd_avx512.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>
#include <cmath>

#include <immintrin.h>

#define ZEL_AVX512 __attribute__((target("avx512f,avx512dq")))

namespace zel::numerics {
namespace {

constexpr std::size_t Lanes = 8;
constexpr std::size_t TileRows = 4;
constexpr std::size_t TileGroups = 4;

inline __mmask8 Lead(std::size_t count) {
  return count >= Lanes ? __mmask8(0xFF) : static_cast<__mmask8>((1u << count) - 1);
}

// R rows × V groups of c; with Tail the last group holds only `tail` columns.
// The loops over rows and groups are unrolled before the compiler places the
// accumulators: left as loops, it keeps the array on the stack and copies it
// there and back around the step loop of every tile.
template <int R, int V, bool Tail>
ZEL_AVX512 void Tile(std::size_t steps, const double* l, std::size_t ldl, const double* u, std::size_t ldu,
                     double* c, std::size_t ldc, __mmask8 tail) {
  KernelEntry();
  __m512d acc[R][V];
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s)
#pragma GCC unroll 8
    for (int v = 0; v < V; ++v) {
      const double* at = c + static_cast<std::size_t>(s) * ldc + Lanes * v;
      acc[s][v] = (Tail && v == V - 1) ? _mm512_maskz_loadu_pd(tail, at) : _mm512_loadu_pd(at);
    }
  for (std::size_t t = 0; t < steps; ++t) {
    const double* ut = u + t * ldu;
    __m512d uv[V];
#pragma GCC unroll 8
    for (int v = 0; v < V; ++v)
      uv[v] = (Tail && v == V - 1) ? _mm512_maskz_loadu_pd(tail, ut + Lanes * v) : _mm512_loadu_pd(ut + Lanes * v);
#pragma GCC unroll 8
    for (int s = 0; s < R; ++s) {
      const double* f = l + static_cast<std::size_t>(s) * ldl + t;
#pragma GCC unroll 8
      for (int v = 0; v < V; ++v)
        acc[s][v] = _mm512_sub_pd(acc[s][v], MulBroadcast(uv[v], f));
    }
  }
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s)
#pragma GCC unroll 8
    for (int v = 0; v < V; ++v) {
      double* at = c + static_cast<std::size_t>(s) * ldc + Lanes * v;
      if (Tail && v == V - 1)
        _mm512_mask_storeu_pd(at, tail, acc[s][v]);
      else
        _mm512_storeu_pd(at, acc[s][v]);
    }
}

template <int R>
ZEL_AVX512 void Chunk(std::size_t width, std::size_t steps, const double* l, std::size_t ldl, const double* u,
                      std::size_t ldu, double* c, std::size_t ldc) {
  const std::size_t groups = (width + Lanes - 1) / Lanes;
  const std::size_t rest = width - (groups - 1) * Lanes;
  const __mmask8 tail = Lead(rest);
  const bool partial = rest != Lanes;
  switch (groups * 2 + (partial ? 1 : 0)) {
  case 2:
    Tile<R, 1, false>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 3:
    Tile<R, 1, true>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 4:
    Tile<R, 2, false>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 5:
    Tile<R, 2, true>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 6:
    Tile<R, 3, false>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 7:
    Tile<R, 3, true>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  case 8:
    Tile<R, 4, false>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  default:
    Tile<R, 4, true>(steps, l, ldl, u, ldu, c, ldc, tail);
    break;
  }
}

} // namespace

ZEL_AVX512 void GaussUpdateAvx512(std::size_t rows, std::size_t cols, std::size_t steps, const double* l,
                                  std::size_t ldl, const double* u, std::size_t ldu, double* c, std::size_t ldc,
                                  double* block) {
  if (steps == 0 || rows == 0 || cols == 0)
    return;
  const std::size_t chunk = Lanes * TileGroups;
  // Columns outside, rows inside: with many rows to cross it, each chunk of
  // u is first copied to aligned, contiguous storage (16 KB at 64 steps),
  // which then stays in the first-level cache while every row tile below
  // crosses it; only the tiles of c and the rows of l stream.
  const bool pack = block != nullptr && rows >= 4 * TileRows;
  for (std::size_t j = 0; j < cols; j += chunk) {
    const std::size_t width = std::min(chunk, cols - j);
    const double* ub = u + j;
    std::size_t ldb = ldu;
    if (pack) {
      // By vectors: a string move per row of 32 doubles pays more for its
      // start than for the copy.
      const std::size_t groups = (width + Lanes - 1) / Lanes;
      const __mmask8 last = Lead(width - (groups - 1) * Lanes);
      for (std::size_t t = 0; t < steps; ++t) {
        const double* from = u + t * ldu + j;
        double* to = block + t * chunk;
        for (std::size_t g = 0; g + 1 < groups; ++g)
          _mm512_store_pd(to + Lanes * g, _mm512_loadu_pd(from + Lanes * g));
        _mm512_store_pd(to + Lanes * (groups - 1), _mm512_maskz_loadu_pd(last, from + Lanes * (groups - 1)));
      }
      ub = block;
      ldb = chunk;
    }
    std::size_t s = 0;
    for (; s + TileRows <= rows; s += TileRows) {
      // The next tile's rows are fetched while this one is computed.
      if (s + 2 * TileRows <= rows)
        for (std::size_t r = 0; r < TileRows; ++r)
          for (std::size_t line = 0; line < width; line += Lanes)
            PrefetchLine(c + (s + TileRows + r) * ldc + j + line);
      Chunk<TileRows>(width, steps, l + s * ldl, ldl, ub, ldb, c + s * ldc + j, ldc);
    }
    for (; s < rows; ++s)
      Chunk<1>(width, steps, l + s * ldl, ldl, ub, ldb, c + s * ldc + j, ldc);
  }
}

ZEL_AVX512 void GaussAxpyAvx512(double* y, const double* x, double s, std::size_t count) {
  const __m512d sv = _mm512_set1_pd(s);
  std::size_t i = 0;
  for (; i + Lanes <= count; i += Lanes)
    _mm512_storeu_pd(y + i, _mm512_sub_pd(_mm512_loadu_pd(y + i), _mm512_mul_pd(_mm512_loadu_pd(x + i), sv)));
  if (i < count) {
    const __mmask8 live = Lead(count - i);
    const __m512d yi = _mm512_maskz_loadu_pd(live, y + i);
    _mm512_mask_storeu_pd(y + i, live, _mm512_sub_pd(yi, _mm512_mul_pd(_mm512_maskz_loadu_pd(live, x + i), sv)));
  }
}

ZEL_AVX512 void GaussDivideAvx512(double* y, double d, std::size_t count) {
  const __m512d dv = _mm512_set1_pd(d);
  std::size_t i = 0;
  for (; i + Lanes <= count; i += Lanes)
    _mm512_storeu_pd(y + i, _mm512_div_pd(_mm512_loadu_pd(y + i), dv));
  if (i < count) {
    const __mmask8 live = Lead(count - i);
    _mm512_mask_storeu_pd(y + i, live, _mm512_div_pd(_mm512_maskz_loadu_pd(live, y + i), dv));
  }
}

// Each lane keeps the largest magnitude it has met and where it met it,
// taking a later element only when strictly larger (a NaN never is); the
// first position of the largest lane value is then the scalar search's. A
// NaN in front is never exceeded, so it stays.
ZEL_AVX512 std::size_t GaussPivotAvx512(const double* x, std::size_t count) {
  const __m512i step = _mm512_set1_epi64(Lanes);
  __m512d best = _mm512_set1_pd(std::fabs(x[0]));
  __m512i where = _mm512_setzero_si512(), at = _mm512_set_epi64(8, 7, 6, 5, 4, 3, 2, 1);
  for (std::size_t i = 1; i < count; i += Lanes, at = _mm512_add_epi64(at, step)) {
    // Lanes past the end read as zeros, never larger.
    const __m512d v = _mm512_abs_pd(_mm512_maskz_loadu_pd(Lead(count - i), x + i));
    const __mmask8 larger = _mm512_cmp_pd_mask(v, best, _CMP_GT_OQ);
    best = _mm512_mask_mov_pd(best, larger, v);
    where = _mm512_mask_mov_epi64(where, larger, at);
  }
  // Unaligned stores: some Windows compilers do not align the stack to 64.
  double bests[Lanes];
  long long wheres[Lanes];
  _mm512_storeu_pd(bests, best);
  _mm512_storeu_si512(wheres, where);
  return GaussPivotOfLanes(bests, wheres, Lanes);
}

// The shuffles of the transposition. The masked forms with every lane set
// are the same instructions; the plain forms start from an undefined value
// that the compiler warns about.
template <bool High>
ZEL_AVX512 inline __m512d Interleave(__m512d a, __m512d b) {
  return High ? _mm512_mask_unpackhi_pd(a, 0xFF, a, b) : _mm512_mask_unpacklo_pd(a, 0xFF, a, b);
}
template <int Selector>
ZEL_AVX512 inline __m512d Quarters(__m512d a, __m512d b) {
  return _mm512_mask_shuffle_f64x2(a, 0xFF, a, b, Selector);
}

// Blocks of 8 × 8 in registers: pairs of rows interleaved, then pairs of
// 128-bit lanes, then pairs of 256-bit halves; the edges element by element.
ZEL_AVX512 void GaussTransposeAvx512(const double* from, std::size_t ldf, double* to, std::size_t ldt,
                                     std::size_t rows, std::size_t cols) {
  std::size_t r0 = 0;
  for (; r0 + Lanes <= rows; r0 += Lanes) {
    std::size_t c0 = 0;
    for (; c0 + Lanes <= cols; c0 += Lanes) {
      const double* f = from + r0 * ldf + c0;
      const __m512d r0v = _mm512_loadu_pd(f), r1v = _mm512_loadu_pd(f + ldf), r2v = _mm512_loadu_pd(f + 2 * ldf),
                    r3v = _mm512_loadu_pd(f + 3 * ldf), r4v = _mm512_loadu_pd(f + 4 * ldf),
                    r5v = _mm512_loadu_pd(f + 5 * ldf), r6v = _mm512_loadu_pd(f + 6 * ldf),
                    r7v = _mm512_loadu_pd(f + 7 * ldf);
      const __m512d t0 = Interleave<false>(r0v, r1v), t1 = Interleave<true>(r0v, r1v);
      const __m512d t2 = Interleave<false>(r2v, r3v), t3 = Interleave<true>(r2v, r3v);
      const __m512d t4 = Interleave<false>(r4v, r5v), t5 = Interleave<true>(r4v, r5v);
      const __m512d t6 = Interleave<false>(r6v, r7v), t7 = Interleave<true>(r6v, r7v);
      // Rows 0-3 (u0-u3) and 4-7 (u4-u7), columns {0,4}, {2,6}, {1,5}, {3,7}.
      const __m512d u0 = Quarters<0x88>(t0, t2), u1 = Quarters<0xDD>(t0, t2);
      const __m512d u2 = Quarters<0x88>(t1, t3), u3 = Quarters<0xDD>(t1, t3);
      const __m512d u4 = Quarters<0x88>(t4, t6), u5 = Quarters<0xDD>(t4, t6);
      const __m512d u6 = Quarters<0x88>(t5, t7), u7 = Quarters<0xDD>(t5, t7);
      double* d = to + c0 * ldt + r0;
      _mm512_storeu_pd(d, Quarters<0x88>(u0, u4));
      _mm512_storeu_pd(d + 4 * ldt, Quarters<0xDD>(u0, u4));
      _mm512_storeu_pd(d + 2 * ldt, Quarters<0x88>(u1, u5));
      _mm512_storeu_pd(d + 6 * ldt, Quarters<0xDD>(u1, u5));
      _mm512_storeu_pd(d + ldt, Quarters<0x88>(u2, u6));
      _mm512_storeu_pd(d + 5 * ldt, Quarters<0xDD>(u2, u6));
      _mm512_storeu_pd(d + 3 * ldt, Quarters<0x88>(u3, u7));
      _mm512_storeu_pd(d + 7 * ldt, Quarters<0xDD>(u3, u7));
    }
    for (; c0 < cols; ++c0)
      for (std::size_t i = 0; i < Lanes; ++i)
        to[c0 * ldt + r0 + i] = from[(r0 + i) * ldf + c0];
  }
  for (; r0 < rows; ++r0)
    for (std::size_t c = 0; c < cols; ++c)
      to[c * ldt + r0] = from[r0 * ldf + c];
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void GaussUpdateAvx512(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                       const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block) {
  GaussUpdateGeneric(rows, cols, steps, l, ldl, u, ldu, c, ldc, block);
}
void GaussAxpyAvx512(double* y, const double* x, double s, std::size_t count) { GaussAxpyGeneric(y, x, s, count); }
void GaussDivideAvx512(double* y, double d, std::size_t count) { GaussDivideGeneric(y, d, count); }
std::size_t GaussPivotAvx512(const double* x, std::size_t count) { return GaussPivotGeneric(x, count); }
void GaussTransposeAvx512(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                          std::size_t cols) {
  GaussTransposeGeneric(from, ldf, to, ldt, rows, cols);
}
} // namespace zel::numerics

#endif
