#include "zeltools/text/read_memory.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

using Words = std::vector<std::pair<std::string, int>>;

TEST(ReadMemory, WordRules) {
  const struct {
    const char* text;
    const char* delimiters;
    unsigned char equalIsBlank;
    Words words;
  } cases[] = {
      {"x=5;", nullptr, 0, {{"x", 0}, {"=", '='}, {"5", 0}, {";", ';'}}},
      {"x=5;", nullptr, 1, {{"x", 0}, {"5", 0}, {";", ';'}}},
      {"\"a\" b\"c", nullptr, 0, {{"a", 0}, {"b", 0}, {"c", 0}}},  // a quoted word ends at its closing quote
      {"ab\"cd\"", nullptr, 0, {{"ab", 0}, {"cd", 0}}},            // a quote after characters is read next
      {"say \"\"hi", nullptr, 0, {{"say", 0}, {"\"", '"'}, {"hi", 0}}},
      {"ab\"\"\r\"\"", nullptr, 0, {{"ab", 0}, {"\"", '"'}, {"\"", '"'}}},  // a pair is pushed back whole
      {"\"a\t b\nz", nullptr, 0, {{"a b", 0}, {"z", 0}}},         // tab dropped, line end closes
      {"a\r\rb c\"\"d", "", 0, {{"ab", 0}, {"c\"d", 0}}},       // no delimiters: the pair is a character
  };
  for (const auto& c : cases) {
    CReadMemory reader(c.text);
    Words words;
    std::vector<char> word;
    for (int r; (r = reader.GetWord(word, c.delimiters, c.equalIsBlank)) >= 0;)
      words.emplace_back(word.data(), r);
    EXPECT_EQ(words, c.words) << c.text;
  }
  CReadMemory reader("abcdef;");
  char small[4];
  EXPECT_EQ(reader.GetWord(small, sizeof small), 0);
  EXPECT_STREQ(small, "abc") << "the rest of a long word is skipped";
  EXPECT_EQ(reader.GetWord(small, sizeof small), ';');
}

TEST(ReadMemory, CharactersLinesPhrasesAndPositions) {
  CReadMemory reader;
  reader.Init("a\r\nb", 4);
  std::vector<int> chars;
  for (int c; (c = reader.GetChar()) >= 0;)
    chars.push_back(c);
  EXPECT_EQ(chars, (std::vector<int>{'a', 0, 'b'}));
  EXPECT_EQ(reader.GetChar(), -1);
  reader.SetPosition(4);
  EXPECT_EQ(reader.GetPosition(), 4u) << "SetPosition(length) changes nothing";
  EXPECT_EQ(reader.GetPosBuf(), nullptr);
  reader.Init("abc\ndefgh\n\n\nxyz");
  char line[4];
  std::vector<std::string> lines;
  while (!reader.IsEnd())
    lines.emplace_back(line, static_cast<std::size_t>(reader.GetString(line, sizeof line, 1)));
  EXPECT_EQ(lines, (std::vector<std::string>{"abc", "def", "gh", "xyz"}));
  reader.Init("a;b\n;c");
  std::vector<char> phrase;
  std::vector<std::string> phrases;
  while (reader.GetPhrase(phrase, ';') >= 0)
    phrases.emplace_back(phrase.data());
  EXPECT_EQ(phrases, (std::vector<std::string>{"a", "b", ";", "c"}));
  reader.Init("ab");
  reader.Return();
  EXPECT_EQ(reader.GetPosition(), 0u);
  char two[2];
  reader.Read(two, 2, 0);
  EXPECT_EQ(reader.GetPosition(), 2u);
  test::ScopedLanguage english(LanguageEnglish);
  EXPECT_NE(test::ThrownText([&] { reader.Read(two, 2, 1); }).find("size of file"), std::string::npos);
}

TEST(ReadMemory, NamesAndNumberLists) {
  std::vector<char> name;
  for (const char* text : {"NAME  Beam1", "name=Beam1", "Name \"Beam1\""}) {
    CReadMemory reader(text);
    EXPECT_TRUE(reader.GetName(name) == 1 && std::string(name.data()) == "Beam1") << text;
  }
  CReadMemory reader("TYPE 3");
  EXPECT_EQ(reader.GetName(name), 0);
  const struct {
    const char* text;
    int result;
    std::vector<int> list;
  } cases[] = {
      {"1 3 - 6 9;", 0, {1, 3, 4, 5, 6, 9}},
      {"5 r 20 5", 0, {5, 6, 11, 16}},
      {"2 4 /", '/', {2, 4}},
      {"7 )", ')', {7}},
      {"1 x", -1, {1}},
      {"- 4", -1, {}},
      {"3 r 9 0", -1, {3}},
      {"1 - 99999999999", -1, {1}},
      {"1 - 2000000000", -1, {1}},
      {"", 0, {}},
  };
  for (const auto& c : cases) {
    CReadMemory list(c.text);
    std::vector<int> out{42};
    EXPECT_EQ(list.GetListInt(out), c.result) << c.text;
    EXPECT_EQ(out, c.list) << c.text;
  }
  CReadMemory words("65534 - 65535 65536");
  std::vector<unsigned short> out;
  EXPECT_EQ(words.GetListWord(out), -1);
  EXPECT_EQ(out, (std::vector<unsigned short>{65534, 65535}));
}

TEST(ReadMemory, RecordsAtPositions) {
  const std::string records("\x03\x00xyz\x02\x00qr", 10);
  CReadMemory reader;
  reader.Init(records.data(), static_cast<unsigned int>(records.size()));
  std::string text;
  char cut[3];
  EXPECT_EQ(reader.ReadString(cut, sizeof cut, 2, 0), 2);
  EXPECT_STREQ(cut, "xy");
  EXPECT_EQ(reader.ReadString(text, 2), 2);
  EXPECT_EQ(text, "qr");
  EXPECT_EQ(reader.ReadString(text, 0, 2), 4) << "form 0 runs to the next zero";
  EXPECT_EQ(reader.ReadString(text, 4, 0), -1);
  EXPECT_TRUE(text.empty() && reader.GetPosition() == 7);
}

} // namespace
} // namespace zel
