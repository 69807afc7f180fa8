#pragma once
// A test program that includes this header replaces the global operator new
// in exactly one of its files with ZEL_TEST_FAILING_OPERATOR_NEW: while a
// FailingAllocations object lives, every request of at least `from` bytes
// throws std::bad_alloc. AddressSanitizer keeps its own operator new, which a
// replacement would mix with: there the replacement is left out and nothing
// fails.

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace zel::test {

inline std::atomic<std::size_t> failAllocationsFrom{~std::size_t{0}};

class FailingAllocations {
public:
  explicit FailingAllocations(std::size_t from) { failAllocationsFrom.store(from); }
  ~FailingAllocations() { failAllocationsFrom.store(~std::size_t{0}); }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
};

} // namespace zel::test

#if defined(__SANITIZE_ADDRESS__)
namespace zel::test { inline constexpr bool allocationsCanFail = false; }
#define ZEL_TEST_FAILING_OPERATOR_NEW()
#else
namespace zel::test { inline constexpr bool allocationsCanFail = true; }
#define ZEL_TEST_FAILING_OPERATOR_NEW()                                                                                \
  void* operator new(std::size_t size) {                                                                               \
    if (size >= zel::test::failAllocationsFrom.load(std::memory_order_relaxed))                                        \
      throw std::bad_alloc();                                                                                          \
    if (void* p = std::malloc(size > 0 ? size : 1))                                                                    \
      return p;                                                                                                        \
    throw std::bad_alloc();                                                                                            \
  }                                                                                                                    \
  void operator delete(void* p) noexcept { std::free(p); }                                                             \
  void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#endif
