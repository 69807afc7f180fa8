#pragma once
// The band factorisation and substitution row by row, one operation after
// the other: the reference that the blocked paths reproduce bit for bit.

#include <cstddef>
#include <vector>

#include "zeltools/numerics/band.h"

namespace zel::numerics {

/// Factorises in place, row by row. Throws "Null diagonal" on a zero pivot.
void BandFactorPlain(std::size_t n, GAUSS_TAPE* rows);

/// Rows [from, to) of the forward substitution of one right-hand side (each
/// row's updates of the elements below it, then its division), once the
/// rows before `from` have been applied; `vector` lets each row run across
/// AVX-512 lanes (same operations per element).
void BandForwardRows(const GAUSS_TAPE* rows, std::size_t from, std::size_t to, double* b, bool vector);

/// The backward substitution of one right-hand side, after its forward one.
void BandBackward(std::size_t n, const GAUSS_TAPE* rows, double* b);

/// Rows that break the envelope rule, or have no values: refused before any
/// work (`Exception`, code 2). `forFactor` adds the envelope test to the
/// count and reach tests that the substitution needs too.
void CheckBandRows(std::size_t n, const GAUSS_TAPE* rows, bool forFactor);

} // namespace zel::numerics
