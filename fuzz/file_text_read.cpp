// CFileText reading a text file through its window.
#include "fuzz_support.h"
#include "text_walk.h"
#include "zeltools/text/file_text.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  std::string lines;
  {
    CFileText out;
    if (out.Open(fuzz::ScratchPath().c_str(), "W") == 0) std::abort();
    out.PutString("NAME = first\r\n1-4, 9 12\n\"a phrase\"; tail\n");
    out.PutChar('x');
    out.Close();
    lines = fuzz::GetScratch();
  }
  seeds.Add("lines", std::string(1, '\0') + lines);
  seeds.Add("lists", std::string(1, '\4') + lines);
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::Guard([&] {
    fuzz::PutScratch(data + 1, size - 1);
    CPhrase phrase;
    CFileText file;
    if (file.Open(fuzz::ScratchPath().c_str(), "R", data[0] & 0x80 ? &phrase : nullptr) == 0) return;
    fuzz::Walk<false>(file, data[0]);
    if (data[0] & 0x20) {
      file.SetTextPosition(static_cast<long long>(size / 2));
      fuzz::Walk<false>(file, static_cast<std::uint8_t>(data[0] + 3));
    }
  });
}
