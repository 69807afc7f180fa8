#include "zeltools/text/compare.h"

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(CompareDouble, ToleranceIsRelativeToTheSumOfMagnitudes) {
  EXPECT_EQ(CompareDouble(1.0, 1.0 + 1e-7, 1e-6), 0);
  EXPECT_EQ(CompareDouble(1.0, 1.0 + 1e-5, 1e-6), -1);
  EXPECT_EQ(CompareDouble(1.0 + 1e-5, 1.0, 1e-6), 1);
  // |a − b| = 2 and tol·(|a| + |b|) = 0.1·20 = 2: the bound is inclusive.
  EXPECT_EQ(CompareDouble(9.0, 11.0, 0.1), 0);
  EXPECT_EQ(CompareDouble(-1e6, -1e6 - 1.0, 1e-6), 0);
  EXPECT_EQ(CompareDouble(-1.0, 1.0, 0.5), -1); // opposite signs: 2 > 0.5·2
}

TEST(CompareDouble, NothingIsEqualToZeroButZero) {
  EXPECT_EQ(CompareDouble(0.0, 1e-300, 1e-6), -1);
  EXPECT_EQ(CompareDouble(1e-300, 0.0, 0.9), 1);
  EXPECT_EQ(CompareDouble(0.0, 0.0, 0.0), 0);
  EXPECT_EQ(CompareDouble(0.0, -0.0, 1e-6), 0);
  EXPECT_EQ(CompareDouble(0.0, 0.0, -1.0), 0);
}

TEST(CompareDouble, ZeroToleranceMeansExactEquality) {
  EXPECT_EQ(CompareDouble(1.0, std::nextafter(1.0, 2.0), 0.0), -1);
  EXPECT_EQ(CompareDouble(3.25, 3.25, 0.0), 0);
}

TEST(CompareDouble, InfinitiesAndNaN) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(CompareDouble(inf, inf, 1e-6), 0);
  EXPECT_EQ(CompareDouble(-inf, inf, 1e-6), -1);
  EXPECT_EQ(CompareDouble(inf, 1e308, 1e-6), 1);
  EXPECT_EQ(CompareDouble(nan, 1.0, 1e-6), -1);
  EXPECT_EQ(CompareDouble(1.0, nan, 1e-6), -1);
}

TEST(CompareDouble, LargestValuesDoNotOverflowTheRule) {
  const double big = std::numeric_limits<double>::max();
  EXPECT_EQ(CompareDouble(big, -big, 1e-6), 1);
  EXPECT_EQ(CompareDouble(-big, big, 0.5), -1);
  EXPECT_EQ(CompareDouble(big, big * (1 - 1e-9), 1e-6), 0);
  EXPECT_EQ(CompareDouble(big, big * 0.5, 1e-6), 1);
  EXPECT_EQ(CompareDouble(big, -big, 1.0), 0); // 2·max ≤ 1·2·max
}

TEST(CompareDouble, ArraysReturnTheFirstUnequalPair) {
  const double a[] = {1.0, 2.0, 3.0, 4.0};
  const double b[] = {1.0 + 1e-9, 2.0, 2.0, 5.0};
  EXPECT_EQ(CompareDouble(2, a, b, 1e-6), 0);
  EXPECT_EQ(CompareDouble(4, a, b, 1e-6), 1);  // 3 > 2 decides before 4 < 5
  EXPECT_EQ(CompareDouble(4, b, a, 1e-6), -1);
  EXPECT_EQ(CompareDouble(0, nullptr, nullptr, 1e-6), 0);
}

TEST(CompareDouble, CountDecidesBeforeAnyValue) {
  const double a[] = {100.0, 100.0};
  const double b[] = {1.0, 1.0, 1.0};
  EXPECT_EQ(CompareDouble(2, a, 3, b, 1e-6), -1);
  EXPECT_EQ(CompareDouble(3, b, 2, a, 1e-6), 1);
  EXPECT_EQ(CompareDouble(2, a, 2, b, 1e-6), 1);
  EXPECT_EQ(CompareDouble(0, nullptr, 0, nullptr, 1e-6), 0);
}

TEST(CompareFloat, AgreesWithTheDoubleFormOnWidenedValues) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> value(-10.0f, 10.0f);
  std::uniform_int_distribution<int> pick(0, 3);
  for (int round = 0; round < 2000; ++round) {
    const unsigned int na = static_cast<unsigned int>(pick(rng)) + 1;
    const unsigned int nb = pick(rng) == 0 ? na + 1 : na;
    std::vector<float> a(nb + 1), b(nb + 1);
    for (unsigned int i = 0; i <= nb; ++i) {
      a[i] = value(rng);
      // Mostly near-equal pairs so that every branch is reached.
      b[i] = pick(rng) == 0 ? value(rng) : a[i] * (1.0f + static_cast<float>(pick(rng)) * 1e-6f);
    }
    std::vector<double> da(a.begin(), a.end()), db(b.begin(), b.end());
    ASSERT_EQ(CompareFloat(na, a.data(), b.data(), 2e-6), CompareDouble(na, da.data(), db.data(), 2e-6));
    ASSERT_EQ(CompareFloat(na, a.data(), nb, b.data(), 2e-6), CompareDouble(na, da.data(), nb, db.data(), 2e-6));
  }
}

} // namespace
} // namespace zel
