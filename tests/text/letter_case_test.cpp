#include "zeltools/text/letter_case.h"

#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "zeltools/text/encoding.h"

namespace zel {
namespace {

// The code point of one Windows-1251 byte, decoded from the UTF-8 the
// encoding layer gives for it.
std::uint32_t CodePoint(unsigned int byte) {
  const std::string u = Cp1251ToUtf8(std::string(1, static_cast<char>(byte)));
  const auto b = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(u[i])); };
  if (u.size() == 1)
    return b(0);
  if (u.size() == 2)
    return (b(0) & 0x1F) << 6 | (b(1) & 0x3F);
  return (b(0) & 0x0F) << 12 | (b(1) & 0x3F) << 6 | (b(2) & 0x3F);
}

// Unicode's simple case pairs for the scripts Windows-1251 carries.
std::uint32_t UnicodeUpper(std::uint32_t c) {
  if ((c >= 'a' && c <= 'z') || (c >= 0x430 && c <= 0x44F))
    return c - 0x20;
  if (c >= 0x450 && c <= 0x45F)
    return c - 0x50;
  return c == 0x491 ? 0x490 : c;
}
std::uint32_t UnicodeLower(std::uint32_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 0x410 && c <= 0x42F))
    return c + 0x20;
  if (c >= 0x400 && c <= 0x40F)
    return c + 0x50;
  return c == 0x490 ? 0x491 : c;
}

unsigned int ByteOf(std::uint32_t cp) {
  for (unsigned int b = 0; b < 256; ++b)
    if (CodePoint(b) == cp)
      return b;
  return 256;
}

// Reference tables: the code page's letter pairs, without Ђђ and Ўў, plus
// the "wrong-way" entries that stored texts depend on.
struct Reference {
  unsigned int upper[256], lower[256];
  Reference() {
    for (unsigned int b = 0; b < 256; ++b) {
      upper[b] = ByteOf(UnicodeUpper(CodePoint(b)));
      lower[b] = ByteOf(UnicodeLower(CodePoint(b)));
    }
    for (unsigned int b : {0x80u, 0x90u, 0xA1u, 0xA2u})
      upper[b] = lower[b] = b;
    upper[0x8D] = 0x9D;
    upper[0x8E] = 0x9E;
    lower[0x90] = 0x80;
    lower[0x9D] = 0x8D;
  }
};

TEST(CaseTables, MatchTheCodePageLetterPairsWithTheKeptExceptions) {
  const Reference ref;
  for (unsigned int b = 0; b < 256; ++b) {
    EXPECT_EQ(UpperCaseTable[b], ref.upper[b]) << "ToUpper of byte " << b;
    EXPECT_EQ(LowerCaseTable[b], ref.lower[b]) << "ToLower of byte " << b;
  }
}

TEST(CaseTables, WrongWayEntriesAreKept) {
  static_assert(ToUpper('\x8D') == '\x9D' && ToUpper('\x9D') == '\x8D');
  static_assert(ToUpper('\x8E') == '\x9E' && ToUpper('\x9E') == '\x8E');
  static_assert(ToLower('\x90') == '\x80' && ToLower('\x9D') == '\x8D' && ToLower('\x8D') == '\x9D');
  static_assert(ToUpper('\x80') == '\x80' && ToUpper('\x90') == '\x90');
  static_assert(ToUpper('\xFF') == '\xDF' && ToLower('\xC0') == '\xE0' && ToUpper('z') == 'Z');
}

TEST(CaseMapping, TextFormsMapInPlace) {
  std::string text = Utf8ToCp1251("Сталь Ст3, ёлка Ї ґ q");
  ToUpper(text.data());
  EXPECT_EQ(Cp1251ToUtf8(text), "СТАЛЬ СТ3, ЁЛКА Ї Ґ Q");
  ToLower(text.data());
  EXPECT_EQ(Cp1251ToUtf8(text), "сталь ст3, ёлка ї ґ q");
  ToUpper(static_cast<char*>(nullptr));
  ToLower(static_cast<char*>(nullptr));
}

TEST(StrCmpUp, ComparesUpperCasedBytesUnsigned) {
  EXPECT_EQ(StrCmpUp("abc", "ABCD", 3), 0);
  EXPECT_EQ(StrCmpUp("abc", "ABCD", 0), -1);
  EXPECT_EQ(StrCmpUp("ABCD", "abc", 0), 1);
  EXPECT_EQ(StrCmpUp("abc", "ABC", 0), 0);
  EXPECT_EQ(StrCmpUp("abc", "abd", 2), 0);
  EXPECT_EQ(StrCmpUp("abc", "abd", 3), -1);
  const std::string cyr = Utf8ToCp1251("ёж"), CYR = Utf8ToCp1251("ЁЖ");
  EXPECT_EQ(StrCmpUp(cyr.c_str(), CYR.c_str(), 0), 0);
  // Bytes above 0x7F are larger than ASCII: the comparison is unsigned.
  EXPECT_EQ(StrCmpUp(CYR.c_str(), "Z", 0), 1);
  EXPECT_EQ(StrCmpUp("", "", 0), 0);
  EXPECT_EQ(StrCmpUp(nullptr, "a", 0), -1);
  EXPECT_EQ(StrCmpUp(nullptr, nullptr, 5), 0);
}

TEST(StrCmpUp, AgreesWithComparingUpperCasedCopies) {
  // Model: map both texts through the table, then an unsigned strncmp.
  unsigned int seed = 12345;
  const auto next = [&] { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7FFF; };
  const char alphabet[] = "aAbB\xE0\xC0\x8D\x9D\x8E\x9E\x90\x80z";
  for (int round = 0; round < 5000; ++round) {
    std::string a, b;
    for (unsigned int i = next() % 5; i > 0; --i)
      a += alphabet[next() % (sizeof alphabet - 1)];
    for (unsigned int i = next() % 5; i > 0; --i)
      b += alphabet[next() % (sizeof alphabet - 1)];
    const unsigned int n = next() % 6;
    std::string ua = a, ub = b;
    ToUpper(ua.data());
    ToUpper(ub.data());
    const int raw = n == 0 ? std::strcmp(ua.c_str(), ub.c_str()) : std::strncmp(ua.c_str(), ub.c_str(), n);
    const int expected = raw < 0 ? -1 : raw > 0 ? 1 : 0;
    ASSERT_EQ(StrCmpUp(a.c_str(), b.c_str(), n), expected) << a << " / " << b << " n=" << n;
  }
}

TEST(StrLetterAng, ReplacesTheTwelveCapitalsByteForByte) {
  const char* from[] = {"Е", "Т", "І", "Щ", "Р", "Ф", "Н", "К", "Х", "С", "В", "М"};
  const unsigned char to[] = {'E', 0x00, 'd', '%', 'e', 0x80, '@', ' ', 0x10, 0x08, 0x04, 0x02};
  for (std::size_t k = 0; k < 12; ++k) {
    const char capital = Utf8ToCp1251(from[k])[0];
    for (const char letter : {capital, ToLower(capital)}) {
      char text[2] = {letter, 0};
      StrLetterAng(text);
      EXPECT_EQ(static_cast<unsigned char>(text[0]), to[k]) << from[k];
    }
  }
  // Lower-case letters are upper-cased first: 'е' ends as 'E', 'і' as 'd'.
  std::string lower = Utf8ToCp1251("еі");
  StrLetterAng(lower.data());
  EXPECT_EQ(lower, "Ed");
}

TEST(StrLetterAng, UpperCasesEverythingAndConvertsPastTheNewTerminator) {
  std::string text = Utf8ToCp1251("ab тщ ж");
  StrLetterAng(text.data());
  ASSERT_EQ(text.size(), 7u);
  EXPECT_EQ(text, std::string("AB ") + '\0' + "%" + " " + Utf8ToCp1251("Ж"));
  EXPECT_STREQ(text.c_str(), "AB ");
  StrLetterAng(nullptr);
}

} // namespace
} // namespace zel
