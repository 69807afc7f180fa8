#include "zeltools/files/file_time.h"

#include <cstdlib>
#include <cstdint>
#include <ctime>
#include <random>

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/temp_files.h"
#include "zeltools/files/file_base.h"
#include "zeltools/platform/platform.h"

namespace zel {
namespace {

constexpr long long Epoch = 11644473600LL; // seconds from 1601 to 1970
constexpr long long PerSecond = 10000000;

long long Ticks(const FILETIME& t) {
  return static_cast<long long>(static_cast<unsigned long long>(t.dwHighDateTime) << 32 | t.dwLowDateTime);
}
FILETIME Make(long long ticks) {
  return {static_cast<unsigned>(ticks), static_cast<unsigned>(static_cast<unsigned long long>(ticks) >> 32)};
}

// The C library's UTC calendar is the independent reference, over the whole
// range of FILETIME's calendar; milliseconds survive, finer ticks do not.
TEST(FileTime, CalendarConversionsAgreeWithTheCLibraryAndRoundTrip) {
  std::mt19937_64 rng(5);
  for (int i = 0; i < 20000; ++i) {
    const long long seconds = std::uniform_int_distribution<long long>(-Epoch, 910692730085LL - Epoch)(rng);
    const long long ticks = (seconds + Epoch) * PerSecond + static_cast<long long>(rng() % PerSecond);
    FILETIME ft = Make(ticks);
    SYSTEMTIME st{};
    ASSERT_EQ(FileTimeToSystemTime(&ft, &st), 1);
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm r{};
    ASSERT_TRUE(test::UtcCalendar(t, r));
    ASSERT_EQ((((st.wYear * 100LL + st.wMonth) * 100 + st.wDay) * 100 + st.wHour) * 10000 + st.wMinute * 100 +
                  st.wSecond,
              ((((r.tm_year + 1900LL) * 100 + r.tm_mon + 1) * 100 + r.tm_mday) * 100 + r.tm_hour) * 10000 +
                  r.tm_min * 100 + r.tm_sec);
    ASSERT_EQ(st.wDayOfWeek, r.tm_wday);
    FILETIME back{};
    ASSERT_EQ(SystemTimeToFileTime(&st, &back), 1);
    ASSERT_EQ(Ticks(back), ticks - ticks % 10000);
    ASSERT_EQ(Ticks(FileTimeFromSeconds(seconds)), (seconds + Epoch) * PerSecond);
    FILETIME other =
        Make(i % 2 ? ticks + static_cast<long long>(rng() % 20000) - 10000 : static_cast<long long>(rng() >> 1));
    ASSERT_EQ(SgFileTimeCompare(&other, &ft),
              (Ticks(other) / 10000 > ticks / 10000) - (Ticks(other) / 10000 < ticks / 10000));
  }
  FILETIME beyond = Make(static_cast<long long>(0x8000000000000000ULL)), out{};
  SYSTEMTIME st{};
  EXPECT_EQ(FileTimeToSystemTime(&beyond, &st), 0);
  for (const SYSTEMTIME bad : {SYSTEMTIME{1900, 2, 0, 29, 0, 0, 0, 0}, SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0},
                               SYSTEMTIME{2024, 4, 0, 31, 0, 0, 0, 0}, SYSTEMTIME{2024, 1, 0, 1, 0, 0, 60, 0}})
    EXPECT_EQ(SystemTimeToFileTime(&bad, &out), 0) << bad.wYear << "-" << bad.wMonth << "-" << bad.wDay;
}

TEST(FileTime, TimeTextAndPrintAreTheLocalMoment) {
  const long long moment = 1709618823; // 5 March 2024 06:07:03 UTC, 09:07:03 in the fake's zone
  char text[28];
  {
    // Each field is its own conversion, in the order day, month, year, hour,
    // minute, second; the second, fourth and sixth fail here.
    test::FakeClock clock(moment, 0b101010);
    GetTimeText(text);
    EXPECT_STREQ(text, "05.00.2024 -1:07:-1 ");
  }
  test::FakeClock clock(moment);
  GetTimeText(text);
  EXPECT_STREQ(text, "05.03.2024 09:07:03 ");
  FILETIME utc = FileTimeFromSeconds(moment), local{};
  ASSERT_EQ(FileTimeToLocalFileTime(&utc, &local), 1);
  EXPECT_EQ(Ticks(local) - Ticks(utc), 3 * 3600 * PerSecond);
  test::TempDir dir;
  {
    const test::ScopedDebugFile debug(dir.File("debug.tmp"));
    FileTimePrint("written", &utc);
  }
  EXPECT_EQ(test::TextOf(dir.File("debug.tmp")), "written 05.03.2024 09:07:03\n");
}

TEST(FileTime, FileTimesByNameAndByHandle) {
  test::TempDir dir;
  const std::string path = dir.Write("f.bin", "abc");
  ASSERT_TRUE(test::SetFileTimes(path, {1000000000, 250000000}, {1709618823, 123456789}));
  FILETIME accessed{}, written{}, viaHandle{};
  ASSERT_EQ(FileTime(path.c_str(), nullptr, &accessed, &written), 1);
  EXPECT_EQ(Ticks(accessed), (1000000000 + Epoch) * PerSecond + 2500000);
  EXPECT_EQ(Ticks(written), (1709618823 + Epoch) * PerSecond + 1234567);
  CFileBase f;
  ASSERT_EQ(f.Open(path.c_str(), "r"), 1);
  ASSERT_EQ(FileTime(f.GetHandle(), nullptr, nullptr, &viaHandle), 1);
  EXPECT_EQ(Ticks(viaHandle), Ticks(written));
  EXPECT_EQ(FileTime(dir.File("missing").c_str(), &written, nullptr, nullptr), 0);
}

} // namespace
} // namespace zel
