#pragma once
// The numerics test program replaces the global operator new (in
// band_test.cpp) by one that fails on request: while a FailingAllocations
// object lives, every request of at least `from` bytes throws std::bad_alloc.

#include <atomic>
#include <cstddef>

namespace zel::test {

extern std::atomic<std::size_t> failAllocationsFrom;

class FailingAllocations {
public:
  explicit FailingAllocations(std::size_t from) { failAllocationsFrom.store(from); }
  ~FailingAllocations() { failAllocationsFrom.store(~std::size_t{0}); }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
};

} // namespace zel::test
