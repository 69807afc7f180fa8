// CReadMemory over arbitrary bytes: every getter, chosen by the input; and
// the text read line by line, through the string form and through a buffer,
// must give the lines of a plain model: split at line feeds and NULs,
// carriage returns dropped, no empty line after a final line end.
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zeltools/text/read_memory.h"
#include "text_walk.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  seeds.Add("lines", std::string("\x00", 1) + "first line\r\nNAME = value; 1-5, 7 9\n\"quoted phrase\" tail\n");
  seeds.Add("lists", std::string("\x12", 1) + "1 2-4,10 -3\n65535 7\n");
  seeds.Add("strings", std::string("\x27", 1) + std::string("\x03\x00\x00\x00" "abc\x02\x00xy", 10));
}

static void ExpectModelLines(const char* text, unsigned int size) {
  std::vector<std::string> model(1);
  for (unsigned int i = 0; i < size; ++i)
    if (text[i] == '\n' || text[i] == '\0') model.emplace_back();
    else if (text[i] != '\r') model.back() += text[i];
  if (model.back().empty()) model.pop_back();
  CReadMemory a;
  a.Init(text, size);
  CReadMemory b = a;
  std::string line;
  static char buffer[8192]; // longer than any input
  std::size_t n = 0;
  while (!a.IsEnd())
    if (b.GetString(buffer, sizeof buffer) != a.GetString(line) || line != buffer || n == model.size() ||
        line != model[n++])
      std::abort();
  // The end reads as an empty line; only a missing text gives -1.
  if (n != model.size() || b.GetString(buffer, sizeof buffer) != 0 || CReadMemory().GetString(line) != -1)
    std::abort();
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
    CReadMemory reader;
    reader.Init(data + 1, static_cast<unsigned int>(size - 1));
    fuzz::Walk<true>(reader, data[0]);
    ExpectModelLines(reinterpret_cast<const char*>(data + 1), static_cast<unsigned int>(size - 1));
  });
}
