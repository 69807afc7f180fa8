#include "zeltools/text/list_index.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

using U = std::vector<unsigned int>;

U Kept(const U& list, unsigned int n) { return U(list.begin(), list.begin() + n); }

TEST(CheckListIndex, KeepsNonZeroEntriesUpToMaxInOrder) {
  U list{3, 0, 9, 2};
  unsigned int n = 4;
  CheckListIndex(n, list.data(), 5);
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(Kept(list, n), (U{3, 2}));
  n = 0;
  CheckListIndex(n, nullptr, 5);
  EXPECT_EQ(n, 0u);
  U all{5, 1, 5};
  n = 3;
  CheckListIndex(n, all.data(), 5);
  EXPECT_EQ(Kept(all, n), (U{5, 1, 5}));
}

TEST(RenumberListIndex, MapsThroughTheTableAndDropsZerosAndEntriesAboveMax) {
  const unsigned int newNumber[] = {0, 10, 0, 30, 40};
  U list{1, 7, 2, 3, 0, 4, 99};
  unsigned int n = 7;
  RenumberListIndex(n, list.data(), 4, newNumber);
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(Kept(list, n), (U{10, 30, 40}));
  // The last entry mapped to 0 was still written at the output place.
  U tail{1, 2};
  n = 2;
  RenumberListIndex(n, tail.data(), 4, newNumber);
  EXPECT_EQ(n, 1u);
  EXPECT_EQ(tail, (U{10, 0}));
}

TEST(RemoveListIndex, ModelMatchesWithSortedAndUnsortedRemovals) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<unsigned int> value(0, 12), length(0, 10);
  for (int round = 0; round < 3000; ++round) {
    U list(length(rng)), removed(length(rng));
    for (auto& v : list)
      v = value(rng);
    for (auto& v : removed)
      v = value(rng);
    if (round % 2 == 0)
      std::sort(removed.begin(), removed.end());
    U expected;
    std::copy_if(list.begin(), list.end(), std::back_inserter(expected),
                 [&](unsigned int v) { return std::find(removed.begin(), removed.end(), v) == removed.end(); });
    unsigned int n = static_cast<unsigned int>(list.size());
    const unsigned char changed =
        RemoveListIndex(n, list.data(), static_cast<unsigned int>(removed.size()), removed.data());
    ASSERT_EQ(Kept(list, n), expected);
    ASSERT_EQ(changed, expected.size() != list.size() ? 1 : 0);
  }
}

TEST(SetListByte, SizesToTheLargestValueAndMarksEachListedValue) {
  Vector<unsigned char> marks;
  const unsigned int list[] = {4, 1, 4};
  SetListByte(0, list, marks);
  EXPECT_TRUE(marks.empty());
  SetListByte(3, list, marks);
  EXPECT_EQ(marks, (std::vector<unsigned char>{0, 1, 0, 0, 1}));
  // Larger marks shrink to the new size and keep the entries below it.
  marks.assign(8, 7);
  const unsigned int two[] = {2};
  SetListByte(1, two, marks);
  EXPECT_EQ(marks, (std::vector<unsigned char>{7, 7, 1}));
}

} // namespace
} // namespace zel
