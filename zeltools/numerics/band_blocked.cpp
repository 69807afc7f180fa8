#include "zeltools/numerics/internal/band_blocked.h"

#include <algorithm>
#include <atomic>
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
// While one thread factorises the next panel, the others update its rows
// from the current panel in chunks of this many rows (a multiple of
// SubPanel), each ahead of the factorisation.
constexpr std::size_t AheadRows = 16;
static_assert(AheadRows % SubPanel == 0, "a block of rows lies in one chunk");

std::size_t Reach(const GAUSS_TAPE* rows, std::size_t i) { return i + rows[i].count - 1; }

// Working storage of the panels, sized once for the widest panel.
struct PanelStorage {
  std::size_t stride, maxGroups;
  AlignedDoubles u, f;
  std::vector<std::uint8_t> mask, rowSkip;

  PanelStorage(std::size_t panelRows, std::size_t maxWidth)
      : stride(StrideFor(panelRows)), maxGroups((maxWidth + 7) / 8), u(maxGroups * stride), f(maxGroups * stride),
        mask(panelRows * maxGroups, 0), rowSkip(maxGroups * 8, 0) {}

  static std::size_t StrideFor(std::size_t panelRows) {
    std::size_t stride = panelRows * 8;
    // Blocks a multiple of 4 KB apart would compete for the same cache sets.
    if (stride % 512 == 0)
      stride += 8;
    return stride;
  }
};

// A panel's storage and its view for the kernels; `chunks` tell, while the
// panel is factorised ahead, which of its chunks of rows have received the
// current panel's updates.
struct PanelSlot {
  enum : unsigned char { Waiting, Taken, Updated };
  PanelStorage storage;
  BandPanel panel;
  std::vector<std::atomic<unsigned char>> chunks;

  PanelSlot(std::size_t panelRows, std::size_t maxWidth)
      : storage(panelRows, maxWidth), chunks((panelRows + AheadRows - 1) / AheadRows) {
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
  BandBlockRestFn blockRest;
};

Kernels KernelsFor(SimdLevel level) {
  switch (level) {
  case SimdLevel::Avx512:
    return {BandUpdateAvx512, BandFinishAvx512, BandBlockRestAvx512};
  case SimdLevel::Avx2:
    return {BandUpdateAvx2, BandFinishAvx2, BandBlockRestAvx2};
  default:
    return {BandUpdateGeneric, BandFinishGeneric, BandBlockRestGeneric};
  }
}

// Row q of the panel from i0, whose block has received the panel rows above
// it and whose earlier rows are finished, receives the block's rows above it
// over the columns up to `last` and, unless its pivot is zero, takes its
// pivot step over the first `groups` groups. Returns whether the pivot is
// non-zero.
bool FinishRow(const Kernels& kernels, PanelSlot& slot, std::size_t i0, std::size_t q, std::size_t last,
               std::size_t groups, GAUSS_TAPE* rows) noexcept {
  PanelStorage& storage = slot.storage;
  BandPanel& panel = slot.panel;
  const std::size_t block = i0 + (q - i0) / SubPanel * SubPanel;
  const std::size_t above = q > i0 ? Reach(rows, q - 1) : 0;
  if (q > block && above >= q)
    kernels.update(panel, block, q, q, q, std::min(above, last), rows);
  if (rows[q].values[0] == 0.0)
    return false;
  const std::size_t pi = q - i0;
  kernels.finish(rows[q].values, rows[q].count, pi, groups, storage.stride, storage.u.data() + pi * 8,
                 storage.f.data() + pi * 8, storage.mask.data() + pi * panel.groups, storage.rowSkip.data());
  return true;
}

// The full block of rows [block, block + SubPanel): the rows first finish
// their diagonal group one after the other, then the kernel takes the rest of
// their columns in registers. A zero pivot puts back the diagonal group's
// values and returns false, so that the rows are done one by one as before.
bool FinishBlock(const Kernels& kernels, PanelSlot& slot, std::size_t i0, std::size_t block,
                 GAUSS_TAPE* rows) noexcept {
  static_assert(SubPanel == 8, "a block's diagonals fill one group");
  const std::size_t gDiag = (block - i0) / 8, diagLast = i0 + 8 * gDiag + 7;
  double kept[SubPanel][8];
  for (std::size_t s = 0; s < SubPanel; ++s) {
    const std::size_t r = block + s, stop = std::min(diagLast, Reach(rows, r));
    std::copy(rows[r].values, rows[r].values + (stop - r + 1), kept[s]);
  }
  for (std::size_t q = block; q < block + SubPanel; ++q) {
    if (!FinishRow(kernels, slot, i0, q, diagLast, gDiag + 1, rows)) {
      for (std::size_t s = 0; s <= q - block; ++s) {
        const std::size_t r = block + s, stop = std::min(diagLast, Reach(rows, r));
        std::copy(kept[s], kept[s] + (stop - r + 1), rows[r].values);
      }
      return false;
    }
  }
  PanelStorage& storage = slot.storage;
  if (gDiag + 1 < slot.panel.groups)
    kernels.blockRest(slot.panel, block, storage.u.data(), storage.f.data(), storage.mask.data(),
                      storage.rowSkip.data(), rows);
  return true;
}

// Factorises the panel of rows [i0, i1), whose rows have received the
// updates of every row above i0, into `slot`. Returns the first row whose
// pivot is zero, i1 if none is; it then stops there and throws nothing, so
// that it may run as a task. `before(q)` is called before the rows from q
// on are touched, for every q a multiple of AheadRows from i0.
template <class Before>
std::size_t FactorPanel(const Kernels& kernels, PanelSlot& slot, std::size_t i0, std::size_t i1, GAUSS_TAPE* rows,
                        Before&& before) noexcept {
  PanelStorage& storage = slot.storage;
  BandPanel& panel = slot.panel;
  const std::size_t end = Reach(rows, i1 - 1);
  panel.col0 = i0;
  panel.groups = (end - i0 + 1 + 7) / 8;
  const std::size_t width = panel.groups * 8;
  std::fill(storage.rowSkip.begin(), storage.rowSkip.begin() + static_cast<std::ptrdiff_t>(width), std::uint8_t{0});
  for (std::size_t block = i0; block < i1; block += SubPanel) {
    if ((block - i0) % AheadRows == 0)
      before(block);
    const std::size_t blockEnd = std::min(i1, block + SubPanel);
    // The block's rows take the panel rows above it all at once.
    const std::size_t above = block > i0 ? Reach(rows, block - 1) : 0;
    if (block > i0 && above >= block)
      kernels.update(panel, i0, block, block, std::min(blockEnd - 1, above), above, rows);
    if (blockEnd == block + SubPanel && FinishBlock(kernels, slot, i0, block, rows))
      continue;
    for (std::size_t q = block; q < blockEnd; ++q)
      if (!FinishRow(kernels, slot, i0, q, end, panel.groups, rows))
        return q;
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

// The step of panel [i0, i1) with a look-ahead: task 0 factorises the next
// panel's rows [i1, next) into `ahead`, while the other tasks update, from
// this panel, first the next panel's rows, chunk by chunk, then the rows
// beyond, [next, end]. Task 0 waits for a chunk that another thread is
// updating, and updates one itself that nobody has taken, so it never waits
// for a task that has not started. Every element still receives its
// updates in increasing row order: the rows beyond receive the next panel's
// only in the following step. Returns the row of a zero pivot in the next
// panel, `next` if none; the caller fails there once all rows have this
// panel's updates, which leaves them as without the look-ahead.
template <class Forward>
std::size_t UpdateLookingAhead(const Kernels& kernels, const BandPanel& panel, PanelSlot& ahead, std::size_t i0,
                               std::size_t i1, std::size_t next, std::size_t end, std::size_t threads,
                               GAUSS_TAPE* rows, Forward&& forward) {
  const RowGroups groups(i0, next, end, threads);
  const std::size_t chunks = (next - i1 + AheadRows - 1) / AheadRows;
  for (std::size_t c = 0; c < chunks; ++c)
    ahead.chunks[c].store(PanelSlot::Waiting, std::memory_order_relaxed);
  // Updates chunk c unless another thread has taken it; returns whether it did.
  const auto updateChunk = [&](std::size_t c) {
    unsigned char waiting = PanelSlot::Waiting;
    if (!ahead.chunks[c].compare_exchange_strong(waiting, PanelSlot::Taken, std::memory_order_acq_rel))
      return false;
    const std::size_t a = i1 + c * AheadRows;
    kernels.update(panel, i0, i1, a, std::min(next, a + AheadRows) - 1, end, rows);
    ahead.chunks[c].store(PanelSlot::Updated, std::memory_order_release);
    return true;
  };
  std::size_t zero = next;
  // The last task takes this panel's forward substitution, which touches
  // none of the rows below it.
  ParallelFor(1 + chunks + groups.count + 1, threads, [&](std::size_t t, std::size_t) {
    if (t == 1 + chunks + groups.count) {
      forward(i0, i1);
    } else if (t == 0) {
      zero = FactorPanel(kernels, ahead, i1, next, rows, [&](std::size_t q) {
        const std::size_t c = (q - i1) / AheadRows;
        if (!updateChunk(c))
          while (ahead.chunks[c].load(std::memory_order_acquire) != PanelSlot::Updated)
            Pause();
      });
    } else if (t <= chunks) {
      updateChunk(t - 1);
    } else if (groups.A(t - 1 - chunks) <= groups.B(t - 1 - chunks)) {
      kernels.update(panel, i0, i1, groups.A(t - 1 - chunks), groups.B(t - 1 - chunks), end, rows);
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

namespace {

// The pivot step of a row, whose own column is `column` from the panel's
// origin, in group g: u and f point at the row's eight slots in that
// group's blocks. Returns the group's flags.
std::uint8_t FinishGroup(double* values, std::size_t count, std::size_t column, std::size_t g, double* u, double* f,
                         std::uint8_t* rowSkip) {
  const double d = values[0];
  std::uint8_t bits = 0;
  for (std::size_t t = 0; t < 8; ++t) {
    const std::size_t c = 8 * g + t;
    double quotient = 0.0, factor = 0.0;
    if (c > column && c - column < count) {
      const double x = values[c - column];
      if (x != 0.0) {
        quotient = x / d;
        factor = quotient * d;
        values[c - column] = quotient;
        bits = static_cast<std::uint8_t>(bits | (1u << t));
      } else {
        rowSkip[c] = 1;
      }
    }
    u[t] = quotient;
    f[t] = factor;
  }
  return bits;
}

} // namespace

void BandFinishGeneric(double* values, std::size_t count, std::size_t column, std::size_t groups, std::size_t stride,
                       double* u, double* f, std::uint8_t* mask, std::uint8_t* rowSkip) {
  for (std::size_t g = 0; g < groups; ++g)
    mask[g] = FinishGroup(values, count, column, g, u + g * stride, f + g * stride, rowSkip);
}

void BandBlockRestGeneric(const BandPanel& P, std::size_t block, double* u, double* f, std::uint8_t* mask,
                          std::uint8_t* rowSkip, GAUSS_TAPE* rows) {
  const std::size_t pi = block - P.col0, gDiag = pi / 8;
  for (std::size_t g = gDiag + 1; g < P.groups; ++g) {
    for (std::size_t p = 0; p < 8; ++p) {
      double* up = u + g * P.stride + (pi + p) * 8;
      const std::uint8_t bits =
          FinishGroup(rows[block + p].values, rows[block + p].count, pi + p, g, up, f + (up - u), rowSkip);
      mask[(pi + p) * P.groups + g] = bits;
      // The block's later rows receive row p in this group.
      for (std::size_t q = p + 1; q < 8; ++q) {
        if (!((P.mask[(pi + p) * P.groups + gDiag] >> q) & 1u))
          continue;
        const double fq = P.f[gDiag * P.stride + (pi + p) * 8 + q];
        double* target = rows[block + q].values;
        for (std::size_t t = 0; t < 8; ++t)
          if ((bits >> t) & 1u)
            target[P.col0 + 8 * g + t - (block + q)] -= up[t] * fq;
      }
    }
  }
}

void BandFactorBlocked(std::size_t n, GAUSS_TAPE* rows, SimdLevel level, std::size_t panelRows,
                       const BandForward* forwardSteps) {
  if (n == 0)
    return;
  const auto forward = [&](std::size_t from, std::size_t to) {
    if (forwardSteps != nullptr)
      for (std::size_t r = 0; r < forwardSteps->m; ++r)
        BandForwardRows(rows, from, to, forwardSteps->b + r * forwardSteps->n, level == SimdLevel::Avx512);
  };
  const auto plain = [&] {
    BandFactorPlain(n, rows);
    forward(0, n);
  };
  std::size_t widest = 0;
  for (std::size_t i = 0; i < n; ++i)
    widest = std::max<std::size_t>(widest, rows[i].count);
  if (widest < NarrowBand || panelRows < 1) {
    plain();
    return;
  }
  const Kernels kernels = KernelsFor(level);
  // Without room for the panels the rows are eliminated one by one, with
  // the same results; without room for a second panel, without looking ahead.
  std::optional<PanelSlot> slots[2];
  try {
    slots[0].emplace(panelRows, widest + panelRows);
  } catch (const std::bad_alloc&) {
    plain();
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
      const std::size_t zero = FactorPanel(kernels, slot, i0, i1, rows, [](std::size_t) {});
      if (zero < i1)
        FailAtNullPivot(kernels, slot.panel, i0, i1, zero, rows);
    }
    factorised = false;
    if (end < i1) {
      forward(i0, i1);
      continue;
    }
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
      forward(i0, i1);
      UpdateBelow(kernels.update, slot.panel, i0, i1, end, threads, rows);
      continue;
    }
    const std::size_t zero =
        UpdateLookingAhead(kernels, slot.panel, *slots[1 - current], i0, i1, next, end, threads, rows, forward);
    current = 1 - current;
    factorised = true;
    if (zero < next)
      FailAtNullPivot(kernels, slots[current]->panel, i1, next, zero, rows);
  }
  if (rows[n - 1].values[0] == 0.0)
    Crash("Null diagonal");
}

} // namespace zel::numerics
