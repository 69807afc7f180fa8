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

// A parameter file as the applications write it, read back in full by the
// keyword loop such a reader runs.
TEST_F(FileText, ParameterFileReadsBack) {
  CFileText out, in;
  std::string word, read;
  ASSERT_TRUE(out.Open(path_.c_str(), "w") && out.Close() && in.Open(path_.c_str(), "r"));
  ASSERT_TRUE(in.GetString(word) == 0 && in.Close() && in.GetString(word) == -1) << "empty, then no file";
  ASSERT_TRUE(out.Open(path_.c_str(), "w"));
  ASSERT_TRUE(out.PutString("# frame\nNAME Frame1\nMATERIAL NAME=\"Steel  S235\" E=2.1e5\n"));
  ASSERT_TRUE(out.PutString("NODES 1 - 4 10 r 20 5;\nBEAMS 7 8 /\nTITLE \"Unclosed\n\nEND\n") && out.Close());
  ASSERT_TRUE(in.Open(path_.c_str(), "r"));
  std::vector<char> name;
  std::vector<int> list;
  ASSERT_EQ(in.GetString(word), 7);
  for (int r; (r = in.GetWord(word, nullptr, 1)) >= 0 && word != "END";) {
    if (word == "MATERIAL" && in.GetName(name) == 1 && in.GetWord(word, nullptr, 1) == 0 && in.GetWord(word) == 0)
      read += "|" + std::string(name.data()) + "|" + word;
    else if ((word == "NODES" || word == "BEAMS") && (r = in.GetListInt(list)) >= 0 && !list.empty())
      read += "|" + std::to_string(r) + ":" + std::to_string(list.size()) + ":" + std::to_string(list.back());
    else if (word == "TITLE" && in.GetWord(word) == 0)
      read += "|" + word;
  }
  EXPECT_EQ(read, "|Steel  S235|2.1e5|0:7:16|47:2:8|Unclosed");
  EXPECT_TRUE(word == "END" && in.GetString(word) == 0 && in.IsEnd());
}

} // namespace
} // namespace zel
