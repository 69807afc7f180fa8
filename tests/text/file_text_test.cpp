#include "zeltools/text/file_text.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

class FileText : public test::FileTest {};

// The file reader sees the same words and lines as the memory reader over
// the same bytes, across many window boundaries.
TEST_F(FileText, ReadsAsMemoryDoesAcrossWindows) {
  std::mt19937 rng(81);
  std::string text(3 * CFileText::WindowSize + 123, ' ');
  for (char& c : text)
    c = "ab \"\r\n;="[rng() % 8];
  text.replace(CFileText::WindowSize - 2, 4, "x\"\"y");  // pushed back into the window before
  text.replace(2 * CFileText::WindowSize - 2, 5, " \"\r\r\n");
  {
    CFileText out;
    ASSERT_TRUE(out.Open(path_.c_str(), "w"));
    out.PutString(text.substr(0, text.size() - 1).c_str());
    out.PutChar(text.back());
  }
  CFileText file;
  ASSERT_TRUE(file.Open(path_.c_str(), "r"));
  CReadMemory memory;
  memory.Init(text.data(), static_cast<unsigned int>(text.size()));
  std::string a, b;
  for (int i = 0;; ++i) {
    const int r = i % 4 == 0 ? memory.GetString(a) : memory.GetWord(a, nullptr, i % 2);
    ASSERT_EQ(i % 4 == 0 ? file.GetString(b) : file.GetWord(b, nullptr, i % 2), r);
    ASSERT_EQ(a, b);
    ASSERT_EQ(file.GetTextPosition(), memory.GetPosition());
    if (r < 0)
      break;
  }
  ASSERT_TRUE(file.SetTextPosition(CFileText::WindowSize - 1));
  memory.SetPosition(CFileText::WindowSize - 1);
  EXPECT_EQ(file.GetString(b), memory.GetString(a));
  EXPECT_EQ(a, b);
}

} // namespace
} // namespace zel
