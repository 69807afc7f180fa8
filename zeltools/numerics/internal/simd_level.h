#pragma once
// Instruction-set level of the numerical kernels, chosen once from what the
// processor offers. Every level computes the same bits: they differ only in
// how many independent elements advance together.

namespace zel::numerics {

enum class SimdLevel : int {
  Plain = 0,   // the unblocked loops, one operation after the other
  Generic = 1, // the blocked drivers with portable kernels
  Avx2 = 2,
  Avx512 = 3,
};

/// The best level this processor supports.
SimdLevel DetectedSimdLevel() noexcept;

/// The level in use: the detected one unless a lower one was forced.
SimdLevel ActiveSimdLevel() noexcept;

/// Forces a level for tests and benchmarks (process-wide); a level above the
/// detected one is lowered to it. `ResetSimdLevel` returns to detection.
void ForceSimdLevel(SimdLevel level) noexcept;
void ResetSimdLevel() noexcept;

} // namespace zel::numerics
