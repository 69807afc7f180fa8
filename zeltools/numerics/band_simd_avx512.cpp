// AVX-512 kernels of the blocked band factorisation. Every lane is one
// element of the matrix; a product is a separate multiplication followed by
// a separate (masked) subtraction, exactly the scalar operations.

#include "zeltools/numerics/internal/band_blocked.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>

#include <immintrin.h>

#define ZEL_AVX512 __attribute__((target("avx512f,avx512dq")))

namespace zel::numerics {
namespace {

constexpr std::size_t Lanes = 8;
constexpr int RowsPerTile = 4;
constexpr std::size_t GroupsPerChunk = 4;

// The element (r, c) of a row whose storage starts at column r. Columns left
// of r are only ever addressed under a zero lane mask, which suppresses the
// access; the address is formed on integers so that it is never a pointer
// outside its array.
inline double* ElementAddress(const GAUSS_TAPE* rows, std::size_t r, std::size_t c) {
  const auto base = reinterpret_cast<std::uintptr_t>(rows[r].values);
  const auto offset = static_cast<std::intptr_t>(c) - static_cast<std::intptr_t>(r);
  return reinterpret_cast<double*>(base + static_cast<std::uintptr_t>(offset * static_cast<std::intptr_t>(sizeof(double))));
}

// Lanes of the group starting at column c0 that lie in [first, last].
inline __mmask8 LaneRange(std::size_t c0, std::size_t first, std::size_t last) {
  if (last < c0 || first > c0 + Lanes - 1)
    return 0;
  const unsigned lo = first > c0 ? static_cast<unsigned>(first - c0) : 0u;
  const unsigned hi = last < c0 + Lanes - 1 ? static_cast<unsigned>(last - c0) : 7u;
  return static_cast<__mmask8>((0xFFu << lo) & (0xFFu >> (7 - hi)));
}

template <int R, int V, bool Edge, bool Skips>
ZEL_AVX512 void Tile(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0, std::size_t g0,
                     std::size_t end, GAUSS_TAPE* rows) {
  __m512d acc[R][V];
  __mmask8 edge[R][V];
  double* address[R][V];
  for (int s = 0; s < R; ++s)
    for (int v = 0; v < V; ++v) {
      const std::size_t c0 = P.col0 + Lanes * (g0 + v);
      address[s][v] = ElementAddress(rows, r0 + s, c0);
      if constexpr (Edge) {
        edge[s][v] = LaneRange(c0, r0 + s, end);
        acc[s][v] = _mm512_maskz_loadu_pd(edge[s][v], address[s][v]);
      } else {
        edge[s][v] = 0xFF;
        acc[s][v] = _mm512_loadu_pd(address[s][v]);
      }
    }
  const std::size_t rowBase = (r0 - P.col0) * P.ldf;
  for (std::size_t p = pa; p < pb; ++p) {
    const std::size_t pi = p - P.col0;
    const std::uint8_t* mk = P.mask + pi * P.groups + g0;
    __mmask8 um[V];
    unsigned any = 0;
    for (int v = 0; v < V; ++v) {
      um[v] = mk[v];
      any |= mk[v];
    }
    if (any == 0)
      continue;
    const double* u = P.u + pi * P.ldu + Lanes * g0;
    __m512d uv[V];
    for (int v = 0; v < V; ++v)
      uv[v] = _mm512_loadu_pd(u + Lanes * v);
    for (int s = 0; s < R; ++s) {
      const std::size_t at = rowBase + static_cast<std::size_t>(s) * P.ldf + pi;
      if constexpr (Skips)
        if (P.skip[at])
          continue;
      const __m512d f = _mm512_set1_pd(P.f[at]);
      for (int v = 0; v < V; ++v) {
        const __mmask8 m = Edge ? static_cast<__mmask8>(um[v] & edge[s][v]) : um[v];
        acc[s][v] = _mm512_mask_sub_pd(acc[s][v], m, acc[s][v], _mm512_mul_pd(uv[v], f));
      }
    }
  }
  for (int s = 0; s < R; ++s)
    for (int v = 0; v < V; ++v) {
      if constexpr (Edge)
        _mm512_mask_storeu_pd(address[s][v], edge[s][v], acc[s][v]);
      else
        _mm512_storeu_pd(address[s][v], acc[s][v]);
    }
}

template <int R, bool Edge, bool Skips>
ZEL_AVX512 void TileOfWidth(std::size_t V, const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t r0,
                            std::size_t g0, std::size_t end, GAUSS_TAPE* rows) {
  switch (V) {
  case 1:
    Tile<R, 1, Edge, Skips>(P, pa, pb, r0, g0, end, rows);
    break;
  case 2:
    Tile<R, 2, Edge, Skips>(P, pa, pb, r0, g0, end, rows);
    break;
  case 3:
    Tile<R, 3, Edge, Skips>(P, pa, pb, r0, g0, end, rows);
    break;
  default:
    Tile<R, 4, Edge, Skips>(P, pa, pb, r0, g0, end, rows);
    break;
  }
}

// Rows [first, last] of one chunk, in tiles of four rows and then singly.
template <bool Edge>
ZEL_AVX512 void Rows(std::size_t V, const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t first,
                     std::size_t last, std::size_t g0, std::size_t end, GAUSS_TAPE* rows) {
  std::size_t r = first;
  for (; r + RowsPerTile - 1 <= last; r += RowsPerTile) {
    const std::uint8_t* rs = P.rowSkip + (r - P.col0);
    if (rs[0] | rs[1] | rs[2] | rs[3])
      TileOfWidth<RowsPerTile, Edge, true>(V, P, pa, pb, r, g0, end, rows);
    else
      TileOfWidth<RowsPerTile, Edge, false>(V, P, pa, pb, r, g0, end, rows);
  }
  for (; r <= last; ++r) {
    if (P.rowSkip[r - P.col0])
      TileOfWidth<1, Edge, true>(V, P, pa, pb, r, g0, end, rows);
    else
      TileOfWidth<1, Edge, false>(V, P, pa, pb, r, g0, end, rows);
  }
}

} // namespace

ZEL_AVX512 void BandUpdateAvx512(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst,
                                 std::size_t rLast, std::size_t end, GAUSS_TAPE* rows) {
  const std::size_t gFirst = (rFirst - P.col0) / Lanes;
  const std::size_t gLast = (end - P.col0) / Lanes;
  const bool rightPartial = (end - P.col0) % Lanes != Lanes - 1;
  // Column chunks outside, rows inside: a chunk of the panel stays in the
  // first-level cache while every row below crosses it.
  for (std::size_t g0 = gFirst; g0 <= gLast; g0 += GroupsPerChunk) {
    const std::size_t V = std::min(GroupsPerChunk, gLast - g0 + 1);
    const std::size_t c0 = P.col0 + Lanes * g0;
    const std::size_t cLast = std::min(c0 + Lanes * V - 1, end);
    const bool rightEdge = g0 + V - 1 == gLast && rightPartial;
    const std::size_t last = std::min(rLast, cLast);
    if (rFirst > last)
      continue;
    // Rows starting at or before the chunk use all its lanes; rows starting
    // inside it mask the lanes left of their diagonal.
    const std::size_t fullLast = std::min(last, c0);
    if (rFirst <= fullLast) {
      if (rightEdge)
        Rows<true>(V, P, pa, pb, rFirst, fullLast, g0, end, rows);
      else
        Rows<false>(V, P, pa, pb, rFirst, fullLast, g0, end, rows);
    }
    const std::size_t partFirst = std::max(rFirst, c0 + 1);
    if (partFirst <= last)
      Rows<true>(V, P, pa, pb, partFirst, last, g0, end, rows);
  }
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void BandUpdateAvx512(const BandPanel& P, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                      std::size_t end, GAUSS_TAPE* rows) {
  BandUpdateGeneric(P, pa, pb, rFirst, rLast, end, rows);
}
} // namespace zel::numerics

#endif
