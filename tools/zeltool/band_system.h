#pragma once
// A symmetric matrix read by the tool, laid out for the library's band
// solver. Shared by the solve command and the benchmark that compares the
// command's factor time with the solver's own.

#include <vector>

#include <zeltools/numerics/band.h>

#include "matrix_market.h"

namespace zeltool {

struct BandSystem {
  std::vector<double> values;         // every row's values, one after another
  std::vector<zel::GAUSS_TAPE> rows;  // pointing into `values`
};

/// The rows of `m` with unknown i moved to `position[i]`. Each row reaches
/// the farthest column of any row above it (itself included), which gives
/// the elimination room for all its fill-in; the values stored are
/// `BandProfile`'s count for the same numbering.
BandSystem AssembleBand(const SymmetricMatrix& m, const std::vector<unsigned>& position);

} // namespace zeltool
