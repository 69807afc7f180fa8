#include "zeltools/files/file_work.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/errors/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::FileMessage;
using test::PutBytes;
using test::SizeOnDisk;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;
using FileWorkTest = test::FileTest;

long long Little(const Buffer &b, std::size_t at) {
  unsigned long long v = 0;
  for (int i = 7; i >= 0; --i)
    v = v << 8 | b[at + static_cast<std::size_t>(i)];
  return static_cast<long long>(v);
}

// A clock that reads `now`.
struct FixedClock {
  platform::ScopedCalls saved;
  static inline long long now = 0;
  explicit FixedClock(long long seconds) {
    now = seconds;
    platform::Calls().timeNow = [] { return static_cast<std::int64_t>(now); };
  }
};

TEST_F(FileWorkTest, MarksSurviveReopenAndHideFromLogicalPositions) {
  FixedClock clock(1709618823);
  CFileWork f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  EXPECT_EQ(f.GetLength(), 0);
  Buffer disk = Bytes(path_);
  ASSERT_EQ(disk.size(), 32u);
  EXPECT_EQ(Little(disk, 0), 1709618823);
  EXPECT_TRUE(test::AllZero(disk.data() + 8, 24));
  // Small records wait in the cache while the mark is written beside it.
  for (int i = 0; i < 25; ++i)
    ASSERT_EQ(f.Write("abcd", 4), 4 * i);
  FixedClock later(1709618900);
  ASSERT_EQ(f.SetMark(), 1);
  EXPECT_EQ(f.GetTime()->GetTime(), 1709618900);
  disk = Bytes(path_);
  ASSERT_EQ(disk.size(), 132u);
  EXPECT_EQ(Little(disk, 0), 1709618900);
  EXPECT_EQ(Little(disk, 8), 100);
  EXPECT_EQ(std::string(disk.begin() + 32, disk.begin() + 36), "abcd");
  f.Write("tail", 4);
  const FILE_MARK mark = f.GetMark();
  f.Close();
  EXPECT_EQ(SizeOnDisk(path_), 136);

  for (const char *mode : {"r", "rs", "a"}) {
    CFileWork g;
    ASSERT_EQ(g.Open(path_.c_str(), mode), 1) << mode;
    EXPECT_EQ(g.Check(mark), 1) << mode;
    EXPECT_EQ(g.GetLength(), 104);
    if (g.AttributeWrite() == 0)
      EXPECT_EQ(g.SetMark(), 1); // a read-only file is left as it is
  }
  FILE_MARK read;
  long long length = 0;
  ASSERT_EQ(CFileWork::ReadMark(path_.c_str(), read, length), 1);
  EXPECT_TRUE(read == mark);
  EXPECT_EQ(length, 104);
  CFileWork g;
  ASSERT_EQ(g.Open(path_.c_str(), "r"), 1);
  char got[5] = {};
  ASSERT_EQ(g.Read(got, 4, 100), 1);
  EXPECT_STREQ(got, "tail");
  EXPECT_EQ(ThrownText([&] { g.Read(got, 4, 101); }), FileMessage(110, path_));
}

// Time, stored length and the 16 bytes nobody writes all take part.
TEST_F(FileWorkTest, CheckComparesAllThirtyTwoBytes) {
  CFileWork f;
  ASSERT_EQ(f.Open(path_.c_str(), "w"), 1);
  f.Close();
  const Buffer original = Bytes(path_);
  for (const std::size_t byte : {0u, 9u, 16u, 31u}) {
    Buffer changed = original;
    changed[byte] ^= 0x40;
    PutBytes(path_, changed);
    FILE_MARK before;
    long long length = 0;
    ASSERT_EQ(CFileWork::ReadMark(path_.c_str(), before, length), 1);
    PutBytes(path_, original);
    ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
    EXPECT_EQ(f.Check(before), 0) << byte;
    EXPECT_EQ(f.Check(f.GetMark()), 1);
    f.Close();
  }
}

// Short files, damaged marks and failing transfers: the catalogue message,
// and nothing stored is lost.
TEST_F(FileWorkTest, ShortFilesAndDamagedMarksAreReportedNotTrusted) {
  const Buffer shortFile = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  PutBytes(path_, shortFile);
  CPhrase sink;
  CFileWork f;
  EXPECT_EQ(f.Open(path_.c_str(), "r", &sink), 0);
  EXPECT_EQ(std::string(sink.back().GetText()), FileMessage(103, path_));
  EXPECT_EQ(f.GetHandle(), nullptr);
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), "r"); }), FileMessage(103, path_));
  FILE_MARK mark;
  long long length = 0;
  EXPECT_EQ(ThrownText([&] { CFileWork::ReadMark(path_.c_str(), mark, length); }), FileMessage(110, path_));
  EXPECT_EQ(Bytes(path_), shortFile);
  // Writing gives it a fresh mark over its start.
  ASSERT_EQ(f.Open(path_.c_str(), "a"), 1);
  EXPECT_EQ(f.GetLength(), 0);
  f.Close();
  EXPECT_EQ(SizeOnDisk(path_), 32);

  // A stored length far beyond the file, and a negative time.
  Buffer garbage(40, 0xFF);
  garbage[15] = 0x7F;
  PutBytes(path_, garbage);
  ASSERT_EQ(CFileWork::ReadMark(path_.c_str(), mark, length), 1);
  EXPECT_EQ(mark.length, 0x7FFFFFFFFFFFFFFFLL);
  EXPECT_EQ(length, 8);
  EXPECT_EQ(mark.time.GetTime(), -1);
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  unsigned char bytes[9];
  EXPECT_EQ(f.Read(bytes, 8, 0), 1);
  EXPECT_EQ(ThrownText([&] { f.Read(bytes, 9, 0); }), FileMessage(110, path_));
  f.Close();

  {
    platform::ScopedCalls saved;
    platform::Calls().fileReadAt = [](void *, void *, std::size_t, std::int64_t) -> std::int64_t {
      SetLastError(5);
      return -1;
    };
    EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), "r"); }), FileMessage(105, path_));
    EXPECT_EQ(f.GetHandle(), nullptr);
  }
  {
    platform::ScopedCalls saved;
    platform::Calls().fileWriteAt = [](void *, const void *, std::size_t, std::int64_t) -> std::int64_t {
      SetLastError(28);
      return -1;
    };
    CPhrase errors;
    EXPECT_EQ(f.Open(dir_.File("new").c_str(), "w", &errors), 0);
    EXPECT_EQ(std::string(errors.back().GetText()), FileMessage(107, dir_.File("new")));
  }
  EXPECT_EQ(Bytes(path_), garbage);
}

TEST_F(FileWorkTest, AddFileAppendsTheOtherFilesContentsWithoutItsMark) {
  const std::string other = dir_.File("other");
  CFileWork f;
  ASSERT_EQ(f.Open(other.c_str(), "w"), 1);
  f.Write("0123456789", 10);
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("ab", 2);
  EXPECT_EQ(f.AddFile(other.c_str()), 1);
  EXPECT_EQ(f.AddFile(dir_.File("missing").c_str()), 0);
  char got[13] = {};
  ASSERT_EQ(f.Read(got, 12, 0), 1);
  EXPECT_STREQ(got, "ab0123456789");
}

} // namespace
} // namespace zel
