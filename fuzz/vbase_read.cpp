// VBase reads a counted byte payload at the read position.
#include "fuzz_support.h"
#include "zeltools/containers/vbase.h"
#include "zeltools/files/block_io.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
  seeds.Add("bytes", fuzz::Written(0, [&](CFileBase& f) { WriteArray(f, -1, bytes, sizeof bytes, 1); }));
  seeds.Add("empty", fuzz::Written(2, [&](CFileBase& f) { WriteArray(f, -1, bytes, 0, 1); }));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 2, [&](CFileBase& file, const DOCUMENT&) {
    VBase v;
    v.SetType(1, static_cast<unsigned short>(1 + (data[0] >> 4)));
    v.Read(file);
  });
}
