#pragma once
// A zero-filled working array of doubles taken from the library allocator
// (so that oversized requests fail with the allocator's catalogue messages)
// and freed when the owner leaves its scope, also by an exception.

#include <cstddef>
#include <cstdint>

#include "zeltools/errors/exception.h"
#include "zeltools/memory/memory.h"

namespace zel::internal {

class WorkArray {
public:
  explicit WorkArray(std::uint64_t count) {
    // The allocator checks its ceiling on count × size read as a signed
    // 64-bit value, and a product past 2^63 would slip through as a small
    // block; every count above the ceiling gets the ceiling's message here.
    if (count > MemoryCeiling / sizeof(double))
      CrashMessage(202);
    data_ = static_cast<double*>(Memory(count, sizeof(double)));
  }
  ~WorkArray() { DoMemoryFree(&data_); }
  WorkArray(const WorkArray&) = delete;
  WorkArray& operator=(const WorkArray&) = delete;

  double* data() noexcept { return data_; }
  double& operator[](std::size_t i) noexcept { return data_[i]; }

private:
  double* data_ = nullptr;
};

} // namespace zel::internal
