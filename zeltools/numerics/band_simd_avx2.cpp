// AVX2 kernels of the blocked band factorisation: full groups of eight
// columns in vector registers, a lane left unchanged by a blend where its
// flag is clear; the edges go element by element.

#include "zeltools/numerics/internal/band_blocked.h"

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

template <int R, bool Skips>
ZEL_AVX2 void Tile(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t g,
                   GAUSS_TAPE* rows) {
  const std::size_t c0 = P.col0 + Lanes * g;
  __m256d lo[R], hi[R];
  double* address[R];
  for (int s = 0; s < R; ++s) {
    address[s] = rows[r0 + s].values + (c0 - (r0 + s));
    lo[s] = _mm256_loadu_pd(address[s]);
    hi[s] = _mm256_loadu_pd(address[s] + 4);
  }
  for (std::size_t p = pa; p < pb; ++p) {
    const std::size_t pi = p - P.col0;
    const unsigned mk = P.mask[pi * P.groups + g];
    if (mk == 0)
      continue;
    const __m256d mLo = HalfMask(mk & 15u), mHi = HalfMask(mk >> 4);
    const double* u = P.u + g * P.stride + pi * 8;
    const __m256d uLo = _mm256_load_pd(u), uHi = _mm256_load_pd(u + 4);
    for (int s = 0; s < R; ++s) {
      if constexpr (Skips)
        if (!P.Flag(p, r0 + static_cast<std::size_t>(s)))
          continue;
      const __m256d fs = _mm256_set1_pd(P.f[P.At(p, r0 + static_cast<std::size_t>(s))]);
      lo[s] = _mm256_blendv_pd(lo[s], _mm256_sub_pd(lo[s], _mm256_mul_pd(uLo, fs)), mLo);
      hi[s] = _mm256_blendv_pd(hi[s], _mm256_sub_pd(hi[s], _mm256_mul_pd(uHi, fs)), mHi);
    }
  }
  for (int s = 0; s < R; ++s) {
    _mm256_storeu_pd(address[s], lo[s]);
    _mm256_storeu_pd(address[s] + 4, hi[s]);
  }
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
    // Whole groups of rows that start at or before the group, unless the
    // matrix's reach ends inside it, go through the vector tile.
    std::size_t r = rFirst;
    if (cLast == c0 + Lanes - 1) {
      const std::size_t fullLast = std::min(last, c0);
      for (; r + RowsPerTile - 1 <= fullLast; r += RowsPerTile) {
        const std::uint8_t* rs = P.rowSkip + (r - P.col0);
        if (rs[0] | rs[1] | rs[2] | rs[3])
          Tile<RowsPerTile, true>(P, pa, pb, r, g, rows);
        else
          Tile<RowsPerTile, false>(P, pa, pb, r, g, rows);
      }
      for (; r <= fullLast; ++r) {
        if (P.rowSkip[r - P.col0])
          Tile<1, true>(P, pa, pb, r, g, rows);
        else
          Tile<1, false>(P, pa, pb, r, g, rows);
      }
    }
    for (; r <= last; ++r)
      BandUpdateSegment(P, pa, pb, r, std::max(r, c0), cLast, rows);
  }
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void BandUpdateAvx2(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                    std::size_t end, GAUSS_TAPE* rows) {
  BandUpdateGeneric(P, pa, pb, rFirst, rLast, end, rows);
}
} // namespace zel::numerics

#endif
