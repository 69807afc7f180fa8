#include "zeltools/numerics/renumber.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "matrix_market.h"
#include "support/test_support.h"

namespace zel {
namespace {

using test::ThrownText;

struct Graph {
  unsigned n = 0;
  std::vector<unsigned> start{0}, adjacent;
};

// A graph from an edge list, each edge listed once, under `label` (old
// vertex v becomes label[v]).
Graph FromEdges(unsigned n, const std::vector<std::pair<unsigned, unsigned>>& edges,
                const std::vector<unsigned>& label) {
  std::vector<std::vector<unsigned>> rows(n);
  for (auto [a, b] : edges)
    rows[label[a]].push_back(label[b]);
  Graph g;
  g.n = n;
  for (const auto& row : rows) {
    g.adjacent.insert(g.adjacent.end(), row.begin(), row.end());
    g.start.push_back(static_cast<unsigned>(g.adjacent.size()));
  }
  return g;
}

std::vector<unsigned> Shuffled(unsigned n, std::mt19937_64& rng) {
  std::vector<unsigned> label(n);
  std::iota(label.begin(), label.end(), 0u);
  std::shuffle(label.begin(), label.end(), rng);
  return label;
}

void ExpectConsistent(const Graph& g, const SRenumber& r) {
  ASSERT_EQ(r.order.size(), g.n);
  ASSERT_EQ(r.position.size(), g.n);
  for (unsigned v = 0; v < g.n; ++v) {
    ASSERT_LT(r.position[v], g.n);
    EXPECT_EQ(r.order[r.position[v]], v);
  }
  EXPECT_LE(r.workAfter, r.workBefore);
  EXPECT_EQ(r.profileBefore, BandProfile(g.n, g.start.data(), g.adjacent.data()));
  EXPECT_EQ(r.profileAfter, BandProfile(g.n, g.start.data(), g.adjacent.data(), r.position.data()));
  EXPECT_EQ(r.workBefore, BandWork(g.n, g.start.data(), g.adjacent.data()));
  EXPECT_EQ(r.workAfter, BandWork(g.n, g.start.data(), g.adjacent.data(), r.position.data()));
}

TEST(RenumberBand, PathAndGridLoseTheirScrambledNumbering) {
  std::mt19937_64 rng(17);
  const unsigned n = 500;
  std::vector<std::pair<unsigned, unsigned>> path;
  for (unsigned i = 0; i + 1 < n; ++i)
    path.emplace_back(i, i + 1);
  const Graph p = FromEdges(n, path, Shuffled(n, rng));
  const SRenumber rp = RenumberBand(p.n, p.start.data(), p.adjacent.data());
  ExpectConsistent(p, rp);
  EXPECT_EQ(rp.profileAfter, 2ull * n - 1); // consecutive numbering, the optimum
  EXPECT_EQ(rp.workAfter, n - 1ull);

  // A 30×40 grid of 8-connected nodes: numbering along the short side gives
  // rows of about 32 values; from a random start the sweep must come within a
  // quarter of its profile and twice its work (its fronts are L-shaped).
  const unsigned nx = 30, ny = 40, m = nx * ny;
  std::vector<std::pair<unsigned, unsigned>> grid;
  for (unsigned y = 0; y < ny; ++y)
    for (unsigned x = 0; x < nx; ++x) {
      const unsigned v = y * nx + x;
      if (x + 1 < nx)
        grid.emplace_back(v, v + 1);
      if (y + 1 < ny) {
        grid.emplace_back(v, v + nx);
        if (x + 1 < nx)
          grid.emplace_back(v, v + nx + 1);
        if (x > 0)
          grid.emplace_back(v, v + nx - 1);
      }
    }
  std::vector<unsigned> natural(m);
  std::iota(natural.begin(), natural.end(), 0u);
  const Graph ordered = FromEdges(m, grid, natural);
  const unsigned long long good = BandProfile(ordered.n, ordered.start.data(), ordered.adjacent.data());
  const unsigned long long goodWork = BandWork(ordered.n, ordered.start.data(), ordered.adjacent.data());
  const Graph scrambled = FromEdges(m, grid, Shuffled(m, rng));
  const SRenumber rg = RenumberBand(scrambled.n, scrambled.start.data(), scrambled.adjacent.data());
  ExpectConsistent(scrambled, rg);
  EXPECT_GT(rg.profileBefore, 10 * good);
  EXPECT_LE(rg.profileAfter, good + good / 4);
  EXPECT_LE(rg.workAfter, 2 * goodWork);
}

TEST(RenumberBand, PartsIsolatedVerticesAndRepeatedEdges) {
  // Two triangles, an isolated vertex, self-references and repetitions,
  // numbered badly: the parts come out contiguous.
  const std::vector<std::pair<unsigned, unsigned>> edges = {{0, 4}, {4, 2}, {2, 0}, {1, 5}, {5, 6},
                                                             {6, 1}, {3, 3}, {0, 4}, {4, 0}};
  std::vector<unsigned> label(7);
  std::iota(label.begin(), label.end(), 0u);
  const Graph g = FromEdges(7, edges, label);
  const SRenumber r = RenumberBand(g.n, g.start.data(), g.adjacent.data());
  ExpectConsistent(g, r);
  EXPECT_LT(r.profileAfter, r.profileBefore);
  EXPECT_EQ(r.profileAfter, 3ull + 2 + 1 + 3 + 2 + 1 + 1); // each triangle 3, 2, 1 values; the lone vertex 1
  const SRenumber empty = RenumberBand(0, g.start.data(), nullptr);
  EXPECT_TRUE(empty.order.empty());
  EXPECT_EQ(empty.profileAfter, 0u);
}

TEST(RenumberBand, BadGraphsAreRefused) {
  const unsigned start[3] = {0, 1, 2}, adjacent[2] = {1, 2};
  EXPECT_NE(ThrownText([&] { RenumberBand(2, start, adjacent); }), "");
  EXPECT_NE(ThrownText([&] { BandProfile(2, start, adjacent); }), "");
  EXPECT_NE(ThrownText([&] { BandWork(2, start, adjacent); }), "");
  const unsigned backwards[3] = {0, 2, 1}, fine[2] = {1, 0};
  EXPECT_NE(ThrownText([&] { RenumberBand(2, backwards, fine); }), "");
  const unsigned ok[3] = {0, 1, 1}, badPosition[2] = {0, 2};
  EXPECT_NE(ThrownText([&] { BandProfile(2, ok, fine, badPosition); }), "");
}

TEST(RenumberBand, StiffnessMatrices) {
  std::mt19937_64 rng(99);
  int shrunk = 0;
  for (const std::string& path : test::MatrixFiles()) {
    test::SymmetricMatrix mm;
    ASSERT_TRUE(test::ReadSymmetricMatrix(path, mm)) << path;
    std::vector<std::pair<unsigned, unsigned>> edges;
    for (const auto& e : mm.lower)
      edges.emplace_back(e.col, e.row);
    std::vector<unsigned> natural(mm.n);
    std::iota(natural.begin(), natural.end(), 0u);
    const Graph given = FromEdges(mm.n, edges, natural);
    const SRenumber r = RenumberBand(given.n, given.start.data(), given.adjacent.data());
    ExpectConsistent(given, r);
    shrunk += r.profileAfter < r.profileBefore;
    EXPECT_LE(r.profileAfter, r.profileBefore) << mm.name;
    // From a scrambled numbering every sparse matrix must shrink.
    const Graph scrambled = FromEdges(mm.n, edges, Shuffled(mm.n, rng));
    const SRenumber s = RenumberBand(scrambled.n, scrambled.start.data(), scrambled.adjacent.data());
    ExpectConsistent(scrambled, s);
    const unsigned long long dense = static_cast<unsigned long long>(mm.n) * (mm.n + 1) / 2;
    if (mm.lower.size() < dense / 4)
      EXPECT_LT(s.workAfter, s.workBefore) << mm.name;
    std::printf("  %-18s profile given %9llu renumbered %9llu, work %.3g -> %.3g (scrambled %.3g -> %.3g)\n",
                mm.name.c_str(), r.profileBefore, r.profileAfter, double(r.workBefore), double(r.workAfter),
                double(s.workBefore), double(s.workAfter));
  }
  EXPECT_GE(shrunk, 8);
}

} // namespace
} // namespace zel
