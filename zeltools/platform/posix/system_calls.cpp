#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/sysinfo.h>

#include "zeltools/errors/last_error.h"
#include "zeltools/platform/platform.h"

namespace zel {

namespace {
thread_local unsigned int lastError = 0;
}

unsigned int GetLastError() noexcept { return lastError; }
void SetLastError(unsigned int code) noexcept { lastError = code; }

namespace platform {
namespace {

void Record(bool ok) noexcept { SetLastError(ok ? 0u : static_cast<unsigned int>(errno != 0 ? errno : ENOMEM)); }

void* PosixAllocate(std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::malloc(bytes);
  Record(p != nullptr);
  return p;
}

void* PosixAllocateZero(std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::calloc(1, bytes);
  Record(p != nullptr);
  return p;
}

void* PosixReallocate(void* block, std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::realloc(block, bytes);
  Record(p != nullptr);
  return p;
}

void PosixRelease(void* block) noexcept {
  std::free(block);
  SetLastError(0);
}

// MemAvailable is the kernel's own estimate of what can be allocated without
// swapping; sysinfo's freeram undercounts it (page cache is reclaimable).
bool PosixPhysicalMemory(std::uint64_t& total, std::uint64_t& available) noexcept {
  total = available = 0;
  if (std::FILE* f = std::fopen("/proc/meminfo", "r")) {
    char line[256];
    unsigned long long kb = 0;
    bool haveTotal = false, haveAvailable = false;
    while (std::fgets(line, sizeof line, f) != nullptr) {
      if (std::sscanf(line, "MemTotal: %llu kB", &kb) == 1) {
        total = kb * 1024ull;
        haveTotal = true;
      } else if (std::sscanf(line, "MemAvailable: %llu kB", &kb) == 1) {
        available = kb * 1024ull;
        haveAvailable = true;
      }
    }
    std::fclose(f);
    if (haveTotal && haveAvailable) {
      SetLastError(0);
      return true;
    }
  }
  struct sysinfo info {};
  errno = 0;
  if (sysinfo(&info) != 0) {
    Record(false);
    return false;
  }
  total = static_cast<std::uint64_t>(info.totalram) * info.mem_unit;
  available = static_cast<std::uint64_t>(info.freeram + info.bufferram) * info.mem_unit;
  SetLastError(0);
  return true;
}

constexpr SystemCalls posixCalls = {
    PosixAllocate, PosixAllocateZero, PosixReallocate, PosixRelease, PosixPhysicalMemory,
};

SystemCalls currentCalls = posixCalls;

} // namespace

SystemCalls& Calls() noexcept { return currentCalls; }
const SystemCalls& DefaultCalls() noexcept { return posixCalls; }

std::string SystemErrorText(unsigned int code) {
  char buffer[512] = {};
  // GNU strerror_r may return a static string instead of filling the buffer.
#if defined(__GLIBC__) && defined(_GNU_SOURCE)
  const char* text = strerror_r(static_cast<int>(code), buffer, sizeof buffer);
#else
  const char* text = strerror_r(static_cast<int>(code), buffer, sizeof buffer) == 0 ? buffer : "Unknown error";
#endif
  std::string result = text != nullptr ? text : "";
  while (!result.empty() && (result.back() == '\n' || result.back() == '\r'))
    result.pop_back();
  return result;
}

} // namespace platform
} // namespace zel
