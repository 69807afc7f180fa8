#pragma once
// Blocked band factorisation. Rows are taken in panels of consecutive rows:
// inside a panel each row first receives the updates of the panel rows above
// it, then is divided by its pivot; then the panel updates every row below it
// at once, tile by tile, so a tile of target elements stays in registers
// while the panel rows' products are subtracted from it one row at a time.
// Each element thus receives exactly the row-by-row elimination's updates,
// in the same increasing row order: the results are identical to the bit.
// With several threads, the rows below a panel are shared out by groups,
// and one thread factorises the next panel while the others update the
// rows beyond it (the look-ahead), so that the panels, which one thread
// alone can factorise, overlap with the updates.
//
// Invariant relied on (checked by CheckBandRows): the reach e_i = i + count_i − 1
// of the rows never decreases, so a panel's last row reaches farthest and
// every row inside a panel row's reach stores at least up to that reach.

#include <cstddef>
#include <cstdint>

#include "zeltools/numerics/band.h"
#include "zeltools/numerics/internal/simd_level.h"

namespace zel::numerics {

/// Panel height used by the solver; tests pass other heights.
inline constexpr std::size_t DefaultBandPanel = 96;

/// Bits of the lanes of the group of eight columns from c0 that lie in
/// [first, last]; none when first > last.
inline unsigned BandLaneRange(std::size_t c0, std::size_t first, std::size_t last) {
  if (last < c0 || first > c0 + 7)
    return 0;
  const unsigned lo = first > c0 ? static_cast<unsigned>(first - c0) : 0u;
  const unsigned hi = last < c0 + 7 ? static_cast<unsigned>(last - c0) : 7u;
  return (0xFFu << lo) & (0xFFu >> (7 - hi));
}

/// Element c of a row whose storage starts at column `start`. The vector
/// kernels address columns left of start only under a zero lane mask, which
/// suppresses the access; the address is formed on integers so that no
/// pointer is made that points outside its array.
inline double* BandElementAddress(double* values, std::size_t start, std::size_t c) {
  const auto base = reinterpret_cast<std::uintptr_t>(values);
  const auto offset = static_cast<std::intptr_t>(c) - static_cast<std::intptr_t>(start);
  return reinterpret_cast<double*>(base + static_cast<std::uintptr_t>(offset * static_cast<std::intptr_t>(sizeof(double))));
}

/// One panel, after some of its rows have been divided by their pivots.
/// Columns are counted from `col0` (the panel's first row) in groups of 8;
/// panel row p is stored at index p − col0.
///
/// u and f keep each group of eight columns as one block of the panel rows
/// one after the other (eight doubles a row), the blocks `stride` apart: a
/// tile reads its groups as a few contiguous blocks instead of a line from
/// every panel row, which spared neither the cache sets nor the address
/// translation.
struct BandPanel {
  std::size_t col0 = 0;
  std::size_t groups = 0; // groups of 8 columns covering the panel's reach
  std::size_t stride = 0; // distance of two groups' blocks, at least 8 × the panel's height
  // u[At(p, c)]: u(p, c) of panel row p after division.
  const double* u = nullptr;
  // f[At(p, r)]: u(p, r)·d_p, the factor row p applies to row r.
  const double* f = nullptr;
  // mask[(p − col0)·groups + g], bit t: the element in column col0 + 8g + t
  // of row p was non-zero before division (its flag in the elimination).
  // A clear bit inside row p's reach is a zero that row p skips entirely
  // when it updates row col0 + 8g + t.
  const std::uint8_t* mask = nullptr;
  // rowSkip[r − col0]: some panel row has such a zero in column r.
  const std::uint8_t* rowSkip = nullptr;

  std::size_t At(std::size_t p, std::size_t c) const {
    const std::size_t ci = c - col0;
    return ci / 8 * stride + (p - col0) * 8 + ci % 8;
  }

  bool Flag(std::size_t p, std::size_t c) const {
    const std::size_t ci = c - col0;
    return (mask[(p - col0) * groups + ci / 8] >> (ci % 8)) & 1u;
  }
};

/// Subtracts from rows r ∈ [rFirst, rLast], columns [r, end], the updates of
/// panel rows p ∈ [pa, pb), in increasing p for every element. Rows must
/// store at least up to `end`, and rLast ≤ end.
using BandUpdateFn = void (*)(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst,
                              std::size_t rLast, std::size_t end, GAUSS_TAPE* rows);

void BandUpdateGeneric(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                       std::size_t end, GAUSS_TAPE* rows);
void BandUpdateAvx2(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                    std::size_t end, GAUSS_TAPE* rows);
void BandUpdateAvx512(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                      std::size_t end, GAUSS_TAPE* rows);

/// Elements of row r updated from panel rows [pa, pb) one at a time, for
/// columns [cBegin, cEnd]: the edges that the vector kernels leave over.
void BandUpdateSegment(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t r, std::size_t cBegin,
                       std::size_t cEnd, GAUSS_TAPE* rows);

/// The pivot step of row q (whose pivot is not zero): its non-zero elements
/// are divided by the pivot, and the panel receives the row's values u, its
/// factors u·d, its flags and its zeros inside its reach. `column` is q's
/// column counted from the panel's origin; u and f point at q's row in the
/// blocks of group 0, so that column c's element lies at (c / 8)·stride +
/// c % 8. Every one of the panel's `groups` is written, zeros outside the
/// row, so that the blocks need no clearing; mask is q's row of flags.
using BandFinishFn = void (*)(double* values, std::size_t count, std::size_t column, std::size_t groups,
                              std::size_t stride, double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip);

void BandFinishGeneric(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                       double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip);
void BandFinishAvx2(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                    double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip);
void BandFinishAvx512(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                      double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip);

/// The rest of a block of eight panel rows from `block` (a multiple of
/// eight from the panel's origin): every row has received the panel rows
/// above the block, and in the block's diagonal group gDiag the rows have
/// received each other and taken their pivot steps, all pivots non-zero.
/// Groups [gDiag + 1, panel.groups) then receive the block's own rows and
/// take the pivot steps, a few groups of all eight rows at a time in
/// registers, writing u, f, the flags and the zeros as BandFinishFn does.
using BandBlockRestFn = void (*)(const BandPanel& panel, std::size_t block, double* u, double* f,
                                 std::uint8_t* mask, std::uint8_t* rowSkip, GAUSS_TAPE* rows);

/// What the vector block kernels take from a block's diagonal group: each
/// row's pivot d[p], the factor fq[p][q] of block row p for block row q
/// (q > p) and p's flags there, bit q set where p updates q; and where their
/// work lies: the groups from `rest` on, every row storing up to `shortest`
/// (reaches never decrease, so the block's first row stops first).
struct BandBlockDiagonal {
  double d[8];
  double fq[8][8] = {};
  std::uint8_t flags[8];
  std::size_t rest, shortest;

  BandBlockDiagonal(const BandPanel& P, std::size_t block, const GAUSS_TAPE* rows)
      : rest((block - P.col0) / 8 + 1), shortest(block + rows[block].count - 1) {
    const std::size_t pi = block - P.col0, gDiag = rest - 1;
    for (std::size_t p = 0; p < 8; ++p) {
      d[p] = rows[block + p].values[0];
      flags[p] = P.mask[(pi + p) * P.groups + gDiag];
      for (std::size_t q = p + 1; q < 8; ++q)
        fq[p][q] = P.f[gDiag * P.stride + (pi + p) * 8 + q];
    }
  }
};

void BandBlockRestGeneric(const BandPanel& panel, std::size_t block, double* u, double* f, std::uint8_t* mask,
                          std::uint8_t* rowSkip, GAUSS_TAPE* rows);
void BandBlockRestAvx2(const BandPanel& panel, std::size_t block, double* u, double* f, std::uint8_t* mask,
                       std::uint8_t* rowSkip, GAUSS_TAPE* rows);
void BandBlockRestAvx512(const BandPanel& panel, std::size_t block, double* u, double* f, std::uint8_t* mask,
                         std::uint8_t* rowSkip, GAUSS_TAPE* rows);

/// b[k] −= v[k]·x for k = 1 … count−1: one row of the forward substitution.
void BandForwardRowAvx512(const double* v, std::size_t count, double x, double* b);

/// The forward substitution of `m` right-hand sides, `n` apart from `b`,
/// carried along a factorisation.
struct BandForward {
  double* b;
  std::size_t n, m;
};

/// Factorises with panels of `panelRows` rows using the kernels of `level`
/// (which must not be Plain). Same results and failure as BandFactorPlain.
/// With `forward`, each panel's rows also take their forward substitution
/// steps once the panel is final, panel after panel, so that every row of b
/// ends as BandForwardRows over all rows leaves it; after a failure b holds
/// part of that work.
void BandFactorBlocked(std::size_t n, GAUSS_TAPE* rows, SimdLevel level, std::size_t panelRows,
                       const BandForward* forward = nullptr);

} // namespace zel::numerics
