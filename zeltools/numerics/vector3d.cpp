#include "zeltools/numerics/vector3d.h"

#include <cmath>

namespace zel {
namespace {

// A bar is vertical when its horizontal projection is below this fraction
// of its length; then Z × x′ has no usable direction.
constexpr double kVerticalTolerance = 1e-10;

void SetIdentity(double* t) {
  for (int i = 0; i < 9; ++i)
    t[i] = (i % 4 == 0) ? 1.0 : 0.0;
}

} // namespace

double ScalarProduct(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void VectorProduct(const double* a, const double* b, double* c) {
  const double x = a[1] * b[2] - a[2] * b[1];
  const double y = a[2] * b[0] - a[0] * b[2];
  const double z = a[0] * b[1] - a[1] * b[0];
  c[0] = x;
  c[1] = y;
  c[2] = z;
}

double NormVector(const double* a) { return std::sqrt(ScalarProduct(a, a)); }

double NormVect(double* a) {
  const double length = NormVector(a);
  if (length == 0.0)
    return 0.0;
  for (int i = 0; i < 3; ++i)
    a[i] /= length;
  return length;
}

double VectorOrt(const double* p1, const double* p2, double* ort) {
  const double d[3] = {p2[0] - p1[0], p2[1] - p1[1], p2[2] - p1[2]};
  for (int i = 0; i < 3; ++i)
    ort[i] = d[i];
  return NormVect(ort);
}

void MultVect(const double* t, const double* v, double* r, unsigned char transpose) {
  // Row i of t, or column i when transposed.
  const int along = transpose != 0 ? 3 : 1;
  const int start = transpose != 0 ? 1 : 3;
  double result[3];
  for (int i = 0; i < 3; ++i) {
    const double* e = t + start * i;
    result[i] = e[0] * v[0] + e[along] * v[1] + e[2 * along] * v[2];
  }
  for (int i = 0; i < 3; ++i)
    r[i] = result[i];
}

double MatrCos(const double* p1, const double* p2, double angle, double* t) {
  double x[3];
  const double length = VectorOrt(p1, p2, x);
  if (length == 0.0) {
    SetIdentity(t);
    return 0.0;
  }
  double y0[3];
  double z0[3];
  const double horizontal = std::sqrt(x[0] * x[0] + x[1] * x[1]);
  if (horizontal < kVerticalTolerance) {
    // z′ = x′ × Y, then y′ = z′ × x′, so that y′ is Y made exactly
    // perpendicular to a bar that is only nearly vertical.
    const double globalY[3] = {0.0, 1.0, 0.0};
    VectorProduct(x, globalY, z0);
    NormVect(z0);
    VectorProduct(z0, x, y0);
  } else {
    // Z × x′ has the exact components (−x′y, x′x, 0) before normalising.
    y0[0] = -x[1] / horizontal;
    y0[1] = x[0] / horizontal;
    y0[2] = 0.0;
    VectorProduct(x, y0, z0);
  }
  const double c = std::cos(angle);
  const double s = std::sin(angle);
  for (int i = 0; i < 3; ++i) {
    t[i] = x[i];
    t[3 + i] = c * y0[i] + s * z0[i];
    t[6 + i] = c * z0[i] - s * y0[i];
  }
  return length;
}

void MatrCosEuler(double psi, double theta, double phi, double* t) {
  const double c1 = std::cos(psi), s1 = std::sin(psi);
  const double c2 = std::cos(theta), s2 = std::sin(theta);
  const double c3 = std::cos(phi), s3 = std::sin(phi);
  // Rows are the columns of Rz(psi)·Rx(theta)·Rz(phi).
  t[0] = c1 * c3 - s1 * c2 * s3;
  t[1] = s1 * c3 + c1 * c2 * s3;
  t[2] = s2 * s3;
  t[3] = -c1 * s3 - s1 * c2 * c3;
  t[4] = -s1 * s3 + c1 * c2 * c3;
  t[5] = s2 * c3;
  t[6] = s1 * s2;
  t[7] = -c1 * s2;
  t[8] = c2;
}

void MatrCosClear(double* t, double eps) {
  for (int i = 0; i < 9; ++i)
    if (std::fabs(t[i]) <= eps)
      t[i] = 0.0;
}

} // namespace zel
