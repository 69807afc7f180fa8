// VArrayPlus rows read from a block or a position.
#include "fuzz_support.h"
#include "zeltools/containers/array_plus.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  VArrayPlus<float> rows;
  rows.SetSize(3);
  for (unsigned int k = 0; k < 7; ++k) rows.Append(k % 3, 0.5f * static_cast<float>(k));
  seeds.Add("block", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; rows.Write(f, d, 1); }));
  seeds.Add("at", fuzz::Written(4, [&](CFileBase& f) { rows.Write(f, -1); }));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 2, [&](CFileBase& file, const DOCUMENT doc) {
    VArrayPlus<float> rows;
    rows.SetSize(2);
    if (data[0] & 4) rows.Read(file, -1);
    else rows.Read(file, doc);
  });
}
