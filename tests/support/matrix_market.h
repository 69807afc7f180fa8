#pragma once
// A reader of real symmetric Matrix Market files in coordinate form, plain or
// gzip-compressed (zlib reads both through the same calls). It stands on its
// own (standard library and zlib only), so that a command-line tool can take
// it over unchanged.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <zlib.h>

namespace zel::mtx {

struct Entry {
  unsigned row, col; // 0-based, row >= col (the stored lower triangle)
  double value;
};

struct SymmetricMatrix {
  std::string name; // the file name without folders
  unsigned n = 0;
  std::vector<Entry> lower; // in file order, diagonal included, explicit zeros kept
};

/// Reads `path` into `m`. Returns an empty string on success, otherwise what
/// is wrong with the file (its name and the line number included).
inline std::string ReadSymmetric(const std::string& path, SymmetricMatrix& m) {
  m = SymmetricMatrix{};
  m.name = path.substr(path.find_last_of('/') + 1);
  gzFile f = gzopen(path.c_str(), "rb");
  if (f == nullptr)
    return path + ": cannot be opened";
  struct Closer {
    gzFile f;
    ~Closer() { gzclose(f); }
  } closer{f};
  char line[1024];
  unsigned long number = 0;
  auto next = [&] {
    ++number;
    return gzgets(f, line, sizeof line) != nullptr;
  };
  auto fault = [&](const char* what) { return path + ":" + std::to_string(number) + ": " + what; };
  if (!next() || std::string(line).rfind("%%MatrixMarket matrix coordinate real symmetric", 0) != 0)
    return fault("not a real symmetric coordinate Matrix Market file");
  do {
    if (!next())
      return fault("no size line");
  } while (line[0] == '%');
  unsigned cols = 0;
  unsigned long entries = 0;
  if (std::sscanf(line, "%u %u %lu", &m.n, &cols, &entries) != 3 || m.n != cols)
    return fault("the size line is not that of a square matrix");
  m.lower.reserve(entries);
  for (unsigned long k = 0; k < entries; ++k) {
    if (!next())
      return fault("fewer entries than the size line announces");
    char* end = line;
    const unsigned long i = std::strtoul(end, &end, 10), j = std::strtoul(end, &end, 10);
    char* after = end;
    const double v = std::strtod(end, &after);
    if (after == end || i < 1 || j < 1 || j > i || i > m.n)
      return fault("an entry that is not in the lower triangle of the matrix");
    m.lower.push_back({static_cast<unsigned>(i - 1), static_cast<unsigned>(j - 1), v});
  }
  return {};
}

} // namespace zel::mtx
