#include "zeltools/text/file_text.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

class FileText : public test::FileTest {};

// A parameter file of the kind the applications read, written through the
// class and read back in full.
TEST_F(FileText, ParameterFileRoundTrip) {
  {
    CFileText out;
    ASSERT_TRUE(out.Open(path_.c_str(), "w"));
    for (const char* line : {"; frame model\r\n", "NAME = \"Beam 1\"\n", "MATERIAL \"Steel \xD1\xF2\x2D\x33\"  E=2.1e5\n",
                             "NODES 1 - 4 10 r 30 10 ;\n", "ELEMENTS 7 8 /\n", "\n", "END"})
      ASSERT_TRUE(out.PutString(line));
    ASSERT_TRUE(out.PutChar('\n'));
  }
  CPhrase sink;
  CFileText in;
  ASSERT_TRUE(in.Open(path_.c_str(), "r", &sink));
  CText comment;
  EXPECT_EQ(in.GetString(comment), 13);
  EXPECT_EQ(comment, "; frame model");
  std::vector<char> name;
  EXPECT_TRUE(in.GetName(name) && std::string(name.data()) == "Beam 1");
  std::string word;
  std::vector<std::string> words;
  for (int i = 0; i < 4 && in.GetWord(word, nullptr, 1) == 0; ++i)
    words.push_back(word);
  EXPECT_EQ(words, (std::vector<std::string>{"MATERIAL", "Steel \xD1\xF2-3", "E", "2.1e5"}));
  std::vector<int> nodes;
  EXPECT_TRUE(in.GetWord(word) == 0 && word == "NODES" && in.GetListInt(nodes) == 0);
  EXPECT_EQ(nodes, (std::vector<int>{1, 2, 3, 4, 10, 11, 21}));
  std::vector<unsigned short> elements;
  EXPECT_TRUE(in.GetWord(word) == 0 && word == "ELEMENTS" && in.GetListWord(elements) == '/');
  EXPECT_EQ(elements, (std::vector<unsigned short>{7, 8}));
  EXPECT_EQ(in.GetString(word, 1), 3);
  EXPECT_EQ(word, "END") << "the rest of the elements line, then the empty line, are passed over";
  EXPECT_EQ(in.GetChar(), -1);
  EXPECT_TRUE(sink.empty());
}

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
    out.PutString(text.c_str());
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

TEST_F(FileText, FailuresGoToTheSink) {
  CPhrase sink;
  CFileText missing;
  EXPECT_EQ(missing.Open(dir_.File("none.txt").c_str(), "r", &sink), 0);
  EXPECT_FALSE(sink.empty());
  EXPECT_EQ(missing.GetChar(), -1) << "nothing open reads as the end";
}

} // namespace
} // namespace zel
