#pragma once
// A hint that the cache line holding an address will be read soon. It never
// faults and changes no result; compilers that offer no such hint get none.

#if !defined(__GNUC__) && !defined(__clang__) && (defined(_M_X64) || defined(_M_IX86))
#include <xmmintrin.h>
#endif

#include <cstddef>

namespace zel::numerics {

inline void PrefetchLine(const void* address) noexcept {
#if defined(__GNUC__) || defined(__clang__)
  __builtin_prefetch(address);
#elif defined(_M_X64) || defined(_M_IX86)
  _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
#else
  (void)address;
#endif
}

/// For a backward pass over rows met in decreasing order, which the
/// processor's own prefetching follows badly: while element k of a row is
/// used, the row above (`aboveCount` values from `above`) is fetched a line
/// per eight elements.
inline void PrefetchRowAbove(const double* above, std::size_t aboveCount, std::size_t k) noexcept {
  if (k % 8 == 0 && k < aboveCount)
    PrefetchLine(above + k);
}

} // namespace zel::numerics
