#include "zeltools/files/file_work.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/temp_files.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel {
namespace {

using test::Bytes;
using test::FileMessage;
using test::ThrownText;
using Buffer = std::vector<unsigned char>;
using FileWorkTest = test::FileTest;

long long Little(const Buffer& b, std::size_t at) {
  unsigned long long v = 0;
  for (std::size_t i = 8; i-- > 0;)
    v = v << 8 | b.at(at + i);
  return static_cast<long long>(v);
}

TEST_F(FileWorkTest, MarksSurviveReopenAndHideFromLogicalPositions) {
  test::FakeClock clock(1709618823);
  CFileWork f;
  ASSERT_EQ(f.Open(path_.c_str(), ("rw" + test::LookBehind).c_str()), 1);
  EXPECT_EQ(Bytes(path_), Buffer({0x87, 0xB6, 0xE6, 0x65, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                  0,    0,    0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  for (int i = 0; i < 25; ++i) // small records wait in the cache while the mark is written beside it
    ASSERT_EQ(f.Write("abcd", 4), 4 * i);
  test::FakeClock later(1709618900);
  ASSERT_EQ(f.SetMark(), 1);
  const Buffer disk = Bytes(path_);
  ASSERT_EQ(disk.size(), 132u);
  EXPECT_EQ(Little(disk, 0), 1709618900);
  EXPECT_EQ(Little(disk, 8), 100);
  EXPECT_EQ(std::string(disk.begin() + 128, disk.end()), "abcd");
  f.Write("tail", 4);
  const FILE_MARK mark = f.GetMark();
  f.Close();
  for (const char* mode : {"r", "a"}) {
    ASSERT_EQ(f.Open(path_.c_str(), mode), 1);
    EXPECT_EQ(f.Check(mark) * 1000 + f.GetLength(), 1104) << mode;
    EXPECT_EQ(f.SetMark(), 1); // read-only: left as it is; "a": stamped anew
    f.Close();
  }
  FILE_MARK read;
  long long length = 0;
  ASSERT_EQ(CFileWork::ReadMark(path_.c_str(), read, length), 1);
  EXPECT_EQ(read.time.GetTime() * 1000 + read.length, 1709618900LL * 1000 + 104);
  EXPECT_EQ(length, 104);
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  char got[5] = {};
  ASSERT_EQ(f.Read(got, 4, 100), 1);
  EXPECT_STREQ(got, "tail");
}

// Short files, damaged marks and failing transfers: the catalogue message,
// and nothing stored is lost.
TEST_F(FileWorkTest, ShortFilesAndDamagedMarksAreReportedNotTrusted) {
  const Buffer shortFile = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  test::PutBytes(path_, shortFile);
  CPhrase sink;
  CFileWork f;
  EXPECT_EQ(f.Open(path_.c_str(), "r", &sink), 0);
  EXPECT_EQ(std::string(sink.back().GetText()), FileMessage(103, path_));
  EXPECT_EQ(f.GetHandle(), nullptr);
  const std::string missing = dir_.File("missing");
  sink.clear();
  EXPECT_EQ(f.Open(missing.c_str(), "r", &sink), 0); // the base's message, then 101
  ASSERT_EQ(sink.size(), 3u);
  EXPECT_EQ(std::string(sink[1].GetText()) + std::string(sink[2].GetText()),
            FileMessage(102, missing) + FileMessage(101, missing));
  FILE_MARK mark;
  long long length = 0;
  EXPECT_EQ(ThrownText([&] { CFileWork::ReadMark(path_.c_str(), mark, length); }), FileMessage(110, path_));
  EXPECT_EQ(Bytes(path_), shortFile);
  ASSERT_EQ(f.Open(path_.c_str(), "a"), 1); // writing gives it a fresh mark over its start
  EXPECT_EQ(f.GetLength() * 100 + test::SizeOnDisk(path_), 32);
  f.Close();

  Buffer garbage(40, 0xFF); // a stored length far beyond the file, time -1
  garbage[15] = 0x7F;
  test::PutBytes(path_, garbage);
  ASSERT_EQ(CFileWork::ReadMark(path_.c_str(), mark, length), 1);
  EXPECT_EQ(mark.length, 0x7FFFFFFFFFFFFFFFLL);
  EXPECT_EQ(length, 8);
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  unsigned char bytes[9];
  EXPECT_EQ(ThrownText([&] { f.Read(bytes, 9, 0); }), FileMessage(110, path_));
  f.Close();

  platform::ScopedCalls saved;
  platform::Calls().fileReadAt = [](void*, void*, std::size_t, std::int64_t) -> std::int64_t { return -1; };
  EXPECT_EQ(ThrownText([&] { f.Open(path_.c_str(), "r"); }), FileMessage(105, path_));
  EXPECT_EQ(f.GetHandle(), nullptr);
  platform::Calls().fileWriteAt = [](void*, const void*, std::size_t, std::int64_t) -> std::int64_t { return -1; };
  EXPECT_EQ(f.Open(dir_.File("new").c_str(), "w", &sink), 0);
  EXPECT_EQ(std::string(sink.back().GetText()), FileMessage(107, dir_.File("new")));
  EXPECT_EQ(Bytes(path_), garbage);
}

TEST_F(FileWorkTest, AddFileAppendsTheOtherFilesContentsWithoutItsMark) {
  CFileWork f;
  ASSERT_EQ(f.Open(dir_.File("other").c_str(), "w"), 1);
  f.Write("0123456789", 10);
  f.Close();
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  f.Write("ab", 2);
  EXPECT_EQ(f.AddFile(dir_.File("other").c_str()) * 10 + f.AddFile(dir_.File("missing").c_str()), 10);
  char got[13] = {};
  ASSERT_EQ(f.Read(got, 12, 0), 1);
  EXPECT_STREQ(got, "ab0123456789");
}

} // namespace
} // namespace zel
