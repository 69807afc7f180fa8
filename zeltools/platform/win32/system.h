#pragma once
// What the Windows entries of the system table share: the system's headers,
// names in the library's 1251 turned into the UTF-16 the wide calls take and
// back, and the conversions between FILETIME ticks and seconds since 1970.
// Only the files of this folder include it.

#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"

namespace zel::platform::win32 {

// The library keeps its texts, file names included, in Windows-1251.
inline constexpr unsigned int LibraryCodePage = 1251;

// Ticks of 100 ns from 1601-01-01 to 1970-01-01 UTC.
inline constexpr std::int64_t EpochTicks1970 = 116444736000000000LL;
inline constexpr std::int64_t TicksPerSecond = 10000000LL;

/// `text` (1251, terminated) as UTF-16; false (last error set) when the
/// conversion fails or memory runs out.
bool Wide(const char* text, std::wstring& wide) noexcept;
/// `wide` in 1251 into `out` of `size` bytes, terminated; false when it does
/// not fit or holds a character that 1251 cannot spell (last error
/// ERROR_NO_UNICODE_TRANSLATION), so that a name never comes back changed.
bool Narrow(const wchar_t* wide, char* out, std::size_t size) noexcept;

/// Sets the last error after a call: 0 on success, else the system's code
/// (kept as the call left it, or `fallback` where the call left none).
inline void Record(bool ok, unsigned int fallback = ErrorIo) noexcept {
  if (ok) {
    ::SetLastError(0);
  } else if (::GetLastError() == 0) {
    ::SetLastError(fallback);
  }
}

inline std::int64_t TicksOf(const ::FILETIME& time) noexcept {
  return static_cast<std::int64_t>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
}

inline ::FILETIME FileTimeOfTicks(std::int64_t ticks) noexcept {
  const auto bits = static_cast<std::uint64_t>(ticks);
  return ::FILETIME{static_cast<DWORD>(bits & 0xFFFFFFFFu), static_cast<DWORD>(bits >> 32)};
}

/// Seconds since 1970 and the nanoseconds within them, rounded down.
inline FileStamp StampOfTicks(std::int64_t ticks) noexcept {
  std::int64_t since = ticks - EpochTicks1970;
  std::int64_t seconds = since / TicksPerSecond;
  std::int64_t rest = since % TicksPerSecond;
  if (rest < 0) {
    rest += TicksPerSecond;
    --seconds;
  }
  return FileStamp{seconds, static_cast<std::uint32_t>(rest * 100)};
}

} // namespace zel::platform::win32
