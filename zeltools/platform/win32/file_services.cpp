// The Windows entries for mapped files, disk space, file times, the clock and
// calendar, the executable's path, running a program and the common dialogs.

#include <cstring>
#include <string>
#include <vector>

#include "zeltools/platform/last_error.h"
#include "zeltools/platform/system_entries.h"
#include "zeltools/platform/win32/system.h"

// After windows.h, which they need.
#include <commdlg.h>
#include <shlobj.h>

namespace zel::platform::entries {

using win32::EpochTicks1970;
using win32::FileTimeOfTicks;
using win32::Narrow;
using win32::Record;
using win32::StampOfTicks;
using win32::TicksOf;
using win32::TicksPerSecond;
using win32::Wide;

namespace {

HANDLE HandleOf(void* handle) noexcept { return static_cast<HANDLE>(handle); }

// Room for the longest path the wide calls take.
constexpr DWORD LongPath = 32768;

} // namespace

// The mapping object is closed at once: the view keeps the section alive
// and goes with UnmapViewOfFile.
void* FileMap(void* handle, std::size_t bytes, bool write) noexcept {
  const auto size = static_cast<std::uint64_t>(bytes);
  const HANDLE mapping =
      ::CreateFileMappingW(HandleOf(handle), nullptr, write ? PAGE_READWRITE : PAGE_READONLY,
                           static_cast<DWORD>(size >> 32), static_cast<DWORD>(size & 0xFFFFFFFFu), nullptr);
  if (mapping == nullptr) {
    Record(false);
    return nullptr;
  }
  void* view = ::MapViewOfFile(mapping, write ? FILE_MAP_WRITE : FILE_MAP_READ, 0, 0, bytes);
  const DWORD error = view != nullptr ? 0 : ::GetLastError();
  ::CloseHandle(mapping);
  ::SetLastError(view != nullptr ? 0 : (error != 0 ? error : ErrorIo));
  return view;
}

bool FileUnmap(void* view, std::size_t /*bytes*/) noexcept {
  const bool ok = ::UnmapViewOfFile(view) != FALSE;
  Record(ok, ErrorInvalid);
  return ok;
}

bool DiskFree(const char* path, std::uint64_t& bytes) noexcept {
  bytes = 0;
  std::wstring wide;
  if (!Wide(path, wide))
    return false;
  ULARGE_INTEGER available{};
  const bool ok = ::GetDiskFreeSpaceExW(wide.c_str(), &available, nullptr, nullptr) != FALSE;
  bytes = ok ? available.QuadPart : 0;
  Record(ok);
  return ok;
}

bool FileTimes(void* handle, const char* name, FileStamps& stamps) noexcept {
  stamps = FileStamps{};
  ::FILETIME created{}, accessed{}, written{};
  bool ok;
  if (handle != nullptr) {
    ok = ::GetFileTime(HandleOf(handle), &created, &accessed, &written) != FALSE;
  } else {
    std::wstring wide;
    WIN32_FILE_ATTRIBUTE_DATA data{};
    ok = Wide(name, wide) && ::GetFileAttributesExW(wide.c_str(), GetFileExInfoStandard, &data) != FALSE;
    created = data.ftCreationTime;
    accessed = data.ftLastAccessTime;
    written = data.ftLastWriteTime;
  }
  Record(ok);
  if (!ok)
    return false;
  stamps.created = StampOfTicks(TicksOf(created));
  stamps.accessed = StampOfTicks(TicksOf(accessed));
  stamps.written = StampOfTicks(TicksOf(written));
  return true;
}

std::int64_t TimeNow() noexcept {
  ::FILETIME now{};
  ::GetSystemTimeAsFileTime(&now);
  ::SetLastError(0);
  return StampOfTicks(TicksOf(now)).seconds;
}

// The time-zone rules in force at the moment itself decide its offset, so a
// summer date converts with the summer offset whenever it is asked.
bool LocalCalendar(std::int64_t seconds, CalendarTime& fields) noexcept {
  fields = CalendarTime{};
  // FILETIME counts from 1601, and the calendar calls take at most 2^63 ticks.
  constexpr std::int64_t first = -EpochTicks1970 / TicksPerSecond;
  constexpr std::int64_t last = (INT64_MAX - EpochTicks1970) / TicksPerSecond;
  SYSTEMTIME utc{}, local{};
  ::FILETIME localTicks{};
  if (seconds < first || seconds > last) {
    ::SetLastError(ErrorInvalid);
    return false;
  }
  const std::int64_t ticks = seconds * TicksPerSecond + EpochTicks1970;
  const ::FILETIME moment = FileTimeOfTicks(ticks);
  if (::FileTimeToSystemTime(&moment, &utc) == FALSE ||
      ::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) == FALSE ||
      ::SystemTimeToFileTime(&local, &localTicks) == FALSE) {
    Record(false, ErrorInvalid);
    return false;
  }
  fields = CalendarTime{local.wYear,   local.wMonth,  local.wDay,       local.wHour,
                        local.wMinute, local.wSecond, local.wDayOfWeek, 0};
  fields.utcOffset = static_cast<long>((TicksOf(localTicks) - ticks) / TicksPerSecond);
  ::SetLastError(0);
  return true;
}

bool ExecutablePath(char* path, std::size_t size) noexcept {
  if (path == nullptr || size == 0) {
    ::SetLastError(ErrorInvalid);
    return false;
  }
  path[0] = '\0';
  std::vector<wchar_t> wide;
  try {
    wide.resize(LongPath);
  } catch (...) {
    ::SetLastError(ErrorNoMemory);
    return false;
  }
  const DWORD n = ::GetModuleFileNameW(nullptr, wide.data(), LongPath);
  if (n == 0 || n >= LongPath) {
    Record(false, ErrorNameTooLong);
    return false;
  }
  return Narrow(wide.data(), path, size);
}

namespace {

// One argument quoted so that the C run time's command-line parser gives it
// back unchanged: backslashes are doubled only where a quote follows them.
void AppendQuoted(std::wstring& line, const std::wstring& argument) {
  if (!line.empty())
    line += L' ';
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    line += argument;
    return;
  }
  line += L'"';
  std::size_t slashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'\\') {
      ++slashes;
      continue;
    }
    line.append(c == L'"' ? 2 * slashes + 1 : slashes, L'\\');
    slashes = 0;
    line += c;
  }
  line.append(2 * slashes, L'\\');
  line += L'"';
}

class Handle {
public:
  Handle() noexcept = default;
  ~Handle() { Close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE* Out() noexcept { return &handle_; }
  HANDLE Get() const noexcept { return handle_; }
  void Close() noexcept {
    if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE)
      ::CloseHandle(handle_);
    handle_ = nullptr;
  }

private:
  HANDLE handle_ = nullptr;
};

int Run(const char* const* arguments, char* output, std::size_t size, std::size_t& length) {
  std::wstring line, wide;
  for (const char* const* argument = arguments; *argument != nullptr; ++argument) {
    if (!Wide(*argument, wide))
      return -1;
    AppendQuoted(line, wide);
  }
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Handle readEnd, writeEnd, nul;
  if (::CreatePipe(readEnd.Out(), writeEnd.Out(), &inherit, 0) == FALSE ||
      ::SetHandleInformation(readEnd.Get(), HANDLE_FLAG_INHERIT, 0) == FALSE) {
    Record(false);
    return -1;
  }
  *nul.Out() = ::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                             OPEN_EXISTING, 0, nullptr);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = nul.Get();
  startup.hStdOutput = writeEnd.Get();
  startup.hStdError = nul.Get();
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                       &process) == FALSE) {
    Record(false, ErrorNotFound);
    return -1;
  }
  Handle child, thread;
  *child.Out() = process.hProcess;
  *thread.Out() = process.hThread;
  // Only the child holds the write end now, so the pipe ends with it.
  writeEnd.Close();
  // Everything is read, so that the program never waits on a full pipe;
  // what does not fit is dropped.
  char scratch[4096];
  for (;;) {
    char* into = output != nullptr && length + 1 < size ? output + length : scratch;
    const std::size_t room = into == scratch ? sizeof scratch : size - 1 - length;
    DWORD n = 0;
    if (::ReadFile(readEnd.Get(), into, static_cast<DWORD>(room < sizeof scratch ? room : sizeof scratch), &n,
                   nullptr) == FALSE ||
        n == 0)
      break;
    if (into != scratch)
      length += n;
  }
  if (output != nullptr && size > 0)
    output[length] = '\0';
  DWORD status = 0;
  if (::WaitForSingleObject(child.Get(), INFINITE) != WAIT_OBJECT_0 ||
      ::GetExitCodeProcess(child.Get(), &status) == FALSE) {
    Record(false);
    return -1;
  }
  ::SetLastError(0);
  return static_cast<int>(status & 0xFFu);
}

} // namespace

int RunProgram(const char* const* arguments, char* output, std::size_t size, std::size_t& length) noexcept {
  length = 0;
  if (output != nullptr && size > 0)
    output[0] = '\0';
  if (arguments == nullptr || arguments[0] == nullptr) {
    ::SetLastError(ErrorInvalid);
    return -1;
  }
  try {
    return Run(arguments, output, size, length);
  } catch (...) {
    ::SetLastError(ErrorNoMemory);
    return -1;
  }
}

bool CommonDataFolder(char* path, std::size_t size) noexcept {
  wchar_t folder[MAX_PATH] = {};
  const HRESULT found = ::SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
  if (FAILED(found)) {
    ::SetLastError(static_cast<DWORD>(found) & 0xFFFFu);
    return false;
  }
  return Narrow(folder, path, size);
}

namespace {

// Starts the folder dialog at the folder it was given.
int CALLBACK StartFolder(HWND window, UINT message, LPARAM, LPARAM data) {
  if (message == BFFM_INITIALIZED && data != 0)
    ::SendMessageW(window, BFFM_SETSELECTIONW, TRUE, data);
  return 0;
}

int ChooseFolder(HWND owner, const std::wstring& title, const std::wstring& start, std::wstring& chosen) {
  // The dialog's newer style needs COM on this thread; a thread that already
  // runs COM in another model keeps it.
  const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  BROWSEINFOW browse{};
  wchar_t display[MAX_PATH] = {};
  browse.hwndOwner = owner;
  browse.pszDisplayName = display;
  browse.lpszTitle = title.c_str();
  browse.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
  browse.lpfn = StartFolder;
  browse.lParam = start.empty() ? 0 : reinterpret_cast<LPARAM>(start.c_str());
  int result = 0;
  if (PIDLIST_ABSOLUTE list = ::SHBrowseForFolderW(&browse)) {
    std::vector<wchar_t> path(LongPath);
    if (::SHGetPathFromIDListEx(list, path.data(), LongPath, GPFIDL_DEFAULT) != FALSE) {
      chosen = path.data();
      result = 1;
    }
    ::CoTaskMemFree(list);
  }
  if (SUCCEEDED(com))
    ::CoUninitialize();
  return result;
}

int ChooseFile(DialogKind kind, HWND owner, const std::wstring& title, const std::wstring& start,
               const std::wstring& filter, const std::wstring& extension, std::wstring& chosen) {
  const std::size_t cut = start.find_last_of(L"\\/");
  const std::wstring folder = cut == std::wstring::npos ? std::wstring() : start.substr(0, cut + 1);
  const std::wstring name = cut == std::wstring::npos ? start : start.substr(cut + 1);
  std::vector<wchar_t> file(LongPath, L'\0');
  name.copy(file.data(), name.size() < LongPath - 1 ? name.size() : LongPath - 1);
  OPENFILENAMEW dialog{};
  dialog.lStructSize = sizeof dialog;
  dialog.hwndOwner = owner;
  dialog.lpstrFilter = filter.empty() ? nullptr : filter.c_str();
  dialog.nFilterIndex = 1;
  dialog.lpstrFile = file.data();
  dialog.nMaxFile = LongPath;
  dialog.lpstrInitialDir = folder.empty() ? nullptr : folder.c_str();
  dialog.lpstrTitle = title.empty() ? nullptr : title.c_str();
  dialog.lpstrDefExt = extension.empty() ? nullptr : extension.c_str();
  dialog.Flags = OFN_PATHMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR | OFN_EXPLORER |
                 (kind == DialogKind::Read ? OFN_FILEMUSTEXIST : OFN_OVERWRITEPROMPT);
  const BOOL ok = kind == DialogKind::Read ? ::GetOpenFileNameW(&dialog) : ::GetSaveFileNameW(&dialog);
  if (ok == FALSE)
    return 0;
  chosen = file.data();
  return 1;
}

int Dialog(DialogKind kind, void* owner, const char* title, const char* start, const char* filter,
           const char* extension, char* path, std::size_t size) {
  std::wstring wideTitle, wideStart, wideFilter, wideExtension, chosen;
  if (!Wide(title != nullptr ? title : "", wideTitle) || !Wide(start != nullptr ? start : "", wideStart) ||
      !Wide(filter != nullptr ? filter : "", wideFilter) || !Wide(extension != nullptr ? extension : "", wideExtension))
    return 0;
  for (wchar_t& c : wideStart)
    if (c == L'/')
      c = L'\\';
  // "Desc|*.a;*.b||" becomes the dialog's list of pairs, each part ended by
  // a null and the list by a second one.
  for (wchar_t& c : wideFilter)
    if (c == L'|')
      c = L'\0';
  if (!wideFilter.empty())
    wideFilter.append(2, L'\0');
  if (!wideExtension.empty() && wideExtension[0] == L'.')
    wideExtension.erase(0, 1);
  const HWND window = static_cast<HWND>(owner);
  const int answer = kind == DialogKind::Folder
                         ? ChooseFolder(window, wideTitle, wideStart, chosen)
                         : ChooseFile(kind, window, wideTitle, wideStart, wideFilter, wideExtension, chosen);
  if (answer != 1)
    return 0;
  return Narrow(chosen.c_str(), path, size) ? 1 : 0;
}

} // namespace

int SystemDialog(DialogKind kind, void* owner, const char* title, const char* start, const char* filter,
                 const char* extension, char* path, std::size_t size) noexcept {
  try {
    const int answer = Dialog(kind, owner, title, start, filter, extension, path, size);
    ::SetLastError(0);
    return answer;
  } catch (...) {
    // Only memory can run out here; the dialog then counts as cancelled.
    ::SetLastError(ErrorNoMemory);
    return 0;
  }
}

} // namespace zel::platform::entries
