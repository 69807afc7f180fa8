#pragma once
// Scratch files for the tests that touch the file system, and an independent
// way to look at what a file holds (plain POSIX, not the library).

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace zel::test {

/// A fresh directory under the system's temporary folder, removed with its
/// files when the object dies.
class TempDir {
public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zeltest.XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
      ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  /// The path of `name` inside the directory.
  std::string File(const std::string& name) const { return path_ + "/" + name; }

  /// Writes `contents` to the file `name` in the directory; returns its path.
  std::string Write(const std::string& name, const std::string& contents) const {
    const std::string path = File(name);
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(contents.data(), 1, contents.size(), f) != contents.size())
      ADD_FAILURE() << "cannot write " << path;
    if (f != nullptr)
      std::fclose(f);
    return path;
  }

private:
  std::string path_;
};

/// A test with a scratch directory, a file path in it and English messages.
class FileTest : public ::testing::Test {
protected:
  ScopedLanguage english_{LanguageEnglish};
  TempDir dir_;
  std::string path_ = dir_.File("data.bin");
};

/// The whole content of `path`, read without the library.
inline std::vector<unsigned char> Bytes(const std::string& path) {
  std::vector<unsigned char> bytes;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    unsigned char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
      bytes.insert(bytes.end(), buffer, buffer + n);
    std::fclose(f);
  }
  return bytes;
}

/// The whole content of `path` as text.
inline std::string TextOf(const std::string& path) {
  const std::vector<unsigned char> bytes = Bytes(path);
  return std::string(bytes.begin(), bytes.end());
}

/// Sends the library's debugging output to `path` for the lifetime of the object.
struct ScopedDebugFile {
  explicit ScopedDebugFile(const std::string& path) { ::setenv("ZEL_DEBUG_FILE", path.c_str(), 1); }
  ~ScopedDebugFile() { ::unsetenv("ZEL_DEBUG_FILE"); }
};

/// Replaces the content of `path`, without the library. The file is cut to
/// its new size after the write, not emptied before it: on some file systems
/// emptying a file and closing it forces its data to the device.
inline void PutBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  ASSERT_GE(fd, 0);
  if (!bytes.empty())
    ASSERT_EQ(::pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  ASSERT_EQ(::ftruncate(fd, static_cast<off_t>(bytes.size())), 0);
  ::close(fd);
}

/// The size of `path` on disk (-1 when missing).
inline long long SizeOnDisk(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

/// Catalogue message `id` as a file reports it: filled with the file's name
/// and an empty text, in the thread's language.
inline std::string FileMessage(unsigned int id, const std::string& name) { return Message(id, name.c_str(), ""); }

} // namespace zel::test
