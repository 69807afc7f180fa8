#include "zeltools/files/file_time.h"

#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <random>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "zeltools/files/file_base.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr long long EpochShift = 11644473600LL; // seconds from 1601 to 1970

long long Ticks(const FILETIME &t) {
  return static_cast<long long>(static_cast<unsigned long long>(t.dwHighDateTime) << 32 | t.dwLowDateTime);
}
FILETIME Make(long long ticks) {
  return FILETIME{static_cast<unsigned>(ticks & 0xFFFFFFFF),
                  static_cast<unsigned>(static_cast<unsigned long long>(ticks) >> 32)};
}

// A fixed clock and a local calendar that is UTC shifted by three hours,
// failing on the calls whose number is in `failing` (bit i: call i).
struct FakeClock {
  platform::ScopedCalls saved;
  static inline long long now = 0;
  static inline unsigned failing = 0, calls = 0;
  explicit FakeClock(long long seconds, unsigned fail = 0) {
    now = seconds, failing = fail, calls = 0;
    platform::Calls().timeNow = [] { return static_cast<std::int64_t>(now); };
    platform::Calls().localCalendar = [](std::int64_t s, platform::CalendarTime &f) {
      if (failing >> (calls++ % 32) & 1)
        return false;
      const std::time_t shifted = static_cast<std::time_t>(s + 3 * 3600);
      std::tm t{};
      gmtime_r(&shifted, &t);
      f = {t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday, 3 * 3600};
      return true;
    };
  }
};

// The C library's UTC calendar is the independent reference for random
// moments from 1601 to the end of FILETIME's calendar.
TEST(FileTime, CalendarConversionsAgreeWithTheCLibraryAndRoundTrip) {
  std::mt19937_64 rng(5);
  for (int i = 0; i < 20000; ++i) {
    const long long seconds = std::uniform_int_distribution<long long>(-EpochShift, 910692730085LL - EpochShift)(rng);
    const long long ticks = (seconds + EpochShift) * 10000000 + static_cast<long long>(rng() % 10000000);
    SYSTEMTIME st{};
    const FILETIME ft = Make(ticks);
    ASSERT_EQ(FileTimeToSystemTime(&ft, &st), 1);
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm ref{};
    ASSERT_NE(gmtime_r(&t, &ref), nullptr);
    ASSERT_EQ(st.wYear, ref.tm_year + 1900) << seconds;
    ASSERT_EQ(st.wMonth * 100 + st.wDay, (ref.tm_mon + 1) * 100 + ref.tm_mday) << seconds;
    ASSERT_EQ(st.wHour * 10000 + st.wMinute * 100 + st.wSecond, ref.tm_hour * 10000 + ref.tm_min * 100 + ref.tm_sec);
    ASSERT_EQ(st.wDayOfWeek, ref.tm_wday);
    ASSERT_EQ(st.wMilliseconds, ticks % 10000000 / 10000);
    FILETIME back{};
    ASSERT_EQ(SystemTimeToFileTime(&st, &back), 1);
    ASSERT_EQ(Ticks(back), ticks - ticks % 10000);
    ASSERT_EQ(Ticks(FileTimeFromSeconds(seconds)), (seconds + EpochShift) * 10000000);
  }
  // The calendar's edges and refused fields.
  FILETIME last = Make(0x7FFFFFFFFFFFFFFFLL), beyond = Make(static_cast<long long>(0x8000000000000000ULL)), out{};
  SYSTEMTIME st{};
  EXPECT_EQ(FileTimeToSystemTime(&last, &st), 1);
  EXPECT_EQ(st.wYear, 30828);
  EXPECT_EQ(FileTimeToSystemTime(&beyond, &st), 0);
  EXPECT_EQ(Ticks(FileTimeFromSeconds(-EpochShift - 1)), 0);
  for (const SYSTEMTIME bad : {SYSTEMTIME{1900, 2, 0, 29, 0, 0, 0, 0}, SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0},
                               SYSTEMTIME{2024, 13, 0, 1, 0, 0, 0, 0}, SYSTEMTIME{2024, 4, 0, 31, 0, 0, 0, 0},
                               SYSTEMTIME{2024, 1, 0, 1, 24, 0, 0, 0}, SYSTEMTIME{2024, 1, 0, 1, 0, 0, 60, 0},
                               SYSTEMTIME{2024, 1, 0, 1, 0, 0, 0, 1000}})
    EXPECT_EQ(SystemTimeToFileTime(&bad, &out), 0) << bad.wYear << "-" << bad.wMonth << "-" << bad.wDay;
  const SYSTEMTIME leap{2000, 2, 0, 29, 23, 59, 59, 999};
  EXPECT_EQ(SystemTimeToFileTime(&leap, &out), 1);
}

TEST(FileTime, ComparisonsFollowTheMillisecondOrder) {
  std::mt19937_64 rng(9);
  for (int i = 0; i < 5000; ++i) {
    const long long base = static_cast<long long>(rng() % 0x7FFFFFFFFFFFFFFFULL);
    const long long other =
        i % 3 == 0 ? base + static_cast<long long>(rng() % 30000) - 15000 : static_cast<long long>(rng() >> 1);
    if (other < 0)
      continue;
    FILETIME a = Make(base), b = Make(other);
    const long long ma = base / 10000, mb = other / 10000;
    ASSERT_EQ(SgFileTimeCompare(&a, &b), (ma > mb) - (ma < mb)) << base << " " << other;
  }
  FILETIME valid = Make(1), invalid = Make(-1);
  EXPECT_EQ(SgFileTimeCompare(&valid, &invalid), 1);
  EXPECT_EQ(SgFileTimeCompare(nullptr, &valid), -1);
  // The day of the week does not take part.
  SYSTEMTIME x{2024, 3, 1, 5, 9, 7, 3, 0}, y = x;
  y.wDayOfWeek = 4;
  EXPECT_EQ(TimeCompare(x, y), 0);
}

TEST(FileTime, TimeTextIsTheLocalMomentWithItsTrailingBlank) {
  char text[28];
  // 5 March 2024 09:07:03 local is 06:07:03 UTC under the fake's +3 hours.
  const long long moment = 1709618823;
  {
    FakeClock clock(moment);
    GetTimeText(text);
    EXPECT_STREQ(text, "05.03.2024 09:07:03 ");
    const CTime t = CTime::GetCurrentTime();
    EXPECT_EQ(t.GetTime(), moment);
    EXPECT_EQ(t.GetDayOfWeek(), 3); // a Tuesday
  }
  {
    // Every field is its own conversion: day, month, year, hour, minute,
    // second in that order; the second, fourth and sixth fail here.
    FakeClock clock(moment, 0b101010);
    GetTimeText(text);
    EXPECT_STREQ(text, "05.00.2024 -1:07:-1 ");
  }
  FakeClock clock(moment);
  FILETIME utc = FileTimeFromSeconds(moment), local{};
  ASSERT_EQ(FileTimeToLocalFileTime(&utc, &local), 1);
  EXPECT_EQ(Ticks(local) - Ticks(utc), 3LL * 3600 * 10000000);
  test::TempDir dir;
  const std::string log = dir.File("debug.tmp");
  ::setenv("ZEL_DEBUG_FILE", log.c_str(), 1);
  FileTimePrint("written", &utc);
  ::unsetenv("ZEL_DEBUG_FILE");
  const auto bytes = test::Bytes(log);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "written 05.03.2024 09:07:03\n");
}

TEST(FileTime, FileTimesByNameAndByHandle) {
  test::TempDir dir;
  const std::string path = dir.Write("f.bin", "abc");
  const struct timespec times[2] = {{1000000000, 250000000}, {1709618823, 123456789}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  FILETIME created{}, accessed{}, written{};
  ASSERT_EQ(FileTime(path.c_str(), &created, &accessed, &written), 1);
  EXPECT_EQ(Ticks(accessed), (1000000000 + EpochShift) * 10000000 + 2500000);
  EXPECT_EQ(Ticks(written), (1709618823 + EpochShift) * 10000000 + 1234567);
  EXPECT_GT(Ticks(created), 0);
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  FILETIME viaHandle{};
  ASSERT_EQ(FileTime(f.GetHandle(), nullptr, nullptr, &viaHandle), 1);
  EXPECT_EQ(Ticks(viaHandle), Ticks(written));
  EXPECT_EQ(FileTime(dir.File("missing").c_str(), &created, nullptr, nullptr), 0);
  EXPECT_EQ(FileTime(static_cast<void *>(nullptr), &created, nullptr, nullptr), 0);
}

} // namespace
} // namespace zel
