// AVX2 kernels of the blocked Gauss elimination: whole groups of eight
// columns in vector registers; the columns left over go one at a time.

#include "zeltools/numerics/internal/gauss_blocked.h"

#if defined(__GNUC__) && defined(__x86_64__)

#include <algorithm>

#include <immintrin.h>

#define ZEL_AVX2 __attribute__((target("avx2")))

namespace zel::numerics {
namespace {

template <int R>
ZEL_AVX2 void Tile(std::size_t steps, const double* l, std::size_t ldl, const double* u, std::size_t ldu, double* c,
                   std::size_t ldc) {
  __m256d lo[R], hi[R];
  for (int s = 0; s < R; ++s) {
    lo[s] = _mm256_loadu_pd(c + static_cast<std::size_t>(s) * ldc);
    hi[s] = _mm256_loadu_pd(c + static_cast<std::size_t>(s) * ldc + 4);
  }
  for (std::size_t t = 0; t < steps; ++t) {
    const __m256d uLo = _mm256_loadu_pd(u + t * ldu), uHi = _mm256_loadu_pd(u + t * ldu + 4);
    for (int s = 0; s < R; ++s) {
      const __m256d f = _mm256_set1_pd(l[static_cast<std::size_t>(s) * ldl + t]);
      lo[s] = _mm256_sub_pd(lo[s], _mm256_mul_pd(uLo, f));
      hi[s] = _mm256_sub_pd(hi[s], _mm256_mul_pd(uHi, f));
    }
  }
  for (int s = 0; s < R; ++s) {
    _mm256_storeu_pd(c + static_cast<std::size_t>(s) * ldc, lo[s]);
    _mm256_storeu_pd(c + static_cast<std::size_t>(s) * ldc + 4, hi[s]);
  }
}

} // namespace

ZEL_AVX2 void GaussUpdateAvx2(std::size_t rows, std::size_t cols, std::size_t steps, const double* l,
                              std::size_t ldl, const double* u, std::size_t ldu, double* c, std::size_t ldc,
                              double* block) {
  if (steps == 0 || rows == 0 || cols == 0)
    return;
  const std::size_t whole = cols / 8 * 8;
  // With many rows to cross them, up to 32 columns of u at a time are first
  // copied to contiguous storage, which then stays in the first-level cache
  // while every row tile crosses it group of eight by group of eight, the
  // tile's rows of l staying there too. Otherwise the tiles read u in place,
  // all its columns for each row tile.
  constexpr std::size_t Packed = 32;
  const bool pack = block != nullptr && rows >= 16;
  const std::size_t chunk = pack ? Packed : std::max<std::size_t>(whole, 1);
  for (std::size_t j0 = 0; j0 < whole; j0 += chunk) {
    const std::size_t width = std::min(chunk, whole - j0);
    const double* ub = u + j0;
    std::size_t ldb = ldu;
    if (pack) {
      for (std::size_t t = 0; t < steps; ++t)
        for (std::size_t g = 0; g < width; g += 4)
          _mm256_storeu_pd(block + Packed * t + g, _mm256_loadu_pd(u + t * ldu + j0 + g));
      ub = block;
      ldb = Packed;
    }
    std::size_t s = 0;
    for (; s + 4 <= rows; s += 4)
      for (std::size_t j = 0; j < width; j += 8)
        Tile<4>(steps, l + s * ldl, ldl, ub + j, ldb, c + s * ldc + j0 + j, ldc);
    for (; s < rows; ++s)
      for (std::size_t j = 0; j < width; j += 8)
        Tile<1>(steps, l + s * ldl, ldl, ub + j, ldb, c + s * ldc + j0 + j, ldc);
  }
  if (whole < cols)
    GaussUpdateGeneric(rows, cols - whole, steps, l, ldl, u + whole, ldu, c + whole, ldc, nullptr);
}

ZEL_AVX2 void GaussAxpyAvx2(double* y, const double* x, double s, std::size_t count) {
  const __m256d sv = _mm256_set1_pd(s);
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    _mm256_storeu_pd(y + i, _mm256_sub_pd(_mm256_loadu_pd(y + i), _mm256_mul_pd(_mm256_loadu_pd(x + i), sv)));
  for (; i < count; ++i)
    y[i] -= x[i] * s;
}

} // namespace zel::numerics

#else

namespace zel::numerics {
void GaussUpdateAvx2(std::size_t rows, std::size_t cols, std::size_t steps, const double* l, std::size_t ldl,
                     const double* u, std::size_t ldu, double* c, std::size_t ldc, double* block) {
  GaussUpdateGeneric(rows, cols, steps, l, ldl, u, ldu, c, ldc, block);
}
void GaussAxpyAvx2(double* y, const double* x, double s, std::size_t count) { GaussAxpyGeneric(y, x, s, count); }
} // namespace zel::numerics

#endif
