#pragma once
// Band rows built from a symmetric matrix for the band solver tests.

#include <algorithm>
#include <vector>

#include "matrix_market.h"
#include "zeltools/numerics/band.h"

namespace zel::test {

/// Storage and row records of a band matrix; the records point into `values`.
struct BandMatrix {
  std::vector<double> values;
  std::vector<GAUSS_TAPE> rows;

  BandMatrix() = default;
  BandMatrix(const BandMatrix& other) : values(other.values), rows(other.rows) { Rebase(other); }
  BandMatrix& operator=(const BandMatrix& other) {
    values = other.values;
    rows = other.rows;
    Rebase(other);
    return *this;
  }

private:
  void Rebase(const BandMatrix& other) {
    for (std::size_t i = 0; i < rows.size(); ++i)
      rows[i].values = values.data() + (other.rows[i].values - other.values.data());
  }
};

/// Rows whose counts follow the running reach (the packed entry point's rule)
/// for a matrix given by its lower-triangle entries, renumbered by
/// `position` (empty: as given).
inline BandMatrix BandFromEntries(unsigned n, const std::vector<SymmetricEntry>& lower,
                                  const std::vector<unsigned>& position = {}) {
  auto pos = [&](unsigned v) { return position.empty() ? v : position[v]; };
  std::vector<unsigned> reach(n);
  for (unsigned i = 0; i < n; ++i)
    reach[i] = i;
  for (const auto& e : lower) {
    const unsigned a = pos(e.row), b = pos(e.col), lo = std::min(a, b), hi = std::max(a, b);
    reach[lo] = std::max(reach[lo], hi);
  }
  BandMatrix m;
  m.rows.resize(n);
  std::vector<std::size_t> offset(n + 1, 0);
  unsigned farthest = 0;
  for (unsigned i = 0; i < n; ++i) {
    farthest = std::max(farthest, reach[i]);
    m.rows[i].count = farthest - i + 1;
    offset[i + 1] = offset[i] + m.rows[i].count;
  }
  m.values.assign(offset[n], 0.0);
  for (unsigned i = 0; i < n; ++i)
    m.rows[i].values = m.values.data() + offset[i];
  for (const auto& e : lower) {
    const unsigned a = pos(e.row), b = pos(e.col), lo = std::min(a, b), hi = std::max(a, b);
    m.rows[lo].values[hi - lo] = e.value;
  }
  return m;
}

} // namespace zel::test
