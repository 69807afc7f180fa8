#include "zeltools/containers/type_value.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <tuple>

namespace zel {
namespace {

// Model: the order and equality of the tuple (type, value), members read by
// value because packed members must not bind to references. Values cover
// both signs, the unsigned top range, NaN and both zeros.
template <class P, class Gen>
void CheckAgainstTupleOrder(Gen gen) {
  const auto tuple = [](const P& p) { return std::make_tuple(decltype(p.type)(p.type), decltype(p.value)(p.value)); };
  for (int k = 0; k < 3000; ++k) {
    const P a = gen(), b = gen();
    ASSERT_EQ(a < b, tuple(a) < tuple(b));
    ASSERT_EQ(a > b, tuple(a) > tuple(b));
    ASSERT_EQ(a == b, tuple(a) == tuple(b));
    ASSERT_EQ(a != b, tuple(a) != tuple(b));
  }
}

TEST(CTypeValue, OrderIsTypeThenValueInItsOwnSignedness) {
  std::mt19937 rng(7);
  const auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double doubles[] = {-1e300, -0.5, -0.0, 0.0, 0.5, 1e300, nan};
  using UC = unsigned char;
  using US = unsigned short;
  CheckAgainstTupleOrder<CTypeValue<UC, int>>([&] { return CTypeValue<UC, int>(UC(pick(2) * 200), pick(7) - 3); });
  CheckAgainstTupleOrder<CTypeValue<UC, unsigned int>>(
      [&] { return CTypeValue<UC, unsigned int>(UC(pick(3)), pick(2) ? 0xFFFFFFF0u + rng() % 8 : rng() % 5); });
  CheckAgainstTupleOrder<CTypeValue<UC, US>>([&] { return CTypeValue<UC, US>(UC(pick(3)), US(pick(4) * 20000)); });
  CheckAgainstTupleOrder<CTypeValue<unsigned int, unsigned int>>(
      [&] { return CTypeValue<unsigned int, unsigned int>(rng() % 3 * 0x7FFFFFFFu, rng() % 4); });
  CheckAgainstTupleOrder<CTypeValue<US, double>>(
      [&] { return CTypeValue<US, double>(US(pick(2) * 40000), doubles[pick(7)]); });
  CheckAgainstTupleOrder<CTypeValue<US, float>>(
      [&] { return CTypeValue<US, float>(US(pick(3)), static_cast<float>(doubles[1 + pick(6)])); });
}

} // namespace
} // namespace zel
