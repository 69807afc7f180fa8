#pragma once
// Working storage of the blocked kernels: zero-filled doubles starting on a
// 64-byte boundary, so that groups of eight never straddle cache lines.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zel::numerics {

class AlignedDoubles {
public:
  explicit AlignedDoubles(std::size_t count) : storage_(count + 8, 0.0) {
    const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
    data_ = storage_.data() + ((64 - address % 64) % 64) / sizeof(double);
  }
  double* data() { return data_; }
  const double* data() const { return data_; }

private:
  std::vector<double> storage_;
  double* data_;
};

} // namespace zel::numerics
