#include "zeltools/numerics/internal/simd_level.h"

#include <atomic>

namespace zel::numerics {
namespace {

constexpr int NotForced = -1;
std::atomic<int> forced{NotForced};

SimdLevel Detect() noexcept {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq"))
    return SimdLevel::Avx512;
  if (__builtin_cpu_supports("avx2"))
    return SimdLevel::Avx2;
#endif
  return SimdLevel::Generic;
}

} // namespace

SimdLevel DetectedSimdLevel() noexcept {
  static const SimdLevel level = Detect();
  return level;
}

SimdLevel ActiveSimdLevel() noexcept {
  const int f = forced.load(std::memory_order_relaxed);
  return f == NotForced ? DetectedSimdLevel() : static_cast<SimdLevel>(f);
}

void ForceSimdLevel(SimdLevel level) noexcept {
  const SimdLevel best = DetectedSimdLevel();
  forced.store(static_cast<int>(level > best ? best : level), std::memory_order_relaxed);
}

void ResetSimdLevel() noexcept { forced.store(NotForced, std::memory_order_relaxed); }

} // namespace zel::numerics
