#include "zeltools/files/block.h"

#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::PutBytes;
using test::ScopedLanguage;
using test::TempDir;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;

std::string Expected(unsigned int id, const std::string& name) {
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer, test::CatalogueText(id).c_str(), name.c_str(), "");
  return buffer;
}

// A vector-like payload written and read the way the containers do it.
void WriteDoubles(CFileBase& file, DOCUMENT& doc, const std::vector<double>& values, bool writeEmpty) {
  WriteBlock(file, doc, values.empty() && !writeEmpty, [&] {
    const auto n = static_cast<unsigned int>(values.size());
    file.Write(&n, 4);
    if (n > 0)
      file.Write(values.data(), 8ull * n);
  });
}

bool ReadDoubles(CFileBase& file, const DOCUMENT& doc, std::vector<double>& values) {
  if (!OpenBlock(file, doc)) {
    values.clear();
    return doc.length == 0;
  }
  unsigned int n = 0;
  if (!ReadCount(file, n, sizeof(double)))
    return false;
  std::vector<double> read(n);
  if (n > 0 && !file.Read(read.data(), 8ull * n))
    return false;
  values.swap(read);
  return true;
}

class BlockTest : public ::testing::Test {
protected:
  ScopedLanguage english_{LanguageEnglish};
  TempDir dir_;
  std::string path_ = dir_.File("blocks.bin");
};

TEST_F(BlockTest, BlocksAreAppendedAndDescribedByTheGrowthOfTheFile) {
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Add(100);
  DOCUMENT doc{7, 7};
  WriteDoubles(f, doc, {}, false);
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(f.GetLength(), 100);
  DOCUMENT three;
  WriteDoubles(f, three, {1.5, -2.0, 1e300}, false);
  EXPECT_EQ(three.position, 100);
  EXPECT_EQ(three.length, 28);
  DOCUMENT empty;
  WriteDoubles(f, empty, {}, true);
  EXPECT_EQ(empty.position, three.position + three.length);
  EXPECT_EQ(empty.length, 4);
  f.Close();
  const Buffer bytes = Bytes(path_);
  ASSERT_EQ(bytes.size(), 132u);
  unsigned int n = 0;
  std::memcpy(&n, bytes.data() + 100, 4);
  EXPECT_EQ(n, 3u);
  double second = 0;
  std::memcpy(&second, bytes.data() + 112, 8);
  EXPECT_EQ(second, -2.0);
}

TEST_F(BlockTest, VectorBlocksRoundTrip) {
  std::mt19937 rng(3);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  std::vector<std::vector<double>> written;
  std::vector<DOCUMENT> docs;
  for (int i = 0; i < 60; ++i) {
    std::vector<double> v(rng() % (i % 10 == 0 ? 5000 : 20));
    for (double& x : v)
      x = std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
    docs.emplace_back();
    WriteDoubles(f, docs.back(), v, i % 3 == 0);
    written.push_back(v);
  }
  for (std::size_t i = written.size(); i-- > 0;) { // any order
    std::vector<double> back = {42.0};
    ASSERT_TRUE(ReadDoubles(f, docs[i], back));
    ASSERT_EQ(back, written[i]);
  }
}

TEST_F(BlockTest, FailedWritesLeaveTheEmptyRecord) {
  PutBytes(path_, Buffer(10, 1));
  CPhrase sink;
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
  DOCUMENT doc{1, 1};
  WriteDoubles(f, doc, {1.0}, false); // read-only: refused, into the sink
  EXPECT_EQ(doc.position, 0);
  EXPECT_EQ(doc.length, 0);
  EXPECT_EQ(sink.back().param1, 103u);
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "a"), 1);
  WriteBlock(f, doc, false, [&] { return f.Write("abc", 3) < 0; }); // payload says it failed
  EXPECT_EQ(doc.length, 0);
  DOCUMENT_OLD old{9, 9};
  WriteBlockOld(f, old, false, [&] { f.Write("abcd", 4); });
  EXPECT_EQ(old.position, 13u);
  EXPECT_EQ(old.length, 4u);
  EXPECT_TRUE(OpenBlockOld(f, old));
  EXPECT_EQ(f.GetPosRead(), 13);
}

TEST_F(BlockTest, RecordsOutsideTheFileAreRefused) {
  PutBytes(path_, Buffer(64, 0));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  EXPECT_FALSE(OpenBlock(f, DOCUMENT{}));
  EXPECT_EQ(f.GetErrorCount(), 0u);
  EXPECT_TRUE(OpenBlock(f, DOCUMENT{60, 4}));
  EXPECT_EQ(f.GetPosRead(), 60);
  const DOCUMENT bad[] = {{60, 5}, {65, 1}, {-1, 4}, {0, -4}, {8, LLONG_MAX}, {LLONG_MAX, 1}};
  for (const DOCUMENT& doc : bad) {
    EXPECT_EQ(ThrownText([&] { OpenBlock(f, doc); }), Expected(110, path_));
    EXPECT_EQ(ThrownText([&] { OpenBlockOld(f, DOCUMENT_OLD{static_cast<unsigned int>(doc.position), 100}); }),
              Expected(110, path_));
  }
  f.Close();
  CPhrase sink;
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
  EXPECT_FALSE(OpenBlock(f, DOCUMENT{0, 65}));
  ASSERT_EQ(sink.size(), 1u);
  EXPECT_EQ(std::string(sink[0].GetText()), Expected(110, path_));
}

TEST_F(BlockTest, CountsThatTheFileCannotHoldAreRefusedBeforeAllocation) {
  // 4-byte count, then 16 bytes.
  Buffer bytes = {4, 0, 0, 0};
  bytes.resize(20, 0xAA);
  PutBytes(path_, bytes);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  unsigned int n = 99;
  EXPECT_TRUE(ReadCount(f, n, 4, 0)); // 16 bytes exactly
  EXPECT_EQ(n, 4u);
  EXPECT_EQ(f.GetPosRead(), 4);
  EXPECT_EQ(ThrownText([&] { ReadCount(f, n, 5, 0); }), Expected(110, path_));
  EXPECT_TRUE(ReadCount(f, n, 0, 0));
  f.Close();
  bytes[0] = 0xFF, bytes[1] = 0xFF, bytes[2] = 0xFF, bytes[3] = 0xFF;
  PutBytes(path_, bytes);
  CPhrase sink;
  ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
  EXPECT_FALSE(ReadCount(f, n, 1, 0));
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(sink.back().param1, 110u);
  std::vector<double> values = {1.0};
  EXPECT_FALSE(ReadDoubles(f, DOCUMENT{0, 20}, values));
  EXPECT_EQ(values, std::vector<double>{1.0}); // nothing stored was lost
}

// Every prefix of a valid file, and files of random bytes, read with random
// records: each read ends in success or in message 110/105, never worse.
TEST_F(BlockTest, DamagedFilesEndInTheCatalogueMessage) {
  CFileBase w;
  ASSERT_EQ(w.Open(path_.c_str(), "w"), 1);
  DOCUMENT doc;
  WriteDoubles(w, doc, std::vector<double>(40, 2.5), false);
  w.Close();
  const Buffer good = Bytes(path_);
  for (std::size_t cut = 0; cut < good.size(); ++cut) {
    PutBytes(path_, Buffer(good.begin(), good.begin() + static_cast<long>(cut)));
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
    std::vector<double> values;
    EXPECT_FALSE(ReadDoubles(f, doc, values));
    ASSERT_FALSE(sink.empty());
    EXPECT_EQ(sink.back().param1, 110u);
  }
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    Buffer noise(rng() % 200);
    for (auto& b : noise)
      b = static_cast<unsigned char>(rng());
    PutBytes(path_, noise);
    CPhrase sink;
    CFileBase f;
    ASSERT_EQ(f.Open(path_.c_str(), "r", &sink), 1);
    const DOCUMENT random{static_cast<long long>(rng() % 220) - 10, static_cast<long long>(rng() % 220) - 10};
    std::vector<double> values;
    if (!ReadDoubles(f, random, values) && random.length != 0) {
      ASSERT_FALSE(sink.empty());
      EXPECT_TRUE(sink.back().param1 == 110u || sink.back().param1 == 105u);
    }
  }
}

TEST_F(BlockTest, OldRecordsCannotDescribeBlocksBeyondFourGB) {
  PutBytes(path_, {});
  ASSERT_EQ(::truncate(path_.c_str(), 0x100000010ll), 0); // sparse
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "a"), 1);
  DOCUMENT_OLD old{1, 1};
  EXPECT_EQ(ThrownText([&] { WriteBlockOld(f, old, false, [&] { f.Write("abcd", 4); }); }), Expected(111, path_));
  EXPECT_EQ(old.position, 0u);
  EXPECT_EQ(old.length, 0u);
  f.SetLength(0);
}

} // namespace
} // namespace zel
