#include "zeltools/text/params.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zeltools/text/encoding.h"

namespace zel {
namespace {

using Parts = std::vector<std::string>;

TEST(SeparateString, SplitsTrimsAndDropsEmptyParts) {
  Parts parts{"old"};
  EXPECT_EQ(SeparateString("  alpha beta\t\tgamma \n", parts), 3u);
  EXPECT_EQ(parts, (Parts{"alpha", "beta", "gamma"}));
  EXPECT_EQ(SeparateString("a ; b,,c;", parts, ";,"), 3u);
  EXPECT_EQ(parts, (Parts{"a", "b", "c"}));
  EXPECT_EQ(SeparateString("a ; b,,c;", parts, ";,", 1), 5u);
  EXPECT_EQ(parts, (Parts{"a", "b", "", "c", ""}));
  EXPECT_EQ(SeparateString("", parts, ";", 1), 0u);
  EXPECT_EQ(SeparateString(nullptr, parts), 0u);
  EXPECT_TRUE(parts.empty());
  EXPECT_EQ(SeparateString("x", parts, ""), 1u);
}

TEST(SeparateString, JoiningThePartsGivesTheTextBack) {
  std::mt19937 rng(31);
  const std::string alphabet = "ab;c ;\xC0\xFF;";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1), length(0, 12);
  for (int round = 0; round < 5000; ++round) {
    std::string text;
    for (std::size_t i = length(rng); i > 0; --i)
      text += alphabet[pick(rng)];
    Parts parts;
    SeparateString(text.c_str(), parts, ";", 1);
    std::string joined;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      ASSERT_TRUE(parts[i].empty() || (parts[i].front() != ' ' && parts[i].back() != ' ')) << text;
      ASSERT_EQ(parts[i].find(';'), std::string::npos);
      joined += (i ? ";" : "") + parts[i];
    }
    const auto withoutBlanks = [](std::string s) {
      s.erase(std::remove(s.begin(), s.end(), ' '), s.end());
      return s;
    };
    ASSERT_EQ(withoutBlanks(joined), withoutBlanks(text)) << text;
  }
}

TEST(ParamText, FindsNamedValues) {
  const std::string text = Utf8ToCp1251("E = 2.1e5; Name = \"Сталь; марка 3\" ;\n nu=0.3\r\nN=12;empty=; Длина = 6");
  std::string value = "unchanged";
  ASSERT_EQ(ParamText(text.c_str(), "name", value), 1);
  EXPECT_EQ(Cp1251ToUtf8(value), "Сталь; марка 3");
  ASSERT_EQ(ParamText(text.c_str(), "NU", value), 1);
  EXPECT_EQ(value, "0.3");
  ASSERT_EQ(ParamText(text.c_str(), "empty", value), 1);
  EXPECT_EQ(value, "");
  ASSERT_EQ(ParamText(text.c_str(), Utf8ToCp1251("ДЛИНА").c_str(), value), 1);
  EXPECT_EQ(value, "6");
  value = "unchanged";
  EXPECT_EQ(ParamText(text.c_str(), "marka", value), 0);
  EXPECT_EQ(ParamText(text.c_str(), "3\"", value), 0) << "quoted text is not an item";
  EXPECT_EQ(value, "unchanged");
  EXPECT_EQ(ParamText(nullptr, "E", value), 0);
  EXPECT_EQ(ParamText("a=1", nullptr, value), 0);
  EXPECT_EQ(ParamText("x; y = \"open", "y", value), 1);
  EXPECT_EQ(value, "open");
  EXPECT_EQ(ParamText("k=1; k=2", "k", value), 1);
  EXPECT_EQ(value, "1");
}

TEST(ParamValue, ConvertsTheFoundText) {
  const char* text = "E = 2.1e5; N = 12; bad = 1.5x";
  double d = -1;
  int i = -1;
  EXPECT_EQ(ParamValue(text, "e", d), 1);
  EXPECT_EQ(d, 2.1e5);
  EXPECT_EQ(ParamValue(text, "n", i), 1);
  EXPECT_EQ(i, 12);
  EXPECT_EQ(ParamValue(text, "E", i), 0);
  EXPECT_EQ(ParamValue(text, "bad", d), 0);
  EXPECT_EQ(ParamValue(text, "none", d), 0);
  EXPECT_EQ(d, 2.1e5);
  EXPECT_EQ(i, 12);
}

TEST(ParamText, RandomBytesNeverBreakTheLookup) {
  std::mt19937 rng(32);
  std::uniform_int_distribution<int> byte(1, 255), length(0, 40), coin(0, 2);
  const std::string alphabet = "a=;\"\n ";
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (int n = length(rng); n > 0; --n)
      text += coin(rng) ? alphabet[static_cast<std::size_t>(byte(rng)) % alphabet.size()] : static_cast<char>(byte(rng));
    std::string value;
    if (ParamText(text.c_str(), "a", value))
      ASSERT_LE(value.size(), text.size());
  }
}

} // namespace
} // namespace zel
