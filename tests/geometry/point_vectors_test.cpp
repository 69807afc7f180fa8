#include "zeltools/geometry/point_vectors.h"

#include <algorithm>
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
  using Point = CPoint2D;
  using Index = CPointIndex2D;
  static Point Make(double x, double y, double /*z*/) { return {x, y}; }
};

struct Space {
  using Points = VPoint3D;
  using Point = CPoint3D;
  using Index = CPointIndex3D;
  static Point Make(double x, double y, double z) { return {x, y, z}; }
};

template <class Dim>
class PointVectors : public ::testing::Test {
protected:
  using Points = typename Dim::Points;
  using Point = typename Dim::Point;
  using Index = typename Dim::Index;

  static Point Make(double x, double y, double z = 0) { return Dim::Make(x, y, z); }

  // The brute-force reference: lowest position of a point within tol.
  static unsigned Scan(const std::vector<Point>& v, const Point& p, double tol) {
    for (std::size_t i = 0; i < v.size(); ++i) {
      bool near = std::fabs(v[i].x - p.x) <= tol && std::fabs(v[i].y - p.y) <= tol;
      if constexpr (std::is_same_v<Point, CPoint3D>)
        near = near && std::fabs(v[i].z - p.z) <= tol;
      if (near)
        return static_cast<unsigned>(i + 1);
    }
    return 0;
  }

  // Nodes of a structure: grid positions with jitter, half of them inside
  // tol of a grid node and some just outside, so that searches hit, miss
  // and straddle cell borders.
  static Point Node(std::mt19937_64& rng, double tol, double spacing = 1.0, int span = 20) {
    std::uniform_int_distribution<int> cell(-span, span);
    std::uniform_real_distribution<double> jitter(-1.0, 1.0);
    const double reach = std::uniform_int_distribution<int>(0, 3)(rng) == 0 ? 1.5 * tol : 0.6 * tol;
    const double x = cell(rng) * spacing + reach * jitter(rng);
    const double y = cell(rng) * spacing + reach * jitter(rng);
    const double z = cell(rng) * spacing + reach * jitter(rng);
    return Make(x, y, z);
  }
};

using Dimensions = ::testing::Types<Plane, Space>;
TYPED_TEST_SUITE(PointVectors, Dimensions);

TYPED_TEST(PointVectors, FindAndAddOnExamples) {
  using Point = typename TestFixture::Point;
  typename TestFixture::Points v;
  Point lo, hi;
  EXPECT_EQ(v.GetBox(lo, hi), 0);
  EXPECT_TRUE(lo == Point() && hi == Point());
  EXPECT_EQ(v.Find(this->Make(0, 0), 1.0), 0u);
  EXPECT_EQ(v.Add(this->Make(1, 1), 0.5), 1u);
  EXPECT_EQ(v.Add(this->Make(2, 1), 0.5), 2u);
  EXPECT_EQ(v.Add(this->Make(1.5, 1), 0.5), 1u); // within tol of both: the lowest
  EXPECT_EQ(v.Add(this->Make(1.5, 1.6), 0.5), 3u);
  EXPECT_EQ(v.size(), 3u);
  EXPECT_EQ(v.Find(this->Make(2.5, 1), 0.5), 2u);  // inclusive
  EXPECT_EQ(v.Find(this->Make(2.51, 1), 0.5), 0u);
  EXPECT_EQ(v.Find(this->Make(1, 1), -0.0), 1u);   // a zero tolerance finds equal points
  EXPECT_EQ(v.Find(this->Make(1, 1), -1.0), 0u);
  EXPECT_EQ(v.Find(this->Make(1, 1), std::nan("")), 0u);
  EXPECT_EQ(v.Find(this->Make(-1e300, 1e300), HUGE_VAL), 1u);
  EXPECT_EQ(v.Find(this->Make(std::nan(""), 1), 10.0), 0u);
  v.push_back(this->Make(std::nan(""), -7));
  ASSERT_EQ(v.GetBox(lo, hi), 1); // NaN ignored
  EXPECT_EQ(lo.x, 1.0);
  EXPECT_EQ(hi.x, 2.0);
  EXPECT_EQ(hi.y, 1.6);
  EXPECT_EQ(lo.y, -7.0);
}

TYPED_TEST(PointVectors, IndexAgainstBruteForce) {
  std::mt19937_64 rng(50);
  for (const double tol : {1e-3, 0.25, 0.0}) {
    typename TestFixture::Points v;
    for (int i = 0; i < 20000; ++i)
      v.push_back(this->Node(rng, tol == 0 ? 1e-3 : tol, 1.0, 8));
    // Exact duplicates too, for the zero tolerance.
    for (int i = 0; i < 200; ++i)
      v.push_back(v[static_cast<std::size_t>(i) * 7]);
    const std::vector<typename TestFixture::Point> plain(v.begin(), v.end());
    typename TestFixture::Index index(v, tol);
    EXPECT_EQ(index.GetTolerance(), tol);
    std::vector<typename TestFixture::Point> queries;
    for (int q = 0; q < 1500; ++q)
      if (q % 3 == 0)
        queries.push_back(v[static_cast<std::size_t>(q) * 13]);
      else if (q % 3 == 1)
        queries.push_back(this->Node(rng, tol == 0 ? 1e-3 : tol, 1.0, 8));
      else // half way between grid nodes: a miss
        queries.push_back(this->Node(rng, tol == 0 ? 1e-3 : tol, 1.0, 8) + this->Make(0.5, 0.5, 0.5));
    std::vector<unsigned> batch;
    v.Find(static_cast<unsigned>(queries.size()), queries.data(), tol, batch);
    ASSERT_EQ(batch.size(), queries.size());
    int found = 0;
    for (std::size_t q = 0; q < queries.size(); ++q) {
      const unsigned expected = this->Scan(plain, queries[q], tol);
      ASSERT_EQ(index.Find(queries[q]), expected) << tol << ' ' << q;
      ASSERT_EQ(batch[q], expected);
      found += expected != 0;
    }
    EXPECT_GE(found, 500); // the copies of stored points
    if (tol > 0)
      EXPECT_GT(found, 700);
    if (tol < 0.01)
      EXPECT_LE(found, 1000);
  }
}

TYPED_TEST(PointVectors, IncrementalAddAgainstAModel) {
  std::mt19937_64 rng(51);
  const double tol = 0.05;
  typename TestFixture::Points v, slow;
  std::vector<typename TestFixture::Point> model;
  typename TestFixture::Index index(v, tol);
  for (int i = 0; i < 6000; ++i) {
    const auto p = this->Node(rng, tol, 0.2);
    unsigned expected = this->Scan(model, p, tol);
    if (expected == 0) {
      model.push_back(p);
      expected = static_cast<unsigned>(model.size());
    }
    ASSERT_EQ(index.Add(p), expected);
    if (i < 1500)
      ASSERT_EQ(slow.Add(p, tol), expected);
  }
  ASSERT_EQ(v.size(), model.size());
  for (std::size_t i = 0; i < v.size(); ++i)
    ASSERT_TRUE(v[i] == model[i]);
}

TYPED_TEST(PointVectors, IndexFollowsTheVector) {
  typename TestFixture::Points v;
  typename TestFixture::Index index(v, 0.01);
  EXPECT_EQ(index.Find(this->Make(0, 0)), 0u);
  // Appended behind the index's back.
  v.push_back(this->Make(1e-3, 2e-3, 3e-3));
  v.push_back(this->Make(5, 5, 5));
  EXPECT_EQ(index.Find(this->Make(1e-3, 2e-3, 3e-3)), 1u);
  // Points far beyond the first ones make the index start anew.
  v.push_back(this->Make(3e9, -4e9, 1e9));
  EXPECT_EQ(index.Find(this->Make(3e9 + 0.005, -4e9, 1e9)), 3u);
  EXPECT_EQ(index.Add(this->Make(1e15, 1, 1)), 4u);
  EXPECT_EQ(index.Find(this->Make(1e15, 1, 1)), 4u);
  EXPECT_EQ(index.Find(this->Make(5, 5, 5)), 2u);
  // A shorter vector is indexed anew.
  v.resize(1);
  EXPECT_EQ(index.Find(this->Make(5, 5, 5)), 0u);
  v.push_back(this->Make(7, 7, 7));
  EXPECT_EQ(index.Find(this->Make(7, 7, 7)), 2u);
  // Edited in place: Reindex.
  v[1] = this->Make(8, 8, 8);
  index.Reindex();
  EXPECT_EQ(index.Find(this->Make(8, 8, 8)), 2u);
  EXPECT_EQ(index.Find(this->Make(7, 7, 7)), 0u);
  // A moved index keeps working.
  typename TestFixture::Index moved(std::move(index));
  EXPECT_EQ(moved.Find(this->Make(8, 8, 8)), 2u);
}

TYPED_TEST(PointVectors, ExtremeCoordinatesAndTolerances) {
  // Coordinates near the limits of double, tiny and huge tolerances, and
  // points that are not numbers: the answers are the scan's.
  std::mt19937_64 rng(52);
  const double values[] = {0.0, -0.0, 1e-300, -1e-300, 1.0, 1.0 + 1e-15, 1e300, -1e300, 1.7e308, -1.7e308,
                           4.9e-324, HUGE_VAL, std::nan("")};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(values) - 1);
  for (const double tol : {0.0, 4.9e-324, 1e-300, 1e-15, 1.0, 1e300, 1.7e308, HUGE_VAL, -1.0}) {
    typename TestFixture::Points v;
    for (int i = 0; i < 300; ++i)
      v.push_back(this->Make(values[pick(rng)], values[pick(rng)], values[pick(rng)]));
    const std::vector<typename TestFixture::Point> plain(v.begin(), v.end());
    typename TestFixture::Index index(v, tol);
    std::vector<typename TestFixture::Point> queries;
    for (int q = 0; q < 300; ++q)
      queries.push_back(this->Make(values[pick(rng)], values[pick(rng)], values[pick(rng)]));
    std::vector<unsigned> batch;
    v.Find(static_cast<unsigned>(queries.size()), queries.data(), tol, batch);
    for (std::size_t q = 0; q < queries.size(); ++q) {
      const unsigned expected = this->Scan(plain, queries[q], tol);
      ASSERT_EQ(index.Find(queries[q]), expected) << tol << ' ' << q;
      ASSERT_EQ(batch[q], expected) << tol << ' ' << q;
    }
    std::vector<unsigned> map;
    typename TestFixture::Points merged = v;
    merged.Merge(tol, map);
    ASSERT_EQ(map.size(), v.size());
  }
}

TYPED_TEST(PointVectors, MergeAgainstSequentialAdd) {
  std::mt19937_64 rng(53);
  for (const double tol : {0.0, 1e-3, 0.3}) {
    typename TestFixture::Points v;
    for (int i = 0; i < 8000; ++i)
      v.push_back(this->Node(rng, tol == 0 ? 1e-3 : tol, 0.5));
    for (int i = 0; i < 100; ++i)
      v.push_back(v[static_cast<std::size_t>(i) * 3]);
    v.push_back(this->Make(std::nan(""), 0, 0));
    v.push_back(this->Make(std::nan(""), 0, 0));
    const std::vector<typename TestFixture::Point> before(v.begin(), v.end());
    // The model: Add one by one into a plain vector by scanning.
    std::vector<typename TestFixture::Point> model;
    std::vector<unsigned> expectedMap;
    for (const auto& p : before) {
      unsigned position = this->Scan(model, p, tol);
      if (position == 0) {
        model.push_back(p);
        position = static_cast<unsigned>(model.size());
      }
      expectedMap.push_back(position);
    }
    std::vector<unsigned> map;
    ASSERT_EQ(v.Merge(tol, map), model.size());
    ASSERT_EQ(map, expectedMap);
    ASSERT_EQ(v.size(), model.size());
    for (std::size_t i = 0; i < v.size(); ++i)
      ASSERT_TRUE(v[i] == model[i] || (std::isnan(v[i].x) && std::isnan(model[i].x)));
    if (tol > 0)
      ASSERT_LT(v.size(), before.size() - 100);
    // Merging again with the same tolerance is the identity.
    std::vector<unsigned> again;
    typename TestFixture::Points copy = v;
    ASSERT_EQ(copy.Merge(tol, again), v.size());
  }
  typename TestFixture::Points v;
  v.push_back(this->Make(1, 1));
  v.push_back(this->Make(1, 1));
  std::vector<unsigned> map;
  EXPECT_EQ(v.Merge(-1.0, map), 2u); // a negative tolerance merges nothing
  EXPECT_EQ(map, (std::vector<unsigned>{1, 2}));
  EXPECT_EQ(v.Merge(HUGE_VAL, map), 1u);
  EXPECT_EQ(map, (std::vector<unsigned>{1, 1}));
  typename TestFixture::Points empty;
  EXPECT_EQ(empty.Merge(1.0, map), 0u);
  EXPECT_TRUE(map.empty());
}

} // namespace
} // namespace zel

namespace zel {
namespace {

TEST(PointVectorsInTheGenericVector, KeptOrderSeesAllPointsAsEquivalent) {
  // operator< is always false, so the element comparison says "equal" only
  // for exactly equal points and "after" (1) for every other pair, both ways.
  const CPoint2D a(1, 2), b(1, 3), c(0, 0);
  EXPECT_EQ(Vector<CPoint2D>::Compare(&a, &b), 1);
  EXPECT_EQ(Vector<CPoint2D>::Compare(&b, &a), 1);
  EXPECT_EQ(Vector<CPoint2D>::Compare(&a, &a), 0);
  EXPECT_EQ(Vector<CPoint2D>::Compare(nullptr, &a), -1);
  const CPoint3D p(1, 2, 3), q(1, 2, 4);
  EXPECT_EQ(Vector<CPoint3D>::Compare(&p, &q), 1);
  EXPECT_EQ(Vector<CPoint3D>::Compare(&q, &p), 1);

  // Sorting keeps every point (in some order) and never fails.
  VPoint2D v;
  for (int i = 0; i < 200; ++i)
    v.Append(CPoint2D((i * 37) % 11, (i * 17) % 5));
  const std::vector<CPoint2D> before(v.begin(), v.end());
  v.Sort(false);
  ASSERT_EQ(v.GetSize(), 200u);
  for (const CPoint2D& p : before)
    ASSERT_EQ(std::count(v.begin(), v.end(), p), std::count(before.begin(), before.end(), p));
  std::vector<unsigned int> order;
  v.Order(order);
  std::sort(order.begin(), order.end());
  for (unsigned int i = 0; i < order.size(); ++i)
    ASSERT_EQ(order[i], i + 1);
  EXPECT_EQ(v.Exist(CPoint2D(3, 1)), 1);
  EXPECT_EQ(v.Exist(CPoint2D(3, 1.5)), 0);
}

} // namespace
} // namespace zel

namespace zel {
namespace {

std::string Message110(const std::string& path) {
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer, test::CatalogueText(110).c_str(), path.c_str());
  return buffer;
}

double DoubleAt(const std::vector<unsigned char>& bytes, std::size_t at) {
  double d;
  std::memcpy(&d, bytes.data() + at, sizeof d);
  return d;
}

TEST(PointVectorsFile, PointsPersistAs16And24ByteElements) {
  test::ScopedLanguage english(LanguageEnglish);
  test::TempDir dir;
  const std::string path = dir.File("points.bin");
  std::mt19937_64 rng(60);
  std::uniform_real_distribution<double> d(-1e6, 1e6);
  VPoint2D plane;
  plane.Append(CPoint2D(1.5, -2));
  for (int i = 0; i < 300; ++i)
    plane.Append(CPoint2D(d(rng), d(rng)));
  VPoint3D space;
  space.Append(CPoint3D(-0.0, 1e300, 0.25));
  for (int i = 0; i < 200; ++i)
    space.Append(CPoint3D(d(rng), d(rng), d(rng)));

  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "rw"), 1);
  DOCUMENT d2, d3;
  plane.Write(f, d2, 0);
  space.Write(f, d3, 0);
  EXPECT_EQ(d2.position, 0);
  EXPECT_EQ(d2.length, 4 + 16 * 301);
  EXPECT_EQ(d3.position, d2.length);
  EXPECT_EQ(d3.length, 4 + 24 * 201);
  f.Close();

  // The stored layout: a count, then x, y (and z) of each point in order.
  const std::vector<unsigned char> bytes = test::Bytes(path);
  ASSERT_EQ(bytes.size(), static_cast<std::size_t>(d2.length + d3.length));
  EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.begin() + 4), (std::vector<unsigned char>{45, 1, 0, 0}));
  EXPECT_EQ(DoubleAt(bytes, 4), 1.5);
  EXPECT_EQ(DoubleAt(bytes, 12), -2.0);
  const auto s = static_cast<std::size_t>(d3.position);
  EXPECT_EQ(std::vector<unsigned char>(bytes.begin() + s, bytes.begin() + s + 4), (std::vector<unsigned char>{201, 0, 0, 0}));
  EXPECT_TRUE(std::signbit(DoubleAt(bytes, s + 4)));
  EXPECT_EQ(DoubleAt(bytes, s + 12), 1e300);
  EXPECT_EQ(DoubleAt(bytes, s + 20), 0.25);
  EXPECT_EQ(DoubleAt(bytes, s + 4 + 24 * 200 + 16), space.back().z);

  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  VPoint2D planeBack;
  planeBack.Read(f, d2);
  ASSERT_EQ(planeBack.size(), plane.size());
  EXPECT_TRUE(std::equal(plane.begin(), plane.end(), planeBack.begin()));
  VPoint3D spaceBack;
  spaceBack.Read(f, d3);
  ASSERT_EQ(spaceBack.size(), space.size());
  EXPECT_TRUE(std::equal(space.begin(), space.end(), spaceBack.begin()));
  // A merge over the read-back points finds what it found before writing.
  std::vector<unsigned int> before, after;
  VPoint3D copy = space;
  copy.Merge(1.0, before);
  spaceBack.Merge(1.0, after);
  EXPECT_EQ(before, after);
  f.Close();
}

TEST(PointVectorsFile, CountIsCheckedAgainstTheSizeOfAPoint) {
  // Three space points need 72 bytes after the count; 71 are there, which
  // would be plenty for three plane points.
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
  EXPECT_EQ(test::ThrownText([&] { space.Read(f, 0); }), Message110(path));
  ASSERT_EQ(space.size(), 1u);
  EXPECT_TRUE(space[0] == CPoint3D(1, 2, 3));
  VPoint2D plane;
  plane.Read(f, 0);
  EXPECT_EQ(plane.size(), 3u);
  EXPECT_EQ(plane[0].x, DoubleAt(bytes, 4));
}

} // namespace
} // namespace zel
