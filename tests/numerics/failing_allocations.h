#pragma once
// The numerics test program replaces the global operator new (in
// band_test.cpp) by one that fails on request: while a FailingAllocations
// object lives, every request of at least `from` bytes throws std::bad_alloc.
// AddressSanitizer keeps its own operator new, which a replacement would mix
// with: there the replacement is left out and nothing fails.

#include <atomic>
#include <cstddef>

namespace zel::test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool allocationsCanFail = false;
#else
inline constexpr bool allocationsCanFail = true;
#endif

extern std::atomic<std::size_t> failAllocationsFrom;

class FailingAllocations {
public:
  explicit FailingAllocations(std::size_t from) { failAllocationsFrom.store(from); }
  ~FailingAllocations() { failAllocationsFrom.store(~std::size_t{0}); }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
};

} // namespace zel::test
