#include "zeltools/numerics/band.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "zeltools/errors/exception.h"
#include "zeltools/memory/memory.h"
#include "zeltools/numerics/internal/band_blocked.h"
#include "zeltools/numerics/internal/band_lanes.h"
#include "zeltools/numerics/internal/band_plain.h"
#include "zeltools/numerics/internal/out_of_memory.h"
#include "zeltools/numerics/internal/prefetch.h"
#include "zeltools/numerics/internal/simd_level.h"
#include "zeltools/numerics/internal/thread_pool.h"

namespace zel {
namespace numerics {

void CheckBandRows(std::size_t n, const GAUSS_TAPE* rows, bool forFactor) {
  // reach: the last column row i touches; farthest: the largest reach of the
  // rows above, which row i must cover when it lies inside that reach.
  std::size_t farthest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t count = rows[i].count;
    if (count == 0 || rows[i].values == nullptr)
      CrashFormat("Band row %zu has no values", i + 1);
    const std::size_t reach = i + count - 1;
    if (reach >= n)
      CrashFormat("Band row %zu reaches column %zu of a matrix of order %zu", i + 1, reach + 1, n);
    if (!forFactor)
      continue;
    if (i > 0 && farthest >= i && reach < farthest)
      CrashFormat("Band row %zu stops at column %zu, short of the fill-in up to column %zu", i + 1, reach + 1,
                  farthest + 1);
    if (reach > farthest)
      farthest = reach;
  }
}

void BandFactorPlain(std::size_t n, GAUSS_TAPE* rows) {
  // Positions of the non-zero elements of the current row: the flags of the
  // elimination kept as a list, so runs of zeros cost nothing. Its room is
  // taken before anything changes and is never grown.
  std::size_t widest = 0;
  for (std::size_t i = 0; i < n; ++i)
    widest = std::max<std::size_t>(widest, rows[i].count);
  std::vector<std::size_t> nonZero;
  try {
    nonZero.reserve(widest);
  } catch (const std::bad_alloc&) {
    OutOfMemory(widest * sizeof(std::size_t));
  }
  for (std::size_t i = 0; i < n; ++i) {
    double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    const double d = v[0];
    if (d == 0.0)
      Crash("Null diagonal");
    nonZero.clear();
    for (std::size_t k = 1; k < count; ++k)
      if (v[k] != 0.0) {
        v[k] /= d;
        nonZero.push_back(k);
      }
    for (std::size_t s = 0; s < nonZero.size(); ++s) {
      const std::size_t k = nonZero[s];
      const double f = v[k] * d;
      double* target = rows[i + k].values;
      for (std::size_t t = s; t < nonZero.size(); ++t) {
        const std::size_t l = nonZero[t];
        target[l - k] -= v[l] * f;
      }
    }
  }
  if (n > 0 && rows[n - 1].values[0] == 0.0)
    Crash("Null diagonal");
}

void BandForwardRows(const GAUSS_TAPE* rows, std::size_t from, std::size_t to, double* b, bool vector) {
  for (std::size_t i = from; i < to; ++i) {
    const double x = b[i];
    if (x == 0.0)
      continue;
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    if (vector) {
      BandForwardRowAvx512(v, count, x, b + i);
    } else {
      for (std::size_t k = 1; k < count; ++k)
        b[i + k] -= v[k] * x;
    }
    b[i] = x / v[0];
  }
}

void BandBackward(std::size_t n, const GAUSS_TAPE* rows, double* b) {
  // Each element's sum runs in increasing k, the order the forward pass
  // fixes for every caller; the rows form one
  // chain of dependent subtractions, which no reordering may shorten.
  // The row above is fetched while a row is summed, so that the chain
  // waits on the subtractions alone (a third less time on rows of 400).
  for (std::size_t i = n >= 2 ? n - 1 : 0; i-- > 0;) {
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    const double* above = i > 0 ? rows[i - 1].values : nullptr;
    const std::size_t aboveCount = i > 0 ? rows[i - 1].count : 0;
    double s = b[i];
    for (std::size_t k = 1; k < count; ++k) {
      PrefetchRowAbove(above, aboveCount, k - 1);
      s -= v[k] * b[i + k];
    }
    b[i] = s;
  }
}

} // namespace numerics

namespace {

void Factor(std::size_t n, GAUSS_TAPE* rows) {
  numerics::CheckBandRows(n, rows, true);
  if (numerics::ActiveSimdLevel() == numerics::SimdLevel::Plain)
    numerics::BandFactorPlain(n, rows);
  else
    numerics::BandFactorBlocked(n, rows, numerics::ActiveSimdLevel(), numerics::DefaultBandPanel);
}

// Right-hand sides are independent of each other. Above the plain level
// they are substituted together in groups of up to eight lanes, the groups
// on different threads; one alone is a chain of dependent rows and stays on
// the calling thread. `forward` adds the forward pass to the backward one.
void Substitute(std::size_t n, const GAUSS_TAPE* rows, std::size_t m, double* b, bool forward) {
  const numerics::SimdLevel level = numerics::ActiveSimdLevel();
  const bool vector = level == numerics::SimdLevel::Avx512;
  const auto alone = [&](double* x) {
    if (forward)
      numerics::BandForwardRows(rows, 0, n, x, vector);
    numerics::BandBackward(n, rows, x);
  };
  const std::size_t perGroup = level == numerics::SimdLevel::Plain ? 1 : numerics::SolveLanes;
  const std::size_t groups = (m + perGroup - 1) / perGroup;
  double stored = 0;
  for (std::size_t i = 0; i < n && groups > 1; ++i)
    stored += rows[i].count;
  const std::size_t threads = numerics::ThreadsFor(2.0 * stored * double(m), groups);
  // Group g holds the right-hand sides [m·g / groups, m·(g + 1) / groups).
  numerics::ParallelFor(groups, threads, [&](std::size_t g, std::size_t) {
    const std::size_t first = m * g / groups, last = m * (g + 1) / groups;
    if (last - first > 1 && numerics::BandSolveLanes(n, rows, last - first, b + first * n, forward, level))
      return;
    for (std::size_t r = first; r < last; ++r)
      alone(b + r * n);
  });
}

void Solve(std::size_t n, const GAUSS_TAPE* rows, std::size_t m, double* b) { Substitute(n, rows, m, b, true); }

// The forward substitution follows the factorisation panel by panel, while
// each panel's rows are still in the cache, into a copy of the right-hand
// sides that replaces them only once every pivot has passed: a failing
// factorisation leaves b as it was. Without room for the copy, or without
// the blocked kernels, the substitution follows the factorisation.
void FactorAndSolve(std::size_t n, GAUSS_TAPE* rows, std::size_t m, double* b) {
  const numerics::SimdLevel level = numerics::ActiveSimdLevel();
  std::vector<double> work;
  if (m > 0 && level != numerics::SimdLevel::Plain) {
    try {
      work.assign(b, b + n * m);
    } catch (const std::bad_alloc&) {
      work.clear();
    }
  }
  if (work.empty()) {
    Factor(n, rows);
    Solve(n, rows, m, b);
    return;
  }
  numerics::CheckBandRows(n, rows, true);
  const numerics::BandForward forward{work.data(), n, m};
  numerics::BandFactorBlocked(n, rows, level, numerics::DefaultBandPanel, &forward);
  std::copy(work.begin(), work.end(), b);
  Substitute(n, rows, m, b, false);
}

// The column flags of the packed entry point live in a block of the
// library's memory (a local buffer below 10 rows) and must be released
// whatever the solver throws.
class ColumnFlags {
public:
  explicit ColumnFlags(std::size_t n)
      : block_(n < LocalSize ? nullptr : static_cast<unsigned char*>(Memory(n + 1, 1))),
        flags_(block_ != nullptr ? block_ : local_) {}
  ~ColumnFlags() { DoMemoryFree(&block_); }
  ColumnFlags(const ColumnFlags&) = delete;
  ColumnFlags& operator=(const ColumnFlags&) = delete;
  unsigned char& operator[](std::size_t j) { return flags_[j]; }

private:
  static constexpr std::size_t LocalSize = 10;
  unsigned char local_[LocalSize] = {};
  unsigned char* block_;
  unsigned char* flags_;
};

} // namespace

void GaussTapeDirect(unsigned int n, GAUSS_TAPE* rows) { Factor(n, rows); }

void GaussTapeBack(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b) {
  numerics::CheckBandRows(n, rows, false);
  Solve(n, rows, m, b);
}

void GaussTape1(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b) {
  GaussTapeDirect(n, rows);
  GaussTapeBack(n, rows, m, b);
}

void GaussTape(unsigned int n, GAUSS_TAPE* rows, unsigned int m, double* b) {
  if (n == 0)
    return;
  FactorAndSolve(n, rows, m, b);
}

void GaussTape(unsigned int n, double* a, unsigned int m, double* b) {
  if (n == 0)
    return;
  std::vector<GAUSS_TAPE> rows;
  try {
    rows.resize(n);
  } catch (const std::bad_alloc&) {
    numerics::OutOfMemory(std::size_t{n} * sizeof(GAUSS_TAPE));
  }
  ColumnFlags flags(n);
  // The flags accumulate the union of the non-zero columns of all rows so
  // far and are never cleared, so a row's count reaches at least as far as
  // every row above it: the envelope rule, fill-in included.
  std::size_t start = 0;
  for (std::size_t i = 0; i < n; ++i) {
    double* row = a + start;
    flags[i] = 1;
    for (std::size_t k = 0; k < n - i; ++k)
      if (row[k] != 0.0)
        flags[i + k] = 1;
    // The highest flag set, searching down from the last column; flag i is
    // set, so the search ends at i at the latest.
    std::size_t top = n - 1;
    while (!flags[top])
      --top;
    rows[i].values = row;
    rows[i].count = static_cast<unsigned int>(top - i + 1);
    start += n - i;
  }
  GaussTape(n, rows.data(), m, b);
}

} // namespace zel
