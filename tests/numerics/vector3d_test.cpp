#include "zeltools/numerics/vector3d.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

namespace zel {
namespace {

constexpr double kPi = 3.14159265358979323846;

void ExpectRotation(const double* t, double tolerance = 1e-14) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      EXPECT_NEAR(ScalarProduct(t + 3 * i, t + 3 * j), i == j ? 1.0 : 0.0, tolerance) << i << "," << j;
  double z[3];
  VectorProduct(t, t + 3, z); // right-handed: x′ × y′ = z′
  for (int k = 0; k < 3; ++k)
    EXPECT_NEAR(z[k], t[6 + k], tolerance);
}

void ExpectRows(const double* t, std::initializer_list<double> expected) {
  int k = 0;
  for (double e : expected) {
    EXPECT_EQ(t[k], e) << "entry " << k;
    ++k;
  }
}

TEST(Vectors, RandomProductIdentities) {
  std::mt19937_64 rng(61);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (int trial = 0; trial < 500; ++trial) {
    double a[3], b[3];
    for (int k = 0; k < 3; ++k)
      a[k] = value(rng), b[k] = value(rng);
    double c[3], d[3];
    VectorProduct(a, b, c);
    VectorProduct(b, a, d);
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(c[k], -d[k]);
    const double scale = ScalarProduct(a, a) * ScalarProduct(b, b);
    EXPECT_NEAR(ScalarProduct(c, a), 0.0, 1e-12 * scale);
    EXPECT_NEAR(ScalarProduct(c, b), 0.0, 1e-12 * scale);
    // Lagrange: |a × b|² + (a·b)² = |a|²·|b|².
    const double dot = ScalarProduct(a, b);
    EXPECT_NEAR(ScalarProduct(c, c) + dot * dot, scale, 1e-12 * scale);
    // The output may be an input.
    double alias[3] = {a[0], a[1], a[2]};
    VectorProduct(alias, b, alias);
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(alias[k], c[k]);
    double unit[3] = {a[0], a[1], a[2]};
    EXPECT_EQ(NormVect(unit), NormVector(a));
    EXPECT_NEAR(NormVector(unit), 1.0, 1e-15);
  }
}

// Frames the random tests cannot reach: vertical bars, which have no
// horizontal y′ to follow, bars and vectors of length zero, and the third
// Euler angle alone (the horizontal bars pin the first two).
TEST(DirectionCosines, VerticalEmptyAndEulerFrames) {
  double t[9], ort[3] = {7, 7, 7}, zero[3] = {0, 0, 0};
  const double origin[3] = {0, 0, 0}, up[3] = {0, 0, 3};
  MatrCos(origin, up, 0.0, t);
  ExpectRows(t, {0, 0, 1, 0, 1, 0, -1, 0, 0});
  MatrCos(up, origin, 0.0, t);
  ExpectRows(t, {0, 0, -1, 0, 1, 0, 1, 0, 0});
  for (double& v : t)
    v = 7.0;
  EXPECT_EQ(MatrCos(up, up, 1.0, t), 0.0);
  ExpectRows(t, {1, 0, 0, 0, 1, 0, 0, 0, 1});
  EXPECT_EQ(VectorOrt(up, up, ort), 0.0);
  ExpectRows(ort, {0, 0, 0});
  EXPECT_EQ(NormVect(zero), 0.0);
  ExpectRows(zero, {0, 0, 0});
  MatrCosEuler(0, 0, kPi / 2, t);
  MatrCosClear(t);
  ExpectRows(t, {0, 1, 0, -1, 0, 0, 0, 0, 1});
  // Clearing removes noise only: entries of at most 1e-14, unless told otherwise.
  double u[9] = {6.1e-17, -1e-14, 1e-13, 1, -1, 0.5, -2e-15, 0, 0.25};
  MatrCosClear(u);
  ExpectRows(u, {0, 0, 1e-13, 1, -1, 0.5, 0, 0, 0.25});
  EXPECT_FALSE(std::signbit(u[1]));
  u[0] = 1e-20;
  MatrCosClear(u, -1.0);
  EXPECT_EQ(u[0], 1e-20);
  MatrCosClear(u, 1e-3);
  EXPECT_EQ(u[0], 0.0);
}

TEST(DirectionCosines, RandomBarsGiveRotationsAlongTheBar) {
  std::mt19937_64 rng(67);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (int trial = 0; trial < 500; ++trial) {
    double p1[3], p2[3];
    for (int k = 0; k < 3; ++k)
      p1[k] = value(rng), p2[k] = value(rng);
    if (trial % 10 == 0) // nearly vertical
      p2[0] = p1[0] + 1e-12, p2[1] = p1[1];
    const double angle = value(rng);
    double t[9], t0[9], ort[3];
    const double length = MatrCos(p1, p2, angle, t);
    MatrCos(p1, p2, 0.0, t0);
    EXPECT_EQ(length, VectorOrt(p1, p2, ort));
    ExpectRotation(t);
    ExpectRotation(t0);
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(t[k], ort[k]);
    if (trial % 10 != 0) {
      EXPECT_EQ(t0[5], 0.0); // y′ horizontal
      EXPECT_GE(t0[8], 0.0); // z′ upwards
    }
    // The turn about the axis: y′·y′₀ = cos, y′·z′₀ = sin.
    EXPECT_NEAR(ScalarProduct(t + 3, t0 + 3), std::cos(angle), 1e-14);
    EXPECT_NEAR(ScalarProduct(t + 3, t0 + 6), std::sin(angle), 1e-14);
    // Global → local → global returns the vector.
    double v[3] = {value(rng), value(rng), value(rng)}, local[3], back[3];
    MultVect(t, v, local);
    MultVect(t, local, back, 1);
    for (int k = 0; k < 3; ++k)
      EXPECT_NEAR(back[k], v[k], 1e-13);
    EXPECT_NEAR(local[0], ScalarProduct(ort, v), 1e-13);
    MultVect(t, v, v); // in place
    for (int k = 0; k < 3; ++k)
      EXPECT_EQ(v[k], local[k]);
  }
}

TEST(DirectionCosines, EulerAnglesComposeAndMatchHorizontalBars) {
  std::mt19937_64 rng(71);
  std::uniform_real_distribution<double> angle(-kPi, kPi);
  for (int trial = 0; trial < 300; ++trial) {
    const double psi = angle(rng), theta = angle(rng), phi = angle(rng);
    double t[9];
    MatrCosEuler(psi, theta, phi, t);
    ExpectRotation(t);
    // t is the product of the three elementary frames, applied in turn.
    double tz1[9], tx[9], tz2[9];
    MatrCosEuler(psi, 0, 0, tz1);
    MatrCosEuler(0, theta, 0, tx);
    MatrCosEuler(0, 0, phi, tz2);
    double v[3] = {angle(rng), angle(rng), angle(rng)}, w[3], expected[3];
    MultVect(tz1, v, w);
    MultVect(tx, w, w);
    MultVect(tz2, w, expected);
    MultVect(t, v, w);
    for (int k = 0; k < 3; ++k)
      EXPECT_NEAR(w[k], expected[k], 1e-13);
    // A horizontal bar at azimuth psi turned by theta is the Euler frame
    // (psi, theta, 0).
    const double p1[3] = {0, 0, 0};
    const double p2[3] = {std::cos(psi) * 3, std::sin(psi) * 3, 0};
    double bar[9], euler[9];
    MatrCos(p1, p2, theta, bar);
    MatrCosEuler(psi, theta, 0, euler);
    for (int k = 0; k < 9; ++k)
      EXPECT_NEAR(bar[k], euler[k], 1e-14) << k;
  }
}

} // namespace
} // namespace zel
