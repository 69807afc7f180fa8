#include "zeltools/numerics/internal/gauss_blocked.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "zeltools/numerics/internal/aligned_buffer.h"
#include "zeltools/numerics/internal/gauss_plain.h"
#include "zeltools/numerics/internal/thread_pool.h"
#include "zeltools/numerics/threads.h"

namespace zel::numerics {
namespace {

// Columns of a panel eliminated one by one before the panel's columns to
// their right receive those steps at once, through the update kernel.
constexpr std::size_t PanelStep = 8;
// Pivot rows completed together: the update kernels' tile height.
constexpr std::size_t PivotBlock = 4;

struct Kernels {
  GaussUpdateFn update;
  GaussAxpyFn axpy;
  GaussDivideFn divide;
  GaussTransposeFn transpose;
  GaussPivotFn pivot;
};

Kernels KernelsFor(SimdLevel level) {
  switch (level) {
  case SimdLevel::Avx512:
    return {GaussUpdateAvx512, GaussAxpyAvx512, GaussDivideAvx512, GaussTransposeAvx512, GaussPivotAvx512};
  case SimdLevel::Avx2:
    return {GaussUpdateAvx2, GaussAxpyAvx2, GaussDivideAvx2, GaussTransposeAvx2, GaussPivotAvx2};
  default:
    return {GaussUpdateGeneric, GaussAxpyGeneric, GaussDivideGeneric, GaussTransposeGeneric, GaussPivotGeneric};
  }
}

// The elimination of one panel and what it leaves behind.
//
// panel[j·ld + i]: column K+j at position i (i ≥ K), kept with whole-row
// exchanges, so after the panel it holds at position i the row that ends
// there. The matrix itself keeps the layout the callers see: an exchange at step k
// moves only columns k … n−1, so below the diagonal a column holds, at
// position i, the multiplier of the row that was at i when that column was
// eliminated. The write-back maps one layout onto the other.
class Panel {
public:
  Panel(std::size_t n, std::size_t width, std::size_t threads)
      : n_(n), ld_((n + 7) / 8 * 8), width_(width), threads_(threads), columns_(ld_ * width),
        rowMajor_(n * width), blocks_(threads * width * GaussBlockColumns), pivot_(width), divisor_(width),
        where_(n) {
    std::iota(where_.begin(), where_.end(), std::size_t{0});
    touched_.reserve(2 * width);
  }

  // Eliminates columns K … K+kb−1. Returns the number of steps completed;
  // fewer than kb means step `done` met a singular pivot (its exchange made)
  // that the mode does not suppress.
  std::size_t Eliminate(double* a, std::size_t K, std::size_t kb, unsigned char mode, double eps,
                        const Kernels& kernels) {
    K_ = K;
    kb_ = kb;
    kernels.transpose(a + K * n_ + K, n_, columns_.data() + K, ld_, n_ - K, kb);
    for (std::size_t j0 = 0; j0 < kb; j0 += PanelStep) {
      const std::size_t j1 = std::min(kb, j0 + PanelStep);
      for (std::size_t j = j0; j < j1; ++j) {
        const std::size_t k = K + j;
        double* column = Column(j);
        const std::size_t p = k + kernels.pivot(column + k, n_ - k);
        pivot_[j] = p;
        if (p != k)
          for (std::size_t t = 0; t < kb; ++t)
            std::swap(Column(t)[k], Column(t)[p]);
        double divisor = column[k];
        if (std::fabs(divisor) <= eps) {
          if (mode == 0 || mode >= ReturnOnSingular) {
            Delayed(j0, j, j1, kernels);
            return j;
          }
          divisor = SuppressedPivot;
        }
        divisor_[j] = divisor;
        for (std::size_t t = j; t < j1; ++t)
          Column(t)[k] /= divisor;
        for (std::size_t t = j + 1; t < j1; ++t)
          kernels.axpy(Column(t) + k + 1, column + k + 1, Column(t)[k], n_ - k - 1);
      }
      Delayed(j0, j1, j1, kernels);
    }
    return kb;
  }

  // Brings a and b to the state of the column-by-column elimination after
  // `steps` steps of this panel and `exchanges` of its exchanges.
  void Settle(double* a, std::size_t m, double* b, std::size_t steps, std::size_t exchanges,
              const Kernels& kernels) {
    if (Prepare(a, steps, exchanges, kernels, true))
      RowsBelow(a, steps, kernels, 0, [] {}, false);
    SettleRight(m, b, steps, exchanges, kernels);
  }

  // The same for a whole panel, while `next` eliminates the columns
  // [K+kb, K+kb+nextColumns): task 0 of the rows' update brings those columns
  // up to date first, then runs `next` while the other tasks update the
  // columns beyond, and the panel's write-back, which no other task reads,
  // is a task of its own. Each element receives the same updates in the
  // same order as in Settle. Returns false, having done nothing, when the update
  // is too small to share or no columns lie beyond the next panel's.
  template <class Next>
  bool SettleAhead(double* a, std::size_t m, double* b, std::size_t nextColumns, const Kernels& kernels,
                   Next&& next) {
    const std::size_t right = n_ - (K_ + kb_), below = right;
    if (nextColumns >= right || Threads(below, right, kb_) == 1)
      return false;
    Prepare(a, kb_, kb_, kernels, false);
    RowsBelow(a, kb_, kernels, nextColumns, std::forward<Next>(next), true);
    SettleRight(m, b, kb_, kb_, kernels);
    return true;
  }

private:
  double* Column(std::size_t j) { return columns_.data() + j * ld_; }

  // Steps [j0, j) of the panel for its columns from t0 on, which the
  // elimination leaves out while it runs: in each column the pivot rows of
  // those steps receive their updates and their division one after the
  // other, then every row below receives the steps' updates in order, in
  // one pass of the update kernel (column-major, so its rows are the
  // panel's columns).
  void Delayed(std::size_t j0, std::size_t j, std::size_t t0, const Kernels& kernels) {
    if (j == j0 || t0 >= kb_)
      return;
    for (std::size_t t = t0; t < kb_; ++t) {
      double* target = Column(t);
      for (std::size_t s = j0; s < j; ++s) {
        const std::size_t k = K_ + s;
        for (std::size_t r = j0; r < s; ++r)
          target[k] -= Column(r)[k] * target[K_ + r];
        target[k] /= divisor_[s];
      }
    }
    const std::size_t first = K_ + j;
    if (first < n_)
      kernels.update(kb_ - t0, n_ - first, j - j0, Column(t0) + K_ + j0, ld_, Column(j0) + first, ld_,
                     Column(t0) + first, ld_, nullptr);
  }
  double* Block(std::size_t thread) { return blocks_.data() + thread * width_ * GaussBlockColumns; }

  // The panel's exchanges to the right of it, then the pivot rows there:
  // their updates, then their division, one row after the other. Columns
  // are independent, so blocks of columns go to different threads.
  void PivotRows(double* a, std::size_t steps, std::size_t exchanges, std::size_t T0, std::size_t right,
                 const Kernels& kernels) {
    // Four rows at a time first take the finished rows above them together
    // (one tile of the update kernel), then each other one by one.
    const auto columns = [&](std::size_t c0, std::size_t count) {
      for (std::size_t j = 0; j < exchanges; ++j)
        if (pivot_[j] != K_ + j)
          std::swap_ranges(a + (K_ + j) * n_ + T0 + c0, a + (K_ + j) * n_ + T0 + c0 + count,
                           a + pivot_[j] * n_ + T0 + c0);
      const double* top = a + K_ * n_ + T0 + c0;
      for (std::size_t j0 = 0; j0 < steps; j0 += PivotBlock) {
        const std::size_t j1 = std::min(steps, j0 + PivotBlock);
        kernels.update(j1 - j0, count, j0, rowMajor_.data() + j0 * width_, width_, top, n_, a + (K_ + j0) * n_ + T0 + c0,
                       n_, nullptr);
        for (std::size_t j = j0; j < j1; ++j) {
          double* row = a + (K_ + j) * n_ + T0 + c0;
          kernels.update(1, count, j - j0, rowMajor_.data() + j * width_ + j0, width_, top + j0 * n_, n_, row, n_,
                         nullptr);
          kernels.divide(row, divisor_[j], count);
        }
      }
    };
    const std::size_t blocks = (right + GaussBlockColumns - 1) / GaussBlockColumns;
    const std::size_t threads =
        std::min(threads_, ThreadsFor(0.5 * double(steps) * double(steps) * double(right), blocks));
    if (threads == 1)
      return columns(0, right);
    ParallelFor(blocks, threads, [&](std::size_t t, std::size_t) {
      const std::size_t c0 = t * GaussBlockColumns;
      columns(c0, std::min(GaussBlockColumns, right - c0));
    });
  }

  // The write-back (unless it is left to the rows' update), the exchanges
  // right of the panel, the multipliers by rows and the pivot rows. Returns
  // whether columns lie right of the panel.
  bool Prepare(double* a, std::size_t steps, std::size_t exchanges, const Kernels& kernels, bool writeBack) {
    if (writeBack)
      WriteBack(a, steps, exchanges, kernels);
    const std::size_t T0 = K_ + kb_, right = n_ - T0;
    // Multipliers by rows for the update kernels.
    kernels.transpose(columns_.data() + K_, ld_, rowMajor_.data(), width_, steps, n_ - K_);
    if (right > 0)
      PivotRows(a, steps, exchanges, T0, right, kernels);
    return right > 0;
  }

  void SettleRight(std::size_t m, double* b, std::size_t steps, std::size_t exchanges, const Kernels& kernels) {
    for (std::size_t r = 0; r < m; ++r) {
      double* x = b + r * n_;
      for (std::size_t j = 0; j < exchanges; ++j)
        std::swap(x[K_ + j], x[pivot_[j]]);
      for (std::size_t j = 0; j < steps; ++j) {
        const std::size_t k = K_ + j;
        x[k] /= divisor_[j];
        kernels.axpy(x + k + 1, Column(j) + k + 1, x[k], n_ - k - 1);
      }
    }
  }

  std::size_t Threads(std::size_t below, std::size_t right, std::size_t steps) const {
    return std::min(threads_, ThreadsFor(double(below) * double(right) * double(steps), below / 16));
  }

  // Every row below the pivot rows: the panel's updates in the order of the
  // steps. Rows are independent: groups of them go to different threads,
  // each with its own block for the kernel's copy of the pivot rows. With
  // `ahead` columns, task 0 takes those columns of every row and then runs
  // `next`, and the groups of rows take the columns beyond them. With
  // `writeBack`, the whole panel's write-back is one more task.
  template <class Next>
  void RowsBelow(double* a, std::size_t steps, const Kernels& kernels, std::size_t ahead, Next&& next,
                 bool writeBack) {
    const std::size_t T0 = K_ + kb_, right = n_ - T0;
    const std::size_t first = K_ + steps, below = n_ - first;
    const double* l = rowMajor_.data() + steps * width_;
    const double* u = a + K_ * n_ + T0;
    const std::size_t threads = Threads(below, right, steps);
    if (threads == 1) {
      if (writeBack)
        WriteBack(a, kb_, kb_, kernels);
      return kernels.update(below, right, steps, l, width_, u, n_, a + first * n_ + T0, n_, Block(0));
    }
    // About eight groups per thread, each a multiple of the kernels' four
    // rows and large enough to repay its copy of the pivot rows.
    const std::size_t group = std::max<std::size_t>(16, (below / (8 * threads) + 3) / 4 * 4);
    const std::size_t groups = (below + group - 1) / group, lead = ahead > 0 ? 1 : 0;
    const std::size_t aside = lead + (writeBack ? 1 : 0);
    ParallelFor(aside + groups, threads, [&](std::size_t g, std::size_t thread) {
      if (g < lead) {
        kernels.update(below, ahead, steps, l, width_, u, n_, a + first * n_ + T0, n_, Block(thread));
        next();
        return;
      }
      if (g < aside)
        return WriteBack(a, kb_, kb_, kernels);
      const std::size_t s = (g - aside) * group, count = std::min(group, below - s);
      kernels.update(count, right - ahead, steps, l + s * width_, width_, u + ahead, n_,
                     a + (first + s) * n_ + T0 + ahead, n_, Block(thread));
    });
  }

  // Column K+j of a from the panel: at and above the diagonal, and for the
  // columns not yet eliminated, the panel's value at the same position;
  // below the diagonal of an eliminated column, the value of the row that
  // was at that position when the column was eliminated. where_[i] follows
  // that row to its final position, undoing the later exchanges one by one;
  // it differs from the identity only at the positions those exchanges
  // touched, all below the diagonal of the columns still to come. So the
  // panel is transposed into a as it stands and then mended there.
  void WriteBack(double* a, std::size_t steps, std::size_t exchanges, const Kernels& kernels) {
    kernels.transpose(columns_.data() + K_, ld_, a + K_ * n_ + K_, n_, kb_, n_ - K_);
    touched_.clear();
    for (std::size_t j = kb_; j-- > 0;) {
      const std::size_t k = K_ + j;
      const double* column = Column(j);
      if (j < steps)
        for (const std::size_t i : touched_)
          a[i * n_ + k] = column[where_[i]];
      if (j < exchanges) {
        std::swap(where_[k], where_[pivot_[j]]);
        touched_.push_back(k);
        touched_.push_back(pivot_[j]);
      }
    }
    for (const std::size_t i : touched_)
      where_[i] = i;
  }

  std::size_t n_, ld_, width_, threads_, K_ = 0, kb_ = 0;
  AlignedDoubles columns_, rowMajor_, blocks_;
  std::vector<std::size_t> pivot_;
  std::vector<double> divisor_;
  std::vector<std::size_t> where_;
  std::vector<std::size_t> touched_;
};

// Back substitution with the same order of operations per component as the
// column sweep (c from n−1 down), taken by rows: Count rows advance together
// over the columns that are final for all of them, so Count chains of
// subtractions overlap instead of one. The sums live in named registers
// while they cross those columns; only the short triangle inside the group
// indexes them.
template <std::size_t Count>
void BackSubstituteRows(std::size_t n, const double* a, double* x, std::size_t first) {
  const std::size_t top = first + Count;
  double s[Count];
#pragma GCC unroll 8
  for (std::size_t t = 0; t < Count; ++t)
    s[t] = x[first + t];
  const double* row = a + first * n;
  for (std::size_t c = n; c-- > top;) {
    const double xc = x[c];
#pragma GCC unroll 8
    for (std::size_t t = 0; t < Count; ++t)
      s[t] -= row[t * n + c] * xc;
  }
  double rest[Count];
#pragma GCC unroll 8
  for (std::size_t t = 0; t < Count; ++t)
    rest[t] = s[t];
  // Row first+t still needs columns top−1 down to first+t+1, each final once
  // its own row is done.
  for (std::size_t c = top; c-- > first;) {
    x[c] = rest[c - first];
    for (std::size_t t = 0; first + t < c; ++t)
      rest[t] -= row[t * n + c] * x[c];
  }
}

void BackSubstitute(std::size_t n, const double* a, double* x) {
  constexpr std::size_t Group = 8;
  std::size_t top = n; // rows [top, n) are final
  for (; top >= Group; top -= Group)
    BackSubstituteRows<Group>(n, a, x, top - Group);
  for (; top > 0; --top)
    BackSubstituteRows<1>(n, a, x, top - 1);
}

} // namespace

void GaussUpdateGeneric(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                        const double* u, std::size_t ldu, double* c, std::size_t ldc, double* /*block*/) {
  for (std::size_t s = 0; s < rows; ++s)
    for (std::size_t t = 0; t < steps; ++t) {
      const double f = l[s * ldl + t];
      const double* ut = u + t * ldu;
      double* cs = c + s * ldc;
      for (std::size_t j = 0; j < cols; ++j)
        cs[j] -= f * ut[j];
    }
}

void GaussAxpyGeneric(double* y, const double* x, double s, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    y[i] -= x[i] * s;
}

// By blocks of 8 × 8, so that both sides move whole cache lines at a time.
void GaussTransposeGeneric(const double* from, std::size_t ldf, double* to, std::size_t ldt, std::size_t rows,
                           std::size_t cols) {
  constexpr std::size_t Block = 8;
  for (std::size_t r0 = 0; r0 < rows; r0 += Block) {
    const std::size_t r1 = std::min(rows, r0 + Block);
    for (std::size_t c0 = 0; c0 < cols; c0 += Block) {
      const std::size_t c1 = std::min(cols, c0 + Block);
      for (std::size_t c = c0; c < c1; ++c)
        for (std::size_t r = r0; r < r1; ++r)
          to[c * ldt + r] = from[r * ldf + c];
    }
  }
}

std::size_t GaussPivotGeneric(const double* x, std::size_t count) {
  std::size_t p = 0;
  for (std::size_t i = 1; i < count; ++i)
    if (std::fabs(x[i]) > std::fabs(x[p]))
      p = i;
  return p;
}

void GaussDivideGeneric(double* y, double d, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    y[i] /= d;
}

unsigned char GaussBlocked(std::size_t n, double* a, std::size_t m, double* b, unsigned char mode, double eps,
                           SimdLevel level, std::size_t panel) {
  if (n == 0)
    return 1;
  const Kernels kernels = KernelsFor(level);
  const std::size_t width = std::max<std::size_t>(1, std::min(panel, n));
  // Storage for one thread's block per thread; when that cannot be had, for
  // one thread; and without even that the elimination runs in place.
  std::optional<Panel> first, second;
  std::size_t threads = 1;
  for (const std::size_t t : {std::size_t{GetNumThreads()}, std::size_t{1}}) {
    try {
      first.emplace(n, width, t);
      threads = t;
      break;
    } catch (const std::bad_alloc&) {
    }
  }
  if (!first)
    return GaussPlain<double>(n, a, m, b, mode, eps);
  // With helpers, a second panel lets the next panel's elimination overlap
  // the update of the columns beyond it; without room for it, none does.
  if (threads > 1 && n > width) {
    try {
      second.emplace(n, width, threads);
    } catch (const std::bad_alloc&) {
    }
  }
  Panel* work = &*first;
  Panel* spare = second ? &*second : nullptr;
  std::size_t done = work->Eliminate(a, 0, std::min(width, n), mode, eps, kernels);
  for (std::size_t K = 0; K < n; K += width) {
    const std::size_t kb = std::min(width, n - K);
    if (done < kb) {
      work->Settle(a, m, b, done, done + 1, kernels);
      if (mode >= ReturnOnSingular)
        return 0;
      Crash("Null diagonal");
    }
    const std::size_t T0 = K + kb, next = T0 < n ? std::min(width, n - T0) : 0;
    if (spare != nullptr && next > 0 &&
        work->SettleAhead(a, m, b, next, kernels, [&] { done = spare->Eliminate(a, T0, next, mode, eps, kernels); })) {
      std::swap(work, spare);
      continue;
    }
    work->Settle(a, m, b, kb, kb, kernels);
    if (next > 0)
      done = work->Eliminate(a, T0, next, mode, eps, kernels);
  }
  if (n == 1)
    return 1;
  for (std::size_t r = 0; r < m; ++r)
    BackSubstitute(n, a, b + r * n);
  return 1;
}

} // namespace zel::numerics
