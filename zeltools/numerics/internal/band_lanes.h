#pragma once
// Several right-hand sides substituted together. Lane r of each row of
// eight holds right-hand side r, so that every element of the factors, read
// once, serves them all, and the backward pass runs their chains of
// dependent subtractions side by side instead of one after another. Each
// lane takes exactly the operations of its right-hand side substituted
// alone, in the same order, and a zero component is skipped in its lane
// only: the results are the same bits.

#include <cstddef>

#include "zeltools/numerics/band.h"
#include "zeltools/numerics/internal/simd_level.h"

namespace zel::numerics {

inline constexpr std::size_t SolveLanes = 8;

/// x[SolveLanes·i + r] is element i of right-hand side r; lanes that hold no
/// right-hand side hold zeros. The forward pass, then the backward one.
void BandLanesForwardGeneric(std::size_t n, const GAUSS_TAPE* rows, double* x);
void BandLanesBackwardGeneric(std::size_t n, const GAUSS_TAPE* rows, double* x);
void BandLanesForwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x);
void BandLanesBackwardAvx2(std::size_t n, const GAUSS_TAPE* rows, double* x);
void BandLanesForwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x);
void BandLanesBackwardAvx512(std::size_t n, const GAUSS_TAPE* rows, double* x);

/// Substitutes `lanes` (2 … SolveLanes) right-hand sides, n apart from b,
/// with the kernels of `level` (not Plain); the forward pass only when
/// `forward`. Returns false, b untouched, without room for the lanes' rows.
bool BandSolveLanes(std::size_t n, const GAUSS_TAPE* rows, std::size_t lanes, double* b, bool forward,
                    SimdLevel level) noexcept;

} // namespace zel::numerics
