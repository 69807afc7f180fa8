// The debugging file's system side: what may stand at its name, how it is
// created, and that its system calls go through the system table.
#include "zeltools/platform/debug_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/platform/error_codes.h"
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
  ASSERT_TRUE(platform::AppendDebugFile("ab", 2));
  ASSERT_TRUE(platform::AppendDebugFile("c", 1));
  EXPECT_EQ(test::TextOf(path_), "abc");
#if !defined(_WIN32) // Windows grants access by the file's list, not by mode bits
  struct stat info {};
  ASSERT_EQ(::stat(path_.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
#endif
}

TEST_F(DebugFileName, RefusesALinkOrAnythingButARegularFileWithoutWaiting) {
  std::filesystem::create_directory(path_);
  EXPECT_FALSE(platform::AppendDebugFile("x", 1));
  EXPECT_EQ(GetLastError(), platform::ErrorIsFolder);
  std::filesystem::remove(path_);
  const std::string target = dir_.Write("target", "kept");
  std::error_code refused;
  std::filesystem::create_symlink(target, path_, refused);
  if (refused)
    GTEST_SKIP() << "no symbolic links here: " << refused.message();
  EXPECT_FALSE(platform::AppendDebugFile("planted", 7));
  EXPECT_EQ(GetLastError(), platform::ErrorLink);
  EXPECT_EQ(test::TextOf(target), "kept");
#if !defined(_WIN32)
  // A FIFO with no reader would block a plain open for ever.
  ASSERT_EQ(::unlink(path_.c_str()), 0);
  ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
  EXPECT_FALSE(platform::AppendDebugFile("x", 1));
  EXPECT_NE(GetLastError(), 0u);
#endif
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
    SetLastError(platform::ErrorDiskFull);
    return -1;
  };
  EXPECT_FALSE(platform::AppendDebugFile("lost", 4));
  EXPECT_EQ(GetLastError(), platform::ErrorDiskFull);
  EXPECT_EQ(test::TextOf(chosen), "whole");
}

} // namespace
} // namespace zel
