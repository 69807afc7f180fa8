#pragma once
// One sweep of failing writes for every writer of stored objects: the device
// fills part-way through a block, in both reporting modes.

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>
#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/temp_files.h"
#include "zeltools/files/file_work.h"
#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel::test {

/// Appends one object's block to the file and describes it in `doc`.
using BlockWriter = std::function<void(CFileBase&, DOCUMENT&)>;

/// Bytes the system still accepts before it reports a full device.
inline long long writeBudget = 0;

/// Whether one write failed, and the block that the same writer appended
/// once the device had room again.
struct FaultRun { bool failed; std::vector<unsigned char> again; };

/// One write of `write` into a work file (with a mark) behind a record of
/// almost a cache's worth, so that the block crosses the cache's end. `arm`
/// makes the system fail from then on, `disarm` lifts the fault. Checked:
/// the failure is zel::Exception with message 107 or 109, or those in the
/// sink after the system's text with the record {0, 0}; `mark` (when given)
/// is not 0 after a failure; nothing else leaves the writer; the cache and
/// the length agree with the file; the earlier record reads back.
inline FaultRun WriteWithFault(const std::string& path, const BlockWriter& write, const std::function<int()>& mark,
                               bool collect, const std::function<void()>& arm, const std::function<void()>& disarm) {
  const std::vector<unsigned char> before(CFileBase::CacheSize - 7, 0xA5);
  CPhrase sink;
  CFileWork f;
  EXPECT_EQ(f.Open(path.c_str(), "rw", collect ? &sink : nullptr), 1);
  f.Write(before.data(), before.size());
  DOCUMENT doc{7, 7};
  std::string text;
  arm();
  try {
    write(f, doc);
  } catch (const Exception& e) { // anything else fails the test where it stands
    text = e.GetDescription();
  }
  FaultRun run{!text.empty() || !sink.empty(), {}};
  if (run.failed && collect) {
    text = sink.back().GetText();
    const std::string system = sink[0].GetText();
    EXPECT_TRUE(sink.size() == 2 && sink[0].kind == 11 && system == platform::SystemErrorText(sink[0].param1))
        << sink.size() << " messages";
    EXPECT_TRUE(doc.position == 0 && doc.length == 0) << "a failed block keeps its record";
  }
  EXPECT_TRUE(!run.failed || text == FileMessage(107, path) || text == FileMessage(109, path)) << text;
  EXPECT_TRUE(!run.failed || !mark || mark() != 0) << "a failed write cleared the modify marks";
  EXPECT_EQ(f.CheckCache(), 1) << "the length ran ahead of what was written";
  disarm();
  DOCUMENT again;
  write(f, again);
  f.Close();
  const std::vector<unsigned char> bytes = Bytes(path);
  const auto slice = [&bytes](long long at, long long n) {
    at += CFileBase::MarkBytes;
    return at + n <= static_cast<long long>(bytes.size()) ? std::vector<unsigned char>(&bytes[at], &bytes[at] + n)
                                                          : std::vector<unsigned char>{};
  };
  EXPECT_EQ(slice(0, static_cast<long long>(before.size())), before) << "an earlier block was lost";
  run.again = slice(again.position, again.length);
  return run;
}

/// Sweeps `write` over failing devices: the system accepts no byte, a few,
/// a spread up to all that the writer sends, and those around the cache's
/// end and the end of the write; then once in a child process with a real
/// limit on the file's size (EFBIG, SIGXFSZ ignored) half-way through what
/// the writer sends (its bytes are appended). Each fault is met in both reporting modes; every budget
/// short of the writer's bytes must make it fail, and after every fault the
/// object must write the block it wrote without one (the failure changed
/// nothing in it).
inline void ExpectWriteFaultsReported(const std::string& path, const BlockWriter& write,
                                      const std::function<int()>& mark = {}) {
  FakeClock clock(1709618823); // marks written at the same moment are the same bytes
  const platform::SystemCalls calls = platform::Calls();
  const auto armWith = [&calls](long long budget) {
    return [budget] {
      writeBudget = budget;
      platform::Calls().fileWriteAt = [](void* h, const void* b, std::size_t n, std::int64_t at) -> std::int64_t {
        n = static_cast<std::size_t>(std::min<long long>(writeBudget, static_cast<long long>(n)));
        writeBudget -= static_cast<long long>(n);
        return n > 0 ? platform::DefaultCalls().fileWriteAt(h, b, n, at) : (SetLastError(platform::ErrorDiskFull), -1);
      };
      // A full device refuses to put the file on it as well.
      platform::Calls().fileSync = [](void* h) {
        return writeBudget > 0 ? platform::DefaultCalls().fileSync(h) : (SetLastError(platform::ErrorDiskFull), false);
      };
    };
  };
  const auto disarm = [&calls] { platform::Calls() = calls; };
  const FaultRun whole = WriteWithFault(path, write, mark, false, armWith(LLONG_MAX), disarm);
  const long long total = LLONG_MAX - writeBudget; // the bytes that the write sent
  ASSERT_TRUE(!whole.failed && total > 0) << "the block must cross the cache's end";
  std::vector<long long> budgets = {0, 1, 2, 3, CFileBase::CacheSize - 1, CFileBase::CacheSize,
                                    CFileBase::CacheSize + 1, total - 1, total, total + 1};
  for (long long b = 5; b < total; b += total / 40 + 1)
    budgets.push_back(b);
  // `fails` 1: the write must fail, 0: it must not, -1: either (all bytes
  // went through; a sync after them may still fail).
  const auto check = [&](const std::function<void()>& arm, const std::function<void()>& lift, int fails) {
    for (const bool collect : {false, true}) {
      SCOPED_TRACE(collect ? "collected" : "thrown");
      const FaultRun run = WriteWithFault(path, write, mark, collect, arm, lift);
      EXPECT_TRUE(fails < 0 || run.failed == (fails == 1));
      EXPECT_TRUE(run.again == whole.again) << "the object changed, or cannot be written again";
    }
  };
  for (const long long budget : budgets) {
    SCOPED_TRACE("budget " + std::to_string(budget));
    check(armWith(budget), disarm, budget < total ? 1 : budget > total ? 0 : -1);
  }
#if !defined(_WIN32) // a limit on a file's size is a POSIX service
  // A real limit, in a child, so that the limit and the ignored signal stay there.
  const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
  const int failures = result.total_part_count();
  const auto limited = [&] {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto cap = [&limit](rlim_t size) {
      return [&limit, size] { limit.rlim_cur = size, ::setrlimit(RLIMIT_FSIZE, &limit); };
    };
    check(cap(static_cast<rlim_t>(CFileBase::MarkBytes + total / 2)), cap(limit.rlim_max), 1);
    std::fflush(nullptr);
    std::_Exit(result.total_part_count() != failures ? 1 : 0);
  };
  EXPECT_EXIT(limited(), ::testing::ExitedWithCode(0), "") << "the write under a size limit failed its checks";
#endif
}

} // namespace zel::test
