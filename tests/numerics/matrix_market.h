#pragma once
// Reading the symmetric Matrix Market files of the shared test data (lower
// triangle stored, 1-based), compressed ones through `gzip -dc`.

#include <cstdio>
#include <dirent.h>
#include <sstream>
#include <string>
#include <vector>

#include <algorithm>

namespace zel::test {

struct SymmetricEntry {
  unsigned row, col; // row >= col, 0-based
  double value;
};

struct SymmetricMatrix {
  std::string name;
  unsigned n = 0;
  std::vector<SymmetricEntry> lower; // as stored, diagonal included
};

inline std::string ReadWholeFile(const std::string& path) {
  const bool compressed = path.size() > 3 && path.compare(path.size() - 3, 3, ".gz") == 0;
  std::string text;
  FILE* f = compressed ? popen(("gzip -dc '" + path + "'").c_str(), "r") : std::fopen(path.c_str(), "rb");
  if (f == nullptr)
    return text;
  char buffer[65536];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, f)) > 0)
    text.append(buffer, got);
  if (compressed)
    pclose(f);
  else
    std::fclose(f);
  return text;
}

/// Reads one file; returns false (with n = 0) when it cannot be read.
inline bool ReadSymmetricMatrix(const std::string& path, SymmetricMatrix& m) {
  m = SymmetricMatrix{};
  std::istringstream in(ReadWholeFile(path));
  std::string line;
  if (!std::getline(in, line) || line.rfind("%%MatrixMarket matrix coordinate real symmetric", 0) != 0)
    return false;
  while (std::getline(in, line) && !line.empty() && line[0] == '%') {
  }
  std::istringstream size(line);
  unsigned rows = 0, cols = 0;
  std::size_t entries = 0;
  if (!(size >> rows >> cols >> entries) || rows != cols)
    return false;
  m.lower.reserve(entries);
  for (std::size_t k = 0; k < entries; ++k) {
    unsigned i, j;
    double v;
    if (!(in >> i >> j >> v) || i < 1 || j < 1 || i > rows || j > i)
      return false;
    m.lower.push_back({i - 1, j - 1, v});
  }
  m.n = rows;
  const std::size_t slash = path.find_last_of('/');
  m.name = path.substr(slash + 1);
  return true;
}

/// The paths of every matrix file of the shared data folder, sorted.
inline std::vector<std::string> MatrixFiles() {
  const std::string folder = std::string(ZEL_TEST_DATA_DIR) + "/matrices";
  std::vector<std::string> files;
  if (DIR* d = opendir(folder.c_str())) {
    while (dirent* e = readdir(d)) {
      const std::string name = e->d_name;
      if (name.find(".mtx") != std::string::npos)
        files.push_back(folder + "/" + name);
    }
    closedir(d);
  }
  std::sort(files.begin(), files.end());
  return files;
}

} // namespace zel::test
