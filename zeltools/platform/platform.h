#pragma once
// The library's only door to the operating system. Everything above this
// header speaks in Windows-shaped operations; the implementation for the
// running system lives in platform/posix (later platform/win32).
//
// The system calls are reached through one table, `Calls()`, so that tests
// can replace an entry and make the system fail for real (exhausted memory,
// short reads, full disks) instead of only misusing a class. Every call made
// through the table sets the thread's last error, errno on failure and 0 on
// success; only the environment read, which cannot fail, leaves it alone.
//
// Not part of the installed interface.

#include <cstddef>
#include <cstdint>
#include <string>

namespace zel::platform {

/// A local wall-clock time.
struct LocalTime {
  int year, month, day, hour, minute, second, millisecond;
};

struct SystemCalls {
  // Process heap. `allocate` does not clear; `allocateZero` does.
  void* (*allocate)(std::size_t bytes);
  void* (*allocateZero)(std::size_t bytes);
  void* (*reallocate)(void* block, std::size_t bytes);
  void (*release)(void* block);
  // Total and available physical memory in bytes; false when unknown.
  bool (*physicalMemory)(std::uint64_t& total, std::uint64_t& available);

  // Files. A handle is opaque and null means none; offsets are physical byte
  // positions. Each entry is one system call and nothing more: retries,
  // short transfers and the Windows-shaped open live in the helpers below.
  // Opens `name` (never truncating); `create` makes a missing file,
  // `createNew` insists that it did not exist. A directory is refused.
  void* (*fileOpen)(const char* name, bool read, bool write, bool create, bool createNew);
  // Non-blocking advisory lock on the whole file, shared or exclusive.
  bool (*fileLock)(void* handle, bool shared);
  bool (*fileClose)(void* handle);
  // A second handle on the same open file (and so on the same lock).
  void* (*fileDuplicate)(void* handle);
  // One transfer at `offset`: the bytes moved (0 at the end of the file), or
  // -1 on failure. Either may move fewer bytes than asked.
  std::int64_t (*fileReadAt)(void* handle, void* buffer, std::size_t bytes, std::int64_t offset);
  std::int64_t (*fileWriteAt)(void* handle, const void* buffer, std::size_t bytes, std::int64_t offset);
  // Moves the system's file pointer; fails on a negative position.
  bool (*fileSeek)(void* handle, std::int64_t offset);
  bool (*fileTruncate)(void* handle, std::int64_t length);
  // Durable flush of the file's data and size to the device.
  bool (*fileSync)(void* handle);
  bool (*fileSize)(void* handle, std::int64_t& size);
  bool (*fileRemove)(const char* name);
  // True when `name` names an existing file system object.
  bool (*fileExists)(const char* name);

  // --- Whole-file reads, the debugging file, shared objects, environment ---
  // Opens an existing regular file for reading without waiting on it: a
  // directory (EISDIR), a FIFO or a device (EINVAL) is refused, so that no
  // name given to a reader can block it.
  void* (*fileOpenRegular)(const char* name);
  // What identifies the open file whatever name reached it (device and
  // index node here): links and spellings of one path give the same pair.
  bool (*fileIdentity)(void* handle, std::uint64_t& device, std::uint64_t& node);
  // Opens `name` for appending, creating it readable and writable by its
  // owner only. A symbolic link at the name is not followed (ELOOP) and
  // anything but a regular file is refused (EISDIR, EINVAL), without waiting
  // on a FIFO: the debugging file lives in a folder that others can write to.
  void* (*fileOpenAppend)(const char* name);
  // One write at the end of a file from `fileOpenAppend`: the bytes written,
  // or -1.
  std::int64_t (*fileAppend)(void* handle, const void* buffer, std::size_t bytes);
  // One write to the process's debugging output (standard error): the bytes
  // written, or -1.
  std::int64_t (*debugOutput)(const void* buffer, std::size_t bytes);
  // The local wall-clock time now.
  bool (*localTime)(LocalTime& time);
  // Shared objects. `sharedObjectOpen` binds every symbol at once and keeps
  // them local, so that a broken object fails there and two objects' tables
  // cannot be mistaken; a name without '/' is searched for on the system's
  // library path. The loader reports in text, not in codes: a failed open or
  // a missing symbol reads as ENOENT, a failed close as EINVAL.
  void* (*sharedObjectOpen)(const char* path);
  void* (*sharedObjectSymbol)(void* object, const char* name);
  bool (*sharedObjectClose)(void* object);
  // The value of the environment variable `name`, or null when it is not
  // set. It cannot fail, and it leaves the last error alone: the catalogue
  // language is read from the environment while an error is being reported.
  const char* (*environment)(const char* name);
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

/// Creation dispositions of `OpenFile`, numbered as the Windows ones.
enum class Creation : unsigned int {
  CreateNew = 1,
  CreateAlways = 2,
  OpenExisting = 3,
  OpenAlways = 4,
  TruncateExisting = 5,
};

/// The Windows-shaped open: the file with the given access, sharing and
/// creation disposition. Sharing is an advisory lock taken without waiting:
/// an unshared open holds it exclusively and fails (last error EBUSY, a
/// sharing violation) while any other open holds the file; shared opens hold
/// it shared. A handle opened for writing can also read when the system
/// allows it, so that layers above may read what a write-only open wrote.
/// Truncating dispositions truncate only once the lock is held. Null on
/// failure, with the last error set.
void* OpenFile(const char* name, bool read, bool write, bool share, Creation creation);

/// Reads `bytes` at `offset`, repeating the system call over interruptions
/// and partial transfers; stops early at the end of the file or on an error.
/// Returns the bytes read; the last error is 0 when the end of the file
/// stopped it.
std::uint64_t ReadAt(void* handle, void* buffer, std::uint64_t bytes, std::int64_t offset);
/// Writes `bytes` at `offset` likewise; stops early only on an error (a
/// system call that writes nothing counts as a full device, ENOSPC).
std::uint64_t WriteAt(void* handle, const void* buffer, std::uint64_t bytes, std::int64_t offset);

/// The system's text for error `code` (the C library's message for the
/// errno value), without a trailing line end.
std::string SystemErrorText(unsigned int code);

} // namespace zel::platform
