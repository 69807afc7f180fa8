#include "zeltools/geometry/point_vectors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

struct Plane {
  using Points = VPoint2D;
  using Index = CPointIndex2D;
  static CPoint2D Make(double x, double y, double /*z*/) { return {x, y}; }
  static std::array<double, 3> Axes(const CPoint2D& p) { return {p.x, p.y, 0.0}; }
};

struct Space {
  using Points = VPoint3D;
  using Index = CPointIndex3D;
  static CPoint3D Make(double x, double y, double z) { return {x, y, z}; }
  static std::array<double, 3> Axes(const CPoint3D& p) { return {p.x, p.y, p.z}; }
};

template <class Dim>
class PointVectors : public ::testing::Test {
protected:
  using Points = typename Dim::Points;
  using Point = typename Points::value_type;
  using Index = typename Dim::Index;

  static Point Make(double x, double y, double z = 0) { return Dim::Make(x, y, z); }

  // The brute-force reference: the lowest position of a point within tol.
  // Points with a non-finite coordinate coincide with nothing.
  static unsigned Scan(const std::vector<Point>& v, const Point& p, double tol) {
    const auto near = [tol](double a, double b) { return std::isfinite(a) && std::isfinite(b) && std::fabs(a - b) <= tol; };
    for (std::size_t i = 0; i < v.size(); ++i) {
      const auto a = Dim::Axes(v[i]), b = Dim::Axes(p);
      if (near(a[0], b[0]) && near(a[1], b[1]) && near(a[2], b[2]))
        return static_cast<unsigned>(i + 1);
    }
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

  // The index, the batch search and Merge against the scan: Merge must be Add
  // one by one into an empty vector. Returns the number of queries that hit.
  static void CheckAgainstScan(const Points& v, const std::vector<Point>& queries, double tol, int& found) {
    const std::vector<Point> plain(v.begin(), v.end());
    Points merged = v;
    Index index(merged, tol);
    std::vector<unsigned> batch, map, expectedMap;
    v.Find(static_cast<unsigned>(queries.size()), queries.data(), tol, batch);
    ASSERT_EQ(batch.size(), queries.size());
    found = 0;
    for (std::size_t q = 0; q < queries.size(); ++q) {
      const unsigned expected = Scan(plain, queries[q], tol);
      ASSERT_EQ(index.Find(queries[q]), expected) << tol << ' ' << q;
      ASSERT_EQ(batch[q], expected) << tol << ' ' << q;
      found += expected != 0;
    }
    std::vector<Point> model;
    for (const Point& p : plain) {
      unsigned position = Scan(model, p, tol);
      if (position == 0) {
        model.push_back(p);
        position = static_cast<unsigned>(model.size());
      }
      expectedMap.push_back(position);
    }
    ASSERT_EQ(merged.Merge(tol, map), model.size()) << tol;
    ASSERT_EQ(map, expectedMap) << tol;
    for (std::size_t i = 0; i < model.size(); ++i)
      ASSERT_EQ(std::memcmp(&merged[i], &model[i], sizeof(Point)), 0) << i; // NaNs and -0 too
  }
};

using Dimensions = ::testing::Types<Plane, Space>;
TYPED_TEST_SUITE(PointVectors, Dimensions);

TYPED_TEST(PointVectors, SearchesAndMergeAgainstBruteForce) {
  std::mt19937_64 rng(50);
  for (const double tol : {1e-3, 0.25, 0.0}) {
    const double reach = tol == 0 ? 1e-3 : tol;
    typename TestFixture::Points v;
    for (int i = 0; i < 4000; ++i)
      v.push_back(this->Node(rng, reach, 1.0, 8));
    for (int i = 0; i < 200; ++i) // exact duplicates, for the zero tolerance
      v.push_back(v[static_cast<std::size_t>(i) * 7]);
    v.push_back(this->Make(std::nan(""), 0, 0));
    std::vector<typename TestFixture::Point> queries;
    for (int q = 0; q < 1500; ++q) // stored points, new nodes, and misses half way between nodes
      queries.push_back(q % 3 == 0   ? v[static_cast<std::size_t>(q)]
                        : q % 3 == 1 ? this->Node(rng, reach, 1.0, 8)
                                     : this->Node(rng, reach, 1.0, 8) + this->Make(0.5, 0.5, 0.5));
    int found = 0;
    this->CheckAgainstScan(v, queries, tol, found);
    EXPECT_GE(found, tol > 0 ? 600 : 500);
    EXPECT_LE(found, tol < 0.01 ? 1000 : 1500);
  }
}

TYPED_TEST(PointVectors, ExtremeCoordinatesAndTolerancesAgainstBruteForce) {
  std::mt19937_64 rng(52);
  const double values[] = {0.0, -0.0, 1e-300, -1e-300, 1.0, 1.0 + 1e-15, 1e300, -1e300, 1.7e308, -1.7e308,
                           4.9e-324, HUGE_VAL, std::nan("")};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(values) - 1);
  const auto draw = [&] { return this->Make(values[pick(rng)], values[pick(rng)], values[pick(rng)]); };
  for (const double tol : {0.0, -0.0, 4.9e-324, 1e-300, 1e-15, 1.0, 1e300, 1.7e308, HUGE_VAL, -1.0, std::nan("")}) {
    typename TestFixture::Points v;
    std::vector<typename TestFixture::Point> queries;
    for (int i = 0; i < 300; ++i) {
      v.push_back(draw());
      queries.push_back(draw());
    }
    int found = 0;
    this->CheckAgainstScan(v, queries, tol, found);
  }
}

TYPED_TEST(PointVectors, AddThroughTheIndexAgainstAModel) {
  std::mt19937_64 rng(51);
  const double tol = 0.05;
  typename TestFixture::Points v, slow;
  std::vector<typename TestFixture::Point> model;
  typename TestFixture::Index index(v, tol);
  for (int i = 0; i < 6000; ++i) {
    const auto p = this->Node(rng, tol, 0.2, 20);
    if (this->Scan(model, p, tol) == 0)
      model.push_back(p);
    const unsigned expected = this->Scan(model, p, tol);
    ASSERT_EQ(index.Add(p), expected);
    if (i < 1500)
      ASSERT_EQ(slow.Add(p, tol), expected);
  }
  ASSERT_TRUE(std::equal(v.begin(), v.end(), model.begin(), model.end()));
}

TYPED_TEST(PointVectors, IndexFollowsTheVector) {
  typename TestFixture::Points v;
  typename TestFixture::Index index(v, 0.01);
  EXPECT_EQ(index.Find(this->Make(0, 0)), 0u);
  v.push_back(this->Make(1e-3, 2e-3, 3e-3)); // appended behind the index's back
  v.push_back(this->Make(5, 5, 5));
  EXPECT_EQ(index.Find(this->Make(1e-3, 2e-3, 3e-3)), 1u);
  v.push_back(this->Make(3e9, -4e9, 1e9)); // far beyond the first points: indexed anew
  EXPECT_EQ(index.Find(this->Make(3e9 + 0.005, -4e9, 1e9)), 3u);
  EXPECT_EQ(index.Add(this->Make(1e15, 1, 1)), 4u);
  EXPECT_EQ(index.Find(this->Make(1e15, 1, 1)), 4u);
  EXPECT_EQ(index.Find(this->Make(5, 5, 5)), 2u);
  v.resize(1); // shorter: indexed anew
  EXPECT_EQ(index.Find(this->Make(5, 5, 5)), 0u);
  v.push_back(this->Make(7, 7, 7));
  EXPECT_EQ(index.Find(this->Make(7, 7, 7)), 2u);
  v[1] = this->Make(8, 8, 8); // edited in place: Reindex
  index.Reindex();
  EXPECT_EQ(index.Find(this->Make(7, 7, 7)), 0u);
  typename TestFixture::Index moved(std::move(index));
  EXPECT_EQ(moved.Find(this->Make(8, 8, 8)), 2u);
  // Box: empty, then with a NaN coordinate ignored.
  typename TestFixture::Point lo, hi;
  EXPECT_TRUE(typename TestFixture::Points().GetBox(lo, hi) == 0 && lo == hi && hi == typename TestFixture::Point());
  v.push_back(this->Make(std::nan(""), -7, 1));
  ASSERT_EQ(v.GetBox(lo, hi), 1);
  EXPECT_TRUE(lo.x == 1e-3 && hi.x == 8 && lo.y == -7 && hi.y == 8);
}

TEST(PointVectorsInTheGenericVector, KeptOrderSeesAllPointsAsEquivalent) {
  // operator< is always false: the element comparison says 0 only for equal
  // points and 1 for any other pair, either way round.
  const CPoint2D a(1, 2), b(1, 3);
  const CPoint3D p(1, 2, 3), q(1, 2, 4);
  EXPECT_TRUE(Vector<CPoint2D>::Compare(&a, &b) == 1 && Vector<CPoint2D>::Compare(&b, &a) == 1);
  EXPECT_TRUE(Vector<CPoint3D>::Compare(&p, &q) == 1 && Vector<CPoint3D>::Compare(&q, &p) == 1);
  EXPECT_TRUE(Vector<CPoint2D>::Compare(&a, &a) == 0 && Vector<CPoint2D>::Compare(nullptr, &a) == -1);
  // Sorting and ordering keep every point (in some order) and never fail.
  VPoint2D v;
  for (int i = 0; i < 200; ++i)
    v.Append(CPoint2D((i * 37) % 11, (i * 17) % 5));
  std::vector<CPoint2D> before(v.begin(), v.end()), after;
  v.Sort(false);
  after.assign(v.begin(), v.end());
  auto byCoordinates = [](const CPoint2D& l, const CPoint2D& r) { return l.x < r.x || (l.x == r.x && l.y < r.y); };
  std::sort(before.begin(), before.end(), byCoordinates);
  std::sort(after.begin(), after.end(), byCoordinates);
  EXPECT_EQ(before, after);
  std::vector<unsigned int> order;
  v.Order(order);
  std::sort(order.begin(), order.end());
  for (unsigned int i = 0; i < order.size(); ++i)
    ASSERT_EQ(order[i], i + 1);
  EXPECT_TRUE(v.Exist(CPoint2D(3, 1)) == 1 && v.Exist(CPoint2D(3, 1.5)) == 0);
}

double DoubleAt(const std::vector<unsigned char>& bytes, std::size_t at) {
  double d;
  std::memcpy(&d, bytes.data() + at, sizeof d);
  return d;
}

TEST(PointVectorsFile, PointsPersistAs16And24ByteElements) {
  test::TempDir dir;
  const std::string path = dir.File("points.bin");
  std::mt19937_64 rng(60);
  std::uniform_real_distribution<double> d(-1e6, 1e6);
  VPoint2D plane, planeBack;
  VPoint3D space, spaceBack;
  plane.Append(CPoint2D(1.5, -2));
  space.Append(CPoint3D(-0.0, 1e300, 0.25));
  for (int i = 0; i < 300; ++i)
    plane.Append(CPoint2D(d(rng), d(rng)));
  for (int i = 0; i < 200; ++i)
    space.Append(CPoint3D(d(rng), d(rng), d(rng)));
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "rw"), 1);
  DOCUMENT d2, d3;
  plane.Write(f, d2, 0);
  space.Write(f, d3, 0);
  f.Close();
  EXPECT_TRUE(d2.position == 0 && d2.length == 4 + 16 * 301 && d3.position == d2.length && d3.length == 4 + 24 * 201);
  // A count, then x, y (and z) of each point in order.
  const std::vector<unsigned char> bytes = test::Bytes(path);
  const auto s = static_cast<std::size_t>(d3.position);
  ASSERT_EQ(bytes.size(), static_cast<std::size_t>(d2.length + d3.length));
  EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.begin() + 4), (std::vector<unsigned char>{45, 1, 0, 0}));
  EXPECT_EQ(std::vector<unsigned char>(bytes.begin() + s, bytes.begin() + s + 4), (std::vector<unsigned char>{201, 0, 0, 0}));
  EXPECT_TRUE(DoubleAt(bytes, 4) == 1.5 && DoubleAt(bytes, 12) == -2.0 && DoubleAt(bytes, 16 * 300 + 12) == plane.back().y);
  EXPECT_TRUE(std::signbit(DoubleAt(bytes, s + 4)) && DoubleAt(bytes, s + 12) == 1e300 && DoubleAt(bytes, s + 20) == 0.25);
  EXPECT_EQ(DoubleAt(bytes, s + 4 + 24 * 200 + 16), space.back().z);
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  planeBack.Read(f, d2);
  spaceBack.Read(f, d3);
  EXPECT_TRUE(std::equal(plane.begin(), plane.end(), planeBack.begin(), planeBack.end()));
  EXPECT_TRUE(std::equal(space.begin(), space.end(), spaceBack.begin(), spaceBack.end()));
}

TEST(PointVectorsFile, CountIsCheckedAgainstTheSizeOfAPoint) {
  // Three space points need 72 bytes after the count; 71 are there, plenty
  // for three plane points.
  test::ScopedLanguage english(LanguageEnglish);
  test::TempDir dir;
  const std::string path = dir.File("short.bin");
  std::vector<unsigned char> bytes{3, 0, 0, 0};
  bytes.resize(4 + 71, 0x40);
  test::PutBytes(path, bytes);
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  VPoint3D space;
  space.Append(CPoint3D(1, 2, 3));
  char expected[1024];
  std::snprintf(expected, sizeof expected, test::CatalogueText(110).c_str(), path.c_str());
  EXPECT_EQ(test::ThrownText([&] { space.Read(f, 0); }), expected);
  EXPECT_TRUE(space.size() == 1 && space[0] == CPoint3D(1, 2, 3)); // nothing stored is lost
  VPoint2D plane;
  plane.Read(f, 0);
  EXPECT_TRUE(plane.size() == 3 && plane[0].x == DoubleAt(bytes, 4));
}

} // namespace
} // namespace zel
