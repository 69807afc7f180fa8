#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/gauss_blocked.h"
#include "zeltools/numerics/internal/gauss_plain.h"
#include "zeltools/numerics/internal/simd_level.h"

namespace zel {

unsigned char Gauss(unsigned int n, double* a, unsigned int m, double* b, unsigned char mode, double eps) {
  const numerics::SimdLevel level = numerics::ActiveSimdLevel();
  if (level == numerics::SimdLevel::Plain || n < numerics::GaussBlockedFrom)
    return numerics::GaussPlain<double>(n, a, m, b, mode, eps);
  return numerics::GaussBlocked(n, a, m, b, mode, eps, level, numerics::DefaultGaussPanel);
}

unsigned char Gauss(unsigned int n, long double* a, unsigned int m, long double* b, unsigned char mode,
                    double eps) {
  return numerics::GaussPlain<long double>(n, a, m, b, mode, eps);
}

} // namespace zel
