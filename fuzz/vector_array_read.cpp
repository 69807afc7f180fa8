// VectorArray and VectorHeadArray blocks.
#include "fuzz_support.h"
#include "zeltools/containers/vector_array.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  const unsigned int list[] = {3, 1, 4, 1, 5, 9, 2, 6};
  const double values[] = {0.5, -1, 2e10, 3, 4.25};
  VectorArray<double, unsigned int> plain;
  plain.Append(3, values);
  plain.Append(0, nullptr);
  plain.Append(2, values + 3);
  VectorHeadArray<unsigned int, unsigned int, unsigned int> headed;
  headed.Append(25, 4, list);
  headed.Append(7, 2, list + 6);
  seeds.Add("plain", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; plain.Write(f, d); }));
  seeds.Add("headed", fuzz::Written(1, [&](CFileBase& f) { DOCUMENT d; headed.Write(f, d); }));
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 2, [&](CFileBase& file, const DOCUMENT doc) {
    if (data[0] & 1) {
      VectorHeadArray<unsigned int, unsigned int, unsigned int> a;
      a.Read(file, doc);
    } else {
      VectorArray<double, unsigned int> a;
      a.Read(file, doc);
    }
  });
}
