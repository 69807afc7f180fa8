#include "zeltools/text/phrase.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"
#include "zeltools/files/file_base.h"

namespace zel {
namespace {

using test::Bytes;
using Buffer = std::vector<unsigned char>;

// The stream form tells every field apart (a missing text from an empty one
// included), so equal forms mean equal phrases.
std::string Packed(const CPhrase& phrase) {
  std::ostringstream out;
  phrase.PackToStream(out);
  return out.str();
}

CPhrase RandomPhrase(std::mt19937& rng, bool withNullTexts) {
  CPhrase phrase;
  for (unsigned int i = rng() % 6 + 1; i > 0; --i) {
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

// A message with everything, one without a text and one with the empty text.
TEST(Phrase, StreamLayoutByteForByte) {
  CPhrase p;
  const unsigned int list[1] = {0x0A0B0C0D};
  p.Append("hi", 7, 0x11223344, list, 9, 1, 0x5566);
  p.Append(nullptr);
  p.Append("");
  std::string expected("\3\0\0\0" "\3\0\0\0hi\0" "\7\x09\x66\x55\x44\x33\x22\x11" "\1\0\0\0\x0D\x0C\x0B\x0A", 27);
  expected += std::string(16, '\0');                              // no text, nothing else
  expected += std::string("\1\0\0\0", 4) + std::string(13, '\0'); // the empty text: its NUL
  EXPECT_EQ(Packed(p), expected);
}

TEST(Phrase, StreamsRoundTrip) {
  std::mt19937 rng(5);
  for (int round = 0; round < 40; ++round) {
    const CPhrase phrase = RandomPhrase(rng, true);
    std::istringstream stream(Packed(phrase));
    CPhrase back = RandomPhrase(rng, true);
    ASSERT_EQ(back.UnPackFromStream(stream), 1);
    ASSERT_EQ(Packed(back), stream.str());
  }
}

TEST(Phrase, AppendForms) {
  test::ScopedLanguage english(LanguageEnglish);
  CPhrase p;
  p.Append("one", 1, 2, 0x10003);
  p.Append(105u, 2);
  p.Append(99999u);
  EXPECT_EQ(p[1].GetText(), test::CatalogueText(105));
  EXPECT_STREQ(p[2].GetText(), "");
  EXPECT_EQ(p[0].param2, 3);
  CPhrase other;
  other.Append("two");
  CPhrase kept = p;
  kept.Append(other, 0);
  EXPECT_EQ(Packed(kept).substr(4), Packed(p).substr(4) + Packed(other).substr(4));
  p.Append(other, 1);
  EXPECT_EQ(Packed(p), Packed(other));
  p.Append(p, 0); // itself, doubled
  p.Append(p, 1); // itself, kept
  EXPECT_EQ(p.GetQuantity(), 2u);
  EXPECT_STREQ(p[1].GetText(), "two");
  SetLastError(0);
  p.AppendSystem();
  EXPECT_EQ(p.size(), 2u);
  SetLastError(platform::ErrorNotFound);
  p.AppendSystem();
  EXPECT_EQ(p.back().GetText(), platform::SystemErrorText(platform::ErrorNotFound));
  EXPECT_EQ(p.back().kind, 3);
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
    model.resize(count);
    model.resize(3, 0xDEAD);
    ASSERT_EQ(small, model);
  }
}

using PhraseFileTest = test::FileTest;

TEST_F(PhraseFileTest, BlocksRoundTripAndKeepTheirLayout) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  CPhrase empty;
  DOCUMENT doc{3, 3};
  EXPECT_EQ(WritePhrase(empty, f, doc), 1);
  EXPECT_EQ(doc.position + doc.length + f.GetLength(), 0);
  CPhrase one;
  const unsigned int list[2] = {10, 20};
  one.Append("ab", 3, 0x01020304, list, 9, 2, 0x0506);
  ASSERT_EQ(WritePhrase(one, f, doc), 1);
  f.Close();
  const unsigned char expected[] = {1, 0, 0, 0, 2, 0, 'a', 'b', 3,  4, 3, 2, 1, 6,  5,
                                    9, 2, 0, 0, 0, 10, 0, 0, 0, 20, 0, 0, 0};
  EXPECT_EQ(Bytes(path_), Buffer(expected, expected + sizeof expected));

  std::mt19937 rng(2);
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  std::vector<CPhrase> phrases;
  std::vector<DOCUMENT> docs;
  for (int i = 0; i < 30; ++i) {
    phrases.push_back(RandomPhrase(rng, false));
    docs.emplace_back();
    ASSERT_EQ(WritePhrase(phrases.back(), f, docs.back()), 1);
  }
  CPhrase old;
  old.Append("old");
  phrases.push_back(old); // an empty record reads as nothing and changes nothing
  docs.emplace_back();
  for (std::size_t i = phrases.size(); i-- > 0;) {
    CPhrase back = old;
    ASSERT_EQ(ReadPhrase(back, f, docs[i]), 1);
    ASSERT_EQ(Packed(back), Packed(phrases[i]));
  }
}

// The phrase is small but has every field: a list, a missing text, an empty list.
TEST_F(PhraseFileTest, DamagedBlocksAreRefusedAndChangeNothing) {
  CPhrase stored;
  const unsigned int list[3] = {1, 2, 3};
  stored.Append("abc", 1, 2, list, 4, 3, 5);
  stored.Append(nullptr, 6, 7);
  test::ExpectEveryDamageReported(
      path_, [&](CFileBase& f, DOCUMENT& doc) { ASSERT_EQ(WritePhrase(stored, f, doc), 1); },
      [&](CFileBase& f, DOCUMENT doc) {
        CPhrase target = stored;
        const bool accepted = ReadPhrase(target, f, doc) == 1;
        EXPECT_TRUE(accepted || Packed(target) == Packed(stored));
        return accepted;
      });
}

} // namespace
} // namespace zel
