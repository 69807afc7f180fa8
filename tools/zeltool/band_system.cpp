#include "band_system.h"

#include <algorithm>

namespace zeltool {

BandSystem AssembleBand(const SymmetricMatrix& m, const std::vector<unsigned>& position) {
  const unsigned n = m.n;
  std::vector<unsigned> reach(n);
  for (unsigned i = 0; i < n; ++i)
    reach[i] = i;
  for (const Entry& e : m.lower) {
    const unsigned a = std::min(position[e.row], position[e.col]), c = std::max(position[e.row], position[e.col]);
    reach[a] = std::max(reach[a], c);
  }
  BandSystem band;
  band.rows.resize(n);
  std::vector<std::size_t> offset(std::size_t(n) + 1, 0);
  for (unsigned i = 0; i < n; ++i) {
    if (i > 0)
      reach[i] = std::max(reach[i], reach[i - 1]);
    band.rows[i].count = reach[i] - i + 1;
    offset[i + 1] = offset[i] + band.rows[i].count;
  }
  band.values.assign(offset[n], 0.0);
  for (unsigned i = 0; i < n; ++i)
    band.rows[i].values = band.values.data() + offset[i];
  for (const Entry& e : m.lower) {
    const unsigned a = std::min(position[e.row], position[e.col]), c = std::max(position[e.row], position[e.col]);
    band.rows[a].values[c - a] = e.value;
  }
  return band;
}

} // namespace zeltool
