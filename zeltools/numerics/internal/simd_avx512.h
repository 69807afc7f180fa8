#pragma once
// Helpers shared by the AVX-512 kernels; include only from translation units
// whose kernels carry the AVX-512 target attribute.

#if defined(__GNUC__) && defined(__x86_64__)

#include <immintrin.h>

namespace zel::numerics {

/// u · x with x read from memory and broadcast inside the multiplication
/// (an embedded broadcast). A separate broadcast instruction would take a
/// slot on the vector pipes that the multiplications and subtractions need;
/// the compiler folds it only when the value is used once, so the form is
/// written out. It is one correctly rounded multiplication per lane, as
/// _mm512_mul_pd.
///
/// The operand is passed by address, not as a memory operand: a memory
/// operand makes the compiler keep the kernels' accumulators in memory. The
/// statement is volatile so that it keeps its place after `KernelEntry`,
/// which orders every earlier store before it; the values read are never
/// written while a kernel runs.
__attribute__((always_inline, target("avx512f"))) inline __m512d MulBroadcast(__m512d u, const double* x) {
  __m512d product;
  __asm__ volatile("vmulpd (%1)%{1to8%}, %2, %0" : "=v"(product) : "r"(x), "v"(u));
  return product;
}

/// Call at the start of a kernel that uses `MulBroadcast`: a compiler
/// barrier after which all stores made so far are in memory.
__attribute__((always_inline)) inline void KernelEntry() { __asm__ volatile("" ::: "memory"); }

} // namespace zel::numerics

#endif
