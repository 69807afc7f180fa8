#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/gauss_plain.h"

namespace zel {

unsigned char Gauss(unsigned int n, double* a, unsigned int m, double* b, unsigned char mode, double eps) {
  return numerics::GaussPlain<double>(n, a, m, b, mode, eps);
}

unsigned char Gauss(unsigned int n, long double* a, unsigned int m, long double* b, unsigned char mode,
                    double eps) {
  return numerics::GaussPlain<long double>(n, a, m, b, mode, eps);
}

} // namespace zel
