// CharInt/CharWord/CharDouble on any text; whatever CharDouble accepts,
// DoubleChar writes back so that CharDouble reads the same bits.
#include <cstring>
#include <string>

#include "fuzz_support.h"
#include "zeltools/text/number_text.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  char text[32];
  for (const double v : {0.1, -1e-300, 12345.678, 6.02214076e23}) {
    if (DoubleChar(v, text, sizeof text) == 0) std::abort();
    seeds.Add("double_" + std::to_string(seeds.Count()), std::string(1, '\0') + text);
  }
  seeds.Add("int", std::string(1, '\0') + "-2147483648");
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  return fuzz::Guard([&] {
    int i = 0;
    unsigned short w = 0;
    CharInt(text.c_str(), i);
    CharWord(text.c_str(), w);
    double value = 0;
    if (CharDouble(text.c_str(), value) == 0) return;
    char back[32];
    double again = 0;
    if (DoubleChar(value, back, sizeof back) == 0 || CharDouble(back, again) == 0 ||
        std::memcmp(&value, &again, sizeof value) != 0)
      std::abort();
  });
}
