#include "zeltools/containers/type_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>

namespace zel {
namespace {

using IntPair = CTypeValue<unsigned char, int>;
using UIntPair = CTypeValue<unsigned char, unsigned int>;
using ShortPair = CTypeValue<unsigned char, unsigned short>;
using ByteDoublePair = CTypeValue<unsigned char, double>;
using DoublePair = CTypeValue<unsigned short, double>;
using FloatPair = CTypeValue<unsigned short, float>;
using WordUIntPair = CTypeValue<unsigned short, unsigned int>;
using WidePair = CTypeValue<unsigned int, unsigned int>;

TEST(CTypeValue, DefaultIsTypeZeroValueZero) {
  const IntPair a;
  EXPECT_EQ(+a.type, 0);
  EXPECT_EQ(+a.value, 0);
  EXPECT_TRUE(a == IntPair(0, 0));
  const DoublePair d;
  EXPECT_TRUE(d == DoublePair(0, 0.0));
}

TEST(CTypeValue, BytesAreTypeThenValueLittleEndianWithoutPadding) {
  const UIntPair p(0xAB, 0x01020304u);
  unsigned char bytes[sizeof p];
  std::memcpy(bytes, &p, sizeof p);
  const unsigned char expected[] = {0xAB, 0x04, 0x03, 0x02, 0x01};
  EXPECT_EQ(0, std::memcmp(bytes, expected, sizeof expected));

  const DoublePair d(0x0102, 1.0);  // 1.0 = 0x3FF0000000000000
  unsigned char dbytes[sizeof d];
  std::memcpy(dbytes, &d, sizeof d);
  const unsigned char dexpected[] = {0x02, 0x01, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
  EXPECT_EQ(0, std::memcmp(dbytes, dexpected, sizeof dexpected));

  // Arrays of pairs are as dense as the records themselves.
  ShortPair arr[3];
  EXPECT_EQ(sizeof arr, 9u);
}

TEST(CTypeValue, TypeDecidesBeforeValue) {
  EXPECT_TRUE(DoublePair(2, 0.0) > DoublePair(1, 1000.0));
  EXPECT_TRUE(DoublePair(1, 1000.0) < DoublePair(2, 0.0));
  EXPECT_TRUE(IntPair(200, -5) > IntPair(3, 1000));  // type compared unsigned
  EXPECT_TRUE(WidePair(0x80000000u, 0) > WidePair(1, 0xFFFFFFFFu));
}

TEST(CTypeValue, ValueComparedInItsOwnSignedness) {
  EXPECT_TRUE(IntPair(1, -5) < IntPair(1, 3));
  EXPECT_FALSE(IntPair(1, -5) > IntPair(1, 3));
  const unsigned int big = 4294967291u;  // 2^32 - 5
  EXPECT_TRUE(UIntPair(1, big) > UIntPair(1, 3));
  EXPECT_FALSE(UIntPair(1, big) < UIntPair(1, 3));
  EXPECT_TRUE(ShortPair(1, 65535) > ShortPair(1, 1));
  EXPECT_TRUE(FloatPair(4, -0.5f) < FloatPair(4, 0.25f));
}

TEST(CTypeValue, NaNValueIsNeverEqualNotEvenToItself) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const DoublePair p(3, nan);
  EXPECT_FALSE(p == p);
  EXPECT_TRUE(p != p);
  EXPECT_FALSE(p < DoublePair(3, 1.0));
  EXPECT_FALSE(p > DoublePair(3, 1.0));
  // The type still orders a NaN pair against other types.
  EXPECT_TRUE(p < DoublePair(4, 0.0));
  EXPECT_TRUE(p > DoublePair(2, nan));
  const FloatPair f(1, std::numeric_limits<float>::quiet_NaN());
  EXPECT_FALSE(f == f);
  // Zeros of both signs are equal values.
  EXPECT_TRUE(DoublePair(1, -0.0) == DoublePair(1, 0.0));
}

// The members as a tuple, read by value: packed members must not be bound to
// references.
template <class P>
auto AsTuple(const P& p) {
  const decltype(p.type) t = p.type;
  const decltype(p.value) v = p.value;
  return std::make_tuple(t, v);
}

// Model: the order is the lexicographic order of (type, value).
template <class P, class Gen>
void CheckAgainstTupleOrder(Gen&& gen) {
  for (int k = 0; k < 2000; ++k) {
    const P a = gen(), b = gen();
    const auto ta = AsTuple(a), tb = AsTuple(b);
    EXPECT_EQ(a < b, ta < tb);
    EXPECT_EQ(a > b, ta > tb);
    EXPECT_EQ(a == b, ta == tb);
    EXPECT_EQ(a != b, ta != tb);
  }
}

TEST(CTypeValue, OrderMatchesTypeThenValueOnRandomPairs) {
  std::mt19937 rng(7);
  const auto small = [&rng](int hi) { return static_cast<int>(rng() % static_cast<unsigned>(hi)); };
  CheckAgainstTupleOrder<IntPair>(
      [&] { return IntPair(static_cast<unsigned char>(small(3)), small(7) - 3); });
  CheckAgainstTupleOrder<UIntPair>(
      [&] { return UIntPair(static_cast<unsigned char>(small(3)), rng() % 3 == 0 ? 0xFFFFFFF0u + rng() % 8 : rng() % 5); });
  CheckAgainstTupleOrder<ShortPair>(
      [&] { return ShortPair(static_cast<unsigned char>(small(3)), static_cast<unsigned short>(small(4) * 20000)); });
  CheckAgainstTupleOrder<WordUIntPair>(
      [&] { return WordUIntPair(static_cast<unsigned short>(small(3) * 30000), rng() % 4); });
  CheckAgainstTupleOrder<WidePair>([&] { return WidePair(rng() % 3 * 0x7FFFFFFFu, rng() % 4); });
  CheckAgainstTupleOrder<ByteDoublePair>(
      [&] { return ByteDoublePair(static_cast<unsigned char>(small(3)), (small(5) - 2) * 0.5); });
  CheckAgainstTupleOrder<DoublePair>(
      [&] { return DoublePair(static_cast<unsigned short>(small(3)), (small(5) - 2) * 1e300); });
  CheckAgainstTupleOrder<FloatPair>(
      [&] { return FloatPair(static_cast<unsigned short>(small(3)), static_cast<float>(small(5) - 2)); });
}

TEST(CTypeValue, CopyAndAssignmentCopyBothMembers) {
  WordUIntPair a(7, 99);
  const WordUIntPair b(a);
  EXPECT_TRUE(b == a);
  a = WordUIntPair(1, 2);
  EXPECT_EQ(+a.type, 1);
  EXPECT_EQ(+a.value, 2u);
}

} // namespace
} // namespace zel
