// TextList into vectors and into a caller's array. The array form must
// agree with the vector form held to the same count: the same result and the
// same items, those before a fault included.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "fuzz_support.h"
#include "zeltools/text/list_text.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  const unsigned int list[] = {1, 2, 3, 4, 9, 11, 12, 40000};
  std::vector<char> text;
  ListText(8, list, text);
  seeds.Add("uint", std::string(1, '\0') + text.data());
  seeds.Add("array", std::string(1, '\2') + text.data());
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  return fuzz::Guard([&] {
    switch (data[0] & 3) {
    case 0: {
      std::vector<unsigned int> list;
      TextList(text.c_str(), list);
      break;
    }
    case 1: {
      std::vector<unsigned short> list;
      TextList(text.c_str(), list);
      break;
    }
    case 2: {
      unsigned int list[16];
      unsigned int n = 0;
      std::vector<unsigned int> same;
      if (TextList(text.c_str(), n, list, 16) != TextList(text.c_str(), same, 16) || n > 16 || n != same.size() ||
          !std::equal(same.begin(), same.end(), list))
        std::abort();
      break;
    }
    default: {
      unsigned short list[16];
      unsigned int n = 0;
      TextList(text.c_str(), n, list, 16);
    }
    }
  });
}
