#include "support/test_support.h"

#include "support/fake_clock.h"
#include "support/temp_files.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace zel::test {

std::string CatalogueText(unsigned int id) {
  std::string text;
  GetLibraryMessage(id, text);
  return text;
}

std::filesystem::path NativePath(const std::string& name) {
#if defined(_WIN32)
  std::wstring wide(name.size(), L'\0');
  const int n = ::MultiByteToWideChar(1251, 0, name.data(), static_cast<int>(name.size()), wide.data(),
                                      static_cast<int>(wide.size()));
  wide.resize(n > 0 ? static_cast<std::size_t>(n) : 0u);
  return wide;
#else
  return name;
#endif
}

std::string ExecutablePath() {
  char path[4096] = {};
#if defined(_WIN32)
  ::GetModuleFileNameA(nullptr, path, sizeof path - 1);
#else
  if (::readlink("/proc/self/exe", path, sizeof path - 1) < 0)
    path[0] = '\0';
#endif
  return path;
}

bool UtcCalendar(long long seconds, std::tm& fields) {
#if defined(_WIN32)
  const auto ticks = static_cast<unsigned long long>((seconds + 11644473600LL) * 10000000LL);
  const ::FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  ::SYSTEMTIME st{};
  if (!::FileTimeToSystemTime(&time, &st))
    return false;
  fields = std::tm{};
  fields.tm_year = st.wYear - 1900, fields.tm_mon = st.wMonth - 1, fields.tm_mday = st.wDay;
  fields.tm_hour = st.wHour, fields.tm_min = st.wMinute, fields.tm_sec = st.wSecond, fields.tm_wday = st.wDayOfWeek;
  return true;
#else
  const auto t = static_cast<std::time_t>(seconds);
  return gmtime_r(&t, &fields) != nullptr;
#endif
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
