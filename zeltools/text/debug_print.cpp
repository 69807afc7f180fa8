#include "zeltools/text/debug_print.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include "zeltools/errors/internal/runtime_format.h"
#include "zeltools/platform/debug_file.h"

namespace zel {
namespace {

// Formats into `small` when it fits, else into `large`; returns the text and
// its length, or a null text when the format itself is invalid.
const char* Format(char (&small)[512], std::vector<char>& large, std::size_t& length, const char* format,
                   va_list args) noexcept {
  if (format == nullptr)
    return nullptr;
  va_list copy;
  va_copy(copy, args);
  ZEL_RUNTIME_FORMAT_BEGIN
  const int needed = std::vsnprintf(small, sizeof small, format, copy);
  ZEL_RUNTIME_FORMAT_END
  va_end(copy);
  if (needed < 0)
    return nullptr;
  length = static_cast<std::size_t>(needed);
  if (length < sizeof small)
    return small;
  try {
    large.resize(length + 1);
  } catch (...) {
    return nullptr;
  }
  ZEL_RUNTIME_FORMAT_BEGIN
  std::vsnprintf(large.data(), large.size(), format, args);
  ZEL_RUNTIME_FORMAT_END
  return large.data();
}

template <class Write>
void PrintWith(Write write, const char* prefix, std::size_t prefixLength, const char* format, va_list args) noexcept {
  char small[512];
  std::vector<char> large;
  std::size_t length = 0;
  const char* text = Format(small, large, length, format, args);
  if (text == nullptr)
    return;
  if (prefixLength == 0) {
    write(text, length);
    return;
  }
  // One write per call keeps the stamp and its text together in the file.
  std::vector<char> joined;
  try {
    joined.reserve(prefixLength + length);
  } catch (...) {
    return;
  }
  joined.insert(joined.end(), prefix, prefix + prefixLength);
  joined.insert(joined.end(), text, text + length);
  write(joined.data(), joined.size());
}

} // namespace

void dPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  PrintWith(platform::AppendDebugFile, nullptr, 0, format, args);
  va_end(args);
}

void dPrintfTime(const char* format, ...) {
  char stamp[64];
  std::size_t stampLength = 0;
  platform::LocalTime t{};
  if (platform::LocalTimeNow(t)) {
    const int n = std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", t.year, t.month, t.day,
                                t.hour, t.minute, t.second, t.millisecond);
    stampLength = n > 0 ? static_cast<std::size_t>(n) : 0u;
  }
  va_list args;
  va_start(args, format);
  PrintWith(platform::AppendDebugFile, stamp, stampLength, format, args);
  va_end(args);
}

void Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  PrintWith(platform::WriteDebugOutput, nullptr, 0, format, args);
  va_end(args);
}

} // namespace zel
