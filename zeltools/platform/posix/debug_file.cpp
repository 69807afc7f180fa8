#include "zeltools/platform/debug_file.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include "zeltools/platform/last_error.h"

namespace zel::platform {
namespace {

constexpr const char* defaultDebugFile = "/tmp/debug.tmp";

bool WriteAll(int fd, const char* text, std::size_t length) noexcept {
  while (length > 0) {
    const ssize_t written = ::write(fd, text, length);
    if (written < 0) {
      if (errno == EINTR)
        continue;
      return false;
    }
    text += written;
    length -= static_cast<std::size_t>(written);
  }
  return true;
}

} // namespace

bool AppendDebugFile(const char* text, std::size_t length) noexcept {
  const char* path = std::getenv("ZEL_DEBUG_FILE");
  if (path == nullptr || *path == '\0')
    path = defaultDebugFile;
  int fd = -1;
  do
    fd = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    SetLastError(static_cast<unsigned int>(errno));
    return false;
  }
  const bool ok = WriteAll(fd, text, length);
  const unsigned int error = ok ? 0u : static_cast<unsigned int>(errno);
  const bool closed = ::close(fd) == 0;
  SetLastError(error != 0 ? error : closed ? 0u : static_cast<unsigned int>(errno));
  return ok && closed;
}

bool WriteDebugOutput(const char* text, std::size_t length) noexcept {
  const bool ok = WriteAll(STDERR_FILENO, text, length);
  SetLastError(ok ? 0u : static_cast<unsigned int>(errno));
  return ok;
}

bool LocalTimeNow(LocalTime& time) noexcept {
  struct timeval now {};
  struct tm local {};
  if (::gettimeofday(&now, nullptr) != 0 || ::localtime_r(&now.tv_sec, &local) == nullptr) {
    SetLastError(static_cast<unsigned int>(errno));
    return false;
  }
  time = {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
          local.tm_min,         local.tm_sec,     static_cast<int>(now.tv_usec / 1000)};
  SetLastError(0);
  return true;
}

} // namespace zel::platform
