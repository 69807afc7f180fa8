#pragma once
// One walk over a text reader, shared by the memory and file harnesses.
#include <cstdint>
#include <string>
#include <vector>

#include "zeltools/text/strings.h"

namespace zel::fuzz {

// Walks `reader` with the getter sequence the choice byte selects, until
// the text ends (at most 64 steps: each getter may consume nothing).
template <bool Strings, class Reader>
void Walk(Reader& reader, std::uint8_t choice) {
  std::vector<char> chars;
  std::string text;
  CText ctext;
  std::vector<int> ints;
  std::vector<unsigned short> words;
  char small[8];
  for (int step = 0; step < 64; ++step) {
    switch ((choice + step) & 7) {
    case 0: reader.GetString(small, sizeof small, step & 1); break;
    case 1: reader.GetString(ctext, 1); break;
    case 2: reader.GetWord(text, step & 1 ? ",;" : nullptr, choice & 8); break;
    case 3: reader.GetName(chars); break;
    case 4: reader.GetListInt(ints); break;
    case 5: reader.GetListWord(words); break;
    case 6: reader.GetPhrase(chars, static_cast<signed char>(choice & 0x40 ? '"' : ';')); break;
    default:
      if constexpr (Strings) reader.ReadString(text, (choice >> 4) & 3 ? 1 << (((choice >> 4) & 3) - 1) : 0);
      break;
    }
    if (reader.GetChar() == -1) break;
  }
}

} // namespace zel::fuzz
