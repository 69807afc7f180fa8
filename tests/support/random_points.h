#pragma once
// Uniform random points for the geometry tests' property checks. The
// coordinates are drawn in order x, y (, z), so a seed gives the same points
// on every platform's evaluation order.

#include <random>

#include "zeltools/geometry/point3d.h"

namespace zel::test {

inline CPoint2D RandomPoint2D(std::mt19937_64& rng, double lo = -10.0, double hi = 10.0) {
  std::uniform_real_distribution<double> d(lo, hi);
  const double x = d(rng);
  return {x, d(rng)};
}

inline CPoint3D RandomPoint3D(std::mt19937_64& rng, double range = 10.0) {
  std::uniform_real_distribution<double> d(-range, range);
  const double x = d(rng), y = d(rng);
  return {x, y, d(rng)};
}

} // namespace zel::test
