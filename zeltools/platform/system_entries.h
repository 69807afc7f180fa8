#pragma once
// The entries of the system table that live outside each system's
// system_calls.cpp, declared once for every system. The folder of the
// running system defines them, in this namespace: posix/ on Linux and the
// other POSIX systems, win32/ on Windows (CMakeLists.txt compiles only that
// folder). Each does what its entry in platform.h promises, the thread's last
// error included.
//
// Only the system's own files include this header; nothing public does.

#include <cstddef>
#include <cstdint>

#include "zeltools/platform/platform.h"

namespace zel::platform::entries {

// Work files, mapped files, times, paths and dialogs (file_services.cpp).
void* FileMap(void* handle, std::size_t bytes, bool write) noexcept;
bool FileUnmap(void* view, std::size_t bytes) noexcept;
bool DiskFree(const char* path, std::uint64_t& bytes) noexcept;
bool FileTimes(void* handle, const char* name, FileStamps& stamps) noexcept;
std::int64_t TimeNow() noexcept;
bool LocalCalendar(std::int64_t seconds, CalendarTime& fields) noexcept;
bool ExecutablePath(char* path, std::size_t size) noexcept;
int RunProgram(const char* const* arguments, char* output, std::size_t size, std::size_t& length) noexcept;
bool CommonDataFolder(char* path, std::size_t size) noexcept;
int SystemDialog(DialogKind kind, void* owner, const char* title, const char* start, const char* filter,
                 const char* extension, char* path, std::size_t size) noexcept;

// Thread language and string resources of modules (resources.cpp).
unsigned short ThreadUILanguage() noexcept;
unsigned short SetThreadUILanguage(unsigned short langId) noexcept;
void* ResourceModuleOpen(const char* name) noexcept;
bool ResourceModuleClose(void* module) noexcept;
void* LibraryModule() noexcept;
long ResourceString(void* module, unsigned int id, unsigned short langId, char* text, std::size_t size) noexcept;

} // namespace zel::platform::entries
