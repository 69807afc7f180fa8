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
  const char* lines[] = {"# frame model",       "NAME Frame\"A\"",  "MATERIAL NAME=\"Steel  S235\" E=2.1e5",
                         "NODES 1 - 4 10 r 20 5;", "BEAMS 7 8 /",      "TITLE \"Unclosed quote",
                         "",                    "END"};
  {
    CFileText out;
    ASSERT_TRUE(out.Open(path_.c_str(), "w"));
    for (const char* line : lines) {
      ASSERT_TRUE(out.PutString(line));
      ASSERT_TRUE(out.PutChar('\n'));
    }
  }
  CFileText in;
  ASSERT_TRUE(in.Open(path_.c_str(), "r"));
  std::string comment, title;
  std::vector<char> name, material, e;
  std::vector<int> nodes, beams;
  in.GetString(comment);
  ASSERT_EQ(comment, lines[0]);
  EXPECT_EQ(in.GetName(name), 1);
  EXPECT_STREQ(name.data(), "Frame");
  EXPECT_TRUE(in.GetWord(title) == 0 && title == "A") << "a quote ends the name and opens the next word";
  std::string word;
  for (int r; (r = in.GetWord(word, nullptr, 1)) >= 0 && word != "END";) {
    if (word == "MATERIAL") {
      ASSERT_EQ(in.GetName(material), 1);
      in.GetWord(word, nullptr, 1);
      in.GetWord(e, nullptr, 1);
    } else if (word == "NODES") {
      EXPECT_EQ(in.GetListInt(nodes), 0);
    } else if (word == "BEAMS") {
      EXPECT_EQ(in.GetListInt(beams), '/');
    } else if (word == "TITLE") {
      EXPECT_EQ(in.GetWord(title), 0);
    }
  }
  EXPECT_EQ(word, "END");
  EXPECT_STREQ(material.data(), "Steel  S235");
  EXPECT_STREQ(e.data(), "2.1e5");
  EXPECT_EQ(nodes, (std::vector<int>{1, 2, 3, 4, 10, 11, 16}));
  EXPECT_EQ(beams, (std::vector<int>{7, 8}));
  EXPECT_EQ(title, "Unclosed quote") << "a quote left open ends at the line end";
  EXPECT_EQ(in.GetString(word), 0);
  EXPECT_TRUE(in.IsEnd());
}

} // namespace
} // namespace zel
