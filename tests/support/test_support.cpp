#include "support/test_support.h"

#include "support/temp_files.h"

#if defined(_WIN32)
#define NOMINMAX
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace zel::test {

std::string CatalogueText(unsigned int id) {
  std::string text;
  GetLibraryMessage(id, text);
  return text;
}

bool SetFileTimes(const std::string& path, std::pair<long long, long> accessed, std::pair<long long, long> written) {
#if defined(_WIN32) // 100 ns ticks since 1601
  ::FILETIME times[2];
  for (int i = 0; i < 2; ++i) {
    const auto& [seconds, nanoseconds] = i == 0 ? accessed : written;
    const auto ticks = static_cast<unsigned long long>((seconds + 11644473600LL) * 10000000LL + nanoseconds / 100);
    times[i] = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  }
  const HANDLE file = ::CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
  const bool ok = file != INVALID_HANDLE_VALUE && ::SetFileTime(file, nullptr, &times[0], &times[1]);
  if (file != INVALID_HANDLE_VALUE)
    ::CloseHandle(file);
  return ok;
#else
  const struct timespec times[2] = {{accessed.first, accessed.second}, {written.first, written.second}};
  return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
#endif
}

} // namespace zel::test
