#include "zeltools/text/strings.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"
#include "zeltools/files/file_base.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::PutBytes;
using Buffer = std::vector<unsigned char>;

std::string RandomText(std::mt19937& rng) {
  std::string text(rng() % 4 == 0 ? 0 : rng() % 9, ' ');
  for (char& c : text)
    c = "ab\x7F\x80\xE0"[rng() % 5];
  return text;
}

// Both string classes follow a std::string model through random edits; the
// model's compare is by unsigned bytes, as theirs must be.
TEST(Strings, FollowTheStdStringModel) {
  std::mt19937 rng(61);
  for (int round = 0; round < 3000; ++round) {
    CText c;
    KZText k;
    std::string model;
    for (int step = 0; step < 8; ++step) {
      const std::string s = RandomText(rng);
      const bool null = rng() % 6 == 0;
      const unsigned int n = rng() % 10;
      switch (rng() % 5) {
      case 0:
        c = null ? nullptr : s.c_str();
        k = null ? nullptr : s.c_str();
        model = null ? "" : s;
        ASSERT_EQ(c.GetBuffer() == nullptr, model.empty()) << "null and empty are one text";
        break;
      case 1:
        c += s.c_str();
        k += s.c_str();
        model += s;
        break;
      case 2:
        c.SetLength(n);
        if (n != 0 && n < model.size())
          k.SetLength(n);
        else
          k = c;
        model.resize(std::min<std::size_t>(n, model.size()));
        break;
      case 3:
        c += c;  // the source lies in the text itself
        k += k;
        model += model;
        break;
      default:
        c += std::string(1, s.empty() ? '\0' : s[0]).c_str();
        k += s.empty() ? '\0' : s[0];
        model += s.substr(0, 1);
      }
      ASSERT_EQ(static_cast<const char*>(c), model);
      ASSERT_EQ(static_cast<const char*>(k), model);
      ASSERT_EQ(k.GetSize(), model.empty() ? 0u : model.size() + 1);
      const std::string other = RandomText(rng);
      ASSERT_EQ(c < other.c_str(), model.compare(other) < 0);
      ASSERT_EQ(k < KZText(other.c_str()), model.compare(other) < 0);
      ASSERT_EQ(c == other.c_str(), model == other);
    }
  }
  KZText room("abc");
  room.SetLength(10);
  EXPECT_EQ(room.GetSize(), 11u);
  EXPECT_STREQ(room, "abc");
}

TEST(Strings, AddStrPiecesJoinBackToTheText) {
  std::mt19937 rng(62);
  for (int round = 0; round < 2000; ++round) {
    std::string text(rng() % 8, ' ');
    for (char& c : text)
      c = ";a "[rng() % 3];
    Vector<CText> v;  // where the split lives; VCText inherits it
    v.emplace_back("first");
    const char separator = rng() % 5 == 0 ? '\0' : ';';
    const unsigned int count = v.AddStr(text.c_str(), separator);
    ASSERT_EQ(count, v.size());
    std::string joined;
    for (unsigned int i = 1; i < v.GetSize(); ++i)
      joined += (i > 1 ? std::string(1, separator) : "") + static_cast<const char*>(v[i]);
    ASSERT_EQ(joined, text);
  }
}

TEST(Strings, CompressKeepsOneOfEachTextInByteOrder) {
  VKZText kz;
  for (const char* s : {"b", "\xE0", "a", "b", "a"})
    kz.emplace_back(s);
  EXPECT_EQ(kz.Compress(), 1);
  EXPECT_EQ(std::vector<std::string>(kz.begin(), kz.end()), (std::vector<std::string>{"a", "b", "\xE0"}));
  EXPECT_EQ(kz.Compress(), 0);
}

class StoredStrings : public test::FileTest {};

TEST_F(StoredStrings, LayoutsAreExactAndReadBack) {
  CFileBase file;
  ASSERT_TRUE(file.Open(path_.c_str(), ("wr" + test::LookBehind).c_str()));
  EXPECT_EQ(CText("ab").Write(file), 0);
  EXPECT_EQ(CText().Write(file), 3);
  EXPECT_EQ(KZText("xy").Write(file), 4);
  EXPECT_EQ(KZText().Write(file), 11);
  VCText texts;
  texts.AddStr("one;;three", ';');
  EXPECT_EQ(texts.Write(file, 1), 15u);
  _Vector<KZText> kz;
  DOCUMENT doc;
  kz.Write(file, doc);
  EXPECT_TRUE(doc.position == 0 && doc.length == 0) << "an empty vector writes nothing";
  kz.emplace_back("q");
  kz.emplace_back();
  kz.Write(file, doc);
  const long long words = file.GetLength();
  const unsigned char count[2] = {3, 0};
  file.Write(count, 2);
  for (const CText& t : texts)
    t.WriteString(file, 2);
  ASSERT_TRUE(file.Flush());
  const Buffer head = Bytes(path_);
  const Buffer expected = {'a', 'b', 0, 0, 3, 0, 0, 0, 'x', 'y', 0, 0, 0, 0, 0, 3, 0, 0, 0,
                           3, 'o', 'n', 'e', 0, 5, 't', 'h', 'r', 'e', 'e', 2, 0, 0, 0, 2, 0, 0, 0, 'q', 0, 0, 0, 0, 0};
  ASSERT_EQ(Buffer(head.begin(), head.begin() + static_cast<long>(expected.size())), expected);

  CText back;
  KZText kzBack;
  EXPECT_TRUE(back.Read(file, 0) && back == "ab" && back.Read(file, 3) && back.GetBuffer() == nullptr);
  EXPECT_TRUE(kzBack.Read(file, 4) && kzBack == "xy");
  VCText textsBack, wordsBack;
  EXPECT_TRUE(textsBack.Read(file, 15, 1) && wordsBack.ReadWord(file, words, 2));
  EXPECT_TRUE(textsBack.Compare(texts) == 0 && wordsBack.Compare(texts) == 0);
  _Vector<KZText> kzBack2;
  VKZText listed;
  EXPECT_TRUE(kzBack2.Read(file, doc) && kzBack2.Compare(kz) == 0);
  EXPECT_TRUE(listed.ReadString(file, static_cast<unsigned int>(words), 2) && listed.size() == 3 && listed[2] == "three");
  EXPECT_TRUE(textsBack.Read(file, 0, 1) && textsBack.size() == 3) << "position 0 reads nothing";
}

// Every stored count and length is checked against the file before anything
// is allocated; damaged bytes end in a message with the vector unchanged.
TEST_F(StoredStrings, DamagedFilesFailCleanly) {
  VCText texts;
  texts.AddStr("alpha;;gamma", ';');
  _Vector<KZText> kz(2);
  kz[1] = "q";
  test::ExpectEveryDamageReported(
      path_, [&](CFileBase& f, DOCUMENT& doc) {
        doc.position = static_cast<long long>(texts.Write(f, 2));
        doc.length = f.GetLength() - doc.position;
      },
      [&](CFileBase& f, DOCUMENT doc) {
        VCText back(1);
        const bool accepted = back.Read(f, doc.position, 2) == 1;
        EXPECT_TRUE(accepted || back.size() == 1);
        return accepted;
      });
  test::ExpectEveryDamageReported(path_, [&](CFileBase& f, DOCUMENT& doc) { kz.Write(f, doc); },
                                  [&](CFileBase& f, DOCUMENT doc) {
                                    _Vector<KZText> back(1);
                                    const bool accepted = back.Read(f, doc) == 1;
                                    EXPECT_TRUE(accepted || back.size() == 1);
                                    return accepted;
                                  });
}

} // namespace
} // namespace zel
