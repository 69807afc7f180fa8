#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/platform.h"
#include "zeltools/platform/system_entries.h"

namespace zel {
namespace platform {
namespace {

void Record(bool ok) noexcept { SetLastError(ok ? 0u : static_cast<unsigned int>(errno != 0 ? errno : ENOMEM)); }

// Large blocks (portions, solver work arrays) are first touched page by page;
// asking for transparent huge pages lets the kernel clear and map them 2 MB
// at a time, which is most of the cost of bringing such a block into use.
// Advice only: where the system declines it, nothing changes.
constexpr std::size_t HugePageAdviceFrom = 8u << 20;

void AdviseHugePages(void* block, std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
  if (block == nullptr || bytes < HugePageAdviceFrom)
    return;
  const std::size_t page = 4096;
  const auto start = (reinterpret_cast<std::uintptr_t>(block) + page - 1) & ~(page - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(block) + bytes) & ~(page - 1);
  const int saved = errno;
  if (end > start)
    madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
  errno = saved;
#else
  (void)block;
  (void)bytes;
#endif
}

void* PosixAllocate(std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::malloc(bytes);
  Record(p != nullptr);
  AdviseHugePages(p, bytes);
  return p;
}

void* PosixAllocateZero(std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::calloc(1, bytes);
  Record(p != nullptr);
  AdviseHugePages(p, bytes);
  return p;
}

void* PosixReallocate(void* block, std::size_t bytes) noexcept {
  errno = 0;
  void* p = std::realloc(block, bytes);
  Record(p != nullptr);
  AdviseHugePages(p, bytes);
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

// A handle is the descriptor plus one, so that descriptor 0 is not null.
void* HandleOf(int fd) noexcept { return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd) + 1); }
int DescriptorOf(void* handle) noexcept { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle) - 1); }

// Sharing is taken by PosixFileLock after the open.
void* PosixFileOpen(const char* name, bool read, bool write, bool /*share*/, bool create, bool createNew) noexcept {
  int flags = O_CLOEXEC;
  flags |= write ? (read ? O_RDWR : O_WRONLY) : O_RDONLY;
  if (create || createNew)
    flags |= O_CREAT;
  if (createNew)
    flags |= O_EXCL;
  errno = 0;
  const int fd = ::open(name, flags, 0666);
  if (fd < 0) {
    Record(false);
    return nullptr;
  }
  struct stat info {};
  if (::fstat(fd, &info) == 0 && S_ISDIR(info.st_mode)) {
    ::close(fd);
    SetLastError(EISDIR);
    return nullptr;
  }
  SetLastError(0);
  return HandleOf(fd);
}

bool PosixFileLock(void* handle, bool shared) noexcept {
  int rc;
  do {
    errno = 0;
    rc = ::flock(DescriptorOf(handle), (shared ? LOCK_SH : LOCK_EX) | LOCK_NB);
  } while (rc != 0 && errno == EINTR);
  Record(rc == 0);
  return rc == 0;
}

bool PosixFileClose(void* handle) noexcept {
  errno = 0;
  // The descriptor is released even when close reports an error, so it is
  // never retried.
  const bool ok = ::close(DescriptorOf(handle)) == 0;
  Record(ok);
  return ok;
}

void* PosixFileDuplicate(void* handle) noexcept {
  errno = 0;
  const int fd = ::fcntl(DescriptorOf(handle), F_DUPFD_CLOEXEC, 0);
  Record(fd >= 0);
  return fd >= 0 ? HandleOf(fd) : nullptr;
}

std::int64_t PosixFileReadAt(void* handle, void* buffer, std::size_t bytes, std::int64_t offset) noexcept {
  errno = 0;
  const ssize_t n = ::pread(DescriptorOf(handle), buffer, bytes, static_cast<off_t>(offset));
  Record(n >= 0);
  return n;
}

std::int64_t PosixFileWriteAt(void* handle, const void* buffer, std::size_t bytes, std::int64_t offset) noexcept {
  errno = 0;
  const ssize_t n = ::pwrite(DescriptorOf(handle), buffer, bytes, static_cast<off_t>(offset));
  Record(n >= 0);
  return n;
}

bool PosixFileSeek(void* handle, std::int64_t offset) noexcept {
  errno = 0;
  const bool ok = ::lseek(DescriptorOf(handle), static_cast<off_t>(offset), SEEK_SET) >= 0;
  Record(ok);
  return ok;
}

bool PosixFileTruncate(void* handle, std::int64_t length) noexcept {
  int rc;
  do {
    errno = 0;
    rc = ::ftruncate(DescriptorOf(handle), static_cast<off_t>(length));
  } while (rc != 0 && errno == EINTR);
  Record(rc == 0);
  return rc == 0;
}

bool PosixFileSync(void* handle) noexcept {
  errno = 0;
  const bool ok = ::fsync(DescriptorOf(handle)) == 0;
  Record(ok);
  return ok;
}

bool PosixFileSize(void* handle, std::int64_t& size) noexcept {
  struct stat info {};
  errno = 0;
  const bool ok = ::fstat(DescriptorOf(handle), &info) == 0;
  size = ok ? static_cast<std::int64_t>(info.st_size) : 0;
  Record(ok);
  return ok;
}

bool PosixFileRemove(const char* name) noexcept {
  errno = 0;
  const bool ok = ::unlink(name) == 0;
  Record(ok);
  return ok;
}

bool PosixFileExists(const char* name) noexcept {
  struct stat info {};
  errno = 0;
  const bool ok = ::stat(name, &info) == 0;
  Record(ok);
  return ok;
}

// Keeps an open descriptor only when it is a regular file: the opens below
// ask not to wait (O_NONBLOCK), so that a FIFO at the name is refused here
// instead of blocking the open.
void* RegularOrRefused(int fd) noexcept {
  struct stat info {};
  unsigned int error = 0;
  if (::fstat(fd, &info) != 0)
    error = static_cast<unsigned int>(errno);
  else if (!S_ISREG(info.st_mode))
    error = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  else if (const int flags = ::fcntl(fd, F_GETFL); flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0)
    error = static_cast<unsigned int>(errno);
  if (error != 0) {
    ::close(fd);
    SetLastError(error);
    return nullptr;
  }
  SetLastError(0);
  return HandleOf(fd);
}

void* OpenRegular(const char* name, int flags, mode_t mode) noexcept {
  int fd;
  do {
    errno = 0;
    fd = ::open(name, flags | O_NONBLOCK | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) {
    Record(false);
    return nullptr;
  }
  return RegularOrRefused(fd);
}

void* PosixFileOpenRegular(const char* name) noexcept { return OpenRegular(name, O_RDONLY, 0); }

bool PosixFileIdentity(void* handle, std::uint64_t& device, std::uint64_t& node) noexcept {
  struct stat info {};
  errno = 0;
  const bool ok = ::fstat(DescriptorOf(handle), &info) == 0;
  device = ok ? static_cast<std::uint64_t>(info.st_dev) : 0;
  node = ok ? static_cast<std::uint64_t>(info.st_ino) : 0;
  Record(ok);
  return ok;
}

void* PosixFileOpenAppend(const char* name) noexcept {
  return OpenRegular(name, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, S_IRUSR | S_IWUSR);
}

std::int64_t PosixFileAppend(void* handle, const void* buffer, std::size_t bytes) noexcept {
  errno = 0;
  const ssize_t n = ::write(DescriptorOf(handle), buffer, bytes);
  Record(n >= 0);
  return n;
}

std::int64_t PosixDebugOutput(const void* buffer, std::size_t bytes) noexcept {
  errno = 0;
  const ssize_t n = ::write(STDERR_FILENO, buffer, bytes);
  Record(n >= 0);
  return n;
}

bool PosixLocalTime(LocalTime& time) noexcept {
  struct timeval now {};
  struct tm local {};
  errno = 0;
  if (::gettimeofday(&now, nullptr) != 0 || ::localtime_r(&now.tv_sec, &local) == nullptr) {
    Record(false);
    return false;
  }
  time = {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
          local.tm_min,         local.tm_sec,     static_cast<int>(now.tv_usec / 1000)};
  SetLastError(0);
  return true;
}

void* PosixSharedObjectOpen(const char* path) noexcept {
  void* object = path != nullptr ? ::dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
  SetLastError(object != nullptr ? 0u : static_cast<unsigned int>(ENOENT));
  return object;
}

void* PosixSharedObjectSymbol(void* object, const char* name) noexcept {
  void* address = object != nullptr ? ::dlsym(object, name) : nullptr;
  SetLastError(address != nullptr ? 0u : static_cast<unsigned int>(ENOENT));
  return address;
}

bool PosixSharedObjectClose(void* object) noexcept {
  const bool ok = object != nullptr && ::dlclose(object) == 0;
  SetLastError(ok ? 0u : static_cast<unsigned int>(EINVAL));
  return ok;
}

const char* PosixEnvironment(const char* name) noexcept { return std::getenv(name); }

constexpr SystemCalls posixCalls = {
    PosixAllocate,     PosixAllocateZero, PosixReallocate,    PosixRelease,      PosixPhysicalMemory,
    PosixFileOpen,     PosixFileLock,     PosixFileClose,     PosixFileDuplicate, PosixFileReadAt,
    PosixFileWriteAt,  PosixFileSeek,     PosixFileTruncate,  PosixFileSync,     PosixFileSize,
    PosixFileRemove,   PosixFileExists,
    // Whole-file reads, the debugging file, shared objects, environment.
    PosixFileOpenRegular, PosixFileIdentity, PosixFileOpenAppend, PosixFileAppend, PosixDebugOutput, PosixLocalTime,
    PosixSharedObjectOpen, PosixSharedObjectSymbol, PosixSharedObjectClose, PosixEnvironment,
    // Work files, mapped files, times, paths and dialogs.
    entries::FileMap, entries::FileUnmap, entries::DiskFree, entries::FileTimes, entries::TimeNow,
    entries::LocalCalendar, entries::ExecutablePath, entries::RunProgram, entries::CommonDataFolder,
    entries::SystemDialog,
    // Thread language and string resources of modules.
    entries::ThreadUILanguage, entries::SetThreadUILanguage, entries::ResourceModuleOpen,
    entries::ResourceModuleClose, entries::LibraryModule, entries::ResourceString,
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
