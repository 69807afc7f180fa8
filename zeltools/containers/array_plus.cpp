#include "zeltools/containers/array_plus.h"

#include "zeltools/errors/exception.h"

namespace zel {

namespace internal {

// The five-quarters step is figured in 64 bits: a 32-bit product would wrap
// for counts above 858,993,459 and ask for less than is needed.
unsigned int GrowthStep(unsigned int count, std::uint64_t needed, unsigned int extra) {
  const std::uint64_t step = static_cast<std::uint64_t>(count) * 5 / 4 + (needed - count) + extra;
  if (step <= 0xFFFFFFFFull)
    return static_cast<unsigned int>(step);
  if (needed <= 0xFFFFFFFFull)
    return static_cast<unsigned int>(needed);
  CrashMessage(202);
}

void RefuseRequest() { CrashMessage(202); }

} // namespace internal

#define ZEL_INSTANTIATE_ARRAY_PLUS(...) template class CArrayPlus<__VA_ARGS__>;
ZEL_ARRAY_PLUS_ELEMENTS(ZEL_INSTANTIATE_ARRAY_PLUS)
#undef ZEL_INSTANTIATE_ARRAY_PLUS

} // namespace zel
