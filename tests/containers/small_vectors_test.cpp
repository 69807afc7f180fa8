#include "zeltools/containers/small_vectors.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "containers/temp_file.h"
#include "support/test_support.h"

namespace zel {
namespace {

using test::TempFile;
using test::ThrownText;

std::vector<unsigned int> Plain(const VKZUINT& v) { return std::vector<unsigned int>(v.begin(), v.end()); }

VKZUINT Make(std::vector<unsigned int> values) {
  VKZUINT v;
  v.assign(values.begin(), values.end());
  return v;
}

TEST(VKZUINT, InitOrderHoldsOneValueMoreThanAsked) {
  VKZUINT v = Make({9, 9, 9, 9, 9, 9});
  v.InitOrder(3, 1);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{1, 2, 3, 4}));
  v.InitOrder(0, 5);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{5}));
  v.InitOrder(2, 0xFFFFFFFFu); // wraps as unsigned numbers do
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0xFFFFFFFFu, 0, 1}));
  EXPECT_EQ(static_cast<unsigned int*>(v), v.data());
}

TEST(VKZUINT, RenumberMapsThroughTheOneBasedTable) {
  const unsigned int table[3] = {7, 8, 9};
  VKZUINT v = Make({0, 1, 3, 4});
  v.Renumber(3, table);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0, 7, 9, 0}));
  v.Renumber(3, nullptr);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0, 7, 9, 0}));
  v.Renumber(0, table); // an empty table maps everything to 0
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0, 0, 0, 0}));
}

TEST(VKZUINT, RemoveByOneOrSeveralValues) {
  const unsigned int five = 5;
  VKZUINT v = Make({5, 0, 2, 5});
  v.Remove(1, &five, 1);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{2}));
  const unsigned int two[2] = {5, 2};
  v = Make({5, 0, 2, 9});
  v.Remove(2, two, 0);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0, 9}));
  v = Make({5, 0, 2, 9});
  v.Remove(2, two, 1);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{9}));
  v.Remove(0, two, 1);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{9}));
}

// Random vectors and value lists against std::remove_if, including values
// so large that the byte table is replaced by a search.
TEST(VKZUINT, RemoveMatchesAPlainFilter) {
  std::mt19937 rng(8);
  for (int round = 0; round < 300; ++round) {
    const bool huge = round % 3 == 0;
    std::vector<unsigned int> data(rng() % 40);
    for (auto& e : data)
      e = rng() % 12;
    std::vector<unsigned int> values(1 + rng() % 5);
    for (auto& e : values)
      e = rng() % 12;
    if (huge)
      values.push_back(0xFFFFFFF0u + rng() % 16), data.push_back(values.back());
    const unsigned char dropZero = static_cast<unsigned char>(rng() % 2);
    std::vector<unsigned int> expected;
    for (unsigned int e : data)
      if (std::find(values.begin(), values.end(), e) == values.end() && !(dropZero && e == 0))
        expected.push_back(e);
    VKZUINT v = Make(data);
    v.Remove(static_cast<unsigned int>(values.size()), values.data(), dropZero);
    ASSERT_EQ(Plain(v), expected) << "round " << round;
  }
}

TEST(VKZUINT, CompressSortsCountsAndSignals) {
  VKZUINT v = Make({3, 1, 2});
  EXPECT_EQ(v.Compress(0, 0, 0), 3u);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{1, 2, 3}));
  v = Make({2, 2, 1});
  EXPECT_EQ(v.Compress(0, 0, 0), 2u);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{1, 2}));
  v = Make({2, 2, 1});
  EXPECT_EQ(v.Compress(254, 0, 0), 2u);
  EXPECT_TRUE(v.empty());
  v = Make({2, 2, 1});
  EXPECT_EQ(v.Compress(255, 0, 1), 2u); // duplicates kept: clean
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{1, 2, 2}));
  v = Make({0, 4, 0});
  EXPECT_EQ(v.Compress(0, 0, 0), 4u); // one qualifies; nothing moves
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{0}));
  v = Make({5, 1}); // said to be sorted: not sorted, only measured
  EXPECT_EQ(v.Compress(0, 1, 0), 5u);
  EXPECT_EQ(Plain(v), (std::vector<unsigned int>{5, 1}));
  v.clear();
  EXPECT_EQ(v.Compress(254, 0, 0), 0u);
}

// For clean vectors (no zeros, no repeats) Compress only sorts; it returns
// the largest value, and mode 254 leaves them alone.
TEST(VKZUINT, CompressOfCleanVectorsIsASortAndTheLargest) {
  std::mt19937 rng(4);
  for (int round = 0; round < 100; ++round) {
    std::set<unsigned int> distinct;
    while (distinct.size() < rng() % 30)
      distinct.insert(1 + rng() % 1000);
    std::vector<unsigned int> data(distinct.begin(), distinct.end());
    std::shuffle(data.begin(), data.end(), rng);
    VKZUINT v = Make(data);
    const unsigned int largest = v.Compress(254, 0, 0);
    EXPECT_EQ(largest, distinct.empty() ? 0u : *distinct.rbegin());
    EXPECT_EQ(Plain(v), std::vector<unsigned int>(distinct.begin(), distinct.end()));
  }
}

TEST(VKZDOUBLE, ComparisonsTolerateTheFixedRelativeDifference) {
  VKZDOUBLE a;
  a.push_back(1.0);
  EXPECT_TRUE(a == std::vector<double>{1.0000001});
  EXPECT_FALSE(a == std::vector<double>{1.01});
  EXPECT_TRUE(a < std::vector<double>{1.01});
  EXPECT_EQ(a.Compare(std::vector<double>{0.5}), 1);
  EXPECT_EQ(a.Compare(std::vector<double>{1.0, 0.0}), -1); // fewer elements first
  VKZDOUBLE b(a);
  EXPECT_TRUE(b == a);
  EXPECT_TRUE(VKZDOUBLE() == std::vector<double>{});
}

TEST(VString, AppendedTextsHoldTheirZeroAndBothNumberingsReachThem) {
  VString s;
  EXPECT_EQ(s.Append("ab"), 0u);
  EXPECT_EQ(s.GetElemSize(0), 3u);
  EXPECT_STREQ(s[0], "ab");
  EXPECT_STREQ(s.GetText(1), "ab");
  EXPECT_EQ(s.GetModify(), 0x11);
  s += "";
  s += nullptr;
  EXPECT_EQ(s.GetSize(), 3u);
  EXPECT_STREQ(s[1u], "");
  EXPECT_EQ(s.GetElemSize(2), 1u);
  s.Replace(1, "longer text");
  EXPECT_STREQ(s.GetText(2), "longer text");
  EXPECT_EQ(ThrownText([&] { s.Replace(3, "x"); }), "Error in VectorArray");
  s.SetSize(4); // a list never filled reads as the empty text
  EXPECT_STREQ(s[3], "");
  VString t;
  t += s;
  t += t; // onto itself
  EXPECT_EQ(t.GetSize(), 8u);
  EXPECT_STREQ(t[5], "longer text");
}

VString Texts(std::vector<std::string> texts) {
  VString s;
  for (const auto& t : texts)
    s.Append(t.c_str());
  return s;
}

TEST(VString, CompareByCountThenBytesAsUnsigned) {
  EXPECT_TRUE(Texts({"a", "b"}) < Texts({"a", "c"}));
  EXPECT_EQ(Texts({"a", "b"}).Compare(Texts({"z"})), 1);
  EXPECT_EQ(Texts({"z"}).Compare(Texts({"a", "b"})), -1);
  EXPECT_EQ(Texts({"ab", "c"}).Compare(Texts({"ab", "c"})), 0);
  EXPECT_TRUE(Texts({"ab", "c"}) == Texts({"ab", "c"}));
  EXPECT_EQ(Texts({"ab"}).Compare(Texts({"abc"})), -1); // the zero orders first
  EXPECT_EQ(Texts({"\xE0"}).Compare(Texts({"z"})), 1); // bytes above 127 are large
  // A list stored without its zero through the array's own Replace.
  VString raw;
  raw.Append("xx");
  raw.VectorArray<char, unsigned int>::Replace(0, 2, "ab");
  EXPECT_EQ(raw.Compare(Texts({"ab"})), 0);
  EXPECT_EQ(raw.Compare(Texts({"abc"})), -1);
}

TEST(VString, WriteReadAndCompressKeepTheTexts) {
  std::mt19937 rng(12);
  VString s;
  std::vector<std::string> model;
  for (int k = 0; k < 300; ++k) {
    std::string text(rng() % 30, 'a');
    for (auto& c : text)
      c = static_cast<char>(1 + rng() % 255);
    if (k % 5 == 0 && !model.empty()) {
      const unsigned int i = rng() % static_cast<unsigned int>(model.size());
      s.Replace(i, text.c_str());
      model[i] = text;
    } else {
      s.Append(text.c_str());
      model.push_back(text);
    }
  }
  TempFile t;
  DOCUMENT doc;
  s.Write(t.file, doc);
  EXPECT_EQ(s.GetModify(), 0);
  VString back;
  ASSERT_EQ(back.Read(t.file, doc), 1);
  s.Compress();
  VString copy(back);
  ASSERT_EQ(back.GetSize(), model.size());
  for (unsigned int i = 0; i < model.size(); ++i) {
    ASSERT_EQ(std::string(back[i]), model[i]);
    ASSERT_EQ(std::string(s.GetText(i + 1)), model[i]);
    ASSERT_EQ(std::string(copy[i]), model[i]);
  }
  EXPECT_TRUE(back == s);
}

} // namespace
} // namespace zel
