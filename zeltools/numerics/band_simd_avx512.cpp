// AVX-512 kernels of the blocked band factorisation. Every lane is one
// element of the matrix; a product is a separate multiplication followed by
// a separate (masked) subtraction, exactly the scalar operations, and a lane
// whose flag is clear is left as it was.

#include "zeltools/numerics/internal/band_blocked.h"
#include "zeltools/numerics/internal/band_lanes.h"
#include "zeltools/numerics/internal/prefetch.h"
#include "zeltools/numerics/internal/simd_avx512.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>
#include <cstring>

#include <immintrin.h>

#define ZEL_AVX512 __attribute__((target("avx512f,avx512dq")))

namespace zel::numerics {
namespace {

constexpr std::size_t Lanes = 8;
// Tiles of eight rows by two groups: sixteen accumulators, and each panel
// value loaded serves eight rows, which halves the traffic of the panel's
// rows, the largest stream of the update.
constexpr int RowsPerTile = 8;
constexpr int GroupsPerChunk = 2;

inline double* ElementAddress(const GAUSS_TAPE* rows, std::size_t r, std::size_t c) {
  return BandElementAddress(rows[r].values, r, c);
}

inline __mmask8 LaneRange(std::size_t c0, std::size_t first, std::size_t last) {
  return static_cast<__mmask8>(BandLaneRange(c0, first, last));
}

// Marks the lanes of `zeros` in `skip`: zeros inside a row's reach.
inline void MarkZeros(unsigned zeros, std::uint8_t* skip) {
  for (; zeros != 0; zeros &= zeros - 1)
    skip[__builtin_ctz(zeros)] = 1;
}

// R rows from r0 times V groups from g0. With Left, the first group holds
// the rows' diagonals (lanes left of them masked); with Right, the last group
// holds column `end` (lanes past it masked).
template <int R, int V, bool Left, bool Right, bool Skips>
ZEL_AVX512 void Tile(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t g0,
                     std::size_t end, GAUSS_TAPE* rows) {
  auto edged = [](int v) { return (Left && v == 0) || (Right && v == V - 1); };
  __m512d acc[R][V];
  __mmask8 edge[R][V];
  double* address[R][V];
  for (int s = 0; s < R; ++s)
    for (int v = 0; v < V; ++v) {
      const std::size_t c0 = P.col0 + Lanes * (g0 + v);
      address[s][v] = ElementAddress(rows, r0 + s, c0);
      if (edged(v)) {
        edge[s][v] = LaneRange(c0, r0 + s, end);
        acc[s][v] = _mm512_maskz_loadu_pd(edge[s][v], address[s][v]);
      } else {
        edge[s][v] = 0xFF;
        acc[s][v] = _mm512_loadu_pd(address[s][v]);
      }
    }
  KernelEntry();
  const std::size_t ri = r0 - P.col0;
  constexpr std::uint64_t allSet = (std::uint64_t{1} << (8 * V)) - 1;
  const std::uint8_t* mk = P.mask + (pa - P.col0) * P.groups;
  // A tile's rows lie in one group (tiles start on a multiple of their
  // height), so their factors are neighbours in that group's block.
  const double* u = P.u + g0 * P.stride + (pa - P.col0) * Lanes;
  const double* f = P.f + ri / Lanes * P.stride + (pa - P.col0) * Lanes + ri % Lanes;
  for (std::size_t p = pa; p < pb; ++p, mk += P.groups, u += Lanes, f += Lanes) {
    // The flags of the V groups as one integer: the tests stay out of the
    // mask registers, which some processors serve on the vector pipes.
    std::uint32_t flags = 0;
    std::memcpy(&flags, mk + g0, V);
    if (flags == 0)
      continue;
    __m512d uv[V];
    for (int v = 0; v < V; ++v)
      uv[v] = _mm512_load_pd(u + P.stride * static_cast<std::size_t>(v));
    // Merge-masked subtraction is markedly slower than plain subtraction on
    // some processors: groups whose flags are all set (the rule inside a
    // filled band) use the plain form. Lanes outside the edges need no mask
    // here: they were loaded as zeros and are never stored.
    const bool full = flags == allSet;
    for (int s = 0; s < R; ++s) {
      if constexpr (Skips) {
        const std::size_t rc = ri + static_cast<std::size_t>(s);
        if (!((mk[rc / 8] >> (rc % 8)) & 1u))
          continue;
      }
      const double* fs = f + s;
      if (full) {
        for (int v = 0; v < V; ++v)
          acc[s][v] = _mm512_sub_pd(acc[s][v], MulBroadcast(uv[v], fs));
      } else {
        for (int v = 0; v < V; ++v)
          acc[s][v] = _mm512_mask_sub_pd(acc[s][v], static_cast<__mmask8>(flags >> (8 * v)), acc[s][v],
                                         MulBroadcast(uv[v], fs));
      }
    }
  }
  for (int s = 0; s < R; ++s)
    for (int v = 0; v < V; ++v) {
      if (edged(v))
        _mm512_mask_storeu_pd(address[s][v], edge[s][v], acc[s][v]);
      else
        _mm512_storeu_pd(address[s][v], acc[s][v]);
    }
}

template <int R, bool Left, bool Right, bool Skips>
ZEL_AVX512 void TileOfWidth(std::size_t V, const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0,
                            std::size_t g0, std::size_t end, GAUSS_TAPE* rows) {
  if (V == 1)
    Tile<R, 1, Left, Right, Skips>(P, pa, pb, r0, g0, end, rows);
  else
    Tile<R, 2, Left, Right, Skips>(P, pa, pb, r0, g0, end, rows);
}

// Rows [r0, r0 + R), all inside one group of columns, across all their
// columns up to `end`, in chunks of up to four groups: the first chunk
// starts at the group of their diagonals, the last ends at `end`.
template <int R, bool Skips>
ZEL_AVX512 void RowTile(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t end,
                        GAUSS_TAPE* rows) {
  const std::size_t gFirst = (r0 - P.col0) / Lanes;
  const std::size_t gLast = (end - P.col0) / Lanes;
  const bool partialLast = (end - P.col0) % Lanes != Lanes - 1;
  for (std::size_t g = gFirst; g <= gLast; g += GroupsPerChunk) {
    const std::size_t V = std::min<std::size_t>(GroupsPerChunk, gLast - g + 1);
    // The next chunk of the rows is fetched while this one is computed.
    if (g + GroupsPerChunk <= gLast) {
      const std::size_t next = P.col0 + Lanes * (g + GroupsPerChunk);
      for (int s = 0; s < R; ++s)
        for (std::size_t line = 0; line < GroupsPerChunk; ++line)
          PrefetchLine(ElementAddress(rows, r0 + s, next + Lanes * line));
    }
    const bool left = g == gFirst;
    const bool right = g + V - 1 == gLast && partialLast;
    if (left && right)
      TileOfWidth<R, true, true, Skips>(V, P, pa, pb, r0, g, end, rows);
    else if (left)
      TileOfWidth<R, true, false, Skips>(V, P, pa, pb, r0, g, end, rows);
    else if (right)
      TileOfWidth<R, false, true, Skips>(V, P, pa, pb, r0, g, end, rows);
    else if (V == GroupsPerChunk)
      Tile<R, GroupsPerChunk, false, false, Skips>(P, pa, pb, r0, g, end, rows);
    else
      TileOfWidth<R, false, false, Skips>(V, P, pa, pb, r0, g, end, rows);
  }
}

template <int R>
ZEL_AVX512 void RowTileFor(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t end,
                           GAUSS_TAPE* rows) {
  unsigned skips = 0;
  for (int s = 0; s < R; ++s)
    skips |= P.rowSkip[r0 + static_cast<std::size_t>(s) - P.col0];
  if (skips)
    RowTile<R, true>(P, pa, pb, r0, end, rows);
  else
    RowTile<R, false>(P, pa, pb, r0, end, rows);
}

} // namespace

ZEL_AVX512 void BandUpdateAvx512(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst,
                                 std::size_t rLast, std::size_t end, GAUSS_TAPE* rows) {
  // Rows outside, columns inside: each tile of rows walks from its diagonal
  // to the end, so only its first group carries masked lanes. Tiles start on
  // a multiple of their height from the panel's origin so that their
  // diagonals share one group; single rows and tiles of four fill the gaps.
  constexpr int Half = RowsPerTile / 2;
  std::size_t r = rFirst;
  for (; r <= rLast && (r - P.col0) % Half != 0; ++r)
    RowTileFor<1>(P, pa, pb, r, end, rows);
  if (r + Half - 1 <= rLast && (r - P.col0) % RowsPerTile != 0) {
    RowTileFor<Half>(P, pa, pb, r, end, rows);
    r += Half;
  }
  for (; r + RowsPerTile - 1 <= rLast; r += RowsPerTile)
    RowTileFor<RowsPerTile>(P, pa, pb, r, end, rows);
  if (r + Half - 1 <= rLast) {
    RowTileFor<Half>(P, pa, pb, r, end, rows);
    r += Half;
  }
  for (; r <= rLast; ++r)
    RowTileFor<1>(P, pa, pb, r, end, rows);
}

ZEL_AVX512 void BandFinishAvx512(double* values, std::size_t count, std::size_t column, std::size_t groups,
                                 std::size_t stride, double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip) {
  const double d = values[0];
  const __m512d dv = _mm512_set1_pd(d), zero = _mm512_setzero_pd();
  for (std::size_t g = 0; g < groups; ++g) {
    // Lane t is the row's element k = 8g + t − column; live are 1 ≤ k < count.
    const std::size_t c0 = Lanes * g;
    const __mmask8 live = LaneRange(c0, column + 1, column + count - 1);
    __m512d quotient = zero, factor = zero;
    __mmask8 nonZero = 0;
    if (live != 0) {
      double* at = BandElementAddress(values, column, c0);
      const __m512d x = _mm512_maskz_loadu_pd(live, at);
      // Unordered-or-unequal: a NaN counts as non-zero, as it does for x != 0.
      nonZero = _mm512_mask_cmp_pd_mask(live, x, zero, _CMP_NEQ_UQ);
      quotient = _mm512_maskz_div_pd(nonZero, x, dv);
      factor = _mm512_maskz_mul_pd(nonZero, quotient, dv);
      _mm512_mask_storeu_pd(at, nonZero, quotient);
      MarkZeros(live & ~nonZero, rowSkip + c0);
    }
    _mm512_store_pd(u + g * stride, quotient);
    _mm512_store_pd(f + g * stride, factor);
    mask[g] = static_cast<std::uint8_t>(nonZero);
  }
}

namespace {

// Groups g … g + V − 1 of the block's eight rows, with the pivots and
// factors of D. Inside (every row stores past the groups) the lanes need no
// masks.
template <int V, bool Inside>
ZEL_AVX512 void BlockChunk(const BandPanel& P, std::size_t block, std::size_t g, const BandBlockDiagonal& D,
                           double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  constexpr int R = 8;
  const __m512d zero = _mm512_setzero_pd();
  const std::size_t pi = block - P.col0;
  __m512d acc[R][V];
  __mmask8 live[R][V];
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s) {
    const std::size_t r = block + static_cast<std::size_t>(s);
#pragma GCC unroll 2
    for (int v = 0; v < V; ++v) {
      const std::size_t c0 = P.col0 + Lanes * (g + static_cast<std::size_t>(v));
      if constexpr (Inside) {
        live[s][v] = 0xFF;
        acc[s][v] = _mm512_loadu_pd(rows[r].values + (c0 - r));
      } else {
        live[s][v] = LaneRange(c0, r, r + rows[r].count - 1);
        acc[s][v] = _mm512_maskz_loadu_pd(live[s][v], ElementAddress(rows, r, c0));
      }
    }
  }
#pragma GCC unroll 8
  for (int p = 0; p < R; ++p) {
    const std::size_t r = block + static_cast<std::size_t>(p);
    const __m512d dv = _mm512_set1_pd(D.d[p]);
#pragma GCC unroll 2
    for (int v = 0; v < V; ++v) {
      const std::size_t gv = g + static_cast<std::size_t>(v), c0 = P.col0 + Lanes * gv;
      // Unordered-or-unequal: a NaN counts as non-zero, as it does for x != 0.
      const __mmask8 nonZero = Inside ? _mm512_cmp_pd_mask(acc[p][v], zero, _CMP_NEQ_UQ)
                                      : _mm512_mask_cmp_pd_mask(live[p][v], acc[p][v], zero, _CMP_NEQ_UQ);
      const __m512d quotient = _mm512_maskz_div_pd(nonZero, acc[p][v], dv);
      const __m512d stored = _mm512_mask_mov_pd(acc[p][v], nonZero, quotient);
      if constexpr (Inside)
        _mm512_storeu_pd(rows[r].values + (c0 - r), stored);
      else
        _mm512_mask_storeu_pd(ElementAddress(rows, r, c0), live[p][v], stored);
      _mm512_store_pd(u + gv * P.stride + (pi + static_cast<std::size_t>(p)) * Lanes, quotient);
      _mm512_store_pd(f + gv * P.stride + (pi + static_cast<std::size_t>(p)) * Lanes,
                      _mm512_maskz_mul_pd(nonZero, quotient, dv));
      mask[(pi + static_cast<std::size_t>(p)) * P.groups + gv] = static_cast<std::uint8_t>(nonZero);
      MarkZeros(live[p][v] & ~nonZero, rowSkip + Lanes * gv);
#pragma GCC unroll 8
      for (int q = p + 1; q < R; ++q)
        if ((D.flags[p] >> q) & 1u)
          acc[q][v] = _mm512_mask_sub_pd(acc[q][v], nonZero, acc[q][v],
                                         _mm512_mul_pd(quotient, _mm512_set1_pd(D.fq[p][q])));
    }
  }
}

} // namespace

ZEL_AVX512 void BandBlockRestAvx512(const BandPanel& P, std::size_t block, double* u, double* f, std::uint8_t* mask,
                                    std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  const BandBlockDiagonal D(P, block, rows);
  std::size_t g = D.rest;
  for (; g + 2 <= P.groups && P.col0 + Lanes * (g + 2) - 1 <= D.shortest; g += 2)
    BlockChunk<2, true>(P, block, g, D, u, f, mask, rowSkip, rows);
  for (; g + 2 <= P.groups; g += 2)
    BlockChunk<2, false>(P, block, g, D, u, f, mask, rowSkip, rows);
  if (g < P.groups)
    BlockChunk<1, false>(P, block, g, D, u, f, mask, rowSkip, rows);
}

ZEL_AVX512 void BandForwardRowAvx512(const double* v, std::size_t count, double x, double* b) {
  const __m512d xv = _mm512_set1_pd(x);
  std::size_t k = 1;
  for (; k + Lanes <= count; k += Lanes)
    _mm512_storeu_pd(b + k, _mm512_sub_pd(_mm512_loadu_pd(b + k), _mm512_mul_pd(_mm512_loadu_pd(v + k), xv)));
  if (k < count) {
    const auto live = static_cast<__mmask8>((1u << (count - k)) - 1);
    const __m512d bk = _mm512_maskz_loadu_pd(live, b + k);
    _mm512_mask_storeu_pd(b + k, live, _mm512_sub_pd(bk, _mm512_mul_pd(_mm512_maskz_loadu_pd(live, v + k), xv)));
  }
}

ZEL_AVX512 void BandLanesForwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  const __m512d zero = _mm512_setzero_pd();
  for (std::size_t i = 0; i < n; ++i) {
    double* xi = x + Lanes * i;
    const __m512d own = _mm512_load_pd(xi);
    // Lanes whose component is not zero (a NaN included, as x != 0 says).
    const __mmask8 live = _mm512_cmp_pd_mask(own, zero, _CMP_NEQ_UQ);
    if (live == 0)
      continue;
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    for (std::size_t k = 1; k < count; ++k) {
      const __m512d t = _mm512_load_pd(xi + Lanes * k);
      _mm512_store_pd(xi + Lanes * k, _mm512_mask_sub_pd(t, live, t, _mm512_mul_pd(_mm512_set1_pd(v[k]), own)));
    }
    _mm512_store_pd(xi, _mm512_mask_div_pd(own, live, own, _mm512_set1_pd(v[0])));
  }
}

ZEL_AVX512 void BandLanesBackwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  for (std::size_t i = n >= 2 ? n - 1 : 0; i-- > 0;) {
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    // The row above is fetched while this one is summed.
    const double* above = i > 0 ? rows[i - 1].values : nullptr;
    const std::size_t aboveCount = i > 0 ? rows[i - 1].count : 0;
    const double* xi = x + Lanes * i;
    __m512d s = _mm512_load_pd(xi);
    for (std::size_t k = 1; k < count; ++k) {
      PrefetchRowAbove(above, aboveCount, k - 1);
      s = _mm512_sub_pd(s, _mm512_mul_pd(_mm512_set1_pd(v[k]), _mm512_load_pd(xi + Lanes * k)));
    }
    _mm512_store_pd(x + Lanes * i, s);
  }
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void BandUpdateAvx512(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                      std::size_t end, GAUSS_TAPE* rows) {
  BandUpdateGeneric(P, pa, pb, rFirst, rLast, end, rows);
}
void BandFinishAvx512(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                      double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip) {
  BandFinishGeneric(values, count, column, groups, stride, u, f, mask, rowSkip);
}
void BandBlockRestAvx512(const BandPanel& P, std::size_t block, double* u, double* f, std::uint8_t* mask,
                         std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  BandBlockRestGeneric(P, block, u, f, mask, rowSkip, rows);
}
void BandForwardRowAvx512(const double* v, std::size_t count, double x, double* b) {
  for (std::size_t k = 1; k < count; ++k)
    b[k] -= v[k] * x;
}
void BandLanesForwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x) { BandLanesForwardGeneric(n, rows, x); }
void BandLanesBackwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  BandLanesBackwardGeneric(n, rows, x);
}
} // namespace zel::numerics

#endif
