// Block and positional readers of Vector, on two element sizes.
#include "fuzz_support.h"
#include "zeltools/containers/small_vectors.h"

using namespace zel;

void ZelFuzzSeeds(const fuzz::Seeds& seeds) {
  VKZUINT counts;
  for (unsigned int k = 0; k < 6; ++k) counts.push_back(k * 7 + 1);
  VKZDOUBLE values;
  values.push_back(1.5);
  values.push_back(-2.25e10);
  seeds.Add("uint_block", fuzz::Written(0, [&](CFileBase& f) { DOCUMENT d; counts.Write(f, d, 1); }));
  seeds.Add("double_block", fuzz::Written(1, [&](CFileBase& f) { DOCUMENT d; values.Write(f, d, 1); }));
  seeds.Add("uint_at", fuzz::Written(4, [&](CFileBase& f) { counts.Write(f, -1); }));
}

template <class V>
void ReadOne(CFileBase& file, std::uint8_t mode) {
  V v;
  v.push_back({});
  if (mode & 4) v.Read(file, -1);
  else v.Read(file, DOCUMENT{0, file.GetLength()});
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  return fuzz::ReadScratch(data, size, 2, [&](CFileBase& file, const DOCUMENT&) {
    if (data[0] & 1) ReadOne<VKZDOUBLE>(file, data[0]);
    else ReadOne<VKZUINT>(file, data[0]);
  });
}
