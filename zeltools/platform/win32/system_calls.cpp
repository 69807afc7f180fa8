// The Windows system table: the heap, files through the wide file calls with
// real share modes and 64-bit offsets, the debugging file and output, shared
// objects and the environment. Handles are the system's HANDLEs (never null
// when valid: a failed open gives INVALID_HANDLE_VALUE, turned into null).

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/system_entries.h"
#include "zeltools/platform/win32/system.h"

#include <sddl.h> // after windows.h, which it needs

namespace zel {
namespace platform {

// The names that error_codes.h writes as numbers.
static_assert(ErrorInterrupted == ERROR_OPERATION_ABORTED && ErrorSharing == ERROR_SHARING_VIOLATION &&
              ErrorLocked == ERROR_LOCK_VIOLATION && ErrorDiskFull == ERROR_DISK_FULL &&
              ErrorAccess == ERROR_ACCESS_DENIED && ErrorInvalid == ERROR_INVALID_PARAMETER &&
              ErrorTooLarge == ERROR_FILE_TOO_LARGE && ErrorBadHandle == ERROR_INVALID_HANDLE &&
              ErrorNameTooLong == ERROR_FILENAME_EXCED_RANGE && ErrorNotFound == ERROR_FILE_NOT_FOUND &&
              ErrorPathNotFound == ERROR_PATH_NOT_FOUND && ErrorIsFolder == 336 /* ERROR_DIRECTORY_NOT_SUPPORTED */ &&
              ErrorLink == ERROR_CANT_RESOLVE_FILENAME && ErrorNoMemory == ERROR_NOT_ENOUGH_MEMORY &&
              ErrorIo == ERROR_GEN_FAILURE);
// The public stand-ins are the system's records.
static_assert(sizeof(::FILETIME) == 8 && sizeof(::SYSTEMTIME) == 16);

namespace win32 {

bool Wide(const char* text, std::wstring& wide) noexcept {
  wide.clear();
  if (text == nullptr) {
    ::SetLastError(ErrorInvalid);
    return false;
  }
  const std::size_t length = std::strlen(text);
  if (length == 0) {
    ::SetLastError(0);
    return true;
  }
  if (length > static_cast<std::size_t>(INT_MAX)) {
    ::SetLastError(ErrorNameTooLong);
    return false;
  }
  const int n = static_cast<int>(length);
  const int needed = ::MultiByteToWideChar(LibraryCodePage, 0, text, n, nullptr, 0);
  if (needed <= 0)
    return Record(false), false;
  try {
    wide.resize(static_cast<std::size_t>(needed));
  } catch (const std::bad_alloc&) {
    ::SetLastError(ErrorNoMemory);
    return false;
  }
  const bool ok = ::MultiByteToWideChar(LibraryCodePage, 0, text, n, wide.data(), needed) == needed;
  Record(ok);
  return ok;
}

bool Narrow(const wchar_t* wide, char* out, std::size_t size) noexcept {
  if (out == nullptr || size == 0) {
    ::SetLastError(ErrorInvalid);
    return false;
  }
  out[0] = '\0';
  const std::size_t length = std::wcslen(wide);
  if (length == 0) {
    ::SetLastError(0);
    return true;
  }
  if (length >= size || length > static_cast<std::size_t>(INT_MAX)) {
    ::SetLastError(ErrorNameTooLong);
    return false;
  }
  BOOL lossy = FALSE;
  const int n = ::WideCharToMultiByte(LibraryCodePage, WC_NO_BEST_FIT_CHARS, wide, static_cast<int>(length), out,
                                      static_cast<int>(size - 1), nullptr, &lossy);
  if (n <= 0 || lossy) {
    out[0] = '\0';
    ::SetLastError(n <= 0 ? (::GetLastError() == ERROR_INSUFFICIENT_BUFFER ? ErrorNameTooLong : ErrorInvalid)
                          : static_cast<unsigned int>(ERROR_NO_UNICODE_TRANSLATION));
    return false;
  }
  out[n] = '\0';
  ::SetLastError(0);
  return true;
}

} // namespace win32

namespace {

using win32::Record;
using win32::Wide;

HANDLE HandleOf(void* handle) noexcept { return static_cast<HANDLE>(handle); }

// The C allocator, as on every system: blocks keep their size for it, and
// what one layer allocates another may free.
void* WinAllocate(std::size_t bytes) noexcept {
  void* p = std::malloc(bytes);
  ::SetLastError(p != nullptr ? 0u : ErrorNoMemory);
  return p;
}

void* WinAllocateZero(std::size_t bytes) noexcept {
  void* p = std::calloc(1, bytes);
  ::SetLastError(p != nullptr ? 0u : ErrorNoMemory);
  return p;
}

void* WinReallocate(void* block, std::size_t bytes) noexcept {
  void* p = std::realloc(block, bytes);
  ::SetLastError(p != nullptr ? 0u : ErrorNoMemory);
  return p;
}

void WinRelease(void* block) noexcept {
  std::free(block);
  ::SetLastError(0);
}

bool WinPhysicalMemory(std::uint64_t& total, std::uint64_t& available) noexcept {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  const bool ok = ::GlobalMemoryStatusEx(&status) != FALSE;
  total = ok ? status.ullTotalPhys : 0;
  available = ok ? status.ullAvailPhys : 0;
  Record(ok);
  return ok;
}

// A directory cannot be opened as a file; Windows says "access denied",
// which is told apart here so that the caller hears what the name is.
void RefineOpenError(const std::wstring& name) noexcept {
  const DWORD error = ::GetLastError();
  if (error != ERROR_ACCESS_DENIED)
    return;
  const DWORD attributes = ::GetFileAttributesW(name.c_str());
  ::SetLastError(attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? ErrorIsFolder
                                                                                                       : error);
}

void* WinFileOpen(const char* name, bool read, bool write, bool share, bool create, bool createNew) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return nullptr;
  const DWORD access = (read ? GENERIC_READ : 0u) | (write ? GENERIC_WRITE : 0u);
  // A shared open admits other readers and writers, and lets the name be
  // removed while it is open, as POSIX systems do.
  const DWORD sharing = share ? FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE : 0u;
  const DWORD disposition = createNew ? CREATE_NEW : create ? OPEN_ALWAYS : OPEN_EXISTING;
  const HANDLE handle =
      ::CreateFileW(wide.c_str(), access, sharing, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    RefineOpenError(wide);
    Record(false);
    return nullptr;
  }
  ::SetLastError(0);
  return handle;
}

bool WinFileLock(void*, bool) noexcept {
  ::SetLastError(0);
  return true;
}

bool WinFileClose(void* handle) noexcept {
  const bool ok = ::CloseHandle(HandleOf(handle)) != FALSE;
  Record(ok, ErrorBadHandle);
  return ok;
}

void* WinFileDuplicate(void* handle) noexcept {
  HANDLE copy = nullptr;
  const HANDLE process = ::GetCurrentProcess();
  const bool ok =
      ::DuplicateHandle(process, HandleOf(handle), process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS) != FALSE;
  Record(ok, ErrorBadHandle);
  return ok ? copy : nullptr;
}

// One transfer holds at most what a DWORD counts; the helpers above the
// table loop over the rest.
constexpr std::size_t MaxTransfer = 0x40000000u;

OVERLAPPED At(std::int64_t offset) noexcept {
  OVERLAPPED at{};
  const auto bits = static_cast<std::uint64_t>(offset);
  at.Offset = static_cast<DWORD>(bits & 0xFFFFFFFFu);
  at.OffsetHigh = static_cast<DWORD>(bits >> 32);
  return at;
}

// The offset travels in the OVERLAPPED record, so that each transfer names
// its own position, as pread does; the handle is synchronous, and the call
// returns when the transfer is done.
std::int64_t WinFileReadAt(void* handle, void* buffer, std::size_t bytes, std::int64_t offset) noexcept {
  if (offset < 0) {
    ::SetLastError(ErrorInvalid);
    return -1;
  }
  OVERLAPPED at = At(offset);
  DWORD done = 0;
  if (::ReadFile(HandleOf(handle), buffer, static_cast<DWORD>(bytes < MaxTransfer ? bytes : MaxTransfer), &done, &at) ==
      FALSE) {
    if (::GetLastError() == ERROR_HANDLE_EOF) {
      ::SetLastError(0);
      return 0;
    }
    Record(false);
    return -1;
  }
  ::SetLastError(0);
  return static_cast<std::int64_t>(done);
}

std::int64_t WinFileWriteAt(void* handle, const void* buffer, std::size_t bytes, std::int64_t offset) noexcept {
  if (offset < 0) {
    ::SetLastError(ErrorInvalid);
    return -1;
  }
  OVERLAPPED at = At(offset);
  DWORD done = 0;
  const bool ok = ::WriteFile(HandleOf(handle), buffer, static_cast<DWORD>(bytes < MaxTransfer ? bytes : MaxTransfer),
                              &done, &at) != FALSE;
  Record(ok);
  return ok ? static_cast<std::int64_t>(done) : -1;
}

bool WinFileSeek(void* handle, std::int64_t offset) noexcept {
  LARGE_INTEGER to{};
  to.QuadPart = offset;
  const bool ok = offset >= 0 && ::SetFilePointerEx(HandleOf(handle), to, nullptr, FILE_BEGIN) != FALSE;
  Record(ok, ErrorInvalid);
  return ok;
}

// The end of the file is set where the file pointer stands, so the pointer
// goes there for the cut and back afterwards: the table's truncation leaves
// it alone, as ftruncate does.
bool WinFileTruncate(void* handle, std::int64_t length) noexcept {
  if (length < 0) {
    ::SetLastError(ErrorInvalid);
    return false;
  }
  const HANDLE file = HandleOf(handle);
  LARGE_INTEGER zero{}, saved{}, to{};
  to.QuadPart = length;
  if (::SetFilePointerEx(file, zero, &saved, FILE_CURRENT) == FALSE ||
      ::SetFilePointerEx(file, to, nullptr, FILE_BEGIN) == FALSE) {
    Record(false);
    return false;
  }
  const bool ok = ::SetEndOfFile(file) != FALSE;
  const DWORD error = ok ? 0 : ::GetLastError();
  ::SetFilePointerEx(file, saved, nullptr, FILE_BEGIN);
  ::SetLastError(ok ? 0 : (error != 0 ? error : ErrorIo));
  return ok;
}

bool WinFileSync(void* handle) noexcept {
  const bool ok = ::FlushFileBuffers(HandleOf(handle)) != FALSE;
  Record(ok);
  return ok;
}

bool WinFileSize(void* handle, std::int64_t& size) noexcept {
  LARGE_INTEGER bytes{};
  const bool ok = ::GetFileSizeEx(HandleOf(handle), &bytes) != FALSE;
  size = ok ? static_cast<std::int64_t>(bytes.QuadPart) : 0;
  Record(ok, ErrorBadHandle);
  return ok;
}

bool WinFileRemove(const char* name) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return false;
  const bool ok = ::DeleteFileW(wide.c_str()) != FALSE;
  Record(ok);
  return ok;
}

bool WinFileExists(const char* name) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return false;
  const bool ok = !wide.empty() && ::GetFileAttributesW(wide.c_str()) != INVALID_FILE_ATTRIBUTES;
  Record(ok, ErrorNotFound);
  return ok;
}

// Keeps an open handle only when it is a file on a disk, not a pipe, a
// console or a device, and not reached through a link when `noLink`.
void* RegularOrRefused(HANDLE handle, bool noLink) noexcept {
  BY_HANDLE_FILE_INFORMATION info{};
  DWORD error = 0;
  if (::GetFileType(handle) != FILE_TYPE_DISK)
    error = ErrorInvalid;
  else if (::GetFileInformationByHandle(handle, &info) == FALSE)
    error = ::GetLastError() != 0 ? ::GetLastError() : ErrorIo;
  else if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    error = ErrorIsFolder;
  else if (noLink && (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
    error = ErrorLink;
  if (error != 0) {
    ::CloseHandle(handle);
    ::SetLastError(error);
    return nullptr;
  }
  ::SetLastError(0);
  return handle;
}

void* WinFileOpenRegular(const char* name) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return nullptr;
  const HANDLE handle =
      ::CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    RefineOpenError(wide);
    Record(false);
    return nullptr;
  }
  return RegularOrRefused(handle, false);
}

bool WinFileIdentity(void* handle, std::uint64_t& device, std::uint64_t& node) noexcept {
  BY_HANDLE_FILE_INFORMATION info{};
  const bool ok = ::GetFileInformationByHandle(HandleOf(handle), &info) != FALSE;
  device = ok ? info.dwVolumeSerialNumber : 0;
  node = ok ? (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow : 0;
  Record(ok, ErrorBadHandle);
  return ok;
}

// A file created for the debugging output grants access to its owner only
// (a protected list with one entry, full access for the owner), as on POSIX;
// where the system cannot build that list, the folder's rules apply.
class OwnerOnly {
public:
  OwnerOnly() noexcept {
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, &descriptor_,
                                                               nullptr) != FALSE) {
      attributes_.nLength = sizeof attributes_;
      attributes_.lpSecurityDescriptor = descriptor_;
      attributes_.bInheritHandle = FALSE;
    }
  }
  ~OwnerOnly() {
    if (descriptor_ != nullptr)
      ::LocalFree(descriptor_);
  }
  OwnerOnly(const OwnerOnly&) = delete;
  OwnerOnly& operator=(const OwnerOnly&) = delete;
  SECURITY_ATTRIBUTES* Attributes() noexcept { return descriptor_ != nullptr ? &attributes_ : nullptr; }

private:
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

// The link itself is opened (FILE_FLAG_OPEN_REPARSE_POINT) and then refused,
// so that a link planted at the name never redirects the output.
void* WinFileOpenAppend(const char* name) noexcept {
  std::wstring wide;
  if (!Wide(name, wide))
    return nullptr;
  OwnerOnly security;
  const HANDLE handle =
      ::CreateFileW(wide.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    security.Attributes(), OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    RefineOpenError(wide);
    Record(false);
    return nullptr;
  }
  return RegularOrRefused(handle, true);
}

std::int64_t WinFileAppend(void* handle, const void* buffer, std::size_t bytes) noexcept {
  DWORD done = 0;
  const bool ok = ::WriteFile(HandleOf(handle), buffer, static_cast<DWORD>(bytes < MaxTransfer ? bytes : MaxTransfer),
                              &done, nullptr) != FALSE;
  Record(ok);
  return ok ? static_cast<std::int64_t>(done) : -1;
}

// Standard error where the process has one; a program without a console
// writes to the debugger instead, which takes every text whole.
std::int64_t WinDebugOutput(const void* buffer, std::size_t bytes) noexcept {
  const HANDLE error = ::GetStdHandle(STD_ERROR_HANDLE);
  const DWORD ask = static_cast<DWORD>(bytes < MaxTransfer ? bytes : MaxTransfer);
  if (error == nullptr || error == INVALID_HANDLE_VALUE) {
    char piece[512];
    const std::size_t n = ask < sizeof piece - 1 ? ask : sizeof piece - 1;
    std::memcpy(piece, buffer, n);
    piece[n] = '\0';
    ::OutputDebugStringA(piece);
    ::SetLastError(0);
    return static_cast<std::int64_t>(n);
  }
  DWORD done = 0;
  const bool ok = ::WriteFile(error, buffer, ask, &done, nullptr) != FALSE;
  Record(ok);
  return ok ? static_cast<std::int64_t>(done) : -1;
}

bool WinLocalTime(LocalTime& time) noexcept {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  time = {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
  ::SetLastError(0);
  return true;
}

// A path with a folder is loaded from there, and the folder is where its
// own dependencies are looked for; a bare name is searched for as the
// system searches for DLLs.
void* WinSharedObjectOpen(const char* path) noexcept {
  std::wstring wide;
  if (path == nullptr || !Wide(path, wide) || wide.empty()) {
    ::SetLastError(ErrorNotFound);
    return nullptr;
  }
  const bool located = wide.find_first_of(L"\\/") != std::wstring::npos;
  HMODULE module = ::LoadLibraryExW(wide.c_str(), nullptr, located ? LOAD_WITH_ALTERED_SEARCH_PATH : 0);
  Record(module != nullptr, ErrorNotFound);
  return reinterpret_cast<void*>(module);
}

void* WinSharedObjectSymbol(void* object, const char* name) noexcept {
  FARPROC address = object != nullptr ? ::GetProcAddress(static_cast<HMODULE>(object), name) : nullptr;
  Record(address != nullptr, ErrorNotFound);
  return reinterpret_cast<void*>(address);
}

bool WinSharedObjectClose(void* object) noexcept {
  const bool ok = object != nullptr && ::FreeLibrary(static_cast<HMODULE>(object)) != FALSE;
  Record(ok, ErrorInvalid);
  return ok;
}

// The C run time's copy of the environment, which _putenv_s keeps in step
// with the system's.
const char* WinEnvironment(const char* name) noexcept { return std::getenv(name); }

constexpr SystemCalls windowsCalls = {
    WinAllocate,
    WinAllocateZero,
    WinReallocate,
    WinRelease,
    WinPhysicalMemory,
    WinFileOpen,
    WinFileLock,
    WinFileClose,
    WinFileDuplicate,
    WinFileReadAt,
    WinFileWriteAt,
    WinFileSeek,
    WinFileTruncate,
    WinFileSync,
    WinFileSize,
    WinFileRemove,
    WinFileExists,
    // Whole-file reads, the debugging file, shared objects, environment.
    WinFileOpenRegular,
    WinFileIdentity,
    WinFileOpenAppend,
    WinFileAppend,
    WinDebugOutput,
    WinLocalTime,
    WinSharedObjectOpen,
    WinSharedObjectSymbol,
    WinSharedObjectClose,
    WinEnvironment,
    // Work files, mapped files, times, paths and dialogs.
    entries::FileMap,
    entries::FileUnmap,
    entries::DiskFree,
    entries::FileTimes,
    entries::TimeNow,
    entries::LocalCalendar,
    entries::ExecutablePath,
    entries::RunProgram,
    entries::CommonDataFolder,
    entries::SystemDialog,
    // Thread language and string resources of modules.
    entries::ThreadUILanguage,
    entries::SetThreadUILanguage,
    entries::ResourceModuleOpen,
    entries::ResourceModuleClose,
    entries::LibraryModule,
    entries::ResourceString,
};

SystemCalls currentCalls = windowsCalls;

} // namespace

SystemCalls& Calls() noexcept { return currentCalls; }
const SystemCalls& DefaultCalls() noexcept { return windowsCalls; }

// The system's message table, in the library's 1251 so that a Russian
// system's texts read right beside the catalogue's.
std::string SystemErrorText(unsigned int code) {
  const DWORD saved = ::GetLastError();
  wchar_t* text = nullptr;
  const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                   nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string result;
  if (n > 0 && text != nullptr) {
    const int bytes =
        ::WideCharToMultiByte(win32::LibraryCodePage, 0, text, static_cast<int>(n), nullptr, 0, nullptr, nullptr);
    if (bytes > 0) {
      result.resize(static_cast<std::size_t>(bytes));
      ::WideCharToMultiByte(win32::LibraryCodePage, 0, text, static_cast<int>(n), result.data(), bytes, nullptr,
                            nullptr);
    }
  }
  if (text != nullptr)
    ::LocalFree(text);
  if (result.empty())
    result = "Unknown error " + std::to_string(code);
  while (!result.empty() && (result.back() == '\n' || result.back() == '\r' || result.back() == ' '))
    result.pop_back();
  ::SetLastError(saved);
  return result;
}

} // namespace platform
} // namespace zel
