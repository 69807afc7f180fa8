#include "zeltools/text/debug_print.h"

#include <cstdlib>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/errors/last_error.h"

namespace zel {
namespace {

// Points the debugging file at a scratch file for one test.
class DebugFile : public ::testing::Test {
protected:
  std::string Contents() const { return test::TextOf(path_); }
  test::TempDir dir_;
  std::string path_ = dir_.File("debug.tmp");
  test::ScopedDebugFile debug_{path_};
};

TEST_F(DebugFile, AppendsEachFormattedTextWholeAndCreatesTheFile) {
  const std::string block(5000, 'x');
  dPrintf("node %d: %s\n", 12, "\xCF\xE5\xF0\xE2\xFB\xE9");
  dPrintf("%.2f[%s]", 1.5, block.c_str());
  EXPECT_EQ(Contents(), "node 12: \xCF\xE5\xF0\xE2\xFB\xE9\n1.50[" + block + "]");
  EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(DebugFile, TimeStampComesFirst) {
  dPrintfTime("step %u\n", 3u);
  EXPECT_TRUE(std::regex_match(Contents(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} step 3\n)")))
      << Contents();
}

TEST_F(DebugFile, NothingHappensWhenTheFileCannotBeOpened) {
  test::SetEnvironment("ZEL_DEBUG_FILE", "/nonexistent-folder/zel/debug.tmp");
  dPrintf("lost %d", 1);
  dPrintfTime("lost");
  EXPECT_NE(GetLastError(), 0u);
}

TEST(Printf, WritesToTheDebuggingOutput) {
  ::testing::internal::CaptureStderr();
  Printf("%s=%d;", "a", 5);
  Printf("%s", "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "a=5;");
}

} // namespace
} // namespace zel
