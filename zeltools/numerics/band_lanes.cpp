#include "zeltools/numerics/internal/band_lanes.h"

#include <new>
#include <optional>

#include "zeltools/numerics/internal/aligned_buffer.h"
#include "zeltools/numerics/internal/prefetch.h"

namespace zel::numerics {

void BandLanesForwardGeneric(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  constexpr std::size_t L = SolveLanes;
  for (std::size_t i = 0; i < n; ++i) {
    double* xi = x + L * i;
    double own[L];
    bool any = false;
    for (std::size_t r = 0; r < L; ++r) {
      own[r] = xi[r];
      any = any || own[r] != 0.0;
    }
    if (!any)
      continue;
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    // Written as a choice rather than a skipped store, so that the lanes
    // advance together; a lane whose component is zero keeps its value.
    for (std::size_t k = 1; k < count; ++k) {
      double* t = xi + L * k;
      for (std::size_t r = 0; r < L; ++r)
        t[r] = own[r] != 0.0 ? t[r] - v[k] * own[r] : t[r];
    }
    for (std::size_t r = 0; r < L; ++r)
      xi[r] = own[r] != 0.0 ? own[r] / v[0] : own[r];
  }
}

void BandLanesBackwardGeneric(std::size_t n, const GAUSS_TAPE* rows, double* x) {
  constexpr std::size_t L = SolveLanes;
  for (std::size_t i = n >= 2 ? n - 1 : 0; i-- > 0;) {
    const double* v = rows[i].values;
    const std::size_t count = rows[i].count;
    // The row above is fetched while this one is summed, as in BandBackward.
    const double* above = i > 0 ? rows[i - 1].values : nullptr;
    const std::size_t aboveCount = i > 0 ? rows[i - 1].count : 0;
    double s[L];
    for (std::size_t r = 0; r < L; ++r)
      s[r] = x[L * i + r];
    for (std::size_t k = 1; k < count; ++k) {
      PrefetchRowAbove(above, aboveCount, k - 1);
      for (std::size_t r = 0; r < L; ++r)
        s[r] -= v[k] * x[L * (i + k) + r];
    }
    for (std::size_t r = 0; r < L; ++r)
      x[L * i + r] = s[r];
  }
}

bool BandSolveLanes(std::size_t n, const GAUSS_TAPE* rows, std::size_t lanes, double* b, bool forward,
                    SimdLevel level) noexcept {
  constexpr std::size_t L = SolveLanes;
  std::optional<AlignedDoubles> lanesRows;
  try {
    lanesRows.emplace(n * L);
  } catch (const std::bad_alloc&) {
    return false;
  }
  double* x = lanesRows->data();
  for (std::size_t r = 0; r < lanes; ++r)
    for (std::size_t i = 0; i < n; ++i)
      x[L * i + r] = b[r * n + i];
  using Pass = void (*)(std::size_t, const GAUSS_TAPE*, double*);
  Pass forwardFn = BandLanesForwardGeneric, backwardFn = BandLanesBackwardGeneric;
  if (level == SimdLevel::Avx512) {
    forwardFn = BandLanesForwardAvx512;
    backwardFn = BandLanesBackwardAvx512;
  } else if (level == SimdLevel::Avx2) {
    forwardFn = BandLanesForwardAvx2;
    backwardFn = BandLanesBackwardAvx2;
  }
  if (forward)
    forwardFn(n, rows, x);
  backwardFn(n, rows, x);
  for (std::size_t r = 0; r < lanes; ++r)
    for (std::size_t i = 0; i < n; ++i)
      b[r * n + i] = x[L * i + r];
  return true;
}

} // namespace zel::numerics
