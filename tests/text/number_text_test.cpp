#include "zeltools/text/number_text.h"

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace zel {
namespace {

TEST(CharInt, AcceptsBlanksAndSignRejectsEverythingElse) {
  int v = 0;
  EXPECT_EQ(CharInt("42", v), 1);
  EXPECT_EQ(v, 42);
  EXPECT_EQ(CharInt(" \t-17 \r\n", v), 1);
  EXPECT_EQ(v, -17);
  EXPECT_EQ(CharInt("+2147483647", v), 1);
  EXPECT_EQ(v, INT_MAX);
  EXPECT_EQ(CharInt("-2147483648", v), 1);
  EXPECT_EQ(v, INT_MIN);
  v = 5;
  for (const char* bad : {"", "  ", "2147483648", "-2147483649", "12x", "1 2", "- 1", "1.0", "1e3", "0x10",
                          "--1", "+", "99999999999999999999999"}) {
    EXPECT_EQ(CharInt(bad, v), 0) << bad;
    EXPECT_EQ(v, 5) << "value unchanged on failure";
  }
  EXPECT_EQ(CharInt(nullptr, v), 0);
}

TEST(CharInt, ErrorFlagCollectsFailures) {
  unsigned char error = 0;
  EXPECT_EQ(CharInt("7", error), 7);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(CharInt("seven", error), 0);
  EXPECT_EQ(error, 1);
  EXPECT_EQ(CharInt("8", error), 8);
  EXPECT_EQ(error, 1) << "success leaves the flag as it was";
}

TEST(CharWord, LimitedToBelow65536) {
  unsigned char error = 0;
  EXPECT_EQ(CharWord("65535", error), 65535);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(CharWord("65536", error), 0);
  EXPECT_EQ(error, 1);
  error = 0;
  EXPECT_EQ(CharWord("-1", error), 0);
  EXPECT_EQ(error, 1);
  unsigned short w = 9;
  EXPECT_EQ(CharWord(" -0 ", w), 1);
  EXPECT_EQ(w, 0);
  EXPECT_EQ(CharWord("70000", w), 0);
  EXPECT_EQ(w, 0);
}

TEST(CharDouble, AcceptedForms) {
  double v = 0;
  const std::pair<const char*, double> cases[] = {
      {"1.5", 1.5}, {" -2.25e+3 ", -2250.0}, {".5", 0.5}, {"5.", 5.0}, {"+7E-1", 0.7},
      {"1e-400", 0.0}, {"1.7976931348623157e308", DBL_MAX}, {"0.000", 0.0}, {"4.9406564584124654e-324", 4.9406564584124654e-324}};
  for (const auto& [text, expected] : cases) {
    ASSERT_EQ(CharDouble(text, v), 1) << text;
    EXPECT_EQ(v, expected) << text;
  }
  ASSERT_EQ(CharDouble("-1e-999999999999", v), 1);
  EXPECT_TRUE(v == 0.0 && std::signbit(v)) << "underflow keeps the sign";
  v = 3;
  for (const char* bad : {"", ".", "e5", "1e", "1e+", "1.5.2", "1,5", "inf", "nan", "0x1p3", "1e400", "1 e5",
                          "1d3", "- 1", "1.5x", "1e99999999999"}) {
    EXPECT_EQ(CharDouble(bad, v), 0) << bad;
    EXPECT_EQ(v, 3) << bad;
  }
  unsigned char error = 0;
  EXPECT_EQ(CharDouble("abc", error), 0.0);
  EXPECT_EQ(error, 1);
}

// Model: the C library in the "C" locale, with the whole text consumed.
bool ModelDouble(const std::string& text, double& value) {
  if (text.find_first_not_of(" +-.eE0123456789") != std::string::npos)
    return false;
  const char* begin = text.c_str();
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(begin, &end);
  if (end == begin)
    return false;
  while (*end == ' ')
    ++end;
  if (*end != '\0')
    return false;
  if (errno == ERANGE && std::fabs(v) > 1.0)
    return false;
  value = v;
  return true;
}

TEST(CharDoubleProperty, RandomTextsAgreeWithTheCLibrary) {
  std::mt19937 rng(21);
  const std::string alphabet = " +-.e0123456789123456789";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1), length(0, 10);
  int accepted = 0;
  for (int round = 0; round < 200000; ++round) {
    std::string text;
    for (std::size_t i = length(rng); i > 0; --i)
      text += alphabet[pick(rng)];
    double expected = 0, got = 0;
    const bool model = ModelDouble(text, expected);
    const unsigned char ok = CharDouble(text.c_str(), got);
    ASSERT_EQ(ok, model ? 1 : 0) << '"' << text << '"';
    if (model) {
      ++accepted;
      ASSERT_EQ(std::memcmp(&got, &expected, sizeof got), 0) << '"' << text << '"';
    }
  }
  EXPECT_GT(accepted, 10000);
}

TEST(CharIntProperty, RandomTextsAgreeWithTheCLibrary) {
  std::mt19937 rng(22);
  const std::string alphabet = " +-0123456789987654321";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1), length(0, 12);
  for (int round = 0; round < 100000; ++round) {
    std::string text;
    for (std::size_t i = length(rng); i > 0; --i)
      text += alphabet[pick(rng)];
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(begin, &end, 10);
    const bool anyDigit = end != begin;
    while (*end == ' ')
      ++end;
    const bool model = anyDigit && *end == '\0' && errno == 0 && v >= INT_MIN && v <= INT_MAX;
    int got = 0;
    ASSERT_EQ(CharInt(text.c_str(), got), model ? 1 : 0) << '"' << text << '"';
    if (model)
      ASSERT_EQ(got, v);
  }
}

TEST(NumberTextProperty, RandomBytesNeverBreakTheReaders) {
  std::mt19937 rng(23);
  std::uniform_int_distribution<int> byte(1, 255), length(0, 30);
  for (int round = 0; round < 50000; ++round) {
    std::string text;
    for (int i = length(rng); i > 0; --i)
      text += static_cast<char>(byte(rng));
    unsigned char error = 0;
    const double d = CharDouble(text.c_str(), error);
    ASSERT_TRUE(std::isfinite(d));
    if (error)
      ASSERT_EQ(d, 0.0);
    int i = 0;
    unsigned short w = 0;
    (void)CharInt(text.c_str(), i);
    (void)CharWord(text.c_str(), w);
  }
}

TEST(DoubleChar, ShortestTextReadsBackExactly) {
  std::mt19937_64 rng(24);
  char text[25];
  for (int round = 0; round < 100000; ++round) {
    std::uint64_t bits = rng();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value))
      continue;
    ASSERT_EQ(DoubleChar(value, text, sizeof text), 1);
    double back = 0;
    ASSERT_EQ(CharDouble(text, back), 1) << text;
    ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
    ASSERT_EQ(DoubleCharP(value, text, sizeof text, 17), 1);
    ASSERT_EQ(CharDouble(text, back), 1) << text;
    ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
  }
}

TEST(DoubleChar, FormsAndSizes) {
  char text[32];
  ASSERT_EQ(DoubleChar(0.1, text, sizeof text), 1);
  EXPECT_STREQ(text, "0.1");
  ASSERT_EQ(DoubleChar(-0.0, text, sizeof text), 1);
  EXPECT_STREQ(text, "-0");
  ASSERT_EQ(DoubleChar(1e300, text, sizeof text), 1);
  EXPECT_STREQ(text, "1e+300");
  ASSERT_EQ(DoubleChar(std::numeric_limits<double>::infinity(), text, sizeof text), 1);
  EXPECT_STREQ(text, "inf");
  ASSERT_EQ(DoubleChar(-DBL_MIN, text, sizeof text), 1);
  EXPECT_LE(std::strlen(text), 24u);
  EXPECT_EQ(DoubleChar(123.25, text, 7), 1);
  EXPECT_STREQ(text, "123.25");
  EXPECT_EQ(DoubleChar(123.25, text, 6), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(DoubleChar(1.0, nullptr, 0), 0);
}

TEST(DoubleCharP, SignificantDigitsLikePercentG) {
  char text[32];
  const std::pair<int, const char*> cases[] = {{3, "3.14"}, {1, "3"}, {0, "3"}, {6, "3.14159"}, {30, "3.1415926535897931"}};
  for (const auto& [precision, expected] : cases) {
    ASSERT_EQ(DoubleCharP(3.14159265358979312, text, sizeof text, precision), 1);
    EXPECT_STREQ(text, expected) << precision;
  }
  ASSERT_EQ(DoubleCharP(1.5, text, sizeof text, 6), 1);
  EXPECT_STREQ(text, "1.5");
  ASSERT_EQ(DoubleCharP(123456.0, text, sizeof text, 3), 1);
  EXPECT_STREQ(text, "1.23e+05");
  ASSERT_EQ(DoubleCharP(0.0001, text, sizeof text, 3), 1);
  EXPECT_STREQ(text, "0.0001");
  ASSERT_EQ(DoubleCharP(0.00001, text, sizeof text, 3), 1);
  EXPECT_STREQ(text, "1e-05");
}

TEST(CopyNumbers, WidenAndNarrow) {
  const unsigned short words[] = {0, 1, 65535};
  int ints[3] = {};
  CopyWordToInt(ints, words, 3);
  EXPECT_EQ(ints[2], 65535);
  const float floats[] = {0.1f, -3.5f};
  double doubles[2] = {};
  CopyFloatToDouble(doubles, floats, 2);
  EXPECT_EQ(doubles[0], static_cast<double>(0.1f));
  const double wide[] = {0.1, 1e300, -1e300, FLT_MAX, 3.4028235677973362e38, 3.4028235677973366e38, NAN};
  float narrow[7] = {};
  CopyDoubleToFloat(narrow, wide, 7);
  EXPECT_EQ(narrow[0], 0.1f);
  EXPECT_EQ(narrow[1], std::numeric_limits<float>::infinity());
  EXPECT_EQ(narrow[2], -std::numeric_limits<float>::infinity());
  EXPECT_EQ(narrow[3], FLT_MAX);
  EXPECT_EQ(narrow[4], FLT_MAX) << "just below the rounding threshold";
  EXPECT_EQ(narrow[5], std::numeric_limits<float>::infinity()) << "just above it";
  EXPECT_TRUE(std::isnan(narrow[6]));
}

} // namespace
} // namespace zel
