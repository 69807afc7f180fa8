#include "zeltools/geometry/point_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

double Z(const CPoint2D&) { return 0.0; }
double Z(const CPoint3D& p) { return p.z; }

template <class Points>
class PointVectors : public ::testing::Test {
protected:
  using Point = typename Points::value_type;
  using Index = std::conditional_t<std::is_same_v<Points, VPoint2D>, CPointIndex2D, CPointIndex3D>;

  static Point Make(double x, double y, double z = 0) {
    if constexpr (std::is_same_v<Point, CPoint2D>)
      return {x, y};
    else
      return {x, y, z};
  }

  // The brute-force reference: the lowest position of a point within tol;
  // points with a non-finite coordinate coincide with nothing.
  static unsigned Scan(const std::vector<Point>& v, const Point& p, double tol) {
    const auto close = [tol](double a, double b) {
      return std::isfinite(a) && std::isfinite(b) && std::fabs(a - b) <= tol;
    };
    for (std::size_t i = 0; i < v.size(); ++i)
      if (close(v[i].x, p.x) && close(v[i].y, p.y) && close(Z(v[i]), Z(p)))
        return static_cast<unsigned>(i + 1);
    return 0;
  }

  // Nodes of a structure: grid positions with jitter, mostly within tol of a
  // grid node and some just outside, so that searches hit, miss and straddle
  // cell borders.
  static Point Node(std::mt19937_64& rng, double tol, double spacing, int span) {
    std::uniform_int_distribution<int> cell(-span, span);
    std::uniform_real_distribution<double> jitter(-1.0, 1.0);
    const double reach = std::uniform_int_distribution<int>(0, 3)(rng) == 0 ? 1.5 * tol : 0.6 * tol;
    const double x = cell(rng) * spacing + reach * jitter(rng), y = cell(rng) * spacing + reach * jitter(rng);
    return Make(x, y, cell(rng) * spacing + reach * jitter(rng));
  }

  // The index and the batch search against the scan; Add one by one into an
  // empty vector (with and without an index) and Merge against a scanned
  // model of that. `found` counts the queries that hit.
  static void CheckAgainstScan(const Points& v, const std::vector<Point>& queries, double tol, int& found) {
    const std::vector<Point> plain(v.begin(), v.end());
    Points merged = v, added, slow;
    Index index(merged, tol), adder(added, tol);
    std::vector<unsigned> batch, map, expectedMap;
    std::vector<Point> model;
    v.Find(static_cast<unsigned>(queries.size()), queries.data(), tol, batch);
    ASSERT_EQ(batch.size(), queries.size());
    found = 0;
    for (std::size_t q = 0; q < queries.size(); ++q) {
      const unsigned expected = Scan(plain, queries[q], tol);
      ASSERT_TRUE(index.Find(queries[q]) == expected && batch[q] == expected) << tol << ' ' << q;
      found += expected != 0;
    }
    for (const Point& p : plain) {
      unsigned position = Scan(model, p, tol);
      if (position == 0) {
        model.push_back(p);
        position = static_cast<unsigned>(model.size());
      }
      expectedMap.push_back(position);
      ASSERT_TRUE(adder.Add(p) == position && (plain.size() > 2000 || slow.Add(p, tol) == position)) << tol;
    }
    ASSERT_EQ(merged.Merge(tol, map), model.size()) << tol;
    ASSERT_EQ(map, expectedMap) << tol;
    ASSERT_EQ(std::memcmp(merged.data(), model.data(), model.size() * sizeof(Point)), 0); // NaNs and -0 too
  }
};

using PointTypes = ::testing::Types<VPoint2D, VPoint3D>;
TYPED_TEST_SUITE(PointVectors, PointTypes);

TYPED_TEST(PointVectors, SearchesAndMergeAgainstBruteForce) {
  std::mt19937_64 rng(50);
  int found = 0;
  for (const double tol : {1e-3, 0.25, 0.0}) {
    const double reach = tol == 0 ? 1e-3 : tol;
    TypeParam v;
    std::vector<typename TestFixture::Point> queries;
    for (int i = 0; i < 4000; ++i)
      v.push_back(this->Node(rng, reach, 1.0, 8));
    for (int i = 0; i < 200; ++i) // exact duplicates, for the zero tolerance
      v.push_back(v[static_cast<std::size_t>(i) * 7]);
    v.push_back(this->Make(std::nan(""), 0, 0));
    for (int q = 0; q < 1500; ++q) // stored points, new nodes, and misses half way between nodes
      queries.push_back(q % 3 == 0   ? v[static_cast<std::size_t>(q)]
                        : q % 3 == 1 ? this->Node(rng, reach, 1.0, 8)
                                     : this->Node(rng, reach, 1.0, 8) + this->Make(0.5, 0.5, 0.5));
    this->CheckAgainstScan(v, queries, tol, found);
    EXPECT_TRUE(found >= (tol > 0 ? 600 : 500) && found <= (tol < 0.01 ? 1000 : 1500)) << found;
  }
  // Coordinates near the limits of double, tiny, huge and invalid tolerances.
  const double values[] = {0.0, -0.0, 1e-300, -1e-300, 1.0, 1.0 + 1e-15, 1e300, -1e300, 1.7e308, -1.7e308,
                           4.9e-324, HUGE_VAL, std::nan("")};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(values) - 1);
  for (const double tol : {0.0, 4.9e-324, 1e-300, 1e-15, 1.0, 1e300, 1.7e308, HUGE_VAL, -1.0, std::nan("")}) {
    TypeParam v;
    std::vector<typename TestFixture::Point> queries;
    for (int i = 0; i < 600; ++i)
      (i % 2 ? v : queries).push_back(this->Make(values[pick(rng)], values[pick(rng)], values[pick(rng)]));
    this->CheckAgainstScan(v, queries, tol, found);
  }
}

// Points and queries on cell borders (cells are eight tolerances wide) and at
// the rounding edges of the tolerance: a coordinate within two ulps of
// v - tol or v + tol, or a hair beyond a border, where the index's cell range
// and the comparison's own rounding could disagree.
TYPED_TEST(PointVectors, SearchesAtTheRoundingEdgesOfTheToleranceAgreeWithTheScan) {
  std::mt19937_64 rng(70);
  int found = 0;
  for (const double tol : {0.125, 0.1, 3.0, 1e-3}) {
    std::vector<double> edges;
    for (int k = -2; k <= 2; ++k)
      for (const double d : {0.0, tol, -tol, 2 * tol, -2 * tol}) {
        const double e = k * 8 * tol + d;
        edges.insert(edges.end(), {e - 1e-20 * tol, e + 1e-20 * tol, std::nextafter(e, -HUGE_VAL),
                                   std::nextafter(e, HUGE_VAL), e});
        edges.insert(edges.end(), {std::nextafter(edges.end()[-3], -HUGE_VAL), std::nextafter(edges.end()[-2], HUGE_VAL)});
      }
    std::uniform_int_distribution<std::size_t> pick(0, edges.size() - 1);
    const auto edge = [&] { return edges[pick(rng)]; };
    TypeParam v;
    std::vector<typename TestFixture::Point> queries;
    for (int i = 0; i < 3000; ++i)
      (i % 2 ? v : queries).push_back(i % 3 ? this->Make(edge(), edge(), edge()) : this->Make(edge(), 0, 0));
    this->CheckAgainstScan(v, queries, tol, found);
  }
}

TYPED_TEST(PointVectors, IndexFollowsTheVector) {
  TypeParam v;
  typename TestFixture::Index index(v, 0.01);
  EXPECT_EQ(index.Find(this->Make(0, 0)), 0u);
  v.push_back(this->Make(1e-3, 2e-3, 3e-3)); // appended behind the index's back
  v.push_back(this->Make(5, 5, 5));
  EXPECT_EQ(index.Find(this->Make(1e-3, 2e-3, 3e-3)), 1u);
  v.push_back(this->Make(3e9, -4e9, 1e9)); // far beyond the first points: indexed anew
  EXPECT_TRUE(index.Find(this->Make(3e9 + 0.005, -4e9, 1e9)) == 3 && index.Add(this->Make(1e15, 1, 1)) == 4);
  EXPECT_TRUE(index.Find(this->Make(1e15, 1, 1)) == 4 && index.Find(this->Make(5, 5, 5)) == 2);
  v.resize(1); // shorter: indexed anew
  EXPECT_EQ(index.Find(this->Make(5, 5, 5)), 0u);
  v.push_back(this->Make(7, 7, 7));
  EXPECT_EQ(index.Find(this->Make(7, 7, 7)), 2u);
  v[1] = this->Make(8, 8, 8); // edited in place: Reindex
  index.Reindex();
  typename TestFixture::Index moved(std::move(index));
  EXPECT_TRUE(moved.Find(this->Make(7, 7, 7)) == 0 && moved.Find(this->Make(8, 8, 8)) == 2);
  // The box ignores NaN coordinates; an empty vector has none.
  typename TestFixture::Point lo, hi;
  v.push_back(this->Make(std::nan(""), -7, 1));
  EXPECT_TRUE(v.GetBox(lo, hi) == 1 && lo.x == 1e-3 && hi.x == 8 && lo.y == -7 && hi.y == 8);
  EXPECT_TRUE(TypeParam().GetBox(lo, hi) == 0 && lo == hi && hi == typename TestFixture::Point());
}

TEST(PointVectorsInTheGenericVector, KeptOrderSeesAllPointsAsEquivalent) {
  // operator< is always false: a sort keeps every point, and compaction
  // merges only equal neighbours.
  VPoint2D v;
  for (int i = 0; i < 200; ++i)
    v.Append(CPoint2D((i * 37) % 11, (i * 17) % 5));
  const std::vector<CPoint2D> before(v.begin(), v.end());
  v.Sort(false);
  EXPECT_TRUE(std::is_permutation(v.begin(), v.end(), before.begin(), before.end()));
  v.Sort(true); // compaction merges equal neighbours only: every point stays
  EXPECT_TRUE(std::all_of(before.begin(), before.end(), [&](const CPoint2D& p) { return v.Exist(p) != 0; }));
}

} // namespace
} // namespace zel
