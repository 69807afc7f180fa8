#include "zeltools/geometry/segment.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

using test::RandomPoint2D;
using test::RandomPoint3D;

TEST(CSegment, DistanceAndClosestPointsAgainstSampling) {
  std::mt19937_64 rng(40);
  CPoint3D p, q;
  for (int k = 0; k < 300; ++k) {
    const CSegment r(RandomPoint2D(rng), RandomPoint2D(rng));
    const CPoint2D x = RandomPoint2D(rng);
    const CSegment3D s(RandomPoint3D(rng), RandomPoint3D(rng)), t(RandomPoint3D(rng), RandomPoint3D(rng));
    const double d = s.ClosestPoints(t, p, q);
    ASSERT_TRUE(s.Distance(p) < 1e-12 && t.Distance(q) < 1e-12 && d == p.Distance(q));
    // Neither point of the pair can do better alone.
    ASSERT_TRUE(std::fabs(s.Distance(q) - d) < 1e-9 && std::fabs(t.Distance(p) - d) < 1e-9);
    ASSERT_NEAR(t.ClosestPoints(s, q, p), d, 1e-9);
    double sampled = HUGE_VAL, sampled3 = HUGE_VAL;
    for (int i = 0; i <= 100; ++i) {
      sampled = std::min(sampled, x.Distance(r.Point(i / 100.0)));
      for (int j = 0; j <= 100; ++j)
        sampled3 = std::min(sampled3, s.Point(i / 100.0).Distance(t.Point(j / 100.0)));
    }
    ASSERT_TRUE(r.Distance(x) <= sampled + 1e-12 && r.Distance(x) >= sampled - r.Length() / 100);
    ASSERT_LE(d, sampled3 + 1e-12);
  }
  // The true distance to the closed segment, not InSegment's widened box.
  EXPECT_TRUE(CPoint2D(4.1, 0.1).InSegment({0, 0}, {4, 0}, 0.1) && !CSegment({0, 0}, {4, 0}).Contains({4.1, 0.1}, 0.1));
  EXPECT_TRUE(CSegment({1, 1}, {1, 1}).Parameter({5, 5}) == 0 && CSegment3D().ClosestPoints(CSegment3D(), p, q) == 0);
}

TEST(CSegment, IntersectKindsAndSnapping) {
  // Crossing; a T short of the member (snapped to the end) and too short;
  // end to end; running along each other (the shared part ordered along this
  // segment, snapped to the other's ends); a point segment on the member; a NaN.
  const double nan = std::nan("");
  const struct { CSegment s, t; double tol; int kind; CPoint2D a, b; } cases[] = {
      {{{0, 0}, {4, 0}}, {{1, -1}, {3, 1}}, 1e-9, 1, {2, 0}, {2, 0}},
      {{{0, 0}, {4, 0}}, {{2, 0.05}, {2, 3}}, 0.1, 1, {2, 0.05}, {2, 0.05}},
      {{{0, 0}, {4, 0}}, {{2, 0.15}, {2, 3}}, 0.1, 0, {}, {}},
      {{{0, 0}, {4, 0}}, {{4, 0}, {6, 0}}, 1e-9, 1, {4, 0}, {4, 0}},
      {{{0, 0}, {4, 0}}, {{6, 0}, {3, 0}}, 1e-9, 2, {3, 0}, {4, 0}},
      {{{4, 0}, {0, 0}}, {{1, 0.01}, {3, 0.01}}, 0.05, 2, {3, 0.01}, {1, 0.01}},
      {{{0, 0}, {4, 0}}, {{1, 0}, {1, 0}}, 1e-9, 1, {1, 0}, {1, 0}},
      {{{0, 0}, {4, 0}}, {{nan, 0}, {1, 1}}, 1.0, 0, {}, {}}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    CPoint2D a(9, 9), b(9, 9);
    EXPECT_EQ(c.s.Intersect(c.t, a, b, c.tol), c.kind) << "case " << i;
    EXPECT_TRUE(a.IsEqual(c.a, 1e-15) && b.IsEqual(c.b, 1e-15)) << "case " << i;
  }
}

TEST(CSegment, IntersectAgreesWithCrossSegmentSegment) {
  std::mt19937_64 rng(41);
  int crossings = 0;
  for (int k = 0; k < 5000; ++k) {
    const CSegment s(RandomPoint2D(rng), RandomPoint2D(rng)), t(RandomPoint2D(rng), RandomPoint2D(rng));
    CPoint2D x, a, b, c, d;
    const unsigned char reference = CPoint2D::CrossSegmentSegment(s.p1, s.p2, t.p1, t.p2, x, 1e-9);
    const int kind = s.Intersect(t, a, b, 1e-9);
    ASSERT_TRUE(kind == t.Intersect(s, c, d, 1e-9) && kind <= 1);
    // Away from the ends both must agree on whether the segments meet.
    if (std::min({s.Distance(t.p1), s.Distance(t.p2), t.Distance(s.p1), t.Distance(s.p2)}) < 1e-6)
      continue;
    ASSERT_EQ(kind, reference);
    ASSERT_TRUE(!kind || (a == x && a.Distance(c) < 1e-9));
    crossings += kind;
  }
  EXPECT_GT(crossings, 500);
}

TEST(CSegment, SplitAtPointsOnTheSegment) {
  std::mt19937_64 rng(42);
  const double tol = 0.05;
  for (int k = 0; k < 500; ++k) {
    const CSegment s(RandomPoint2D(rng), RandomPoint2D(rng));
    const double length = s.Length();
    const CPoint2D normal = CPoint2D(s.p1.y - s.p2.y, s.p2.x - s.p1.x) * (1 / length);
    std::vector<CPoint2D> points;
    std::vector<double> along, cuts; // the reference: cuts kept greedily more than tol apart and from the ends
    for (int i = std::uniform_int_distribution<int>(0, 8)(rng); i > 0; --i) {
      const double t = std::uniform_real_distribution<double>(-0.2, 1.2)(rng);
      const bool off = std::uniform_int_distribution<int>(0, 3)(rng) == 0; // off the member: no cut
      points.push_back(s.Point(t) + (off ? normal : CPoint2D()));
      if (!off)
        along.push_back(std::clamp(t, 0.0, 1.0) * length);
    }
    std::sort(along.begin(), along.end());
    for (const double t : along)
      if (t - (cuts.empty() ? 0.0 : cuts.back()) > tol && length - t > tol)
        cuts.push_back(t);
    VSegment pieces, shuffled;
    Vector<CSegment3D> lifted; // the same in space, at a constant height
    std::vector<CPoint3D> points3;
    for (const CPoint2D& p : points)
      points3.push_back(CPoint3D(p, 2.5));
    const auto n = static_cast<unsigned>(points.size());
    CSegment3D(CPoint3D(s.p1, 2.5), CPoint3D(s.p2, 2.5)).Split(n, points3.data(), tol, lifted);
    ASSERT_EQ(s.Split(n, points.data(), tol, pieces), cuts.size() + 1);
    ASSERT_TRUE(pieces.size() == cuts.size() + 1 && pieces.front().p1 == s.p1 && pieces.back().p2 == s.p2);
    ASSERT_EQ(lifted.size(), pieces.size());
    for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
      // Pieces meet at the given points themselves.
      ASSERT_TRUE(pieces[i].p2 == pieces[i + 1].p1 && std::count(points.begin(), points.end(), pieces[i].p2) > 0);
      ASSERT_TRUE(lifted[i].p2 == CPoint3D(pieces[i].p2, 2.5));
      ASSERT_NEAR(s.p1.Distance(pieces[i].p2), cuts[i], 1e-9);
    }
    // The order of the points does not matter.
    std::shuffle(points.begin(), points.end(), rng);
    s.Split(n, points.data(), tol, shuffled);
    ASSERT_TRUE(std::equal(pieces.begin(), pieces.end(), shuffled.begin(), shuffled.end()));
  }
  // Appends; a segment not longer than tol stays whole.
  VSegment out(1);
  const CPoint2D mid(0.05, 0);
  EXPECT_TRUE(CSegment({0, 0}, {0.1, 0}).Split(1, &mid, 0.1, out) == 1 && out[1] == CSegment({0, 0}, {0.1, 0}));
}

TEST(VSegment, SplitAgainstAllPairsAndSegmentBySegment) {
  std::mt19937_64 rng(43);
  for (int round = 0; round < 30; ++round) {
    VSegment v;
    for (int i = 0; i < 60; ++i) {
      const CPoint2D p = RandomPoint2D(rng, 0, 20);
      v.push_back(CSegment(p, p + RandomPoint2D(rng, -6, 6)));
    }
    // Shared ends, a collinear overlap and a point segment.
    v.push_back(CSegment(v[0].p2, v[1].p1));
    v.push_back(CSegment(v[2].Point(0.25), v[2].Point(1.5)));
    v.push_back(CSegment(v[3].Middle(), v[3].Middle()));
    // The reference: every pair, the lower number asking, then each segment
    // cut at its points.
    std::vector<std::vector<CPoint2D>> cuts(v.size());
    for (std::size_t i = 0; i < v.size(); ++i)
      for (std::size_t j = i + 1; j < v.size(); ++j) {
        CPoint2D ab[2];
        for (int k = v[i].Intersect(v[j], ab[0], ab[1], 1e-9); k > 0; --k) {
          cuts[i].push_back(ab[k - 1]);
          cuts[j].push_back(ab[k - 1]);
        }
      }
    VSegment reference, split = v, again, atNodes = v, nodeReference;
    for (std::size_t i = 0; i < v.size(); ++i)
      v[i].Split(static_cast<unsigned>(cuts[i].size()), cuts[i].data(), 1e-9, reference);
    ASSERT_EQ(split.Split(1e-9), reference.size());
    ASSERT_TRUE(std::equal(split.begin(), split.end(), reference.begin(), reference.end())) << round;
    ASSERT_TRUE(split.size() > v.size() + 20 && std::fabs(split.Length() - v.Length()) < 1e-9);
    again = split; // pieces meet only at their ends
    ASSERT_EQ(again.Split(1e-9), split.size());
    // At given nodes: segment by segment.
    std::vector<CPoint2D> nodes{{std::nan(""), 1}};
    for (int i = 0; i < 200; ++i)
      nodes.push_back(v[std::uniform_int_distribution<std::size_t>(0, v.size() - 1)(rng)].Point(i / 200.0));
    for (const CSegment& s : v)
      s.Split(static_cast<unsigned>(nodes.size()), nodes.data(), 1e-6, nodeReference);
    ASSERT_EQ(atNodes.Split(static_cast<unsigned>(nodes.size()), nodes.data(), 1e-6), nodeReference.size());
    ASSERT_TRUE(std::equal(atNodes.begin(), atNodes.end(), nodeReference.begin(), nodeReference.end()));
  }
  // Only the finite segments are split; a negative tolerance splits nothing.
  VSegment bad{{{std::nan(""), 0}, {1, 1}}, {{0, 0}, {HUGE_VAL, 1}}, {{0, 1}, {1, 0}}, {{0, 0}, {1, 1}}};
  CPoint2D lo, hi;
  EXPECT_EQ(bad.Split(1e-9), 6u);
  EXPECT_EQ(bad.Split(-1.0), 6u);
  EXPECT_TRUE(bad.GetBox(lo, hi) == 1 && lo == CPoint2D(0, 0) && hi == CPoint2D(HUGE_VAL, 1)); // NaN ignored
  EXPECT_TRUE(VSegment().GetBox(lo, hi) == 0 && lo == CPoint2D() && hi == CPoint2D());
}

} // namespace
} // namespace zel
