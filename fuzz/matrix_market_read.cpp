// The command-line tool's matrix reader, plain text and gzip.
#include <string_view>

#include "fuzz_support.h"
#include "matrix_market.h"

void ZelFuzzSeeds(const zel::fuzz::Seeds& seeds) {
  seeds.Add("symmetric", std::string(1, '\0') +
                             "%%MatrixMarket matrix coordinate real symmetric\n% a comment\n3 3 4\n1 1 4.0\n2 1 -1\n"
                             "2 2 4\n3 3 2.5e0\n");
  seeds.Add("pattern", std::string(1, '\0') + "%%MatrixMarket matrix coordinate pattern symmetric\n2 2 2\n1 1\n2 1\n");
  seeds.Add("array", std::string(1, '\1') + "%%MatrixMarket matrix array real general\n2 2\n1\n2\n3\n4\n");
}

int ZelFuzzOne(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    if (data[0] & 1) zeltool::ReadDenseColumns(bytes, "input.mtx");
    else zeltool::ReadSymmetricMatrix(bytes, "input.mtx");
  } catch (const zeltool::InputError&) {
  }
  return 0;
}
