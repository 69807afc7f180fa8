#include "zeltools/text/params.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zeltools/text/encoding.h"
#include "zeltools/text/strings.h"

namespace zel {
namespace {

using Parts = std::vector<std::string>;

TEST(SeparateString, AgreesWithSplittingTrimmingAndDroppingByHand) {
  std::mt19937 rng(31);
  const std::string alphabet = "ab;c ,;\t\xC0\xFF\n", blanks = " \t\n\r\v\f";
  const char* separatorSets[] = {";", ";,", nullptr, ""};
  for (int round = 0; round < 20000; ++round) {
    std::string text(rng() % 13, ' ');
    for (char& c : text)
      c = alphabet[rng() % alphabet.size()];
    const char* separators = separatorSets[rng() % 4];
    const std::string cuts = separators != nullptr && *separators ? separators : blanks;
    const unsigned char keepEmpty = static_cast<unsigned char>(rng() % 2);
    Parts expected, parts{"old"};
    for (std::size_t start = 0, end = 0; !text.empty() && start <= text.size(); start = end + 1) {
      end = std::min(text.find_first_of(cuts, start), text.size());
      const std::size_t first = text.find_first_not_of(blanks, start);
      const std::string piece = first >= end ? "" : text.substr(first, text.find_last_not_of(blanks, end - 1) + 1 - first);
      if (keepEmpty || !piece.empty())
        expected.push_back(piece);
    }
    ASSERT_EQ(SeparateString(text, parts, separators, keepEmpty), expected.size()) << text;
    ASSERT_EQ(parts, expected) << text;
    VCText texts;
    texts.Add("old");
    ASSERT_EQ(SeparateString(text, texts, separators, keepEmpty), expected.size()) << text;
    ASSERT_EQ(Parts(texts.begin(), texts.end()), expected) << text;
  }
  Parts parts{"old"};
  EXPECT_EQ(SeparateString(nullptr, parts, ";", 1), 0u);
  EXPECT_TRUE(parts.empty());
}

TEST(ParamText, FindsNamedValues) {
  const std::string text = Utf8ToCp1251("E = 2.1e5; Name = \"Сталь; марка 3\" ;\n nu=0.3\r\nN=12;empty=; Длина = 6;E=1");
  const std::pair<std::string, const char*> found[] = {
      {"name", "Сталь; марка 3"}, {"NU", "0.3"}, {"empty", ""}, {Utf8ToCp1251("ДЛИНА"), "6"}, {" e ", "2.1e5"}};
  for (const auto& [name, expected] : found) {
    std::string value = "unchanged";
    ASSERT_EQ(ParamText(text.c_str(), name.c_str(), value), 1) << name;
    EXPECT_EQ(Cp1251ToUtf8(value), expected) << name;
  }
  std::string value = "unchanged";
  for (const char* missing : {"marka", "3\""})
    EXPECT_EQ(ParamText(text.c_str(), missing, value), 0) << missing;
  EXPECT_EQ(ParamText(nullptr, "E", value) + ParamText("a=1", nullptr, value), 0);
  EXPECT_EQ(value, "unchanged");
  EXPECT_EQ(ParamText("x; y = \"open", "y", value), 1);
  EXPECT_EQ(value, "open") << "an unclosed quote runs to the end";
}

TEST(ParamValue, ConvertsTheFoundText) {
  const char* text = "E = 2.1e5; N = 12; bad = 1.5x";
  double d = -1;
  int i = -1;
  EXPECT_TRUE(ParamValue(text, "e", d) == 1 && d == 2.1e5);
  EXPECT_TRUE(ParamValue(text, "n", i) == 1 && i == 12);
  EXPECT_EQ(ParamValue(text, "E", i) + ParamValue(text, "bad", d) + ParamValue(text, "none", d), 0);
  EXPECT_TRUE(d == 2.1e5 && i == 12) << "unchanged on failure";
}

} // namespace
} // namespace zel
