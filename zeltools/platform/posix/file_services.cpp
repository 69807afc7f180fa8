// The POSIX entries for mapped files, disk space, file times, the clock and
// calendar, the executable's path and running a program; the common data
// folder and the dialogs are left to the layer above.
#include "zeltools/platform/system_entries.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "zeltools/platform/last_error.h"

extern char** environ;

namespace zel::platform::entries {
namespace {

void Record(bool ok) noexcept { SetLastError(ok ? 0u : static_cast<unsigned int>(errno != 0 ? errno : EIO)); }

// Handles are descriptors plus one (see system_calls.cpp).
int DescriptorOf(void* handle) noexcept { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1); }

FileStamp StampOf(std::int64_t seconds, long nanoseconds) noexcept {
  return FileStamp{seconds, static_cast<std::uint32_t>(nanoseconds)};
}

} // namespace

void* FileMap(void* handle, std::size_t bytes, bool write) noexcept {
  errno = 0;
  void* view = ::mmap(nullptr, bytes, PROT_READ | (write ? PROT_WRITE : 0), MAP_SHARED, DescriptorOf(handle), 0);
  Record(view != MAP_FAILED);
  return view == MAP_FAILED ? nullptr : view;
}

bool FileUnmap(void* view, std::size_t bytes) noexcept {
  errno = 0;
  const bool ok = ::munmap(view, bytes) == 0;
  Record(ok);
  return ok;
}

bool DiskFree(const char* path, std::uint64_t& bytes) noexcept {
  struct statvfs info {};
  int rc;
  do {
    errno = 0;
    rc = ::statvfs(path, &info);
  } while (rc != 0 && errno == EINTR);
  bytes = rc == 0 ? static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize : 0;
  Record(rc == 0);
  return rc == 0;
}

// statx gives the birth time where the file system records one; elsewhere
// the change time stands in for the creation time.
bool FileTimes(void* handle, const char* name, FileStamps& stamps) noexcept {
  stamps = FileStamps{};
#if defined(STATX_BTIME)
  struct statx info {};
  errno = 0;
  const int rc = handle != nullptr
                     ? ::statx(DescriptorOf(handle), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &info)
                     : ::statx(AT_FDCWD, name, 0, STATX_BASIC_STATS | STATX_BTIME, &info);
  Record(rc == 0);
  if (rc != 0)
    return false;
  const auto& born = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime : info.stx_ctime;
  stamps.created = StampOf(born.tv_sec, born.tv_nsec);
  stamps.accessed = StampOf(info.stx_atime.tv_sec, info.stx_atime.tv_nsec);
  stamps.written = StampOf(info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec);
  return true;
#else
  struct stat info {};
  errno = 0;
  const int rc = handle != nullptr ? ::fstat(DescriptorOf(handle), &info) : ::stat(name, &info);
  Record(rc == 0);
  if (rc != 0)
    return false;
  stamps.created = StampOf(info.st_ctim.tv_sec, info.st_ctim.tv_nsec);
  stamps.accessed = StampOf(info.st_atim.tv_sec, info.st_atim.tv_nsec);
  stamps.written = StampOf(info.st_mtim.tv_sec, info.st_mtim.tv_nsec);
  return true;
#endif
}

std::int64_t TimeNow() noexcept {
  SetLastError(0);
  return static_cast<std::int64_t>(std::time(nullptr));
}

bool LocalCalendar(std::int64_t seconds, CalendarTime& fields) noexcept {
  fields = CalendarTime{};
  const auto moment = static_cast<std::time_t>(seconds);
  std::tm local{};
  errno = 0;
  // A year beyond the calendar's int fails here (EOVERFLOW).
  if (::localtime_r(&moment, &local) == nullptr) {
    Record(false);
    return false;
  }
  fields = CalendarTime{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                        local.tm_min,         local.tm_sec,     local.tm_wday, local.tm_gmtoff};
  SetLastError(0);
  return true;
}

bool ExecutablePath(char* path, std::size_t size) noexcept {
  if (path == nullptr || size == 0) {
    SetLastError(EINVAL);
    return false;
  }
  errno = 0;
  const ssize_t n = ::readlink("/proc/self/exe", path, size);
  if (n < 0) {
    Record(false);
    path[0] = '\0';
    return false;
  }
  if (static_cast<std::size_t>(n) >= size) {
    path[0] = '\0';
    SetLastError(ENAMETOOLONG);
    return false;
  }
  path[n] = '\0';
  SetLastError(0);
  return true;
}

int RunProgram(const char* const* arguments, char* output, std::size_t size, std::size_t& length) noexcept {
  length = 0;
  if (output != nullptr && size > 0)
    output[0] = '\0';
  if (arguments == nullptr || arguments[0] == nullptr) {
    SetLastError(EINVAL);
    return -1;
  }
  int pipeEnds[2];
  errno = 0;
  if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
    Record(false);
    return -1;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  // posix_spawnp takes the argument vector as char* const*; it does not
  // change the strings.
  const int spawned =
      ::posix_spawnp(&child, arguments[0], &actions, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeEnds[1]);
  if (spawned != 0) {
    ::close(pipeEnds[0]);
    SetLastError(static_cast<unsigned int>(spawned));
    return -1;
  }
  // Everything is read, so that the program never waits on a full pipe;
  // what does not fit is dropped.
  char scratch[4096];
  for (;;) {
    char* into = output != nullptr && length + 1 < size ? output + length : scratch;
    const std::size_t room = into == scratch ? sizeof scratch : size - 1 - length;
    const ssize_t n = ::read(pipeEnds[0], into, room);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    if (into != scratch)
      length += static_cast<std::size_t>(n);
  }
  ::close(pipeEnds[0]);
  if (output != nullptr && size > 0)
    output[length] = '\0';
  int status = 0;
  pid_t waited;
  do {
    errno = 0;
    waited = ::waitpid(child, &status, 0);
  } while (waited < 0 && errno == EINTR);
  // A process that ignores SIGCHLD has its children reaped for it, and the
  // status is lost; the program did run, so what it wrote decides.
  if (waited < 0) {
    const bool reaped = errno == ECHILD;
    Record(false);
    return reaped ? (length > 0 ? 0 : 1) : -1;
  }
  SetLastError(0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool CommonDataFolder(char*, std::size_t) noexcept {
  SetLastError(0);
  return false;
}

// Dialogs here are a desktop's programs, which the layer above runs.
int SystemDialog(DialogKind, void*, const char*, const char*, const char*, const char*, char*,
                 std::size_t) noexcept {
  SetLastError(0);
  return -1;
}

} // namespace zel::platform::entries
