#include "zeltools/numerics/renumber.h"

#include <numeric>
#include <random>

#include "support/failing_allocations.h"
#include "test_matrices.h"
#include "support/test_support.h"

namespace zel {
namespace {

using test::Graph;
using test::GraphOf;
using test::ThrownText;

std::vector<unsigned> Shuffled(unsigned n, std::mt19937_64& rng) {
  std::vector<unsigned> label(n);
  std::iota(label.begin(), label.end(), 0u);
  std::shuffle(label.begin(), label.end(), rng);
  return label;
}

// Renumbers g and checks that the numbering is a permutation with its
// inverse, that the work did not grow and that the figures are the graph's.
SRenumber Renumbered(const Graph& g) {
  const SRenumber r = RenumberBand(g.n, g.start.data(), g.adjacent.data());
  EXPECT_EQ(r.order.size(), g.n);
  EXPECT_EQ(r.position.size(), g.n);
  for (unsigned v = 0; v < g.n && r.position.size() == g.n; ++v)
    EXPECT_TRUE(r.position[v] < g.n && r.order[r.position[v]] == v) << v;
  EXPECT_LE(r.workAfter, r.workBefore);
  EXPECT_EQ(r.profileBefore, BandProfile(g.n, g.start.data(), g.adjacent.data()));
  EXPECT_EQ(r.profileAfter, BandProfile(g.n, g.start.data(), g.adjacent.data(), r.position.data()));
  EXPECT_EQ(r.workBefore, BandWork(g.n, g.start.data(), g.adjacent.data()));
  EXPECT_EQ(r.workAfter, BandWork(g.n, g.start.data(), g.adjacent.data(), r.position.data()));
  return r;
}

TEST(RenumberBand, ScrambledPathBecomesConsecutive) {
  std::mt19937_64 rng(17);
  const unsigned n = 500;
  std::vector<test::SymmetricEntry> path;
  for (unsigned i = 0; i + 1 < n; ++i)
    path.push_back({i + 1, i, 1.0});
  const SRenumber r = Renumbered(GraphOf(n, path, Shuffled(n, rng)));
  EXPECT_EQ(r.profileAfter, 2ull * n - 1);
  EXPECT_EQ(r.workAfter, n - 1ull);
}

TEST(RenumberBand, PartsIsolatedVerticesAndRepeatedEdges) {
  // Two triangles, an isolated vertex, self-references and repetitions,
  // numbered badly: the parts come out contiguous, each triangle storing
  // 3, 2 and 1 values, the lone vertex 1.
  const SRenumber r = Renumbered(GraphOf(
      7, {{4, 0, 1}, {4, 2, 1}, {2, 0, 1}, {5, 1, 1}, {6, 5, 1}, {6, 1, 1}, {3, 3, 1}, {4, 0, 1}, {0, 4, 1}}));
  EXPECT_LT(r.profileAfter, r.profileBefore);
  EXPECT_EQ(r.profileAfter, 3ull + 2 + 1 + 3 + 2 + 1 + 1);
  const unsigned zero = 0;
  const SRenumber empty = RenumberBand(0, &zero, nullptr);
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
  // Without room for its working copies: the library's exception.
  const Graph path = GraphOf(1000, std::vector<test::SymmetricEntry>(1, {999, 0, 1.0}));
  if (test::allocationsCanFail)
    EXPECT_NE(ThrownText([&] {
                const test::FailingAllocations failing(2048);
                RenumberBand(path.n, path.start.data(), path.adjacent.data());
              }), "");
}

// The profile never grows from the given numbering; from a scrambled one the
// work shrinks on every sparse matrix and comes within twice that of the
// given numbering renumbered, whatever order the sweep was handed.
TEST(RenumberBand, StiffnessMatrices) {
  std::mt19937_64 rng(99);
  int shrunk = 0;
  test::ForEachMatrix([&](const test::SymmetricMatrix& mm) {
    const SRenumber r = Renumbered(GraphOf(mm.n, mm.lower));
    const SRenumber s = Renumbered(GraphOf(mm.n, mm.lower, Shuffled(mm.n, rng)));
    shrunk += r.profileAfter < r.profileBefore;
    EXPECT_LE(r.profileAfter, r.profileBefore) << mm.name;
    if (mm.lower.size() < static_cast<unsigned long long>(mm.n) * (mm.n + 1) / 8)
      EXPECT_LT(s.workAfter, s.workBefore) << mm.name;
    EXPECT_LE(s.workAfter, 2 * r.workAfter) << mm.name;
    std::printf("  %-18s profile given %9llu renumbered %9llu, work %.3g -> %.3g (scrambled %.3g -> %.3g)\n",
                mm.name.c_str(), r.profileBefore, r.profileAfter, double(r.workBefore), double(r.workAfter),
                double(s.workBefore), double(s.workAfter));
  });
  EXPECT_GE(shrunk, 8);
}

} // namespace
} // namespace zel
