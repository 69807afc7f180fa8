#pragma once
/// \file
/// Case mapping and case-insensitive comparison for the library's byte
/// encoding, Windows-1251.
///
/// The two tables are the identity except for the Latin and Cyrillic letter
/// pairs, and they keep a few entries that go the "wrong" way: `ToUpper`
/// swaps 0x8D/0x9D and 0x8E/0x9E, `ToLower` maps 0x90 to 0x80 and 0x9D to
/// 0x8D. Texts written and compared by earlier versions depend on exactly
/// these tables, so they must not be "corrected". 0x80, 0x90, 0xA1 and 0xA2
/// are not mapped by `ToUpper`; 0x80, 0xA1 and 0xA2 are not mapped by
/// `ToLower`.

#include <array>

namespace zel {

namespace detail {

struct CasePair {
  unsigned char from, to;
};

template <std::size_t N>
constexpr std::array<unsigned char, 256> MakeCaseTable(unsigned char firstLatin, unsigned char firstCyrillic,
                                                       const CasePair (&extra)[N]) {
  std::array<unsigned char, 256> table{};
  for (unsigned int i = 0; i < 256; ++i)
    table[i] = static_cast<unsigned char>(i);
  for (unsigned int i = 0; i < 26; ++i)
    table[firstLatin + i] = static_cast<unsigned char>((firstLatin + i) ^ 0x20u);
  for (unsigned int i = 0; i < 32; ++i)
    table[firstCyrillic + i] = static_cast<unsigned char>((firstCyrillic + i) ^ 0x20u);
  for (const CasePair& p : extra)
    table[p.from] = p.to;
  return table;
}

// The last two pairs of each list are the kept "wrong-way" entries.
inline constexpr CasePair upperExtra[] = {
    {0x83, 0x81}, {0x9A, 0x8A}, {0x9C, 0x8C}, {0x9D, 0x8D}, {0x9E, 0x8E}, {0x9F, 0x8F}, {0xB3, 0xB2},
    {0xB4, 0xA5}, {0xB8, 0xA8}, {0xBA, 0xAA}, {0xBC, 0xA3}, {0xBE, 0xBD}, {0xBF, 0xAF},
    {0x8D, 0x9D}, {0x8E, 0x9E}};
inline constexpr CasePair lowerExtra[] = {
    {0x81, 0x83}, {0x8A, 0x9A}, {0x8C, 0x9C}, {0x8D, 0x9D}, {0x8E, 0x9E}, {0x8F, 0x9F}, {0xA3, 0xBC},
    {0xA5, 0xB4}, {0xA8, 0xB8}, {0xAA, 0xBA}, {0xAF, 0xBF}, {0xB2, 0xB3}, {0xBD, 0xBE},
    {0x90, 0x80}, {0x9D, 0x8D}};

} // namespace detail

/// Byte → upper-case byte.
inline constexpr std::array<unsigned char, 256> UpperCaseTable =
    detail::MakeCaseTable('a', 0xE0, detail::upperExtra);
/// Byte → lower-case byte.
inline constexpr std::array<unsigned char, 256> LowerCaseTable =
    detail::MakeCaseTable('A', 0xC0, detail::lowerExtra);

/// The upper-case form of `c` by `UpperCaseTable`.
constexpr char ToUpper(char c) noexcept {
  return static_cast<char>(UpperCaseTable[static_cast<unsigned char>(c)]);
}
/// The lower-case form of `c` by `LowerCaseTable`.
constexpr char ToLower(char c) noexcept {
  return static_cast<char>(LowerCaseTable[static_cast<unsigned char>(c)]);
}

/// Maps the zero-terminated `text` in place; a null pointer is left alone.
void ToUpper(char* text) noexcept;
void ToLower(char* text) noexcept;

/// Case-insensitive comparison of at most `n` characters (n = 0: no limit).
/// Both characters are mapped by `ToUpper` and compared as unsigned bytes:
/// −1 when a's is smaller, 1 when it is larger, 0 when both texts end
/// together or n characters matched. A text that ends first is the smaller.
/// A null pointer reads as the empty text.
int StrCmpUp(const char* a, const char* b, unsigned int n) noexcept;

/// Upper-cases `text` in place and then replaces the twelve Cyrillic capitals
/// Е Т І Щ Р Ф Н К Х С В М (0xC5 0xD2 0xB2 0xD9 0xD0 0xD4 0xCD 0xCA 0xD5 0xD1
/// 0xC2 0xCC) by the bytes 'E', 0x00, 'd', '%', 'e', 0x80, '@', ' ', 0x10,
/// 0x08, 0x04, 0x02 respectively. Only the first of these is a look-alike;
/// the others are kept byte for byte because stored keys were built with
/// them. A 'Т' therefore ends the text at its place. The whole text as given
/// is converted: characters after such a new terminator are converted too.
/// A null pointer is left alone.
void StrLetterAng(char* text) noexcept;

} // namespace zel
