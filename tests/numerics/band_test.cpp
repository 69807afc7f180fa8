#include "zeltools/numerics/band.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include "test_matrices.h"
#include "support/failing_allocations.h"
#include "support/test_support.h"
#include "zeltools/numerics/dense.h"
#include "zeltools/numerics/internal/band_blocked.h"
#include "zeltools/numerics/internal/band_plain.h"
#include "zeltools/numerics/internal/simd_level.h"
#include "zeltools/numerics/renumber.h"
#include "zeltools/numerics/threads.h"

ZEL_TEST_FAILING_OPERATOR_NEW()

namespace zel {
namespace {

using numerics::SimdLevel;
using test::BitIdentical;
using test::ThrownText;

// Storage and row records of a band matrix; the records point into `values`,
// a copy's into its own.
struct BandMatrix {
  std::vector<double> values;
  std::vector<GAUSS_TAPE> rows;

  BandMatrix() = default;
  BandMatrix(const BandMatrix& other) : values(other.values), rows(other.rows) {
    for (std::size_t i = 0; i < rows.size(); ++i)
      rows[i].values = values.data() + (other.rows[i].values - other.values.data());
  }
  BandMatrix& operator=(const BandMatrix&) = delete;
};

// Rows whose counts follow the running reach (the packed entry point's rule)
// for a matrix given by its lower-triangle entries, renumbered by `position`
// (empty: as given).
BandMatrix BandFromEntries(unsigned n, const std::vector<test::SymmetricEntry>& lower,
                           const std::vector<unsigned>& position = {}) {
  auto span = [&](const test::SymmetricEntry& e) {
    const unsigned a = position.empty() ? e.row : position[e.row], b = position.empty() ? e.col : position[e.col];
    return std::make_pair(std::min(a, b), std::max(a, b));
  };
  std::vector<unsigned> reach(n);
  for (unsigned i = 0; i < n; ++i)
    reach[i] = i;
  for (const auto& e : lower)
    reach[span(e).first] = std::max(reach[span(e).first], span(e).second);
  BandMatrix m;
  m.rows.resize(n);
  std::vector<std::size_t> offset(n + 1, 0);
  for (unsigned i = 0; i < n; ++i) {
    reach[i] = std::max(reach[i], i > 0 ? reach[i - 1] : 0u);
    m.rows[i].count = reach[i] - i + 1;
    offset[i + 1] = offset[i] + m.rows[i].count;
  }
  m.values.assign(offset[n], 0.0);
  for (unsigned i = 0; i < n; ++i)
    m.rows[i].values = m.values.data() + offset[i];
  for (const auto& e : lower)
    m.rows[span(e).first].values[span(e).second - span(e).first] = e.value;
  return m;
}

// Runs `check(level)` with every kernel level this processor has forced.
template <class Check>
void AtEveryLevel(Check check) {
  for (SimdLevel level : {SimdLevel::Plain, SimdLevel::Generic, SimdLevel::Avx2, SimdLevel::Avx512})
    if (level <= numerics::DetectedSimdLevel()) {
      numerics::ForceSimdLevel(level);
      check(level);
    }
  numerics::ResetSimdLevel();
}

// The elimination written from its steps: a flag per element of the pivot
// row, set for the non-zero ones, which are divided by the pivot; every
// flagged pair (k, l) updates row i+k. Rows from `stop` on are not
// processed; returns false where the solver throws "Null diagonal".
bool ReferenceFactor(std::vector<GAUSS_TAPE>& rows, std::size_t stop = ~std::size_t{0}) {
  const std::size_t n = rows.size();
  std::vector<unsigned char> flag(n + 1, 0);
  for (std::size_t i = 0; i < n && i < stop; ++i) {
    double* v = rows[i].values;
    const double d = v[0];
    if (d == 0.0)
      return false;
    for (unsigned k = 1; k < rows[i].count; ++k)
      if ((flag[k] = v[k] != 0.0))
        v[k] = v[k] / d;
    for (unsigned k = 1; k < rows[i].count; ++k)
      for (unsigned l = k; l < rows[i].count && flag[k]; ++l)
        if (flag[l])
          rows[i + k].values[l - k] = rows[i + k].values[l - k] - v[l] * (v[k] * d);
  }
  return stop < n || n == 0 || rows[n - 1].values[0] != 0.0;
}

void ReferenceSolve(const std::vector<GAUSS_TAPE>& rows, double* b) {
  const std::size_t n = rows.size();
  for (std::size_t i = 0; i < n; ++i) {
    const double x = b[i];
    if (x == 0.0)
      continue;
    for (unsigned k = 1; k < rows[i].count; ++k)
      b[i + k] = b[i + k] - rows[i].values[k] * x;
    b[i] = x / rows[i].values[0];
  }
  for (std::size_t r = n > 0 ? n - 1 : 0; r-- > 0;)
    for (unsigned k = 1; k < rows[r].count; ++k)
      b[r] = b[r] - rows[r].values[k] * b[r + k];
}

// A random band matrix obeying the envelope rule: reaches never decrease,
// zeros inside the rows, and now and then elements that test the flag rule
// (negative zeros, elements whose quotient underflows to zero under a huge
// pivot).
BandMatrix RandomBand(std::mt19937_64& rng, unsigned n, unsigned width, double zeroShare) {
  std::uniform_real_distribution<double> unit(0.0, 1.0), value(-1.0, 1.0);
  std::vector<test::SymmetricEntry> lower;
  for (unsigned i = 0, reach = 0; i < n; ++i) {
    // Now and then a row that reaches nothing of its own.
    const unsigned own = unit(rng) < 0.05 ? i : i + static_cast<unsigned>(unit(rng) * (width + 1));
    reach = std::max(reach, std::min(own, n - 1));
    lower.push_back({i, i, unit(rng) < 0.05 ? 1e20 : 4.0 + width * (1.0 + unit(rng))});
    for (unsigned j = i + 1; j <= reach; ++j) {
      const double u = unit(rng), x = value(rng);
      if (j == reach || u >= zeroShare) // the last one keeps the reach
        lower.push_back({j, i, u > 0.995 ? -0.0 : u > 0.99 ? std::copysign(1e-310, x) : x});
    }
  }
  return BandFromEntries(n, lower);
}

// The factorisation at every kernel level and panel height, and the solution
// through every entry point (the packed triangle included), against the
// steps; the last trials have bands wide enough, and right-hand sides
// enough, to be shared among 1, 2, 3 and 8 threads.
TEST(BandSolve, EveryKernelThreadCountAndEntryPointMatchesTheSteps) {
  std::mt19937_64 rng(2024);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (int trial = 0; trial < 64; ++trial) {
    const bool wide = trial >= 60;
    const unsigned n = wide ? 333 + 367 * (trial % 2) : 1 + static_cast<unsigned>(rng() % 140);
    // Right-hand sides alone, in one group of lanes, and in groups on threads.
    const unsigned width = wide ? 260 : static_cast<unsigned>(rng() % 70),
                   m = wide ? 3 + 8 * (trial % 2) : std::vector<unsigned>{1, 2, 3, 9}[trial % 4];
    const BandMatrix original = RandomBand(rng, n, width, (trial % 3) * 0.3);
    // Zero components are skipped, whatever their sign; the second
    // right-hand side has nothing else, so any operation on one shows.
    std::vector<double> b(std::size_t(n) * m);
    for (std::size_t k = 0; k < b.size(); ++k)
      b[k] = k / n == 1 || rng() % 4 == 0 ? (rng() % 2 ? 0.0 : -0.0) : value(rng);
    BandMatrix expected = original;
    ASSERT_TRUE(ReferenceFactor(expected.rows));
    std::vector<double> xb = b;
    for (unsigned r = 0; r < m; ++r)
      ReferenceSolve(expected.rows, xb.data() + std::size_t(r) * n);
    AtEveryLevel([&](SimdLevel level) {
      const unsigned threads = std::vector<unsigned>{1, 2, 3, 8}[trial % 4];
      const std::string where = "n=" + std::to_string(n) + " width=" + std::to_string(width) +
                                " level=" + std::to_string(int(level)) + " threads=" + std::to_string(threads);
      for (std::size_t panel : {1u, 3u, 8u, 13u, 32u}) {
        if (wide)
          break;
        BandMatrix f = original;
        if (level == SimdLevel::Plain)
          numerics::BandFactorPlain(n, f.rows.data());
        else
          numerics::BandFactorBlocked(n, f.rows.data(), level, panel);
        EXPECT_TRUE(BitIdentical(f.values, expected.values)) << where << " panel=" << panel;
      }
      // Two callers at once: one of them gets the helper threads, the other
      // works alone, and both get the bits of one thread.
      SetNumThreads(threads);
      BandMatrix one = original, split = original, later = original;
      std::vector<double> b1 = b, b2 = b, b3 = b;
      std::thread other([&] { GaussTape(n, one.rows.data(), m, b1.data()); });
      GaussTape1(n, split.rows.data(), m, b2.data());
      GaussTape(n, later.rows.data(), 0, nullptr); // factorises only
      GaussTapeBack(n, later.rows.data(), m, b3.data());
      other.join();
      for (const BandMatrix* f : {&one, &split, &later})
        EXPECT_TRUE(BitIdentical(f->values, expected.values)) << where;
      for (const auto* x : {&b1, &b2, &b3})
        EXPECT_TRUE(BitIdentical(*x, xb)) << where;
      if (wide)
        return;
      // The packed triangle: rows reach as far as any row so far has a
      // non-zero (the union rule), so rows of zeros still receive fill-in.
      std::vector<double> packed(MatrElemSize(n), 0.0), bp = b;
      for (unsigned i = 0; i < n; ++i)
        std::copy_n(original.rows[i].values, original.rows[i].count, packed.begin() + IndexMatrTriang(n, i, i));
      std::vector<double> packedExpected = packed, bpExpected = b;
      std::vector<GAUSS_TAPE> rows(n);
      for (unsigned i = 0, top = 0; i < n; ++i) {
        for (unsigned j = i; j < n; ++j)
          top = packed[IndexMatrTriang(n, i, j)] != 0.0 ? std::max(top, j) : top;
        rows[i] = {std::max(top, i) - i + 1, packedExpected.data() + IndexMatrTriang(n, i, i)};
      }
      ASSERT_TRUE(ReferenceFactor(rows));
      for (unsigned r = 0; r < m; ++r)
        ReferenceSolve(rows, bpExpected.data() + std::size_t(r) * n);
      GaussTape(n, packed.data(), m, bp.data());
      EXPECT_TRUE(BitIdentical(packed, packedExpected)) << where;
      EXPECT_TRUE(BitIdentical(bp, bpExpected)) << where;
    });
  }
  SetNumThreads(0);
}

// A zero inside a row's reach keeps that row out of the row of its column
// altogether. Row 0 has a zero in column 9 and -1 in column 10; row 9's
// negative zero in column 10 must stay negative, while subtracting row 0's
// product with its zero factor there, a negative zero, would make it +0.
// Column 9 lies past the block of row 0's diagonal, where the block kernels
// of every level finish row 0.
TEST(BandFactor, ARowSkipsTheRowsOfItsZerosAtEveryLevel) {
  constexpr unsigned n = 40;
  std::vector<test::SymmetricEntry> lower{{10, 0, -1.0}, {23, 0, 1.0}, {10, 9, -0.0}};
  for (unsigned i = 0; i < n; ++i)
    lower.push_back({i, i, 4.0});
  const BandMatrix original = BandFromEntries(n, lower);
  BandMatrix expected = original;
  ASSERT_TRUE(ReferenceFactor(expected.rows));
  ASSERT_TRUE(std::signbit(expected.rows[9].values[1]));
  AtEveryLevel([&](SimdLevel level) {
    for (std::size_t panel : {8u, 16u, 32u}) {
      BandMatrix f = original;
      numerics::BandFactorBlocked(n, f.rows.data(), level == SimdLevel::Plain ? SimdLevel::Generic : level, panel);
      EXPECT_TRUE(BitIdentical(f.values, expected.values)) << "level=" << int(level) << " panel=" << panel;
    }
  });
}

// A = Uᵀ·D·U with a unit upper band U of small integers and pivots D that
// are powers of two: every step of the elimination is exact, so the pivot of
// row q comes out exactly as D_q = 0 after updates from many rows above. The
// last trials are wide enough to be shared among threads, q lying in a panel
// factorised while other threads update the rows beyond it.
TEST(BandFactor, ZeroPivotLeavesTheStateOfTheRowByRowElimination) {
  std::mt19937_64 rng(77);
  int planted = 0;
  for (int trial = 0; trial < 44; ++trial) {
    const bool wide = trial >= 40;
    const unsigned n = wide ? 500 : 20 + static_cast<unsigned>(rng() % 80);
    const unsigned q = wide ? 100 + static_cast<unsigned>(rng() % 300) : static_cast<unsigned>(rng() % n);
    const unsigned width = wide ? 240 : 12 + static_cast<unsigned>(rng() % 30);
    std::vector<std::vector<double>> u(n, std::vector<double>(n, 0.0));
    std::vector<double> d(n);
    for (unsigned i = 0; i < n; ++i) {
      u[i][i] = 1;
      d[i] = i == q ? 0.0 : std::vector<double>{1, 2, 4, 0.5, -1, -2}[rng() % 6];
      const unsigned reach = std::min(n - 1, i + static_cast<unsigned>(rng() % (width + 1)));
      for (unsigned j = i + 1; j <= reach; ++j)
        u[i][j] = static_cast<double>(static_cast<int>(rng() % 5) - 2);
    }
    std::vector<test::SymmetricEntry> lower;
    for (unsigned i = 0; i < n; ++i)
      for (unsigned j = 0; j <= i; ++j) {
        double s = 0;
        for (unsigned k = 0; k <= j; ++k)
          s += u[k][i] * d[k] * u[k][j];
        if (s != 0.0 || i == j)
          lower.push_back({i, j, s});
      }
    const BandMatrix original = BandFromEntries(n, lower);
    BandMatrix expected = original;
    ReferenceFactor(expected.rows, q);
    if (expected.rows[q].values[0] != 0.0)
      continue; // an earlier pivot was zero, or the arithmetic was not exact
    ++planted;
    SetNumThreads(wide ? 2 + trial % 2 : 1);
    AtEveryLevel([&](SimdLevel level) {
      BandMatrix m = original;
      std::vector<double> b(n, 1.0);
      EXPECT_EQ(ThrownText([&] { GaussTape(n, m.rows.data(), 1, b.data()); }), "Null diagonal");
      EXPECT_TRUE(BitIdentical(m.values, expected.values)) << "q=" << q << " level=" << int(level);
      EXPECT_EQ(b, std::vector<double>(n, 1.0)) << "right-hand side touched";
    });
  }
  EXPECT_GE(planted, 33);
  SetNumThreads(0);
}

TEST(BandSolve, RowsBreakingTheEnvelopeAreRefusedUntouched) {
  double v[6] = {4, 1, 1, 4, 4, 4}, b[3] = {1, 1, 1};
  // Row 0 reaches column 2, row 1 stores only its diagonal.
  GAUSS_TAPE rows[3] = {{3, v}, {1, v + 3}, {1, v + 4}};
  EXPECT_NE(ThrownText([&] { GaussTape(3, rows, 1, b); }), "");
  EXPECT_EQ(v[1], 1.0);
  EXPECT_EQ(b[0], 1.0);
  GAUSS_TAPE past[2] = {{3, v}, {1, v + 3}}; // reaches past the last column
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(2, past); }), "");
  EXPECT_NE(ThrownText([&] { GaussTapeBack(2, past, 1, b); }), "");
  GAUSS_TAPE empty[2] = {{1, v}, {0, v + 3}}, nullValues[1] = {{1, nullptr}};
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(2, empty); }), "");
  EXPECT_NE(ThrownText([&] { GaussTapeDirect(1, nullValues); }), "");
  GaussTape(0, nullValues, 1, b); // n = 0 does nothing
  EXPECT_EQ(b[0], 1.0);
}

// Every test matrix, renumbered: the fast factorisation equals the plain one
// bit for bit, and the solution mapped back to the original numbering solves
// the original system; so does the dense elimination on the smaller ones.
TEST(BandSolve, StiffnessMatricesRenumbered) {
  SetNumThreads(1);
  EXPECT_EQ(15, test::ForEachMatrix([](const test::SymmetricMatrix& mm) {
    const test::Graph g = test::GraphOf(mm.n, mm.lower);
    const SRenumber renumber = RenumberBand(mm.n, g.start.data(), g.adjacent.data());
    const std::vector<unsigned> position(renumber.position.begin(), renumber.position.end());
    const BandMatrix band = BandFromEntries(mm.n, mm.lower, position);
    ASSERT_EQ(band.values.size(), renumber.profileAfter) << mm.name;
    std::mt19937_64 rng(mm.n);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<double> b(mm.n), x(mm.n), solution(mm.n);
    for (unsigned v = 0; v < mm.n; ++v)
      x[position[v]] = b[v] = value(rng);
    BandMatrix fast = band;
    GaussTape(mm.n, fast.rows.data(), 1, x.data());
    for (unsigned threads : {2u, 3u, 8u}) {
      SetNumThreads(threads);
      BandMatrix shared = band;
      GaussTapeDirect(mm.n, shared.rows.data());
      EXPECT_TRUE(BitIdentical(fast.values, shared.values)) << mm.name << " threads=" << threads;
    }
    SetNumThreads(1);
    if (mm.n <= 2100) {
      numerics::ForceSimdLevel(SimdLevel::Plain);
      BandMatrix slow = band;
      GaussTapeDirect(mm.n, slow.rows.data());
      numerics::ResetSimdLevel();
      EXPECT_TRUE(BitIdentical(fast.values, slow.values)) << mm.name;
    }
    for (unsigned v = 0; v < mm.n; ++v)
      solution[v] = x[position[v]];
    const double residual = test::RelativeResidual(mm, solution, b);
    std::printf("  GaussTape %-18s n=%6u profile %9llu (given %9llu) relative residual %.1e\n", mm.name.c_str(),
                mm.n, renumber.profileAfter, renumber.profileBefore, residual);
    EXPECT_LT(residual, 1e-14) << mm.name;
    if (mm.n > 1100) // the dense form of the larger files is the band solver's job
      return;
    // The dense solutions with 8, 3, 2 and 1 threads are the same bits.
    std::vector<double> dense(std::size_t(mm.n) * mm.n, 0.0);
    for (const auto& e : mm.lower)
      dense[std::size_t(e.row) * mm.n + e.col] = dense[std::size_t(e.col) * mm.n + e.row] = e.value;
    for (unsigned threads : {8u, 3u, 2u, 1u}) {
      SetNumThreads(threads);
      std::vector<double> a = dense, y = b;
      ASSERT_EQ(Gauss(mm.n, a.data(), 1, y.data(), 0, 0.0), 1) << mm.name;
      if (threads < 8)
        EXPECT_TRUE(BitIdentical(y, solution)) << mm.name << " threads=" << threads;
      solution = y;
    }
    std::printf("  Gauss     %-18s relative residual %.1e\n", mm.name.c_str(), test::RelativeResidual(mm, solution, b));
    EXPECT_LT(test::RelativeResidual(mm, solution, b), 1e-14) << mm.name;
  }));
  SetNumThreads(0);
}

// Without room for its panels the factorisation goes row by row, to the same
// bits; without room even for that, the library's own exception says so and
// nothing has changed.
TEST(BandSolve, FailedAllocationsFallBackOrReportInTheLibrarysWords) {
  if (!test::allocationsCanFail)
    GTEST_SKIP() << "allocations cannot be made to fail in this build";
  std::mt19937_64 rng(41);
  const unsigned n = 300;
  const BandMatrix original = RandomBand(rng, n, 90, 0.2);
  BandMatrix expected = original;
  ASSERT_TRUE(ReferenceFactor(expected.rows));
  BandMatrix m = original;
  {
    const test::FailingAllocations failing(4096);
    GaussTapeDirect(n, m.rows.data());
  }
  EXPECT_TRUE(BitIdentical(m.values, expected.values));
  // Two right-hand sides without room for the copy of b or the lanes
  // (1024), with the copy but without the lanes or the panels (8192), with
  // both but without the panels (32768): the solution keeps its bits.
  std::vector<double> xb(2 * n, 1.0);
  ReferenceSolve(expected.rows, xb.data());
  ReferenceSolve(expected.rows, xb.data() + n);
  for (const std::size_t limit : {1024u, 8192u, 32768u}) {
    BandMatrix solved = original;
    std::vector<double> b(2 * n, 1.0);
    const test::FailingAllocations failing(limit);
    GaussTape(n, solved.rows.data(), 2, b.data());
    EXPECT_TRUE(BitIdentical(b, xb)) << limit;
  }
  BandMatrix refused = original;
  const test::ScopedLanguage english(1033);
  EXPECT_EQ(ThrownText([&] {
              const test::FailingAllocations failing(512);
              GaussTapeDirect(n, refused.rows.data());
            }).rfind("Unable to allocate", 0), 0u);
  EXPECT_TRUE(BitIdentical(refused.values, original.values));
  std::vector<double> packed(MatrElemSize(n), 1.0), b(n, 1.0);
  EXPECT_NE(ThrownText([&] {
              const test::FailingAllocations failing(512);
              GaussTape(n, packed.data(), 1, b.data());
            }), "");
}

// The solutions of the stiffness systems are the same bits on every system
// the library is built for: their hashes are compared with the ones recorded
// in tests/data/matrices/solution_hashes.txt (made by the Linux build). The
// right-hand sides are small integers, so nothing but the library's
// arithmetic decides the bits.
TEST(BandSolve, StiffnessSolutionsHaveTheRecordedBitsOnEverySystem) {
  std::map<std::string, std::string> recorded;
  std::ifstream list(std::string(ZEL_TEST_DATA_DIR) + "/matrices/solution_hashes.txt");
  for (std::string name, hash; list >> name >> hash;)
    recorded[name] = hash;
  EXPECT_EQ(15, test::ForEachMatrix([&](const test::SymmetricMatrix& mm) {
    const test::Graph g = test::GraphOf(mm.n, mm.lower);
    const SRenumber renumber = RenumberBand(mm.n, g.start.data(), g.adjacent.data());
    BandMatrix band = BandFromEntries(mm.n, mm.lower, {renumber.position.begin(), renumber.position.end()});
    std::vector<double> x(mm.n);
    for (unsigned v = 0; v < mm.n; ++v)
      x[v] = static_cast<double>(v % 7) - 3.0;
    GaussTape(mm.n, band.rows.data(), 1, x.data());
    std::uint64_t hash = 14695981039346656037ull; // FNV-1a over the solution's bytes
    for (const unsigned char byte : std::vector<unsigned char>(reinterpret_cast<const unsigned char*>(x.data()),
                                                                reinterpret_cast<const unsigned char*>(x.data() + mm.n)))
      hash = (hash ^ byte) * 1099511628211ull;
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash);
    const std::string name = mm.name.substr(mm.name.find_last_of("/\\") + 1);
    std::printf("%s %s\n", name.c_str(), text);
    EXPECT_EQ(recorded[name], text) << name;
  }));
}

} // namespace
} // namespace zel
