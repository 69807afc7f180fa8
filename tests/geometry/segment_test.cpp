#include "zeltools/geometry/segment.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

CPoint2D RandomPoint(std::mt19937_64& rng, double lo = -10.0, double hi = 10.0) {
  std::uniform_real_distribution<double> d(lo, hi);
  const double x = d(rng);
  return {x, d(rng)};
}

CPoint3D RandomPoint3D(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> d(-10, 10);
  const double x = d(rng), y = d(rng);
  return {x, y, d(rng)};
}

TEST(CSegment, MeasuresAndClosestPoint) {
  const CSegment s({0, 0}, {4, 0});
  EXPECT_EQ(s.Length(), 4.0);
  EXPECT_TRUE(s.Middle() == CPoint2D(2, 0));
  EXPECT_EQ(s.Parameter({5, 3}), 1.25);
  EXPECT_TRUE(s.Closest({5, 3}) == CPoint2D(4, 0));
  EXPECT_TRUE(s.Closest({-1, 3}) == CPoint2D(0, 0));
  EXPECT_EQ(s.Distance({1, -3}), 3.0);
  EXPECT_EQ(s.Distance({7, 4}), 5.0);
  // True distance, not the widened box of CPoint2D::InSegment.
  EXPECT_EQ(CPoint2D(4.1, 0.1).InSegment(s.p1, s.p2, 0.1), 1);
  EXPECT_EQ(s.Contains({4.1, 0.1}, 0.1), 0);
  EXPECT_EQ(s.Contains({4.06, 0.08}, 0.1), 1);
  const CSegment dot({1, 1}, {1, 1});
  EXPECT_EQ(dot.Parameter({5, 5}), 0.0);
  EXPECT_EQ(dot.Distance({4, 5}), 5.0);

  std::mt19937_64 rng(40);
  for (int k = 0; k < 300; ++k) {
    const CSegment r(RandomPoint(rng), RandomPoint(rng));
    const CPoint2D p = RandomPoint(rng);
    const double d = r.Distance(p);
    double sampled = HUGE_VAL;
    for (int i = 0; i <= 1000; ++i)
      sampled = std::min(sampled, p.Distance(r.Point(i / 1000.0)));
    ASSERT_LE(d, sampled + 1e-12);
    ASSERT_GE(d, sampled - r.Length() / 1000);
  }
}

TEST(CSegment, IntersectKinds) {
  CPoint2D a, b;
  const CSegment h({0, 0}, {4, 0});
  // A proper crossing.
  ASSERT_EQ(h.Intersect(CSegment({1, -1}, {3, 1}), a, b, 1e-9), 1);
  EXPECT_TRUE(a.IsEqual({2, 0}, 1e-15));
  EXPECT_TRUE(a == b);
  // A T-junction a little short of the member: snapped to the end.
  ASSERT_EQ(h.Intersect(CSegment({2, 0.05}, {2, 3}), a, b, 0.1), 1);
  EXPECT_TRUE(a == CPoint2D(2, 0.05));
  EXPECT_EQ(h.Intersect(CSegment({2, 0.15}, {2, 3}), a, b, 0.1), 0);
  EXPECT_TRUE(a == CPoint2D() && b == CPoint2D());
  // End to end on one line, and at an angle: the common end.
  ASSERT_EQ(h.Intersect(CSegment({4, 0}, {6, 0}), a, b, 1e-9), 1);
  EXPECT_TRUE(a == CPoint2D(4, 0));
  ASSERT_EQ(h.Intersect(CSegment({4, 0}, {5, 5}), a, b, 1e-9), 1);
  EXPECT_TRUE(a == CPoint2D(4, 0));
  // Running along each other: the shared part, along this segment.
  ASSERT_EQ(h.Intersect(CSegment({6, 0}, {3, 0}), a, b, 1e-9), 2);
  EXPECT_TRUE(a == CPoint2D(3, 0));
  EXPECT_TRUE(b == CPoint2D(4, 0));
  ASSERT_EQ(CSegment({4, 0}, {0, 0}).Intersect(CSegment({1, 0.01}, {3, 0.01}), a, b, 0.05), 2);
  EXPECT_TRUE(a == CPoint2D(3, 0.01)); // snapped to the other's ends
  EXPECT_TRUE(b == CPoint2D(1, 0.01));
  // Parallel apart, and a point segment lying on the member.
  EXPECT_EQ(h.Intersect(CSegment({0, 1}, {4, 1}), a, b, 0.5), 0);
  ASSERT_EQ(h.Intersect(CSegment({1, 0}, {1, 0}), a, b, 1e-9), 1);
  EXPECT_TRUE(a == CPoint2D(1, 0));
  EXPECT_EQ(h.Intersect(CSegment({std::nan(""), 0}, {1, 1}), a, b, 1.0), 0);
}

TEST(CSegment, IntersectAgreesWithCrossSegmentSegment) {
  std::mt19937_64 rng(41);
  int crossings = 0;
  for (int k = 0; k < 5000; ++k) {
    const CSegment s(RandomPoint(rng), RandomPoint(rng)), t(RandomPoint(rng), RandomPoint(rng));
    CPoint2D x, a, b, c, d;
    const unsigned char reference = CPoint2D::CrossSegmentSegment(s.p1, s.p2, t.p1, t.p2, x, 1e-9);
    const int kind = s.Intersect(t, a, b, 1e-9);
    ASSERT_EQ(kind, t.Intersect(s, c, d, 1e-9));
    ASSERT_LE(kind, 1);
    // Away from the ends both must agree on whether the segments meet.
    const double clearance = std::min({s.Distance(t.p1), s.Distance(t.p2), t.Distance(s.p1), t.Distance(s.p2)});
    if (clearance < 1e-6)
      continue;
    ASSERT_EQ(kind, reference);
    if (kind) {
      ++crossings;
      ASSERT_TRUE(a == x);
      ASSERT_LT(a.Distance(c), 1e-9);
    }
  }
  EXPECT_GT(crossings, 500);
}

// Reference for the cuts: the sorted parameters of points on the segment,
// kept greedily when more than tol past the previous cut and the far end.
std::vector<double> ExpectedCuts(std::vector<double> along, double length, double tol) {
  std::sort(along.begin(), along.end());
  std::vector<double> kept;
  double last = 0;
  for (double t : along)
    if (t - last > tol && length - t > tol) {
      kept.push_back(t);
      last = t;
    }
  return kept;
}

TEST(CSegment, SplitAtPointsOnTheSegment) {
  std::mt19937_64 rng(42);
  for (int k = 0; k < 500; ++k) {
    const CSegment s(RandomPoint(rng), RandomPoint(rng));
    const double length = s.Length(), tol = 0.05;
    std::vector<CPoint2D> points;
    std::vector<double> along;
    const int n = std::uniform_int_distribution<int>(0, 8)(rng);
    for (int i = 0; i < n; ++i) {
      const double t = std::uniform_real_distribution<double>(-0.2, 1.2)(rng);
      const CPoint2D p = s.Point(t);
      if (std::uniform_int_distribution<int>(0, 3)(rng) == 0) {
        const CPoint2D d = s.p2 - s.p1;
        points.push_back(p + CPoint2D(-d.y, d.x) * (1 / length)); // off the member: no cut
      } else {
        points.push_back(p);
        along.push_back(std::clamp(t, 0.0, 1.0) * length);
      }
    }
    VSegment pieces;
    const unsigned count = s.Split(static_cast<unsigned>(points.size()), points.data(), tol, pieces);
    const std::vector<double> cuts = ExpectedCuts(along, length, tol);
    ASSERT_EQ(count, cuts.size() + 1);
    ASSERT_EQ(pieces.size(), count);
    ASSERT_TRUE(pieces.front().p1 == s.p1);
    ASSERT_TRUE(pieces.back().p2 == s.p2);
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
      ASSERT_TRUE(pieces[i].p2 == pieces[i + 1].p1);
      ASSERT_NEAR(s.p1.Distance(pieces[i].p2), cuts[i], 1e-9);
    }
    ASSERT_NEAR(pieces.Length(), length, 1e-9);
    for (const CSegment& piece : pieces)
      ASSERT_GT(piece.Length(), tol - 1e-12);
    // The order of the points does not matter.
    std::shuffle(points.begin(), points.end(), rng);
    VSegment shuffled;
    s.Split(static_cast<unsigned>(points.size()), points.data(), tol, shuffled);
    ASSERT_TRUE(std::equal(pieces.begin(), pieces.end(), shuffled.begin(), shuffled.end()));
  }
  // Appends, and a segment not longer than tol stays whole.
  VSegment out(1);
  const CPoint2D mid(0.05, 0);
  EXPECT_EQ(CSegment({0, 0}, {0.1, 0}).Split(1, &mid, 0.1, out), 1u);
  EXPECT_EQ(out.size(), 2u);
  EXPECT_TRUE(out[1] == CSegment({0, 0}, {0.1, 0}));
  // The cut is at the given point, off the line by less than tol.
  const CPoint2D near(1, 0.01);
  out.clear();
  EXPECT_EQ(CSegment({0, 0}, {2, 0}).Split(1, &near, 0.02, out), 2u);
  EXPECT_TRUE(out[0].p2 == near && out[1].p1 == near);
}

// Brute-force reference of VSegment::Split(tol): every pair, lower number
// asking, then each segment cut at its points.
VSegment SplitAllPairs(const VSegment& v, double tol) {
  std::vector<std::vector<CPoint2D>> cuts(v.size());
  for (std::size_t i = 0; i < v.size(); ++i)
    for (std::size_t j = i + 1; j < v.size(); ++j) {
      CPoint2D a, b;
      const int kind = v[i].Intersect(v[j], a, b, tol);
      for (int k = 0; k < kind; ++k) {
        cuts[i].push_back(k ? b : a);
        cuts[j].push_back(k ? b : a);
      }
    }
  VSegment out;
  for (std::size_t i = 0; i < v.size(); ++i)
    v[i].Split(static_cast<unsigned>(cuts[i].size()), cuts[i].data(), tol, out);
  return out;
}

TEST(VSegment, SplitAtCrossingsAgainstAllPairs) {
  std::mt19937_64 rng(43);
  for (int round = 0; round < 30; ++round) {
    VSegment v;
    for (int i = 0; i < 60; ++i) {
      const CPoint2D p = RandomPoint(rng, 0, 20);
      v.push_back(CSegment(p, p + RandomPoint(rng, -6, 6)));
    }
    // Shared ends, a collinear overlap and a point segment.
    v.push_back(CSegment(v[0].p2, v[1].p1));
    v.push_back(CSegment(v[2].Point(0.25), v[2].Point(1.5)));
    v.push_back(CSegment(v[3].Middle(), v[3].Middle()));
    const VSegment reference = SplitAllPairs(v, 1e-9);
    VSegment split = v;
    ASSERT_EQ(split.Split(1e-9), reference.size());
    ASSERT_EQ(split.size(), reference.size());
    for (std::size_t i = 0; i < split.size(); ++i)
      ASSERT_TRUE(split[i] == reference[i]) << round << ' ' << i;
    ASSERT_NEAR(split.Length(), v.Length(), 1e-9);
    ASSERT_GT(split.size(), v.size() + 20);
    // Splitting again changes nothing: pieces meet only at their ends.
    VSegment again = split;
    ASSERT_EQ(again.Split(1e-9), split.size());
  }
}

TEST(VSegment, SplitOfAGridAndBadInput) {
  // Four lines across each other make a grid of 3 x 3 crossings; each line
  // is cut into 4 pieces.
  VSegment grid;
  for (int i = 1; i <= 3; ++i) {
    grid.push_back(CSegment({0, double(i)}, {4, double(i)}));
    grid.push_back(CSegment({double(i), 0}, {double(i), 4}));
  }
  EXPECT_EQ(grid.Split(1e-9), 24u);
  CPoint2D lo, hi;
  ASSERT_EQ(grid.GetBox(lo, hi), 1);
  EXPECT_TRUE(lo == CPoint2D(0, 0) && hi == CPoint2D(4, 4));
  EXPECT_EQ(grid.Length(), 24.0);

  VSegment bad;
  bad.push_back(CSegment({std::nan(""), 0}, {1, 1}));
  bad.push_back(CSegment({0, 0}, {HUGE_VAL, 1}));
  bad.push_back(CSegment({0, 1}, {1, 0}));
  bad.push_back(CSegment({0, 0}, {1, 1}));
  EXPECT_EQ(bad.Split(1e-9), 6u); // only the two finite ones cross
  VSegment negative = grid;
  EXPECT_EQ(negative.Split(-1.0), grid.size());
  EXPECT_EQ(VSegment().Split(1.0), 0u);
  EXPECT_EQ(VSegment().GetBox(lo, hi), 0);
  EXPECT_TRUE(lo == CPoint2D() && hi == CPoint2D());
}

TEST(VSegment, SplitAtPointsMatchesSegmentBySegment) {
  std::mt19937_64 rng(44);
  for (int round = 0; round < 20; ++round) {
    VSegment v;
    for (int i = 0; i < 40; ++i) {
      const CPoint2D p = RandomPoint(rng, 0, 20);
      v.push_back(CSegment(p, p + RandomPoint(rng, -5, 5)));
    }
    std::vector<CPoint2D> nodes;
    for (int i = 0; i < 200; ++i)
      nodes.push_back(v[std::uniform_int_distribution<std::size_t>(0, v.size() - 1)(rng)].Point(
          std::uniform_real_distribution<double>(0, 1)(rng)));
    nodes.push_back({std::nan(""), 1});
    VSegment reference;
    for (const CSegment& s : v)
      s.Split(static_cast<unsigned>(nodes.size()), nodes.data(), 1e-6, reference);
    VSegment split = v;
    ASSERT_EQ(split.Split(static_cast<unsigned>(nodes.size()), nodes.data(), 1e-6), reference.size());
    for (std::size_t i = 0; i < split.size(); ++i)
      ASSERT_TRUE(split[i] == reference[i]);
  }
}

TEST(CSegment3D, ClosestPointsAgainstSampling) {
  const CSegment3D a({0, 0, 0}, {2, 0, 0});
  CPoint3D p, q;
  EXPECT_EQ(a.ClosestPoints(CSegment3D({1, -1, 3}, {1, 1, 3}), p, q), 3.0);
  EXPECT_TRUE(p == CPoint3D(1, 0, 0) && q == CPoint3D(1, 0, 3));
  EXPECT_EQ(a.ClosestPoints(CSegment3D({4, 0, 1}, {6, 0, 1}), p, q), std::sqrt(5.0)); // parallel, apart
  EXPECT_TRUE(p == CPoint3D(2, 0, 0) && q == CPoint3D(4, 0, 1));
  EXPECT_EQ(a.ClosestPoints(CSegment3D({5, 5, 5}, {5, 5, 5}), p, q), a.Distance({5, 5, 5}));
  EXPECT_EQ(CSegment3D().ClosestPoints(CSegment3D(), p, q), 0.0);

  std::mt19937_64 rng(45);
  for (int k = 0; k < 300; ++k) {
    const CSegment3D s(RandomPoint3D(rng), RandomPoint3D(rng)), t(RandomPoint3D(rng), RandomPoint3D(rng));
    const double d = s.ClosestPoints(t, p, q);
    ASSERT_NEAR(s.Distance(p), 0.0, 1e-12);
    ASSERT_NEAR(t.Distance(q), 0.0, 1e-12);
    ASSERT_EQ(d, p.Distance(q));
    double sampled = HUGE_VAL;
    for (int i = 0; i <= 100; ++i)
      for (int j = 0; j <= 100; ++j)
        sampled = std::min(sampled, s.Point(i / 100.0).Distance(t.Point(j / 100.0)));
    ASSERT_LE(d, sampled + 1e-12);
    // The closest pair is a local optimum: neither point can do better alone.
    ASSERT_NEAR(s.Distance(q), d, 1e-9);
    ASSERT_NEAR(t.Distance(p), d, 1e-9);
    ASSERT_NEAR(t.ClosestPoints(s, q, p), d, 1e-9);
  }
}

TEST(CSegment3D, SplitAndPointQueries) {
  const CSegment3D s({0, 0, 0}, {0, 0, 6});
  EXPECT_EQ(s.Length(), 6.0);
  EXPECT_TRUE(s.Middle() == CPoint3D(0, 0, 3));
  EXPECT_EQ(s.Parameter({1, 1, 3}), 0.5);
  EXPECT_TRUE(s.Closest({1, 1, 9}) == CPoint3D(0, 0, 6));
  EXPECT_EQ(s.Contains({0.1, 0, 2}, 0.1), 1);
  EXPECT_EQ(s.Contains({0.1, 0.1, 2}, 0.1), 0);
  const CPoint3D nodes[] = {{0, 0, 4}, {0, 0, 2}, {0, 0, 2.05}, {0, 0, 6.5}, {1, 0, 3}, {0, 0, 0.05}};
  Vector<CSegment3D> out;
  ASSERT_EQ(s.Split(6, nodes, 0.1, out), 3u);
  ASSERT_EQ(out.size(), 3u);
  EXPECT_TRUE(out[0] == CSegment3D({0, 0, 0}, {0, 0, 2}));
  EXPECT_TRUE(out[1] == CSegment3D({0, 0, 2}, {0, 0, 4}));
  EXPECT_TRUE(out[2] == CSegment3D({0, 0, 4}, {0, 0, 6}));
}

} // namespace
} // namespace zel

namespace zel {
namespace {

TEST(VSegmentFile, SegmentsPersistAs32ByteElements) {
  test::TempDir dir;
  const std::string path = dir.File("segments.bin");
  VSegment v;
  v.push_back(CSegment({0, 1}, {2, 3}));
  v.push_back(CSegment({-4, 5.5}, {6, -7}));
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "rw"), 1);
  DOCUMENT doc;
  v.Write(f, doc, 0);
  EXPECT_EQ(doc.length, 4 + 2 * 32);
  f.Close();
  const std::vector<unsigned char> bytes = test::Bytes(path);
  ASSERT_EQ(bytes.size(), 68u);
  double coordinates[8];
  std::memcpy(coordinates, bytes.data() + 4, sizeof coordinates);
  EXPECT_EQ(std::vector<double>(coordinates, coordinates + 8), (std::vector<double>{0, 1, 2, 3, -4, 5.5, 6, -7}));
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  VSegment back;
  back.Read(f, doc);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_TRUE(back[0] == v[0] && back[1] == v[1]);
}

} // namespace
} // namespace zel
