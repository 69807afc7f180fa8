#include "zeltools/containers/compare.h"

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

// The rule in long double, where the largest doubles cannot overflow it.
int Model(double a, double b, double tol) {
  if (a == b)
    return 0;
  const long double x = a, y = b;
  if (!std::isinf(a) && !std::isinf(b) && std::fabs(x - y) <= tol * (std::fabs(x) + std::fabs(y)))
    return 0;
  return a > b ? 1 : -1;
}

TEST(CompareDouble, AgreesWithTheRelativeRuleOnSpecialAndNearValues) {
  const double inf = std::numeric_limits<double>::infinity(), big = std::numeric_limits<double>::max();
  const double pool[] = {0.0, -0.0, 1e-300, 1.0, -1.0, 9.0, 11.0, 1e6, big, -big, inf, -inf, std::nan("")};
  const double tols[] = {0.0, -1.0, 1e-6, 0.1, 0.5, 1.0};
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> nudge(-3e-6, 3e-6);
  for (int round = 0; round < 100000; ++round) {
    const double a = pool[rng() % 13], b = rng() % 2 ? pool[rng() % 13] : a * (1 + nudge(rng)), tol = tols[rng() % 6];
    ASSERT_EQ(CompareDouble(a, b, tol), Model(a, b, tol)) << a << " " << b << " " << tol;
  }
  EXPECT_EQ(CompareDouble(9.0, 11.0, 0.1), 0) << "the bound is inclusive";
  EXPECT_EQ(CompareDouble(big, -big, 1.0), 0) << "2·max ≤ 1·2·max";
}

TEST(CompareArrays, FirstUnequalPairDecidesAndFloatsCompareAsDoubles) {
  std::mt19937 rng(8);
  std::uniform_real_distribution<float> value(-10.0f, 10.0f);
  for (int round = 0; round < 20000; ++round) {
    const unsigned int na = static_cast<unsigned int>(rng() % 4), nb = rng() % 4 ? na : na + 1;
    std::vector<float> a(nb + 1), b(nb + 1);
    for (unsigned int i = 0; i <= nb; ++i)
      a[i] = value(rng), b[i] = rng() % 3 ? a[i] * (1.0f + static_cast<float>(rng() % 3) * 1e-6f) : value(rng);
    const std::vector<double> da(a.begin(), a.end()), db(b.begin(), b.end());
    int expected = 0;
    for (unsigned int i = 0; i < na && expected == 0; ++i)
      expected = Model(da[i], db[i], 2e-6);
    ASSERT_EQ(CompareDouble(na, da.data(), db.data(), 2e-6), expected);
    ASSERT_EQ(CompareFloat(na, a.data(), b.data(), 2e-6), expected);
    ASSERT_EQ(CompareDouble(na, da.data(), nb, db.data(), 2e-6), na != nb ? -1 : expected);
    ASSERT_EQ(CompareFloat(nb, a.data(), na, b.data(), 2e-6), na != nb ? 1 : expected);
  }
  EXPECT_EQ(CompareDouble(0, nullptr, 0, nullptr, 1e-6) + CompareFloat(0, nullptr, nullptr, 1e-6), 0);
}

} // namespace
} // namespace zel
