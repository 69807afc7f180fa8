#pragma once
// The library's only door to the operating system. Everything above this
// header speaks in Windows-shaped operations; the implementation for the
// running system lives in platform/posix or platform/win32.
//
// The system calls are reached through one table, `Calls()`, so that tests
// can replace an entry and make the system fail for real (exhausted memory,
// short reads, full disks) instead of only misusing a class. Every call made
// through the table sets the thread's last error, the system's code on
// failure (errno, or GetLastError on Windows; error_codes.h names the ones
// the library tests) and 0 on success; only the environment read, which
// cannot fail, leaves it alone.
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

/// Local calendar fields of one moment (the `localCalendar` entry).
struct CalendarTime {
  int year, month, day;      // month 1-12, day 1-31
  int hour, minute, second;  // second 0-60 (a leap second reads as 60)
  int dayOfWeek;             // 0 Sunday .. 6 Saturday
  long utcOffset;            // seconds east of UTC in force at that moment
};

/// One file time: seconds since 1970 UTC and the nanoseconds within them.
struct FileStamp {
  std::int64_t seconds;
  std::uint32_t nanoseconds;
};

/// A file's three times (the `fileTimes` entry).
struct FileStamps {
  FileStamp created;  // birth time where the file system keeps one, else the change time
  FileStamp accessed;
  FileStamp written;
};

/// What a system dialog asks the user for.
enum class DialogKind { Folder, Read, Write };

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
  // `share` is the Windows share mode (read and write shared, or nothing):
  // Windows enforces it at the open, with a sharing violation; the POSIX
  // side ignores it here and takes `fileLock` instead.
  void* (*fileOpen)(const char* name, bool read, bool write, bool share, bool create, bool createNew);
  // Non-blocking advisory lock on the whole file, shared or exclusive
  // (POSIX). On Windows the share mode of the open already decides, and this
  // succeeds.
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
  // directory (`ErrorIsFolder`), a FIFO, pipe or device (`ErrorInvalid`) is
  // refused, so that no name given to a reader can block it.
  void* (*fileOpenRegular)(const char* name);
  // What identifies the open file whatever name reached it (device and
  // index node; volume serial and file index on Windows): links and
  // spellings of one path give the same pair.
  bool (*fileIdentity)(void* handle, std::uint64_t& device, std::uint64_t& node);
  // Opens `name` for appending, creating it readable and writable by its
  // owner only. A symbolic link at the name is not followed (`ErrorLink`)
  // and anything but a regular file is refused (`ErrorIsFolder`,
  // `ErrorInvalid`), without waiting
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
  // library path. The POSIX loader reports in text, not in codes: a failed
  // open or a missing symbol reads as `ErrorNotFound`, a failed close as
  // `ErrorInvalid`; Windows gives its own codes.
  void* (*sharedObjectOpen)(const char* path);
  void* (*sharedObjectSymbol)(void* object, const char* name);
  bool (*sharedObjectClose)(void* object);
  // The value of the environment variable `name`, or null when it is not
  // set. It cannot fail, and it leaves the last error alone: the catalogue
  // language is read from the environment while an error is being reported.
  const char* (*environment)(const char* name);

  // --- Work files, mapped files, times, paths and dialogs ------------------
  // Maps the first `bytes` of an open file, shared with the file, readable
  // and, when `write`, writable. Null on failure.
  void* (*fileMap)(void* handle, std::size_t bytes, bool write);
  bool (*fileUnmap)(void* view, std::size_t bytes);
  // Bytes available to an unprivileged caller on the file system holding
  // `path` (which must exist).
  bool (*diskFree)(const char* path, std::uint64_t& bytes);
  // The times of the open file `handle`, or, when it is null, of `name`
  // (symbolic links followed).
  bool (*fileTimes)(void* handle, const char* name, FileStamps& stamps);
  // Seconds since 1970 UTC now.
  std::int64_t (*timeNow)();
  // The local calendar fields of `seconds` since 1970 UTC; false when the
  // moment cannot be represented.
  bool (*localCalendar)(std::int64_t seconds, CalendarTime& fields);
  // The full path of the running executable into `path` of `size` bytes,
  // terminated; false when it is unknown or does not fit.
  bool (*executablePath)(char* path, std::size_t size);
  // Runs `arguments[0]`, found on the search path, with the null-terminated
  // `arguments`, no shell, standard input and error on the null device, and
  // waits for it. Its standard output is read to the end; the first
  // `size - 1` bytes are kept in `output`, terminated, and their count in
  // `length`. Returns the exit status (0-255; 128 + the signal's number when
  // a signal ended it), or -1 only when the program could not be started.
  // When the status is lost (SIGCHLD ignored by the process), the result is
  // 0 if the program wrote something, else 1.
  int (*runProgram)(const char* const* arguments, char* output, std::size_t size, std::size_t& length);
  // The system's own dialog for choosing a folder, a file to read or a file
  // to write, owned by the window `owner` (may be null), showing the 1251
  // `title`, starting at `start` (a folder, or a folder and a name; may be
  // empty), offering `filter` ("Desc|*.a;*.b|Desc2|*.*||", may be null) and
  // adding `extension` to a name typed without one. The choice goes to `path`
  // of `size` bytes, in 1251, terminated. Returns 1 when the user chose, 0
  // when the dialog was cancelled or the choice cannot be spelled in 1251 or
  // does not fit, and -1 when the system has no dialogs of its own (POSIX:
  // the layer above then runs a desktop's dialog program).
  // The system's common application-data folder (Windows: the known folder
  // of every user's program data) into `path` of `size` bytes, in 1251,
  // terminated; false when the system has none (POSIX, where the layer above
  // follows the XDG rules) or it does not fit.
  bool (*commonDataFolder)(char* path, std::size_t size);
  int (*systemDialog)(DialogKind kind, void* owner, const char* title, const char* start, const char* filter,
                      const char* extension, char* path, std::size_t size);

  // --- Thread language and string resources of modules --------------------
  // The calling thread's user-interface language: the id last set on the
  // thread through `setThreadUILanguage`, else the system's default for the
  // thread (Windows: its thread UI language; here: 1049 when the first set of
  // LC_ALL, LC_MESSAGES, LANG starts with "ru", else 1033). Setting 0 goes
  // back to that default. Neither entry touches the last error: the language
  // is read while an error is being reported.
  unsigned short (*threadUILanguage)();
  unsigned short (*setThreadUILanguage)(unsigned short langId);
  // Where modules keep string resources (Windows): maps the module file
  // `name` for its resources only, running none of its code. Null when the
  // file is no such module, and always null (last error ENOSYS) on a system
  // whose modules keep none.
  void* (*resourceModuleOpen)(const char* name);
  bool (*resourceModuleClose)(void* module);
  // The module that holds the library's code, and so its catalogue: the
  // library's DLL, or the executable it is linked into. Null (ENOSYS) where
  // modules keep no string resources.
  void* (*libraryModule)();
  // String `id` of `module` (any module handle of the system's loader, or
  // one from `resourceModuleOpen`) in the table of `langId`'s primary
  // language, the English table taking in the language-neutral one,
  // converted to Windows-1251 into `text`: at most `size - 1` bytes, then a
  // NUL. The bytes stored, or -1 when the table has no such string (an empty
  // string is stored as none). A string block that overruns its resource is
  // read as far as it is whole.
  long (*resourceString)(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size);
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
/// creation disposition. An unshared open fails (last error `ErrorSharing`,
/// a sharing violation) while any other open holds the file, and keeps every
/// later open out; shared opens admit each other. Windows enforces this
/// with the share mode of the open; on POSIX it is an advisory lock taken
/// without waiting, exclusive or shared. A handle opened for writing can also read when the system
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
/// errno value, or the system message table's text on Windows), without a
/// trailing line end.
std::string SystemErrorText(unsigned int code);

} // namespace zel::platform
