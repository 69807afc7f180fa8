#pragma once
// Shared by the numerics tests: the symmetric Matrix Market files of the
// repository's test data (tests/data/matrices), read by zeltool's reader (the
// repository's one), their graphs and residuals, and bit-for-bit comparison
// of results.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "matrix_market.h" // zeltool's reader

namespace zel::test {

using SymmetricEntry = zeltool::Entry;

/// A matrix of the test data and its file name (without folders).
struct SymmetricMatrix : zeltool::SymmetricMatrix {
  std::string name;
};

/// Reads every matrix of the test data folder, in name order, hands it to
/// `use` and returns how many there were; a file that cannot be read throws.
template <class Use>
int ForEachMatrix(Use use) {
  std::vector<std::string> files;
  for (const auto& e : std::filesystem::directory_iterator(std::string(ZEL_TEST_DATA_DIR) + "/matrices"))
    if (e.path().filename().string().find(".mtx") != std::string::npos)
      files.push_back(e.path().string());
  std::sort(files.begin(), files.end());
  for (const std::string& path : files) {
    SymmetricMatrix m;
    m.name = path.substr(path.find_last_of('/') + 1);
    static_cast<zeltool::SymmetricMatrix&>(m) = zeltool::ReadSymmetricMatrix(zeltool::ReadFileBytes(path), m.name);
    use(m);
  }
  return static_cast<int>(files.size());
}

/// A graph in compressed rows, each edge listed once.
struct Graph {
  unsigned n = 0;
  std::vector<unsigned> start{0}, adjacent;
};

/// The graph of the entries' (row, column) pairs with vertex v numbered
/// label[v] (empty: as given).
inline Graph GraphOf(unsigned n, const std::vector<SymmetricEntry>& entries, const std::vector<unsigned>& label = {}) {
  std::vector<std::vector<unsigned>> rows(n);
  for (const auto& e : entries)
    rows[label.empty() ? e.col : label[e.col]].push_back(label.empty() ? e.row : label[e.row]);
  Graph g;
  g.n = n;
  for (const auto& row : rows) {
    g.adjacent.insert(g.adjacent.end(), row.begin(), row.end());
    g.start.push_back(static_cast<unsigned>(g.adjacent.size()));
  }
  return g;
}

/// Relative residual |A·x − b|∞ / (|A|∞·|x|∞ + |b|∞) of the symmetric system.
inline double RelativeResidual(const SymmetricMatrix& m, const std::vector<double>& x, const std::vector<double>& b) {
  std::vector<double> r(m.n, 0.0), rowSum(m.n, 0.0);
  for (const auto& e : m.lower)
    for (int side = 0; side < (e.row != e.col ? 2 : 1); ++side) {
      const unsigned i = side ? e.col : e.row, j = side ? e.row : e.col;
      r[i] += e.value * x[j];
      rowSum[i] += std::fabs(e.value);
    }
  double res = 0, norm = 0, xn = 0, bn = 0;
  for (unsigned i = 0; i < m.n; ++i) {
    res = std::max(res, std::fabs(r[i] - b[i]));
    norm = std::max(norm, rowSum[i]);
    xn = std::max(xn, std::fabs(x[i]));
    bn = std::max(bn, std::fabs(b[i]));
  }
  return res / (norm * xn + bn);
}

/// Element-wise bit identity (of the 10 value bytes only for the x87
/// `long double`, whose remaining bytes are padding).
template <class T>
::testing::AssertionResult BitIdentical(const std::vector<T>& x, const std::vector<T>& y) {
  const std::size_t bytes = sizeof(T) == 16 ? 10 : sizeof(T);
  if (x.size() != y.size())
    return ::testing::AssertionFailure() << "sizes " << x.size() << " and " << y.size();
  for (std::size_t i = 0; i < x.size(); ++i)
    if (std::memcmp(&x[i], &y[i], bytes) != 0)
      return ::testing::AssertionFailure() << "element " << i << ": " << x[i] << " vs " << y[i];
  return ::testing::AssertionSuccess();
}

} // namespace zel::test
