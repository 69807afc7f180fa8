#pragma once
// A fixed clock for the tests, and a local calendar three hours east of UTC
// that fails on the calls whose bit is set in `failing`; both are replaced in
// the system-call table for the lifetime of the object.

#include <cstdint>
#include <ctime>

#include "zeltools/platform/platform.h"

namespace zel::test {

/// The UTC calendar of `seconds` since 1970 as the system computes it
/// (gmtime_r; on Windows, whose C library stops at 1970, FileTimeToSystemTime).
bool UtcCalendar(long long seconds, std::tm& fields);

struct FakeClock {
  platform::ScopedCalls saved;
  static inline long long now = 0;
  static inline unsigned failing = 0, calls = 0;
  explicit FakeClock(long long seconds, unsigned fail = 0) {
    now = seconds, failing = fail, calls = 0;
    platform::Calls().timeNow = [] { return static_cast<std::int64_t>(now); };
    platform::Calls().localCalendar = [](std::int64_t s, platform::CalendarTime& f) {
      const std::time_t shifted = static_cast<std::time_t>(s + 3 * 3600);
      std::tm t{};
      UtcCalendar(shifted, t);
      f = {t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday, 3 * 3600};
      return (failing >> calls++ & 1) == 0;
    };
  }
};

} // namespace zel::test
