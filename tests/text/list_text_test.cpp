#include "zeltools/text/list_text.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zeltools/containers/vector.h"

namespace zel {
namespace {

template <class T>
std::string Text(const std::vector<T>& list) {
  std::vector<char> text;
  EXPECT_EQ(ListText(static_cast<unsigned int>(list.size()), list.data(), text), 1);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\0');
  return std::string(text.data());
}

std::vector<unsigned int> Read(const char* text, bool expectOk = true) {
  std::vector<unsigned int> list{99};
  EXPECT_EQ(TextList(text, list), expectOk ? 1 : 0) << '"' << text << '"';
  return list;
}

using U = std::vector<unsigned int>;

TEST(ListText, CompressesRangesAndRunsOfThreeOrMore) {
  EXPECT_EQ(Text(U{1, 2, 3, 4, 7, 9, 11, 13}), "1-4 7 r 13 2 ");
  EXPECT_EQ(Text(U{5, 5, 5}), "5-5");
  EXPECT_EQ(Text(U{1, 3}), "1 3");
  EXPECT_EQ(Text(U{1, 2}), "1 2");
  EXPECT_EQ(Text(U{0, 4}), " 4");
  EXPECT_EQ(Text(U{0, 0, 0}), "  ");
  EXPECT_EQ(Text(U{}), "");
  EXPECT_EQ(Text(U{4, 3, 2, 1}), "4 3 2 1");
  EXPECT_EQ(Text(U{10, 20, 30, 31, 32}), "10 r 30 10  31 32");
  EXPECT_EQ(Text(U{3, 4, 5, 5, 5}), "3-5 5 5");
  EXPECT_EQ(Text(U{2, 0, 1, 2, 3}), "2  1-3");
  EXPECT_EQ(Text(std::vector<unsigned short>{65533, 65534, 65535, 7}), "65533-65535 7");
}

TEST(ListText, ValuesAboveIntMaxAreShownAsPercentD) {
  EXPECT_EQ(Text(U{4294967295u, 2147483648u, 2147483647u}), "-1 -2147483648 2147483647");
  EXPECT_EQ(Text(U{4294967293u, 4294967294u, 4294967295u}), "-3--1");
  EXPECT_EQ(Read("-1 -2147483648 2147483647"), (U{4294967295u, 2147483648u, 2147483647u}));
  EXPECT_EQ(Read("-3--1"), (U{4294967293u, 4294967294u, 4294967295u}));
}

TEST(ListText, BufferKeepsWholePiecesWithinSizeMinusTwo) {
  const U list{1, 2, 3, 4, 7, 9, 11, 13};
  char text[32];
  std::fill(std::begin(text), std::end(text), 'X');
  EXPECT_EQ(ListText(8, list.data(), text, 15), 1); // 13 characters fit in 15 − 2
  EXPECT_STREQ(text, "1-4 7 r 13 2 ");
  EXPECT_EQ(ListText(8, list.data(), text, 14), 0); // the run piece does not fit
  EXPECT_STREQ(text, "1-4 7");
  EXPECT_EQ(ListText(8, list.data(), text, 4), 0);
  EXPECT_STREQ(text, "1");
  EXPECT_EQ(ListText(8, list.data(), text, 1), 0);
  EXPECT_STREQ(text, "");
  text[0] = 'X';
  EXPECT_EQ(ListText(8, list.data(), text, 0), 0);
  EXPECT_EQ(text[0], 'X');
  EXPECT_EQ(ListText(0, list.data(), text, 1), 1);
  EXPECT_STREQ(text, "");
}

TEST(TextList, ReadsTheWrittenFormsAndFriendlierSpellings) {
  EXPECT_EQ(Read("1-4 7 r 13 2 "), (U{1, 2, 3, 4, 7, 9, 11, 13}));
  EXPECT_EQ(Read("5-5"), (U{5}));
  EXPECT_EQ(Read(" 4"), (U{4}));
  EXPECT_EQ(Read(""), (U{}));
  EXPECT_EQ(Read(nullptr), (U{}));
  EXPECT_EQ(Read("1 - 4,\t6 ,, 8\r\n"), (U{1, 2, 3, 4, 6, 8}));
  EXPECT_EQ(Read("1- 3 7R13 3 +2"), (U{1, 2, 3, 7, 10, 13, 2}));
  EXPECT_EQ(Read("1 r 10 4"), (U{1, 5, 9})); // stops before passing the end
  EXPECT_EQ(Read("0 0-2"), (U{0, 0, 1, 2}));  // values are taken as they stand
  EXPECT_EQ(Read("1 -4"), (U{1, 4294967292u}));
  EXPECT_EQ(Read("10 r 30 10  31 32"), (U{10, 20, 30, 31, 32}));
}

TEST(TextList, MalformedTextKeepsTheItemsBeforeTheFault) {
  EXPECT_EQ(Read("1-4 abc", false), (U{1, 2, 3, 4}));
  EXPECT_EQ(Read("1 2 3-", false), (U{1, 2}));
  EXPECT_EQ(Read("1 4-1", false), (U{1}));
  EXPECT_EQ(Read("1 r 10 0", false), (U{}));
  EXPECT_EQ(Read("1 r 10", false), (U{}));
  EXPECT_EQ(Read("2 1-4x", false), (U{2}));
  EXPECT_EQ(Read("1-4-6", false), (U{}));
  EXPECT_EQ(Read("- 3", false), (U{}));
  EXPECT_EQ(Read("4294967296", false), (U{}));
  EXPECT_EQ(Read("-2147483649", false), (U{}));
  EXPECT_EQ(Read("99999999999999999999999", false), (U{}));
  EXPECT_EQ(Read("1.5", false), (U{}));
  std::vector<unsigned short> shorts;
  EXPECT_EQ(TextList("65535 65536", shorts), 0);
  EXPECT_EQ(shorts, (std::vector<unsigned short>{65535}));
  EXPECT_EQ(TextList("-1", shorts), 0);
  EXPECT_TRUE(shorts.empty());
}

TEST(TextList, HugeRangesFailBeforeAllocating) {
  std::vector<unsigned int> list;
  EXPECT_EQ(TextList("1-4000000000", list), 0);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.capacity(), 0u);
  EXPECT_EQ(TextList("0--1", list), 0);
  EXPECT_EQ(TextList("1 r 4000000000 1", list), 0);
  EXPECT_EQ(TextList("1-10 20-30", list, 20), 0);
  EXPECT_EQ(list.size(), 10u);
  EXPECT_EQ(TextList("1-10 20-29", list, 20), 1);
  EXPECT_EQ(list.size(), 20u);
}

TEST(TextList, ArrayFormsStopAtTheirSize) {
  unsigned int ints[6] = {};
  unsigned int n = 77;
  EXPECT_EQ(TextList("3 r 11 2 20", n, ints, 6), 1);
  EXPECT_EQ(n, 6u);
  EXPECT_EQ(U(ints, ints + 6), (U{3, 5, 7, 9, 11, 20}));
  EXPECT_EQ(TextList("1 2-7", n, ints, 6), 0);
  EXPECT_EQ(n, 1u);
  unsigned short shorts[3] = {};
  EXPECT_EQ(TextList("9 8-9", n, shorts, 3), 1);
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(shorts[2], 9);
  EXPECT_EQ(TextList("1", n, static_cast<unsigned short*>(nullptr), 3), 0);
  EXPECT_EQ(n, 0u);
}

TEST(TextList, FillsTheLibraryVector) {
  Vector<unsigned int> list;
  EXPECT_EQ(TextList("2-4", list), 1);
  EXPECT_EQ(list.size(), 3u);
}

// ------------------------------------------------------------ properties

// Random lists built from runs with small and large steps, pairs of equal
// values, values near the top of the range, and (optionally) zeros.
template <class T>
std::vector<T> RandomList(std::mt19937& rng, bool zeros) {
  const std::uint64_t top = std::numeric_limits<T>::max();
  std::uniform_int_distribution<int> pick(0, 9);
  std::uniform_int_distribution<std::uint64_t> anyValue(1, top);
  std::vector<T> list;
  const int segments = pick(rng) * 2;
  for (int s = 0; s < segments; ++s) {
    const int kind = pick(rng);
    if (zeros && kind == 0) {
      list.push_back(0);
      continue;
    }
    std::uint64_t start = kind < 5 ? std::uniform_int_distribution<std::uint64_t>(1, 40)(rng) : anyValue(rng);
    const std::uint64_t steps[] = {0, 1, 1, 2, 3, 7, 1000, 65536};
    const std::uint64_t step = steps[static_cast<std::size_t>(pick(rng)) % 8];
    std::uint64_t length = static_cast<std::uint64_t>(pick(rng) % 6) + 1;
    if (step == 0 && !zeros)
      length = std::min<std::uint64_t>(length, 2);
    for (std::uint64_t k = 0; k < length && start <= top; ++k, start += step)
      list.push_back(static_cast<T>(start));
  }
  return list;
}

template <class T>
bool HasEqualTriple(const std::vector<T>& list) {
  for (std::size_t i = 0; i + 2 < list.size(); ++i)
    if (list[i] == list[i + 1] && list[i + 1] == list[i + 2])
      return true;
  return false;
}

template <class T>
void CheckRoundTrips(unsigned int seed) {
  std::mt19937 rng(seed);
  for (int round = 0; round < 3000; ++round) {
    const bool zeros = round % 2 == 1;
    const std::vector<T> list = RandomList<T>(rng, zeros);
    const std::string text = Text(list);
    std::vector<T> back;
    ASSERT_EQ(TextList(text.c_str(), back), 1) << text;
    std::vector<T> nonZero;
    std::copy_if(list.begin(), list.end(), std::back_inserter(nonZero), [](T v) { return v != 0; });
    if (!zeros && !HasEqualTriple(list)) {
      ASSERT_EQ(back, list) << text;
    } else {
      // Only repeats may be lost: same values, in order, none invented.
      ASSERT_EQ(std::set<T>(back.begin(), back.end()), std::set<T>(nonZero.begin(), nonZero.end())) << text;
      std::size_t at = 0;
      for (T v : back) {
        while (at < nonZero.size() && nonZero[at] != v)
          ++at;
        ASSERT_LT(at, nonZero.size()) << "not a subsequence: " << text;
        ++at;
      }
    }
    // Cut to a random size, the text is a prefix of the whole one, the
    // result says whether it is whole, and the prefix reads back cleanly.
    const unsigned int size = std::uniform_int_distribution<unsigned int>(1, static_cast<unsigned int>(text.size()) + 3)(rng);
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

TEST(TextListProperty, RandomBytesNeverBreakTheReader) {
  std::mt19937 rng(3);
  const std::string alphabet = "0123456789 -rR,+x\t\n-1-";
  std::uniform_int_distribution<int> byte(1, 255), length(0, 40), coin(0, 1);
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    const int n = length(rng);
    for (int i = 0; i < n; ++i)
      text += coin(rng) ? alphabet[static_cast<std::size_t>(byte(rng)) % alphabet.size()] : static_cast<char>(byte(rng));
    std::vector<unsigned int> list;
    const unsigned char ok = TextList(text.c_str(), list, 5000);
    ASSERT_LE(list.size(), 5000u);
    unsigned int array[64];
    unsigned int count = 0;
    const unsigned char okArray = TextList(text.c_str(), count, array, 64);
    ASSERT_LE(count, 64u);
    if (ok && list.size() <= 64) {
      ASSERT_EQ(okArray, 1);
      ASSERT_EQ(U(array, array + count), list);
    }
    if (ok) {
      // What was read writes and reads back to a list with the same values.
      std::vector<unsigned int> again;
      ASSERT_EQ(TextList(Text(list).c_str(), again, 5000), 1);
      std::set<unsigned int> values(list.begin(), list.end());
      values.erase(0u); // zero items write nothing
      ASSERT_EQ(std::set<unsigned int>(again.begin(), again.end()), values);
    }
  }
}

} // namespace
} // namespace zel
