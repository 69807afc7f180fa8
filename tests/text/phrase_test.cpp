#include "zeltools/text/phrase.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

using test::Bytes;
using test::PutBytes;
using test::TempDir;
using Buffer = std::vector<unsigned char>;

bool Same(const CPhraseText& a, const CPhraseText& b) {
  const bool textsEqual = (a.GetText() == nullptr && b.GetText() == nullptr) ||
                          (a.GetText() != nullptr && b.GetText() != nullptr && std::strcmp(a.GetText(), b.GetText()) == 0);
  return textsEqual && a.kind == b.kind && a.param1 == b.param1 && a.param2 == b.param2 && a.mark == b.mark &&
         a.list == b.list;
}

bool Same(const CPhrase& a, const CPhrase& b) {
  if (a.size() != b.size())
    return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!Same(a[i], b[i]))
      return false;
  return true;
}

CPhrase RandomPhrase(std::mt19937& rng, bool withNullTexts) {
  CPhrase phrase;
  const unsigned int n = rng() % 6 + 1;
  for (unsigned int i = 0; i < n; ++i) {
    std::string text(rng() % 30, ' ');
    for (char& c : text)
      c = static_cast<char>(0x20 + rng() % 0xD0); // 1251 letters too
    std::vector<unsigned int> list(rng() % 3 == 0 ? rng() % 1200 : rng() % 4);
    for (auto& x : list)
      x = static_cast<unsigned int>(rng());
    const bool none = withNullTexts && rng() % 4 == 0;
    phrase.Append(none ? nullptr : text.c_str(), static_cast<unsigned char>(rng()), static_cast<unsigned int>(rng()),
                  list.data(), static_cast<unsigned char>(rng()), static_cast<unsigned int>(list.size()),
                  static_cast<unsigned int>(rng()));
  }
  return phrase;
}

TEST(PhraseText, TextsAreOwnedCopiesAndTheEmptyTextIsNotNull) {
  CPhraseText t;
  EXPECT_EQ(t.GetText(), nullptr);
  t.SetText("");
  ASSERT_NE(t.GetText(), nullptr);
  EXPECT_STREQ(t.GetText(), "");
  const unsigned int list[3] = {5, 6, 7};
  t.Set("abc", 1, 2, 0x12345, 0x1FF, 3, list);
  EXPECT_EQ(t.param2, 0x2345);
  EXPECT_EQ(t.mark, 0xFF);
  CPhraseText copy(t);
  t.SetText(nullptr);
  t.list.clear();
  EXPECT_STREQ(copy.GetText(), "abc");
  EXPECT_EQ(copy.list, (std::vector<unsigned int>{5, 6, 7}));
  t = copy;
  t = t;
  EXPECT_STREQ(t.GetText(), "abc");
  t.SetText(t.GetText());
  EXPECT_STREQ(t.GetText(), "abc");
  t.Set("x", 0, 0, 0, 0, 4, nullptr);
  EXPECT_TRUE(t.list.empty());
}

TEST(PhraseText, StreamLayoutByteForByte) {
  CPhraseText t;
  const unsigned int list[1] = {0x0A0B0C0D};
  t.Set("hi", 7, 0x11223344, 0x5566, 9, 1, list);
  std::ostringstream out;
  t.PackToStream(out);
  const std::string bytes = out.str();
  const unsigned char expected[] = {3, 0, 0, 0, 'h', 'i', 0,    7,    9,    0x66, 0x55, 0x44,
                                    0x33, 0x22, 0x11, 1, 0, 0, 0, 0x0D, 0x0C, 0x0B, 0x0A};
  ASSERT_EQ(bytes.size(), sizeof expected);
  EXPECT_EQ(std::memcmp(bytes.data(), expected, sizeof expected), 0);
  CPhraseText none, empty;
  empty.SetText("");
  std::ostringstream a, b;
  none.PackToStream(a);
  empty.PackToStream(b);
  EXPECT_EQ(a.str().substr(0, 4), std::string(4, '\0'));
  EXPECT_EQ(a.str().size(), 16u);
  EXPECT_EQ(b.str().substr(0, 5), std::string("\1\0\0\0\0", 5));
  EXPECT_EQ(b.str().size(), 17u);
}

TEST(Phrase, StreamsRoundTripAndDamagedStreamsChangeNothing) {
  std::mt19937 rng(5);
  for (int round = 0; round < 40; ++round) {
    const CPhrase phrase = RandomPhrase(rng, true);
    std::stringstream stream;
    phrase.PackToStream(stream);
    CPhrase back = RandomPhrase(rng, true);
    ASSERT_EQ(back.UnPackFromStream(stream), 1);
    ASSERT_TRUE(Same(back, phrase));
    if (round % 8 != 0)
      continue;
    // Every shorter prefix fails and leaves the target as it was.
    const std::string whole = stream.str();
    for (std::size_t cut = 0; cut < whole.size(); cut += 1 + cut / 64) {
      std::istringstream part(whole.substr(0, cut));
      CPhrase target = phrase;
      target.Append("keep");
      const CPhrase before = target;
      ASSERT_EQ(target.UnPackFromStream(part), 0);
      ASSERT_TRUE(part.fail());
      ASSERT_TRUE(Same(target, before));
    }
  }
  // A huge count in a tiny stream fails at once, without sizing anything by it.
  std::istringstream huge(std::string("\1\0\0\0\xF0\xFF\xFF\xFF", 8));
  CPhrase target;
  EXPECT_EQ(target.UnPackFromStream(huge), 0);
  std::istringstream lists(std::string("\xFF\xFF\xFF\x7F", 4) + std::string(12, '\0'));
  EXPECT_EQ(target.UnPackFromStream(lists), 0);
  EXPECT_TRUE(target.empty());
}

TEST(Phrase, AppendForms) {
  test::ScopedLanguage english(LanguageEnglish);
  CPhrase p;
  p.Append("one", 1, 2, 0x10003);
  p.Append(105u, 2);
  p.Append(99999u);
  EXPECT_STREQ(p[1].GetText(), "Error reading file \"%s\"");
  EXPECT_STREQ(p[2].GetText(), "");
  EXPECT_EQ(p[0].param2, 3);
  EXPECT_EQ(p[0].mark, 0);
  CPhrase other;
  const unsigned int list[2] = {4, 1};
  other.Append("two", 5, 6, list, 7, 2);
  CPhrase kept = p;
  kept.Append(other, 0);
  ASSERT_EQ(kept.size(), 4u);
  EXPECT_STREQ(kept[0].GetText(), "one");
  EXPECT_TRUE(Same(kept[3], other[0]));
  p.Append(other, 1);
  EXPECT_TRUE(Same(p, other));
  p.Append(p, 0);
  EXPECT_EQ(p.GetQuantity(), 2u);
  p.Append(p, 1);
  EXPECT_EQ(p.GetQuantity(), 2u);
}

TEST(Phrase, AppendSystemAddsTheTextOfANonZeroError) {
  CPhrase p;
  SetLastError(0);
  p.AppendSystem();
  EXPECT_TRUE(p.empty());
  SetLastError(ENOENT);
  p.AppendSystem();
  ASSERT_EQ(p.size(), 1u);
  EXPECT_STREQ(p[0].GetText(), "No such file or directory");
  EXPECT_EQ(p[0].kind, 3);
  EXPECT_EQ(p[0].param1, 0u);
}

TEST(Phrase, CheckListGathersSortedDistinctNumbers) {
  std::mt19937 rng(9);
  for (int round = 0; round < 20; ++round) {
    const CPhrase phrase = RandomPhrase(rng, false);
    std::vector<unsigned int> model;
    for (const CPhraseText& m : phrase)
      model.insert(model.end(), m.list.begin(), m.list.end());
    std::sort(model.begin(), model.end());
    model.erase(std::unique(model.begin(), model.end()), model.end());
    std::vector<unsigned int> out = {1, 2, 3};
    phrase.CheckList(out);
    ASSERT_EQ(out, model);
    unsigned int count = 12345;
    phrase.CheckList(count, nullptr);
    ASSERT_EQ(count, model.size());
    std::vector<unsigned int> small(3, 0xDEAD);
    count = 2;
    phrase.CheckList(count, small.data());
    ASSERT_EQ(count, std::min<std::size_t>(2, model.size()));
    for (unsigned int i = 0; i < count; ++i)
      ASSERT_EQ(small[i], model[i]);
    ASSERT_EQ(small[2], 0xDEADu);
  }
}

class PhraseFileTest : public ::testing::Test {
protected:
  test::ScopedLanguage english_{LanguageEnglish};
  TempDir dir_;
  std::string path_ = dir_.File("phrase.bin");
};

TEST_F(PhraseFileTest, BlocksRoundTripAndKeepTheirLayout) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  CPhrase empty;
  DOCUMENT doc{3, 3};
  EXPECT_EQ(WritePhrase(empty, f, doc), 1);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(f.GetLength(), 0);
  CPhrase one;
  const unsigned int list[2] = {10, 20};
  one.Append("ab", 3, 0x01020304, list, 9, 2, 0x0506);
  ASSERT_EQ(WritePhrase(one, f, doc), 1);
  EXPECT_EQ(doc.position, 0);
  f.Close();
  const unsigned char expected[] = {1, 0, 0, 0, 2, 0, 'a', 'b', 3,  4, 3, 2, 1, 6,  5,
                                    9, 2, 0, 0, 0, 10, 0, 0, 0, 20, 0, 0, 0};
  const Buffer bytes = Bytes(path_);
  ASSERT_EQ(bytes, Buffer(expected, expected + sizeof expected));
  EXPECT_EQ(doc.length, static_cast<long long>(sizeof expected));

  std::mt19937 rng(2);
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  std::vector<CPhrase> phrases;
  std::vector<DOCUMENT> docs;
  for (int i = 0; i < 30; ++i) {
    phrases.push_back(RandomPhrase(rng, false));
    docs.emplace_back();
    ASSERT_EQ(WritePhrase(phrases.back(), f, docs.back()), 1);
  }
  for (std::size_t i = phrases.size(); i-- > 0;) {
    CPhrase back;
    back.Append("old");
    ASSERT_EQ(ReadPhrase(back, f, docs[i]), 1);
    ASSERT_TRUE(Same(back, phrases[i]));
  }
  CPhrase untouched;
  untouched.Append("stays");
  DOCUMENT none;
  EXPECT_EQ(ReadPhrase(untouched, f, none), 1);
  EXPECT_EQ(untouched.size(), 1u);
}

// Every cut of a stored phrase, and random bytes under its record, end in
// message 110 (or 105) in the sink, with the phrase unchanged.
TEST_F(PhraseFileTest, DamagedBlocksAreRefusedAndChangeNothing) {
  std::mt19937 rng(4);
  CFileBase w;
  ASSERT_EQ(w.Open(path_.c_str(), "w"), 1);
  w.Write("pad!", 4);
  const CPhrase stored = RandomPhrase(rng, false);
  DOCUMENT doc;
  ASSERT_EQ(WritePhrase(const_cast<CPhrase&>(stored), w, doc), 1);
  w.Close();
  const Buffer good = Bytes(path_);
  for (std::size_t cut = 4; cut < good.size(); ++cut) {
    PutBytes(path_, Buffer(good.begin(), good.begin() + static_cast<long>(cut)));
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
    // The record is made to fit, so the damage is found inside the block.
    DOCUMENT fitted{4, static_cast<long long>(cut) - 4};
    CPhrase target;
    target.Append("mine");
    if (fitted.length == 0)
      continue;
    EXPECT_EQ(ReadPhrase(target, f, fitted), 0) << cut;
    ASSERT_EQ(target.size(), 1u);
    ASSERT_FALSE(sink.empty());
    EXPECT_EQ(sink.back().param1, 110u);
  }
  for (int round = 0; round < 500; ++round) {
    Buffer noise = good;
    for (int k = 0; k < 4; ++k)
      noise[4 + rng() % (noise.size() - 4)] = static_cast<unsigned char>(rng());
    if (round % 5 == 0)
      for (std::size_t i = 4; i < noise.size(); ++i)
        noise[i] = static_cast<unsigned char>(rng());
    PutBytes(path_, noise);
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
    CPhrase target;
    if (ReadPhrase(target, f, doc) == 0) {
      ASSERT_FALSE(sink.empty());
      EXPECT_TRUE(sink.back().param1 == 110u || sink.back().param1 == 105u);
      EXPECT_TRUE(target.empty());
    }
  }
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  CPhrase target;
  DOCUMENT outside{4, static_cast<long long>(good.size())};
  EXPECT_NE(test::ThrownText([&] { ReadPhrase(target, f, outside); }), "");
}

} // namespace
} // namespace zel
