#include "zeltools/text/letter_case.h"

#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "zeltools/text/encoding.h"

namespace zel {
namespace {

TEST(CaseTables, MatchTheCodePageLetterPairsWithTheKeptExceptions) {
  // Reference from the letters themselves: every pair of the code page except
  // Ђђ and Ўў, plus the "wrong-way" entries stored texts depend on.
  const std::string upper = Utf8ToCp1251("ABCDEFGHIJKLMNOPQRSTUVWXYZАБВГДЕЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯЁЃЄЅІЇЈЉЊЋЌЏҐ");
  const std::string lower = Utf8ToCp1251("abcdefghijklmnopqrstuvwxyzабвгдежзийклмнопрстуфхцчшщъыьэюяёѓєѕіїјљњћќџґ");
  ASSERT_TRUE(upper.size() == 71 && lower.size() == 71 && upper.find('?') == std::string::npos);
  unsigned int toUpper[256], toLower[256];
  for (unsigned int b = 0; b < 256; ++b)
    toUpper[b] = toLower[b] = b;
  for (std::size_t i = 0; i < upper.size(); ++i) {
    toUpper[static_cast<unsigned char>(lower[i])] = static_cast<unsigned char>(upper[i]);
    toLower[static_cast<unsigned char>(upper[i])] = static_cast<unsigned char>(lower[i]);
  }
  toUpper[0x8D] = 0x9D, toUpper[0x8E] = 0x9E, toLower[0x90] = 0x80, toLower[0x9D] = 0x8D;
  for (unsigned int b = 0; b < 256; ++b) {
    EXPECT_EQ(UpperCaseTable[b], toUpper[b]) << "ToUpper of byte " << b;
    EXPECT_EQ(LowerCaseTable[b], toLower[b]) << "ToLower of byte " << b;
  }
  static_assert(ToUpper('\x8D') == '\x9D' && ToLower('\x90') == '\x80', "the tables serve constant expressions");
}

TEST(CaseMapping, TextFormsAndStrCmpUpAgreeWithTheTablesByteForByte) {
  // Model for StrCmpUp: map both texts through the table, then an unsigned
  // strncmp (strcmp for n = 0).
  std::mt19937 rng(12345);
  const char alphabet[] = "aAbB\xE0\xC0\x8D\x9D\x8E\x9E\x90\x80z";
  for (int round = 0; round < 5000; ++round) {
    std::string a(rng() % 5, ' '), b(rng() % 5, ' ');
    for (char& c : a)
      c = alphabet[rng() % (sizeof alphabet - 1)];
    for (char& c : b)
      c = alphabet[rng() % (sizeof alphabet - 1)];
    const unsigned int n = static_cast<unsigned int>(rng() % 6);
    std::string ua = a, ub = b, la = a;
    ToUpper(ua.data());
    ToUpper(ub.data());
    ToLower(la.data());
    for (std::size_t i = 0; i < a.size(); ++i)
      ASSERT_TRUE(ua[i] == ToUpper(a[i]) && la[i] == ToLower(a[i])) << a;
    const int raw = n == 0 ? std::strcmp(ua.c_str(), ub.c_str()) : std::strncmp(ua.c_str(), ub.c_str(), n);
    ASSERT_EQ(StrCmpUp(a.c_str(), b.c_str(), n), raw < 0 ? -1 : raw > 0 ? 1 : 0) << a << " / " << b << " n=" << n;
  }
  EXPECT_TRUE(StrCmpUp(nullptr, "a", 0) == -1 && StrCmpUp("a", nullptr, 0) == 1 && StrCmpUp(nullptr, nullptr, 5) == 0);
  ToUpper(static_cast<char*>(nullptr));
  ToLower(static_cast<char*>(nullptr));
}

TEST(StrLetterAng, UpperCasesThenReplacesItsCapitals) {
  // 'т' becomes a terminator; the characters after it are converted too.
  std::string text = Utf8ToCp1251("ab тщ ж");
  StrLetterAng(text.data());
  EXPECT_EQ(text, std::string("AB ") + '\0' + "% " + Utf8ToCp1251("Ж"));
  StrLetterAng(nullptr);
}

} // namespace
} // namespace zel
