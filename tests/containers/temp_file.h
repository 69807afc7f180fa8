#pragma once
// A scratch file for the persistence tests: opened for writing and reading,
// removed when the object dies.

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "zeltools/files/file_base.h"

namespace zel::test {

class TempFile {
public:
  /// Errors of the file go to `sink` when one is given, else they throw.
  explicit TempFile(CPhrase* sink = nullptr) {
    static int serial = 0;
    path_ = testing::TempDir() + "zel_containers_" + std::to_string(::getpid()) + "_" + std::to_string(++serial) + ".bin";
    EXPECT_EQ(file.Open(path_.c_str(), "wr", sink), 1);
  }
  ~TempFile() {
    file.Close();
    std::remove(path_.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  /// `length` bytes of the file from `pos`.
  std::vector<unsigned char> Bytes(long long pos, long long length) {
    std::vector<unsigned char> out(static_cast<std::size_t>(length));
    if (length != 0)
      EXPECT_EQ(file.Read(out.data(), out.size(), pos), 1);
    return out;
  }
  /// Appends raw bytes; returns where they went.
  long long Append(const std::vector<unsigned char>& bytes) {
    const long long at = file.GetLength();
    if (!bytes.empty())
      file.Write(bytes.data(), bytes.size(), -1);
    return at;
  }

  const std::string& Path() const { return path_; }

  CFileBase file;

private:
  std::string path_;
};

/// Little-endian byte images for expected payloads.
inline void PutU32(std::vector<unsigned char>& out, unsigned int v) {
  for (int k = 0; k < 4; ++k)
    out.push_back(static_cast<unsigned char>(v >> (8 * k)));
}

template <class T>
void PutRaw(std::vector<unsigned char>& out, const T& v) {
  const auto* b = reinterpret_cast<const unsigned char*>(&v);
  out.insert(out.end(), b, b + sizeof(T));
}

/// True when `text` is the file's report of a payload that overruns it.
inline bool IsOverrun(const std::string& text) {
  return text.find("When reading, size of file") != std::string::npos;
}

} // namespace zel::test
