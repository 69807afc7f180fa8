#pragma once
// Scratch files for the tests that touch the file system, an independent
// way to look at what a file holds (the standard library, not ZelTools), and
// the environment variables that tests set.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace zel::test {

/// A file name in the library's encoding (Windows-1251) as the file system
/// takes it: the same bytes on POSIX systems, UTF-16 on Windows.
std::filesystem::path NativePath(const std::string& name);

/// A fresh directory under the system's temporary folder, removed with its
/// files when the object dies.
class TempDir {
public:
  TempDir() {
    std::random_device seed;
    std::error_code error;
    const auto base = std::filesystem::temp_directory_path(error);
    for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
      const auto candidate = base / ("zeltest." + std::to_string(seed()));
      if (std::filesystem::create_directory(candidate, error))
        path_ = candidate.string();
    }
    if (path_.empty())
      ADD_FAILURE() << "no scratch directory";
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
    std::ofstream file(NativePath(path), std::ios::binary);
    if (!file.write(contents.data(), static_cast<std::streamsize>(contents.size())))
      ADD_FAILURE() << "cannot write " << path;
    return path;
  }

private:
  std::string path_;
};

/// The share letter of an open whose file a test looks at or changes behind
/// the library's back while it is open: Windows enforces the share mode (an
/// unshared open keeps every other open out), POSIX does not.
#if defined(_WIN32)
inline const std::string LookBehind = "s";
#else
inline const std::string LookBehind;
#endif

/// A test with a scratch directory, a file path in it and English messages.
class FileTest : public ::testing::Test {
protected:
  ScopedLanguage english_{LanguageEnglish};
  TempDir dir_;
  std::string path_ = dir_.File("data.bin");
};

/// The whole content of `path`, read without the library.
inline std::vector<unsigned char> Bytes(const std::string& path) {
  std::ifstream file(NativePath(path), std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// The whole content of `path` as text.
inline std::string TextOf(const std::string& path) {
  const std::vector<unsigned char> bytes = Bytes(path);
  return std::string(bytes.begin(), bytes.end());
}

/// Replaces the content of `path`, without the library. The file is cut to
/// its new size after the write, not emptied before it: on some file systems
/// emptying a file and closing it forces its data to the device.
inline void PutBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  {
    std::fstream file(NativePath(path), std::ios::in | std::ios::out | std::ios::binary);
    if (!file.is_open())
      file.open(NativePath(path), std::ios::out | std::ios::binary);
    ASSERT_TRUE(file.is_open()) << path;
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good()) << path;
  }
  std::error_code error;
  std::filesystem::resize_file(NativePath(path), bytes.size(), error);
  ASSERT_FALSE(error) << error.message();
}

/// The size of `path` on disk (-1 when missing).
inline long long SizeOnDisk(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(NativePath(path), error);
  return error ? -1 : static_cast<long long>(size);
}

/// The running program's path, found without the library.
std::string ExecutablePath();

/// Sets a file's access and write times (seconds since 1970, nanoseconds)
/// without the library.
bool SetFileTimes(const std::string& path, std::pair<long long, long> accessed, std::pair<long long, long> written);

/// Sets (or, given null, removes) an environment variable of the process.
inline void SetEnvironment(const char* name, const char* value) {
#if defined(_WIN32)
  ::_putenv_s(name, value != nullptr ? value : "");
#else
  if (value != nullptr)
    ::setenv(name, value, 1);
  else
    ::unsetenv(name);
#endif
}

/// Sends the library's debugging output to `path` for the lifetime of the object.
struct ScopedDebugFile {
  explicit ScopedDebugFile(const std::string& path) { SetEnvironment("ZEL_DEBUG_FILE", path.c_str()); }
  ~ScopedDebugFile() { SetEnvironment("ZEL_DEBUG_FILE", nullptr); }
};

/// Catalogue message `id` as a file reports it: filled with the file's name
/// and an empty text, in the thread's language.
inline std::string FileMessage(unsigned int id, const std::string& name) { return Message(id, name.c_str(), ""); }

} // namespace zel::test
