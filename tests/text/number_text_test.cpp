#include "zeltools/text/number_text.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace zel {
namespace {

// Random texts over `alphabet`, up to `length` characters.
std::string RandomText(std::mt19937& rng, const std::string& alphabet, std::size_t length) {
  std::string text(rng() % (length + 1), ' ');
  for (char& c : text)
    c = alphabet[rng() % alphabet.size()];
  return text;
}

// Model: the C library in the "C" locale, with the whole text consumed
// (trailing blanks allowed) and no overflow; a double may underflow.
template <class T>
bool Model(const std::string& text, T& value) {
  constexpr bool real = std::is_floating_point_v<T>;
  if (text.find_first_not_of(real ? " \t+-.eE0123456789" : " \t+-0123456789") != std::string::npos)
    return false;
  char* end = nullptr;
  errno = 0;
  if constexpr (real)
    value = std::strtod(text.c_str(), &end);
  else
    value = std::strtoll(text.c_str(), &end, 10);
  const bool any = end != text.c_str();
  end += std::strspn(end, " \t\n\r\v\f");
  return any && *end == '\0' && (errno == 0 || (real && std::fabs(value) <= 1));
}

TEST(CharDouble, RandomTextsAgreeWithTheCLibrary) {
  std::mt19937 rng(21);
  int accepted = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::string text = RandomText(rng, " \t+-.eE0123456789123456789x\xE0\x01", 10);
    double expected = 0, got = 0.25;
    const bool model = Model(text, expected);
    ASSERT_EQ(CharDouble(text.c_str(), got), model ? 1 : 0) << '"' << text << '"';
    if (model)
      ASSERT_EQ(std::memcmp(&got, &expected, sizeof got), 0) << '"' << text << '"';
    else
      ASSERT_EQ(got, 0.25) << "unchanged on failure";
    accepted += model;
  }
  EXPECT_GT(accepted, 10000);
  double v = 3;
  EXPECT_EQ(CharDouble("-1e-999999999999", v), 1);
  EXPECT_TRUE(v == 0.0 && std::signbit(v)) << "underflow keeps the sign";
  for (const char* bad : {"1e99999999999", "inf", "nan", "0x1p3", "1,5", "1d3", static_cast<const char*>(nullptr)})
    EXPECT_EQ(CharDouble(bad, v), 0) << bad;
}

TEST(CharInt, RandomTextsAgreeWithTheCLibraryAndTheErrorFlagCollectsFailures) {
  std::mt19937 rng(22);
  for (int round = 0; round < 100000; ++round) {
    const std::string text = RandomText(rng, " \t+-.e0123456789987654321x\xE0\x01", 12);
    long long v = 0;
    const bool model = Model(text, v) && v >= INT_MIN && v <= INT_MAX;
    unsigned char error = static_cast<unsigned char>(round & 1);
    ASSERT_EQ(CharInt(text.c_str(), error), model ? v : 0) << '"' << text << '"';
    ASSERT_EQ(error, model ? round & 1 : 1) << "success leaves the flag as it was";
    unsigned short w = 7;
    const bool word = model && v >= 0 && v <= 65535;
    ASSERT_EQ(CharWord(text.c_str(), w), word ? 1 : 0) << '"' << text << '"';
    ASSERT_EQ(w, word ? v : 7);
  }
  int i = 5;
  EXPECT_TRUE(CharInt(nullptr, i) == 0 && CharInt("2147483648", i) == 0 && i == 5);
}

TEST(DoubleChar, ShortestTextReadsBackExactlyAndDoubleCharPIsPercentG) {
  std::mt19937_64 rng(24);
  char text[25], reference[64];
  for (int round = 0; round < 100000; ++round) {
    const std::uint64_t bits = rng();
    double value = 0, back = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value))
      continue;
    ASSERT_EQ(DoubleChar(value, text, sizeof text), 1);
    ASSERT_EQ(CharDouble(text, back), 1) << text;
    ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
    for (int digits = 1; digits <= 17; ++digits) { // no "%.*g" text that reads back is shorter
      std::snprintf(reference, sizeof reference, "%.*g", digits, value);
      if (std::strtod(reference, nullptr) == value) {
        ASSERT_LE(std::strlen(text), std::strlen(reference)) << text << " / " << reference;
        break;
      }
    }
    const int precision = static_cast<int>(rng() % 22) - 2;
    std::snprintf(reference, sizeof reference, "%.*g", std::clamp(precision, 1, 17), value);
    ASSERT_EQ(DoubleCharP(value, text, sizeof text, precision), 1);
    ASSERT_STREQ(text, reference) << precision;
  }
}

TEST(DoubleChar, SpecialValuesAndSizes) {
  char text[32];
  const std::pair<double, const char*> forms[] = {
      {0.1, "0.1"}, {-0.0, "-0"}, {1e300, "1e+300"}, {std::numeric_limits<double>::infinity(), "inf"}, {NAN, "nan"}};
  for (const auto& [value, expected] : forms) {
    ASSERT_EQ(DoubleChar(value, text, sizeof text), 1);
    EXPECT_STREQ(text, expected);
  }
  EXPECT_TRUE(DoubleChar(-DBL_MIN, text, 25) == 1 && DoubleChar(123.25, text, 7) == 1);
  EXPECT_EQ(DoubleChar(123.25, text, 6), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(DoubleChar(1.0, nullptr, 0), 0);
}

TEST(CopyNumbers, WidenAndNarrowAtTheFloatLimits) {
  const unsigned short words[] = {0, 65535};
  const float floats[] = {0.1f, -3.5f};
  const double wide[] = {0.1, 1e300, -1e300, 3.4028235677973362e38, 3.4028235677973366e38, NAN};
  int ints[2] = {};
  double doubles[2] = {};
  float narrow[6] = {};
  CopyWordToInt(ints, words, 2);
  CopyFloatToDouble(doubles, floats, 2);
  CopyDoubleToFloat(narrow, wide, 6);
  const float inf = std::numeric_limits<float>::infinity();
  EXPECT_TRUE(ints[1] == 65535 && doubles[0] == static_cast<double>(0.1f) && doubles[1] == -3.5);
  EXPECT_TRUE(narrow[0] == 0.1f && narrow[1] == inf && narrow[2] == -inf && std::isnan(narrow[5]));
  EXPECT_EQ(narrow[3], FLT_MAX) << "just below the rounding threshold";
  EXPECT_EQ(narrow[4], inf) << "just above it";
}

} // namespace
} // namespace zel
