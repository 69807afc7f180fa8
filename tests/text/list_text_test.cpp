#include "zeltools/text/list_text.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

using U = std::vector<unsigned int>;

template <class T>
std::string Text(const std::vector<T>& list) {
  std::vector<char> text{'X'};
  EXPECT_EQ(ListText(static_cast<unsigned int>(list.size()), list.data(), text), 1);
  EXPECT_TRUE(!text.empty() && text.back() == '\0');
  return std::string(text.data());
}

TEST(ListText, CompressesRangesAndRunsOfThreeOrMoreAndWritesPercentD) {
  const std::pair<U, const char*> cases[] = {
      {{1, 2, 3, 4, 7, 9, 11, 13}, "1-4 7 r 13 2 "}, {{5, 5, 5}, "5-5"}, {{1, 2}, "1 2"}, {{0, 4}, " 4"},
      {{0, 0, 0}, "  "}, {{}, ""}, {{4, 3, 2, 1}, "4 3 2 1"}, {{10, 20, 30, 31, 32}, "10 r 30 10  31 32"},
      {{3, 4, 5, 5, 5}, "3-5 5 5"}, {{2, 0, 1, 2, 3}, "2  1-3"},
      {{4294967295u, 2147483648u, 2147483647u}, "-1 -2147483648 2147483647"},
      {{4294967293u, 4294967294u, 4294967295u}, "-3--1"}};
  for (const auto& [list, text] : cases)
    EXPECT_EQ(Text(list), text);
  char untouched[2] = "X"; // no room at all: nothing written
  EXPECT_TRUE(ListText(2, cases[2].first.data(), untouched, 0) == 0 && untouched[0] == 'X');
  EXPECT_EQ(Text(std::vector<unsigned short>{65533, 65534, 65535, 7}), "65533-65535 7");
}

TEST(TextList, ReadsFriendlierSpellingsAndKeepsTheItemsBeforeAFault) {
  const std::tuple<const char*, int, U> cases[] = {
      {nullptr, 1, {}}, {"1 - 4,\t6 ,, 8\r\n", 1, {1, 2, 3, 4, 6, 8}}, {"1- 3 7R13 3 +2", 1, {1, 2, 3, 7, 10, 13, 2}},
      {"1 r 10 4", 1, {1, 5, 9}}, {"0 0-2", 1, {0, 0, 1, 2}}, {"1 -4", 1, {1, 4294967292u}},
      {"-1 -2147483648", 1, {4294967295u, 2147483648u}}, {"1-4 abc", 0, {1, 2, 3, 4}}, {"1 2 3-", 0, {1, 2}},
      {"1 4-1", 0, {1}}, {"1 r 10 0", 0, {}}, {"1 r 10", 0, {}}, {"2 1-4x", 0, {2}}, {"1-4-6", 0, {}},
      {"- 3", 0, {}}, {"4294967296", 0, {}}, {"-2147483649", 0, {}}, {"99999999999999999999999", 0, {}},
      {"1.5", 0, {}}};
  for (const auto& [text, ok, expected] : cases) {
    U list{99};
    EXPECT_EQ(TextList(text, list), ok) << text;
    EXPECT_EQ(list, expected) << text;
  }
  std::vector<unsigned short> shorts;
  EXPECT_EQ(TextList("65535 65536", shorts), 0);
  EXPECT_EQ(shorts, (std::vector<unsigned short>{65535}));
}

TEST(TextList, HugeItemsFailBeforeAllocatingAndArraysStopAtTheirSize) {
  U list;
  for (const char* huge : {"1-4000000000", "0--1", "1 r 4000000000 1"}) {
    EXPECT_EQ(TextList(huge, list), 0);
    EXPECT_EQ(list.capacity(), 0u) << huge;
  }
  EXPECT_EQ(TextList("1-10 20-30", list, 20), 0);
  EXPECT_EQ(list.size(), 10u);
  EXPECT_EQ(TextList("1-10 20-29", list, 20), 1);
  unsigned int ints[6] = {}, n = 77;
  EXPECT_EQ(TextList("1 2-7", n, ints, 6), 0);
  EXPECT_EQ(n, 1u);
  EXPECT_EQ(TextList("1", n, static_cast<unsigned short*>(nullptr), 3), 0);
  EXPECT_EQ(n, 0u);
}

// Random lists built from runs with small and large steps, pairs of equal
// values, values near the top of the range, and (optionally) zeros.
template <class T>
std::vector<T> RandomList(std::mt19937& rng, bool zeros) {
  const std::uint64_t top = std::numeric_limits<T>::max(), steps[] = {0, 1, 1, 2, 3, 7, 1000, 65536};
  std::vector<T> list;
  for (int s = static_cast<int>(rng() % 10) * 2; s > 0; --s) {
    const unsigned int kind = rng() % 10;
    if (zeros && kind == 0) {
      list.push_back(0);
      continue;
    }
    std::uint64_t start = kind < 5 ? 1 + rng() % 40 : 1 + std::uniform_int_distribution<std::uint64_t>(0, top - 1)(rng);
    const std::uint64_t step = steps[rng() % 8];
    const std::uint64_t length = step == 0 && !zeros ? 1 + rng() % 2 : 1 + rng() % 6;
    for (std::uint64_t k = 0; k < length && start <= top; ++k, start += step)
      list.push_back(static_cast<T>(start));
  }
  return list;
}

// The round trip gives the list back, except that zero items write nothing
// and a run of three or more equal values reads back once: then the values
// read must be a subsequence of the nonzero ones with the same value set.
template <class T>
void CheckRoundTrips(unsigned int seed) {
  std::mt19937 rng(seed);
  for (int round = 0; round < 3000; ++round) {
    const std::vector<T> list = RandomList<T>(rng, round % 2 == 1);
    const std::string text = Text(list);
    std::vector<T> back, nonZero;
    ASSERT_EQ(TextList(text.c_str(), back), 1) << text;
    std::copy_if(list.begin(), list.end(), std::back_inserter(nonZero), [](T v) { return v != 0; });
    bool triple = false;
    for (std::size_t i = 0; i + 2 < list.size(); ++i)
      triple = triple || (list[i] == list[i + 1] && list[i + 1] == list[i + 2]);
    if (!triple) {
      ASSERT_EQ(back, nonZero) << text;
    } else {
      ASSERT_EQ(std::set<T>(back.begin(), back.end()), std::set<T>(nonZero.begin(), nonZero.end())) << text;
      auto at = nonZero.begin();
      for (T v : back) {
        at = std::find(at, nonZero.end(), v);
        ASSERT_NE(at++, nonZero.end()) << "not a subsequence: " << text;
      }
    }
    // Cut to a random size, the text is a prefix of the whole one, the
    // result says whether it is whole, and the prefix reads back cleanly.
    const unsigned int size = 1 + static_cast<unsigned int>(rng() % (text.size() + 3));
    std::vector<char> buffer(size, 'X');
    const int whole = ListText(static_cast<unsigned int>(list.size()), list.data(), buffer.data(), size);
    const std::string cut(buffer.data());
    const std::size_t room = size >= 2 ? size - 2u : 0u;
    ASSERT_LE(cut.size(), room);
    ASSERT_EQ(text.compare(0, cut.size(), cut), 0) << cut << " / " << text;
    ASSERT_EQ(whole, text.size() <= room ? 1 : 0);
    std::vector<T> prefix;
    ASSERT_EQ(TextList(cut.c_str(), prefix), 1) << cut;
    ASSERT_LE(prefix.size(), back.size());
  }
}

TEST(ListTextProperty, RandomListsRoundTripUnsignedInt) { CheckRoundTrips<unsigned int>(1); }
TEST(ListTextProperty, RandomListsRoundTripUnsignedShort) { CheckRoundTrips<unsigned short>(2); }

} // namespace
} // namespace zel
