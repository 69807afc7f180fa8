#include "zeltools/containers/small_vectors.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace zel {
namespace {

using List = std::vector<unsigned int>;
VKZUINT Make(const List& values) {
  VKZUINT v;
  v.assign(values.begin(), values.end());
  return v;
}
List Plain(const VKZUINT& v) { return List(v.begin(), v.end()); }

TEST(VKZUINT, InitOrderHoldsOneValueMoreThanAskedAndRenumberMapsThroughTheOneBasedTable) {
  VKZUINT v = Make({9, 9, 9, 9, 9, 9});
  v.InitOrder(2, 0xFFFFFFFFu); // wraps as unsigned numbers do
  EXPECT_EQ(Plain(v), (List{0xFFFFFFFFu, 0, 1}));
  const unsigned int table[2] = {7, 8};
  v.Renumber(2, table);
  EXPECT_EQ(Plain(v), (List{0, 0, 7}));
  v.Renumber(2, nullptr);
  EXPECT_EQ(Plain(v), (List{0, 0, 7}));
}

// Random vectors and value lists (none, one, several, and values so large that
// the byte table gives way to a search) against a plain filter.
TEST(VKZUINT, RemoveMatchesAPlainFilter) {
  std::mt19937 rng(8);
  for (int round = 0; round < 400; ++round) {
    List data(rng() % 40), values(rng() % 5);
    for (auto& e : data)
      e = rng() % 12;
    for (auto& e : values)
      e = rng() % 12;
    if (round % 3 == 0 && !values.empty())
      values.push_back(0xFFFFFFF0u + rng() % 16), data.push_back(values.back());
    const auto dropZero = static_cast<unsigned char>(rng() % 2);
    List expected;
    for (unsigned int e : data)
      if (values.empty() || (std::find(values.begin(), values.end(), e) == values.end() && !(dropZero && e == 0)))
        expected.push_back(e);
    VKZUINT v = Make(data);
    v.Remove(static_cast<unsigned int>(values.size()), values.data(), dropZero);
    ASSERT_EQ(Plain(v), expected) << "round " << round;
  }
}

TEST(VKZUINT, CompressSortsCountsAndSignals) {
  struct Case {
    List in;
    unsigned char mode, sorted, keep;
    unsigned int largest;
    List out;
  };
  const Case cases[] = {
      {{3, 1, 2}, 0, 0, 0, 3, {1, 2, 3}},  {{2, 2, 1}, 0, 0, 0, 2, {1, 2}}, // cut to the count; nothing moves
      {{2, 2, 1}, 254, 0, 0, 2, {}},       {{2, 2, 1}, 255, 0, 1, 2, {1, 2, 2}},
      {{0, 4, 0}, 0, 0, 0, 4, {0}},        {{5, 1}, 0, 1, 0, 5, {5, 1}}, // said to be sorted: only measured
      {{}, 254, 0, 0, 0, {}},
  };
  for (const Case& c : cases) {
    VKZUINT v = Make(c.in);
    EXPECT_EQ(v.Compress(c.mode, c.sorted, c.keep), c.largest) << "case " << &c - cases;
    EXPECT_EQ(Plain(v), c.out) << "case " << &c - cases;
  }
}

TEST(VKZDOUBLE, ComparisonsTolerateTheFixedRelativeDifference) {
  VKZDOUBLE a;
  a.push_back(1.0);
  EXPECT_TRUE(a == std::vector<double>{1.0000001});
  EXPECT_TRUE(a < std::vector<double>{1.01});
  EXPECT_EQ(a.Compare(std::vector<double>{0.5}), 1);
  EXPECT_EQ(a.Compare(std::vector<double>{1.0, 0.0}), -1); // fewer elements first
}

VString Texts(const std::vector<std::string>& texts) {
  VString s;
  for (const auto& t : texts)
    s.Append(t.c_str());
  return s;
}

TEST(VString, TextsHoldTheirZeroAndBothNumberingsReachThem) {
  VString s = Texts({"ab"});
  s += nullptr;
  EXPECT_EQ(s.GetElemSize(0) + s.GetElemSize(1), 4u);
  s.Replace(1, "longer text");
  EXPECT_STREQ(s.GetText(2), "longer text");
  EXPECT_STREQ(s[0], "ab");
  EXPECT_EQ(test::ThrownText([&] { s.Replace(2, "x"); }), "Error in VectorArray");
  s.SetSize(3); // a list never filled reads as the empty text
  s += s;       // onto itself
  EXPECT_EQ(s.Compare(Texts({"ab", "longer text", "", "ab", "longer text", ""})), 0);
}

TEST(VString, CompareByCountThenBytesAsUnsigned) {
  EXPECT_TRUE(Texts({"a", "b"}) < Texts({"a", "c"}));
  EXPECT_EQ(Texts({"a", "b"}).Compare(Texts({"z"})), 1);
  EXPECT_EQ(Texts({"ab"}).Compare(Texts({"abc"})), -1); // the zero orders first
  EXPECT_EQ(Texts({"\xE0"}).Compare(Texts({"z"})), 1);  // bytes above 127 are large
  VString raw = Texts({"xx"}); // a list set without its zero through the array's own Replace
  raw.VectorArray<char, unsigned int>::Replace(0, 2, "ab");
  EXPECT_EQ(raw.Compare(Texts({"ab"})), 0);
  EXPECT_EQ(raw.Compare(Texts({"abc"})), -1);
}

} // namespace
} // namespace zel
