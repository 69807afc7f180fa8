// The debugging print's system side, built from the system table's single
// calls so that a replaced entry exercises the same rules as the real system.

#include "zeltools/platform/debug_file.h"

#include <cstdint>

#include "zeltools/platform/error_codes.h"
#include "zeltools/platform/last_error.h"

namespace zel::platform {
namespace {

#if defined(_WIN32)
constexpr const char* defaultDebugFile = "d:\\debug.tmp";
#else
constexpr const char* defaultDebugFile = "/tmp/debug.tmp";
#endif

// Repeats `write` over interruptions and partial writes; a write of nothing
// counts as a full device.
template <class Write>
bool WriteAll(Write write, const char* text, std::size_t length) {
  while (length > 0) {
    const std::int64_t written = write(text, length);
    if (written < 0 && GetLastError() == ErrorInterrupted)
      continue;
    if (written <= 0) {
      if (written == 0)
        SetLastError(ErrorDiskFull);
      return false;
    }
    text += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

} // namespace

bool AppendDebugFile(const char* text, std::size_t length) noexcept {
  const auto& calls = Calls();
  const char* path = calls.environment("ZEL_DEBUG_FILE");
  if (path == nullptr || *path == '\0')
    path = defaultDebugFile;
  void* file = calls.fileOpenAppend(path);
  if (file == nullptr)
    return false;
  const bool ok = WriteAll([&](const char* p, std::size_t n) { return calls.fileAppend(file, p, n); }, text, length);
  const unsigned int error = ok ? 0u : GetLastError();
  const bool closed = calls.fileClose(file);
  if (error != 0)
    SetLastError(error);
  return ok && closed;
}

bool WriteDebugOutput(const char* text, std::size_t length) noexcept {
  const auto& calls = Calls();
  const bool ok = WriteAll([&](const char* p, std::size_t n) { return calls.debugOutput(p, n); }, text, length);
  if (ok)
    SetLastError(0);
  return ok;
}

bool LocalTimeNow(LocalTime& time) noexcept { return Calls().localTime(time); }

} // namespace zel::platform
