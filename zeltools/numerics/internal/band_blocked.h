#pragma once
// Blocked band factorisation. Rows are taken in panels of consecutive rows:
// inside a panel each row first receives the updates of the panel rows above
// it, then is divided by its pivot; then the panel updates every row below it
// at once, tile by tile, so a tile of target elements stays in registers
// while the panel rows' products are subtracted from it one row at a time.
// Each element thus receives exactly the row-by-row elimination's updates,
// in the same increasing row order: the results are identical to the bit.
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
inline constexpr std::size_t DefaultBandPanel = 32;

/// One panel, after some of its rows have been divided by their pivots.
/// Columns are numbered from `col0` (the panel's first row) in groups of 8.
struct BandPanel {
  std::size_t col0 = 0;
  std::size_t groups = 0; // groups of 8 columns covering the panel's reach
  // u[(p − col0)·ldu + (c − col0)]: u(p, c) of panel row p (after division);
  // meaningful where the matching mask bit is set.
  const double* u = nullptr;
  std::size_t ldu = 0;
  // mask[(p − col0)·groups + g], bit t: the element in column col0 + 8g + t
  // of row p was non-zero before division (its flag in the elimination).
  const std::uint8_t* mask = nullptr;
  // f[(r − col0)·ldf + (p − col0)]: the factor u(p, r)·d_p applied to row r;
  // skip set there when u(p, r) is zero inside row p's reach. rowSkip[r − col0]
  // tells that row r has such a zero for some panel row.
  const double* f = nullptr;
  const std::uint8_t* skip = nullptr;
  std::size_t ldf = 0;
  const std::uint8_t* rowSkip = nullptr;
};

/// Subtracts from rows r ∈ [rFirst, rLast], columns [r, end], the updates of
/// panel rows p ∈ [pa, pb), in increasing p for every element. Rows must
/// store at least up to `end`.
using BandUpdateFn = void (*)(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst,
                              std::size_t rLast, std::size_t end, GAUSS_TAPE* rows);

void BandUpdateGeneric(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                       std::size_t end, GAUSS_TAPE* rows);
void BandUpdateAvx2(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                    std::size_t end, GAUSS_TAPE* rows);
void BandUpdateAvx512(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                      std::size_t end, GAUSS_TAPE* rows);

/// Elements of one row updated from panel rows [pa, pb) one at a time, for
/// columns [cBegin, cEnd]: the edges that the vector kernels leave over.
void BandUpdateSegment(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t r, std::size_t cBegin,
                       std::size_t cEnd, GAUSS_TAPE* rows);

/// Factorises with panels of `panelRows` rows using the kernels of `level`
/// (which must not be Plain). Same results and failure as BandFactorPlain.
void BandFactorBlocked(std::size_t n, GAUSS_TAPE* rows, SimdLevel level, std::size_t panelRows);

} // namespace zel::numerics
