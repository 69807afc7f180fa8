// CReadMemory over arbitrary bytes: every getter, chosen by the input.
#include "fuzz_support.h"
#include "zeltools/text/read_memory.h"
#include "text_walk.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  seeds.Add("lines", std::string("\x00", 1) + "first line\r\nNAME = value; 1-5, 7 9\n\"quoted phrase\" tail\n");
  seeds.Add("lists", std::string("\x12", 1) + "1 2-4,10 -3\n65535 7\n");
  seeds.Add("strings", std::string("\x27", 1) + std::string("\x03\x00\x00\x00" "abc\x02\x00xy", 10));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
    CReadMemory reader;
    reader.Init(data + 1, static_cast<unsigned int>(size - 1));
    fuzz::Walk<true>(reader, data[0]);
  });
}
