#include "zeltools/geometry/point2d.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

constexpr double kPi = 3.141592653589793;

CPoint2D RandomPoint(std::mt19937_64& rng, double range = 10.0) {
  std::uniform_real_distribution<double> d(-range, range);
  const double x = d(rng);
  return {x, d(rng)};
}

TEST(CPoint2D, RecordAndExactComparison) {
  CPoint2D p;
  EXPECT_EQ(p.x, 0.0);
  EXPECT_EQ(p.y, 0.0);
  p = {3, 4};
  EXPECT_TRUE(p == CPoint2D(3, 4));
  EXPECT_TRUE(p != CPoint2D(3, std::nextafter(4.0, 5.0)));
  p.Clear();
  EXPECT_TRUE(p == CPoint2D());
  EXPECT_EQ(CPoint2D(1, 2).IsEqual({1.5, 2.5}, 0.5), 1); // both bounds inclusive
  EXPECT_EQ(CPoint2D(1, 2).IsEqual({1.5, 2.5}, 0.4999), 0);
  EXPECT_EQ(CPoint2D(1, 2).IsEqual({1, std::nan("")}, 1e300), 0);
}

TEST(CPoint2D, CompareIsOneOrZeroAndLessIsAlwaysFalse) {
  EXPECT_EQ(CPoint2D(1, 2).Compare({1, 3}), 1);
  EXPECT_EQ(CPoint2D(1, 3).Compare({1, 2}), 0);
  EXPECT_EQ(CPoint2D(1, 2).Compare({1, 2}), 0);
  EXPECT_FALSE(CPoint2D(1, 2) < CPoint2D(1, 3));
  EXPECT_FALSE(CPoint2D(1, 3) < CPoint2D(1, 2));
  EXPECT_FALSE(CPoint2D(1, 2) < CPoint2D(1, 2));

  // Against the lexicographic order of a tuple, on coordinates drawn from a
  // small set so that ties in x are frequent.
  std::mt19937_64 rng(7);
  std::uniform_int_distribution<int> d(-2, 2);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p(d(rng), d(rng)), q(d(rng), d(rng));
    const int expected = std::tie(p.x, p.y) < std::tie(q.x, q.y) ? 1 : 0;
    ASSERT_EQ(p.Compare(q), expected);
    ASSERT_FALSE(p < q);
  }
}

TEST(CPoint2D, MeasuresOnExamples) {
  const CPoint2D o(0, 0), ex(1, 0), ey(0, 1);
  EXPECT_EQ(o.Area(ex, ey), 1.0); // twice the triangle, not 0.5
  EXPECT_EQ(o.Area(ey, ex), 1.0);
  EXPECT_EQ(CPoint2D(1, 1).ScalarProduct({3, 1}, {4, 5}), 6.0);
  EXPECT_EQ(o.Distance({3, 4}), 5.0);
  EXPECT_EQ(CPoint2D(3, 4).Length(), 5.0);
  EXPECT_DOUBLE_EQ(o.Angle(ex, ey), 90.0);
  EXPECT_DOUBLE_EQ(o.Angle(ex, {-1, 1}), 135.0);
  // The conversion multiplies by 180 before dividing by pi, to the last bit.
  EXPECT_EQ(o.Angle({1, 0}, {1, 2}), std::acos(1.0 / (1.0 * std::sqrt(5.0))) * 180.0 / 3.141592653589793);
  EXPECT_EQ(o.Angle(o, ey), 0.0);
  EXPECT_EQ(o.Angle(ex, o), 0.0);
}

TEST(CPoint2D, AngleClampsARoundedCosine) {
  // A direction against itself: the cosine s / (sqrt(s)·sqrt(s)) rounds on
  // either side of 1; above 1 it must give exactly 0, not NaN. The mirrored
  // direction must give exactly 180 when the cosine rounds below -1.
  std::mt19937_64 rng(11);
  int above = 0, below = 0;
  for (int k = 0; k < 20000 && (above < 5 || below < 5); ++k) {
    const CPoint2D a = RandomPoint(rng);
    const double s = a.x * a.x + a.y * a.y;
    const double l = std::sqrt(s);
    if (s / (l * l) > 1.0) {
      ++above;
      EXPECT_EQ(CPoint2D().Angle(a, a), 0.0);
      EXPECT_EQ(CPoint2D().Angle(a, -a), 180.0);
    }
    if (s / (l * l) < 1.0)
      ++below;
    EXPECT_FALSE(std::isnan(CPoint2D().Angle(a, a)));
  }
  EXPECT_GE(above, 5);
  EXPECT_GE(below, 5);
}

TEST(CPoint2D, MeasuresOnRandomInput) {
  std::mt19937_64 rng(3);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D o = RandomPoint(rng), a = RandomPoint(rng), b = RandomPoint(rng);
    ASSERT_EQ(a.Distance(b), b.Distance(a));
    ASSERT_LE(a.Distance(b), a.Distance(o) + o.Distance(b) + 1e-12);
    ASSERT_EQ(o.Area(a, b), o.Area(b, a));
    // Twice the triangle area whichever vertex is common.
    ASSERT_NEAR(o.Area(a, b), a.Area(b, o), 1e-9);
    ASSERT_EQ(o.ScalarProduct(a, b), o.ScalarProduct(b, a));
    const double angle = o.Angle(a, b);
    ASSERT_EQ(angle, o.Angle(b, a));
    const double ref = std::fabs(std::atan2((a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x),
                                            (a.x - o.x) * (b.x - o.x) + (a.y - o.y) * (b.y - o.y))) *
                       180.0 / kPi;
    ASSERT_NEAR(angle, ref, 1e-6);
  }
}

TEST(CPoint2D, LineIsNormalisedWithDistancePositiveOnTheRight) {
  double a = 9, b = 9, c = 9;
  EXPECT_EQ(CPoint2D::Line({2, 3}, {2, 3}, a, b, c), 0);
  EXPECT_EQ(a, 0.0);
  EXPECT_EQ(b, 0.0);
  EXPECT_EQ(c, 0.0);
  EXPECT_EQ(CPoint2D(5, 7).DistanceLine({2, 3}, {2, 3}), 0.0);

  ASSERT_EQ(CPoint2D::Line({0, 0}, {2, 0}, a, b, c), 1);
  EXPECT_EQ(a, 0.0);
  EXPECT_EQ(b, -1.0);
  EXPECT_EQ(CPoint2D(1, -3).DistanceLine({0, 0}, {2, 0}), 3.0); // right of the direction
  EXPECT_EQ(CPoint2D(1, 3).DistanceLine({0, 0}, {2, 0}), -3.0);

  std::mt19937_64 rng(5);
  for (int k = 0; k < 1000; ++k) {
    const CPoint2D p1 = RandomPoint(rng), p2 = RandomPoint(rng);
    ASSERT_EQ(CPoint2D::Line(p1, p2, a, b, c), 1);
    ASSERT_NEAR(a * a + b * b, 1.0, 1e-14);
    ASSERT_NEAR(p1.DistanceLine(p1, p2), 0.0, 1e-13);
    ASSERT_NEAR(p2.DistanceLine(p1, p2), 0.0, 1e-13);
    // The reversed line has the opposite orientation.
    const CPoint2D q = RandomPoint(rng);
    ASSERT_NEAR(q.DistanceLine(p1, p2), -q.DistanceLine(p2, p1), 1e-12);
  }
}

TEST(CPoint2D, LineANormalisesTheSign) {
  double a, b, c;
  ASSERT_EQ(CPoint2D::LineA({1, 5}, {1, 2}, a, b, c), 1); // Line gives a = -1
  EXPECT_EQ(a, 1.0);
  EXPECT_EQ(b, 0.0);
  EXPECT_EQ(c, -1.0);
  ASSERT_EQ(CPoint2D::LineA({0, 4}, {3, 4}, a, b, c), 1); // Line gives a = 0, b = -1
  EXPECT_EQ(a, 0.0);
  EXPECT_EQ(b, 1.0);
  EXPECT_EQ(c, -4.0);
  ASSERT_EQ(CPoint2D::LineA({3, 4}, {0, 4}, a, b, c), 1); // a = 0, b = 1: kept
  EXPECT_EQ(b, 1.0);
  EXPECT_EQ(c, -4.0);
  // The degenerate line negates c alone: 0 becomes -0.
  ASSERT_EQ(CPoint2D::LineA({3, 4}, {3, 4}, a, b, c), 0);
  EXPECT_EQ(c, 0.0);
  EXPECT_TRUE(std::signbit(c));
  EXPECT_FALSE(std::signbit(a));

  std::mt19937_64 rng(8);
  for (int k = 0; k < 500; ++k) {
    const CPoint2D p1 = RandomPoint(rng), p2 = RandomPoint(rng);
    double la, lb, lc;
    CPoint2D::Line(p1, p2, la, lb, lc);
    CPoint2D::LineA(p1, p2, a, b, c);
    ASSERT_GE(a, 0.0);
    const double sign = a == la ? 1.0 : -1.0;
    ASSERT_EQ(a, sign * la);
    ASSERT_EQ(b, sign * lb);
    ASSERT_EQ(c, sign * lc);
    // Same line from either end after normalisation.
    double ra, rb, rc;
    CPoint2D::LineA(p2, p1, ra, rb, rc);
    ASSERT_NEAR(ra, a, 1e-14);
    ASSERT_NEAR(rb, b, 1e-14);
    ASSERT_NEAR(rc, c, 1e-12);
  }
}

TEST(CPoint2D, CrossLineLineWithoutToleranceOnTheDeterminant) {
  CPoint2D out(5, 5);
  EXPECT_EQ(CPoint2D::CrossLineLine({0, 0}, {1, 0}, {0, 1}, {3, 1}, out), 0); // parallel
  EXPECT_TRUE(out == CPoint2D(0, 0));
  out = {5, 5};
  EXPECT_EQ(CPoint2D::CrossLineLine({0, 0}, {0, 0}, {0, 1}, {3, 2}, out), 0); // degenerate
  EXPECT_TRUE(out == CPoint2D(0, 0));
  ASSERT_EQ(CPoint2D::CrossLineLine({0, 0}, {2, 2}, {0, 2}, {2, 0}, out), 1);
  EXPECT_NEAR(out.x, 1.0, 1e-15);
  EXPECT_NEAR(out.y, 1.0, 1e-15);
  // Nearly parallel lines still meet, far away.
  ASSERT_EQ(CPoint2D::CrossLineLine({0, 0}, {1, 0}, {0, 1}, {1, 1 - 1e-12}, out), 1);
  EXPECT_GT(out.x, 1e11);

  std::mt19937_64 rng(13);
  for (int k = 0; k < 2000; ++k) {
    const CPoint2D p1 = RandomPoint(rng), p2 = RandomPoint(rng), p3 = RandomPoint(rng), p4 = RandomPoint(rng);
    double a1, b1, c1, a2, b2, c2;
    CPoint2D::Line(p1, p2, a1, b1, c1);
    CPoint2D::Line(p3, p4, a2, b2, c2);
    const double det = a1 * b2 - a2 * b1;
    ASSERT_EQ(CPoint2D::CrossLineLine(p1, p2, p3, p4, out), 1);
    const double slack = 1e-13 * (10.0 + std::fabs(out.x) + std::fabs(out.y)) / std::fabs(det);
    ASSERT_NEAR(out.DistanceLine(p1, p2), 0.0, slack);
    ASSERT_NEAR(out.DistanceLine(p3, p4), 0.0, slack);
  }
}

// Parameters of the intersection of p1 + s(p2 - p1) with p3 + t(p4 - p3).
bool Parameters(const CPoint2D& p1, const CPoint2D& p2, const CPoint2D& p3, const CPoint2D& p4, double& s,
                double& t) {
  const CPoint2D d1 = p2 - p1, d2 = p4 - p3, w = p3 - p1;
  const double den = d1.x * d2.y - d1.y * d2.x;
  if (std::fabs(den) < 1e-6)
    return false;
  s = (w.x * d2.y - w.y * d2.x) / den;
  t = (w.x * d1.y - w.y * d1.x) / den;
  return true;
}

TEST(CPoint2D, SegmentIntersectionsAgainstParametricReference) {
  std::mt19937_64 rng(17);
  int hits = 0, misses = 0;
  const double tol = 1e-9;
  for (int k = 0; k < 5000; ++k) {
    const CPoint2D p1 = RandomPoint(rng), p2 = RandomPoint(rng), p3 = RandomPoint(rng), p4 = RandomPoint(rng);
    double s, t;
    if (!Parameters(p1, p2, p3, p4, s, t))
      continue;
    const auto away = [](double u) { return std::fabs(u) > 1e-6 && std::fabs(u - 1) > 1e-6; };
    if (!away(s) || !away(t))
      continue;
    CPoint2D out;
    const bool onFirst = s > 0 && s < 1, onSecond = t > 0 && t < 1;
    ASSERT_EQ(CPoint2D::CrossSegmentLine(p1, p2, p3, p4, out, tol), onFirst ? 1 : 0);
    ASSERT_EQ(CPoint2D::CrossSegmentSegment(p1, p2, p3, p4, out, tol), (onFirst && onSecond) ? 1 : 0);
    ASSERT_NEAR(out.x, p1.x + s * (p2.x - p1.x), 1e-6);
    (onFirst && onSecond) ? ++hits : ++misses;
  }
  EXPECT_GT(hits, 200);
  EXPECT_GT(misses, 200);
}

TEST(CPoint2D, SegmentToleranceIsInclusiveAtTheEnds) {
  CPoint2D out;
  // The line x = 2.5 meets the segment (0,0)-(2,0) 0.5 beyond its end.
  EXPECT_EQ(CPoint2D::CrossSegmentLine({0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, out, 0.5), 1);
  EXPECT_TRUE(out == CPoint2D(2.5, 0));
  EXPECT_EQ(CPoint2D::CrossSegmentLine({0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, out, 0.49), 0);
  EXPECT_TRUE(out == CPoint2D(2.5, 0)); // kept on failure
  // Beyond by 0.5 makes the distance sum exceed the length by 1.
  EXPECT_EQ(CPoint2D::CrossSegmentSegment({0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, out, 1.0), 1);
  EXPECT_EQ(CPoint2D::CrossSegmentSegment({0, 0}, {2, 0}, {2.5, -1}, {2.5, 1}, out, 0.99), 0);
  // Collinear overlapping segments are parallel: no single intersection.
  EXPECT_EQ(CPoint2D::CrossSegmentSegment({0, 0}, {2, 0}, {1, 0}, {3, 0}, out, 1.0), 0);
}

TEST(CPoint2D, InSegmentBoxThenLine) {
  const CPoint2D p1(0, 0), p2(4, 0);
  EXPECT_EQ(CPoint2D(2, 0).InSegment(p1, p2, 0), 1);
  EXPECT_EQ(CPoint2D(2, 0.1).InSegment(p1, p2, 0.1), 1);
  EXPECT_EQ(CPoint2D(2, 0.11).InSegment(p1, p2, 0.1), 0);
  EXPECT_EQ(CPoint2D(4.1, 0).InSegment(p1, p2, 0.1), 1); // box widened at the ends
  EXPECT_EQ(CPoint2D(4.11, 0).InSegment(p1, p2, 0.1), 0);
  // A slanted segment: the box passes but the line test fails.
  EXPECT_EQ(CPoint2D(1, 0).InSegment({0, 0}, {2, 2}, 0.1), 0);
  EXPECT_EQ(CPoint2D(1, 1.05).InSegment({0, 0}, {2, 2}, 0.1), 1);
  // Coinciding ends: only the box applies.
  EXPECT_EQ(CPoint2D(1.1, 0.9).InSegment({1, 1}, {1, 1}, 0.1), 1);
  EXPECT_EQ(CPoint2D(1.2, 1).InSegment({1, 1}, {1, 1}, 0.1), 0);
  EXPECT_EQ(CPoint2D(std::nan(""), 0).InSegment(p1, p2, 1.0), 0);
}

TEST(CPoint2D, ShiftMovesAlongTheDirection) {
  CPoint2D p(1, 1);
  EXPECT_EQ(p.Shift({4, 5}, 10, 0), 1);
  EXPECT_NEAR(p.x, 7.0, 1e-14);
  EXPECT_NEAR(p.y, 9.0, 1e-14);
  p = {1, 1};
  EXPECT_EQ(p.Shift({4, 5}, -5, 0), 1);
  EXPECT_NEAR(p.x, -2.0, 1e-14);
  EXPECT_NEAR(p.y, -3.0, 1e-14);
  p = {1, 1};
  EXPECT_EQ(p.Shift({1, 1}, 3, 0), 0);
  EXPECT_EQ(p.Shift({1.5, 1}, 3, 0.5), 0); // inclusive: 0.5 apart is no direction
  EXPECT_TRUE(p == CPoint2D(1, 1));

  std::mt19937_64 rng(19);
  for (int k = 0; k < 500; ++k) {
    const CPoint2D from = RandomPoint(rng), to = RandomPoint(rng);
    const double d = std::uniform_real_distribution<double>(-20, 20)(rng);
    CPoint2D moved = from;
    ASSERT_EQ(moved.Shift(to, d, 1e-9), 1);
    ASSERT_NEAR(from.Distance(moved), std::fabs(d), 1e-12);
    ASSERT_NEAR(moved.DistanceLine(from, to), 0.0, 1e-12);
  }
}

TEST(CPoint2D, IsCollinearDoesNotDependOnTheOrder) {
  EXPECT_EQ(CPoint2D(0, 0).IsCollinear({1, 1}, {3, 3}, 0), 1);
  EXPECT_EQ(CPoint2D(0, 0).IsCollinear({1, 1}, {3, 4}, 0.1), 0);
  EXPECT_EQ(CPoint2D(0, 0).IsCollinear({0, 0}, {5, 7}, 0), 1);  // two coincide
  EXPECT_EQ(CPoint2D(0, 0).IsCollinear({0.1, 0}, {0, 0.1}, 0.1), 1); // all within tol
  // Middle point 0.1 off the line through the outer two: inclusive.
  EXPECT_EQ(CPoint2D(-1, 0).IsCollinear({0, 0.1}, {1, 0}, 0.1), 1);
  EXPECT_EQ(CPoint2D(0, 0.1).IsCollinear({-1, 0}, {1, 0}, 0.1), 1);
  EXPECT_EQ(CPoint2D(0, 0.1).IsCollinear({-1, 0}, {1, 0}, 0.099), 0);

  std::mt19937_64 rng(23);
  for (int k = 0; k < 1000; ++k) {
    const CPoint2D a = RandomPoint(rng), b = RandomPoint(rng);
    const double s = std::uniform_real_distribution<double>(-2, 3)(rng);
    const CPoint2D off = std::uniform_int_distribution<int>(0, 1)(rng) ? CPoint2D(0.05, -0.07) : CPoint2D();
    const CPoint2D c = a + (b - a) * s + off;
    const unsigned char r = a.IsCollinear(b, c, 0.01);
    ASSERT_EQ(r, b.IsCollinear(c, a, 0.01));
    ASSERT_EQ(r, c.IsCollinear(a, b, 0.01));
    ASSERT_EQ(r, b.IsCollinear(a, c, 0.01));
    if (off == CPoint2D())
      ASSERT_EQ(r, 1);
  }
}

TEST(CPoint2D, InSectorSweepsCounterClockwise) {
  const CPoint2D o(0, 0), ex(1, 0), ey(0, 1);
  EXPECT_EQ(o.InSector(ex, ey, {1, 1}, 0), 1);
  EXPECT_EQ(o.InSector(ex, ey, {-1, 1}, 0), 0);
  EXPECT_EQ(o.InSector(ey, ex, {-1, 1}, 0), 1); // the reflex sweep of 270 degrees
  EXPECT_EQ(o.InSector(ey, ex, {1, 1}, 0), 0);
  EXPECT_EQ(o.InSector(ex, ey, {5, 0}, 0), 1); // on a ray
  EXPECT_EQ(o.InSector(ex, ey, {5, -0.1}, 0.1), 1);
  EXPECT_EQ(o.InSector(ex, ey, {5, -0.11}, 0.1), 0);
  EXPECT_EQ(o.InSector(ex, ey, {-0.1, 0}, 0.1), 1); // behind the vertex by tol
  EXPECT_EQ(o.InSector(ex, ey, {-0.2, 0}, 0.1), 0);
  EXPECT_EQ(o.InSector(ex, ey, o, 0), 1);
  EXPECT_EQ(o.InSector(ex, {-1, 0}, {0, 1}, 0), 1); // half plane
  EXPECT_EQ(o.InSector(ex, {-1, 0}, {0, -1}, 0), 0);
  EXPECT_EQ(o.InSector(ex, {2, 0}, {1, 1}, 0), 0); // sweep 0: only the ray
  EXPECT_EQ(o.InSector(ex, {2, 0}, {3, 0}, 0), 1);
  EXPECT_EQ(o.InSector(o, ey, {1, 1}, 0), 0); // no direction

  // Against polar angles: p is inside when its angle from a is below b's.
  std::mt19937_64 rng(29);
  for (int k = 0; k < 3000; ++k) {
    const CPoint2D v = RandomPoint(rng), a = RandomPoint(rng), b = RandomPoint(rng), p = RandomPoint(rng);
    const auto polar = [&v](const CPoint2D& q) { return std::atan2(q.y - v.y, q.x - v.x); };
    const auto from = [&](double angle) {
      double r = angle - polar(a);
      while (r < 0)
        r += 2 * kPi;
      return r;
    };
    const double sweep = from(polar(b)), at = from(polar(p));
    if (std::fabs(at - sweep) < 1e-6 || at < 1e-6 || 2 * kPi - at < 1e-6)
      continue;
    ASSERT_EQ(v.InSector(a, b, p, 1e-12), at < sweep ? 1 : 0) << k;
  }
}

TEST(CPoint2D, PolygonAreaAndCentre) {
  const CPoint2D ccw[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  const CPoint2D cw[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
  EXPECT_EQ(CPoint2D::AreaPolygon(4, ccw), 1.0);
  EXPECT_EQ(CPoint2D::AreaPolygon(4, cw), -1.0);
  EXPECT_EQ(CPoint2D::AreaPolygon(0, nullptr), 0.0);

  const CPoint2D repeated[] = {{0, 0}, {4, 0}, {4, 1}, {0, 1}, {0, 0}};
  double cx = 9, cy = 9;
  CPoint2D::CentersPolygon(5, repeated, cx, cy);
  EXPECT_DOUBLE_EQ(cx, 1.6);
  EXPECT_DOUBLE_EQ(cy, 0.4);
  CPoint2D c;
  CPoint2D::CentersPolygon(5, repeated, c);
  EXPECT_EQ(c.x, cx);
  EXPECT_EQ(c.y, cy);
  CPoint2D::CentersPolygon(0, nullptr, cx, cy);
  EXPECT_EQ(cx, 0.0);
  EXPECT_EQ(cy, 0.0);
}

TEST(CPoint2D, PolygonAreaInvariants) {
  std::mt19937_64 rng(31);
  for (int k = 0; k < 300; ++k) {
    const unsigned n = std::uniform_int_distribution<unsigned>(1, 12)(rng);
    std::vector<CPoint2D> v(n);
    for (auto& p : v)
      p = RandomPoint(rng);
    const double area = CPoint2D::AreaPolygon(n, v.data());
    double shoelace = 0;
    for (unsigned i = 0; i < n; ++i)
      shoelace += v[i].x * v[(i + 1) % n].y - v[(i + 1) % n].x * v[i].y;
    ASSERT_NEAR(area, shoelace / 2, 1e-10);
    std::vector<CPoint2D> w = v;
    std::rotate(w.begin(), w.begin() + std::uniform_int_distribution<unsigned>(0, n - 1)(rng), w.end());
    ASSERT_NEAR(CPoint2D::AreaPolygon(n, w.data()), area, 1e-10);
    std::reverse(w.begin(), w.end());
    ASSERT_NEAR(CPoint2D::AreaPolygon(n, w.data()), -area, 1e-10);
    // Translation does not change the area.
    for (auto& p : w)
      p += CPoint2D(3.5, -1.25);
    ASSERT_NEAR(CPoint2D::AreaPolygon(n, w.data()), -area, 1e-10);
  }
}

TEST(CPoint2D, InPolygonBoundaryAndVertexNudge) {
  const CPoint2D square[] = {{0, 0}, {2, 0}, {2, 2}, {0, 2}};
  EXPECT_EQ(CPoint2D::InPolygon(4, square, {1, 1}, 1e-9, 0), 1);
  EXPECT_EQ(CPoint2D::InPolygon(4, square, {3, 1}, 1e-9, 1), 0);
  EXPECT_EQ(CPoint2D::InPolygon(4, square, {1, 0}, 1e-9, 0), 0); // on an edge
  EXPECT_EQ(CPoint2D::InPolygon(4, square, {1, 0}, 1e-9, 1), 1);
  EXPECT_EQ(CPoint2D::InPolygon(4, square, {2.05, 1}, 0.1, 1), 1); // within tol of an edge
  EXPECT_EQ(CPoint2D::InPolygon(0, square, {1, 1}, 1e-9, 1), 0);

  // A ray at the height of the left and right vertices of a diamond passes
  // through them; the nudge keeps each vertex from counting twice.
  const CPoint2D diamond[] = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
  EXPECT_EQ(CPoint2D::InPolygon(4, diamond, {0.5, 0}, 1e-12, 0), 1);
  EXPECT_EQ(CPoint2D::InPolygon(4, diamond, {-0.5, 0}, 1e-12, 0), 1);
  EXPECT_EQ(CPoint2D::InPolygon(4, diamond, {2, 0}, 1e-12, 0), 0);
  EXPECT_EQ(CPoint2D::InPolygon(4, diamond, {-2, 0}, 1e-12, 0), 0);
  // A notch whose tip is at the height of the test point.
  const CPoint2D notch[] = {{0, 0}, {4, 0}, {4, 4}, {2, 2}, {0, 4}};
  EXPECT_EQ(CPoint2D::InPolygon(5, notch, {3, 2}, 1e-12, 0), 1);
  EXPECT_EQ(CPoint2D::InPolygon(5, notch, {2, 3}, 1e-12, 0), 0);
}

// Winding number of the closed polygon around p, by summed angles.
int WindingNumber(const std::vector<CPoint2D>& v, const CPoint2D& p) {
  double total = 0;
  for (std::size_t i = 0; i < v.size(); ++i) {
    const CPoint2D a = v[i] - p, b = v[(i + 1) % v.size()] - p;
    total += std::atan2(a.x * b.y - a.y * b.x, a.x * b.x + a.y * b.y);
  }
  return static_cast<int>(std::lround(total / (2 * kPi)));
}

// Distance from p to the segment a-b.
double SegmentDistance(const CPoint2D& p, const CPoint2D& a, const CPoint2D& b) {
  const CPoint2D d = b - a, w = p - a;
  const double len2 = d.x * d.x + d.y * d.y;
  const double t = len2 > 0 ? std::clamp((w.x * d.x + w.y * d.y) / len2, 0.0, 1.0) : 0.0;
  return p.Distance(a + d * t);
}

TEST(CPoint2D, InPolygonAgainstWindingNumberAwayFromTheBoundary) {
  // Random polygons, self-intersecting ones included: the crossing parity is
  // the winding number's parity.
  std::mt19937_64 rng(37);
  int inside = 0, outside = 0;
  for (int k = 0; k < 400; ++k) {
    const unsigned n = std::uniform_int_distribution<unsigned>(3, 10)(rng);
    std::vector<CPoint2D> v(n);
    for (auto& p : v)
      p = RandomPoint(rng);
    for (int q = 0; q < 30; ++q) {
      const CPoint2D p = RandomPoint(rng, 12);
      bool clear = true;
      for (unsigned i = 0; i < n && clear; ++i)
        clear = SegmentDistance(p, v[i], v[(i + 1) % n]) > 1e-6 && std::fabs(p.y - v[i].y) > 1e-6;
      if (!clear)
        continue;
      const unsigned char expected = (WindingNumber(v, p) % 2 != 0) ? 1 : 0;
      ASSERT_EQ(CPoint2D::InPolygon(n, v.data(), p, 1e-9, 7), expected);
      expected ? ++inside : ++outside;
    }
  }
  EXPECT_GT(inside, 500);
  EXPECT_GT(outside, 500);
}

TEST(CPoint2D, BadNumbersDoNotCrash) {
  const double nan = std::nan(""), inf = HUGE_VAL;
  const CPoint2D bad[] = {{nan, 0}, {inf, 1}, {0, -inf}, {1, 1}};
  CPoint2D out;
  double a, b, c;
  for (const auto& p : bad)
    for (const auto& q : bad) {
      (void)p.Angle(q, bad[3]);
      (void)CPoint2D::Line(p, q, a, b, c);
      (void)CPoint2D::CrossSegmentSegment(p, q, bad[3], {2, 0}, out, 1e-9);
      (void)p.InSector(q, bad[3], {0, 0}, 0.1);
      (void)p.IsCollinear(q, bad[3], 0.1);
    }
  EXPECT_EQ(CPoint2D::InPolygon(4, bad, {0.5, 0.5}, 1e-9, 1), 0);
  EXPECT_TRUE(std::isnan(CPoint2D::AreaPolygon(4, bad)));
}

} // namespace
} // namespace zel
