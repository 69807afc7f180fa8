// AVX2 kernels of the blocked band factorisation: groups of eight columns
// in vector registers, a lane left unchanged by a blend where its flag is
// clear; lanes outside a row's storage are masked out of loads and stores.

#include "zeltools/numerics/internal/band_blocked.h"
#include "zeltools/numerics/internal/band_lanes.h"
#include "zeltools/numerics/internal/prefetch.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>

#include <immintrin.h>

#define ZEL_AVX2 __attribute__((target("avx2")))

namespace zel::numerics {
namespace {

constexpr std::size_t Lanes = 8;
constexpr int RowsPerTile = 4;

// Blend masks of the four lanes of a half group, by the four flag bits.
struct HalfMasks {
  alignas(32) std::int64_t bits[16][4];
  constexpr HalfMasks() : bits{} {
    for (int m = 0; m < 16; ++m)
      for (int t = 0; t < 4; ++t)
        bits[m][t] = (m >> t) & 1 ? -1 : 0;
  }
};
constexpr HalfMasks halfMasks{};

ZEL_AVX2 inline __m256d HalfMask(unsigned bits) {
  return _mm256_castsi256_pd(_mm256_load_si256(reinterpret_cast<const __m256i*>(halfMasks.bits[bits])));
}

// Rows r0 … r0+R−1, group g, from panel rows [pa, pb), each row's lanes
// from its diagonal to column `cLast` only (rows whose diagonal lies inside
// the group, or a group that the reach ends inside, have lanes outside; they
// are neither loaded nor stored, and what the steps compute in them is
// dropped). The factors and the flags are read through pointers that
// advance by one panel row each step, not through the panel's index
// arithmetic, which cost more than the floating-point work of the step. With
// Dense every flag of the group is set in every panel row, and the plain
// subtraction replaces the blend.
template <int R, bool Skips, bool Dense>
ZEL_AVX2 void Tile(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t g,
                   std::size_t cLast, GAUSS_TAPE* rows) {
  const std::size_t c0 = P.col0 + Lanes * g;
  unsigned live[R], anyLive = 0, allLive = 0xFFu;
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s) {
    live[s] = BandLaneRange(c0, r0 + static_cast<std::size_t>(s), cLast);
    anyLive |= live[s];
    allLive &= live[s];
  }
  const bool whole = allLive == 0xFFu;
  __m256d lo[R], hi[R];
  double* low[R];
  double* high[R];
  const double* f[R]; // f(pa, r0 + s); panel row pa + q's lies 8·q further
  std::size_t flagGroup[R];
  unsigned flagBit[R];
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s) {
    const std::size_t r = r0 + static_cast<std::size_t>(s);
    low[s] = BandElementAddress(rows[r].values, r, c0);
    high[s] = BandElementAddress(rows[r].values, r, c0 + 4);
    lo[s] = whole ? _mm256_loadu_pd(low[s]) : _mm256_maskload_pd(low[s], _mm256_castpd_si256(HalfMask(live[s] & 15u)));
    hi[s] = whole ? _mm256_loadu_pd(high[s]) : _mm256_maskload_pd(high[s], _mm256_castpd_si256(HalfMask(live[s] >> 4)));
    f[s] = P.f + P.At(pa, r);
    flagGroup[s] = (r - P.col0) / 8;
    flagBit[s] = static_cast<unsigned>((r - P.col0) % 8);
  }
  const double* u = P.u + g * P.stride + (pa - P.col0) * 8;
  const std::uint8_t* mask = P.mask + (pa - P.col0) * P.groups;
  for (std::size_t q = 0; q < pb - pa; ++q, u += 8, mask += P.groups) {
    const unsigned mk = Dense ? 0xFFu : mask[g] & anyLive;
    if (mk == 0)
      continue;
    const __m256d uLo = _mm256_load_pd(u), uHi = _mm256_load_pd(u + 4);
    const __m256d mLo = HalfMask(mk & 15u), mHi = HalfMask(mk >> 4);
#pragma GCC unroll 8
    for (int s = 0; s < R; ++s) {
      if constexpr (Skips)
        if (!((mask[flagGroup[s]] >> flagBit[s]) & 1u))
          continue;
      const __m256d fs = _mm256_set1_pd(f[s][8 * q]);
      if constexpr (Dense) {
        lo[s] = _mm256_sub_pd(lo[s], _mm256_mul_pd(uLo, fs));
        hi[s] = _mm256_sub_pd(hi[s], _mm256_mul_pd(uHi, fs));
      } else {
        lo[s] = _mm256_blendv_pd(lo[s], _mm256_sub_pd(lo[s], _mm256_mul_pd(uLo, fs)), mLo);
        hi[s] = _mm256_blendv_pd(hi[s], _mm256_sub_pd(hi[s], _mm256_mul_pd(uHi, fs)), mHi);
      }
    }
  }
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s) {
    if (whole) {
      _mm256_storeu_pd(low[s], lo[s]);
      _mm256_storeu_pd(high[s], hi[s]);
    } else {
      _mm256_maskstore_pd(low[s], _mm256_castpd_si256(HalfMask(live[s] & 15u)), lo[s]);
      _mm256_maskstore_pd(high[s], _mm256_castpd_si256(HalfMask(live[s] >> 4)), hi[s]);
    }
  }
}

// The tile from panel rows [pa, denseFrom) with blends, then from
// [denseFrom, pb), whose rows set every flag of the group, without: every
// element still takes the panel rows in increasing order.
template <int R, bool Skips>
ZEL_AVX2 void Tiles(const BandPanel& P, std::size_t pa, std::size_t denseFrom, std::size_t pb, std::size_t r0,
                    std::size_t g, std::size_t cLast, GAUSS_TAPE* rows) {
  if (pa < denseFrom)
    Tile<R, Skips, false>(P, pa, denseFrom, r0, g, cLast, rows);
  if (denseFrom < pb)
    Tile<R, Skips, true>(P, denseFrom, pb, r0, g, cLast, rows);
}

} // namespace

ZEL_AVX2 void BandUpdateAvx2(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst,
                             std::size_t rLast, std::size_t end, GAUSS_TAPE* rows) {
  const std::size_t gFirst = (rFirst - P.col0) / Lanes;
  const std::size_t gLast = (end - P.col0) / Lanes;
  for (std::size_t g = gFirst; g <= gLast; ++g) {
    const std::size_t c0 = P.col0 + Lanes * g;
    const std::size_t cLast = std::min(c0 + Lanes - 1, end);
    const std::size_t last = std::min(rLast, cLast);
    if (rFirst > last)
      continue;
    // Panel rows reach farther as they go down: the last ones set every
    // flag of the group, and their steps need no blends.
    std::size_t denseFrom = pb;
    while (denseFrom > pa && P.mask[(denseFrom - 1 - P.col0) * P.groups + g] == 0xFF)
      --denseFrom;
    const std::size_t fullLast = std::min(last, c0); // rows that start at or before the group
    std::size_t r = rFirst;
    for (; r + RowsPerTile - 1 <= last; r += RowsPerTile) {
      // The tiles go down a group of columns, from row to row, which the
      // hardware does not foresee: the rows two tiles on are fetched while
      // this one is computed.
      if (r + 3 * RowsPerTile - 1 <= fullLast)
        for (std::size_t t = r + 2 * RowsPerTile; t < r + 3 * RowsPerTile; ++t) {
          const double* at = rows[t].values + (c0 - t);
          PrefetchLine(at);
          PrefetchLine(at + Lanes - 1);
        }
      const std::uint8_t* rs = P.rowSkip + (r - P.col0);
      const bool skips = rs[0] | rs[1] | rs[2] | rs[3];
      if (skips)
        Tiles<RowsPerTile, true>(P, pa, denseFrom, pb, r, g, cLast, rows);
      else
        Tiles<RowsPerTile, false>(P, pa, denseFrom, pb, r, g, cLast, rows);
    }
    for (; r <= last; ++r) {
      if (P.rowSkip[r - P.col0])
        Tiles<1, true>(P, pa, denseFrom, pb, r, g, cLast, rows);
      else
        Tiles<1, false>(P, pa, denseFrom, pb, r, g, cLast, rows);
    }
  }
}

// The pivot step of a row, as the AVX-512 kernel takes it, in two halves of
// four lanes: lane t of group g is the row's element k = 8g + t − column,
// live for 1 ≤ k < count; a live zero (not a NaN) is marked, not divided.
ZEL_AVX2 void BandFinishAvx2(double* values, std::size_t count, std::size_t column, std::size_t groups,
                             std::size_t stride, double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip) {
  const __m256d dv = _mm256_set1_pd(values[0]), zero = _mm256_setzero_pd();
  for (std::size_t g = 0; g < groups; ++g) {
    const std::size_t c0 = Lanes * g;
    const unsigned live = BandLaneRange(c0, column + 1, column + count - 1);
    __m256d quotient[2] = {zero, zero}, factor[2] = {zero, zero};
    unsigned nonZero = 0;
    if (live != 0) {
      for (unsigned h = 0; h < 2; ++h) {
        double* half = BandElementAddress(values, column, c0 + 4 * h);
        const __m256d liveHalf = HalfMask((live >> (4 * h)) & 15u);
        const __m256d x = _mm256_maskload_pd(half, _mm256_castpd_si256(liveHalf));
        // Unordered-or-unequal: a NaN counts as non-zero, as it does for x != 0.
        const __m256d nz = _mm256_and_pd(_mm256_cmp_pd(x, zero, _CMP_NEQ_UQ), liveHalf);
        quotient[h] = _mm256_and_pd(_mm256_div_pd(x, dv), nz);
        factor[h] = _mm256_and_pd(_mm256_mul_pd(quotient[h], dv), nz);
        _mm256_maskstore_pd(half, _mm256_castpd_si256(nz), quotient[h]);
        nonZero |= static_cast<unsigned>(_mm256_movemask_pd(nz)) << (4 * h);
      }
      for (unsigned zeros = live & ~nonZero; zeros != 0; zeros &= zeros - 1)
        rowSkip[c0 + static_cast<unsigned>(__builtin_ctz(zeros))] = 1;
    }
    _mm256_store_pd(u + g * stride, quotient[0]);
    _mm256_store_pd(u + g * stride + 4, quotient[1]);
    _mm256_store_pd(f + g * stride, factor[0]);
    _mm256_store_pd(f + g * stride + 4, factor[1]);
    mask[g] = static_cast<std::uint8_t>(nonZero);
  }
}

namespace {

// Half h of group g (four lanes) of the block's eight rows, as the AVX-512
// block kernel takes whole groups, with the pivots and factors of D. Inside,
// every row stores past the half and no lane needs a mask. A lane whose flag
// is clear keeps its value by a blend.
template <bool Inside>
ZEL_AVX2 void BlockHalf(const BandPanel& P, std::size_t block, std::size_t g, unsigned h, const BandBlockDiagonal& D,
                        double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  constexpr int R = 8;
  const __m256d zero = _mm256_setzero_pd();
  const std::size_t pi = block - P.col0, c0 = P.col0 + Lanes * g + 4 * h;
  __m256d acc[R];
  unsigned live[R];
#pragma GCC unroll 8
  for (int s = 0; s < R; ++s) {
    const std::size_t r = block + static_cast<std::size_t>(s);
    if constexpr (Inside) {
      live[s] = 15u;
      acc[s] = _mm256_loadu_pd(rows[r].values + (c0 - r));
    } else {
      live[s] = BandLaneRange(c0, r, r + rows[r].count - 1) & 15u;
      acc[s] = _mm256_maskload_pd(BandElementAddress(rows[r].values, r, c0), _mm256_castpd_si256(HalfMask(live[s])));
    }
  }
#pragma GCC unroll 8
  for (int p = 0; p < R; ++p) {
    const std::size_t r = block + static_cast<std::size_t>(p), row = (pi + static_cast<std::size_t>(p)) * Lanes;
    const __m256d dv = _mm256_set1_pd(D.d[p]);
    // Unordered-or-unequal: a NaN counts as non-zero, as it does for x != 0.
    __m256d nz = _mm256_cmp_pd(acc[p], zero, _CMP_NEQ_UQ);
    if constexpr (!Inside)
      nz = _mm256_and_pd(nz, HalfMask(live[p]));
    const __m256d quotient = _mm256_and_pd(_mm256_div_pd(acc[p], dv), nz);
    const __m256d stored = _mm256_blendv_pd(acc[p], quotient, nz);
    if constexpr (Inside)
      _mm256_storeu_pd(rows[r].values + (c0 - r), stored);
    else
      _mm256_maskstore_pd(BandElementAddress(rows[r].values, r, c0), _mm256_castpd_si256(HalfMask(live[p])), stored);
    _mm256_store_pd(u + g * P.stride + row + 4 * h, quotient);
    _mm256_store_pd(f + g * P.stride + row + 4 * h, _mm256_and_pd(_mm256_mul_pd(quotient, dv), nz));
    const unsigned bits = static_cast<unsigned>(_mm256_movemask_pd(nz));
    std::uint8_t& flagsOut = mask[(pi + static_cast<std::size_t>(p)) * P.groups + g];
    flagsOut = static_cast<std::uint8_t>(h == 0 ? bits : flagsOut | bits << 4);
    for (unsigned zeros = live[p] & ~bits; zeros != 0; zeros &= zeros - 1)
      rowSkip[c0 - P.col0 + static_cast<unsigned>(__builtin_ctz(zeros))] = 1;
#pragma GCC unroll 8
    for (int q = p + 1; q < R; ++q)
      if ((D.flags[p] >> q) & 1u)
        acc[q] = _mm256_blendv_pd(acc[q], _mm256_sub_pd(acc[q], _mm256_mul_pd(quotient, _mm256_set1_pd(D.fq[p][q]))),
                                  nz);
  }
}

} // namespace

ZEL_AVX2 void BandBlockRestAvx2(const BandPanel& P, std::size_t block, double* u, double* f, std::uint8_t* mask,
                                std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  const BandBlockDiagonal D(P, block, rows);
  for (std::size_t g = D.rest; g < P.groups; ++g)
    for (unsigned h = 0; h < 2; ++h) {
      if (P.col0 + Lanes * g + 4 * h + 3 <= D.shortest)
        BlockHalf<true>(P, block, g, h, D, u, f, mask, rowSkip, rows);
      else
        BlockHalf<false>(P, block, g, h, D, u, f, mask, rowSkip, rows);
    }
}

// The lanes of the substitution, as the AVX-512 ones, in two halves of four
// lanes; a lane whose component is zero keeps its value by a blend.
ZEL_AVX2 void BandLanesForwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  const __m256d zero = _mm256_setzero_pd();
  for (std::size_t i = 0; i < n; ++i) {
    double* xi = x + Lanes * i;
    const __m256d lo = _mm256_load_pd(xi), hi = _mm256_load_pd(xi + 4);
    const __m256d liveLo = _mm256_cmp_pd(lo, zero, _CMP_NEQ_UQ), liveHi = _mm256_cmp_pd(hi, zero, _CMP_NEQ_UQ);
    if ((_mm256_movemask_pd(liveLo) | _mm256_movemask_pd(liveHi)) == 0)
      continue;
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    for (std::size_t k = 1; k < count; ++k) {
      const __m256d vk = _mm256_set1_pd(v[k]);
      double* t = xi + Lanes * k;
      const __m256d tLo = _mm256_load_pd(t), tHi = _mm256_load_pd(t + 4);
      _mm256_store_pd(t, _mm256_blendv_pd(tLo, _mm256_sub_pd(tLo, _mm256_mul_pd(vk, lo)), liveLo));
      _mm256_store_pd(t + 4, _mm256_blendv_pd(tHi, _mm256_sub_pd(tHi, _mm256_mul_pd(vk, hi)), liveHi));
    }
    const __m256d d = _mm256_set1_pd(v[0]);
    _mm256_store_pd(xi, _mm256_blendv_pd(lo, _mm256_div_pd(lo, d), liveLo));
    _mm256_store_pd(xi + 4, _mm256_blendv_pd(hi, _mm256_div_pd(hi, d), liveHi));
  }
}

ZEL_AVX2 void BandLanesBackwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  for (std::size_t i = n >= 2 ? n - 1 : 0; i-- > 0;) {
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    // The row above is fetched while this one is summed.
    const double* above = i > 0 ? rows[i - 1].values : nullptr;
    const std::size_t aboveCount = i > 0 ? rows[i - 1].count : 0;
    const double* xi = x + Lanes * i;
    __m256d lo = _mm256_load_pd(xi), hi = _mm256_load_pd(xi + 4);
    for (std::size_t k = 1; k < count; ++k) {
      PrefetchRowAbove(above, aboveCount, k - 1);
      const __m256d vk = _mm256_set1_pd(v[k]);
      lo = _mm256_sub_pd(lo, _mm256_mul_pd(vk, _mm256_load_pd(xi + Lanes * k)));
      hi = _mm256_sub_pd(hi, _mm256_mul_pd(vk, _mm256_load_pd(xi + Lanes * k + 4)));
    }
    _mm256_store_pd(x + Lanes * i, lo);
    _mm256_store_pd(x + Lanes * i + 4, hi);
  }
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void BandUpdateAvx2(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                    std::size_t end, GAUSS_TAPE* rows) {
  BandUpdateGeneric(P, pa, pb, rFirst, rLast, end, rows);
}
void BandFinishAvx2(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                    double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip) {
  BandFinishGeneric(values, count, column, groups, stride, u, f, mask, rowSkip);
}
void BandBlockRestAvx2(const BandPanel& P, std::size_t block, double* u, double* f, std::uint8_t* mask,
                       std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  BandBlockRestGeneric(P, block, u, f, mask, rowSkip, rows);
}
void BandLanesForwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x) { BandLanesForwardGeneric(n, rows, x); }
void BandLanesBackwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x) { BandLanesBackwardGeneric(n, rows, x); }
} // namespace zel::numerics

#endif
