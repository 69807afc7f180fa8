#include "zeltools/numerics/internal/band_blocked.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "zeltools/errors/exception.h"
#include "zeltools/numerics/internal/band_plain.h"

namespace zel::numerics {
namespace {

// Bands narrower than this gain nothing from panels.
constexpr std::size_t NarrowBand = 12;

std::size_t Reach(const GAUSS_TAPE* rows, std::size_t i) { return i + rows[i].count - 1; }

// Working storage of the panels, sized once for the widest panel.
struct PanelStorage {
  std::vector<double> u, f;
  std::vector<std::uint8_t> mask, skip, rowSkip;
  std::size_t ldu = 0, ldf = 0, maxGroups = 0;

  PanelStorage(std::size_t panelRows, std::size_t maxWidth) {
    maxGroups = (maxWidth + 7) / 8;
    ldu = maxGroups * 8;
    // Rows a multiple of 4 KB apart would share cache sets.
    if (ldu % 512 == 0)
      ldu += 8;
    ldf = panelRows;
    u.assign(panelRows * ldu, 0.0);
    mask.assign(panelRows * maxGroups, 0);
    f.assign(maxWidth * ldf, 0.0);
    skip.assign(maxWidth * ldf, 0);
    rowSkip.assign(maxWidth, 0);
  }
};

// Row q has received every update from the rows above it: divide its
// non-zero elements by the pivot and record it in the panel (values, flags
// and the factors it will apply to the rows below).
void FinishRow(std::size_t q, GAUSS_TAPE* rows, const BandPanel& panel, PanelStorage& s) {
  double* v = rows[q].values;
  const std::size_t count = rows[q].count;
  const double d = v[0];
  const std::size_t pi = q - panel.col0;
  double* u = s.u.data() + pi * s.ldu;
  std::uint8_t* mask = s.mask.data() + pi * panel.groups;
  std::memset(mask, 0, panel.groups);
  std::fill(u, u + panel.groups * 8, 0.0);
  for (std::size_t k = 1; k < count; ++k) {
    const std::size_t c = pi + k; // column, counted from the panel's first
    double* f = s.f.data() + c * s.ldf + pi;
    std::uint8_t* skip = s.skip.data() + c * s.ldf + pi;
    const double x = v[k];
    if (x != 0.0) {
      const double quotient = x / d;
      v[k] = quotient;
      u[c] = quotient;
      mask[c / 8] = static_cast<std::uint8_t>(mask[c / 8] | (1u << (c % 8)));
      *f = quotient * d;
      *skip = 0;
    } else {
      *f = 0.0;
      *skip = 1;
      s.rowSkip[c] = 1;
    }
  }
}

BandUpdateFn UpdateFor(SimdLevel level) {
  switch (level) {
  case SimdLevel::Avx512:
    return BandUpdateAvx512;
  case SimdLevel::Avx2:
    return BandUpdateAvx2;
  default:
    return BandUpdateGeneric;
  }
}

} // namespace

void BandUpdateSegment(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t r, std::size_t cBegin,
                       std::size_t cEnd, GAUSS_TAPE* rows) {
  double* target = rows[r].values;
  const std::size_t ri = r - panel.col0;
  for (std::size_t p = pa; p < pb; ++p) {
    const std::size_t pi = p - panel.col0;
    if (panel.skip[ri * panel.ldf + pi])
      continue;
    const double f = panel.f[ri * panel.ldf + pi];
    const double* u = panel.u + pi * panel.ldu;
    const std::uint8_t* mask = panel.mask + pi * panel.groups;
    for (std::size_t c = cBegin; c <= cEnd; ++c) {
      const std::size_t ci = c - panel.col0;
      if (mask[ci / 8] & (1u << (ci % 8)))
        target[c - r] -= u[ci] * f;
    }
  }
}

void BandUpdateGeneric(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                       std::size_t end, GAUSS_TAPE* rows) {
  for (std::size_t r = rFirst; r <= rLast; ++r)
    BandUpdateSegment(panel, pa, pb, r, r, end, rows);
}

void BandFactorBlocked(std::size_t n, GAUSS_TAPE* rows, SimdLevel level, std::size_t panelRows) {
  if (n == 0)
    return;
  std::size_t widest = 0;
  for (std::size_t i = 0; i < n; ++i)
    widest = std::max<std::size_t>(widest, rows[i].count);
  if (widest < NarrowBand || panelRows < 1) {
    BandFactorPlain(n, rows, 0);
    return;
  }
  const BandUpdateFn update = UpdateFor(level);
  PanelStorage storage(panelRows, widest + panelRows);
  for (std::size_t i0 = 0; i0 < n; i0 += panelRows) {
    const std::size_t i1 = std::min(n, i0 + panelRows);
    const std::size_t end = Reach(rows, i1 - 1); // the panel's farthest column
    BandPanel panel;
    panel.col0 = i0;
    panel.groups = (end - i0 + 1 + 7) / 8;
    panel.u = storage.u.data();
    panel.ldu = storage.ldu;
    panel.mask = storage.mask.data();
    panel.f = storage.f.data();
    panel.skip = storage.skip.data();
    panel.ldf = storage.ldf;
    panel.rowSkip = storage.rowSkip.data();
    std::fill(storage.rowSkip.begin(), storage.rowSkip.begin() + (end - i0 + 1), std::uint8_t{0});
    for (std::size_t q = i0; q < i1; ++q) {
      const std::size_t above = q > i0 ? Reach(rows, q - 1) : 0;
      if (q > i0 && above >= q)
        update(panel, i0, q, q, q, above, rows);
      if (rows[q].values[0] == 0.0) {
        // Leave the matrix as the row-by-row elimination would have it when
        // it met this pivot: the panel rows above have updated every row.
        if (q > i0 && above > q)
          update(panel, i0, q, q + 1, above, above, rows);
        Crash("Null diagonal");
      }
      FinishRow(q, rows, panel, storage);
    }
    if (end >= i1)
      update(panel, i0, i1, i1, end, end, rows);
  }
  if (rows[n - 1].values[0] == 0.0)
    Crash("Null diagonal");
}

} // namespace zel::numerics
