#include "zeltools/files/file_memory.h"

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
  EXPECT_EQ(f.Open(f.GetHandle(), 1), nullptr); // an empty file has nothing to map
  f.Write("head", 4);
  f.Add(19996);
  ASSERT_EQ(f.Flush(), 1);
  char* view = f.Open(f.GetHandle(), 1);
  ASSERT_NE(view, nullptr);
  ASSERT_EQ(std::string(view, 4) + std::to_string(f.GetViewSize()), "head20000");
  for (std::size_t i = 4; i < 20000; ++i)
    view[i] = static_cast<char>('a' + i % 26);
  f.Close();
  ASSERT_EQ(f.SetFileSize(), 20000); // the file stays open; its cache forgets the old bytes
  char got[6] = {};
  ASSERT_EQ(f.Read(got, 5, 19995), 1);
  EXPECT_STREQ(got, "bcdef");
  f.CFileBase::Close();
  ASSERT_EQ(f.Open(path_.c_str(), "r"), 1); // read-only: no writable view
  EXPECT_EQ(f.Open(f.GetHandle(), 1), nullptr);
  ASSERT_NE(f.Open(f.GetHandle(), 0), nullptr);
  EXPECT_EQ(std::string(f.GetView() + 19995, 5), "bcdef");
  platform::ScopedCalls saved;
  platform::Calls().fileMap = [](void*, std::size_t, bool) -> void* { return nullptr; };
  EXPECT_EQ(f.Open(f.GetHandle(), 0), nullptr); // the old view is gone, nothing is raised
  EXPECT_EQ(f.GetView(), nullptr);
}

} // namespace
} // namespace zel
