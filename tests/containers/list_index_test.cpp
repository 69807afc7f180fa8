#include "zeltools/containers/list_index.h"

#include <algorithm>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace zel {
namespace {

using U = std::vector<unsigned int>;

// Each edit against a filtered copy of a random list; the removal lists come
// sorted (bisection) and unsorted (linear search).
TEST(ListIndex, EditsAgreeWithAFilteredCopy) {
  std::mt19937 rng(11);
  for (int round = 0; round < 3000; ++round) {
    U list(rng() % 11), removed(rng() % 11), newNumber(13);
    for (U* v : {&list, &removed, &newNumber})
      for (auto& x : *v)
        x = static_cast<unsigned int>(rng() % 13);
    if (round % 2 == 0)
      std::sort(removed.begin(), removed.end());
    const unsigned int max = static_cast<unsigned int>(rng() % 13);
    U checked, renumbered, kept;
    for (unsigned int v : list) {
      if (v != 0 && v <= max)
        checked.push_back(v);
      if (v <= max && newNumber[v] != 0)
        renumbered.push_back(newNumber[v]);
      if (std::find(removed.begin(), removed.end(), v) == removed.end())
        kept.push_back(v);
    }
    U work = list;
    unsigned int n = static_cast<unsigned int>(list.size());
    CheckListIndex(n, work.data(), max);
    ASSERT_EQ(U(work.begin(), work.begin() + n), checked);
    work = list, n = static_cast<unsigned int>(list.size());
    RenumberListIndex(n, work.data(), max, newNumber.data());
    ASSERT_EQ(U(work.begin(), work.begin() + n), renumbered);
    work = list, n = static_cast<unsigned int>(list.size());
    ASSERT_EQ(RemoveListIndex(n, work.data(), static_cast<unsigned int>(removed.size()), removed.data()),
              kept.size() != list.size() ? 1 : 0);
    ASSERT_EQ(U(work.begin(), work.begin() + n), kept);
  }
  // The last entry renumbered to 0 is still written at the output place.
  U tail{1, 2};
  const unsigned int newNumber[] = {0, 10, 0};
  unsigned int n = 2;
  RenumberListIndex(n, tail.data(), 2, newNumber);
  EXPECT_TRUE(n == 1 && tail == (U{10, 0}));
}

TEST(SetListByte, SizesToTheLargestValueKeepingTheEntriesBelowIt) {
  Vector<unsigned char> marks;
  const unsigned int list[] = {4, 1, 4}, two[] = {2};
  SetListByte(0, list, marks);
  EXPECT_TRUE(marks.empty());
  SetListByte(3, list, marks);
  EXPECT_EQ(marks, (std::vector<unsigned char>{0, 1, 0, 0, 1}));
  marks.assign(8, 7);
  SetListByte(1, two, marks);
  EXPECT_EQ(marks, (std::vector<unsigned char>{7, 7, 1}));
}

} // namespace
} // namespace zel
