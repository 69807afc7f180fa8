#include "zeltools/text/debug_print.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "zeltools/errors/last_error.h"

namespace zel {
namespace {

// Points the debugging file at a fresh temporary file for one test.
class DebugFile : public ::testing::Test {
protected:
  void SetUp() override {
    path_ = ::testing::TempDir() + "zel_debug_" + std::to_string(::getpid()) + ".tmp";
    std::remove(path_.c_str());
    ::setenv("ZEL_DEBUG_FILE", path_.c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("ZEL_DEBUG_FILE");
    std::remove(path_.c_str());
  }
  std::string Contents() const {
    std::ifstream in(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::string path_;
};

TEST_F(DebugFile, AppendsEachFormattedTextAndCreatesTheFile) {
  dPrintf("node %d: %s\n", 12, "\xCF\xE5\xF0\xE2\xFB\xE9");
  dPrintf("%.2f", 1.5);
  EXPECT_EQ(Contents(), "node 12: \xCF\xE5\xF0\xE2\xFB\xE9\n1.50");
  EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(DebugFile, LongTextsAreWrittenWhole) {
  const std::string block(5000, 'x');
  dPrintf("[%s]", block.c_str());
  EXPECT_EQ(Contents(), "[" + block + "]");
}

TEST_F(DebugFile, TimeStampComesFirst) {
  dPrintfTime("step %u\n", 3u);
  EXPECT_TRUE(std::regex_match(Contents(), std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} step 3\n)")))
      << Contents();
}

TEST_F(DebugFile, NothingHappensWhenTheFileCannotBeOpened) {
  ::setenv("ZEL_DEBUG_FILE", "/nonexistent-folder/zel/debug.tmp", 1);
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
