#pragma once
// One sweep of failing writes for every writer of stored objects: the device
// fills part-way through a block, in both reporting modes.

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_clock.h"
#include "support/temp_files.h"
#include "zeltools/files/file_work.h"
#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/text/phrase.h"

namespace zel::test {

/// Appends one object's block to the file and describes it in `doc`.
using BlockWriter = std::function<void(CFileBase&, DOCUMENT&)>;

/// Bytes the system still accepts before it reports a full device.
inline long long writeBudget = 0;

inline std::int64_t BudgetedWrite(void* h, const void* b, std::size_t n, std::int64_t at) {
  if (writeBudget <= 0) {
    SetLastError(ENOSPC);
    return -1;
  }
  n = static_cast<std::size_t>(std::min<long long>(writeBudget, static_cast<long long>(n)));
  writeBudget -= static_cast<long long>(n);
  return platform::DefaultCalls().fileWriteAt(h, b, n, at);
}

// A device that is full refuses to put the file on it as well.
inline bool BudgetedSync(void* h) {
  if (writeBudget > 0)
    return platform::DefaultCalls().fileSync(h);
  SetLastError(ENOSPC);
  return false;
}

/// A record of almost a cache's worth, written before the block so that the
/// block crosses the cache's end.
inline const std::vector<unsigned char>& EarlierRecord() {
  static const std::vector<unsigned char> bytes(CFileBase::CacheSize - 7, 0xA5);
  return bytes;
}

/// One write of `write` into a work file (with a mark) behind the earlier
/// record. `arm` makes the system fail from then on, `disarm` lifts the
/// fault. Checked: the failure is zel::Exception or message 107/109 in the
/// sink after the system's text, the record {0, 0} and `mark` (when given)
/// not 0; nothing else leaves the writer; the cache and the length agree
/// with the file; the earlier record reads back; and once the device has
/// room again the same writer appends the block `expected`, so the failure
/// changed nothing in the object. Returns whether the write failed.
inline bool WriteWithFault(const std::string& path, const BlockWriter& write, const std::function<int()>& mark,
                           bool collect, const std::function<void()>& arm, const std::function<void()>& disarm,
                           const std::vector<unsigned char>& expected) {
  const std::vector<unsigned char>& before = EarlierRecord();
  CPhrase sink;
  CFileWork f;
  EXPECT_EQ(f.Open(path.c_str(), "rw", collect ? &sink : nullptr), 1);
  f.Write(before.data(), before.size());
  DOCUMENT doc{7, 7};
  std::string thrown;
  arm();
  try {
    write(f, doc);
  } catch (const Exception& e) {
    thrown = e.GetDescription();
  } catch (const std::exception& e) {
    ADD_FAILURE() << "a stray exception: " << e.what();
  }
  const bool failed = !thrown.empty() || !sink.empty();
  if (failed && collect) {
    EXPECT_TRUE(sink.size() == 2 && sink[0].kind == 11 && sink[1].kind == 3) << sink.size() << " messages";
    EXPECT_EQ(sink[0].GetText(), platform::SystemErrorText(sink[0].param1));
    EXPECT_EQ(sink.back().GetText(), FileMessage(sink.back().param1 == 109 ? 109 : 107, path));
    EXPECT_TRUE(doc.position == 0 && doc.length == 0) << "a failed block keeps its record";
  } else if (failed) {
    EXPECT_EQ(thrown, FileMessage(thrown == FileMessage(109, path) ? 109 : 107, path));
  }
  EXPECT_TRUE(!failed || !mark || mark() != 0) << "a failed write cleared the modify marks";
  EXPECT_EQ(f.CheckCache(), 1) << "the length ran ahead of what was written";
  disarm();
  DOCUMENT again;
  write(f, again);
  f.Close();
  const std::vector<unsigned char> bytes = Bytes(path);
  const auto start = bytes.begin() + CFileBase::MarkBytes;
  const bool fits = bytes.size() >= CFileBase::MarkBytes + before.size() &&
                    again.position + again.length + CFileBase::MarkBytes <= static_cast<long long>(bytes.size());
  EXPECT_TRUE(fits && std::equal(before.begin(), before.end(), start)) << "an earlier block was lost";
  EXPECT_TRUE(fits && std::vector<unsigned char>(start + again.position, start + again.position + again.length) ==
                          expected)
      << "the object changed, or cannot be written again";
  return failed;
}

/// Sweeps `write` over failing devices: the system accepts no byte, a few,
/// a spread up to all that the writer sends, and those around the cache's
/// end and the end of the write; then once in a child process with a real
/// limit on the file's size (EFBIG, SIGXFSZ ignored) in the middle of what
/// the writer sends. Each fault is met in both reporting modes, and every
/// budget short of the writer's bytes must make it fail.
inline void ExpectWriteFaultsReported(const std::string& path, const BlockWriter& write,
                                      const std::function<int()>& mark = {}) {
  FakeClock clock(1709618823); // marks written at the same moment are the same bytes
  const platform::SystemCalls calls = platform::Calls();
  const auto armWith = [&calls](long long budget) {
    return [&calls, budget] {
      writeBudget = budget;
      platform::Calls().fileWriteAt = BudgetedWrite;
      platform::Calls().fileSync = BudgetedSync;
    };
  };
  const auto disarm = [&calls] { platform::Calls() = calls; };
  // The write without a fault, for its block and the bytes it sends.
  std::vector<unsigned char> expected;
  long long total = 0, reached = 0;
  {
    CFileWork f;
    ASSERT_EQ(f.Open(path.c_str(), "rw"), 1);
    f.Write(EarlierRecord().data(), EarlierRecord().size());
    DOCUMENT doc;
    armWith(LLONG_MAX)();
    write(f, doc);
    total = LLONG_MAX - writeBudget;
    reached = SizeOnDisk(path);
    ASSERT_GT(total, 0) << "the block must cross the cache's end";
    disarm();
    f.Close();
    const std::vector<unsigned char> bytes = Bytes(path);
    ASSERT_TRUE(total > 0 && doc.position + doc.length + CFileBase::MarkBytes <= static_cast<long long>(bytes.size()));
    const auto start = bytes.begin() + CFileBase::MarkBytes + doc.position;
    expected.assign(start, start + doc.length);
  }
  std::vector<long long> budgets = {0, 1, 2, 3, CFileBase::CacheSize - 1, CFileBase::CacheSize,
                                    CFileBase::CacheSize + 1, total - 1, total, total + 1};
  for (long long b = 5; b < total; b += total / 40 + 1)
    budgets.push_back(b);
  for (const long long budget : budgets)
    for (const bool collect : {false, true}) {
      SCOPED_TRACE("budget " + std::to_string(budget) + (collect ? ", collected" : ", thrown"));
      const bool failed = WriteWithFault(path, write, mark, collect, armWith(budget), disarm, expected);
      EXPECT_TRUE(budget < total ? failed : budget > total ? !failed : true);
    }
  // A real limit, in a child, so that the limit and the ignored signal stay there.
  std::fflush(nullptr);
  const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
  const int failures = result.total_part_count();
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const auto cap = [&limit](rlim_t size) {
      return [&limit, size] {
        limit.rlim_cur = size;
        ::setrlimit(RLIMIT_FSIZE, &limit);
      };
    };
    // Half-way through what follows the cache's first write-back, if anything does.
    const long long after = std::max<long long>(0, reached - CFileBase::MarkBytes - CFileBase::CacheSize);
    const auto middle = static_cast<rlim_t>(reached - 1 - after / 2);
    for (const bool collect : {false, true})
      EXPECT_TRUE(WriteWithFault(path, write, mark, collect, cap(middle), cap(limit.rlim_max), expected));
    std::fflush(nullptr);
    ::_exit(result.total_part_count() != failures ? 1 : 0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the write under a size limit failed its checks";
}

} // namespace zel::test
