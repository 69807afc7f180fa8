#include "zeltools/rcscript/encoding.h"

#include <array>
#include <cstdint>

namespace zel {
namespace {

// Code points of the bytes 0x80..0xFF.
constexpr std::array<char16_t, 128> upperHalf = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021,
    0x20AC, 0x2030, 0x0409, 0x2039, 0x040A, 0x040C, 0x040B, 0x040F,
    0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x0098, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F,
    0x00A0, 0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7,
    0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407,
    0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6, 0x00B7,
    0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457,
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417,
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F,
    0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427,
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F,
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437,
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F,
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447,
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F,
};

void AppendUtf8(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

int ToCp1251(std::uint32_t cp) {
  if (cp < 0x80)
    return static_cast<int>(cp);
  for (std::size_t i = 0; i < upperHalf.size(); ++i)
    if (upperHalf[i] == cp)
      return static_cast<int>(0x80 + i);
  return -1;
}

} // namespace

std::string Cp1251ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size() * 2);
  for (char ch : text) {
    const auto b = static_cast<unsigned char>(ch);
    AppendUtf8(out, b < 0x80 ? b : upperHalf[b - 0x80]);
  }
  return out;
}

std::string Utf8ToCp1251(std::string_view text, char replacement) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto b = static_cast<unsigned char>(text[i]);
    std::uint32_t cp = 0;
    std::size_t extra = 0;
    if (b < 0x80) {
      cp = b;
    } else if ((b & 0xE0) == 0xC0) {
      cp = b & 0x1Fu;
      extra = 1;
    } else if ((b & 0xF0) == 0xE0) {
      cp = b & 0x0Fu;
      extra = 2;
    } else if ((b & 0xF8) == 0xF0) {
      cp = b & 0x07u;
      extra = 3;
    } else {
      out += replacement;
      ++i;
      continue;
    }
    bool ok = true;
    for (std::size_t k = 1; ok && k <= extra; ++k) {
      if (i + k >= text.size() || (static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
        ok = false;
      else
        cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
    }
    if (!ok) {
      out += replacement;
      ++i;
      continue;
    }
    i += extra + 1;
    const int byte = ToCp1251(cp);
    out += byte < 0 ? replacement : static_cast<char>(byte);
  }
  return out;
}

} // namespace zel
