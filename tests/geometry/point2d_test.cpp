#include "zeltools/geometry/point2d.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/random_points.h"

namespace zel {
namespace {

using test::RandomPoint2D;
constexpr double kPi = 3.141592653589793;
const double kNaN = std::nan("");

TEST(CPoint2D, CompareIsOneOrZeroAndLessIsAlwaysFalse) {
  // Coordinates from a small set, so that ties in x and equal points are frequent.
  std::mt19937_64 rng(7);
  std::uniform_int_distribution<int> d(-2, 2);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p(d(rng), d(rng)), q(d(rng), d(rng));
    ASSERT_EQ(p.Compare(q), std::tie(p.x, p.y) < std::tie(q.x, q.y) ? 1 : 0);
    ASSERT_FALSE(p < q);
    ASSERT_EQ(p.IsEqual(q, 1), std::fabs(p.x - q.x) <= 1 && std::fabs(p.y - q.y) <= 1 ? 1 : 0);
  }
  EXPECT_EQ(CPoint2D(1, 2).IsEqual({1, kNaN}, 1e300), 0);
}

TEST(CPoint2D, MeasuresOnRandomInput) {
  std::mt19937_64 rng(3);
  int clamped = 0;
  for (int k = 0; k < 3000; ++k) {
    const CPoint2D o = RandomPoint2D(rng), a = RandomPoint2D(rng), b = RandomPoint2D(rng), p = RandomPoint2D(rng);
    const CPoint2D u = a - o, v = b - o;
    ASSERT_EQ(a.Distance(b), b.Distance(a));
    ASSERT_EQ(o.Angle(a, b), o.Angle(b, a));
    ASSERT_NEAR(o.Angle(a, b), std::fabs(std::atan2(u.x * v.y - u.y * v.x, u.x * v.x + u.y * v.y)) * 180 / kPi, 1e-6);
    // With itself the cosine may round above 1: clamped to exactly 0, and 180 with the mirror, never NaN.
    const double self = (u.x * u.x + u.y * u.y) / (u.Length() * u.Length());
    ASSERT_TRUE(self > 1 ? o.Angle(a, a) == 0 && CPoint2D().Angle(u, -u) == 180 : o.Angle(a, a) < 1e-5);
    clamped += self > 1;
    const double d = std::uniform_real_distribution<double>(-20, 20)(rng);
    CPoint2D moved = a;
    ASSERT_TRUE(moved.Shift(b, d, 1e-9) && std::fabs(a.Distance(moved) - std::fabs(d)) < 1e-12);
    ASSERT_NEAR(moved.DistanceLine(a, b), 0.0, 1e-12);
    // Collinearity does not depend on the order; exactly collinear points pass.
    const CPoint2D c = a + (b - a) * (d / 8) + (k % 2 ? CPoint2D(0.05, -0.07) : CPoint2D());
    const unsigned char r = a.IsCollinear(b, c, 0.01);
    ASSERT_TRUE(r == b.IsCollinear(c, a, 0.01) && r == c.IsCollinear(a, b, 0.01) && r == b.IsCollinear(a, c, 0.01));
    ASSERT_TRUE(k % 2 || r == 1);
    // The sector at o: p is inside when its polar angle from a's is below b's.
    const auto from = [&](const CPoint2D& q) {
      const double turn = std::atan2(q.y - o.y, q.x - o.x) - std::atan2(u.y, u.x);
      return turn < 0 ? turn + 2 * kPi : turn;
    };
    const double sweep = from(b), at = from(p);
    if (std::fabs(at - sweep) > 1e-6 && at > 1e-6 && 2 * kPi - at > 1e-6)
      ASSERT_EQ(o.InSector(a, b, p, 1e-12), at < sweep ? 1 : 0) << k;
  }
  EXPECT_GT(clamped, 20);
  // 180 is multiplied in before the division by pi, to the last bit.
  EXPECT_EQ(CPoint2D().Angle({1, 0}, {1, 2}), std::acos(1.0 / std::sqrt(5.0)) * 180.0 / kPi);
  EXPECT_EQ(CPoint2D().Angle({}, {0, 1}), 0.0);
}

TEST(CPoint2D, LineIsNormalisedWithDistancePositiveOnTheRight) {
  double a = 9, b = 9, c = 9, la, lb, lc;
  EXPECT_EQ(CPoint2D::Line({2, 3}, {2, 3}, a, b, c), 0);
  EXPECT_TRUE(a == 0 && b == 0 && c == 0 && CPoint2D(5, 7).DistanceLine({2, 3}, {2, 3}) == 0);
  std::mt19937_64 rng(5);
  for (int k = 0; k < 1000; ++k) {
    const CPoint2D p1 = RandomPoint2D(rng), p2 = RandomPoint2D(rng), right = p1 + CPoint2D(p2.y - p1.y, p1.x - p2.x);
    ASSERT_EQ(CPoint2D::Line(p1, p2, la, lb, lc), 1);
    ASSERT_NEAR(la * la + lb * lb, 1.0, 1e-14);
    ASSERT_TRUE(std::fabs(p1.DistanceLine(p1, p2)) < 1e-13 && std::fabs(p2.DistanceLine(p1, p2)) < 1e-13);
    ASSERT_NEAR(right.DistanceLine(p1, p2), p1.Distance(p2), 1e-12);
    // LineA is the same line, negated where needed to make a >= 0.
    CPoint2D::LineA(p1, p2, a, b, c);
    const double sign = a == la ? 1.0 : -1.0;
    ASSERT_TRUE(a >= 0 && a == sign * la && b == sign * lb && c == sign * lc);
  }
  // a = 0 with b < 0 from Line: b and c negated.
  EXPECT_TRUE(CPoint2D::LineA({0, 4}, {3, 4}, a, b, c) && a == 0 && b == 1 && c == -4);
  // The degenerate line negates c alone: 0 becomes -0.
  EXPECT_TRUE(!CPoint2D::LineA({3, 4}, {3, 4}, a, b, c) && c == 0 && std::signbit(c) && !std::signbit(a));
}

TEST(CPoint2D, IntersectionsLieOnBothLinesAndWithinTheSegments) {
  std::mt19937_64 rng(17);
  int hits = 0, misses = 0;
  CPoint2D out(5, 5);
  for (int k = 0; k < 5000; ++k) {
    const CPoint2D p1 = RandomPoint2D(rng), p2 = RandomPoint2D(rng), p3 = RandomPoint2D(rng), p4 = RandomPoint2D(rng);
    // p1 + s(p2 - p1) = p3 + t(p4 - p3), away from the ends.
    const CPoint2D d1 = p2 - p1, d2 = p4 - p3, w = p3 - p1;
    const double den = d1.x * d2.y - d1.y * d2.x;
    const double s = (w.x * d2.y - w.y * d2.x) / den, t = (w.x * d1.y - w.y * d1.x) / den;
    const auto away = [](double u) { return std::fabs(u) > 1e-6 && std::fabs(u - 1) > 1e-6; };
    if (std::fabs(den) < 1e-6 || !away(s) || !away(t))
      continue;
    ASSERT_EQ(CPoint2D::CrossLineLine(p1, p2, p3, p4, out), 1);
    ASSERT_TRUE(out.IsEqual(p1 + d1 * s, 1e-6) && out.IsEqual(p3 + d2 * t, 1e-6));
    const bool onFirst = s > 0 && s < 1, onBoth = onFirst && t > 0 && t < 1;
    ASSERT_EQ(CPoint2D::CrossSegmentLine(p1, p2, p3, p4, out, 1e-9), onFirst ? 1 : 0);
    ASSERT_EQ(CPoint2D::CrossSegmentSegment(p1, p2, p3, p4, out, 1e-9), onBoth ? 1 : 0);
    onBoth ? ++hits : ++misses;
  }
  EXPECT_TRUE(hits > 200 && misses > 200);
  // Parallel or degenerate lines give (0, 0); nearly parallel ones meet far away.
  EXPECT_TRUE(!CPoint2D::CrossLineLine({0, 0}, {1, 0}, {0, 1}, {3, 1}, out) && out == CPoint2D());
  out = {5, 5};
  EXPECT_TRUE(!CPoint2D::CrossLineLine({0, 0}, {0, 0}, {0, 1}, {3, 2}, out) && out == CPoint2D());
  EXPECT_TRUE(CPoint2D::CrossLineLine({0, 0}, {1, 0}, {0, 1}, {1, 1 - 1e-12}, out) && out.x > 1e11);
  EXPECT_TRUE(!CPoint2D::CrossSegmentLine({0, 0}, {2, 0}, {2.5, 0}, {2.5, 1}, out, 0.49) && out == CPoint2D(2.5, 0));
}

enum Predicate { kInSegment, kIsCollinear, kInSector, kSegmentLine, kSegmentSegment };

TEST(CPoint2D, TolerantPredicatesIncludeTheirBounds) {
  // v.InSegment(a, b), v.IsCollinear(a, b), v.InSector(a, b, p), and the
  // segment v-a against the line or segment b-p; each bound met, then missed.
  const struct { Predicate what; CPoint2D v, a, b, p; double tol; int expected; } cases[] = {
      {kInSegment, {4.1, 0}, {0, 0}, {4, 0}, {}, 0.1, 1},   {kInSegment, {4.11, 0}, {0, 0}, {4, 0}, {}, 0.1, 0},
      {kInSegment, {1, 0}, {0, 0}, {2, 2}, {}, 0.1, 0},     {kInSegment, {1.1, 0.9}, {1, 1}, {1, 1}, {}, 0.1, 1},
      {kIsCollinear, {0, 0.1}, {-1, 0}, {1, 0}, {}, 0.1, 1}, {kIsCollinear, {0, 0.1}, {-1, 0}, {1, 0}, {}, 0.099, 0},
      {kInSector, {0, 0}, {1, 0}, {0, 1}, {5, -0.1}, 0.1, 1}, {kInSector, {0, 0}, {1, 0}, {0, 1}, {5, -0.11}, 0.1, 0},
      {kInSector, {0, 0}, {1, 0}, {0, 1}, {-0.1, 0}, 0.1, 1}, {kInSector, {0, 0}, {1, 0}, {0, 1}, {-0.2, 0}, 0.1, 0},
      {kInSector, {0, 0}, {1, 0}, {2, 0}, {3, 0}, 0, 1},    {kInSector, {0, 0}, {1, 0}, {2, 0}, {1, 1}, 0, 0},
      {kInSector, {0, 0}, {0, 0}, {0, 1}, {1, 1}, 0, 0},    {kSegmentLine, {0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, 0.5, 1},
      {kSegmentSegment, {0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, 1.0, 1},
      {kSegmentSegment, {0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, 0.99, 0},
      {kSegmentSegment, {0, 0}, {2, 0}, {1, 0}, {3, 0}, 1.0, 0}}; // an overlap is parallel
  CPoint2D out;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& t = cases[i];
    const int got = t.what == kInSegment     ? t.v.InSegment(t.a, t.b, t.tol)
                    : t.what == kIsCollinear ? t.v.IsCollinear(t.a, t.b, t.tol)
                    : t.what == kInSector    ? t.v.InSector(t.a, t.b, t.p, t.tol)
                    : t.what == kSegmentLine ? CPoint2D::CrossSegmentLine(t.v, t.a, t.b, t.p, out, t.tol)
                                             : CPoint2D::CrossSegmentSegment(t.v, t.a, t.b, t.p, out, t.tol);
    EXPECT_EQ(got, t.expected) << "case " << i;
  }
}

TEST(CPoint2D, PolygonsAgainstShoelaceAndWindingNumber) {
  // Random polygons, self-intersecting ones included: the area is the
  // shoelace sum, unchanged by a cyclic shift, negated by a reversal; away
  // from the boundary the crossing parity is the winding number's parity.
  std::mt19937_64 rng(37);
  int inside = 0, outside = 0;
  for (int k = 0; k < 400; ++k) {
    std::vector<CPoint2D> v(std::uniform_int_distribution<std::size_t>(3, 10)(rng));
    for (auto& p : v)
      p = RandomPoint2D(rng);
    const auto n = static_cast<unsigned>(v.size());
    const double area = CPoint2D::AreaPolygon(n, v.data());
    double shoelace = 0;
    for (unsigned i = 0; i < n; ++i)
      shoelace += v[i].x * v[(i + 1) % n].y - v[(i + 1) % n].x * v[i].y;
    ASSERT_NEAR(area, shoelace / 2, 1e-10);
    std::rotate(v.begin(), v.begin() + std::uniform_int_distribution<unsigned>(0, n - 1)(rng), v.end());
    ASSERT_NEAR(CPoint2D::AreaPolygon(n, v.data()), area, 1e-10);
    std::reverse(v.begin(), v.end());
    ASSERT_NEAR(CPoint2D::AreaPolygon(n, v.data()), -area, 1e-10);
    for (int q = 0; q < 30; ++q) {
      const CPoint2D p = RandomPoint2D(rng, -12, 12);
      double turn = 0;
      bool clear = true;
      for (unsigned i = 0; i < n; ++i) {
        const CPoint2D a = v[i] - p, b = v[(i + 1) % n] - p, e = b - a;
        const double t = std::clamp(-(a.x * e.x + a.y * e.y) / (e.x * e.x + e.y * e.y), 0.0, 1.0);
        clear = clear && (a + e * t).Length() > 1e-6 && std::fabs(a.y) > 1e-6;
        turn += std::atan2(a.x * b.y - a.y * b.x, a.x * b.x + a.y * b.y);
      }
      const unsigned char expected = std::lround(turn / (2 * kPi)) % 2 != 0 ? 1 : 0;
      if (clear)
        ASSERT_EQ(CPoint2D::InPolygon(n, v.data(), p, 1e-9, 7), expected);
      (clear && expected) ? ++inside : ++outside;
    }
  }
  EXPECT_TRUE(inside > 500 && outside > 500);
  // The vertex centre, not the centroid: a repeated vertex weighs in.
  const CPoint2D repeated[] = {{0, 0}, {4, 0}, {4, 1}, {0, 1}, {0, 0}};
  CPoint2D c;
  CPoint2D::CentersPolygon(5, repeated, c);
  EXPECT_TRUE(c.IsEqual({1.6, 0.4}, 1e-15) && CPoint2D::AreaPolygon(0, nullptr) == 0);
}

TEST(CPoint2D, InPolygonBoundaryAndVertexNudge) {
  // Rays through the side vertices of the diamond and through the tip of the
  // notch must not count a vertex twice.
  const std::vector<CPoint2D> square{{0, 0}, {2, 0}, {2, 2}, {0, 2}}, diamond{{0, -1}, {1, 0}, {0, 1}, {-1, 0}},
      notch{{0, 0}, {4, 0}, {4, 4}, {2, 2}, {0, 4}}, bad{{kNaN, 0}, {HUGE_VAL, 1}, {0, -HUGE_VAL}, {1, 1}};
  const struct { const std::vector<CPoint2D>* v; CPoint2D p; double tol; unsigned char boundary, expected; } cases[] = {
      {&square, {3, 1}, 1e-9, 1, 0},   {&square, {1, 0}, 1e-9, 0, 0},     {&square, {1, 0}, 1e-9, 1, 1},
      {&square, {2.05, 1}, 0.1, 1, 1}, {&diamond, {0.5, 0}, 1e-12, 0, 1}, {&diamond, {-0.5, 0}, 1e-12, 0, 1},
      {&diamond, {2, 0}, 1e-12, 0, 0}, {&diamond, {-2, 0}, 1e-12, 0, 0},  {&notch, {3, 2}, 1e-12, 0, 1},
      {&notch, {2, 3}, 1e-12, 0, 0},   {&bad, {0.5, 0.5}, 1e-9, 1, 0}};
  for (const auto& t : cases)
    EXPECT_EQ(CPoint2D::InPolygon(static_cast<unsigned>(t.v->size()), t.v->data(), t.p, t.tol, t.boundary),
              t.expected) << t.p.x << ' ' << t.p.y;
  EXPECT_EQ(CPoint2D::InPolygon(0, square.data(), {1, 1}, 1e-9, 1), 0);
  EXPECT_TRUE(std::isnan(CPoint2D::AreaPolygon(4, bad.data())));
}

} // namespace
} // namespace zel
