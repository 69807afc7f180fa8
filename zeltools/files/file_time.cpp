#include "zeltools/files/file_time.h"

#include <cstdint>
#include <cstdio>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/debug_file.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr std::int64_t TicksPerSecond = 10'000'000;
constexpr std::int64_t TicksPerMillisecond = 10'000;
constexpr std::int64_t SecondsPerDay = 86'400;
// Days from 1601-01-01 to 1970-01-01: the two epochs of FILETIME and CTime.
constexpr std::int64_t EpochDays1601 = 134'774;
// FILETIME's calendar ends where its ticks stop fitting a signed 64-bit
// count, in the year 30828; SYSTEMTIME input stops a year earlier.
constexpr std::int64_t MaxTicks = INT64_MAX;
constexpr int LastYear = 30827;

// Days since 1970-01-01 of a proleptic Gregorian date (eras of 400 years,
// the year taken from March so that the leap day ends it).
constexpr std::int64_t DaysFromCivil(std::int64_t year, unsigned month, unsigned day) noexcept {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146'097 + static_cast<std::int64_t>(dayOfEra) - 719'468;
}

struct CivilDate {
  std::int64_t year;
  unsigned month, day;
};

constexpr CivilDate CivilFromDays(std::int64_t days) noexcept {
  days += 719'468;
  const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
  const auto dayOfEra = static_cast<unsigned>(days - era * 146'097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned mp = (5 * dayOfYear + 2) / 153;
  const unsigned day = dayOfYear - (153 * mp + 2) / 5 + 1;
  const unsigned month = mp < 10 ? mp + 3 : mp - 9;
  return {static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

static_assert(DaysFromCivil(1601, 1, 1) == -EpochDays1601, "the FILETIME epoch lies 134,774 days before 1970");
static_assert(CivilFromDays(19'787).year == 2024 && CivilFromDays(19'787).month == 3 && CivilFromDays(19'787).day == 5,
              "day 19,787 of the CTime epoch is 5 March 2024");

constexpr bool IsLeap(std::int64_t year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr unsigned DaysInMonth(std::int64_t year, unsigned month) noexcept {
  constexpr unsigned char days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29u : days[month - 1];
}

std::int64_t TicksOf(const FILETIME& time) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

FILETIME FileTimeOf(std::int64_t ticks) noexcept {
  const auto bits = static_cast<std::uint64_t>(ticks);
  return FILETIME{static_cast<unsigned int>(bits & 0xFFFFFFFFu), static_cast<unsigned int>(bits >> 32)};
}

// Seconds since 1970 of a file time below 2^63 ticks, rounded down.
std::int64_t SecondsSince1970(std::int64_t ticks) noexcept {
  return ticks / TicksPerSecond - EpochDays1601 * SecondsPerDay;
}

FILETIME FileTimeOf(const platform::FileStamp& stamp) noexcept {
  FILETIME out = FileTimeFromSeconds(stamp.seconds);
  const std::int64_t ticks = TicksOf(out);
  if (ticks > 0 && ticks <= MaxTicks - stamp.nanoseconds / 100)
    out = FileTimeOf(ticks + stamp.nanoseconds / 100);
  return out;
}

// One local conversion per field, so a field whose conversion fails reads
// as its own failure value.
int LocalField(long long seconds, int platform::CalendarTime::*field, int failed) noexcept {
  platform::CalendarTime fields{};
  return platform::Calls().localCalendar(seconds, fields) ? fields.*field : failed;
}

int FileTimes(void* handle, const char* name, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  if (handle == nullptr && name == nullptr) {
    SetLastError(platform::ErrorInvalid);
    return 0;
  }
  platform::FileStamps stamps{};
  if (!platform::Calls().fileTimes(handle, name, stamps))
    return 0;
  if (created != nullptr)
    *created = FileTimeOf(stamps.created);
  if (accessed != nullptr)
    *accessed = FileTimeOf(stamps.accessed);
  if (written != nullptr)
    *written = FileTimeOf(stamps.written);
  return 1;
}

} // namespace

// --- CTime ---------------------------------------------------------------

CTime CTime::GetCurrentTime() noexcept { return CTime(platform::Calls().timeNow()); }

int CTime::GetYear() const noexcept { return LocalField(seconds_, &platform::CalendarTime::year, 0); }
int CTime::GetMonth() const noexcept { return LocalField(seconds_, &platform::CalendarTime::month, 0); }
int CTime::GetDay() const noexcept { return LocalField(seconds_, &platform::CalendarTime::day, 0); }
int CTime::GetHour() const noexcept { return LocalField(seconds_, &platform::CalendarTime::hour, -1); }
int CTime::GetMinute() const noexcept { return LocalField(seconds_, &platform::CalendarTime::minute, -1); }
int CTime::GetSecond() const noexcept { return LocalField(seconds_, &platform::CalendarTime::second, -1); }
int CTime::GetDayOfWeek() const noexcept { return LocalField(seconds_, &platform::CalendarTime::dayOfWeek, -1) + 1; }

// --- conversions -----------------------------------------------------------

unsigned char FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* out) {
  if (time == nullptr || out == nullptr)
    return 0;
  const std::int64_t ticks = TicksOf(*time);
  if (ticks < 0)
    return 0;
  const std::int64_t days = ticks / TicksPerSecond / SecondsPerDay;
  const std::int64_t inDay = ticks - days * SecondsPerDay * TicksPerSecond;
  const CivilDate date = CivilFromDays(days - EpochDays1601);
  const std::int64_t second = inDay / TicksPerSecond;
  out->wYear = static_cast<unsigned short>(date.year);
  out->wMonth = static_cast<unsigned short>(date.month);
  out->wDay = static_cast<unsigned short>(date.day);
  // 1 January 1601 was a Monday.
  out->wDayOfWeek = static_cast<unsigned short>((days + 1) % 7);
  out->wHour = static_cast<unsigned short>(second / 3600);
  out->wMinute = static_cast<unsigned short>(second / 60 % 60);
  out->wSecond = static_cast<unsigned short>(second % 60);
  out->wMilliseconds = static_cast<unsigned short>(inDay % TicksPerSecond / TicksPerMillisecond);
  return 1;
}

unsigned char SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* out) {
  if (time == nullptr || out == nullptr)
    return 0;
  const SYSTEMTIME& t = *time;
  if (t.wYear < 1601 || t.wYear > LastYear || t.wMonth < 1 || t.wMonth > 12 || t.wDay < 1 ||
      t.wDay > DaysInMonth(t.wYear, t.wMonth) || t.wHour > 23 || t.wMinute > 59 || t.wSecond > 59 ||
      t.wMilliseconds > 999)
    return 0;
  const std::int64_t days = DaysFromCivil(t.wYear, t.wMonth, t.wDay) + EpochDays1601;
  const std::int64_t seconds = days * SecondsPerDay + t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
  *out = FileTimeOf(seconds * TicksPerSecond + t.wMilliseconds * TicksPerMillisecond);
  return 1;
}

unsigned char FileTimeToLocalFileTime(const FILETIME* time, FILETIME* out) {
  if (time == nullptr || out == nullptr)
    return 0;
  const std::int64_t ticks = TicksOf(*time);
  if (ticks < 0)
    return 0;
  platform::CalendarTime fields{};
  if (!platform::Calls().localCalendar(SecondsSince1970(ticks), fields))
    return 0;
  const std::int64_t shift = static_cast<std::int64_t>(fields.utcOffset) * TicksPerSecond;
  if ((shift < 0 && ticks < -shift) || (shift > 0 && ticks > MaxTicks - shift))
    return 0;
  *out = FileTimeOf(ticks + shift);
  return 1;
}

FILETIME FileTimeFromSeconds(long long seconds) noexcept {
  constexpr std::int64_t lowest = -EpochDays1601 * SecondsPerDay;
  constexpr std::int64_t highest = MaxTicks / TicksPerSecond + lowest;
  if (seconds <= lowest)
    return FILETIME{0, 0};
  if (seconds > highest)
    return FileTimeOf(MaxTicks);
  return FileTimeOf((seconds - lowest) * TicksPerSecond);
}

// --- texts and comparisons ---------------------------------------------------

void GetTimeText(char* text) {
  if (text == nullptr)
    return;
  const CTime now = CTime::GetCurrentTime();
  // The fields are converted in the order they are written (argument
  // evaluation has no order of its own). The trailing blank is part of the
  // text: callers append to it directly.
  const int day = now.GetDay(), month = now.GetMonth(), year = now.GetYear();
  const int hour = now.GetHour(), minute = now.GetMinute(), second = now.GetSecond();
  std::snprintf(text, TimeTextSize, "%02d.%02d.%04d %02d:%02d:%02d ", day, month, year, hour, minute, second);
}

int FileTime(void* handle, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  if (handle == nullptr) {
    SetLastError(platform::ErrorBadHandle);
    return 0;
  }
  return FileTimes(handle, nullptr, created, accessed, written);
}

int FileTime(const char* name, FILETIME* created, FILETIME* accessed, FILETIME* written) {
  return FileTimes(nullptr, name, created, accessed, written);
}

int TimeCompare(SYSTEMTIME& a, SYSTEMTIME& b) {
  static constexpr unsigned short SYSTEMTIME::*order[] = {
      &SYSTEMTIME::wYear,   &SYSTEMTIME::wMonth,  &SYSTEMTIME::wDay,         &SYSTEMTIME::wHour,
      &SYSTEMTIME::wMinute, &SYSTEMTIME::wSecond, &SYSTEMTIME::wMilliseconds};
  for (const auto field : order)
    if (a.*field != b.*field)
      return a.*field > b.*field ? 1 : -1;
  return 0;
}

int SgFileTimeCompare(FILETIME* a, FILETIME* b) {
  SYSTEMTIME first{}, second{};
  const bool haveFirst = FileTimeToSystemTime(a, &first) != 0;
  const bool haveSecond = FileTimeToSystemTime(b, &second) != 0;
  if (!haveFirst || !haveSecond)
    return haveFirst == haveSecond ? 0 : haveFirst ? 1 : -1;
  return TimeCompare(first, second);
}

void FileTimePrint(const char* title, FILETIME* time) {
  char line[400];
  int day = 0, month = 0, year = 0, hour = -1, minute = -1, second = -1;
  if (time != nullptr && TicksOf(*time) >= 0) {
    platform::CalendarTime f{};
    if (platform::Calls().localCalendar(SecondsSince1970(TicksOf(*time)), f)) {
      day = f.day, month = f.month, year = f.year, hour = f.hour, minute = f.minute, second = f.second;
    }
  }
  const int n = std::snprintf(line, sizeof line, "%.300s %02d.%02d.%04d %02d:%02d:%02d\n",
                              title != nullptr ? title : "", day, month, year, hour, minute, second);
  if (n > 0)
    platform::AppendDebugFile(line, static_cast<std::size_t>(n) < sizeof line ? static_cast<std::size_t>(n)
                                                                              : sizeof line - 1);
}

} // namespace zel
