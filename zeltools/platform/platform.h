#pragma once
// The library's only door to the operating system. Everything above this
// header speaks in Windows-shaped operations; the implementation for the
// running system lives in platform/posix (later platform/win32).
//
// The system calls are reached through one table, `Calls()`, so that tests
// can replace an entry and make the system fail for real (exhausted memory,
// short reads, full disks) instead of only misusing a class. Every call made
// through the table sets the thread's last error: errno on failure, 0 on
// success.
//
// Not part of the installed interface.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zel::platform {

struct SystemCalls {
  // Process heap. `allocate` does not clear; `allocateZero` does.
  void* (*allocate)(std::size_t bytes);
  void* (*allocateZero)(std::size_t bytes);
  void* (*reallocate)(void* block, std::size_t bytes);
  void (*release)(void* block);
  // Total and available physical memory in bytes; false when unknown.
  bool (*physicalMemory)(std::uint64_t& total, std::uint64_t& available);
};

/// The table in force. Tests may assign entries and must restore them
/// (`ScopedCalls` below does both).
SystemCalls& Calls() noexcept;
/// The table as the running system provides it.
const SystemCalls& DefaultCalls() noexcept;

/// Replaces the table for the lifetime of the object (tests).
class ScopedCalls {
public:
  ScopedCalls() noexcept : saved_(Calls()) {}
  ~ScopedCalls() { Calls() = saved_; }
  ScopedCalls(const ScopedCalls&) = delete;
  ScopedCalls& operator=(const ScopedCalls&) = delete;

private:
  SystemCalls saved_;
};

/// The system's text for error `code`, without a trailing line end (the
/// stand-in for FormatMessageA from the system table).
std::string SystemErrorText(unsigned int code);

} // namespace zel::platform
