#include "zeltools/files/block.h"

#include <climits>
#include <random>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/temp_files.h"

namespace zel {
namespace {

using test::Bytes;
using test::FileMessage;
using test::PutBytes;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;
using BlockTest = test::FileTest;

template <class Record> bool IsEmpty(const Record& doc) { return doc.position == 0 && doc.length == 0; }

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
    if (doc.length == 0)
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

// Blocks lie end to end, each described by the growth of the file (an empty
// vector not written on request by {0, 0}), and read back in any order.
TEST_F(BlockTest, VectorBlocksRoundTripAndLieEndToEnd) {
  std::mt19937 rng(3);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Add(100);
  std::vector<std::vector<double>> written;
  std::vector<DOCUMENT> docs;
  long long end = 100;
  for (int i = 0; i < 60; ++i) {
    std::vector<double> v(i % 4 == 1 ? 0 : rng() % (i % 10 == 0 ? 5000 : 20));
    for (double& x : v)
      x = std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
    const bool skipped = v.empty() && i % 3 != 0;
    docs.push_back({7, 7});
    WriteDoubles(f, docs.back(), v, !skipped);
    ASSERT_EQ(docs.back().position, skipped ? 0 : end);
    ASSERT_EQ(docs.back().length, skipped ? 0 : 4 + 8 * static_cast<long long>(v.size()));
    end += docs.back().length;
    written.push_back(v);
  }
  for (std::size_t i = written.size(); i-- > 0;) {
    std::vector<double> back = {42.0};
    ASSERT_TRUE(ReadDoubles(f, docs[i], back));
    ASSERT_EQ(back, written[i]);
  }
  f.Close();
  const Buffer bytes = Bytes(path_);
  ASSERT_EQ(static_cast<long long>(bytes.size()), end);
  const auto at = static_cast<std::size_t>(docs[0].position); // a little-endian count
  EXPECT_EQ(static_cast<std::size_t>(bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16), written[0].size());
}

TEST_F(BlockTest, FailedWritesLeaveTheEmptyRecord) {
  PutBytes(path_, Buffer(10, 1));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), ("a" + test::LookBehind).c_str()), 1);
  DOCUMENT doc{1, 1};
  WriteBlock(f, doc, false, [&] { return f.Write("abc", 3) < 0; }); // the payload says it failed
  EXPECT_TRUE(IsEmpty(doc));
  DOCUMENT_OLD old{9, 9};
  WriteBlockOld(f, old, false, [&] { f.Write("abcd", 4); });
  EXPECT_EQ(old.position, 13u);
  EXPECT_EQ(old.length, 4u);
  EXPECT_TRUE(OpenBlockOld(f, old));
  EXPECT_EQ(f.GetPosRead(), 13);
  // Records that 32 bits cannot describe.
  std::filesystem::resize_file(path_, 0x100000010ll); // sparse
  EXPECT_EQ(f.SetFileSize(), 0x100000010ll);
  old = {1, 1};
  EXPECT_EQ(ThrownText([&] { WriteBlockOld(f, old, false, [&] { f.Write("abcd", 4); }); }), FileMessage(111, path_));
  EXPECT_TRUE(IsEmpty(old));
  f.SetLength(0);
}

TEST_F(BlockTest, RecordsOutsideTheFileAreRefused) {
  PutBytes(path_, Buffer(64, 0));
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  EXPECT_FALSE(OpenBlock(f, DOCUMENT{}));
  EXPECT_EQ(f.GetErrorCount(), 0u);
  EXPECT_TRUE(OpenBlock(f, DOCUMENT{60, 4}));
  EXPECT_EQ(f.GetPosRead(), 60);
  for (const DOCUMENT& doc : {DOCUMENT{60, 5}, {65, 1}, {-1, 4}, {0, -4}, {8, LLONG_MAX}, {LLONG_MAX, 1}}) {
    EXPECT_EQ(ThrownText([&] { OpenBlock(f, doc); }), FileMessage(110, path_));
    EXPECT_EQ(ThrownText([&] { OpenBlockOld(f, DOCUMENT_OLD{static_cast<unsigned int>(doc.position), 100}); }),
              FileMessage(110, path_));
  }
}

TEST_F(BlockTest, CountsAreCheckedAgainstTheRestOfTheFile) {
  Buffer bytes = {4, 0, 0, 0}; // a count, then 16 bytes
  bytes.resize(20, 0xAA);
  PutBytes(path_, bytes);
  CFileBase f;
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  unsigned int n = 99;
  EXPECT_TRUE(ReadCount(f, n, 4, 0)); // 16 bytes exactly
  EXPECT_EQ(n, 4u);
  EXPECT_EQ(f.GetPosRead(), 4);
  EXPECT_EQ(ThrownText([&] { ReadCount(f, n, 5, 0); }), FileMessage(110, path_));
  EXPECT_TRUE(ReadCount(f, n, 0, 0));
}

TEST_F(BlockTest, DamagedBlocksEndInTheCatalogueMessageAndLoseNothing) {
  test::ExpectEveryDamageReported(
      path_, [](CFileBase& f, DOCUMENT& doc) { WriteDoubles(f, doc, std::vector<double>(40, 2.5), false); },
      [](CFileBase& f, DOCUMENT doc) {
        std::vector<double> values = {1.0};
        const bool accepted = ReadDoubles(f, doc, values);
        EXPECT_TRUE(accepted || values == std::vector<double>{1.0});
        return accepted;
      });
}

} // namespace
} // namespace zel
