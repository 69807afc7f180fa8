// The debugging file's system side: what may stand at its name, how it is
// created, and that its system calls go through the system table.
#include "zeltools/platform/debug_file.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

using platform::Calls;

class DebugFileName : public ::testing::Test {
protected:
  test::TempDir dir_;
  std::string path_ = dir_.File("debug.tmp");
  test::ScopedDebugFile debug_{path_};
};

TEST_F(DebugFileName, IsCreatedForItsOwnerOnlyAndAppendedTo) {
  ::unlink(path_.c_str());
  ASSERT_TRUE(platform::AppendDebugFile("ab", 2));
  ASSERT_TRUE(platform::AppendDebugFile("c", 1));
  EXPECT_EQ(test::TextOf(path_), "abc");
  struct stat info {};
  ASSERT_EQ(::stat(path_.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(DebugFileName, RefusesALinkOrAnythingButARegularFileWithoutWaiting) {
  const std::string target = dir_.Write("target", "kept");
  ASSERT_EQ(::symlink(target.c_str(), path_.c_str()), 0);
  EXPECT_FALSE(platform::AppendDebugFile("planted", 7));
  EXPECT_EQ(GetLastError(), static_cast<unsigned>(ELOOP));
  EXPECT_EQ(test::TextOf(target), "kept");
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  ASSERT_EQ(::mkdir(path_.c_str(), 0700), 0);
  EXPECT_FALSE(platform::AppendDebugFile("x", 1));
  EXPECT_EQ(GetLastError(), static_cast<unsigned>(EISDIR));
  ASSERT_EQ(::rmdir(path_.c_str()), 0);
  // A FIFO with no reader would block a plain open for ever.
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  EXPECT_FALSE(platform::AppendDebugFile("x", 1));
  EXPECT_NE(GetLastError(), 0u);
}

TEST_F(DebugFileName, ComesFromTheEnvironmentAndIsWrittenThroughTheSystemTable) {
  static std::string chosen;
  chosen = dir_.File("chosen.tmp");
  platform::ScopedCalls saved;
  Calls().environment = [](const char* name) -> const char* {
    return std::strcmp(name, "ZEL_DEBUG_FILE") == 0 ? chosen.c_str() : nullptr;
  };
  // Partial writes are continued.
  Calls().fileAppend = [](void* file, const void* text, std::size_t) {
    return platform::DefaultCalls().fileAppend(file, text, 1);
  };
  ASSERT_TRUE(platform::AppendDebugFile("whole", 5));
  EXPECT_EQ(test::TextOf(chosen), "whole");
  Calls().fileAppend = [](void*, const void*, std::size_t) -> std::int64_t {
    SetLastError(ENOSPC);
    return -1;
  };
  EXPECT_FALSE(platform::AppendDebugFile("lost", 4));
  EXPECT_EQ(GetLastError(), static_cast<unsigned>(ENOSPC));
  EXPECT_EQ(test::TextOf(chosen), "whole");
}

} // namespace
} // namespace zel
