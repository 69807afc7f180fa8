#pragma once
/// \file
/// Times of files and of the clock: the stand-ins `FILETIME`, `SYSTEMTIME`
/// and `CTime`, their conversions, comparisons and texts.
///
/// `FILETIME` counts 100 ns ticks since 1 January 1601 UTC; `SYSTEMTIME` is
/// the calendar form of such a moment; `CTime` is seconds since 1 January 1970
/// UTC. The UTC conversions are arithmetic on the proleptic Gregorian
/// calendar; local time comes from the system's time-zone rules, taken at the
/// moment being converted (so a summer date converts with the summer offset).

#include <type_traits>

#if defined(_WIN32)
// On Windows the two records are the system's own, so that they pass to and
// from the Windows API unchanged. Only the headers that define them are
// included, with the min and max macros turned off (they would break
// std::min and std::max in every file after them).
#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <minwindef.h>
#include <minwinbase.h>
#endif

namespace zel {

#if defined(_WIN32)
/// A file time: 100 ns ticks since 1601-01-01 UTC, split in two halves.
using FILETIME = ::FILETIME;
/// A calendar moment. `wMonth` 1-12, `wDayOfWeek` 0 (Sunday) to 6.
using SYSTEMTIME = ::SYSTEMTIME;
#else
/// A file time: 100 ns ticks since 1601-01-01 UTC, split in two halves.
struct FILETIME {
  unsigned int dwLowDateTime;
  unsigned int dwHighDateTime;
};

/// A calendar moment. `wMonth` 1-12, `wDayOfWeek` 0 (Sunday) to 6.
struct SYSTEMTIME {
  unsigned short wYear;
  unsigned short wMonth;
  unsigned short wDayOfWeek;
  unsigned short wDay;
  unsigned short wHour;
  unsigned short wMinute;
  unsigned short wSecond;
  unsigned short wMilliseconds;
};
#endif
static_assert(sizeof(FILETIME) == 8, "FILETIME is two 32-bit halves");
static_assert(sizeof(SYSTEMTIME) == 16, "SYSTEMTIME is eight 16-bit fields");

/// Seconds since 1970-01-01 UTC (stored as such in a work file's mark).
/// The field accessors give the local calendar of that moment; a moment the
/// system cannot convert reads as year, month and day 0, hour, minute and
/// second -1, day of week 0.
class CTime {
public:
  constexpr CTime() noexcept = default;
  constexpr explicit CTime(long long seconds) noexcept : seconds_(seconds) {}
  /// The clock now, to the second.
  static CTime GetCurrentTime() noexcept;

  constexpr long long GetTime() const noexcept { return seconds_; }
  int GetYear() const noexcept;
  int GetMonth() const noexcept;
  int GetDay() const noexcept;
  int GetHour() const noexcept;
  int GetMinute() const noexcept;
  int GetSecond() const noexcept;
  /// 1 Sunday to 7 Saturday.
  int GetDayOfWeek() const noexcept;

  friend constexpr bool operator==(CTime a, CTime b) noexcept { return a.seconds_ == b.seconds_; }
  friend constexpr bool operator!=(CTime a, CTime b) noexcept { return a.seconds_ != b.seconds_; }
  friend constexpr bool operator<(CTime a, CTime b) noexcept { return a.seconds_ < b.seconds_; }

private:
  long long seconds_ = 0;
};
static_assert(sizeof(CTime) == 8 && std::is_trivially_copyable_v<CTime>, "CTime is stored as its 8 bytes");

/// UTC calendar of a file time; the ticks below a millisecond are dropped.
/// 0 (and `out` untouched) when a pointer is null or the time is 2^63 ticks
/// or more.
unsigned char FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* out);
/// The file time of a UTC calendar moment (`wDayOfWeek` is ignored). 0 when
/// a pointer is null or a field is out of range (years 1601-30827).
unsigned char SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* out);
/// A UTC file time shifted by the local offset in force at that moment. 0
/// when the system cannot convert it.
unsigned char FileTimeToLocalFileTime(const FILETIME* time, FILETIME* out);
/// The file time of `seconds` since 1970 UTC (0 ticks before 1601).
FILETIME FileTimeFromSeconds(long long seconds) noexcept;

/// Bytes that always hold `GetTimeText`'s text: five 2-character fields,
/// the year as an int (up to 11 characters), the separators, the trailing
/// blank and the terminator.
constexpr unsigned int TimeTextSize = 28;

/// Writes the local date and time now, "dd.mm.yyyy hh:mm:ss " (with the
/// trailing blank: 20 characters and the terminator), into `text`. Each field
/// comes from its own conversion of one moment; a field that cannot be
/// converted is -1 (seconds, minutes, hours) or 0 (year, month, day). Never
/// more than `TimeTextSize` bytes are written.
void GetTimeText(char* text);

/// The creation, last-access and last-write times of the open file `handle`
/// (a `CFileBase::GetHandle()`) or of the file `name`. Null pointers are
/// skipped. Creation is the birth time where the file system keeps one, else
/// the time of the last change of the file's status. 1 on success, 0 (last
/// error set) on failure.
int FileTime(void* handle, FILETIME* created, FILETIME* accessed, FILETIME* written);
int FileTime(const char* name, FILETIME* created, FILETIME* accessed, FILETIME* written);

/// 1 when `a` is later than `b`, -1 when earlier, 0 when equal, comparing
/// the date, time and milliseconds (not the day of the week).
int TimeCompare(SYSTEMTIME& a, SYSTEMTIME& b);
/// `TimeCompare` of the two file times' calendars, so times within the same
/// millisecond compare equal. A null pointer or a time that has no calendar
/// counts as the earliest.
int SgFileTimeCompare(FILETIME* a, FILETIME* b);

/// Appends one line, `title`, a blank and the local time of `time` as
/// "dd.mm.yyyy hh:mm:ss", to the debugging file that `dPrintf` writes.
void FileTimePrint(const char* title, FILETIME* time);

} // namespace zel
