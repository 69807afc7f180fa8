#include "zeltools/text/guid.h"

#include <cstring>

namespace zel {
namespace {

constexpr char hexDigits[] = "0123456789ABCDEF";

// The text form: '{', five groups of 4, 2, 2, 2 and 6 bytes in hexadecimal
// separated by '-', '}': 38 characters.
constexpr std::size_t groupBytes[5] = {4, 2, 2, 2, 6};
constexpr std::size_t textLength = 38;

int HexValue(char c) {
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  return -1;
}

// The 16 bytes in text order: Data1, Data2, Data3 most significant first,
// then Data4.
void ToBytes(const GUID& g, unsigned char (&bytes)[16]) {
  for (int i = 0; i < 4; ++i)
    bytes[i] = static_cast<unsigned char>(g.Data1 >> (24 - 8 * i));
  bytes[4] = static_cast<unsigned char>(g.Data2 >> 8);
  bytes[5] = static_cast<unsigned char>(g.Data2);
  bytes[6] = static_cast<unsigned char>(g.Data3 >> 8);
  bytes[7] = static_cast<unsigned char>(g.Data3);
  std::memcpy(bytes + 8, g.Data4, 8);
}

} // namespace

std::string GuidToString(const GUID& guid) {
  unsigned char bytes[16];
  ToBytes(guid, bytes);
  std::string text = "{";
  const unsigned char* b = bytes;
  for (std::size_t group = 0; group < 5; ++group) {
    if (group > 0)
      text += '-';
    for (std::size_t k = 0; k < groupBytes[group]; ++k, ++b) {
      text += hexDigits[*b >> 4];
      text += hexDigits[*b & 15];
    }
  }
  text += '}';
  return text;
}

unsigned char StringToGuid(const char* text, GUID& guid) {
  if (text == nullptr || std::strlen(text) != textLength || text[0] != '{' || text[textLength - 1] != '}')
    return 0;
  unsigned char bytes[16];
  unsigned char* b = bytes;
  const char* p = text + 1;
  for (std::size_t group = 0; group < 5; ++group) {
    if (group > 0 && *p++ != '-')
      return 0;
    for (std::size_t k = 0; k < groupBytes[group]; ++k, p += 2) {
      const int high = HexValue(p[0]), low = HexValue(p[1]);
      if (high < 0 || low < 0)
        return 0;
      *b++ = static_cast<unsigned char>(high << 4 | low);
    }
  }
  GUID g{};
  g.Data1 = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 | bytes[3];
  g.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  g.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(g.Data4, bytes + 8, 8);
  guid = g;
  return 1;
}

} // namespace zel
