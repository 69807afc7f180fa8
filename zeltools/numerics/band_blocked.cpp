#include "zeltools/numerics/internal/band_blocked.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "zeltools/errors/exception.h"
#include "zeltools/numerics/internal/aligned_buffer.h"
#include "zeltools/numerics/internal/band_plain.h"
#include "zeltools/numerics/internal/thread_pool.h"

namespace zel::numerics {
namespace {

// Bands narrower than this gain nothing from panels.
constexpr std::size_t NarrowBand = 12;
// Rows of a panel are finished in blocks of this many: a block first
// receives the panel rows above it as a whole (tiles of several rows), then
// its rows update each other one row at a time.
constexpr std::size_t SubPanel = 8;

std::size_t Reach(const GAUSS_TAPE* rows, std::size_t i) { return i + rows[i].count - 1; }

// Working storage of the panels, sized once for the widest panel. The
// pivot step writes a row of u and f into `rowU` and `rowF`, from where it
// is spread over the groups' blocks.
struct PanelStorage {
  std::size_t stride, maxGroups;
  AlignedDoubles u, f, rowU, rowF;
  std::vector<std::uint8_t> mask, rowSkip;

  PanelStorage(std::size_t panelRows, std::size_t maxWidth)
      : stride(StrideFor(panelRows)), maxGroups((maxWidth + 7) / 8), u(maxGroups * stride), f(maxGroups * stride),
        rowU(maxGroups * 8), rowF(maxGroups * 8), mask(panelRows * maxGroups, 0), rowSkip(maxGroups * 8, 0) {}

  static std::size_t StrideFor(std::size_t panelRows) {
    std::size_t stride = panelRows * 8;
    // Blocks a multiple of 4 KB apart would compete for the same cache sets.
    if (stride % 512 == 0)
      stride += 8;
    return stride;
  }
};

// A panel's storage and its view for the kernels.
struct PanelSlot {
  PanelStorage storage;
  BandPanel panel;

  PanelSlot(std::size_t panelRows, std::size_t maxWidth) : storage(panelRows, maxWidth) {
    panel.stride = storage.stride;
    panel.u = storage.u.data();
    panel.f = storage.f.data();
    panel.mask = storage.mask.data();
    panel.rowSkip = storage.rowSkip.data();
  }
};

struct Kernels {
  BandUpdateFn update;
  BandFinishFn finish;
};

Kernels KernelsFor(SimdLevel level) {
  switch (level) {
  case SimdLevel::Avx512:
    return {BandUpdateAvx512, BandFinishAvx512};
  case SimdLevel::Avx2:
    return {BandUpdateAvx2, BandFinishGeneric};
  default:
    return {BandUpdateGeneric, BandFinishGeneric};
  }
}

// Factorises the panel of rows [i0, i1), whose rows have received the
// updates of every row above i0, into `slot`. Returns the first row whose
// pivot is zero, i1 if none is; it then stops there and throws nothing, so
// that it may run as a task.
std::size_t FactorPanel(const Kernels& kernels, PanelSlot& slot, std::size_t i0, std::size_t i1,
                        GAUSS_TAPE* rows) noexcept {
  PanelStorage& storage = slot.storage;
  BandPanel& panel = slot.panel;
  const std::size_t end = Reach(rows, i1 - 1);
  panel.col0 = i0;
  panel.groups = (end - i0 + 1 + 7) / 8;
  const std::size_t width = panel.groups * 8;
  std::fill(storage.rowSkip.begin(), storage.rowSkip.begin() + static_cast<std::ptrdiff_t>(width), std::uint8_t{0});
  for (std::size_t q = i0; q < i1; ++q) {
    const std::size_t block = i0 + (q - i0) / SubPanel * SubPanel;
    const std::size_t above = q > i0 ? Reach(rows, q - 1) : 0;
    // A new block of rows takes the panel rows above it all at once.
    if (q == block && q > i0 && above >= q)
      kernels.update(panel, i0, q, q, std::min(std::min(i1, q + SubPanel) - 1, above), above, rows);
    if (q > block && above >= q)
      kernels.update(panel, block, q, q, q, above, rows);
    if (rows[q].values[0] == 0.0)
      return q;
    const std::size_t pi = q - i0;
    double* u = storage.rowU.data();
    double* f = storage.rowF.data();
    std::uint8_t* mask = storage.mask.data() + pi * panel.groups;
    std::fill(u, u + width, 0.0);
    std::fill(f, f + width, 0.0);
    std::memset(mask, 0, panel.groups);
    kernels.finish(rows[q].values, rows[q].count, pi, u, f, mask, storage.rowSkip.data());
    for (std::size_t g = 0; g < panel.groups; ++g) {
      std::memcpy(storage.u.data() + g * storage.stride + pi * 8, u + 8 * g, 8 * sizeof(double));
      std::memcpy(storage.f.data() + g * storage.stride + pi * 8, f + 8 * g, 8 * sizeof(double));
    }
  }
  return i1;
}

// Row q of the panel [i0, i1) has a zero pivot. Leaves the matrix as the
// row-by-row elimination would have it when it meets this pivot (every
// panel row above q has updated every row), then throws.
[[noreturn]] void FailAtNullPivot(const Kernels& kernels, const BandPanel& panel, std::size_t i0, std::size_t i1,
                                  std::size_t q, GAUSS_TAPE* rows) {
  const std::size_t block = i0 + (q - i0) / SubPanel * SubPanel;
  const std::size_t blockEnd = std::min(i1, block + SubPanel);
  const std::size_t above = q > i0 ? Reach(rows, q - 1) : 0;
  if (q > block && above > q)
    kernels.update(panel, block, q, q + 1, std::min(blockEnd - 1, above), above, rows);
  if (q > i0 && above >= blockEnd)
    kernels.update(panel, i0, q, blockEnd, above, above, rows);
  Crash("Null diagonal");
}

// Groups of the rows [from, end] for `threads` threads, starting a multiple
// of eight rows from the panel's origin i0, where the kernels' row tiles
// start anyway. About eight groups per thread: rows near the panel are the
// longest, and the threads that drew short groups take more of them.
struct RowGroups {
  std::size_t from, end, first, size, count;

  RowGroups(std::size_t i0, std::size_t from_, std::size_t end_, std::size_t threads) : from(from_), end(end_) {
    const std::size_t below = end - from + 1;
    size = std::max<std::size_t>(8, (below / (8 * threads) + 7) / 8 * 8);
    first = from - (from - i0) % 8;
    count = (end - first) / size + 1;
  }
  // Group g is [a, b]; empty when a > b.
  std::size_t A(std::size_t g) const { return std::max(from, first + g * size); }
  std::size_t B(std::size_t g) const { return std::min(end, first + (g + 1) * size - 1); }
};

// The rows below a panel, [i1, end], receive its updates. Each row's
// elements depend only on the panel, so groups of rows go to different
// threads.
void UpdateBelow(BandUpdateFn update, const BandPanel& panel, std::size_t i0, std::size_t i1, std::size_t end,
                 std::size_t threads, GAUSS_TAPE* rows) {
  if (threads == 1) {
    update(panel, i0, i1, i1, end, end, rows);
    return;
  }
  const RowGroups groups(i0, i1, end, threads);
  ParallelFor(groups.count, threads, [&](std::size_t g, std::size_t) {
    if (groups.A(g) <= groups.B(g))
      update(panel, i0, i1, groups.A(g), groups.B(g), end, rows);
  });
}

// The step of panel [i0, i1) with a look-ahead: task 0 updates the next
// panel's rows [i1, next) from this panel and factorises them into `ahead`,
// while the other tasks update the rows beyond, [next, end]. Every element
// still receives its updates in increasing row order: the rows beyond
// receive the next panel's only in the following step. Returns the row of a
// zero pivot in the next panel, `next` if none; the caller fails there once
// the rows beyond have their updates, which leaves them as without the
// look-ahead.
std::size_t UpdateLookingAhead(const Kernels& kernels, const BandPanel& panel, PanelSlot& ahead, std::size_t i0,
                               std::size_t i1, std::size_t next, std::size_t end, std::size_t threads,
                               GAUSS_TAPE* rows) {
  const RowGroups groups(i0, next, end, threads);
  std::size_t zero = next;
  ParallelFor(groups.count + 1, threads, [&](std::size_t t, std::size_t) {
    if (t == 0) {
      kernels.update(panel, i0, i1, i1, next - 1, end, rows);
      zero = FactorPanel(kernels, ahead, i1, next, rows);
    } else if (groups.A(t - 1) <= groups.B(t - 1)) {
      kernels.update(panel, i0, i1, groups.A(t - 1), groups.B(t - 1), end, rows);
    }
  });
  return zero;
}

} // namespace

void BandUpdateSegment(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t r, std::size_t cBegin,
                       std::size_t cEnd, GAUSS_TAPE* rows) {
  double* target = rows[r].values;
  for (std::size_t p = pa; p < pb; ++p) {
    if (!panel.Flag(p, r))
      continue;
    const double f = panel.f[panel.At(p, r)];
    for (std::size_t c = cBegin; c <= cEnd; ++c)
      if (panel.Flag(p, c))
        target[c - r] -= panel.u[panel.At(p, c)] * f;
  }
}

void BandUpdateGeneric(const BandPanel& panel, std::size_t pa, std::size_t pb, std::size_t rFirst, std::size_t rLast,
                       std::size_t end, GAUSS_TAPE* rows) {
  for (std::size_t r = rFirst; r <= rLast; ++r)
    BandUpdateSegment(panel, pa, pb, r, r, end, rows);
}

void BandFinishGeneric(double* values, std::size_t count, std::size_t column, double* u, double* f,
                       std::uint8_t* mask, std::uint8_t* rowSkip) {
  const double d = values[0];
  for (std::size_t k = 1; k < count; ++k) {
    const std::size_t c = column + k;
    const double x = values[k];
    if (x != 0.0) {
      const double quotient = x / d;
      values[k] = quotient;
      u[c] = quotient;
      f[c] = quotient * d;
      mask[c / 8] = static_cast<std::uint8_t>(mask[c / 8] | (1u << (c % 8)));
    } else {
      rowSkip[c] = 1;
    }
  }
}

void BandFactorBlocked(std::size_t n, GAUSS_TAPE* rows, SimdLevel level, std::size_t panelRows) {
  if (n == 0)
    return;
  std::size_t widest = 0;
  for (std::size_t i = 0; i < n; ++i)
    widest = std::max<std::size_t>(widest, rows[i].count);
  if (widest < NarrowBand || panelRows < 1) {
    BandFactorPlain(n, rows);
    return;
  }
  const Kernels kernels = KernelsFor(level);
  // Without room for the panels the rows are eliminated one by one, with
  // the same results; without room for a second panel, without looking ahead.
  std::optional<PanelSlot> slots[2];
  try {
    slots[0].emplace(panelRows, widest + panelRows);
  } catch (const std::bad_alloc&) {
    BandFactorPlain(n, rows);
    return;
  }
  bool noRoomAhead = false;
  std::size_t current = 0;
  bool factorised = false; // the current panel was factorised by the step before
  for (std::size_t i0 = 0; i0 < n; i0 += panelRows) {
    const std::size_t i1 = std::min(n, i0 + panelRows);
    const std::size_t end = Reach(rows, i1 - 1); // the panel's farthest column
    PanelSlot& slot = *slots[current];
    if (!factorised) {
      const std::size_t zero = FactorPanel(kernels, slot, i0, i1, rows);
      if (zero < i1)
        FailAtNullPivot(kernels, slot.panel, i0, i1, zero, rows);
    }
    factorised = false;
    if (end < i1)
      continue;
    // The next panel's rows [i1, next) and the rows beyond it.
    const std::size_t next = std::min(n, i1 + panelRows);
    const std::size_t below = end - i1 + 1;
    const std::size_t threads = ThreadsFor(0.5 * double(below) * double(below + 1) * double(i1 - i0), below / 8);
    if (threads > 1 && end >= next && !noRoomAhead && !slots[1 - current]) {
      try {
        slots[1 - current].emplace(panelRows, widest + panelRows);
      } catch (const std::bad_alloc&) {
        noRoomAhead = true;
      }
    }
    if (threads == 1 || end < next || noRoomAhead) {
      UpdateBelow(kernels.update, slot.panel, i0, i1, end, threads, rows);
      continue;
    }
    const std::size_t zero = UpdateLookingAhead(kernels, slot.panel, *slots[1 - current], i0, i1, next, end, threads, rows);
    current = 1 - current;
    factorised = true;
    if (zero < next)
      FailAtNullPivot(kernels, slots[current]->panel, i1, next, zero, rows);
  }
  if (rows[n - 1].values[0] == 0.0)
    Crash("Null diagonal");
}

} // namespace zel::numerics
