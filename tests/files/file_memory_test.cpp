#include "zeltools/files/file_memory.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using FileMemoryTest = test::FileTest;

TEST_F(FileMemoryTest, AMappedFileIsWrittenInPlaceAndReadBack) {
  CFileMemory f;
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  ASSERT_EQ(f.Add(20000), 0);
  f.Write("head", 4, 0);
  ASSERT_EQ(f.Flush(), 1); // the cache reaches the file, and so the view
  char *view = f.Open(f.GetHandle(), 1);
  ASSERT_NE(view, nullptr);
  ASSERT_EQ(f.GetViewSize(), 20000u);
  EXPECT_EQ(std::string(view, 4), "head");
  for (std::size_t i = 4; i < 20000; ++i)
    view[i] = static_cast<char>('a' + i % 26);
  f.Close();
  EXPECT_EQ(f.GetView(), nullptr);
  EXPECT_NE(f.GetHandle(), nullptr); // the file stays open
  ASSERT_EQ(f.SetFileSize(), 20000);
  char got[6] = {};
  ASSERT_EQ(f.Read(got, 5, 19995), 1);
  EXPECT_STREQ(got, "bcdef"); // 19995 % 26 == 1
  f.CFileBase::Close();
  const auto bytes = test::Bytes(path_);
  ASSERT_EQ(bytes.size(), 20000u);
  EXPECT_EQ(bytes[26 * 500], 'a');

  // A file opened for reading maps for reading only; a second Open
  // replaces the view.
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1);
  EXPECT_EQ(f.Open(f.GetHandle(), 1), nullptr);
  ASSERT_NE(f.Open(f.GetHandle(), 0), nullptr);
  const char *again = f.Open(f.GetHandle(), 0);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(std::memcmp(again, bytes.data(), bytes.size()), 0);
}

// Failures give null and raise nothing, even without a sink.
TEST_F(FileMemoryTest, MappingFailuresAreSilent) {
  CFileMemory f;
  EXPECT_EQ(f.Open(nullptr, 0), nullptr);
  ASSERT_EQ(f.Open(path_.c_str(), "rw"), 1);
  EXPECT_EQ(f.Open(f.GetHandle(), 1), nullptr); // empty
  f.Write("x", 1);
  f.Flush();
  platform::ScopedCalls saved;
  platform::Calls().fileMap = [](void *, std::size_t, bool) -> void * { return nullptr; };
  EXPECT_EQ(f.Open(f.GetHandle(), 1), nullptr);
  EXPECT_EQ(f.GetViewSize(), 0u);
}

} // namespace
} // namespace zel
